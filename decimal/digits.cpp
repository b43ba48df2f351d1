#include "decimal/digits.h"

#include <string.h>

namespace zuk {

Decimal10 dec10_zero, dec10_one, dec10_five, dec10_ten, dec10_hundred;
Decimal10 dec10_i16_max, dec10_i16_min, dec10_i32_max, dec10_i32_min, dec10_max, dec10_min;

Decimal8 dec8_zero, dec8_one, dec8_five, dec8_ten, dec8_hundred;
Decimal8 dec8_i16_max, dec8_i16_min, dec8_i32_max, dec8_i32_min, dec8_max, dec8_min;

u8 decimal_separator;

// ---- Cells ----------------------------------------------------------------------------------------------------------

namespace {

// Add 1 at `cell` and carry down to `first`. True if a carry was left over.
bool increment(u8 *cells, i32 cell, i32 first)
{
    for (; cell >= first; cell--) {
        cells[cell]++;
        if (cells[cell] < 10) return false;
        cells[cell] = (u8)(cells[cell] - 10);
    }
    return true;
}

} // namespace

void round_digits(u8 *digits, i16 places, bool no_increment)
{
    const i32 dropped = places + UNITS_CELL + 1;  // the first cell to go
    if (dropped < 1 || dropped >= DIGIT_CELLS) return;

    // KEPT: the first dropped digit alone decides, so that a half always goes away from zero, where one might expect it
    // to go to the even digit. Whoever rounds sees it. Test: dec10_round.looks_at_the_first_dropped_digit_alone
    const bool up = digits[dropped] >= 5;
    memset(digits + dropped, 0, (size_t)(DIGIT_CELLS - dropped));
    const bool ran_off = up && !no_increment && increment(digits, dropped - 1, 1);

    for (i32 cell = 1; cell < DIGIT_CELLS; cell++) {
        if (digits[cell]) return;
    }
    // KEPT: a number that rounds to more than its digits hold becomes the greatest of its sign instead of wrapping.
    // Test: dec10_round.saturates_with_the_sign_of_the_number
    if (ran_off) memset(digits + 1, 9, DIGIT_CELLS - 1);
    else digits[0] = 0;
}

// ---- The wide form --------------------------------------------------------------------------------------------------

namespace {

// The first cell of [2, end) that isn't 0; `end` if there is none.
i32 first_digit(const u8 *wide, i32 end)
{
    i32 cell = 2;
    while (cell < end && !wide[cell]) cell++;
    return cell;
}

// Subtract b from r as often as it goes, at most `limit` times. A number of valid cells is gone after nine times, or
// eleven where b was cut; cells above 9 could go on.
i32 subtract_repeatedly(u8 *r, const u8 *b, i32 limit)
{
    i32 count = 0;
    DecimalWide less;
    while (count < limit && !wide_subtract(less, r, b)) {
        wide_copy(r, less);
        count++;
    }
    return count;
}

} // namespace

void wide_clear(u8 *dest)
{
    memset(dest, 0, WIDE_CELLS);
}

void wide_copy(u8 *dest, const u8 *src)
{
    memcpy(dest, src, WIDE_CELLS);
}

i16 wide_digit_count(const u8 *wide)
{
    return (i16)(WIDE_CELLS - first_digit(wide, WIDE_CELLS));
}

i16 wide_integer_digit_count(const u8 *wide)
{
    return (i16)(30 - first_digit(wide, 30));
}

void wide_add(u8 *dest, const u8 *a, const u8 *b)
{
    i32 carry = 0;
    for (i32 cell = WIDE_CELLS - 1; cell >= 0; cell--) {
        i32 sum = a[cell] + b[cell] + carry;
        carry = sum > 9;
        dest[cell] = (u8)(carry ? sum - 10 : sum);
    }
}

i16 wide_subtract(u8 *dest, const u8 *a, const u8 *b)
{
    i32 borrow = 0;
    for (i32 cell = WIDE_CELLS - 1; cell >= 0; cell--) {
        i32 difference = a[cell] - b[cell] - borrow;
        borrow = difference < 0;
        dest[cell] = (u8)(borrow ? difference + 10 : difference);
    }
    return (i16)borrow;
}

void wide_shift(u8 *dest, const u8 *src, i16 n, bool left)
{
    if (n < 0 || n > WIDE_CELLS - 2) return;

    const size_t kept = (size_t)(WIDE_CELLS - n);
    if (left) {
        memmove(dest, src + n, kept);
        memset(dest + kept, 0, (size_t)n);
    } else {
        memmove(dest + n, src, kept);
        memset(dest, 0, (size_t)n);
    }
}

void wide_multiply(u8 *dest, const u8 *a, const u8 *b)
{
    wide_clear(dest);
    const i32 digits = wide_digit_count(b);
    if (digits < 1) return;

    for (i32 cell = WIDE_CELLS - digits; cell < WIDE_CELLS; cell++) {
        wide_shift(dest, dest, 1, true);
        for (i32 times = b[cell]; times > 0; times--) wide_add(dest, dest, a);
    }

    // KEPT: the rounding raises the fifth decimal, but the digits behind it stay and are divided along by a combined
    // multiply and divide, whose result can be too great by nearly a half of its last digit before it is rounded again.
    // Test: dec10_muldiv.rounds_the_product_and_divides_what_it_rounded_off
    if (dest[WIDE_UNITS_CELL + 1] > 4) (void)increment(dest, WIDE_UNITS_CELL, 0);  // a carry out of cell 0 is lost

    if (wide_integer_digit_count(dest) >= 15) {
        memset(dest, 0, 16);
        memset(dest + 16, 9, WIDE_CELLS - 16);
    }
}

void wide_divide(u8 *quotient, const u8 *a, const u8 *b)
{
    wide_clear(quotient);
    // A negative zero is not the constant zero, so that it gets as far as here; it could be subtracted for ever.
    const i32 divisor_digits = wide_digit_count(b);
    if (divisor_digits < 1) return;
    i32 n = wide_digit_count(a) - divisor_digits;
    if (n < 0) return;

    DecimalWide rest, part;
    wide_copy(rest, a);
    for (; n >= 0; n--) {
        wide_shift(quotient, quotient, 1, true);
        wide_shift(part, b, (i16)n, true);
        quotient[WIDE_CELLS - 1] = (u8)subtract_repeatedly(rest, part, 255);
    }

    // KEPT: the rounding divides the rest by a tenth of the divisor, and that tenth loses its own last digit: with a
    // divisor of few digits the quotient is rounded up too early, and with one digit it is not rounded at all.
    // Test: dec10_arith.divides_with_a_rounding_by_a_cut_tenth
    wide_shift(part, part, 1, false);
    for (u8 cell : part) {
        if (!cell) continue;
        if (subtract_repeatedly(rest, part, 11) > 4) (void)increment(quotient, WIDE_CELLS - 1, 0);
        break;
    }
}

} // namespace zuk
