#include "tests/tool/run_tool.h"

#include "settings/options.h"
#include "tests/support/settings.h"
#include "tool/dictionary.h"
#include "tool/messages.h"

namespace zuk {

struct zuk_next_id : ToolTest {
    std::string next(const std::string &at, const std::string &option = "--no-progress")
    {
        return done({ "next-id", "a.dic", at, option });
    }
};

TEST_F(zuk_next_id, tells_the_next_identifier_of_a_type)
{
    make_words();
    EXPECT_EQ(next("2/100/1"), "22000\n");    // 1 and 2 lie below the range
    done({ "add", "a.dic", "2/100/1/22000", "--name", "a" });
    done({ "add", "a.dic", "2/100/1/22002", "--name", "b" });
    EXPECT_EQ(next("2/100/1"), "22001\n");    // the first gap
    EXPECT_EQ(next("2/100/1"), "22001\n");    // nothing is reserved
    EXPECT_EQ(next("2/100/9"), "22000\n");    // a type that is not there yet
}

TEST_F(zuk_next_id, tells_the_next_local_identifier)
{
    make_words();
    EXPECT_EQ(next("2/100/1", "--local"), "20000\n");
    done({ "add", "a.dic", "1/17/5/20000", "--name", "a" });
    EXPECT_EQ(next("1/17/5", "--local"), "20001\n");
    EXPECT_EQ(next("1/1/5", "--local"), "20001\n");    // over all series
}

TEST_F(zuk_next_id, goes_by_the_owners_in_kind_1)
{
    done({ "create", "a.dic" });
    EXPECT_EQ(next("1/17/5"), "22000\n");
    done({ "add", "a.dic", "1/33/5/22000", "--name", "a" });
    EXPECT_EQ(next("1/Financial Core/5"), "22001\n");
}

// A full table of owners would be grown, and this command only reads.
TEST_F(zuk_next_id, leaves_the_file_alone_when_the_identifiers_of_a_table_are_used_up)
{
    done({ "create", "a.dic" });
    for (int i = 0; i < 5; i++) done({ "add", "a.dic", "1/17/7", "--name", std::string(1, (char)('a' + i)) });
    std::string before = dir.content("a.dic");
    EXPECT_EQ(next("1/17/7"), "22005\n");
    EXPECT_TRUE(dir.content("a.dic") == before);
}

TEST_F(zuk_next_id, tells_the_next_module_number_by_types_2_and_23)
{
    make_words();
    EXPECT_EQ(next("2/100/2"), "22000\n");
    done({ "add", "a.dic", "3/22000", "--name", "a" });
    EXPECT_EQ(next("3/1/23"), "22001\n");
    EXPECT_EQ(next("3/1/23", "--local"), "20000\n");
}

// In this process, with a settings file of the test's own.
TEST_F(zuk_next_id, goes_by_the_settings)
{
    make_words();
    std::string file = dir.path("a.dic").string();
    SettingsHome windows;
    auto next_with = [&](const std::string &keys, const char *at) {
        windows.put(keys);
        options_forget_cached();
        std::string next;
        try {
            tool::Dictionary dictionary(file, DICT_READ_ONLY);
            next = std::to_string(tool::next_free_id(dictionary, tool::parse_coordinates(at), false));
        } catch (const tool::Failure &failure) {
            EXPECT_EQ(failure.exit, 2);
            next = failure.what();
        }
        dd_term();
        options_forget_cached();
        return next;
    };
    EXPECT_EQ(next_with("MainProduct=1\r\n", "2/100/1"), "3");
    EXPECT_EQ(next_with("MainProduct=1\r\n", "1/17/5"), "1");
    EXPECT_EQ(next_with("MinID=25000\r\n", "2/100/1"), "25000");
    EXPECT_EQ(next_with("MinID=32767\r\n", "2/100/1"), "32767");
    done({ "add", "a.dic", "2/100/1/32767", "--name", "last" });
    EXPECT_EQ(next_with("MinID=32767\r\n", "2/100/1"),
              file + ": 2/100/1: all identifiers up to 32767 are taken (status 13)");
}

TEST_F(zuk_next_id, gives_json)
{
    make_words();
    EXPECT_EQ(next("2/100/1", "--json"),
              "{\n  \"coordinates\": \"2/100/1\",\n  \"local\": false,\n  \"id\": 22000\n}\n");
}

TEST_F(zuk_next_id, refuses_what_has_no_identifiers)
{
    make_words();
    refused(2, "a.dic: 2/100: identifiers belong to a type: KIND/MODULE/TYPE", { "next-id", "a.dic", "2/100" });
    refused(2, "a.dic: 2/100/1/1: identifiers belong to a type: KIND/MODULE/TYPE", { "next-id", "a.dic", "2/100/1/1" });
    refused(3, "a.dic: 2/101: there is no such module (status 3)", { "next-id", "a.dic", "2/101/1" });
    refused(2, "a.dic: 1/17/3: resources of kind 1 have owners, and the library has none for type 3",
            { "next-id", "a.dic", "1/17/3" });
    refused(2, "a.dic: 1/10/52: types 52 to 54 of kind 1 are the core tables, which the library keeps itself",
            { "next-id", "a.dic", "1/10/52" });
}

} // namespace zuk
