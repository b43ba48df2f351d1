#include "desktop/substitute.h"

#include <string.h>

namespace zuk {

// The "%" of the first placeholder; null if there is none.
static const char *find_placeholder(const char *text, i16 number)
{
    if (number < 0 || number > 9) return nullptr;

    const char digit = (char)('0' + number);
    for (const char *at = strchr(text, '%'); at; at = strchr(at + 1, '%')) {
        if (at[1] == digit) return at;
    }
    return nullptr;
}

// What a work buffer has room for, behind the `length` characters that are there. The result is the new length.
static size_t append(char *work, size_t length, const char *from, size_t count)
{
    const size_t room = SUBSTITUTE_SIZE - 1 - length;
    if (count > room) count = room;
    memcpy(work + length, from, count);
    return length + count;
}

i32 text_substitute(char *text, i16 number, const char *insert)
{
    if (!text || !insert) return 0;

    // KEPT: one would expect the length of the text. The terminator is counted too, in either result.
    // Test: text_substitute.gives_the_length_plus_1
    const char *placeholder = find_placeholder(text, number);
    if (!placeholder) return (i32)strlen(text) + 1;

    char work[SUBSTITUTE_SIZE];
    const char *rest = placeholder + 2;
    size_t length = append(work, 0, text, (size_t)(placeholder - text));
    length = append(work, length, insert, strlen(insert));
    length = append(work, length, rest, strlen(rest));
    work[length] = 0;
    memcpy(text, work, length + 1);
    return (i32)length + 1;
}

} // namespace zuk
