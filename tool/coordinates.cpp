#include "tool/coordinates.h"

#include "engine/module_table.h"
#include "tool/messages.h"

#include <algorithm>
#include <vector>

namespace zuk::tool {

Coordinates coordinates_of(i32 kind) { return { .levels = 1, .kind = kind }; }
Coordinates coordinates_of(i32 kind, i32 module) { return { .levels = 2, .kind = kind, .module = module }; }

Coordinates coordinates_of(i32 kind, i32 module, u16 type)
{
    return { .levels = 3, .kind = kind, .module = module, .type = type };
}

Coordinates coordinates_of(i32 kind, i32 module, u16 type, i16 id)
{
    return { .levels = 4, .kind = kind, .module = module, .type = type, .id = id };
}

std::string text_of(const Coordinates &at)
{
    i64 numbers[] = { at.kind, at.module, at.type, at.id };
    std::string text;
    for (int i = 0; i < at.levels; i++) text += (i ? "/" : "") + std::to_string(numbers[i]);
    return text;
}

bool parse_number(const std::string &text, i64 lowest, i64 highest, i64 *number)
{
    bool negative = text.size() > 1 && text[0] == '-';
    std::string digits = negative ? text.substr(1) : text;
    if (digits.empty() || digits.size() > 10) return false;
    if (digits[0] == '0' && (digits.size() > 1 || negative)) return false;

    i64 value = 0;
    for (char character : digits) {
        if (character < '0' || character > '9') return false;
        value = value * 10 + (character - '0');
    }
    if (negative) value = -value;
    if (value < lowest || value > highest) return false;
    *number = value;
    return true;
}

static std::vector<std::string> split(const std::string &text)
{
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        size_t end = text.find('/', start);
        parts.push_back(text.substr(start, end - start));
        if (end == std::string::npos) return parts;
        start = end + 1;
    }
}

// ---- Words of kind 1 ------------------------------------------------------------------------------------------------

constexpr i32 SERIES_WITH_WORDS = 7;
constexpr i32 LAST_CORE_TYPE_WITH_WORDS = 10;

std::string default_module_name(i32 module)
{
    u8 name[256];
    (void)module_default_name(module, name);
    return std::string((const char *)name + 1, name[0]);
}

// The words of the two are those of a default name, which begins with the series: "System Core".
std::string words_of_series(i32 series)
{
    if (series < 0 || series >= SERIES_WITH_WORDS) return "";
    static const size_t core = words_of_core_type(1).size() + 1;
    std::string name = default_module_name(series * CORE_TYPES + 1);
    return name.substr(0, name.size() - core);
}

std::string words_of_core_type(i32 core_type)
{
    if (core_type < 1 || core_type > LAST_CORE_TYPE_WITH_WORDS) return "";
    std::string name = default_module_name(core_type);
    return name.substr(name.find(' ') + 1);
}

static char lower(char character) { return character >= 'A' && character <= 'Z' ? (char)(character + 32) : character; }

// Whether the words stand at a place of some text, in upper or lower case, with `end` behind; for a slash, that can be
// the end of the text, too.
static bool stands_at(const std::string &text, size_t at, const std::string &words, char end)
{
    if (words.empty() || text.size() - at < words.size()) return false;
    for (size_t i = 0; i < words.size(); i++) {
        if (lower(text[at + i]) != lower(words[i])) return false;
    }
    at += words.size();
    return at == text.size() ? end == '/' : text[at] == end;
}

i32 parse_series(const std::string &text)
{
    i64 series = 0;
    if (parse_number(text, 0, CORE_TYPES - 1, &series)) return (i32)series;
    for (i32 i = 0; i < SERIES_WITH_WORDS; i++) {
        if (stands_at(text, 0, words_of_series(i), '/') && text.size() == words_of_series(i).size()) return i;
    }
    fail(EXIT_TROUBLE, text, "a series is a number from 0 to 15, or a word such as Financial");
}

// The number of a module told by words that begin at `at`, which then stands behind them. False when there are none.
static bool parse_words(const std::string &text, size_t *at, i32 *module)
{
    i32 series = -1;
    size_t start = *at;
    for (i32 i = 0; i < SERIES_WITH_WORDS && series < 0; i++) {
        if (!stands_at(text, start, words_of_series(i), ' ')) continue;
        series = i;
        start += words_of_series(i).size() + 1;
    }
    size_t blank = text.find_first_of(" /", start);
    i64 number = 0;
    if (series < 0 && blank != std::string::npos && text[blank] == ' ' &&
        parse_number(text.substr(start, blank - start), 0, CORE_TYPES - 1, &number)) {
        series = (i32)number;
        start = blank + 1;
    }
    for (i32 i = 1; i <= LAST_CORE_TYPE_WITH_WORDS; i++) {
        if (!stands_at(text, start, words_of_core_type(i), '/')) continue;
        *module = (series < 0 ? 0 : series) * CORE_TYPES + i;
        *at = start + words_of_core_type(i).size();
        return true;
    }
    size_t end = std::min(text.find('/', start), text.size());
    if (series < 0 || !parse_number(text.substr(start, end - start), 0, CORE_TYPES - 1, &number)) return false;
    *module = series * CORE_TYPES + (i32)number;
    *at = end;
    return true;
}

Coordinates in_series(const Coordinates &at, i32 series, const std::string &text)
{
    if (at.kind != 1) fail(EXIT_TROUBLE, text, "--series goes with kind 1 alone");
    Coordinates found = at;
    if (at.module >= 0 && at.module < CORE_TYPES) found.module = series * CORE_TYPES + at.module;
    if (series_of(found.module) == series) return found;
    fail(EXIT_TROUBLE, text,
         "the module is one of series " + std::to_string(series_of(at.module)) + ", and --series tells " +
             std::to_string(series));
}

// ---- Parsing --------------------------------------------------------------------------------------------------------

Coordinates parse_coordinates(const std::string &given)
{
    if (given.empty()) fail(EXIT_TROUBLE, "", "empty coordinates name nothing; they are KIND/MODULE/TYPE/ID");
    // Words become the number that they stand for; a slash in them separates nothing.
    std::string text = given;
    size_t behind = 2;
    i32 module = 0;
    if (text.compare(0, 2, "1/") == 0 && parse_words(text, &behind, &module)) {
        text = "1/" + std::to_string(module) + text.substr(behind);
    }
    struct Level {
        i64 lowest, highest;
        const char *rule;
    };
    static const Level levels[] = {
        { 1, 3, "the kind is 1, 2 or 3" },
        { INT32_MIN, INT32_MAX, "the module is a decimal number of 32 bits" },
        { 0, UINT16_MAX, "the type is a number from 0 to 65535" },
        { 1, INT16_MAX, "the identifier is a number from 1 to 32767" },
    };

    std::vector<std::string> parts = split(text);
    if (parts.size() > 4) fail(EXIT_TROUBLE, given, "coordinates are KIND/MODULE/TYPE/ID");
    i64 numbers[4] = {};
    for (size_t i = 0; i < parts.size(); i++) {
        if (!parse_number(parts[i], levels[i].lowest, levels[i].highest, &numbers[i])) {
            bool could_be_words = i == 1 && numbers[0] == 1;
            fail(EXIT_TROUBLE, given,
                 std::string("in KIND/MODULE/TYPE/ID ") + levels[i].rule +
                     (could_be_words ? ", or words such as Financial Core" : ""));
        }
    }
    return { .levels = (int)parts.size(), .kind = (i32)numbers[0], .module = (i32)numbers[1],
             .type = (u16)numbers[2], .id = (i16)numbers[3] };
}

} // namespace zuk::tool
