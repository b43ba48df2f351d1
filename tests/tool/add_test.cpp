#include "tests/tool/run_tool.h"

namespace zuk {

struct zuk_add : ToolTest {};

TEST_F(zuk_add, makes_a_module_with_the_resource_that_stands_for_it)
{
    done({ "create", "a.dic" });
    EXPECT_EQ(done({ "add", "a.dic", "2/100", "--name", "Words" }), "");
    EXPECT_EQ(done({ "ls", "a.dic", "2/100", "-r" }), "COORDINATES  FLAGS  BYTES  NAME\n"
                                                       "2/100/2/100  00         0  Words\n");
    done({ "add", "a.dic", "3/5/23/5", "--name", "Other" });  // type 23 stands for modules, too
    EXPECT_EQ(done({ "get", "a.dic", "3/5", "--name" }), "Other");
}

TEST_F(zuk_add, takes_the_body_from_a_file_or_from_standard_input)
{
    make_words();
    put("body", "from a file");
    done({ "add", "a.dic", "2/100/1/3", "--name", "Three", "body" });
    done({ "add", "a.dic", "2/100/1/4", "--name", "Four", "-" }, "from a pipe");
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/3" }), "from a file");
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/4" }), "from a pipe");
    refused_unchanged(3, "no body: it cannot be read: No such file or directory",
                      { "add", "a.dic", "2/100/1/5", "--name", "Five", "no body" });
}

TEST_F(zuk_add, chooses_the_identifier_above_the_highest)
{
    make_words();
    EXPECT_EQ(done({ "add", "a.dic", "2/100/1", "--name", "Three" }), "2/100/1/3\n");
    done({ "add", "a.dic", "2/100/1/32766", "--name", "Far" });
    EXPECT_EQ(done({ "add", "a.dic", "2/100/1", "--name", "Last", "--json" }),
              "{\n  \"coordinates\": \"2/100/1/32767\",\n  \"id\": 32767\n}\n");
    refused_unchanged(2, "a.dic: 2/100/1: the highest identifier is 32767, so there is no next one (status 13)",
                      { "add", "a.dic", "2/100/1", "--name", "Beyond" });
    EXPECT_EQ(done({ "add", "a.dic", "2/100/7", "--name", "First of a type" }), "2/100/7/1\n");
}

TEST_F(zuk_add, refuses_duplicates)
{
    make_words();
    refused_unchanged(5, "a.dic: 2/100/1/1: there is such a resource already (status 2)",
                      { "add", "a.dic", "2/100/1/1", "--name", "New" });
    refused_unchanged(5, "a.dic: 2/100/1/9: 2/100/1/2 has this name (status 2)",
                      { "add", "a.dic", "2/100/1/9", "--name", "Two" });
    refused_unchanged(5, "a.dic: 2/100: there is such a module already (status 2)",
                      { "add", "a.dic", "2/100", "--name", "New" });
    refused_unchanged(5, "a.dic: 2/101: another module has this name (status 2)",
                      { "add", "a.dic", "2/101", "--name", "Words" });
}

TEST_F(zuk_add, needs_a_module_that_is_there)
{
    make_words();
    refused_unchanged(3, "a.dic: 2/101: there is no such module (status 3)",
                      { "add", "a.dic", "2/101/1/1", "--name", "x" });
}

TEST_F(zuk_add, stores_a_name_of_254_bytes_and_no_longer_one)
{
    make_words();
    std::string longest(254, 'n');
    done({ "add", "a.dic", "2/100/1/3", "--name", longest });
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/3", "--name" }), longest);
    refused_unchanged(2, "a.dic: 2/100/1/4: the name has 255 bytes, and at most 254 can be stored (status 19)",
                      { "add", "a.dic", "2/100/1/4", "--name", longest + "n" });
    refused_unchanged(2, "a.dic: 2/100/1/4: the name is empty (status 19)",
                      { "add", "a.dic", "2/100/1/4", "--name", "" });
}

TEST_F(zuk_add, takes_names_of_any_bytes)
{
    make_words();
    done({ "add", "a.dic", "2/100/1/3", "--escaped", "--name", "\\x00\\x09\\\\\\xFF" });
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/3", "--name" }), std::string("\0\t\\\xFF", 4));
    done({ "add", "a.dic", "2/100/1/4", "--name", "--quiet" });  // not an option here
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/4", "--name" }), "--quiet");
    refused_unchanged(2,
                      "\\q: with --escaped a name is printable ASCII, \\\\ for a backslash and \\xHH for other bytes",
                      { "add", "a.dic", "2/100/1/5", "--escaped", "--name", "\\q" });
}

TEST_F(zuk_add, refuses_what_cannot_be_a_module)
{
    make_words();
    refused_unchanged(2, "a.dic: 2/32768: a new module has a number from 1 to 32767",
                      { "add", "a.dic", "2/32768", "--name", "x" });
    refused_unchanged(2, "a.dic: 2/101/2/5: a resource of type 2 or 23 has the number of its module",
                      { "add", "a.dic", "2/101/2/5", "--name", "x" });
    refused_unchanged(2, "a.dic: 2: what is added needs KIND/MODULE or KIND/MODULE/TYPE at least",
                      { "add", "a.dic", "2", "--name", "x" });
}

TEST_F(zuk_add, leaves_kind_1_alone)
{
    make_words();
    refused_unchanged(2, "a.dic: 1/1/5/1: resources of kind 1 belong to series, and zuk only reads them",
                      { "add", "a.dic", "1/1/5/1", "--name", "x" });
}

// A list of names above 65,500 bytes is searched with each name cut to 79 bytes.
TEST_F(zuk_add, says_when_a_long_list_hides_the_difference_of_two_names)
{
    make_words();
    std::string prefix(79, 'p');
    for (int i = 0; i < 330; i++) put("in/" + std::string(200, 'n') + std::to_string(i), "");
    put("in/" + prefix + "longer", "");
    done({ "import", "in", "a.dic", "--to", "2/100/1" });
    // Identifiers 3 to 332 are the names of n; the one of p comes behind them.
    refused_unchanged(5,
                      "a.dic: 2/100/1/400: the library cannot tell the name from that of 2/100/1/333, which begins "
                      "with it (status 2)",
                      { "add", "a.dic", "2/100/1/400", "--name", prefix });
    done({ "add", "a.dic", "2/100/1/400", "--name", prefix.substr(1) });
}

} // namespace zuk
