#include "engine/identifiers.h"

#include "engine/locks.h"
#include "engine/resources.h"

namespace zuk {

constexpr i16 LOCAL_FIRST = 20000;       // the local range
constexpr i16 LOCAL_LAST = 21999;
constexpr i32 LOCAL_BASE = 19999;        // what a position of range 1 is added to
constexpr i32 HIGH_BASE = 21999;         // the same of range 2
constexpr i16 HIGH_FIRST = 22000;

// ---- Kind 1: the core tables ----------------------------------------------------------------------------------------

// The first free position of a table from `p` on. When all are taken, the one behind the end of the walk, and the table
// of `grown_range` grows to hold it and is written.
// KEPT: one would expect no number, or to be told, when the table cannot grow or be written. Neither is looked at, and
// the number is given. Test: core_next_id.gives_the_number_when_the_table_cannot_grow
// Test: core_next_id.gives_the_number_when_the_table_cannot_be_written
// KEPT: one would expect a shared file to get the grown table as well. The read lock that is held here keeps the write
// lock out, which is tried for about a minute; then the number is given, and the table has grown in memory alone.
// Test: dd_uniqueid.stalls_over_its_own_read_lock
static i32 free_position(DictFile *file, u16 type, i32 range, i32 p, i32 grown_range)
{
    CoreTable *table = core_table_at(file, (i16)type, range);
    i32 capacity = le_get(table->capacity);
    while (p < capacity && core_owners(table)[p] != CORE_FREE) p++;
    if (p <= capacity && core_owners(table)[p] == CORE_FREE) return p;
    p++;
    (void)core_table_grow(file, grown_range, (i16)type, p);  // the number is given all the same
    (void)core_table_write(file, (i16)type, grown_range);    // here too
    return p;
}

// Range 0 with a floor that is not 1: positions are identifiers.
static i16 next_above_floor(DictFile *file, u16 type)
{
    // KEPT: one would expect the floor. Without a table it is 1.
    // Test: core_next_id.gives_1_for_a_raised_floor_without_a_table
    const CoreTable *table = core_table_at(file, (i16)type, 0);
    if (!table) return 1;
    // KEPT: one would expect the table to grow for a floor above its end. The number is given with no change.
    // Test: core_next_id.gives_a_floor_above_capacity_without_growth
    if (lowest_id > le_get(table->capacity)) return lowest_id;
    return (i16)free_position(file, type, 0, lowest_id, 0);
}

// Range 2 with a floor above 22000.
static i16 next_above_high_floor(DictFile *file, u16 type)
{
    // KEPT: one would expect the floor. Without a table it is 21999, one below the range.
    // Test: core_next_id.gives_21999_for_a_raised_floor_without_a_table
    const CoreTable *table = core_table_at(file, (i16)type, 2);
    if (!table) return (i16)HIGH_BASE;
    i32 p = lowest_id - HIGH_BASE;
    if (p > le_get(table->capacity)) return (i16)(p + HIGH_BASE);
    return (i16)(free_position(file, type, 2, p, 2) + HIGH_BASE);
}

// KEPT: one would expect a full table to grow when a resource uses the number. It grows at once, by its step.
// Test: core_next_id.grows_a_full_table_by_its_step
// KEPT: one would expect the bounds of the installation to end it. Nothing tests `highest_id`.
// Test: core_next_id.goes_on_behind_highest_id
// Test: core_next_local_id.goes_on_behind_the_local_range
i16 core_next_id(DictFile *file, u16 type)
{
    i32 range = dict_set && dict_set->not_main_product ? 2 : 0;
    if (range == 0 && lowest_id != 1) return next_above_floor(file, type);
    if (range == 2 && lowest_id != HIGH_FIRST) return next_above_high_floor(file, type);
    i32 p = core_table_at(file, (i16)type, range) ? free_position(file, type, range, 1, range) : 1;
    return (i16)(lowest_id + p - 1);
}

i16 core_next_local_id(DictFile *file, u16 type)
{
    if (!core_table_at(file, (i16)type, 1)) return LOCAL_FIRST;
    // KEPT: one would expect the table of the local range to grow when it is full. That of range 0 does, at every call.
    // Test: core_next_local_id.grows_range_0_when_full
    return (i16)(free_position(file, type, 1, 1, 0) + LOCAL_BASE);
}

i16 core_next_id_current(u16 type)
{
    DictFile *file = dict_set ? dict_file_of_cookie(&dict_set->current) : nullptr;
    if (dict_file_usable(file)) return 0;
    if (!core_table_at(file, (i16)type, 0)) return lowest_id;
    return (i16)free_position(file, type, 0, 1, 0);
}

// ---- Kinds 2 and 3: the identifiers of a type -----------------------------------------------------------------------

// The sorted run of a type. False when there is none.
static bool run_of(DictFile *file, i32 kind, i32 module, u16 type, const ResourceEntry **run, i32 *count)
{
    u16 entries;
    *run = resource_range(file, module_find(file, kind, module), (i16)type, &entries, nullptr, nullptr);
    if (!*run) return false;
    *count = entries;
    return true;
}

// KEPT: one would expect gaps to be filled again. In kind 3, identifiers of type 27 go on from the highest.
// Test: resource_next_id.goes_on_from_the_highest_for_type_27_of_kind_3
static i16 next_in_list(const ResourceEntry *run, i32 count, i16 stop, i16 last, i16 otherwise)
{
    i32 i = 0;
    while (i < count - 1 && le_get(run[i].id) < stop) i++;
    if (i < count && le_get(run[i].id) > highest_id && i > 0) i--;
    if (i >= count) return otherwise;
    i16 id = le_get(run[i].id);
    return id >= lowest_id && id <= last ? (i16)(id + 1) : otherwise;
}

// The first gap behind `last`, among the identifiers from `lowest_id` on.
// KEPT: one would expect the gap to lie in the bounds of the installation. Nothing tests `highest_id` here either.
// Test: resource_next_id.has_no_end
static i16 first_gap(const ResourceEntry *run, i32 count, i32 last)
{
    i32 i = 0;
    while (i < count && le_get(run[i].id) < lowest_id) i++;
    while (i < count && le_get(run[i].id) == last + 1) {
        last++;
        i++;
    }
    return (i16)(last + 1);
}

static bool goes_on(i32 kind, u16 type) { return kind == 3 && type == 27; }

i16 resource_next_id(DictFile *file, i32 kind, i32 module, u16 type)
{
    const ResourceEntry *run;
    i32 count;
    if (!run_of(file, kind, module, type, &run, &count)) return lowest_id;
    if (goes_on(kind, type)) return next_in_list(run, count, highest_id, highest_id, lowest_id);
    return first_gap(run, count, lowest_id - 1);
}

// KEPT: one would expect the local identifiers to be searched for a gap. The search skips by `lowest_id`, which lies
// above them as a rule, and gives 20000 again and again.
// Test: resource_next_local_id.gives_20000_again_and_again
i16 resource_next_local_id(DictFile *file, i32 kind, i32 module, u16 type)
{
    const ResourceEntry *run;
    i32 count;
    if (!run_of(file, kind, module, type, &run, &count)) return LOCAL_FIRST;
    if (goes_on(kind, type)) return next_in_list(run, count, LOCAL_LAST, LOCAL_LAST, LOCAL_FIRST);
    return first_gap(run, count, LOCAL_FIRST - 1);
}

// ---- By coordinates -------------------------------------------------------------------------------------------------

static i16 next_id(DictFile *file, i32 kind, i32 module, u16 type, bool local)
{
    if (type_is_module(type)) return (i16)(local ? module_next_local_id(file, kind) : module_next_id(file, kind));
    if (kind == 1) return local ? core_next_local_id(file, type) : core_next_id(file, type);
    return local ? resource_next_local_id(file, kind, module, type) : resource_next_id(file, kind, module, type);
}

// Under the read lock; 0 when it cannot be had or no file is open.
static i16 locked_next_id(i32 kind, i32 module, u16 type, bool local)
{
    DictFile *file = dict_select_file(kind, type, SELECT_NO_REDIRECT);
    if (dict_file_usable(file)) return 0;
    bool locked = read_lock_needed(file);
    if (locked && !read_lock(file)) return 0;
    i16 id = next_id(file, kind, module, type, local);
    if (locked) read_unlock(file);
    return id;
}

i16 dd_local_uniqueid(i32 kind, i32 module, u16 type) { return locked_next_id(kind, module, type, true); }

} // namespace zuk

extern "C" {

int16_t dd_uniqueid(int32_t kind, int32_t module, uint16_t type)
{
    // KEPT: one would expect the number to be reserved. Two calls give the same until a resource uses it.
    // Test: dd_uniqueid.reserves_nothing
    return zuk::locked_next_id(kind, module, type, false);
}

} // extern "C"
