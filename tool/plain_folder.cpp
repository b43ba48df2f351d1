#include "tool/plain_folder.h"

#include "tool/messages.h"

#include <cstring>
#include <set>

namespace zuk::tool {

std::vector<std::string> list_plain_files(const fs::path &directory, const std::string &shown)
{
    std::error_code ignored;
    if (!fs::exists(directory, ignored)) fail(EXIT_NOT_FOUND, shown, "there is no such folder");
    if (!fs::is_directory(directory, ignored)) fail(EXIT_TROUBLE, shown, "it is no folder");

    std::vector<std::string> names;
    for (const TreeEntry &entry : list_tree(directory, shown)) {
        if (entry.kind == PathKind::file) names.push_back(entry.name);
        if (entry.kind == PathKind::file || entry.kind == PathKind::directory) continue;
        say("zuk: " + shown + "/" + entry.name + ": left out, as it is a link or a special file");
    }
    return names;
}

std::string unsafe_file_name(const std::string &name)
{
    if (name.empty()) return "it is empty";
    if (name[0] == '/') return "it is absolute";
    if (name.find('\0') != std::string::npos) return "it holds a NUL";
#ifdef _WIN32
    for (char character : name) {
        bool is_allowed = (unsigned char)character >= ' ' && !strchr("\\:*?\"<>|", character);
        if (!is_allowed) return "this system does not allow a character in it";
    }
#endif
    for (size_t start = 0; start <= name.size();) {
        size_t end = name.find('/', start);
        if (end == std::string::npos) end = name.size();
        std::string part = name.substr(start, end - start);
        if (part.empty()) return "a part of it is empty";
        if (part == "." || part == "..") return "it would leave its place";
#ifdef _WIN32
        if (part.back() == '.' || part.back() == ' ') return "this system drops a dot or blank at its end";
#endif
        start = end + 1;
    }
    return "";
}

std::string clash_of_names(const std::vector<std::string> &names)
{
    std::set<std::string> files(names.begin(), names.end());
    for (const std::string &name : names) {
        for (size_t slash = name.find('/'); slash != std::string::npos; slash = name.find('/', slash + 1)) {
            if (files.count(name.substr(0, slash))) return name.substr(0, slash);
        }
    }
    return "";
}

} // namespace zuk::tool
