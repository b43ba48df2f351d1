// KIND/MODULE/TYPE/ID: where a resource stands, as a person writes it.
//
// A command that lists takes fewer levels, and means all below. Numbers are decimal, without leading zeros or signs,
// but a module number may be negative: it is a signed 32-bit number.
//
// A module of kind 1 can be told by words, too: those of its series and core type, as the library names it, in upper or
// lower case. "1/Financial Core/5/1" is 1/17/5/1. Either can be a number, "1/1 Core", and a core type alone means the
// one of series 0, "1/Strings".
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

// ---- Series of kind 1 -----------------------------------------------------------------------------------------------

constexpr i32 CORE_TYPES = 16;                    // a module number is series * 16 + core type
constexpr i32 series_of(i32 module) { return module >> 4; }
constexpr i32 core_type_of(i32 module) { return module & 15; }
constexpr i32 SERIES_MAX = 14;                    // an owner of 15 stands for none

std::string words_of_series(i32 series);          // "Financial"; "" for one without words
std::string words_of_core_type(i32 core_type);    // "Data Types"

std::string default_module_name(i32 module);      // "Financial Data Types"

// A series by its number or its words; throws for anything else.
i32 parse_series(const std::string &text);

// The coordinates in a series: a module from 0 to 15 is a core type, which the series makes whole; any other has to lie
// in it. Throws, naming `text`, if it does not, and for other kinds.
Coordinates in_series(const Coordinates &at, i32 series, const std::string &text);

// The pieces: a decimal number in its only form, within the bounds. False for anything else.
bool parse_number(const std::string &text, i64 lowest, i64 highest, i64 *number);

} // namespace zuk::tool
