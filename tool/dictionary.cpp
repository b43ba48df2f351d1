#include "tool/dictionary.h"

#include "engine/block_io.h"
#include "engine/cookies.h"
#include "engine/core_storage.h"
#include "engine/identifiers.h"
#include "engine/resources.h"
#include "tool/check_file.h"
#include "tool/interrupt.h"
#include "tool/messages.h"
#include "tool/open_error.h"
#include "tool/paths.h"

#include <cstring>
#include <set>

namespace zuk::tool {

// ---- Handles --------------------------------------------------------------------------------------------------------

Handle::Handle(std::string_view bytes)
{
    if (bytes.empty()) return;
    value = bytes.size() > INT32_MAX ? 0 : galloc((i32)bytes.size(), nullptr, 0);
    if (!value) fail_with(DICT_NO_MEMORY, "");
    memcpy(glock(value), bytes.data(), bytes.size());
}

Handle &Handle::operator=(Handle &&other) noexcept
{
    std::swap(value, other.value);
    return *this;
}

Handle::~Handle() { gfree(value); }

std::string_view Handle::bytes() const
{
    const char *data = (const char *)glock(value);
    return data ? std::string_view(data, (size_t)gsize(value)) : std::string_view();
}

// A name as the library takes it, 255 bytes at most.
struct StoredName {
    u8 text[256];

    explicit StoredName(const std::string &name)
    {
        text[0] = (u8)name.size();
        memcpy(text + 1, name.data(), text[0]);
    }
};

void check_name(const std::string &thing, const std::string &name)
{
    if (name.empty()) fail_with(DICT_BAD_NAME, thing, "the name is empty");
    if (name.size() <= NAME_MAX_BYTES) return;
    fail_with(DICT_BAD_NAME, thing,
              "the name has " + std::to_string(name.size()) + " bytes, and at most 254 can be stored");
}

// ---- Opening --------------------------------------------------------------------------------------------------------

void start_library()
{
    if (!dict_set && !dd_init()) fail_with(DICT_NOT_STARTED, "");
}

// Open without the core tables.
static DictStatus open_without_tables(i16 number, const LibraryName &name, u16 mode, DictCookie *cookie)
{
    DictStatus status = slot_claim((u16)number);
    if (status) return status;
    *cookie = { .slot = slot_find((u16)number), .selector = 0, .other_selector = 0 };
    slot_set_path((u16)number, 0, name.text);
    status = dict_file_open(dict_file_of_cookie(cookie), slot_path_at(cookie->slot, 0), mode, 0);
    if (status) slot_release((u16)number);
    return status;
}

// Whether every core table is there, so that an open makes none.
static bool has_all_tables(DictFile *file)
{
    i64 length = dict_length(file);
    i64 bytes = 0;
    for (i32 type = 1; type <= CORE_TYPE_MAX; type++) {
        if (core_table_size(type) == 0) continue;
        for (i32 range = 0; range < CORE_RANGES; range++) {
            u16 table_type = (u16)(CORE_TABLES_TYPE + range);
            u32 place;
            i32 size = 0;
            if (resource_locate(file, 1, CORE_TABLES_MODULE, table_type, (i16)type, &place, &size)) return false;
            bytes += size;
            if ((i64)place + size > length || bytes > length) return false;
        }
    }
    return true;
}

// Resources of kind 1, and no table to tell their owners. By the table of which the library tells, too.
static bool lacks_tables(DictFile *file)
{
    i16 index = module_find(file, 1, CORE_TABLES_MODULE);
    bool has_tables = resource_entry(file, index, (i16)CORE_TABLES_TYPE, 9, nullptr, nullptr) != nullptr;
    return !has_tables && module_count(file, 1) > 0;
}

// What an open would find of core tables.
struct FoundTables {
    bool all, lacking;
};

static DictStatus look_for_tables(i16 number, const LibraryName &name, u16 mode, DictCookie *cookie, FoundTables *found)
{
    DictStatus status = open_without_tables(number, name, mode, cookie);
    if (status) return status;
    DictFile *file = dict_file_of_cookie(cookie);
    *found = { .all = has_all_tables(file), .lacking = lacks_tables(file) };
    (void)ds_closefile(number);  // it is always 0
    return DICT_OK;
}

// Opening a file that lacks them for writing would put empty tables into it, and its resources would belong to nobody
// for good. Only an open for reading makes the tables of what is there.
static DictStatus open_for_writing(i16 number, const LibraryName &name, u16 mode, bool lacks, DictCookie *cookie)
{
    DictStatus status = DICT_OK;
    if (lacks) {
        status = ds_openfile((u16)number, name.text, DICT_READ_ONLY, 0, cookie);
        if (status) return status;
        (void)ds_closefile(number);
    }
    status = ds_openfile((u16)number, name.text, mode, 0, cookie);
    if (status || dict_file_is_open(dict_file_of_cookie(cookie))) return status;
    (void)ds_closefile(number);
    return DICT_ACCESS_DENIED;
}

static DictStatus open_for_reading(i16 number, const LibraryName &name, u16 mode, DictCookie *cookie)
{
    DictStatus status = ds_openfile((u16)number, name.text, mode, 0, cookie);
    // The first open of a file without core tables makes them, and ends without them in memory; the second one has
    // them. Where they cannot be made, since the file cannot be written to or its contents stand against it, it may
    // still be read.
    if (!status && !dict_has_core_tables(dict_file_of_cookie(cookie))) {
        (void)ds_closefile(number);  // it is always 0
        status = ds_openfile((u16)number, name.text, mode, 0, cookie);
    }
    if (!status && dict_file_is_open(dict_file_of_cookie(cookie))) return DICT_OK;
    if (!status) (void)ds_closefile(number);
    return open_without_tables(number, name, mode, cookie);
}

// `absolute` is that of the dictionary.
static bool is_sound_but_for_owners(const fs::path &absolute, const std::string &shown)
{
    return check_file(absolute.string(), shown).sound_but_for_owners;
}

Dictionary::Dictionary(const std::string &path, u16 mode, const std::string &shown_path) : shown(shown_path), cookie{}
{
    static i16 numbers = 0;
    start_library();
    number = ++numbers;
    if (path.empty()) fail_with(DICT_NO_NAME, "");
    fs::path absolute = absolute_path(path);  // before the working directory changes
    LibraryName name = library_name(path);
    bool writes = mode != DICT_READ_ONLY;
    if (writes) defer_interrupts();    // from the first open on: its close writes the header
    FoundTables found = {};
    DictStatus status = look_for_tables(number, name, mode, &cookie, &found);
    if (status) fail_open(status, shown, absolute, mode);

    // An open of a damaged file, even one for reading, would have the library write tables into it.
    bool may_be_made = found.all || is_sound_but_for_owners(absolute, shown);
    if (!found.all) name = library_name(absolute.string());  // the check may have changed the working directory, too
    if (!may_be_made && writes) {
        fail(EXIT_DAMAGE, shown, "it is damaged, and its core tables cannot be made; zuk check names the faults");
    }
    if (!found.all) defer_interrupts();
    if (!may_be_made) status = open_without_tables(number, name, mode, &cookie);
    else if (writes) status = open_for_writing(number, name, mode, found.lacking, &cookie);
    else status = open_for_reading(number, name, mode, &cookie);
    if (status) fail_open(status, shown, absolute, mode);
}

Dictionary::~Dictionary() { (void)ds_closefile(number); }  // it is always 0

DictFile *Dictionary::file() const { return dict_file_of_cookie(&cookie); }

void Dictionary::make_current() const { (void)ds_setcurdict(&cookie); }  // the slot exists while this object does

std::string Dictionary::thing(const Coordinates &at) const
{
    return at.levels ? shown + ": " + text_of(at) : shown;
}

void create_dictionary(const std::string &path, bool force)
{
    start_library();
    if (path.empty()) fail_with(DICT_NO_NAME, "");
    defer_interrupts();
    fs::path absolute = absolute_path(path);
    std::error_code ignored;
    bool stands = path_kind(absolute) != PathKind::nothing;
    if (stands && fs::is_directory(absolute, ignored)) fail(EXIT_TROUBLE, path, "it is a directory");
    if (stands && !force) fail_with(DICT_EXISTS, path, "there is such a file already; --force replaces it");

    LibraryName name = library_name(path);
    DictStatus status = ds_createfile(0, name.text);
    if (status == DICT_NO_FILE && stands && path_kind(absolute) != PathKind::nothing) {
        fail(EXIT_LOCKED, path, "it cannot be replaced, as somebody has it open or protects it" + status_note(status));
    }
    if (status == DICT_NO_FILE && !fs::exists(absolute.parent_path(), ignored)) {
        fail_with(status, path, "there is no such folder");
    }
    if (status == DICT_NO_FILE) fail(EXIT_TROUBLE, path, "it cannot be made there" + status_note(status));
    if (status) fail_with(status, path);

    // A failed write of the first bytes is told by nothing but a file that is not there.
    DictCookie cookie;
    status = ds_openfile(0, name.text, DICT_EXCLUSIVE, 0, &cookie);  // which makes the core tables
    if (!status && !dict_file_is_open(dict_file_of_cookie(&cookie))) status = DICT_ACCESS_DENIED;
    if (status) fail(EXIT_TROUBLE, path, "it could not be written" + status_note(status));
    (void)ds_closefile(0);
}

// ---- Facts ----------------------------------------------------------------------------------------------------------

// One reading of facts. Damaged tables can name the same bytes over and over: more directories, resources or names than
// the file has room for end it, before they take memory and time.
struct Reading {
    const Dictionary &dictionary;
    i64 file_size;
    std::set<u32> directories = {};        // their blocks
    i64 resources = 0, name_bytes = 0;
};

[[noreturn]] static void fail_damaged(const std::string &thing, const std::string &what, DictStatus status = DICT_OK)
{
    fail(EXIT_DAMAGE, thing, what + (status ? status_note(status) : ""));
}

// What is not found in a module whose directory cannot be read may well be there.
static void check_directory(const Dictionary &dictionary, const Coordinates &at)
{
    i16 index = module_find(dictionary.file(), at.kind, at.module);
    if (at.levels < 3 || index == MODULE_ABSENT || directory_get(dictionary.file(), index)) return;
    fail_damaged(dictionary.thing(coordinates_of(at.kind, at.module)), "the directory of the module is wrong",
                 DICT_NOT_FOUND);
}

[[noreturn]] static void fail_missing(const Dictionary &dictionary, const Coordinates &at)
{
    check_directory(dictionary, at);
    static const char *const nouns[] = { "dictionary", "kind", "module", "type", "resource" };
    fail_with(DICT_NOT_FOUND, dictionary.thing(at), std::string("there is no such ") + nouns[at.levels]);
}

// A name of `size` stored bytes: its length byte, then the characters. 0 bytes stand for the empty name.
static std::string name_of_stored(std::string_view stored, const std::string &thing)
{
    if (stored.empty()) return "";
    if ((u8)stored[0] != stored.size() - 1) fail_damaged(thing, "the stored length of the name is wrong");
    return std::string(stored.substr(1));
}

static std::string read_module_name(const Dictionary &dictionary, i16 index, const Coordinates &at)
{
    u32 offset;
    i32 size;
    DictStatus status = module_name_location(dictionary.file(), index, &offset, &size);
    if (status) fail_damaged(dictionary.thing(at), "the place of the module's name is wrong", status);
    std::string stored((size_t)size, 0);
    status = dict_read_at(dictionary.file(), offset, stored.data(), size);
    if (status) fail_with(status, dictionary.thing(at));
    return name_of_stored(stored, dictionary.thing(at));
}

// The used bytes of a type's name block.
static std::string read_names(Reading *reading, u32 name_block, const Coordinates &at)
{
    const Dictionary &dictionary = reading->dictionary;
    BlockEntry block;
    DictStatus status = block_read_typed(dictionary.file(), name_block, BLOCK_NAMES, &block);
    if (status) fail_damaged(dictionary.thing(at), "the block of the names is wrong", status);
    i64 used = (i64)le_get(block.size) - le_get(block.free);
    reading->name_bytes += used;
    if (used < 0 || le_get(block.offset) + used > reading->file_size || reading->name_bytes > reading->file_size) {
        fail_damaged(dictionary.thing(at), "the names do not lie inside the file");
    }
    std::string names((size_t)used, 0);
    status = dict_read_at(dictionary.file(), le_get(block.offset), names.data(), (i32)used);
    if (status) fail_with(status, dictionary.thing(at));
    return names;
}

static bool holds_core_tables(u16 type)
{
    return type >= CORE_TABLES_TYPE && type < CORE_TABLES_TYPE + CORE_RANGES;
}

static bool has_owners(u16 type) { return type >= 1 && type <= CORE_TYPE_MAX && core_table_size(type) > 0; }

std::string owner_text(i16 owner) { return owner == NO_OWNER ? "-" : std::to_string(owner); }

i16 natural_owner(i32 module) { return (i8)series_of(module); }

// Where no table could tell the owner, it is the one that the library would make of the contents.
static i16 owner_of(const Dictionary &dictionary, i32 module, u16 type, i16 id)
{
    bool has_table = core_table_at(dictionary.file(), type, core_id_range(id, nullptr)) != nullptr;
    if (has_owners(type) && !has_table) return natural_owner(module);
    return dd_get_owner(dictionary.file(), type, (u32)id);
}

static ResourceFacts resource_facts(const Dictionary &dictionary, const ResourceEntry &entry, const std::string &names,
                                    const Coordinates &type)
{
    Coordinates at = coordinates_of(type.kind, type.module, type.type, le_get(entry.id));
    i32 offset = le_get(entry.name_offset);
    if (offset < 0 || (size_t)offset + entry.name_size > names.size()) {
        fail_damaged(dictionary.thing(at), "the place of the name is wrong");
    }
    if (le_get(entry.body_size) < 0) fail_damaged(dictionary.thing(at), "the size of the body is negative");
    return { .id = le_get(entry.id), .flags = entry.flags, .body_size = le_get(entry.body_size),
             .name = name_of_stored(std::string_view(names).substr((size_t)offset, entry.name_size),
                                    dictionary.thing(at)),
             .owner = at.kind == 1 ? owner_of(dictionary, at.module, at.type, at.id) : NO_OWNER };
}

// The resources of one type, or the one of them that `wanted` tells.
static TypeFacts read_type(Reading *reading, i16 index, i16 type, const Coordinates &at, i16 wanted)
{
    const Dictionary &dictionary = reading->dictionary;
    u16 entries = 0;
    u32 name_block = 0;
    const ResourceEntry *run = resource_range(dictionary.file(), index, type, &entries, &name_block, nullptr);
    TypeFacts facts = { .type = (u16)type, .resources = {} };
    if (!run || entries == 0) return facts;

    reading->resources += entries;
    if (reading->resources * (i64)sizeof(ResourceEntry) > reading->file_size) {
        fail_damaged(dictionary.thing(at), "the file has no room for so many resources");
    }
    // A copy: reading the names may bring other things into memory.
    std::vector<ResourceEntry> copy(run, run + entries);
    std::string names = read_names(reading, name_block, at);
    i16 last = 0;
    for (const ResourceEntry &entry : copy) {
        i16 id = le_get(entry.id);
        if (id <= last) fail_damaged(dictionary.thing(at), "the identifiers are not in order");
        last = id;
        if (wanted && wanted != id) continue;
        facts.resources.push_back(resource_facts(dictionary, entry, names, at));
    }
    return facts;
}

static void read_types(Reading *reading, i16 index, const Coordinates &at, ModuleFacts *module)
{
    const Dictionary &dictionary = reading->dictionary;
    Coordinates place = coordinates_of(module->kind, module->module);
    if (!reading->directories.insert(module_directory_block(dictionary.file(), index)).second) {
        fail_damaged(dictionary.thing(place), "the directory of the module is that of another one, too");
    }
    ModuleDirectory *directory = directory_get(dictionary.file(), index);
    if (!directory) fail_damaged(dictionary.thing(place), "the directory of the module is wrong", DICT_NOT_FOUND);
    std::vector<i16> types;
    for (i32 i = 0; const TypeEntry *entry = type_at(directory, i); i++) {
        i16 type = le_get(entry->type);
        if (i && type <= types.back()) fail_damaged(dictionary.thing(place), "the types are not in order");
        types.push_back(type);
    }
    for (i16 type : types) {
        if (at.levels >= 3 && (u16)type != at.type) continue;
        Coordinates below = coordinates_of(module->kind, module->module, (u16)type);
        module->types.push_back(read_type(reading, index, type, below, at.levels == 4 ? at.id : (i16)0));
    }
}

std::vector<ModuleFacts> read_facts(const Dictionary &dictionary, const Coordinates &at)
{
    std::vector<ModuleFacts> modules;
    Reading reading = { .dictionary = dictionary, .file_size = dict_length(dictionary.file()) };
    const ModuleEntry *before = nullptr;
    for (i16 index = 0;; index++) {
        const ModuleEntry *entry = module_entry(dictionary.file(), index);
        if (!entry) break;
        i32 kind = le_get(entry->kind);
        i32 number = le_get(entry->module);
        if (before && module_compare(kind, number, le_get(before->kind), le_get(before->module)) <= 0) {
            fail_damaged(dictionary.shown, "the modules are not in order");
        }
        before = entry;
        if (at.levels >= 1 && kind != at.kind) continue;
        if (at.levels >= 2 && number != at.module) continue;

        ModuleFacts module = { .kind = kind, .module = number, .name = {}, .types = {} };
        module.name = read_module_name(dictionary, index, coordinates_of(kind, number));
        read_types(&reading, index, at, &module);
        modules.push_back(std::move(module));
    }

    if (at.levels >= 1 && modules.empty()) {
        fail_missing(dictionary, at.levels == 1 ? at : coordinates_of(at.kind, at.module));
    }
    if (at.levels >= 3 && modules[0].types.empty()) {
        fail_missing(dictionary, coordinates_of(at.kind, at.module, at.type));
    }
    if (at.levels == 4 && modules[0].types[0].resources.empty()) fail_missing(dictionary, at);
    return modules;
}

Handle read_body(const Dictionary &dictionary, const Coordinates &at)
{
    DictStatus status = DICT_OK;
    Handle body;
    if (at.kind == 1) {
        // Listings give whole module numbers here, where the exported operation wants a core type.
        u32 place;
        i32 size = 0;
        status = resource_locate(dictionary.file(), at.kind, at.module, at.type, at.id, &place, &size);
        if (!status && (i64)place + size > dict_length(dictionary.file())) status = DICT_BAD_POSITION;
        if (!status) body.value = galloc(size, nullptr, 0);
        if (body.value) {
            status = resource_fetch(dictionary.file(), at.kind, at.module, at.type, place, size, glock(body.value));
        }
    } else {
        dictionary.make_current();
        body.value = dd_getresourcehndl(at.kind, at.module, at.type, (u16)at.id, 0, &status);
    }
    if (status == DICT_NOT_FOUND && resource_exists(dictionary, at)) {
        fail_damaged(dictionary.thing(at), "the place of the body is wrong", status);
    }
    if (status == DICT_NOT_FOUND) fail_missing(dictionary, at);
    if (status) fail_with(status, dictionary.thing(at));
    if (!body.value) fail_with(DICT_NO_MEMORY, dictionary.thing(at));
    return body;
}

void count(Counts *counts, const TypeFacts &type)
{
    counts->types++;
    counts->resources += type.resources.size();
    for (const ResourceFacts &resource : type.resources) {
        counts->bodies += resource.body_size > 0;
        counts->name_bytes += resource.name.size();
        counts->body_bytes += (u64)resource.body_size;
    }
}

void count(Counts *counts, const ModuleFacts &module)
{
    counts->modules++;
    for (const TypeFacts &type : module.types) count(counts, type);
}

// ---- Changes --------------------------------------------------------------------------------------------------------

bool is_core_table(i32 kind, i32 module, u16 type, i16 id)
{
    return kind == 1 && module == CORE_TABLES_MODULE && holds_core_tables(type) && has_owners((u16)id);
}

void check_kind_1(const std::string &thing, const Coordinates &at)
{
    if (at.kind != 1) return;
    i32 series = series_of(at.module);
    if (series < INT16_MIN || series > INT16_MAX) {
        fail(EXIT_TROUBLE, thing, "the library tells series apart in 16 bits, and this one is " +
                                      std::to_string(series));
    }
    if (core_type_of(at.module) == CORE_TABLES_MODULE && at.module != CORE_TABLES_MODULE) {
        fail(EXIT_TROUBLE, thing, "the library has core type 10 in series 0 alone, as module 10");
    }
    if (at.levels < 3) return;
    bool holds_tables = holds_core_tables(at.type);
    if (holds_tables && (at.module != CORE_TABLES_MODULE || at.levels < 4 || has_owners((u16)at.id))) {
        fail(EXIT_TROUBLE, thing, "types 52 to 54 of kind 1 are the core tables, which the library keeps itself");
    }
    if (holds_tables || has_owners(at.type)) return;
    fail(EXIT_TROUBLE, thing, "resources of kind 1 have owners, and the library has none for type " +
                                  std::to_string(at.type));
}

void check_new_in_kind_1(const std::string &thing, const Coordinates &at)
{
    i32 series = series_of(at.module);
    if (at.kind == 1 && (series < 0 || series > SERIES_MAX)) {
        fail(EXIT_TROUBLE, thing, "the series of a module of kind 1 is a number from 0 to 14, and this is " +
                                      std::to_string(series));
    }
    check_kind_1(thing, at);
}

static i16 index_of(const Dictionary &dictionary, const Coordinates &at)
{
    return module_find(dictionary.file(), at.kind, at.module);
}

bool module_exists(const Dictionary &dictionary, const Coordinates &at)
{
    return index_of(dictionary, at) != MODULE_ABSENT;
}

static bool entry_exists(const Dictionary &dictionary, const Coordinates &at, u16 type, i16 id)
{
    return resource_entry(dictionary.file(), index_of(dictionary, at), (i16)type, id, nullptr, nullptr) != nullptr;
}

bool resource_exists(const Dictionary &dictionary, const Coordinates &at)
{
    return entry_exists(dictionary, at, at.type, at.id);
}

u16 own_type(const Dictionary &dictionary, const Coordinates &at)
{
    if (at.kind == 1 || at.module < 1 || at.module > ID_MAX) return 0;
    for (u16 type : { MODULE_TYPE, (u16)23 }) {
        if (entry_exists(dictionary, at, type, (i16)at.module)) return type;
    }
    return 0;
}

// The index of the module of kind 1 in which an identifier stands, or MODULE_ABSENT.
static i16 holder_of_id(const Dictionary &dictionary, u16 type, i16 id)
{
    for (i16 index = 0;; index++) {
        const ModuleEntry *module = module_entry(dictionary.file(), index);
        if (!module || le_get(module->kind) > 1) return MODULE_ABSENT;
        if (resource_entry(dictionary.file(), index, (i16)type, id, nullptr, nullptr)) return index;
    }
}

// The modules in which the library looks for a name before it adds it.
static std::vector<i32> modules_of_name(const Coordinates &at)
{
    if (at.kind != 1) return { at.module };
    std::vector<i32> modules;
    for (i32 series = 0; series < 7; series++) modules.push_back(module_in_series(core_type_of(at.module), series));
    return modules;
}

// Why the library calls a name taken.
static std::string words_of_taken_name(const Dictionary &dictionary, const Coordinates &at, const std::string &name)
{
    if (type_is_module(at.type)) return "another module has this name";
    for (i32 module : modules_of_name(at)) {
        Coordinates type = coordinates_of(at.kind, module, at.type);
        u16 entries = 0;
        i16 index = module_find(dictionary.file(), at.kind, module);
        if (!resource_range(dictionary.file(), index, (i16)at.type, &entries, nullptr, nullptr)) continue;
        std::vector<ModuleFacts> facts = read_facts(dictionary, type);
        for (const ResourceFacts &resource : facts[0].types[0].resources) {
            Coordinates other = coordinates_of(at.kind, module, at.type, resource.id);
            if (resource.name == name) return text_of(other) + " has this name";
            // A long list of names is searched with each name cut.
            if (name.size() == RENAMED_MODULE_MAX_BYTES && resource.name.compare(0, name.size(), name) == 0) {
                return "the library cannot tell the name from that of " + text_of(other) + ", which begins with it";
            }
        }
    }
    return words_of(DICT_EXISTS);
}

// ---- Owners ---------------------------------------------------------------------------------------------------------

// For the length of one operation an identifier of kind 1 belongs to the series of the module that is named, since that
// is how the library finds it. Nothing happens where it does so already, as it should.
class Reach {
public:
    Reach(const Dictionary &in, const Coordinates &place) : dictionary(in), at(place)
    {
        bool applies = at.kind == 1 && has_owners(at.type) && !holds_core_tables(at.type);
        before = applies ? dd_get_owner(dictionary.file(), at.type, (u32)at.id) : natural_owner(at.module);
        if (before == natural_owner(at.module)) return;
        DictStatus status = core_owner_set(dictionary.file(), at.type, at.id, (u8)natural_owner(at.module));
        if (status) fail_with(status, dictionary.thing(at), "its owner cannot be recorded");
    }
    // Record again what was recorded before.
    void give_back() const
    {
        if (before != natural_owner(at.module)) set_owner(dictionary, at, before);
    }

private:
    const Dictionary &dictionary;
    Coordinates at;
    i16 before;
};

void set_owner(const Dictionary &dictionary, const Coordinates &at, i16 owner)
{
    if (dd_get_owner(dictionary.file(), at.type, (u32)at.id) == owner) return;
    u8 byte = owner == NO_OWNER ? CORE_FREE : (u8)owner;
    DictStatus status = core_owner_set(dictionary.file(), at.type, at.id, byte);
    dictionary.make_current();
    if (!status) status = core_table_write(dictionary.file(), (i16)at.type, core_id_range(at.id, nullptr));
    if (status) fail_with(status, dictionary.thing(at), "its owner cannot be recorded");
}

// Series whose owner byte leads back to them: the library finds no resource of the others.
static void check_reach(const Dictionary &dictionary, const Coordinates &at)
{
    i32 series = series_of(at.module);
    if (at.kind != 1 || (series == natural_owner(at.module) && series != NO_OWNER && series != CORE_FREE)) return;
    fail(EXIT_TROUBLE, dictionary.thing(at), "the library does not find the resources of series " +
                                                 std::to_string(series));
}

// ---- Adding ---------------------------------------------------------------------------------------------------------

// What the library would notice of a new resource of kind 1 only when something of it is in the file.
static void prepare_kind_1(const Dictionary &dictionary, const Coordinates &at, const std::string &thing)
{
    i16 holder = holder_of_id(dictionary, at.type, at.id);
    if (holder != MODULE_ABSENT) {
        i32 module = le_get(module_entry(dictionary.file(), holder)->module);
        fail_with(DICT_EXISTS, thing, text_of(coordinates_of(1, module, at.type, at.id)) +
                                          " has this identifier, which kind 1 has once");
    }
    // An owner of nothing keeps nobody out.
    if (dd_get_owner(dictionary.file(), at.type, (u32)at.id) != NO_OWNER) {
        (void)core_owner_set(dictionary.file(), at.type, at.id, CORE_FREE);  // its table is there
    }
    u8 words[256];
    if (module_exists(dictionary, at)) return;
    i32 other = module_find_by_name(dictionary.file(), 1, module_default_name(at.module, words));
    if (!other) return;
    fail_with(DICT_EXISTS, thing, "the module would get the name of " + text_of(coordinates_of(1, other)) +
                                      "; make it first, with another");
}

// What a message names: for the resource that stands for a module, the module.
static std::string thing_of(const Dictionary &dictionary, const Coordinates &at)
{
    bool is_own = type_is_module(at.type) && at.id == at.module;
    return dictionary.thing(is_own ? coordinates_of(at.kind, at.module) : at);
}

void add_resource(const Dictionary &dictionary, const Coordinates &at, const std::string &name, const Handle &body)
{
    bool makes_module = type_is_module(at.type);
    std::string thing = thing_of(dictionary, at);
    check_kind_1(thing, at);
    check_name(thing, name);
    check_directory(dictionary, at);
    // Ahead of the library's own test, which for a module comes after its directory was given room.
    if (makes_module && module_exists(dictionary, at)) fail_with(DICT_EXISTS, thing, "there is such a module already");
    if (!makes_module && resource_exists(dictionary, at)) {
        fail_with(DICT_EXISTS, thing, "there is such a resource already");
    }
    StoredName stored(name);
    if (makes_module && module_find_by_name(dictionary.file(), at.kind, stored.text)) {
        fail_with(DICT_EXISTS, thing, words_of_taken_name(dictionary, at, name));
    }

    dictionary.make_current();
    i32 module = at.module;
    if (at.kind == 1) {
        prepare_kind_1(dictionary, at, thing);
        module = core_type_of(at.module);
        (void)dd_choose_owner((u16)series_of(at.module));  // it gives the same
    }
    DictStatus status = dd_add_resource(at.kind, module, at.type, at.id, stored.text, body.value);
    if (status == DICT_EXISTS) fail_with(status, thing, words_of_taken_name(dictionary, at, name));
    if (status == DICT_NOT_FOUND) {
        fail_with(status, dictionary.thing(coordinates_of(at.kind, at.module)), "there is no such module");
    }
    if (status) fail_with(status, thing);
}

// What the library's inner operations leave in memory goes to the file.
static void flush(const Dictionary &dictionary, const Coordinates &at)
{
    DictStatus status = block_table_flush(dictionary.file());
    if (status) fail_with(status, dictionary.thing(at));
}

void add_bare_module(const Dictionary &dictionary, const Coordinates &at, const std::string &name)
{
    check_kind_1(dictionary.thing(at), at);
    check_name(dictionary.thing(at), name);
    if (module_exists(dictionary, at)) fail_with(DICT_EXISTS, dictionary.thing(at), "there is such a module already");
    StoredName stored(name);
    if (module_find_by_name(dictionary.file(), at.kind, stored.text)) {
        fail_with(DICT_EXISTS, dictionary.thing(at), "another module has this name");
    }
    DictStatus status = module_create(dictionary.file(), at.kind, at.module, stored.text);
    if (status) fail_with(status, dictionary.thing(at));
    flush(dictionary, at);
}

void change_resource(const Dictionary &dictionary, const Coordinates &at, const std::string *name, const Handle &body)
{
    std::string thing = thing_of(dictionary, at);
    if (!resource_exists(dictionary, at)) fail_missing(dictionary, at);
    check_kind_1(thing, at);
    check_reach(dictionary, at);
    if (name && name->size() > NAME_MAX_BYTES) check_name(thing, *name);
    bool renames_module = name && type_is_module(at.type);
    if (renames_module && name->size() > RENAMED_MODULE_MAX_BYTES) {
        fail_with(DICT_BAD_NAME, thing, "the new name of a module has at most 79 bytes");
    }

    StoredName stored(name ? *name : "");
    dictionary.make_current();
    Reach reach(dictionary, at);
    i32 module = at.kind == 1 ? core_type_of(at.module) : at.module;
    DictStatus status = dd_change_resource(at.kind, module, at.type, at.id, name ? stored.text : nullptr, body.value);
    reach.give_back();
    if (status == DICT_EXISTS) fail_with(status, thing, words_of_taken_name(dictionary, at, *name));
    if (status) fail_with(status, thing);
    // The library does not tell whether the list of modules took the name.
    if (renames_module && read_module_name(dictionary, index_of(dictionary, at), at) != *name) {
        fail(EXIT_TROUBLE, thing, "the name in the list of modules could not be changed");
    }
}

void rename_module(const Dictionary &dictionary, const Coordinates &at, const std::string &name)
{
    std::string thing = dictionary.thing(at);
    check_name(thing, name);
    if (name.size() > RENAMED_MODULE_MAX_BYTES) {
        fail_with(DICT_BAD_NAME, thing, "the new name of a module has at most 79 bytes");
    }
    if (!module_exists(dictionary, at)) fail_missing(dictionary, coordinates_of(at.kind, at.module));
    if (read_module_name(dictionary, index_of(dictionary, at), at) == name) return;
    StoredName stored(name);
    if (module_find_by_name(dictionary.file(), at.kind, stored.text)) {
        fail_with(DICT_EXISTS, thing, "another module has this name");
    }
    DictStatus status = module_rename(dictionary.file(), at.kind, at.module, stored.text);
    if (status) fail_with(status, thing);
    flush(dictionary, at);
}

void set_flags(const Dictionary &dictionary, const Coordinates &at, u8 flags)
{
    // By its place, whoever owns it; the file takes the same bytes as by dd_set_resource_flags.
    DictStatus status = resource_set_flags(dictionary.file(), at.kind, at.module, (i16)at.type, at.id, flags);
    if (!status) status = directory_save(dictionary.file(), at.kind, at.module);
    if (status) fail_with(status, dictionary.thing(at));
    flush(dictionary, at);
}

void set_version(const Dictionary &dictionary, u16 version)
{
    DictStatus status = dict_file_set_version(dictionary.file(), version);
    if (status) fail_with(status, dictionary.shown);
}

void remove_resource(const Dictionary &dictionary, const Coordinates &at)
{
    if (!resource_exists(dictionary, at)) fail_missing(dictionary, at);
    check_kind_1(dictionary.thing(at), at);
    check_reach(dictionary, at);
    dictionary.make_current();
    Reach reach(dictionary, at);
    i32 module = at.kind == 1 ? core_type_of(at.module) : at.module;
    DictStatus status = dd_remove_resource(at.kind, module, at.type, at.id);
    reach.give_back();
    if (status) fail_with(status, dictionary.thing(at));
}

// The identifiers of a module of kind 1 that belong to its series are free when it goes.
static void free_owners(const Dictionary &dictionary, const ModuleFacts &module)
{
    std::set<std::pair<u16, i32>> changed;    // type and range
    for (const TypeFacts &type : module.types) {
        for (const ResourceFacts &resource : type.resources) {
            bool owns = has_owners(type.type) && resource.owner == natural_owner(module.module);
            if (!owns || core_owner_set(dictionary.file(), type.type, resource.id, CORE_FREE)) continue;
            changed.insert({ type.type, core_id_range(resource.id, nullptr) });
        }
    }
    dictionary.make_current();
    for (auto [type, range] : changed) {
        DictStatus status = core_table_write(dictionary.file(), (i16)type, range);
        if (status) {
            fail_with(status, dictionary.thing(coordinates_of(1, module.module)), "its owners cannot be recorded");
        }
    }
}

static void remove_whole_module(const Dictionary &dictionary, const Coordinates &at)
{
    if (at.module >= 1 && at.module <= ID_MAX) {
        dictionary.make_current();
        DictStatus status = dd_remove_resource(at.kind, at.module, MODULE_TYPE, at.module);
        if (status) fail_with(status, dictionary.thing(at));
        return;
    }
    // Beyond the numbers that an identifier can be.
    DictStatus status = module_delete(dictionary.file(), at.kind, at.module);
    if (status) fail_with(status, dictionary.thing(at));
    flush(dictionary, at);
}

void remove_module(const Dictionary &dictionary, const Coordinates &at)
{
    if (!module_exists(dictionary, at)) fail_missing(dictionary, coordinates_of(at.kind, at.module));
    std::vector<ModuleFacts> kind_1;
    if (at.kind == 1) kind_1 = read_facts(dictionary, at);
    remove_whole_module(dictionary, at);
    for (const ModuleFacts &module : kind_1) free_owners(dictionary, module);
}

i16 next_free_id(const Dictionary &dictionary, const Coordinates &at, bool local)
{
    std::string thing = dictionary.thing(at);
    check_kind_1(thing, at);
    if (at.kind != 1 && !type_is_module(at.type) && !module_exists(dictionary, at)) {
        fail_missing(dictionary, coordinates_of(at.kind, at.module));
    }
    check_directory(dictionary, at);
    dictionary.make_current();
    i16 id = local ? dd_local_uniqueid(at.kind, at.module, at.type) : dd_uniqueid(at.kind, at.module, at.type);
    if (id < 1) fail_with(DICT_NO_ROOM, thing, "all identifiers up to 32767 are taken");
    return id;
}

i16 next_id(const Dictionary &dictionary, const Coordinates &at)
{
    if (at.kind == 1) return next_free_id(dictionary, at, false);
    u16 entries = 0;
    const ResourceEntry *run =
        resource_range(dictionary.file(), index_of(dictionary, at), (i16)at.type, &entries, nullptr, nullptr);
    if (!run || entries == 0) return 1;
    i32 highest = le_get(run[entries - 1].id);
    if (highest < ID_MAX) return (i16)(highest + 1);
    fail_with(DICT_NO_ROOM, dictionary.thing(at), "the highest identifier is 32767, so there is no next one");
}

} // namespace zuk::tool
