// Paths of people, and what the library and the disk take of them.
//
// The library knows names of at most 127 characters, in which `:` and `\` mean separators. A dictionary with a longer
// path is reached by working from its own directory, so the working directory can change when one is opened: all other
// paths are made absolute first.
#pragma once

#include "zuk/zuk.h"

#include <filesystem>
#include <string>
#include <vector>

namespace zuk::tool {

namespace fs = std::filesystem;

// A name in the library's portable form.
struct LibraryName {
    u8 text[256];
};

// The name under which the library finds the file at `path`. Enters the file's directory where it must. Throws when the
// last part of the path cannot be a name of the library, or the directory is not there.
LibraryName library_name(const std::string &path);

// A path that a change of the working directory leaves alone.
fs::path absolute_path(const std::string &path);

// All bytes of a file, or of standard input for "-". Throws a Failure that names `source`.
std::string read_all(const std::string &source);
std::string read_file(const fs::path &path, const std::string &shown);

// Write a file whole; one that stands there is replaced. Throws a Failure that names `shown`.
void write_file(const fs::path &path, const std::string &shown, const void *bytes, size_t count);

// Whether a regular file holds exactly these bytes.
bool file_equals(const fs::path &path, const void *bytes, size_t count);

// What stands at a path, links not followed.
enum class PathKind { nothing, file, directory, other };
PathKind path_kind(const fs::path &path);

// Everything below a directory, directories included, as relative paths with `/`, sorted by their bytes. Links are told
// and not followed.
struct TreeEntry {
    std::string name;
    PathKind kind;
};
std::vector<TreeEntry> list_tree(const fs::path &directory, const std::string &shown);

// Make a directory and those above it. Throws.
void make_directories(const fs::path &directory, const std::string &shown);

} // namespace zuk::tool
