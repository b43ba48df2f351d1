// Eight-byte decimal numbers: whole numbers of 13 digits and a sign, the short companions of `Decimal10`.
//
// What isn't said here is as in decimal10.h. The main difference is what overflows: the arithmetic is that of ten
// bytes, and what the eight bytes have no place for is dropped, so that sums and roundings wrap at 13 digits, and a
// fraction is cut. A product of 14 digits keeps its first one in a nibble of byte 1 that is otherwise 0: equality,
// multiplication and division see it there, text, addition and order don't.
#pragma once

#include "decimal/digits.h"
#include "zuk/zuk.h"

namespace zuk {

// The constants of this size; decimal_init calls it once it has made those of ten bytes.
void decimal8_init(u8 separator);

// ---- Moving and testing ---------------------------------------------------------------------------------------------

Decimal8 *dec8_copy(Decimal8 *dest, const Decimal8 *src);
Decimal8 *dec8_clear(Decimal8 *dest);
Decimal8 *dec8_pack(const u8 *digits, Decimal8 *dest);  // without cell 1 and the fraction
u8 *dec8_unpack(u8 *digits, const Decimal8 *src);       // with zeros there
i16 dec8_is_invalid(const Decimal8 *a);                 // by the unpacked cells

i16 dec8_equal(const Decimal8 *a, const Decimal8 *b);  // all bytes, with a digit where none belongs
i16 dec8_greater(const Decimal8 *a, const Decimal8 *b);
i16 dec8_compare(const Decimal8 *a, i16 relation, const Decimal8 *b);  // DecimalRelation

Decimal8 *dec8_negate(Decimal8 *dest, const Decimal8 *src);
Decimal8 *dec8_abs(Decimal8 *dest, const Decimal8 *src);
Decimal8 *dec8_power_of_ten(Decimal8 *dest, i16 n);  // n from 0 to 12; 14 gives an invalid number, any other 0

// Between the sizes; both return 1. What the eight bytes have no place for is dropped, without rounding or saturation.
i16 dec8_from_dec10(const Decimal10 *src, Decimal8 *dest);
i16 dec10_from_dec8(const Decimal8 *src, Decimal10 *dest);

// ---- Text and integers ----------------------------------------------------------------------------------------------

// As dec10_parse up to 14 integer digits, the first of which is dropped. The fraction is cut.
Decimal8 *dec8_parse(Decimal8 *dest, ConstPString text);
PString dec8_format(PString text, const Decimal8 *a);        // with five decimals, which are 0: "12.00000"
PString dec8_format_plain(PString text, const Decimal8 *a);  // "12"

// All digits of the text are integer digits. Only the first `places` + 11 characters are looked at.
Decimal8 *dec8_parse_scaled(Decimal8 *dest, ConstPString text, i16 places);

// Of the least integer both make an invalid number.
Decimal8 *dec8_from_i16(Decimal8 *dest, i16 value);
Decimal8 *dec8_from_i32(Decimal8 *dest, i32 value);

// Great numbers saturate; small ones saturate from -1000000 on at 16 bits and from -10000000000 on at 32, and wrap
// before. `out` may be null.
i16 dec8_to_i16(i16 *out, const Decimal8 *a);
i32 dec8_to_i32(i32 *out, const Decimal8 *a);

// ---- Arithmetic -----------------------------------------------------------------------------------------------------

// By DecimalOperation. Sums wrap. A product of 15 digits or more becomes 14 nines. A quotient is rounded at the fifth
// decimal and then cut.
Decimal8 *dec8_arith(Decimal8 *dest, const Decimal8 *a, i16 op, const Decimal8 *b);

// a * b / c; a product of 15 digits or more is nines before it is divided. `dest` as in dec10_muldiv.
Decimal8 *dec8_muldiv(Decimal8 *dest, const Decimal8 *a, const Decimal8 *b, const Decimal8 *c);

Decimal8 *dec8_adjust(Decimal8 *dest, const Decimal8 *a, i16 op, i16 n);  // by DecimalAdjustment; no DEC_TRUNCATE
Decimal8 *dec8_shift(Decimal8 *dest, const Decimal8 *a, i16 n, i16 left);
// To `places` from -13 to 1, of which 0 and 1 change no digit; anything else copies. A carry out of the first digit is
// lost.
Decimal8 *dec8_round(Decimal8 *dest, const Decimal8 *a, i16 places);

// The single operations of dec8_arith. `dest` is none of the operands, which may be changed.
void dec8_add(Decimal8 *dest, Decimal8 *a, Decimal8 *b);
void dec8_sub(Decimal8 *dest, Decimal8 *a, Decimal8 *b);
void dec8_mul(Decimal8 *dest, Decimal8 *a, Decimal8 *b);
void dec8_div(Decimal8 *dest, Decimal8 *a, Decimal8 *b);
void dec8_rem(Decimal8 *dest, Decimal8 *a, Decimal8 *b);

} // namespace zuk
