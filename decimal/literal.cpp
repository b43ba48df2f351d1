#include "decimal/literal.h"

#include "foundation/pstrings.h"

#include <string.h>

namespace zuk::literal {

// The two sizes differ in how they are packed and widened, in their constants, and here and there in a limit. What they
// share is written once, over the type of the number.

namespace {

template <class Number> struct Constants {
    Number *zero, *one, *five, *ten, *hundred, *i16_max, *i16_min, *i32_max, *i32_min, *max, *min;
};

constexpr Constants<Decimal10> constants(const Decimal10 *)
{
    return {&dec10_zero,    &dec10_one,     &dec10_five,    &dec10_ten, &dec10_hundred, &dec10_i16_max,
            &dec10_i16_min, &dec10_i32_max, &dec10_i32_min, &dec10_max, &dec10_min};
}

constexpr Constants<Decimal8> constants(const Decimal8 *)
{
    return {&dec8_zero,    &dec8_one,     &dec8_five,    &dec8_ten, &dec8_hundred, &dec8_i16_max,
            &dec8_i16_min, &dec8_i32_max, &dec8_i32_min, &dec8_max, &dec8_min};
}

// ---- Between bytes and cells ----------------------------------------------------------------------------------------

u8 pair(const u8 *cells)
{
    return (u8)(cells[0] << 4 | cells[1]);
}

void unpair(u8 *cells, u8 byte)
{
    cells[0] = byte >> 4;
    cells[1] = byte & 15;
}

Decimal10 *pack(const u8 *digits, Decimal10 *dest)
{
    for (i32 k = 0; k < 10; k++) dest->bytes[k] = pair(digits + 2 * k);
    return dest;
}

u8 *unpack(u8 *digits, const Decimal10 *src)
{
    for (i32 k = 0; k < 10; k++) unpair(digits + 2 * k, src->bytes[k]);
    return digits;
}

// KEPT: cell 1 and the fraction are dropped without a word, whatever they hold: parsing, adding, rounding and shifting
// lose a fourteenth digit, and a fraction is cut where one might expect it to be rounded.
// Test: dec8_pack.drops_cell_1_and_the_fraction
Decimal8 *pack(const u8 *digits, Decimal8 *dest)
{
    dest->bytes[0] = (u8)(digits[0] << 4);
    dest->bytes[1] = digits[2];
    for (i32 k = 2; k < 8; k++) dest->bytes[k] = pair(digits + 2 * k - 1);
    return dest;
}

u8 *unpack(u8 *digits, const Decimal8 *src)
{
    memset(digits, 0, DIGIT_CELLS);
    digits[0] = src->bytes[0] >> 4;
    digits[2] = src->bytes[1] & 15;
    for (i32 k = 2; k < 8; k++) unpair(digits + 2 * k - 1, src->bytes[k]);
    return digits;
}

void widen(u8 *wide, const Decimal10 *src)
{
    wide_clear(wide);
    unpack(wide + 20, src);
    wide[20] = 0;  // the sign
}

void narrow(Decimal10 *dest, const u8 *wide)
{
    pack(wide + 20, dest);
}

// KEPT: both nibbles that a sound number leaves empty take part here, but not in `unpack`: a product of 14 digits keeps
// its first digit in the high nibble of byte 1, where equality, products and quotients see it, and text, sums and
// comparison don't. Test: dec8_arith.leaves_a_stray_digit_of_a_product_in_byte_1
void widen(u8 *wide, const Decimal8 *src)
{
    wide_clear(wide);
    for (i32 k = 0; k < 8; k++) unpair(wide + 19 + 2 * k, src->bytes[k]);
    wide[19] = 0;  // the sign
}

void narrow(Decimal8 *dest, const u8 *wide)
{
    for (i32 k = 0; k < 8; k++) dest->bytes[k] = pair(wide + 19 + 2 * k);
}

// ---- Moving, testing, comparing -------------------------------------------------------------------------------------

template <class Number> Number *copy(Number *dest, const Number *src)
{
    memmove(dest, src, sizeof *dest);
    return dest;
}

template <class Number> Number *clear(Number *dest)
{
    memset(dest, 0, sizeof *dest);
    return dest;
}

template <class Number> bool is_negative(const Number *a)
{
    return (a->bytes[0] >> 4) != 0;
}

template <class Number> void clear_sign(Number *a)
{
    a->bytes[0] &= 15;
}

template <class Number> i16 is_invalid(const Number *a)
{
    DecimalDigits digits;
    unpack(digits, a);
    for (i32 cell = 1; cell < DIGIT_CELLS; cell++) {
        if (digits[cell] > 9) return 1;
    }
    return digits[0] != 0 && digits[0] != SIGN_NEGATIVE;
}

// KEPT: bytes are compared, not values, so that zero differs from negative zero.
// Test: dec10_equal.tells_a_negative_zero_from_zero
template <class Number> bool equal(const Number *a, const Number *b)
{
    return memcmp(a, b, sizeof *a) == 0;
}

template <class Number> bool greater(const Number *a, const Number *b)
{
    // KEPT: the signs decide before any digit, so that zero is greater than negative zero, where both are nothing.
    // Test: dec10_greater.puts_zero_above_negative_zero
    if (is_negative(a) != is_negative(b)) return !is_negative(a);

    DecimalDigits a_digits, b_digits;
    unpack(a_digits, a);
    unpack(b_digits, b);
    for (i32 cell = 1; cell < DIGIT_CELLS; cell++) {
        if (a_digits[cell] == b_digits[cell]) continue;
        return is_negative(a) ? a_digits[cell] < b_digits[cell] : a_digits[cell] > b_digits[cell];
    }
    return false;
}

template <class Number> bool compare(const Number *a, i16 relation, const Number *b)
{
    switch (relation) {
        case DEC_EQ: return equal(a, b);
        case DEC_NE: return !equal(a, b);
        case DEC_LT: return !greater(a, b) && !equal(a, b);
        case DEC_GT: return greater(a, b);
        case DEC_LE: return !greater(a, b);
        case DEC_GE: return greater(a, b) || equal(a, b);
        default: return false;
    }
}

template <class Number> Number *negate(Number *dest, const Number *src)
{
    copy(dest, src);
    if (!equal(dest, constants(dest).zero)) dest->bytes[0] ^= 0xF0;
    return dest;
}

template <class Number> Number *absolute(Number *dest, const Number *src)
{
    copy(dest, src);
    clear_sign(dest);
    return dest;
}

template <class Number> Number *power_of_ten(Number *dest, i16 n)
{
    DecimalDigits digits = {};
    const i32 cell = UNITS_CELL - n;
    if (cell >= 0 && cell < DIGIT_CELLS) digits[cell] = 1;
    return pack(digits, dest);
}

// ---- Text -----------------------------------------------------------------------------------------------------------

bool is_digit(u8 character)
{
    return character >= '0' && character <= '9';
}

// Where in the `count` characters a number begins; `count` if nowhere.
i32 number_start(const u8 *text, i32 count)
{
    for (i32 i = 0; i < count; i++) {
        if (text[i] >= '1' && text[i] <= '9') return i;
        if (text[i] == '-') return i;
        if (text[i] == decimal_separator && i + 1 < count && is_digit(text[i + 1])) return i;
    }
    return count;
}

// How the two sizes read text.
struct ParseLimits {
    i32 characters;  // of the number; the rest is not looked at
    i32 fraction;    // digits of it that are taken
    bool carries;    // if what lies behind them raises the last one
};

template <class Number> Number *parse(Number *dest, ConstPString string, ParseLimits limits)
{
    i32 count = string[0];
    const i32 start = number_start(string + 1, count);
    const u8 *text = string + 1 + start;
    count -= start;
    if (count == 0) return clear(dest);
    if (count > limits.characters) count = limits.characters;

    // KEPT: behind a minus sign zeros are not skipped, and count for the limit as any digit does: fifteen of them and a
    // 1 read as dec10_min, where one expects -1. Test: dec10_parse.counts_zeros_behind_a_minus
    const bool minus = text[0] == '-';
    i32 separator = -1;
    i32 end = 0;
    for (; end < count; end++) {
        if (text[end] == decimal_separator) {
            if (separator >= 0) break;
            separator = end;
        } else if (!is_digit(text[end]) && !(text[end] == '-' && end == 0)) {
            break;
        }
    }

    const i32 integer_limit = minus ? 15 : 14;
    if ((separator >= 0 ? separator : end) > integer_limit) {
        return copy(dest, minus ? constants(dest).min : constants(dest).max);
    }

    i32 carry = 0;
    i32 fraction = separator >= 0 ? end - separator - 1 : 0;
    if (fraction > limits.fraction) {
        fraction = limits.fraction;
        end = separator + 1 + fraction;
        // KEPT: the digit behind the last one taken is compared with the number 4 where one expects the character, and
        // no character of a digit is as low as that: whatever it is, the last digit is raised. 1.000000 reads as
        // 1.00001. Test: dec10_parse.raises_the_fifth_digit_before_any_sixth
        if (limits.carries) carry = text[end] > 4;
    }

    DecimalDigits digits = {};
    bool negative = false;
    i32 cell = UNITS_CELL + fraction;
    for (i32 i = end - 1; i >= 0; i--) {
        if (text[i] == '-') negative = true;
        if (i == separator || !is_digit(text[i])) continue;
        const i32 sum = text[i] - '0' + carry;
        carry = sum / 10;
        digits[cell] = (u8)(sum % 10);
        cell--;
    }
    // KEPT: the carry that is left here is lost, where one expects one digit more: 9.999999 reads as 0. A zero in front
    // helps only behind a minus sign, where it isn't skipped. Test: dec10_parse.loses_the_carry_out_of_the_first_digit

    pack(digits, dest);
    return negative ? negate(dest, dest) : dest;
}

template <class Number> Number *parse_scaled(Number *dest, ConstPString string, i32 cell, i32 limit)
{
    const u8 *text = string + 1;
    const i32 count = string[0] < limit ? string[0] : limit;
    DecimalDigits digits = {};
    bool negative = false;
    if (count > 0 && (is_digit(text[0]) || text[0] == '-')) {
        for (i32 i = count - 1; i >= 0; i--) {
            if (text[i] == '-') negative = true;
            if (!is_digit(text[i])) continue;
            // KEPT: a digit that gets as far as cell 0 becomes the sign, where one expects an overflow: fifteen digits
            // at 0 places make an invalid number. Those past it are dropped.
            // Test: dec10_parse_scaled.puts_a_fifteenth_digit_into_the_sign
            if (cell >= 0 && cell < DIGIT_CELLS) digits[cell] = (u8)(text[i] - '0');
            cell--;
        }
    }
    pack(digits, dest);
    return negative ? negate(dest, dest) : dest;
}

// The cells 1 to `last` without leading zeros, but always the units, and all that is behind them.
void append_cells(PString text, const u8 *digits, i32 last, bool with_separator)
{
    bool started = digits[1] != 0;
    for (i32 cell = 1; cell <= last; cell++) {
        if (cell == UNITS_CELL && !started) pstraddc(text, '0');
        if (started) pstraddc(text, (u8)('0' + digits[cell]));  // 10 to 15 are the characters behind 9
        else started = digits[cell + 1] != 0;

        if (cell != UNITS_CELL) continue;
        if (with_separator) pstraddc(text, decimal_separator);
        started = true;
    }
}

template <class Number> PString format(PString text, const Number *a, i32 last, bool with_separator)
{
    DecimalDigits digits;
    unpack(digits, a);
    pstrnull(text);
    // KEPT: a negative zero shows as -0.00000. Test: dec10_format.shows_a_negative_zero
    if (digits[0]) pstraddc(text, '-');
    append_cells(text, digits, last, with_separator);
    return text;
}

// ---- Integers -------------------------------------------------------------------------------------------------------

// Integer is what the division is done in.
template <class Integer, class Number> Number *from_integer(Number *dest, Integer value, bool negative)
{
    DecimalDigits digits = {};
    if (negative) digits[0] = SIGN_NEGATIVE;
    for (i32 cell = UNITS_CELL; value; cell--) {
        digits[cell] = (u8)(value % 10);
        value = (Integer)(value / 10);
    }
    return pack(digits, dest);
}

// KEPT: the least integer stays what it is when it is negated, and its remainders are negative: they spoil the nibbles
// beside them, so that the bytes aren't those of -32768. dec10_i16_min is made this way, and dec10_to_i16 compares with
// it. Test: dec10_from_i16.makes_an_invalid_number_of_the_least_integer
template <class Number> Number *from_i16(Number *dest, i16 value)
{
    return from_integer<i16>(dest, (i16)(value < 0 ? -value : value), value < 0);
}

// The last `count` integer digits as an unsigned number of 32 bits, of which the caller takes what it needs.
template <class Number> u32 low_digits(const Number *a, i32 count)
{
    DecimalDigits digits;
    unpack(digits, a);
    u32 value = 0;
    for (i32 cell = UNITS_CELL + 1 - count; cell <= UNITS_CELL; cell++) value = value * 10 + digits[cell];
    return value;
}

// KEPT: the least integer is compared with the spoilt dec10_i16_min, which is far below -32768: five digits below that
// wrap, so that -40000 gives 25536 where one expects -32768.
// Test: dec10_to_i16.wraps_below_the_least_integer_up_to_five_digits
template <class Number> i16 to_i16(const Number *a)
{
    if (equal(a, constants(a).zero)) return 0;
    if (compare(a, DEC_GT, constants(a).i16_max)) return INT16_MAX;
    if (compare(a, DEC_LT, constants(a).i16_min)) return INT16_MIN;
    const u32 value = low_digits(a, 5);
    return (i16)(is_negative(a) ? 0 - value : value);
}

template <class Number> i32 to_i32(const Number *a)
{
    if (equal(a, constants(a).zero)) return 0;
    if (compare(a, DEC_GT, constants(a).i32_max)) return INT32_MAX;
    if (compare(a, DEC_LT, constants(a).i32_min)) return INT32_MIN;
    const u32 value = low_digits(a, 10);
    return (i32)(is_negative(a) ? 0 - value : value);
}

template <class Integer> Integer store(Integer *out, Integer value)
{
    if (out) *out = value;
    return value;
}

// ---- Arithmetic -----------------------------------------------------------------------------------------------------

template <class Number> void add(Number *dest, Number *a, Number *b);
template <class Number> void sub(Number *dest, Number *a, Number *b);
template <class Number> void mul(Number *dest, Number *a, Number *b);
template <class Number> void div(Number *dest, Number *a, Number *b);
template <class Number> void rem(Number *dest, Number *a, Number *b);

template <class Number> Number *arith(Number *dest, const Number *a, i16 op, const Number *b)
{
    Number a_copy = *a, b_copy = *b;
    switch (op) {
        case DEC_ADD: add(dest, &a_copy, &b_copy); break;
        case DEC_SUB: sub(dest, &a_copy, &b_copy); break;
        case DEC_MUL: mul(dest, &a_copy, &b_copy); break;
        case DEC_DIV: div(dest, &a_copy, &b_copy); break;
        case DEC_REM: rem(dest, &a_copy, &b_copy); break;
        default: clear(dest);
    }
    return dest;
}

template <class Number> void add(Number *dest, Number *a, Number *b)
{
    clear(dest);
    const bool negative = is_negative(a);
    if (negative == is_negative(b)) {
        DecimalDigits sum, b_digits;
        unpack(sum, a);
        unpack(b_digits, b);
        i32 carry = 0;
        for (i32 cell = DIGIT_CELLS - 1; cell > 0; cell--) {
            i32 digit = sum[cell] + b_digits[cell] + carry;
            carry = digit > 9;
            sum[cell] = (u8)(carry ? digit - 10 : digit);
        }
        // KEPT: the short form has no cell 1, so that no carry gets out of it: the sum wraps at 13 digits, where one
        // expects the greatest number. Test: dec8_arith.wraps_a_sum_of_fourteen_digits
        if (carry) {
            copy(dest, negative ? constants(dest).min : constants(dest).max);
            return;
        }
        sum[0] = negative ? SIGN_NEGATIVE : 0;
        pack(sum, dest);
        return;
    }

    clear_sign(a);
    clear_sign(b);
    const bool a_greater = greater(a, b);
    arith(dest, a, DEC_SUB, b);
    clear_sign(dest);
    if (a_greater == negative) negate(dest, dest);
}

template <class Number> void sub(Number *dest, Number *a, Number *b)
{
    clear(dest);
    if (equal(a, b)) return;
    if (is_negative(a) || is_negative(b)) {
        negate(b, b);
        arith(dest, a, DEC_ADD, b);
        return;
    }

    const bool swapped = compare(a, DEC_LT, b);
    DecimalDigits difference, b_digits;
    unpack(difference, swapped ? b : a);
    unpack(b_digits, swapped ? a : b);
    i32 borrow = 0;
    for (i32 cell = DIGIT_CELLS - 1; cell > 0; cell--) {
        i32 digit = difference[cell] - b_digits[cell] - borrow;
        borrow = digit < 0;
        difference[cell] = (u8)(borrow ? digit + 10 : digit);
    }
    if (swapped) difference[0] = SIGN_NEGATIVE;
    pack(difference, dest);
}

template <class Number> void mul(Number *dest, Number *a, Number *b)
{
    clear(dest);
    const bool signs_agree = is_negative(a) == is_negative(b);
    clear_sign(a);
    clear_sign(b);
    const bool swapped = compare(a, DEC_LT, b);  // the shorter number drives the loop

    DecimalWide wide_a, wide_b, product;
    widen(wide_a, swapped ? b : a);
    widen(wide_b, swapped ? a : b);
    wide_multiply(product, wide_a, wide_b);
    wide_shift(product, product, 5, false);
    // KEPT: of the nines of an overflow the short form takes fourteen, one more than it has: not dec8_max, as one would
    // expect, though it reads the same. Test: dec8_arith.overflows_a_product_to_fourteen_nines
    narrow(dest, product);
    if (!signs_agree) negate(dest, dest);
}

template <class Number> void div(Number *dest, Number *a, Number *b)
{
    clear(dest);
    // KEPT: a division by zero gives 0 and tells nobody. Test: dec10_arith.divides_by_zero_to_zero
    if (equal(b, constants(b).zero)) return;

    const bool signs_agree = is_negative(a) == is_negative(b);
    clear_sign(a);
    clear_sign(b);
    DecimalWide wide_a, wide_b, quotient;
    widen(wide_a, a);
    widen(wide_b, b);
    wide_shift(wide_a, wide_a, 5, true);
    wide_divide(quotient, wide_a, wide_b);
    // KEPT: digits of a quotient that is too great fall away, and the lowest of them becomes the sign, where a product
    // gives the greatest number. Test: dec10_arith.lets_a_great_quotient_into_the_sign
    // KEPT: the short form rounds at the fifth decimal and then cuts: 2 / 3 gives 0, but 999999 / 1000000 gives 1.
    // Test: dec8_arith.cuts_the_quotient_after_rounding_its_fifth_decimal
    narrow(dest, quotient);
    if (!signs_agree) negate(dest, dest);
}

template <class Number> void rem(Number *dest, Number *a, Number *b)
{
    const bool signs_agree = is_negative(a) == is_negative(b);
    clear_sign(a);
    clear_sign(b);

    // KEPT: the quotient was rounded at its fifth decimal. Where that makes it whole the remainder comes out below
    // zero. And as a division by zero gives 0, the remainder of it is the number itself.
    // Test: dec10_arith.gives_a_negative_remainder_under_a_rounded_quotient
    // Test: dec10_arith.gives_the_number_itself_as_remainder_by_zero
    Number quotient;
    arith(&quotient, a, DEC_DIV, b);
    DecimalDigits digits;
    unpack(digits, &quotient);
    round_digits(digits, 0, true);
    pack(digits, &quotient);
    arith(&quotient, &quotient, DEC_MUL, b);
    arith(dest, a, DEC_SUB, &quotient);

    // KEPT: the remainder is negative when the signs differ, where one expects the sign of a: -7 rem -3 gives 1.
    // Test: dec10_arith.signs_the_remainder_by_disagreement
    if (!signs_agree) negate(dest, dest);
}

template <class Number> Number *muldiv(Number *dest, const Number *a, const Number *b, const Number *c)
{
    const bool negative = is_negative(a) ^ is_negative(b) ^ is_negative(c);
    DecimalWide wide_a, wide_b, wide_c, product, quotient;
    widen(wide_a, a);
    widen(wide_b, b);
    widen(wide_c, c);

    // KEPT: the result is cleared before the divisor is looked at, so that as the result's own place the divisor is
    // zero, where a and b may be. Test: dec10_muldiv.gives_zero_into_its_divisor
    clear(dest);
    if (equal(c, constants(c).zero)) return dest;

    wide_multiply(product, wide_a, wide_b);
    wide_divide(quotient, product, wide_c);
    narrow(dest, quotient);
    return negative ? negate(dest, dest) : dest;
}

// ---- Adjusting ------------------------------------------------------------------------------------------------------

// KEPT: digits that leave their cells are lost without rounding or saturation, and the sign stays when nothing else
// does: this makes negative zeros. Test: dec10_shift.loses_digits_on_both_sides
// Test: dec10_shift.leaves_a_negative_zero
template <class Number> Number *shift(Number *dest, const Number *a, i16 n, i16 left)
{
    if (n < -5 || n > 18) return clear(dest);
    const bool to_left = (left != 0) == (n >= 0);
    const i32 k = n < 0 ? -n : n;

    DecimalDigits from, to = {};
    unpack(from, a);
    to[0] = from[0];
    for (i32 cell = DIGIT_CELLS - 1 - k; cell >= 1; cell--) {
        if (to_left) to[cell] = from[cell + k];
        else to[cell + k] = from[cell];
    }
    return pack(to, dest);
}

template <class Number> Number *round(Number *dest, const Number *a, i16 places)
{
    DecimalDigits digits;
    unpack(digits, a);
    round_digits(digits, places, false);
    // KEPT: the short form loses a digit that comes into cell 1, where one expects the greatest number, and as
    // `round_digits` has seen it there the sign stays: dec8_max at -1 places gives 0, dec8_min a negative zero.
    // Test: dec8_round.wraps_at_the_top
    return pack(digits, dest);
}

} // namespace

// ---- Ten bytes ------------------------------------------------------------------------------------------------------

Decimal10 *dec10_copy(Decimal10 *dest, const Decimal10 *src) { return copy(dest, src); }
Decimal10 *dec10_clear(Decimal10 *dest) { return clear(dest); }
Decimal10 *dec10_pack(const u8 *digits, Decimal10 *dest) { return pack(digits, dest); }
u8 *dec10_unpack(u8 *digits, const Decimal10 *src) { return unpack(digits, src); }
i16 dec10_is_invalid(const Decimal10 *a) { return is_invalid(a); }
i16 dec10_equal(const Decimal10 *a, const Decimal10 *b) { return equal(a, b); }
i16 dec10_greater(const Decimal10 *a, const Decimal10 *b) { return greater(a, b); }
i16 dec10_compare(const Decimal10 *a, i16 relation, const Decimal10 *b) { return compare(a, relation, b); }
Decimal10 *dec10_negate(Decimal10 *dest, const Decimal10 *src) { return negate(dest, src); }
Decimal10 *dec10_abs(Decimal10 *dest, const Decimal10 *src) { return absolute(dest, src); }
Decimal10 *dec10_power_of_ten(Decimal10 *dest, i16 n) { return power_of_ten(dest, n); }

Decimal10 *dec10_parse(Decimal10 *dest, ConstPString text)
{
    return parse(dest, text, {.characters = 21, .fraction = 5, .carries = true});
}

PString dec10_format(PString text, const Decimal10 *a) { return format(text, a, DIGIT_CELLS - 1, true); }

Decimal10 *dec10_parse_scaled(Decimal10 *dest, ConstPString text, i16 places)
{
    return parse_scaled(dest, text, places + UNITS_CELL, places + 15);
}

// KEPT: digits behind the last place are cut, where one might expect them to be rounded: 1.59 at 1 place shows as 15.
// Test: dec10_format_scaled.cuts_what_it_does_not_show
PString dec10_format_scaled(PString text, const Decimal10 *a, i16 places)
{
    const i32 last = places > 5 ? DIGIT_CELLS - 1 : places < -14 ? 0 : places + UNITS_CELL;
    return format(text, a, last, false);
}

Decimal10 *dec10_from_i16(Decimal10 *dest, i16 value) { return from_i16(dest, value); }

Decimal10 *dec10_from_i32(Decimal10 *dest, i32 value)
{
    return from_integer<u32>(dest, value < 0 ? 0 - (u32)value : (u32)value, value < 0);
}

Decimal10 *dec10_from_u32(Decimal10 *dest, u32 value) { return from_integer<u32>(dest, value, false); }
i16 dec10_to_i16(i16 *out, const Decimal10 *a) { return store(out, to_i16(a)); }
i32 dec10_to_i32(i32 *out, const Decimal10 *a) { return store(out, to_i32(a)); }

Decimal10 *dec10_arith(Decimal10 *dest, const Decimal10 *a, i16 op, const Decimal10 *b)
{
    return arith(dest, a, op, b);
}

Decimal10 *dec10_muldiv(Decimal10 *dest, const Decimal10 *a, const Decimal10 *b, const Decimal10 *c)
{
    return muldiv(dest, a, b, c);
}

Decimal10 *dec10_adjust(Decimal10 *dest, const Decimal10 *a, i16 op, i16 n)
{
    switch (op) {
        case DEC_SHIFT_LEFT: return dec10_shift(dest, a, n, true);
        case DEC_SHIFT_RIGHT: return dec10_shift(dest, a, n, false);
        case DEC_ROUND: return dec10_round(dest, a, n);
        case DEC_TRUNCATE: return dec10_truncate(dest, a, n);
        default: return clear(dest);
    }
}

Decimal10 *dec10_shift(Decimal10 *dest, const Decimal10 *a, i16 n, i16 left) { return shift(dest, a, n, left); }

Decimal10 *dec10_round(Decimal10 *dest, const Decimal10 *a, i16 places)
{
    if (places < -14) return copy(dest, &dec10_zero);
    if (places >= 5) return copy(dest, a);
    return round(dest, a, places);
}

Decimal10 *dec10_truncate(Decimal10 *dest, const Decimal10 *a, i16 places)
{
    if (places < -14) return copy(dest, &dec10_zero);
    if (places >= 5) return copy(dest, a);

    DecimalDigits digits;
    unpack(digits, a);
    const i32 dropped = places + UNITS_CELL + 1;
    memset(digits + dropped, 0, (size_t)(DIGIT_CELLS - dropped));

    // KEPT: the search for a digit ends short of the last ones kept when there are 3 or 4 places, so that -0.0012 at 4
    // places loses its sign, where one expects it to stay. Test: dec10_truncate.loses_the_sign_of_small_numbers
    const i32 last = places < 0 ? DIGIT_CELLS - 1 : DIGIT_CELLS - 1 - places;
    bool any = false;
    for (i32 cell = 1; cell <= last; cell++) any |= digits[cell] != 0;
    if (!any) digits[0] = 0;
    return pack(digits, dest);
}

void dec10_add(Decimal10 *dest, Decimal10 *a, Decimal10 *b) { add(dest, a, b); }
void dec10_sub(Decimal10 *dest, Decimal10 *a, Decimal10 *b) { sub(dest, a, b); }
void dec10_mul(Decimal10 *dest, Decimal10 *a, Decimal10 *b) { mul(dest, a, b); }
void dec10_div(Decimal10 *dest, Decimal10 *a, Decimal10 *b) { div(dest, a, b); }
void dec10_rem(Decimal10 *dest, Decimal10 *a, Decimal10 *b) { rem(dest, a, b); }

// ---- Eight bytes ----------------------------------------------------------------------------------------------------

Decimal8 *dec8_copy(Decimal8 *dest, const Decimal8 *src) { return copy(dest, src); }
Decimal8 *dec8_clear(Decimal8 *dest) { return clear(dest); }
Decimal8 *dec8_pack(const u8 *digits, Decimal8 *dest) { return pack(digits, dest); }
u8 *dec8_unpack(u8 *digits, const Decimal8 *src) { return unpack(digits, src); }
i16 dec8_is_invalid(const Decimal8 *a) { return is_invalid(a); }
i16 dec8_equal(const Decimal8 *a, const Decimal8 *b) { return equal(a, b); }
i16 dec8_greater(const Decimal8 *a, const Decimal8 *b) { return greater(a, b); }
i16 dec8_compare(const Decimal8 *a, i16 relation, const Decimal8 *b) { return compare(a, relation, b); }
Decimal8 *dec8_negate(Decimal8 *dest, const Decimal8 *src) { return negate(dest, src); }
Decimal8 *dec8_abs(Decimal8 *dest, const Decimal8 *src) { return absolute(dest, src); }
Decimal8 *dec8_power_of_ten(Decimal8 *dest, i16 n) { return power_of_ten(dest, n); }

// KEPT: up to 14 integer digits are let in although only 13 are held, and the first of fourteen is dropped:
// 12345678901234 reads as 2345678901234, where one expects dec8_max. Test: dec8_parse.drops_a_fourteenth_digit
// KEPT: the fraction is read and dropped, never rounded: 12.99 reads as 12. Test: dec8_parse.cuts_the_fraction
Decimal8 *dec8_parse(Decimal8 *dest, ConstPString text)
{
    return parse(dest, text, {.characters = 17, .fraction = 2, .carries = false});
}

// KEPT: a whole number shows with five decimals that it can't have. Test: dec8_format.always_shows_five_zeros
PString dec8_format(PString text, const Decimal8 *a) { return format(text, a, DIGIT_CELLS - 1, true); }
PString dec8_format_plain(PString text, const Decimal8 *a) { return format(text, a, UNITS_CELL, false); }

// KEPT: `places` moves no digit, as one would expect; it only limits how much of the text is read.
// Test: dec8_parse_scaled.takes_places_as_a_limit_of_the_text_alone
Decimal8 *dec8_parse_scaled(Decimal8 *dest, ConstPString text, i16 places)
{
    return parse_scaled(dest, text, UNITS_CELL, places + 11);
}

Decimal8 *dec8_from_i16(Decimal8 *dest, i16 value) { return from_i16(dest, value); }

// KEPT: here the division is signed, other than in dec10_from_i32, so that the least integer of 32 bits is spoilt too.
// dec8_i32_min is made this way. Test: dec8_from_i32.makes_an_invalid_number_of_the_least_integer
Decimal8 *dec8_from_i32(Decimal8 *dest, i32 value)
{
    return from_integer<i32>(dest, (i32)(value < 0 ? 0 - (u32)value : (u32)value), value < 0);
}

// KEPT: compared with the spoilt minima a negative number saturates late: from 1000000 on for 16 bits, from 10000000000
// on for 32. Those between wrap. Test: dec8_to_i16.wraps_below_the_least_integer_up_to_six_digits
// Test: dec8_to_i32.wraps_below_the_least_integer_up_to_ten_digits
i16 dec8_to_i16(i16 *out, const Decimal8 *a) { return store(out, to_i16(a)); }
i32 dec8_to_i32(i32 *out, const Decimal8 *a) { return store(out, to_i32(a)); }

Decimal8 *dec8_arith(Decimal8 *dest, const Decimal8 *a, i16 op, const Decimal8 *b)
{
    return arith(dest, a, op, b);
}

Decimal8 *dec8_muldiv(Decimal8 *dest, const Decimal8 *a, const Decimal8 *b, const Decimal8 *c)
{
    return muldiv(dest, a, b, c);
}

// KEPT: the short form has no truncating, whose code clears the result as an unknown one does.
// Test: dec8_adjust.does_not_truncate
Decimal8 *dec8_adjust(Decimal8 *dest, const Decimal8 *a, i16 op, i16 n)
{
    switch (op) {
        case DEC_SHIFT_LEFT: return dec8_shift(dest, a, n, true);
        case DEC_SHIFT_RIGHT: return dec8_shift(dest, a, n, false);
        case DEC_ROUND: return dec8_round(dest, a, n);
        default: return clear(dest);
    }
}

Decimal8 *dec8_shift(Decimal8 *dest, const Decimal8 *a, i16 n, i16 left) { return shift(dest, a, n, left); }

// KEPT: places below the range copy the number, where dec10_round gives zero.
// Test: dec8_round.copies_outside_its_range
Decimal8 *dec8_round(Decimal8 *dest, const Decimal8 *a, i16 places)
{
    if (places < -13 || places > 1) return copy(dest, a);
    return round(dest, a, places);
}

i16 dec8_from_dec10(const Decimal10 *src, Decimal8 *dest)
{
    DecimalDigits digits;
    unpack(digits, src);
    pack(digits, dest);
    return 1;
}

i16 dec10_from_dec8(const Decimal8 *src, Decimal10 *dest)
{
    DecimalDigits digits;
    unpack(digits, src);
    pack(digits, dest);
    return 1;
}

void dec8_add(Decimal8 *dest, Decimal8 *a, Decimal8 *b) { add(dest, a, b); }
void dec8_sub(Decimal8 *dest, Decimal8 *a, Decimal8 *b) { sub(dest, a, b); }
void dec8_mul(Decimal8 *dest, Decimal8 *a, Decimal8 *b) { mul(dest, a, b); }
void dec8_div(Decimal8 *dest, Decimal8 *a, Decimal8 *b) { div(dest, a, b); }
void dec8_rem(Decimal8 *dest, Decimal8 *a, Decimal8 *b) { rem(dest, a, b); }

// ---- Constants ------------------------------------------------------------------------------------------------------

namespace {

template <class Number> void make_all(const ConstantMaker<Number> &with, u8 separator, u8 integer, u8 fraction)
{
    const Constants<Number> made = constants((const Number *)nullptr);
    with.clear(made.zero);
    with.from_i16(made.one, 1);
    with.from_i16(made.five, 5);
    with.from_i16(made.ten, 10);
    with.from_i16(made.hundred, 100);
    with.from_i16(made.i16_max, INT16_MAX);
    with.from_i16(made.i16_min, INT16_MIN);
    with.from_i32(made.i32_max, INT32_MAX);
    with.from_i32(made.i32_min, INT32_MIN);
    decimal_separator = separator;

    u8 nines[1 + DIGIT_CELLS];
    memset(nines + 1, '9', DIGIT_CELLS);
    nines[0] = (u8)(integer + 1 + fraction);
    nines[1 + integer] = separator;
    with.parse(made.max, nines);
    with.negate(made.min, made.max);
}

} // namespace

void make_constants(const ConstantMaker<Decimal10> &with, u8 separator) { make_all(with, separator, 14, 5); }
void make_constants(const ConstantMaker<Decimal8> &with, u8 separator) { make_all(with, separator, 13, 2); }

void decimal_init(u8 separator)
{
    make_constants(ConstantMaker<Decimal10>{dec10_clear, dec10_from_i16, dec10_from_i32, dec10_parse, dec10_negate},
                   separator);
    make_constants(ConstantMaker<Decimal8>{dec8_clear, dec8_from_i16, dec8_from_i32, dec8_parse, dec8_negate},
                   separator);
}

} // namespace zuk::literal
