// The text of a profile file: sections of keys, as people write them with an editor.
//
//     ; a comment
//     [General]
//     MainProduct = yes
//
//   - a line ends with CR LF, LF or CR
//   - blanks (9 to 13, 26 and 32) do not count around a key, a value or a section's name, nor in front of a line
//   - letters of ASCII count alike in either case in sections and keys
//   - of several sections of one name the first counts, of several such keys in it again the first
//   - the section of the empty name is what stands in front of the first other one, and never `[]`
//   - a value in a pair of equal quotes, " or ', is what stands between them
//   - nothing begins a comment within a line: `5 ;x` is a value
//   - a byte order mark of UTF-8 in front of all does not count
//
// These are the rules of the Windows service. The POSIX backend reads and writes by this unit; on Windows the tests
// hold it against the service itself. It works on text in memory alone: nothing is allocated, and any bytes will do.
#pragma once

#include "zuk/types.h"

#include <stddef.h>

namespace zuk {

// Bytes `from` to `to` of a text.
struct TextSpan {
    size_t from, to;
};

// The value of a key, without blanks and quotes around it. False when there is no such section or key.
bool profile_find(const char *text, size_t length, const char *section, const char *key, TextSpan *value);

// The value as NUL-terminated text in `size` bytes, cut if need be; without a key it is empty. The result is its
// length.
u32 profile_value(const char *text, size_t length, const char *section, const char *key, char *value, u32 size);

// The number that a value begins with: blanks, a sign, then digits of ten, or of another base behind 0x, 0o or 0b. 0 if
// there is none; a larger number keeps its low 32 bits.
u32 profile_number(const char *value);

constexpr u32 PROFILE_NUMBER_SIZE = 30;  // a buffer for the text of a number; what is behind does not count

// What has to be done to a text so that a key has a value: the bytes of `place` make way for these pieces in turn.
// Everything else stays as it is, comments and lines without sense included.
struct ProfileEdit {
    struct {
        const char *text;
        size_t length;
    } pieces[10];
    u32 count;
    TextSpan place;
};

// False for a section or key that could not be found again: with the end of a line in it, or a key that holds an equals
// sign or looks like a section. A value ends at its first line end.
bool profile_edit(const char *text, size_t length, const char *section, const char *key, const char *value,
                  ProfileEdit *edit);

} // namespace zuk
