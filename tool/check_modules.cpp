// The check of the module table, the directories, and what their types and resources tell of.

#include "engine/resources.h"
#include "tool/checking.h"
#include "tool/coordinates.h"
#include "tool/escape.h"
#include "tool/messages.h"

#include <algorithm>
#include <string_view>

namespace zuk::tool {

static std::string number(i64 value) { return std::to_string(value); }

static bool is_zero(const void *record, size_t size)
{
    const u8 *bytes = (const u8 *)record;
    return std::all_of(bytes, bytes + size, [](u8 byte) { return byte == 0; });
}

// ---- Names ----------------------------------------------------------------------------------------------------------

// A name that is there whole, for the search of duplicates.
struct FoundName {
    std::string_view text;
    i64 at;
    std::string place;
};

// The name of `size` stored bytes at `offset` of the bytes in use. False, with a fault, when it is not there; then
// nothing more can be said of it.
static bool find_name(Checking *check, const std::string &used, i64 offset, i64 size, i64 at, const std::string &place,
                      std::string_view *name)
{
    if (offset < 0 || size < 1 || offset + size > (i64)used.size()) {
        add_fault(check, at, place,
                  "its name of " + counted((size_t)(size < 0 ? 0 : size), "byte") + " at " + number(offset) +
                      " does not lie in the " + counted(used.size(), "byte") + " of names in use");
        return false;
    }
    std::string_view stored = std::string_view(used).substr((size_t)offset, (size_t)size);
    i64 length = (u8)stored[0];
    *name = stored.substr(1);
    if (length == size - 1) return true;
    add_fault(check, at, place,
              "its name is said to have " + counted((size_t)size, "byte") + ", and its length byte says " +
                  number(length + 1));
    return false;
}

static void check_duplicates(Checking *check, std::vector<FoundName> names)
{
    std::stable_sort(names.begin(), names.end(),
                     [](const FoundName &a, const FoundName &b) { return a.text < b.text; });
    for (size_t i = 1; i < names.size(); i++) {
        if (names[i].text != names[i - 1].text) continue;
        add_fault(check, names[i].at, names[i].place,
                  "its name \"" + escape(std::string(names[i].text)) + "\" is that of " + names[i - 1].place + ", too");
    }
}

// ---- Resources ------------------------------------------------------------------------------------------------------

// One type in its directory.
struct TypeWalk {
    i32 kind, module;
    TypeEntry entry;
    i64 at;               // of its record in the file
    i64 slots_at;         // of its first place in the file
    std::string place;    // "2/100/1"
    std::vector<ResourceEntry> resources, free_slots;
};

static std::string place_of(const TypeWalk &type, const ResourceEntry &entry)
{
    return type.place + "/" + number(le_get(entry.id));
}

static i64 offset_of(const TypeWalk &type, size_t index)
{
    return type.slots_at + (i64)(index * sizeof(ResourceEntry));
}

static void check_ids(Checking *check, const TypeWalk &type)
{
    i32 last = 0;
    for (size_t i = 0; i < type.resources.size(); i++) {
        i32 id = le_get(type.resources[i].id);
        std::string place = place_of(type, type.resources[i]);
        if (id < 1) add_fault(check, offset_of(type, i), place, "its identifier is below 1");
        else if (i && id == last) add_fault(check, offset_of(type, i), place, "it stands twice in its directory");
        else if (i && id < last) {
            add_fault(check, offset_of(type, i), place,
                      "it stands behind the identifier " + number(last) + ", and they have to ascend");
        }
        last = id;
        bool is_own = type_is_module((u16)le_get(type.entry.type));
        if (id >= 1 && is_own && id != type.module) {
            add_note(check, offset_of(type, i), place, "it stands for a module, and has not the number of its own");
        }
    }
    for (size_t i = 0; i < type.free_slots.size(); i++) {
        if (is_zero(&type.free_slots[i], sizeof(ResourceEntry))) continue;
        add_fault(check, offset_of(type, type.resources.size() + i), type.place,
                  "a free place behind its resources is not empty");
    }
}

// The library tests a name against those of series 0 to 6 alone.
static bool can_hold_duplicates(const TypeWalk &type)
{
    return type.kind == 1 && (type.module < 0 || type.module >= 7 * 16);
}

static void check_names(Checking *check, const TypeWalk &type)
{
    const BlockEntry *block =
        claim_block(check, type.at, type.place, "the names", le_get(type.entry.name_block), BLOCK_NAMES);
    if (!block) return;
    std::string used = read_bytes(check, le_get(block->offset), used_of(*block));
    if ((i64)used.size() < used_of(*block)) return;

    std::vector<Piece> pieces;
    std::vector<FoundName> names;
    for (size_t i = 0; i < type.resources.size(); i++) {
        const ResourceEntry &entry = type.resources[i];
        i64 offset = le_get(entry.name_offset);
        std::string place = place_of(type, entry);
        if (entry.name_size == 0) {
            add_note(check, offset_of(type, i), place, "no bytes of its name are stored, as of one of 255 characters");
            continue;
        }
        std::string_view name;
        bool found = find_name(check, used, offset, entry.name_size, offset_of(type, i), place, &name);
        if (offset >= 0 && offset + entry.name_size <= (i64)used.size()) {
            pieces.push_back({ .from = offset, .to = offset + entry.name_size, .at = offset_of(type, i),
                               .place = place });
        }
        if (found) names.push_back({ .text = name, .at = offset_of(type, i), .place = place });
    }
    check_pieces(check, std::move(pieces), "name", used_of(*block), le_get(block->offset),
                 "block " + number(le_get(type.entry.name_block)));
    if (!can_hold_duplicates(type)) check_duplicates(check, std::move(names));
}

// Note what kind 1 has to have an owner for, and its owners themselves.
static void collect(Checking *check, const TypeWalk &type, size_t index, const BlockEntry *bodies, bool body_is_sound)
{
    if (type.kind != 1) return;
    const ResourceEntry &entry = type.resources[index];
    u16 number_of_type = (u16)le_get(type.entry.type);
    bool holds_table = number_of_type >= CORE_TABLES_TYPE && number_of_type < CORE_TABLES_TYPE + 3;
    if (holds_table && type.module != CORE_TABLES_MODULE) return;  // such types have no owners
    if (!holds_table) {
        check->owned.push_back({ .type = number_of_type, .id = le_get(entry.id), .module = type.module,
                                 .offset = offset_of(type, index) });
        return;
    }
    check->tables.push_back({ .range = number_of_type - CORE_TABLES_TYPE, .id = le_get(entry.id),
                              .entry_offset = offset_of(type, index),
                              .body_offset = bodies ? (i64)le_get(bodies->offset) + le_get(entry.body_offset) : 0,
                              .body_size = body_is_sound ? le_get(entry.body_size) : 0 });
}

static void check_bodies(Checking *check, const TypeWalk &type)
{
    const BlockEntry *block =
        claim_block(check, type.at, type.place, "the bodies", le_get(type.entry.body_block), BLOCK_BODIES);
    std::vector<Piece> pieces;
    for (size_t i = 0; i < type.resources.size(); i++) {
        const ResourceEntry &entry = type.resources[i];
        i64 offset = le_get(entry.body_offset);
        i64 size = le_get(entry.body_size);
        std::string place = place_of(type, entry);
        bool is_sound = block && offset >= 0 && size >= 0 && offset + size <= used_of(*block);
        if (size < 0) {
            add_fault(check, offset_of(type, i), place, "its body is said to have " + number(size) + " bytes");
        } else if (block && !is_sound) {
            add_fault(check, offset_of(type, i), place,
                      "its body of " + counted((size_t)size, "byte") + " at " + number(offset) +
                          " does not lie in the " + counted((size_t)used_of(*block), "byte") + " of bodies in use");
        }
        if (is_sound) {
            pieces.push_back({ .from = offset, .to = offset + size, .at = offset_of(type, i), .place = place });
        }
        collect(check, type, i, block, is_sound);
    }
    if (!block) return;
    check_pieces(check, std::move(pieces), "body", used_of(*block), le_get(block->offset),
                 "block " + number(le_get(type.entry.body_block)));
}

// ---- Directories ----------------------------------------------------------------------------------------------------

struct DirectoryWalk {
    i32 kind, module;
    std::string place;        // "2/100"
    i64 base;                 // of its block in the file
    std::string bytes;        // of the block
    ModuleDirectory head;
    i64 slots;                // where its places begin, from the start of the block
};

// Read the directory and test its head; false when its records do not lie in it.
static bool read_directory(Checking *check, const BlockEntry &block, DirectoryWalk *walk)
{
    walk->base = le_get(block.offset);
    walk->bytes = read_bytes(check, walk->base, le_get(block.size));
    if (!record_at(walk->bytes, 0, &walk->head)) {
        add_fault(check, walk->base, walk->place,
                  "its directory has " + counted(walk->bytes.size(), "byte") + ", and its head alone takes 14");
        return false;
    }
    const ModuleDirectory &head = walk->head;
    if (le_get(head.kind) != walk->kind || le_get(head.module) != walk->module) {
        add_fault(check, walk->base, walk->place,
                  "its directory says that it is that of " +
                      text_of(coordinates_of(le_get(head.kind), le_get(head.module))));
    }
    i64 types = (i64)le_get(head.type_count) + le_get(head.free_type_slots);
    i64 places = (i64)le_get(head.assigned_slots) + le_get(head.reserve_slots);
    i64 size = (i64)sizeof head + (types + places) * (i64)sizeof(ResourceEntry);
    walk->slots = (i64)sizeof head + types * (i64)sizeof(TypeEntry);
    if (size > le_get(block.size)) {
        add_fault(check, walk->base + (i64)offsetof(ModuleDirectory, type_count), walk->place,
                  "its directory tells records of " + number(size) + " bytes, and its block has " +
                      number(le_get(block.size)));
        return false;
    }
    if (size > used_of(block)) {
        add_fault(check, walk->base + (i64)offsetof(ModuleDirectory, type_count), walk->place,
                  "its directory has " + number(size) + " bytes, and its block tells " + number(used_of(block)) +
                      " of them as used");
    } else if (size < used_of(block)) {
        add_note(check, walk->base, walk->place,
                 "its block tells " + number(used_of(block)) + " bytes as used, and its directory has " +
                     number(size));
    }
    return true;
}

// A type with what stands in its run; the run lies in the assigned places.
static TypeWalk walk_of(const DirectoryWalk &directory, const TypeEntry &entry, size_t index)
{
    TypeWalk type = { .kind = directory.kind, .module = directory.module, .entry = entry,
                      .at = directory.base + (i64)(sizeof(ModuleDirectory) + index * sizeof(TypeEntry)),
                      .slots_at = directory.base + directory.slots +
                                  (i64)le_get(entry.first_slot) * (i64)sizeof(ResourceEntry),
                      .place = directory.place + "/" + number((u16)le_get(entry.type)),
                      .resources = {}, .free_slots = {} };
    for (i64 i = 0; i < (i64)le_get(entry.resource_count) + le_get(entry.free_slots); i++) {
        ResourceEntry resource = {};
        (void)record_at(directory.bytes, type.slots_at - directory.base + i * (i64)sizeof resource, &resource);
        (i < le_get(entry.resource_count) ? type.resources : type.free_slots).push_back(resource);
    }
    return type;
}

// The order of the types and their runs. False for each type whose run cannot be looked at.
static std::vector<bool> check_runs(Checking *check, const DirectoryWalk &directory,
                                    const std::vector<TypeEntry> &types)
{
    std::vector<bool> good(types.size(), true);
    std::vector<size_t> by_place;
    i64 assigned = le_get(directory.head.assigned_slots);
    auto at = [&](size_t i) { return directory.base + (i64)(sizeof(ModuleDirectory) + i * sizeof(TypeEntry)); };
    auto place = [&](size_t i) { return directory.place + "/" + number((u16)le_get(types[i].type)); };
    auto first = [&](size_t i) { return (i64)le_get(types[i].first_slot); };
    auto behind = [&](size_t i) { return first(i) + le_get(types[i].resource_count) + le_get(types[i].free_slots); };
    for (size_t i = 0; i < types.size(); i++) {
        i16 type = le_get(types[i].type);
        i16 before = i ? le_get(types[i - 1].type) : (i16)0;
        if (i && type == before) add_fault(check, at(i), place(i), "it stands twice in its directory");
        if (i && type < before) {
            add_fault(check, at(i), place(i),
                      "it stands behind the type " + number((u16)before) + ", and they have to ascend");
        }
        if (behind(i) > assigned) {
            add_fault(check, at(i) + (i64)offsetof(TypeEntry, first_slot), place(i),
                      "its places " + number(first(i)) + " to " + number(behind(i) - 1) + " are not all among the " +
                          number(assigned) + " assigned ones");
            good[i] = false;
        } else {
            by_place.push_back(i);
        }
    }

    std::stable_sort(by_place.begin(), by_place.end(), [&](size_t a, size_t b) { return first(a) < first(b); });
    i64 end = 0, unused = 0;
    size_t last = 0;
    for (size_t i : by_place) {
        if (first(i) == behind(i)) continue;
        if (first(i) < end) {
            add_fault(check, at(i) + (i64)offsetof(TypeEntry, first_slot), place(i),
                      "its places from " + number(first(i)) + " on are those of " + place(last) + ", too");
            good[i] = false;
        }
        unused += std::max<i64>(0, first(i) - end);
        if (behind(i) > end) {
            end = behind(i);
            last = i;
        }
    }
    unused += assigned - end;
    bool all_good = std::find(good.begin(), good.end(), false) == good.end();
    if (!all_good) check->all_walked = false;
    if (all_good && unused > 0) {
        add_note(check, directory.base + (i64)offsetof(ModuleDirectory, assigned_slots), directory.place,
                 counted((size_t)unused, "assigned place") + (unused == 1 ? " belongs" : " belong") + " to no type");
    }
    return good;
}

// Places that the library keeps empty but never reads.
static void check_spare_records(Checking *check, const DirectoryWalk &directory)
{
    auto note_unless_empty = [&](i64 from, i64 count, const char *what) {
        for (i64 i = 0; i < count; i++) {
            ResourceEntry record = {};
            i64 at = from + i * (i64)sizeof record;
            if (!record_at(directory.bytes, at, &record) || is_zero(&record, sizeof record)) continue;
            add_note(check, directory.base + at, directory.place, what);
            return;
        }
    };
    const ModuleDirectory &head = directory.head;
    note_unless_empty((i64)sizeof head + (i64)le_get(head.type_count) * (i64)sizeof(TypeEntry),
                      le_get(head.free_type_slots), "a free record behind its types is not empty");
    note_unless_empty(directory.slots + (i64)le_get(head.assigned_slots) * (i64)sizeof(ResourceEntry),
                      le_get(head.reserve_slots), "a place of the reserve is not empty");
}

static void check_directory(Checking *check, const ModuleEntry &module, i64 at)
{
    DirectoryWalk directory = { .kind = le_get(module.kind), .module = le_get(module.module), .place = {}, .base = 0,
                                .bytes = {}, .head = {}, .slots = 0 };
    directory.place = text_of(coordinates_of(directory.kind, directory.module));
    const BlockEntry *block = claim_block(check, at + (i64)offsetof(ModuleEntry, directory_block), directory.place,
                                          "the directory", le_get(module.directory_block), BLOCK_DIRECTORY);
    if (!block) return;
    if (!read_directory(check, *block, &directory)) {
        check->all_walked = false;
        return;
    }
    std::vector<TypeEntry> types((size_t)le_get(directory.head.type_count));
    for (size_t i = 0; i < types.size(); i++) {
        (void)record_at(directory.bytes, (i64)(sizeof(ModuleDirectory) + i * sizeof(TypeEntry)), &types[i]);
    }
    check_spare_records(check, directory);
    std::vector<bool> good = check_runs(check, directory, types);
    for (size_t i = 0; i < types.size(); i++) {
        if (!good[i]) continue;
        TypeWalk type = walk_of(directory, types[i], i);
        check->report->resources += type.resources.size();
        check_ids(check, type);
        check_names(check, type);
        check_bodies(check, type);
    }
}

// ---- The module table -----------------------------------------------------------------------------------------------

// The entries that the table tells and its block holds.
static std::vector<ModuleEntry> read_modules(Checking *check, const BlockEntry &block, const std::string &bytes,
                                             const ModuleTable &table)
{
    i64 base = le_get(block.offset);
    i64 used = le_get(table.module_count);
    i64 spare = le_get(table.spare_entries);
    i64 room = ((i64)bytes.size() - (i64)sizeof table) / (i64)sizeof(ModuleEntry);
    if (used < 0 || spare < 0 || used + spare > room) {
        add_fault(check, base, "module table",
                  "it tells " + number(used) + " modules and " + number(spare) + " spare entries, and its block of " +
                      number((i64)bytes.size()) + " bytes has room for " + number(room));
        check->all_walked = false;
    }
    std::vector<ModuleEntry> modules;
    for (i64 i = 0; i < std::min(used, room); i++) {
        ModuleEntry module = {};
        (void)record_at(bytes, (i64)sizeof table + i * (i64)sizeof module, &module);
        modules.push_back(module);
    }
    for (i64 i = std::max<i64>(used, 0); i < std::min(used + spare, room); i++) {
        ModuleEntry entry = {};
        i64 at = (i64)sizeof table + i * (i64)sizeof entry;
        if (!record_at(bytes, at, &entry) || is_zero(&entry, sizeof entry)) continue;
        add_note(check, base + at, "module table", "a spare entry is not empty");
        break;
    }
    return modules;
}

static void check_module_names(Checking *check, const std::vector<ModuleEntry> &modules, i64 modules_at)
{
    const BlockEntry *block = claim_block(check, offset_of_entry(*check, BLOCK_OF_MODULE_NAMES), "module names",
                                          "the list of module names", BLOCK_OF_MODULE_NAMES, BLOCK_NAMES);
    if (!block) return;
    std::string used = read_bytes(check, le_get(block->offset), used_of(*block));
    if ((i64)used.size() < used_of(*block)) return;

    std::vector<Piece> pieces;
    std::map<i32, std::vector<FoundName>> names;    // by kind
    for (size_t i = 0; i < modules.size(); i++) {
        const ModuleEntry &module = modules[i];
        i64 at = modules_at + (i64)(i * sizeof module) + (i64)offsetof(ModuleEntry, name_offset);
        i64 offset = le_get(module.name_offset);
        i64 size = le_get(module.name_size);
        std::string place = text_of(coordinates_of(le_get(module.kind), le_get(module.module)));
        std::string_view name;
        bool found = find_name(check, used, offset, size, at, place, &name);
        if (offset >= 0 && size > 0 && offset + size <= (i64)used.size()) {
            pieces.push_back({ .from = offset, .to = offset + size, .at = at, .place = place });
        }
        if (found) names[le_get(module.kind)].push_back({ .text = name, .at = at, .place = place });
    }
    check_pieces(check, std::move(pieces), "name", used_of(*block), le_get(block->offset), "module names");
    for (auto &[kind, of_kind] : names) check_duplicates(check, std::move(of_kind));
}

static void check_order(Checking *check, const std::vector<ModuleEntry> &modules, i64 modules_at)
{
    for (size_t i = 0; i < modules.size(); i++) {
        i64 at = modules_at + (i64)(i * sizeof(ModuleEntry));
        i32 kind = le_get(modules[i].kind);
        i32 module = le_get(modules[i].module);
        std::string place = text_of(coordinates_of(kind, module));
        if (kind < 1 || kind > 3) add_fault(check, at, place, "its kind is not 1, 2 or 3");
        if (i == 0) continue;
        i32 kind_before = le_get(modules[i - 1].kind);
        i32 module_before = le_get(modules[i - 1].module);
        i32 order = module_compare(kind, module, kind_before, module_before);
        if (order == 0) add_fault(check, at, place, "it stands twice in the module table");
        if (order < 0) {
            add_fault(check, at, place,
                      "it stands behind " + text_of(coordinates_of(kind_before, module_before)) +
                          " in the module table, and modules have to ascend");
        }
    }
}

void check_modules(Checking *check)
{
    const BlockEntry *block = claim_block(check, offset_of_entry(*check, BLOCK_OF_MODULE_TABLE), "module table",
                                          "the module table", BLOCK_OF_MODULE_TABLE, BLOCK_MODULE_TABLE);
    if (!block) return;
    i64 base = le_get(block->offset);
    std::string bytes = read_bytes(check, base, le_get(block->size));
    ModuleTable table = {};
    if (!record_at(bytes, 0, &table)) {
        add_fault(check, base, "module table",
                  "its block has " + counted(bytes.size(), "byte") + ", and its head alone takes 8");
        check->all_walked = false;
        return;
    }
    std::vector<ModuleEntry> modules = read_modules(check, *block, bytes, table);
    check->report->modules = modules.size();
    if (le_get(table.name_block) != BLOCK_OF_MODULE_NAMES) {
        add_fault(check, base + (i64)offsetof(ModuleTable, name_block), "module table",
                  "the list of module names is said to be block " + number(le_get(table.name_block)) +
                      ", and it is block 2");
    }
    i64 modules_at = base + (i64)sizeof table;
    check_order(check, modules, modules_at);
    check_module_names(check, modules, modules_at);
    for (size_t i = 0; i < modules.size(); i++) {
        check_directory(check, modules[i], modules_at + (i64)(i * sizeof(ModuleEntry)));
    }
}

} // namespace zuk::tool
