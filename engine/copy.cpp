#include "engine/copy.h"

#include "engine/resources.h"
#include "files/file.h"
#include "foundation/pstrings.h"

namespace zuk {

// ---- Bytes ----------------------------------------------------------------------------------------------------------

static bool range_is_valid(FileHandle source, FileHandle destination, i32 from, i32 to, i32 count)
{
    if (!source || !destination) return false;
    i32 source_size = file_size(source);
    i32 destination_size = file_size(destination);
    // KEPT: one would expect the range to lie in the source. A position of its size + `count` passes, and only a read
    // that comes up short fails. Test: file_copy_between.tests_the_source_position_loosely
    if (count < 0 || from < 0 || from > (i64)source_size + count) return false;
    return to >= 0 && (i64)to + count <= destination_size;
}

// A zero-filled buffer of `*chunk` bytes, or of the half of it, and so on; 0 when not even one byte can be had.
static GHandle buffer_of(i32 *chunk)
{
    for (;;) {
        GHandle handle = galloc(*chunk, nullptr, 1);
        if (handle || *chunk <= 1) return handle;
        *chunk = *chunk / 2 + *chunk % 2;
    }
}

static bool copy_chunk(FileHandle source, FileHandle destination, i32 from, i32 to, void *buffer, i32 count)
{
    return file_seek(source, from) && file_read(source, buffer, count) == count && file_seek(destination, to) &&
           file_write(destination, buffer, count) == count;
}

i16 file_copy_between(FileHandle source, FileHandle destination, i32 from, i32 to, i32 count)
{
    if (!range_is_valid(source, destination, from, to, count)) return 0;
    i32 chunk = count;
    GHandle handle = buffer_of(&chunk);
    void *buffer = glock(handle);
    if (!buffer) return 0;

    bool good = true;
    for (i32 done = 0, part; done < count && good; done += part) {
        part = count - done < chunk ? count - done : chunk;
        // A source position may pass 31 bits, which the seek refuses.
        good = copy_chunk(source, destination, (i32)((u32)from + (u32)done), to + done, buffer, part);
    }
    gunlock(handle);
    gfree(handle);
    return good;
}

// ---- Blocks ---------------------------------------------------------------------------------------------------------

DictStatus block_copy_to(DictFile *from, DictFile *to, u32 block, u32 *new_block)
{
    *new_block = 0;
    BlockEntry e;
    DictStatus status = block_read_entry(from, block - 1, &e);
    if (status) return status;
    if (le_get(e.type) == BLOCK_FREE) return DICT_NOT_FOUND;
    // What only damage tells is refused before the destination grows by it.
    i64 used = (i64)le_get(e.size) - le_get(e.free);
    if (used < 0 || le_get(e.offset) + used > dict_length(from)) return DICT_FAILED;

    *new_block = block_allocate(to, le_get(e.type), (i32)used);
    // KEPT: one would expect only the number 0 to tell that there is no block. Its low 16 bits are looked at, so that
    // the blocks 65536, 131072, ... count as missing. Test: block_copy_to.takes_block_65536_for_none
    if ((u16)*new_block == 0) return DICT_NO_ROOM;
    BlockEntry n;
    status = block_read_entry(to, *new_block - 1, &n);
    if (status) return status;
    bool copied = file_copy_between(from->file, to->file, (i32)le_get(e.offset), (i32)le_get(n.offset), (i32)used);
    if (!copied) return DICT_FAILED;
    n.free = le32(le_get(n.size) - (u32)used);
    status = block_write_entry(to, *new_block - 1, &n);
    return status ? status : block_table_flush(to);
}

// ---- One module -----------------------------------------------------------------------------------------------------

struct ModuleCopy {
    DictFile *source, *destination;
    i32 kind;
    i32 number;        // in the destination
    u16 keep;
    i64 bytes_left;    // what the blocks of the module can still hold, since all of them lie in the source
};

// KEPT: one would expect a number for one resource. All of the type get it, however many there are.
// Test: module_renumber_self.gives_all_resources_of_the_type_the_number
void module_renumber_self(i32 number, i16 type, ModuleDirectory *directory, u16 keep)
{
    if (keep || (type != 2 && type != 23)) return;
    const TypeEntry *entry = type_entry(directory, type);
    if (!entry) return;
    ResourceEntry *run = resource_run(directory, entry);
    for (i32 i = 0; i < le_get(entry->resource_count); i++) run[i].id = le_i16((i16)number);
}

// One block of the module. Damage may name one block for many types: all of them together hold no more than the file.
static DictStatus copy_block(ModuleCopy *copy, u32 block, BlockType type, u32 *new_block)
{
    *new_block = 0;
    BlockEntry entry;
    DictStatus status = type_block_read(copy->source, block, type, &entry);
    if (status) return status;
    copy->bytes_left -= (i64)le_get(entry.size) - le_get(entry.free);
    if (copy->bytes_left < 0) return DICT_FAILED;
    return block_copy_to(copy->source, copy->destination, block, new_block);
}

// The two blocks of a type, under their new numbers in the entry. After a failure the entry names no block of the
// source any more: the numbers of that file mean others here.
static DictStatus copy_type(ModuleCopy *copy, TypeEntry *entry)
{
    u32 source_names = le_get(entry->name_block);
    u32 source_bodies = le_get(entry->body_block);
    u32 names, bodies = 0;
    DictStatus status = copy_block(copy, source_names, BLOCK_NAMES, &names);
    if (!status) {
        status = copy_block(copy, source_bodies, BLOCK_BODIES, &bodies);
        if (status) (void)block_free(copy->destination, names);  // the status of the copy is the one to tell
    }
    entry->name_block = le32(names);
    entry->body_block = le32(bodies);
    return status;
}

// Take back what stands in the destination: the directory, the blocks of the first `types` types, the module.
static void take_back(ModuleCopy *copy, u32 block, ModuleDirectory *directory, i32 types)
{
    // A number of 0 and a block that is free already are refused, which is as good as freed.
    (void)block_free(copy->destination, block);
    for (i32 i = 0; i < types; i++) {
        const TypeEntry *entry = type_at(directory, i);
        (void)block_free(copy->destination, le_get(entry->name_block));
        (void)block_free(copy->destination, le_get(entry->body_block));
    }
    (void)module_unregister(copy->destination, copy->kind, copy->number);
}

// The blocks of all types, and what the directory tells of its own number.
static DictStatus copy_contents(ModuleCopy *copy, u32 block, ModuleDirectory *directory)
{
    if (!copy->keep) directory->module = le_i32(copy->number);
    for (i32 i = 0; i < le_get(directory->type_count); i++) {
        DictStatus status = copy_type(copy, type_at(directory, i));
        if (status) {
            take_back(copy, block, directory, i + 1);
            return status;
        }
    }
    // KEPT: one would expect type 2 and type 23 to be numbered anew in every kind. A copy in kind 3 has its new number
    // in type 23 alone; its resource of type 2 keeps the old one. Test: module_copy.leaves_type_2_of_kind_3_alone
    if (copy->kind != 1) module_renumber_self(copy->number, 23, directory, copy->keep);
    module_renumber_self(copy->number, copy->kind == 2 ? 2 : 23, directory, copy->keep);

    // KEPT: one would expect a copy whose directory cannot be written to go again. It stays in the table, and its
    // directory in the file names the blocks of the source.
    // Test: module_copy.stays_when_its_directory_cannot_be_written
    return directory_write(copy->destination, directory, block);
}

static DictStatus copy_into_destination(ModuleCopy *copy, u32 source_block, ConstPString name)
{
    copy->bytes_left = dict_length(copy->source);
    u32 block;
    DictStatus status = copy_block(copy, source_block, BLOCK_DIRECTORY, &block);
    // KEPT: one would expect the new block to be given back when its bytes cannot be copied. Of a directory it stays
    // taken. Test: module_copy.leaves_the_directory_block_taken_when_its_bytes_cannot_be_copied
    if (status) return status;

    status = module_register(copy->destination, copy->kind, copy->number, block, name);
    if (status) {
        // KEPT: one would expect a module that came into the table before the failure to go with its block. It stays
        // there, without a directory. Test: module_copy.leaves_a_module_whose_directory_cannot_be_loaded
        (void)block_free(copy->destination, block);  // the status of the registering is the one to tell
        return status;
    }
    ModuleDirectory *directory =
        directory_get(copy->destination, module_find(copy->destination, copy->kind, copy->number));
    if (!directory) return DICT_FAILED;
    return copy_contents(copy, block, directory);
}

// The name of the copy in `out`; the status is `earlier` unless the name has to be read.
static DictStatus name_of_copy(DictFile *source, i16 index, i32 kind, i32 module, ConstPString name, PString out,
                               DictStatus earlier)
{
    // KEPT: one would expect a module of kind 1 to keep its name, or to get the one that is given. It is called "Core
    // Module " and its number. Test: module_copy.names_kind_1_by_its_number
    if (kind == 1) {
        module_core_name(out, module);
        return earlier;
    }
    if (name) {
        pstricpy(out, name, 1, 255);
        return earlier;
    }
    // KEPT: one would expect a failed removal of the old module to end the copy, and a long name to come whole. The
    // status of the reading takes the place of the earlier one; and what is read is cut to 79 characters.
    // Test: module_copy.goes_on_after_a_lost_removal
    // Test: module_copy.cuts_a_name_that_it_reads_to_79_characters
    return module_read_name(source, index, out);
}

// KEPT: one would expect a lock on both files, and the owners of what is copied to be recorded. Neither happens: the
// files are written as they stand, and the owners in memory are those of the last open.
// Test: module_copy.takes_no_lock
// Test: dict_copy_module.leaves_the_owners_in_memory_alone
i16 module_copy(DictFile *source, DictFile *destination, i32 kind, u32 module, u16 keep, ConstPString name, u32,
                DictStatus *status_out)
{
    i16 index = module_find(source, kind, (i32)module);
    DictStatus status = index == MODULE_ABSENT ? DictStatus{ DICT_NOT_FOUND } : DictStatus{ DICT_OK };
    // KEPT: one would expect a number that is to be kept to be kept for a missing module, too. It is the next free one,
    // with or without `keep`, but for kind 1. Test: module_copy.gives_the_number_whatever_the_status
    bool keeps_number = (keep && !status) || kind == 1;
    i32 number = keeps_number ? (i32)module : module_next_id(destination, kind);
    // KEPT: one would expect the old module to survive a copy that fails. It is deleted before anything is copied, and
    // lost for good; a module that is copied over itself, too. Test: module_copy.loses_the_old_module_when_it_fails
    // Test: module_copy.over_itself_loses_the_module
    if (!status && keeps_number && module_find(destination, kind, number) != MODULE_ABSENT) {
        status = module_delete(destination, kind, number);
        index = module_find(source, kind, (i32)module);
    }

    u8 name_of_it[PSTRING_SIZE];
    status = name_of_copy(source, index, kind, (i32)module, name, name_of_it, status);
    ModuleCopy copy = { .source = source, .destination = destination, .kind = kind, .number = number, .keep = keep,
                        .bytes_left = 0 };
    if (!status) status = copy_into_destination(&copy, module_directory_block(source, index), name_of_it);
    if (status_out) *status_out = status;

    directory_drop(destination, kind, number);
    directory_drop(source, kind, (i32)module);
    // KEPT: one would expect 0 after a failure. The number is the result whatever the status.
    // Test: module_copy.gives_the_number_whatever_the_status
    return (i16)number;
}

i16 dict_copy_module(const DictCookie *source, const DictCookie *destination, i32 kind, u32 module, u16 keep,
                     ConstPString name, u32 reserved, DictStatus *status)
{
    // KEPT: one would expect a status here too. A cookie without a slot leaves it as it was.
    // Test: dict_copy_module.of_a_cookie_without_a_slot_leaves_the_status_alone
    if (source->slot == 0 || destination->slot == 0) return 0;
    DictFile *from = dict_file_of_cookie(source);
    DictFile *to = dict_file_of_cookie(destination);
    DictStatus unusable = first_failure(dict_file_usable(from), dict_file_usable(to));
    if (unusable) {
        if (status) *status = unusable;
        return 0;
    }
    return module_copy(from, to, kind, module, keep, name, reserved, status);
}

DictStatus dict_copy_base_modules(const DictCookie *source, const DictCookie *destination)
{
    static const i32 core_types[] = { 1, 2, 5, 6, 10 };
    DictStatus status = DICT_OK;
    for (i32 core_type : core_types) {
        if (status && status != DICT_NOT_FOUND) break;
        // KEPT: one would expect any failure to be told, and 0 when all went well. Each copy overwrites the status of
        // the one before, and the series are never cut short: the last one, core type 10 of series 6, is missing as a
        // rule and leaves 3. Test: dict_copy_base_modules.ends_with_3
        // Test: dict_copy_base_modules.forgets_a_failure_that_is_not_the_last_of_its_series
        for (i32 series = 0; series < 7; series++) {
            u32 module = (u32)module_in_series(core_type, series);
            (void)dict_copy_module(source, destination, 1, module, 1, nullptr, 0, &status);  // the number is known
        }
    }
    return status;
}

} // namespace zuk
