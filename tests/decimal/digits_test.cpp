#include "decimal/digits.h"

#include "tests/decimal/numbers.h"

using namespace zuk;

namespace {

// Cells in words: "0 1 2 3", without those in front of `first`; those must be 0.
std::string cells_from(const u8 *cells, size_t first, size_t count)
{
    std::string text;
    for (size_t i = 0; i < count; i++) {
        if (i < first) EXPECT_EQ(cells[i], 0) << "cell " << i;
        else text += (text.empty() ? "" : " ") + std::to_string(cells[i]);
    }
    return text;
}

// A wide number whose last cells are these digits.
struct Wide {
    DecimalWide cells = {};

    Wide(const std::string &digits = "")
    {
        for (size_t i = 0; i < digits.size(); i++) cells[40 - digits.size() + i] = (u8)(digits[i] - '0');
    }
    std::string str() const
    {
        std::string text;
        for (u8 cell : cells) text += (char)('0' + cell);
        text.erase(0, text.find_first_not_of('0'));
        return text.empty() ? "0" : text;
    }
};

std::string product(const std::string &a, const std::string &b)
{
    Wide dest("777");  // what was there before doesn't count
    wide_multiply(dest.cells, Wide(a).cells, Wide(b).cells);
    return dest.str();
}

std::string quotient(const std::string &a, const std::string &b)
{
    Wide dest("777");
    wide_divide(dest.cells, Wide(a).cells, Wide(b).cells);
    return dest.str();
}

std::string zeros(size_t count)
{
    return std::string(count, '0');
}

} // namespace

TEST(round_digits, clears_what_is_dropped_and_raises_by_the_first_dropped_digit)
{
    u8 digits[20] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 5, 5, 6};
    round_digits(digits, 2, false);
    EXPECT_EQ(cells_from(digits, 14, 20), "1 2 4 0 0 0");
}

TEST(round_digits, carries_through_nines)
{
    u8 digits[20] = {15, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 9, 9, 9, 5, 0, 0};
    round_digits(digits, 2, false);
    EXPECT_EQ(digits[0], 15);
    digits[0] = 0;
    EXPECT_EQ(cells_from(digits, 12, 20), "1 0 0 0 0 0 0 0");
}

TEST(round_digits, only_clears_without_increment)
{
    u8 digits[20] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7, 9, 9, 9, 9, 9};
    round_digits(digits, 0, true);
    EXPECT_EQ(cells_from(digits, 14, 20), "7 0 0 0 0 0");
}

TEST(round_digits, makes_a_rounded_zero_positive)
{
    u8 digits[20] = {15, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4, 9, 9, 9, 9};
    round_digits(digits, 0, false);
    EXPECT_EQ(cells_from(digits, 19, 20), "0");
}

// Without increment nothing can run off the top, and what becomes zero is a plain zero.
TEST(round_digits, does_not_saturate_without_increment)
{
    u8 digits[20] = {15, 9};
    round_digits(digits, -14, true);
    EXPECT_EQ(cells_from(digits, 19, 20), "0");
}

TEST(round_digits, does_nothing_outside_its_places)
{
    for (i32 places : {-15, -16, 5, 6, 1000}) {
        u8 digits[20] = {15, 9, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9};
        round_digits(digits, (i16)places, false);
        EXPECT_EQ(cells_from(digits, 0, 20), "15 9 9 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 9") << places;
    }
}

TEST(wide_clear, clears_all_cells)
{
    Wide a(std::string(40, '7'));
    wide_clear(a.cells);
    EXPECT_EQ(a.str(), "0");
}

TEST(wide_copy, copies_all_cells)
{
    const std::string digits = "1234567890123456789012345678901234567890";
    Wide a;
    wide_copy(a.cells, Wide(digits).cells);
    EXPECT_EQ(a.str(), digits);
}

TEST(wide_digit_count, counts_from_the_first_digit)
{
    EXPECT_EQ(wide_digit_count(Wide("").cells), 0);
    EXPECT_EQ(wide_digit_count(Wide("5").cells), 1);
    EXPECT_EQ(wide_digit_count(Wide("1000").cells), 4);
    EXPECT_EQ(wide_digit_count(Wide("1" + zeros(37)).cells), 38);
}

TEST(wide_digit_count, does_not_look_at_cells_0_and_1)
{
    EXPECT_EQ(wide_digit_count(Wide("1" + zeros(38)).cells), 0);
    EXPECT_EQ(wide_digit_count(Wide("11" + zeros(33) + "70000").cells), 5);
}

TEST(wide_integer_digit_count, counts_in_front_of_ten_decimals)
{
    EXPECT_EQ(wide_integer_digit_count(Wide("9999999999").cells), 0);
    EXPECT_EQ(wide_integer_digit_count(Wide("1" + zeros(10)).cells), 1);
    EXPECT_EQ(wide_integer_digit_count(Wide("1" + zeros(37)).cells), 28);
    EXPECT_EQ(wide_integer_digit_count(Wide("1" + zeros(38)).cells), 0);  // cell 1
}

TEST(wide_add, carries)
{
    Wide sum;
    wide_add(sum.cells, Wide("9995").cells, Wide("17").cells);
    EXPECT_EQ(sum.str(), "10012");
}

TEST(wide_add, loses_the_last_carry)
{
    Wide sum(std::string(40, '9'));
    wide_add(sum.cells, sum.cells, Wide("3").cells);
    EXPECT_EQ(sum.str(), "2");
}

TEST(wide_subtract, borrows)
{
    Wide difference;
    EXPECT_EQ(wide_subtract(difference.cells, Wide("10012").cells, Wide("17").cells), 0);
    EXPECT_EQ(difference.str(), "9995");
}

TEST(wide_subtract, returns_the_last_borrow)
{
    Wide difference("2");
    EXPECT_NE(wide_subtract(difference.cells, difference.cells, Wide("3").cells), 0);
    EXPECT_EQ(difference.str(), std::string(40, '9'));
}

TEST(wide_shift, moves_left_and_right)
{
    Wide shifted;
    wide_shift(shifted.cells, Wide("123").cells, 2, true);
    EXPECT_EQ(shifted.str(), "12300");
    wide_shift(shifted.cells, Wide("123").cells, 2, false);
    EXPECT_EQ(shifted.str(), "1");
    wide_shift(shifted.cells, Wide("123").cells, 0, true);
    EXPECT_EQ(shifted.str(), "123");
    wide_shift(shifted.cells, Wide("12").cells, 38, true);
    EXPECT_EQ(shifted.str(), "12" + zeros(38));
    wide_shift(shifted.cells, shifted.cells, 38, false);
    EXPECT_EQ(shifted.str(), "12");
}

TEST(wide_shift, does_nothing_outside_0_to_38)
{
    for (i32 n : {-1, 39, 40, 1000}) {
        Wide shifted("5");
        wide_shift(shifted.cells, Wide("123").cells, (i16)n, true);
        EXPECT_EQ(shifted.str(), "5") << n;
    }
}

// 1.5 * 2 with five decimals each is 3 with ten.
TEST(wide_multiply, gives_ten_decimals)
{
    EXPECT_EQ(product("150000", "200000"), "30000000000");
    EXPECT_EQ(product("0", "200000"), "0");
    EXPECT_EQ(product("200000", "0"), "0");
}

// 3 * 16667 is 50001: the sixth decimal is a 5, the fifth becomes 1, and the others stay.
TEST(wide_multiply, rounds_the_fifth_decimal_and_keeps_the_rest)
{
    EXPECT_EQ(product("3", "16667"), "150001");
    EXPECT_EQ(product("3", "16666"), "49998");
    EXPECT_EQ(product("199999", "250000"), "49999850000");  // 4.9999750000: the fifth decimal becomes 8
}

TEST(wide_multiply, becomes_nines_from_15_integer_digits_on)
{
    // 10^14 has 15 digits, and ten decimals behind them: 10^24.
    EXPECT_EQ(product("1" + zeros(12), "1" + zeros(12)), std::string(24, '9'));
    EXPECT_EQ(product("1" + zeros(12), "1" + zeros(11)), "1" + zeros(23));
    EXPECT_EQ(product(std::string(19, '9'), std::string(19, '9')), std::string(24, '9'));
}

// The products are 10^24 - 50000, whose rounding makes 10^24 of it, and 50000 less.
TEST(wide_multiply, overflows_by_its_rounding_too)
{
    EXPECT_EQ(product("19999999999999999999", "50000"), std::string(24, '9'));
    EXPECT_EQ(product("19999999999999999998", "50000"), "999999999999999999900000");
}

TEST(wide_divide, gives_the_whole_quotient)
{
    EXPECT_EQ(quotient("100", "7"), "14");
    EXPECT_EQ(quotient("1" + zeros(23), "8"), "12500000000000000000000");
    EXPECT_EQ(quotient("0", "8"), "0");
}

// With a divisor of 20 a tenth is 2, and five of them are half.
TEST(wide_divide, rounds_by_a_tenth_of_the_divisor)
{
    EXPECT_EQ(quotient("29", "20"), "1");
    EXPECT_EQ(quotient("30", "20"), "2");
    EXPECT_EQ(quotient("1990", "20"), "100");
}

// 15 / 10 is cut to 1, so that 5 of 15 round up already. A tenth of 9 is nothing.
TEST(wide_divide, cuts_the_tenth)
{
    EXPECT_EQ(quotient("20", "15"), "2");
    EXPECT_EQ(quotient("19", "15"), "1");
    EXPECT_EQ(quotient("17", "9"), "1");
}

// 95 is more than half of 100, but has a digit less: nothing is tried. 195 has as many.
TEST(wide_divide, gives_zero_for_a_number_of_fewer_digits)
{
    EXPECT_EQ(quotient("95", "100"), "0");
    EXPECT_EQ(quotient("195", "100"), "2");
    EXPECT_EQ(quotient("195", "200"), "1");
}

TEST(wide_divide, gives_zero_for_a_divisor_without_digits)
{
    EXPECT_EQ(quotient("95", "0"), "0");
    EXPECT_EQ(quotient("0", "0"), "0");
}

// A cell can hold 255 times the divisor at most; only cells above 9 ask for more than eleven.
TEST(wide_divide, ends_for_cells_above_9)
{
    Wide a, b("1"), dest;
    a.cells[39] = 255;
    wide_divide(dest.cells, a.cells, b.cells);
    EXPECT_EQ(dest.cells[39], 255);

    a.cells[38] = 250;  // 2755 to divide by 1, in two steps: 250 and 255
    wide_divide(dest.cells, a.cells, b.cells);
    EXPECT_EQ(cells_from(dest.cells, 38, 40), "250 255");
}
