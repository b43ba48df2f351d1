#include "tests/support/dictionary.h"
#include "tests/tool/run_tool.h"

#include <nlohmann/json.hpp>

namespace zuk {

struct zuk_info : ToolTest {};

TEST_F(zuk_info, tells_the_header_and_the_counts_of_a_new_file)
{
    done({ "create", "a.dic" });
    EXPECT_EQ(done({ "info", "a.dic" }), "file            a.dic\n"
                                         "size            29950 bytes\n"
                                         "version         11\n"
                                         "change count    0\n"
                                         "block table     256 entries at 26, 246 of them free\n"
                                         "modules         1 (kind 1: 1, kind 2: 0, kind 3: 0)\n"
                                         "types           3\n"
                                         "resources       156, 156 with a body\n"
                                         "names           3414 bytes\n"
                                         "bodies          5232 bytes\n"
                                         "blocks          10 of 29862 bytes, 3979 bytes unused\n"
                                         "free pieces     1 of 62 bytes, the largest of 62 bytes\n");
}

TEST_F(zuk_info, counts_what_is_in_it)
{
    done({ "create", "a.dic" });
    auto before = nlohmann::json::parse(done({ "info", "a.dic", "--json" }));
    make_words(true);
    auto report = nlohmann::json::parse(done({ "info", "a.dic", "--json" }));
    auto more = [&](const char *count) { return report[count].get<int>() - before[count].get<int>(); };
    EXPECT_EQ(report["modules"]["kind2"], 1);
    EXPECT_EQ(more("types"), 2);
    EXPECT_EQ(more("resources"), 3);
    EXPECT_EQ(more("withBody"), 1);
    EXPECT_EQ(more("nameBytes"), 11);  // One, Two, Words
    EXPECT_EQ(more("bodyBytes"), 5);
    EXPECT_EQ(report["bytes"], dir.content("a.dic").size());
}

TEST_F(zuk_info, accounts_for_every_byte)
{
    make_words();
    auto report = nlohmann::json::parse(done({ "info", "a.dic", "--json" }));
    // The header, all blocks and all free pieces make the file.
    EXPECT_EQ(26 + report["blocks"]["bytes"].get<int>() + report["freePieces"]["bytes"].get<int>(),
              report["bytes"].get<int>());
}

TEST_F(zuk_info, prints_the_map_of_the_blocks)
{
    BareDictionary bare;    // as the library makes a file, before anything is in it
    bare.close();
    put("a.dic", bare.bytes());
    EXPECT_EQ(done({ "info", "a.dic", "--blocks" }), "OFFSET  BYTES  USED  BLOCK  HOLDS\n"
                                                     "     0     26    26         header\n"
                                                     "    26   3584  3584      3  block table\n"
                                                     "  3610    808   808      1  module table\n"
                                                     "  4418    512     0      2  module names\n");
}

TEST_F(zuk_info, prints_the_map_of_a_damaged_file_and_ends_with_1)
{
    make_words();
    std::string bytes = dir.content("a.dic");
    dir.put("a.dic", bytes.substr(0, bytes.size() - 10));
    ToolResult result = zuk({ "info", "a.dic", "--blocks" });
    EXPECT_EQ(result.exit, 1);
    EXPECT_NE(result.out.find("! it ends behind the file"), std::string::npos);
    EXPECT_NE(result.err.find("zuk: a.dic: block "), std::string::npos);
    auto report = nlohmann::json::parse(zuk({ "info", "a.dic", "--blocks", "--json" }).out);
    EXPECT_EQ(report["troubles"].size(), 1u);
}

} // namespace zuk
