// Integers of a file: little-endian bytes at any address.
//
// A record of a file is a struct of these, so it has alignment 1, no padding, and the same bytes in memory and on
// disk on every target.
#pragma once

#include "zuk/types.h"

namespace zuk {

struct Le16 { u8 bytes[2]; };    // unsigned, 16 bits
struct LeI16 { u8 bytes[2]; };   // signed, 16 bits
struct Le32 { u8 bytes[4]; };    // unsigned, 32 bits
struct LeI32 { u8 bytes[4]; };   // signed, 32 bits

constexpr u16 le_get(Le16 n) { return (u16)(n.bytes[0] | n.bytes[1] << 8); }
constexpr i16 le_get(LeI16 n) { return (i16)(n.bytes[0] | n.bytes[1] << 8); }
constexpr u32 le_get(Le32 n)
{
    return (u32)n.bytes[0] | (u32)n.bytes[1] << 8 | (u32)n.bytes[2] << 16 | (u32)n.bytes[3] << 24;
}
constexpr i32 le_get(LeI32 n)
{
    return (i32)((u32)n.bytes[0] | (u32)n.bytes[1] << 8 | (u32)n.bytes[2] << 16 | (u32)n.bytes[3] << 24);
}

constexpr Le16 le16(u16 n) { return {{ (u8)n, (u8)(n >> 8) }}; }
constexpr LeI16 le_i16(i16 n) { return {{ (u8)n, (u8)((u16)n >> 8) }}; }
constexpr Le32 le32(u32 n) { return {{ (u8)n, (u8)(n >> 8), (u8)(n >> 16), (u8)(n >> 24) }}; }
constexpr LeI32 le_i32(i32 n)
{
    return {{ (u8)n, (u8)((u32)n >> 8), (u8)((u32)n >> 16), (u8)((u32)n >> 24) }};
}

static_assert(sizeof(Le16) == 2 && sizeof(LeI16) == 2 && sizeof(Le32) == 4 && sizeof(LeI32) == 4);
static_assert(alignof(Le16) == 1 && alignof(LeI16) == 1 && alignof(Le32) == 1 && alignof(LeI32) == 1);

} // namespace zuk
