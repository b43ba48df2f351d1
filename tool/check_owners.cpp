// The check of kind 1: what the core tables tell of owners, against the resources that are there.

#include "engine/core_tables.h"
#include "engine/resources.h"
#include "tool/checking.h"
#include "tool/coordinates.h"
#include "tool/messages.h"

#include <set>

namespace zuk::tool {

static std::string number(i64 value) { return std::to_string(value); }

constexpr i32 RANGE_FIRST[CORE_RANGES] = { 0, 19999, 21999 };   // what a position is added to

static const char *words_of_range(i32 range)
{
    static const char *const words[CORE_RANGES] = { "below 20000", "from 20000 to 21999", "from 22000 on" };
    return words[range];
}

static bool has_table(i32 type) { return type >= 1 && type <= CORE_TYPE_MAX && core_table_size(type) > 0; }

// A core table that could be read: its owner bytes by position.
struct ReadTable {
    std::string place;    // "1/10/52/9"
    i64 owners_at;        // of position 0 in the file
    std::string owners;   // positions 0 to the capacity
};

static std::string place_of_table(i32 range, i32 type)
{
    return text_of(coordinates_of(1, CORE_TABLES_MODULE, (u16)(CORE_TABLES_TYPE + range), (i16)type));
}

// Read one table and test its head. False when nothing can be said of its owners.
static bool read_table(Checking *check, const TableResource &resource, ReadTable *table)
{
    table->place = place_of_table(resource.range, resource.id);
    if (resource.body_size == 0) {
        add_fault(check, resource.entry_offset, table->place, "there is no body that could tell owners");
        return false;
    }
    std::string body = read_bytes(check, resource.body_offset, resource.body_size);
    CoreTable head = {};
    bool is_whole = record_at(body, 0, &head);
    i64 capacity = is_whole ? le_get(head.capacity) : 0;
    i64 first = core_table_size(resource.id);
    // A table as it was made ends with one byte behind the owners, a grown one with two.
    i64 size = (i64)sizeof head + 1 + capacity + (capacity == first ? 1 : 2);
    if (!is_whole || capacity < first) {
        add_fault(check, resource.body_offset, table->place,
                  "it is a table of " + counted(body.size(), "byte") + " for " + number(capacity) +
                      " identifiers, and begins with " + number(first));
        return false;
    }
    if ((i64)body.size() != size) {
        add_fault(check, resource.body_offset, table->place,
                  "a table for " + number(capacity) + " identifiers has " + number(size) + " bytes, and it has " +
                      number((i64)body.size()));
        return false;
    }
    table->owners_at = resource.body_offset + (i64)sizeof head;
    table->owners = body.substr(sizeof head, (size_t)capacity + 1);

    i64 free = 0;
    for (size_t p = 1; p < table->owners.size(); p++) free += (u8)table->owners[p] == CORE_FREE;
    if (le_get(head.free_count) != free) {
        add_fault(check, resource.body_offset + (i64)offsetof(CoreTable, free_count), table->place,
                  "it tells " + number(le_get(head.free_count)) + " of its identifiers as free, and " + number(free) +
                      " are");
    }
    if ((u8)table->owners[0] != CORE_FREE) {
        add_fault(check, table->owners_at, table->place,
                  "its position 0, which belongs to no identifier, has an owner");
    }
    return true;
}

using Tables = std::map<std::pair<i32, i32>, ReadTable>;    // by type and range

static Tables read_tables(Checking *check)
{
    Tables tables;
    std::set<std::pair<i32, i32>> standing;
    for (const TableResource &resource : check->tables) {
        if (!has_table(resource.id)) {
            add_note(check, resource.entry_offset, place_of_table(resource.range, resource.id),
                     "it is no core table, as type " + number(resource.id) + " has no owners");
            continue;
        }
        standing.insert({ resource.id, resource.range });
        ReadTable table;
        if (read_table(check, resource, &table)) tables[{ resource.id, resource.range }] = std::move(table);
    }
    if (standing.empty()) {
        if (check->owned.empty()) return tables;
        add_note(check, 0, "1/10", "there are no core tables; the next open for reading makes them");
        return tables;
    }
    if (!check->all_walked) return tables;
    for (i32 type = 1; type <= CORE_TYPE_MAX; type++) {
        for (i32 range = 0; range < CORE_RANGES && has_table(type); range++) {
            if (standing.count({ type, range })) continue;
            add_fault(check, 0, place_of_table(range, type),
                      "it is missing: the core table of type " + number(type) + " for identifiers " +
                          words_of_range(range));
        }
    }
    return tables;
}

// ---- Owners and resources -------------------------------------------------------------------------------------------

// Where one identifier of a type stands.
using Places = std::map<std::pair<u16, i16>, std::vector<const OwnedResource *>>;

static std::string place_of(const OwnedResource &resource)
{
    return text_of(coordinates_of(1, resource.module, resource.type, resource.id));
}

// The library takes the series as 16 bits and keeps 8 of them.
static u8 owner_byte(i32 module) { return (u8)(module >> 4); }

static void check_resource(Checking *check, const Tables &tables, const OwnedResource &resource, bool is_repeated)
{
    i32 position;
    i32 range = core_id_range(resource.id, &position);
    auto found = tables.find({ resource.type, range });
    if (found == tables.end() || resource.id < 1 || is_repeated) return;  // that was told
    const ReadTable &table = found->second;
    u8 owner = position < (i32)table.owners.size() ? (u8)table.owners[(size_t)position] : CORE_FREE;
    if (owner == owner_byte(resource.module) && owner != CORE_FREE) return;
    i64 at = position < (i32)table.owners.size() ? table.owners_at + position : resource.offset;
    std::string text = owner == CORE_FREE ? "it has no owner, as " + table.place + " tells its identifier as free"
                                          : "it stands in series " + number(resource.module >> 4) + ", and " +
                                                table.place + " tells series " + number((i8)owner) + " as its owner";
    // The library puts all of core type 10 into this module, and records the series that it was told.
    if (resource.module == CORE_TABLES_MODULE && owner != CORE_FREE) add_note(check, at, place_of(resource), text);
    else add_fault(check, at, place_of(resource), text);
}

static void check_resources(Checking *check, const Tables &tables, const Places &places)
{
    std::set<std::pair<u16, i32>> told;    // type and module
    for (const OwnedResource &resource : check->owned) {
        if (!has_table(resource.type)) {
            if (!told.insert({ resource.type, resource.module }).second) continue;
            add_fault(check, resource.offset,
                      text_of(coordinates_of(1, resource.module, resource.type)),
                      "it stands in kind 1, which has no owners for type " + number(resource.type));
            continue;
        }
        const auto &same = places.at({ resource.type, resource.id });
        bool is_repeated = same.front() != &resource && same.front()->module != resource.module;
        if (is_repeated) {
            add_fault(check, resource.offset, place_of(resource),
                      "it stands as " + place_of(*same.front()) + ", too, and kind 1 has an identifier once");
        }
        check_resource(check, tables, resource, is_repeated || same.front() != &resource);
    }
}

// Owners of identifiers that no resource has: the library leaves them when it removes a whole module of kind 1.
static void check_stray_owners(Checking *check, const Tables &tables, const Places &places)
{
    for (const auto &[key, table] : tables) {
        auto [type, range] = key;
        for (size_t p = 1; p < table.owners.size(); p++) {
            u8 owner = (u8)table.owners[p];
            i32 id = (i32)p + RANGE_FIRST[range];
            if (owner == CORE_FREE || places.count({ (u16)type, (i16)id })) continue;
            add_note(check, table.owners_at + (i64)p, table.place,
                     "it tells series " + number((i8)owner) + " as the owner of identifier " + number(id) +
                         " of type " + number(type) + ", and there is no such resource");
        }
    }
}

void check_owners(Checking *check)
{
    Tables tables = read_tables(check);
    Places places;
    for (const OwnedResource &resource : check->owned) {
        places[{ resource.type, resource.id }].push_back(&resource);
    }
    check_resources(check, tables, places);
    if (check->all_walked) check_stray_owners(check, tables, places);
}

} // namespace zuk::tool
