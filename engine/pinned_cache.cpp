#include "engine/pinned_cache.h"

#include "engine/dict_set.h"

#include <string.h>

namespace zuk {

constexpr u32 PINNED_MAX = 65500;        // as many used bytes are not held any more

static constinit GHandle cache_handle = 0;

static PinnedBlock *records() { return (PinnedBlock *)glock(cache_handle); }
static i32 bytes_of(i32 count) { return count * (i32)sizeof(PinnedBlock); }

bool cache_init()
{
    cache_handle = galloc(0, nullptr, 0);
    return cache_handle != 0;
}

// KEPT: one would expect the pinned bytes to go with the array. Their handles stay alive, and nothing refers to them.
// Test: cache_free.leaves_the_handles_in_the_array
void cache_free()
{
    gfree(cache_handle);
    cache_handle = 0;
}

i32 cache_count() { return gsize(cache_handle) / (i32)sizeof(PinnedBlock); }

const PinnedBlock *cache_at(i32 index) { return index < 0 || index >= cache_count() ? nullptr : &records()[index]; }

i32 cache_find(const DictFile *file, i32 kind, i32 module, u16 type, u32 is_name)
{
    const PinnedBlock *at = records();
    for (i32 i = 0; i < cache_count(); i++, at++) {
        bool same = at->kind == (u32)kind && at->module == (u32)module && at->type == type &&
                    (at->is_name != 0) == (is_name != 0) && at->file == file->file;
        if (same) return i;
    }
    return -1;
}

DictStatus cache_add(DictFile *file, i32 kind, i32 module, u16 type, u32 base, u32 length, u32 is_name)
{
    i32 index = cache_find(file, kind, module, type, is_name);
    if (index >= 0) {
        records()[index].ref_count++;
        return DICT_OK;
    }

    index = cache_count();
    if (!grealloc(&cache_handle, bytes_of(index + 1))) return DICT_NO_MEMORY;
    // KEPT: one would expect a failure to leave no record. Without memory for the bytes a blank one stays in the array,
    // and a failed read leaves the filled one. Test: cache_add.leaves_a_blank_record_without_memory,
    // Test: cache_add.keeps_the_record_after_a_failed_read
    GHandle bytes = galloc((i32)length, nullptr, 1);
    if (!bytes) return DICT_NO_MEMORY;
    records()[index] = { .kind = (u32)kind, .module = (u32)module, .type = type, .is_name = is_name != 0,
                         .file = file->file, .ref_count = 1, .base = base, .length = length, .handle = bytes };
    DictStatus status = dict_read_at(file, base, glock(bytes), (i32)length);
    gunlock(bytes);
    return status;
}

DictStatus cache_pin(i16 series, i32 kind, u32 module, u16 type, u32 is_name)
{
    // KEPT: one would expect a lock around the look into the directory. None is taken.
    // Test: cache_pin.takes_no_lock
    DictFile *file = dict_select_file(kind, type, SELECT_NO_REDIRECT);
    DictStatus status = dict_file_usable(file);
    if (status) return status;

    i32 number = (i32)(module + (u32)series * 16);
    u32 block = (is_name ? type_name_block : type_body_block)(file, kind, number, (i16)type);
    if (!block) return DICT_NOT_FOUND;
    BlockEntry entry;
    status = block_read_typed(file, block, is_name ? BLOCK_NAMES : BLOCK_BODIES, &entry);
    if (status) return status;
    if (le_get(entry.free) > le_get(entry.size)) return DICT_FAILED;

    // KEPT: one would expect a block that is too long to be refused. The answer is 0 as for a success, and reads keep
    // going to the file. Test: cache_pin.gives_0_and_no_record_for_65500_bytes
    u32 length = le_get(entry.size) - le_get(entry.free);
    if (length >= PINNED_MAX) return DICT_OK;
    return cache_add(file, kind, number, type, le_get(entry.offset), length, is_name);
}

i16 cache_release(i16 series, i32 kind, u32 module, u16 type, u32 is_name)
{
    const DictFile *file = dict_select_file(kind, type, SELECT_NO_REDIRECT);
    if (dict_file_usable(file)) return 0;
    i32 index = cache_find(file, kind, (i32)(module + (u32)series * 16), type, is_name);
    if (index < 0) return 0;

    PinnedBlock *record = &records()[index];
    i32 count = cache_count();
    if (--record->ref_count == 0) {
        gfree(record->handle);
        memmove(record, record + 1, (size_t)bytes_of(count - index - 1));
    }
    // KEPT: one would expect the array to shrink only when a record goes. It loses its last record at every release, so
    // that a block pinned twice and released once costs another its place and its bytes.
    // Test: cache_release.cuts_one_record_in_every_case
    (void)grealloc(&cache_handle, bytes_of(count - 1));
    return 1;
}

DictStatus cache_read(DictFile *file, i32 kind, i32 module, u16 type, u32 is_name, u32 pos, i32 count, void *dest)
{
    i32 index = cache_find(file, kind, module, type, is_name);
    if (index < 0) return DICT_NOT_FOUND;

    // KEPT: one would expect a change of the block to be seen. Writes and closes leave the record alone, and it serves
    // the old bytes at the old offsets; outside of them the file is read. Test: cache_read.serves_stale_bytes
    // Test: cache_read.does_not_serve_a_file_that_was_closed_and_opened
    const PinnedBlock *record = &records()[index];
    if (count <= 0) return DICT_OK;
    if (pos < record->base || (u64)pos + (u32)count > (u64)record->base + record->length) return DICT_NOT_FOUND;
    const u8 *bytes = (const u8 *)glock(record->handle);
    if (!bytes) return DICT_NO_MEMORY;
    memcpy(dest, bytes + (pos - record->base), (size_t)count);
    gunlock(record->handle);
    return DICT_OK;
}

void cache_clear()
{
    for (i32 i = 0; i < cache_count(); i++) gfree(records()[i].handle);
    cache_free();
    (void)cache_init();  // without it, nothing can be pinned and all reads go to the file
}

} // namespace zuk
