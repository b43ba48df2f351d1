#include "tests/tool/run_tool.h"

namespace zuk {

struct zuk_ls : ToolTest {};

TEST_F(zuk_ls, lists_kinds_and_modules)
{
    make_words();
    done({ "add", "a.dic", "2/20000", "--name", "Far" });
    done({ "add", "a.dic", "3/1", "--name", "Other" });
    EXPECT_EQ(done({ "ls", "a.dic" }), "COORDINATES  HOLDS      RESOURCES  BYTES  NAME\n"
                                       "2            2 modules          4      5\n"
                                       "2/100        2 types            3      5  Words\n"
                                       "2/20000      1 type             1      0  Far\n"
                                       "3            1 module           1      0\n"
                                       "3/1          1 type             1      0  Other\n");
    EXPECT_EQ(done({ "ls", "a.dic", "3" }), "COORDINATES  HOLDS   RESOURCES  BYTES  NAME\n"
                                            "3/1          1 type          1      0  Other\n");
}

TEST_F(zuk_ls, lists_the_types_of_a_module)
{
    make_words();
    EXPECT_EQ(done({ "ls", "a.dic", "2/100" }), "COORDINATES  RESOURCES  WITH BODY  BYTES  NAME BYTES\n"
                                                "2/100/1              2          1      5           6\n"
                                                "2/100/2              1          0      0           5\n");
}

TEST_F(zuk_ls, lists_the_resources_of_a_type_with_escaped_names)
{
    make_words();
    done({ "add", "a.dic", "2/100/1/100", "--escaped", "--name", "\\xFF\\\\" });
    EXPECT_EQ(done({ "ls", "a.dic", "2/100/1" }), "COORDINATES  FLAGS  BYTES  NAME\n"
                                                  "2/100/1/1    00         5  One\n"
                                                  "2/100/1/2    00         0  Two\n"
                                                  "2/100/1/100  00         0  \\xFF\\\\\n");
    EXPECT_EQ(done({ "ls", "a.dic", "2/100/1/2" }), "COORDINATES  FLAGS  BYTES  NAME\n"
                                                    "2/100/1/2    00         0  Two\n");
}

TEST_F(zuk_ls, shows_long_names_whole)
{
    make_words();
    std::string name(254, 'n');
    done({ "add", "a.dic", "2/100/1/3", "--name", name });
    EXPECT_NE(done({ "ls", "a.dic", "2/100/1/3" }).find("  " + name + "\n"), std::string::npos);
}

TEST_F(zuk_ls, gives_json)
{
    make_words();
    EXPECT_EQ(done({ "ls", "a.dic", "2/100/1/1", "--json" }), "[\n"
                                                              "  {\n"
                                                              "    \"coordinates\": \"2/100/1/1\",\n"
                                                              "    \"kind\": 2,\n"
                                                              "    \"module\": 100,\n"
                                                              "    \"type\": 1,\n"
                                                              "    \"id\": 1,\n"
                                                              "    \"flags\": 0,\n"
                                                              "    \"bytes\": 5,\n"
                                                              "    \"name\": \"One\"\n"
                                                              "  }\n"
                                                              "]\n");
    EXPECT_EQ(done({ "ls", "a.dic", "--json" }), "[\n"
                                                 "  {\n"
                                                 "    \"coordinates\": \"2/100\",\n"
                                                 "    \"kind\": 2,\n"
                                                 "    \"module\": 100,\n"
                                                 "    \"types\": 2,\n"
                                                 "    \"resources\": 3,\n"
                                                 "    \"bytes\": 5,\n"
                                                 "    \"name\": \"Words\"\n"
                                                 "  }\n"
                                                 "]\n");
}

TEST_F(zuk_ls, does_not_find_unknown_coordinates)
{
    make_words();
    refused_unchanged(3, "a.dic: 3: there is no such kind (status 3)", { "ls", "a.dic", "3" });
    refused_unchanged(3, "a.dic: 2/101: there is no such module (status 3)", { "ls", "a.dic", "2/101" });
    refused_unchanged(3, "a.dic: 2/100/9: there is no such type (status 3)", { "ls", "a.dic", "2/100/9" });
    refused_unchanged(3, "a.dic: 2/100/1/9: there is no such resource (status 3)", { "ls", "a.dic", "2/100/1/9" });
}

TEST_F(zuk_ls, does_not_change_the_file)
{
    make_words();
    std::string before = dir.content("a.dic");
    done({ "ls", "a.dic", "-r" });
    EXPECT_TRUE(dir.content("a.dic") == before);
}

} // namespace zuk
