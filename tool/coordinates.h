// KIND/MODULE/TYPE/ID: where a resource stands, as a person writes it.
//
// A command that lists takes fewer levels, and means all below. Numbers are decimal, without leading zeros or signs,
// but a module number may be negative: it is a signed 32-bit number.
#pragma once

#include "zuk/types.h"

#include <string>

namespace zuk::tool {

struct Coordinates {
    int levels = 0;       // how many of the four are given
    i32 kind = 0;         // 1, 2 or 3
    i32 module = 0;       // of kind 1 the whole number: series * 16 + core type
    u16 type = 0;         // types above 32767 are negative in the file
    i16 id = 0;           // 1 to 32767
};

Coordinates coordinates_of(i32 kind);
Coordinates coordinates_of(i32 kind, i32 module);
Coordinates coordinates_of(i32 kind, i32 module, u16 type);
Coordinates coordinates_of(i32 kind, i32 module, u16 type, i16 id);

// The levels that are given, "2/100/1/7".
std::string text_of(const Coordinates &at);

// Read coordinates; throws a Failure that says what is wrong with them.
Coordinates parse_coordinates(const std::string &text);

// The pieces: a decimal number in its only form, within the bounds. False for anything else.
bool parse_number(const std::string &text, i64 lowest, i64 highest, i64 *number);

} // namespace zuk::tool
