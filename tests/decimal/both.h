// Running an operation of both implementations: each must give the same, and what it gives is told in words.
//
// The two functions come first, then what they are given behind the place of the result: run(dec10_arith,
// literal::dec10_arith, &a, DEC_ADD, &b). Numbers and texts have other bytes in them before an operation fills them.
#pragma once

#include "tests/decimal/numbers.h"

namespace zuk {

template <class Value> Value same_value(Value fast, Value slow)
{
    EXPECT_EQ(fast, slow) << "the literal operation gives the second";
    return fast;
}

template <class Number> std::string same_number(const Number &fast, const Number &slow)
{
    EXPECT_EQ(bytes_of(fast), bytes_of(slow)) << "the literal operation gives the second";
    return shown(fast);
}

template <class Number> Number filled()
{
    Number a;
    memset(&a, 0xEE, sizeof a);
    return a;
}

// An operation that makes a number and returns its place.
template <class Number, class... Parameters, class... Arguments>
std::string run(Number *(*fast)(Number *, Parameters...), Number *(*slow)(Number *, Parameters...),
                const Arguments &...arguments)
{
    Number one = filled<Number>(), other = filled<Number>();
    EXPECT_EQ(fast(&one, (Parameters)arguments...), &one);
    EXPECT_EQ(slow(&other, (Parameters)arguments...), &other);
    return same_number(one, other);
}

// An operation that makes a text and returns it.
template <class... Parameters, class... Arguments>
std::string run(u8 *(*fast)(u8 *, Parameters...), u8 *(*slow)(u8 *, Parameters...), const Arguments &...arguments)
{
    Text one, other;
    EXPECT_EQ(fast(one.bytes, (Parameters)arguments...), one.bytes);
    EXPECT_EQ(slow(other.bytes, (Parameters)arguments...), other.bytes);
    return same_value(one.str(), other.str());
}

// An operation that stores an integer and returns it.
template <class Integer, class Number>
i32 run_stored(Integer (*fast)(Integer *, const Number *), Integer (*slow)(Integer *, const Number *), const Number &a)
{
    Integer one = 1, other = 2;
    EXPECT_EQ(fast(&one, &a), one);
    EXPECT_EQ(slow(&other, &a), other);
    return same_value(one, other);
}

// An operation that looks at numbers and answers 1 or 0.
template <class... Parameters, class... Arguments>
i16 run(i16 (*fast)(Parameters...), i16 (*slow)(Parameters...), const Arguments &...arguments)
{
    return same_value(fast((Parameters)arguments...), slow((Parameters)arguments...));
}

// The relations that hold, as a row of = ! < > { (at most) and } (at least).
template <class Number>
std::string run_relations(i16 (*fast)(const Number *, i16, const Number *),
                          i16 (*slow)(const Number *, i16, const Number *), const Number &a, const Number &b)
{
    std::string text;
    for (i16 relation = 0; relation < 6; relation++) {
        if (run(fast, slow, &a, relation, &b)) text += "=!<>{}"[relation];
    }
    return text;
}

// The five operations of arithmetic apart from each other, by their codes.
template <class Number> using Arithmetic = void (*)(Number *, Number *, Number *);

template <class Number>
void expect_apart(const Arithmetic<Number> (&fast)[5], const Arithmetic<Number> (&slow)[5], const Number &a,
                  const Number &b, const char *const (&results)[5])
{
    for (size_t op = 0; op < 5; op++) {
        Number a_fast = a, b_fast = b, a_slow = a, b_slow = b, one = filled<Number>(), other = filled<Number>();
        fast[op](&one, &a_fast, &b_fast);
        slow[op](&other, &a_slow, &b_slow);
        EXPECT_EQ(same_number(one, other), results[op]) << op;
    }
}

} // namespace zuk
