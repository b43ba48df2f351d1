#include "foundation/little_endian.h"

#include <gtest/gtest.h>

#include <string.h>

using namespace zuk;

namespace {

TEST(le_get, reads_the_low_byte_first)
{
    EXPECT_EQ(le_get(Le16{{0x34, 0x12}}), 0x1234u);
    EXPECT_EQ(le_get(LeI16{{0x34, 0x12}}), 0x1234);
    EXPECT_EQ(le_get(Le32{{0x78, 0x56, 0x34, 0x12}}), 0x12345678u);
    EXPECT_EQ(le_get(LeI32{{0x78, 0x56, 0x34, 0x12}}), 0x12345678);
}

TEST(le_get, gives_the_high_bit_its_sign_in_signed_integers_only)
{
    EXPECT_EQ(le_get(Le16{{0x00, 0x80}}), 32768u);
    EXPECT_EQ(le_get(LeI16{{0x00, 0x80}}), -32768);
    EXPECT_EQ(le_get(LeI16{{0xFF, 0xFF}}), -1);
    EXPECT_EQ(le_get(Le32{{0x00, 0x00, 0x00, 0x80}}), 0x80000000u);
    EXPECT_EQ(le_get(LeI32{{0x00, 0x00, 0x00, 0x80}}), INT32_MIN);
    EXPECT_EQ(le_get(LeI32{{0xFF, 0xFF, 0xFF, 0xFF}}), -1);
}

TEST(le_get, reads_at_an_odd_address)
{
    struct Record {
        u8 first;
        Le32 number;
        LeI16 small;
    };
    alignas(8) const u8 bytes[7] = {0xEE, 0x04, 0x03, 0x02, 0x01, 0xFE, 0xFF};
    Record record;
    static_assert(sizeof record == sizeof bytes && offsetof(Record, number) == 1);
    memcpy(&record, bytes, sizeof record);

    EXPECT_EQ(le_get(record.number), 0x01020304u);
    EXPECT_EQ(le_get(record.small), -2);
}

TEST(le_get, works_while_compiling)
{
    static_assert(le_get(le16(0xFEDC)) == 0xFEDC);
    static_assert(le_get(le_i16(-2)) == -2);
    static_assert(le_get(le32(0xFEDCBA98)) == 0xFEDCBA98);
    static_assert(le_get(le_i32(-2)) == -2);
    SUCCEED() << "the four lines above are checked by the compiler";
}

TEST(le16, writes_the_low_byte_first)
{
    Le16 n = le16(0xFEDC);
    EXPECT_EQ(n.bytes[0], 0xDC);
    EXPECT_EQ(n.bytes[1], 0xFE);
}

TEST(le16, comes_back_from_le_get)
{
    for (u32 n = 0; n <= 0xFFFF; n++) ASSERT_EQ(le_get(le16((u16)n)), n);
}

TEST(le_i16, writes_the_low_byte_first)
{
    LeI16 n = le_i16(-2);
    EXPECT_EQ(n.bytes[0], 0xFE);
    EXPECT_EQ(n.bytes[1], 0xFF);
}

TEST(le_i16, comes_back_from_le_get)
{
    for (i32 n = -32768; n <= 32767; n++) ASSERT_EQ(le_get(le_i16((i16)n)), n);
}

TEST(le32, writes_the_low_byte_first)
{
    Le32 n = le32(0xFEDCBA98);
    EXPECT_EQ(n.bytes[0], 0x98);
    EXPECT_EQ(n.bytes[1], 0xBA);
    EXPECT_EQ(n.bytes[2], 0xDC);
    EXPECT_EQ(n.bytes[3], 0xFE);
}

TEST(le32, comes_back_from_le_get)
{
    for (u32 n : {0u, 1u, 0xFFu, 0x100u, 0x8000u, 0x10000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(le_get(le32(n)), n);
    }
}

TEST(le_i32, writes_the_low_byte_first)
{
    LeI32 n = le_i32(-0x01020304);  // FE FD FC FC
    EXPECT_EQ(n.bytes[0], 0xFC);
    EXPECT_EQ(n.bytes[1], 0xFC);
    EXPECT_EQ(n.bytes[2], 0xFD);
    EXPECT_EQ(n.bytes[3], 0xFE);
}

TEST(le_i32, comes_back_from_le_get)
{
    for (i32 n : {0, 1, -1, 255, -256, 65536, INT32_MAX, INT32_MIN}) EXPECT_EQ(le_get(le_i32(n)), n);
}

} // namespace
