#include "tests/tool/run_tool.h"

namespace zuk {

struct zuk_rm : ToolTest {};

TEST_F(zuk_rm, removes_a_resource_and_keeps_its_neighbours)
{
    make_words();
    done({ "add", "a.dic", "2/100/1/3", "--name", "Three", "-" }, "third");
    EXPECT_EQ(done({ "rm", "a.dic", "2/100/1/1" }), "");
    refused_unchanged(3, "a.dic: 2/100/1/1: there is no such resource (status 3)", { "rm", "a.dic", "2/100/1/1" });
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/3" }), "third");
}

TEST_F(zuk_rm, removes_a_module_with_resources_only_by_force)
{
    make_words();
    refused_unchanged(5, "a.dic: 2/100: the module holds 2 resources; --force removes them with it",
                      { "rm", "a.dic", "2/100" });
    done({ "rm", "a.dic", "2/100", "--force" });
    EXPECT_EQ(zuk({ "ls", "a.dic", "2" }).exit, 3);
    refused_unchanged(3, "a.dic: 2/100: there is no such module (status 3)", { "rm", "a.dic", "2/100" });
}

TEST_F(zuk_rm, removes_a_module_that_is_empty_but_for_the_resource_that_stands_for_it)
{
    done({ "create", "a.dic" });
    done({ "add", "a.dic", "3/7", "--name", "Seven" });
    done({ "rm", "a.dic", "3/7" });
    EXPECT_EQ(zuk({ "ls", "a.dic", "3" }).exit, 3);
}

TEST_F(zuk_rm, only_tells_what_would_go)
{
    make_words();
    std::string before = dir.content("a.dic");
    EXPECT_EQ(done({ "rm", "a.dic", "2/100", "--dry-run" }), "remove 2/100\n"
                                                             "remove 2/100/1/1\n"
                                                             "remove 2/100/1/2\n"
                                                             "remove 2/100/2/100\n");
    EXPECT_TRUE(dir.content("a.dic") == before);
    EXPECT_EQ(zuk({ "rm", "a.dic", "2/100", "--dry-run" }).err,
              "zuk: a.dic: 2/100: the module holds 2 resources; --force removes them with it\n");
    EXPECT_EQ(zuk({ "rm", "a.dic", "2/100", "--dry-run", "--force" }).err, "");
}

TEST_F(zuk_rm, does_not_take_a_module_for_its_resource)
{
    make_words();
    refused_unchanged(2,
                      "a.dic: 2/100/2/100: a resource of type 2 or 23 stands for its module, and goes with it: "
                      "remove 2/100",
                      { "rm", "a.dic", "2/100/2/100" });
    refused_unchanged(2,
                      "a.dic: 2/100/1: only a module and a resource can be removed: KIND/MODULE or "
                      "KIND/MODULE/TYPE/ID",
                      { "rm", "a.dic", "2/100/1" });
}

// ---- Kind 1 ---------------------------------------------------------------------------------------------------------

TEST_F(zuk_rm, frees_the_identifier_of_a_resource_of_kind_1)
{
    done({ "create", "a.dic" });
    done({ "add", "a.dic", "1/17/5/1", "--name", "One" });
    done({ "rm", "a.dic", "1/Financial Core/5/1" });
    done({ "add", "a.dic", "1/33/5/1", "--name", "One" });    // in another series now
    EXPECT_EQ(done({ "check", "a.dic" }), "");
}

TEST_F(zuk_rm, frees_all_identifiers_of_a_module_of_kind_1)
{
    done({ "create", "a.dic" });
    done({ "add", "a.dic", "1/17/5/1", "--name", "One" });
    done({ "add", "a.dic", "1/17/5/22005", "--name", "Far" });
    done({ "add", "a.dic", "1/17/9/20001", "--name", "Local" });
    done({ "add", "a.dic", "1/33/5/2", "--name", "Stays" });
    refused_unchanged(5, "a.dic: 1/17: the module holds 3 resources; --force removes them with it",
                      { "rm", "a.dic", "1/17" });
    done({ "rm", "a.dic", "1/17", "--force" });
    EXPECT_EQ(done({ "check", "a.dic" }), "");
    EXPECT_EQ(done({ "get", "a.dic", "1/33/5/2", "--name" }), "Stays");
}

TEST_F(zuk_rm, leaves_the_core_tables_alone)
{
    done({ "create", "a.dic" });
    refused_unchanged(2, "a.dic: 1/10: it holds the core tables, which the library keeps itself",
                      { "rm", "a.dic", "1/10", "--force" });
    refused_unchanged(2,
                      "a.dic: 1/10/52/9: types 52 to 54 of kind 1 are the core tables, which the library keeps itself",
                      { "rm", "a.dic", "1/10/52/9" });
}

} // namespace zuk
