// The two decimal numbers as bytes, their digit cells, and the wide form in which products and quotients are made.
//
// A `Decimal10` is a signed number of 14 integer and 5 fraction digits, a `Decimal8` a signed whole number of 13
// digits. Both are packed, one digit a nibble, and both number their digit cells alike: cell 0 is the sign, 0 or 15,
// cell 14 the units, cell 15 the tenths. The value of a number is the sum of cell k times 10 to the power 14 - k.
//
// What is done with them stands in decimal10.h and decimal8.h; this header has what both share, and what
// decimal/literal.h needs to do all of it cell by cell.
#pragma once

#include "zuk/types.h"

#include <stddef.h>

namespace zuk {

// ---- The numbers ----------------------------------------------------------------------------------------------------

//   byte    0         1 to 6                7         8         9
//        | 0 1  |  2 3  ...  12 13  |  14 . 15  |  16 17  |  18 19 |     the cells, the left one in the high nibble
//         sign
struct Decimal10 {
    u8 bytes[10];
};
static_assert(sizeof(Decimal10) == 10 && alignof(Decimal10) == 1);

//   byte    0       1         2 to 7
//        | 0 .  |  . 2  |  3 4  ...  13 14 |        there is no cell 1: the dots are nibbles of 0
//         sign
struct Decimal8 {
    u8 bytes[8];
};
static_assert(sizeof(Decimal8) == 8 && alignof(Decimal8) == 1);

// The constants, made by `decimal_init` and only read from then on; until then each is zero.
extern Decimal10 dec10_zero, dec10_one, dec10_five, dec10_ten, dec10_hundred;
extern Decimal10 dec10_i16_max, dec10_i16_min;  // dec10_i16_min isn't the number -32768: see dec10_from_i16
extern Decimal10 dec10_i32_max, dec10_i32_min;
extern Decimal10 dec10_max, dec10_min;  // nines, and the same below zero

extern Decimal8 dec8_zero, dec8_one, dec8_five, dec8_ten, dec8_hundred;
extern Decimal8 dec8_i16_max, dec8_i16_min;  // neither minimum is the number that it is named after: see dec8_from_i32
extern Decimal8 dec8_i32_max, dec8_i32_min;
extern Decimal8 dec8_max, dec8_min;

extern u8 decimal_separator;  // the character between integer and fraction in text

// ---- Codes ----------------------------------------------------------------------------------------------------------

enum DecimalRelation : i16 {  // of dec10_compare and dec8_compare; any other code is never true
    DEC_EQ = 0,
    DEC_NE = 1,
    DEC_LT = 2,
    DEC_GT = 3,
    DEC_LE = 4,
    DEC_GE = 5,
};

enum DecimalOperation : i16 {  // of dec10_arith and dec8_arith; any other code clears the result
    DEC_ADD = 0,
    DEC_SUB = 1,
    DEC_MUL = 2,
    DEC_DIV = 3,
    DEC_REM = 4,
};

enum DecimalAdjustment : i16 {  // of dec10_adjust and dec8_adjust; any other code clears the result
    DEC_SHIFT_LEFT = 0,
    DEC_SHIFT_RIGHT = 1,
    DEC_ROUND = 2,
    DEC_TRUNCATE = 3,  // dec10_adjust alone
};

// ---- Cells ----------------------------------------------------------------------------------------------------------

constexpr i32 DIGIT_CELLS = 20;
constexpr i32 UNITS_CELL = 14;
constexpr u8 SIGN_NEGATIVE = 15;  // what a sign cell holds below zero

// A number unpacked: a cell a byte, each at the place of its number. A cell above 15 is possible on the way into a
// number and reaches into the nibble beside its own.
using DecimalDigits = u8[DIGIT_CELLS];

// Round to `places` fraction digits, -14 to 4, by the first dropped digit alone, half away from zero. With
// `no_increment` the dropped digits are just cleared. A number that rounds to zero becomes positive; one that outgrows
// its cells becomes all nines.
void round_digits(u8 *digits, i16 places, bool no_increment);

// ---- The wide form --------------------------------------------------------------------------------------------------

constexpr i32 WIDE_CELLS = 40;
constexpr i32 WIDE_UNITS_CELL = 34;  // five fraction digits behind it; in a product there are ten, and it is cell 29

// A number without its sign, cell 0 the most significant.
using DecimalWide = u8[WIDE_CELLS];

void wide_clear(u8 *dest);
void wide_copy(u8 *dest, const u8 *src);
i16 wide_digit_count(const u8 *wide);          // digits from the first one that isn't 0; cells 0 and 1 don't count
i16 wide_integer_digit_count(const u8 *wide);  // the same for the integer digits of a product

// `dest` may be an operand in these three.
void wide_add(u8 *dest, const u8 *a, const u8 *b);           // a carry out of cell 0 is lost
i16 wide_subtract(u8 *dest, const u8 *a, const u8 *b);       // the last borrow: 1 when a was below b
void wide_shift(u8 *dest, const u8 *src, i16 n, bool left);  // by 0 to 38 cells; any other n does nothing

// `dest` and `quotient` are no operands here. The product has ten fraction digits and is rounded at the fifth of them,
// but the other five stay. From 15 integer digits on it is 24 nines.
void wide_multiply(u8 *dest, const u8 *a, const u8 *b);
// Rounded by about one digit more. Dividing by zero gives 0.
void wide_divide(u8 *quotient, const u8 *a, const u8 *b);

} // namespace zuk
