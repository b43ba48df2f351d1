// A file that the same operations have made is the same on every target, byte for byte, and so are their results.
//
// The test runs on each of them and compares with one number, so that all of them agree with each other.
#include "engine/lifecycle.h"
#include "tests/support/dictionary.h"

#include <gtest/gtest.h>

namespace zuk {

namespace {

// Numbers without end, the same everywhere.
class Numbers {
public:
    u32 below(u32 bound)
    {
        state = state * 6364136223846793005u + 1442695040888963407u;
        return (u32)(state >> 33) % bound;
    }

private:
    u64 state = 2026;
};

// FNV-1a in 64 bits.
class Digest {
public:
    void take(const std::string &bytes)
    {
        for (char byte : bytes) value = (value ^ (u8)byte) * 1099511628211u;
    }
    void take(u32 number) { take(std::to_string(number) + ' '); }
    u64 value = 14695981039346656037u;
};

} // namespace

static std::string some_bytes(Numbers *numbers, u32 length)
{
    std::string bytes;
    while (bytes.size() < length) bytes += (char)numbers->below(256);
    return bytes;
}

// A length as they come: mostly short, now and then above what a block can take in one piece.
static u32 some_length(Numbers *numbers)
{
    u32 which = numbers->below(40);
    if (which == 0) return 0;
    if (which == 1) return 66000 + numbers->below(3000);
    return numbers->below(which < 8 ? 3000 : 200);
}

// One operation of any sort; what it gives goes into the digest.
static void operate(Library *library, Numbers *numbers, Digest *digest)
{
    static const u16 types[] = { 1, 3, 5, 14, 23, 27, 60, 64 };
    i32 kind = 1 + (i32)numbers->below(3);
    i32 module = kind == 1 ? 0 : (i32)numbers->below(6);
    u16 type = types[numbers->below(8)];
    i16 id = (i16)(1 + numbers->below(60));
    switch (numbers->below(10)) {
    case 0: digest->take(library->add(kind, module, 2, (i16)module, "module " + std::to_string(module), "")); break;
    case 1: digest->take(dd_remove_resource(kind, module, type, id)); break;
    case 2: digest->take(library->body(kind, module, type, (u16)id)); break;
    case 3: digest->take(library->name(kind, module, type, (u16)id)); break;
    case 4: digest->take(dd_choose_owner((u16)numbers->below(8))); break;
    case 5: digest->take((u16)dd_uniqueid(kind, module, type)); break;
    case 6: {
        std::string body = some_bytes(numbers, some_length(numbers));
        std::string name = "changed " + std::to_string(numbers->below(500));
        digest->take(library->change(kind, module, type, id, name, body));
        break;
    }
    default: {
        std::string body = some_bytes(numbers, some_length(numbers));
        std::string name = "resource " + std::to_string(numbers->below(500));
        digest->take(library->add(kind, module, type, id, name, body));
    }
    }
}

TEST(same_bytes, on_every_target_after_2000_operations)
{
    Library library;
    Numbers numbers;
    Digest results, bytes;
    for (u32 i = 0; i < 2000; i++) {
        operate(&library, &numbers, &results);
        // In mode 0 the locks are lost with the first growth, as ever.
        if (i % 250 == 249) library.reopen(i % 500 == 249 ? DICT_SHARED : DICT_EXCLUSIVE);
    }
    ASSERT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    std::string file = library.bytes();
    bytes.take(file);
    EXPECT_EQ(file.size(), 2683046u);
    EXPECT_EQ(results.value, 5757005084948893227u);
    EXPECT_EQ(bytes.value, 8880504562086615632u);
}

} // namespace zuk
