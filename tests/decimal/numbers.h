// Numbers and texts for the tests of decimal/, made and read here cell by cell, so that no operation under test is
// needed to write or to read the numbers of another one's test.
#pragma once

#include "decimal/digits.h"

#include <gtest/gtest.h>

#include <stdio.h>
#include <string.h>
#include <string>

namespace zuk {

inline std::string bytes_of(const void *from, size_t size)
{
    std::string text;
    char two[4];
    for (size_t i = 0; i < size; i++) {
        snprintf(two, sizeof two, i ? " %02X" : "%02X", ((const u8 *)from)[i]);
        text += two;
    }
    return text;
}

inline std::string bytes_of(const Decimal10 &a) { return bytes_of(a.bytes, sizeof a.bytes); }
inline std::string bytes_of(const Decimal8 &a) { return bytes_of(a.bytes, sizeof a.bytes); }

// "-12.5" and the like: the digits go into the cells as they stand.
inline Decimal10 ten(const char *text)
{
    u8 cells[20] = {};
    if (*text == '-') {
        cells[0] = 15;
        text++;
    }
    const char *point = strchr(text, '.');
    const size_t whole = point ? (size_t)(point - text) : strlen(text);
    size_t cell = 15 - whole;
    for (; *text; text++) {
        if (*text != '.') cells[cell++] = (u8)(*text - '0');
    }
    Decimal10 a;
    for (size_t k = 0; k < 10; k++) a.bytes[k] = (u8)(cells[2 * k] << 4 | cells[2 * k + 1]);
    return a;
}

inline Decimal8 eight(const char *text)
{
    const Decimal10 a = ten(text);
    Decimal8 b;
    b.bytes[0] = a.bytes[0] & 0xF0;
    for (size_t k = 1; k < 8; k++) b.bytes[k] = (u8)(a.bytes[k - 1] << 4 | a.bytes[k] >> 4);
    b.bytes[1] &= 15;
    return b;
}

// A number in words: "-12.5", "0" and "-0"; the bytes of an invalid one.
inline std::string shown(const Decimal10 &a)
{
    u8 cells[20];
    std::string text;
    for (size_t k = 0; k < 10; k++) {
        cells[2 * k] = a.bytes[k] >> 4;
        cells[2 * k + 1] = a.bytes[k] & 15;
    }
    if (cells[0] != 0 && cells[0] != 15) return bytes_of(a);
    for (size_t cell = 1; cell < 20; cell++) {
        if (cells[cell] > 9) return bytes_of(a);
        if (cell == 15) text += '.';
        text += (char)('0' + cells[cell]);
    }
    text.erase(0, text.find_first_not_of('0'));
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    if (text.empty() || text[0] == '.') text.insert(0, "0");
    return (cells[0] ? "-" : "") + text;
}

// Also the bytes of one with a digit where none belongs.
inline std::string shown(const Decimal8 &a)
{
    if ((a.bytes[0] & 15) || a.bytes[1] > 9) return bytes_of(a);
    Decimal10 wide = {};
    wide.bytes[0] = a.bytes[0];
    for (size_t k = 1; k < 8; k++) {
        wide.bytes[k - 1] = (u8)(wide.bytes[k - 1] | a.bytes[k] >> 4);
        wide.bytes[k] = (u8)(a.bytes[k] << 4);
    }
    const std::string text = shown(wide);
    return text.find(' ') == std::string::npos ? text : bytes_of(a);
}

// A `PString` in a buffer of 256 bytes, of which those that nobody wrote are EE.
struct Text {
    u8 bytes[256];

    Text(const std::string &characters = "")
    {
        memset(bytes, 0xEE, sizeof bytes);
        bytes[0] = (u8)characters.size();
        memcpy(bytes + 1, characters.data(), characters.size());
    }
    operator const u8 *() const { return bytes; }
    std::string str() const
    {
        for (size_t i = bytes[0] + 1u; i < sizeof bytes; i++) EXPECT_EQ(bytes[i], 0xEE) << "written behind the text";
        return {(const char *)bytes + 1, bytes[0]};
    }
};

} // namespace zuk
