#include "engine/core_storage.h"

#include "engine/convert.h"
#include "engine/locks.h"
#include "engine/resources.h"
#include "foundation/format.h"

namespace zuk {

// ---- One table ------------------------------------------------------------------------------------------------------

// The body of a stored table in a new handle.
static DictStatus read_body(DictFile *file, u16 type, i16 id, GHandle *handle)
{
    u32 pos;
    i32 len;
    DictStatus status = resource_locate(file, 1, CORE_TABLES_MODULE, type, id, &pos, &len);
    if (status) return status;
    if (body_is_beyond_file(file, pos, len)) return DICT_BAD_POSITION;
    *handle = galloc(len, nullptr, 1);
    if (!*handle) return DICT_NO_MEMORY;
    void *data = glock(*handle);
    status = resource_fetch(file, 1, CORE_TABLES_MODULE, type, pos, len, data);
    if (!status) resource_from_file(*handle, (i16)type, data);
    gunlock(*handle);
    if (status) gfree(*handle);
    return status;
}

static bool has_row(const DictFile *file, i32 type) { return file->core_tables && type >= 1 && type <= CORE_TYPE_MAX; }

static bool is_range(i32 range) { return range >= 0 && range < CORE_RANGES; }

DictStatus core_table_read(DictFile *file, i32 type, i32 range)
{
    if (core_table_size(type) == 0) return DICT_OK;
    if (!has_row(file, type) || !is_range(range)) return DICT_NOT_FOUND;  // nothing could hold it
    bool locked = read_lock_needed(file);
    if (locked && !read_lock(file)) return DICT_LOCKED_OUT;
    GHandle handle;
    DictStatus status = read_body(file, (u16)(CORE_TABLES_TYPE + range), (i16)type, &handle);
    if (!status) {
        gfree(core_table_detach(file, type, range));
        core_table_attach(file, type, range, handle);  // a damaged one then reads as absent
    }
    if (locked) read_unlock(file);
    return status;
}

// A new table for `capacity` identifiers, all of them free.
static GHandle new_table(i32 capacity)
{
    // KEPT: one would expect no byte behind the owners. One stands there, and a grown table has one more.
    // Test: core_table_create.makes_a_table_of_capacity_and_14_bytes
    GHandle handle = galloc(capacity + (i32)sizeof(CoreTable) + 2, nullptr, 1);
    CoreTable *table = (CoreTable *)glock(handle);
    if (!table) return 0;
    table->capacity = le_i32(capacity);
    table->free_count = le_i32(capacity);
    for (i32 p = 0; p <= capacity; p++) core_owners(table)[p] = CORE_FREE;
    gunlock(handle);
    return handle;
}

DictStatus core_table_create(i32 type, i32 range)
{
    i32 size = core_table_size(type);
    if (size == 0) return DICT_OK;
    GHandle handle = new_table(size);
    if (!handle) return DICT_NO_MEMORY;
    u8 name[256];
    pstr_format(name, "Local core table %d, %d", type, range);
    u16 table_type = (u16)(CORE_TABLES_TYPE + range);
    DictStatus status = dd_add_resource(1, CORE_TABLES_MODULE, table_type, (i16)type, name, handle);
    gfree(handle);
    return status;
}

// ---- All tables -----------------------------------------------------------------------------------------------------

static DictStatus load_table(DictFile *file, DictFile *main, i32 type, i32 range)
{
    if (main && range != 1) {
        core_table_borrow(file, type, range, core_table_at(main, type, range));
        return DICT_OK;
    }
    DictStatus status = core_table_read(file, type, range);
    if (status != DICT_NOT_FOUND) return status;
    // KEPT: one would expect the owners of a file that comes without tables to be looked for in its modules. The tables
    // that are made here are empty, and its kind 1 resources stay without owners.
    // Test: core_tables_load.makes_156_empty_tables_without_a_walk
    // Test: ds_openfile.adds_156_empty_tables_to_a_new_file
    // KEPT: one would expect the tables to be made in the file that lacks them. They go to the current dictionary.
    // Test: core_tables_load.makes_missing_tables_in_the_current_dictionary
    bool may_write = file->open_mode == DICT_SHARED || file->open_mode == DICT_EXCLUSIVE;
    if (may_write) (void)core_table_create(type, range);  // the second reading tells
    return core_table_read(file, type, range);
}

// What all tables hold lies in the file. Damage may tell the same large body for each of them, and memory is not asked
// for more than the file could fill.
static bool tables_are_beyond_file(DictFile *file, i64 bytes)
{
    return bytes > INT32_MAX || body_is_beyond_file(file, 0, (i32)bytes);
}

DictStatus core_tables_load(DictFile *file, DictFile *main)
{
    // KEPT: one would expect one missing table to leave the others alone. In mode 16384, or where it cannot be made, it
    // ends the load, and all types behind it have no table. Test: core_tables_load.ends_at_the_first_missing_table
    DictStatus status = core_tables_init(file);
    i64 bytes = 0;
    for (i32 type = 1; type <= CORE_TYPE_MAX && !status; type++) {
        if (core_table_size(type) == 0) continue;
        for (i32 range = 0; range < CORE_RANGES && !status; range++) {
            status = load_table(file, main, type, range);
            if (status) break;
            bytes += gsize(file->core_tables[type].handles[range]);
            if (tables_are_beyond_file(file, bytes)) status = DICT_BAD_POSITION;
        }
    }
    return status;
}

bool dict_has_core_tables(const DictFile *file)
{
    constexpr i32 ASKED_TYPE = 9;
    if (core_table_at(file, ASKED_TYPE, 0)) return true;
    // A damaged one reads as absent, but it is there: damage is no reason to rebuild all of them.
    const CoreRow *row = has_row(file, ASKED_TYPE) ? &file->core_tables[ASKED_TYPE] : nullptr;
    return row && row->handles[0] && row->tables[0];
}

bool dict_selected_has_core_tables(const DictCookie *cookie, i32 selector)
{
    const DictFile *file = dict_file_by_cookie(cookie, selector);
    return file && dict_has_core_tables(file);
}

// ---- Rebuilding -----------------------------------------------------------------------------------------------------

// Take every stored table out of the current dictionary.
static DictStatus remove_stored_tables()
{
    for (i32 type = 1; type <= CORE_TYPE_MAX; type++) {
        for (i32 range = 0; range < CORE_RANGES; range++) {
            DictStatus status = dd_remove_resource(1, CORE_TABLES_MODULE, (u16)(CORE_TABLES_TYPE + range), type);
            if (status && status != DICT_NOT_FOUND) return status;
        }
    }
    return DICT_OK;
}

// The identifiers of a type, in a handle: the run changes while it is walked.
static GHandle ids_of_type(DictFile *file, i16 index, i16 type, u16 *count)
{
    const ResourceEntry *run = resource_range(file, index, type, count, nullptr, nullptr);
    if (!run) return 0;
    GHandle handle = galloc(*count * (i32)sizeof(LeI16), nullptr, 0);
    LeI16 *ids = (LeI16 *)glock(handle);
    for (i32 i = 0; ids && i < *count; i++) ids[i] = run[i].id;
    gunlock(handle);
    return handle;
}

// Record the owner of each identifier, then write the tables of the type.
static DictStatus own_type(DictFile *file, i16 index, u16 type, i8 series)
{
    u16 count = 0;
    GHandle handle = ids_of_type(file, index, (i16)type, &count);
    if (!handle) return DICT_NO_MEMORY;

    DictStatus status = DICT_OK;
    for (i32 i = 0; i < count; i++) {
        i16 id = le_get(((const LeI16 *)glock(handle))[i]);
        if (id == 0) continue;
        // KEPT: one would expect the first series to keep an identifier that stands in two. It is removed there, and
        // survives in the later one. Test: dict_reset_core_tables.keeps_the_later_of_two_series
        // KEPT: one would expect it to be removed where it was found. It is removed from the usual core type of its
        // type: from another one it does not go, and where one series has both, the one that is walked here goes.
        // Test: dict_reset_core_tables.looks_for_the_earlier_one_in_the_usual_core_type_alone
        // Test: dict_reset_core_tables.takes_an_identifier_out_of_the_type_that_it_walks
        if (dd_get_owner(file, type, (u16)id) != -1) (void)dd_remove_resource(1, default_core_type(type), type, id);
        // KEPT: one would expect the first failure to count. The status of the last one does.
        // Test: dict_reset_core_tables.ends_with_the_status_of_the_last_identifier
        status = core_owner_set(file, type, id, (u8)series);
    }
    gfree(handle);
    for (i32 range = 0; range < CORE_RANGES && !status; range++) status = core_table_write(file, (i16)type, range);
    return status;
}

static DictStatus own_module(DictFile *file, i16 index)
{
    i8 series = (i8)(le_get(module_entry(file, index)->module) >> 4);
    DictStatus status = DICT_OK;
    for (i32 i = 0; !status; i++) {  // asked for anew each time: what is removed below moves the directory's records
        ModuleDirectory *directory = directory_get(file, index);
        const TypeEntry *entry = directory ? type_at(directory, i) : nullptr;
        if (!entry) break;
        u16 type = (u16)le_get(entry->type);
        bool holds_tables = type >= CORE_TABLES_TYPE && type < CORE_TABLES_TYPE + CORE_RANGES;
        if (!holds_tables) status = own_type(file, index, type, series);
    }
    return status;
}

DictStatus dict_reset_core_tables(DictFile *file)
{
    DictStatus status = dict_file_usable(file);
    if (status) return status;
    status = remove_stored_tables();
    core_tables_free(file);
    if (!status) status = core_tables_load(file, nullptr);
    if (status && status != DICT_NOT_FOUND) return status;

    status = DICT_OK;
    for (i16 index = 0; !status; index++) {
        const ModuleEntry *entry = module_entry(file, index);
        if (!entry) break;
        if (le_get(entry->kind) == 1) status = own_module(file, index);
    }
    return status;
}

DictStatus dict_reset_selected(const DictCookie *cookie, i32 selector)
{
    return dict_reset_core_tables(dict_file_by_cookie(cookie, selector));
}

} // namespace zuk
