#include "tests/support/temp_dir.h"

#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace zuk {

namespace fs = std::filesystem;

Name::Name(const std::string &from) : text{}
{
    if (from.size() > 255) throw std::length_error("a name has 255 characters at most");
    text[0] = (u8)from.size();
    memcpy(text + 1, from.data(), from.size());
}

// Short on every system: a TMPDIR of the host could be too long.
static fs::path parent_directory()
{
#ifdef _WIN32
    return fs::temp_directory_path();
#else
    return "/tmp";
#endif
}

TempDir::TempDir()
{
    static const char letters[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    static std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<size_t> any_letter(0, sizeof letters - 2);

    // Of two programs that choose the same name only one makes the directory.
    do {
        std::string leaf = "zk-";
        for (int i = 0; i < 6; i++) leaf += letters[any_letter(random)];
        directory = parent_directory() / leaf;
    } while (!fs::create_directory(directory));
}

TempDir::~TempDir()
{
    std::error_code ignored;  // a file that a test left open cannot be removed everywhere
    fs::remove_all(directory, ignored);
}

fs::path TempDir::path(const std::string &file) const { return file.empty() ? directory : directory / file; }

std::string TempDir::native(const std::string &file) const
{
    std::string text = path(file).string();
    std::replace(text.begin(), text.end(), '/', '\\');
    return text;
}

Name TempDir::name(const std::string &file) const
{
    // By hand, so that no test of names leans on what it tests: a volume `C:\` becomes `:C:`.
    std::string text = path(file).string();
    std::replace(text.begin(), text.end(), '\\', '/');
    if (text.size() > 2 && text[1] == ':' && text[2] == '/') text = ":" + text.substr(0, 2) + text.substr(3);
    return Name(text);
}

Name TempDir::put(const std::string &file, const std::string &content) const
{
    std::ofstream out(path(file), std::ios::binary | std::ios::trunc);
    out << content;
    out.close();
    EXPECT_TRUE(out) << "cannot write " << path(file);
    return name(file);
}

std::string TempDir::content(const std::string &file) const
{
    std::string held;
    std::ifstream in(path(file), std::ios::binary);
    if (!in && open_file_content(native(file), &held)) return held;
    EXPECT_TRUE(in) << "cannot read " << path(file);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

bool TempDir::has(const std::string &file) const { return fs::exists(path(file)); }

} // namespace zuk
