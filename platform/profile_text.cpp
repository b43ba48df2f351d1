#include "platform/profile_text.h"

#include <string.h>

namespace zuk {

// ---- Characters -----------------------------------------------------------------------------------------------------

static bool is_blank(char character)
{
    return (character >= 9 && character <= 13) || character == 26 || character == 32;
}

static char lower(char character)
{
    return character >= 'A' && character <= 'Z' ? (char)(character - 'A' + 'a') : character;
}

static TextSpan trimmed(const char *text, TextSpan span)
{
    while (span.from < span.to && is_blank(text[span.from])) span.from++;
    while (span.from < span.to && is_blank(text[span.to - 1])) span.to--;
    return span;
}

static TextSpan trimmed_word(const char *word) { return trimmed(word, { 0, strlen(word) }); }

static bool same_word(const char *text, TextSpan span, const char *word)
{
    TextSpan wanted = trimmed_word(word);
    if (span.to - span.from != wanted.to - wanted.from) return false;
    for (size_t i = 0; i < span.to - span.from; i++) {
        if (lower(text[span.from + i]) != lower(word[wanted.from + i])) return false;
    }
    return true;
}

// ---- Lines ----------------------------------------------------------------------------------------------------------

enum LineKind { LINE_BLANK, LINE_SECTION, LINE_OTHER };  // other: a key, a comment, or nothing of sense

struct Line {
    LineKind kind;
    TextSpan whole;   // with its end
    TextSpan name;    // of the section or the key
    bool has_value;   // there is an equals sign
    TextSpan value;   // behind it, without blanks around; quotes are still on
};

static size_t end_of_line(const char *text, size_t length, size_t from)
{
    size_t end = from;
    while (end < length && text[end] != '\r' && text[end] != '\n') end++;
    if (end == length) return end;
    bool pair = text[end] == '\r' && end + 1 < length && text[end + 1] == '\n';
    return end + (pair ? 2 : 1);
}

// Where the first line begins.
static size_t start_of_text(const char *text, size_t length)
{
    return length >= 3 && memcmp(text, "\xEF\xBB\xBF", 3) == 0 ? 3 : 0;
}

static Line read_line(const char *text, size_t length, size_t from)
{
    Line line = {};
    line.whole = { from, end_of_line(text, length, from) };
    TextSpan content = trimmed(text, line.whole);
    if (content.from == content.to) return line;

    if (text[content.from] == '[') {
        size_t close = content.to;
        while (close > content.from && text[close - 1] != ']') close--;
        if (close > content.from) {
            line.kind = LINE_SECTION;
            line.name = trimmed(text, { content.from + 1, close - 1 });
            return line;
        }
    }

    line.kind = LINE_OTHER;
    line.name = content;
    const void *sign = memchr(text + content.from, '=', content.to - content.from);
    if (!sign) return line;
    size_t equals = (size_t)((const char *)sign - text);
    line.has_value = true;
    line.name = trimmed(text, { content.from, equals });
    line.value = trimmed(text, { equals + 1, content.to });
    if (line.value.from == line.value.to) line.value = { equals + 1, equals + 1 };
    return line;
}

// Where a key stands, or would have to.
struct KeyPlace {
    bool has_section;
    bool has_key;
    Line key;
    size_t end;       // behind the last line of the section that is not blank; without the section, of the text
};

static KeyPlace find_key(const char *text, size_t length, const char *section, const char *key)
{
    KeyPlace place = {};
    TextSpan wanted = trimmed_word(section);
    place.has_section = wanted.from == wanted.to;  // the empty name is that of the lines in front of all sections
    place.end = start_of_text(text, length);
    for (size_t at = place.end; at < length;) {
        Line line = read_line(text, length, at);
        at = line.whole.to;
        if (line.kind == LINE_BLANK) continue;

        bool leaves = place.has_section && line.kind == LINE_SECTION;
        if (leaves) return place;
        place.end = at;
        if (line.kind == LINE_SECTION) {
            place.has_section = same_word(text, line.name, section);
        } else if (place.has_section && same_word(text, line.name, key)) {
            place.has_key = true;
            place.key = line;
            return place;
        }
    }
    if (!place.has_section) place.end = length;
    return place;
}

// ---- Reading --------------------------------------------------------------------------------------------------------

bool profile_find(const char *text, size_t length, const char *section, const char *key, TextSpan *value)
{
    KeyPlace place = find_key(text, length, section, key);
    if (!place.has_key) return false;

    TextSpan span = place.key.value;
    if (span.to - span.from >= 2) {
        char first = text[span.from];
        bool quoted = (first == '"' || first == '\'') && text[span.to - 1] == first;
        if (quoted) span = { span.from + 1, span.to - 1 };
    }
    *value = span;
    return true;
}

u32 profile_value(const char *text, size_t length, const char *section, const char *key, char *value, u32 size)
{
    if (size == 0) return 0;
    value[0] = 0;
    TextSpan span;
    if (!profile_find(text, length, section, key, &span)) return 0;

    // A value that holds a 0 ends there, as it does for whoever takes it.
    size_t count = strnlen(text + span.from, span.to - span.from);
    if (count > size - 1) count = size - 1;
    memcpy(value, text + span.from, count);
    value[count] = 0;
    return (u32)count;
}

static u32 digit_of(char character)
{
    char small = lower(character);
    if (small >= '0' && small <= '9') return (u32)(small - '0');
    if (small >= 'a' && small <= 'f') return (u32)(small - 'a') + 10;
    return 99;
}

u32 profile_number(const char *value)
{
    while (*value && (u8)*value <= ' ') value++;
    bool negative = *value == '-';
    if (*value == '-' || *value == '+') value++;

    u32 base = 10;
    if (value[0] == '0') {
        if (value[1] == 'x') base = 16;
        if (value[1] == 'o') base = 8;
        if (value[1] == 'b') base = 2;
        if (base != 10) value += 2;
    }
    u32 number = 0;
    for (; digit_of(*value) < base; value++) number = number * base + digit_of(*value);
    return negative ? 0 - number : number;
}

// ---- Writing --------------------------------------------------------------------------------------------------------

static const char LINE_END[] = "\r\n";  // of new lines, whatever the others end with

static bool ends_a_line(const char *text, size_t to)
{
    return to == 0 || text[to - 1] == '\n' || text[to - 1] == '\r' || to == start_of_text(text, to);
}

static bool can_be_found_again(const char *section, const char *key)
{
    const char *bare_key = key + trimmed_word(key).from;
    return !strpbrk(section, "\r\n") && !strpbrk(key, "\r\n=") && *bare_key != '[';
}

static void add_piece(ProfileEdit *edit, const char *text, TextSpan span)
{
    edit->pieces[edit->count++] = { text + span.from, span.to - span.from };
}
static void add_piece(ProfileEdit *edit, const char *text) { add_piece(edit, text, { 0, strlen(text) }); }

bool profile_edit(const char *text, size_t length, const char *section, const char *key, const char *value,
                  ProfileEdit *edit)
{
    *edit = {};
    if (!can_be_found_again(section, key)) return false;

    TextSpan new_value = trimmed(value, { 0, strcspn(value, "\r\n") });
    KeyPlace place = find_key(text, length, section, key);
    if (place.has_key) {
        // The key keeps its spelling, and the line its end and its blanks.
        const Line &line = place.key;
        edit->place = line.has_value ? line.value : TextSpan{ line.name.to, line.name.to };
        if (!line.has_value) add_piece(edit, "=");
        add_piece(edit, value, new_value);
        return true;
    }

    edit->place = { place.end, place.end };
    if (!ends_a_line(text, place.end)) add_piece(edit, LINE_END);
    if (!place.has_section) {
        add_piece(edit, "[");
        add_piece(edit, section, trimmed_word(section));
        add_piece(edit, "]");
        add_piece(edit, LINE_END);
    }
    add_piece(edit, key, trimmed_word(key));
    add_piece(edit, "=");
    add_piece(edit, value, new_value);
    add_piece(edit, LINE_END);
    return true;
}

} // namespace zuk
