#include "decimal/decimal8.h"

#include "decimal/decimal10.h"
#include "decimal/literal.h"
#include "decimal/packed.h"

namespace zuk {

namespace {

// A number is one integer: the sign in the highest nibble, two nibbles where no digit belongs, 13 digits.
constexpr u64 SIGN = (u64)15 << 60;
constexpr u64 DIGITS = mask_of_digits(13);
constexpr u64 STRAYS = ~SIGN & ~DIGITS;

constexpr u64 TEN_TO_13 = 10000000000000;
constexpr u64 TEN_TO_14 = 100000000000000;

u64 load(const Decimal8 *a)
{
    return load_64(a->bytes);
}

Decimal8 *store(Decimal8 *dest, u64 a)
{
    store_64(dest->bytes, a);
    return dest;
}

bool is_negative(u64 a)
{
    return a >> 60;
}

u64 negated(u64 a)
{
    return a ? a ^ SIGN : a;
}

u64 with_sign(u64 a, bool negative)
{
    return negative ? negated(a) : a;
}

bool has_sound_sign(u64 a)
{
    return (u64)((i64)a >> 60) + 1 < 2;
}

bool is_sound(u64 a)
{
    return !((a & STRAYS) | has_no_digit(a & DIGITS)) && has_sound_sign(a);
}

u64 binary_of(u64 a)
{
    return binary_of_digits(a & DIGITS);
}

} // namespace

// ---- Moving and testing ---------------------------------------------------------------------------------------------

Decimal8 *dec8_copy(Decimal8 *dest, const Decimal8 *src)
{
    return store(dest, load(src));
}

Decimal8 *dec8_clear(Decimal8 *dest)
{
    return store(dest, 0);
}

Decimal8 *dec8_pack(const u8 *digits, Decimal8 *dest)
{
    // Cells 3 to 14 in pairs; the lower cell of a pair is taken whole, the upper one as far as it fits.
    const u64 first = load_64(digits + 3), last = load_32(digits + 11);
    const u64 high = join_pairs((first >> 4 & 0x00F000F000F000F0) | (first & 0x00FF00FF00FF00FF));
    const u64 low = join_pairs((last >> 4 & 0x00F000F0) | (last & 0x00FF00FF));
    return store(dest, (u64)digits[0] << 60 | (u64)digits[2] << 48 | high << 16 | low);
}

u8 *dec8_unpack(u8 *digits, const Decimal8 *src)
{
    const u64 a = load(src);
    digits[0] = (u8)(a >> 60);
    digits[1] = 0;
    digits[2] = (u8)(a >> 48 & 15);
    store_64(digits + 3, spread_digits(a >> 16 & 0xFFFFFFFF));
    store_64(digits + 11, spread_digits(a << 16 & 0xFFFF0000));
    digits[19] = 0;
    return digits;
}

i16 dec8_is_invalid(const Decimal8 *a)
{
    const u64 number = load(a);
    return has_no_digit(number & DIGITS) || !has_sound_sign(number);
}

i16 dec8_equal(const Decimal8 *a, const Decimal8 *b)
{
    return load(a) == load(b);
}

namespace {

// The place of a number of any nibbles in the order: the sign first, then the digits, of which negative numbers want
// the smaller.
u64 order_of(u64 a)
{
    return ((a & DIGITS) | SIGN) ^ mask_of(is_negative(a));
}

bool is_greater(u64 a, u64 b)
{
    return order_of(a) > order_of(b);
}

} // namespace

i16 dec8_greater(const Decimal8 *a, const Decimal8 *b)
{
    return is_greater(load(a), load(b));
}

i16 dec8_compare(const Decimal8 *a, i16 relation, const Decimal8 *b)
{
    const u64 x = load(a), y = load(b);
    return relation_holds(relation, is_greater(x, y), x == y);
}

Decimal8 *dec8_negate(Decimal8 *dest, const Decimal8 *src)
{
    return store(dest, negated(load(src)));
}

Decimal8 *dec8_abs(Decimal8 *dest, const Decimal8 *src)
{
    return store(dest, load(src) & ~SIGN);
}

Decimal8 *dec8_power_of_ten(Decimal8 *dest, i16 n)
{
    if (n == 14) return store(dest, (u64)1 << 60);
    return store(dest, n >= 0 && n <= 12 ? (u64)1 << 4 * n : 0);
}

i16 dec8_from_dec10(const Decimal10 *src, Decimal8 *dest)
{
    const u64 number = load_64(src->bytes);
    store(dest, (number & SIGN) | (number >> 4 & DIGITS));
    return 1;
}

i16 dec10_from_dec8(const Decimal8 *src, Decimal10 *dest)
{
    const u64 number = load(src);
    store_64(dest->bytes, (number & SIGN) | (number & DIGITS) << 4);
    store_16(dest->bytes + 8, 0);
    return 1;
}

// ---- Text -----------------------------------------------------------------------------------------------------------

Decimal8 *dec8_parse(Decimal8 *dest, ConstPString text)
{
    const u8 separator = decimal_separator;
    if (separator == '-' || (separator >= '0' && separator <= '9')) return literal::dec8_parse(dest, text);

    NumberText number;
    if (!scan_number(text, 17, separator, &number)) return dec8_clear(dest);
    if (number.whole_count > 14) return dec8_copy(dest, number.minus ? &dec8_min : &dec8_max);
    return store(dest, with_sign(number.whole & DIGITS, number.minus));
}

// The ten bytes have the same integer cells, with which everything below is the same as there.

PString dec8_format(PString text, const Decimal8 *a)
{
    Decimal10 number;
    (void)dec10_from_dec8(a, &number);  // always 1
    return dec10_format(text, &number);
}

PString dec8_format_plain(PString text, const Decimal8 *a)
{
    Decimal10 number;
    (void)dec10_from_dec8(a, &number);  // always 1
    return dec10_format_scaled(text, &number, 0);
}

Decimal8 *dec8_parse_scaled(Decimal8 *dest, ConstPString text, i16 places)
{
    // At places above 4 digits can run past the sign cell.
    if (places < -11 || places > 4) return literal::dec8_parse_scaled(dest, text, places);

    const u8 *end = text + 1 + (text[0] < places + 11 ? text[0] : places + 11);
    const u8 *next = text + 1;
    u64 digits = 0;
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
            digits = digits << 4 * run.count | run.digits;
        }
    }
    // The fifteenth digit from the end is that of the sign cell.
    return store(dest, with_sign((digits << 4 & SIGN) | (digits & DIGITS), minus));
}

// ---- Integers -------------------------------------------------------------------------------------------------------

Decimal8 *dec8_from_i16(Decimal8 *dest, i16 value)
{
    if (value == INT16_MIN) return literal::dec8_from_i16(dest, value);  // neither is the number of its name
    return dec8_from_i32(dest, value);
}

Decimal8 *dec8_from_i32(Decimal8 *dest, i32 value)
{
    if (value == INT32_MIN) return literal::dec8_from_i32(dest, value);
    return store(dest, with_sign(digits_of_16((u64)(value < 0 ? -value : value)), value < 0));
}

namespace {

// The last `count` digits, which between the bounds may not be all: those in front of them are lost.
template <class Integer>
Integer to_integer(Integer *out, const Decimal8 *a, const Decimal8 *greatest, const Decimal8 *least, i32 count)
{
    const u64 number = load(a), low = load(least);
    const bool above = is_greater(number, load(greatest));
    const bool below = relation_holds(DEC_LT, is_greater(number, low), number == low);
    return bounded_integer(out, above, below, is_negative(number), number & mask_of_digits(count));
}

} // namespace

i16 dec8_to_i16(i16 *out, const Decimal8 *a) { return to_integer(out, a, &dec8_i16_max, &dec8_i16_min, 5); }
i32 dec8_to_i32(i32 *out, const Decimal8 *a) { return to_integer(out, a, &dec8_i32_max, &dec8_i32_min, 10); }

// ---- Arithmetic -----------------------------------------------------------------------------------------------------

namespace {

// The sum or difference of two sound numbers, without what is above 13 digits.
u64 sum_of(u64 a, u64 b, u64 plus)
{
    const SignedDigits x = {a & DIGITS, mask_of(is_negative(a))}, y = {b & DIGITS, mask_of(is_negative(b))};
    const SignedDigits sum = signed_sum(x, y, plus);
    return (sum.digits & DIGITS) | (sum.sign & SIGN);
}

// From 15 digits on a product is 14 nines.
bool fits_product(U128 product)
{
    return !product.high && product.low < TEN_TO_14;
}

u64 product_of(u64 a, u64 b)
{
    const U128 product = product_128(binary_of(a), binary_of(b));
    const u64 digits = digits_of_16(fits_product(product) ? product.low : TEN_TO_14 - 1);
    return with_sign(digits, is_negative(a) != is_negative(b));
}

// `number` hundred-thousandths divided by the divisor, rounded at the fifth decimal and cut. The divisor is not 0; a
// tenth of it in hundred-thousandths is whole, so that this rounding is exact. The tail is behind the fifth decimal.
u64 whole_quotient(u64 number, u64 divisor, u64 tail)
{
    u64 quotient = number / divisor;
    const u64 rest = number - quotient * divisor;
    if (rest * 100000 + tail >= divisor * 50000) quotient++;
    return quotient / 100000;
}

u64 quotient_of(u64 a, u64 b)
{
    const u64 divisor = binary_of(b);
    if (!divisor) return 0;
    const u64 quotient = whole_quotient(binary_of(a) * 100000, divisor, 0);
    return with_sign(digits_of_16(quotient), is_negative(a) != is_negative(b));
}

// False when the product of the rounded quotient is too great for a number: that is worked out literally.
bool remainder_of(u64 a, u64 b, u64 *remainder)
{
    const u64 number = binary_of(a), divisor = binary_of(b);
    u64 part = 0;
    if (divisor) part = whole_quotient(number * 100000, divisor, 0) * divisor;
    if (part >= TEN_TO_13) return false;
    const bool below = number < part;
    const u64 digits = digits_of_16(below ? part - number : number - part);
    *remainder = with_sign(digits, below != (is_negative(a) != is_negative(b)));
    return true;
}

} // namespace

Decimal8 *dec8_arith(Decimal8 *dest, const Decimal8 *a, i16 op, const Decimal8 *b)
{
    const u64 x = load(a), y = load(b);
    if (!is_sound(x) || !is_sound(y)) return literal::dec8_arith(dest, a, op, b);

    u64 result = 0;
    switch (op) {
        case DEC_ADD:
        case DEC_SUB: result = sum_of(x, y, mask_of(op == DEC_ADD)); break;
        case DEC_MUL: result = product_of(x, y); break;
        case DEC_DIV: result = quotient_of(x, y); break;
        case DEC_REM:
            if (!remainder_of(x, y, &result)) return literal::dec8_arith(dest, a, op, b);
            break;
        default: break;
    }
    return store(dest, result);
}

void dec8_add(Decimal8 *dest, Decimal8 *a, Decimal8 *b) { dec8_arith(dest, a, DEC_ADD, b); }
void dec8_sub(Decimal8 *dest, Decimal8 *a, Decimal8 *b) { dec8_arith(dest, a, DEC_SUB, b); }
void dec8_mul(Decimal8 *dest, Decimal8 *a, Decimal8 *b) { dec8_arith(dest, a, DEC_MUL, b); }
void dec8_div(Decimal8 *dest, Decimal8 *a, Decimal8 *b) { dec8_arith(dest, a, DEC_DIV, b); }
void dec8_rem(Decimal8 *dest, Decimal8 *a, Decimal8 *b) { dec8_arith(dest, a, DEC_REM, b); }

Decimal8 *dec8_muldiv(Decimal8 *dest, const Decimal8 *a, const Decimal8 *b, const Decimal8 *c)
{
    const u64 x = load(a), y = load(b), z = load(c);
    if (dest == c || !is_sound(x) || !is_sound(y) || !is_sound(z)) return literal::dec8_muldiv(dest, a, b, c);

    const u64 divisor = binary_of(z);
    if (!divisor) return dec8_clear(dest);

    // The nines of an overflow have ten decimals.
    const U128 product = product_128(binary_of(x), binary_of(y));
    const u64 quotient = fits_product(product) ? whole_quotient(product.low * 100000, divisor, 0)
                                               : whole_quotient(TEN_TO_19 - 1, divisor, 99999);
    return store(dest, with_sign(digits_of_16(quotient), is_negative(x) ^ is_negative(y) ^ is_negative(z)));
}

// ---- Adjusting ------------------------------------------------------------------------------------------------------

Decimal8 *dec8_adjust(Decimal8 *dest, const Decimal8 *a, i16 op, i16 n)
{
    switch (op) {
        case DEC_SHIFT_LEFT: return dec8_shift(dest, a, n, true);
        case DEC_SHIFT_RIGHT: return dec8_shift(dest, a, n, false);
        case DEC_ROUND: return dec8_round(dest, a, n);
        default: return dec8_clear(dest);
    }
}

Decimal8 *dec8_shift(Decimal8 *dest, const Decimal8 *a, i16 n, i16 left)
{
    if (n < -5 || n > 18) return dec8_clear(dest);
    const i32 places = n < 0 ? -n : n;
    const u64 number = load(a);
    u64 digits = number & DIGITS;
    if (places > 12) digits = 0;
    else if ((left != 0) == (n >= 0)) digits = digits << 4 * places & DIGITS;
    else digits >>= 4 * places;
    return store(dest, (number & SIGN) | digits);
}

Decimal8 *dec8_round(Decimal8 *dest, const Decimal8 *a, i16 places)
{
    const u64 number = load(a);
    if (places < -13 || places > 1) return store(dest, number);
    if (!is_sound(number)) return literal::dec8_round(dest, a, places);

    const i32 dropped = places < 0 ? -places : 0;
    u64 rounded = number & DIGITS & ~mask_of_digits(dropped);
    if (dropped && (number >> 4 * (dropped - 1) & 15) >= 5) rounded = add_digits(rounded, (u64)1 << 4 * dropped, 0);
    // A fourteenth digit is dropped, but not before it has kept the sign.
    return store(dest, rounded ? (rounded & DIGITS) | (number & SIGN) : 0);
}

// ---- Constants ------------------------------------------------------------------------------------------------------

void decimal8_init(u8 separator)
{
    literal::make_constants(
        literal::ConstantMaker<Decimal8>{dec8_clear, dec8_from_i16, dec8_from_i32, dec8_parse, dec8_negate}, separator);
}

} // namespace zuk
