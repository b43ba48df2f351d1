#include "tool/block_map.h"

#include "tests/support/dictionary.h"

#include <gtest/gtest.h>

namespace zuk::tool {

// A map as lines: offset, size, used, what it holds.
static std::vector<std::string> lines_of(const BlockMap &map)
{
    std::vector<std::string> lines;
    for (const MapPiece &piece : map.pieces) {
        lines.push_back(std::to_string(piece.offset) + " " + std::to_string(piece.size) + " " +
                        std::to_string(piece.used) + " " + piece.holds);
    }
    return lines;
}

// The map of these bytes as a file.
static BlockMap map_of(const std::string &bytes)
{
    TempDir dir;
    (void)dir.put("a.dic", bytes);
    return read_block_map(dir.path("a.dic").string());
}

static std::string new_file()
{
    BareDictionary dictionary;
    dictionary.close();
    return dictionary.bytes();
}

TEST(read_block_map, shows_the_first_layout)
{
    BlockMap map = map_of(new_file());
    EXPECT_EQ(lines_of(map), (std::vector<std::string>{ "0 26 26 header", "26 3584 3584 block table",
                                                        "3610 808 808 module table", "4418 512 0 module names" }));
    EXPECT_EQ(map.empty_entries, 253u);
    EXPECT_EQ(map.troubles, std::vector<std::string>());
}

TEST(read_block_map, tells_what_each_block_is_for)
{
    Library library;
    library.add_module(2, 100, "Words");
    EXPECT_EQ(library.add(2, 100, 1, 1, "One", "first"), (DictStatus)DICT_OK);
    dd_term();  // so that all of it is in the file
    std::vector<std::string> lines = lines_of(read_block_map(library.dir.path("a.dic").string()));
    std::string all;
    for (const std::string &line : lines) all += line.substr(line.find_first_not_of("0123456789 ")) + "\n";
    for (const char *use : { "directory of 2/100\n", "names of 2/100/1\n", "bodies of 2/100/1\n", "names of 2/100/2\n",
                             "bodies of 2/100/2\n" }) {
        EXPECT_NE(all.find(use), std::string::npos) << use;
    }
    EXPECT_EQ(dd_init(), 1);
}

TEST(read_block_map, shows_bytes_of_no_block)
{
    BlockMap map = map_of(new_file() + "lost");
    EXPECT_EQ(lines_of(map).back(), "4930 4 0 no block");
    EXPECT_TRUE(map.troubles.empty());  // a file that was extended and left alone
}

TEST(read_block_map, tells_a_block_behind_the_end)
{
    std::string bytes = new_file();
    BlockMap map = map_of(bytes.substr(0, 4929));
    EXPECT_EQ(map.troubles, std::vector<std::string>{ "block 2: it ends behind the file" });
}

TEST(read_block_map, tells_blocks_that_overlap)
{
    std::string bytes = new_file();
    bytes[26 + 14 + 2] = (char)(4417 & 255);  // block 2 one byte further in front: in the module table
    BlockMap map = map_of(bytes);
    EXPECT_EQ(map.troubles, std::vector<std::string>{ "block 2: it overlaps what stands before it" });
}

TEST(read_block_map, tells_a_block_of_another_type_than_its_use)
{
    std::string bytes = new_file();
    bytes[26 + 14] = BLOCK_BODIES;
    BlockMap map = map_of(bytes);
    EXPECT_EQ(map.troubles, std::vector<std::string>{ "module names: block 2 is marked as bodies" });
}

TEST(read_block_map, reads_what_is_left_of_a_cut_file)
{
    std::string bytes = new_file();
    BlockMap map = map_of(bytes.substr(0, 26 + 14 * 2));
    ASSERT_FALSE(map.troubles.empty());
    EXPECT_EQ(map.troubles[0], "the header tells 256 entries of the block table, and the file holds 2");
    EXPECT_EQ(lines_of(map)[0], "0 26 26 header");
}

// Whatever the bytes of a file are, its map is made: every byte of the tables in turn has every bit set, or none.
TEST(read_block_map, survives_any_damage)
{
    std::string sound = new_file();
    for (size_t at = 4; at < 26 + 14 * 3 || (at >= 3610 && at < 3640); at = at == 26 + 14 * 3 - 1 ? 3610 : at + 1) {
        for (char byte : { '\xFF', '\x00', '\x7F' }) {
            std::string bytes = sound;
            bytes[at] = byte;
            BlockMap map = map_of(bytes);
            EXPECT_EQ(map.file_size, 4930) << at;
        }
    }
}

} // namespace zuk::tool
