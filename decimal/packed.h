// Packed digits as plain integers: the tools of the fast decimal operations.
//
// A nibble of an integer is a digit here, the lowest nibble the last digit. All digits of an integer are worked on at
// once: sums carry through the nibbles, and between packed digits, binary numbers and text neighbours are joined or
// split in pairs, then fours, then eights. Products and quotients are made of binary numbers of up to 128 bits.
//
// All that is expected is digits from 0 to 9; whoever calls has looked with `has_no_digit`.
#pragma once

#include "decimal/digits.h"

#include <string.h>

namespace zuk {

// ---- Bytes ----------------------------------------------------------------------------------------------------------

// The first byte is the most significant, as in the numbers. All our targets have it the other way round.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

inline u64 load_16(const u8 *p)
{
    u16 value;
    memcpy(&value, p, sizeof value);
    return __builtin_bswap16(value);
}

inline u64 load_32(const u8 *p)
{
    u32 value;
    memcpy(&value, p, sizeof value);
    return __builtin_bswap32(value);
}

inline u64 load_64(const u8 *p)
{
    u64 value;
    memcpy(&value, p, sizeof value);
    return __builtin_bswap64(value);
}

inline void store_16(u8 *p, u64 value)
{
    const u16 swapped = __builtin_bswap16((u16)value);
    memcpy(p, &swapped, sizeof swapped);
}

inline void store_32(u8 *p, u64 value)
{
    const u32 swapped = __builtin_bswap32((u32)value);
    memcpy(p, &swapped, sizeof swapped);
}

inline void store_64(u8 *p, u64 value)
{
    const u64 swapped = __builtin_bswap64(value);
    memcpy(p, &swapped, sizeof swapped);
}

// ---- Digits ---------------------------------------------------------------------------------------------------------

constexpr u64 mask_of_digits(i32 count)  // 0 to 15
{
    return ((u64)1 << 4 * count) - 1;
}

// The lowest bit of each nibble but the last: what a carry out of the nibble behind it changes.
constexpr u64 CARRIES = 0x1111111111111110;
constexpr u64 SIXES = 0x0666666666666666;  // in 15 nibbles: with it a carry of ten is a carry of sixteen

// Not 0 if one of up to 15 nibbles is above 9: then 6 more is a carry out of it.
inline u64 has_no_digit(u64 digits)
{
    return ((digits + SIXES) ^ digits) & CARRIES;
}

// 6 in each nibble that has its bit in `carries`.
inline u64 sixes_behind(u64 carries)
{
    return (carries >> 3) * 3;
}

// The sum of up to 15 digits each and a carry of 0 or 1; the carry out of them is the next digit.
inline u64 add_digits(u64 a, u64 b, u64 carry)
{
    // Where there was no carry the 6 goes again.
    const u64 raised = a + SIXES;
    const u64 sum = raised + b + carry;
    return sum - sixes_behind(~(sum ^ raised ^ b) & CARRIES);
}

// All ones for true. Signs and order are as good as random, and a wrong guess of the processor costs as much as an
// addition: where it is cheap, what depends on them is done with masks.
inline u64 mask_of(bool condition)
{
    return 0 - (u64)condition;
}

inline u64 mask_below_zero(u64 number)  // in two's complement
{
    return (u64)((i64)number >> 63);
}

// Digits with a sign, which is a mask: all ones below zero.
struct SignedDigits {
    u64 digits, sign;
};

// a + b where `plus` is all ones, a - b where it is 0, of up to 15 digits each. The result has one more at most. It is
// a negative zero only as the sum of two of them.
inline SignedDigits signed_sum(SignedDigits a, SignedDigits b, u64 plus)
{
    // When the signs are the same, this is the sum of `add_digits`, taken as raised - ~b - 1: it borrows where that one
    // doesn't carry. Otherwise it is a difference, and turned round it borrows at the same places.
    const u64 same = a.sign ^ b.sign ^ plus;
    const u64 from = a.digits + ((SIXES - 1) & same), taken = b.digits ^ same;
    const u64 difference = from - taken;
    const u64 turned = mask_below_zero(difference);
    const u64 size = (difference ^ turned) - turned;
    const u64 digits = size - sixes_behind((size ^ from ^ taken) & CARRIES);
    if (!digits) return {0, a.sign & same & plus};
    return {digits, a.sign ^ turned};
}

// What dec10_compare and dec8_compare answer. Both tests have been made by then: a branch between them would be guessed
// wrong as often as not.
inline bool relation_holds(i16 relation, bool greater, bool equal)
{
    switch (relation) {
        case DEC_EQ: return equal;
        case DEC_NE: return !equal;
        case DEC_LT: return !(greater | equal);
        case DEC_GT: return greater;
        case DEC_LE: return !greater;
        case DEC_GE: return greater | equal;
        default: return false;
    }
}

// 8 digits as 8 bytes of a nibble, and back. Only the low nibbles are taken on the way back.
inline u64 spread_digits(u64 digits)
{
    digits = (digits | digits << 16) & 0x0000FFFF0000FFFF;
    digits = (digits | digits << 8) & 0x00FF00FF00FF00FF;
    return (digits | digits << 4) & 0x0F0F0F0F0F0F0F0F;
}

inline u64 join_pairs(u64 bytes)  // the low bytes of four 16-bit lanes
{
    bytes &= 0x00FF00FF00FF00FF;
    bytes = (bytes | bytes >> 8) & 0x0000FFFF0000FFFF;
    return (bytes | bytes >> 16) & 0xFFFFFFFF;
}

inline u64 join_digits(u64 bytes)
{
    bytes &= 0x0F0F0F0F0F0F0F0F;
    return join_pairs(bytes | bytes >> 4);
}

// The binary number of up to 16 digits, which may even be above 9 each, and of up to 4. The tens of each pair count 16
// of the units at first, which is 6 too many; then the hundreds of each four count 256, and so on.
inline u64 binary_of_digits(u64 digits)
{
    digits -= (digits >> 4 & 0x0F0F0F0F0F0F0F0F) * 6;
    digits -= (digits >> 8 & 0x00FF00FF00FF00FF) * (256 - 100);
    digits -= (digits >> 16 & 0x0000FFFF0000FFFF) * (65536 - 10000);
    return digits - (digits >> 32) * (4294967296 - 100000000);
}

inline u64 binary_of_4_digits(u64 digits)
{
    digits -= (digits >> 4 & 0x0F0F) * 6;
    return digits - (digits >> 8) * (256 - 100);
}

// The digits of a number below 10^4, 10^8 and 10^16. The factors in front of the shifts are reciprocals that are exact
// in their range; those behind them move what was divided off to its place and take it away from the rest.
inline u64 digits_of_4(u64 number)
{
    const u64 pairs = number + (number * 5243 >> 19) * (65536 - 100);
    const u64 bytes = pairs + (pairs * 103 >> 10 & 0x000F000F) * (16 - 10);
    return (bytes >> 8 | bytes) & 0xFFFF;
}

inline u64 digits_of_8(u64 number)
{
    const u64 fours = number + number / 10000 * (4294967296 - 10000);
    const u64 pairs = fours + (fours * 5243 >> 19 & 0x0000007F0000007F) * (65536 - 100);
    const u64 bytes = pairs + (pairs * 103 >> 10 & 0x000F000F000F000F) * (16 - 10);
    return join_pairs(bytes);
}

inline u64 digits_of_16(u64 number)
{
    const u64 high = number / 100000000;
    return digits_of_8(high) << 32 | digits_of_8(number - high * 100000000);
}

// The integer of some digits, or the bound of its type that they are beyond. Digits above 9 do no harm: compared as
// nibbles, they make the binary number that they stand for.
template <class Integer> Integer bounded_integer(Integer *out, bool above, bool below, bool negative, u64 digits)
{
    constexpr Integer MAX = sizeof(Integer) == 2 ? (Integer)INT16_MAX : (Integer)INT32_MAX;
    const u64 number = binary_of_digits(digits);
    Integer value = (Integer)(negative ? 0 - number : number);
    if (above) value = MAX;
    if (below) value = (Integer)(-MAX - 1);
    if (out) *out = value;
    return value;
}

// ---- Wide integers --------------------------------------------------------------------------------------------------

struct U128 {
    u64 high, low;
};

constexpr u64 TEN_TO_19 = 10000000000000000000u;
constexpr U128 TEN_TO_24 = {0xD3C2, 0x1BCECCEDA1000000};

constexpr bool is_less(U128 a, U128 b)
{
    return a.high != b.high ? a.high < b.high : a.low < b.low;
}

constexpr U128 sum_128(U128 a, u64 b)
{
    const u64 low = a.low + b;
    return {a.high + (low < b), low};
}

// With `portable` both do without the compiler's own 128 bits, which 32-bit targets don't have.
#ifdef __SIZEOF_INT128__
constexpr bool NO_INT128 = false;
#else
constexpr bool NO_INT128 = true;
#endif
template <bool portable = NO_INT128> U128 product_128(u64 a, u64 b);
template <bool portable = NO_INT128> U128 quotient_128(U128 number, u64 divisor, u64 *rest);  // divisor is not 0

template <> inline U128 product_128<true>(u64 a, u64 b)
{
    const u64 a1 = a >> 32, a0 = (u32)a, b1 = b >> 32, b0 = (u32)b;
    const u64 low = a0 * b0;
    const u64 middle = a1 * b0 + (low >> 32);  // can't overflow: (2^32 - 1)^2 + 2^32 - 1 is below 2^64
    const u64 other = a0 * b1 + (u32)middle;
    return {a1 * b1 + (middle >> 32) + (other >> 32), other << 32 | (u32)low};
}

template <> U128 quotient_128<true>(U128 number, u64 divisor, u64 *rest);

#ifdef __SIZEOF_INT128__
__extension__ typedef unsigned __int128 NativeU128;

template <> inline U128 product_128<false>(u64 a, u64 b)
{
    const NativeU128 product = (NativeU128)a * b;
    return {(u64)(product >> 64), (u64)product};
}

template <> inline U128 quotient_128<false>(U128 number, u64 divisor, u64 *rest)
{
    if (!number.high) {
        const u64 quotient = number.low / divisor;
        *rest = number.low - quotient * divisor;
        return {0, quotient};
    }
    const NativeU128 whole = (NativeU128)number.high << 64 | number.low;
    const NativeU128 quotient = whole / divisor;
    *rest = (u64)(whole - quotient * divisor);
    return {(u64)(quotient >> 64), (u64)quotient};
}
#endif

// A number below 2^80 divided by 10^5, so that the quotient fits: two short divisions by a constant.
inline u64 quotient_of_100000(U128 number, u64 *rest)
{
    const u64 upper = number.high << 32 | number.low >> 32;
    const u64 high = upper / 100000;
    const u64 lower = (upper - high * 100000) << 32 | (u32)number.low;
    const u64 low = lower / 100000;
    *rest = lower - low * 100000;
    return (high << 32) + low;
}

// ---- Text -----------------------------------------------------------------------------------------------------------

// A run of digits at the start of some text.
struct DigitRun {
    u64 digits;
    i32 count;  // 0 to 8: there may be more behind eight
};

DigitRun digits_at(const u8 *text, const u8 *end);

// What stands in a `PString` by the rules of dec10_parse and dec8_parse.
struct NumberText {
    u64 whole;        // the integer digits
    i32 whole_count;  // above 14: too many, and the others are not made
    u64 fraction;     // up to 8 digits
    i32 fraction_count;
    bool minus;
};

// Look at up to `limit` characters from the first one on that belongs to a number. False if there is none.
bool scan_number(ConstPString string, i32 limit, u8 separator, NumberText *number);

} // namespace zuk
