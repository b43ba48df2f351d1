#include "engine/core_tables.h"

#include "engine/cookies.h"
#include "engine/module_table.h"
#include "foundation/handles.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <cstring>
#include <gtest/gtest.h>

namespace zuk {

// The body of a table: capacity, free count, four bytes that nobody reads, the owners by position from 0, and what
// follows them.
static std::string table_bytes(i32 capacity, i32 free_count, const std::string &behind_the_head)
{
    CoreTable head = { le_i32(capacity), le_i32(free_count), {} };
    return std::string((const char *)&head, sizeof head) + behind_the_head;
}

// A new table: all positions free, one byte behind them.
static std::string new_table(i32 capacity)
{
    return table_bytes(capacity, capacity, std::string((size_t)capacity + 1, (char)CORE_FREE) + '\0');
}

namespace {

// A record with an array of rows and no file behind it.
class Tables {
public:
    Tables() : file{}, alive_before(handles_alive())
    {
        EXPECT_EQ(core_tables_init(&file), (DictStatus)DICT_OK);
    }
    ~Tables()
    {
        core_tables_free(&file);
        EXPECT_EQ(handles_alive(), alive_before + lost) << "handles left alive";
    }
    operator DictFile *() { return &file; }
    DictFile *operator->() { return &file; }

    void attach(i32 type, i32 range, const std::string &bytes)
    {
        core_table_attach(&file, type, range, handle_of(bytes));
    }
    void attach_new(i32 type, i32 range, i32 capacity) { attach(type, range, new_table(capacity)); }
    void attach_all(i32 type, i32 capacity)
    {
        for (i32 range = 0; range < CORE_RANGES; range++) attach_new(type, range, capacity);
    }
    std::string bytes(i32 type, i32 range) { return bytes_of(file.core_tables[type].handles[range]); }
    i32 capacity(i32 type, i32 range) { return le_get(core_table_at(&file, type, range)->capacity); }
    i32 free_count(i32 type, i32 range) { return le_get(core_table_at(&file, type, range)->free_count); }

    DictFile file;
    u32 lost = 0;   // handles that an operation loses by design

private:
    u32 alive_before;
};

} // namespace

TEST(core_tables, has_every_operation)
{
    void *const operations[] = {
        (void *)dd_get_owner, (void *)dd_choose_owner, (void *)current_owner_get, (void *)core_id_range,
        (void *)core_table_size, (void *)core_table_at, (void *)core_table_attach, (void *)core_table_detach,
        (void *)core_table_borrow, (void *)core_table_grow, (void *)core_owner_set, (void *)core_used_count,
        (void *)core_id_at, (void *)core_position_of, (void *)default_core_type, (void *)core_tables_init,
        (void *)core_owners,
    };
    for (void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- Choices --------------------------------------------------------------------------------------------------------

TEST(current_owner_get, gives_the_choice_as_signed_16_bits)
{
    (void)dd_choose_owner(6);
    EXPECT_EQ(current_owner_get(), 6);
    (void)dd_choose_owner(65535);
    EXPECT_EQ(current_owner_get(), -1);
    (void)dd_choose_owner(0);
    EXPECT_EQ(current_owner_get(), 0);
}

TEST(core_id_range, maps_the_ends_of_the_ranges)
{
    struct { i32 id, range, position; } cases[] = {
        { 1, 0, 1 },         { 19999, 0, 19999 },  { 20000, 1, 1 },
        { 21999, 1, 2000 },  { 22000, 2, 1 },      { 32767, 2, 10768 },
        { 0, 0, 0 },         { -1, 0, -1 },        { -32768, 0, -32768 },
    };
    for (const auto &expected : cases) {
        i32 position = 99;
        EXPECT_EQ(core_id_range((i16)expected.id, &position), expected.range) << expected.id;
        EXPECT_EQ(position, expected.position) << expected.id;
    }
}

TEST(core_id_range, needs_no_place_for_the_position)
{
    EXPECT_EQ(core_id_range(20000, nullptr), 1);
}

TEST(core_table_size, is_told_for_each_type)
{
    static const i32 sizes[] = {
        0, 20, 0, 0, 0, 60, 20, 5, 10, 500,        // 0 to 9
        0, 0, 0, 0, 0, 5, 0, 0, 50, 20,            // 10 to 19
        20, 20, 20, 0, 0, 5, 5, 5, 5, 5,           // 20 to 29
        20, 3, 3, 1, 1, 1, 1, 1, 1, 20,            // 30 to 39
        16, 1, 10, 10, 10, 10, 10, 10, 20, 1,      // 40 to 49
        1, 20, 20, 20, 20, 1, 1, 1, 1, 1,          // 50 to 59
        1, 1, 1, 1, 1,                             // 60 to 64
    };
    static_assert(std::size(sizes) == 65);
    for (i32 type = 0; type <= 64; type++) EXPECT_EQ(core_table_size(type), sizes[type]) << type;
}

TEST(core_table_size, is_above_0_for_52_types)
{
    i32 types = 0;
    for (i32 type = 1; type <= 64; type++) types += core_table_size(type) > 0;
    EXPECT_EQ(types, 52);   // of three ranges each: 156 tables of a fresh dictionary
}

TEST(core_table_size, is_1_for_types_that_have_no_row)
{
    Tables tables;
    CoreTable lent = {};
    for (i32 type : { 65, 66, 1000, 65535, -1, -32768 }) {
        EXPECT_EQ(core_table_size(type), 1) << type;
        core_table_borrow(tables, type, 0, &lent);   // there is nowhere to put it
        EXPECT_EQ(core_table_at(tables, type, 0), nullptr) << type;
        EXPECT_EQ(core_owner_set(tables, (u16)type, 1, 0), (DictStatus)DICT_NOT_FOUND) << type;
    }
}

TEST(default_core_type, is_told_for_each_type)
{
    struct { i32 type, core_type; } others[] = {
        { 9, 2 },  { 20, 3 }, { 21, 3 }, { 61, 3 }, { 62, 3 }, { 50, 4 }, { 30, 5 },  { 6, 6 },   { 18, 7 },
        { 51, 8 }, { 19, 9 }, { 22, 9 }, { 60, 9 }, { 63, 9 }, { 58, 11 }, { 31, 12 }, { 59, 12 },
    };
    for (i32 type = -1; type <= 66; type++) {
        i32 expected = 1;
        for (const auto &other : others) {
            if (other.type == type) expected = other.core_type;
        }
        EXPECT_EQ(default_core_type(type), expected) << type;
    }
}

// ---- Tables ---------------------------------------------------------------------------------------------------------

TEST(core_tables_init, makes_empty_rows)
{
    Tables tables;
    EXPECT_EQ(gsize(tables->core_tables_handle), CORE_ROWS * (i32)sizeof(CoreRow));
    static_assert(CORE_ROWS == 66);
    for (i32 type = 0; type < CORE_ROWS; type++) {
        for (i32 range = 0; range < CORE_RANGES; range++) {
            EXPECT_EQ(tables->core_tables[type].handles[range], 0u);
            EXPECT_EQ(tables->core_tables[type].tables[range], nullptr);
        }
    }
}

TEST(core_tables_init, gives_9_without_memory)
{
    DictFile file = {};
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(core_tables_init(&file), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(file.core_tables, nullptr);
    EXPECT_EQ(core_table_at(&file, 1, 0), nullptr);
}

TEST(core_table_at, gives_the_table_of_a_type_and_range)
{
    Tables tables;
    tables.attach_new(1, 0, 20);
    tables.attach_new(1, 2, 30);
    tables.attach_new(64, 1, 1);
    EXPECT_EQ(le_get(core_table_at(tables, 1, 0)->capacity), 20);
    EXPECT_EQ(core_table_at(tables, 1, 1), nullptr);
    EXPECT_EQ(le_get(core_table_at(tables, 1, 2)->capacity), 30);
    EXPECT_EQ(le_get(core_table_at(tables, 64, 1)->capacity), 1);
    EXPECT_EQ((void *)core_table_at(tables, 1, 0), glock(tables->core_tables[1].handles[0]));
}

TEST(core_table_at, gives_null_outside_the_rows)
{
    Tables tables;
    for (i32 type = 1; type <= 64; type++) tables.attach_all(type, 1);
    for (i32 type : { 0, 65, 66, 40000, -1 }) {
        for (i32 range = 0; range < 3; range++) EXPECT_EQ(core_table_at(tables, type, range), nullptr) << type;
    }
    EXPECT_EQ(core_table_at(tables, 1, -1), nullptr);
    EXPECT_EQ(core_table_at(tables, 1, 3), nullptr);
}

TEST(core_table_at, gives_null_without_rows)
{
    DictFile file = {};
    EXPECT_EQ(core_table_at(&file, 1, 0), nullptr);
    EXPECT_EQ(core_table_at(nullptr, 1, 0), nullptr);
}

// A table from a damaged file whose owners do not lie in its handle counts as absent.
TEST(core_table_at, does_not_give_a_table_that_is_too_short)
{
    Tables tables;
    std::string ten(11, (char)CORE_FREE);
    for (const std::string &bytes : { std::string(), std::string(12, '\0'), table_bytes(-1, 0, ten),
                                      table_bytes(11, 11, ten), table_bytes(0x7FFFFFFF, 0, ten) }) {
        tables.attach(1, 0, bytes);
        EXPECT_EQ(core_table_at(tables, 1, 0), nullptr) << bytes.size();
        EXPECT_EQ(dd_get_owner(tables, 1, 1), -1);
        EXPECT_EQ(core_owner_set(tables, 1, 1, 0), (DictStatus)DICT_NOT_FOUND);
        EXPECT_EQ(core_used_count(tables, 1), 0);
        EXPECT_EQ(core_id_at(tables, 1, 1), 0);
        EXPECT_EQ(core_position_of(tables, 1, 1), 0);
        EXPECT_EQ(core_table_grow(tables, 0, 1, 5), (DictStatus)DICT_NO_MEMORY);
        gfree(core_table_detach(tables, 1, 0));
        core_table_attach(tables, 1, 0, 0);
    }
    tables.attach(1, 0, table_bytes(10, 10, ten));   // no trailer, and not needed
    EXPECT_NE(core_table_at(tables, 1, 0), nullptr);
}

// A free count from a damaged file can be anything: the counts are then wrong, and nothing else is.
TEST(core_table_at, gives_a_table_with_any_free_count)
{
    for (i32 free_count : { (i32)0x80000000, -1, 0x7FFFFFFF }) {
        Tables tables;
        tables.attach(1, 0, table_bytes(2, free_count, std::string(4, (char)CORE_FREE)));
        tables.attach(1, 1, table_bytes(2, free_count, std::string(4, (char)CORE_FREE)));
        EXPECT_EQ(core_owner_set(tables, 1, 1, 3), (DictStatus)DICT_OK);
        EXPECT_EQ(core_owner_set(tables, 1, 1, CORE_FREE), (DictStatus)DICT_OK);
        EXPECT_EQ(core_owner_set(tables, 1, 1, CORE_FREE), (DictStatus)DICT_OK);
        EXPECT_EQ(core_owner_set(tables, 1, 50, 3), (DictStatus)DICT_OK);     // grows
        EXPECT_EQ(core_owner_set(tables, 1, 20001, 3), (DictStatus)DICT_OK);
        EXPECT_EQ(dd_get_owner(tables, 1, 50), 3);
        (void)core_used_count(tables, 1);
        (void)core_position_of(tables, 1, 20001);
        EXPECT_EQ(core_id_at(tables, 1, 1), 50);
    }
}

TEST(core_owners, begin_behind_the_head)
{
    Tables tables;
    tables.attach_new(1, 0, 20);
    CoreTable *table = core_table_at(tables, 1, 0);
    EXPECT_EQ((void *)core_owners(table), (void *)((u8 *)table + 12));
}

TEST(core_table_attach, stores_the_handle_and_its_lock)
{
    Tables tables;
    GHandle handle = handle_of(new_table(20));
    core_table_attach(tables, 1, 2, handle);
    EXPECT_EQ(tables->core_tables[1].handles[2], handle);
    EXPECT_EQ((void *)tables->core_tables[1].tables[2], glock(handle));
    EXPECT_EQ(tables->core_tables[1].handles[0], 0u);
    EXPECT_EQ(tables->core_tables[1].handles[1], 0u);
}

TEST(core_table_attach, of_a_type_without_a_row_does_nothing)
{
    Tables tables;
    GHandle handle = handle_of(new_table(20));
    core_table_attach(tables, 0, 0, handle);
    core_table_attach(tables, 65, 0, handle);
    EXPECT_EQ(tables->core_tables[0].handles[0], 0u);
    EXPECT_EQ(tables->core_tables[65].handles[0], 0u);
    gfree(handle);
}

TEST(core_table_detach, gives_the_handle_which_stays_recorded)
{
    Tables tables;
    tables.attach_new(1, 0, 20);
    GHandle handle = tables->core_tables[1].handles[0];
    EXPECT_EQ(core_table_detach(tables, 1, 0), handle);
    EXPECT_EQ(tables->core_tables[1].handles[0], handle);
    EXPECT_EQ(tables->core_tables[1].tables[0], nullptr);
    EXPECT_EQ(core_table_at(tables, 1, 0), nullptr);
    EXPECT_EQ(core_table_detach(tables, 1, 0), handle);   // again
}

TEST(core_table_detach, leaves_a_pointer_without_a_handle)
{
    Tables tables;
    CoreTable lent = {};
    core_table_borrow(tables, 1, 0, &lent);
    EXPECT_EQ(core_table_detach(tables, 1, 0), 0u);
    EXPECT_EQ(tables->core_tables[1].tables[0], &lent);
    EXPECT_EQ(core_table_detach(tables, 1, 1), 0u);       // nothing there
    EXPECT_EQ(core_table_detach(tables, 0, 0), 0u);
    EXPECT_EQ(core_table_detach(tables, 65, 0), 0u);
}

TEST(core_table_borrow, stores_the_pointer_without_a_handle)
{
    Tables tables;
    CoreTable lent = {};
    core_table_borrow(tables, 1, 2, &lent);
    EXPECT_EQ(tables->core_tables[1].handles[2], 0u);
    EXPECT_EQ(tables->core_tables[1].tables[2], &lent);
}

TEST(core_table_borrow, forgets_a_table_of_its_own)
{
    Tables tables;
    tables.attach_new(1, 0, 20);
    GHandle own = tables->core_tables[1].handles[0];
    CoreTable lent = {};
    core_table_borrow(tables, 1, 0, &lent);
    EXPECT_EQ(tables->core_tables[1].handles[0], 0u);
    EXPECT_EQ(tables->core_tables[1].tables[0], &lent);
    EXPECT_EQ(bytes_of(own), new_table(20));   // the caller's to free
    gfree(own);
}

// Nobody follows the pointer: a file that is in no slot has no file 0 to ask.
TEST(core_table_borrow, from_nobody_reads_as_absent)
{
    Tables tables;
    CoreTable lent = {};
    core_table_borrow(tables, 1, 0, &lent);
    EXPECT_EQ(core_table_at(tables, 1, 0), nullptr);
}

namespace {

// A slot whose file 0 has the table of type 1, range 0, and lends it to file 1.
class Lending {
public:
    Lending()
    {
        DictFile *main = library.file();
        if (!main->core_tables) (void)core_tables_init(main);
        gfree(core_table_detach(main, 1, 0));
        core_table_attach(main, 1, 0, handle_of(new_table(20)));
        EXPECT_EQ(core_tables_init(second()), (DictStatus)DICT_OK);
        core_table_borrow(second(), 1, 0, main->core_tables[1].tables[0]);
    }
    ~Lending() { core_tables_free(second()); }
    DictFile *main() { return library.file(); }
    DictFile *second() { return dict_file_at(library.cookie.slot, 1); }

    Library library;
};

} // namespace

TEST(core_table_borrow, reads_and_sets_in_the_table_of_file_0)
{
    Lending slot;
    EXPECT_EQ(core_table_at(slot.second(), 1, 0), core_table_at(slot.main(), 1, 0));
    EXPECT_EQ(core_owner_set(slot.second(), 1, 5, 3), (DictStatus)DICT_OK);
    EXPECT_EQ(dd_get_owner(slot.main(), 1, 5), 3);
    EXPECT_EQ(core_id_at(slot.second(), 1, 1), 5);
    EXPECT_EQ(core_table_at(slot.second(), 1, 1), nullptr);   // not lent
}

TEST(core_table_borrow, follows_the_table_when_it_grows_in_file_0)
{
    Lending slot;
    ASSERT_EQ(core_owner_set(slot.main(), 1, 5000, 3), (DictStatus)DICT_OK);
    EXPECT_EQ(dd_get_owner(slot.second(), 1, 5000), 3);
}

TEST(core_table_borrow, reads_as_absent_when_file_0_is_closed)
{
    Lending slot;
    DictCookie cookie = slot.library.cookie;
    ASSERT_EQ(dict_file_close(dict_file_by_cookie(&cookie, 0)), (DictStatus)DICT_OK);
    EXPECT_EQ(core_table_at(slot.second(), 1, 0), nullptr);
    EXPECT_EQ(dd_get_owner(slot.second(), 1, 5), -1);
    EXPECT_EQ(core_owner_set(slot.second(), 1, 5, 3), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(core_used_count(slot.second(), 1), 0);
}

TEST(core_table_borrow, does_not_free_the_table_with_the_borrower)
{
    Lending slot;
    core_tables_free(slot.second());
    EXPECT_NE(core_table_at(slot.main(), 1, 0), nullptr);
}

TEST(core_table_grow, by_the_initial_size_of_the_type)
{
    Tables tables;
    tables.attach_new(7, 0, 5);
    ASSERT_EQ(core_owner_set(tables, 7, 2, 3), (DictStatus)DICT_OK);
    EXPECT_EQ(core_table_grow(tables, 0, 7, 6), (DictStatus)DICT_OK);
    EXPECT_EQ(tables.capacity(7, 0), 10);
    EXPECT_EQ(tables.free_count(7, 0), 9);
    EXPECT_EQ(dd_get_owner(tables, 7, 2), 3);
    for (u32 id : { 1u, 3u, 6u, 10u }) EXPECT_EQ(dd_get_owner(tables, 7, id), -1) << id;
}

TEST(core_table_grow, to_exactly_a_position_that_lies_beyond)
{
    Tables tables;
    tables.attach_new(7, 0, 5);
    EXPECT_EQ(core_table_grow(tables, 0, 7, 10), (DictStatus)DICT_OK);   // one step will do
    EXPECT_EQ(tables.capacity(7, 0), 10);
    EXPECT_EQ(core_table_grow(tables, 0, 7, 116), (DictStatus)DICT_OK);
    EXPECT_EQ(tables.capacity(7, 0), 116);
    EXPECT_EQ(tables.free_count(7, 0), 116);
}

// 5 + 5 + 15 bytes: head, position 0 and the trailer are 14 of them.
TEST(core_table_grow, makes_a_grown_table_one_byte_longer)
{
    Tables tables;
    tables.attach_new(7, 0, 5);
    EXPECT_EQ(tables.bytes(7, 0).size(), 5u + 14);
    EXPECT_EQ(core_table_grow(tables, 0, 7, 6), (DictStatus)DICT_OK);
    EXPECT_EQ(tables.bytes(7, 0), table_bytes(10, 10, std::string(11, (char)CORE_FREE) + std::string(2, '\0')));
    EXPECT_EQ(tables.bytes(7, 0).size(), 10u + 15);
    EXPECT_EQ(core_table_grow(tables, 0, 7, 6), (DictStatus)DICT_OK);
    EXPECT_EQ(tables.bytes(7, 0).size(), 15u + 15);      // not one more each time
}

TEST(core_table_grow, stays_attached_at_its_new_place)
{
    Tables tables;
    tables.attach_new(7, 0, 5);
    GHandle handle = tables->core_tables[7].handles[0];
    ASSERT_EQ(core_table_grow(tables, 0, 7, 20000), (DictStatus)DICT_OK);
    EXPECT_EQ(tables->core_tables[7].handles[0], handle);
    EXPECT_EQ((void *)tables->core_tables[7].tables[0], glock(handle));
}

TEST(core_table_grow, gives_9_for_an_absent_or_borrowed_table)
{
    Tables tables;
    EXPECT_EQ(core_table_grow(tables, 0, 7, 6), (DictStatus)DICT_NO_MEMORY);
    EXPECT_EQ(core_table_grow(tables, 0, 65, 6), (DictStatus)DICT_NO_MEMORY);

    Lending slot;
    EXPECT_EQ(core_table_grow(slot.second(), 0, 1, 30), (DictStatus)DICT_NO_MEMORY);
    EXPECT_EQ(core_owner_set(slot.second(), 1, 30, 3), (DictStatus)DICT_NO_MEMORY);
    EXPECT_NE(core_table_at(slot.second(), 1, 0), nullptr);               // still lent
    EXPECT_EQ(le_get(core_table_at(slot.main(), 1, 0)->capacity), 20);
}

TEST(core_table_grow, loses_the_table_when_memory_is_short)
{
    Tables tables;
    tables.attach_new(7, 0, 5);
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(core_table_grow(tables, 0, 7, 6), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    tables.lost = 1;
    EXPECT_EQ(core_table_at(tables, 7, 0), nullptr);
    EXPECT_EQ(core_table_detach(tables, 7, 0), 0u);
    EXPECT_EQ(core_owner_set(tables, 7, 1, 3), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(dd_get_owner(tables, 7, 1), -1);
    EXPECT_EQ(core_used_count(tables, 7), 0);
    EXPECT_EQ(core_table_grow(tables, 0, 7, 6), (DictStatus)DICT_NO_MEMORY);
}

// A table of 2 GB is more than a handle can hold. It stays detached as after any failure, and is freed with the rest.
TEST(core_table_grow, gives_9_for_a_size_above_31_bits)
{
    Tables tables;
    tables.attach_new(7, 0, 5);
    EXPECT_EQ(core_table_grow(tables, 0, 7, 0x7FFFFFFF), (DictStatus)DICT_NO_MEMORY);
    EXPECT_EQ(core_table_at(tables, 7, 0), nullptr);
}

// ---- Owners ---------------------------------------------------------------------------------------------------------

TEST(core_owner_set, stores_the_owner_and_counts)
{
    Tables tables;
    tables.attach_new(1, 0, 20);
    EXPECT_EQ(core_owner_set(tables, 1, 5, 3), (DictStatus)DICT_OK);
    std::string owners(21, (char)CORE_FREE);
    owners[5] = 3;
    EXPECT_EQ(tables.bytes(1, 0), table_bytes(20, 19, owners + '\0'));
    EXPECT_EQ(core_owner_set(tables, 1, 5, 4), (DictStatus)DICT_OK);   // another owner
    EXPECT_EQ(tables.free_count(1, 0), 19);
    EXPECT_EQ(dd_get_owner(tables, 1, 5), 4);
    EXPECT_EQ(core_owner_set(tables, 1, 5, CORE_FREE), (DictStatus)DICT_OK);
    EXPECT_EQ(tables.bytes(1, 0), new_table(20));
    EXPECT_EQ(core_owner_set(tables, 1, 5, CORE_FREE), (DictStatus)DICT_OK);   // free already
    EXPECT_EQ(tables.free_count(1, 0), 20);
}

TEST(core_owner_set, goes_to_the_range_of_the_identifier)
{
    Tables tables;
    tables.attach_all(1, 20);
    ASSERT_EQ(core_owner_set(tables, 1, 7, 1), (DictStatus)DICT_OK);
    ASSERT_EQ(core_owner_set(tables, 1, 20000, 2), (DictStatus)DICT_OK);
    ASSERT_EQ(core_owner_set(tables, 1, 22000, 3), (DictStatus)DICT_OK);
    EXPECT_EQ(core_owners(core_table_at(tables, 1, 0))[7], 1);
    EXPECT_EQ(core_owners(core_table_at(tables, 1, 1))[1], 2);
    EXPECT_EQ(core_owners(core_table_at(tables, 1, 2))[1], 3);
}

TEST(core_owner_set, gives_3_without_a_table)
{
    Tables tables;
    tables.attach_new(1, 0, 20);
    EXPECT_EQ(core_owner_set(tables, 1, 20000, 3), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(core_owner_set(tables, 2, 5, 3), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(core_owner_set(tables, 65, 5, 3), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(core_owner_set(tables, 0, 5, 3), (DictStatus)DICT_NOT_FOUND);
    DictFile file = {};
    EXPECT_EQ(core_owner_set(&file, 1, 5, 3), (DictStatus)DICT_NOT_FOUND);
}

TEST(core_owner_set, gives_3_for_a_negative_identifier)
{
    Tables tables;
    tables.attach_new(1, 0, 20);
    EXPECT_EQ(core_owner_set(tables, 1, -1, 3), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(core_owner_set(tables, 1, -32768, 3), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(tables.bytes(1, 0), new_table(20));
}

TEST(core_owner_set, grows_the_table_for_a_position_above_it)
{
    Tables tables;
    tables.attach_new(7, 0, 5);
    EXPECT_EQ(core_owner_set(tables, 7, 5, 3), (DictStatus)DICT_OK);
    EXPECT_EQ(tables.capacity(7, 0), 5);                    // the highest position still fits
    EXPECT_EQ(core_owner_set(tables, 7, 6, 3), (DictStatus)DICT_OK);
    EXPECT_EQ(tables.capacity(7, 0), 10);                   // by the type's step
    EXPECT_EQ(tables.free_count(7, 0), 8);
    EXPECT_EQ(core_owner_set(tables, 7, 19999, 3), (DictStatus)DICT_OK);
    EXPECT_EQ(tables.capacity(7, 0), 19999);                // to exactly the position
    EXPECT_EQ(tables.free_count(7, 0), 19999 - 3);
    for (u32 id : { 5u, 6u, 19999u }) EXPECT_EQ(dd_get_owner(tables, 7, id), 3) << id;
}

TEST(core_owner_set, passes_a_failed_growth_on)
{
    Tables tables;
    tables.attach_new(7, 0, 5);
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(core_owner_set(tables, 7, 6, 3), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    tables.lost = 1;
    EXPECT_EQ(core_owner_set(tables, 7, 6, 3), (DictStatus)DICT_NOT_FOUND);
}

TEST(core_owner_set, writes_nothing_to_the_file)
{
    Tables tables;
    tables.attach_new(1, 0, 20);
    calls_reset();
    ASSERT_EQ(core_owner_set(tables, 1, 5, 3), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines(), std::vector<std::string>{});
}

TEST(core_owner_set, does_nothing_for_the_types_of_the_tables)
{
    Tables tables;
    DictFile closed = {};
    for (u16 type : { (u16)52, (u16)53, (u16)54 }) {
        tables.attach_new(type, 0, 20);
        EXPECT_EQ(core_owner_set(tables, type, 5, 3), (DictStatus)DICT_OK) << type;
        EXPECT_EQ(core_owner_set(tables, type, -5, 3), (DictStatus)DICT_OK) << type;
        EXPECT_EQ(core_owner_set(&closed, type, 5, 3), (DictStatus)DICT_OK) << type;
        EXPECT_EQ(tables.bytes(type, 0), new_table(20)) << type;
        EXPECT_EQ(core_used_count(tables, type), 0) << type;
        EXPECT_EQ(dd_get_owner(tables, type, 5), 0) << type;
        EXPECT_EQ(dd_get_owner(nullptr, type, 5), 0) << type;
    }
}

TEST(core_owner_set, takes_any_owner)
{
    Tables tables;
    tables.attach_new(1, 0, 20);
    ASSERT_EQ(core_owner_set(tables, 1, 5, 255), (DictStatus)DICT_OK);
    EXPECT_EQ(dd_get_owner(tables, 1, 5), -1);           // as if it were free
    EXPECT_EQ(core_used_count(tables, 1), 1);            // but it counts
    EXPECT_EQ(core_id_at(tables, 1, 1), 5);
    ASSERT_EQ(core_owner_set(tables, 1, 6, 128), (DictStatus)DICT_OK);
    EXPECT_EQ(dd_get_owner(tables, 1, 6), -128);
    ASSERT_EQ(core_owner_set(tables, 1, 7, 15), (DictStatus)DICT_OK);
    EXPECT_EQ(dd_get_owner(tables, 1, 7), -1);
    EXPECT_EQ(core_used_count(tables, 1), 2);
}

TEST(core_used_count, sums_the_ranges_that_exist)
{
    Tables tables;
    EXPECT_EQ(core_used_count(tables, 1), 0);
    tables.attach_new(1, 0, 20);
    tables.attach_new(1, 2, 20);
    for (i16 id : { (i16)1, (i16)2, (i16)22000, (i16)22001, (i16)22002 }) {
        ASSERT_EQ(core_owner_set(tables, 1, id, 0), (DictStatus)DICT_OK);
    }
    EXPECT_EQ(core_used_count(tables, 1), 5);
    EXPECT_EQ(core_used_count(tables, 2), 0);
}

// It believes the counters and does not look at the owners.
TEST(core_used_count, takes_the_counters_as_16_bits)
{
    Tables tables;
    tables.attach(1, 0, table_bytes(20, 17, std::string(22, (char)CORE_FREE)));
    EXPECT_EQ(core_used_count(tables, 1), 3);
    tables.attach(1, 1, table_bytes(20, 20 - 65536 - 4, std::string(22, (char)CORE_FREE)));
    EXPECT_EQ(core_used_count(tables, 1), 7);
    tables.attach(1, 2, table_bytes(20, 20 - 32767, std::string(22, (char)CORE_FREE)));
    EXPECT_EQ(core_used_count(tables, 1), (i16)(7 + 32767));
    tables.attach(2, 0, table_bytes(20, 25, std::string(22, (char)CORE_FREE)));
    EXPECT_EQ(core_used_count(tables, 2), -5);
}

TEST(core_used_count, of_a_fresh_dictionary_is_0_for_all_types)
{
    Library library;
    for (u16 type = 0; type <= 65; type++) EXPECT_EQ(core_used_count(library.file(), type), 0) << type;
}

// 2 and 4 in range 0, 20000 in range 1, 22001 in range 2.
static void use_some(Tables &tables)
{
    tables.attach_all(1, 20);
    for (i16 id : { (i16)2, (i16)4, (i16)20000, (i16)22001 }) {
        ASSERT_EQ(core_owner_set(tables, 1, id, 6), (DictStatus)DICT_OK);
    }
}

TEST(core_id_at, counts_over_the_ranges)
{
    Tables tables;
    use_some(tables);
    EXPECT_EQ(core_id_at(tables, 1, 1), 2);
    EXPECT_EQ(core_id_at(tables, 1, 2), 4);
    EXPECT_EQ(core_id_at(tables, 1, 3), 20000);
    EXPECT_EQ(core_id_at(tables, 1, 4), 22001);
    EXPECT_EQ(core_id_at(tables, 1, 5), 0);
}

TEST(core_id_at, is_0_for_a_position_below_1)
{
    Tables tables;
    use_some(tables);
    EXPECT_EQ(core_id_at(tables, 1, 0), 0);
    EXPECT_EQ(core_id_at(tables, 1, -5), 0);
}

TEST(core_id_at, passes_over_an_absent_range)
{
    Tables tables;
    tables.attach_new(1, 2, 20);
    ASSERT_EQ(core_owner_set(tables, 1, 22019, 0), (DictStatus)DICT_OK);   // the highest position
    EXPECT_EQ(core_id_at(tables, 1, 1), 22019);
    EXPECT_EQ(core_id_at(tables, 2, 1), 0);
}

// The end of range 0 is the last position before that of range 1.
TEST(core_id_at, gives_the_ends_of_the_ranges)
{
    Tables tables;
    tables.attach_all(1, 20);
    i32 position = 1;
    for (i16 id : { (i16)1, (i16)19999, (i16)20000, (i16)21999, (i16)22000, (i16)32767 }) {
        ASSERT_EQ(core_owner_set(tables, 1, id, 0), (DictStatus)DICT_OK);
        EXPECT_EQ(core_id_at(tables, 1, position), id);
        EXPECT_EQ(core_position_of(tables, 1, id), position);
        position++;
    }
}

// Nobody owns position 0, and nobody counts it.
TEST(core_id_at, does_not_count_position_0)
{
    Tables tables;
    tables.attach_new(1, 0, 20);
    core_owners(core_table_at(tables, 1, 0))[0] = 3;
    ASSERT_EQ(core_owner_set(tables, 1, 5, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(core_id_at(tables, 1, 1), 5);
    EXPECT_EQ(core_position_of(tables, 1, 5), 1);
}

TEST(core_position_of, counts_over_the_ranges)
{
    Tables tables;
    use_some(tables);
    EXPECT_EQ(core_position_of(tables, 1, 2), 1);
    EXPECT_EQ(core_position_of(tables, 1, 4), 2);
    EXPECT_EQ(core_position_of(tables, 1, 20000), 3);
    EXPECT_EQ(core_position_of(tables, 1, 22001), 4);
}

TEST(core_position_of, is_0_for_a_free_identifier)
{
    Tables tables;
    use_some(tables);
    for (i16 id : { (i16)1, (i16)3, (i16)20001, (i16)22000, (i16)0, (i16)-1, (i16)-32768 }) {
        EXPECT_EQ(core_position_of(tables, 1, id), 0) << id;
    }
    EXPECT_EQ(core_position_of(tables, 1, 21), 0);        // above the table
    EXPECT_EQ(core_position_of(tables, 1, 19999), 0);
    EXPECT_EQ(core_position_of(tables, 2, 2), 0);         // no table
}

TEST(core_position_of, counts_minus_1_for_an_absent_lower_table)
{
    Tables tables;
    tables.attach_new(1, 1, 20);
    tables.attach_new(1, 2, 20);
    ASSERT_EQ(core_owner_set(tables, 1, 20000, 0), (DictStatus)DICT_OK);
    ASSERT_EQ(core_owner_set(tables, 1, 20001, 0), (DictStatus)DICT_OK);
    ASSERT_EQ(core_owner_set(tables, 1, 22000, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(core_position_of(tables, 1, 20001), 1);     // the second one
    EXPECT_EQ(core_position_of(tables, 1, 22000), 2);     // the third

    Tables highest;
    highest.attach_new(1, 2, 20);
    ASSERT_EQ(core_owner_set(highest, 1, 22000, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(core_position_of(highest, 1, 22000), -1);   // -1 for each
}

// ---- The exported two -----------------------------------------------------------------------------------------------

TEST(dd_get_owner, gives_the_owner)
{
    Tables tables;
    tables.attach_new(1, 0, 20);
    for (u8 owner = 0; owner <= 6; owner++) {
        ASSERT_EQ(core_owner_set(tables, 1, 20, owner), (DictStatus)DICT_OK);
        EXPECT_EQ(dd_get_owner(tables, 1, 20), owner);
    }
}

TEST(dd_get_owner, gives_minus_1_for_what_nobody_owns)
{
    Tables tables;
    tables.attach_new(1, 0, 20);
    EXPECT_EQ(dd_get_owner(tables, 1, 5), -1);
    EXPECT_EQ(dd_get_owner(tables, 1, 21), -1);           // beyond the table
    EXPECT_EQ(dd_get_owner(tables, 1, 20000), -1);        // no table
    EXPECT_EQ(dd_get_owner(tables, 2, 5), -1);            // a type without
    EXPECT_EQ(dd_get_owner(tables, 65, 5), -1);
    EXPECT_EQ(dd_get_owner(tables, 1, 0), -1);
    EXPECT_EQ(dd_get_owner(nullptr, 1, 5), -1);
    DictFile closed = {};
    EXPECT_EQ(dd_get_owner(&closed, 1, 5), -1);
}

TEST(dd_get_owner, cuts_the_identifier_to_16_bits)
{
    Tables tables;
    tables.attach_new(1, 0, 20);
    ASSERT_EQ(core_owner_set(tables, 1, 5, 3), (DictStatus)DICT_OK);
    EXPECT_EQ(dd_get_owner(tables, 1, 65541), 3);         // 65536 + 5
    EXPECT_EQ(dd_get_owner(tables, 1, 0xFFFFFFFF), -1);   // -1
    EXPECT_EQ(dd_get_owner(tables, 1, 40000), -1);        // negative as well
}

TEST(dd_choose_owner, gives_back_what_it_sets)
{
    EXPECT_EQ(dd_choose_owner(4), 4);
    EXPECT_EQ(current_owner_get(), 4);
    EXPECT_EQ(dd_choose_owner(65535), 65535);             // nothing checks it
    EXPECT_EQ(dd_choose_owner(0), 0);
}

TEST(dd_choose_owner, survives_dd_term)
{
    Library library;
    (void)dd_choose_owner(3);
    dd_term();
    EXPECT_EQ(current_owner_get(), 3);
    ASSERT_EQ(dd_init(), 1);
    ASSERT_EQ(ds_openfile(1, library.path, DICT_EXCLUSIVE, 0, &library.cookie), (DictStatus)DICT_OK);
    EXPECT_EQ(module_find(library.file(), 1, 49), MODULE_ABSENT);
    (void)library.add(1, 1, 1, 5, "five", "body");        // 0, or 3 without a core table; the module is made first
    EXPECT_NE(module_find(library.file(), 1, 49), MODULE_ABSENT);   // 3 * 16 + 1
    (void)dd_choose_owner(0);
}

} // namespace zuk
