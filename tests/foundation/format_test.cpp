#include "foundation/format.h"

#include "foundation/pstrings.h"
#include "platform/platform.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <chrono>
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <time.h>
#include <vector>

using namespace zuk;

namespace {

// A string in a buffer of 256 bytes, whose unused bytes are EE so that a test sees who wrote them.
struct Text {
    u8 bytes[PSTRING_SIZE];

    Text(const std::string &characters = "")
    {
        memset(bytes, 0xEE, sizeof bytes);
        bytes[0] = (u8)characters.size();
        memcpy(bytes + 1, characters.data(), characters.size());
    }
    operator PString() { return bytes; }
    std::string str() const { return { (const char *)bytes + 1, bytes[0] }; }
};

// What `c_format` makes of it. The destination is of a size for any width; nothing behind the terminator is touched.
template <typename... Values> std::string formatted(const char *format, Values... values)
{
    std::vector<char> dest(40000, (char)0xEE);
    EXPECT_EQ(c_format(dest.data(), format, values...), dest.data());
    size_t length = strlen(dest.data());
    EXPECT_EQ((u8)dest[length + 1], 0xEE);
    return dest.data();
}

std::string blanks(size_t count) { return std::string(count, ' '); }

char *c_format_by_list(char *dest, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    char *result = c_vformat(dest, format, args);
    va_end(args);
    return result;
}

PString pstr_format_by_list(PString dest, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    PString result = pstr_vformat(dest, format, args);
    va_end(args);
    return result;
}

char *c_format_bounded_by_list(char *dest, i32 size, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    char *result = c_vformat_bounded(dest, size, format, args);
    va_end(args);
    return result;
}

// What `c_format_bounded` makes of it in a destination of `size` bytes and not one more.
template <typename... Values> std::string formatted_within(i32 size, const char *format, Values... values)
{
    std::vector<char> dest((size_t)size, (char)0xEE);
    EXPECT_EQ(c_format_bounded(dest.data(), size, format, values...), dest.data());
    size_t length = strnlen(dest.data(), dest.size());
    EXPECT_LT(length, dest.size()) << "no terminator";
    return { dest.data(), length };
}

// Scan a source of these characters; it has to be the same afterwards, in a buffer without a byte to spare.
template <typename... Pointers> void scan(const std::string &source, const char *format, Pointers... pointers)
{
    std::vector<u8> before = { (u8)source.size() };
    before.insert(before.end(), source.begin(), source.end());
    std::vector<u8> text(before);
    pstr_scan(text.data(), format, pointers...);
    EXPECT_EQ(text, before) << "source " << source;
}

constexpr i16 UNTOUCHED = 0x5A5A;

// What a short preset to `UNTOUCHED` is after the scan.
i16 scanned_short(const std::string &source, const char *format)
{
    i16 value = UNTOUCHED;
    scan(source, format, &value);
    return value;
}

constexpr i32 UNTOUCHED_LONG = 0x5A5A5A5A;

i32 scanned_long(const std::string &source, const char *format)
{
    i32 value = UNTOUCHED_LONG;
    scan(source, format, &value);
    return value;
}

// What a text buffer preset to EE is after the scan: the bytes that were written, terminator and all.
std::string scanned_bytes(const std::string &source, const char *format)
{
    u8 buffer[300];
    memset(buffer, 0xEE, sizeof buffer);
    scan(source, format, buffer);
    size_t length = sizeof buffer;
    while (length > 0 && buffer[length - 1] == 0xEE) length--;
    return { (const char *)buffer, length };
}

std::string with_terminator(const std::string &characters) { return characters + std::string(1, 0); }

// ---- c_format: text, flags, width, precision ----

TEST(c_format, copies_what_is_no_conversion)
{
    EXPECT_EQ(formatted(""), "");
    EXPECT_EQ(formatted("ab c\t\xE4\x01"), "ab c\t\xE4\x01");
}

TEST(c_format, puts_conversions_between_the_text)
{
    EXPECT_EQ(formatted("a%db%sc%ud", 1, "two", 3), "a1btwoc3d");
}

TEST(c_format, puts_a_number_on_the_right_of_its_width)
{
    EXPECT_EQ(formatted("%5d", 42), "   42");
    EXPECT_EQ(formatted("%2d", 42), "42");
    EXPECT_EQ(formatted("%1d", 42), "42");
    EXPECT_EQ(formatted("%5d", -42), "  -42");
}

TEST(c_format, puts_a_number_on_the_left_for_a_minus)
{
    EXPECT_EQ(formatted("%-5d|", 42), "42   |");
    EXPECT_EQ(formatted("%-5d|", -42), "-42  |");
    EXPECT_EQ(formatted("%-1d|", 42), "42|");
}

TEST(c_format, fills_a_number_with_zeros_for_a_0)
{
    EXPECT_EQ(formatted("%05d", -42), "-0042");
    EXPECT_EQ(formatted("%05d", 42), "00042");
    EXPECT_EQ(formatted("%02d", 142), "142");
}

TEST(c_format, puts_a_plus_in_front_for_a_plus)
{
    EXPECT_EQ(formatted("%+d", 42), "+42");
    EXPECT_EQ(formatted("%+d", 0), "+0");
    EXPECT_EQ(formatted("%+d", -42), "-42");
}

TEST(c_format, counts_the_sign_once_in_the_width)
{
    EXPECT_EQ(formatted("%+5d", 42), "  +42");
    EXPECT_EQ(formatted("%+05d", 42), "+0042");
    EXPECT_EQ(formatted("%+-5d|", 42), "+42  |");
    EXPECT_EQ(formatted("%+3d", 42), "+42");
    EXPECT_EQ(formatted("%+4d", 42), " +42");
}

TEST(c_format, puts_a_blank_in_front_for_a_blank)
{
    EXPECT_EQ(formatted("% d", 42), " 42");
    EXPECT_EQ(formatted("% d", -42), "-42");
    EXPECT_EQ(formatted("% 05d", 42), " 0042");
    EXPECT_EQ(formatted("% -5d|", 42), " 42  |");
}

TEST(c_format, prefers_plus_to_blank_in_either_order)
{
    EXPECT_EQ(formatted("%+ d", 42), "+42");
    EXPECT_EQ(formatted("% +d", 42), "+42");
}

TEST(c_format, prefers_left_to_zeros_in_either_order)
{
    EXPECT_EQ(formatted("%-05d|", 42), "42   |");
    EXPECT_EQ(formatted("%0-5d|", 42), "42   |");
}

TEST(c_format, takes_flags_in_any_number_and_order)
{
    EXPECT_EQ(formatted("%00++00+6d", 42), "+00042");
    EXPECT_EQ(formatted("% -- -6d|", 42), " 42   |");
}

TEST(c_format, takes_the_width_from_an_argument)
{
    EXPECT_EQ(formatted("%*d", 5, 42), "   42");
    EXPECT_EQ(formatted("%-*d|", 5, 42), "42   |");
    EXPECT_EQ(formatted("%0*d", 5, 42), "00042");
    EXPECT_EQ(formatted("%*s", 3, "a"), "  a");
}

TEST(c_format, takes_16_bits_of_a_width)
{
    EXPECT_EQ(formatted("%*d", 65541, 42), "   42");  // 65536 + 5
}

TEST(c_format, fills_nothing_for_a_negative_width)
{
    EXPECT_EQ(formatted("%*d|", -5, 42), "42|");
    EXPECT_EQ(formatted("%-*d|", -5, 42), "42|");
    EXPECT_EQ(formatted("%0*d|", -5, -42), "-42|");
    EXPECT_EQ(formatted("%*s|", -5, "a"), "a|");
    EXPECT_EQ(formatted("%*c|", -32768, 'a'), "a|");
    EXPECT_EQ(formatted("%*.*d|", -32768, 2, 1), "01|");
}

TEST(c_format, takes_nothing_more_of_the_width_behind_an_asterisk)
{
    EXPECT_EQ(formatted("%*5d", 3, 7), "d");       // the 5 is the letter, and unknown
    EXPECT_EQ(formatted("%*-d%d", 3, 7), "d7");    // the same of a flag
    EXPECT_EQ(formatted("%**d%d", 3, 7), "d7");    // and of an asterisk
    EXPECT_EQ(formatted("%5*d%d", 7), "d7");       // an asterisk behind digits is a letter too
}

TEST(c_format, wraps_a_width_at_16_bits)
{
    EXPECT_EQ(formatted("%70000d", 42), blanks(4462) + "42");  // 70000 - 65536 = 4464
    EXPECT_EQ(formatted("%32767d", 42), blanks(32765) + "42");
    EXPECT_EQ(formatted("%40000d", 42), "42");                 // a negative width
    EXPECT_EQ(formatted("%65536d", 42), "42");
}

TEST(c_format, prints_at_least_as_many_digits_as_the_precision)
{
    EXPECT_EQ(formatted("%.3d", 5), "005");
    EXPECT_EQ(formatted("%.3d", -5), "-005");
    EXPECT_EQ(formatted("%.3d", 1234), "1234");
    EXPECT_EQ(formatted("%.3u", 5), "005");
    EXPECT_EQ(formatted("%.4x", 0xAB), "00ab");
}

TEST(c_format, puts_the_digits_of_a_precision_into_the_width)
{
    EXPECT_EQ(formatted("%6.3d", 5), "   005");
    EXPECT_EQ(formatted("%6.3d", -5), "  -005");
    EXPECT_EQ(formatted("%+6.3d", 5), "  +005");
    EXPECT_EQ(formatted("%-6.3d|", 5), "005   |");
    EXPECT_EQ(formatted("%-6.3d|", -5), "-005  |");
    EXPECT_EQ(formatted("%3.6d", 5), "000005");
    EXPECT_EQ(formatted("%6.3d", 12345), " 12345");
}

TEST(c_format, fills_with_zeros_in_front_of_a_precision_too)
{
    EXPECT_EQ(formatted("%06.3d", 5), "000005");
    EXPECT_EQ(formatted("%06.3d", -5), "-00005");
    EXPECT_EQ(formatted("%03.6d", -5), "-000005");
}

TEST(c_format, prints_the_digit_of_0_in_a_precision_of_0)
{
    EXPECT_EQ(formatted("%.0d", 0), "0");
    EXPECT_EQ(formatted("%.u", 0), "0");
    EXPECT_EQ(formatted("%3.0x", 0), "  0");
}

TEST(c_format, takes_the_precision_from_an_argument)
{
    EXPECT_EQ(formatted("%.*d", 3, 5), "005");
    EXPECT_EQ(formatted("%*.*d", 6, 3, 5), "   005");
    EXPECT_EQ(formatted("%.*s", 2, "abc"), "ab");
    EXPECT_EQ(formatted("%.*s", 65538, "abc"), "ab");  // 16 bits of it: 2
}

TEST(c_format, takes_nothing_behind_the_dot_as_0)
{
    EXPECT_EQ(formatted("%.s|", "abc"), "|");
    EXPECT_EQ(formatted("%4.s|", "abc"), "    |");
    EXPECT_EQ(formatted("%.d", 7), "7");
}

TEST(c_format, takes_a_sign_behind_the_dot_as_the_letter)
{
    EXPECT_EQ(formatted("%.-3d%d", 7), "3d7");
}

TEST(c_format, takes_a_negative_precision_of_text_as_0)
{
    EXPECT_EQ(formatted("%.*s", -1, "abc"), "");
    EXPECT_EQ(formatted("%3.*s", -1, "abc"), "   ");
    EXPECT_EQ(formatted("%.40000s", "abc"), "");       // wraps to a negative one
    EXPECT_EQ(formatted("%.*p", -32768, Text("abc").bytes), "");
}

TEST(c_format, ignores_a_negative_precision_of_numbers)
{
    EXPECT_EQ(formatted("%.*d", -1, 42), "42");
    EXPECT_EQ(formatted("%5.*d", -32768, 42), "   42");
}

TEST(c_format, ends_at_a_percent_sign_without_a_letter)
{
    EXPECT_EQ(formatted("a%"), "a");
    EXPECT_EQ(formatted("a%5"), "a");
    EXPECT_EQ(formatted("a%l"), "a");
    EXPECT_EQ(formatted("a%-"), "a");
    EXPECT_EQ(formatted("a%5."), "a");
    EXPECT_EQ(formatted("a%*", 5), "a");
    EXPECT_EQ(formatted("a%.*", 5), "a");
}

TEST(c_format, writes_a_percent_sign_for_two)
{
    EXPECT_EQ(formatted("100%%"), "100%");
    EXPECT_EQ(formatted("%%d%d", 7), "%d7");
}

TEST(c_format, puts_a_percent_sign_into_its_width)
{
    EXPECT_EQ(formatted("%5%"), "    %");
    EXPECT_EQ(formatted("%-5%|"), "%    |");
    EXPECT_EQ(formatted("%05%"), "0000%");
    EXPECT_EQ(formatted("%*%", 3), "  %");
    EXPECT_EQ(formatted("%3.0%"), "  %");    // a precision is for text alone
    EXPECT_EQ(formatted("%+ 3%"), "  %");
}

TEST(c_format, drops_a_percent_sign_behind_an_l)
{
    EXPECT_EQ(formatted("%l%|"), "|");
}

TEST(c_format, drops_an_unknown_letter_without_its_argument)
{
    EXPECT_EQ(formatted("%f"), "");
    EXPECT_EQ(formatted("a%fb%d", 7), "ab7");
    EXPECT_EQ(formatted("%-+8.3lfb%d", 7), "b7");
    EXPECT_EQ(formatted("%D%i%U%S%\xE4%d", 7), "7");
    EXPECT_EQ(formatted("%hd%d", 7), "d7");
    EXPECT_EQ(formatted("%lld%d", 7), "d7");       // there is one l
}

TEST(c_format, takes_the_asterisks_of_an_unknown_letter)
{
    EXPECT_EQ(formatted("%*.*f%d", 1, 2, 7), "7");
}

// ---- c_format: numbers ----

TEST(c_format, takes_16_bits_with_a_sign_for_d)
{
    EXPECT_EQ(formatted("%d", 0), "0");
    EXPECT_EQ(formatted("%d", 32767), "32767");
    EXPECT_EQ(formatted("%d", -32768), "-32768");
    EXPECT_EQ(formatted("%d", 40000), "-25536");
    EXPECT_EQ(formatted("%d", 65536), "0");
    EXPECT_EQ(formatted("%d", -65535), "1");       // FFFF0001
}

TEST(c_format, takes_16_bits_without_a_sign_for_u_and_x)
{
    EXPECT_EQ(formatted("%u", -1), "65535");
    EXPECT_EQ(formatted("%u", 65536), "0");
    EXPECT_EQ(formatted("%x", 65536), "0");
    EXPECT_EQ(formatted("%x", -1), "ffff");
    EXPECT_EQ(formatted("%X", 0x1FACE), "FACE");
}

TEST(c_format, takes_32_bits_behind_an_l)
{
    EXPECT_EQ(formatted("%ld", (i32)70000), "70000");
    EXPECT_EQ(formatted("%ld", 2147483647), "2147483647");
    EXPECT_EQ(formatted("%lu", -1), "4294967295");
    EXPECT_EQ(formatted("%lu", 70000), "70000");
    EXPECT_EQ(formatted("%lx", 65536), "10000");
    EXPECT_EQ(formatted("%lx", -1), "ffffffff");
    EXPECT_EQ(formatted("%lX", -2), "FFFFFFFE");
}

TEST(c_format, takes_one_slot_for_each_long)
{
    EXPECT_EQ(formatted("%ld %d %lx %s", (i32)70000, 1, 0x12345678, "end"), "70000 1 12345678 end");
}

TEST(c_format, takes_a_negative_long_through_16_bits)
{
    EXPECT_EQ(formatted("%ld", -1), "-1");
    EXPECT_EQ(formatted("%ld", -32768), "-32768");
    EXPECT_EQ(formatted("%ld", -65536), "-0");
    EXPECT_EQ(formatted("%ld", -70000), "-4464");
    EXPECT_EQ(formatted("%ld", -65537), "-1");
    EXPECT_EQ(formatted("%ld", -98304), "-32768");
    EXPECT_EQ(formatted("%ld", INT32_MIN), "-0");
}

TEST(c_format, prints_a_negative_long_of_a_positive_low_half_as_unsigned)
{
    EXPECT_EQ(formatted("%ld", -40000), "-4294941760");      // the low half is 25536; 2^32 less that
    EXPECT_EQ(formatted("%ld", -2147483647), "-4294967295");
}

TEST(c_format, puts_a_negative_long_into_its_width_by_the_digits_it_gets)
{
    EXPECT_EQ(formatted("%6ld", -70000), " -4464");
    EXPECT_EQ(formatted("%06ld", -65536), "-00000");
    EXPECT_EQ(formatted("%-4ld|", -65536), "-0  |");
}

TEST(c_format, prints_hexadecimal_in_both_cases)
{
    EXPECT_EQ(formatted("%x", 255), "ff");
    EXPECT_EQ(formatted("%X", 255), "FF");
    EXPECT_EQ(formatted("%lx", 0x09ABCDEF), "9abcdef");
    EXPECT_EQ(formatted("%lX", 0x09ABCDEF), "9ABCDEF");
    EXPECT_EQ(formatted("%x", 16), "10");
}

TEST(c_format, forgets_the_case_of_the_number_before)
{
    EXPECT_EQ(formatted("%X%x%d%X", 171, 171, 171, 171), "ABab171AB");
}

TEST(c_format, has_no_sign_but_for_d)
{
    EXPECT_EQ(formatted("%+u", 42), "42");
    EXPECT_EQ(formatted("% x", 42), "2a");
    EXPECT_EQ(formatted("%+5u", 42), "   42");
    EXPECT_EQ(formatted("%+05X", 42), "0002A");
}

TEST(c_format, puts_every_kind_of_number_into_its_width)
{
    EXPECT_EQ(formatted("%5u", 42), "   42");
    EXPECT_EQ(formatted("%5u", 9), "    9");       // around the base, where the count of digits changes
    EXPECT_EQ(formatted("%5u", 10), "   10");
    EXPECT_EQ(formatted("%5x", 15), "    f");
    EXPECT_EQ(formatted("%5x", 16), "   10");
    EXPECT_EQ(formatted("%-5u|", 42), "42   |");
    EXPECT_EQ(formatted("%05u", 42), "00042");
    EXPECT_EQ(formatted("%-6.3x|", 42), "02a   |");
}

// ---- c_format: characters and text ----

TEST(c_format, puts_a_character_into_its_width)
{
    EXPECT_EQ(formatted("%c", 'x'), "x");
    EXPECT_EQ(formatted("%3c", 'x'), "  x");
    EXPECT_EQ(formatted("%-3c|", 'x'), "x  |");
    EXPECT_EQ(formatted("%03c", 'x'), "00x");
    EXPECT_EQ(formatted("%3.0c", 'x'), "  x");
    EXPECT_EQ(formatted("%lc", 'x'), "x");
}

TEST(c_format, takes_the_low_byte_of_a_character)
{
    EXPECT_EQ(formatted("%c", 0x141), "A");
    EXPECT_EQ(formatted("%c", 0xE4), "\xE4");
    EXPECT_EQ(formatted("%c", -28), "\xE4");
}

TEST(c_format, writes_a_character_of_0)
{
    char dest[8];
    memset(dest, 0xEE, sizeof dest);
    c_format(dest, "a%cb", 0);
    EXPECT_EQ(std::string(dest, 5), (std::string{ 'a', 0, 'b', 0, (char)0xEE }));
}

TEST(c_format, puts_text_into_its_width)
{
    EXPECT_EQ(formatted("%s", "abc"), "abc");
    EXPECT_EQ(formatted("%5s", "abc"), "  abc");
    EXPECT_EQ(formatted("%-5s|", "abc"), "abc  |");
    EXPECT_EQ(formatted("%2s", "abc"), "abc");
    EXPECT_EQ(formatted("%s|%3s|", "", ""), "|   |");
    EXPECT_EQ(formatted("%ls%4lp%d", "abc", Text("de").bytes, 7), "abc  de7");  // an l says nothing to text
}

TEST(c_format, fills_text_with_zeros_for_the_zero_flag)
{
    EXPECT_EQ(formatted("%05s", "abc"), "00abc");
    EXPECT_EQ(formatted("%05p", Text("abc").bytes), "00abc");
    EXPECT_EQ(formatted("%-05s|", "abc"), "abc  |");
}

TEST(c_format, cuts_text_to_its_precision)
{
    EXPECT_EQ(formatted("%.2s", "abc"), "ab");
    EXPECT_EQ(formatted("%.3s", "abc"), "abc");
    EXPECT_EQ(formatted("%.4s", "abc"), "abc");
    EXPECT_EQ(formatted("%.0s", "abc"), "");
    EXPECT_EQ(formatted("%5.2s", "abc"), "   ab");
    EXPECT_EQ(formatted("%-5.2s|", "abc"), "ab   |");
    EXPECT_EQ(formatted("%.2p", Text("abc").bytes), "ab");
}

TEST(c_format, takes_text_of_more_than_32767_characters)
{
    std::string text(39000, 'a');  // too long for a precision to cut
    EXPECT_EQ(formatted("%s", text.c_str()), text);
    EXPECT_EQ(formatted("%.32767s", text.c_str()), text.substr(0, 32767));
}

TEST(c_format, writes_the_text_of_a_pstring_for_p)
{
    Text text("abc");
    EXPECT_EQ(formatted("%p", text.bytes), "abc");
    EXPECT_EQ(formatted("%5p", text.bytes), "  abc");
    EXPECT_EQ(formatted("%-5p|", text.bytes), "abc  |");
    EXPECT_EQ(formatted("[%p]", Text("").bytes), "[]");
    EXPECT_EQ(formatted("%p", Text(std::string(255, 'z')).bytes), std::string(255, 'z'));
}

TEST(c_format, takes_a_null_pointer_for_no_text)
{
    EXPECT_EQ(formatted("%p", (ConstPString) nullptr), "");
    EXPECT_EQ(formatted("%3p|", (ConstPString) nullptr), "   |");
    EXPECT_EQ(formatted("%3s", (const char *)nullptr), "   ");
    EXPECT_EQ(formatted("%-3.1s|%d", (const char *)nullptr, 7), "   |7");
}

TEST(c_format, writes_a_line_end_for_n_and_takes_no_argument)
{
    EXPECT_EQ(formatted("%n"), "\r\n");
    EXPECT_EQ(formatted("%d%n%d", 1, 2), "1\r\n2");
    EXPECT_EQ(formatted("%-5.1ln|"), "\r\n|");  // width and precision say nothing to it
}

// ---- c_vformat, c_format_bounded, pstr_format ----

TEST(c_vformat, formats_an_argument_list)
{
    char dest[32];
    EXPECT_EQ(c_format_by_list(dest, "%d %s %lx", 1, "two", 0x30000), dest);
    EXPECT_STREQ(dest, "1 two 30000");
}

TEST(c_format_bounded, is_c_format_for_text_that_fits)
{
    EXPECT_EQ(formatted_within(12, "%5d-%-4s|", 42, "ab"), "   42-ab  |");  // 11 characters and the terminator
    EXPECT_EQ(formatted_within(1, ""), "");
}

TEST(c_format_bounded, cuts_text_too_long_wherever_it_is)
{
    const std::string whole = "ab   42003000017\r\n%  cdefghi  z";
    Text text("def");
    for (i32 size = 1; size <= (i32)whole.size() + 1; size++) {
        EXPECT_EQ(formatted_within(size, "ab%5d%.3d%05u%x%n%%%3c%p%-5sz", 42, 3, 1, 0x7, 'c', text.bytes, "ghi"),
                  whole.substr(0, (size_t)size - 1));
    }
}

TEST(c_format_bounded, leaves_the_destination_alone_for_no_size)
{
    char dest[2] = { 'x', 'y' };
    EXPECT_EQ(c_format_bounded(dest, 0, "abc"), dest);
    EXPECT_EQ(c_format_bounded(dest, -1, "abc"), dest);
    EXPECT_EQ(dest[0], 'x');
}

TEST(c_vformat_bounded, formats_an_argument_list)
{
    char dest[6];
    EXPECT_EQ(c_format_bounded_by_list(dest, sizeof dest, "%d %s", 12, "three"), dest);
    EXPECT_STREQ(dest, "12 th");
}

TEST(pstr_format, makes_a_string)
{
    Text dest("before");
    EXPECT_EQ(pstr_format(dest, "%d+%p", 1, Text("two").bytes), dest.bytes);
    EXPECT_EQ(dest.str(), "1+two");
    EXPECT_EQ(pstr_format(dest, ""), dest.bytes);
    EXPECT_EQ(dest.str(), "");
}

TEST(pstr_format, cuts_only_after_the_whole_text_is_written)
{
    std::vector<u8> dest(302, 0xEE);
    EXPECT_EQ(pstr_format(dest.data(), "%300s", "a"), dest.data());
    EXPECT_EQ(dest[0], 255);
    EXPECT_EQ(dest[1], ' ');
    EXPECT_EQ(dest[255], ' ');
    EXPECT_EQ(dest[299], 'a');    // written beyond what the string holds
    EXPECT_EQ(dest[300], 0);
    EXPECT_EQ(dest[301], 0xEE);
}

TEST(pstr_format, keeps_255_characters)
{
    Text dest;
    pstr_format(dest, "%255s", "a");
    EXPECT_EQ(dest.str(), blanks(254) + "a");
}

TEST(pstr_format, ends_at_a_character_of_0)
{
    Text dest;
    pstr_format(dest, "%cb", 0);
    EXPECT_EQ(dest.bytes[0], 0);
    pstr_format(dest, "a%cb", 0);
    EXPECT_EQ(dest.str(), "a");
}

TEST(pstr_vformat, formats_an_argument_list)
{
    Text dest;
    EXPECT_EQ(pstr_format_by_list(dest, "%d %s", 1, "two"), dest.bytes);
    EXPECT_EQ(dest.str(), "1 two");
}

// ---- pstr_scan: the format ----

TEST(pstr_scan, reads_values_out_of_text)
{
    i16 first = 0;
    i32 second = 0;
    char word[10];
    scan("12,7a120 abc", "%d,%lx %s", &first, &second, word);
    EXPECT_EQ(first, 12);
    EXPECT_EQ(second, 0x7A120);
    EXPECT_STREQ(word, "abc");
}

TEST(pstr_scan, ends_at_the_end_of_the_format)
{
    scan("12 13", "");
    EXPECT_EQ(scanned_short("12 13", "%d"), 12);
}

TEST(pstr_scan, skips_all_blanks_for_one_in_the_format)
{
    char c = 0;
    scan("a \t\n\v\f\r b", "a b%c", &c);
    EXPECT_EQ(c, 0);                          // the source is used up behind b
    scan("a \t\n\v\f\r bc", "a \t\r\n b%c", &c);
    EXPECT_EQ(c, 'c');
    scan("abd", "a b%c", &c);                 // no blank is as good
    EXPECT_EQ(c, 'd');
    scan("  e", " %c", &c);
    EXPECT_EQ(c, 'e');
}

TEST(pstr_scan, knows_six_blanks)
{
    const std::string six = " \t\n\v\f\r";
    for (i32 i = 1; i < 256; i++) {
        std::string character(1, (char)i);
        bool blank = six.find((char)i) != std::string::npos;

        // In front of a number of the source; a digit or a sign belongs to the number.
        i16 expected = blank || i == '+' ? 5 : i == '-' ? -5 : UNTOUCHED;
        if (i >= '0' && i <= '9') expected = (i16)((i - '0') * 10 + 5);
        EXPECT_EQ(scanned_short(character + "5", "%d"), expected) << i;
        // Behind a word, which it ends; nothing else does.
        EXPECT_EQ(scanned_bytes("a" + character, "%s"), with_terminator(blank ? "a" : "a" + character)) << i;
        // In the format, where it need not be met.
        EXPECT_EQ(scanned_short("5", (character + "%d").c_str()), blank ? 5 : UNTOUCHED) << i;
    }
}

TEST(pstr_scan, ends_at_a_character_that_differs)
{
    EXPECT_EQ(scanned_short("a1", "b%d"), UNTOUCHED);
    EXPECT_EQ(scanned_short("a1", "A%d"), UNTOUCHED);
    EXPECT_EQ(scanned_short("a1", "a%d"), 1);
    EXPECT_EQ(scanned_short(" a1", "a%d"), UNTOUCHED);  // no blank is skipped for it
    EXPECT_EQ(scanned_short("\xE4" "1", "\xE4%d"), 1);
}

TEST(pstr_scan, ends_where_the_source_runs_out)
{
    EXPECT_EQ(scanned_short("", "%d"), UNTOUCHED);
    EXPECT_EQ(scanned_short("a", "ab%d"), UNTOUCHED);
    EXPECT_EQ(scanned_short("  ", " x%d"), UNTOUCHED);
}

TEST(pstr_scan, leaves_the_variables_behind_a_failure)
{
    i16 first = 1;
    i16 second = 2;
    i16 third = 3;
    scan("10 x 30", "%d %d %d", &first, &second, &third);
    EXPECT_EQ(first, 10);
    EXPECT_EQ(second, 2);
    EXPECT_EQ(third, 3);

    char next = '-';
    scan("x", "%d%c", &first, &next);
    scan("x", "%x%c", &first, &next);
    EXPECT_EQ(first, 10);
    EXPECT_EQ(next, '-');
}

TEST(pstr_scan, drops_an_unknown_letter_without_its_pointer)
{
    EXPECT_EQ(scanned_short("12", "%f%d"), 12);
    EXPECT_EQ(scanned_short("12", "%5lu%d"), 12);
    EXPECT_EQ(scanned_short("12", "%lld%d"), UNTOUCHED);  // the second l is the letter, and d must be in the source
    EXPECT_EQ(scanned_short("d12", "%lld%d"), 12);
}

TEST(pstr_scan, does_not_know_a_double_percent_sign)
{
    EXPECT_EQ(scanned_short("12", "%%%d"), 12);
    EXPECT_EQ(scanned_short("%12", "%%%d"), UNTOUCHED);
}

TEST(pstr_scan, ends_at_a_percent_sign_without_a_letter)
{
    scan("12", "%");
    scan("12", "%5");
    scan("12", "%5l");
}

TEST(pstr_scan, leaves_the_source_as_it_was)
{
    // `scan` compares each source; here the bytes behind it as well, and its longest.
    for (size_t length : { 0u, 1u, 254u, 255u }) {
        Text source(std::string(length, '7'));
        Text before = source;
        char word[300];
        pstr_scan(source, "%s", word);
        EXPECT_EQ(memcmp(source.bytes, before.bytes, PSTRING_SIZE), 0);
        EXPECT_EQ(std::string(word), before.str());
    }
}

TEST(pstr_scan, sees_the_source_up_to_a_0_in_it)
{
    std::string source = { '1', 0, '2' };
    EXPECT_EQ(scanned_short(source, "%d"), 1);  // where the source is found unchanged, too
    i16 value = UNTOUCHED;
    char first = 0;
    scan(source, "%c%d", &first, &value);
    EXPECT_EQ(first, '1');
    EXPECT_EQ(value, UNTOUCHED);
}

// ---- pstr_scan: numbers ----

TEST(pstr_scan, reads_a_decimal_number_up_to_what_is_no_digit)
{
    EXPECT_EQ(scanned_short("12abc", "%d"), 12);
    EXPECT_EQ(scanned_short("abc", "%d"), UNTOUCHED);
    EXPECT_EQ(scanned_short(" \t12", "%d"), 12);
    EXPECT_EQ(scanned_short("0x12", "%d"), 0);

    i16 value = 0;
    char next = 0;
    scan("12abc", "%d%c", &value, &next);
    EXPECT_EQ(next, 'a');
}

TEST(pstr_scan, takes_one_sign_for_d)
{
    EXPECT_EQ(scanned_short("-7", "%d"), -7);
    EXPECT_EQ(scanned_short("+7", "%d"), 7);
    EXPECT_EQ(scanned_short("--7", "%d"), UNTOUCHED);
    EXPECT_EQ(scanned_short("+-7", "%d"), UNTOUCHED);
    EXPECT_EQ(scanned_short("-", "%d"), UNTOUCHED);
}

TEST(pstr_scan, skips_no_blank_behind_the_sign)
{
    EXPECT_EQ(scanned_short("+ 5", "%d"), UNTOUCHED);
    EXPECT_EQ(scanned_short("- 5", "%d"), UNTOUCHED);
}

TEST(pstr_scan, takes_no_sign_of_the_settings)
{
    u8 before = char_extra_sign;
    char_extra_sign = '~';
    EXPECT_EQ(scanned_short("~7", "%d"), UNTOUCHED);
    char_extra_sign = before;
}

TEST(pstr_scan, reads_no_more_digits_than_the_width)
{
    i16 first = 0;
    i16 second = 0;
    scan("1234", "%2d%d", &first, &second);
    EXPECT_EQ(first, 12);
    EXPECT_EQ(second, 34);
    EXPECT_EQ(scanned_short("   1234", "%2d"), 12);  // blanks don't count
}

TEST(pstr_scan, does_not_count_the_sign_in_the_width)
{
    EXPECT_EQ(scanned_short("-1234", "%2d"), -12);
    EXPECT_EQ(scanned_short("+1234", "%1d"), 1);
}

TEST(pstr_scan, takes_a_width_of_0_for_none)
{
    EXPECT_EQ(scanned_short("1234", "%0d"), 1234);
    EXPECT_EQ(scanned_short("1234", "%65536d"), 1234);  // 0 in 16 bits
    EXPECT_EQ(scanned_short("1234", "%40000d"), 1234);  // a negative number, but a large width
    EXPECT_EQ(scanned_short("1234", "%65538d"), 12);
}

TEST(pstr_scan, stores_16_bits_without_an_l)
{
    i16 values[3] = { UNTOUCHED, UNTOUCHED, UNTOUCHED };
    scan("70000", "%d", &values[1]);
    EXPECT_EQ(values[0], UNTOUCHED);
    EXPECT_EQ(values[1], 4464);
    EXPECT_EQ(values[2], UNTOUCHED);
    EXPECT_EQ(scanned_short("-70000", "%d"), -4464);
    EXPECT_EQ(scanned_short("12345", "%x"), 0x2345);
}

TEST(pstr_scan, stores_32_bits_with_an_l)
{
    EXPECT_EQ(scanned_long("70000", "%ld"), 70000);
    EXPECT_EQ(scanned_long("-70000", "%ld"), -70000);
    EXPECT_EQ(scanned_long("-2147483648", "%ld"), INT32_MIN);
    EXPECT_EQ(scanned_long("7FEDCBA9", "%lx"), 0x7FEDCBA9);
    EXPECT_EQ(scanned_long("ffffffff", "%lX"), -1);
    EXPECT_EQ(scanned_long("x", "%ld"), UNTOUCHED_LONG);
}

TEST(pstr_scan, wraps_a_number_beyond_32_bits)
{
    EXPECT_EQ(scanned_long("4294967301", "%ld"), 5);
    EXPECT_EQ(scanned_long("-4294967301", "%ld"), -5);
    EXPECT_EQ(scanned_long("123456789A", "%lx"), 0x3456789A);
}

TEST(pstr_scan, reads_a_hexadecimal_number_in_either_case)
{
    EXPECT_EQ(scanned_short("4A7", "%2x"), 0x4A);
    EXPECT_EQ(scanned_short("7aBg", "%x"), 0x7AB);
    EXPECT_EQ(scanned_short("7aBg", "%X"), 0x7AB);
    EXPECT_EQ(scanned_short(" \tf", "%x"), 0xF);
    EXPECT_EQ(scanned_short("g", "%x"), UNTOUCHED);
    EXPECT_EQ(scanned_short("-5", "%x"), UNTOUCHED);  // a sign is for d alone
    EXPECT_EQ(scanned_short("+5", "%x"), UNTOUCHED);
}

TEST(pstr_scan, passes_the_x_behind_a_leading_0)
{
    EXPECT_EQ(scanned_short("0x1F", "%x"), 0x1F);
    EXPECT_EQ(scanned_short("0X1f", "%X"), 0x1F);
    EXPECT_EQ(scanned_short("x1F", "%x"), UNTOUCHED);
}

TEST(pstr_scan, ends_a_hexadecimal_number_at_any_other_x)
{
    for (const char *source : { "00x5", "1x5", "0xx5" }) {
        i16 value = UNTOUCHED;
        char next = 0;
        scan(source, "%x%c", &value, &next);
        EXPECT_EQ(value, source[0] - '0') << source;
        EXPECT_EQ(next, 'x') << source;
    }
}

TEST(pstr_scan, takes_0x_alone_for_0_and_uses_the_x_up)
{
    i16 value = UNTOUCHED;
    char next = 0;
    scan("0xg", "%x%c", &value, &next);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(next, 'g');
}

TEST(pstr_scan, counts_the_0_but_not_the_x)
{
    i16 value = UNTOUCHED;
    char next = 0;
    scan("0x57", "%2x%c", &value, &next);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(next, '7');

    scan("0x5", "%1x%c", &value, &next);  // the 0 is all of the width: the x is not looked at
    EXPECT_EQ(value, 0);
    EXPECT_EQ(next, 'x');
}

TEST(pstr_scan, has_no_0x_in_decimal_numbers)
{
    i16 value = UNTOUCHED;
    char next = 0;
    scan("0x5", "%d%c", &value, &next);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(next, 'x');
}

TEST(pstr_scan, stores_numbers_at_any_address)
{
    struct [[gnu::packed]] {
        u8 before;
        i32 value;
    } odd = { 1, 0 };
    scan("70000", "%ld", (u8 *)&odd + 1);
    EXPECT_EQ((i32)odd.value, 70000);
}

// ---- pstr_scan: text ----

TEST(pstr_scan, ends_text_with_a_0_byte)
{
    EXPECT_EQ(scanned_bytes("two words", "%s"), with_terminator("two"));
    EXPECT_EQ(scanned_bytes(" \t two", "%s"), with_terminator("two"));
    EXPECT_EQ(scanned_bytes("two", "%ls"), with_terminator("two"));
}

TEST(pstr_scan, leaves_the_blank_that_ended_text)
{
    char word[10];
    char next = 0;
    scan("two words", "%s%c", word, &next);
    EXPECT_EQ(next, ' ');
    scan("two words", "%3s%c", word, &next);
    EXPECT_EQ(next, ' ');
}

TEST(pstr_scan, cuts_text_to_its_width)
{
    EXPECT_EQ(scanned_bytes("abcdef", "%3s"), with_terminator("abc"));
    EXPECT_EQ(scanned_bytes("ab", "%3s"), with_terminator("ab"));
    EXPECT_EQ(scanned_bytes("abcdef", "%0s"), with_terminator("abcdef"));

    char word[10];
    char next = 0;
    scan("abcdef", "%3s%c", word, &next);
    EXPECT_EQ(next, 'd');
}

TEST(pstr_scan, takes_no_text_at_the_end_for_success)
{
    char word[10] = "before";
    i16 number = UNTOUCHED;
    scan("", "%s %d", word, &number);
    EXPECT_STREQ(word, "");
    EXPECT_EQ(number, UNTOUCHED);

    char second[10] = "before";
    scan("  ", "%s%s", word, second);  // the scan goes on
    EXPECT_STREQ(second, "");
}

TEST(pstr_scan, stores_characters_without_a_terminator)
{
    EXPECT_EQ(scanned_bytes("abcdef", "%3c"), "abc");
    EXPECT_EQ(scanned_bytes("abcdef", "%c"), "a");
    EXPECT_EQ(scanned_bytes("abcdef", "%0c"), "a");
    EXPECT_EQ(scanned_bytes("abcdef", "%2lc"), "ab");
}

TEST(pstr_scan, skips_nothing_for_characters)
{
    EXPECT_EQ(scanned_bytes(" a b", "%3c"), " a ");
}

TEST(pstr_scan, ends_where_characters_run_out)
{
    char characters[4] = { '-', '-', '-', '-' };
    char word[10] = "before";
    scan("ab", "%3c%s", characters, word);
    EXPECT_EQ(std::string(characters, 4), "ab--");
    EXPECT_STREQ(word, "before");

    scan("abc", "%3c%s", characters, word);  // just enough of them
    EXPECT_EQ(std::string(characters, 4), "abc-");
    EXPECT_STREQ(word, "");
}

// ---- Numbers out of text ----

// The value, and what is left behind it.
std::pair<i16, std::string> parsed(const char *text)
{
    i16 value = parse_digits(&text);
    return { value, text };
}

using Parsed = std::pair<i16, std::string>;

TEST(parse_digits, moves_past_the_digits)
{
    EXPECT_EQ(parsed("120abc"), Parsed(120, "abc"));
    EXPECT_EQ(parsed("0129"), Parsed(129, ""));
    EXPECT_EQ(parsed("8:"), Parsed(8, ":"));  // a colon comes behind 9
    EXPECT_EQ(parsed("8/"), Parsed(8, "/"));  // and a slash in front of 0
}

TEST(parse_digits, gives_0_without_a_digit_and_stays)
{
    EXPECT_EQ(parsed(""), Parsed(0, ""));
    EXPECT_EQ(parsed(" 5"), Parsed(0, " 5"));
    EXPECT_EQ(parsed("-5"), Parsed(0, "-5"));
    EXPECT_EQ(parsed("\xB2"), Parsed(0, "\xB2"));  // a raised 2 in some character sets
}

TEST(parse_digits, wraps_at_16_bits)
{
    EXPECT_EQ(parsed("32767"), Parsed(32767, ""));
    EXPECT_EQ(parsed("32768"), Parsed(-32768, ""));
    EXPECT_EQ(parsed("40000"), Parsed(-25536, ""));
    EXPECT_EQ(parsed("70000"), Parsed(4464, ""));
    EXPECT_EQ(parsed("99999999999"), Parsed((i16)(u16)(99999999999u & 0xFFFF), ""));
}

TEST(hexdigit, gives_the_value_in_either_case)
{
    const std::string small = "0123456789abcdef";
    const std::string capitals = "0123456789ABCDEF";
    for (i32 i = 0; i < 256; i++) {
        size_t value = small.find((char)i);
        if (value == std::string::npos) value = capitals.find((char)i);
        EXPECT_EQ(hexdigit((u8)i), value == std::string::npos ? -1 : (i32)value) << i;
    }
}

TEST(str_to_long, reads_digits_up_to_what_is_none)
{
    EXPECT_EQ(str_to_long("12abc"), 12);
    EXPECT_EQ(str_to_long("007"), 7);
    EXPECT_EQ(str_to_long("1 2"), 1);
    EXPECT_EQ(str_to_long("2147483647"), 2147483647);
}

TEST(str_to_long, gives_0_without_a_digit)
{
    EXPECT_EQ(str_to_long(""), 0);
    EXPECT_EQ(str_to_long("  "), 0);
    EXPECT_EQ(str_to_long("-"), 0);
    EXPECT_EQ(str_to_long("x1"), 0);
}

TEST(str_to_long, takes_one_sign)
{
    EXPECT_EQ(str_to_long("-5"), -5);
    EXPECT_EQ(str_to_long("+5"), 5);
    EXPECT_EQ(str_to_long("--5"), 0);
    EXPECT_EQ(str_to_long("-+5"), 0);
}

TEST(str_to_long, skips_blanks_on_both_sides_of_the_sign)
{
    EXPECT_EQ(str_to_long(" \t\n\v\f\r5"), 5);
    EXPECT_EQ(str_to_long("- 5"), -5);
    EXPECT_EQ(str_to_long(" + \t5"), 5);
    EXPECT_EQ(str_to_long("\xA0" "5"), 0);  // no blank of ASCII
}

TEST(str_to_long, knows_six_blanks)
{
    const std::string six = " \t\n\v\f\r";
    for (i32 i = 1; i < 256; i++) {
        if (i >= '0' && i <= '9') continue;
        i32 expected = six.find((char)i) != std::string::npos ? -5 : 0;
        EXPECT_EQ(str_to_long((std::string(1, (char)i) + "-5").c_str()), expected) << i;
        EXPECT_EQ(str_to_long(("-" + std::string(1, (char)i) + "5").c_str()), expected) << i;
        EXPECT_EQ(pstr_to_long(Text(std::string(1, (char)i) + "-5")), expected) << i;
    }
}

TEST(str_to_long, stops_at_the_largest_value)
{
    EXPECT_EQ(str_to_long("2147483648"), 2147483647);
    EXPECT_EQ(str_to_long("4294967295"), 2147483647);
    EXPECT_EQ(str_to_long("-2147483649"), -2147483647);
    EXPECT_EQ(str_to_long("-2147483647"), -2147483647);
}

TEST(str_to_long, cannot_read_the_least_long)
{
    EXPECT_EQ(str_to_long("-2147483648"), -2147483647);
}

TEST(str_to_long, wraps_beyond_32_bits)
{
    EXPECT_EQ(str_to_long("4294967296"), 0);
    EXPECT_EQ(str_to_long("4294967301"), 5);
    EXPECT_EQ(str_to_long("-4294967301"), -5);
}

TEST(str_to_short, keeps_within_32767_on_both_sides)
{
    EXPECT_EQ(str_to_short("32767"), 32767);
    EXPECT_EQ(str_to_short("32768"), 32767);
    EXPECT_EQ(str_to_short("99999"), 32767);
    EXPECT_EQ(str_to_short("-32767"), -32767);
    EXPECT_EQ(str_to_short("-32768"), -32767);
    EXPECT_EQ(str_to_short("-3000000000"), -32767);
    EXPECT_EQ(str_to_short(" - 12x"), -12);
}

TEST(pstr_to_long, reads_what_str_to_long_reads)
{
    EXPECT_EQ(pstr_to_long(Text("12abc")), 12);
    EXPECT_EQ(pstr_to_long(Text(" \t-5")), -5);
    EXPECT_EQ(pstr_to_long(Text("+5")), 5);
    EXPECT_EQ(pstr_to_long(Text("")), 0);
    EXPECT_EQ(pstr_to_long(Text("2147483648")), 2147483647);
    EXPECT_EQ(pstr_to_long(Text("-2147483648")), -2147483647);
    EXPECT_EQ(pstr_to_long(Text("4294967301")), 5);
}

TEST(pstr_to_long, allows_no_blank_behind_the_sign)
{
    EXPECT_EQ(pstr_to_long(Text("- 5")), 0);
    EXPECT_EQ(pstr_to_long(Text("+\t5")), 0);
}

TEST(pstr_to_long, leaves_the_text_as_it_was)
{
    for (const std::string &characters : { std::string("12"), std::string({ '1', 0, '2' }), std::string(255, ' ') }) {
        Text text(characters);
        Text before = text;
        (void)pstr_to_long(text);  // the value is in other tests
        EXPECT_EQ(memcmp(text.bytes, before.bytes, PSTRING_SIZE), 0);
    }
}

TEST(pstr_to_long, reads_no_digit_behind_the_length)
{
    Text text("12345");
    text.bytes[0] = 2;
    EXPECT_EQ(pstr_to_long(text), 12);
}

TEST(pstr_to_short, keeps_within_32767_on_both_sides)
{
    EXPECT_EQ(pstr_to_short(Text("32768")), 32767);
    EXPECT_EQ(pstr_to_short(Text("-32768")), -32767);
    EXPECT_EQ(pstr_to_short(Text("-12")), -12);
    EXPECT_EQ(pstr_to_short(Text("- 12")), 0);
}

TEST(pstr_to_short, gives_32_bits)
{
    static_assert(sizeof(pstr_to_short(nullptr)) == 4 && sizeof(str_to_short("")) == 2);
    EXPECT_EQ(pstr_to_short(Text("-7")), -7);
}

// ---- Text out of numbers ----

constexpr struct { i32 value; const char *text; } LONGS[] = {
    { 0, "0" }, { 9, "9" }, { 10, "10" }, { -1, "-1" }, { -70000, "-70000" }, { 1000000000, "1000000000" },
    { INT32_MAX, "2147483647" }, { -INT32_MAX, "-2147483647" }, { INT32_MIN, "-2147483648" },
};

TEST(long_to_str, writes_every_value)
{
    for (const auto &[value, text] : LONGS) {
        std::vector<char> dest(strlen(text) + 1);  // just enough
        long_to_str(dest.data(), value);
        EXPECT_STREQ(dest.data(), text);
    }
}

TEST(short_to_str, writes_every_value)
{
    constexpr struct { i16 value; const char *text; } SHORTS[] = {
        { 0, "0" }, { -1, "-1" }, { 32767, "32767" }, { -32768, "-32768" },
    };
    for (const auto &[value, text] : SHORTS) {
        std::vector<char> dest(strlen(text) + 1);
        short_to_str(dest.data(), value);
        EXPECT_STREQ(dest.data(), text);
    }
}

TEST(long_to_pstr, writes_every_value)
{
    for (const auto &[value, text] : LONGS) {
        std::vector<u8> dest(strlen(text) + 1);
        EXPECT_EQ(long_to_pstr(dest.data(), value), dest.data());
        EXPECT_EQ(dest[0], strlen(text));
        EXPECT_EQ(std::string(dest.begin() + 1, dest.end()), text);
    }
}

TEST(short_to_pstr, writes_every_value)
{
    Text dest;
    EXPECT_EQ(short_to_pstr(dest, -32768), dest.bytes);
    EXPECT_EQ(dest.str(), "-32768");
    EXPECT_EQ(short_to_pstr(dest, 7), dest.bytes);
    EXPECT_EQ(dest.str(), "7");
}

// ---- Characters ----

// The characters for which a test of them is 1; any other result than 0 and 1 is a failure.
std::string characters_of(i16 (*test)(u8))
{
    std::string found;
    for (i32 i = 0; i < 256; i++) {
        i16 result = test((u8)i);
        EXPECT_TRUE(result == 0 || result == 1) << i;
        if (result) found += (char)i;
    }
    return found;
}

TEST(char_isprint, is_1_from_0x20_to_0x7e)
{
    std::string expected;
    for (char c = 0x20; c <= 0x7E; c++) expected += c;
    EXPECT_EQ(characters_of(char_isprint), expected);
}

TEST(char_isident, is_1_for_letters_digits_and_underscore)
{
    EXPECT_EQ(characters_of(char_isident), "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz");
}

TEST(char_issign, counts_0_as_a_sign_at_the_start)
{
    EXPECT_EQ(char_extra_sign, 0);
    EXPECT_EQ(characters_of(char_issign), (std::string{ 0, '+', '-' }));
}

TEST(char_issign, takes_the_extra_sign_as_it_is_now)
{
    u8 before = char_extra_sign;
    char_extra_sign = '~';
    EXPECT_EQ(characters_of(char_issign), "+-~");
    char_extra_sign = before;
}

TEST(format, does_not_ask_the_locale)
{
    // A raised 2, a hard blank and a letter of Latin-1, in a locale that knows them where there is one.
    std::string before = setlocale(LC_ALL, nullptr);
    const char *latin = nullptr;
    for (const char *name : { "de_DE.ISO-8859-1", "en_US.ISO-8859-1", "German_Germany.1252" }) {
        if (!latin) latin = setlocale(LC_ALL, name);
    }
    EXPECT_EQ(parsed("\xB2"), Parsed(0, "\xB2"));
    EXPECT_EQ(str_to_long("\xA0" "5"), 0);
    EXPECT_EQ(char_isident(0xE4), 0);
    EXPECT_EQ(scanned_bytes("a\xA0" "b", "%s"), with_terminator("a\xA0" "b"));
    setlocale(LC_ALL, before.c_str());
    if (!latin) GTEST_SKIP() << "this machine has no locale in which E4 is a letter; checked in its own only";
}

// ---- The clock ----

struct Now {
    ClockDate date;
    ClockTime time;
    u16 weekday;
};

Now now()
{
    Now result;
    memset(&result, 0xEE, sizeof result);
    clock_now(&result.date, &result.time, &result.weekday);
    return result;
}

TEST(clock_now, tells_date_time_and_weekday)
{
    clock_virtual_local_time({ 2024, 2, 29, 4, 23, 58, 59 });  // a Thursday
    Now found = now();
    EXPECT_EQ(found.date.year, 2024);
    EXPECT_EQ(found.date.month, 2);
    EXPECT_EQ(found.date.day, 29);
    EXPECT_EQ(found.time.hour, 23);
    EXPECT_EQ(found.time.minute, 58);
    EXPECT_EQ(found.time.second, 59);
    EXPECT_EQ(found.weekday, 4);
}

TEST(clock_now, gives_0_behind_the_seconds)
{
    clock_virtual_local_time({ 2024, 2, 29, 4, 23, 58, 59 });
    EXPECT_EQ(now().time.zero, 0);
}

std::chrono::sys_days day_of(const ClockDate &date)
{
    using namespace std::chrono;
    return year_month_day(year(date.year), month(date.month), day(date.day));
}

// How far the clock of the library is ahead of universal time, in seconds: at least and at most.
struct Ahead {
    i64 least, most;
};

i64 universal_seconds()
{
    using namespace std::chrono;
    return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
}

Ahead ahead()
{
    using namespace std::chrono;
    i64 before = universal_seconds() - 1;  // clocks of a system may be a tick apart
    Now found = now();
    i64 after = universal_seconds();
    i64 days = day_of(found.date).time_since_epoch().count();
    i64 local = ((days * 24 + found.time.hour) * 60 + found.time.minute) * 60 + found.time.second;
    return { local - after, local - before };
}

TEST(clock_now, reads_the_clock_of_the_system)
{
    // Every zone of the world is ahead or behind by a multiple of a quarter of an hour.
    Ahead zone = ahead();
    i64 quarters = 0;
    for (i64 off = -12 * 3600; off <= 14 * 3600; off += 900) quarters += zone.least <= off && off <= zone.most;
    EXPECT_EQ(quarters, 1) << zone.least << " to " << zone.most;
}

TEST(clock_now, has_the_weekday_of_the_date)
{
    Now found = now();
    EXPECT_EQ(found.weekday, std::chrono::weekday(day_of(found.date)).c_encoding());
}

TEST(clock_now, is_in_the_zone_of_the_system)
{
#ifdef _WIN32
    GTEST_SKIP() << "a program cannot choose its time zone on Windows";
#else
    const char *zone = getenv("TZ");
    std::string old = zone ? zone : "";
    setenv("TZ", "ZUK-5:45", 1);  // ahead of universal time
    tzset();
    Ahead found = ahead();
    if (zone) setenv("TZ", old.c_str(), 1);
    else unsetenv("TZ");
    tzset();
    EXPECT_LE(found.least, 20700);
    EXPECT_GE(found.most, 20700);
#endif
}

u32 stamp_at(u16 year, u16 month, u16 day, u16 hour = 0, u16 minute = 0, u16 second = 0)
{
    clock_virtual_local_time({ year, month, day, 0, hour, minute, second });
    return clock_stamp();
}

TEST(clock_stamp, counts_from_the_start_of_1990)
{
    EXPECT_EQ(stamp_at(1990, 1, 1), 0u);
    EXPECT_EQ(stamp_at(1990, 1, 1, 0, 0, 1), 1u);
    EXPECT_EQ(stamp_at(1990, 1, 1, 0, 1, 0), 60u);
    EXPECT_EQ(stamp_at(1990, 1, 1, 1, 0, 0), 3600u);
    EXPECT_EQ(stamp_at(1990, 1, 2), 86400u);
    EXPECT_EQ(stamp_at(1990, 2, 1), 31 * 86400u);
    EXPECT_EQ(stamp_at(1991, 1, 1), 372 * 86400u);
    EXPECT_EQ(stamp_at(1989, 12, 31, 23, 59, 59), 0xFFFFFFFFu);
}

TEST(clock_stamp, is_the_same_on_every_target)
{
    EXPECT_EQ(stamp_at(2024, 2, 29, 23, 58, 59), 1097971139u);  // 34 years, 1 month, 28 days, 23:58:59
}

TEST(clock_stamp, jumps_a_day_behind_a_month_of_30_days)
{
    u32 last = stamp_at(2024, 4, 30, 23, 59, 59);
    EXPECT_EQ(stamp_at(2024, 5, 1) - last, 86401u);
    last = stamp_at(2024, 5, 31, 23, 59, 59);
    EXPECT_EQ(stamp_at(2024, 6, 1) - last, 1u);
}

TEST(clock_stamp, starts_at_0_again_in_2123)
{
    // 2^32 seconds are 133 years of 372 days, 7 months of 31, 17 days, 6:28:16.
    EXPECT_EQ(stamp_at(2123, 8, 18, 6, 28, 15), 0xFFFFFFFFu);
    EXPECT_EQ(stamp_at(2123, 8, 18, 6, 28, 16), 0u);
}

// ---- Descriptions ----

TEST(descr_notfound, is_a_text_in_brackets)
{
    Text dest("before");
    EXPECT_EQ(descr_notfound(dest), dest.bytes);
    EXPECT_EQ(dest.str(), "[Descr not found]");
}

} // namespace
