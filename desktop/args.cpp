#include "desktop/args.h"

#include "desktop/app_state.h"
#include "files/file_util.h"
#include "foundation/pstrings.h"

#include <string.h>

namespace zuk {

constexpr char BLANK = ' ';
constexpr i32 LONGEST_TOKEN = 80;
constexpr i32 NO_CURSOR = -1;

static constinit i32 cursor = NO_CURSOR;  // an index into the text

// The program may have filled its buffer to the last character.
static i32 text_length() { return (i32)strnlen(args_text, ARGS_TEXT_SIZE); }

static i32 skip_blanks(i32 at, i32 length)
{
    while (at < length && args_text[at] == BLANK) at++;
    return at;
}

static i32 find_blank(i32 at, i32 length)
{
    while (at < length && args_text[at] != BLANK) at++;
    return at;
}

void args_count(i16 *count, i16 *first)
{
    const i32 length = text_length();
    i16 tokens = 0;
    if (length > 0) {
        tokens = 1;
        i32 blank = find_blank(skip_blanks(0, length), length);
        while (blank < length) {
            // KEPT: one would expect only tokens to count. A blank behind a token announces another one, so that a text
            // that ends with blanks counts one more than it holds, and one of blanks alone counts 1.
            // Test: args_count.counts_one_more_for_blanks_at_the_end
            tokens++;
            blank = find_blank(skip_blanks(blank, length), length);
        }
    }
    if (count) *count = tokens;
    if (first) *first = 1;
    cursor = 0;
}

static void set_text(PString string, const char *text, i32 length)
{
    memcpy(string + 1, text, (size_t)length);
    string[0] = (u8)length;
}

// Where the extension of a token begins: behind its last dot; at its start if that is a slash, which has a type of its
// own; at its end if it has none.
static i32 extension_of(const char *token, i32 length)
{
    // KEPT: one would expect the walk to end at a slash, and a name that begins with its only dot to be an extension.
    // It runs on to the last dot, also one of a directory, and the first character counts as a slash or as nothing.
    // Test: args_next.looks_for_the_last_dot_of_the_whole_token
    i32 at = length - 1;
    while (at > 0 && token[at] != '.') at--;
    if (at > 0) return at + 1;
    return token[0] == '/' ? 0 : length;
}

void args_next(PString name, PString type)
{
    static const u8 parameters[] = "\004PARM";
    if (!name || !type) return;
    name[0] = 0;
    type[0] = 0;
    const i32 text_end = text_length();
    if (text_end == 0 || cursor == NO_CURSOR) return;

    const i32 start = skip_blanks(cursor, text_end);
    if (start >= text_end) return;

    // KEPT: one would expect a long token to come whole or cut. It comes in pieces of 80 characters that look like
    // tokens, though `args_count` counted one. Test: args_next.splits_a_token_of_more_than_80_characters
    const char *token = args_text + start;
    i32 length = find_blank(start, text_end) - start;
    if (length > LONGEST_TOKEN) length = LONGEST_TOKEN;

    const i32 extension = extension_of(token, length);
    set_text(type, token + extension, length - extension);
    const bool names_parameters = pstricompare(type, parameters, 1, 127, 0) == 0;
    ext_to_filetype(type);

    cursor = start + length;
    set_text(name, token, length);
    native_2_filename(name);

    // KEPT: one would expect a switch like `/x` to keep its letters, and an absolute name of a POSIX system to be one.
    // Whatever begins with a slash and has no dot is of the type PARM, and comes in upper case; and a name with the
    // extension PARM does so too, although its type is `PAR M`.
    // Test: args_next.gives_a_token_with_a_slash_the_type_PARM_and_upper_case
    if (names_parameters || pstricompare(type, parameters, 1, 127, 0) == 0) pstrupper(name);
}

void args_clear() { args_set_text(nullptr); }

} // namespace zuk
