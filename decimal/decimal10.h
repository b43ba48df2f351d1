// Ten-byte decimal numbers: 14 integer and 5 fraction digits and a sign, exact and without floating point.
//
// A number is a plain value of its owner; see decimal/digits.h for its bytes and for the constants. `decimal_init` must
// have run before anything else, and have ended before other threads calculate.
//
// Every operation writes to `dest`, `text` or `out` and returns it, or the value. Nothing fails: what is too great
// saturates, wraps or loses digits as told below, and nobody is told. Nothing allocates. `dest` may be an operand, but
// see dec10_muldiv. A number with a digit above 9 or an unknown sign is not refused anywhere; results with it are
// always the same, and slower.
//
// decimal/literal.h has the same operations worked out cell by cell, which is where the peculiar results are explained.
#pragma once

#include "decimal/digits.h"
#include "zuk/zuk.h"

namespace zuk {

// Make the constants of both sizes and note the separator of text. A second call makes them again.
void decimal_init(u8 separator);

// ---- Moving and testing ---------------------------------------------------------------------------------------------

Decimal10 *dec10_copy(Decimal10 *dest, const Decimal10 *src);
Decimal10 *dec10_clear(Decimal10 *dest);
Decimal10 *dec10_pack(const u8 *digits, Decimal10 *dest);  // `DecimalDigits`; a cell above 15 spoils its neighbour
u8 *dec10_unpack(u8 *digits, const Decimal10 *src);
i16 dec10_is_invalid(const Decimal10 *a);  // a digit above 9, or a sign that is neither 0 nor 15

// By bytes and by sign: a negative zero is not equal to zero, but below it.
i16 dec10_equal(const Decimal10 *a, const Decimal10 *b);
i16 dec10_greater(const Decimal10 *a, const Decimal10 *b);
i16 dec10_compare(const Decimal10 *a, i16 relation, const Decimal10 *b);  // DecimalRelation

Decimal10 *dec10_negate(Decimal10 *dest, const Decimal10 *src);  // zero stays zero, negative zero becomes zero
Decimal10 *dec10_abs(Decimal10 *dest, const Decimal10 *src);
Decimal10 *dec10_power_of_ten(Decimal10 *dest, i16 n);  // n from -5 to 13; 14 gives an invalid number, any other 0

// ---- Text and integers ----------------------------------------------------------------------------------------------

// The first number in the text, or 0: "abc12" and "12abc" are 12, "1.5.9" is 1.5. Five fraction digits are taken, and a
// sixth raises the fifth whatever it is. More than 14 integer digits give dec10_max or dec10_min.
Decimal10 *dec10_parse(Decimal10 *dest, ConstPString text);
PString dec10_format(PString text, const Decimal10 *a);  // always five fraction digits: "-12.50000"

// Text without a separator, whose last `places` digits are the fraction: "150" at 2 places is 1.5. Only the first
// `places` + 15 characters are looked at, and nothing unless the first one is a digit or a minus.
Decimal10 *dec10_parse_scaled(Decimal10 *dest, ConstPString text, i16 places);
// `places` from -14 (the sign alone) to 5; beyond, as these. At least the units show, unless `places` is negative.
PString dec10_format_scaled(PString text, const Decimal10 *a, i16 places);

Decimal10 *dec10_from_i16(Decimal10 *dest, i16 value);  // of -32768 an invalid number
Decimal10 *dec10_from_i32(Decimal10 *dest, i32 value);
Decimal10 *dec10_from_u32(Decimal10 *dest, u32 value);

// The fraction is cut. What is too great gives the greatest or least integer, but -32769 to -99999 wrap at 16 bits.
// `out` may be null.
i16 dec10_to_i16(i16 *out, const Decimal10 *a);
i32 dec10_to_i32(i32 *out, const Decimal10 *a);

// ---- Arithmetic -----------------------------------------------------------------------------------------------------

// By DecimalOperation. Sums and products saturate; products are rounded at the fifth decimal, half away from zero, and
// quotients nearly so. Great quotients lose their upper digits and may be invalid. A quotient by zero is 0, a remainder
// by zero is `a`. A remainder is `a` less b times the rounded quotient without its fraction, negative if the signs
// differ.
Decimal10 *dec10_arith(Decimal10 *dest, const Decimal10 *a, i16 op, const Decimal10 *b);

// a * b / c, the product at full length unless it has more than 14 integer digits; 0 when c is zero. `dest` may be a or
// b; when it is c, the result is 0.
Decimal10 *dec10_muldiv(Decimal10 *dest, const Decimal10 *a, const Decimal10 *b, const Decimal10 *c);

Decimal10 *dec10_adjust(Decimal10 *dest, const Decimal10 *a, i16 op, i16 n);  // by DecimalAdjustment

// By n places, -5 to 18, a negative n in the other direction; any other n gives 0. Digits pushed out are lost, the sign
// stays.
Decimal10 *dec10_shift(Decimal10 *dest, const Decimal10 *a, i16 n, i16 left);
// To `places` fraction digits, of integer digits when it is negative; below -14 gives 0, above 4 nothing changes.
Decimal10 *dec10_round(Decimal10 *dest, const Decimal10 *a, i16 places);     // half away from zero; saturates
Decimal10 *dec10_truncate(Decimal10 *dest, const Decimal10 *a, i16 places);  // small numbers may lose their sign

// The single operations of dec10_arith. `dest` is none of the operands, which may be changed.
void dec10_add(Decimal10 *dest, Decimal10 *a, Decimal10 *b);
void dec10_sub(Decimal10 *dest, Decimal10 *a, Decimal10 *b);
void dec10_mul(Decimal10 *dest, Decimal10 *a, Decimal10 *b);
void dec10_div(Decimal10 *dest, Decimal10 *a, Decimal10 *b);
void dec10_rem(Decimal10 *dest, Decimal10 *a, Decimal10 *b);

} // namespace zuk
