#include "foundation/format.h"

#include "foundation/pstrings.h"
#include "platform/platform.h"

#include <string.h>

namespace zuk {

static bool is_space(u8 character) { return character == ' ' || (character >= '\t' && character <= '\r'); }
static bool is_digit(u8 character) { return character >= '0' && character <= '9'; }

// ---- Where formatted text goes --------------------------------------------------------------------------------------

struct Output {
    u8 *next;     // where the next byte goes
    size_t room;  // bytes that may still come, a terminator aside
};

constexpr size_t WITHOUT_BOUND = SIZE_MAX;

static void put(Output *out, u8 byte)
{
    if (out->room == 0) return;

    *out->next++ = byte;
    out->room--;
}

static void put_bytes(Output *out, const u8 *bytes, i64 count)
{
    for (i64 i = 0; i < count; i++) put(out, bytes[i]);
}

// A count below 0 writes nothing.
static void fill(Output *out, u8 byte, i64 count)
{
    for (i64 i = 0; i < count; i++) put(out, byte);
}

// What to add to a digit of 10 or more.
constexpr u8 SMALL_LETTERS = 'a' - 10;
constexpr u8 CAPITALS = 'A' - 10;

static void put_digits(Output *out, u32 value, u32 base, u8 letters)
{
    if (value >= base) put_digits(out, value / base, base, letters);
    u32 digit = value % base;
    put(out, (u8)(digit < 10 ? '0' + digit : letters + digit));
}

static i32 count_digits(u32 value, u32 base)
{
    i32 count = 1;
    for (; value >= base; value /= base) count++;
    return count;
}

// ---- What stands between a percent sign and its letter --------------------------------------------------------------

struct Conversion {
    bool plus, blank, left, zero;
    bool is_long;
    bool has_precision;
    i16 width;
    i16 precision;  // 0 without one
};

// A list that helpers can share: a parameter of type va_list has no address that would do on every target.
struct Arguments {
    va_list list;
};

// A width or precision that is an argument has 16 bits, as one that stands in the format.
static i16 next_short(Arguments *args) { return (i16)va_arg(args->list, int); }

static void read_flags(const char **format, Conversion *spec)
{
    for (;; (*format)++) {
        switch (**format) {
        case ' ': spec->blank = true; break;  // `put_signed` prefers the plus
        case '+': spec->plus = true; break;
        case '-':
            spec->left = true;
            spec->zero = false;
            break;
        case '0': spec->zero = !spec->left; break;
        default: return;
        }
    }
}

static i16 read_count(const char **format, Arguments *args)
{
    if (**format != '*') return parse_digits(format);

    (*format)++;
    return next_short(args);
}

static Conversion read_conversion(const char **format, Arguments *args)
{
    Conversion spec = {};
    read_flags(format, &spec);

    // KEPT: one would expect a negative width of an argument to mean the left side, as in printf. It asks for no fill.
    // Test: c_format.fills_nothing_for_a_negative_width
    spec.width = read_count(format, args);

    spec.has_precision = **format == '.';
    if (spec.has_precision) {
        (*format)++;
        spec.precision = read_count(format, args);
    }
    return spec;
}

// ---- The conversions ------------------------------------------------------------------------------------------------

// KEPT: one would expect zeros to be for numbers alone. The zero flag fills text, characters and the percent sign with
// zeros too. Test: c_format.fills_text_with_zeros_for_the_zero_flag
static void put_aligned(Output *out, const Conversion &spec, const u8 *bytes, i64 length)
{
    i64 rest = spec.width - length;
    if (!spec.left) fill(out, spec.zero ? '0' : ' ', rest);
    put_bytes(out, bytes, length);
    if (spec.left) fill(out, ' ', rest);
}

static void put_character(Output *out, const Conversion &spec, u8 character)
{
    put_aligned(out, spec, &character, 1);
}

static void put_text(Output *out, const Conversion &spec, const u8 *text, size_t text_length)
{
    i64 length = (i64)text_length;
    if (spec.has_precision && spec.precision < length) length = spec.precision > 0 ? spec.precision : 0;
    put_aligned(out, spec, text, length);
}

static void put_number(Output *out, const Conversion &spec, u8 sign, u32 value, u32 base, u8 letters = 0)
{
    // KEPT: one would expect nothing for the value 0 in a precision of 0, as printf has it. There is always a digit.
    // Test: c_format.prints_the_digit_of_0_in_a_precision_of_0
    i32 digits = count_digits(value, base);
    i32 wide = spec.precision > digits ? spec.precision : digits;
    i32 rest = spec.width - wide - (sign ? 1 : 0);

    if (!spec.left && !spec.zero) fill(out, ' ', rest);
    if (sign) put(out, sign);
    // KEPT: one would expect a precision to switch the zero flag off, as in printf. Both give their zeros.
    // Test: c_format.fills_with_zeros_in_front_of_a_precision_too
    if (spec.zero) fill(out, '0', rest);
    fill(out, '0', wide - digits);
    put_digits(out, value, base, letters);
    if (spec.left) fill(out, ' ', rest);
}

static void put_signed(Output *out, const Conversion &spec, i32 value)
{
    u8 sign = value < 0 ? '-' : spec.plus ? '+' : spec.blank ? ' ' : 0;

    // KEPT: one would expect -70000 of `%ld` to print as it is. The digits of a negative value are made from its low 16
    // bits, taken as a signed number and negated: it prints as -4464, -65536 as -0, and -40000, whose low half is
    // positive, as -4294941760. Dumps and messages show it. Test: c_format.takes_a_negative_long_through_16_bits
    u32 magnitude = value < 0 ? 0u - (u32)(i32)(i16)value : (u32)value;
    put_number(out, spec, sign, magnitude, 10);
}

static i32 next_signed(Arguments *args, const Conversion &spec)
{
    i32 value = va_arg(args->list, int);
    return spec.is_long ? value : (i16)value;
}

static u32 next_unsigned(Arguments *args, const Conversion &spec)
{
    u32 value = (u32)va_arg(args->list, int);
    return spec.is_long ? value : (u16)value;
}

static void put_conversion(Output *out, const Conversion &spec, char letter, Arguments *args)
{
    switch (letter) {
    case 'd': put_signed(out, spec, next_signed(args, spec)); break;
    case 'u': put_number(out, spec, 0, next_unsigned(args, spec), 10); break;
    case 'x': put_number(out, spec, 0, next_unsigned(args, spec), 16, SMALL_LETTERS); break;
    case 'X': put_number(out, spec, 0, next_unsigned(args, spec), 16, CAPITALS); break;
    case 'c': put_character(out, spec, (u8)va_arg(args->list, int)); break;
    case 's': {
        const char *text = va_arg(args->list, const char *);
        put_text(out, spec, (const u8 *)text, text ? strlen(text) : 0);
        break;
    }
    case 'p': {
        // KEPT: one would expect the value of a pointer. It is the text of a length-prefixed string.
        // Test: c_format.writes_the_text_of_a_pstring_for_p
        ConstPString text = va_arg(args->list, ConstPString);
        put_text(out, spec, text ? text + 1 : nullptr, text ? text[0] : 0);
        break;
    }
    case 'n':
        // KEPT: one would expect the count of characters so far to be stored through a pointer. It is the end of a
        // line on every target, and takes no argument. Test: c_format.writes_a_line_end_for_n_and_takes_no_argument
        put(out, '\r');
        put(out, '\n');
        break;
    default:
        // KEPT: one would expect an unknown conversion to be copied, or to take its argument. It vanishes and the
        // argument is the next one's. Test: c_format.drops_an_unknown_letter_without_its_argument
        break;
    }
}

static void format_text(Output *out, const char *format, va_list list)
{
    Arguments args;
    va_copy(args.list, list);
    while (*format) {
        char character = *format++;
        if (character != '%') {
            put(out, (u8)character);
            continue;
        }

        Conversion spec = read_conversion(&format, &args);
        if (*format == '%') {
            put_character(out, spec, '%');
            format++;
            continue;
        }

        spec.is_long = *format == 'l';
        if (spec.is_long) format++;
        if (*format == 0) break;
        put_conversion(out, spec, *format++, &args);
    }
    va_end(args.list);
    *out->next = 0;
}

char *c_vformat(char *dest, const char *format, va_list args)
{
    Output out = { (u8 *)dest, WITHOUT_BOUND };
    format_text(&out, format, args);
    return dest;
}

char *c_format(char *dest, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    c_vformat(dest, format, args);
    va_end(args);
    return dest;
}

char *c_vformat_bounded(char *dest, i32 size, const char *format, va_list args)
{
    if (size < 1) return dest;

    Output out = { (u8 *)dest, (size_t)size - 1 };
    format_text(&out, format, args);
    return dest;
}

char *c_format_bounded(char *dest, i32 size, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    c_vformat_bounded(dest, size, format, args);
    va_end(args);
    return dest;
}

PString pstr_vformat(PString dest, const char *format, va_list args)
{
    // KEPT: one would expect 256 bytes of `dest` to be enough. The whole text and its terminator are written before
    // they are cut to 255 characters. Test: pstr_format.cuts_only_after_the_whole_text_is_written
    c_vformat((char *)dest, format, args);
    return (PString)ctopstr(dest);
}

PString pstr_format(PString dest, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    pstr_vformat(dest, format, args);
    va_end(args);
    return dest;
}

// ---- Scanning -------------------------------------------------------------------------------------------------------

// Turn a `PString` into C text where it stands, and back. Its length is kept aside rather than measured, as a 0 byte
// among the characters would make it shorter.
static u8 to_c_text(PString string)
{
    u8 length = string[0];
    ptocstr(string);
    return length;
}

static void from_c_text(PString string, u8 length)
{
    memmove(string + 1, string, length);
    string[0] = length;
}

static const u8 *skip_space(const u8 *at)
{
    while (is_space(*at)) at++;
    return at;
}

static i32 digit_value(u8 character, u32 base)
{
    return base == 16 ? hexdigit(character) : is_digit(character) ? character - '0' : -1;
}

// Read a number of at most `width` digits, or without a limit for 0; `*at` moves behind it. False if there is none.
static bool read_number(const u8 **at, u32 base, u16 width, u32 *number)
{
    const u8 *start = *at;
    u32 limit = width ? width : 65535;
    *number = 0;
    for (u32 used = 0; used < limit; used++) {
        i32 digit = digit_value(**at, base);
        if (digit < 0) break;
        *number = base * *number + (u32)digit;
        (*at)++;

        // KEPT: one would expect all of 0x5 to count in the width, or nothing of 0x. The 0 counts and the x does not,
        // and where the 0 uses the width up the x is not looked at. Test: pstr_scan.counts_the_0_but_not_the_x
        bool goes_on = used + 1 < limit;
        if (base == 16 && used == 0 && digit == 0 && goes_on && ascii_lower(**at) == 'x') (*at)++;
    }
    return *at != start;
}

// The target may be a signed or an unsigned number and stand at any address.
static void store_number(void *target, bool is_long, u32 value)
{
    u16 low = (u16)value;
    if (is_long) memcpy(target, &value, sizeof value);
    else memcpy(target, &low, sizeof low);
}

// KEPT: one would expect a count of what was read, as scanf gives it. There is none: a scan that fails ends, and the
// variables that it didn't reach are as they were. Test: pstr_scan.leaves_the_variables_behind_a_failure
static void scan_text(const u8 *at, const char *format, va_list args)
{
    while (*format) {
        if (is_space((u8)*format)) {
            at = skip_space(at);
            format++;
            continue;
        }
        if (*format != '%') {
            if (*at != (u8)*format) return;
            at++;
            format++;
            continue;
        }

        format++;
        u16 width = (u16)parse_digits(&format);
        bool is_long = *format == 'l';
        if (is_long) format++;
        if (*format == 0) return;

        char letter = *format++;
        u32 number;
        switch (letter) {
        case 'd': {
            // KEPT: one would expect the sign to count in the width, as in scanf. `%2d` reads all of -12.
            // Test: pstr_scan.does_not_count_the_sign_in_the_width
            at = skip_space(at);
            bool negative = *at == '-';
            if (*at == '-' || *at == '+') at++;
            if (!read_number(&at, 10, width, &number)) return;
            store_number(va_arg(args, void *), is_long, negative ? 0u - number : number);
            break;
        }
        case 'x':
        case 'X':
            at = skip_space(at);
            if (!read_number(&at, 16, width, &number)) return;
            store_number(va_arg(args, void *), is_long, number);
            break;
        case 's': {
            // KEPT: one would expect a length-prefixed string out of one. The result is C text, one byte longer than
            // the width. At the end of the source it is empty, which is no failure.
            // Test: pstr_scan.ends_text_with_a_0_byte
            at = skip_space(at);
            u8 *to = va_arg(args, u8 *);
            for (u32 count = 0; *at && !is_space(*at) && (width == 0 || count < width); count++) *to++ = *at++;
            *to = 0;
            break;
        }
        case 'c': {
            // KEPT: one would expect a terminator as behind `%s`. Only the characters are stored.
            // Test: pstr_scan.stores_characters_without_a_terminator
            u8 *to = va_arg(args, u8 *);
            for (u32 left = width ? width : 1; left > 0; left--) {
                if (*at == 0) return;
                *to++ = *at++;
            }
            break;
        }
        default:
            // KEPT: one would expect `%%` to ask for a percent sign, as it does in a format. It is a letter like any
            // other that is not known: it reads nothing and takes no pointer.
            // Test: pstr_scan.does_not_know_a_double_percent_sign
            break;
        }
    }
}

void pstr_scan(PString source, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    u8 length = to_c_text(source);
    scan_text(source, format, args);
    from_c_text(source, length);
    va_end(args);
}

// ---- Numbers out of text --------------------------------------------------------------------------------------------

i16 parse_digits(const char **text)
{
    // KEPT: one would expect a long run of digits to stop at the largest number. It wraps at 16 bits: a width of 40000
    // is a negative one, and 70000 is 4464. Test: parse_digits.wraps_at_16_bits
    i16 value = 0;
    for (; is_digit((u8)**text); (*text)++) value = (i16)(u16)(value * 10 + (**text - '0'));
    return value;
}

i16 hexdigit(u8 character)
{
    if (is_digit(character)) return (i16)(character - '0');

    u8 letter = ascii_upper(character);
    return letter >= 'A' && letter <= 'F' ? (i16)(letter - 'A' + 10) : (i16)-1;
}

constexpr i32 LONG_LIMIT = 0x7FFFFFFF;

static i32 read_long(const u8 *at, bool blanks_behind_sign)
{
    at = skip_space(at);
    bool negative = *at == '-';
    if (*at == '-' || *at == '+') at++;
    if (blanks_behind_sign) at = skip_space(at);

    // KEPT: one would expect a number too long for 32 bits to count as too large. The digits wrap as they come, so
    // 4294967301 reads as 5. Test: str_to_long.wraps_beyond_32_bits
    u32 value = 0;
    for (; is_digit(*at); at++) value = value * 10 + (u32)(*at - '0');

    // KEPT: one would expect -2147483648 to be read as it is, since it can be written. It gives -2147483647.
    // Test: str_to_long.cannot_read_the_least_long, Test: long_to_str.writes_every_value
    if (value > (u32)LONG_LIMIT) value = (u32)LONG_LIMIT;
    return negative ? -(i32)value : (i32)value;
}

static i32 limit_to_short(i32 value)
{
    // KEPT: one would expect -32768 to be in the range of a short. The limits are -32767 and 32767.
    // Test: str_to_short.keeps_within_32767_on_both_sides
    return value > 32767 ? 32767 : value < -32767 ? -32767 : value;
}

i32 str_to_long(const char *text) { return read_long((const u8 *)text, true); }
i16 str_to_short(const char *text) { return (i16)limit_to_short(str_to_long(text)); }

i32 pstr_to_long(PString text)
{
    // KEPT: one would expect both kinds of strings to be read alike. Blanks between the sign and the digits are allowed
    // in C text alone; here they make it 0. Test: pstr_to_long.allows_no_blank_behind_the_sign
    u8 length = to_c_text(text);
    i32 value = read_long(text, false);
    from_c_text(text, length);
    return value;
}

// KEPT: one would expect a 16-bit result, as `str_to_short` gives it. It is the 32-bit one, within the same limits.
// Test: pstr_to_short.gives_32_bits
i32 pstr_to_short(PString text) { return limit_to_short(pstr_to_long(text)); }

// ---- Text out of numbers --------------------------------------------------------------------------------------------

void long_to_str(char *dest, i32 value)
{
    // The one value that cannot be negated.
    if (value == INT32_MIN) {
        strcpy(dest, "-2147483648");
        return;
    }

    Output out = { (u8 *)dest, WITHOUT_BOUND };
    if (value < 0) put(&out, '-');
    put_digits(&out, (u32)(value < 0 ? -value : value), 10, 0);
    *out.next = 0;
}

void short_to_str(char *dest, i16 value) { long_to_str(dest, value); }

PString long_to_pstr(PString dest, i32 value)
{
    long_to_str((char *)dest, value);
    return (PString)ctopstr(dest);
}

PString short_to_pstr(PString dest, i16 value) { return long_to_pstr(dest, value); }

// ---- Characters -----------------------------------------------------------------------------------------------------

i16 char_isprint(u8 character) { return character >= 0x20 && character <= 0x7E; }

i16 char_isident(u8 character)
{
    u8 letter = ascii_upper(character);
    return (letter >= 'A' && letter <= 'Z') || is_digit(character) || character == '_';
}

// KEPT: one would expect two signs. Whatever this byte holds counts as a third, and as it starts at 0, so does the
// character 0. Test: char_issign.counts_0_as_a_sign_at_the_start
u8 char_extra_sign = 0;

i16 char_issign(u8 character) { return character == '-' || character == '+' || character == char_extra_sign; }

// ---- The clock ------------------------------------------------------------------------------------------------------

void clock_now(ClockDate *date, ClockTime *time, u16 *weekday)
{
    PlatformLocalTime now;
    platform_clock->local_time(&now);
    *date = { now.year, (u8)now.month, (u8)now.day };
    // KEPT: one would expect hundredths of a second in the fourth byte. It is always 0.
    // Test: clock_now.gives_0_behind_the_seconds
    *time = { (u8)now.hour, (u8)now.minute, (u8)now.second, 0 };
    *weekday = now.weekday;
}

u32 clock_stamp()
{
    // Makes the start of 1 January 1990 come out as 0, by wrapping at 32 bits.
    constexpr u32 START_OF_1990 = 461552640;

    PlatformLocalTime now;
    platform_clock->local_time(&now);

    // KEPT: one would expect a true count of seconds. Each month has 31 days here, so a stamp jumps by a day or more
    // behind a shorter one; and in August 2123 it wraps, and starts at 0 again.
    // Test: clock_stamp.jumps_a_day_behind_a_month_of_30_days
    // Test: clock_stamp.starts_at_0_again_in_2123
    u32 months = now.year * 12u + now.month;
    u32 days = months * 31 + now.day;
    u32 minutes = (days * 24 + now.hour) * 60 + now.minute;
    return minutes * 60 + now.second + START_OF_1990;
}

// ---- Descriptions ---------------------------------------------------------------------------------------------------

PString descr_notfound(PString dest) { return pstrconst(dest, "[Descr not found]"); }

} // namespace zuk
