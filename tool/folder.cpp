#include "tool/folder.h"

#include "tool/escape.h"
#include "tool/messages.h"

#include <cstring>
#include <map>
#include <set>

namespace zuk::tool {

const char *const folder_mark = "zuk-dictionary 1";

// ---- Names in the folder --------------------------------------------------------------------------------------------

std::string folder_file(const Coordinates &at)
{
    if (at.levels == 2) return text_of(at) + "/module.txt";
    if (at.levels == 3) return text_of(at) + "/resources.txt";
    return text_of(at) + ".bin";
}

static std::vector<std::string> parts_of(const std::string &name)
{
    std::vector<std::string> parts(1);
    for (char character : name) {
        if (character == '/') parts.emplace_back();
        else parts.back() += character;
    }
    return parts;
}

// The coordinates that a name in the folder tells: "2/100", "2/100/1/resources.txt", "2/100/1/7.bin". No levels when it
// is none of ours.
static Coordinates place_of(const std::string &name)
{
    std::vector<std::string> parts = parts_of(name);
    i64 numbers[4] = {};
    size_t levels = parts.size();
    if (levels > 4) return {};
    if (levels == 3 && parts[2] == "module.txt") levels = 2;
    if (levels == 4 && parts[3] == "resources.txt") levels = 3;
    if (levels == 4) {
        std::string &body = parts[3];
        if (body.size() < 5 || body.substr(body.size() - 4) != ".bin") return {};
        body.resize(body.size() - 4);
    }

    static const i64 lowest[] = { 1, INT32_MIN, 0, 1 };
    static const i64 highest[] = { 3, INT32_MAX, UINT16_MAX, ID_MAX };
    for (size_t i = 0; i < levels; i++) {
        if (!parse_number(parts[i], lowest[i], highest[i], &numbers[i])) return {};
    }
    return { .levels = (int)levels, .kind = (i32)numbers[0], .module = (i32)numbers[1], .type = (u16)numbers[2],
             .id = (i16)numbers[3] };
}

static bool ends_in(const std::string &name, const std::string &end)
{
    return name.size() >= end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0;
}

bool belongs_to_folder(const std::string &name, PathKind kind)
{
    if (name == FOLDER_HEAD) return kind == PathKind::file;
    if (!place_of(name).levels) return false;
    bool is_file = ends_in(name, ".txt") || ends_in(name, ".bin");
    return kind == (is_file ? PathKind::file : PathKind::directory);
}

// ---- Writing --------------------------------------------------------------------------------------------------------

std::string head_text(u16 version)
{
    return std::string(folder_mark) + "\nversion " + std::to_string(version) + "\n";
}

std::string module_text(const ModuleFacts &module) { return "name " + escape(module.name) + "\n"; }

std::string resources_text(i32 kind, const TypeFacts &type)
{
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const ResourceFacts &resource : type.resources) {
        std::string id = std::to_string(resource.id);
        text += id + "\t" + digits[resource.flags >> 4] + digits[resource.flags & 15] + "\t" +
                (kind == 1 ? owner_text(resource.owner) + "\t" : "") + (resource.body_size ? id + ".bin" : "-") +
                "\t" + escape(resource.name) + "\n";
    }
    return text;
}

// ---- Reading --------------------------------------------------------------------------------------------------------

// The lines of one text file of the folder.
struct Lines {
    std::string shown;                     // the file, for messages
    std::vector<std::string> lines;
};

[[noreturn]] static void fail_line(const Lines &file, size_t index, const std::string &reason)
{
    fail(EXIT_TROUBLE, file.shown + ": line " + std::to_string(index + 1), reason);
}

static Lines read_lines(const fs::path &directory, const std::string &shown, const std::string &name)
{
    Lines file = { .shown = shown + "/" + name, .lines = {} };
    std::string text = read_file(directory / name, file.shown);
    for (size_t start = 0; start < text.size();) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        file.lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    for (size_t i = 0; i < file.lines.size(); i++) {
        if (!file.lines[i].empty() && file.lines[i].back() == '\r') {
            fail_line(file, i, "it ends in a carriage return, where the folder has line feeds alone");
        }
    }
    return file;
}

static std::string read_name(const Lines &file, size_t index, const std::string &text)
{
    std::string name;
    if (!unescape(text, &name)) {
        fail_line(file, index, "the name is not printable ASCII with \\\\ for a backslash and \\xHH for other bytes");
    }
    if (name.size() > NAME_MAX_BYTES) {
        fail_line(file, index, "the name has " + std::to_string(name.size()) + " bytes, and at most 254 can be stored");
    }
    return name;
}

static u16 read_head(const fs::path &directory, const std::string &shown)
{
    if (path_kind(directory / FOLDER_HEAD) != PathKind::file) {
        fail(EXIT_TROUBLE, shown, "it holds no dictionary.txt, so it is no export; --to takes a folder of any files");
    }
    Lines file = read_lines(directory, shown, FOLDER_HEAD);
    if (file.lines.empty() || file.lines[0] != folder_mark) {
        fail_line(file, 0, std::string("it has to be \"") + folder_mark + "\"");
    }
    i64 version = 0;
    if (file.lines.size() != 2 || file.lines[1].compare(0, 8, "version ") != 0 ||
        !parse_number(file.lines[1].substr(8), 0, UINT16_MAX, &version)) {
        fail_line(file, 1, "it has to be \"version\" and a number from 0 to 65535, and the last line");
    }
    return (u16)version;
}

static std::string read_module_text(const fs::path &directory, const std::string &shown, const Coordinates &at)
{
    Lines file = read_lines(directory, shown, folder_file(at));
    if (file.lines.size() != 1 || file.lines[0].compare(0, 5, "name ") != 0) {
        fail_line(file, 0, "it has to be \"name\" and the name of the module, and the only line");
    }
    std::string name = read_name(file, 0, file.lines[0].substr(5));
    if (name.empty()) fail_line(file, 0, "the name of the module is empty");
    return name;
}

static std::vector<std::string> split_tabs(const std::string &line, size_t count)
{
    std::vector<std::string> fields(1);
    for (char character : line) {
        if (character == '\t' && fields.size() < count) fields.emplace_back();
        else fields.back() += character;
    }
    return fields;
}

static bool parse_flags(const std::string &text, u8 *flags)
{
    std::string byte;
    if (text.size() != 2 || !unescape("\\x" + text, &byte) || byte.size() != 1) return false;
    *flags = (u8)byte[0];
    return true;
}

static bool parse_owner(const std::string &text, i16 *owner)
{
    *owner = NO_OWNER;
    if (text == "-") return true;
    i64 number = 0;
    if (!parse_number(text, INT8_MIN, INT8_MAX, &number) || number == NO_OWNER || number == CORE_FREE) return false;
    *owner = (i16)number;
    return true;
}

// The size of the body that a line names.
static i32 body_size(const fs::path &directory, const Lines &file, size_t index, const std::string &name,
                     const Coordinates &at)
{
    if (name == "-") return 0;
    if (name.find_first_of("/\\") != std::string::npos) {
        fail_line(file, index, "the body file \"" + name + "\" would lie outside the folder of its type");
    }
    if (name != std::to_string(at.id) + ".bin") {
        fail_line(file, index, "the body file is " + std::to_string(at.id) + ".bin, or - where there is no body");
    }
    fs::path body = directory / folder_file(at);
    PathKind kind = path_kind(body);
    if (kind != PathKind::file) {
        fail_line(file, index, name + (kind == PathKind::nothing ? " is missing" : " is no regular file"));
    }
    std::error_code error;
    uintmax_t size = fs::file_size(body, error);
    if (error || size > INT32_MAX) fail_line(file, index, name + " is too large, or cannot be read");
    return (i32)size;
}

// `bodies` are the body files that no line has named yet.
static TypeFacts read_resources(const fs::path &directory, const std::string &shown, const Coordinates &at,
                                std::set<std::string> *bodies)
{
    TypeFacts type = { .type = at.type, .resources = {} };
    Lines file = read_lines(directory, shown, folder_file(at));
    std::set<std::string> names;
    bool with_owner = at.kind == 1;
    // The library looks for a name only in the series from 0 to 6.
    bool may_repeat = at.kind == 1 && (at.module < 0 || series_of(at.module) > 6);
    i16 last = 0;
    for (size_t i = 0; i < file.lines.size(); i++) {
        std::vector<std::string> fields = split_tabs(file.lines[i], with_owner ? 5 : 4);
        if (fields.size() != (with_owner ? 5u : 4u)) {
            fail_line(file, i, std::string("it has to hold identifier, flags, ") + (with_owner ? "owner, " : "") +
                                   "body file and name, with tabs between them");
        }
        const std::string &body = fields[fields.size() - 2];
        i64 id = 0;
        if (!parse_number(fields[0], 1, ID_MAX, &id)) fail_line(file, i, "the identifier is a number from 1 to 32767");
        if (id <= last) fail_line(file, i, "the identifiers have to ascend");
        last = (i16)id;

        ResourceFacts resource = { .id = (i16)id, .flags = 0, .body_size = 0,
                                   .name = read_name(file, i, fields.back()) };
        if (!parse_flags(fields[1], &resource.flags)) fail_line(file, i, "the flags are two digits, 00 to FF");
        if (with_owner && !parse_owner(fields[2], &resource.owner)) {
            fail_line(file, i, "the owner is a number from -128 to 127 other than -1 and 15, or - for none");
        }
        bool is_new = names.insert(resource.name).second;
        if (!is_new && !may_repeat) fail_line(file, i, "the name stands in a line before it, too");
        Coordinates place = coordinates_of(at.kind, at.module, at.type, resource.id);
        resource.body_size = body_size(directory, file, i, body, place);
        if (body != "-") bodies->erase(folder_file(place));
        type.resources.push_back(std::move(resource));
    }
    return type;
}

bool is_export_folder(const fs::path &directory)
{
    if (path_kind(directory / FOLDER_HEAD) != PathKind::file) return false;
    std::string text = read_file(directory / FOLDER_HEAD, FOLDER_HEAD);
    return text.compare(0, strlen(folder_mark) + 1, std::string(folder_mark) + "\n") == 0;
}

// What stands in the folder, by coordinates.
struct Tree {
    std::set<std::pair<i32, i32>> modules;
    std::map<std::pair<i32, i32>, std::set<u16>> types;
    std::set<std::string> bodies, files;
};

static Tree read_tree(const fs::path &directory, const std::string &shown)
{
    Tree tree;
    for (const TreeEntry &entry : list_tree(directory, shown)) {
        if (belongs_to_folder(entry.name, entry.kind)) {
            Coordinates at = place_of(entry.name);
            if (at.levels >= 2) tree.modules.insert({ at.kind, at.module });
            if (at.levels >= 3) tree.types[{ at.kind, at.module }].insert(at.type);
            if (entry.kind == PathKind::file) (at.levels == 4 ? tree.bodies : tree.files).insert(entry.name);
            continue;
        }
        // A number at the top, or anything below one, was meant to be a part.
        if (entry.name[0] >= '0' && entry.name[0] <= '9') {
            fail(EXIT_TROUBLE, shown + "/" + entry.name, "it is no part of an export folder");
        }
        bool at_the_top = entry.name.find('/') == std::string::npos;
        bool is_hidden = entry.name[0] == '.';
        if (at_the_top && !is_hidden) {
            say("zuk: " + shown + "/" + entry.name + ": left out, as it is no part of an export folder");
        }
    }
    return tree;
}

static void expect_file(const Tree &tree, const std::string &shown, const Coordinates &at)
{
    if (!tree.files.count(folder_file(at))) fail(EXIT_TROUBLE, shown + "/" + folder_file(at), "it is missing");
}

DictionaryFacts read_folder(const fs::path &directory, const std::string &shown)
{
    std::error_code ignored;
    if (!fs::exists(directory, ignored)) fail(EXIT_NOT_FOUND, shown, "there is no such folder");
    if (!fs::is_directory(directory, ignored)) fail(EXIT_TROUBLE, shown, "it is no folder");
    DictionaryFacts facts;
    facts.version = read_head(directory, shown);

    Tree tree = read_tree(directory, shown);
    for (auto [kind, number] : tree.modules) {
        Coordinates at = coordinates_of(kind, number);
        expect_file(tree, shown, at);
        ModuleFacts module = { .kind = kind, .module = number, .name = read_module_text(directory, shown, at),
                               .types = {} };
        for (u16 type : tree.types[{ kind, number }]) {
            Coordinates of_type = coordinates_of(kind, number, type);
            expect_file(tree, shown, of_type);
            module.types.push_back(read_resources(directory, shown, of_type, &tree.bodies));
        }
        facts.modules.push_back(std::move(module));
    }
    if (!tree.bodies.empty()) {
        fail(EXIT_TROUBLE, shown + "/" + *tree.bodies.begin(), "no line of resources.txt names it");
    }
    return facts;
}

} // namespace zuk::tool
