#include "tests/tool/run_tool.h"

#include "engine/directory.h"
#include "tests/support/dictionary.h"

#include <fstream>
#include <iterator>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
extern char **environ;
#endif

namespace zuk {

namespace fs = std::filesystem;

static std::string content_of(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

#ifdef _WIN32

// An argument as the C library of the program takes it apart again.
static std::string quoted(const std::string &argument)
{
    std::string text = "\"";
    size_t backslashes = 0;
    for (char character : argument) {
        if (character == '"') text += std::string(backslashes + 1, '\\');
        backslashes = character == '\\' ? backslashes + 1 : 0;
        text += character;
    }
    return text + std::string(backslashes, '\\') + "\"";
}

static HANDLE open_stream(const fs::path &path, bool writing)
{
    SECURITY_ATTRIBUTES inherited = { sizeof inherited, nullptr, TRUE };
    DWORD access = writing ? GENERIC_WRITE : GENERIC_READ;
    DWORD disposition = writing ? CREATE_ALWAYS : OPEN_EXISTING;
    return CreateFileA(path.string().c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, disposition,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

static int run_program(const fs::path &directory, const std::vector<std::string> &arguments, const fs::path &in,
                       const fs::path &out, const fs::path &err)
{
    std::string line;
    for (const std::string &argument : arguments) line += (line.empty() ? "" : " ") + quoted(argument);
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = open_stream(in, false);
    startup.hStdOutput = open_stream(out, true);
    startup.hStdError = open_stream(err, true);
    PROCESS_INFORMATION process = {};
    BOOL started = CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, directory.string().c_str(),
                                  &startup, &process);
    DWORD status = (DWORD)-1;
    if (started) {
        WaitForSingleObject(process.hProcess, INFINITE);
        GetExitCodeProcess(process.hProcess, &status);
        CloseHandle(process.hProcess);
        CloseHandle(process.hThread);
    }
    for (HANDLE stream : { startup.hStdInput, startup.hStdOutput, startup.hStdError }) CloseHandle(stream);
    return (int)status;
}

#else

static int run_program(const fs::path &directory, const std::vector<std::string> &arguments, const fs::path &in,
                       const fs::path &out, const fs::path &err)
{
    std::vector<char *> argv;
    for (const std::string &argument : arguments) argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
    pid_t child = 0;
    int error = posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error) return -1;

    int status = 0;
    if (waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
    return WEXITSTATUS(status);
}

#endif

ToolResult run_tool(const fs::path &directory, const std::vector<std::string> &arguments, const std::string &input)
{
    TempDir streams;
    (void)streams.put("in", input);
    std::vector<std::string> all = { fs::absolute(ZUK_TOOL).string() };
    all.insert(all.end(), arguments.begin(), arguments.end());
    ToolResult result = {};
    result.exit = run_program(directory, all, streams.path("in"), streams.path("out"), streams.path("err"));
    result.out = content_of(streams.path("out"));
    result.err = content_of(streams.path("err"));
    return result;
}

std::string file_without_core_tables()
{
    BareDictionary bare;
    EXPECT_EQ(module_create(bare, 1, 17, Name("Financial Core")), (DictStatus)DICT_OK);
    EXPECT_EQ(resource_add_entry(bare, 1, 17, 5, 30, 4, 3), (DictStatus)DICT_OK);
    EXPECT_EQ(block_splice(bare, type_name_block(bare, 1, 17, 5), Name("Sum").text, 0, 4, 0, 16), (DictStatus)DICT_OK);
    EXPECT_EQ(block_splice(bare, type_body_block(bare, 1, 17, 5), "abc", 0, 3, 0, 16), (DictStatus)DICT_OK);
    EXPECT_EQ(directory_save(bare, 1, 17), (DictStatus)DICT_OK);
    bare.close();
    return bare.bytes();
}

std::string ToolTest::done(const std::vector<std::string> &arguments, const std::string &input)
{
    ToolResult result = zuk(arguments, input);
    EXPECT_EQ(result.exit, 0) << testing::PrintToString(arguments) << "\n" << result.err;
    return result.out;
}

void ToolTest::refused(int exit, const std::string &sentence, const std::vector<std::string> &arguments,
                       const std::string &input)
{
    ToolResult result = zuk(arguments, input);
    EXPECT_EQ(result.exit, exit) << testing::PrintToString(arguments);
    EXPECT_EQ(result.err, "zuk: " + sentence + "\n");
    EXPECT_EQ(result.out, "");
}

void ToolTest::refused_unchanged(int exit, const std::string &sentence, const std::vector<std::string> &arguments,
                                 const std::string &input)
{
    std::string before = dir.content("a.dic");
    refused(exit, sentence, arguments, input);
    EXPECT_TRUE(dir.content("a.dic") == before) << "the dictionary has changed";
}

void ToolTest::make_words(bool replace)
{
    if (replace) done({ "create", "a.dic", "--force" });
    else done({ "create", "a.dic" });
    done({ "add", "a.dic", "2/100", "--name", "Words" });
    done({ "add", "a.dic", "2/100/1/1", "--name", "One", "-" }, "first");
    done({ "add", "a.dic", "2/100/1/2", "--name", "Two" });
}

void ToolTest::put(const std::string &file, const std::string &content)
{
    fs::create_directories(dir.path(file).parent_path());
    std::ofstream out(dir.path(file), std::ios::binary | std::ios::trunc);
    out << content;
    out.close();
    EXPECT_TRUE(out) << "cannot write " << file;
}

std::map<std::string, std::string> ToolTest::files_below(const std::string &folder)
{
    std::map<std::string, std::string> files;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(dir.path(folder))) {
        if (!entry.is_regular_file()) continue;
        files[entry.path().lexically_relative(dir.path(folder)).generic_string()] = content_of(entry.path());
    }
    return files;
}

} // namespace zuk
