#include "decimal/packed.h"

#include "tests/decimal/numbers.h"

#include <random>

using namespace zuk;

namespace {

constexpr u64 ALL_ONES = ~(u64)0;

// A sum or difference of signed digits; the digits are written as hexadecimal numbers.
std::string signed_result(u64 a, bool a_negative, u64 b, bool b_negative, bool plus)
{
    const SignedDigits sum = signed_sum({a, mask_of(a_negative)}, {b, mask_of(b_negative)}, mask_of(plus));
    EXPECT_TRUE(sum.sign == 0 || sum.sign == ALL_ONES);
    char text[32];
    snprintf(text, sizeof text, "%s%llx", sum.sign ? "-" : "", (unsigned long long)sum.digits);
    return text;
}

std::string plus(u64 a, u64 b) { return signed_result(a, false, b, false, true); }
std::string minus(u64 a, u64 b) { return signed_result(a, false, b, false, false); }

// The digits of a binary number, as nibbles.
u64 nibbles(u64 number)
{
    u64 digits = 0;
    for (i32 shift = 0; number; shift += 4, number /= 10) digits |= number % 10 << shift;
    return digits;
}

NumberText scanned(const std::string &text, i32 limit)
{
    NumberText number = {};
    EXPECT_TRUE(scan_number(Text(text), limit, '.', &number));
    return number;
}

} // namespace

// ---- Bytes and digits -----------------------------------------------------------------------------------------------

TEST(load_64, takes_the_first_byte_for_the_highest)
{
    const u8 bytes[] = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0};
    EXPECT_EQ(load_64(bytes), 0x123456789ABCDEF0u);
    EXPECT_EQ(load_32(bytes), 0x12345678u);
    EXPECT_EQ(load_16(bytes), 0x1234u);
}

TEST(store_64, puts_the_highest_byte_first)
{
    u8 bytes[8];
    store_64(bytes, 0x123456789ABCDEF0);
    EXPECT_EQ(bytes_of(bytes, 8), "12 34 56 78 9A BC DE F0");
    store_32(bytes, 0xAABBCCDDEE);  // the lower half alone
    store_16(bytes + 6, 0x12345);
    EXPECT_EQ(bytes_of(bytes, 8), "BB CC DD EE 9A BC 23 45");
}

TEST(mask_of_digits, covers_so_many_nibbles)
{
    EXPECT_EQ(mask_of_digits(0), 0u);
    EXPECT_EQ(mask_of_digits(3), 0xFFFu);
    EXPECT_EQ(mask_of_digits(15), 0x0FFFFFFFFFFFFFFFu);
}

TEST(has_no_digit, finds_a_nibble_above_9_in_each_of_15)
{
    for (i32 place = 0; place < 15; place++) {
        for (u64 nibble = 0; nibble < 16; nibble++) {
            for (u64 others : {(u64)0, (u64)0x0111111111111111, (u64)0x0999999999999999}) {
                const u64 digits = (others & ~((u64)15 << 4 * place)) | nibble << 4 * place;
                EXPECT_EQ(has_no_digit(digits) != 0, nibble > 9) << place;
            }
        }
    }
}

TEST(add_digits, carries)
{
    EXPECT_EQ(add_digits(0x12345, 0x11111, 0), 0x23456u);
    EXPECT_EQ(add_digits(0x12345, 0x98765, 0), 0x111110u);
    EXPECT_EQ(add_digits(0x99999, 0x00000, 1), 0x100000u);
    EXPECT_EQ(add_digits(0x0999999999999999, 0x0999999999999999, 1), 0x1999999999999999u);
}

TEST(signed_sum, adds_and_subtracts_digits)
{
    EXPECT_EQ(plus(0x12345, 0x98765), "111110");
    EXPECT_EQ(plus(0x999999999999999, 0x999999999999999), "1999999999999998");
    EXPECT_EQ(minus(0x111110, 0x98765), "12345");
    EXPECT_EQ(minus(0x98765, 0x111110), "-12345");
    EXPECT_EQ(minus(0, 0x999999999999999), "-999999999999999");
    EXPECT_EQ(minus(0x999999999999999, 0), "999999999999999");
}

TEST(signed_sum, goes_by_the_signs)
{
    EXPECT_EQ(signed_result(7, true, 0x15, true, true), "-22");
    EXPECT_EQ(signed_result(7, false, 0x15, true, true), "-8");
    EXPECT_EQ(signed_result(7, true, 0x15, false, true), "8");
    EXPECT_EQ(signed_result(7, true, 0x15, false, false), "-22");
    EXPECT_EQ(signed_result(7, false, 0x15, true, false), "22");
    EXPECT_EQ(signed_result(7, true, 0x15, true, false), "8");
}

TEST(signed_sum, keeps_the_sign_of_two_negative_zeros_alone)
{
    EXPECT_EQ(signed_result(0, true, 0, true, true), "-0");
    EXPECT_EQ(signed_result(0, true, 0, false, true), "0");
    EXPECT_EQ(signed_result(0, false, 0, true, true), "0");
    EXPECT_EQ(signed_result(0, true, 0, true, false), "0");
    EXPECT_EQ(signed_result(0, true, 0, false, false), "0");
    EXPECT_EQ(signed_result(0, false, 0, true, false), "0");
    EXPECT_EQ(signed_result(7, true, 7, true, false), "0");
    EXPECT_EQ(signed_result(7, true, 7, false, true), "0");
}

TEST(relation_holds, answers_by_two_tests)
{
    std::string less, equal, greater;
    for (i16 relation = -1; relation < 7; relation++) {
        less += relation_holds(relation, false, false) ? '1' : '0';
        equal += relation_holds(relation, false, true) ? '1' : '0';
        greater += relation_holds(relation, true, false) ? '1' : '0';
    }
    EXPECT_EQ(less, "00110100");  // -1 = ! < > { } 6
    EXPECT_EQ(equal, "01000110");
    EXPECT_EQ(greater, "00101010");
}

TEST(spread_digits, gives_a_byte_to_each_of_8_nibbles)
{
    EXPECT_EQ(spread_digits(0x12345678), 0x0102030405060708u);
    EXPECT_EQ(join_digits(0x0102030405060708), 0x12345678u);
    EXPECT_EQ(join_digits(0xF1E2D3C4B5A69788), 0x12345678u);  // the low nibbles alone
    EXPECT_EQ(join_pairs(0xFF12FF34FF56FF78), 0x12345678u);   // the low byte of each lane
}

TEST(binary_of_digits, reads_16_nibbles)
{
    EXPECT_EQ(binary_of_digits(0), 0u);
    EXPECT_EQ(binary_of_digits(0x1234567890123456), 1234567890123456u);
    EXPECT_EQ(binary_of_digits(0x9999999999999999), 9999999999999999u);
    EXPECT_EQ(binary_of_digits(0xAF), 115u);  // ten tens and fifteen
    EXPECT_EQ(binary_of_4_digits(0x9876), 9876u);
    EXPECT_EQ(binary_of_4_digits(0xFFFF), 16665u);
}

TEST(digits_of_4, is_right_for_all_numbers)
{
    for (u64 number = 0; number < 10000; number++) ASSERT_EQ(digits_of_4(number), nibbles(number)) << number;
}

// Each pair of four digits, with different ones beside it.
TEST(digits_of_16, is_right_for_all_fours)
{
    for (u64 four = 0; four < 10000; four++) {
        const u64 eight = four * 10000 + (9999 - four), sixteen = eight * 100000000 + four;
        ASSERT_EQ(digits_of_8(eight), nibbles(eight)) << eight;
        ASSERT_EQ(digits_of_16(sixteen), nibbles(sixteen)) << sixteen;
    }
    EXPECT_EQ(digits_of_16(9999999999999999), 0x9999999999999999u);
}

// ---- Wide integers --------------------------------------------------------------------------------------------------

TEST(sum_128, carries_into_the_high_half)
{
    const U128 sum = sum_128({1, ALL_ONES}, 2);
    EXPECT_EQ(sum.high, 2u);
    EXPECT_EQ(sum.low, 1u);
    EXPECT_TRUE(is_less({1, ALL_ONES}, sum));
    EXPECT_FALSE(is_less(sum, {2, 1}));
    EXPECT_TRUE(is_less({2, 0}, sum));
}

// The arithmetic that 32-bit targets use, against the one of the compiler or against itself.
TEST(quotient_128, divides_exactly_what_product_128_multiplied)
{
    std::mt19937_64 random_bits(1);
    for (i32 i = 0; i < 200000; i++) {
        const u64 a = random_bits() >> random_bits() % 64, b = random_bits() >> random_bits() % 64;
        const u64 divisor = i % 4 ? (random_bits() >> random_bits() % 63) | 1 : random_bits() | (u64)1 << 63;
        const U128 product = product_128<true>(a, b);
        const U128 other = product_128(a, b);
        ASSERT_TRUE(product.high == other.high && product.low == other.low) << a << " * " << b;

        u64 rest, other_rest;
        const U128 quotient = quotient_128<true>(product, divisor, &rest);
        const U128 other_quotient = quotient_128(product, divisor, &other_rest);
        ASSERT_TRUE(quotient.high == other_quotient.high && quotient.low == other_quotient.low && rest == other_rest)
            << product.high << ":" << product.low << " / " << divisor;

        // quotient * divisor + rest is the product again.
        ASSERT_LT(rest, divisor);
        U128 again = sum_128(product_128<true>(quotient.low, divisor), rest);
        again.high += quotient.high * divisor;
        ASSERT_TRUE(again.high == product.high && again.low == product.low) << product.high << ":" << product.low;
    }
}

TEST(quotient_of_100000, divides_up_to_80_bits)
{
    u64 rest;
    EXPECT_EQ(quotient_of_100000({0, 123456789}, &rest), 1234u);
    EXPECT_EQ(rest, 56789u);
    // 10^24 - 1, the most that it is asked for
    EXPECT_EQ(quotient_of_100000({TEN_TO_24.high, TEN_TO_24.low - 1}, &rest), TEN_TO_19 - 1);
    EXPECT_EQ(rest, 99999u);
}

// ---- Text -----------------------------------------------------------------------------------------------------------

TEST(digits_at, reads_up_to_8_digits)
{
    const u8 text[] = "1234567890";
    for (i32 length = 0; length <= 10; length++) {
        const DigitRun run = digits_at(text, text + length);
        const i32 count = length < 8 ? length : 8;
        EXPECT_EQ(run.count, count);
        EXPECT_EQ(run.digits, (u64)0x12345678 >> (32 - 4 * count));
    }
}

TEST(digits_at, ends_at_any_other_character)
{
    for (u32 character = 0; character < 256; character++) {
        for (i32 place = 0; place < 8; place++) {
            u8 text[] = "12345678";
            text[place] = (u8)character;
            const bool digit = character >= '0' && character <= '9';
            EXPECT_EQ(digits_at(text, text + 8).count, digit ? 8 : place) << character;
        }
    }
}

TEST(scan_number, takes_a_number_apart)
{
    const NumberText number = scanned("EUR -12345678901.125 net", 21);
    EXPECT_TRUE(number.minus);
    EXPECT_EQ(number.whole, 0x12345678901u);
    EXPECT_EQ(number.whole_count, 11);
    EXPECT_EQ(number.fraction, 0x125u);
    EXPECT_EQ(number.fraction_count, 3);
}

TEST(scan_number, looks_no_further_than_its_limit)
{
    const NumberText number = scanned("x1234.56789", 7);
    EXPECT_FALSE(number.minus);
    EXPECT_EQ(number.whole, 0x1234u);
    EXPECT_EQ(number.fraction, 0x56u);
    EXPECT_EQ(number.fraction_count, 2);
}

TEST(scan_number, leaves_the_fraction_of_too_many_digits)
{
    const NumberText number = scanned("123456789012345.5", 21);
    EXPECT_EQ(number.whole_count, 15);
    EXPECT_EQ(number.fraction_count, 0);
}

TEST(scan_number, finds_none)
{
    NumberText number;
    for (const char *text : {"", "abc", "000", ".", "x.", "..x"}) {
        EXPECT_FALSE(scan_number(Text(text), 21, '.', &number)) << text;
    }
}
