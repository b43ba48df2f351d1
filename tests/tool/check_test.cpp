#include "tests/tool/run_tool.h"

#include "platform/platform.h"

#include <nlohmann/json.hpp>

namespace zuk {

struct zuk_check : ToolTest {};

TEST_F(zuk_check, says_that_a_file_is_sound)
{
    make_words();
    std::string before = dir.content("a.dic");
    ToolResult result = zuk({ "check", "a.dic" });
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "a.dic: sound; 15 blocks, 2 modules, 159 resources in " + std::to_string(before.size()) +
                              " bytes\n");
    EXPECT_TRUE(dir.content("a.dic") == before);
    EXPECT_EQ(zuk({ "check", "a.dic", "--quiet" }).err, "");
}

TEST_F(zuk_check, names_faults_and_notes_and_ends_with_1)
{
    make_words();
    std::string bytes = dir.content("a.dic");
    bytes[10] = 4;    // the index of the block table's own entry
    dir.put("a.dic", bytes + "x");
    std::string end = std::to_string(bytes.size());
    ToolResult result = zuk({ "check", "a.dic" });
    EXPECT_EQ(result.exit, 1);
    EXPECT_EQ(result.out, "fault at 10: header: the block table's own entry is said to have the index 4, and it has 2\n"
                          "note at " + end + ": space: the bytes " + end + " to " + end +
                              " are in no block and in no free piece\n");
    EXPECT_EQ(result.err.substr(0, 24), "a.dic: 1 fault, 1 note; ");
}

TEST_F(zuk_check, ends_with_0_when_there_are_notes_alone)
{
    make_words();
    dir.put("a.dic", dir.content("a.dic") + "x");
    ToolResult result = zuk({ "check", "a.dic" });
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.out.substr(0, 8), "note at ");
    EXPECT_EQ(result.err.substr(0, 21), "a.dic: sound, 1 note;");
}

TEST_F(zuk_check, gives_json)
{
    make_words();
    auto report = nlohmann::json::parse(done({ "check", "a.dic", "--json" }));
    EXPECT_EQ(report["sound"], true);
    EXPECT_EQ(report["bytes"], dir.content("a.dic").size());
    EXPECT_EQ(report["modules"], 2);
    EXPECT_EQ(report["resources"], 159);
    EXPECT_EQ(report["faults"], nlohmann::json::array());

    std::string bytes = dir.content("a.dic");
    bytes[10] = 4;
    dir.put("a.dic", bytes);
    ToolResult result = zuk({ "check", "a.dic", "--json" });
    EXPECT_EQ(result.exit, 1);
    report = nlohmann::json::parse(result.out);
    EXPECT_EQ(report["sound"], false);
    ASSERT_EQ(report["faults"].size(), 1u);
    EXPECT_EQ(report["faults"][0]["offset"], 10);
    EXPECT_EQ(report["faults"][0]["place"], "header");
}

TEST_F(zuk_check, shows_what_is_left_of_a_cut_file)
{
    make_words();
    dir.put("a.dic", dir.content("a.dic").substr(0, 100));
    ToolResult result = zuk({ "check", "a.dic" });
    EXPECT_EQ(result.exit, 1);
    EXPECT_NE(result.out.find("fault at 14: header: the block table is said to end at 3610, behind the file of 100 "
                              "bytes\n"), std::string::npos) << result.out;
}

// It reads raw bytes, and under the same sharing rules as everybody.
TEST_F(zuk_check, reads_beside_a_reader_and_not_beside_a_writer)
{
    make_words();
    for (u16 mode : { PLATFORM_READ_ONLY, PLATFORM_RW_SHARED }) {
        FileHandle holder = 0;
        ASSERT_EQ(native_files.open(dir.native("a.dic").c_str(), mode, &holder), (u32)PLATFORM_OK);
        if (mode == PLATFORM_READ_ONLY) EXPECT_EQ(done({ "check", "a.dic" }), "");
        else refused(4, "a.dic: somebody has it open (status 10)", { "check", "a.dic" });
        native_files.close(holder);
    }
}

} // namespace zuk
