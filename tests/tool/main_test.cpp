// What holds for every command.

#include "tests/tool/run_tool.h"

#include "engine/dict_file.h"
#include "platform/platform.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>

#ifndef _WIN32
#include <sys/wait.h>
#endif

namespace zuk {

struct zuk_command : ToolTest {};

static const char *const commands[] = { "create", "info",   "ls",     "get",     "add",   "change",
                                        "rm",     "export", "import", "next-id", "check", "pack", "settings" };

TEST_F(zuk_command, tells_its_version) { EXPECT_EQ(done({ "--version" }), "zuk " ZUK_VERSION "\n"); }

TEST_F(zuk_command, has_help_with_an_example_each)
{
    std::string all = done({ "--help" });
    for (const char *command : commands) {
        EXPECT_NE(all.find(std::string("  ") + command), std::string::npos) << command;
        std::string help = done({ command, "--help" });
        EXPECT_NE(help.find(std::string("Example:\n  zuk ") + command), std::string::npos) << help;
    }
}

TEST_F(zuk_command, is_told_in_the_manual_with_every_option)
{
    std::ifstream in(ZUK_SOURCE_DIR "/docs/zuk.1");
    std::string manual(std::istreambuf_iterator<char>(in), {});
    for (size_t at; (at = manual.find("\\-")) != std::string::npos;) manual.erase(at, 1);
    for (const std::string command : commands) {
        EXPECT_NE(manual.find("\n.B zuk " + command + "\n"), std::string::npos) << command;
        std::string help = done({ command, "--help" });
        static const std::regex option("--[a-z-]+");
        for (std::sregex_iterator found(help.begin(), help.end(), option), none; found != none; ++found) {
            std::string head = manual.substr(manual.find("\n.SH OPTIONS"));
            EXPECT_NE(head.substr(0, head.find("\n.SH EXIT")).find(found->str()), std::string::npos)
                << command << " " << found->str();
        }
    }
}

TEST_F(zuk_command, refuses_wrong_use_in_one_sentence)
{
    refused(2, "A subcommand is required; see zuk --help", {});
    refused(2, "frob: there is no such command; see zuk --help", { "frob", "a.dic" });
    refused(2, "FILE is required; see zuk ls --help", { "ls" });
    refused(2, "The following argument was not expected: --frob; see zuk ls --help", { "ls", "a.dic", "--frob" });
}

// Each command with arguments that would do if the file were one.
static std::vector<std::vector<std::string>> on_file(const std::string &file)
{
    return { { "info", file },
             { "info", "--blocks", file },
             { "ls", file },
             { "get", file, "2/100/1/1" },
             { "add", file, "2/100/1/7", "--name", "Seven" },
             { "change", file, "2/100/1/1", "--name", "Seven" },
             { "rm", file, "2/100/1/1" },
             { "export", file, "out" },
             { "next-id", file, "2/100/1" },
             { "check", file },
             { "pack", file, "out" } };
}

TEST_F(zuk_command, does_not_find_a_missing_file)
{
    for (const auto &command : on_file("a.dic")) refused(3, "a.dic: there is no such file (status 6)", command);
    for (const auto &command : on_file("no/a.dic")) refused(3, "no/a.dic: there is no such file (status 6)", command);
    EXPECT_FALSE(dir.has("a.dic"));
    EXPECT_FALSE(dir.has("out"));
}

TEST_F(zuk_command, refuses_a_file_that_is_no_dictionary)
{
    for (const char *content : { "", "%VT", "Dear Sir or Madam, this is a letter of more than 26 bytes." }) {
        put("a.dic", content);
        for (const auto &command : on_file("a.dic")) {
            refused_unchanged(2, "a.dic: it is no dictionary (status 4)", command);
        }
    }
}

TEST_F(zuk_command, tells_damage_by_its_own_status)
{
    make_words();
    dir.put("a.dic", dir.content("a.dic").substr(0, 100));  // the header alone is whole
    for (const auto &command : on_file("a.dic")) {
        if (command[1] == "--blocks" || command[0] == "check") continue;    // they show what there is
        refused_unchanged(1, "a.dic: its tables do not lie inside it (status 4)", command);
    }
}

// An open for reading has missing core tables made. In a damaged file that would overwrite what is left of it.
TEST_F(zuk_command, leaves_a_damaged_file_as_it_is)
{
    make_words();
    dir.put("a.dic", dir.content("a.dic").substr(0, 9000));  // the directories stand behind it
    std::string wrong = ": the directory of the module is wrong (status 3)";
    for (const char *command : { "ls", "info" }) refused_unchanged(1, "a.dic: 1/10" + wrong, { command, "a.dic" });
    refused_unchanged(1, "a.dic: 1/10" + wrong, { "export", "a.dic", "out" });
    refused_unchanged(1, "a.dic: 2/100" + wrong, { "get", "a.dic", "2/100/1/1" });
    refused_unchanged(1, "a.dic: 2/100" + wrong, { "next-id", "a.dic", "2/100/1" });
    std::string damaged = "a.dic: it is damaged, and its core tables cannot be made; zuk check names the faults";
    refused_unchanged(1, damaged, { "add", "a.dic", "2/100/1/7", "--name", "Seven" });
    refused_unchanged(1, damaged, { "rm", "a.dic", "2/100", "--force" });
}

TEST_F(zuk_command, tells_a_header_that_is_cut_off)
{
    make_words();
    dir.put("a.dic", dir.content("a.dic").substr(0, 25));    // of 26 bytes
    refused_unchanged(1, "a.dic: its header is cut off (status 4)", { "check", "a.dic" });
    refused_unchanged(1, "a.dic: its header is cut off (status 4)", { "info", "a.dic", "--blocks" });
}

TEST_F(zuk_command, refuses_a_directory)
{
    std::filesystem::create_directory(dir.path("a"));
    for (const auto &command : on_file("a")) {
#ifdef _WIN32
        EXPECT_EQ(zuk(command).exit, 2);
#else
        refused(2, "a: it is a directory (status 10)", command);
#endif
    }
    refused(2, "no file name was given (status 14)", { "ls", "" });
}

// Somebody has a file open in a mode, as long as the object lives.
struct Holder {
    FileHandle file = 0;
    Holder(const TempDir &dir, u16 mode, const std::string &name = "a.dic")
    {
        EXPECT_EQ(native_files.open(dir.native(name).c_str(), mode, &file), (u32)PLATFORM_OK);
    }
    ~Holder() { native_files.close(file); }
};

TEST_F(zuk_command, is_locked_out_while_somebody_has_the_file_to_himself)
{
    make_words();
    Holder holder(dir, PLATFORM_RW_EXCLUSIVE);
    for (const auto &command : on_file("a.dic")) {
        refused(4, "a.dic: somebody has it open (status 10)", command);
    }
    put("in/file", "x");
    refused(4, "a.dic: somebody has it open (status 10)", { "import", "in", "a.dic", "--to", "2/100/1" });
    refused(4, "a.dic: it cannot be replaced, as somebody has it open or protects it (status 6)",
            { "create", "a.dic", "--force" });
}

TEST_F(zuk_command, changes_nothing_while_somebody_reads)
{
    make_words();
    Holder holder(dir, PLATFORM_READ_ONLY);
    EXPECT_EQ(done({ "get", "a.dic", "2/100/1/1" }), "first");
    for (const char *command : { "add", "change" }) {
        refused_unchanged(4, "a.dic: somebody has it open (status 10)",
                          { command, "a.dic", "2/100/1/1", "--name", "x" });
    }
    refused_unchanged(4, "a.dic: somebody has it open (status 10)", { "rm", "a.dic", "2/100/1/1" });
}

// ---- Paths ----------------------------------------------------------------------------------------------------------

TEST_F(zuk_command, reaches_a_path_of_any_length_by_its_directory)
{
    // 4 directories of 50 bytes: far above the 127 that the library takes.
    std::string deep;
    for (int i = 0; i < 4; i++) deep += std::string(50, (char)('a' + i)) + "/";
    std::filesystem::create_directories(dir.path(deep));
    put("body", "a body beside");
    done({ "create", deep + "a.dic" });
    done({ "add", deep + "a.dic", "2/100", "--name", "Words" });
    done({ "add", deep + "a.dic", "2/100/1/1", "--name", "One", "body" });  // found where the command began
    EXPECT_EQ(done({ "get", deep + "a.dic", "2/100/1/1" }), "a body beside");
    done({ "get", deep + "a.dic", "2/100/1/1", "-o", "got" });
    EXPECT_EQ(dir.content("got"), "a body beside");
    done({ "export", deep + "a.dic", "out" });
    EXPECT_EQ(files_below("out").size(), 5u);  // head, module, two lists, one body
}

TEST_F(zuk_command, is_locked_out_of_a_long_path_too)
{
    // Above the 127 bytes of the library, below the 260 of some systems.
    std::string deep = std::string(130, 'd') + "/";
    std::filesystem::create_directories(dir.path(deep));
    done({ "create", deep + "a.dic" });
    Holder holder(dir, PLATFORM_RW_EXCLUSIVE, deep + "a.dic");
    refused(4, deep + "a.dic: somebody has it open (status 10)", { "ls", deep + "a.dic" });
}

TEST_F(zuk_command, takes_a_name_of_127_bytes_and_no_longer_one)
{
    std::string longest(123, 'a');
    done({ "create", longest + ".dic" });
    done({ "ls", "./" + longest + ".dic" });
#ifdef _WIN32
    EXPECT_EQ(zuk({ "create", longest + "b.dic" }).exit, 2);
#else
    refused(2, longest + "b.dic: the file's name has to be of at most 127 characters, without colon and backslash",
            { "create", longest + "b.dic" });
#endif
    EXPECT_FALSE(dir.has(longest + "b.dic"));
}

#ifndef _WIN32
TEST_F(zuk_command, says_when_a_name_would_mean_another_file)
{
    for (const char *name : { "a:b.dic", "a\\b.dic", ":a.dic" }) {
        const char *rule = ": the file's name has to be of at most 127 characters, without colon and backslash";
        refused(2, name + std::string(rule), { "create", name });
    }
    std::filesystem::create_directory(dir.path("c:d"));  // only the last part has to be a name of the library
    done({ "create", "c:d/a.dic" });
    EXPECT_TRUE(dir.has("c:d/a.dic"));
}
#endif

// ---- Streams --------------------------------------------------------------------------------------------------------

TEST_F(zuk_command, writes_no_progress_and_no_colour_into_files)
{
    make_words();
    ToolResult result = zuk({ "ls", "a.dic", "-r" });
    EXPECT_EQ(result.out.find('\033'), std::string::npos);
    EXPECT_EQ(result.err, "");
}

#ifndef _WIN32
// Run a line of the shell in a directory, where `zuk` is the tool; its exit status.
static int in_shell(const TempDir &dir, const std::string &line)
{
    std::string tool = std::filesystem::absolute(ZUK_TOOL).string();
    std::string shell = "cd '" + dir.path().string() + "' && zuk() { '" + tool + "' \"$@\"; } && " + line;
    int status = std::system(shell.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(zuk_command, writes_no_words_into_a_dictionary_in_the_place_of_a_closed_stream)
{
    make_words();
    put("in/file", "x");
    std::filesystem::create_symlink("file", dir.path("in/link"));    // it is said to be left out, with a.dic open
    EXPECT_EQ(in_shell(dir, "zuk import in a.dic --to 2/200/1 2>&-"), 0);
    done({ "check", "a.dic" });
    EXPECT_EQ(done({ "get", "a.dic", "2/200/1/1" }), "x");
}

TEST_F(zuk_command, fails_when_a_stream_that_it_needs_is_closed)
{
    make_words();
    EXPECT_EQ(in_shell(dir, "zuk get a.dic 2/100/1/1 >&- 2> err"), 2);
    EXPECT_EQ(dir.content("err"), "zuk: standard output: it cannot be written\n");
    EXPECT_EQ(in_shell(dir, "zuk add a.dic 2/100/1 --name Three - <&- 2> err"), 2);
    EXPECT_EQ(dir.content("err").find("zuk: standard input: it cannot be read: "), 0u);
}

TEST_F(zuk_command, fails_when_nobody_reads_its_output)
{
    make_words();
    put("body", std::string(1000000, 'b'));    // more than a pipe takes
    done({ "add", "a.dic", "2/100/1/3", "--name", "Three", "body" });
    EXPECT_EQ(in_shell(dir, "{ zuk get a.dic 2/100/1/3 2> err; echo $? > status; } | true"), 0);
    EXPECT_EQ(dir.content("err"), "zuk: standard output: it cannot be written\n");
    EXPECT_EQ(dir.content("status"), "2\n");
}

TEST_F(zuk_command, leaves_no_half_file_of_a_body)
{
    make_words();
    put("body", std::string(1000000, 'b'));
    done({ "add", "a.dic", "2/100/1/3", "--name", "Three", "body" });
    // As on a full disk: no file may have more than some 100 blocks.
    EXPECT_EQ(in_shell(dir, "trap '' XFSZ; ulimit -f 100; zuk get a.dic 2/100/1/3 -o half 2> err"), 2);
    EXPECT_EQ(dir.content("err").find("zuk: half: it cannot be written: "), 0u);
    EXPECT_FALSE(dir.has("half"));
}
#endif

TEST_F(zuk_command, says_nothing_when_it_is_to_be_quiet)
{
    make_words();
    EXPECT_NE(zuk({ "export", "a.dic", "out" }).err, "");
    ToolResult result = zuk({ "export", "a.dic", "out2", "--quiet" });
    EXPECT_EQ(result.exit, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(zuk({ "ls", "b.dic", "--quiet" }).err, "zuk: b.dic: there is no such file (status 6)\n");
}

} // namespace zuk
