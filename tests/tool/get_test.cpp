#include "tests/tool/run_tool.h"

namespace zuk {

struct zuk_get : ToolTest {};

TEST_F(zuk_get, writes_the_body_byte_for_byte)
{
    make_words();
    std::string bytes;
    for (int i = 0; i < 70000; i++) bytes += (char)(i * 7 % 256);
    done({ "add", "a.dic", "2/100/1/9", "--name", "Nine", "-" }, bytes);
    EXPECT_TRUE(done({ "get", "a.dic", "2/100/1/9" }) == bytes);
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/2" }), "");   // without a body
}

TEST_F(zuk_get, writes_to_a_file_but_over_none)
{
    make_words();
    done({ "get", "a.dic", "2/100/1/1", "-o", "body" });
    EXPECT_EQ(dir.content("body"), "first");
    put("body", "mine");
    refused(5, "body: there is such a file already; --force replaces it",
            { "get", "a.dic", "2/100/1/1", "-o", "body" });
    EXPECT_EQ(dir.content("body"), "mine");
    done({ "get", "a.dic", "2/100/1/1", "-o", "body", "--force" });
    EXPECT_EQ(dir.content("body"), "first");
    refused_unchanged(2, "a.dic: the output would replace the dictionary itself",
                      { "get", "a.dic", "2/100/1/1", "-o", "a.dic", "--force" });
}

TEST_F(zuk_get, writes_a_name_whole)
{
    make_words();
    std::string name = "\\x00" + std::string(253, 'n');
    done({ "add", "a.dic", "2/100/1/9", "--escaped", "--name", name });
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/9", "--name" }), std::string(1, 0) + std::string(253, 'n'));
    EXPECT_EQ(done({ "get", "a.dic", "2/100", "--name" }), "Words");
}

TEST_F(zuk_get, does_not_find_unknown_coordinates)
{
    make_words();
    refused_unchanged(3, "a.dic: 2/100/1/3: there is no such resource (status 3)", { "get", "a.dic", "2/100/1/3" });
    refused_unchanged(3, "a.dic: 2/100/5/1: there is no such resource (status 3)", { "get", "a.dic", "2/100/5/1" });
    refused_unchanged(3, "a.dic: 2/101: there is no such module (status 3)", { "get", "a.dic", "2/101", "--name" });
    refused_unchanged(3, "a.dic: 2/100/5: there is no such type (status 3)", { "get", "a.dic", "2/100/5/1", "--name" });
}

TEST_F(zuk_get, needs_whole_coordinates)
{
    make_words();
    refused(2, "2/100/1: a body needs KIND/MODULE/TYPE/ID", { "get", "a.dic", "2/100/1" });
    refused(2, "2/100/1: only a module and a resource have a name", { "get", "a.dic", "2/100/1", "--name" });
    refused(2, "2/x: in KIND/MODULE/TYPE/ID the module is a decimal number of 32 bits", { "get", "a.dic", "2/x" });
}

} // namespace zuk
