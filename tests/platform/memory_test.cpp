#include "platform/platform.h"

#include <gtest/gtest.h>

#include <cstring>

namespace zuk {

TEST(native_memory_alloc, gives_zeros_when_asked)
{
    // Bytes used before, so that zeros are not there by chance.
    void *used = native_memory.alloc(1000, false);
    ASSERT_NE(used, nullptr);
    memset(used, 0xAA, 1000);
    native_memory.free(used);

    u8 *block = (u8 *)native_memory.alloc(1000, true);
    ASSERT_NE(block, nullptr);
    for (int i = 0; i < 1000; i++) EXPECT_EQ(block[i], 0);
    native_memory.free(block);
}

TEST(native_memory_alloc, aligns_for_what_the_library_stores)
{
    for (size_t size = 1; size < 70; size++) {
        void *block = native_memory.alloc(size, false);
        EXPECT_EQ((uintptr_t)block % alignof(u64), 0u);
        EXPECT_EQ((uintptr_t)block % alignof(double), 0u);
        EXPECT_EQ((uintptr_t)block % alignof(void *), 0u);
        native_memory.free(block);
    }
}

TEST(native_memory_resize, keeps_the_content)
{
    u8 *block = (u8 *)native_memory.alloc(100, false);
    for (u8 i = 0; i < 100; i++) block[i] = i;
    block = (u8 *)native_memory.resize(block, 100000);
    ASSERT_NE(block, nullptr);
    for (u8 i = 0; i < 100; i++) EXPECT_EQ(block[i], i);
    block = (u8 *)native_memory.resize(block, 10);
    ASSERT_NE(block, nullptr);
    for (u8 i = 0; i < 10; i++) EXPECT_EQ(block[i], i);
    native_memory.free(block);
}

TEST(native_memory_free, ignores_null)
{
    native_memory.free(nullptr);
    SUCCEED();  // to come back is the result
}

} // namespace zuk
