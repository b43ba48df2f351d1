#include "tool/pack_file.h"

#include "engine/copy.h"
#include "files/file.h"
#include "tool/check_file.h"
#include "tool/coordinates.h"
#include "tool/file_beside.h"
#include "tool/interrupt.h"
#include "tool/messages.h"
#include "tool/open_error.h"
#include "tool/paths.h"
#include "tool/terminal.h"

#include <cstring>
#include <vector>

namespace zuk::tool {

// A dictionary file by itself: outside the set of open dictionaries, so that no core tables are made in it or loaded.
// They are copied as the resources that they are.
class PlainFile {
public:
    PlainFile(const fs::path &path, const std::string &shown, u16 mode) : file{}, name(library_name(path.string()))
    {
        DictStatus status = dict_file_open(&file, name.text, mode, 0);
        if (status) fail_open(status, shown, path, mode);
    }
    ~PlainFile() { close(); }
    PlainFile(const PlainFile &) = delete;
    PlainFile &operator=(const PlainFile &) = delete;

    void close() { (void)dict_file_close(&file); }    // what it could not write shows when the file is compared

    DictFile file;

private:
    LibraryName name;
};

// ---- What speaks against it -----------------------------------------------------------------------------------------

static void test_place(const fs::path &from, const fs::path &to, const std::string &shown, bool force)
{
    std::error_code ignored;
    if (fs::equivalent(from, to, ignored)) fail(EXIT_TROUBLE, shown, "it is the dictionary itself");
    if (fs::is_directory(to, ignored)) fail(EXIT_TROUBLE, shown, "it is a directory");
    if (!to.has_filename()) fail(EXIT_TROUBLE, shown, "it is the path of a directory");
    if (!fs::exists(to.parent_path(), ignored)) fail_with(DICT_NO_FILE, shown, "there is no such folder");
    (void)library_name(to.string());    // or nobody could open it
    if (path_kind(to) == PathKind::nothing) return;
    if (!force) fail_with(DICT_EXISTS, shown, "there is such a file already; --force replaces it");
    if (path_kind(to) != PathKind::file) fail(EXIT_REFUSED, shown, "it is a link or a special file, which stays");
    // Whoever has it open would go on with a file that has no name any more.
    LibraryName name = library_name(to.string());
    FileHandle alone = file_open(name.text, FILE_RW_EXCLUSIVE);
    if (!alone) fail_open(status_of_open(), shown, to, FILE_RW_EXCLUSIVE);
    (void)file_close(alone);
}

static void test_source(const fs::path &from, const std::string &shown, PackReport *report)
{
    CheckReport check = check_file(from.string(), shown);
    size_t faults = check.faults.size() + check.faults_left_out;
    if (faults) {
        fail(EXIT_DAMAGE, shown, "it has " + counted(faults, "fault") + ", which would be copied; zuk check names " +
                                     (faults == 1 ? "it" : "them"));
    }
    report->bytes_before = check.file_size;
    report->modules = check.modules;
    report->resources = check.resources;
}

// ---- Copying --------------------------------------------------------------------------------------------------------

struct ModuleName {
    u8 text[256];
};

// The whole name, where the copy by itself would take 79 characters.
static ModuleName name_of(DictFile *file, i16 index, const std::string &thing)
{
    ModuleName name = {};
    u32 offset;
    i32 size;
    DictStatus status = module_name_location(file, index, &offset, &size);
    if (!status && (size < 1 || size > (i32)sizeof name.text)) status = DICT_NOT_FOUND;
    if (!status) status = dict_read_at(file, offset, name.text, size);
    if (status) fail_with(status, thing, "its name cannot be read");
    return name;
}

static std::string thing_of(const std::string &shown, const ModuleEntry &module)
{
    return shown + ": " + text_of(coordinates_of(le_get(module.kind), le_get(module.module)));
}

// The copies of kind 1 are called after their numbers, whatever name is given. All of them lose that name before the
// first gets its own: it could be one of those. Only by being entered anew does a module get a name of any length.
static void give_names_of_kind_1(DictFile *source, DictFile *destination, const std::string &shown)
{
    struct Entered {
        ModuleEntry module;
        u32 directory;
    };
    std::vector<Entered> modules;
    for (i16 index = 0; const ModuleEntry *entry = module_entry(source, index); index++) {
        if (le_get(entry->kind) != 1) break;
        i16 copy = module_find(destination, 1, le_get(entry->module));
        modules.push_back({ *entry, module_directory_block(destination, copy) });
    }
    for (const Entered &entered : modules) {
        DictStatus status = module_unregister(destination, 1, le_get(entered.module.module));
        if (status) fail_with(status, thing_of(shown, entered.module), "its copy cannot be named");
    }
    for (size_t i = 0; i < modules.size(); i++) {
        std::string thing = thing_of(shown, modules[i].module);
        ModuleName name = name_of(source, (i16)i, thing);
        DictStatus status =
            module_register(destination, 1, le_get(modules[i].module.module), modules[i].directory, name.text);
        if (status) fail_with(status, thing, "its copy cannot be named");
    }
}

static void copy_modules(DictFile *source, DictFile *destination, const std::string &shown,
                         const std::string &new_shown, size_t count)
{
    Progress progress("packing", count);
    for (i16 index = 0; const ModuleEntry *entry = module_entry(source, index); index++) {
        ModuleEntry module = *entry;
        std::string thing = thing_of(shown, module);
        ModuleName name = name_of(source, index, thing);
        DictStatus status = DICT_OK;
        (void)module_copy(source, destination, le_get(module.kind), (u32)le_get(module.module), 1, name.text, 0,
                          &status);    // it keeps its number
        if (status) fail_with(status, thing, "it cannot be copied");
        stop_if_interrupted(new_shown);
        progress.step();
    }
    give_names_of_kind_1(source, destination, shown);
}

static void make_copy(DictFile *source, const fs::path &path, const std::string &shown, const std::string &new_shown,
                      size_t modules)
{
    LibraryName name = library_name(path.string());
    DictStatus status = dict_file_create(name.text);
    if (status) fail(EXIT_TROUBLE, new_shown, "it cannot be made there" + status_note(status));
    if (path_kind(path) == PathKind::nothing) fail(EXIT_TROUBLE, new_shown, "it could not be written");
    PlainFile copy(path, new_shown, DICT_EXCLUSIVE);
    copy_modules(source, &copy.file, shown, new_shown, modules);
    copy.file.header.version = source->header.version;
    copy.file.header.change_count = source->header.change_count;
    memcpy(copy.file.header.reserved, source->header.reserved, sizeof copy.file.header.reserved);
    // The close would write both, and tell of no failure.
    status = block_table_flush(&copy.file);
    if (!status) status = header_write(copy.file.file, &copy.file.header);
    if (status) fail_with(status, new_shown, "it could not be written");
}

// ---- Comparing ------------------------------------------------------------------------------------------------------

// The bytes in use of two blocks are the same.
static bool blocks_equal(DictFile *a, u32 block_of_a, DictFile *b, u32 block_of_b)
{
    BlockEntry one, other;
    if (block_read_entry(a, block_of_a - 1, &one) || block_read_entry(b, block_of_b - 1, &other)) return false;
    i64 used = (i64)le_get(one.size) - le_get(one.free);
    if (used < 0 || used != (i64)le_get(other.size) - le_get(other.free)) return false;
    constexpr i64 chunk = 1 << 16;
    std::string of_a((size_t)chunk, 0), of_b((size_t)chunk, 0);
    for (i64 done = 0; done < used; done += chunk) {
        i32 part = (i32)std::min(chunk, used - done);
        if (dict_read_at(a, le_get(one.offset) + (u32)done, of_a.data(), part)) return false;
        if (dict_read_at(b, le_get(other.offset) + (u32)done, of_b.data(), part)) return false;
        if (memcmp(of_a.data(), of_b.data(), (size_t)part) != 0) return false;
    }
    return true;
}

// The directories are the same but for the numbers of blocks, and so are the blocks.
static bool modules_equal(DictFile *a, DictFile *b, i16 index)
{
    ModuleDirectory *of_a = directory_get(a, index);
    ModuleDirectory *of_b = directory_get(b, index);
    if (!of_a || !of_b || directory_size(of_a) != directory_size(of_b)) return false;
    std::string bytes((const char *)of_b, (size_t)directory_size(of_b));
    for (i32 i = 0; const TypeEntry *type = type_at(of_a, i); i++) {
        const TypeEntry *other = type_at(of_b, i);
        if (!other || !blocks_equal(a, le_get(type->name_block), b, le_get(other->name_block))) return false;
        if (!blocks_equal(a, le_get(type->body_block), b, le_get(other->body_block))) return false;
        TypeEntry same = *other;
        same.name_block = type->name_block;
        same.body_block = type->body_block;
        memcpy(bytes.data() + ((const char *)other - (const char *)of_b), &same, sizeof same);
    }
    return memcmp(bytes.data(), of_a, bytes.size()) == 0;
}

static void compare(DictFile *source, const fs::path &path, const std::string &shown, const std::string &new_shown,
                    const PackReport &report)
{
    CheckReport check = check_file(path.string(), new_shown);
    bool same = check.faults.empty() && check.modules == report.modules && check.resources == report.resources;
    PlainFile copy(path, new_shown, DICT_READ_ONLY);
    same = same && memcmp(&copy.file.header, &source->header, offsetof(DictHeader, table_entry)) == 0;
    for (i16 index = 0; same; index++) {
        const ModuleEntry *entry = module_entry(source, index);
        const ModuleEntry *other = module_entry(&copy.file, index);
        if (!entry) break;
        std::string thing = thing_of(shown, *entry);
        same = other && le_get(entry->kind) == le_get(other->kind) && le_get(entry->module) == le_get(other->module);
        if (!same) break;
        ModuleName name = name_of(source, index, thing);
        ModuleName other_name = name_of(&copy.file, index, thing);
        same = memcmp(&name, &other_name, sizeof name) == 0 && modules_equal(source, &copy.file, index);
        directory_drop(source, le_get(entry->kind), le_get(entry->module));
        directory_drop(&copy.file, le_get(entry->kind), le_get(entry->module));
    }
    if (same) return;
    fail(EXIT_TROUBLE, new_shown, "the copy could not be written as it has to be");
}

// ---- The whole ------------------------------------------------------------------------------------------------------

PackReport pack_dictionary(const std::string &file, const std::string &new_file, bool force, bool dry_run)
{
    fs::path from = absolute_path(file);
    fs::path to = absolute_path(new_file);
    PackReport report;
    PlainFile source(from, file, DICT_READ_ONLY);
    test_place(from, to, new_file, force);
    test_source(from, file, &report);

    defer_interrupts();
    FileBeside beside(to, "pack");
    make_copy(&source.file, beside.path, file, new_file, report.modules);
    compare(&source.file, beside.path, file, new_file, report);
    std::error_code error;
    report.bytes_after = (i64)fs::file_size(beside.path, error);
    stop_if_interrupted(new_file);
    if (dry_run) return report;
    beside.take_rights_of(to);    // where a file is replaced
    beside.rename_to(to, new_file);
    return report;
}

} // namespace zuk::tool
