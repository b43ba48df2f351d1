// The built tool, run as a program in a directory of its own.
#pragma once

#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace zuk {

struct ToolResult {
    int exit;                  // exit status; -1 when the program did not end by itself
    std::string out, err;      // what it wrote
};

// Run the tool with these arguments in `directory`, with `input` as its standard input.
ToolResult run_tool(const std::filesystem::path &directory, const std::vector<std::string> &arguments,
                    const std::string &input = "");

// The bytes of a file from before the core tables, with the resource 1/17/5/30 "Sum" and its body "abc".
std::string file_without_core_tables();

// A test with a directory in which the tool runs; the names of files are those in it.
struct ToolTest : testing::Test {
    TempDir dir;

    ToolResult zuk(const std::vector<std::string> &arguments, const std::string &input = "")
    {
        return run_tool(dir.path(), arguments, input);
    }

    // Run a command that has to end with 0; what it wrote on standard output.
    std::string done(const std::vector<std::string> &arguments, const std::string &input = "");

    // Run a command that has to end with `exit`, write nothing on standard output, and say exactly this one sentence.
    void refused(int exit, const std::string &sentence, const std::vector<std::string> &arguments,
                 const std::string &input = "");

    // The same, and the file a.dic keeps its bytes.
    void refused_unchanged(int exit, const std::string &sentence, const std::vector<std::string> &arguments,
                           const std::string &input = "");

    // Make a.dic with the module 2/100 "Words", and in it 2/100/1/1 "One" with body "first" and 2/100/1/2 "Two"
    // without. With `replace`, in the place of the a.dic that is there.
    void make_words(bool replace = false);

    // Make a file below the directory, with the directories above it.
    void put(const std::string &file, const std::string &content);

    // All files below a directory by their paths in it.
    std::map<std::string, std::string> files_below(const std::string &folder);
};

} // namespace zuk
