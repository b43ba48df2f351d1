/* The types that cross the interface of the library, usable from C99 and C++.
 *
 * Widths are the same on every target: a `GHandle` and a `FileHandle` are 32 bits on 64-bit targets too.
 */
#ifndef ZUK_TYPES_H
#define ZUK_TYPES_H

#include <stdint.h>

typedef uint32_t GHandle;            /* stable handle of a resizable block; 0 = none */
typedef uint32_t FileHandle;         /* platform file; 0 = none */
typedef uint8_t *PString;            /* byte 0 = length, then the characters; a buffer is 256 bytes */
typedef const uint8_t *ConstPString;
typedef uint32_t DictStatus;         /* 0 = success; the numbers stand in zuk.h */
typedef struct DictFile DictFile;    /* one open file of a dictionary; only the library looks inside */

typedef struct DictCookie {          /* 12 bytes: names a dictionary and its choice of files */
    int32_t slot;                    /* 1-based, 0 = no dictionary */
    int32_t selector;                /* file used by kind 1 */
    int32_t other_selector;          /* file used by every other kind */
} DictCookie;

#ifdef __cplusplus
namespace zuk {
using u8 = uint8_t;
using u16 = uint16_t;
using u32 = uint32_t;
using u64 = uint64_t;
using i8 = int8_t;
using i16 = int16_t;
using i32 = int32_t;
using i64 = int64_t;
} // namespace zuk
#endif

#endif
