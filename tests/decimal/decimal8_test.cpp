// Every operation is run by both implementations here, and both must give the result that stands in the test.
#include "decimal/decimal8.h"

#include "decimal/decimal10.h"
#include "decimal/literal.h"
#include "tests/decimal/both.h"

#include <limits.h>

using namespace zuk;

namespace {

// Results in words, from numbers in words.

std::string parse(const std::string &text) { return run(dec8_parse, literal::dec8_parse, Text(text)); }
std::string format(const Decimal8 &a) { return run(dec8_format, literal::dec8_format, &a); }
std::string format_plain(const Decimal8 &a) { return run(dec8_format_plain, literal::dec8_format_plain, &a); }

std::string parse_scaled(const std::string &text, i32 places)
{
    return run(dec8_parse_scaled, literal::dec8_parse_scaled, Text(text), places);
}

std::string arith(const Decimal8 &a, i32 op, const Decimal8 &b)
{
    return run(dec8_arith, literal::dec8_arith, &a, op, &b);
}

std::string sum(const char *a, const char *b) { return arith(eight(a), DEC_ADD, eight(b)); }
std::string difference(const char *a, const char *b) { return arith(eight(a), DEC_SUB, eight(b)); }
std::string product(const char *a, const char *b) { return arith(eight(a), DEC_MUL, eight(b)); }
std::string quotient(const char *a, const char *b) { return arith(eight(a), DEC_DIV, eight(b)); }
std::string remainder(const char *a, const char *b) { return arith(eight(a), DEC_REM, eight(b)); }

std::string muldiv(const char *a, const char *b, const char *c)
{
    const Decimal8 x = eight(a), y = eight(b), z = eight(c);
    return run(dec8_muldiv, literal::dec8_muldiv, &x, &y, &z);
}

std::string adjust(const char *number, i32 op, i32 n)
{
    const Decimal8 a = eight(number);
    return run(dec8_adjust, literal::dec8_adjust, &a, op, n);
}

std::string shift(const char *number, i32 n, bool left)
{
    const Decimal8 a = eight(number);
    return run(dec8_shift, literal::dec8_shift, &a, n, left);
}

std::string round(const Decimal8 &a, i32 places) { return run(dec8_round, literal::dec8_round, &a, places); }

std::string relations(const Decimal8 &a, const Decimal8 &b)
{
    return run_relations(dec8_compare, literal::dec8_compare, a, b);
}

i32 to_i16(const char *number) { return run_stored(dec8_to_i16, literal::dec8_to_i16, eight(number)); }
i32 to_i32(const char *number) { return run_stored(dec8_to_i32, literal::dec8_to_i32, eight(number)); }

const char *const MAX = "9999999999999";
const char *const MIN = "-9999999999999";

// A product of fourteen digits: the first stands where no digit belongs.
Decimal8 with_stray(const char *number, u8 stray)
{
    Decimal8 a = eight(number);
    a.bytes[1] = (u8)(a.bytes[1] | stray << 4);
    return a;
}

} // namespace

// ---- Constants ------------------------------------------------------------------------------------------------------

TEST(decimal8_init, makes_the_constants)
{
    EXPECT_EQ(bytes_of(dec8_zero), "00 00 00 00 00 00 00 00");
    EXPECT_EQ(bytes_of(dec8_one), "00 00 00 00 00 00 00 01");
    EXPECT_EQ(bytes_of(dec8_five), "00 00 00 00 00 00 00 05");
    EXPECT_EQ(bytes_of(dec8_ten), "00 00 00 00 00 00 00 10");
    EXPECT_EQ(bytes_of(dec8_hundred), "00 00 00 00 00 00 01 00");
    EXPECT_EQ(bytes_of(dec8_i16_max), "00 00 00 00 00 03 27 67");
    EXPECT_EQ(bytes_of(dec8_i16_min), "F0 00 00 00 00 FD F9 F8");
    EXPECT_EQ(bytes_of(dec8_i32_max), "00 00 00 21 47 48 36 47");
    EXPECT_EQ(bytes_of(dec8_i32_min), "F0 00 00 FF F9 F8 FA F8");
    EXPECT_EQ(bytes_of(dec8_max), "00 09 99 99 99 99 99 99");
    EXPECT_EQ(bytes_of(dec8_min), "F0 09 99 99 99 99 99 99");
}

// ---- Moving and testing ---------------------------------------------------------------------------------------------

TEST(dec8_copy, copies_all_bytes)
{
    const Decimal8 a = {{0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0}};
    EXPECT_EQ(run(dec8_copy, literal::dec8_copy, &a), "12 34 56 78 9A BC DE F0");
}

TEST(dec8_clear, clears_all_bytes)
{
    EXPECT_EQ(run(dec8_clear, literal::dec8_clear), "0");
}

TEST(dec8_pack, drops_cell_1_and_the_fraction)
{
    const u8 cells[20] = {15, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    Decimal8 fast = filled<Decimal8>(), slow = filled<Decimal8>();
    EXPECT_EQ(dec8_pack(cells, &fast), &fast);
    literal::dec8_pack(cells, &slow);
    EXPECT_EQ(same_number(fast, slow), "-2345678901234");
    EXPECT_EQ(bytes_of(fast), "F0 02 34 56 78 90 12 34");
}

// Cell 2 has a byte of its own, and the lower cell of each other byte is ORed in whole.
TEST(dec8_pack, does_not_mask_cells)
{
    u8 cells[20] = {};
    cells[0] = 0x2F, cells[2] = 0xAB, cells[3] = 0xCD, cells[14] = 0xEF;
    Decimal8 fast, slow;
    dec8_pack(cells, &fast);
    literal::dec8_pack(cells, &slow);
    EXPECT_EQ(same_number(fast, slow), "F0 AB D0 00 00 00 00 EF");
}

TEST(dec8_unpack, leaves_cell_1_and_the_fraction_zero)
{
    const Decimal8 a = {{0xF7, 0x72, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE}};  // the sevens are masked off
    DecimalDigits fast, slow;
    memset(fast, 0xEE, sizeof fast);
    EXPECT_EQ(dec8_unpack(fast, &a), fast);
    literal::dec8_unpack(slow, &a);
    EXPECT_EQ(bytes_of(fast, 20), "0F 00 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 00 00 00 00 00");
    EXPECT_EQ(bytes_of(slow, 20), bytes_of(fast, 20));
}

TEST(dec8_is_invalid, looks_at_the_unpacked_cells)
{
    for (i32 nibble = 0; nibble < 16; nibble++) {
        for (i32 value = 0; value < 16; value++) {
            Decimal8 a = {};
            a.bytes[nibble / 2] = (u8)(nibble % 2 ? value : value << 4);
            const bool stray = nibble == 1 || nibble == 2;
            const bool invalid = nibble == 0 ? value != 0 && value != 15 : !stray && value > 9;
            EXPECT_EQ(run(dec8_is_invalid, literal::dec8_is_invalid, &a), invalid) << nibble;
        }
    }
}

TEST(dec8_equal, compares_each_byte)
{
    const Decimal8 a = eight("-1234567890123");
    EXPECT_TRUE(dec8_equal(&a, &a));
    for (size_t i = 0; i < 8; i++) {
        Decimal8 b = a;
        b.bytes[i] ^= 0x10;
        EXPECT_FALSE(run(dec8_equal, literal::dec8_equal, &a, &b)) << i;
    }
    const Decimal8 zero = eight("0"), negative = eight("-0");
    EXPECT_FALSE(run(dec8_equal, literal::dec8_equal, &zero, &negative));
}

TEST(dec8_greater, goes_by_sign_and_digits)
{
    const char *const rising[] = {MIN, "-2", "-1", "-0", "0", "1", "2", "1000000000000", MAX};
    for (size_t i = 0; i < 9; i++) {
        for (size_t k = 0; k < 9; k++) {
            const Decimal8 a = eight(rising[i]), b = eight(rising[k]);
            EXPECT_EQ(run(dec8_greater, literal::dec8_greater, &a, &b) != 0, i > k);
        }
    }
}

TEST(dec8_compare, knows_six_relations)
{
    EXPECT_EQ(relations(eight("15"), eight("15")), "={}");
    EXPECT_EQ(relations(eight("15"), eight("16")), "!<{");
    EXPECT_EQ(relations(eight("-15"), eight("-16")), "!>}");
    const Decimal8 a = eight("1");
    for (i32 relation : {-1, 6, 32767}) {
        EXPECT_FALSE(run(dec8_compare, literal::dec8_compare, &a, (i16)relation, &a));
    }
}

// It is seen by equality alone: such a number is neither greater than its like nor equal, and so below it, both ways.
TEST(dec8_compare, sees_a_stray_digit_as_a_difference)
{
    EXPECT_EQ(relations(with_stray("5", 1), eight("5")), "!<{");
    EXPECT_EQ(relations(eight("5"), with_stray("5", 1)), "!<{");
}

TEST(dec8_negate, turns_the_sign_but_of_zero)
{
    const char *const pairs[][2] = {{"15", "-15"}, {"-15", "15"}, {"0", "0"}, {"-0", "0"}};
    for (auto &pair : pairs) {
        const Decimal8 a = eight(pair[0]);
        EXPECT_EQ(run(dec8_negate, literal::dec8_negate, &a), pair[1]);
    }
}

TEST(dec8_abs, clears_the_sign)
{
    const char *const pairs[][2] = {{"15", "15"}, {"-15", "15"}, {"-0", "0"}};
    for (auto &pair : pairs) {
        const Decimal8 a = eight(pair[0]);
        EXPECT_EQ(run(dec8_abs, literal::dec8_abs, &a), pair[1]);
    }
}

TEST(dec8_power_of_ten, sets_one_digit)
{
    std::string power = "1";
    for (i32 n = 0; n <= 12; n++, power += '0') {
        EXPECT_EQ(run(dec8_power_of_ten, literal::dec8_power_of_ten, (i16)n), power);
    }
}

// 13 is cell 1, which is dropped, and 14 the sign.
TEST(dec8_power_of_ten, gives_zero_elsewhere)
{
    for (i32 n : {13, -1, -5, -6, 15, 16, 32767, -32768}) {
        EXPECT_EQ(run(dec8_power_of_ten, literal::dec8_power_of_ten, (i16)n), "0") << n;
    }
    EXPECT_EQ(run(dec8_power_of_ten, literal::dec8_power_of_ten, 14), "10 00 00 00 00 00 00 00");
}

// ---- Between the sizes ----------------------------------------------------------------------------------------------

TEST(dec8_from_dec10, drops_the_fraction_and_the_fourteenth_digit)
{
    const char *const pairs[][2] = {{"123.45678", "123"},
                                    {"-123.99999", "-123"},
                                    {"12345678901234", "2345678901234"},
                                    {"-0.5", "-0"}};
    for (auto &pair : pairs) {
        const Decimal10 a = ten(pair[0]);
        Decimal8 fast = filled<Decimal8>(), slow = filled<Decimal8>();
        EXPECT_EQ(dec8_from_dec10(&a, &fast), 1);
        EXPECT_EQ(literal::dec8_from_dec10(&a, &slow), 1);
        EXPECT_EQ(same_number(fast, slow), pair[1]);
    }
}

TEST(dec10_from_dec8, keeps_the_value)
{
    for (const char *number : {"0", "123", "-123", MAX, MIN, "-0"}) {
        const Decimal8 a = eight(number);
        Decimal10 fast, slow;
        memset(&fast, 0xEE, sizeof fast);
        EXPECT_EQ(dec10_from_dec8(&a, &fast), 1);
        EXPECT_EQ(literal::dec10_from_dec8(&a, &slow), 1);
        EXPECT_EQ(bytes_of(fast), bytes_of(slow));
        EXPECT_EQ(shown(fast), number);
    }
    const Decimal8 a = with_stray("5", 1);
    Decimal10 b;
    dec10_from_dec8(&a, &b);
    EXPECT_EQ(shown(b), "5");
    const Decimal8 c = eight("123");
    Text text;
    dec10_from_dec8(&c, &b);
    EXPECT_EQ((dec10_format(text.bytes, &b), text.str()), "123.00000");
}

// ---- Text -----------------------------------------------------------------------------------------------------------

TEST(dec8_parse, reads_whole_numbers)
{
    EXPECT_EQ(parse("7"), "7");
    EXPECT_EQ(parse("-1234567890123"), "-1234567890123");
    EXPECT_EQ(parse("abc12"), "12");
    EXPECT_EQ(parse("12abc"), "12");
    EXPECT_EQ(parse(""), "0");
    EXPECT_EQ(parse("-0"), "0");
}

TEST(dec8_parse, cuts_the_fraction)
{
    EXPECT_EQ(parse("12.99"), "12");
    EXPECT_EQ(parse("12.99999999"), "12");  // nothing is carried here
    EXPECT_EQ(parse("9.999999"), "9");
    EXPECT_EQ(parse("-0.99"), "0");
}

TEST(dec8_parse, drops_a_fourteenth_digit)
{
    EXPECT_EQ(parse("12345678901234"), "2345678901234");
    EXPECT_EQ(parse("-12345678901234.56"), "-2345678901234");
    EXPECT_EQ(parse("-10000000000000"), "0");
}

TEST(dec8_parse, saturates_above_fourteen_digits)
{
    EXPECT_EQ(parse("123456789012345"), MAX);
    EXPECT_EQ(parse("-123456789012345"), MIN);
    EXPECT_EQ(parse("123456789012345.6"), MAX);
    EXPECT_EQ(parse("-" + std::string(15, '0') + "1"), MIN);
}

// A separator that would be the eighteenth character isn't seen, which makes no difference here.
TEST(dec8_parse, looks_at_17_characters)
{
    EXPECT_EQ(parse("-" + std::string(14, '9') + ".55"), MIN);
    EXPECT_EQ(parse("-" + std::string(20, '9') + ".55"), MIN);
    EXPECT_EQ(parse("-" + std::string(14, '1') + ".5"), "-1111111111111");
}

TEST(dec8_format, always_shows_five_zeros)
{
    EXPECT_EQ(format(eight("12")), "12.00000");
    EXPECT_EQ(format(eight("0")), "0.00000");
    EXPECT_EQ(format(eight("-0")), "-0.00000");
    EXPECT_EQ(format(eight(MIN)), "-9999999999999.00000");
    EXPECT_EQ(format(with_stray("5", 1)), "5.00000");
}

TEST(dec8_format_plain, shows_the_integer_alone)
{
    EXPECT_EQ(format_plain(eight("12")), "12");
    EXPECT_EQ(format_plain(eight("0")), "0");
    EXPECT_EQ(format_plain(eight("-0")), "-0");
    EXPECT_EQ(format_plain(eight(MAX)), MAX);
    EXPECT_EQ(format_plain(eight(MIN)), MIN);
    EXPECT_EQ(format_plain(eight("1000000")), "1000000");
}

TEST(dec8_parse_scaled, takes_places_as_a_limit_of_the_text_alone)
{
    EXPECT_EQ(parse_scaled("150", 2), "150");
    EXPECT_EQ(parse_scaled("150", 0), "150");
    EXPECT_EQ(parse_scaled("150", -9), "15");  // 2 characters
    EXPECT_EQ(parse_scaled("1234567890123", 0), "12345678901");
    EXPECT_EQ(parse_scaled("1234567890123", 2), "1234567890123");
    EXPECT_EQ(parse_scaled("-1,500 EUR", 2), "-1500");
    EXPECT_EQ(parse_scaled("1-50", 2), "-150");
    EXPECT_EQ(parse_scaled("x150", 2), "0");
    EXPECT_EQ(parse_scaled("", 2), "0");
    EXPECT_EQ(parse_scaled("150", -11), "0");
    EXPECT_EQ(parse_scaled("150", -32768), "0");
}

// Fourteen digits lose the first one; the first of fifteen becomes the sign, and what is in front of it is dropped.
TEST(dec8_parse_scaled, puts_a_fifteenth_digit_into_the_sign)
{
    EXPECT_EQ(parse_scaled("12345678901234", 3), "2345678901234");
    EXPECT_EQ(parse_scaled("712345678901234", 4), "70 02 34 56 78 90 12 34");
    EXPECT_EQ(parse_scaled("9712345678901234", 5), "70 02 34 56 78 90 12 34");
    EXPECT_EQ(parse_scaled(std::string(255, '1'), 32767), "10 01 11 11 11 11 11 11");
}

// ---- Integers -------------------------------------------------------------------------------------------------------

TEST(dec8_from_i16, makes_whole_numbers)
{
    for (i32 value : {0, 1, -1, 12345, 32767, -32767}) {
        EXPECT_EQ(run(dec8_from_i16, literal::dec8_from_i16, (i16)value), std::to_string(value));
    }
}

TEST(dec8_from_i16, makes_an_invalid_number_of_the_least_integer)
{
    EXPECT_EQ(run(dec8_from_i16, literal::dec8_from_i16, -32768), "F0 00 00 00 00 FD F9 F8");
}

TEST(dec8_from_i32, makes_whole_numbers)
{
    for (i32 value : {0, 1, -1, -123456789, INT_MAX, -INT_MAX}) {
        EXPECT_EQ(run(dec8_from_i32, literal::dec8_from_i32, value), std::to_string(value));
    }
}

TEST(dec8_from_i32, makes_an_invalid_number_of_the_least_integer)
{
    EXPECT_EQ(run(dec8_from_i32, literal::dec8_from_i32, INT_MIN), "F0 00 00 FF F9 F8 FA F8");
}

TEST(dec8_to_i16, saturates_above_and_far_below)
{
    EXPECT_EQ(to_i16("0"), 0);
    EXPECT_EQ(to_i16("-0"), 0);
    EXPECT_EQ(to_i16("32767"), 32767);
    EXPECT_EQ(to_i16("32768"), 32767);
    EXPECT_EQ(to_i16(MAX), 32767);
    EXPECT_EQ(to_i16("-32768"), -32768);
    EXPECT_EQ(to_i16("-1000000"), -32768);
    EXPECT_EQ(to_i16(MIN), -32768);
}

TEST(dec8_to_i16, wraps_below_the_least_integer_up_to_six_digits)
{
    EXPECT_EQ(to_i16("-40000"), 25536);
    EXPECT_EQ(to_i16("-100000"), 0);
    EXPECT_EQ(to_i16("-999999"), 31073);
}

TEST(dec8_to_i32, saturates_above_and_far_below)
{
    EXPECT_EQ(to_i32("2147483647"), INT_MAX);
    EXPECT_EQ(to_i32("2147483648"), INT_MAX);
    EXPECT_EQ(to_i32("-2147483648"), INT_MIN);
    EXPECT_EQ(to_i32("-10000000000"), INT_MIN);
    EXPECT_EQ(to_i32(MIN), INT_MIN);
}

TEST(dec8_to_i32, wraps_below_the_least_integer_up_to_ten_digits)
{
    EXPECT_EQ(to_i32("-2147483649"), INT_MAX);
    EXPECT_EQ(to_i32("-4294967296"), 0);
    EXPECT_EQ(to_i32("-9999999999"), -1410065407);  // 2 * 2^32 - 9999999999
}

TEST(dec8_to_i16, needs_no_place_for_the_result)
{
    const Decimal8 a = eight("7");
    EXPECT_EQ(dec8_to_i16(nullptr, &a), 7);
    EXPECT_EQ(literal::dec8_to_i16(nullptr, &a), 7);
    EXPECT_EQ(dec8_to_i32(nullptr, &a), 7);
    EXPECT_EQ(literal::dec8_to_i32(nullptr, &a), 7);
}

// ---- Arithmetic -----------------------------------------------------------------------------------------------------

TEST(dec8_arith, clears_the_result_of_an_unknown_operation)
{
    for (i32 op : {-1, 5, 256}) EXPECT_EQ(arith(eight("7"), op, eight("3")), "0") << op;
}

TEST(dec8_arith, lets_the_result_be_an_operand)
{
    const char *const results[] = {"10", "4", "21", "2", "1"};
    for (i16 op = DEC_ADD; op <= DEC_REM; op++) {
        Decimal8 a = eight("7"), b = eight("3");
        EXPECT_EQ(shown(*dec8_arith(&a, &a, op, &b)), results[op]);
        a = eight("7");
        EXPECT_EQ(shown(*dec8_arith(&b, &a, op, &b)), results[op]);
    }
}

TEST(dec8_arith, has_the_operations_apart)
{
    expect_apart<Decimal8>({dec8_add, dec8_sub, dec8_mul, dec8_div, dec8_rem},
                           {literal::dec8_add, literal::dec8_sub, literal::dec8_mul, literal::dec8_div,
                            literal::dec8_rem},
                           eight("-7"), eight("3"), {"-4", "-10", "-21", "-2", "-1"});
}

TEST(dec8_arith, adds_and_subtracts)
{
    EXPECT_EQ(sum("15", "27"), "42");
    EXPECT_EQ(sum("-15", "-27"), "-42");
    EXPECT_EQ(sum("15", "-27"), "-12");
    EXPECT_EQ(sum("27", "-15"), "12");
    EXPECT_EQ(sum("15", "-15"), "0");
    EXPECT_EQ(difference("15", "27"), "-12");
    EXPECT_EQ(difference("-15", "27"), "-42");
    EXPECT_EQ(difference("-15", "-15"), "0");
    EXPECT_EQ(difference("1000000000000", "1"), "999999999999");
    EXPECT_EQ(sum("-0", "-0"), "-0");
    EXPECT_EQ(sum("0", "-0"), "0");
}

TEST(dec8_arith, wraps_a_sum_of_fourteen_digits)
{
    EXPECT_EQ(sum(MAX, "1"), "0");
    EXPECT_EQ(sum(MAX, "5"), "4");
    EXPECT_EQ(sum(MAX, MAX), "9999999999998");
    EXPECT_EQ(sum(MIN, "-1"), "-0");
    EXPECT_EQ(difference(MIN, "3"), "-2");
}

TEST(dec8_arith, multiplies)
{
    EXPECT_EQ(product("15", "-4"), "-60");
    EXPECT_EQ(product("-15", "-4"), "60");
    EXPECT_EQ(product("-15", "0"), "0");
    EXPECT_EQ(product("3333333333333", "3"), MAX);
}

TEST(dec8_arith, leaves_a_stray_digit_of_a_product_in_byte_1)
{
    EXPECT_EQ(product("5000000000000", "2"), "00 10 00 00 00 00 00 00");
    EXPECT_EQ(product(MAX, "2"), "00 19 99 99 99 99 99 98");
    EXPECT_EQ(product(MAX, "-2"), "F0 19 99 99 99 99 99 98");

    // Sums and text don't see it, products and quotients do.
    const Decimal8 a = with_stray("0", 1);
    EXPECT_EQ(format(a), "0.00000");
    EXPECT_EQ(arith(a, DEC_ADD, eight("5")), "5");
    EXPECT_EQ(arith(a, DEC_DIV, eight("10")), "1000000000000");
    EXPECT_EQ(arith(a, DEC_MUL, eight("2")), "00 20 00 00 00 00 00 00");
}

TEST(dec8_arith, overflows_a_product_to_fourteen_nines)
{
    EXPECT_EQ(product(MAX, "100"), "00 99 99 99 99 99 99 99");
    EXPECT_EQ(product(MAX, "-100"), "F0 99 99 99 99 99 99 99");
    EXPECT_EQ(product(MAX, MAX), "00 99 99 99 99 99 99 99");
    EXPECT_EQ(product("10000000", "10000000"), "00 99 99 99 99 99 99 99");  // 10^14
    EXPECT_EQ(product("10000000", "9999999"), "00 99 99 99 90 00 00 00");
}

TEST(dec8_arith, cuts_the_quotient_after_rounding_its_fifth_decimal)
{
    EXPECT_EQ(quotient("7", "2"), "3");
    EXPECT_EQ(quotient("-7", "2"), "-3");
    EXPECT_EQ(quotient("2", "3"), "0");
    EXPECT_EQ(quotient("-2", "3"), "0");
    EXPECT_EQ(quotient(MAX, "1"), MAX);
    EXPECT_EQ(quotient("999999", "1000000"), "1");  // 0.999999
    EXPECT_EQ(quotient("999994", "1000000"), "0");
    EXPECT_EQ(quotient("999995", "1000000"), "1");
}

TEST(dec8_arith, divides_by_zero_to_zero)
{
    EXPECT_EQ(quotient("7", "0"), "0");
    EXPECT_EQ(quotient("7", "-0"), "0");
}

// In the high nibble of byte 0 there is the sign, and the widened number has nothing of it.
TEST(dec8_arith, divides_by_a_sign_alone_to_zero)
{
    Decimal8 a = {};
    a.bytes[0] = 0x30;
    EXPECT_EQ(arith(eight("7"), DEC_DIV, a), "0");
}

TEST(dec8_arith, takes_the_remainder)
{
    EXPECT_EQ(remainder("7", "3"), "1");
    EXPECT_EQ(remainder("-7", "2"), "-1");
    EXPECT_EQ(remainder("7", "-2"), "-1");
    EXPECT_EQ(remainder("-7", "-2"), "1");
    EXPECT_EQ(remainder("6", "-2"), "0");
    EXPECT_EQ(remainder("-7", "0"), "-7");
    EXPECT_EQ(remainder("999999", "1000000"), "-1");
    EXPECT_EQ(remainder("-999999", "1000000"), "1");
}

// 9999999999999 / 5000000000000 is rounded to 2, and twice the divisor is a number that reads as 0.
TEST(dec8_arith, takes_the_remainder_of_a_product_of_fourteen_digits)
{
    EXPECT_EQ(remainder(MAX, "5000000000000"), MAX);
}

TEST(dec8_muldiv, keeps_the_product)
{
    EXPECT_EQ(muldiv("1000000", "1000000", "1000"), "1000000000");
    EXPECT_EQ(muldiv("2", "3", "4"), "1");
    EXPECT_EQ(muldiv("-2", "3", "4"), "-1");
    EXPECT_EQ(muldiv("-2", "-3", "-4"), "-1");
    EXPECT_EQ(muldiv("-2", "3", "-4"), "1");
    EXPECT_EQ(muldiv(MAX, "10", "10"), MAX);
    EXPECT_EQ(muldiv(MAX, "10", "1"), "00 99 99 99 99 99 99 90");
    EXPECT_EQ(muldiv("1", "999999", "1000000"), "1");
}

TEST(dec8_muldiv, gives_zero_for_a_divisor_of_zero)
{
    EXPECT_EQ(muldiv("2", "3", "0"), "0");
    EXPECT_EQ(muldiv("2", "3", "-0"), "0");
}

// The nines are 99999999999999.9999999999; divided by 1 their rounding makes a digit more, in byte 0.
TEST(dec8_muldiv, overflows_before_it_divides)
{
    EXPECT_EQ(muldiv(MAX, "1000", "1000"), "100000000000");
    EXPECT_EQ(muldiv(MAX, "1000", "3"), "00 33 33 33 33 33 33 33");
    EXPECT_EQ(muldiv(MAX, "1000", "1"), "01 00 00 00 00 00 00 00");
    EXPECT_EQ(muldiv(MAX, "1000", "-1"), "F1 00 00 00 00 00 00 00");
}

TEST(dec8_muldiv, gives_zero_into_its_divisor)
{
    Decimal8 a = eight("2"), b = eight("3"), c = eight("4");
    EXPECT_EQ(shown(*dec8_muldiv(&c, &a, &b, &c)), "0");
    c = eight("4");
    EXPECT_EQ(shown(*literal::dec8_muldiv(&c, &a, &b, &c)), "0");
    c = eight("4");
    EXPECT_EQ(shown(*dec8_muldiv(&a, &a, &b, &c)), "1");
}

// ---- Adjusting ------------------------------------------------------------------------------------------------------

TEST(dec8_adjust, knows_three_operations)
{
    EXPECT_EQ(adjust("-1250", DEC_SHIFT_LEFT, 2), "-125000");
    EXPECT_EQ(adjust("-1250", DEC_SHIFT_RIGHT, 2), "-12");
    EXPECT_EQ(adjust("-1250", DEC_ROUND, -2), "-1300");
    EXPECT_EQ(adjust("1250", 4, 2), "0");
    EXPECT_EQ(adjust("1250", -1, 2), "0");
}

TEST(dec8_adjust, does_not_truncate)
{
    EXPECT_EQ(adjust("1250", DEC_TRUNCATE, -2), "0");
}

TEST(dec8_shift, moves_digits_and_loses_them)
{
    EXPECT_EQ(shift("15", 3, true), "15000");
    EXPECT_EQ(shift("15", -3, false), "15000");
    EXPECT_EQ(shift("15000", 3, false), "15");
    EXPECT_EQ(shift("15000", -3, true), "15");
    EXPECT_EQ(shift("-15", 0, true), "-15");
    EXPECT_EQ(shift(MAX, 1, true), "9999999999990");
    EXPECT_EQ(shift("-15", 2, false), "-0");
    EXPECT_EQ(shift("15", 13, true), "0");
    EXPECT_EQ(shift("15", 18, false), "0");
}

TEST(dec8_shift, gives_zero_outside_its_bounds)
{
    for (i32 n : {-6, 19, 32767, -32768}) EXPECT_EQ(shift("-15", n, true), "0") << n;
}

TEST(dec8_round, rounds_integer_digits)
{
    EXPECT_EQ(round(eight("1250"), -2), "1300");
    EXPECT_EQ(round(eight("-1250"), -2), "-1300");
    EXPECT_EQ(round(eight("1249"), -2), "1200");
    EXPECT_EQ(round(eight("-49"), -2), "0");
    EXPECT_EQ(round(eight("1250"), 0), "1250");
    EXPECT_EQ(round(eight("1250"), 1), "1250");
    EXPECT_EQ(round(eight("-0"), 1), "0");
}

TEST(dec8_round, wraps_at_the_top)
{
    EXPECT_EQ(round(eight(MAX), -1), "0");
    EXPECT_EQ(round(eight(MIN), -1), "-0");
    EXPECT_EQ(round(eight("-5000000000000"), -13), "-0");
    EXPECT_EQ(round(eight("-4999999999999"), -13), "0");
}

TEST(dec8_round, copies_outside_its_range)
{
    EXPECT_EQ(round(eight("-1250"), 2), "-1250");
    EXPECT_EQ(round(eight("-1250"), -14), "-1250");
    EXPECT_EQ(round(eight("-0"), 2), "-0");
    EXPECT_EQ(round(eight("1250"), 32767), "1250");
    EXPECT_EQ(round(eight("1250"), -32768), "1250");
    EXPECT_EQ(round(with_stray("5", 1), 2), "00 10 00 00 00 00 00 05");
    EXPECT_EQ(round(with_stray("5", 1), 1), "5");  // the digits are packed again there
}
