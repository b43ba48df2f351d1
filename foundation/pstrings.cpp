#include "foundation/pstrings.h"

#include <stddef.h>
#include <string.h>

namespace zuk {

constexpr i32 LENGTH_MAX = PSTRING_SIZE - 1;
constexpr u8 BLANK = 0x20;
constexpr u8 HARD_BLANK = 0xA0;

// How many characters the slice of `count` from `start` on has in a string: 0 for a start or count below 1 and for a
// string that ends ahead of `start`.
static i32 slice_length(ConstPString string, i16 start, i16 count)
{
    if (start < 1 || count < 1 || string[0] < start) return 0;

    i32 rest = string[0] - start + 1;
    return rest < count ? rest : count;
}

} // namespace zuk

using namespace zuk;

// ---- The exported operations ----------------------------------------------------------------------------------------

PString pstrconst(PString dest, const char *source)
{
    // KEPT: one would expect at most 256 bytes of `dest` to be used. The whole text and its terminator are copied
    // before the cut, so `dest` must hold them all. Test: pstrconst.copies_the_whole_source_before_the_cut
    memmove(dest, source, strlen(source) + 1);
    return (PString)ctopstr(dest);
}

PString pstrnull(PString string)
{
    string[0] = 0;
    return string;
}

void *ctopstr(void *string)
{
    u8 *bytes = (u8 *)string;

    // KEPT: one would expect every long text to be cut to 255. The length is a signed 16-bit number, so a text of 32768
    // to 65536 characters is left as it was, its first character standing where the length is read, and one of 65541
    // gives 5 characters. An empty text is untouched too, which makes it an empty string: its terminator is the length.
    // Test: ctopstr.leaves_32768_to_65536_characters_untouched
    // Test: ctopstr.leaves_an_empty_text_which_is_an_empty_string
    i16 measured = (i16)(u16)strlen((const char *)bytes);
    if (measured <= 0) return string;

    // KEPT: one would expect the bytes behind a cut string to go. They stay where they were: only the first 255
    // characters move. Test: ctopstr.leaves_the_bytes_behind_position_255
    i32 length = measured < LENGTH_MAX ? measured : LENGTH_MAX;
    memmove(bytes + 1, bytes, (size_t)length);
    bytes[0] = (u8)length;
    return string;
}

void *ptocstr(void *string)
{
    u8 *bytes = (u8 *)string;
    u8 length = bytes[0];
    memmove(bytes, bytes + 1, length);
    bytes[length] = 0;
    return string;
}

PString pstricpy(PString dest, ConstPString source, int16_t start, int16_t count)
{
    // KEPT: one would expect bad arguments to leave `dest` as it was, as they do in `pstricat`, and a copy of a string
    // onto itself to do nothing. `dest` is emptied first, so both end with the empty string.
    // Test: pstricpy.empties_a_destination_that_is_the_source
    // Test: pstricpy.of_bad_arguments_gives_the_empty_string
    dest[0] = 0;
    i32 length = slice_length(source, start, count);
    if (length == 0) return dest;

    memmove(dest + 1, source + start, (size_t)length);
    dest[0] = (u8)length;
    return dest;
}

PString pstricat(PString dest, ConstPString source, int16_t start, int16_t count)
{
    i32 length = slice_length(source, start, count);
    if (length == 0) return dest;

    // KEPT: one would expect as much of the text as fits. It is appended whole or not at all.
    // Test: pstricat.appends_all_or_nothing
    i32 old_length = dest[0];
    if (old_length + length > LENGTH_MAX) return dest;

    dest[0] = (u8)(old_length + length);
    memmove(dest + old_length + 1, source + start, (size_t)length);
    return dest;
}

int16_t pstricompare(ConstPString first, ConstPString second, int16_t start, int16_t count, int16_t fold_case)
{
    // KEPT: one would expect bad arguments, and strings that end ahead of `start`, to compare as equal. They give 32767
    // unless `first` is empty, and then 0 or -1; whoever sorts relies on 32767 being positive.
    // Test: pstricompare.answers_32767_for_a_text_against_a_string_too_short
    // Test: pstricompare.answers_32767_for_a_bad_start_or_count
    // Test: pstricompare.answers_0_for_two_empty_strings
    // Test: pstricompare.answers_minus_1_for_an_empty_string_against_a_text
    constexpr i16 BEHIND = 32767;
    if (start < 1 || count < 1) return BEHIND;
    if (first[0] < start || second[0] < start) {
        if (first[0] != 0) return BEHIND;
        return second[0] == 0 ? 0 : -1;
    }

    i32 shorter = first[0] < second[0] ? first[0] : second[0];
    i32 rest = shorter - start + 1;
    i32 length = rest < count ? rest : count;
    for (i32 i = start; i < start + length; i++) {
        u8 a = first[i];
        u8 b = second[i];
        if (fold_case) {
            a = ascii_upper(a);
            b = ascii_upper(b);
        }
        if (a != b) return (i16)(a - b);
    }

    // KEPT: one would expect strings of different length to differ. The lengths count only when a string ran out ahead
    // of `count`: abc and abcd are equal in 3 characters. Test: pstricompare.ignores_the_lengths_once_count_is_reached
    return length >= count ? 0 : (i16)(first[0] - second[0]);
}

// ---- The operations of pstrings.h -----------------------------------------------------------------------------------

namespace zuk {

i16 pstrisnull(ConstPString string)
{
    return string[0] == 0 ? 1 : 0;
}

PString pstrdelete(PString string, i16 start, i16 count)
{
    i32 removed = slice_length(string, start, count);
    if (removed == 0) return string;

    i32 new_length = string[0] - removed;
    memmove(string + start, string + start + removed, (size_t)(new_length - start + 1));

    // KEPT: one would expect bytes behind the length to be left alone, as a cut by `pstrpad` or `pstrtrimr` leaves
    // them. Those that a removal frees become 0. Test: pstrdelete.clears_the_bytes_it_frees
    memset(string + new_length + 1, 0, (size_t)removed);
    string[0] = (u8)new_length;
    return string;
}

PString pstrinsert(PString string, i16 pos, const u8 *bytes, i16 count)
{
    i32 length = string[0];
    if (count < 1 || pos < 1 || pos > length + 1) return string;

    // KEPT: one would expect as many bytes as fit. They are inserted whole or not at all.
    // Test: pstrinsert.inserts_all_or_nothing
    if (count + length > LENGTH_MAX) return string;

    memmove(string + pos + count, string + pos, (size_t)(length - pos + 1));
    memcpy(string + pos, bytes, (size_t)count);
    string[0] = (u8)(length + count);
    return string;
}

PString pstraddc(PString string, u8 character)
{
    if (string[0] == LENGTH_MAX) return string;

    string[0]++;
    string[string[0]] = character;
    return string;
}

PString pstrinsc(PString string, i16 pos, u8 character)
{
    return pstrinsert(string, pos, &character, 1);
}

PString pstrdelc(PString string, i16 pos)
{
    // KEPT: the byte freed at the end becomes 0, as in `pstrdelete`. Test: pstrdelc.clears_the_byte_it_frees
    return pstrdelete(string, pos, 1);
}

i16 pstrchr(ConstPString string, u8 character)
{
    for (i16 i = 1; i <= string[0]; i++) {
        if (string[i] == character) return i;
    }
    return 0;
}

// KEPT: one would expect every kind of blank to be trimmed. Only 0x20 is, not the tabulator and not the 0xA0 that
// `pstrfirstc` passes over. Test: pstrtrimr.takes_only_0x20_as_blank
PString pstrtrimr(PString string)
{
    while (string[0] > 0 && string[string[0]] == BLANK) string[0]--;
    return string;
}

PString pstrtriml(PString string)
{
    i32 blanks = 0;
    while (blanks < string[0] && string[blanks + 1] == BLANK) blanks++;

    string[0] = (u8)(string[0] - blanks);
    memmove(string + 1, string + 1 + blanks, string[0]);
    return string;
}

PString pstrpad(PString string, i16 width)
{
    i32 new_length = width < 0 ? 0 : width < LENGTH_MAX ? width : LENGTH_MAX;
    for (i32 i = string[0] + 1; i <= new_length; i++) string[i] = BLANK;
    string[0] = (u8)new_length;
    return string;
}

u8 pstrfirstc(ConstPString string)
{
    // KEPT: one would expect the blanks to be those of the two trims. 0xA0 is passed over here as well.
    // Test: pstrfirstc.passes_over_0xa0_too
    for (i32 i = 1; i <= string[0]; i++) {
        if (string[i] != BLANK && string[i] != HARD_BLANK) return string[i];
    }
    return 0;
}

PString pstrblank0(PString string)
{
    for (i32 i = 1; i <= string[0]; i++) {
        if (string[i] == BLANK) string[i] = '0';
    }
    return string;
}

PString pstrupper(PString string)
{
    for (i32 i = 1; i <= string[0]; i++) string[i] = ascii_upper(string[i]);
    return string;
}

PString pstrlower(PString string)
{
    for (i32 i = 1; i <= string[0]; i++) string[i] = ascii_lower(string[i]);
    return string;
}

void bit_assign(u8 *bytes, i16 n, i16 value)
{
    if (n < 0) return;

    u8 mask = (u8)(1 << (n & 7));
    u8 *byte = bytes + (n >> 3);
    *byte = value ? (u8)(*byte | mask) : (u8)(*byte & ~mask);
}

} // namespace zuk
