#include "files/names.h"

#include "foundation/pstrings.h"

#include <string.h>

using namespace zuk;

// A name can grow beyond what a string holds: each of 255 characters becomes two at most, and a colon goes in front.
constexpr i32 WORK_SIZE = 512;
constexpr i32 LONGEST_NAME = PSTRING_SIZE - 1;

// Copy the text back, cut to what the string can hold.
static PString store(PString name, const u8 *text, i32 length)
{
    if (length > LONGEST_NAME) length = LONGEST_NAME;
    memcpy(name + 1, text, (size_t)length);
    name[0] = (u8)length;
    return name;
}

// ---- Between the two forms ------------------------------------------------------------------------------------------

PString filename_2_native(PString name)
{
    u8 work[WORK_SIZE];
    i32 length = 0;

    for (i32 i = 1; i <= name[0]; i++) {
        u8 character = name[i];
        if (character == ':') {
            // KEPT: one would expect only the colon of a volume to be followed by a backslash. Every later colon is,
            // whatever stands behind it, and every leading one vanishes; so `A:/B` has two backslashes.
            // Test: filename_2_native.puts_a_backslash_behind_every_later_colon
            // Test: filename_2_native.drops_leading_colons
            if (length == 0) continue;
            work[length++] = ':';
            work[length++] = '\\';
        } else {
            work[length++] = character == '/' ? '\\' : character;
        }
    }
    return store(name, work, length);
}

PString native_2_filename(PString name)
{
    u8 work[WORK_SIZE];
    i32 length = 0;
    bool has_volume = false;

    // The first place is for the colon that marks a volume.
    u8 *text = work + 1;
    for (i32 i = 1; i <= name[0]; i++) {
        u8 character = name[i];
        if (character == '/' && i > 1 && name[i - 1] == ':') continue;
        if (character == '\\' && length > 0 && text[length - 1] == ':') continue;

        // KEPT: one would expect a final dot to count as part of the name. It is dropped, so `NAME.` is `NAME`, and the
        // directory `..` comes back as `.` and `.` as nothing. Test: native_2_filename.drops_one_final_dot
        if (character == '.' && i == name[0]) continue;

        if (character == ':') has_volume = true;
        text[length++] = character == '\\' ? '/' : character;
    }
    if (!has_volume) return store(name, text, length);

    // KEPT: one would expect a name that is portable already to stay as it is. Its leading colon gains a second one;
    // `filename_2_native` drops both. Test: native_2_filename.doubles_a_leading_colon
    work[0] = ':';
    return store(name, work, length + 1);
}

namespace zuk {

// ---- The parts of a name --------------------------------------------------------------------------------------------

// The position of the last separator, 0 if there is none.
static i32 last_separator(ConstPString name, bool *doubled_slash)
{
    *doubled_slash = false;
    i32 i = name[0];
    while (i > 0) {
        if (name[i] == ':') break;
        if (name[i] == '/') {
            // KEPT: one would expect every slash to separate. A doubled one is a character of the last part.
            // Test: filename_name.does_not_split_at_a_doubled_slash
            if (i <= 1 || name[i - 1] != '/') break;
            *doubled_slash = true;
            i--;
        }
        i--;
    }
    return i;
}

PString filename_name(PString dest, ConstPString name)
{
    bool doubled_slash;
    i32 separator = last_separator(name, &doubled_slash);
    i32 length = name[0] - separator;
    memmove(dest + 1, name + separator + 1, (size_t)length);
    dest[0] = (u8)length;
    if (!doubled_slash) return dest;

    // Of each pair the second slash goes; the walk steps past the first, so four in a row leave two.
    for (i32 i = 1; i < dest[0]; i++) {
        if (dest[i] == '/' && dest[i + 1] == '/') pstrdelc(dest, (i16)(i + 1));
    }
    return dest;
}

PString filename_dir(PString dest, ConstPString name)
{
    bool doubled_slash;
    i32 length = last_separator(name, &doubled_slash);
    memmove(dest + 1, name + 1, (size_t)length);
    dest[0] = (u8)length;
    return dest;
}

} // namespace zuk
