#include "tool/coordinates.h"

#include "tool/messages.h"

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

Coordinates parse_coordinates(const std::string &text)
{
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
    if (parts.size() > 4) fail(EXIT_TROUBLE, text, "coordinates are KIND/MODULE/TYPE/ID");
    i64 numbers[4] = {};
    for (size_t i = 0; i < parts.size(); i++) {
        if (!parse_number(parts[i], levels[i].lowest, levels[i].highest, &numbers[i])) {
            fail(EXIT_TROUBLE, text, std::string("in KIND/MODULE/TYPE/ID ") + levels[i].rule);
        }
    }
    return { .levels = (int)parts.size(), .kind = (i32)numbers[0], .module = (i32)numbers[1],
             .type = (u16)numbers[2], .id = (i16)numbers[3] };
}

} // namespace zuk::tool
