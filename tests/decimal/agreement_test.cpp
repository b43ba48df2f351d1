// The fast operations against the literal ones: the same bytes for every operand, sound or not.
//
// Operands and texts are chosen at random, spread over magnitudes, signs, edges and damage, from a fixed seed. The
// number of operations is that of the environment's ZUK_DECIMAL_OPERATIONS, or a second's worth.
#include "decimal/decimal10.h"
#include "decimal/decimal8.h"
#include "decimal/literal.h"
#include "decimal/packed.h"
#include "tests/decimal/numbers.h"
#include "tests/support/faults.h"

#include <random>
#include <stdlib.h>

using namespace zuk;

namespace {

std::mt19937_64 random_bits;

u64 below(u64 limit)
{
    return random_bits() % limit;
}

bool one_in(u64 n)
{
    return below(n) == 0;
}

// ---- Operands -------------------------------------------------------------------------------------------------------

// A magnitude of up to `digits` digits in units of the last one.
u64 random_magnitude(i32 digits)
{
    u64 limit = 1;
    for (u64 n = below((u64)digits + 1); n > 0; n--) limit *= 10;
    switch (below(8)) {
        case 0: return limit - 1;                                     // nines
        case 1: return limit == 1 ? 0 : limit / 10;                   // a power of ten
        case 2: return limit / 2;                                     // 5, 50, 500, ...
        case 3: return limit / 2 ? limit / 2 - 1 : 0;                 // 4, 49, 499, ...
        case 4: return limit > 100 ? limit - 1 - below(20) : below(limit);
        case 5: return below(30) % limit;
        default: return below(limit);
    }
}

Decimal10 ten_from(u64 magnitude, bool negative)
{
    DecimalDigits digits = {};
    for (i32 cell = 19; cell > 0; cell--, magnitude /= 10) digits[cell] = (u8)(magnitude % 10);
    if (negative) digits[0] = 15;
    Decimal10 number;
    literal::dec10_pack(digits, &number);
    return number;
}

u64 magnitude_of(const Decimal10 &number)
{
    DecimalDigits digits;
    literal::dec10_unpack(digits, &number);
    u64 value = 0;
    for (i32 cell = 1; cell < 20; cell++) value = value * 10 + digits[cell];
    return value;
}

void damage(u8 *bytes, size_t size)
{
    if (one_in(4)) {
        for (size_t i = 0; i < size; i++) bytes[i] = (u8)below(256);
    } else {
        bytes[below(size)] ^= (u8)(1 << below(8));
    }
}

const Decimal10 *const TEN_CONSTANTS[] = {&dec10_zero,    &dec10_one,     &dec10_five,    &dec10_ten,
                                          &dec10_hundred, &dec10_i16_max, &dec10_i16_min, &dec10_i32_max,
                                          &dec10_i32_min, &dec10_max,     &dec10_min};
const Decimal8 *const EIGHT_CONSTANTS[] = {&dec8_zero,    &dec8_one,     &dec8_five,    &dec8_ten,
                                           &dec8_hundred, &dec8_i16_max, &dec8_i16_min, &dec8_i32_max,
                                           &dec8_i32_min, &dec8_max,     &dec8_min};

Decimal10 random_ten()
{
    Decimal10 number;
    if (one_in(20)) {
        number = *TEN_CONSTANTS[below(11)];
    } else {
        u64 magnitude = random_magnitude(19);
        if (one_in(3)) magnitude -= magnitude % 100000;  // whole
        number = ten_from(magnitude, one_in(2));
    }
    if (one_in(25)) damage(number.bytes, sizeof number);
    return number;
}

// A magnitude that has to do with another one: equal, its neighbour, its part or its multiple.
u64 magnitude_beside(u64 magnitude)
{
    const u64 factor = below(1000) + 1;
    switch (below(5)) {
        case 0: return magnitude;
        case 1: return magnitude + below(7);
        case 2: return magnitude < 7 ? magnitude : magnitude - below(7);
        case 3: return magnitude / factor + below(3);
        default: return (magnitude % 10000000000000000 - below(2)) * factor;
    }
}

// Sometimes such a number.
Decimal10 random_ten_beside(const Decimal10 &other)
{
    if (!one_in(4) || literal::dec10_is_invalid(&other)) return random_ten();
    return ten_from(magnitude_beside(magnitude_of(other)) % TEN_TO_19, one_in(2));
}

Decimal8 eight_from(u64 magnitude, bool negative)
{
    DecimalDigits digits = {};
    for (i32 cell = 14; cell > 1; cell--, magnitude /= 10) digits[cell] = (u8)(magnitude % 10);
    if (negative) digits[0] = 15;
    Decimal8 number;
    literal::dec8_pack(digits, &number);
    return number;
}

u64 magnitude_of(const Decimal8 &number)
{
    Decimal10 ten;
    literal::dec10_from_dec8(&number, &ten);
    return magnitude_of(ten) / 100000;
}

Decimal8 random_eight()
{
    Decimal8 number = one_in(20) ? *EIGHT_CONSTANTS[below(11)] : eight_from(random_magnitude(13), one_in(2));
    if (one_in(25)) damage(number.bytes, sizeof number);
    if (one_in(40)) number.bytes[1] |= (u8)(below(10) << 4);  // the first of fourteen digits
    return number;
}

Decimal8 random_eight_beside(const Decimal8 &other)
{
    if (!one_in(4) || literal::dec8_is_invalid(&other)) return random_eight();
    return eight_from(magnitude_beside(magnitude_of(other)), one_in(2));
}

Text random_text()
{
    const char separator = (char)decimal_separator;
    std::string text;
    if (one_in(8)) text += " $x0"[below(4)];
    if (one_in(3)) text += '-';
    const u64 length = one_in(4) ? below(24) : below(9);
    for (u64 i = 0; i < length; i++) text += (char)('0' + below(10));
    if (!one_in(3)) {
        text += separator;
        const u64 fraction = one_in(4) ? below(12) : below(7);
        for (u64 i = 0; i < fraction; i++) text += one_in(3) ? '9' : (char)('0' + below(10));
    }
    while (one_in(4) && text.size() < 250) {
        const char any[] = {'-', '.', ',', '0', '9', 'x', ' ', separator, (char)below(256)};
        text.insert((size_t)below(text.size() + 1), 1, any[below(sizeof any)]);
    }
    if (one_in(100)) text.insert(0, 255 - text.size(), '0');
    return text;
}

i16 random_places()
{
    return one_in(50) ? (i16)random_bits() : (i16)((i32)below(44) - 22);
}

// ---- The operations -------------------------------------------------------------------------------------------------

// Which operation it was and what it was given: made into words only when it fails.
struct Told {
    const char *operation;
    u8 operands[3][10];
    size_t size;
    i32 n;
    u64 place;
    Text text;
    std::string difference;
} told;

template <class Number> void tell(const char *operation, const Number &a, const Number &b, const Number &c, i32 n)
{
    told.operation = operation;
    told.size = sizeof(Number);
    memcpy(told.operands[0], &a, sizeof a);
    memcpy(told.operands[1], &b, sizeof b);
    memcpy(told.operands[2], &c, sizeof c);
    told.n = n;
}

std::string all_told()
{
    std::string words = told.operation;
    for (const u8 *operand : told.operands) words += ", " + bytes_of(operand, told.size);
    return words + ", n=" + std::to_string(told.n) + ", dest=" + std::to_string(told.place) + ", separator=" +
           bytes_of(&decimal_separator, 1) + ", text=" + bytes_of(told.text.bytes, told.text.bytes[0] + 1u) + ": " +
           told.difference;
}

bool same(const void *fast, const void *slow, size_t size)
{
    if (memcmp(fast, slow, size) == 0) return true;
    told.difference = bytes_of(fast, size) + " instead of " + bytes_of(slow, size);
    return false;
}

bool same_value(i64 fast, i64 slow)
{
    if (fast == slow) return true;
    told.difference = std::to_string(fast) + " instead of " + std::to_string(slow);
    return false;
}

// Both implementations with operands of their own, of which `dest` may be any.
template <class Number> struct Operands {
    Number numbers[4];  // dest, a, b, c

    Operands(const Number &a, const Number &b, const Number &c) : numbers{{}, a, b, c}
    {
        memset(&numbers[0], 0xEE, sizeof(Number));
    }
};

// Run an operation of both namespaces on the same operands and compare all that they leave behind.
#define BOTH(Number, name, arguments)                                                                                  \
    {                                                                                                                  \
        Operands<Number> fast(a, b, c), slow(a, b, c);                                                                 \
        tell(#name, a, b, c, given.n);                                                                                 \
        told.place = given.place;                                                                                      \
        const auto run = [&](Operands<Number> &operands, auto *operation) {                                            \
            Number *dest = &operands.numbers[given.place];                                                             \
            const Number *x = &operands.numbers[1], *y = &operands.numbers[2], *z = &operands.numbers[3];              \
            (void)x, (void)y, (void)z;                                                                                 \
            return operation arguments == dest;                                                                        \
        };                                                                                                             \
        const bool fast_result = run(fast, &zuk::name), slow_result = run(slow, &literal::name);                       \
        return same_value(fast_result, slow_result) && same(&fast, &slow, sizeof fast);                                \
    }

#define BOTH_VALUES(Number, name, arguments)                                                                           \
    {                                                                                                                  \
        tell(#name, a, b, c, given.n);                                                                                 \
        const auto run = [&](auto *operation) {                                                                        \
            const Number *x = &a, *y = &b;                                                                             \
            (void)x, (void)y;                                                                                          \
            return operation arguments;                                                                                \
        };                                                                                                             \
        return same_value(run(&zuk::name), run(&literal::name));                                                       \
    }

#define BOTH_STORED(Number, Integer, name)                                                                             \
    {                                                                                                                  \
        tell(#name, a, b, c, given.n);                                                                                 \
        Integer fast = 1, slow = 2;                                                                                    \
        const Integer fast_result = zuk::name(&fast, &a), slow_result = literal::name(&slow, &a);                      \
        return same_value(fast_result, slow_result) && same_value(fast, fast_result) && same_value(slow, slow_result); \
    }

#define BOTH_TEXTS(Number, name, arguments)                                                                            \
    {                                                                                                                  \
        Text fast, slow;                                                                                               \
        tell(#name, a, b, c, given.n);                                                                                 \
        const auto run = [&](u8 *dest, auto *operation) {                                                              \
            const Number *x = &a;                                                                                      \
            return operation arguments == dest;                                                                        \
        };                                                                                                             \
        const bool fast_result = run(fast.bytes, &zuk::name), slow_result = run(slow.bytes, &literal::name);           \
        return same_value(fast_result, slow_result) && same(fast.bytes, slow.bytes, sizeof fast.bytes);                \
    }

// Random cells, most of them digits.
void random_cells(u8 *cells)
{
    for (i32 i = 0; i < 20; i++) cells[i] = (u8)(one_in(20) ? below(256) : below(10));
}

// What else an operation is given, of either size.
struct Arguments {
    i16 n = random_places();
    i16 op = (i16)(n & 7), left = (i16)below(2);
    u64 place = below(4);
    i32 value = one_in(2) ? (i32)random_bits() : (i32)(random_magnitude(10) * (one_in(2) ? 1 : ~(u64)0));
    i16 short_value = (i16)(one_in(50) ? INT16_MIN : value >> below(17));
    i32 long_value = one_in(50) ? INT32_MIN : value >> below(20);
};

// The cases 0 to 28 of 32, for what both sizes have.
#define OPERATIONS_OF_BOTH_SIZES(Number, prefix)                                                                       \
    case 0: BOTH(Number, prefix##_copy, (dest, x))                                                                     \
    case 1: BOTH(Number, prefix##_clear, (dest))                                                                       \
    case 2: BOTH_VALUES(Number, prefix##_is_invalid, (x))                                                              \
    case 3: BOTH_VALUES(Number, prefix##_equal, (x, y))                                                                \
    case 4: BOTH_VALUES(Number, prefix##_greater, (x, y))                                                              \
    case 5: BOTH_VALUES(Number, prefix##_compare, (x, given.op, y))                                                    \
    case 6: BOTH(Number, prefix##_negate, (dest, x))                                                                   \
    case 7: BOTH(Number, prefix##_abs, (dest, x))                                                                      \
    case 8: BOTH(Number, prefix##_power_of_ten, (dest, given.n))                                                       \
    case 9:                                                                                                            \
    case 10: BOTH(Number, prefix##_parse, (dest, told.text.bytes))                                                     \
    case 11: BOTH_TEXTS(Number, prefix##_format, (dest, x))                                                            \
    case 12: BOTH(Number, prefix##_parse_scaled, (dest, told.text.bytes, given.n))                                     \
    case 13: BOTH(Number, prefix##_from_i16, (dest, given.short_value))                                                \
    case 14: BOTH(Number, prefix##_from_i32, (dest, given.long_value))                                                 \
    case 15: BOTH_STORED(Number, i16, prefix##_to_i16)                                                                 \
    case 16: BOTH_STORED(Number, i32, prefix##_to_i32)                                                                 \
    case 17:                                                                                                           \
    case 18:                                                                                                           \
    case 19:                                                                                                           \
    case 20:                                                                                                           \
    case 21: BOTH(Number, prefix##_arith, (dest, x, given.op, y))                                                      \
    case 22:                                                                                                           \
    case 23: BOTH(Number, prefix##_muldiv, (dest, x, y, z))                                                            \
    case 24: BOTH(Number, prefix##_adjust, (dest, x, given.op, given.n))                                               \
    case 25: BOTH(Number, prefix##_shift, (dest, x, given.n, given.left))                                              \
    case 26: BOTH(Number, prefix##_round, (dest, x, given.n))                                                          \
    case 27: {                                                                                                         \
        DecimalDigits cells;                                                                                           \
        random_cells(cells);                                                                                           \
        Number fast, slow;                                                                                             \
        tell(#prefix "_pack", a, b, c, given.n);                                                                       \
        return zuk::prefix##_pack(cells, &fast) == &fast && literal::prefix##_pack(cells, &slow) == &slow &&           \
               same(&fast, &slow, sizeof fast);                                                                        \
    }                                                                                                                  \
    case 28: {                                                                                                         \
        DecimalDigits fast, slow;                                                                                      \
        tell(#prefix "_unpack", a, b, c, given.n);                                                                     \
        return zuk::prefix##_unpack(fast, &a) == fast && literal::prefix##_unpack(slow, &a) == slow &&                 \
               same(fast, slow, sizeof fast);                                                                          \
    }

bool ten_operation_agrees()
{
    const Decimal10 a = random_ten(), b = random_ten_beside(a), c = random_ten_beside(b);
    const Arguments given;
    told.text = random_text();
    switch (below(32)) {
        OPERATIONS_OF_BOTH_SIZES(Decimal10, dec10)
        case 29: BOTH_TEXTS(Decimal10, dec10_format_scaled, (dest, x, given.n))
        case 30: BOTH(Decimal10, dec10_from_u32, (dest, (u32)given.long_value))
        default: BOTH(Decimal10, dec10_truncate, (dest, x, given.n))
    }
}

bool eight_operation_agrees()
{
    const Decimal8 a = random_eight(), b = random_eight_beside(a), c = random_eight_beside(b);
    const Arguments given;
    told.text = random_text();
    switch (below(32)) {
        OPERATIONS_OF_BOTH_SIZES(Decimal8, dec8)
        case 29: BOTH_TEXTS(Decimal8, dec8_format_plain, (dest, x))
        case 30: {
            Decimal10 fast, slow;
            tell("dec10_from_dec8", a, b, c, given.n);
            return same_value(zuk::dec10_from_dec8(&a, &fast), literal::dec10_from_dec8(&a, &slow)) &&
                   same(&fast, &slow, sizeof fast);
        }
        default: {
            const Decimal10 ten = random_ten();
            Decimal8 fast, slow;
            tell("dec8_from_dec10", ten, ten, ten, given.n);
            return same_value(zuk::dec8_from_dec10(&ten, &fast), literal::dec8_from_dec10(&ten, &slow)) &&
                   same(&fast, &slow, sizeof fast);
        }
    }
}

// All constants and the separator, one after the other.
std::string constants_made_by(void (*init)(u8), u8 separator)
{
    init(separator);
    std::string bytes;
    for (const Decimal10 *constant : TEN_CONSTANTS) bytes += bytes_of(*constant) + "\n";
    for (const Decimal8 *constant : EIGHT_CONSTANTS) bytes += bytes_of(*constant) + "\n";
    return bytes + bytes_of(&decimal_separator, 1);
}

} // namespace

TEST(decimal_agreement, holds_for_random_operations)
{
    const char *wanted = getenv("ZUK_DECIMAL_OPERATIONS");
    const u64 count = wanted ? strtoull(wanted, nullptr, 10) : 100000;
    random_bits.seed(20260101);
    decimal_init('.');
    for (u64 i = 0; i < count; i++) {
        if (i % 5000 == 4999) {  // a minus sign and digits as separators are nonsense, and treated alike
            const u8 separators[] = {'.', ',', '.', ',', '.', ',', '\'', '-', '0', '7', 0};
            decimal_init(separators[below(sizeof separators)]);
        }
        const bool agrees = one_in(3) ? eight_operation_agrees() : ten_operation_agrees();
        ASSERT_TRUE(agrees) << "operation " << i << ": " << all_told();
    }
    decimal_init('.');
}

// Neither implementation allocates, opens or waits for anything.
TEST(decimal_agreement, asks_nothing_of_the_platform)
{
    random_bits.seed(2);
    decimal_init('.');
    for (i32 i = 0; i < 2000; i++) ASSERT_TRUE(ten_operation_agrees() && eight_operation_agrees()) << all_told();
    EXPECT_TRUE(call_log().empty());
}

TEST(decimal_agreement, holds_for_the_constants)
{
    for (u32 separator = 0; separator < 256; separator++) {
        EXPECT_EQ(constants_made_by(zuk::decimal_init, (u8)separator),
                  constants_made_by(literal::decimal_init, (u8)separator))
            << separator;
    }
    decimal_init('.');
}

// Each integer of 16 bits, there and back.
TEST(decimal_agreement, holds_for_all_short_integers)
{
    decimal_init('.');
    for (i32 value = INT16_MIN; value <= INT16_MAX; value++) {
        Decimal10 fast, slow;
        zuk::dec10_from_i16(&fast, (i16)value);
        literal::dec10_from_i16(&slow, (i16)value);
        ASSERT_EQ(bytes_of(fast), bytes_of(slow)) << value;
        ASSERT_EQ(zuk::dec10_to_i16(nullptr, &fast), literal::dec10_to_i16(nullptr, &fast)) << value;
        if (value != INT16_MIN) {
            ASSERT_EQ(zuk::dec10_to_i16(nullptr, &fast), value);
        }
    }
}
