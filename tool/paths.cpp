#include "tool/paths.h"

#include "tool/messages.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace zuk::tool {

// ---- The library's names --------------------------------------------------------------------------------------------

constexpr size_t LIBRARY_NAME_MAX = 127;

#ifdef _WIN32
// `C:\DIR\A.TXT` is `:C:DIR/A.TXT`. The system drops a final dot or blank of a name without a word.
static bool to_portable(const std::string &path, std::string *name)
{
    std::string text = path;
    std::replace(text.begin(), text.end(), '\\', '/');
    if (text.size() > 2 && text[1] == ':' && text[2] == '/') {
        text = ":" + text.substr(0, 2) + text.substr(3);
        *name = text;
        return text.find(':', 3) == std::string::npos && text.back() != '.' && text.back() != ' ';
    }
    *name = text;
    return text.find(':') == std::string::npos && text.back() != '.' && text.back() != ' ';
}
constexpr const char *separators = "/\\";
constexpr const char *bare_name_rule = "the file's name has to be of at most 127 characters, without a colon, and not "
                                       "end in a dot or blank";
#else
static bool to_portable(const std::string &path, std::string *name)
{
    *name = path;
    return path.find_first_of(":\\") == std::string::npos;
}
constexpr const char *separators = "/";
constexpr const char *bare_name_rule =
    "the file's name has to be of at most 127 characters, without colon and backslash";
#endif

static bool make_library_name(const std::string &path, LibraryName *name)
{
    std::string portable;
    if (!to_portable(path, &portable) || portable.size() > LIBRARY_NAME_MAX) return false;
    name->text[0] = (u8)portable.size();
    memcpy(name->text + 1, portable.data(), portable.size());
    return true;
}

LibraryName library_name(const std::string &path)
{
    if (path.empty()) fail_with(DICT_NO_NAME, "");
    LibraryName name = {};
    if (make_library_name(path, &name)) return name;

    size_t slash = path.find_last_of(separators);
    std::string directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    std::string last = path.substr(directory.size());
    if (last.empty()) fail(EXIT_TROUBLE, path, "it is the path of a directory");
    if (!make_library_name(last, &name)) fail(EXIT_TROUBLE, path, bare_name_rule);
    if (directory.empty()) return name;

    std::error_code error;
    fs::current_path(directory, error);
    if (error) fail(EXIT_NOT_FOUND, path, "its directory cannot be entered: " + error.message());
    return name;
}

// ---- Paths ----------------------------------------------------------------------------------------------------------

fs::path absolute_path(const std::string &path)
{
    if (path.empty()) fail(EXIT_TROUBLE, "", "an empty path names nothing");
    std::error_code error;
    fs::path absolute = fs::absolute(path, error);
    if (error) fail(EXIT_TROUBLE, path, error.message());
    return absolute;
}

PathKind path_kind(const fs::path &path)
{
    std::error_code error;
    fs::file_status found = fs::symlink_status(path, error);
    switch (found.type()) {
    case fs::file_type::not_found:
    case fs::file_type::none: return PathKind::nothing;
    case fs::file_type::regular: return PathKind::file;
    case fs::file_type::directory: return PathKind::directory;
    default: return PathKind::other;
    }
}

static void list_below(const fs::path &directory, const std::string &prefix, const std::string &shown,
                       std::vector<TreeEntry> *entries)
{
    std::error_code error;
    fs::directory_iterator at(directory, error);
    for (; !error && at != fs::directory_iterator(); at.increment(error)) {
        std::string name = prefix + at->path().filename().string();
        PathKind kind = path_kind(at->path());
        entries->push_back({ name, kind });
        if (kind == PathKind::directory) list_below(at->path(), name + "/", shown, entries);
    }
    if (error) fail(EXIT_TROUBLE, (fs::path(shown) / prefix).string(), "it cannot be read: " + error.message());
}

std::vector<TreeEntry> list_tree(const fs::path &directory, const std::string &shown)
{
    std::vector<TreeEntry> entries;
    list_below(directory, "", shown, &entries);
    std::sort(entries.begin(), entries.end(), [](const TreeEntry &a, const TreeEntry &b) { return a.name < b.name; });
    return entries;
}

void make_directories(const fs::path &directory, const std::string &shown)
{
    std::error_code error;
    fs::create_directories(directory, error);
    if (error) fail(EXIT_TROUBLE, shown, "the directory cannot be made: " + error.message());
}

// ---- Whole files ----------------------------------------------------------------------------------------------------

struct CloseStream {
    void operator()(FILE *stream) const { (void)fclose(stream); }  // what counts was flushed before
};
using Stream = std::unique_ptr<FILE, CloseStream>;

[[noreturn]] static void fail_with_errno(const std::string &shown, const std::string &what, int error)
{
    fail(error == ENOENT ? EXIT_NOT_FOUND : EXIT_TROUBLE, shown, what + ": " + strerror(error));
}

static std::string read_stream(FILE *stream, const std::string &shown)
{
    std::string bytes;
    char buffer[1 << 16];
    while (size_t got = fread(buffer, 1, sizeof buffer, stream)) {
        bytes.append(buffer, got);
        if (bytes.size() > INT32_MAX) fail(EXIT_TROUBLE, shown, "it is too large: a body has less than 2 GiB");
    }
    if (ferror(stream)) fail_with_errno(shown, "it cannot be read", errno);
    return bytes;
}

std::string read_file(const fs::path &path, const std::string &shown)
{
    std::error_code ignored;
    if (fs::is_directory(path, ignored)) fail(EXIT_TROUBLE, shown, "it is a directory");
    Stream stream(fopen(path.string().c_str(), "rb"));
    if (!stream) fail_with_errno(shown, "it cannot be read", errno);
    return read_stream(stream.get(), shown);
}

std::string read_all(const std::string &source)
{
    return source == "-" ? read_stream(stdin, "standard input") : read_file(source, source);
}

void write_file(const fs::path &path, const std::string &shown, const void *bytes, size_t count)
{
    Stream stream(fopen(path.string().c_str(), "wb"));
    if (!stream) fail_with_errno(shown, "it cannot be written", errno);
    bool written = fwrite(bytes, 1, count, stream.get()) == count;
    if (written && fflush(stream.get()) == 0) return;
    int error = errno;
    stream.reset();
    std::error_code ignored;
    if (path_kind(path) == PathKind::file) fs::remove(path, ignored);    // half a file is worth nothing
    fail_with_errno(shown, "it cannot be written", error);
}

bool file_equals(const fs::path &path, const void *bytes, size_t count)
{
    std::error_code error;
    if (path_kind(path) != PathKind::file || fs::file_size(path, error) != count || error) return false;
    Stream stream(fopen(path.string().c_str(), "rb"));
    if (!stream) return false;

    char buffer[1 << 16];
    const char *expected = (const char *)bytes;
    while (size_t got = fread(buffer, 1, sizeof buffer, stream.get())) {
        if (got > count || memcmp(buffer, expected, got) != 0) return false;
        expected += got;
        count -= got;
    }
    return count == 0 && !ferror(stream.get());
}

} // namespace zuk::tool
