#include "tests/tool/run_tool.h"

#include "engine/directory.h"
#include "tests/support/dictionary.h"

#include <nlohmann/json.hpp>

namespace zuk {

namespace fs = std::filesystem;

struct zuk_export : ToolTest {};

using Files = std::map<std::string, std::string>;

static const Files words = {
    { "dictionary.txt", "zuk-dictionary 1\nversion 11\n" },
    { "2/100/module.txt", "name Words\n" },
    { "2/100/1/resources.txt", "1\t00\t1.bin\tOne\n2\t00\t-\tTwo\n" },
    { "2/100/1/1.bin", "first" },
    { "2/100/2/resources.txt", "100\t00\t-\tWords\n" },
};

TEST_F(zuk_export, writes_every_fact_once)
{
    make_words();
    ToolResult result = zuk({ "export", "a.dic", "out" });
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "out: 5 files written, 0 unchanged, 0 removed\n");
    EXPECT_EQ(files_below("out"), words);
}

TEST_F(zuk_export, escapes_names)
{
    make_words();
    done({ "add", "a.dic", "2/100/1/3", "--escaped", "--name", "\\x09\\x0D\\x0A\\\\\\xE4" });
    done({ "export", "a.dic", "out" });
    std::string list = files_below("out")["2/100/1/resources.txt"];
    EXPECT_NE(list.find("3\t00\t-\t\\x09\\x0D\\x0A\\\\\\xE4\n"), std::string::npos) << list;
}

TEST_F(zuk_export, rewrites_only_what_changed)
{
    make_words();
    done({ "export", "a.dic", "out" });
    auto old_time = fs::file_time_type::clock::now() - std::chrono::hours(1);
    for (const auto &[name, content] : words) fs::last_write_time(dir.path("out/" + name), old_time);

    done({ "change", "a.dic", "2/100/1/1", "-" }, "second");
    ToolResult result = zuk({ "export", "a.dic", "out" });
    EXPECT_EQ(result.err, "out: 1 file written, 4 unchanged, 0 removed\n");
    for (const auto &[name, content] : words) {
        bool rewritten = fs::last_write_time(dir.path("out/" + name)) > old_time + std::chrono::minutes(1);
        EXPECT_EQ(rewritten, name == "2/100/1/1.bin") << name;
    }
    EXPECT_EQ(files_below("out")["2/100/1/1.bin"], "second");
}

TEST_F(zuk_export, removes_what_an_earlier_export_left)
{
    make_words();
    done({ "add", "a.dic", "2/101", "--name", "More" });
    done({ "add", "a.dic", "2/101/1/1", "--name", "x", "-" }, "y");
    done({ "export", "a.dic", "out" });
    done({ "rm", "a.dic", "2/101", "--force" });
    done({ "rm", "a.dic", "2/100/1/1" });
    ToolResult result = zuk({ "export", "a.dic", "out" });
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_EQ(files_below("out").count("2/100/1/1.bin"), 0u);
    EXPECT_FALSE(fs::exists(dir.path("out/2/101")));
    EXPECT_EQ(files_below("out").size(), 4u);
}

TEST_F(zuk_export, refuses_a_folder_with_foreign_things)
{
    make_words();
    put("out/README", "mine");
    refused(5, "out/README: it is no part of this export; --force leaves it there and writes beside it",
            { "export", "a.dic", "out" });
    EXPECT_EQ(files_below("out"), (Files{ { "README", "mine" } }));
    done({ "export", "a.dic", "out", "--force" });
    Files with_readme = words;
    with_readme["README"] = "mine";
    EXPECT_EQ(files_below("out"), with_readme);

    // In the tree of an earlier export, too.
    put("out/2/100/notes", "mine");
    EXPECT_EQ(zuk({ "export", "a.dic", "out" }).exit, 5);
}

TEST_F(zuk_export, takes_no_numbered_folder_of_others_for_its_own)
{
    make_words();
    put("out/2/100/1/5.bin", "not from an export: there is no dictionary.txt");
    EXPECT_EQ(zuk({ "export", "a.dic", "out" }).exit, 5);
    done({ "export", "a.dic", "out", "--force" });
    EXPECT_EQ(files_below("out").count("2/100/1/5.bin"), 1u);  // never removed
}

#ifndef _WIN32
TEST_F(zuk_export, never_writes_through_a_link)
{
    make_words();
    fs::create_directory(dir.path("elsewhere"));
    fs::create_directory(dir.path("out"));
    fs::create_directory_symlink(dir.path("elsewhere"), dir.path("out/2"));
    refused(5, "out/2: it stands where a folder has to be", { "export", "a.dic", "out", "--force" });
    EXPECT_TRUE(fs::is_empty(dir.path("elsewhere")));

    fs::remove(dir.path("out/2"));
    put("target", "mine");
    fs::create_symlink(dir.path("target"), dir.path("out/dictionary.txt"));
    refused(5, "out/dictionary.txt: it stands where a file has to be", { "export", "a.dic", "out", "--force" });
    EXPECT_EQ(dir.content("target"), "mine");
}
#endif

TEST_F(zuk_export, does_not_write_over_its_own_dictionary)
{
    make_words();
    fs::create_directories(dir.path("out/2/100/1"));
    fs::rename(dir.path("a.dic"), dir.path("out/2/100/1/1.bin"));
    std::string before = dir.content("out/2/100/1/1.bin");
    refused(2, "out/2/100/1/1.bin: it is the dictionary itself",
            { "export", "out/2/100/1/1.bin", "out", "--force" });
    EXPECT_TRUE(dir.content("out/2/100/1/1.bin") == before);
}

TEST_F(zuk_export, only_tells_what_would_be_written)
{
    make_words();
    EXPECT_EQ(done({ "export", "a.dic", "out", "--dry-run" }), "write dictionary.txt\n"
                                                               "write 2/100/module.txt\n"
                                                               "write 2/100/1/resources.txt\n"
                                                               "write 2/100/1/1.bin\n"
                                                               "write 2/100/2/resources.txt\n");
    EXPECT_FALSE(dir.has("out"));
    done({ "export", "a.dic", "out" });
    done({ "rm", "a.dic", "2/100/1/1" });
    auto report = nlohmann::json::parse(done({ "export", "a.dic", "out", "--dry-run", "--json" }));
    EXPECT_EQ(report["rewritten"], nlohmann::json({ "2/100/1/resources.txt" }));
    EXPECT_EQ(report["removed"], nlohmann::json({ "2/100/1/1.bin" }));
    EXPECT_EQ(files_below("out"), words);
}

// A dictionary of the library's own making: kind 1, whose modules have numbers of series and core type.
TEST_F(zuk_export, writes_the_owners_of_kind_1)
{
    BareDictionary bare;
    EXPECT_EQ(module_create(bare, 1, 17, Name("Financial Core")), (DictStatus)DICT_OK);
    EXPECT_EQ(resource_add_entry(bare, 1, 17, 5, 30, 4, 3), (DictStatus)DICT_OK);
    EXPECT_EQ(block_splice(bare, type_name_block(bare, 1, 17, 5), Name("Sum").text, 0, 4, 0, 16), (DictStatus)DICT_OK);
    EXPECT_EQ(block_splice(bare, type_body_block(bare, 1, 17, 5), "abc", 0, 3, 0, 16), (DictStatus)DICT_OK);
    EXPECT_EQ(directory_save(bare, 1, 17), (DictStatus)DICT_OK);
    bare.close();
    ToolResult result = run_tool(bare.dir.path(), { "export", "a.dic", dir.path("out").string() });
    EXPECT_EQ(result.exit, 0) << result.err;
    Files files = files_below("out");
    EXPECT_EQ(files["1/17/module.txt"], "name Financial Core\n");
    EXPECT_EQ(files["1/17/5/resources.txt"], "30\t00\t1\t30.bin\tSum\n");
    EXPECT_EQ(files["1/17/5/30.bin"], "abc");
    EXPECT_EQ(files.size(), 4u);    // with dictionary.txt: nothing of the core tables
}

TEST_F(zuk_export, tells_of_module_10_only_what_is_no_core_table)
{
    done({ "create", "a.dic" });
    done({ "change", "a.dic", "1/10", "--name", "Core Module 10" });
    done({ "export", "a.dic", "out" });
    EXPECT_EQ(files_below("out"), (Files{ { "dictionary.txt", "zuk-dictionary 1\nversion 11\n" },
                                          { "1/10/module.txt", "name Core Module 10\n" } }));
    done({ "import", "out", "b.dic" });
    done({ "export", "b.dic", "out2" });
    EXPECT_EQ(files_below("out2"), files_below("out"));
}

// ---- Plain folders --------------------------------------------------------------------------------------------------

struct zuk_export_plain : ToolTest {};

TEST_F(zuk_export_plain, writes_each_body_to_the_file_of_its_name)
{
    make_words();
    done({ "add", "a.dic", "2/100/1/3", "--name", "deep/er/file", "-" }, "body");
    done({ "export", "a.dic", "out", "--plain", "2/100/1" });
    EXPECT_EQ(files_below("out"), (Files{ { "One", "first" }, { "Two", "" }, { "deep/er/file", "body" } }));
}

TEST_F(zuk_export_plain, refuses_names_that_would_leave_the_folder)
{
    for (const char *name : { "../out2/x", "/tmp/zuk-x", "a/../../x", "a\\x00b", ".." }) {
        done({ "create", "a.dic", "--force" });
        done({ "add", "a.dic", "2/100", "--name", "Words" });
        done({ "add", "a.dic", "2/100/1/1", "--name", "Fine", "-" }, "x");
        done({ "add", "a.dic", "2/100/1/2", "--escaped", "--name", name, "-" }, "x");
        ToolResult result = zuk({ "export", "a.dic", "out", "--plain", "2/100/1" });
        EXPECT_EQ(result.exit, 5) << name;
        EXPECT_NE(result.err.find("is no name of a file"), std::string::npos) << result.err;
        EXPECT_FALSE(dir.has("out")) << name;
    }
}

TEST_F(zuk_export_plain, refuses_a_name_that_is_also_a_folder)
{
    make_words();
    done({ "add", "a.dic", "2/100/1/3", "--name", "One/more" });
    refused(5, "a.dic: 2/100/1: \"One\" would have to be a file and a folder",
            { "export", "a.dic", "out", "--plain", "2/100/1" });
}

TEST_F(zuk_export_plain, replaces_nothing_without_force)
{
    make_words();
    put("out/One", "mine");
    refused(5, "out/One: it differs from the export; --force replaces it",
            { "export", "a.dic", "out", "--plain", "2/100/1" });
    EXPECT_EQ(files_below("out"), (Files{ { "One", "mine" } }));
    done({ "export", "a.dic", "out", "--plain", "2/100/1", "--force" });
    EXPECT_EQ(files_below("out"), (Files{ { "One", "first" }, { "Two", "" } }));
    done({ "export", "a.dic", "out", "--plain", "2/100/1" });  // all of it is there as it has to be
    put("out/other", "mine");
    refused(5, "out/other: it is no part of this export; --force leaves it there and writes beside it",
            { "export", "a.dic", "out", "--plain", "2/100/1" });
}

} // namespace zuk
