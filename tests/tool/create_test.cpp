#include "tests/tool/run_tool.h"

namespace zuk {

struct zuk_create : ToolTest {};

TEST_F(zuk_create, makes_an_empty_dictionary)
{
    EXPECT_EQ(done({ "create", "a.dic" }), "");
    EXPECT_EQ(dir.content("a.dic").size(), 4930u);  // the first layout
    EXPECT_EQ(done({ "ls", "a.dic", "--json" }), "[]\n");
}

TEST_F(zuk_create, replaces_a_file_only_by_force)
{
    put("a.dic", "a letter");
    refused_unchanged(5, "a.dic: there is such a file already; --force replaces it (status 2)", { "create", "a.dic" });
    done({ "create", "a.dic", "--force" });
    EXPECT_EQ(dir.content("a.dic").size(), 4930u);
}

TEST_F(zuk_create, needs_a_folder)
{
    refused(3, "no/a.dic: there is no such folder (status 6)", { "create", "no/a.dic" });
    std::filesystem::create_directory(dir.path("a"));
    refused(2, "a: it is a directory", { "create", "a", "--force" });
}

} // namespace zuk
