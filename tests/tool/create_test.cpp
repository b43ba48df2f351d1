#include "tests/tool/run_tool.h"

#include <nlohmann/json.hpp>

namespace zuk {

struct zuk_create : ToolTest {};

TEST_F(zuk_create, makes_an_empty_dictionary)
{
    EXPECT_EQ(done({ "create", "a.dic" }), "");
    EXPECT_EQ(done({ "ls", "a.dic", "1", "-r" }), done({ "ls", "a.dic", "1/10", "-r" }));  // the core tables alone
    EXPECT_EQ(zuk({ "ls", "a.dic", "2" }).exit, 3);
    EXPECT_EQ(zuk({ "ls", "a.dic", "3" }).exit, 3);
}

// A reader would have to make them, and could not write to a file that is protected or that somebody reads.
TEST_F(zuk_create, makes_the_core_tables)
{
    done({ "create", "a.dic" });
    std::string before = dir.content("a.dic");
    auto report = nlohmann::json::parse(done({ "info", "a.dic", "--json" }));
    EXPECT_EQ(report["resources"], 156);
    EXPECT_TRUE(dir.content("a.dic") == before);
}

TEST_F(zuk_create, replaces_a_file_only_by_force)
{
    put("a.dic", "a letter");
    refused_unchanged(5, "a.dic: there is such a file already; --force replaces it (status 2)", { "create", "a.dic" });
    done({ "create", "a.dic", "--force" });
    EXPECT_EQ(dir.content("a.dic").substr(0, 4), "%VTL");
}

TEST_F(zuk_create, needs_a_folder)
{
    refused(3, "no/a.dic: there is no such folder (status 6)", { "create", "no/a.dic" });
    std::filesystem::create_directory(dir.path("a"));
    refused(2, "a: it is a directory", { "create", "a", "--force" });
}

} // namespace zuk
