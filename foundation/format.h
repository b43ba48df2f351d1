// Text out of values and values out of text: the formatter, the scanner, numbers and characters, and the clock as
// numbers.
//
// The standard library's printf and scanf won't do: here `%p` is a length-prefixed string, `%n` the end of a line, and
// a scan reads straight out of a length-prefixed string. All of it serves short text: labels, messages, dumps, values
// of settings and collating files. Nothing is allocated and nothing lasts between calls.
//
// A destination has no bound, but in the operations that say so: the caller makes it large enough for all the output
// and a terminator. Blanks and digits are those of ASCII, whatever the locale of the host.
#pragma once

#include "zuk/zuk.h"

#include <stdarg.h>

namespace zuk {

// ---- Formatting -----------------------------------------------------------------------------------------------------
//
//   %[flags][width][.precision][l]letter
//
//   flags      blank, +, -, 0 in any number and order
//   width      digits, or * for an argument; * comes after the flags, and neither flags nor digits follow it
//   precision  digits, or * for an argument, or nothing for 0
//   l          d, u, x, X take all 32 bits of their argument; without it the low 16, for d with a sign
//
//   d u x X    a number: decimal with a sign, decimal, hexadecimal in small letters, in capitals
//   c          one character
//   s          NUL-terminated text
//   p          a `PString`
//   n          carriage return and line feed; takes no argument
//   %          a percent sign, without an `l`
//
// Each number, `c` and `*` takes an `int` (32 bits, with `l` too: never a `long`), `s` and `p` a pointer, which may be
// null for no text. Another letter is dropped and takes no argument; an end of the format in the midst ends it.

PString pstr_format(PString dest, const char *format, ...);               // cut to 255, once all is written
PString pstr_vformat(PString dest, const char *format, va_list args);
char *c_format(char *dest, const char *format, ...);
char *c_vformat(char *dest, const char *format, va_list args);

// The same into `size` bytes: text too long is cut and always has its terminator. A size below 1 leaves `dest` alone.
char *c_format_bounded(char *dest, i32 size, const char *format, ...);
char *c_vformat_bounded(char *dest, i32 size, const char *format, va_list args);

// ---- Scanning -------------------------------------------------------------------------------------------------------
//
//   %[width][l]letter        the pointer is to 16 bits, with `l` to 32
//
//   d          skips blanks; a decimal number; one sign is allowed and doesn't count in the width
//   x X        skips blanks; a hexadecimal number; a leading 0x is allowed, whose x doesn't count
//   s          skips blanks; characters up to a blank or the width, and a terminator: one byte more than the width
//   c          `width` characters, or one, as they come and without a terminator
//
// A blank in the format skips all blanks of the source; any other character must be the next one there. Another letter
// is dropped and takes no pointer.

// The scan ends at the first thing that isn't as the format says, and the pointers from there on are left untouched:
// preset the variables and look at them afterwards. The source ends at a 0 byte in it. It is rewritten meanwhile, and
// at the end as it was before.
void pstr_scan(PString source, const char *format, ...);

// ---- Numbers --------------------------------------------------------------------------------------------------------

i16 parse_digits(const char **text);      // moves `*text` past its decimal digits; the value is cut to 16 bits
i16 hexdigit(u8 character);               // 0 to 15 for a digit in either case, else -1

// Blanks, a sign, blanks (not in a `PString`), digits; what is behind them doesn't matter, and without digits it is 0.
i32 str_to_long(const char *text);        // values of 2^31 and more give 2147483647, or -2147483647
i16 str_to_short(const char *text);       // the same within -32767 and 32767
i32 pstr_to_long(PString text);           // `text` is rewritten meanwhile, as in `pstr_scan`
i32 pstr_to_short(PString text);

// Decimal, with a minus sign when negative. `dest` holds 12 bytes at most, or 7 of a short.
void long_to_str(char *dest, i32 value);
void short_to_str(char *dest, i16 value);
PString long_to_pstr(PString dest, i32 value);
PString short_to_pstr(PString dest, i16 value);

// ---- Characters: 1 or 0 ---------------------------------------------------------------------------------------------

i16 char_isprint(u8 character);           // 0x20 to 0x7E
i16 char_isident(u8 character);           // a letter of ASCII, a digit, the underscore
i16 char_issign(u8 character);            // minus, plus, and whatever `char_extra_sign` is
extern u8 char_extra_sign;                // 0 at the start

// ---- The clock ------------------------------------------------------------------------------------------------------

struct ClockDate {
    u16 year;      // in all its digits
    u8 month;      // from 1
    u8 day;        // from 1
};
static_assert(sizeof(ClockDate) == 4);

struct ClockTime {
    u8 hour;
    u8 minute;
    u8 second;
    u8 zero;       // always 0
};
static_assert(sizeof(ClockTime) == 4);

void clock_now(ClockDate *date, ClockTime *time, u16 *weekday);  // local time; Sunday is 0
u32 clock_stamp();  // "seconds" since the start of 1990, local time, in a calendar of months of 31 days

// ---- Descriptions ---------------------------------------------------------------------------------------------------

PString descr_notfound(PString dest);     // the answer of a look-up of descriptions that has nothing

} // namespace zuk
