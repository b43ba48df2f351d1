#include "tests/tool/run_tool.h"

namespace zuk {

struct zuk_change : ToolTest {};

TEST_F(zuk_change, gives_another_body)
{
    make_words();
    put("body", "a longer one than before");
    done({ "change", "a.dic", "2/100/1/1", "body" });
    done({ "change", "a.dic", "2/100/1/2", "-" }, "no more without");
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/1" }), "a longer one than before");
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/2" }), "no more without");
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/1", "--name" }), "One");
}

TEST_F(zuk_change, gives_another_name)
{
    make_words();
    done({ "change", "a.dic", "2/100/1/1", "--name", "Eins" });
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/1", "--name" }), "Eins");
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/1" }), "first");
    done({ "change", "a.dic", "2/100/1/1", "--name", "Uno", "-" }, "both");
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/1", "--name" }), "Uno");
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/1" }), "both");
}

TEST_F(zuk_change, renames_a_module_in_both_places)
{
    make_words();
    done({ "change", "a.dic", "2/100", "--name", "Texts" });
    EXPECT_EQ(done({ "get", "a.dic", "2/100", "--name" }), "Texts");
    EXPECT_EQ(done({ "get", "a.dic", "2/100/2/100", "--name" }), "Texts");
    refused_unchanged(2, "a.dic: 2/100: the new name of a module has at most 79 bytes (status 19)",
                      { "change", "a.dic", "2/100", "--name", std::string(80, 'n') });
}

TEST_F(zuk_change, cannot_empty_a_body)
{
    make_words();
    put("empty", "");
    const char *sentence = "a.dic: 2/100/1/1: the new body is empty, and a body cannot be emptied by a change; "
                           "remove and add it";
    refused_unchanged(2, sentence, { "change", "a.dic", "2/100/1/1", "empty" });
    refused_unchanged(2, sentence, { "change", "a.dic", "2/100/1/1", "-" });
}

TEST_F(zuk_change, refuses_what_is_missing_or_taken)
{
    make_words();
    refused_unchanged(3, "a.dic: 2/100/1/3: there is no such resource (status 3)",
                      { "change", "a.dic", "2/100/1/3", "--name", "x" });
    refused_unchanged(3, "a.dic: 2/101: there is no such module (status 3)",
                      { "change", "a.dic", "2/101", "--name", "x" });
    refused_unchanged(5, "a.dic: 2/100/1/1: 2/100/1/2 has this name (status 2)",
                      { "change", "a.dic", "2/100/1/1", "--name", "Two" });
    refused_unchanged(2, "a.dic: 2/100/1/1: the name has 255 bytes, and at most 254 can be stored (status 19)",
                      { "change", "a.dic", "2/100/1/1", "--name", std::string(255, 'n') });
    refused_unchanged(2, "a.dic: 2/100/1/1: the name is empty (status 19)",
                      { "change", "a.dic", "2/100/1/1", "--name", "" });
}

TEST_F(zuk_change, needs_something_to_change)
{
    make_words();
    refused_unchanged(2, "a.dic: 2/100/1/1: give a new --name, a new body, or both",
                      { "change", "a.dic", "2/100/1/1" });
    refused_unchanged(2,
                      "a.dic: 2/100/1: only a module and a resource can be changed: KIND/MODULE or "
                      "KIND/MODULE/TYPE/ID",
                      { "change", "a.dic", "2/100/1", "--name", "x" });
}

} // namespace zuk
