// Every operation is run by both implementations here, and both must give the result that stands in the test.
#include "decimal/decimal10.h"

#include "decimal/literal.h"
#include "tests/decimal/both.h"

#include <limits.h>

using namespace zuk;

namespace {

// All constants and the separator that hold anything but zero.
size_t constants_made()
{
    const Decimal10 *const tens[] = {&dec10_zero,    &dec10_one,     &dec10_five,    &dec10_ten, &dec10_hundred,
                                     &dec10_i16_max, &dec10_i16_min, &dec10_i32_max, &dec10_i32_min,
                                     &dec10_max,     &dec10_min};
    const Decimal8 *const eights[] = {&dec8_zero,    &dec8_one,     &dec8_five,    &dec8_ten, &dec8_hundred,
                                      &dec8_i16_max, &dec8_i16_min, &dec8_i32_max, &dec8_i32_min,
                                      &dec8_max,     &dec8_min};
    size_t count = decimal_separator != 0;
    for (const Decimal10 *constant : tens) count += shown(*constant) != "0";
    for (const Decimal8 *constant : eights) count += shown(*constant) != "0";
    return count;
}

// Every test of this folder starts with the constants made, and a full stop as separator.
size_t made_at_first = constants_made();  // when the program starts

class Constants : public testing::Environment {
    void SetUp() override { decimal_init('.'); }
};
[[maybe_unused]] testing::Environment *const constants = testing::AddGlobalTestEnvironment(new Constants);

struct Separator {
    explicit Separator(char separator) { decimal_init((u8)separator); }
    ~Separator() { decimal_init('.'); }
};

// Results in words, from numbers in words.

std::string parse(const std::string &text) { return run(dec10_parse, literal::dec10_parse, Text(text)); }
std::string format(const Decimal10 &a) { return run(dec10_format, literal::dec10_format, &a); }

std::string parse_scaled(const std::string &text, i32 places)
{
    return run(dec10_parse_scaled, literal::dec10_parse_scaled, Text(text), places);
}

std::string format_scaled(const char *number, i32 places)
{
    const Decimal10 a = ten(number);
    return run(dec10_format_scaled, literal::dec10_format_scaled, &a, places);
}

std::string arith(const Decimal10 &a, i32 op, const Decimal10 &b)
{
    return run(dec10_arith, literal::dec10_arith, &a, op, &b);
}

std::string sum(const char *a, const char *b) { return arith(ten(a), DEC_ADD, ten(b)); }
std::string difference(const char *a, const char *b) { return arith(ten(a), DEC_SUB, ten(b)); }
std::string product(const char *a, const char *b) { return arith(ten(a), DEC_MUL, ten(b)); }
std::string quotient(const char *a, const char *b) { return arith(ten(a), DEC_DIV, ten(b)); }
std::string remainder(const char *a, const char *b) { return arith(ten(a), DEC_REM, ten(b)); }

std::string muldiv(const char *a, const char *b, const char *c)
{
    const Decimal10 x = ten(a), y = ten(b), z = ten(c);
    return run(dec10_muldiv, literal::dec10_muldiv, &x, &y, &z);
}

std::string adjust(const char *number, i32 op, i32 n)
{
    const Decimal10 a = ten(number);
    return run(dec10_adjust, literal::dec10_adjust, &a, op, n);
}

std::string shift(const char *number, i32 n, bool left)
{
    const Decimal10 a = ten(number);
    return run(dec10_shift, literal::dec10_shift, &a, n, left);
}

std::string round(const char *number, i32 places)
{
    const Decimal10 a = ten(number);
    return run(dec10_round, literal::dec10_round, &a, places);
}

std::string truncate(const char *number, i32 places)
{
    const Decimal10 a = ten(number);
    return run(dec10_truncate, literal::dec10_truncate, &a, places);
}

i16 compare(const Decimal10 &a, i32 relation, const Decimal10 &b)
{
    return run(dec10_compare, literal::dec10_compare, &a, relation, &b);
}

std::string relations(const char *a, const char *b)
{
    return run_relations(dec10_compare, literal::dec10_compare, ten(a), ten(b));
}

bool greater(const char *a, const char *b)
{
    const Decimal10 x = ten(a), y = ten(b);
    return run(dec10_greater, literal::dec10_greater, &x, &y) != 0;
}

i32 to_i16(const char *number) { return run_stored(dec10_to_i16, literal::dec10_to_i16, ten(number)); }
i32 to_i32(const char *number) { return run_stored(dec10_to_i32, literal::dec10_to_i32, ten(number)); }

const char *const MAX = "99999999999999.99999";
const char *const MIN = "-99999999999999.99999";

} // namespace

// ---- Constants ------------------------------------------------------------------------------------------------------

TEST(decimal_init, makes_the_constants)
{
    EXPECT_EQ(bytes_of(dec10_zero), "00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(bytes_of(dec10_one), "00 00 00 00 00 00 00 10 00 00");
    EXPECT_EQ(bytes_of(dec10_five), "00 00 00 00 00 00 00 50 00 00");
    EXPECT_EQ(bytes_of(dec10_ten), "00 00 00 00 00 00 01 00 00 00");
    EXPECT_EQ(bytes_of(dec10_hundred), "00 00 00 00 00 00 10 00 00 00");
    EXPECT_EQ(bytes_of(dec10_i16_max), "00 00 00 00 00 32 76 70 00 00");
    EXPECT_EQ(bytes_of(dec10_i16_min), "F0 00 00 00 00 FE FA 80 00 00");
    EXPECT_EQ(bytes_of(dec10_i32_max), "00 00 02 14 74 83 64 70 00 00");
    EXPECT_EQ(bytes_of(dec10_i32_min), "F0 00 02 14 74 83 64 80 00 00");
    EXPECT_EQ(bytes_of(dec10_max), "09 99 99 99 99 99 99 99 99 99");
    EXPECT_EQ(bytes_of(dec10_min), "F9 99 99 99 99 99 99 99 99 99");
    EXPECT_EQ(decimal_separator, '.');
}

TEST(decimal_init, finds_all_constants_zero)
{
    EXPECT_EQ(made_at_first, 0u);
    EXPECT_EQ(constants_made(), 21u);  // all but the two zeros
}

TEST(decimal_init, takes_another_separator_the_second_time)
{
    Separator comma(',');
    EXPECT_EQ(decimal_separator, ',');
    EXPECT_EQ(parse("12,5"), "12.5");
    EXPECT_EQ(parse("12.5"), "12");
    EXPECT_EQ(format(ten("12.5")), "12,50000");
    EXPECT_EQ(shown(dec10_max), MAX);
    EXPECT_EQ(shown(dec8_max), "9999999999999");
}

// ---- Moving and testing ---------------------------------------------------------------------------------------------

TEST(dec10_copy, copies_all_bytes)
{
    const Decimal10 a = {{0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0, 0x11, 0x22}};
    EXPECT_EQ(run(dec10_copy, literal::dec10_copy, &a), "12 34 56 78 9A BC DE F0 11 22");
}

TEST(dec10_clear, clears_all_bytes)
{
    EXPECT_EQ(run(dec10_clear, literal::dec10_clear), "0");
}

TEST(dec10_pack, puts_two_cells_into_a_byte)
{
    const u8 cells[20] = {15, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    Decimal10 fast, slow;
    EXPECT_EQ(dec10_pack(cells, &fast), &fast);
    literal::dec10_pack(cells, &slow);
    EXPECT_EQ(same_number(fast, slow), "-12345678901234.56789");
    EXPECT_EQ(bytes_of(fast), "F1 23 45 67 89 01 23 45 67 89");
}

// The lower cell of a byte is ORed in whole, the upper one loses its upper half.
TEST(dec10_pack, does_not_mask_cells)
{
    u8 cells[20] = {};
    cells[10] = 0xFD, cells[11] = 0xFE, cells[12] = 0xF9, cells[19] = 0x1F;
    Decimal10 fast, slow;
    dec10_pack(cells, &fast);
    literal::dec10_pack(cells, &slow);
    EXPECT_EQ(same_number(fast, slow), "00 00 00 00 00 FE 90 00 00 1F");
}

TEST(dec10_unpack, gives_a_cell_a_nibble)
{
    const Decimal10 a = {{0xF1, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xE0, 0x12, 0x34}};
    DecimalDigits fast, slow;
    EXPECT_EQ(dec10_unpack(fast, &a), fast);
    literal::dec10_unpack(slow, &a);
    EXPECT_EQ(bytes_of(fast, 20), "0F 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 00 01 02 03 04");
    EXPECT_EQ(bytes_of(slow, 20), bytes_of(fast, 20));
}

TEST(dec10_is_invalid, finds_a_digit_above_9_in_each_cell)
{
    for (i32 cell = 1; cell < 20; cell++) {
        for (i32 digit = 0; digit < 16; digit++) {
            Decimal10 a = ten("-11111111111111.11111");
            u8 &byte = a.bytes[cell / 2];
            byte = (u8)(cell % 2 ? (byte & 0xF0) | digit : (byte & 15) | digit << 4);
            EXPECT_EQ(run(dec10_is_invalid, literal::dec10_is_invalid, &a), digit > 9) << cell;
        }
    }
}

TEST(dec10_is_invalid, knows_two_signs)
{
    for (i32 sign = 0; sign < 16; sign++) {
        Decimal10 a = ten("1");
        a.bytes[0] = (u8)(sign << 4);
        EXPECT_EQ(run(dec10_is_invalid, literal::dec10_is_invalid, &a), sign != 0 && sign != 15) << sign;
    }
}

TEST(dec10_equal, compares_each_byte)
{
    const Decimal10 a = ten("-12345678901234.56789");
    EXPECT_TRUE(dec10_equal(&a, &a));
    for (size_t i = 0; i < 10; i++) {
        Decimal10 b = a;
        b.bytes[i] ^= 1;
        EXPECT_FALSE(run(dec10_equal, literal::dec10_equal, &a, &b)) << i;
    }
}

TEST(dec10_equal, tells_a_negative_zero_from_zero)
{
    const Decimal10 zero = ten("0"), negative = ten("-0");
    EXPECT_FALSE(run(dec10_equal, literal::dec10_equal, &zero, &negative));
}

TEST(dec10_greater, looks_at_the_sign_first)
{
    EXPECT_TRUE(greater("1", "-2"));
    EXPECT_FALSE(greater("-2", "1"));
}

TEST(dec10_greater, puts_zero_above_negative_zero)
{
    EXPECT_TRUE(greater("0", "-0"));
    EXPECT_FALSE(greater("-0", "0"));
    EXPECT_EQ(relations("-0", "0"), "!<{");
}

TEST(dec10_greater, looks_at_the_first_different_digit)
{
    EXPECT_TRUE(greater("2.00001", "2"));
    EXPECT_FALSE(greater("2", "2.00001"));
    EXPECT_TRUE(greater("-2", "-2.00001"));
    EXPECT_FALSE(greater("-2.00001", "-2"));
    EXPECT_TRUE(greater("20000000000000", "19999999999999.99999"));
    EXPECT_FALSE(greater("2", "2"));
    EXPECT_FALSE(greater("-2", "-2"));
}

TEST(dec10_compare, knows_six_relations)
{
    EXPECT_EQ(relations("1.5", "1.5"), "={}");
    EXPECT_EQ(relations("1.5", "1.6"), "!<{");
    EXPECT_EQ(relations("1.6", "1.5"), "!>}");
    EXPECT_EQ(relations("-1.5", "-1.6"), "!>}");
    EXPECT_EQ(relations("-1.5", "1.5"), "!<{");
}

TEST(dec10_compare, is_false_for_any_other_relation)
{
    for (i32 relation : {-1, 6, 7, 256, 32767, -32768}) EXPECT_FALSE(compare(ten("1"), relation, ten("1"))) << relation;
}

TEST(dec10_negate, turns_the_sign_but_of_zero)
{
    const char *const pairs[][2] = {{"1.5", "-1.5"}, {"-1.5", "1.5"}, {"0", "0"}, {"-0", "0"}};
    for (auto &pair : pairs) {
        const Decimal10 a = ten(pair[0]);
        EXPECT_EQ(run(dec10_negate, literal::dec10_negate, &a), pair[1]);
        EXPECT_EQ(shown(a), pair[0]);
        Decimal10 b = a;
        EXPECT_EQ(shown(*dec10_negate(&b, &b)), pair[1]);
        b = a;
        EXPECT_EQ(shown(*literal::dec10_negate(&b, &b)), pair[1]);
    }
}

TEST(dec10_abs, clears_the_sign)
{
    const char *const pairs[][2] = {{"1.5", "1.5"}, {"-1.5", "1.5"}, {"-0", "0"}};
    for (auto &pair : pairs) {
        const Decimal10 a = ten(pair[0]);
        EXPECT_EQ(run(dec10_abs, literal::dec10_abs, &a), pair[1]);
    }
}

TEST(dec10_power_of_ten, sets_one_digit)
{
    const char *const powers[] = {"0.00001", "0.0001", "0.001", "0.01", "0.1", "1", "10", "100"};
    for (i32 n = -5; n <= 2; n++) {
        EXPECT_EQ(run(dec10_power_of_ten, literal::dec10_power_of_ten, (i16)n), powers[n + 5]);
    }
    Decimal10 a;
    EXPECT_EQ(shown(*dec10_power_of_ten(&a, 13)), "10000000000000");
}

// 14 is the sign cell; beyond that there are no cells.
TEST(dec10_power_of_ten, stays_inside_the_number)
{
    for (i32 n : {-6, -7, 15, 16, -32768, 32767}) {
        EXPECT_EQ(run(dec10_power_of_ten, literal::dec10_power_of_ten, (i16)n), "0") << n;
    }
    EXPECT_EQ(run(dec10_power_of_ten, literal::dec10_power_of_ten, 14), "10 00 00 00 00 00 00 00 00 00");
}

// ---- Text -----------------------------------------------------------------------------------------------------------

TEST(dec10_parse, reads_numbers)
{
    EXPECT_EQ(parse("0"), "0");
    EXPECT_EQ(parse("7"), "7");
    EXPECT_EQ(parse("-7"), "-7");
    EXPECT_EQ(parse("1.5"), "1.5");
    EXPECT_EQ(parse("-1234567.89"), "-1234567.89");
    EXPECT_EQ(parse("00012.50"), "12.5");
    EXPECT_EQ(parse(".25"), "0.25");
    EXPECT_EQ(parse("-.25"), "-0.25");
    EXPECT_EQ(parse("0.5"), "0.5");
    EXPECT_EQ(parse("12."), "12");
    EXPECT_EQ(parse("-12."), "-12");
    EXPECT_EQ(parse("12345678.87654"), "12345678.87654");
    EXPECT_EQ(parse("12345678"), "12345678");
}

TEST(dec10_parse, gives_zero_without_a_number)
{
    EXPECT_EQ(parse(""), "0");
    EXPECT_EQ(parse("abc"), "0");
    EXPECT_EQ(parse("."), "0");
    EXPECT_EQ(parse(".x"), "0");
    EXPECT_EQ(parse("000"), "0");
    EXPECT_EQ(parse("-"), "0");
    EXPECT_EQ(parse("-."), "0");
    EXPECT_EQ(parse(std::string(255, '0')), "0");
}

TEST(dec10_parse, skips_what_cannot_begin_a_number)
{
    EXPECT_EQ(parse("abc12"), "12");
    EXPECT_EQ(parse("  $ 12.50"), "12.5");
    EXPECT_EQ(parse("x..5"), "0.5");  // the first separator has no digit behind it
    EXPECT_EQ(parse("+-3"), "-3");
    EXPECT_EQ(parse(std::string(250, ' ') + "12345"), "12345");
}

TEST(dec10_parse, ends_at_what_cannot_go_on)
{
    EXPECT_EQ(parse("12abc"), "12");
    EXPECT_EQ(parse("1.5.9"), "1.5");
    EXPECT_EQ(parse("12-3"), "12");
    EXPECT_EQ(parse("--3"), "0");
    EXPECT_EQ(parse("1,5"), "1");
    EXPECT_EQ(parse("1.2 3"), "1.2");
}

TEST(dec10_parse, gives_zero_no_sign)
{
    EXPECT_EQ(parse("-0"), "0");
    EXPECT_EQ(parse("-0.00000"), "0");
    EXPECT_EQ(parse("-x"), "0");
}

TEST(dec10_parse, takes_fourteen_integer_digits)
{
    EXPECT_EQ(parse("99999999999999"), "99999999999999");
    EXPECT_EQ(parse("-99999999999999"), "-99999999999999");
    EXPECT_EQ(parse("12345678901234.5"), "12345678901234.5");
    EXPECT_EQ(parse("-12345678901234.5"), "-12345678901234.5");
}

TEST(dec10_parse, saturates_above_fourteen_integer_digits)
{
    EXPECT_EQ(parse("100000000000000"), MAX);
    EXPECT_EQ(parse("-100000000000000"), MIN);
    EXPECT_EQ(parse("123456789012345.5"), MAX);
    EXPECT_EQ(parse("-123456789012345.5"), MIN);
    EXPECT_EQ(parse(std::string(40, '1')), MAX);
}

// They aren't skipped there, and are counted.
TEST(dec10_parse, counts_zeros_behind_a_minus)
{
    EXPECT_EQ(parse("-" + std::string(15, '0') + "1"), MIN);
    EXPECT_EQ(parse("-" + std::string(13, '0') + "1"), "-1");
    EXPECT_EQ(parse(std::string(15, '0') + "1"), "1");
}

TEST(dec10_parse, takes_five_fraction_digits)
{
    EXPECT_EQ(parse("1.23456"), "1.23456");
    EXPECT_EQ(parse("99999999999999.99999"), MAX);
    EXPECT_EQ(parse("-99999999999999.99999"), MIN);
}

TEST(dec10_parse, raises_the_fifth_digit_before_any_sixth)
{
    EXPECT_EQ(parse("1.234560"), "1.23457");
    EXPECT_EQ(parse("1.000000"), "1.00001");
    EXPECT_EQ(parse("1.000009"), "1.00001");
    EXPECT_EQ(parse("-1.0000000000"), "-1.00001");
    EXPECT_EQ(parse("1.00000x"), "1");  // no sixth digit
    EXPECT_EQ(parse("1.999999"), "2");
}

// The carry has no cell in front of the first digit that was there.
TEST(dec10_parse, loses_the_carry_out_of_the_first_digit)
{
    EXPECT_EQ(parse("9.999999"), "0");
    EXPECT_EQ(parse("0.999999"), "0");  // the 0 was skipped
    EXPECT_EQ(parse("-0.999999"), "-1");
    EXPECT_EQ(parse("-9.999999"), "0");
    EXPECT_EQ(parse("99999999.999999"), "0");
    EXPECT_EQ(parse("89999999.999999"), "90000000");
}

// With a minus sign the sixth decimal is the twenty-second character.
TEST(dec10_parse, looks_at_21_characters)
{
    EXPECT_EQ(parse("12345678901234.567890"), "12345678901234.5679");
    EXPECT_EQ(parse("-12345678901234.567890"), "-12345678901234.56789");
}

TEST(dec10_parse, reads_nothing_behind_the_text)
{
    Text text("12");
    memcpy(text.bytes + 3, "345", 3);
    Decimal10 a;
    EXPECT_EQ(shown(*dec10_parse(&a, text)), "12");
    Text point(".");
    point.bytes[2] = '5';
    EXPECT_EQ(shown(*dec10_parse(&a, point)), "0");
}

TEST(dec10_format, shows_five_decimals_and_a_digit_in_front)
{
    EXPECT_EQ(format(ten("1.5")), "1.50000");
    EXPECT_EQ(format(ten("0")), "0.00000");
    EXPECT_EQ(format(ten("-12.34567")), "-12.34567");
    EXPECT_EQ(format(ten("0.05")), "0.05000");
    EXPECT_EQ(format(ten("100")), "100.00000");
    EXPECT_EQ(format(ten(MAX)), MAX);
    EXPECT_EQ(format(ten(MIN)), MIN);
    Decimal10 seven;
    EXPECT_EQ(format(*dec10_from_i16(&seven, 7)), "7.00000");
}

TEST(dec10_format, shows_every_count_of_digits)
{
    std::string digits;
    for (i32 count = 1; count <= 14; count++) {
        digits += (char)('0' + count % 10);
        EXPECT_EQ(format(ten((digits + ".5").c_str())), digits + ".50000");
        EXPECT_EQ(format(ten(("-" + digits).c_str())), "-" + digits + ".00000");
    }
}

TEST(dec10_format, shows_a_negative_zero)
{
    EXPECT_EQ(format(ten("-0")), "-0.00000");
}

// 10 to 15 are the characters behind the 9; any sign but 0 shows as a minus.
TEST(dec10_format, shows_invalid_digits)
{
    const Decimal10 a = {{0x50, 0, 0, 0, 0, 0, 0xAB, 0xCD, 0xEF, 0x12}};
    EXPECT_EQ(format(a), "-:;<.=>?12");
}

TEST(dec10_parse_scaled, takes_the_last_digits_for_the_fraction)
{
    EXPECT_EQ(parse_scaled("150", 2), "1.5");
    EXPECT_EQ(parse_scaled("-150", 2), "-1.5");
    EXPECT_EQ(parse_scaled("150", 0), "150");
    EXPECT_EQ(parse_scaled("5", 5), "0.00005");
    EXPECT_EQ(parse_scaled("5", -2), "500");
    EXPECT_EQ(parse_scaled("12345678901234", 0), "12345678901234");
}

TEST(dec10_parse_scaled, passes_over_what_is_no_digit)
{
    EXPECT_EQ(parse_scaled("1,234.50 EUR", 2), "1234.5");
    EXPECT_EQ(parse_scaled("1-50", 2), "-1.5");
    EXPECT_EQ(parse_scaled("-0", 2), "0");
}

TEST(dec10_parse_scaled, reads_nothing_unless_it_begins_with_a_digit_or_minus)
{
    EXPECT_EQ(parse_scaled(" 150", 2), "0");
    EXPECT_EQ(parse_scaled("+150", 2), "0");
    EXPECT_EQ(parse_scaled("", 2), "0");
}

// At -10 places it is 5 characters, of which the last stands in cell 4.
TEST(dec10_parse_scaled, looks_at_places_and_15_characters)
{
    EXPECT_EQ(parse_scaled("123", -13), "12 00 00 00 00 00 00 00 00 00");  // 2 characters, into cells 0 and 1
    EXPECT_EQ(parse_scaled("-123", -13), "-10000000000000");
    EXPECT_EQ(parse_scaled("9", -14), "90 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(parse_scaled("9", -15), "0");
    EXPECT_EQ(parse_scaled("9", -32768), "0");
    EXPECT_EQ(parse_scaled("-23456789", -10), "-23450000000000");
}

TEST(dec10_parse_scaled, puts_a_fifteenth_digit_into_the_sign)
{
    EXPECT_EQ(parse_scaled("712345678901234", 0), "71 23 45 67 89 01 23 40 00 00");
    EXPECT_EQ(parse_scaled("7123456789012345", 0), "71 23 45 67 89 01 23 40 00 00");  // 15 characters alone count
    EXPECT_EQ(parse_scaled("71234567890123412345", 5), "71 23 45 67 89 01 23 41 23 45");
}

// From 6 places on the last digits have no cells.
TEST(dec10_parse_scaled, drops_digits_outside_the_number)
{
    EXPECT_EQ(parse_scaled("123", 7), "0.00001");
    EXPECT_EQ(parse_scaled("123", 100), "0");
    EXPECT_EQ(parse_scaled(std::string(255, '1'), 32767), "0");
}

TEST(dec10_format_scaled, shows_digits_without_a_separator)
{
    EXPECT_EQ(format_scaled("1.5", 2), "150");
    EXPECT_EQ(format_scaled("-1.5", 2), "-150");
    EXPECT_EQ(format_scaled("123.45678", 5), "12345678");
    EXPECT_EQ(format_scaled("1234", 0), "1234");
    EXPECT_EQ(format_scaled(MAX, 5), "9999999999999999999");
}

// The units are always written, and so is all that is behind them.
TEST(dec10_format_scaled, shows_the_units)
{
    EXPECT_EQ(format_scaled("0.05", 2), "005");
    EXPECT_EQ(format_scaled("0", 0), "0");
    EXPECT_EQ(format_scaled("0", 5), "000000");
    EXPECT_EQ(format_scaled("-0", 0), "-0");
}

TEST(dec10_format_scaled, cuts_what_it_does_not_show)
{
    EXPECT_EQ(format_scaled("1.59", 1), "15");
    EXPECT_EQ(format_scaled("1.59", 0), "1");
    EXPECT_EQ(format_scaled("199", -1), "19");
    EXPECT_EQ(format_scaled("199", -2), "1");
}

// The units aren't reached there.
TEST(dec10_format_scaled, can_be_empty_at_negative_places)
{
    EXPECT_EQ(format_scaled("0", -1), "");
    EXPECT_EQ(format_scaled("5", -1), "");
    EXPECT_EQ(format_scaled("-5", -1), "-");
    EXPECT_EQ(format_scaled("12345678901234", -13), "1");
    EXPECT_EQ(format_scaled("2345678901234", -13), "");
}

TEST(dec10_format_scaled, shows_the_sign_alone_at_minus_14_places)
{
    EXPECT_EQ(format_scaled("12345678901234", -14), "");
    EXPECT_EQ(format_scaled("-12345678901234", -14), "-");
}

TEST(dec10_format_scaled, takes_other_places_for_the_nearest)
{
    EXPECT_EQ(format_scaled("1.5", 6), "150000");
    EXPECT_EQ(format_scaled("1.5", 32767), "150000");
    EXPECT_EQ(format_scaled("-90000000000000", -15), "-");
    EXPECT_EQ(format_scaled("-90000000000000", -32768), "-");
}

// ---- Integers -------------------------------------------------------------------------------------------------------

TEST(dec10_from_i16, makes_whole_numbers)
{
    for (i32 value : {0, 1, -1, 10, -10, 12345, 32767, -32767}) {
        EXPECT_EQ(run(dec10_from_i16, literal::dec10_from_i16, (i16)value), std::to_string(value));
    }
}

TEST(dec10_from_i16, makes_an_invalid_number_of_the_least_integer)
{
    EXPECT_EQ(run(dec10_from_i16, literal::dec10_from_i16, -32768), "F0 00 00 00 00 FE FA 80 00 00");
}

TEST(dec10_from_i32, makes_whole_numbers)
{
    for (i32 value : {0, 1, -1, 99999999, 100000000, -123456789, INT_MAX, -INT_MAX, INT_MIN}) {
        EXPECT_EQ(run(dec10_from_i32, literal::dec10_from_i32, value), std::to_string(value));
    }
}

TEST(dec10_from_u32, makes_whole_numbers)
{
    for (u32 value : {0u, 1u, 2147483648u, 4294967295u}) {
        EXPECT_EQ(run(dec10_from_u32, literal::dec10_from_u32, value), std::to_string(value));
    }
}

TEST(dec10_to_i16, cuts_the_fraction)
{
    EXPECT_EQ(to_i16("1.99999"), 1);
    EXPECT_EQ(to_i16("-1.99999"), -1);
    EXPECT_EQ(to_i16("0"), 0);
    EXPECT_EQ(to_i16("-0"), 0);
    EXPECT_EQ(to_i16("32767"), 32767);
    EXPECT_EQ(to_i16("-32768"), -32768);
}

TEST(dec10_to_i16, saturates_above)
{
    EXPECT_EQ(to_i16("32767.00001"), 32767);
    EXPECT_EQ(to_i16("40000"), 32767);
    EXPECT_EQ(to_i16(MAX), 32767);
}

TEST(dec10_to_i16, saturates_below_from_six_digits_on)
{
    EXPECT_EQ(to_i16("-100000"), -32768);
    EXPECT_EQ(to_i16(MIN), -32768);
}

TEST(dec10_to_i16, wraps_below_the_least_integer_up_to_five_digits)
{
    EXPECT_EQ(to_i16("-32769"), 32767);
    EXPECT_EQ(to_i16("-40000"), 25536);
    EXPECT_EQ(to_i16("-99999.99999"), 31073);  // 131072 - 99999
}

TEST(dec10_to_i16, needs_no_place_for_the_result)
{
    const Decimal10 a = ten("7"), zero = ten("0");
    EXPECT_EQ(dec10_to_i16(nullptr, &a), 7);
    EXPECT_EQ(dec10_to_i16(nullptr, &zero), 0);
    EXPECT_EQ(literal::dec10_to_i16(nullptr, &a), 7);
    EXPECT_EQ(dec10_to_i32(nullptr, &a), 7);
    EXPECT_EQ(literal::dec10_to_i32(nullptr, &a), 7);
}

TEST(dec10_to_i32, has_exact_bounds)
{
    EXPECT_EQ(to_i32("1.99999"), 1);
    EXPECT_EQ(to_i32("-1.99999"), -1);
    EXPECT_EQ(to_i32("-0.5"), 0);
    EXPECT_EQ(to_i32("2147483647"), INT_MAX);
    EXPECT_EQ(to_i32("2147483648"), INT_MAX);
    EXPECT_EQ(to_i32("-2147483647"), -INT_MAX);
    EXPECT_EQ(to_i32("-2147483648"), INT_MIN);
    EXPECT_EQ(to_i32("-2147483649"), INT_MIN);
    EXPECT_EQ(to_i32(MAX), INT_MAX);
    EXPECT_EQ(to_i32(MIN), INT_MIN);
}

// ---- Arithmetic -----------------------------------------------------------------------------------------------------

TEST(dec10_arith, clears_the_result_of_an_unknown_operation)
{
    for (i32 op : {-1, 5, 6, 256, 32767}) {
        EXPECT_EQ(arith(ten("7"), op, ten("3")), "0") << op;
        EXPECT_EQ(arith(ten(MAX), op, ten("3")), "0") << op;
    }
}

TEST(dec10_arith, lets_the_result_be_an_operand)
{
    const char *const results[] = {"10", "4", "21", "2.33333", "1"};
    for (i32 op = DEC_ADD; op <= DEC_REM; op++) {
        Decimal10 a = ten("7"), b = ten("3");
        EXPECT_EQ(shown(*dec10_arith(&a, &a, (i16)op, &b)), results[op]);
        a = ten("7");
        EXPECT_EQ(shown(*dec10_arith(&b, &a, (i16)op, &b)), results[op]);
        EXPECT_EQ(shown(a), "7");
        b = ten("3");
        EXPECT_EQ(shown(*literal::dec10_arith(&b, &a, (i16)op, &b)), results[op]);
    }
    Decimal10 a = ten("7");
    EXPECT_EQ(shown(*dec10_arith(&a, &a, DEC_SUB, &a)), "0");
}

TEST(dec10_arith, has_the_operations_apart)
{
    expect_apart<Decimal10>({dec10_add, dec10_sub, dec10_mul, dec10_div, dec10_rem},
                            {literal::dec10_add, literal::dec10_sub, literal::dec10_mul, literal::dec10_div,
                             literal::dec10_rem},
                            ten("-7"), ten("3"), {"-4", "-10", "-21", "-2.33333", "-1"});
}

TEST(dec10_arith, adds)
{
    EXPECT_EQ(sum("1.5", "2.75"), "4.25");
    EXPECT_EQ(sum("-1.5", "-2.75"), "-4.25");
    EXPECT_EQ(sum("1.5", "-2.75"), "-1.25");
    EXPECT_EQ(sum("-1.5", "2.75"), "1.25");
    EXPECT_EQ(sum("2.75", "-1.5"), "1.25");
    EXPECT_EQ(sum("99999999.99999", "0.00001"), "100000000");
    EXPECT_EQ(sum("1.5", "-1.5"), "0");
    EXPECT_EQ(sum("10000000000000", "-0.00001"), "9999999999999.99999");
}

// From 10^10 on a number is more than one integer holds, and is added another way.
TEST(dec10_arith, adds_and_subtracts_across_ten_integer_digits)
{
    EXPECT_EQ(sum("9999999999.99999", "0.00001"), "10000000000");
    EXPECT_EQ(sum("9999999999.99999", "9999999999.99999"), "19999999999.99998");
    EXPECT_EQ(sum("-9999999999.99999", "-9999999999.99999"), "-19999999999.99998");
    EXPECT_EQ(sum("-9999999999.99999", "10000000000"), "0.00001");
    EXPECT_EQ(sum("10000000000", "-10000000000"), "0");
    EXPECT_EQ(sum("-10000000000", "10000000000"), "0");
    EXPECT_EQ(difference("-10000000000", "-10000000000"), "0");
    EXPECT_EQ(difference("10000000000", "0.00001"), "9999999999.99999");
    EXPECT_EQ(difference("0.00001", "10000000000"), "-9999999999.99999");
    EXPECT_EQ(difference("0.00001", "9999999999.99999"), "-9999999999.99998");
    EXPECT_EQ(difference("-9999999999.99999", "9999999999.99999"), "-19999999999.99998");
}

TEST(dec10_arith, saturates_sums)
{
    EXPECT_EQ(sum(MAX, "1"), MAX);
    EXPECT_EQ(sum(MAX, "0.00001"), MAX);
    EXPECT_EQ(sum(MIN, "-1"), MIN);
    EXPECT_EQ(difference(MIN, "1"), MIN);
    EXPECT_EQ(difference(MAX, "-1"), MAX);
    EXPECT_EQ(sum(MAX, MAX), MAX);
    EXPECT_EQ(sum(MIN, MIN), MIN);
    EXPECT_EQ(sum(MAX, MIN), "0");
}

// Of two negative zeros the sum is one; with any other number they are nothing.
TEST(dec10_arith, adds_negative_zeros)
{
    EXPECT_EQ(sum("-0", "-0"), "-0");
    EXPECT_EQ(sum("-0", "0"), "0");
    EXPECT_EQ(sum("0", "-0"), "0");
    EXPECT_EQ(sum("-0", "5"), "5");
    EXPECT_EQ(sum("5", "-0"), "5");
    EXPECT_EQ(sum("-0", "-5"), "-5");
    EXPECT_EQ(difference("-0", "0"), "0");
    EXPECT_EQ(difference("0", "-0"), "0");
    EXPECT_EQ(difference("-0", "-0"), "0");
    EXPECT_EQ(difference("-0", "5"), "-5");
    EXPECT_EQ(difference("-5", "0"), "-5");
}

TEST(dec10_arith, subtracts)
{
    EXPECT_EQ(difference("1.5", "2.75"), "-1.25");
    EXPECT_EQ(difference("2.75", "1.5"), "1.25");
    EXPECT_EQ(difference("-1.5", "2.75"), "-4.25");
    EXPECT_EQ(difference("1.5", "-2.75"), "4.25");
    EXPECT_EQ(difference("-1.5", "-2.75"), "1.25");
    EXPECT_EQ(difference("-2.75", "-2.75"), "0");
    EXPECT_EQ(difference("0", "0.00001"), "-0.00001");
}

TEST(dec10_arith, multiplies)
{
    EXPECT_EQ(product("1.5", "2.5"), "3.75");
    EXPECT_EQ(product("-1.5", "2.5"), "-3.75");
    EXPECT_EQ(product("-1.5", "-2.5"), "3.75");
    EXPECT_EQ(product("0", "-2.5"), "0");
    EXPECT_EQ(product("-0", "2.5"), "0");
    EXPECT_EQ(product("9999999", "9999999"), "99999980000001");
}

TEST(dec10_arith, rounds_products_at_the_fifth_decimal)
{
    EXPECT_EQ(product("0.00001", "0.5"), "0.00001");
    EXPECT_EQ(product("0.00001", "0.49999"), "0");
    EXPECT_EQ(product("-0.00001", "0.5"), "-0.00001");
    EXPECT_EQ(product("-0.00001", "0.4"), "0");
    EXPECT_EQ(product("1.11111", "1.11111"), "1.23457");  // 1.2345654321
}

TEST(dec10_arith, saturates_products)
{
    EXPECT_EQ(product(MAX, "2"), MAX);
    EXPECT_EQ(product(MAX, "-2"), MIN);
    EXPECT_EQ(product(MIN, "2"), MIN);
    EXPECT_EQ(product(MIN, MIN), MAX);
    EXPECT_EQ(product("10000000", "10000000"), MAX);
    EXPECT_EQ(product(MAX, "1"), MAX);
    EXPECT_EQ(product(MAX, "0.99999"), "99998999999999.99999");
}

TEST(dec10_arith, divides)
{
    EXPECT_EQ(quotient("1", "3"), "0.33333");
    EXPECT_EQ(quotient("2", "3"), "0.66667");
    EXPECT_EQ(quotient("-2", "3"), "-0.66667");
    EXPECT_EQ(quotient("-2", "-3"), "0.66667");
    EXPECT_EQ(quotient("0", "-3"), "0");
    EXPECT_EQ(quotient("-0", "3"), "0");
    EXPECT_EQ(quotient(MAX, "1"), MAX);
    EXPECT_EQ(quotient(MAX, MIN), "-1");
    EXPECT_EQ(quotient("99999999999999", "7"), "14285714285714.14286");
}

TEST(dec10_arith, divides_by_zero_to_zero)
{
    EXPECT_EQ(quotient("5", "0"), "0");
    EXPECT_EQ(quotient("-5", "0"), "0");
    EXPECT_EQ(quotient("0", "0"), "0");
}

// It isn't the constant zero, but there is nothing in it to subtract.
TEST(dec10_arith, divides_by_a_negative_zero_to_zero)
{
    EXPECT_EQ(quotient("5", "-0"), "0");
    EXPECT_EQ(quotient("-5", "-0"), "0");
}

// A tenth of 0.00015 is 0.00001 here, and of a single 0.00003 nothing is left.
TEST(dec10_arith, divides_with_a_rounding_by_a_cut_tenth)
{
    EXPECT_EQ(quotient("0.0002", "0.00015"), "1.33334");
    EXPECT_EQ(quotient("0.2", "0.15"), "1.33333");
    EXPECT_EQ(quotient("0.00002", "0.00003"), "0.66666");
}

// 0.00004 / 9 has as many digits as the divisor once it is shifted, 0.00004 / 10 a digit less.
TEST(dec10_arith, rounds_small_quotients_only_when_the_number_is_as_long)
{
    EXPECT_EQ(quotient("0.00006", "9"), "0.00001");
    EXPECT_EQ(quotient("0.00004", "9"), "0");
    EXPECT_EQ(quotient("0.00009", "10"), "0");
    EXPECT_EQ(quotient("0.00019", "20"), "0.00001");
}

TEST(dec10_arith, lets_a_great_quotient_into_the_sign)
{
    EXPECT_EQ(quotient("1000000000", "0.00001"), "10 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(quotient("12345678901234", "0.00001"), "56 78 90 12 34 00 00 00 00 00");  // of 1234|56789...
}

TEST(dec10_arith, signs_the_remainder_by_disagreement)
{
    EXPECT_EQ(remainder("7", "3"), "1");
    EXPECT_EQ(remainder("7", "-3"), "-1");
    EXPECT_EQ(remainder("-7", "3"), "-1");
    EXPECT_EQ(remainder("-7", "-3"), "1");
    EXPECT_EQ(remainder("-6", "3"), "0");
    EXPECT_EQ(remainder("7.5", "2"), "1.5");
}

// 0.999999 is rounded to 1 at the fifth decimal, and one times the divisor is more than the number.
TEST(dec10_arith, gives_a_negative_remainder_under_a_rounded_quotient)
{
    EXPECT_EQ(remainder("999999.99999", "1000000"), "-0.00001");
    EXPECT_EQ(remainder("-999999.99999", "1000000"), "0.00001");
    EXPECT_EQ(remainder("999999", "1000000"), "-1");
    EXPECT_EQ(remainder("99999", "100000"), "99999");  // 0.99999 needs no rounding
}

TEST(dec10_arith, gives_the_number_itself_as_remainder_by_zero)
{
    EXPECT_EQ(remainder("5", "0"), "5");
    EXPECT_EQ(remainder("-5", "0"), "-5");
    EXPECT_EQ(remainder("-5", "-0"), "5");
    EXPECT_EQ(remainder("0", "0"), "0");
}

TEST(dec10_arith, takes_invalid_numbers)
{
    Decimal10 a = ten("5");
    a.bytes[7] = 0xC0;  // a digit of 12 as units
    EXPECT_EQ(arith(a, DEC_ADD, ten("1")), "13");
    EXPECT_EQ(arith(a, DEC_SUB, ten("1")), "00 00 00 00 00 00 00 B0 00 00");
    EXPECT_EQ(arith(a, DEC_MUL, ten("1")), "12");
}

// One digit above 9 or an unknown sign, wherever it stands: `arith` expects what the literal operation gives.
TEST(dec10_arith, adds_invalid_digits_and_signs_in_each_cell)
{
    for (const char *number : {"0", "-5.25", "9999999999.99999", MIN}) {
        for (i32 cell = 0; cell < 20; cell++) {
            for (i32 digit = 1; digit < 16; digit++) {
                Decimal10 a = ten("12.34567");
                u8 &byte = a.bytes[cell / 2];
                byte = (u8)(cell % 2 ? (byte & 0xF0) | digit : (byte & 15) | digit << 4);
                for (i32 op : { DEC_ADD, DEC_SUB }) {
                    arith(a, op, ten(number));
                    arith(ten(number), op, a);
                }
                ASSERT_FALSE(testing::Test::HasFailure()) << "cell " << cell << ", digit " << digit << ", " << number;
            }
        }
    }
}

TEST(dec10_muldiv, keeps_the_whole_product)
{
    EXPECT_EQ(muldiv("1000000", "1000000", "1000"), "1000000000");
    EXPECT_EQ(muldiv("2", "3", "4"), "1.5");
    EXPECT_EQ(muldiv("1", "1", "3"), "0.33333");
    EXPECT_EQ(muldiv("0.00001", "0.00001", "0.00001"), "0.00001");
    EXPECT_EQ(muldiv("9999999.99999", "9999999.99999", "9999999.99999"), "9999999.99999");
}

TEST(dec10_muldiv, is_negative_for_an_odd_number_of_signs)
{
    EXPECT_EQ(muldiv("-2", "3", "4"), "-1.5");
    EXPECT_EQ(muldiv("2", "-3", "4"), "-1.5");
    EXPECT_EQ(muldiv("2", "3", "-4"), "-1.5");
    EXPECT_EQ(muldiv("-2", "-3", "4"), "1.5");
    EXPECT_EQ(muldiv("-2", "3", "-4"), "1.5");
    EXPECT_EQ(muldiv("-2", "-3", "-4"), "-1.5");
    EXPECT_EQ(muldiv("-0", "3", "4"), "0");
}

TEST(dec10_muldiv, gives_zero_for_a_divisor_of_zero)
{
    EXPECT_EQ(muldiv("2", "3", "0"), "0");
    EXPECT_EQ(muldiv("-2", "3", "-0"), "0");
}

// 0.00001 * 0.5 is 0.000005, which is rounded to 0.00001 and still has its 5 behind it: 0.000015.
TEST(dec10_muldiv, rounds_the_product_and_divides_what_it_rounded_off)
{
    EXPECT_EQ(muldiv("0.00001", "0.5", "1"), "0.00002");
    EXPECT_EQ(muldiv("0.00001", "0.4", "1"), "0");
}

// The product is 24 nines: 99999999999999.9999999999.
TEST(dec10_muldiv, overflows_before_it_divides)
{
    EXPECT_EQ(muldiv(MAX, "2", "2"), "50000000000000");
    EXPECT_EQ(muldiv(MAX, MAX, MAX), "1");
    EXPECT_EQ(muldiv(MAX, MIN, "1000"), "-100000000000");
}

TEST(dec10_muldiv, lets_the_result_be_a_factor)
{
    Decimal10 a = ten("2"), b = ten("3"), c = ten("4");
    EXPECT_EQ(shown(*dec10_muldiv(&a, &a, &b, &c)), "1.5");
    a = ten("2");
    EXPECT_EQ(shown(*dec10_muldiv(&b, &a, &b, &c)), "1.5");
    b = ten("3");
    EXPECT_EQ(shown(*literal::dec10_muldiv(&b, &a, &b, &c)), "1.5");
}

TEST(dec10_muldiv, gives_zero_into_its_divisor)
{
    Decimal10 a = ten("2"), b = ten("3"), c = ten("4");
    EXPECT_EQ(shown(*dec10_muldiv(&c, &a, &b, &c)), "0");
    c = ten("4");
    EXPECT_EQ(shown(*literal::dec10_muldiv(&c, &a, &b, &c)), "0");
}

// ---- Adjusting ------------------------------------------------------------------------------------------------------

TEST(dec10_adjust, knows_four_operations)
{
    EXPECT_EQ(adjust("-12.34567", DEC_SHIFT_LEFT, 2), "-1234.567");
    EXPECT_EQ(adjust("-12.34567", DEC_SHIFT_RIGHT, 2), "-0.12345");
    EXPECT_EQ(adjust("-12.34567", DEC_ROUND, 3), "-12.346");
    EXPECT_EQ(adjust("-12.34567", DEC_TRUNCATE, 3), "-12.345");
}

TEST(dec10_adjust, clears_the_result_of_an_unknown_operation)
{
    for (i32 op : {-1, 4, 5, 256, -32768}) EXPECT_EQ(adjust("7", op, 1), "0") << op;
}

TEST(dec10_shift, multiplies_and_divides_by_powers_of_ten)
{
    EXPECT_EQ(shift("1.5", 3, true), "1500");
    EXPECT_EQ(shift("1.5", 3, false), "0.0015");
    EXPECT_EQ(shift("-1.5", 0, true), "-1.5");
    EXPECT_EQ(shift("-1.5", 0, false), "-1.5");
    EXPECT_EQ(shift("0.00001", 18, true), "10000000000000");
    EXPECT_EQ(shift("10000000000000", 18, false), "0.00001");
    EXPECT_EQ(shift("0.12345", 16, true), "34500000000000");
}

TEST(dec10_shift, turns_round_for_a_negative_n)
{
    EXPECT_EQ(shift("1.5", -3, true), "0.0015");
    EXPECT_EQ(shift("1.5", -3, false), "1500");
    EXPECT_EQ(shift("1.5", -5, true), "0.00001");
}

TEST(dec10_shift, gives_zero_outside_its_bounds)
{
    for (i32 n : {-6, -7, 19, 20, 32767, -32768}) {
        EXPECT_EQ(shift("-1.5", n, true), "0") << n;
        EXPECT_EQ(shift("-1.5", n, false), "0") << n;
    }
}

TEST(dec10_shift, loses_digits_on_both_sides)
{
    EXPECT_EQ(shift("99999999999999", 1, true), "99999999999990");
    EXPECT_EQ(shift("1.99999", 1, false), "0.19999");
}

TEST(dec10_shift, leaves_a_negative_zero)
{
    EXPECT_EQ(shift("-0.00001", 6, false), "-0");
    const Decimal10 a = ten("-0.00001");
    Decimal10 zero;
    dec10_shift(&zero, &a, 6, false);
    EXPECT_FALSE(dec10_equal(&zero, &dec10_zero));
    EXPECT_EQ(format(zero), "-0.00000");
    EXPECT_EQ(arith(ten("5"), DEC_DIV, zero), "0");
}

TEST(dec10_shift, lets_the_result_be_the_number)
{
    Decimal10 a = ten("1.5");
    EXPECT_EQ(shown(*dec10_shift(&a, &a, 3, true)), "1500");
    EXPECT_EQ(shown(*dec10_round(&a, &a, -3)), "2000");
    EXPECT_EQ(shown(*dec10_truncate(&a, &a, -3)), "2000");
}

TEST(dec10_round, looks_at_the_first_dropped_digit_alone)
{
    EXPECT_EQ(round("1.23456", 2), "1.23");
    EXPECT_EQ(round("1.23556", 2), "1.24");
    EXPECT_EQ(round("-1.23556", 2), "-1.24");
    EXPECT_EQ(round("1.23499", 2), "1.23");
    EXPECT_EQ(round("0.5", 0), "1");
    EXPECT_EQ(round("1.5", 0), "2");
    EXPECT_EQ(round("2.5", 0), "3");  // no even digit is looked for
    EXPECT_EQ(round("-2.5", 0), "-3");
}

TEST(dec10_round, rounds_at_every_place)
{
    const char *const results[] = {"0",             "10000000000000", "16000000000000", "15600000000000",
                                   "15560000000000", "15556000000000", "15555600000000", "15555560000000",
                                   "15555556000000", "15555555600000", "15555555560000", "15555555556000",
                                   "15555555555600", "15555555555560", "15555555555556", "15555555555555.6",
                                   "15555555555555.56", "15555555555555.556", "15555555555555.5556"};
    for (i32 places = -14; places <= 4; places++) {
        if (places == -13) continue;  // below
        EXPECT_EQ(round("15555555555555.55555", places), results[places + 14]) << places;
    }
    EXPECT_EQ(round("15555555555555.55555", -13), "20000000000000");
}

TEST(dec10_round, makes_a_rounded_zero_positive)
{
    EXPECT_EQ(round("-0.004", 2), "0");
    EXPECT_EQ(round("-0", 2), "0");
    EXPECT_EQ(round("-4", -1), "0");
}

TEST(dec10_round, carries)
{
    EXPECT_EQ(round("9.99995", 4), "10");
    EXPECT_EQ(round("-9999.99995", 4), "-10000");
    EXPECT_EQ(round("0.99999", 0), "1");
    EXPECT_EQ(round("9999999999999.99999", 4), "10000000000000");
}

TEST(dec10_round, saturates_with_the_sign_of_the_number)
{
    EXPECT_EQ(round(MAX, 2), MAX);
    EXPECT_EQ(round(MIN, 2), MIN);
    EXPECT_EQ(round("-99999999999999.5", 0), MIN);
    EXPECT_EQ(round("99999999999999.5", 1), "99999999999999.5");
}

// There is no digit to raise, so that it runs off the top at once.
TEST(dec10_round, saturates_or_gives_zero_at_minus_14_places)
{
    EXPECT_EQ(round("50000000000000", -14), MAX);
    EXPECT_EQ(round("-50000000000000", -14), MIN);
    EXPECT_EQ(round("49999999999999", -14), "0");
    EXPECT_EQ(round("-40000000000000", -14), "0");
}

TEST(dec10_round, copies_or_gives_zero_outside_its_places)
{
    EXPECT_EQ(round("-1.23456", 5), "-1.23456");
    EXPECT_EQ(round("-0", 5), "-0");
    EXPECT_EQ(round("-1.23456", 32767), "-1.23456");
    EXPECT_EQ(round(MAX, -15), "0");
    EXPECT_EQ(round(MIN, -32768), "0");
}

TEST(dec10_truncate, clears_what_is_dropped)
{
    EXPECT_EQ(truncate("1.99999", 2), "1.99");
    EXPECT_EQ(truncate("-1.99999", 0), "-1");
    EXPECT_EQ(truncate("199.9", -1), "190");
    EXPECT_EQ(truncate("-0.99999", 0), "0");
    EXPECT_EQ(truncate("-9", -1), "0");
    EXPECT_EQ(truncate(MIN, -13), "-90000000000000");
    EXPECT_EQ(truncate(MIN, -14), "0");
}

// The search for a digit leaves out the last `places` cells, of which at 3 and 4 places some were kept.
TEST(dec10_truncate, loses_the_sign_of_small_numbers)
{
    EXPECT_EQ(truncate("-0.0012", 4), "0.0012");
    EXPECT_EQ(truncate("-0.001", 3), "0.001");
    EXPECT_EQ(truncate("-0.01", 4), "0.01");
    EXPECT_EQ(truncate("-0.01", 3), "-0.01");
    EXPECT_EQ(truncate("-0.01", 2), "-0.01");
    EXPECT_EQ(truncate("-0.1", 1), "-0.1");
    EXPECT_EQ(truncate("-0.1", 4), "-0.1");
    EXPECT_EQ(truncate("-0.001", 2), "0");
}

TEST(dec10_truncate, copies_or_gives_zero_outside_its_places)
{
    EXPECT_EQ(truncate("-1.23456", 5), "-1.23456");
    EXPECT_EQ(truncate("-0.00001", 5), "-0.00001");
    EXPECT_EQ(truncate("-1.23456", 32767), "-1.23456");
    EXPECT_EQ(truncate(MIN, -15), "0");
    EXPECT_EQ(truncate(MIN, -32768), "0");
}
