#include "foundation/pstrings.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <locale.h>
#include <string.h>
#include <string>

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
    std::string str() const { return {(const char *)bytes + 1, bytes[0]}; }
};

std::string repeat(char character, size_t count)
{
    return std::string(count, character);
}

// abc...zabc..., so that every shift by one shows.
std::string alphabet(size_t count)
{
    std::string text;
    for (size_t i = 0; i < count; i++) text += (char)('a' + i % 26);
    return text;
}

// What a C string of these characters is after `ctopstr`: the whole buffer, terminator included.
std::string after_ctopstr(const std::string &characters)
{
    std::string buffer(characters.c_str(), characters.size() + 1);
    EXPECT_EQ(ctopstr(buffer.data()), buffer.data());
    return buffer;
}

// Slices that a string of three characters does not have.
constexpr struct { i16 start, count; } BAD_SLICES[] = {
    {4, 1}, {32767, 1}, {0, 1}, {-1, 5}, {-32768, 1}, {1, 0}, {1, -1}, {1, -32768},
};

// ---- pstrconst, pstrnull, ctopstr, ptocstr ----

TEST(pstrconst, makes_a_string_of_c_text)
{
    Text dest("old content");
    EXPECT_EQ(pstrconst(dest, "abc"), dest.bytes);
    EXPECT_EQ(dest.str(), "abc");
}

TEST(pstrconst, of_empty_text_gives_the_empty_string)
{
    Text dest("old");
    EXPECT_EQ(pstrconst(dest, ""), dest.bytes);
    EXPECT_EQ(dest.str(), "");
}

TEST(pstrconst, takes_255_characters_whole)
{
    Text dest;
    pstrconst(dest, alphabet(255).c_str());
    EXPECT_EQ(dest.str(), alphabet(255));
}

TEST(pstrconst, copies_the_whole_source_before_the_cut)
{
    u8 dest[400];
    memset(dest, 0xEE, sizeof dest);
    std::string source = alphabet(300);
    pstrconst(dest, source.c_str());
    EXPECT_EQ(dest[0], 255);
    EXPECT_EQ(memcmp(dest + 1, source.data(), 255), 0);
    EXPECT_EQ(memcmp(dest + 256, source.data() + 256, 300 - 256), 0);  // byte i of the rest is character i of the text
    EXPECT_EQ(dest[300], 0);                                           // its terminator
    EXPECT_EQ(dest[301], 0xEE);
}

TEST(pstrnull, empties_the_string)
{
    Text text("abc");
    EXPECT_EQ(pstrnull(text), text.bytes);
    EXPECT_EQ(text.bytes[0], 0);
    EXPECT_EQ(text.bytes[1], 'a');  // only the length changes
}

TEST(ctopstr, puts_the_length_in_front)
{
    EXPECT_EQ(after_ctopstr("abc"), std::string("\3abc"));
    EXPECT_EQ(after_ctopstr("x"), std::string("\1x"));
}

TEST(ctopstr, leaves_an_empty_text_which_is_an_empty_string)
{
    u8 bytes[2] = {0, 0xEE};
    EXPECT_EQ(ctopstr(bytes), bytes);
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(bytes[1], 0xEE);
}

TEST(ctopstr, takes_255_characters_whole)
{
    EXPECT_EQ(after_ctopstr(alphabet(255)), "\xFF" + alphabet(255));
}

TEST(ctopstr, cuts_to_255)
{
    std::string buffer = after_ctopstr(alphabet(300));
    EXPECT_EQ((u8)buffer[0], 255);
    EXPECT_EQ(buffer.substr(1, 255), alphabet(255));
}

TEST(ctopstr, leaves_the_bytes_behind_position_255)
{
    std::string source = alphabet(300);
    std::string buffer = after_ctopstr(source);
    EXPECT_EQ(buffer.substr(256), source.substr(256) + '\0');
}

TEST(ctopstr, cuts_32767_characters_to_255)
{
    std::string buffer = after_ctopstr(alphabet(32767));
    EXPECT_EQ((u8)buffer[0], 255);
    EXPECT_EQ(buffer.substr(1, 255), alphabet(255));
}

TEST(ctopstr, leaves_32768_to_65536_characters_untouched)
{
    for (size_t count : {32768u, 40000u, 65535u, 65536u}) {
        EXPECT_EQ(after_ctopstr(repeat('a', count)), repeat('a', count) + '\0') << count << " characters";
    }
}

TEST(ctopstr, counts_65536_characters_as_none)
{
    std::string source = alphabet(65536 + 5);
    std::string buffer = after_ctopstr(source);
    EXPECT_EQ(buffer.substr(0, 6), "\5" + source.substr(0, 5));
    EXPECT_EQ(buffer.substr(6), source.substr(6) + '\0');
}

TEST(ptocstr, puts_the_terminator_behind)
{
    Text text("abc");
    EXPECT_EQ(ptocstr(text), text.bytes);
    EXPECT_STREQ((const char *)text.bytes, "abc");
    EXPECT_EQ(text.bytes[4], 0xEE);  // 4 bytes before, 4 bytes after
}

TEST(ptocstr, of_an_empty_string_writes_a_0_at_byte_0)
{
    u8 bytes[2] = {0, 0xEE};
    EXPECT_EQ(ptocstr(bytes), bytes);
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(bytes[1], 0xEE);
}

TEST(ptocstr, keeps_255_characters_in_256_bytes)
{
    Text text(alphabet(255));
    ptocstr(text);
    EXPECT_EQ(std::string((const char *)text.bytes, 256), alphabet(255) + '\0');
}

TEST(ptocstr, goes_back_to_the_same_string_by_ctopstr)
{
    for (size_t length = 0; length <= 255; length++) {
        Text text(alphabet(length));
        ctopstr(ptocstr(text));
        ASSERT_EQ(text.str(), alphabet(length));
    }
}

// ---- pstricpy, pstricat ----

TEST(pstricpy, copies_a_slice)
{
    Text source("abcdef");
    Text dest("old content");
    EXPECT_EQ(pstricpy(dest, source, 2, 3), dest.bytes);
    EXPECT_EQ(dest.str(), "bcd");
}

TEST(pstricpy, copies_to_the_end_when_count_is_larger)
{
    Text source("abcdef");
    Text dest;
    EXPECT_EQ((pstricpy(dest, source, 1, 127), dest.str()), "abcdef");
    EXPECT_EQ((pstricpy(dest, source, 5, 32767), dest.str()), "ef");
    EXPECT_EQ((pstricpy(dest, source, 6, 1), dest.str()), "f");
}

TEST(pstricpy, cuts_a_name_to_127)
{
    Text source(alphabet(200));
    Text dest;
    pstricpy(dest, source, 1, 127);
    EXPECT_EQ(dest.str(), alphabet(127));
    EXPECT_EQ(dest.bytes[128], 0xEE);
}

TEST(pstricpy, copies_255_characters)
{
    Text source(alphabet(255));
    Text dest;
    EXPECT_EQ((pstricpy(dest, source, 1, 255), dest.str()), alphabet(255));
}

TEST(pstricpy, of_bad_arguments_gives_the_empty_string)
{
    Text source("abc");
    for (auto [start, count] : BAD_SLICES) {
        Text dest("old");
        EXPECT_EQ(pstricpy(dest, source, start, count), dest.bytes);
        EXPECT_EQ(dest.str(), "") << start << ", " << count;
    }
}

TEST(pstricpy, of_an_empty_source_gives_the_empty_string)
{
    Text dest("old");
    EXPECT_EQ((pstricpy(dest, Text(""), 1, 127), dest.str()), "");
}

TEST(pstricpy, empties_a_destination_that_is_the_source)
{
    Text text("abc");
    EXPECT_EQ(pstricpy(text, text, 1, 127), text.bytes);
    EXPECT_EQ(text.str(), "");
}

TEST(pstricat, appends_a_slice)
{
    Text source("abcdef");
    Text dest("xy");
    EXPECT_EQ(pstricat(dest, source, 2, 3), dest.bytes);
    EXPECT_EQ(dest.str(), "xybcd");
    EXPECT_EQ((pstricat(dest, source, 5, 100), dest.str()), "xybcdef");
}

TEST(pstricat, appends_to_an_empty_string)
{
    Text dest("");
    EXPECT_EQ((pstricat(dest, Text("abc"), 1, 255), dest.str()), "abc");
}

TEST(pstricat, of_bad_arguments_leaves_the_destination)
{
    Text source("abc");
    for (auto [start, count] : BAD_SLICES) {
        Text dest("old");
        EXPECT_EQ(pstricat(dest, source, start, count), dest.bytes);
        EXPECT_EQ(dest.str(), "old") << start << ", " << count;
    }
}

TEST(pstricat, appends_all_or_nothing)
{
    Text dest(repeat('x', 250));
    EXPECT_EQ(pstricat(dest, Text(repeat('y', 10)), 1, 10), dest.bytes);
    EXPECT_EQ(dest.str(), repeat('x', 250));
    EXPECT_EQ(dest.bytes[251], 0xEE);

    pstricat(dest, Text(repeat('y', 10)), 1, 6);
    EXPECT_EQ(dest.str(), repeat('x', 250));
    pstricat(dest, Text(repeat('y', 10)), 1, 5);
    EXPECT_EQ(dest.str(), repeat('x', 250) + "yyyyy");
}

TEST(pstricat, doubles_a_string_that_is_its_own_source)
{
    Text text("abc");
    EXPECT_EQ((pstricat(text, text, 1, 255), text.str()), "abcabc");
}

// ---- pstricompare ----

i16 compare(const std::string &first, const std::string &second, i16 start, i16 count, i16 fold_case = 0)
{
    return pstricompare(Text(first), Text(second), start, count, fold_case);
}

TEST(pstricompare, answers_32767_for_a_bad_start_or_count)
{
    for (i16 bad : std::initializer_list<i16>{0, -1, -32768}) {
        EXPECT_EQ(compare("abc", "abc", bad, 3), 32767);
        EXPECT_EQ(compare("abc", "abc", 1, bad), 32767);
        EXPECT_EQ(compare("", "", bad, 3), 32767);  // tested ahead of everything else
        EXPECT_EQ(compare("", "abc", 1, bad), 32767);
    }
}

TEST(pstricompare, answers_32767_for_a_text_against_a_string_too_short)
{
    EXPECT_EQ(compare("abc", "", 1, 127), 32767);
    EXPECT_EQ(compare("a", "", 1, 127), 32767);
    EXPECT_EQ(compare("abc", "ab", 3, 127), 32767);
    EXPECT_EQ(compare("ab", "abc", 3, 127), 32767);  // the first one is too short itself
    EXPECT_EQ(compare("ab", "", 3, 127), 32767);
    EXPECT_EQ(compare("abc", "abc", 4, 127), 32767);
}

TEST(pstricompare, answers_0_for_two_empty_strings)
{
    EXPECT_EQ(compare("", "", 1, 127), 0);
    EXPECT_EQ(compare("", "", 5, 1, 1), 0);
}

TEST(pstricompare, answers_minus_1_for_an_empty_string_against_a_text)
{
    EXPECT_EQ(compare("", "abc", 1, 127), -1);
    EXPECT_EQ(compare("", "abc", 4, 127), -1);
}

TEST(pstricompare, gives_the_difference_of_the_first_unequal_bytes)
{
    EXPECT_EQ(compare("abc", "abc", 1, 127), 0);
    EXPECT_EQ(compare("abc", "axc", 1, 127), 'b' - 'x');
    EXPECT_EQ(compare("axc", "abc", 1, 127), 'x' - 'b');
    EXPECT_EQ(compare("abc", "ABC", 1, 127), 32);  // 0x61 - 0x41
    EXPECT_EQ(compare("b", "abcdef", 1, 127), 1);  // ahead of the lengths
}

TEST(pstricompare, takes_bytes_as_unsigned)
{
    EXPECT_EQ(compare("\xE4", "A", 1, 127), 0xE4 - 0x41);
    EXPECT_EQ(compare("A", "\xE4", 1, 127, 1), 0x41 - 0xE4);
    EXPECT_EQ(compare(std::string("\0", 1), "\xFF", 1, 127), -255);
}

TEST(pstricompare, begins_at_start)
{
    EXPECT_EQ(compare("xabc", "yabc", 2, 127), 0);
    EXPECT_EQ(compare("abcd", "abce", 4, 1), -1);
    EXPECT_EQ(compare("abcd", "abce", 3, 1), 0);
}

TEST(pstricompare, ignores_the_lengths_once_count_is_reached)
{
    EXPECT_EQ(compare("abc", "abcd", 1, 3), 0);
    EXPECT_EQ(compare("abc", "abcd", 1, 127), -1);  // 3 - 4
    EXPECT_EQ(compare("abcdef", "abc", 1, 4), 3);   // 6 - 3: whole lengths, not those of the slices
    EXPECT_EQ(compare("abcdef", "abc", 2, 2), 0);
    EXPECT_EQ(compare("abcdef", "abc", 2, 3), 3);
}

TEST(pstricompare, compares_255_characters)
{
    std::string text = alphabet(255);
    EXPECT_EQ(compare(text, text, 1, 255), 0);
    EXPECT_EQ(compare(text, text, 1, 32767), 0);
    EXPECT_EQ(compare(text, alphabet(254) + "~", 1, 255), text[254] - '~');
    EXPECT_EQ(compare(text, alphabet(254) + "~", 255, 1), text[254] - '~');
}

TEST(pstricompare, is_blind_to_case_for_any_flag_but_0)
{
    for (i16 fold_case : std::initializer_list<i16>{1, 2, 256, -1, -32768}) {
        EXPECT_EQ(compare("abc", "ABC", 1, 127, fold_case), 0);
        EXPECT_EQ(compare("aBc", "AbCd", 1, 127, fold_case), -1);
    }
}

TEST(pstricompare, gives_the_difference_of_the_capitals_when_blind_to_case)
{
    EXPECT_EQ(compare("abc", "AXC", 1, 127, 1), 'B' - 'X');
    EXPECT_EQ(compare("z", "_", 1, 1, 1), 'Z' - '_');  // below by capitals, above by bytes
    EXPECT_EQ(compare("z", "_", 1, 1, 0), 'z' - '_');
}

TEST(pstricompare, folds_ascii_letters_only)
{
    EXPECT_EQ(compare("\xE4", "\xC4", 1, 127, 1), 32);  // a letter with dots in many a host's locale
    EXPECT_EQ(compare("{", "[", 1, 127, 1), 32);
    EXPECT_EQ(compare("`", "@", 1, 127, 1), 32);
}

// ---- The operations of pstrings.h ----

TEST(ascii_upper, changes_the_26_letters_alone)
{
    for (int c = 0; c < 256; c++) {
        int expected = c >= 'a' && c <= 'z' ? c - 32 : c;
        EXPECT_EQ(ascii_upper((u8)c), expected) << c;
    }
}

TEST(ascii_lower, changes_the_26_letters_alone)
{
    for (int c = 0; c < 256; c++) {
        int expected = c >= 'A' && c <= 'Z' ? c + 32 : c;
        EXPECT_EQ(ascii_lower((u8)c), expected) << c;
    }
}

TEST(pstrisnull, tells_the_empty_string)
{
    EXPECT_EQ(pstrisnull(Text("")), 1);
    EXPECT_EQ(pstrisnull(Text(" ")), 0);
    EXPECT_EQ(pstrisnull(Text(repeat('x', 255))), 0);
}

TEST(pstrdelete, removes_a_slice)
{
    Text text("abcdef");
    EXPECT_EQ(pstrdelete(text, 2, 3), text.bytes);
    EXPECT_EQ(text.str(), "aef");
    EXPECT_EQ((pstrdelete(text, 1, 1), text.str()), "ef");
    EXPECT_EQ((pstrdelete(text, 2, 1), text.str()), "e");
    EXPECT_EQ((pstrdelete(text, 1, 1), text.str()), "");
}

TEST(pstrdelete, cuts_count_to_what_is_there)
{
    Text text("abcdef");
    EXPECT_EQ((pstrdelete(text, 3, 32767), text.str()), "ab");
    EXPECT_EQ((pstrdelete(text, 2, 2), text.str()), "a");
}

TEST(pstrdelete, clears_the_bytes_it_frees)
{
    Text text("abcde");
    pstrdelete(text, 2, 1);
    EXPECT_EQ(text.str(), "acde");
    EXPECT_EQ(text.bytes[5], 0);
    EXPECT_EQ(text.bytes[6], 0xEE);

    pstrdelete(text, 2, 100);
    EXPECT_EQ(text.str(), "a");
    for (int i = 2; i <= 5; i++) EXPECT_EQ(text.bytes[i], 0) << i;
    EXPECT_EQ(text.bytes[6], 0xEE);
}

TEST(pstrdelete, works_on_a_full_string)
{
    Text text(alphabet(255));
    EXPECT_EQ((pstrdelete(text, 1, 1), text.str()), alphabet(255).substr(1));
    EXPECT_EQ(text.bytes[255], 0);
    EXPECT_EQ((pstrdelete(text, 1, 254), text.str()), "");
}

TEST(pstrdelete, of_bad_arguments_changes_nothing)
{
    for (auto [start, count] : BAD_SLICES) {
        Text text("abc");
        EXPECT_EQ(pstrdelete(text, start, count), text.bytes);
        EXPECT_EQ(text.str(), "abc") << start << ", " << count;
        EXPECT_EQ(text.bytes[4], 0xEE);
    }
}

TEST(pstrinsert, inserts_raw_bytes)
{
    const u8 bytes[] = {2, 0, 'z'};  // no length in front: all three are content
    Text text("abcd");
    EXPECT_EQ(pstrinsert(text, 3, bytes, 3), text.bytes);
    EXPECT_EQ(text.str(), std::string("ab\2\0zcd", 7));
}

TEST(pstrinsert, inserts_at_both_ends)
{
    Text text("abc");
    EXPECT_EQ((pstrinsert(text, 1, (const u8 *)"xy", 2), text.str()), "xyabc");
    EXPECT_EQ((pstrinsert(text, 6, (const u8 *)"z", 1), text.str()), "xyabcz");
    EXPECT_EQ(text.bytes[7], 0xEE);

    Text empty("");
    EXPECT_EQ((pstrinsert(empty, 1, (const u8 *)"xy", 2), empty.str()), "xy");
}

TEST(pstrinsert, inserts_all_or_nothing)
{
    Text text(repeat('x', 250));
    std::string ten = repeat('y', 10);
    EXPECT_EQ(pstrinsert(text, 1, (const u8 *)ten.data(), 10), text.bytes);
    EXPECT_EQ(text.str(), repeat('x', 250));
    EXPECT_EQ((pstrinsert(text, 1, (const u8 *)ten.data(), 6), text.str()), repeat('x', 250));
    EXPECT_EQ((pstrinsert(text, 1, (const u8 *)ten.data(), 32767), text.str()), repeat('x', 250));
    EXPECT_EQ((pstrinsert(text, 2, (const u8 *)ten.data(), 5), text.str()), "xyyyyy" + repeat('x', 249));
}

TEST(pstrinsert, of_bad_arguments_changes_nothing)
{
    struct { i16 pos, count; } bad[] = {{1, 0}, {1, -1}, {1, -32768}, {0, 1}, {-1, 1}, {-32768, 1}, {5, 1}, {32767, 1}};
    for (auto [pos, count] : bad) {
        Text text("abc");
        EXPECT_EQ(pstrinsert(text, pos, (const u8 *)"z", count), text.bytes);
        EXPECT_EQ(text.str(), "abc") << pos << ", " << count;
        EXPECT_EQ(text.bytes[4], 0xEE);
    }
}

TEST(pstraddc, appends)
{
    Text text("ab");
    EXPECT_EQ(pstraddc(text, 'c'), text.bytes);
    EXPECT_EQ(text.str(), "abc");
    Text empty("");
    EXPECT_EQ((pstraddc(empty, 0), empty.str()), std::string("\0", 1));
}

TEST(pstraddc, leaves_a_full_string)
{
    Text text(alphabet(254));
    EXPECT_EQ((pstraddc(text, '~'), text.str()), alphabet(254) + "~");
    EXPECT_EQ(pstraddc(text, '!'), text.bytes);
    EXPECT_EQ(text.str(), alphabet(254) + "~");
}

TEST(pstrinsc, inserts_one)
{
    Text text("ab");
    EXPECT_EQ(pstrinsc(text, 2, 'x'), text.bytes);
    EXPECT_EQ(text.str(), "axb");
    EXPECT_EQ((pstrinsc(text, 1, 'y'), text.str()), "yaxb");
}

TEST(pstrinsc, appends_at_length_plus_1_and_not_beyond)
{
    Text text("ab");
    EXPECT_EQ((pstrinsc(text, 3, 'c'), text.str()), "abc");
    EXPECT_EQ((pstrinsc(text, 5, 'e'), text.str()), "abc");
    EXPECT_EQ(text.bytes[4], 0xEE);
}

TEST(pstrinsc, of_a_bad_position_changes_nothing)
{
    for (i16 pos : std::initializer_list<i16>{0, -1, -32768, 32767}) {
        Text text("ab");
        EXPECT_EQ(pstrinsc(text, pos, 'x'), text.bytes);
        EXPECT_EQ(text.str(), "ab") << pos;
    }
}

TEST(pstrinsc, leaves_a_full_string)
{
    Text text(alphabet(254));
    EXPECT_EQ((pstrinsc(text, 1, '~'), text.str()), "~" + alphabet(254));
    EXPECT_EQ((pstrinsc(text, 1, '!'), text.str()), "~" + alphabet(254));
    EXPECT_EQ((pstrinsc(text, 256, '!'), text.str()), "~" + alphabet(254));
}

TEST(pstrdelc, removes_one)
{
    Text text("abc");
    EXPECT_EQ(pstrdelc(text, 2), text.bytes);
    EXPECT_EQ(text.str(), "ac");
    EXPECT_EQ((pstrdelc(text, 2), text.str()), "a");
    EXPECT_EQ((pstrdelc(text, 1), text.str()), "");
}

TEST(pstrdelc, clears_the_byte_it_frees)
{
    Text text("abc");
    pstrdelc(text, 1);
    EXPECT_EQ(text.bytes[3], 0);
    EXPECT_EQ(text.bytes[4], 0xEE);
}

TEST(pstrdelc, of_a_bad_position_changes_nothing)
{
    for (i16 pos : std::initializer_list<i16>{0, -1, -32768, 4, 32767}) {
        Text text("abc");
        EXPECT_EQ(pstrdelc(text, pos), text.bytes);
        EXPECT_EQ(text.str(), "abc") << pos;
        EXPECT_EQ(text.bytes[3], 'c');
    }
}

TEST(pstrchr, gives_the_first_position)
{
    EXPECT_EQ(pstrchr(Text("abcabc"), 'a'), 1);
    EXPECT_EQ(pstrchr(Text("abcabc"), 'c'), 3);
    EXPECT_EQ(pstrchr(Text(repeat('x', 254) + "\xE4"), 0xE4), 255);
    EXPECT_EQ(pstrchr(Text(std::string("ab\0", 3)), 0), 3);
    EXPECT_EQ(pstrchr(Text("ab\3"), 3), 3);  // not at the length, which is 3 as well
}

TEST(pstrchr, gives_0_for_none)
{
    EXPECT_EQ(pstrchr(Text("abc"), 'x'), 0);
    EXPECT_EQ(pstrchr(Text("abc"), 3), 0);     // the length is no character,
    EXPECT_EQ(pstrchr(Text("abc"), 0xEE), 0);  // nor is a byte behind the end
    EXPECT_EQ(pstrchr(Text(""), 'a'), 0);
}

TEST(pstrtrimr, removes_trailing_blanks)
{
    Text text("  a b  ");
    EXPECT_EQ(pstrtrimr(text), text.bytes);
    EXPECT_EQ(text.str(), "  a b");
    EXPECT_EQ(text.bytes[6], ' ');  // the bytes freed stay
    EXPECT_EQ(text.bytes[7], ' ');
}

TEST(pstrtrimr, empties_a_string_of_blanks)
{
    Text text(repeat(' ', 255));
    EXPECT_EQ((pstrtrimr(text), text.str()), "");
    EXPECT_EQ((pstrtrimr(text), text.str()), "");
}

TEST(pstrtrimr, takes_only_0x20_as_blank)
{
    for (std::string text : {"a\t", "a\xA0", "a\n"}) {
        Text trimmed(text);
        EXPECT_EQ((pstrtrimr(trimmed), trimmed.str()), text);
    }
}

TEST(pstrtriml, removes_leading_blanks)
{
    Text text("  a b  ");
    EXPECT_EQ(pstrtriml(text), text.bytes);
    EXPECT_EQ(text.str(), "a b  ");
    EXPECT_NE(text.bytes[6], 0);  // nothing is cleared behind the end
    EXPECT_NE(text.bytes[7], 0);
}

TEST(pstrtriml, empties_a_string_of_blanks)
{
    Text text(repeat(' ', 255));
    EXPECT_EQ((pstrtriml(text), text.str()), "");
    EXPECT_EQ((pstrtriml(text), text.str()), "");
}

TEST(pstrtriml, takes_only_0x20_as_blank)
{
    for (std::string text : {"\ta", "\xA0" "a", "\na"}) {
        Text trimmed(text);
        EXPECT_EQ((pstrtriml(trimmed), trimmed.str()), text);
    }
}

TEST(pstrpad, cuts_to_the_width)
{
    Text text("abcdefghij");
    EXPECT_EQ(pstrpad(text, 4), text.bytes);
    EXPECT_EQ(text.str(), "abcd");
    EXPECT_EQ(text.bytes[5], 'e');  // the bytes freed stay
}

TEST(pstrpad, fills_to_the_width_with_blanks)
{
    Text text("ab");
    EXPECT_EQ((pstrpad(text, 4), text.str()), "ab  ");
    EXPECT_EQ(text.bytes[5], 0xEE);
    EXPECT_EQ((pstrpad(text, 4), text.str()), "ab  ");
}

TEST(pstrpad, takes_a_width_above_255_as_255)
{
    for (i16 width : std::initializer_list<i16>{255, 256, 300, 32767}) {
        Text text("ab");
        EXPECT_EQ((pstrpad(text, width), text.str()), "ab" + repeat(' ', 253)) << width;
    }
}

TEST(pstrpad, takes_a_negative_width_as_0)
{
    for (i16 width : std::initializer_list<i16>{0, -1, -32768}) {
        Text text("abc");
        EXPECT_EQ((pstrpad(text, width), text.str()), "") << width;
    }
}

TEST(pstrfirstc, gives_the_first_character_that_is_no_blank)
{
    EXPECT_EQ(pstrfirstc(Text("  abc")), 'a');
    EXPECT_EQ(pstrfirstc(Text("\tx")), '\t');
    EXPECT_EQ(pstrfirstc(Text(repeat(' ', 254) + "\xE4")), 0xE4);
}

TEST(pstrfirstc, passes_over_0xa0_too)
{
    EXPECT_EQ(pstrfirstc(Text("\xA0 \xA0z")), 'z');
}

TEST(pstrfirstc, gives_0_when_there_is_none)
{
    EXPECT_EQ(pstrfirstc(Text("")), 0);
    EXPECT_EQ(pstrfirstc(Text(" \xA0 ")), 0);
}

TEST(pstrblank0, replaces_every_blank_by_the_digit)
{
    Text text(" 1 2\xA0\t ");
    EXPECT_EQ(pstrblank0(text), text.bytes);
    EXPECT_EQ(text.str(), "0102\xA0\t0");
    Text full(repeat(' ', 255));
    EXPECT_EQ((pstrblank0(full), full.str()), repeat('0', 255));
    Text empty("");
    EXPECT_EQ((pstrblank0(empty), empty.str()), "");
}

TEST(pstrblank0, leaves_a_length_of_32)
{
    Text text(repeat('x', 32));  // 32 is the code of the blank
    EXPECT_EQ((pstrblank0(text), text.str()), repeat('x', 32));
}

TEST(pstrupper, raises_ascii_letters)
{
    Text text("abc XYZ 19 {`\xE4\xFF");
    EXPECT_EQ(pstrupper(text), text.bytes);
    EXPECT_EQ(text.str(), "ABC XYZ 19 {`\xE4\xFF");
}

TEST(pstrupper, leaves_a_length_of_97_and_the_bytes_behind)
{
    Text text(repeat('x', 97));  // 97 is the code of the letter a
    text.bytes[98] = 'x';
    EXPECT_EQ((pstrupper(text), text.str()), repeat('X', 97));
    EXPECT_EQ(text.bytes[98], 'x');
}

TEST(pstrupper, does_not_ask_the_locale_of_the_host)
{
    std::string before = setlocale(LC_ALL, nullptr);
    const char *latin = nullptr;
    for (const char *name : {"de_DE.ISO-8859-1", "en_US.ISO-8859-1", "German_Germany.1252"}) {
        if (!latin) latin = setlocale(LC_ALL, name);
    }
    Text text("\xE4");
    pstrupper(text);
    i16 order = compare("\xE4", "\xC4", 1, 1, 1);
    setlocale(LC_ALL, before.c_str());

    EXPECT_EQ(text.str(), "\xE4");
    EXPECT_EQ(order, 32);
    if (!latin) GTEST_SKIP() << "this machine has no locale in which E4 is a letter; checked in its own only";
}

TEST(pstrlower, lowers_ascii_letters)
{
    Text text("abc XYZ 19 [@\xC4\xDE");
    EXPECT_EQ(pstrlower(text), text.bytes);
    EXPECT_EQ(text.str(), "abc xyz 19 [@\xC4\xDE");
}

TEST(pstrlower, leaves_a_length_of_65_and_the_bytes_behind)
{
    Text text(repeat('X', 65));  // 65 is the code of the letter A
    text.bytes[66] = 'X';
    EXPECT_EQ((pstrlower(text), text.str()), repeat('x', 65));
    EXPECT_EQ(text.bytes[66], 'X');
}

TEST(bit_assign, counts_from_the_low_bit_of_byte_0)
{
    u8 bytes[3] = {0, 0, 0};
    bit_assign(bytes, 0, 1);
    bit_assign(bytes, 7, 1);
    bit_assign(bytes, 9, 1);
    bit_assign(bytes, 23, 1);
    EXPECT_EQ(bytes[0], 0x81);
    EXPECT_EQ(bytes[1], 0x02);
    EXPECT_EQ(bytes[2], 0x80);
}

TEST(bit_assign, clears_for_0)
{
    u8 bytes[2] = {0xFF, 0xFF};
    bit_assign(bytes, 3, 0);
    bit_assign(bytes, 8, 0);
    EXPECT_EQ(bytes[0], 0xF7);
    EXPECT_EQ(bytes[1], 0xFE);
    bit_assign(bytes, 3, 0);
    EXPECT_EQ(bytes[0], 0xF7);
}

TEST(bit_assign, sets_for_any_value_but_0)
{
    for (i16 value : std::initializer_list<i16>{1, 2, 256, -1, -32768}) {
        u8 byte = 0;
        bit_assign(&byte, 4, value);
        EXPECT_EQ(byte, 0x10) << value;
        bit_assign(&byte, 4, value);
        EXPECT_EQ(byte, 0x10) << value;
    }
}

TEST(bit_assign, reaches_bit_32767)
{
    u8 bytes[4096] = {};
    bit_assign(bytes, 32767, 1);
    EXPECT_EQ(bytes[4095], 0x80);
}

TEST(bit_assign, of_a_negative_number_does_nothing)
{
    u8 bytes[3] = {0, 0, 0};
    bit_assign(bytes + 1, -1, 1);
    bit_assign(bytes + 1, -8, 1);
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(bytes[1], 0);
}

} // namespace
