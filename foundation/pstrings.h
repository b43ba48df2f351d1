// Length-prefixed strings: byte 0 is the length (0 to 255), then the characters, without a terminator; a buffer for any
// string is 256 bytes.
//
// Positions count from 1. All operations work in place in the caller's buffer and allocate nothing; one whose test
// fails leaves the string as it was. The exported ones (`pstrconst`, `pstrnull`, `ctopstr`, `ptocstr`, `pstricpy`,
// `pstricat`, `pstricompare`) are declared in zuk/zuk.h. Letters are ASCII letters, whatever the locale of the host.
// A string that is not there (null) is a mistake of the caller, and not looked for.
#pragma once

#include "zuk/zuk.h"

namespace zuk {

constexpr i32 PSTRING_SIZE = 256;  // a buffer for any string

// Bytes from 0x80 on have no case.
constexpr u8 ascii_upper(u8 character)
{
    return character >= 'a' && character <= 'z' ? (u8)(character - 'a' + 'A') : character;
}
constexpr u8 ascii_lower(u8 character)
{
    return character >= 'A' && character <= 'Z' ? (u8)(character - 'A' + 'a') : character;
}

i16 pstrisnull(ConstPString string);  // 1 if empty, else 0

// Remove `count` characters from `start` on, or as many as there are; the bytes freed at the end become 0.
PString pstrdelete(PString string, i16 start, i16 count);
// Insert `count` raw bytes, from outside the string, in front of position `pos` (length + 1 appends): all or none.
PString pstrinsert(PString string, i16 pos, const u8 *bytes, i16 count);
PString pstraddc(PString string, u8 character);            // append, unless full
PString pstrinsc(PString string, i16 pos, u8 character);   // insert in front of `pos`, unless full
PString pstrdelc(PString string, i16 pos);                 // remove one; the byte freed becomes 0

i16 pstrchr(ConstPString string, u8 character);            // first position of the character, 0 if none

PString pstrtrimr(PString string);                         // without trailing 0x20
PString pstrtriml(PString string);                         // without leading 0x20
PString pstrpad(PString string, i16 width);                // cut or filled with 0x20 to `width` (0 to 255)
u8 pstrfirstc(ConstPString string);                        // first character but 0x20 and 0xA0, 0 if none
PString pstrblank0(PString string);                        // each 0x20 becomes the digit 0
PString pstrupper(PString string);
PString pstrlower(PString string);

// Set bit `n` (bit 0 = low bit of byte 0) of a byte array for a value other than 0, else clear it. A negative `n` does
// nothing.
void bit_assign(u8 *bytes, i16 n, i16 value);

} // namespace zuk
