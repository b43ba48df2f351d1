#include "tests/tool/run_tool.h"

#include "engine/resources.h"
#include "platform/platform.h"
#include "tests/support/dictionary.h"

#include <fstream>
#include <nlohmann/json.hpp>

namespace zuk {

struct zuk_ls : ToolTest {};

TEST_F(zuk_ls, lists_kinds_and_modules)
{
    make_words();
    done({ "add", "a.dic", "2/20000", "--name", "Far" });
    done({ "add", "a.dic", "3/1", "--name", "Other" });
    EXPECT_EQ(done({ "ls", "a.dic" }), "COORDINATES  HOLDS      RESOURCES  BYTES  NAME\n"
                                       "1            1 module         156   5232\n"
                                       "series 0     1 module         156   5232  System\n"
                                       "1/10         3 types          156   5232  System Core Tables\n"
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

TEST_F(zuk_ls, takes_empty_coordinates_for_no_list_of_all)
{
    make_words();
    refused(2, "empty coordinates name nothing; they are KIND/MODULE/TYPE/ID", { "ls", "a.dic", "" });
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
    EXPECT_EQ(done({ "ls", "a.dic", "2", "--json" }), "[\n"
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

// ---- Kind 1 ---------------------------------------------------------------------------------------------------------

struct zuk_ls_of_kind_1 : ToolTest {
    zuk_ls_of_kind_1()
    {
        done({ "create", "a.dic" });
        done({ "add", "a.dic", "1/1/5/1", "--name", "Zero" });
        done({ "add", "a.dic", "1/17/5/2", "--name", "Sum", "-" }, "abc");
        done({ "add", "a.dic", "1/18/9/22000", "--name", "Text" });
    }
};

TEST_F(zuk_ls_of_kind_1, groups_the_modules_by_series)
{
    EXPECT_EQ(done({ "ls", "a.dic", "1" }), "COORDINATES  HOLDS      RESOURCES  BYTES  NAME\n"
                                            "series 0     2 modules        157   5232  System\n"
                                            "1/1          1 type             1      0  System Core\n"
                                            "1/10         3 types          156   5232  System Core Tables\n"
                                            "series 1     2 modules          2      3  Financial\n"
                                            "1/17         1 type             1      3  Financial Core\n"
                                            "1/18         1 type             1      0  Financial Strings\n");
}

TEST_F(zuk_ls_of_kind_1, lists_one_series)
{
    std::string financial = "COORDINATES   FLAGS  OWNER  BYTES  NAME\n"
                            "1/17/5/2      00         1      3  Sum\n"
                            "1/18/9/22000  00         1      0  Text\n";
    EXPECT_EQ(done({ "ls", "a.dic", "--series", "Financial", "-r" }), financial);
    EXPECT_EQ(done({ "ls", "a.dic", "1", "--series", "1", "-r" }), financial);
    EXPECT_EQ(done({ "ls", "a.dic", "1/Strings/9", "--series", "financial" }),
              "COORDINATES   FLAGS  OWNER  BYTES  NAME\n"
              "1/18/9/22000  00         1      0  Text\n");
    refused(3, "a.dic: there is no module of series 5 (status 3)", { "ls", "a.dic", "--series", "Payroll" });
    refused(2, "2: --series goes with kind 1 alone", { "ls", "a.dic", "2", "--series", "1" });
    refused(2, "Finance: a series is a number from 0 to 15, or a word such as Financial",
            { "ls", "a.dic", "--series", "Finance" });
}

TEST_F(zuk_ls_of_kind_1, shows_owners)
{
    auto rows = nlohmann::json::parse(done({ "ls", "a.dic", "1/17", "-r", "--json" }));
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0]["coordinates"], "1/17/5/2");
    EXPECT_EQ(rows[0]["owner"], 1);
    rows = nlohmann::json::parse(done({ "ls", "a.dic", "1", "--series", "1", "--json" }));
    EXPECT_EQ(rows[1]["module"], 18);
    EXPECT_EQ(rows[1]["series"], 1);
    EXPECT_EQ(rows[1]["coreType"], 2);

    // The column stands only where something of kind 1 is listed.
    done({ "add", "a.dic", "2/100", "--name", "Words" });
    EXPECT_EQ(done({ "ls", "a.dic", "2", "-r" }), "COORDINATES  FLAGS  BYTES  NAME\n"
                                                  "2/100/2/100  00         0  Words\n");
    EXPECT_EQ(nlohmann::json::parse(done({ "ls", "a.dic", "2", "-r", "--json" }))[0].count("owner"), 0u);
}

// An owner that the library has lost is seen, and not made up.
TEST_F(zuk_ls_of_kind_1, shows_that_there_is_no_owner)
{
    std::string bytes = dir.content("a.dic");
    i64 owner = 0;
    {
        BareDictionary bare;
        bare.close();
        std::ofstream(bare.dir.path("a.dic"), std::ios::binary) << bytes;
        bare.open(DICT_READ_ONLY);
        u32 place = 0;
        i32 size = 0;
        // Of type 5 in range 0; position 2.
        ASSERT_EQ(resource_locate(bare, 1, CORE_TABLES_MODULE, 52, 5, &place, &size), (DictStatus)DICT_OK);
        owner = (i64)place + 12 + 2;
    }
    ASSERT_EQ(bytes[(size_t)owner], 1);
    bytes[(size_t)owner] = CORE_FREE;
    ASSERT_EQ(bytes[(size_t)owner - 10], 58);    // so many of 60 are counted as free
    bytes[(size_t)owner - 10] = 59;
    dir.put("a.dic", bytes);
    EXPECT_EQ(done({ "ls", "a.dic", "1/17/5" }), "COORDINATES  FLAGS  OWNER  BYTES  NAME\n"
                                                 "1/17/5/2     00         -      3  Sum\n");
    EXPECT_TRUE(nlohmann::json::parse(done({ "ls", "a.dic", "1/17/5", "--json" }))[0]["owner"].is_null());
    EXPECT_EQ(done({ "get", "a.dic", "1/17/5/2" }), "abc");    // it is reached by its place
    done({ "change", "a.dic", "1/17/5/2", "-" }, "other");
    EXPECT_EQ(done({ "get", "a.dic", "1/17/5/2" }), "other");
    done({ "rm", "a.dic", "1/17/5/2" });
    EXPECT_EQ(done({ "check", "a.dic" }), "");
}

// ---- Files without core tables --------------------------------------------------------------------------------------

TEST_F(zuk_ls, shows_the_owners_of_a_file_from_before_the_core_tables)
{
    dir.put("a.dic", file_without_core_tables());
    EXPECT_EQ(done({ "ls", "a.dic", "1/17/5" }), "COORDINATES  FLAGS  OWNER  BYTES  NAME\n"
                                                 "1/17/5/30    00         1      3  Sum\n");
    std::string made = dir.content("a.dic");
    EXPECT_EQ(nlohmann::json::parse(done({ "info", "a.dic", "--json" }))["resources"], 157);  // and 156 core tables
    EXPECT_TRUE(dir.content("a.dic") == made);
    EXPECT_EQ(done({ "check", "a.dic" }), "");
}

// Somebody reads the file, so that nothing can be made in it.
TEST_F(zuk_ls, reads_a_file_that_cannot_get_core_tables)
{
    dir.put("a.dic", file_without_core_tables());
    std::string before = dir.content("a.dic");
    FileHandle reader = 0;
    ASSERT_EQ(native_files.open(dir.native("a.dic").c_str(), PLATFORM_READ_ONLY, &reader), (u32)PLATFORM_OK);
    EXPECT_EQ(done({ "ls", "a.dic", "1/17/5" }), "COORDINATES  FLAGS  OWNER  BYTES  NAME\n"
                                                 "1/17/5/30    00         1      3  Sum\n");
    EXPECT_EQ(done({ "get", "a.dic", "1/17/5/30" }), "abc");
    native_files.close(reader);
    EXPECT_TRUE(dir.content("a.dic") == before);
}

} // namespace zuk
