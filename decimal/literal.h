// The decimal numbers worked out cell by cell, the way their results are defined.
//
// decimal10.h and decimal8.h do the same many times faster as long as the numbers are sound; for numbers with cells
// above 9, or with digits where none belong, they come here. The tests hold every operation there against the one of
// the same name here, byte by byte: this is the judge. The operations are explained in those two headers.
//
// The names are the same, so a file that includes this and those must say `literal::` at each call from here.
#pragma once

#include "decimal/digits.h"
#include "zuk/zuk.h"

namespace zuk::literal {

void decimal_init(u8 separator);

// What the constants of a size are made with, in the order in which they are made: the operations here or the others.
template <class Number> struct ConstantMaker {
    Number *(*clear)(Number *dest);
    Number *(*from_i16)(Number *dest, i16 value);
    Number *(*from_i32)(Number *dest, i32 value);
    Number *(*parse)(Number *dest, ConstPString text);
    Number *(*negate)(Number *dest, const Number *src);
};
void make_constants(const ConstantMaker<Decimal10> &with, u8 separator);
void make_constants(const ConstantMaker<Decimal8> &with, u8 separator);

Decimal10 *dec10_copy(Decimal10 *dest, const Decimal10 *src);
Decimal10 *dec10_clear(Decimal10 *dest);
Decimal10 *dec10_pack(const u8 *digits, Decimal10 *dest);
u8 *dec10_unpack(u8 *digits, const Decimal10 *src);
i16 dec10_is_invalid(const Decimal10 *a);
i16 dec10_equal(const Decimal10 *a, const Decimal10 *b);
i16 dec10_greater(const Decimal10 *a, const Decimal10 *b);
i16 dec10_compare(const Decimal10 *a, i16 relation, const Decimal10 *b);
Decimal10 *dec10_negate(Decimal10 *dest, const Decimal10 *src);
Decimal10 *dec10_abs(Decimal10 *dest, const Decimal10 *src);
Decimal10 *dec10_power_of_ten(Decimal10 *dest, i16 n);
Decimal10 *dec10_parse(Decimal10 *dest, ConstPString text);
PString dec10_format(PString text, const Decimal10 *a);
Decimal10 *dec10_parse_scaled(Decimal10 *dest, ConstPString text, i16 places);
PString dec10_format_scaled(PString text, const Decimal10 *a, i16 places);
Decimal10 *dec10_from_i16(Decimal10 *dest, i16 value);
Decimal10 *dec10_from_i32(Decimal10 *dest, i32 value);
Decimal10 *dec10_from_u32(Decimal10 *dest, u32 value);
i16 dec10_to_i16(i16 *out, const Decimal10 *a);
i32 dec10_to_i32(i32 *out, const Decimal10 *a);
Decimal10 *dec10_arith(Decimal10 *dest, const Decimal10 *a, i16 op, const Decimal10 *b);
Decimal10 *dec10_muldiv(Decimal10 *dest, const Decimal10 *a, const Decimal10 *b, const Decimal10 *c);
Decimal10 *dec10_adjust(Decimal10 *dest, const Decimal10 *a, i16 op, i16 n);
Decimal10 *dec10_shift(Decimal10 *dest, const Decimal10 *a, i16 n, i16 left);
Decimal10 *dec10_round(Decimal10 *dest, const Decimal10 *a, i16 places);
Decimal10 *dec10_truncate(Decimal10 *dest, const Decimal10 *a, i16 places);

Decimal8 *dec8_copy(Decimal8 *dest, const Decimal8 *src);
Decimal8 *dec8_clear(Decimal8 *dest);
Decimal8 *dec8_pack(const u8 *digits, Decimal8 *dest);
u8 *dec8_unpack(u8 *digits, const Decimal8 *src);
i16 dec8_is_invalid(const Decimal8 *a);
i16 dec8_equal(const Decimal8 *a, const Decimal8 *b);
i16 dec8_greater(const Decimal8 *a, const Decimal8 *b);
i16 dec8_compare(const Decimal8 *a, i16 relation, const Decimal8 *b);
Decimal8 *dec8_negate(Decimal8 *dest, const Decimal8 *src);
Decimal8 *dec8_abs(Decimal8 *dest, const Decimal8 *src);
Decimal8 *dec8_power_of_ten(Decimal8 *dest, i16 n);
Decimal8 *dec8_parse(Decimal8 *dest, ConstPString text);
PString dec8_format(PString text, const Decimal8 *a);
PString dec8_format_plain(PString text, const Decimal8 *a);
Decimal8 *dec8_parse_scaled(Decimal8 *dest, ConstPString text, i16 places);
Decimal8 *dec8_from_i16(Decimal8 *dest, i16 value);
Decimal8 *dec8_from_i32(Decimal8 *dest, i32 value);
i16 dec8_to_i16(i16 *out, const Decimal8 *a);
i32 dec8_to_i32(i32 *out, const Decimal8 *a);
Decimal8 *dec8_arith(Decimal8 *dest, const Decimal8 *a, i16 op, const Decimal8 *b);
Decimal8 *dec8_muldiv(Decimal8 *dest, const Decimal8 *a, const Decimal8 *b, const Decimal8 *c);
Decimal8 *dec8_adjust(Decimal8 *dest, const Decimal8 *a, i16 op, i16 n);
Decimal8 *dec8_shift(Decimal8 *dest, const Decimal8 *a, i16 n, i16 left);
Decimal8 *dec8_round(Decimal8 *dest, const Decimal8 *a, i16 places);
i16 dec8_from_dec10(const Decimal10 *src, Decimal8 *dest);
i16 dec10_from_dec8(const Decimal8 *src, Decimal10 *dest);

// What the arithmetic runs, on copies of its own. The operands may be changed; `dest` is none of them.
void dec10_add(Decimal10 *dest, Decimal10 *a, Decimal10 *b);
void dec10_sub(Decimal10 *dest, Decimal10 *a, Decimal10 *b);
void dec10_mul(Decimal10 *dest, Decimal10 *a, Decimal10 *b);
void dec10_div(Decimal10 *dest, Decimal10 *a, Decimal10 *b);
void dec10_rem(Decimal10 *dest, Decimal10 *a, Decimal10 *b);
void dec8_add(Decimal8 *dest, Decimal8 *a, Decimal8 *b);
void dec8_sub(Decimal8 *dest, Decimal8 *a, Decimal8 *b);
void dec8_mul(Decimal8 *dest, Decimal8 *a, Decimal8 *b);
void dec8_div(Decimal8 *dest, Decimal8 *a, Decimal8 *b);
void dec8_rem(Decimal8 *dest, Decimal8 *a, Decimal8 *b);

} // namespace zuk::literal
