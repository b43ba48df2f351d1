#include "engine/convert.h"
#include "engine/cookies.h"
#include "engine/locks.h"
#include "engine/pinned_cache.h"
#include "engine/resources.h"
#include "foundation/pstrings.h"

#include <string.h>

namespace zuk {

constexpr i32 SERIES_SEARCHED = 7;

// ---- The turn of a read ---------------------------------------------------------------------------------------------

// One operation on a file, with the read lock if the file is shared and no lock is held.
struct ReadTurn {
    DictFile *file;
    bool locked;
};

// Select a file and take its lock. A status means that there is no turn to end: 3, 7 or 15 without an open file, 21
// when the lock cannot be had.
static DictStatus read_begin(ReadTurn *turn, i32 kind, u16 type, i16 select_id)
{
    turn->file = dict_select_file(kind, type, select_id);
    DictStatus status = dict_file_usable(turn->file);
    if (status) return status;
    turn->locked = read_lock_needed(turn->file);
    if (turn->locked && !read_lock(turn->file)) return DICT_LOCKED_OUT;
    return DICT_OK;
}

static void read_end(const ReadTurn *turn)
{
    if (turn->locked) read_unlock(turn->file);
}

// ---- Finding --------------------------------------------------------------------------------------------------------

i32 resource_module(DictFile *file, i32 kind, i32 module, u16 type, i16 id, DictStatus *status)
{
    if (kind != 1) return module;
    i16 owner = dd_get_owner(file, type, (u16)id);
    if (owner != -1) return module_in_series(module, owner);
    *status = DICT_NOT_FOUND;
    return module;
}

DictStatus type_block_read(DictFile *file, u32 block, BlockType type, BlockEntry *out)
{
    if (block <= BLOCK_OF_BLOCK_TABLE) return DICT_NOT_FOUND;
    return block_read_typed(file, block, type, out);
}

// The bytes from `offset` on lie in a block. Its used part does not count: a stop between the writing of the directory
// and that of the block table leaves whole bodies behind it.
static bool lies_inside(const BlockEntry *block, i32 offset, i32 size)
{
    if (le_get(block->free) > le_get(block->size)) return false;
    return offset >= 0 && size >= 0 && (i64)offset + size <= (i64)le_get(block->size);
}

DictStatus resource_locate(DictFile *file, i32 kind, i32 module, u16 type, i16 id, u32 *pos, i32 *len)
{
    u32 body_block;
    const ResourceEntry *entry =
        resource_entry(file, module_find(file, kind, module), (i16)type, id, nullptr, &body_block);
    if (!entry) return DICT_NOT_FOUND;

    BlockEntry block;
    if (type_block_read(file, body_block, BLOCK_BODIES, &block)) return DICT_NOT_FOUND;
    i32 offset = le_get(entry->body_offset);
    *len = le_get(entry->body_size);
    if (!lies_inside(&block, offset, *len)) return DICT_NOT_FOUND;
    *pos = le_get(block.offset) + (u32)offset;
    return DICT_OK;
}

// Where the name of an entry stands.
static DictStatus entry_name_locate(DictFile *file, const ResourceEntry *entry, u32 name_block, u32 *pos, i32 *len)
{
    BlockEntry block;
    if (type_block_read(file, name_block, BLOCK_NAMES, &block)) return DICT_NOT_FOUND;
    i32 offset = le_get(entry->name_offset);
    *len = entry->name_size;
    if (!lies_inside(&block, offset, *len)) return DICT_NOT_FOUND;
    *pos = le_get(block.offset) + (u32)offset;
    return DICT_OK;
}

DictStatus name_locate(DictFile *file, i32 kind, i32 module, u16 type, i16 id, u32 *pos, i32 *len)
{
    i16 index = module_find(file, kind, module);
    if (index == MODULE_ABSENT) return DICT_NOT_FOUND;
    if (type_is_module(type)) return module_name_location(file, index, pos, len);

    u32 name_block;
    const ResourceEntry *entry = resource_entry(file, index, (i16)type, id, &name_block, nullptr);
    if (!entry) return DICT_NOT_FOUND;
    return entry_name_locate(file, entry, name_block, pos, len);
}

DictStatus resource_fetch(DictFile *file, i32 kind, i32 module, u16 type, u32 pos, i32 len, void *buffer)
{
    DictStatus status = cache_read(file, kind, module, type, 0, pos, len, buffer);
    if (status != DICT_NOT_FOUND) return status;
    return dict_read_at(file, pos, buffer, len);
}

// A name of `len` stored bytes in a type's name block, from the pinned cache or the file.
static DictStatus name_fetch(DictFile *file, i32 kind, i32 module, u16 type, u32 pos, i32 len, PString out)
{
    pstrnull(out);
    DictStatus status = cache_read(file, kind, module, type, 1, pos, len, out);
    if (status == DICT_NOT_FOUND) return dict_read_name_at(file, pos, out, (u32)len);
    if (len > 0 && out[0] >= len) out[0] = (u8)(len - 1);  // only damage makes a name longer than its place
    return status;
}

i32 resource_id_by_name(DictFile *file, i32 kind, i32 module, u16 type, ConstPString name)
{
    bool locked = read_lock_needed(file);
    if (locked && !read_lock(file)) return 0;

    i32 id = 0;
    if (type_is_module(type)) {
        id = module_find_by_name(file, kind, name);
    } else if (kind == 1) {
        // KEPT: one would expect a search in one module, or in all. The name of a kind 1 resource counts over seven
        // series from the module given, and the first hit is the answer.
        // Test: dd_get_resid.finds_the_lowest_series_of_a_name
        for (i32 series = 0; series < SERIES_SEARCHED && id == 0; series++) {
            i32 number = module_in_series(module, series);
            id = resource_find_by_name(file, kind, number, (i16)type, name, nullptr, nullptr);
        }
    } else {
        id = resource_find_by_name(file, kind, module, (i16)type, name, nullptr, nullptr);
    }
    if (locked) read_unlock(file);
    return id;
}

// ---- Bodies ---------------------------------------------------------------------------------------------------------

bool body_is_beyond_file(DictFile *file, u32 pos, i32 len)
{
    if (len <= CHUNK_MAX) return false;
    i32 length = dict_length(file);
    return length < 0 || (i64)pos + len > length;
}

// The body in a new handle, under the turn of `dd_getresourcehndl`.
static GHandle read_handle(DictFile *file, i32 kind, i32 module, u16 type, i16 id, i32 flags, DictStatus *status)
{
    // KEPT: one would expect an identifier without an owner not to be found. Its missing owner is not looked at, and
    // the search goes on in series 0; a search for its name is stricter.
    // Test: dd_getresourcehndl.finds_a_body_without_owner_in_series_0
    // Test: dd_getresname.without_an_owner_gives_3_where_the_body_is_found
    i32 real = resource_module(file, kind, module, type, id, status);
    u32 pos;
    i32 len;
    *status = resource_locate(file, kind, real, type, id, &pos, &len);
    if (*status) return 0;
    if (body_is_beyond_file(file, pos, len)) {
        *status = DICT_BAD_POSITION;
        return 0;
    }

    // KEPT: one would expect status 9. No memory for the body gives no handle with status 0; and a body of 0 bytes is a
    // handle of size 0. Test: dd_getresourcehndl.gives_0_with_status_0_without_memory
    // Test: dd_getresourcehndl.of_an_empty_body_gives_a_handle_of_size_0
    GHandle handle = galloc(len, nullptr, 1);  // zeros, should the file have been cut short
    if (!handle) return 0;
    void *data = glock(handle);
    *status = resource_fetch(file, kind, real, type, pos, len, data);
    if (*status) {
        gfree(handle);
        return 0;
    }
    // KEPT: one would expect more flags to count. Only these two do.
    // Test: dd_getresourcehndl.ignores_all_other_flags
    if (!(flags & READ_STORED_FORM)) resource_from_file(handle, (i16)type, data);
    gunlock(handle);
    return handle;
}

static i16 select_id_of(i32 flags, i16 id) { return flags & READ_NO_REDIRECT ? SELECT_NO_REDIRECT : id; }

static DictStatus read_buffer(DictFile *file, i32 kind, i32 module, u16 type, i16 id, void *buffer, i32 flags)
{
    DictStatus status;
    i32 real = resource_module(file, kind, module, type, id, &status);  // its status does not count, as above
    u32 pos;
    i32 len;
    status = resource_locate(file, kind, real, type, id, &pos, &len);
    if (status) return status;
    memset(buffer, 0, (size_t)len);  // as a new handle
    status = resource_fetch(file, kind, real, type, pos, len, buffer);
    if (status) return status;
    if (!(flags & READ_STORED_FORM)) resource_from_file(0, (i16)type, buffer);
    return DICT_OK;
}

static DictStatus read_into(i32 kind, i32 module, u16 type, i16 id, void *buffer, i32 flags, i16 select_id)
{
    if (id < 1) return DICT_NOT_FOUND;
    ReadTurn turn;
    DictStatus status = read_begin(&turn, kind, type, select_id);
    if (status) return status;
    status = read_buffer(turn.file, kind, module, type, id, buffer, flags);
    read_end(&turn);
    return status;
}

DictStatus dd_read_into(i32 kind, i32 module, u16 type, u16 id, void *buffer, i32 flags)
{
    return read_into(kind, module, type, (i16)id, buffer, flags, select_id_of(flags, (i16)id));
}

DictStatus dd_nread_into(i32 kind, i32 module, u16 type, i16 n, void *buffer, i32 flags)
{
    if (n <= 0) return DICT_NOT_FOUND;
    i32 id = dd_get_nresid(kind, module, type, n);
    if (id == 0) return DICT_NOT_FOUND;
    return dd_read_into(kind, type_is_module(type) ? id : module, type, (u16)id, buffer, flags);
}

DictStatus dd_read_named_into(i32 kind, i32 module, u16 type, ConstPString name, void *buffer, i32 flags)
{
    i32 id = dd_get_resid(kind, module, type, name);
    if (id == 0) return DICT_NOT_FOUND;
    return read_into(kind, module, type, (i16)id, buffer, flags, SELECT_NO_REDIRECT);
}

// ---- Names ----------------------------------------------------------------------------------------------------------

static DictStatus read_name(DictFile *file, i32 kind, i32 module, u16 type, i16 id, PString out)
{
    DictStatus status = DICT_OK;
    i32 real = resource_module(file, kind, module, type, id, &status);
    if (status) return status;
    u32 pos;
    i32 len;
    status = name_locate(file, kind, real, type, id, &pos, &len);
    if (status) return status;
    // The name of a module stands in the module name list, which is not what the key of a pinned block tells.
    if (type_is_module(type)) return dict_read_name_at(file, pos, out, (u32)len);
    return name_fetch(file, kind, real, type, pos, len, out);
}

// ---- Positions ------------------------------------------------------------------------------------------------------

// The index of an id within its type's run, plus 1; 0 if it is missing.
static i16 position_in_run(DictFile *file, i32 kind, i32 module, u16 type, i16 id)
{
    i16 index = module_find(file, kind, module);
    // KEPT: one would expect a position in every module. The one at table index 0 counts as absent.
    // Test: dd_get_resid_pos.is_0_in_the_module_at_table_index_0
    // Test: dd_local_get_nresid_pos.is_0_in_the_module_at_table_index_0
    if (index <= 0) return 0;
    u16 count;
    const ResourceEntry *run = resource_range(file, index, (i16)type, &count, nullptr, nullptr);
    return run ? (i16)(resource_find(run, count, id) + 1) : (i16)0;  // absent is 0xFFFF, so 0 in 16 bits
}

static i32 id_at_position(DictFile *file, i32 kind, i32 module, u16 type, i16 n)
{
    const ResourceEntry *entry =
        resource_entry_at(file, module_find(file, kind, module), (i16)type, n - 1, nullptr, nullptr);
    return entry ? le_get(entry->id) : 0;
}

} // namespace zuk

using namespace zuk;

static void put_status(uint32_t *out, DictStatus status)
{
    if (out) *out = status;
}

extern "C" {

// ---- Bodies ---------------------------------------------------------------------------------------------------------

GHandle dd_getresourcehndl(int32_t kind, int32_t module, uint16_t type, uint16_t id, int32_t flags, uint32_t *status)
{
    if ((i16)id < 1) {
        put_status(status, DICT_NOT_FOUND);
        return 0;
    }
    ReadTurn turn;
    DictStatus result = read_begin(&turn, kind, type, select_id_of(flags, (i16)id));
    GHandle handle = 0;
    if (!result) {
        handle = read_handle(turn.file, kind, module, type, (i16)id, flags, &result);
        read_end(&turn);
    }
    put_status(status, result);
    return handle;
}

GHandle dd_getnresourcehndl(int32_t kind, int32_t module, uint16_t type, int16_t n, int32_t flags, uint32_t *status)
{
    // KEPT: one would expect 21 when the lock cannot be had. The search for the identifier tells nothing, so its 0
    // reads as not found; only a second lock that is refused gives 21. So it is by name, and for a name by position.
    // Test: dd_getnresourcehndl.gives_3_when_the_first_lock_is_refused
    // Test: dd_getnamedreshndl.gives_3_when_locked_out, Test: dd_getnresname.gives_3_when_locked_out
    i32 id = n <= 0 ? 0 : dd_get_nresid(kind, module, type, n);
    if (id == 0) {
        put_status(status, DICT_NOT_FOUND);
        return 0;
    }
    return dd_getresourcehndl(kind, type_is_module(type) ? id : module, type, (u16)id, flags, status);
}

GHandle dd_getnamedreshndl(int32_t kind, int32_t module, uint16_t type, ConstPString name, int32_t flags,
                           uint32_t *status)
{
    i32 id = dd_get_resid(kind, module, type, name);
    if (id == 0) {
        put_status(status, DICT_NOT_FOUND);
        return 0;
    }
    // KEPT: one would expect types 2 and 23 to be read from the module that was found, as by position. The caller's
    // module stays. Test: dd_getnamedreshndl.keeps_the_module_for_types_2_and_23
    return dd_getresourcehndl(kind, module, type, (u16)id, flags, status);
}

// ---- Names ----------------------------------------------------------------------------------------------------------

DictStatus dd_getresname(int32_t kind, int32_t module, uint16_t type, uint16_t id, PString out)
{
    ReadTurn turn;
    DictStatus status = read_begin(&turn, kind, type, (i16)id);
    if (!status) {
        // KEPT: one would expect the module names of kind 1 to be readable by types 2 and 23. Those types have no
        // owners, so the answer is 3. Test: dd_getresname.finds_no_module_name_in_kind_1
        status = read_name(turn.file, kind, module, type, (i16)id, out);
        read_end(&turn);
    }
    if (status == DICT_NOT_FOUND) pstrconst(out, "[Not Found]");
    return status;
}

DictStatus dd_getnresname(int32_t kind, int32_t module, uint16_t type, int16_t n, PString out)
{
    // KEPT: one would expect "[Not Found]" as from dd_getresname. A bad position leaves `out` alone.
    // Test: dd_getnresname.leaves_out_alone_for_a_bad_position
    i32 id = dd_get_nresid(kind, module, type, n);
    if (id == 0) return DICT_NOT_FOUND;
    return dd_getresname(kind, type_is_module(type) ? id : module, type, (u16)id, out);
}

// ---- Counts, identifiers, positions ---------------------------------------------------------------------------------

int16_t dd_numresources(int32_t kind, int32_t module, uint16_t type)
{
    ReadTurn turn;
    if (read_begin(&turn, kind, type, SELECT_NO_REDIRECT)) return 0;
    i16 count;
    if (type_is_module(type)) count = module_count(turn.file, kind);
    else if (kind == 1) count = core_used_count(turn.file, type);
    else count = (i16)type_resource_count(turn.file, kind, module, (i16)type);
    read_end(&turn);
    return count;
}

int32_t dd_get_resid(int32_t kind, int32_t module, uint16_t type, ConstPString name)
{
    if (!dict_set || !name) return 0;
    DictCookie first;
    cookie_for_first_slot(&first);
    bool one_pass = cookie_same_slot(&first, &dict_set->current);

    // KEPT: one would expect one search where both passes reach the same file. Away from slot 1 it is searched twice,
    // and only with the redirect switched on does the second pass reach another.
    // Test: dd_get_resid.searches_the_same_file_twice_away_from_slot_1
    i32 id = 0;
    for (i32 pass = 1; pass <= (one_pass ? 1 : 2) && id == 0; pass++) {
        DictFile *file = dict_select_file(kind, type, pass == 1 ? SELECT_NO_REDIRECT : (i16)1);
        if (!dict_file_usable(file)) id = resource_id_by_name(file, kind, module, type, name);
    }
    return id;
}

int32_t dd_get_nresid(int32_t kind, int32_t module, uint16_t type, int16_t n)
{
    // KEPT: one would expect the file to be selected without regard to the module. In kinds 2 and 3 the module number
    // plays the identifier's part. Test: dd_get_nresid.selects_by_the_module_number
    bool by_module = (kind == 2 || kind == 3) && !type_is_module(type);
    ReadTurn turn;
    if (read_begin(&turn, kind, type, by_module ? (i16)module : SELECT_NO_REDIRECT)) return 0;
    i32 id;
    if (type_is_module(type)) id = module_at(turn.file, kind, n);
    else if (kind == 1) id = core_id_at(turn.file, type, n);
    else id = id_at_position(turn.file, kind, module, type, n);
    read_end(&turn);
    return id;
}

int16_t dd_get_resid_pos(int32_t kind, int32_t module, uint16_t type, int32_t id)
{
    ReadTurn turn;
    if (read_begin(&turn, kind, type, (i16)id)) return 0;
    i16 position;
    if (type_is_module(type)) position = module_position(turn.file, kind, id);
    else if (kind == 2 || kind == 3) position = position_in_run(turn.file, kind, module, type, (i16)id);
    else position = core_position_of(turn.file, type, (i16)id);
    read_end(&turn);
    return position;
}

// ---- One series -----------------------------------------------------------------------------------------------------

int16_t dd_local_numres(int16_t series, int32_t kind, int32_t core_type, uint16_t type)
{
    ReadTurn turn;
    if (read_begin(&turn, kind, type, SELECT_NO_REDIRECT)) return 0;
    // KEPT: one would expect kind 1, as in the rest of the family. The kind passed in counts.
    // Test: dd_local_numres.counts_in_the_kind_passed_in
    i16 count = (i16)type_resource_count(turn.file, kind, module_in_series(core_type, series), (i16)type);
    read_end(&turn);
    return count;
}

int16_t dd_local_get_nresid(int16_t series, int32_t core_type, uint16_t type, int16_t n)
{
    ReadTurn turn;
    if (read_begin(&turn, 1, type, SELECT_NO_REDIRECT)) return 0;
    i16 id = (i16)id_at_position(turn.file, 1, module_in_series(core_type, series), type, n);
    read_end(&turn);
    return id;
}

int16_t dd_local_get_nresid_pos(int16_t series, int32_t core_type, uint16_t type, int32_t id)
{
    ReadTurn turn;
    if (read_begin(&turn, 1, type, (i16)id)) return 0;
    i16 position = position_in_run(turn.file, 1, module_in_series(core_type, series), type, (i16)id);
    read_end(&turn);
    return position;
}

DictStatus dd_local_get_nresname(int16_t series, int32_t core_type, uint16_t type, int16_t n, PString out)
{
    ReadTurn turn;
    DictStatus status = read_begin(&turn, 1, type, SELECT_NO_REDIRECT);
    if (status) return status;

    // KEPT: one would expect "[Not Found]" as from dd_getresname. A missing name leaves `out` alone.
    // Test: dd_local_get_nresname.leaves_out_alone_for_a_bad_position
    i32 module = module_in_series(core_type, series);
    u32 name_block, pos;
    i32 len;
    const ResourceEntry *entry =
        resource_entry_at(turn.file, module_find(turn.file, 1, module), (i16)type, n - 1, &name_block, nullptr);
    status = entry ? entry_name_locate(turn.file, entry, name_block, &pos, &len) : DictStatus{ DICT_NOT_FOUND };
    if (!status) status = name_fetch(turn.file, 1, module, type, pos, len, out);
    read_end(&turn);
    return status;
}

} // extern "C"
