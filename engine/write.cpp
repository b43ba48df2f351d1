#include "engine/convert.h"
#include "engine/locks.h"
#include "engine/resources.h"
#include "files/file.h"
#include "foundation/handles.h"

namespace zuk {

// ---- The turn of a write --------------------------------------------------------------------------------------------

// One operation on the file of the current dictionary, with the write lock if the file is shared and the lock not held.
struct WriteTurn {
    DictFile *file;
    bool locked;       // taken here, so to be freed here
};

// Find the file: 3, 7 or 15 without an open one.
static DictStatus write_find(WriteTurn *turn)
{
    // KEPT: one would expect a write to go where a read of the same coordinates goes. Every write goes by the other
    // selector, whatever the kind and the type. Test: dd_add_resource.goes_by_the_other_selector_for_every_kind
    turn->file = dict_set ? dict_file_of_cookie(&dict_set->current) : nullptr;
    turn->locked = false;
    return dict_file_usable(turn->file);
}

// Take the lock if one is needed: 21 when it cannot be had.
static DictStatus write_begin(WriteTurn *turn)
{
    if (!write_lock_needed(turn->file)) return DICT_OK;
    if (!write_lock(turn->file)) return DICT_LOCKED_OUT;
    turn->locked = true;
    return DICT_OK;
}

static void write_end(const WriteTurn *turn)
{
    if (turn->locked) (void)write_unlock(turn->file);  // a lost lock is nobody's to hear of
}

// The block table reaches the file; the platform's own buffers are left to it.
static DictStatus flush_tables(DictFile *file)
{
    DictStatus status = block_table_flush(file);
    (void)file_flush(file->file);  // only checks the handle
    return status;
}

static bool holds_core_tables(u16 type) { return type >= 52 && type <= 54; }

// Replace bytes in a type's block. Damage is told before anything moves: 3 when the block is none, 12 when it ends
// behind the file, which a write there would stretch.
static DictStatus splice(DictFile *file, u32 block, BlockType block_type, const void *data, i32 offset, i32 new_size,
                         i32 old_size, i16 unit)
{
    BlockEntry entry;
    DictStatus status = type_block_read(file, block, block_type, &entry);
    if (status) return status;
    if ((i64)le_get(entry.offset) + le_get(entry.size) > dict_length(file)) return DICT_BAD_POSITION;
    return block_splice(file, block, data, offset, new_size, old_size, unit);
}

// Replace a body in its block. The conversion to the file's form and back leaves the caller's bytes as they were.
static DictStatus splice_body(DictFile *file, u32 block, i32 offset, i16 type, GHandle body, i32 old_size, i16 unit)
{
    void *data = glock(body);
    if (!data) return DICT_NO_MEMORY;
    resource_to_file(body, type, data);
    DictStatus status = splice(file, block, BLOCK_BODIES, data, offset, gsize(body), old_size, unit);
    resource_from_file(body, type, data);
    gunlock(body);
    return status;
}

// ---- Adding ---------------------------------------------------------------------------------------------------------

struct NewResource {
    i32 kind;
    i32 module;        // as the caller gives it
    i32 real;          // with the series of the current owner
    u16 type;
    i16 id;
    ConstPString name;
    u8 name_size;      // stored bytes
    GHandle body;
    i32 body_size;
};

static bool entry_exists(DictFile *file, i32 kind, i32 module, u16 type, i16 id)
{
    return resource_entry(file, module_find(file, kind, module), (i16)type, id, nullptr, nullptr) != nullptr;
}

// 2 when the name is taken, for kind 1 in any of the series.
static DictStatus test_name(DictFile *file, const NewResource *add)
{
    if (add->kind == 1 && resource_id_by_name(file, add->kind, add->module, add->type, add->name)) return DICT_EXISTS;
    if (type_is_module(add->type)) return DICT_OK;
    bool taken = resource_find_by_name(file, add->kind, add->module, (i16)add->type, add->name, nullptr, nullptr);
    return taken ? DictStatus{ DICT_EXISTS } : DictStatus{ DICT_OK };
}

// 2 when the identifier is taken, for kind 1 by any series.
static DictStatus test_id(DictFile *file, const NewResource *add)
{
    bool taken = false;
    if (add->kind == 1 && !holds_core_tables(add->type)) {
        taken = dd_get_owner(file, add->type, (u16)add->id) != -1;
    } else if (!type_is_module(add->type)) {
        taken = entry_exists(file, add->kind, add->module, add->type, add->id);
    }
    return taken ? DictStatus{ DICT_EXISTS } : DictStatus{ DICT_OK };
}

static DictStatus add_entry(DictFile *file, const NewResource *add)
{
    return resource_add_entry(file, add->kind, add->real, (i16)add->type, add->id, add->name_size, add->body_size);
}

// Test the new resource, and enter it in its directory; a module of kind 1 is made if it is missing.
static DictStatus enter(DictFile *file, const NewResource *add)
{
    DictStatus status = DICT_OK;
    if (type_is_module(add->type)) {
        // KEPT: one would expect the module's number and the resource's to be compared. The module made is `module`,
        // the entry in it is `id`. Test: dd_add_resource.does_not_compare_module_and_id_of_a_module
        status = module_create(file, add->kind, add->real, add->name);
        if (status) return status;
    }
    // KEPT: one would expect types 2 and 23 to work in kind 1. The module is made, its own new name then counts as a
    // duplicate, and the status is 2. Test: dd_add_resource.of_a_module_in_kind_1_gives_2_and_makes_it
    status = test_name(file, add);
    if (!status) status = test_id(file, add);
    if (!status) status = add_entry(file, add);

    // KEPT: one would expect help for every kind. Only kind 1 gets its module made on demand, after any 3.
    // Test: dd_add_resource.makes_no_module_for_kinds_2_and_3
    if (status != DICT_NOT_FOUND || add->kind != 1) return status;
    u8 words[256];
    status = module_create(file, add->kind, add->real, module_default_name(add->real, words));
    if (status) return status;
    return add_entry(file, add);
}

// The bytes of the name and of the body, and the owner.
static DictStatus write_new(DictFile *file, const NewResource *add)
{
    // KEPT: one would expect the body to grow by the unit of bodies, as in a change. It grows by the unit of names. The
    // block sizes it gives show in the file. Test: dd_add_resource.grows_the_body_by_the_name_unit
    i16 unit = block_unit(BLOCK_NAMES, (i16)add->type);
    i16 type = (i16)add->type;
    u32 name_block = type_name_block(file, add->kind, add->real, type);
    i32 name_offset = resource_name_offset(file, add->kind, add->real, type, add->id);
    DictStatus status = splice(file, name_block, BLOCK_NAMES, add->name, name_offset, add->name_size, 0, unit);
    if (status) return status;

    if (add->body) {
        u32 body_block = type_body_block(file, add->kind, add->real, type);
        i32 body_offset = resource_body_offset(file, add->kind, add->real, type, add->id);
        status = splice_body(file, body_block, body_offset, type, add->body, 0, unit);
        if (status) return status;
    }

    // KEPT: one would expect a type without a core table to be refused before anything is written. It fails here, and
    // its name and body stay in their blocks as a gap. Test: dd_add_resource.of_kind_1_without_a_table_fails_at_the_end
    if (add->kind != 1) return DICT_OK;
    return core_owner_set(file, add->type, add->id, (u8)current_owner_get());
}

// The directory, the block table, and for kind 1 the owners.
static DictStatus save_new(DictFile *file, const NewResource *add)
{
    DictStatus status = directory_save(file, add->kind, add->real);
    if (status) return status;
    status = flush_tables(file);
    if (status || add->kind != 1) return status;
    return core_table_write(file, (i16)add->type, core_id_range(add->id, nullptr));
}

static DictStatus add_resource(DictFile *file, const NewResource *add)
{
    // KEPT: one would expect an add and a change to allow the same names. An add refuses the empty one; a name of 255
    // characters has a stored size of 256, which is 0 in 8 bits, and none of it is stored.
    // Test: dd_add_resource.stores_nothing_of_a_name_of_255_characters
    // Test: dd_add_resource.gives_19_for_a_bad_name_or_id_and_changes_nothing
    if (!add->name || add->name_size == 1 || add->id < 1) return DICT_BAD_NAME;
    DictStatus status = enter(file, add);
    if (status) return status;

    status = write_new(file, add);
    if (status) {
        // KEPT: one would expect a failed add to leave nothing. The entry goes; the bytes written stay as a gap, a new
        // type, a new module and the changed block entries stay, and nothing is flushed.
        // Test: dd_add_resource.leaves_a_gap_after_a_failed_body
        (void)resource_remove_entry(file, add->kind, add->real, (i16)add->type, add->id);
        return status;
    }
    return save_new(file, add);
}

// ---- Changing -------------------------------------------------------------------------------------------------------

struct Change {
    i32 kind;
    i32 real;          // with the series that owns the identifier
    u16 type;
    i16 id;
    ConstPString name; // null: it stays
    GHandle body;      // 0 or empty: it stays
};

static ResourceEntry *changed_entry(DictFile *file, const Change *change, u32 *name_block, u32 *body_block)
{
    return resource_entry(file, module_find(file, change->kind, change->real), (i16)change->type, change->id,
                          name_block, body_block);
}

// What to do about a new name: 2 when another resource has it, and whether it differs from the old one.
static DictStatus test_new_name(DictFile *file, const Change *change, bool *differs)
{
    i32 holder;
    if (type_is_module(change->type)) {
        holder = module_find_by_name(file, change->kind, change->name);
        // KEPT: one would expect a failed renaming to be told. Its result is not looked at.
        // Test: dd_change_resource.ignores_a_failed_renaming_of_the_module
        if (!holder) (void)module_rename(file, change->kind, change->real, change->name);
    } else {
        // KEPT: one would expect kind 1 to be searched from series 0. The search starts at the resource's own series,
        // so an equal name in a lower one is not seen. Test: dd_change_resource.does_not_see_names_in_lower_series
        holder = resource_id_by_name(file, change->kind, change->real, change->type, change->name);
    }
    *differs = holder == 0;
    return holder && holder != change->id ? DictStatus{ DICT_EXISTS } : DictStatus{ DICT_OK };
}

// KEPT: one would expect a change to refuse an empty name, as an add does, and the size to be cut to 8 bits. An empty
// name is taken, and of 255 characters all 256 bytes are written, though the entry keeps size 0.
// Test: dd_change_resource.takes_an_empty_name
static DictStatus change_name(DictFile *file, const Change *change)
{
    u32 name_block;
    const ResourceEntry *entry = changed_entry(file, change, &name_block, nullptr);
    if (!entry) return DICT_NOT_FOUND;
    i32 new_size = change->name[0] + 1;
    i32 old_size = entry->name_size;
    i16 type = (i16)change->type;
    DictStatus status = splice(file, name_block, BLOCK_NAMES, change->name, le_get(entry->name_offset), new_size,
                               old_size, block_unit(BLOCK_NAMES, type));
    if (status) return status;
    status = resource_shift_names(file, change->kind, change->real, type, change->id, new_size - old_size);
    if (status) return status;
    return resource_set_name_size(file, change->kind, change->real, type, change->id, (u8)new_size);
}

static DictStatus change_body(DictFile *file, const Change *change)
{
    // KEPT: one would expect an empty body to empty the resource. It leaves the old body, as no body does.
    // Test: dd_change_resource.cannot_empty_a_body
    i32 new_size = gsize(change->body);
    if (new_size == 0) return DICT_OK;

    u32 body_block;
    const ResourceEntry *entry = changed_entry(file, change, nullptr, &body_block);
    if (!entry) return DICT_NOT_FOUND;
    i32 old_size = le_get(entry->body_size);
    i16 type = (i16)change->type;
    DictStatus status = splice_body(file, body_block, le_get(entry->body_offset), type, change->body, old_size,
                                    block_unit(BLOCK_BODIES, type));
    if (status) return status;
    status = resource_shift_bodies(file, change->kind, change->real, type, change->id, new_size - old_size);
    if (status) return status;
    return resource_set_body_size(file, change->kind, change->real, type, change->id, new_size);
}

static DictStatus change_resource(DictFile *file, const Change *change)
{
    if (!changed_entry(file, change, nullptr, nullptr)) return DICT_NOT_FOUND;
    if (change->name) {
        bool differs;
        DictStatus status = test_new_name(file, change, &differs);
        if (status) return status;
        if (differs) status = change_name(file, change);
        if (status) return status;
    }
    DictStatus status = change_body(file, change);
    if (status) return status;

    // KEPT: one would expect a change of nothing to write nothing. The directory is written all the same.
    // Test: dd_change_resource.of_nothing_writes_the_directory
    status = directory_save(file, change->kind, change->real);
    if (status) return status;
    return flush_tables(file);
}

// ---- Removing -------------------------------------------------------------------------------------------------------

static DictStatus remove_bytes(DictFile *file, i32 kind, i32 module, u16 type, i16 id)
{
    u32 name_block, body_block;
    const ResourceEntry *entry =
        resource_entry(file, module_find(file, kind, module), (i16)type, id, &name_block, &body_block);
    if (!entry) return DICT_NOT_FOUND;
    i32 name_size = entry->name_size;
    i32 body_size = le_get(entry->body_size);
    i32 body_offset = le_get(entry->body_offset);

    DictStatus status = splice(file, name_block, BLOCK_NAMES, nullptr, le_get(entry->name_offset), 0, name_size, 0);
    if (status) return status;
    status = resource_shift_names(file, kind, module, (i16)type, id, -name_size);
    if (status) return status;
    status = splice(file, body_block, BLOCK_BODIES, nullptr, body_offset, 0, body_size, 0);
    if (status) return status;
    return resource_shift_bodies(file, kind, module, (i16)type, id, -body_size);
}

static DictStatus remove_from_module(DictFile *file, i32 kind, i32 module, u16 type, i16 id)
{
    // KEPT: one would expect the type and its blocks to go with its last resource. They stay.
    // Test: dd_remove_resource.of_the_last_one_keeps_the_type
    DictStatus status = remove_bytes(file, kind, module, type, id);
    if (status) return status;
    status = resource_remove_entry(file, kind, module, (i16)type, id);
    if (status) return status;
    status = directory_save(file, kind, module);
    if (status || kind != 1) return status;

    (void)core_owner_set(file, type, id, CORE_FREE);  // the writing of the table has the status that counts
    return core_table_write(file, (i16)type, core_id_range(id, nullptr));
}

static DictStatus remove_resource(DictFile *file, i32 kind, i32 module, u16 type, i16 id, DictStatus locked_out)
{
    if (!locked_out && type_is_module(type)) {
        // KEPT: one would expect the module argument to play a part. The module removed is `id`.
        // Test: dd_remove_resource.of_a_module_ignores_the_module_argument
        DictStatus status = module_delete(file, kind, id);
        return status ? status : flush_tables(file);
    }

    DictStatus status = locked_out;
    i32 real = resource_module(file, kind, module, type, id, &status);
    // KEPT: one would expect an unknown owner, or a lock that is refused, to end the operation. It does for a resource
    // that is there; for one that is not, the answer is 3. Test: dd_remove_resource.gives_3_when_locked_out_and_missing
    // Test: dd_remove_resource.without_an_owner_gives_3_and_removes_nothing
    // Test: dd_remove_resource.of_kind_1_when_locked_out_tells_the_missing_owner
    if (!entry_exists(file, kind, real, type, id)) return DICT_NOT_FOUND;
    if (status) return status;

    status = remove_from_module(file, kind, real, type, id);
    return status ? status : flush_tables(file);
}

// ---- What only the engine writes ------------------------------------------------------------------------------------

DictStatus dd_set_resource_flags(i32 kind, i32 module, u16 type, u32 id, u8 flags)
{
    WriteTurn turn;
    DictStatus status = write_find(&turn);
    if (status) return status;
    // KEPT: one would expect the lock and the flush of the other writes. The caller holds the lock, and only the
    // directory is written. Test: dd_set_resource_flags.takes_no_lock_and_flushes_nothing
    i32 real = resource_module(turn.file, kind, module, type, (i16)id, &status);
    if (status) return status;
    status = resource_set_flags(turn.file, kind, real, (i16)type, (i16)id, flags);
    if (status) return status;
    return directory_save(turn.file, kind, real);
}

DictStatus core_table_write(DictFile *file, i32 type, i32 range)
{
    GHandle handle = core_table_detach(file, type, range);
    if (!handle) return DICT_OK;  // the file that lends a table writes it
    // KEPT: one would expect the table to be written into `file`. It goes to the current dictionary.
    // Test: core_table_write.writes_to_the_current_dictionary
    u16 table_type = (u16)(CORE_TABLES_TYPE + range);
    DictStatus status = dd_change_resource(1, CORE_TABLES_MODULE, table_type, type, nullptr, handle);
    core_table_attach(file, type, range, handle);
    return status;
}

} // namespace zuk

using namespace zuk;

extern "C" {

// The file is written in this order: name bytes, body bytes, directory, block table, owners; a new module's directory,
// name and table entry come before all of it. A stop between two of them leaves what the earlier ones wrote.
DictStatus dd_add_resource(int32_t kind, int32_t module, uint16_t type, int16_t id, ConstPString name, GHandle body)
{
    bool in_series = kind == 1 && module != CORE_TABLES_MODULE;
    NewResource add = { .kind = kind, .module = module,
                        .real = in_series ? module_in_series(module, current_owner_get()) : module,
                        .type = type, .id = id, .name = name, .name_size = name ? (u8)(name[0] + 1) : (u8)0,
                        .body = body, .body_size = gsize(body) };
    WriteTurn turn;
    DictStatus status = write_find(&turn);
    if (status) return status;
    status = write_begin(&turn);
    if (status) return status;
    status = add_resource(turn.file, &add);
    write_end(&turn);
    return status;
}

// The file is written in this order: name bytes, body bytes, directory, block table. Nothing is taken back.
DictStatus dd_change_resource(int32_t kind, int32_t module, uint16_t type, int32_t id, ConstPString name, GHandle body)
{
    WriteTurn turn;
    DictStatus status = write_find(&turn);
    if (status) return status;
    status = write_begin(&turn);
    if (status) return status;

    // KEPT: one would expect types 2 and 23 of kind 1 to change like others. They have no owners, so the answer is 3.
    // Test: dd_change_resource.of_a_module_in_kind_1_gives_3
    Change change = { .kind = kind, .real = 0, .type = type, .id = (i16)id, .name = name, .body = body };
    change.real = resource_module(turn.file, kind, module, type, (i16)id, &status);
    if (!status) status = change_resource(turn.file, &change);
    write_end(&turn);
    return status;
}

// The file is written in this order: name block, body block, directory, for kind 1 the owners, block table. Nothing is
// taken back.
DictStatus dd_remove_resource(int32_t kind, int32_t module, uint16_t type, int32_t id)
{
    WriteTurn turn;
    DictStatus status = write_find(&turn);
    if (status) return status;
    status = write_begin(&turn);
    status = remove_resource(turn.file, kind, module, type, (i16)id, status);
    write_end(&turn);
    return status;
}

} // extern "C"
