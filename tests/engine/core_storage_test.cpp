#include "engine/core_storage.h"

#include "tests/engine/slot_dictionary.h"

#include <cstddef>
#include <functional>
#include <set>
#include <vector>

namespace zuk {
namespace {

using Lines = std::vector<std::string>;

const std::set<i32> TYPES_WITHOUT_A_TABLE = { 2, 3, 4, 10, 11, 12, 13, 14, 16, 17, 23, 24 };
constexpr u32 NEW_FILE = 4930;
constexpr u32 FILE_WITH_TABLES = 29950;

// Each type and range that has a table: 52 types, 3 ranges.
void for_each_table(const std::function<void(i32 type, i32 range)> &work)
{
    for (i32 type = 1; type <= CORE_TYPE_MAX; type++) {
        if (TYPES_WITHOUT_A_TABLE.count(type)) continue;
        for (i32 range = 0; range < CORE_RANGES; range++) {
            SCOPED_TRACE("type " + std::to_string(type) + ", range " + std::to_string(range));
            work(type, range);
        }
    }
}

// The body of an empty table: capacity, free count, four bytes of 0, position 0 and the others, one byte of 0.
std::string empty_table(i32 capacity)
{
    CoreTable head = { le_i32(capacity), le_i32(capacity), {} };
    return std::string((const char *)&head, sizeof head) + std::string((size_t)capacity + 1, (char)CORE_FREE) + '\0';
}

// The stored body, read from file 0 of the current slot, without a look at any table in memory.
std::string stored(SlotDictionary &dict, i32 type, i32 range)
{
    return dict.body(1, 10, (u16)(52 + range), (u16)type);
}

std::string in_memory(const DictFile *file, i32 type, i32 range)
{
    return file->core_tables ? bytes_of(file->core_tables[type].handles[range]) : "no rows";
}

void load(SlotDictionary &dict) { EXPECT_EQ(core_tables_load(dict, nullptr), 0u); }

// A dictionary whose tables are stored and in memory.
class WithTables : public SlotDictionary {
public:
    explicit WithTables(u16 mode = DICT_EXCLUSIVE)
    {
        load(*this);
        if (mode == DICT_EXCLUSIVE) return;
        reopen(mode);
        load(*this);
    }
    // A resource of kind 1 in the module of `series` and `core_type`.
    void own(u16 series, i32 core_type, u16 type, i16 id)
    {
        (void)dd_choose_owner(series);
        std::string name = std::to_string(series) + "." + std::to_string(core_type) + "." + std::to_string(id);
        EXPECT_EQ(add(1, core_type, type, id, name, "body of " + name), 0u) << name;
        (void)dd_choose_owner(0);
    }
    // The same under an identifier that another series or core type has already.
    void own_too(u16 series, i32 core_type, u16 type, i16 id)
    {
        EXPECT_EQ(core_owner_set(file(), type, id, CORE_FREE), 0u);
        own(series, core_type, type, id);
    }
    bool has(i32 module, u16 type, i16 id)
    {
        return resource_entry(file(), module_find(file(), 1, module), (i16)type, id, nullptr, nullptr) != nullptr;
    }
    // As the file was before there were core tables.
    void forget_tables()
    {
        EXPECT_EQ(module_delete(file(), 1, 10), 0u);
        EXPECT_EQ(block_table_flush(file()), 0u);
        core_tables_free(file());
    }
    i16 owner(u16 type, i16 id) { return dd_get_owner(file(), type, (u16)id); }
};

// Another dictionary, opened below the lifecycle under identifier `id` in the slot that follows, and made current.
DictFile *open_second_slot(const SlotDictionary &dict, u16 id)
{
    EXPECT_EQ(slot_claim(id), 0u);
    i32 slot = slot_find(id);
    slot_set_path(id, 0, dict.dir.name("second"));
    EXPECT_EQ(dict_file_create(slot_path_at(slot, 0)), 0u);
    EXPECT_EQ(dict_file_open(dict_file_at(slot, 0), slot_path_at(slot, 0), DICT_EXCLUSIVE, 0), 0u);
    DictCookie cookie = { slot, 0, 0 };
    EXPECT_EQ(ds_setcurdict(&cookie), 0u);
    return dict_file_at(slot, 0);
}

// File 1 of the same slot; what is written goes to it, or to file 0.
DictFile *open_file_1(const SlotDictionary &dict, u16 mode = DICT_EXCLUSIVE)
{
    slot_set_path(1, 1, dict.dir.name("b.dic"));
    EXPECT_EQ(dict_file_create(slot_path_at(SLOT, 1)), 0u);
    EXPECT_EQ(dict_file_open(dict_file_at(SLOT, 1), slot_path_at(SLOT, 1), mode, 0), 0u);
    return dict_file_at(SLOT, 1);
}

void write_to(i32 selector)
{
    DictCookie cookie = { SLOT, selector, selector };
    EXPECT_EQ(ds_setcurdict(&cookie), 0u);
}

TEST(core_storage, has_every_operation)
{
    void *const operations[] = {
        (void *)core_table_read, (void *)core_table_create, (void *)core_table_write, (void *)core_tables_load,
        (void *)core_tables_free, (void *)dict_has_core_tables, (void *)dict_selected_has_core_tables,
        (void *)dict_reset_core_tables, (void *)dict_reset_selected,
    };
    for (const void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- Reading one table ----------------------------------------------------------------------------------------------

TEST(core_table_read, attaches_the_stored_table)
{
    SlotDictionary dict;
    EXPECT_EQ(core_table_create(7, 1), 0u);
    EXPECT_EQ(core_tables_init(dict), 0u);
    EXPECT_EQ(core_table_at(dict, 7, 1), nullptr);
    EXPECT_EQ(core_table_read(dict, 7, 1), 0u);
    ASSERT_NE(core_table_at(dict, 7, 1), nullptr);
    EXPECT_EQ(in_memory(dict, 7, 1), empty_table(5));
    EXPECT_EQ(core_table_at(dict, 7, 0), nullptr);
    EXPECT_EQ(core_table_at(dict, 7, 2), nullptr);
}

TEST(core_table_read, gives_0_for_a_type_without_a_table)
{
    SlotDictionary dict;
    EXPECT_EQ(core_tables_init(dict), 0u);
    calls_reset();
    for (i32 type : TYPES_WITHOUT_A_TABLE) EXPECT_EQ(core_table_read(dict, type, 0), 0u) << type;
    EXPECT_EQ(core_table_read(dict, 0, 0), 0u);
    EXPECT_EQ(call_lines(), Lines());
    for (i32 type : TYPES_WITHOUT_A_TABLE) EXPECT_EQ(core_table_at(dict, type, 0), nullptr) << type;
}

TEST(core_table_read, gives_3_for_a_table_that_is_not_stored)
{
    SlotDictionary dict;
    EXPECT_EQ(core_tables_init(dict), 0u);
    EXPECT_EQ(core_table_read(dict, 7, 0), 3u);         // no module 10
    EXPECT_EQ(core_table_create(7, 1), 0u);
    EXPECT_EQ(core_table_read(dict, 7, 0), 3u);         // no type 52
    EXPECT_EQ(core_table_read(dict, 8, 1), 3u);         // no identifier 8
}

TEST(core_table_read, gives_3_where_no_row_could_hold_the_table)
{
    SlotDictionary dict;
    EXPECT_EQ(core_table_create(7, 0), 0u);
    EXPECT_EQ(core_table_create(70, 0), 0u);            // its size is 1, and there is no row 70
    EXPECT_EQ(stored(dict, 70, 0), empty_table(1));
    EXPECT_EQ(core_table_read(dict, 7, 0), 3u);         // no rows at all
    EXPECT_EQ(core_tables_init(dict), 0u);
    EXPECT_EQ(core_table_read(dict, 70, 0), 3u);
    EXPECT_EQ(core_table_read(dict, -1, 0), 3u);
    dict.stored_core_table(55);
    EXPECT_EQ(core_table_create(7, 3), 0u);             // a resource of type 55 like any other
    u32 handles = handles_alive();
    EXPECT_EQ(core_table_read(dict, 7, 3), 3u);
    EXPECT_EQ(core_table_read(dict, 7, -1), 3u);
    EXPECT_EQ(handles_alive(), handles);
    EXPECT_EQ(core_table_read(dict, 7, 0), 0u);
}

TEST(core_table_read, takes_the_place_of_the_table_that_was_in_memory)
{
    WithTables dict;
    u32 handles = handles_alive();
    EXPECT_EQ(core_owner_set(dict, 7, 3, 1), 0u);
    EXPECT_EQ(core_table_read(dict, 7, 0), 0u);
    EXPECT_EQ(dict.owner(7, 3), -1);
    EXPECT_EQ(handles_alive(), handles);
}

TEST(core_table_read, reads_the_file_that_it_is_given)
{
    SlotDictionary dict;
    DictFile *first = open_file_1(dict);                // what is read by selector would come from file 0 for 52 and 54
    write_to(1);
    for (i32 range = 0; range < CORE_RANGES; range++) EXPECT_EQ(core_table_create(7, range), 0u);
    write_to(0);
    EXPECT_EQ(core_tables_init(first), 0u);
    EXPECT_EQ(core_tables_init(dict), 0u);
    for (i32 range = 0; range < CORE_RANGES; range++) {
        EXPECT_EQ(core_table_read(first, 7, range), 0u);
        EXPECT_NE(core_table_at(first, 7, range), nullptr);
        EXPECT_EQ(core_table_read(dict, 7, range), 3u);
    }
}

TEST(core_table_read, takes_the_read_lock_of_a_shared_file)
{
    WithTables dict(DICT_SHARED);
    calls_reset();
    EXPECT_EQ(core_table_read(dict, 7, 0), 0u);
    Lines lock = { "lock 999999998+1", "lock 1000000001+1", "unlock 999999998+1", "unlock 1000000001+1" };
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }), lock);

    calls_reset();                                      // what is not stored gives the lock back as well
    EXPECT_EQ(dd_remove_resource(1, 10, 52, 7), 0u);
    calls_reset();
    EXPECT_EQ(core_table_read(dict, 7, 0), 3u);
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }), lock);
}

TEST(core_table_read, takes_no_lock_where_none_is_needed)
{
    for (u16 mode : { (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        WithTables dict(mode);
        calls_reset();
        EXPECT_EQ(core_table_read(dict, 7, 0), 0u);
        EXPECT_EQ(call_counts().lock, 0u);
        EXPECT_EQ(call_counts().unlock, 0u);
    }
    WithTables dict(DICT_SHARED);
    EXPECT_TRUE(read_lock(dict));
    calls_reset();
    EXPECT_EQ(core_table_read(dict, 7, 0), 0u);
    EXPECT_EQ(call_counts().lock, 0u);
    EXPECT_EQ(call_counts().unlock, 0u);
    EXPECT_EQ(dict->lock_state, 1);
    read_unlock(dict);
}

TEST(core_table_read, gives_21_without_the_lock)
{
    WithTables dict(DICT_SHARED);
    OtherStation other(dict);
    other.hold_write_lock();
    clock_virtual_start(0);
    EXPECT_EQ(core_table_read(dict, 7, 0), 21u);
    EXPECT_NE(core_table_at(dict, 7, 0), nullptr);      // as it was
}

TEST(core_table_read, gives_9_without_memory)
{
    WithTables dict;
    core_tables_free(dict);
    EXPECT_EQ(core_tables_init(dict), 0u);
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(core_table_read(dict, 7, 0), 9u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(core_table_at(dict, 7, 0), nullptr);
}

TEST(core_table_read, passes_a_failed_read_on_and_keeps_nothing)
{
    WithTables dict;
    core_tables_free(dict);
    EXPECT_EQ(core_tables_init(dict), 0u);
    u32 handles = handles_alive();
    faults_start({ .call = FAULT_READ, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(core_table_read(dict, 7, 0), 10u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(core_table_at(dict, 7, 0), nullptr);
    EXPECT_EQ(handles_alive(), handles);
}

TEST(core_table_read, asks_for_no_memory_that_the_file_could_not_fill)
{
    SlotDictionary dict;
    EXPECT_EQ(core_table_create(7, 1), 0u);
    EXPECT_EQ(core_tables_init(dict), 0u);
    u32 block = type_body_block(dict, 1, 10, 53);
    BlockEntry entry = entry_of(dict, block);
    entry.size = le32(100000000);
    entry.free = le32(0);
    EXPECT_EQ(block_write_entry(dict, block - 1, &entry), 0u);
    EXPECT_EQ(resource_set_body_size(dict, 1, 10, 53, 7, 99999999), 0u);
    calls_reset();
    EXPECT_EQ(core_table_read(dict, 7, 1), 12u);
    EXPECT_EQ(call_counts().alloc, 0u);
    EXPECT_EQ(core_table_at(dict, 7, 1), nullptr);
}

TEST(core_table_read, takes_a_damaged_table_for_absent)
{
    std::string negative = empty_table(5), beyond = empty_table(5);
    negative[3] = '\x80';
    beyond[0] = 7;                                      // one more than there are bytes
    for (const std::string &body : { std::string("short"), std::string(12, '\0'), negative, beyond }) {
        WithTables dict;
        EXPECT_EQ(dict.change_body(1, 10, 52, 7, body), 0u);
        EXPECT_EQ(core_table_read(dict, 7, 0), 0u);
        EXPECT_EQ(core_table_at(dict, 7, 0), nullptr);
        EXPECT_EQ(dict.owner(7, 1), -1);
    }
}

// ---- Making one table -----------------------------------------------------------------------------------------------

TEST(core_table_create, makes_a_table_of_capacity_and_14_bytes)
{
    SlotDictionary dict;
    EXPECT_EQ(core_table_create(7, 2), 0u);
    EXPECT_EQ(stored(dict, 7, 2), std::string("\5\0\0\0\5\0\0\0\0\0\0\0\x0f\x0f\x0f\x0f\x0f\x0f\0", 19));
    EXPECT_EQ(core_table_create(9, 0), 0u);
    EXPECT_EQ(stored(dict, 9, 0).size(), 514u);
}

TEST(core_table_create, names_it_by_type_and_range)
{
    SlotDictionary dict;
    EXPECT_EQ(core_table_create(7, 2), 0u);
    EXPECT_EQ(dict.name(1, 10, 54, 7), "Local core table 7, 2");
}

TEST(core_table_create, makes_module_10_with_the_first_of_them)
{
    SlotDictionary dict;
    (void)dd_choose_owner(3);                           // it is the module of the system, whoever is chosen
    EXPECT_EQ(module_count(dict, 1), 0);
    EXPECT_EQ(core_table_create(7, 0), 0u);
    EXPECT_EQ(core_table_create(8, 1), 0u);
    EXPECT_EQ(module_count(dict, 1), 1);
    EXPECT_EQ(module_at(dict, 1, 1), 10);
    Name name;
    EXPECT_EQ(module_read_name(dict, 0, name), 0u);
    EXPECT_EQ(name.str(), "System Core Tables");
}

TEST(core_table_create, gives_0_and_makes_nothing_for_a_type_without_a_table)
{
    SlotDictionary dict;
    for (i32 type : TYPES_WITHOUT_A_TABLE) EXPECT_EQ(core_table_create(type, 0), 0u) << type;
    EXPECT_EQ(core_table_create(0, 0), 0u);
    EXPECT_EQ(dict.bytes().size(), NEW_FILE);
    EXPECT_EQ(module_count(dict, 1), 0);
}

TEST(core_table_create, gives_2_for_a_table_that_is_stored)
{
    SlotDictionary dict;
    EXPECT_EQ(core_table_create(7, 0), 0u);
    EXPECT_EQ(core_table_create(7, 0), 2u);
}

TEST(core_table_create, gives_9_without_memory)
{
    SlotDictionary dict;
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(core_table_create(7, 0), 9u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dict.bytes().size(), NEW_FILE);
}

TEST(core_table_create, passes_the_status_of_the_addition_on)
{
    SlotDictionary dict;
    dict.close();
    EXPECT_EQ(core_table_create(7, 0), 7u);
    dict.open(DICT_READ_ONLY);
    EXPECT_EQ(core_table_create(7, 0), 13u);            // there is no block for module 10
    EXPECT_EQ(dict.stop(), 0u);
    EXPECT_EQ(core_table_create(7, 0), 15u);
    dict.start();
}

// ---- Loading all tables ---------------------------------------------------------------------------------------------

TEST(core_tables_load, makes_156_empty_tables_without_a_walk)
{
    WithTables dict;
    dict.own(0, 2, 9, 1);
    dict.forget_tables();
    EXPECT_EQ(core_tables_load(dict, nullptr), 0u);
    i32 tables = 0;
    for_each_table([&](i32 type, i32 range) {
        tables++;
        EXPECT_EQ(stored(dict, type, range), empty_table(core_table_size(type)));
        EXPECT_EQ(in_memory(dict, type, range), empty_table(core_table_size(type)));
        EXPECT_EQ(dict.name(1, 10, (u16)(52 + range), (u16)type),
                  "Local core table " + std::to_string(type) + ", " + std::to_string(range));
    });
    EXPECT_EQ(tables, 156);
    for (i32 type : TYPES_WITHOUT_A_TABLE) {
        for (i32 range = 0; range < CORE_RANGES; range++) EXPECT_EQ(core_table_at(dict, type, range), nullptr);
    }
    EXPECT_TRUE(dict.has(2, 9, 1));
    EXPECT_EQ(dict.owner(9, 1), -1);                    // nobody has looked for it
}

TEST(core_tables_load, lays_out_a_new_file)
{
    SlotDictionary dict;
    calls_reset();
    load(dict);
    EXPECT_EQ(call_counts().open, 4u);                  // blocks 4 to 10 were taken at the end of the file
    EXPECT_EQ(le_get(dict->header.free_entries), 246u);
    const struct {
        u32 type, offset, size, free;
    } blocks[] = {
        { 1, 3610, 808, 808 },     // the module table
        { 3, 4418, 512, 493 },     // "System Core Tables"
        { 6, 26, 3584, 0 },        // the block table
        { 2, 17280, 12670, 0 },    // the directory of module 10, moved to the end
        { 3, 13184, 2048, 858 },   // names and bodies of type 52,
        { 4, 15232, 2048, 304 },
        { 3, 4930, 2048, 858 },    // of 53
        { 4, 6978, 2048, 304 },
        { 3, 9026, 2048, 858 },    // and of 54
        { 4, 11074, 2048, 304 },
        { 0, 13122, 62, 62 },      // a free piece
        { 0, 0, 0, 0 },
    };
    for (u32 i = 0; i < std::size(blocks); i++) {
        BlockEntry entry = entry_of(dict, i + 1);
        EXPECT_EQ(le_get(entry.type), blocks[i].type) << i + 1;
        EXPECT_EQ(le_get(entry.offset), blocks[i].offset) << i + 1;
        EXPECT_EQ(le_get(entry.size), blocks[i].size) << i + 1;
        EXPECT_EQ(le_get(entry.free), blocks[i].free) << i + 1;
    }
    ModuleDirectory *directory = directory_get(dict, 0);
    for (i32 i = 0; i < CORE_RANGES; i++) {
        const TypeEntry *type = type_at(directory, i);
        ASSERT_NE(type, nullptr);
        EXPECT_EQ(le_get(type->type), 52 + i);
        EXPECT_EQ(le_get(type->first_slot), 92 * i);
        EXPECT_EQ(le_get(type->resource_count), 52);
        EXPECT_EQ(le_get(type->free_slots), 40);
    }
    EXPECT_EQ(type_at(directory, CORE_RANGES), nullptr);

    dict.close();
    std::string bytes = dict.bytes();
    EXPECT_EQ(bytes.size(), FILE_WITH_TABLES);
    EXPECT_EQ(u32_at(bytes, offsetof(DictHeader, free_entries)), 246u);
    EXPECT_EQ(u16_at(bytes, offsetof(DictHeader, change_count)), 0u);

    // In the file: the first table of range 1 is that of type 1, and the second that of type 5.
    EXPECT_EQ(bytes.substr(4930, 44), "\x15Local core table 1, 1\x15Local core table 5, 1");
    EXPECT_EQ(bytes.substr(6978, 34 + 74), empty_table(20) + empty_table(60));
}

TEST(core_tables_load, writes_nothing_when_all_are_stored)
{
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        WithTables dict;
        dict.own(1, 2, 9, 5);
        dict.reopen(mode);
        calls_reset();
        load(dict);
        EXPECT_EQ(call_counts().write, 0u);
        EXPECT_EQ(call_counts().open, 0u);
        for_each_table([&](i32 type, i32 range) { EXPECT_NE(core_table_at(dict, type, range), nullptr); });
        EXPECT_EQ(dict.owner(9, 5), 1);
    }
}

TEST(core_tables_load, goes_by_type_and_then_by_range)
{
    std::vector<std::string> names;
    for (u32 nth = 1; names.size() < 4; nth++) {        // names are written one by one, in the order of the making
        ASSERT_LT(nth, 100u);
        SlotDictionary run;
        faults_start({ .call = FAULT_WRITE, .nth = nth, .from_then_on = true });
        (void)core_tables_load(run, nullptr);
        EXPECT_TRUE(faults_stop());
        std::string bytes = run.bytes();
        names.clear();
        for (const char *name : { "table 1, 0", "table 1, 1", "table 1, 2", "table 5, 0" }) {
            if (bytes.find(name) == std::string::npos) break;
            names.push_back(name);
        }
        for (const char *later : { "table 5, 1", "table 5, 2", "table 6, 0" }) {
            EXPECT_EQ(bytes.find(later), std::string::npos) << later;
        }
    }
}

TEST(core_tables_load, makes_what_is_missing_in_the_modes_that_write)
{
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_EXCLUSIVE }) {
        WithTables dict;
        dict.own(1, 2, 9, 5);
        EXPECT_EQ(dd_remove_resource(1, 10, 53, 7), 0u);
        EXPECT_EQ(dd_remove_resource(1, 10, 54, 64), 0u);
        dict.reopen(mode);
        load(dict);
        EXPECT_EQ(stored(dict, 7, 1), empty_table(5));
        EXPECT_EQ(stored(dict, 64, 2), empty_table(1));
        for_each_table([&](i32 type, i32 range) { EXPECT_NE(core_table_at(dict, type, range), nullptr); });
        EXPECT_EQ(dict.owner(9, 5), 1);                 // the others are read
    }
}

TEST(core_tables_load, ends_at_the_first_missing_table)
{
    WithTables dict;
    EXPECT_EQ(dd_remove_resource(1, 10, 53, 7), 0u);
    dict.reopen(DICT_READ_ONLY);
    calls_reset();
    EXPECT_EQ(core_tables_load(dict, nullptr), 3u);
    EXPECT_EQ(call_counts().write, 0u);
    for_each_table([&](i32 type, i32 range) {
        bool before = type < 7 || (type == 7 && range == 0);
        EXPECT_EQ(core_table_at(dict, type, range) != nullptr, before);
    });
    EXPECT_FALSE(dict_has_core_tables(dict));
    EXPECT_EQ(core_owner_set(dict, 9, 5, 1), 3u);       // so that kind 1 knows no owner there
    EXPECT_EQ(dict.owner(9, 5), -1);
}

TEST(core_tables_load, makes_missing_tables_in_the_current_dictionary)
{
    SlotDictionary dict;
    DictFile *second = open_second_slot(dict, 20);
    calls_reset();
    EXPECT_EQ(core_tables_load(dict, nullptr), 3u);     // what was made does not stand where it is read again
    EXPECT_EQ(module_count(dict, 1), 0);
    EXPECT_EQ(dict.bytes().size(), NEW_FILE);
    EXPECT_EQ(module_count(second, 1), 1);
    EXPECT_EQ(dd_numresources(1, 10, 52), 0);           // tables themselves are not counted
    EXPECT_EQ(dd_local_numres(0, 1, 10, 52), 1);        // the first of them alone
    EXPECT_EQ(core_tables_init(second), 0u);
    EXPECT_EQ(core_table_read(second, 1, 0), 0u);
}

TEST(core_tables_load, borrows_all_but_the_middle_range)
{
    WithTables dict;
    DictFile *first = open_file_1(dict);
    write_to(1);
    EXPECT_EQ(core_tables_load(first, nullptr), 0u);
    core_tables_free(first);
    calls_reset();
    EXPECT_EQ(core_tables_load(first, dict), 0u);
    for_each_table([&](i32 type, i32 range) {
        const CoreRow &row = first->core_tables[type];
        EXPECT_EQ(row.handles[range] != 0, range == 1);
        EXPECT_NE(row.tables[range], nullptr);
        EXPECT_EQ(core_table_at(first, type, range) == core_table_at(dict, type, range), range != 1);
    });
    EXPECT_EQ(call_counts().write, 0u);
    EXPECT_TRUE(dict_has_core_tables(first));
    u32 handles = handles_alive();
    core_tables_free(first);
    EXPECT_EQ(handles - handles_alive(), 53u);          // 52 of the middle range, and the array
    EXPECT_NE(core_table_at(dict, 9, 0), nullptr);
}

TEST(core_tables_load, borrows_nothing_where_the_main_file_has_none)
{
    WithTables dict;
    DictFile *first = open_file_1(dict);
    write_to(1);
    EXPECT_EQ(core_tables_load(first, nullptr), 0u);
    core_tables_free(first);
    core_tables_free(dict);
    EXPECT_EQ(core_tables_load(first, dict), 0u);
    for_each_table([&](i32 type, i32 range) {
        EXPECT_EQ(core_table_at(first, type, range) != nullptr, range == 1);
    });
}

TEST(core_tables_load, makes_a_middle_range_for_a_borrower)
{
    WithTables dict;
    DictFile *first = open_file_1(dict);
    write_to(1);
    EXPECT_EQ(core_tables_load(first, dict), 0u);
    EXPECT_EQ(dd_local_numres(0, 1, 10, 53), 52);
    EXPECT_EQ(dd_local_numres(0, 1, 10, 52), 52);       // of file 0: the type is read there alone
    EXPECT_EQ(module_find(first, 1, 10), 0);
    u16 count = 0;
    EXPECT_EQ(resource_range(first, 0, 52, &count, nullptr, nullptr), nullptr);
}

TEST(core_tables_load, gives_9_without_memory_for_the_rows)
{
    WithTables dict;
    core_tables_free(dict);
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(core_tables_load(dict, nullptr), 9u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dict->core_tables, nullptr);
    EXPECT_FALSE(dict_has_core_tables(dict));
}

TEST(core_tables_load, ends_at_the_first_failure)
{
    WithTables dict;
    core_tables_free(dict);
    faults_start({ .call = FAULT_READ, .nth = 10, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(core_tables_load(dict, nullptr), 10u);
    EXPECT_TRUE(faults_stop());
    i32 tables = 0;
    for_each_table([&](i32 type, i32 range) { tables += core_table_at(dict, type, range) != nullptr; });
    EXPECT_EQ(tables, 9);                               // one read each
    EXPECT_NE(core_table_at(dict, 6, 2), nullptr);      // types 1, 5 and 6
}

TEST(core_tables_load, asks_for_no_more_memory_than_the_file_could_fill)
{
    // Damage: each table of type 52 has the same 60000 bytes, which fit into the file once.
    WithTables dict;
    std::string large = empty_table(500) + std::string(60000, '\0');
    EXPECT_EQ(dict.change_body(1, 10, 52, 9, large), 0u);
    i16 index = module_find(dict, 1, 10);
    i32 place = resource_body_offset(dict, 1, 10, 52, 9);
    u16 count = 0;
    ResourceEntry *run = resource_range(dict, index, 52, &count, nullptr, nullptr);
    for (i32 i = 0; i < count; i++) {
        run[i].body_offset = le_i32(place);
        run[i].body_size = le_i32((i32)large.size());
    }
    ASSERT_LT(dict.bytes().size(), 2 * large.size());
    core_tables_free(dict);
    EXPECT_EQ(core_tables_load(dict, nullptr), 12u);
    i32 tables = 0;
    for_each_table([&](i32 type, i32 range) { tables += core_table_at(dict, type, range) != nullptr; });
    EXPECT_EQ(tables, 4);                               // the three of type 1, and the one that is too much
}

TEST(core_tables_load, goes_on_behind_a_damaged_table)
{
    WithTables dict;
    EXPECT_EQ(dict.change_body(1, 10, 52, 9, "damaged"), 0u);
    core_tables_free(dict);
    calls_reset();
    EXPECT_EQ(core_tables_load(dict, nullptr), 0u);
    EXPECT_EQ(call_counts().write, 0u);
    for_each_table([&](i32 type, i32 range) {
        EXPECT_EQ(core_table_at(dict, type, range) != nullptr, type != 9 || range != 0);
    });
}

// ---- Putting one back -----------------------------------------------------------------------------------------------

TEST(core_table_write, that_fails_leaves_the_owner_in_memory)
{
    WithTables dict;
    dict.own(0, 2, 9, 1);
    calls_reset();
    dict.own(0, 2, 9, 2);
    u32 writes = call_counts().write;
    faults_start({ .call = FAULT_WRITE, .nth = writes, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(dict.add(1, 2, 9, 3, "0.2.3", "body of 0.2.3"), 10u);  // what was last to be written is the table
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dict.owner(9, 3), 0);
    EXPECT_TRUE(dict.has(2, 9, 3));
}

// ---- Asking for them ------------------------------------------------------------------------------------------------

TEST(dict_has_core_tables, by_the_table_of_type_9_in_range_0)
{
    SlotDictionary dict;
    EXPECT_FALSE(dict_has_core_tables(dict));           // no rows
    EXPECT_EQ(core_tables_init(dict), 0u);
    EXPECT_FALSE(dict_has_core_tables(dict));
    for_each_table([&](i32 type, i32 range) {
        if (type != 9 || range != 0) dict.core_table((u16)type, range);
    });
    EXPECT_FALSE(dict_has_core_tables(dict));
    dict.core_table(9, 0);
    EXPECT_TRUE(dict_has_core_tables(dict));
}

TEST(dict_has_core_tables, counts_a_damaged_one)
{
    SlotDictionary dict;
    EXPECT_EQ(core_tables_init(dict), 0u);
    core_table_attach(dict, 9, 0, handle_of("damaged"));
    EXPECT_EQ(core_table_at(dict, 9, 0), nullptr);
    EXPECT_TRUE(dict_has_core_tables(dict));
}

TEST(dict_selected_has_core_tables, by_cookie_and_selector)
{
    WithTables dict;
    DictFile *first = open_file_1(dict);
    DictCookie cookie = { SLOT, 0, 0 };
    EXPECT_TRUE(dict_selected_has_core_tables(&cookie, 0));
    EXPECT_FALSE(dict_selected_has_core_tables(&cookie, 1));
    write_to(1);
    EXPECT_EQ(core_tables_load(first, dict), 0u);
    EXPECT_TRUE(dict_selected_has_core_tables(&cookie, 1));
    EXPECT_FALSE(dict_selected_has_core_tables(&cookie, 2));
    EXPECT_FALSE(dict_selected_has_core_tables(&cookie, 3));
    EXPECT_FALSE(dict_selected_has_core_tables(&cookie, -1));
    cookie.slot = 2;
    EXPECT_FALSE(dict_selected_has_core_tables(&cookie, 0));
}

// ---- Rebuilding -----------------------------------------------------------------------------------------------------

// Resources of all three ranges in four series, tables that have grown, modules of the other kinds.
void fill(WithTables &dict)
{
    dict.own(0, 2, 9, 1);
    dict.own(0, 2, 9, 22000);
    dict.own(0, 1, 7, 20000);
    dict.own(1, 2, 9, 2);
    dict.own(1, 12, 31, 3);
    dict.own(2, 9, 19, 19999);                          // far beyond the 20 of a new table
    dict.own(6, 9, 19, 700);
    dict.own(6, 6, 6, 32767);
    EXPECT_EQ(dd_add_resource(2, 100, 2, 100, Name("of kind 2"), 0), 0u);
    EXPECT_EQ(dd_add_resource(3, 100, 2, 100, Name("of kind 3"), 0), 0u);
    EXPECT_EQ(dict.add(2, 100, 9, 3, "name", "body"), 0u);
    EXPECT_EQ(dict.add(3, 100, 9, 4, "name", "body"), 0u);
}

std::vector<std::string> all_in_memory(const DictFile *file)
{
    std::vector<std::string> tables;
    for_each_table([&](i32 type, i32 range) { tables.push_back(in_memory(file, type, range)); });
    return tables;
}

TEST(dict_reset_core_tables, rebuilds_all_owners_from_the_modules)
{
    WithTables dict;
    fill(dict);
    std::vector<std::string> before = all_in_memory(dict);
    dict.forget_tables();
    EXPECT_EQ(dict.owner(9, 1), -1);

    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    EXPECT_EQ(all_in_memory(dict), before);
    EXPECT_EQ(dict.owner(9, 2), 1);
    EXPECT_EQ(dict.owner(19, 700), 6);
    EXPECT_EQ(dict.owner(19, 19999), 2);
    EXPECT_EQ(dict.owner(6, 32767), 6);
    EXPECT_EQ(dict.owner(9, 3), -1);                    // of another kind
    EXPECT_EQ(dict.body(1, 12, 31, 3), "body of 1.12.3");

    dict.reopen(DICT_READ_ONLY);                        // all of it stands in the file
    load(dict);
    EXPECT_EQ(all_in_memory(dict), before);
    EXPECT_EQ(dict.body(2, 100, 9, 3), "body");
    EXPECT_EQ(dict.body(3, 100, 9, 4), "body");
}

TEST(dict_reset_core_tables, makes_empty_tables_in_a_file_without_resources)
{
    SlotDictionary dict;
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    for_each_table([&](i32 type, i32 range) {
        EXPECT_EQ(stored(dict, type, range), empty_table(core_table_size(type)));
    });
    EXPECT_EQ(dict.bytes().size(), FILE_WITH_TABLES);
}

TEST(dict_reset_core_tables, takes_out_what_was_stored)
{
    WithTables dict;
    dict.own(1, 2, 9, 5);
    EXPECT_EQ(core_owner_set(dict, 9, 6, 3), 0u);       // owned by a resource that is not there
    EXPECT_EQ(core_owner_set(dict, 9, 700, 3), 0u);     // and so is this, for which the table has grown
    EXPECT_EQ(core_table_write(dict, 9, 0), 0u);
    EXPECT_EQ(stored(dict, 9, 0).size(), 1015u);
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    EXPECT_EQ(stored(dict, 9, 0).size(), 514u);
    EXPECT_EQ(dict.owner(9, 5), 1);
    EXPECT_EQ(dict.owner(9, 6), -1);
    EXPECT_EQ(dict.owner(9, 700), -1);
}

TEST(dict_reset_core_tables, can_be_repeated)
{
    WithTables dict;
    fill(dict);
    std::vector<std::string> before = all_in_memory(dict);
    u32 handles = handles_alive();
    for (i32 i = 0; i < 3; i++) {
        EXPECT_EQ(dict_reset_core_tables(dict), 0u);
        EXPECT_EQ(all_in_memory(dict), before);
    }
    EXPECT_EQ(handles_alive(), handles);
}

TEST(dict_reset_core_tables, keeps_the_later_of_two_series)
{
    WithTables dict;
    dict.own(0, 2, 9, 5);
    dict.own_too(1, 2, 9, 5);
    dict.own_too(2, 2, 9, 5);
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    EXPECT_EQ(dict.owner(9, 5), 2);
    EXPECT_FALSE(dict.has(2, 9, 5));
    EXPECT_FALSE(dict.has(18, 9, 5));
    EXPECT_TRUE(dict.has(34, 9, 5));
    EXPECT_EQ(dict.body(1, 2, 9, 5), "body of 2.2.5");
}

TEST(dict_reset_core_tables, looks_for_the_earlier_one_in_the_usual_core_type_alone)
{
    WithTables dict;
    dict.own(0, 1, 9, 5);                               // type 9 lies in core type 2 as a rule
    dict.own_too(1, 2, 9, 5);
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    EXPECT_EQ(dict.owner(9, 5), 1);
    EXPECT_TRUE(dict.has(1, 9, 5));
    EXPECT_TRUE(dict.has(18, 9, 5));
}

TEST(dict_reset_core_tables, takes_an_identifier_out_of_the_type_that_it_walks)
{
    WithTables dict;
    dict.own(0, 1, 9, 5);
    dict.own_too(0, 2, 9, 5);
    dict.own(0, 2, 9, 6);
    dict.own(0, 2, 9, 7);
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    EXPECT_TRUE(dict.has(1, 9, 5));
    EXPECT_FALSE(dict.has(2, 9, 5));                    // the usual place is the one that was being walked
    for (i16 id : { (i16)5, (i16)6, (i16)7 }) EXPECT_EQ(dict.owner(9, id), 0) << id;
    EXPECT_EQ(dict.body(1, 2, 9, 6), "body of 0.2.6");
    EXPECT_EQ(dict.body(1, 2, 9, 7), "body of 0.2.7");
    EXPECT_EQ(core_used_count(dict, 9), 3);
}

TEST(dict_reset_core_tables, takes_8_signed_bits_of_the_series)
{
    WithTables dict;
    dict.module(1, -16 + 2, "before all");              // series -1
    dict.module(1, 300 * 16 + 2, "three hundred");      // 300 is 44 in 8 bits
    for (i32 module : { -16 + 2, 300 * 16 + 2 }) {
        EXPECT_EQ(resource_add_entry(dict, 1, module, 9, (i16)(module > 0 ? 8 : 7), 0, 0), 0u);
        EXPECT_EQ(directory_save(dict, 1, module), 0u);
    }
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    std::string table = in_memory(dict, 9, 0);
    EXPECT_EQ((u8)table[12 + 7], 255u);
    EXPECT_EQ((u8)table[12 + 8], 44u);
}

TEST(dict_reset_core_tables, passes_over_the_types_of_the_tables)
{
    WithTables dict;
    dict.own(0, 1, 52, 5);                              // they have an owner always, who would be taken away
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    EXPECT_TRUE(dict.has(1, 52, 5));
    for (u16 type : { (u16)52, (u16)53, (u16)54 }) EXPECT_EQ(core_used_count(dict, type), 0);
}

// An entry without name and body, made past the tests of an addition.
void enter(WithTables &dict, i32 module, i16 type, i16 id)
{
    if (module_find(dict, 1, module) == MODULE_ABSENT) dict.module(1, module, "module " + std::to_string(module));
    EXPECT_EQ(resource_add_entry(dict, 1, module, type, id, 0, 0), 0u);
    EXPECT_EQ(directory_save(dict, 1, module), 0u);
}

TEST(dict_reset_core_tables, passes_over_identifier_0)
{
    WithTables dict;
    enter(dict, 2, 3, 0);                               // type 3 has no table, so that any other identifier fails
    dict.own(0, 2, 9, 1);
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    EXPECT_EQ(dict.owner(9, 1), 0);
}

TEST(dict_reset_core_tables, ends_with_the_status_of_the_last_identifier)
{
    {
        WithTables dict;
        enter(dict, 2, 9, -5);                          // no owner can be set
        enter(dict, 2, 9, 3);
        dict.own(1, 2, 9, 4);
        EXPECT_EQ(dict_reset_core_tables(dict), 0u);
        EXPECT_EQ(dict.owner(9, 3), 0);
        EXPECT_EQ(dict.owner(9, 4), 1);
    }
    WithTables dict;
    dict.own(0, 1, 7, 2);
    enter(dict, 2, 3, 8);                               // no table
    dict.own(0, 2, 9, 3);
    dict.own(1, 2, 9, 4);
    EXPECT_EQ(dict_reset_core_tables(dict), 3u);
    EXPECT_EQ(dict.owner(7, 2), 0);
    EXPECT_EQ(dict.owner(9, 3), -1);                    // all loops end
    EXPECT_EQ(dict.owner(9, 4), -1);
}

TEST(dict_reset_core_tables, does_not_write_a_table_behind_a_failure)
{
    WithTables dict;
    enter(dict, 2, 9, 3);
    enter(dict, 2, 9, 700);                             // the table has to grow for it, which is the last resize of all
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    calls_reset();
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    u32 resizes = call_counts().resize;
    EXPECT_EQ(stored(dict, 9, 0).size(), 1015u);

    dict.expect_lost(1);
    faults_start({ .call = FAULT_RESIZE, .nth = resizes });
    EXPECT_EQ(dict_reset_core_tables(dict), 9u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(stored(dict, 9, 0), empty_table(500));    // as the load has made it, without the owner of 3
}

TEST(dict_reset_core_tables, writes_the_tables_of_each_type)
{
    WithTables dict;
    dict.own(0, 2, 9, 3);
    calls_reset();
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    u32 writes = call_counts().write;
    faults_start({ .call = FAULT_WRITE, .nth = writes, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(dict_reset_core_tables(dict), 10u);       // the last thing written is a table
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dict.owner(9, 3), 0);                     // the owner stays in memory
}

TEST(dict_reset_core_tables, ends_at_the_first_table_that_cannot_be_written)
{
    WithTables dict;
    dict.own(0, 2, 9, 3);
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    calls_reset();
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    u32 writes = call_counts().write;
    for (u32 back = 0; back < 9; back++) {              // three for each table: body, directory, block table
        calls_reset();
        faults_start({ .call = FAULT_WRITE, .nth = writes - back, .error = PLATFORM_ACCESS_DENIED });
        EXPECT_EQ(dict_reset_core_tables(dict), 10u) << back;
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(call_counts().write, writes - back) << back;
        EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    }
}

TEST(dict_reset_core_tables, gives_9_without_memory_for_the_identifiers)
{
    WithTables dict;
    dict.own(0, 2, 9, 3);
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    calls_reset();
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    faults_start({ .call = FAULT_ALLOC, .nth = call_counts().alloc });  // the last thing that is asked for
    EXPECT_EQ(dict_reset_core_tables(dict), 9u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dict.owner(9, 3), -1);
    EXPECT_EQ(stored(dict, 9, 0), empty_table(500));
}

TEST(dict_reset_core_tables, takes_a_type_without_resources_for_done)
{
    WithTables dict;
    dict.own(0, 2, 9, 3);
    EXPECT_EQ(dd_remove_resource(1, 2, 9, 3), 0u);
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    EXPECT_EQ(core_used_count(dict, 9), 0);
}

TEST(dict_reset_core_tables, ends_at_a_table_that_cannot_be_removed)
{
    WithTables dict;
    dict.own(0, 2, 9, 3);
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(dict_reset_core_tables(dict), 10u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dict->core_tables, nullptr);              // freed all the same, and not loaded
    EXPECT_EQ(dict.owner(9, 3), -1);
}

TEST(dict_reset_core_tables, takes_a_missing_table_for_no_failure)
{
    SlotDictionary dict;
    DictFile *second = open_second_slot(dict, 20);      // what is made goes there, so that the load ends with 3
    dict.module(1, 2, "empty");
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    EXPECT_FALSE(dict_has_core_tables(dict));
    EXPECT_EQ(module_count(second, 1), 1);
}

TEST(dict_reset_core_tables, gives_the_status_of_the_load)
{
    WithTables dict;
    dict.own(0, 2, 9, 3);
    dict.forget_tables();
    faults_start({ .call = FAULT_ALLOC });              // nothing is stored, so the first request is that of the rows
    EXPECT_EQ(dict_reset_core_tables(dict), 9u);
    EXPECT_TRUE(faults_stop());
}

TEST(dict_reset_core_tables, needs_an_open_file)
{
    SlotDictionary dict;
    EXPECT_EQ(dict_reset_core_tables(nullptr), 3u);
    EXPECT_EQ(dict_reset_core_tables(dict_file_at(SLOT, 1)), 7u);
    EXPECT_EQ(dict.bytes().size(), NEW_FILE);           // not that of the current one instead
    EXPECT_EQ(dict.stop(), 0u);
    EXPECT_EQ(dict_reset_core_tables(nullptr), 15u);
    dict.start();
}

TEST(dict_reset_core_tables, goes_through_a_damaged_directory)
{
    WithTables dict;
    dict.own(0, 2, 9, 3);
    dict.own(1, 2, 9, 4);
    i16 index = module_find(dict, 1, 2);
    ModuleDirectory *directory = directory_get(dict, index);
    TypeEntry *type = (TypeEntry *)type_at(directory, 0);
    type->resource_count = le16(60000);                 // many more than there are slots
    EXPECT_EQ(directory_write(dict, directory, module_directory_block(dict, index)), 0u);
    dict.reopen();
    EXPECT_EQ(dict_reset_core_tables(dict), 0u);
    EXPECT_EQ(dict.owner(9, 3), -1);                    // nothing can be read there
    EXPECT_EQ(dict.owner(9, 4), 1);
}

TEST(dict_reset_selected, finds_the_file)
{
    WithTables dict;
    dict.own(1, 2, 9, 5);
    dict.forget_tables();
    DictCookie cookie = { SLOT, 0, 0 };
    EXPECT_EQ(dict_reset_selected(&cookie, 3), 3u);
    EXPECT_EQ(dict_reset_selected(&cookie, -1), 3u);
    EXPECT_EQ(dict_reset_selected(&cookie, 1), 7u);
    EXPECT_EQ(dict_reset_selected(&cookie, 0), 0u);
    EXPECT_EQ(dict.owner(9, 5), 1);
    cookie.slot = 2;
    EXPECT_EQ(dict_reset_selected(&cookie, 0), 3u);
    EXPECT_EQ(dict.stop(), 0u);
    EXPECT_EQ(dict_reset_selected(&cookie, 0), 15u);
    dict.start();
}

} // namespace
} // namespace zuk
