#include "tests/tool/run_tool.h"

#include "engine/copy.h"
#include "engine/resources.h"
#include "platform/platform.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"
#include "tool/messages.h"
#include "tool/pack_file.h"

#include <csignal>
#include <nlohmann/json.hpp>

namespace zuk {

namespace fs = std::filesystem;

struct zuk_pack : ToolTest {
    // a.dic with holes in it: kinds 1 to 3, flags, long names, and things that were removed.
    void make_holes()
    {
        put("in/dictionary.txt", "zuk-dictionary 1\nversion 12\n");
        put("in/1/11/module.txt", "name Eleven\n");
        put("in/1/12/module.txt", "name Core Module 17\n");    // as a copy would call 17
        put("in/1/12/31/resources.txt", "1\t00\t0\t-\tOf core type 12\n");
        put("in/1/17/module.txt", "name Financial Core\n");
        put("in/1/17/5/resources.txt", "1\t00\t1\t1.bin\tSum\n22000\t80\t1\t-\tNet\n");
        put("in/1/17/5/1.bin", "abc");
        put("in/1/34/module.txt", "name " + std::string(200, 'k') + "\n");
        put("in/1/34/9/resources.txt", "20001\t00\t2\t20001.bin\tLocal\n");
        put("in/1/34/9/20001.bin", std::string(3000, 'l'));
        put("in/2/100/module.txt", "name Words\n");
        put("in/2/100/2/resources.txt", "100\t07\t-\tWords\n");
        put("in/2/100/1/resources.txt", "1\t00\t1.bin\tOne\n2\tA5\t-\tTwo\n3\t01\t3.bin\t\\x00\\\\\\xFF\n");
        put("in/2/100/1/1.bin", "first");
        put("in/2/100/1/3.bin", std::string(70000, 't'));
        put("in/3/-5/module.txt", "name " + std::string(254, 'n') + "\n");
        put("in/3/-5/30/resources.txt", "7\t00\t-\tSeven\n");
        done({ "import", "in", "a.dic" });
        done({ "add", "a.dic", "2/101", "--name", "Gone" });
        done({ "add", "a.dic", "2/101/19/1", "--name", "Gone", "in/2/100/1/3.bin" });
        done({ "rm", "a.dic", "2/101", "--force" });
    }

    void expect_no_leavings()
    {
        for (const fs::directory_entry &entry : fs::directory_iterator(dir.path())) {
            EXPECT_EQ(entry.path().filename().string().find("zuk-pack"), std::string::npos) << entry.path();
        }
    }
};

TEST_F(zuk_pack, keeps_everything_and_takes_less_room)
{
    make_holes();
    std::string before = dir.content("a.dic");
    ToolResult result = zuk({ "pack", "a.dic", "b.dic" });
    EXPECT_EQ(result.exit, 0) << result.err;
    size_t packed = dir.content("b.dic").size();
    EXPECT_LT(packed, before.size());
    EXPECT_EQ(result.err, "b.dic: " + std::to_string(packed) + " bytes, " + std::to_string(before.size() - packed) +
                              " bytes saved; 7 modules, 165 resources\n");
    EXPECT_TRUE(dir.content("a.dic") == before);
    expect_no_leavings();

    done({ "export", "b.dic", "out" });
    EXPECT_EQ(files_below("out"), files_below("in"));
    // With the core tables, which the folders leave out.
    EXPECT_EQ(done({ "ls", "b.dic", "-r", "--json" }), done({ "ls", "a.dic", "-r", "--json" }));
    EXPECT_EQ(done({ "ls", "b.dic", "--json" }), done({ "ls", "a.dic", "--json" }));
    EXPECT_EQ(done({ "check", "b.dic" }), "");
}

TEST_F(zuk_pack, gives_the_same_file_the_second_time)
{
    make_holes();
    done({ "pack", "a.dic", "b.dic" });
    ToolResult result = zuk({ "pack", "b.dic", "c.dic" });
    EXPECT_NE(result.err.find(" bytes, 0 bytes saved;"), std::string::npos) << result.err;
    EXPECT_TRUE(dir.content("c.dic") == dir.content("b.dic"));
}

TEST_F(zuk_pack, makes_a_dictionary_that_works)
{
    make_holes();
    done({ "pack", "a.dic", "b.dic" });
    done({ "add", "b.dic", "1/49/5/2", "--name", "New", "-" }, "body");
    done({ "change", "b.dic", "1/34/9/20001", "-" }, "shorter");
    done({ "add", "b.dic", "2/100/1", "--name", "Four", "-" }, "body");
    done({ "rm", "b.dic", "3/-5", "--force" });
    EXPECT_EQ(done({ "get", "b.dic", "1/49/5/2" }), "body");
    EXPECT_EQ(done({ "get", "b.dic", "1/34/9/20001" }), "shorter");
    EXPECT_EQ(done({ "check", "b.dic" }), "");
}

// A type whose last resource was removed has blocks in which nothing is used.
TEST_F(zuk_pack, keeps_types_without_resources)
{
    make_words();
    done({ "rm", "a.dic", "2/100/1/1" });
    done({ "rm", "a.dic", "2/100/1/2" });
    done({ "pack", "a.dic", "b.dic" });
    EXPECT_EQ(done({ "ls", "b.dic", "2/100" }), done({ "ls", "a.dic", "2/100" }));
    done({ "add", "b.dic", "2/100/1/1", "--name", "One", "-" }, "first");
    EXPECT_EQ(done({ "get", "b.dic", "2/100/1/1" }), "first");
    EXPECT_EQ(done({ "check", "b.dic" }), "");
}

TEST_F(zuk_pack, packs_more_modules_than_a_new_table_holds)
{
    put("in/dictionary.txt", "zuk-dictionary 1\nversion 11\n");
    for (int i = 1; i <= 120; i++) {
        std::string module = "in/2/" + std::to_string(i);
        put(module + "/module.txt", "name Module " + std::to_string(i) + "\n");
        put(module + "/1/resources.txt", "1\t00\t1.bin\tOne\n");
        put(module + "/1/1.bin", std::string((size_t)i, 'b'));
    }
    done({ "import", "in", "a.dic" });
    done({ "pack", "a.dic", "b.dic" });
    done({ "export", "b.dic", "out" });
    EXPECT_EQ(files_below("out"), files_below("in"));
    EXPECT_EQ(done({ "check", "b.dic" }), "");
    done({ "pack", "b.dic", "c.dic" });
    EXPECT_EQ(dir.content("c.dic").size(), dir.content("b.dic").size());
}

// It is not opened by the way that makes them, so that it stays as it is.
TEST_F(zuk_pack, leaves_a_file_without_core_tables_without_them)
{
    BareDictionary bare;
    EXPECT_EQ(module_create(bare, 2, 100, Name("Words")), (DictStatus)DICT_OK);
    bare.close();
    dir.put("a.dic", bare.bytes());
    done({ "pack", "a.dic", "b.dic" });
    EXPECT_TRUE(dir.content("a.dic") == bare.bytes());
    auto report = nlohmann::json::parse(done({ "check", "b.dic", "--json" }));
    EXPECT_EQ(report["modules"], 1);
    EXPECT_EQ(report["resources"], 0);
}

TEST_F(zuk_pack, keeps_the_header)
{
    make_holes();
    std::string bytes = dir.content("a.dic");
    bytes.replace(6, 4, "\x12\x34\x56\x78");    // the change count, and what is reserved
    dir.put("a.dic", bytes);
    done({ "pack", "a.dic", "b.dic" });
    EXPECT_EQ(dir.content("b.dic").substr(0, 10), bytes.substr(0, 10));
}

TEST_F(zuk_pack, gives_json)
{
    make_words();
    size_t before = dir.content("a.dic").size();
    auto report = nlohmann::json::parse(done({ "pack", "a.dic", "b.dic", "--json" }));
    size_t after = dir.content("b.dic").size();
    EXPECT_EQ(report["bytesBefore"], before);
    EXPECT_EQ(report["bytesAfter"], after);
    EXPECT_EQ(report["saved"], before - after);
    EXPECT_EQ(report["modules"], 2);
    EXPECT_EQ(report["resources"], 159);
}

TEST_F(zuk_pack, only_tells_the_sizes_that_there_would_be)
{
    make_holes();
    put("b.dic", "a letter");
    ToolResult dry = zuk({ "pack", "a.dic", "b.dic", "--dry-run", "--force" });
    EXPECT_EQ(dry.exit, 0);
    EXPECT_EQ(dir.content("b.dic"), "a letter");
    expect_no_leavings();
    ToolResult real = zuk({ "pack", "a.dic", "b.dic", "--force" });
    std::string said = real.err;
    EXPECT_EQ(dry.err, said.insert(said.find(": ") + 2, "would be: "));
}

TEST_F(zuk_pack, replaces_a_file_only_by_force)
{
    make_words();
    put("b.dic", "a letter");
    refused_unchanged(5, "b.dic: there is such a file already; --force replaces it (status 2)",
                      { "pack", "a.dic", "b.dic" });
    EXPECT_EQ(dir.content("b.dic"), "a letter");
    done({ "pack", "a.dic", "b.dic", "--force" });
    EXPECT_EQ(done({ "get", "b.dic", "2/100/1/1" }), "first");
    expect_no_leavings();
}

TEST_F(zuk_pack, refuses_places_that_it_cannot_take)
{
    make_words();
    refused_unchanged(2, "a.dic: it is the dictionary itself", { "pack", "a.dic", "a.dic", "--force" });
    refused_unchanged(2, "./a.dic: it is the dictionary itself", { "pack", "a.dic", "./a.dic", "--force" });
    refused_unchanged(3, "no/b.dic: there is no such folder (status 6)", { "pack", "a.dic", "no/b.dic" });
    fs::create_directory(dir.path("d"));
    refused_unchanged(2, "d: it is a directory", { "pack", "a.dic", "d", "--force" });
    expect_no_leavings();
}

TEST_F(zuk_pack, does_not_replace_a_file_that_somebody_has_open)
{
    make_words();
    put("b.dic", "a letter");
    FileHandle reader = 0;
    ASSERT_EQ(native_files.open(dir.native("b.dic").c_str(), PLATFORM_READ_ONLY, &reader), (u32)PLATFORM_OK);
    refused(4, "b.dic: somebody has it open (status 10)", { "pack", "a.dic", "b.dic", "--force" });
    native_files.close(reader);
    EXPECT_EQ(dir.content("b.dic"), "a letter");
    expect_no_leavings();
}

TEST_F(zuk_pack, refuses_a_file_with_faults)
{
    make_words();
    std::string bytes = dir.content("a.dic");
    bytes[10] = 4;    // the index of the block table's own entry
    dir.put("a.dic", bytes);
    refused(1, "a.dic: it has 1 fault, which would be copied; zuk check names it", { "pack", "a.dic", "b.dic" });
    EXPECT_FALSE(dir.has("b.dic"));
    expect_no_leavings();
}

TEST_F(zuk_pack, packs_into_a_path_of_any_length)
{
    make_words();
    std::string deep;
    for (int i = 0; i < 4; i++) deep += std::string(50, (char)('a' + i)) + "/";
    fs::create_directories(dir.path(deep));
    done({ "pack", "a.dic", deep + "b.dic" });
    done({ "pack", deep + "b.dic", "c.dic" });
    EXPECT_EQ(done({ "get", "c.dic", "2/100/1/1" }), "first");
}

// ---- Failures on the way --------------------------------------------------------------------------------------------

// In this process, so that a call can fail.
struct pack_dictionary_with_faults : zuk_pack {
    std::string good;    // the packed file as it has to be

    // Pack a.dic over b.dic with this fault. Either it fails, and b.dic and a.dic are as they were, or b.dic is good;
    // nothing else is left. False when the fault was not met.
    bool pack_with(const Fault &fault)
    {
        put("b.dic", "a letter");
        std::string before = dir.content("a.dic");
        faults_start(fault);
        bool failed = false;
        try {
            (void)tool::pack_dictionary(dir.path("a.dic").string(), dir.path("b.dic").string(), true);
        } catch (const tool::Failure &failure) {
            failed = true;
            EXPECT_NE(failure.exit, 0);
        }
        bool met = faults_stop();
        failures += failed;
        EXPECT_TRUE(dir.content("b.dic") == (failed ? "a letter" : good)) << fault.nth;
        EXPECT_TRUE(dir.content("a.dic") == before) << fault.nth;
        expect_no_leavings();
        return met;
    }

    void make_good()
    {
        make_words();
        done({ "pack", "a.dic", "c.dic" });
        good = dir.content("c.dic");
    }
    int failures = 0;
};

TEST_F(pack_dictionary_with_faults, leaves_nothing_when_it_is_interrupted)
{
    make_good();
    faults_hook(FAULT_WRITE, 1, [] { (void)std::raise(SIGINT); });    // when the new file is made
    EXPECT_FALSE(pack_with({}));
    EXPECT_EQ(failures, 1);
    (void)std::signal(SIGINT, SIG_DFL);
}

TEST_F(pack_dictionary_with_faults, leaves_nothing_when_the_disk_is_full)
{
    make_good();
    Fault fault = { .call = FAULT_WRITE, .nth = 1, .from_then_on = true, .error = PLATFORM_DISK_FULL };
    while (pack_with(fault)) fault.nth++;
    EXPECT_GT(fault.nth, 30u);
    EXPECT_GE(failures + 1, (int)fault.nth - 4);    // only the header at the end was written before
}

// The library does not look at each of its writes.
TEST_F(pack_dictionary_with_faults, finds_a_write_that_was_lost)
{
    make_good();
    Fault fault = { .call = FAULT_WRITE, .nth = 1 };
    while (pack_with(fault)) fault.nth++;
    EXPECT_GT(failures, 20);
}

TEST_F(pack_dictionary_with_faults, leaves_nothing_whichever_read_or_open_fails)
{
    make_good();
    for (FaultCall call : { FAULT_READ, FAULT_OPEN, FAULT_ALLOC }) {
        Fault fault = { .call = call, .nth = 1 };
        while (pack_with(fault)) fault.nth++;
        EXPECT_GT(fault.nth, 3u);
    }
}

#ifndef _WIN32
TEST_F(zuk_pack, keeps_the_rights_of_a_file_that_it_replaces)
{
    make_words();
    (void)dir.put("b.dic", "a letter");
    fs::permissions(dir.path("b.dic"), fs::perms(0640));
    done({ "pack", "a.dic", "b.dic", "--force" });
    EXPECT_EQ(fs::status(dir.path("b.dic")).permissions(), fs::perms(0640));
    EXPECT_EQ(done({ "check", "b.dic" }), "");
}
#endif

} // namespace zuk
