#include "tests/tool/run_tool.h"

#include "engine/directory.h"
#include "engine/resources.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"
#include "tool/commands.h"
#include "tool/messages.h"
#include "tool/terminal.h"

#include <csignal>
#include <nlohmann/json.hpp>

namespace zuk {

namespace fs = std::filesystem;

using Files = std::map<std::string, std::string>;

struct zuk_import : ToolTest {
    // A folder of one module with a resource of each sort.
    void make_folder()
    {
        put("in/dictionary.txt", "zuk-dictionary 1\nversion 11\n");
        put("in/2/100/module.txt", "name Words\n");
        put("in/2/100/2/resources.txt", "100\t00\t-\tWords\n");
        put("in/2/100/1/resources.txt", "1\t00\t1.bin\tOne\n2\tA5\t-\tTwo\n3\t01\t3.bin\t\\x00\\\\\\xFF\n");
        put("in/2/100/1/1.bin", "first");
        put("in/2/100/1/3.bin", "third");
    }

    // The import of `in` is refused, with this complaint, and makes nothing.
    void refused_folder(const std::string &sentence)
    {
        refused(2, sentence, { "import", "in", "a.dic" });
        EXPECT_FALSE(dir.has("a.dic"));
    }
};

TEST_F(zuk_import, makes_an_equal_dictionary)
{
    make_folder();
    ToolResult result = zuk({ "import", "in", "a.dic" });
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "a.dic: 4 resources added, 0 replaced, 1 new module, 10 bytes\n");
    done({ "export", "a.dic", "out" });
    EXPECT_EQ(files_below("out"), files_below("in"));
}

TEST_F(zuk_import, makes_the_same_bytes_from_the_same_folder)
{
    make_folder();
    put("in/3/7/module.txt", "name Bare\n");  // a module that no resource stands for
    done({ "import", "in", "a.dic" });
    done({ "import", "in", "b.dic" });
    EXPECT_TRUE(dir.content("a.dic") == dir.content("b.dic"));
    done({ "export", "b.dic", "out" });
    done({ "import", "out", "c.dic" });
    EXPECT_TRUE(dir.content("a.dic") == dir.content("c.dic"));
}

TEST_F(zuk_import, makes_the_dictionary_that_the_commands_make)
{
    make_words();
    done({ "export", "a.dic", "out" });
    done({ "import", "out", "b.dic" });
    EXPECT_TRUE(dir.content("a.dic") == dir.content("b.dic"));
}

TEST_F(zuk_import, takes_over_the_version)
{
    make_folder();
    put("in/dictionary.txt", "zuk-dictionary 1\nversion 12\n");
    done({ "import", "in", "a.dic" });
    EXPECT_EQ(nlohmann::json::parse(done({ "info", "a.dic", "--json" }))["version"], 12);
}

TEST_F(zuk_import, adds_to_what_is_there)
{
    make_words();
    put("in/dictionary.txt", "zuk-dictionary 1\nversion 11\n");
    put("in/2/100/module.txt", "name Words\n");
    put("in/2/100/1/resources.txt", "3\t00\t-\tThree\n");
    done({ "import", "in", "a.dic" });
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/3", "--name" }), "Three");
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/1" }), "first");
}

TEST_F(zuk_import, refuses_taken_coordinates_before_it_writes)
{
    make_words();
    make_folder();
    refused_unchanged(5, "a.dic: 2/100/2/100 is there already, and 2 more; --force replaces what is there (status 2)",
                      { "import", "in", "a.dic" });
    done({ "import", "in", "a.dic", "--force" });
    done({ "export", "a.dic", "out" });
    EXPECT_EQ(files_below("out"), files_below("in"));
}

TEST_F(zuk_import, exchanges_names_by_force)
{
    make_words();
    done({ "export", "a.dic", "in" });
    put("in/2/100/1/resources.txt", "1\t00\t1.bin\tTwo\n2\t00\t-\tOne\n");
    put("in/2/100/module.txt", "name Texts\n");
    put("in/2/100/2/resources.txt", "100\t00\t-\tTexts\n");
    done({ "import", "in", "a.dic", "--force" });
    done({ "export", "a.dic", "out" });
    EXPECT_EQ(files_below("out"), files_below("in"));
}

TEST_F(zuk_import, refuses_taken_names_even_by_force)
{
    make_words();
    put("in/dictionary.txt", "zuk-dictionary 1\nversion 11\n");
    put("in/2/100/module.txt", "name Words\n");
    put("in/2/100/1/resources.txt", "3\t00\t-\tOne\n");
    refused_unchanged(5, "a.dic: 2/100/1/3: another resource has its name \"One\" (status 2)",
                      { "import", "in", "a.dic", "--force" });
    fs::remove_all(dir.path("in/2/100"));
    put("in/2/101/module.txt", "name Words\n");
    refused_unchanged(5, "a.dic: 2/101: the module 2/100 has its name \"Words\" (status 2)",
                      { "import", "in", "a.dic", "--force" });
}

TEST_F(zuk_import, only_tells_what_would_be_done)
{
    make_folder();
    EXPECT_EQ(done({ "import", "in", "a.dic", "--dry-run" }), "add 2/100/2/100\n"
                                                              "add 2/100/1/1\n"
                                                              "add 2/100/1/2\n"
                                                              "add 2/100/1/3\n");
    EXPECT_FALSE(dir.has("a.dic"));
    auto report = nlohmann::json::parse(done({ "import", "in", "a.dic", "--dry-run", "--json" }));
    EXPECT_EQ(report["added"], 4);
    EXPECT_EQ(report["bodyBytes"], 10);
}

// ---- Folders with mistakes ------------------------------------------------------------------------------------------

TEST_F(zuk_import, needs_a_folder_of_its_form)
{
    refused(3, "in: there is no such folder", { "import", "in", "a.dic" });
    put("in/file", "x");
    refused_folder("in: it holds no dictionary.txt, so it is no export; --to takes a folder of any files");
    put("in/dictionary.txt", "zuk-dictionary 2\nversion 11\n");
    fs::remove(dir.path("in/file"));
    refused_folder("in/dictionary.txt: line 1: it has to be \"zuk-dictionary 1\"");
    put("in/dictionary.txt", "zuk-dictionary 1\nversion 65536\n");
    refused_folder("in/dictionary.txt: line 2: it has to be \"version\" and a number from 0 to 65535, "
                   "and the last line");
}

TEST_F(zuk_import, names_file_and_line_of_a_mistake)
{
    const std::string list = "in/2/100/1/resources.txt";
    const std::string first = "1\t00\t1.bin\tOne\n";
    const std::string bad_name = "the name is not printable ASCII with \\\\ for a backslash and \\xHH for other bytes";
    struct Case {
        std::string second, complaint;
    };
    const Case cases[] = {
        { "2\t00\t-\n", "it has to hold identifier, flags, body file and name, with tabs between them" },
        { "0\t00\t-\tTwo\n", "the identifier is a number from 1 to 32767" },
        { "32768\t00\t-\tTwo\n", "the identifier is a number from 1 to 32767" },
        { "02\t00\t-\tTwo\n", "the identifier is a number from 1 to 32767" },
        { "1\t00\t-\tTwo\n", "the identifiers have to ascend" },
        { "2\t0\t-\tTwo\n", "the flags are two digits, 00 to FF" },
        { "2\tzz\t-\tTwo\n", "the flags are two digits, 00 to FF" },
        { "2\t00\t../1.bin\tTwo\n", "the body file \"../1.bin\" would lie outside the folder of its type" },
        { "2\t00\t/etc/passwd\tTwo\n", "the body file \"/etc/passwd\" would lie outside the folder of its type" },
        { "2\t00\t1.bin\tTwo\n", "the body file is 2.bin, or - where there is no body" },
        { "2\t00\t2.bin\tTwo\n", "2.bin is missing" },
        { "2\t00\t-\tOne\n", "the name stands in a line before it, too" },
        { "2\t00\t-\tTwo\r\n", "it ends in a carriage return, where the folder has line feeds alone" },
        { "2\t00\t-\tT\\wo\n", bad_name },
        { "2\t00\t-\tTwo\tThree\n", bad_name },
        { "2\t00\t-\t" + std::string(255, 'n') + "\n", "the name has 255 bytes, and at most 254 can be stored" },
    };
    make_folder();
    fs::remove(dir.path("in/2/100/1/3.bin"));
    for (const Case &mistake : cases) {
        put(list, first + mistake.second);
        refused_folder(list + ": line 2: " + mistake.complaint);
    }
    put(list, first);
    put("in/2/100/module.txt", "Words\n");
    refused_folder("in/2/100/module.txt: line 1: it has to be \"name\" and the name of the module, and the only line");
}

TEST_F(zuk_import, misses_nothing_and_nothing_is_left_over)
{
    make_folder();
    put("in/2/100/1/9.bin", "in no list");
    refused_folder("in/2/100/1/9.bin: no line of resources.txt names it");
    fs::remove(dir.path("in/2/100/1/9.bin"));
    put("in/2/100/1/2.bin", "the list says that there is none");
    refused_folder("in/2/100/1/2.bin: no line of resources.txt names it");
    fs::remove(dir.path("in/2/100/1/2.bin"));
    put("in/2/100/1/notes.txt", "x");
    refused_folder("in/2/100/1/notes.txt: it is no part of an export folder");
    fs::remove(dir.path("in/2/100/1/notes.txt"));
    fs::remove(dir.path("in/2/100/module.txt"));
    refused_folder("in/2/100/module.txt: it is missing");
    put("in/2/100/module.txt", "name Words\n");
    put("in/4/1/module.txt", "name x\n");
    refused_folder("in/4: it is no part of an export folder");
}

TEST_F(zuk_import, leaves_out_what_stands_beside_the_tree)
{
    make_folder();
    put("in/README", "about it");
    put("in/.git/config", "x");
    ToolResult result = zuk({ "import", "in", "a.dic" });
    EXPECT_EQ(result.exit, 0);
    EXPECT_NE(result.err.find("zuk: in/README: left out"), std::string::npos);
    EXPECT_EQ(result.err.find(".git"), std::string::npos);
}

#ifndef _WIN32
TEST_F(zuk_import, follows_no_link_out_of_the_folder)
{
    make_folder();
    put("secret", "not in the folder");
    fs::remove(dir.path("in/2/100/1/1.bin"));
    fs::create_symlink(dir.path("secret"), dir.path("in/2/100/1/1.bin"));
    refused_folder("in/2/100/1/1.bin: it is no part of an export folder");
}
#endif

// ---- Kind 1 ---------------------------------------------------------------------------------------------------------

struct zuk_import_of_kind_1 : zuk_import {
    void make_series()
    {
        put("in/dictionary.txt", "zuk-dictionary 1\nversion 11\n");
        put("in/1/17/module.txt", "name Financial Core\n");
        put("in/1/17/5/resources.txt", "1\t00\t1\t1.bin\tSum\n2\tA5\t1\t-\tNet\n");
        put("in/1/17/5/1.bin", "abc");
        put("in/1/33/module.txt", "name Other name\n");
        put("in/1/33/5/resources.txt", "20003\t00\t2\t-\tThree\n22003\t00\t2\t-\tFour\n");
        put("in/1/34/module.txt", "name Sales Strings\n");
        put("in/1/34/9/resources.txt", "1000\t00\t2\t-\tFar\n");    // beyond the 500 of a new table
    }
};

TEST_F(zuk_import_of_kind_1, brings_back_owners_flags_and_names)
{
    make_series();
    ToolResult result = zuk({ "import", "in", "a.dic" });
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "a.dic: 5 resources added, 0 replaced, 3 new modules, 3 bytes\n");
    done({ "export", "a.dic", "out" });
    EXPECT_EQ(files_below("out"), files_below("in"));
    EXPECT_EQ(done({ "check", "a.dic" }), "");
    done({ "import", "out", "b.dic" });
    EXPECT_TRUE(dir.content("a.dic") == dir.content("b.dic"));
}

// What the library makes when it is told the owner 15, which stands for none, or loses one.
TEST_F(zuk_import_of_kind_1, brings_back_an_owner_that_is_none_or_another)
{
    make_series();
    put("in/1/17/5/resources.txt", "1\t00\t-\t1.bin\tSum\n2\tA5\t6\t-\tNet\n");
    put("in/1/241/module.txt", "name Unknown Series Core\n");
    put("in/1/241/5/resources.txt", "7\t00\t-\t-\tSame\n8\t00\t-2\t-\tSame\n");    // no series beyond 6 is searched
    done({ "import", "in", "a.dic" });
    done({ "export", "a.dic", "out" });
    EXPECT_EQ(files_below("out"), files_below("in"));
}

TEST_F(zuk_import_of_kind_1, sets_owners_in_a_dictionary_that_is_there)
{
    make_words();
    done({ "add", "a.dic", "1/1/5/9", "--name", "Nine" });
    make_series();
    done({ "import", "in", "a.dic" });
    EXPECT_EQ(done({ "ls", "a.dic", "1/33/5" }), "COORDINATES   FLAGS  OWNER  BYTES  NAME\n"
                                                 "1/33/5/20003  00         2      0  Three\n"
                                                 "1/33/5/22003  00         2      0  Four\n");
    EXPECT_EQ(done({ "get", "a.dic", "1/1/5/9", "--name" }), "Nine");
    EXPECT_EQ(done({ "check", "a.dic" }), "");
}

TEST_F(zuk_import_of_kind_1, moves_a_resource_to_another_series_by_force)
{
    done({ "create", "a.dic" });
    done({ "add", "a.dic", "1/97/5/1", "--name", "Sum", "-" }, "before");      // series 6
    done({ "add", "a.dic", "1/97/5/22003", "--name", "Net", "-" }, "before");  // and its name goes to another
    make_series();
    refused_unchanged(5, "a.dic: 1/97/5/1 is there already, and 1 more; --force replaces what is there (status 2)",
                      { "import", "in", "a.dic" });
    ToolResult result = zuk({ "import", "in", "a.dic", "--force" });
    EXPECT_EQ(result.err, "a.dic: 3 resources added, 2 replaced, 3 new modules, 3 bytes\n");
    EXPECT_EQ(done({ "get", "a.dic", "1/17/5/1" }), "abc");
    EXPECT_EQ(zuk({ "get", "a.dic", "1/97/5/1" }).exit, 3);
    EXPECT_EQ(done({ "check", "a.dic" }), "");
}

TEST_F(zuk_import_of_kind_1, refuses_a_name_of_another_series)
{
    done({ "create", "a.dic" });
    done({ "add", "a.dic", "1/97/5/9", "--name", "Four" });
    make_series();
    refused_unchanged(5, "a.dic: 1/33/5/22003: another resource has its name \"Four\" (status 2)",
                      { "import", "in", "a.dic", "--force" });
}

// A change sees no names of lower series, so that two of them can come to have one.
TEST_F(zuk_import_of_kind_1, brings_back_one_name_in_two_series)
{
    done({ "create", "a.dic" });
    done({ "add", "a.dic", "1/17/5/1", "--name", "Sum" });
    done({ "add", "a.dic", "1/33/5/2", "--name", "Other" });
    done({ "change", "a.dic", "1/33/5/2", "--name", "Sum" });
    done({ "export", "a.dic", "in" });
    done({ "import", "in", "b.dic" });
    done({ "export", "b.dic", "out" });
    EXPECT_EQ(files_below("out"), files_below("in"));
    EXPECT_NE(files_below("out")["1/33/5/resources.txt"].find("\tSum\n"), std::string::npos);
    EXPECT_EQ(done({ "check", "b.dic" }), "");
}

TEST_F(zuk_import_of_kind_1, refuses_what_kind_1_cannot_hold)
{
    make_series();
    put("in/1/49/module.txt", "name Purchasing Core\n");
    auto refused_line = [&](const std::string &type, const std::string &line, const std::string &sentence) {
        put("in/1/49/" + type + "/resources.txt", line);
        refused_folder(sentence);
        fs::remove_all(dir.path("in/1/49/" + type));
    };
    refused_line("5", "1\t00\t3\t-\tAgain\n",
                 "in/1/49/5/1: it stands as 1/17/5/1, too, and kind 1 has an identifier once");
    refused_line("3", "1\t00\t-\t-\tThree\n",
                 "in/1/49/3/1: resources of kind 1 have owners, and the library has none for type 3");
    refused_line("2", "49\t00\t-\t-\tOwn\n",
                 "in/1/49/2/49: resources of kind 1 have owners, and the library has none for type 2");
    refused_line("52", "9\t00\t0\t-\tTable\n",
                 "in/1/49/52/9: types 52 to 54 of kind 1 are the core tables, which the library keeps itself");
    const std::string list = "in/1/49/5/resources.txt: line 1: ";
    const std::string owner = "the owner is a number from -128 to 127 other than -1 and 15, or - for none";
    refused_line("5", "7\t00\t15\t-\tx\n", list + owner);
    refused_line("5", "7\t00\t-1\t-\tx\n", list + owner);
    refused_line("5", "7\t00\t128\t-\tx\n", list + owner);
    refused_line("5", "7\t00\t-\tx\n",
                 list + "it has to hold identifier, flags, owner, body file and name, with tabs between them");
    put("in/1/26/module.txt", "name x\n");
    refused_folder("in/1/26: the library has core type 10 in series 0 alone, as module 10");
}

// Nothing of the core tables themselves stands in a folder, but module 10 can hold other things.
TEST_F(zuk_import_of_kind_1, brings_back_what_else_stands_in_module_10)
{
    done({ "create", "a.dic" });
    done({ "add", "a.dic", "1/Core Tables/5/3", "--name", "Guest", "-" }, "body");
    done({ "export", "a.dic", "out" });
    EXPECT_EQ(files_below("out"), (Files{ { "dictionary.txt", "zuk-dictionary 1\nversion 11\n" },
                                          { "1/10/module.txt", "name System Core Tables\n" },
                                          { "1/10/5/resources.txt", "3\t00\t0\t3.bin\tGuest\n" },
                                          { "1/10/5/3.bin", "body" } }));
    done({ "import", "out", "b.dic" });
    done({ "export", "b.dic", "out2" });
    EXPECT_EQ(files_below("out2"), files_below("out"));
    EXPECT_EQ(done({ "check", "b.dic" }), "");
}

TEST_F(zuk_import, makes_a_module_by_one_resource)
{
    make_folder();
    put("in/2/100/23/resources.txt", "100\t00\t-\tWords\n");
    refused_folder("in/2/100: it holds more than one resource of types 2 and 23, and a module is made by one");
}

TEST_F(zuk_import, refuses_more_places_than_a_module_has)
{
    // Type 5 gets its places by 20, type 30 too: 2 times 32,767 take 65,560, and 65,535 are all.
    make_folder();
    std::string lines;
    for (int id = 1; id <= 32767; id++) lines += std::to_string(id) + "\t00\t-\t" + std::to_string(id) + "\n";
    put("in/2/100/5/resources.txt", lines);
    put("in/2/100/30/resources.txt", lines);
    refused(2, "a.dic: 2/100: with so many resources the module would need more than 65535 places (status 13)",
            { "import", "in", "a.dic" });
    EXPECT_FALSE(dir.has("a.dic"));
}

// ---- What only the library makes ------------------------------------------------------------------------------------

TEST_F(zuk_import, gives_a_module_another_name_than_its_resource)
{
    make_folder();
    put("in/2/100/module.txt", "name Other\n");
    done({ "import", "in", "a.dic" });
    EXPECT_EQ(done({ "get", "a.dic", "2/100", "--name" }), "Other");
    done({ "export", "a.dic", "out" });
    EXPECT_EQ(files_below("out"), files_below("in"));
}

TEST_F(zuk_import, cannot_give_a_long_name_to_a_module_alone)
{
    make_folder();
    put("in/2/100/module.txt", "name " + std::string(80, 'n') + "\n");
    refused(2,
            "a.dic: 2/100: its name has more than 79 bytes and is not that of the resource that stands for it, so it "
            "cannot be given (status 19)",
            { "import", "in", "a.dic" });
    EXPECT_FALSE(dir.has("a.dic"));
    // As the name of both it can be given.
    put("in/2/100/2/resources.txt", "100\t00\t-\t" + std::string(80, 'n') + "\n");
    done({ "import", "in", "a.dic" });
    EXPECT_EQ(done({ "get", "a.dic", "2/100", "--name" }), std::string(80, 'n'));
}

// The library refuses a name of no characters on adding, and takes it on changing.
TEST_F(zuk_import, brings_back_a_resource_without_a_name)
{
    Library library;
    library.add_module(2, 100, "Words");
    EXPECT_EQ(library.add(2, 100, 1, 1, "One", "first"), (DictStatus)DICT_OK);
    EXPECT_EQ(library.change(2, 100, 1, 1, "", ""), (DictStatus)DICT_OK);
    ds_closefile(1);
    EXPECT_EQ(run_tool(library.dir.path(), { "export", "a.dic", dir.path("in").string() }).exit, 0);
    EXPECT_EQ(files_below("in")["2/100/1/resources.txt"], "1\t00\t1.bin\t\n");
    done({ "import", "in", "b.dic" });
    done({ "export", "b.dic", "out" });
    EXPECT_EQ(files_below("out"), files_below("in"));
}

// In a list of names above 65,500 bytes the library takes the first 79 bytes of a name for the whole: those that begin
// a longer one have to come first.
TEST_F(zuk_import, brings_back_names_that_a_long_list_confuses)
{
    make_folder();
    std::string prefix(79, 'p');
    std::string lines;
    for (int id = 1; id <= 330; id++) {
        lines += std::to_string(id) + "\t00\t-\t" + std::string(200, 'n') + std::to_string(id) + "\n";
    }
    lines += "331\t00\t-\t" + prefix + "longer\n" + "332\t00\t-\t" + prefix + "\n";
    put("in/2/100/7/resources.txt", lines);
    done({ "import", "in", "a.dic" });
    done({ "export", "a.dic", "out" });
    EXPECT_EQ(files_below("out"), files_below("in"));
}

// ---- Plain folders --------------------------------------------------------------------------------------------------

struct zuk_import_plain : ToolTest {};

TEST_F(zuk_import_plain, makes_a_resource_of_each_file)
{
    put("in/b", "body of b");
    put("in/a/c", "");
    put("in/a.txt", "x");
    ToolResult result = zuk({ "import", "in", "a.dic", "--to", "2/200/1", "--module-name", "Files" });
    EXPECT_EQ(result.exit, 0) << result.err;
    EXPECT_EQ(done({ "ls", "a.dic", "2/200", "-r" }), "COORDINATES  FLAGS  BYTES  NAME\n"
                                                       "2/200/1/1    00         1  a.txt\n"   // . sorts before /
                                                       "2/200/1/2    00         0  a/c\n"
                                                       "2/200/1/3    00         9  b\n"
                                                       "2/200/2/200  00         0  Files\n");
}

TEST_F(zuk_import_plain, comes_back_equal)
{
    std::string all;
    for (int byte = 0; byte < 256; byte++) all += (char)byte;
    for (int i = 0; i < 300; i++) {
        put("in/" + std::to_string(i % 7) + "/f" + std::to_string(i), all.substr((size_t)i % 256));
    }
    put("in/empty", "");
    put("in/large", std::string(200000, 'x'));
    done({ "import", "in", "a.dic", "--to", "3/9/30" });
    EXPECT_EQ(done({ "get", "a.dic", "3/9", "--name" }), "in");  // the folder's name
    done({ "export", "a.dic", "out", "--plain", "3/9/30" });
    EXPECT_TRUE(files_below("out") == files_below("in"));
}

TEST_F(zuk_import_plain, continues_above_the_highest_identifier)
{
    make_words();
    put("in/a", "x");
    done({ "import", "in", "a.dic", "--to", "2/100/1" });
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/3", "--name" }), "a");
}

TEST_F(zuk_import_plain, replaces_files_of_the_same_name_only_by_force)
{
    make_words();
    put("in/Two", "now with a body");
    put("in/new", "x");
    refused_unchanged(5, "a.dic: 2/100/1/2 is there already; --force replaces what is there (status 2)",
                      { "import", "in", "a.dic", "--to", "2/100/1" });
    done({ "import", "in", "a.dic", "--to", "2/100/1", "--force" });
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/2" }), "now with a body");
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/3" }), "x");
}

#ifndef _WIN32
TEST_F(zuk_import_plain, leaves_out_links_and_special_files)
{
    put("in/file", "x");
    fs::create_symlink("file", dir.path("in/link"));
    fs::create_directory_symlink("/", dir.path("in/root"));
    ToolResult result = zuk({ "import", "in", "a.dic", "--to", "2/1/1" });
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "zuk: in/link: left out, as it is a link or a special file\n"
                          "zuk: in/root: left out, as it is a link or a special file\n"
                          "a.dic: 1 resource added, 0 replaced, 1 new module, 1 bytes\n");
}
#endif

TEST_F(zuk_import_plain, refuses_a_path_above_254_bytes)
{
    make_words();
    std::string deep = std::string(200, 'd') + "/" + std::string(54, 'f');  // 255 bytes
    put("in/" + deep, "x");
    put("in/a", "x");
    refused_unchanged(2, "in/" + deep + ": the name has 255 bytes, and at most 254 can be stored (status 19)",
                      { "import", "in", "a.dic", "--to", "2/100/1" });
}

TEST_F(zuk_import_plain, refuses_more_files_than_identifiers)
{
    make_words();
    done({ "add", "a.dic", "2/100/1/32766", "--name", "Far" });
    put("in/a", "x");
    put("in/b", "x");
    refused_unchanged(2, "a.dic: 2/100/1: the folder holds 2 files, and identifiers end at 32767 (status 13)",
                      { "import", "in", "a.dic", "--to", "2/100/1" });
}

TEST_F(zuk_import_plain, refuses_a_place_that_cannot_hold_files)
{
    put("in/a", "x");
    refused(2, "2/1: --to needs KIND/MODULE/TYPE", { "import", "in", "a.dic", "--to", "2/1" });
    refused(2, "2/1/23: types 2 and 23 stand for modules, and hold no files",
            { "import", "in", "a.dic", "--to", "2/1/23" });
    refused(2, "1/1/3: resources of kind 1 have owners, and the library has none for type 3",
            { "import", "in", "a.dic", "--to", "1/1/3" });
    refused(2, "--module-name: it goes with --to, and names the module that is made",
            { "import", "in", "a.dic", "--module-name", "x" });
    EXPECT_FALSE(dir.has("a.dic"));
}

TEST_F(zuk_import_plain, takes_files_into_a_series)
{
    put("in/a", "x");
    put("in/b", "y");
    done({ "import", "in", "a.dic", "--to", "1/Financial Strings/9" });
    EXPECT_EQ(done({ "ls", "a.dic", "1/18", "-r" }), "COORDINATES   FLAGS  OWNER  BYTES  NAME\n"
                                                     "1/18/9/22000  00         1      1  a\n"
                                                     "1/18/9/22001  00         1      1  b\n");
    EXPECT_EQ(done({ "get", "a.dic", "1/18", "--name" }), "Financial Strings");
    // Identifiers and names are those of all series.
    refused_unchanged(5, "a.dic: 1/34/9/22002: another resource has its name \"a\" (status 2)",
                      { "import", "in", "a.dic", "--to", "1/34/9" });
    put("in2/c", "z");
    done({ "import", "in2", "a.dic", "--to", "1/34/9" });
    EXPECT_EQ(done({ "get", "a.dic", "1/34/9/22002" }), "z");
    done({ "import", "in", "a.dic", "--to", "1/18/9", "--force" });
    EXPECT_EQ(done({ "check", "a.dic" }), "");
    done({ "export", "a.dic", "out", "--plain", "1/18/9" });
    EXPECT_EQ(files_below("out"), files_below("in"));
}

// ---- Failures on the way --------------------------------------------------------------------------------------------

// In this process, so that a call can fail or a signal can come.
struct import_with_faults : zuk_import {
    std::string failure;    // what was said when something failed

    // True if it was done. Nothing is left beside.
    bool import_here()
    {
        CLI::App app;
        tool::Work work;
        tool::declare_import(app, work);
        app.parse({ "--quiet", dir.path("a.dic").string(), dir.path("in").string(), "import" });    // from the last
        failure.clear();
        try {
            work();
        } catch (const tool::Failure &thrown) {
            EXPECT_EQ(thrown.exit, tool::EXIT_TROUBLE) << thrown.what();
            failure = thrown.what();
        }
        dd_term();
        tool::set_quiet(false);
        tool::turn_progress_off(false);
        for (const fs::directory_entry &entry : fs::directory_iterator(dir.path())) {
            EXPECT_EQ(entry.path().filename().string().find("zuk-import"), std::string::npos) << entry.path();
        }
        return failure.empty();
    }

    std::string interrupted() const
    {
        return dir.path("a.dic").string() + ": the work was interrupted, and nothing of it is done";
    }

    ~import_with_faults() override
    {
        for (int signal : { SIGINT, SIGTERM }) (void)std::signal(signal, SIG_DFL);
    }
};

TEST_F(import_with_faults, leaves_a_dictionary_as_it_was_when_the_disk_is_full)
{
    make_folder();
    done({ "create", "a.dic" });
    std::string before = dir.content("a.dic");
    ASSERT_TRUE(import_here()) << failure;
    std::string good = dir.content("a.dic");
    Fault fault = { .call = FAULT_WRITE, .nth = 1, .from_then_on = true, .error = PLATFORM_DISK_FULL };
    for (bool met = true; met; fault.nth++) {
        dir.put("a.dic", before);
        faults_start(fault);
        bool is_done = import_here();
        met = faults_stop();
        EXPECT_TRUE(dir.content("a.dic") == (is_done ? good : before)) << fault.nth;
    }
    EXPECT_GT(fault.nth, 20u);
}

TEST_F(import_with_faults, leaves_a_dictionary_as_it_was_when_it_is_interrupted)
{
    make_folder();
    done({ "create", "a.dic" });
    std::string before = dir.content("a.dic");
    for (u32 nth : { 1u, 10u, 20u }) {    // when the file is opened, and between its changes
        faults_hook(FAULT_WRITE, nth, [] { (void)std::raise(SIGINT); });
        EXPECT_FALSE(import_here()) << nth;
        EXPECT_EQ(failure, interrupted());
        EXPECT_TRUE(dir.content("a.dic") == before) << nth;
    }
}

TEST_F(import_with_faults, leaves_no_new_dictionary_when_it_is_interrupted)
{
    make_folder();
    faults_hook(FAULT_WRITE, 1, [] { (void)std::raise(SIGTERM); });    // when the file is made
    EXPECT_FALSE(import_here());
    EXPECT_EQ(failure, interrupted());
    EXPECT_FALSE(dir.has("a.dic"));
}

#ifndef _WIN32
TEST_F(zuk_import, keeps_links_and_rights_of_a_dictionary)
{
    make_folder();
    done({ "create", "a.dic" });
    fs::permissions(dir.path("a.dic"), fs::perms(0640));
    fs::create_symlink("a.dic", dir.path("link.dic"));
    done({ "import", "in", "link.dic" });
    EXPECT_TRUE(fs::is_symlink(dir.path("link.dic")));
    EXPECT_EQ(fs::status(dir.path("a.dic")).permissions(), fs::perms(0640));
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/1" }), "first");
}
#endif

} // namespace zuk
