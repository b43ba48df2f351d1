#include "decimal/decimal10.h"

#include "decimal/decimal8.h"
#include "decimal/literal.h"
#include "decimal/packed.h"

#include <string.h>

namespace zuk {

namespace {

// A number in two registers, in which it is calculated with. Bytes 0 to 7 and 8 to 9 are what a copy of ten bytes moves
// at a time, so that a number just stored is loaded again without waiting.
struct Ten {
    u64 high;  // the sign and 15 digits
    u64 low;   // 4 digits
};

constexpr u64 SIGN = (u64)15 << 60;
constexpr u64 NINES_HIGH = 0x0999999999999999;
constexpr u64 NINES_LOW = 0x9999;
constexpr u64 LOW = 0xFFFF;
constexpr u64 SIXES_LOW = 0x6666, CARRIES_LOW = 0x11110;

inline Ten load(const Decimal10 *a)
{
    return {load_64(a->bytes), load_16(a->bytes + 8)};
}

inline void store(Decimal10 *dest, Ten a)
{
    store_64(dest->bytes, a.high);
    store_16(dest->bytes + 8, a.low);
}

inline bool is_zero(Ten a)
{
    return !(a.high | a.low);
}

inline bool is_equal(Ten a, Ten b)
{
    return !((a.high ^ b.high) | (a.low ^ b.low));
}

inline bool is_negative(Ten a)  // as any sign but 0 is
{
    return a.high >> 60;
}

inline Ten magnitude(Ten a)
{
    return {a.high & ~SIGN, a.low};
}

inline bool is_below(Ten a, Ten b)  // without regard to signs
{
    return (a.high < b.high) | ((a.high == b.high) & (a.low < b.low));
}

// The sign of a result: its digits stay, and zero stays positive.
inline Ten with_sign(Ten a, bool negative)
{
    return {a.high ^ (SIGN & mask_of(negative & !is_zero(a))), a.low};
}

inline Ten negated(Ten a)
{
    return with_sign(a, true);
}

// All bits of a sound sign are alike, so that each is equal to the next one.
inline u64 has_no_sign(Ten a)
{
    return (a.high ^ a.high << 1) & (u64)14 << 60;
}

inline bool is_sound(Ten a)
{
    return !(has_no_digit(a.high & ~SIGN) | has_no_digit(a.low) | has_no_sign(a));
}

inline bool are_sound(Ten a, Ten b)
{
    return !(has_no_digit(a.high & ~SIGN) | has_no_digit(b.high & ~SIGN) | has_no_digit(a.low << 32 | b.low) |
             has_no_sign(a) | has_no_sign(b));
}

// The magnitude as a binary number, in units of the fifth decimal. All 19 digits fit.
u64 binary_of(Ten a)
{
    return binary_of_digits(a.high & ~SIGN) * 10000 + binary_of_4_digits(a.low);
}

Ten ten_of(u64 binary)  // below 10^19
{
    const u64 high = binary / 10000;
    return {digits_of_16(high), digits_of_4(binary - high * 10000)};
}

// The integer part, and a number of it.
u64 integer_digits(Ten a)
{
    return (a.high & ~SIGN) >> 4;
}

Ten ten_of_integer(u64 digits)
{
    return {digits << 4, 0};
}

} // namespace

// ---- Moving and testing ---------------------------------------------------------------------------------------------

Decimal10 *dec10_copy(Decimal10 *dest, const Decimal10 *src)
{
    store(dest, load(src));
    return dest;
}

Decimal10 *dec10_clear(Decimal10 *dest)
{
    store(dest, {});
    return dest;
}

namespace {

// Cells in pairs to bytes. The lower cell of a pair is taken whole, the upper one as far as it fits.
u64 pack_8_cells(const u8 *cells)
{
    const u64 bytes = load_64(cells);
    return join_pairs((bytes >> 4 & 0x00F000F000F000F0) | (bytes & 0x00FF00FF00FF00FF));
}

} // namespace

Decimal10 *dec10_pack(const u8 *digits, Decimal10 *dest)
{
    const u64 low = (u64)(u8)(digits[16] << 4 | digits[17]) << 8 | (u8)(digits[18] << 4 | digits[19]);
    store(dest, {pack_8_cells(digits) << 32 | pack_8_cells(digits + 8), low});
    return dest;
}

u8 *dec10_unpack(u8 *digits, const Decimal10 *src)
{
    const Ten a = load(src);
    store_64(digits, spread_digits(a.high >> 32));
    store_64(digits + 8, spread_digits(a.high & 0xFFFFFFFF));
    store_32(digits + 16, spread_digits(a.low));
    return digits;
}

i16 dec10_is_invalid(const Decimal10 *a)
{
    return !is_sound(load(a));
}

i16 dec10_equal(const Decimal10 *a, const Decimal10 *b)
{
    return is_equal(load(a), load(b));
}

namespace {

// The place of a number of any nibbles in the order: the sign first, then the digits, of which negative numbers want
// the smaller.
inline Ten order_of(Ten a)
{
    const u64 negative = mask_of(is_negative(a));
    return {(a.high | SIGN) ^ negative, a.low ^ (negative & LOW)};
}

inline bool is_greater(Ten a, Ten b)
{
    return is_below(order_of(b), order_of(a));
}

} // namespace

i16 dec10_greater(const Decimal10 *a, const Decimal10 *b)
{
    return is_greater(load(a), load(b));
}

i16 dec10_compare(const Decimal10 *a, i16 relation, const Decimal10 *b)
{
    const Ten x = load(a), y = load(b);
    return relation_holds(relation, is_greater(x, y), is_equal(x, y));
}

Decimal10 *dec10_negate(Decimal10 *dest, const Decimal10 *src)
{
    store(dest, negated(load(src)));
    return dest;
}

Decimal10 *dec10_abs(Decimal10 *dest, const Decimal10 *src)
{
    store(dest, magnitude(load(src)));
    return dest;
}

Decimal10 *dec10_power_of_ten(Decimal10 *dest, i16 n)
{
    Ten a = {};
    if (n >= -1 && n <= 14) a.high = (u64)1 << 4 * (n + 1);
    else if (n >= -5 && n < -1) a.low = (u64)1 << 4 * (n + 5);
    store(dest, a);
    return dest;
}

// ---- Text -----------------------------------------------------------------------------------------------------------

Decimal10 *dec10_parse(Decimal10 *dest, ConstPString text)
{
    const u8 separator = decimal_separator;
    if (separator == '-' || (separator >= '0' && separator <= '9')) return literal::dec10_parse(dest, text);

    NumberText number;
    if (!scan_number(text, 21, separator, &number)) return dec10_clear(dest);
    if (number.whole_count > 14) return dec10_copy(dest, number.minus ? &dec10_min : &dec10_max);

    const i32 more = number.fraction_count - 5;
    const u64 fraction = more > 0 ? number.fraction >> 4 * more : number.fraction << 4 * -more;
    Ten a = {number.whole << 4 | fraction >> 16, fraction & LOW};
    if (more > 0) {  // a sixth digit, of whatever value; the carry is lost beyond the first digit of the text
        const u64 low = add_digits(a.low, 1, 0);
        a.low = low & LOW;
        a.high = add_digits(a.high, low >> 16, 0) & mask_of_digits(number.whole_count + 1);
    }
    store(dest, with_sign(a, number.minus));
    return dest;
}

namespace {

// Move up to 24 characters in pieces that may overlap; nothing behind them is written.
void move_characters(u8 *dest, const u8 *src, i32 count)
{
    if (count >= 8) {
        const u64 first = load_64(src), last = load_64(src + count - 8);
        if (count > 16) store_64(dest + 8, load_64(src + 8));
        store_64(dest, first);
        store_64(dest + count - 8, last);
    } else if (count >= 4) {
        const u64 first = load_32(src), last = load_32(src + count - 4);
        store_32(dest, first);
        store_32(dest + count - 4, last);
    } else {
        for (i32 i = 0; i < count; i++) dest[i] = src[i];
    }
}

constexpr u64 ZEROS = 0x3030303030303030;  // of text
constexpr i32 UNITS_END = 16;              // the units stand in front of it in the buffers below

// The 14 integer digits as text at 2 to 15 of a buffer. Returns the place of the first one that isn't 0, or UNITS_END.
i32 write_integer(u8 *buffer, u64 digits)
{
    store_64(buffer, spread_digits(digits >> 32) + ZEROS);
    store_64(buffer + 8, spread_digits(digits & 0xFFFFFFFF) + ZEROS);
    return digits ? __builtin_clzll(digits) / 4 : UNITS_END;
}

} // namespace

PString dec10_format(PString text, const Decimal10 *a)
{
    const Ten number = load(a);
    const u64 digits = integer_digits(number);
    const u64 last_8 = spread_digits(digits & 0xFFFFFFFF) + ZEROS;
    // The separator and the fraction.
    const u64 last_6 = (u64)decimal_separator << 40 |
                       (spread_digits((number.high & 15) << 16 | number.low) + (ZEROS & 0xFFFFFFFFFF));

    // Written in words that may overlap, with nothing behind them. The minus sign stays if the digits start past it.
    const i32 count = digits ? 16 - __builtin_clzll(digits) / 4 : 1;
    text[1] = '-';
    u8 *to = text + 1 + is_negative(number);
    if (count == 1) {
        const u64 last_7 = (last_8 & 0xFF) << 48 | last_6;
        store_32(to, last_7 >> 24);
        store_32(to + 3, last_7 & 0xFFFFFFFF);
    } else {
        if (count <= 8) {
            store_64(to, last_8 << 8 * (8 - count) | last_6 >> (8 * count - 16));
        } else {
            store_64(to, spread_digits(digits >> 4 * (count - 8) & 0xFFFFFFFF) + ZEROS);
            store_64(to + count - 8, last_8);
        }
        store_64(to + count - 2, last_8 << 48 | last_6);
    }
    text[0] = (u8)(count + 6 + is_negative(number));
    return text;
}

Decimal10 *dec10_parse_scaled(Decimal10 *dest, ConstPString text, i16 places)
{
    // Between these bounds the digits, at most 20 of them, stand in the cells 0 to `places` + 14.
    if (places < -14 || places > 5) return literal::dec10_parse_scaled(dest, text, places);

    const u8 *end = text + 1 + (text[0] < places + 15 ? text[0] : places + 15);
    const u8 *next = text + 1;
    u64 high = 0, low = 0;  // the digits before the last 16, and these
    bool minus = false;
    if (next < end && (*next == '-' || (*next >= '0' && *next <= '9'))) {
        while (next < end) {
            const DigitRun run = digits_at(next, end);
            if (run.count == 0) {
                minus |= *next == '-';
                next++;
                continue;
            }
            next += run.count;
            high = high << 4 * run.count | low >> (64 - 4 * run.count);
            low = low << 4 * run.count | run.digits;
        }
    }

    const i32 shift = 4 * (5 - places);  // to where the last digit belongs: 0 to 76 bits
    if (shift >= 64) {
        high = low << (shift - 64);
        low = 0;
    } else if (shift) {
        high = high << shift | low >> (64 - shift);
        low <<= shift;
    }
    const Ten a = {high << 48 | low >> 16, low & LOW};
    store(dest, with_sign(a, minus));
    return dest;
}

PString dec10_format_scaled(PString text, const Decimal10 *a, i16 places)
{
    const Ten number = load(a);
    u8 buffer[1 + UNITS_END + 8];
    i32 start = 1 + write_integer(buffer + 1, integer_digits(number));
    store_64(buffer + 1 + UNITS_END, spread_digits((number.high & 15) << 28 | number.low << 12) + ZEROS);

    const i32 end = 1 + UNITS_END + (places > 5 ? 5 : places < -14 ? -14 : places);
    if (places >= 0 && start > UNITS_END) start = UNITS_END;
    if (start > end) start = end;
    if (is_negative(number)) buffer[--start] = '-';

    text[0] = (u8)(end - start);
    move_characters(text + 1, buffer + start, end - start);
    return text;
}

// ---- Integers -------------------------------------------------------------------------------------------------------

Decimal10 *dec10_from_i16(Decimal10 *dest, i16 value)
{
    if (value == INT16_MIN) return literal::dec10_from_i16(dest, value);  // the number that isn't -32768
    return dec10_from_i32(dest, value);
}

Decimal10 *dec10_from_i32(Decimal10 *dest, i32 value)
{
    const Ten a = ten_of_integer(digits_of_16(value < 0 ? 0 - (u32)value : (u32)value));
    store(dest, with_sign(a, value < 0));
    return dest;
}

Decimal10 *dec10_from_u32(Decimal10 *dest, u32 value)
{
    store(dest, ten_of_integer(digits_of_16(value)));
    return dest;
}

namespace {

// The last `count` integer digits, which for sound numbers between the bounds are all.
template <class Integer>
Integer to_integer(Integer *out, const Decimal10 *a, const Decimal10 *greatest, const Decimal10 *least, i32 count)
{
    const Ten number = load(a), low = load(least);
    const bool above = is_greater(number, load(greatest));
    const bool below = relation_holds(DEC_LT, is_greater(number, low), is_equal(number, low));
    return bounded_integer(out, above, below, is_negative(number), integer_digits(number) & mask_of_digits(count));
}

} // namespace

i16 dec10_to_i16(i16 *out, const Decimal10 *a) { return to_integer(out, a, &dec10_i16_max, &dec10_i16_min, 5); }
i32 dec10_to_i32(i32 *out, const Decimal10 *a) { return to_integer(out, a, &dec10_i32_max, &dec10_i32_min, 10); }

// ---- Arithmetic -----------------------------------------------------------------------------------------------------

namespace {

// What a sum of the low digits carries, 1 or 0, or a difference of them, 0 or -1.
inline u64 carry_of(u64 low)
{
    return (u64)((i64)low >> 16);
}

// The sum or difference of two sound numbers: `signed_sum` with one integer more. Here the sign of a difference shows
// only once the low digits have borrowed; both parts are turned round, and then borrow anew. The sum of two zeros isn't
// made here.
inline Ten sum_of(Ten a, Ten b, u64 plus)
{
    const u64 sign = mask_of(is_negative(a)), same = sign ^ mask_of(is_negative(b)) ^ plus;
    const u64 from = magnitude(a).high + ((SIXES - 1) & same), taken = magnitude(b).high ^ same;
    const u64 low_from = a.low + ((SIXES_LOW - 1) & same), low_taken = b.low ^ same;
    u64 high = from - taken, low = low_from - low_taken;
    const u64 turned = mask_below_zero(high + carry_of(low));
    low = (low ^ turned) - turned;
    high = (high ^ turned) - turned + carry_of(low);
    low -= sixes_behind((low ^ low_from ^ low_taken) & CARRIES_LOW);
    high -= sixes_behind((high ^ from ^ taken) & CARRIES);

    if (high >> 60) return load(sign ? &dec10_min : &dec10_max);
    return with_sign({high, low & LOW}, sign != turned);
}

// The rest is kept out of the way of sums.

[[gnu::noinline]] Ten product_of(Ten a, Ten b)
{
    const U128 raised = sum_128(product_128(binary_of(a), binary_of(b)), 50000);
    u64 rest;
    const Ten product = is_less(raised, TEN_TO_24) ? ten_of(quotient_of_100000(raised, &rest))
                                                   : Ten{NINES_HIGH, NINES_LOW};
    return with_sign(product, is_negative(a) != is_negative(b));
}

i32 digit_count(u64 binary)
{
    i32 count = 0;
    for (; binary; binary /= 10) count++;
    return count;
}

// Divide and round as `wide_divide` does. The divisor is not 0, and the number below 2^80.
U128 rounded_quotient(U128 number, u64 divisor)
{
    u64 rest;
    const U128 quotient = quotient_128(number, divisor, &rest);
    const u64 tenth = divisor / 10;
    if (!tenth || rest < tenth * 5) return quotient;
    // A number with fewer digits than the divisor isn't even tried. It is all in the rest.
    if (!quotient.low && !quotient.high && digit_count(rest) < digit_count(divisor)) return quotient;
    return sum_128(quotient, 1);
}

// The last 19 digits of a quotient, with the one in front of them as its sign.
Ten ten_of_quotient(U128 quotient)
{
    if (is_less(quotient, {0, TEN_TO_19})) return ten_of(quotient.low);
    u64 rest;
    const U128 more = quotient_128(quotient, TEN_TO_19, &rest);  // up to six digits
    const Ten a = ten_of(rest);
    return {a.high | more.low % 10 << 60, a.low};
}

[[gnu::noinline]] Ten quotient_of(Ten a, Ten b)
{
    const u64 divisor = binary_of(b);
    if (!divisor) return {};
    const Ten quotient = ten_of_quotient(rounded_quotient(product_128(binary_of(a), 100000), divisor));
    return with_sign(quotient, is_negative(a) != is_negative(b));
}

// False for a quotient that is too great for a number: that is worked out literally.
bool remainder_of(Ten a, Ten b, Ten *remainder)
{
    const u64 number = binary_of(a), divisor = binary_of(b);
    u64 part = 0;
    if (divisor) {
        const U128 quotient = rounded_quotient(product_128(number, 100000), divisor);
        if (!is_less(quotient, {0, TEN_TO_19})) return false;
        const U128 product = product_128(quotient.low / 100000, divisor);
        part = is_less(product, {0, TEN_TO_19}) ? product.low : TEN_TO_19 - 1;
    }
    const bool below = number < part;
    const Ten difference = ten_of(below ? part - number : number - part);
    *remainder = with_sign(difference, below != (is_negative(a) != is_negative(b)));
    return true;
}

[[gnu::noinline]] Decimal10 *multiply_or_divide(Decimal10 *dest, const Decimal10 *a, i16 op, const Decimal10 *b)
{
    const Ten x = load(a), y = load(b);
    Ten result = {};
    if (op == DEC_MUL) {
        result = product_of(x, y);
    } else if (op == DEC_DIV) {
        result = quotient_of(x, y);
    } else if (op == DEC_REM && !remainder_of(x, y, &result)) {
        return literal::dec10_arith(dest, a, op, b);
    }
    store(dest, result);
    return dest;
}

[[gnu::noinline]] Decimal10 *arith_of_any(Decimal10 *dest, const Decimal10 *a, i16 op, const Decimal10 *b)
{
    const Ten x = load(a), y = load(b);
    if (!are_sound(x, y)) return literal::dec10_arith(dest, a, op, b);
    if ((u16)op > DEC_SUB) return multiply_or_divide(dest, a, op, b);

    store(dest, sum_of(x, y, mask_of(op == DEC_ADD)));
    return dest;
}

// Most numbers are below 10^10, and one integer holds all their digits. For their sums, which are to cost little more
// than moving them, they are put together from the bytes as these stand, the first of them lowest.
struct TenBytes {
    u64 first_8;
    u16 last_2;
};

constexpr u64 GREAT = 0x00F0FF0F;  // of first_8: the cells 1 to 4, which such numbers don't use

inline TenBytes load_bytes(const Decimal10 *a)
{
    TenBytes bytes;
    memcpy(&bytes.first_8, a->bytes, 8);
    memcpy(&bytes.last_2, a->bytes + 8, 2);
    return bytes;
}

inline SignedDigits last_digits(TenBytes bytes)
{
    return {__builtin_bswap64(bytes.first_8 >> 16 | (u64)bytes.last_2 << 48), (u64)((i64)(bytes.first_8 << 56) >> 60)};
}

inline void store_digits(Decimal10 *dest, SignedDigits a)  // of up to 16 digits
{
    const u64 bytes = __builtin_bswap64(a.digits);
    const u64 first_8 = bytes << 16 | (a.sign & 0xF0);
    const u16 last_2 = (u16)(bytes >> 48);
    memcpy(dest->bytes, &first_8, 8);
    memcpy(dest->bytes + 8, &last_2, 2);
}

} // namespace

Decimal10 *dec10_arith(Decimal10 *dest, const Decimal10 *a, i16 op, const Decimal10 *b)
{
    const TenBytes a_bytes = load_bytes(a), b_bytes = load_bytes(b);
    const SignedDigits x = last_digits(a_bytes), y = last_digits(b_bytes);
    if (has_no_digit(x.digits) | has_no_digit(y.digits) | ((a_bytes.first_8 | b_bytes.first_8) & GREAT)) {
        return arith_of_any(dest, a, op, b);
    }
    if (((x.sign + 1) | (y.sign + 1)) > 1) return arith_of_any(dest, a, op, b);  // neither 0 nor all ones
    if ((u16)op > DEC_SUB) return multiply_or_divide(dest, a, op, b);

    store_digits(dest, signed_sum(x, y, mask_of(op == DEC_ADD)));
    return dest;
}

void dec10_add(Decimal10 *dest, Decimal10 *a, Decimal10 *b) { dec10_arith(dest, a, DEC_ADD, b); }
void dec10_sub(Decimal10 *dest, Decimal10 *a, Decimal10 *b) { dec10_arith(dest, a, DEC_SUB, b); }
void dec10_mul(Decimal10 *dest, Decimal10 *a, Decimal10 *b) { dec10_arith(dest, a, DEC_MUL, b); }
void dec10_div(Decimal10 *dest, Decimal10 *a, Decimal10 *b) { dec10_arith(dest, a, DEC_DIV, b); }
void dec10_rem(Decimal10 *dest, Decimal10 *a, Decimal10 *b) { dec10_arith(dest, a, DEC_REM, b); }

Decimal10 *dec10_muldiv(Decimal10 *dest, const Decimal10 *a, const Decimal10 *b, const Decimal10 *c)
{
    const Ten x = load(a), y = load(b), z = load(c);
    if (dest == c || !are_sound(x, y) || !is_sound(z)) return literal::dec10_muldiv(dest, a, b, c);

    const u64 divisor = binary_of(z);
    if (!divisor) return dec10_clear(dest);

    // The product is rounded at the fifth of its ten decimals, but keeps the other five.
    U128 product = product_128(binary_of(x), binary_of(y));
    if (is_less(product, TEN_TO_24)) {
        u64 rest;
        (void)quotient_of_100000(product, &rest);
        if (rest >= 50000) product = sum_128(product, 100000);
    }
    if (!is_less(product, TEN_TO_24)) product = {TEN_TO_24.high, TEN_TO_24.low - 1};

    const Ten quotient = ten_of_quotient(rounded_quotient(product, divisor));
    store(dest, with_sign(quotient, is_negative(x) ^ is_negative(y) ^ is_negative(z)));
    return dest;
}

// ---- Adjusting ------------------------------------------------------------------------------------------------------

Decimal10 *dec10_adjust(Decimal10 *dest, const Decimal10 *a, i16 op, i16 n)
{
    switch (op) {
        case DEC_SHIFT_LEFT: return dec10_shift(dest, a, n, true);
        case DEC_SHIFT_RIGHT: return dec10_shift(dest, a, n, false);
        case DEC_ROUND: return dec10_round(dest, a, n);
        case DEC_TRUNCATE: return dec10_truncate(dest, a, n);
        default: return dec10_clear(dest);
    }
}

Decimal10 *dec10_shift(Decimal10 *dest, const Decimal10 *a, i16 n, i16 left)
{
    if (n < -5 || n > 18) return dec10_clear(dest);
    const i32 bits = 4 * (n < 0 ? -n : n);
    const Ten number = load(a);

    // The digits as the last 16 and the three in front of them.
    u64 low = number.high << 16 | number.low;
    u64 high = (number.high & ~SIGN) >> 48;
    if (bits == 0) {
        // nothing moves
    } else if ((left != 0) == (n >= 0)) {
        high = bits >= 64 ? low << (bits - 64) : high << bits | low >> (64 - bits);
        low = bits >= 64 ? 0 : low << bits;
    } else {
        low = bits >= 64 ? high >> (bits - 64) : low >> bits | high << (64 - bits);
        high = bits >= 64 ? 0 : high >> bits;
    }
    store(dest, {(number.high & SIGN) | (high << 48 & ~SIGN) | low >> 16, low & LOW});
    return dest;
}

namespace {

// The number without its last `count` digits, 1 to 19.
Ten without_last(Ten a, i32 count)
{
    if (count <= 4) return {a.high, a.low & ~mask_of_digits(count)};
    return {a.high & ~mask_of_digits(count - 4), 0};
}

} // namespace

Decimal10 *dec10_round(Decimal10 *dest, const Decimal10 *a, i16 places)
{
    if (places < -14) return dec10_copy(dest, &dec10_zero);
    if (places >= 5) return dec10_copy(dest, a);
    const Ten number = load(a);
    if (!is_sound(number)) return literal::dec10_round(dest, a, places);

    const i32 dropped = 5 - places;
    const u64 first = dropped <= 4 ? number.low >> 4 * (dropped - 1) & 15 : number.high >> 4 * (dropped - 5) & 15;
    const Ten kept = without_last(number, dropped);
    Ten rounded = magnitude(kept);
    if (first >= 5) {
        const u64 low = dropped < 4 ? add_digits(kept.low, (u64)1 << 4 * dropped, 0) : 0x10000;
        const u64 unit = dropped < 4 ? low >> 16 : (u64)1 << 4 * (dropped - 4);
        rounded = {add_digits(rounded.high, unit, 0), low & LOW};
        if (rounded.high >> 60) rounded = {NINES_HIGH, NINES_LOW};
    }
    if (!is_zero(rounded)) rounded.high |= number.high & SIGN;
    store(dest, rounded);
    return dest;
}

Decimal10 *dec10_truncate(Decimal10 *dest, const Decimal10 *a, i16 places)
{
    if (places < -14) return dec10_copy(dest, &dec10_zero);
    if (places >= 5) return dec10_copy(dest, a);
    Ten kept = without_last(load(a), 5 - places);
    // For a digit the last `places` cells are not searched, which for 3 and 4 places are some that were kept.
    const Ten searched = places > 0 ? without_last(kept, places) : kept;
    if (is_zero(magnitude(searched))) kept.high &= ~SIGN;
    store(dest, kept);
    return dest;
}

// ---- Constants ------------------------------------------------------------------------------------------------------

void decimal_init(u8 separator)
{
    literal::make_constants(
        literal::ConstantMaker<Decimal10>{dec10_clear, dec10_from_i16, dec10_from_i32, dec10_parse, dec10_negate},
        separator);
    decimal8_init(separator);
}

} // namespace zuk
