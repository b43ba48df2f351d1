#include "decimal/packed.h"

namespace zuk {

// ---- Wide integers --------------------------------------------------------------------------------------------------

namespace {

// The quotient of two "digits" of 32 bits over one of them, `divisor` having its highest bit set and being above
// `high`. A digit is estimated from the upper half of the divisor, which can give at most two too many.
u64 quotient_of_halves(u64 high, u64 low, u64 divisor, u64 *rest)
{
    const u64 divisor_1 = divisor >> 32, divisor_0 = (u32)divisor;
    u64 quotient = 0;
    for (i32 half = 1; half >= 0; half--) {
        const u64 next = (u32)(low >> 32 * half);
        u64 digit = high / divisor_1;
        u64 left = high - digit * divisor_1;
        while (digit >> 32 || digit * divisor_0 > (left << 32 | next)) {
            digit--;
            left += divisor_1;
            if (left >> 32) break;
        }
        high = (high << 32 | next) - digit * divisor;  // wraps, and is right again
        quotient = quotient << 32 | digit;
    }
    *rest = high;
    return quotient;
}

} // namespace

template <> U128 quotient_128<true>(U128 number, u64 divisor, u64 *rest)
{
    const u64 high = number.high / divisor;
    const u64 left = number.high - high * divisor;
    if (!left) {
        const u64 low = number.low / divisor;
        *rest = number.low - low * divisor;
        return {high, low};
    }

    const i32 shift = __builtin_clzll(divisor);
    const u64 top = shift ? left << shift | number.low >> (64 - shift) : left;
    const u64 low = quotient_of_halves(top, number.low << shift, divisor << shift, rest);
    *rest >>= shift;
    return {high, low};
}

// ---- Text -----------------------------------------------------------------------------------------------------------

namespace {

// Up to 8 characters, the first in the highest byte, zeros behind the last one. Nothing outside is read.
u64 characters_at(const u8 *text, const u8 *end)
{
    const i32 count = end - text < 8 ? (i32)(end - text) : 8;
    if (count == 8) return load_64(text);
    if (count >= 4) return load_32(text) << 32 | load_32(end - 4) << (64 - 8 * count);
    if (count < 1) return 0;
    const i32 middle = count / 2;
    return (u64)text[0] << 56 | (u64)text[middle] << (56 - 8 * middle) | (u64)text[count - 1] << (64 - 8 * count);
}

bool is_digit(u8 character)
{
    return character >= '0' && character <= '9';
}

} // namespace

DigitRun digits_at(const u8 *text, const u8 *end)
{
    const u64 bytes = characters_at(text, end) ^ 0x3030303030303030;  // a digit is its value now
    // The highest bit of each byte that is above 9.
    const u64 others = (((bytes & 0x7F7F7F7F7F7F7F7F) + 0x7676767676767676) | bytes) & 0x8080808080808080;
    const i32 count = others ? __builtin_clzll(others) / 8 : 8;
    return {join_digits(bytes) >> (32 - 4 * count), count};
}

bool scan_number(ConstPString string, i32 limit, u8 separator, NumberText *number)
{
    const u8 *text = string + 1;
    const u8 *end = text + string[0];
    for (;; text++) {
        if (text == end) return false;
        if ((*text >= '1' && *text <= '9') || *text == '-') break;
        if (*text == separator && text + 1 < end && is_digit(text[1])) break;
    }
    if (end - text > limit) end = text + limit;

    number->minus = *text == '-';
    if (number->minus) text++;

    const DigitRun first = digits_at(text, end);
    text += first.count;
    number->whole = first.digits;
    number->whole_count = first.count;
    if (first.count == 8) {
        const DigitRun second = digits_at(text, end);
        text += second.count;
        number->whole = first.digits << 4 * second.count | second.digits;
        number->whole_count += second.count;
    }

    number->fraction = 0;
    number->fraction_count = 0;
    if (number->whole_count > 14 || text == end || *text != separator) return true;
    const DigitRun fraction = digits_at(text + 1, end);
    number->fraction = fraction.digits;
    number->fraction_count = fraction.count;
    return true;
}

} // namespace zuk
