#include "engine/identifiers.h"

#include "engine/core_storage.h"
#include "tests/engine/slot_dictionary.h"
#include "tests/support/settings.h"

#include <functional>
#include <vector>

namespace zuk {
namespace {

using Lines = std::vector<std::string>;

// Options of the installation for the length of a test; set before the library starts.
struct Options : SettingsHome {
    Options(i16 main_product, i32 min_id)
        : SettingsHome("MainProduct=" + std::to_string(main_product) + "\r\nMinID=" + std::to_string(min_id) + "\r\n")
    {
    }
};
struct MainProduct : Options {
    explicit MainProduct(i32 min_id = 1) : Options(1, min_id) {}
};
struct OtherProduct : Options {
    explicit OtherProduct(i32 min_id = 1) : Options(0, min_id) {}
};

// A dictionary with the tables of type 7 in memory, for 5 identifiers each.
class Type7 : public SlotDictionary {
public:
    explicit Type7(u16 mode = DICT_EXCLUSIVE) : SlotDictionary(mode)
    {
        for (i32 range = 0; range < CORE_RANGES; range++) core_table(7, range);
    }
    // Use positions `from` to `to` of a range.
    void use(i32 range, i32 from, i32 to)
    {
        const i32 base[] = { 0, 19999, 21999 };
        for (i32 p = from; p <= to; p++) EXPECT_EQ(core_owner_set(file(), 7, (i16)(base[range] + p), 0), 0u);
    }
    void drop(i32 range)
    {
        gfree(core_table_detach(file(), 7, range));
        file()->core_tables[7].handles[range] = 0;
    }
    i32 capacity(i32 range) { return le_get(core_table_at(file(), 7, range)->capacity); }
    i32 free_count(i32 range) { return le_get(core_table_at(file(), 7, range)->free_count); }
};

// The same, with all 156 tables stored as well.
class Stored : public Type7 {
public:
    explicit Stored(u16 mode = DICT_EXCLUSIVE) : Type7(DICT_EXCLUSIVE)
    {
        core_tables_free(file());
        load();
        if (mode == DICT_EXCLUSIVE) return;
        reopen(mode);
        load();
    }
    void load() { EXPECT_EQ(core_tables_load(file(), nullptr), 0u); }
    i32 stored_bytes(i32 range) { return (i32)body(1, 10, (u16)(52 + range), 7).size(); }
};

// The bytes of a table of type 7: new, and after one step of growth, which leaves one byte more.
constexpr i32 NEW_BYTES = 5 + 14;
constexpr i32 GROWN_BYTES = 10 + 15;

// A module of kind 2 or 3 with resources of one type.
void add_ids(SlotDictionary &dict, i32 kind, i32 module, u16 type, std::initializer_list<i16> ids)
{
    EXPECT_EQ(dd_add_resource(kind, module, 2, (i16)module, Name(std::to_string(module)), 0), 0u);
    for (i16 id : ids) EXPECT_EQ(dict.add(kind, module, type, id, std::to_string(id), "body"), 0u) << id;
}

DictFile *open_file_1(const SlotDictionary &dict)
{
    slot_set_path(1, 1, dict.dir.name("b.dic"));
    EXPECT_EQ(dict_file_create(slot_path_at(SLOT, 1)), 0u);
    EXPECT_EQ(dict_file_open(dict_file_at(SLOT, 1), slot_path_at(SLOT, 1), DICT_EXCLUSIVE, 0), 0u);
    return dict_file_at(SLOT, 1);
}

void choose(i32 selector, i32 other_selector)
{
    DictCookie cookie = { SLOT, selector, other_selector };
    EXPECT_EQ(ds_setcurdict(&cookie), 0u);
}

TEST(identifiers, have_every_operation)
{
    void *const operations[] = {
        (void *)dd_uniqueid, (void *)dd_local_uniqueid, (void *)core_next_id, (void *)core_next_local_id,
        (void *)core_next_id_current, (void *)resource_next_id, (void *)resource_next_local_id,
    };
    for (const void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- Kind 1, the global range ---------------------------------------------------------------------------------------

TEST(core_next_id, begins_at_1_for_the_main_product)
{
    MainProduct options;
    Type7 dict;
    EXPECT_EQ(core_next_id(dict, 7), 1);
    dict.use(2, 1, 5);                          // nobody asks for the other ranges
    dict.use(1, 1, 5);
    EXPECT_EQ(core_next_id(dict, 7), 1);
}

TEST(core_next_id, begins_at_22000_for_others)
{
    Type7 dict;
    EXPECT_EQ(core_next_id(dict, 7), 22000);
    dict.use(0, 1, 5);
    dict.use(1, 1, 5);
    EXPECT_EQ(core_next_id(dict, 7), 22000);
}

TEST(core_next_id, gives_the_first_free_position)
{
    {
        MainProduct options;
        Type7 dict;
        dict.use(0, 1, 2);
        dict.use(0, 4, 4);
        EXPECT_EQ(core_next_id(dict, 7), 3);
        dict.use(0, 3, 3);
        EXPECT_EQ(core_next_id(dict, 7), 5);    // the last position
        EXPECT_EQ(dict.capacity(0), 5);
    }
    Type7 dict;
    dict.use(2, 1, 2);
    dict.use(2, 4, 4);
    EXPECT_EQ(core_next_id(dict, 7), 22002);
    dict.use(2, 3, 3);
    EXPECT_EQ(core_next_id(dict, 7), 22004);
    EXPECT_EQ(dict.capacity(2), 5);
}

TEST(core_next_id, goes_by_the_owner_byte)
{
    MainProduct options;
    Type7 dict;
    EXPECT_EQ(core_owner_set(dict, 7, 1, 255), 0u);  // reads back as no owner, but is used
    EXPECT_EQ(core_next_id(dict, 7), 2);
    EXPECT_EQ(core_owner_set(dict, 7, 1, 15), 0u);   // free
    EXPECT_EQ(core_next_id(dict, 7), 1);
}

TEST(core_next_id, gives_the_floor_without_a_table)
{
    {
        MainProduct options;
        SlotDictionary dict;
        EXPECT_EQ(core_next_id(dict, 7), 1);
        EXPECT_EQ(core_next_id(dict, 2), 1);    // a type that never has one
    }
    SlotDictionary dict;
    EXPECT_EQ(core_next_id(dict, 7), 22000);
    EXPECT_EQ(core_next_id(dict, 2), 22000);
}

TEST(core_next_id, grows_a_full_table_by_its_step)
{
    MainProduct options;
    Stored dict;
    dict.use(0, 1, 5);
    EXPECT_EQ(dict.free_count(0), 0);
    EXPECT_EQ(core_next_id(dict, 7), 6);
    EXPECT_EQ(dict.capacity(0), 10);
    EXPECT_EQ(dict.free_count(0), 5);
    EXPECT_EQ(dict.stored_bytes(0), GROWN_BYTES);    // written at once, before any resource uses it
    std::string stored = dict.body(1, 10, 52, 7);
    EXPECT_EQ(stored.substr(0, 8), std::string("\12\0\0\0\5\0\0\0", 8));
    EXPECT_EQ(stored.substr(13, 10), std::string(5, '\0') + std::string(5, (char)CORE_FREE));

    EXPECT_EQ(core_next_id(dict, 7), 6);        // there is room now, and no second growth
    EXPECT_EQ(dict.capacity(0), 10);
}

TEST(core_next_id, grows_the_high_table_as_well)
{
    Stored dict;
    dict.use(2, 1, 5);
    EXPECT_EQ(core_next_id(dict, 7), 22005);
    EXPECT_EQ(dict.capacity(2), 10);
    EXPECT_EQ(dict.free_count(2), 5);
    EXPECT_EQ(dict.stored_bytes(2), GROWN_BYTES);
    EXPECT_EQ(dict.capacity(0), 5);
}

TEST(core_next_id, grows_a_table_of_one_position)
{
    MainProduct options;
    SlotDictionary dict;
    dict.stored_core_table(33);
    EXPECT_EQ(core_next_id(dict, 33), 1);
    EXPECT_EQ(core_owner_set(dict, 33, 1, 0), 0u);
    EXPECT_EQ(core_next_id(dict, 33), 2);
    EXPECT_EQ(le_get(core_table_at(dict, 33, 0)->capacity), 2);
    EXPECT_EQ(dict.body(1, 10, 52, 33).size(), 17u);
}

TEST(core_next_id, of_a_table_without_positions_stays_inside_it)
{
    MainProduct options;
    SlotDictionary dict;
    EXPECT_EQ(core_tables_init(dict), 0u);
    core_table_attach(dict, 7, 0, handle_of(std::string(12, '\0') + '\x0f'));   // position 0 alone
    EXPECT_EQ(core_next_id(dict, 7), 2);        // behind position 1, which counts as taken
    EXPECT_EQ(le_get(core_table_at(dict, 7, 0)->capacity), 5);
}

TEST(core_next_id, gives_the_number_when_the_table_cannot_grow)
{
    MainProduct options;
    Stored dict;
    dict.use(0, 1, 5);
    dict.expect_lost(1);
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(core_next_id(dict, 7), 6);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(core_table_at(dict, 7, 0), nullptr);
    EXPECT_EQ(core_next_id(dict, 7), 1);        // from now on there is no table
}

TEST(core_next_id, gives_the_number_when_the_table_cannot_be_written)
{
    MainProduct options;
    Stored dict;
    dict.use(0, 1, 5);
    faults_start({ .call = FAULT_WRITE, .from_then_on = true });
    EXPECT_EQ(core_next_id(dict, 7), 6);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dict.capacity(0), 10);
}

TEST(core_next_id, gives_the_number_when_the_table_is_not_stored)
{
    MainProduct options;
    Type7 dict;
    dict.use(0, 1, 5);
    EXPECT_EQ(core_next_id(dict, 7), 6);
    EXPECT_EQ(dict.capacity(0), 10);
    EXPECT_EQ(dict.bytes().size(), 4930u);
}

TEST(core_next_id, goes_on_behind_highest_id)
{
    MainProduct options(19999);                 // where the range ends
    Stored dict;
    EXPECT_EQ(core_owner_set(dict, 7, 19999, 0), 0u);
    EXPECT_EQ(highest_id, 19999);
    EXPECT_EQ(core_next_id(dict, 7), 20000);
    EXPECT_EQ(dict.capacity(0), 20004);
}

TEST(core_next_id, wraps_in_16_bits)
{
    OtherProduct options(32767);
    Stored dict;
    EXPECT_EQ(core_owner_set(dict, 7, 32767, 0), 0u);
    EXPECT_EQ(core_next_id(dict, 7), -32768);
}

// ---- A raised floor -------------------------------------------------------------------------------------------------

TEST(core_next_id, gives_1_for_a_raised_floor_without_a_table)
{
    MainProduct options(100);
    Type7 dict;
    dict.drop(0);
    EXPECT_EQ(core_next_id(dict, 7), 1);
    EXPECT_EQ(core_next_id(dict, 2), 1);
}

TEST(core_next_id, gives_a_floor_above_capacity_without_growth)
{
    MainProduct options(100);
    Stored dict;
    dict.use(0, 1, 5);
    calls_reset();
    EXPECT_EQ(core_next_id(dict, 7), 100);
    EXPECT_EQ(dict.capacity(0), 5);
    EXPECT_EQ(call_lines(), Lines());
}

TEST(core_next_id, walks_from_a_raised_floor)
{
    MainProduct options(3);
    Stored dict;
    EXPECT_EQ(core_next_id(dict, 7), 3);        // 1 and 2 are free, and below it
    dict.use(0, 3, 4);
    EXPECT_EQ(core_next_id(dict, 7), 5);
    EXPECT_EQ(dict.capacity(0), 5);
    dict.use(0, 5, 5);
    EXPECT_EQ(core_next_id(dict, 7), 6);
    EXPECT_EQ(dict.capacity(0), 10);
    EXPECT_EQ(dict.stored_bytes(0), GROWN_BYTES);
}

TEST(core_next_id, takes_a_floor_at_the_last_position)
{
    MainProduct options(5);
    Stored dict;
    EXPECT_EQ(core_next_id(dict, 7), 5);
    dict.use(0, 5, 5);
    EXPECT_EQ(core_next_id(dict, 7), 6);
    EXPECT_EQ(dict.capacity(0), 10);
}

TEST(core_next_id, gives_21999_for_a_raised_floor_without_a_table)
{
    OtherProduct options(23000);
    Type7 dict;
    dict.drop(2);
    EXPECT_EQ(core_next_id(dict, 7), 21999);
    EXPECT_EQ(core_next_id(dict, 2), 21999);
}

TEST(core_next_id, gives_a_high_floor_above_capacity_without_growth)
{
    OtherProduct options(23000);
    Stored dict;
    dict.use(2, 1, 5);
    calls_reset();
    EXPECT_EQ(core_next_id(dict, 7), 23000);
    EXPECT_EQ(dict.capacity(2), 5);
    EXPECT_EQ(call_lines(), Lines());
}

TEST(core_next_id, walks_from_a_raised_high_floor)
{
    OtherProduct options(22002);                // position 3
    Stored dict;
    EXPECT_EQ(core_next_id(dict, 7), 22002);
    dict.use(2, 3, 4);
    EXPECT_EQ(core_next_id(dict, 7), 22004);
    dict.use(2, 5, 5);
    EXPECT_EQ(core_next_id(dict, 7), 22005);
    EXPECT_EQ(dict.capacity(2), 10);
    EXPECT_EQ(dict.stored_bytes(2), GROWN_BYTES);
}

// ---- Kind 1, the local range ----------------------------------------------------------------------------------------

TEST(core_next_local_id, gives_the_first_free_position)
{
    for (i32 min_id : { 1, 100 }) {             // no floor counts here
        MainProduct options(min_id);
        Type7 dict;
        dict.use(0, 1, 5);
        dict.use(2, 1, 5);
        EXPECT_EQ(core_next_local_id(dict, 7), 20000);
        dict.use(1, 1, 3);
        dict.use(1, 5, 5);
        EXPECT_EQ(core_next_local_id(dict, 7), 20003);
        EXPECT_EQ(dict.capacity(1), 5);
    }
}

TEST(core_next_local_id, gives_20000_without_a_table)
{
    Type7 dict;
    dict.drop(1);
    EXPECT_EQ(core_next_local_id(dict, 7), 20000);
    EXPECT_EQ(core_next_local_id(dict, 2), 20000);
}

TEST(core_next_local_id, grows_range_0_when_full)
{
    Stored dict;
    dict.use(1, 1, 5);
    for (i32 call = 1; call <= 3; call++) {
        EXPECT_EQ(core_next_local_id(dict, 7), 20005);
        EXPECT_EQ(dict.capacity(0), 5 + 5 * call);
        EXPECT_EQ(dict.free_count(0), 5 + 5 * call);
        EXPECT_EQ(dict.stored_bytes(0), 20 + 5 * call);
        EXPECT_EQ(dict.capacity(1), 5);
    }
    EXPECT_EQ(dict.stored_bytes(1), NEW_BYTES);
    EXPECT_EQ(dict.capacity(2), 5);
    EXPECT_EQ(core_owner_set(dict, 7, 20005, 0), 0u);   // what is used at last grows the range itself
    EXPECT_EQ(dict.capacity(1), 10);
}

TEST(core_next_local_id, grows_range_0_to_the_position_when_its_step_is_too_small)
{
    Stored dict;
    dict.use(1, 1, 100);
    EXPECT_EQ(dict.capacity(1), 100);
    EXPECT_EQ(core_next_local_id(dict, 7), 20100);
    EXPECT_EQ(dict.capacity(0), 101);
}

TEST(core_next_local_id, gives_the_number_without_a_table_of_range_0)
{
    Stored dict;
    dict.use(1, 1, 5);
    dict.drop(0);
    calls_reset();
    EXPECT_EQ(core_next_local_id(dict, 7), 20005);
    EXPECT_EQ(call_lines(), Lines());
    EXPECT_EQ(dict.capacity(1), 5);
}

TEST(core_next_local_id, goes_on_behind_the_local_range)
{
    Stored dict;
    dict.use(1, 1, 2000);                       // 20000 to 21999
    EXPECT_EQ(core_next_local_id(dict, 7), 22000);
}

// ---- Kind 1, the plain one ------------------------------------------------------------------------------------------

TEST(core_next_id_current, gives_a_position_of_range_0)
{
    for (i32 main_product : { 0, 1 }) {
        Options options((i16)main_product, 30); // neither the range nor the floor counts
        Type7 dict;
        EXPECT_EQ(core_next_id_current(7), 1);
        dict.use(0, 1, 2);
        dict.use(0, 4, 5);
        EXPECT_EQ(core_next_id_current(7), 3);
    }
}

TEST(core_next_id_current, gives_the_floor_without_a_table)
{
    Type7 dict;
    dict.drop(0);
    EXPECT_EQ(core_next_id_current(7), 22000);
    EXPECT_EQ(core_next_id_current(2), 22000);
}

TEST(core_next_id_current, grows_a_full_table)
{
    Stored dict;
    dict.use(0, 1, 5);
    EXPECT_EQ(core_next_id_current(7), 6);
    EXPECT_EQ(dict.capacity(0), 10);
    EXPECT_EQ(dict.stored_bytes(0), GROWN_BYTES);
    EXPECT_EQ(dict.capacity(2), 5);
}

TEST(core_next_id_current, works_on_the_file_that_writes_go_to)
{
    Type7 dict;
    dict.use(0, 1, 1);
    open_file_1(dict);
    choose(1, 0);
    EXPECT_EQ(core_next_id_current(7), 2);
    choose(0, 1);
    EXPECT_EQ(core_next_id_current(7), 22000);  // no table there
}

TEST(core_next_id_current, takes_no_lock)
{
    Stored dict(DICT_SHARED);
    calls_reset();
    EXPECT_EQ(core_next_id_current(7), 1);
    EXPECT_EQ(call_lines(), Lines());
}

TEST(core_next_id_current, gives_0_without_an_open_file)
{
    SlotDictionary dict;
    choose(0, 1);
    EXPECT_EQ(core_next_id_current(7), 0);
    choose(0, 7);
    EXPECT_EQ(core_next_id_current(7), 0);
    EXPECT_EQ(dict.stop(), 0u);
    EXPECT_EQ(core_next_id_current(7), 0);
    dict.start();
}

// ---- Kinds 2 and 3 --------------------------------------------------------------------------------------------------

struct Row {
    std::vector<i16> ids;
    i16 next;
};

// What comes next behind some identifiers of a type in module 100, each row in a file of its own.
void expect_next(i16 (*next)(DictFile *, i32, i32, u16), i32 kind, u16 type, const std::vector<Row> &rows)
{
    for (const Row &row : rows) {
        SlotDictionary dict;
        dict.module(kind, 100, "one hundred");
        std::string shown;
        for (i16 id : row.ids) {
            EXPECT_EQ(resource_add_entry(dict, kind, 100, (i16)type, id, 0, 0), 0u);
            shown += std::to_string(id) + " ";
        }
        EXPECT_EQ(next(dict, kind, 100, type), row.next) << shown;
    }
}

TEST(resource_next_id, gives_the_floor_without_the_type_or_the_module)
{
    for (i32 min_id : { 1, 50 }) {
        MainProduct options(min_id);
        SlotDictionary dict;
        add_ids(dict, 2, 100, 9, { 1 });
        add_ids(dict, 3, 100, 27, { 1 });
        EXPECT_EQ(resource_next_id(dict, 2, 100, 8), min_id);
        EXPECT_EQ(resource_next_id(dict, 2, 101, 9), min_id);
        EXPECT_EQ(resource_next_id(dict, 3, 101, 27), min_id);
        EXPECT_EQ(resource_next_id(dict, 4, 100, 9), min_id);
    }
}

TEST(resource_next_id, gives_the_first_gap_from_the_floor)
{
    {
        MainProduct options;
        expect_next(resource_next_id, 2, 9, {
            { {}, 1 }, { { 1 }, 2 }, { { 2 }, 1 }, { { 1, 2, 3 }, 4 }, { { 1, 2, 4, 5 }, 3 }, { { 500 }, 1 },
            { { -5, 0, 1 }, 2 },                // below the floor
        });
    }
    {
        MainProduct options(10);
        expect_next(resource_next_id, 3, 9, {
            { { 1, 2 }, 10 }, { { 1, 2, 10, 11, 13 }, 12 }, { { 11 }, 10 }, { { 9, 10 }, 11 },
        });
    }
    expect_next(resource_next_id, 2, 9, {
        { { 1, 20000 }, 22000 }, { { 21999, 22000, 22001, 22003 }, 22002 }, { { 22001 }, 22000 },
    });
}

TEST(resource_next_id, has_no_end)
{
    MainProduct options(19999);
    expect_next(resource_next_id, 2, 9, { { { 19999 }, 20000 }, { { 19999, 20000 }, 20001 } });
    OtherProduct others(32767);
    expect_next(resource_next_id, 2, 9, { { { 32767 }, -32768 } });
}

TEST(resource_next_id, goes_on_from_the_highest_for_type_27_of_kind_3)
{
    expect_next(resource_next_id, 3, 27, {
        { {}, 22000 },
        { { 22000 }, 22001 },
        { { 22000, 22005 }, 22006 },            // the gap stays
        { { 1, 22005 }, 22006 },
        { { 5 }, 22000 },                       // below the floor
        { { 5, 21999 }, 22000 },
        { { 22000, 31999 }, 32000 },            // the highest of all gives one more
        { { 31999 }, 32000 },
        { { 22000, 32000 }, 22001 },            // what lies above is passed back over
        { { 22000, 31999, 32000 }, 32000 },     // the first at or above the end
        { { 22000, 32000, 32001 }, 22001 },
        { { 32000 }, 22000 },                   // the first of all is not
        { { 5, 32000 }, 22000 },
    });
    MainProduct options(10);
    expect_next(resource_next_id, 3, 27, {
        { { 10, 15 }, 16 }, { { 9 }, 10 }, { { 10, 20000 }, 11 }, { { 10, 19999 }, 20000 },
    });
}

TEST(resource_next_id, fills_gaps_for_type_27_of_kind_2_and_other_types_of_kind_3)
{
    expect_next(resource_next_id, 2, 27, { { { 22000, 22005 }, 22001 } });
    expect_next(resource_next_id, 3, 26, { { { 22000, 22005 }, 22001 } });
    expect_next(resource_next_id, 3, 28, { { { 22000, 22005 }, 22001 } });
}

TEST(resource_next_id, of_a_type_that_was_emptied_is_the_floor)
{
    SlotDictionary dict;
    add_ids(dict, 3, 100, 27, { 22000, 22007 });
    add_ids(dict, 2, 100, 9, { 22000 });
    EXPECT_EQ(dd_remove_resource(3, 100, 27, 22000), 0u);
    EXPECT_EQ(dd_remove_resource(3, 100, 27, 22007), 0u);
    EXPECT_EQ(dd_remove_resource(2, 100, 9, 22000), 0u);
    EXPECT_EQ(resource_next_id(dict, 3, 100, 27), 22000);
    EXPECT_EQ(resource_next_id(dict, 2, 100, 9), 22000);
    EXPECT_EQ(resource_next_local_id(dict, 3, 100, 27), 20000);
    EXPECT_EQ(resource_next_local_id(dict, 2, 100, 9), 20000);
}

TEST(resource_next_local_id, gives_20000_without_the_type_or_the_module)
{
    MainProduct options(50);
    SlotDictionary dict;
    add_ids(dict, 2, 100, 9, { 20000 });
    add_ids(dict, 3, 100, 27, { 20000 });
    EXPECT_EQ(resource_next_local_id(dict, 2, 100, 8), 20000);
    EXPECT_EQ(resource_next_local_id(dict, 2, 101, 9), 20000);
    EXPECT_EQ(resource_next_local_id(dict, 3, 101, 27), 20000);
}

TEST(resource_next_local_id, gives_20000_again_and_again)
{
    expect_next(resource_next_local_id, 2, 9, {
        { {}, 20000 }, { { 20000 }, 20000 }, { { 20000, 20001, 20002 }, 20000 }, { { 20000, 22000 }, 20000 },
        { { 1, 22000, 22001 }, 20000 },
    });
}

TEST(resource_next_local_id, skips_by_the_floor_of_the_main_product)
{
    MainProduct options;
    expect_next(resource_next_local_id, 2, 9, {
        { { 20000 }, 20001 },
        { { 20000, 20001, 20003 }, 20002 },
        { { 20001 }, 20000 },
        { { 5, 20000, 20001 }, 20000 },         // the first that is left is 5, which is not 20000
        { { -5, 20000 }, 20001 },
        { { 20000, 20001, 20002, 22000 }, 20003 },
    });
    MainProduct raised(19999);
    expect_next(resource_next_local_id, 3, 9, { { { 5, 20000, 20001 }, 20002 }, { { 19999, 20000 }, 20000 } });
}

TEST(resource_next_local_id, of_type_27_of_kind_3_steps_back_by_highest_id)
{
    {
        MainProduct options;                    // up to 19999
        expect_next(resource_next_local_id, 3, 27, {
            { {}, 20000 },
            { { 20000 }, 20001 },               // the first of all is taken
            { { 20000, 20005 }, 20001 },        // 20005 lies above the end, and is passed back over
            { { 5, 20000 }, 6 },                // from the bound of the installation on, not from 20000
            { { 5, 7 }, 8 },
            { { 21999 }, 22000 },
            { { 22000 }, 20000 },
            { { 20003, 21999, 22000 }, 20004 }, // ends at 21999, and steps back
            { { 0 }, 20000 },
        });
    }
    expect_next(resource_next_local_id, 3, 27, {
        { { 20000, 20005 }, 20000 },            // below the floor of 22000
        { { 22000 }, 20000 },                   // above 21999
        { { 20000, 32000 }, 20000 },
    });
    MainProduct options(20001);                 // a floor above the end
    expect_next(resource_next_local_id, 3, 27, { { { 20001 }, 20002 }, { { 20000 }, 20000 } });
}

TEST(resource_next_local_id, fills_gaps_for_type_27_of_kind_2)
{
    MainProduct options;
    expect_next(resource_next_local_id, 2, 27, { { { 20000, 20005 }, 20001 } });
}

// ---- By coordinates -------------------------------------------------------------------------------------------------

TEST(dd_uniqueid, goes_by_the_core_tables_for_kind_1)
{
    Type7 dict;
    dict.use(2, 1, 2);
    EXPECT_EQ(dd_uniqueid(1, 1, 7), 22002);
    EXPECT_EQ(dd_uniqueid(1, 99, 7), 22002);    // no module counts
}

TEST(dd_uniqueid, goes_by_the_directory_for_other_kinds)
{
    SlotDictionary dict;
    add_ids(dict, 2, 100, 9, { 22000, 22001 });
    add_ids(dict, 3, 100, 9, { 22000 });
    EXPECT_EQ(dd_uniqueid(2, 100, 9), 22002);
    EXPECT_EQ(dd_uniqueid(3, 100, 9), 22001);
    EXPECT_EQ(dd_uniqueid(2, 101, 9), 22000);
    EXPECT_EQ(dd_uniqueid(0, 100, 9), 22000);
    EXPECT_EQ(dd_uniqueid(4, 100, 9), 22000);
}

TEST(dd_uniqueid, goes_by_the_module_table_for_types_2_and_23)
{
    SlotDictionary dict;
    for (i32 number : { 22000, 22001, 22003 }) dict.module(2, number, std::to_string(number));
    for (u16 type : { (u16)2, (u16)23 }) {
        EXPECT_EQ(dd_uniqueid(2, 0, type), 22002);
        EXPECT_EQ(dd_uniqueid(3, 0, type), 22000);
        EXPECT_EQ(dd_uniqueid(1, 0, type), 22000);
    }
}

TEST(dd_uniqueid, cuts_a_module_number_to_16_bits)
{
    OtherProduct options(32767);
    SlotDictionary dict;
    dict.module(2, 32767, "last");
    dict.module(3, 1, "other");
    EXPECT_EQ(dd_uniqueid(2, 0, 2), -32768);
}

TEST(dd_uniqueid, reserves_nothing)
{
    Stored dict;
    EXPECT_EQ(dd_uniqueid(1, 1, 7), 22000);
    EXPECT_EQ(dd_uniqueid(1, 1, 7), 22000);
    EXPECT_EQ(dict.add(1, 1, 7, 22000, "first", "body"), 0u);
    EXPECT_EQ(dd_uniqueid(1, 1, 7), 22001);
    EXPECT_EQ(dd_remove_resource(1, 1, 7, 22000), 0u);
    EXPECT_EQ(dd_uniqueid(1, 1, 7), 22000);

    add_ids(dict, 2, 100, 9, {});
    EXPECT_EQ(dd_uniqueid(2, 100, 9), 22000);
    EXPECT_EQ(dd_uniqueid(2, 100, 9), 22000);
    EXPECT_EQ(dict.add(2, 100, 9, 22000, "first", "body"), 0u);
    EXPECT_EQ(dd_uniqueid(2, 100, 9), 22001);
}

TEST(dd_uniqueid, takes_the_read_lock_of_a_shared_file)
{
    Stored dict(DICT_SHARED);
    Lines lock = { "lock 999999998+1", "lock 1000000001+1", "unlock 999999998+1", "unlock 1000000001+1" };
    for (auto next : { dd_uniqueid, dd_local_uniqueid }) {
        for (i32 kind : { 1, 2, 3 }) {
            calls_reset();
            EXPECT_NE(next(kind, 1, 7), 0);
            EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }), lock);
            EXPECT_EQ(dict->lock_state, LOCK_NONE);
        }
    }
    EXPECT_TRUE(write_lock(dict));              // under a lock none is taken, and none freed
    calls_reset();
    EXPECT_EQ(dd_uniqueid(1, 1, 7), 22000);
    EXPECT_EQ(dd_local_uniqueid(1, 1, 7), 20000);
    EXPECT_EQ(call_counts().lock, 0u);
    EXPECT_EQ(call_counts().unlock, 0u);
    (void)write_unlock(dict);
}

TEST(dd_uniqueid, takes_no_lock_in_other_modes)
{
    for (u16 mode : { (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        Stored dict(mode);
        calls_reset();
        EXPECT_EQ(dd_uniqueid(1, 1, 7), 22000);
        EXPECT_EQ(call_lines(), Lines());
    }
}

TEST(dd_uniqueid, sees_what_another_workstation_has_added)
{
    Stored dict;
    add_ids(dict, 2, 100, 9, { 22000 });
    dict.reopen(DICT_SHARED);
    dict.load();
    EXPECT_EQ(dd_uniqueid(2, 100, 9), 22001);
    OtherStation other(dict);
    other.hold_write_lock();
    EXPECT_EQ(resource_add_entry(other, 2, 100, 9, 22001, 0, 0), 0u);
    EXPECT_EQ(directory_save(other, 2, 100), 0u);
    (void)write_unlock(other);
    EXPECT_EQ(dd_uniqueid(2, 100, 9), 22002);
}

TEST(dd_uniqueid, gives_0_without_the_lock)
{
    Stored dict(DICT_SHARED);
    OtherStation other(dict);
    other.hold_write_lock();
    clock_virtual_start(0);
    EXPECT_EQ(dd_uniqueid(1, 1, 7), 0);
    EXPECT_EQ(dd_uniqueid(2, 100, 9), 0);
    EXPECT_EQ(dd_uniqueid(2, 0, 2), 0);
    EXPECT_EQ(dd_local_uniqueid(1, 1, 7), 0);
    EXPECT_EQ(dd_local_uniqueid(2, 100, 9), 0);
    EXPECT_EQ(dict->lock_state, LOCK_NONE);
}

TEST(dd_uniqueid, gives_the_number_when_the_lock_cannot_be_given_back)
{
    for (auto next : { dd_uniqueid, dd_local_uniqueid }) {
        Stored dict(DICT_SHARED);
        faults_start({ .call = FAULT_UNLOCK, .nth = 2 });   // the first one is that of the gate
        EXPECT_EQ(next(1, 1, 7), next == dd_uniqueid ? 22000 : 20000);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(dict->lock_state, 1);                     // it is still held
    }
}

TEST(dd_uniqueid, gives_0_without_an_open_file)
{
    SlotDictionary dict;
    choose(1, 1);                               // closed
    EXPECT_EQ(dd_uniqueid(1, 1, 9), 0);
    EXPECT_EQ(dd_uniqueid(2, 1, 9), 0);
    EXPECT_EQ(dd_local_uniqueid(2, 1, 9), 0);
    choose(7, 7);                               // none
    EXPECT_EQ(dd_uniqueid(1, 1, 9), 0);
    EXPECT_EQ(dd_uniqueid(3, 1, 9), 0);
    EXPECT_EQ(dd_local_uniqueid(1, 1, 9), 0);
    EXPECT_EQ(dict.stop(), 0u);
    EXPECT_EQ(dd_uniqueid(1, 1, 9), 0);
    EXPECT_EQ(dd_local_uniqueid(1, 1, 9), 0);
    dict.start();
}

TEST(dd_uniqueid, reads_kind_1_by_the_selector_and_main_only_types_in_file_0)
{
    Type7 dict;
    dict.core_table(9, 2);
    dict.use(2, 1, 1);
    EXPECT_EQ(core_owner_set(dict, 9, 22000, 0), 0u);
    (void)open_file_1(dict);
    choose(1, 0);
    EXPECT_EQ(dd_uniqueid(1, 1, 7), 22001);     // type 7 lies in file 0 alone
    EXPECT_EQ(dd_uniqueid(1, 1, 9), 22000);     // file 1 has no table
    choose(0, 1);
    EXPECT_EQ(dd_uniqueid(1, 1, 9), 22001);
    add_ids(dict, 2, 100, 9, { 22000 });        // in file 1
    EXPECT_EQ(dd_uniqueid(2, 100, 9), 22001);
    choose(0, 0);
    EXPECT_EQ(dd_uniqueid(2, 100, 9), 22000);
}

TEST(dd_uniqueid, is_not_redirected_to_the_main_dictionary)
{
    Type7 dict;
    dict.use(1, 1, 1);
    dict.use(2, 1, 1);
    EXPECT_EQ(slot_claim(20), 0u);
    slot_set_path(20, 0, dict.dir.name("second"));
    EXPECT_EQ(dict_file_create(slot_path_at(2, 0)), 0u);
    EXPECT_EQ(dict_file_open(dict_file_at(2, 0), slot_path_at(2, 0), DICT_EXCLUSIVE, 0), 0u);
    DictCookie second = { 2, 0, 0 };
    EXPECT_EQ(ds_setcurdict(&second), 0u);
    dict_set->redirect_to_main = 1;
    dict_set->main_slot = SLOT;
    EXPECT_EQ(dd_uniqueid(1, 1, 7), 22000);
    EXPECT_EQ(dd_local_uniqueid(1, 1, 7), 20000);
}

// A full table in a shared file: what is written needs the lock that the read lock of this very call keeps out. 61
// attempts are made, and a second is waited for between two of them.
void expect_stall(i16 (*next)(i32, i32, u16), i32 range, i32 grown_range, i16 first)
{
    Stored dict;
    for (i16 id = first; id < first + 5; id++) EXPECT_EQ(dict.add(1, 1, 7, id, std::to_string(id), "body"), 0u);
    EXPECT_EQ(dict.free_count(range), 0);
    dict.reopen(DICT_SHARED);                   // nothing is left to be added, so that no lock was lost
    dict.load();
    std::string bytes = dict.bytes();
    clock_virtual_start(0);
    calls_reset();

    EXPECT_EQ(next(1, 1, 7), first + 5);
    Lines locks = { "lock 999999998+1", "lock 1000000001+1", "unlock 999999998+1", "lock 999999998+1" };
    for (i32 attempt = 0; attempt < 61; attempt++) locks.push_back("lock 1000000001+1000 failed");
    locks.insert(locks.end(), { "unlock 999999998+1", "unlock 1000000001+1" });
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }), locks);
    EXPECT_EQ(call_counts().slept_ms, 60000u);

    EXPECT_EQ(dict->lock_state, LOCK_NONE);
    EXPECT_EQ(dict.capacity(grown_range), 10);  // in memory alone
    EXPECT_EQ(dict.bytes(), bytes);
    EXPECT_EQ(dict.stored_bytes(grown_range), NEW_BYTES);

    calls_reset();
    EXPECT_EQ(dict.add(1, 1, 7, (i16)(first + 5), "sixth", "body"), 0u);   // which writes the table at last
    EXPECT_EQ(call_counts().slept_ms, 0u);
    EXPECT_EQ(dict.stored_bytes(range), GROWN_BYTES);
}

TEST(dd_uniqueid, stalls_over_its_own_read_lock)
{
    expect_stall(dd_uniqueid, 2, 2, 22000);
}

TEST(dd_uniqueid, stalls_over_its_own_read_lock_for_the_main_product)
{
    MainProduct options;
    expect_stall(dd_uniqueid, 0, 0, 1);
}

TEST(dd_uniqueid, writes_a_grown_table_at_once_where_no_lock_is_taken)
{
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_EXCLUSIVE }) {
        for (i32 main_product : { 0, 1 }) {
            Options options((i16)main_product, 1);
            Stored dict(mode);
            i32 range = main_product ? 0 : 2;
            dict.use(range, 1, 5);
            if (mode == DICT_SHARED) dict->lock_state = LOCK_WRITER;   // as after a growth of the file
            calls_reset();
            EXPECT_EQ(dd_uniqueid(1, 1, 7), main_product ? 6 : 22005);
            EXPECT_EQ(call_counts().lock, 0u);
            EXPECT_EQ(call_counts().sleeps, 0u);
            EXPECT_EQ(dict.stored_bytes(range), GROWN_BYTES);
            EXPECT_EQ(dict.capacity(range), 10);
        }
    }
}

TEST(dd_uniqueid, of_a_file_for_reading_grows_in_memory)
{
    Stored dict(DICT_READ_ONLY);
    std::string bytes = dict.bytes();
    dict.use(2, 1, 5);
    EXPECT_EQ(dd_uniqueid(1, 1, 7), 22005);
    EXPECT_EQ(dict.capacity(2), 10);
    EXPECT_EQ(dict.bytes(), bytes);
}

TEST(dd_uniqueid, writes_the_grown_table_into_the_file_of_writes)
{
    Stored dict;
    DictFile *first = open_file_1(dict);
    EXPECT_EQ(core_tables_init(first), 0u);
    std::string full("\2\0\0\0\0\0\0\0\0\0\0\0\x0f\0\0\0", 16);   // 2 positions, both used
    core_table_attach(first, 9, 2, handle_of(full));
    choose(1, 0);
    EXPECT_EQ(dd_uniqueid(1, 1, 9), 22002);
    EXPECT_EQ(le_get(core_table_at(first, 9, 2)->capacity), 502);
    EXPECT_EQ(module_count(first, 1), 0);
    EXPECT_EQ(dict.body(1, 10, 54, 9).size(), 517u);    // over the one of file 0
}

TEST(dd_uniqueid, gives_a_number_whichever_call_fails)
{
    for (FaultCall call : { FAULT_ALLOC, FAULT_ANY_FILE }) {
        for (u32 nth = 1;; nth++) {
            SCOPED_TRACE("fault " + std::to_string(call) + ", call " + std::to_string(nth));
            Stored dict;
            dict.use(2, 1, 5);
            faults_start({ .call = call, .nth = nth });
            EXPECT_EQ(dd_uniqueid(1, 1, 7), 22005);
            if (!faults_stop()) break;
            EXPECT_EQ(dict.capacity(2), 10);
        }
    }
}

// ---- By coordinates, the local range --------------------------------------------------------------------------------

TEST(dd_local_uniqueid, goes_by_the_core_tables_for_kind_1)
{
    Type7 dict;
    dict.use(1, 1, 2);
    EXPECT_EQ(dd_local_uniqueid(1, 1, 7), 20002);
    EXPECT_EQ(dd_local_uniqueid(1, 1, 7), 20002);
}

TEST(dd_local_uniqueid, goes_by_the_directory_for_other_kinds)
{
    MainProduct options;
    SlotDictionary dict;
    add_ids(dict, 2, 100, 9, { 20000 });
    add_ids(dict, 3, 100, 9, { 20000, 20001 });
    EXPECT_EQ(dd_local_uniqueid(2, 100, 9), 20001);
    EXPECT_EQ(dd_local_uniqueid(3, 100, 9), 20002);
}

TEST(dd_local_uniqueid, goes_by_the_module_table_for_types_2_and_23)
{
    SlotDictionary dict;
    for (i32 number : { 20000, 20002 }) dict.module(2, number, std::to_string(number));
    for (u16 type : { (u16)2, (u16)23 }) {
        EXPECT_EQ(dd_local_uniqueid(2, 0, type), 20001);
        EXPECT_EQ(dd_local_uniqueid(3, 0, type), 20000);
    }
}

TEST(dd_local_uniqueid, stalls_over_its_own_read_lock)
{
    expect_stall(dd_local_uniqueid, 1, 0, 20000);
}

} // namespace
} // namespace zuk
