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

// ---- Kind 1 ---------------------------------------------------------------------------------------------------------

TEST_F(zuk_add, makes_the_series_of_a_resource_its_owner)
{
    done({ "create", "a.dic" });
    EXPECT_EQ(done({ "add", "a.dic", "1/2/9/5", "--series", "Financial", "--name", "Five" }), "");
    done({ "add", "a.dic", "1/Data Types/6/1", "--series", "2", "--name", "Type" });
    done({ "add", "a.dic", "1/49/5/1", "--name", "Whole number" });
    done({ "add", "a.dic", "1/Payroll QScript Code/Data/20/1", "--name", "Code" });
    done({ "add", "a.dic", "1/1 5/30/1", "--name", "Both as numbers" });
    done({ "add", "a.dic", "1/Install/50/1", "--name", "Of series 0" });
    EXPECT_EQ(done({ "ls", "a.dic", "1/18", "-r" }), "COORDINATES  FLAGS  OWNER  BYTES  NAME\n"
                                                     "1/18/9/5     00         1      0  Five\n");
    EXPECT_EQ(done({ "get", "a.dic", "1/38/6/1", "--name" }), "Type");
    EXPECT_EQ(done({ "get", "a.dic", "1/49", "--name" }), "Purchasing Core");    // made on demand
    EXPECT_EQ(done({ "get", "a.dic", "1/83/20/1", "--name" }), "Code");
    EXPECT_EQ(done({ "get", "a.dic", "1/21/30/1", "--name" }), "Both as numbers");
    EXPECT_EQ(done({ "get", "a.dic", "1/4/50/1", "--name" }), "Of series 0");
    EXPECT_EQ(done({ "check", "a.dic" }), "");
}

TEST_F(zuk_add, chooses_the_next_free_identifier_in_kind_1)
{
    done({ "create", "a.dic" });
    EXPECT_EQ(done({ "add", "a.dic", "1/17/5", "--name", "One" }), "1/17/5/22000\n");
    EXPECT_EQ(done({ "add", "a.dic", "1/33/5", "--name", "Two", "--json" }),
              "{\n  \"coordinates\": \"1/33/5/22001\",\n  \"id\": 22001\n}\n");
    done({ "rm", "a.dic", "1/17/5/22000" });
    EXPECT_EQ(done({ "add", "a.dic", "1/1/5", "--name", "Three" }), "1/1/5/22000\n");    // free again, for any series
}

TEST_F(zuk_add, makes_a_module_of_kind_1_with_any_name)
{
    done({ "create", "a.dic" });
    done({ "add", "a.dic", "1/11", "--name", "Eleven" });
    EXPECT_EQ(done({ "get", "a.dic", "1/11", "--name" }), "Eleven");
    EXPECT_EQ(done({ "add", "a.dic", "1/12", "--name", "Twelve", "--json" }), "{\n  \"coordinates\": \"1/12\"\n}\n");
    refused_unchanged(5, "a.dic: 1/12: there is such a module already (status 2)",
                      { "add", "a.dic", "1/12", "--name", "Again" });
    refused_unchanged(2, "a.dic: 1/13: no resource stands for a module of kind 1, so it has no body",
                      { "add", "a.dic", "1/13", "--name", "Thirteen", "-" }, "a body");
}

TEST_F(zuk_add, refuses_an_identifier_or_name_of_another_series)
{
    done({ "create", "a.dic" });
    done({ "add", "a.dic", "1/17/5/1", "--name", "One" });
    refused_unchanged(5, "a.dic: 1/33/5/1: 1/17/5/1 has this identifier, which kind 1 has once (status 2)",
                      { "add", "a.dic", "1/33/5/1", "--name", "Two" });
    refused_unchanged(5, "a.dic: 1/33/5/2: 1/17/5/1 has this name (status 2)",
                      { "add", "a.dic", "1/33/5/2", "--name", "One" });
    done({ "add", "a.dic", "1/34/5/2", "--name", "One" });    // of another core type
}

// Opened for writing alone, the file would get empty tables, and its resource of kind 1 would belong to nobody.
TEST_F(zuk_add, keeps_the_owners_of_a_file_from_before_the_core_tables)
{
    dir.put("a.dic", file_without_core_tables());
    done({ "add", "a.dic", "1/33/5/31", "--name", "Net" });
    EXPECT_EQ(done({ "ls", "a.dic", "1/17/5" }), "COORDINATES  FLAGS  OWNER  BYTES  NAME\n"
                                                 "1/17/5/30    00         1      3  Sum\n");
    refused_unchanged(5, "a.dic: 1/33/5/30: 1/17/5/30 has this identifier, which kind 1 has once (status 2)",
                      { "add", "a.dic", "1/33/5/30", "--name", "Two" });
    EXPECT_EQ(done({ "check", "a.dic" }), "");
}

// The library has one name for all core types that it has no words for.
TEST_F(zuk_add, says_when_a_module_cannot_be_made_on_demand)
{
    done({ "create", "a.dic" });
    done({ "add", "a.dic", "1/11/58/1", "--name", "One" });
    refused_unchanged(5,
                      "a.dic: 1/12/31/1: the module would get the name of 1/11; make it first, with another (status 2)",
                      { "add", "a.dic", "1/12/31/1", "--name", "One" });
    done({ "add", "a.dic", "1/12", "--name", "System Twelve" });
    done({ "add", "a.dic", "1/12/31/1", "--name", "One" });
}

TEST_F(zuk_add, refuses_what_kind_1_cannot_hold)
{
    done({ "create", "a.dic" });
    auto refused_add = [&](const std::string &at, const std::string &words, const std::vector<std::string> &more = {}) {
        std::vector<std::string> arguments = { "add", "a.dic", at, "--name", "x" };
        arguments.insert(arguments.end(), more.begin(), more.end());
        refused_unchanged(2, "a.dic: " + at + ": " + words, arguments);
    };
    refused_add("1/17/3/1", "resources of kind 1 have owners, and the library has none for type 3");
    refused_add("1/17/2/17", "resources of kind 1 have owners, and the library has none for type 2");
    refused_add("1/17/65/1", "resources of kind 1 have owners, and the library has none for type 65");
    refused_add("1/26/5/1", "the library has core type 10 in series 0 alone, as module 10");
    refused_add("1/10/52/9", "types 52 to 54 of kind 1 are the core tables, which the library keeps itself");
    refused_add("1/241/5/1", "the series of a module of kind 1 is a number from 0 to 14, and this is 15");
    refused_add("1/-1/5/1", "the series of a module of kind 1 is a number from 0 to 14, and this is -1");
    refused_add("2/100/1/1", "--series goes with kind 1 alone", { "--series", "1" });
    refused_add("1/33/5/1", "the module is one of series 2, and --series tells 1", { "--series", "Financial" });
    refused_unchanged(2, "Buying: a series is a number from 0 to 15, or a word such as Financial",
                      { "add", "a.dic", "1/1/5/1", "--name", "x", "--series", "Buying" });
    refused_unchanged(2,
                      "1/Financial Nothing/5/1: in KIND/MODULE/TYPE/ID the module is a decimal number of 32 bits, or "
                      "words such as Financial Core",
                      { "add", "a.dic", "1/Financial Nothing/5/1", "--name", "x" });
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
