#include "engine/core_tables.h"

namespace zuk {

constexpr i32 RANGE_BASE[CORE_RANGES] = { 0, 19999, 21999 };   // what a position is added to

static_assert(sizeof(void *) > 4 || sizeof(CoreRow) == 24, "a row is six words");

static constinit u16 current_owner = 0;

i16 current_owner_get() { return (i16)current_owner; }

i32 core_id_range(i16 id, i32 *position)
{
    i32 range = id < 20000 ? 0 : id < 22000 ? 1 : 2;
    if (position) *position = id - RANGE_BASE[range];
    return range;
}

i16 core_table_size(i32 type)
{
    // KEPT: one would expect 0 where no table can be. Types above 64 and below 0 have the size 1 and never a table.
    // Test: core_table_size.is_1_for_types_that_have_no_row
    if (type > 55 || type < 0) return 1;
    if (type >= 33 && type <= 38) return 1;
    switch (type) {
    case 0: case 2: case 3: case 4: case 10: case 11: case 12: case 13: case 14: case 16: case 17: case 23: case 24:
        return 0;
    case 41: case 49: case 50: case 55: return 1;
    case 31: case 32: return 3;
    case 7: case 15: case 25: case 26: case 27: case 28: case 29: return 5;
    case 8: case 42: case 43: case 44: case 45: case 46: case 47: return 10;
    case 40: return 16;
    case 18: return 50;
    case 5: return 60;
    case 9: return 500;
    default: return 20;  // 1, 6, 19 to 22, 30, 39, 48, 51 to 54
    }
}

i32 default_core_type(i32 type)
{
    switch (type) {
    case 9: return 2;
    case 20: case 21: case 61: case 62: return 3;
    case 50: return 4;
    case 30: return 5;
    case 6: return 6;
    case 18: return 7;
    case 51: return 8;
    case 19: case 22: case 60: case 63: return 9;
    case 58: return 11;
    case 31: case 59: return 12;
    default: return 1;
    }
}

// ---- Tables ---------------------------------------------------------------------------------------------------------

DictStatus core_tables_init(DictFile *file)
{
    file->core_tables_handle = galloc(CORE_ROWS * (i32)sizeof(CoreRow), nullptr, 1);
    file->core_tables = (CoreRow *)glock(file->core_tables_handle);
    return file->core_tables ? DictStatus{ DICT_OK } : DictStatus{ DICT_NO_MEMORY };
}

static CoreRow *row_of(const DictFile *file, i32 type, i32 range)
{
    bool inside = type >= 1 && type <= CORE_TYPE_MAX && range >= 0 && range < CORE_RANGES;
    return file && file->core_tables && inside ? &file->core_tables[type] : nullptr;
}

// A table counts only if its owner bytes lie inside its handle.
static CoreTable *sound_table(CoreTable *table, GHandle handle)
{
    i32 size = gsize(handle);
    if (!table || size < (i32)sizeof(CoreTable) + 1) return nullptr;
    i32 capacity = le_get(table->capacity);
    return capacity < 0 || (i64)capacity + (i64)sizeof(CoreTable) + 1 > size ? nullptr : table;
}

CoreTable *core_table_at(const DictFile *file, i32 type, i32 range)
{
    const CoreRow *row = row_of(file, type, range);
    if (!row || !row->tables[range]) return nullptr;
    if (row->handles[range]) return sound_table(row->tables[range], row->handles[range]);

    // Borrowed: the pointer only says so, for the table may have grown or gone since.
    const DictFile *main = dict_main_file_of(file);
    const CoreRow *lender = main == file ? nullptr : row_of(main, type, range);
    return lender ? sound_table(lender->tables[range], lender->handles[range]) : nullptr;
}

u8 *core_owners(CoreTable *table) { return (u8 *)(table + 1); }

void core_table_attach(DictFile *file, i32 type, i32 range, GHandle handle)
{
    CoreRow *row = row_of(file, type, range);
    if (!row) return;
    row->handles[range] = handle;
    row->tables[range] = (CoreTable *)glock(handle);
}

GHandle core_table_detach(DictFile *file, i32 type, i32 range)
{
    CoreRow *row = row_of(file, type, range);
    if (!row || !row->handles[range]) return 0;
    gunlock(row->handles[range]);
    row->tables[range] = nullptr;
    return row->handles[range];
}

void core_table_borrow(DictFile *file, i32 type, i32 range, CoreTable *table)
{
    CoreRow *row = row_of(file, type, range);
    if (!row) return;
    row->handles[range] = 0;
    row->tables[range] = table;
}

// The counter comes from the file, where it can be anything, so that sums with it wrap.
static void count_free(CoreTable *table, i32 more)
{
    table->free_count = le_i32((i32)((u32)le_get(table->free_count) + (u32)more));
}

DictStatus core_table_grow(DictFile *file, i32 range, i32 type, i32 position)
{
    CoreTable *table = core_table_at(file, type, range);
    if (!table) return DICT_NO_MEMORY;
    i64 old = le_get(table->capacity);
    i64 step = core_table_size(type);
    if (old + step < position) step = position - old;

    // KEPT: one would expect the size of a new table with the capacity that results. A grown table has one byte more.
    // Test: core_table_grow.makes_a_grown_table_one_byte_longer
    i64 bytes = (i64)sizeof(CoreTable) + old + step + 3;
    GHandle handle = core_table_detach(file, type, range);
    if (!handle || bytes > 0x7FFFFFFF) return DICT_NO_MEMORY;
    if (!grealloc(&handle, (i32)bytes)) {
        // KEPT: one would expect the table as it was. It stays detached, and reads as absent from then on.
        // Test: core_table_grow.loses_the_table_when_memory_is_short
        file->core_tables[type].handles[range] = 0;
        return DICT_NO_MEMORY;
    }
    core_table_attach(file, type, range, handle);

    table = file->core_tables[type].tables[range];
    table->capacity = le_i32((i32)(old + step));
    count_free(table, (i32)step);
    for (i64 p = old + 1; p <= old + step; p++) core_owners(table)[p] = CORE_FREE;
    return DICT_OK;
}

// ---- Owners ---------------------------------------------------------------------------------------------------------

// Types that hold the core tables themselves have no owners.
// KEPT: one would expect them to be counted like others. Their owner is always 0 and setting one does nothing, though
// tables for them exist and stay empty. Test: core_owner_set.does_nothing_for_the_types_of_the_tables
static bool holds_core_tables(u16 type) { return type >= 52 && type <= 54; }

// The table of an identifier and its position there. Null without a table, and for a negative position.
static CoreTable *table_of_id(const DictFile *file, u16 type, i16 id, i32 *range, i32 *position)
{
    *range = core_id_range(id, position);
    return *position < 0 ? nullptr : core_table_at(file, (i16)type, *range);
}

DictStatus core_owner_set(DictFile *file, u16 type, i16 id, u8 owner)
{
    if (holds_core_tables(type)) return DICT_OK;
    i32 range, position;
    CoreTable *table = table_of_id(file, type, id, &range, &position);
    if (!table) return DICT_NOT_FOUND;
    if (position > le_get(table->capacity)) {
        DictStatus status = core_table_grow(file, range, (i16)type, position);
        if (status) return status;
        table = core_table_at(file, (i16)type, range);
        if (!table) return DICT_NO_MEMORY;
    }
    // KEPT: one would expect an owner that means free, or one that reads as none, to be refused. 15 counts as free, and
    // 255 counts as used but reads back as -1. Test: core_owner_set.takes_any_owner
    u8 *at = &core_owners(table)[position];
    if (*at == CORE_FREE) count_free(table, -1);
    if (owner == CORE_FREE) count_free(table, 1);
    *at = owner;
    return DICT_OK;
}

static i64 used_in(const CoreTable *table) { return (i64)le_get(table->capacity) - le_get(table->free_count); }

i16 core_used_count(const DictFile *file, u16 type)
{
    i16 used = 0;
    for (i32 range = 0; range < CORE_RANGES; range++) {
        const CoreTable *table = core_table_at(file, (i16)type, range);
        if (table) used = (i16)(used + (i16)used_in(table));  // 16-bit as the counts are
    }
    return used;
}

i32 core_id_at(const DictFile *file, u16 type, i32 position)
{
    if (position < 1) return 0;
    i32 used = 0;
    for (i32 range = 0; range < CORE_RANGES; range++) {
        CoreTable *table = core_table_at(file, (i16)type, range);
        i32 capacity = table ? le_get(table->capacity) : 0;
        for (i32 p = 1; p <= capacity; p++) {
            if (core_owners(table)[p] == CORE_FREE) continue;
            if (++used == position) return p + RANGE_BASE[range];
        }
    }
    return 0;
}

i16 core_position_of(const DictFile *file, u16 type, i16 id)
{
    i32 range, position;
    CoreTable *table = table_of_id(file, type, id, &range, &position);

    // KEPT: one would expect an absent lower table to count nothing. It counts -1.
    // Test: core_position_of.counts_minus_1_for_an_absent_lower_table
    i64 count = 0;
    for (i32 below = 0; below < range; below++) {
        const CoreTable *lower = core_table_at(file, (i16)type, below);
        count += lower ? used_in(lower) : -1;
    }
    if (!table || position > le_get(table->capacity) || core_owners(table)[position] == CORE_FREE) return 0;
    for (i32 p = 1; p <= position; p++) count += core_owners(table)[p] != CORE_FREE;
    return (i16)count;
}

} // namespace zuk

extern "C" {

int16_t dd_get_owner(DictFile *file, uint16_t type, uint32_t id)
{
    using namespace zuk;
    if (holds_core_tables(type)) return 0;
    i32 range, position;
    CoreTable *table = table_of_id(file, type, (i16)id, &range, &position);
    if (!table || position > le_get(table->capacity)) return -1;
    u8 owner = core_owners(table)[position];
    return owner == CORE_FREE ? (i16)-1 : (i16)(i8)owner;
}

uint16_t dd_choose_owner(uint16_t owner)
{
    // KEPT: one would expect the choice to end with the library. It is checked by nothing and survives `dd_term`.
    // Test: dd_choose_owner.survives_dd_term
    zuk::current_owner = owner;
    return owner;
}

} // extern "C"
