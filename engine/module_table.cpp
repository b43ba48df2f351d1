#include "engine/module_table.h"

#include "engine/convert.h"
#include "engine/directory.h"
#include "foundation/format.h"
#include "foundation/handles.h"
#include "foundation/pstrings.h"

#include <string.h>

namespace zuk {

constexpr i32 NAME_SHOWN_MAX = 79;       // characters that a new name of a module keeps
constexpr i32 RENAME_GROWTH = 256;       // what the name list gains when a longer name does not fit
constexpr i32 COUNT_MAX = 32767;         // the counters of the table are signed 16-bit

// ---- Finding --------------------------------------------------------------------------------------------------------

static i32 used_entries(const DictFile *file)
{
    return file->module_table ? le_get(file->module_table->module_count) : 0;
}

static i32 spare_entries(const DictFile *file)
{
    return file->module_table ? le_get(file->module_table->spare_entries) : 0;
}

i32 module_compare(i32 key_kind, i32 key_module, i32 entry_kind, i32 entry_module)
{
    if (key_kind != entry_kind) return key_kind < entry_kind ? -1 : 1;
    if (key_module != entry_module) return key_module < entry_module ? -1 : 1;
    return 0;
}

// Index of the key, or where it would go; `found` tells which.
static i32 search(const DictFile *file, i32 kind, i32 module, bool *found)
{
    *found = false;
    i32 low = 0;
    i32 high = used_entries(file) - 1;
    while (low <= high) {
        i32 middle = (low + high) / 2;
        const ModuleEntry *entry = &file->module_entries[middle];
        i32 order = module_compare(kind, module, le_get(entry->kind), le_get(entry->module));
        if (order == 0) {
            *found = true;
            return middle;
        }
        if (order < 0) high = middle - 1;
        else low = middle + 1;
    }
    return low;
}

i16 module_find(const DictFile *file, i32 kind, i32 module)
{
    bool found;
    i32 index = search(file, kind, module, &found);
    return found ? (i16)index : MODULE_ABSENT;
}

i16 module_insert_pos(const DictFile *file, i32 kind, i32 module)
{
    bool found;
    i32 index = search(file, kind, module, &found);
    return found ? (i16)-1 : (i16)index;
}

ModuleEntry *module_entry(const DictFile *file, i16 index)
{
    return index < 0 || index >= used_entries(file) ? nullptr : &file->module_entries[index];
}

static i32 kind_at(const DictFile *file, i32 index) { return le_get(file->module_entries[index].kind); }
static i32 number_at(const DictFile *file, i32 index) { return le_get(file->module_entries[index].module); }

// Index of the first entry of the kind; the number of entries when there is none.
static i32 first_of_kind(const DictFile *file, i32 kind)
{
    i32 used = used_entries(file);
    i32 index = 0;
    while (index < used && kind_at(file, index) != kind) index++;
    return index;
}

i16 module_count(const DictFile *file, i32 kind)
{
    i32 used = used_entries(file);
    i32 first = first_of_kind(file, kind);
    i32 index = first;
    while (index < used && kind_at(file, index) == kind) index++;
    return (i16)(index - first);
}

i32 module_at(const DictFile *file, i32 kind, i32 position)
{
    if (position < 1) return 0;
    i64 index = (i64)first_of_kind(file, kind) + position - 1;
    if (index >= used_entries(file) || kind_at(file, (i32)index) != kind) return 0;
    // KEPT: one would expect every module to be found by its position. The number 0 reads as none, here and from a
    // search by name. Test: module_at.does_not_tell_module_0_from_none
    return number_at(file, (i32)index);
}

i16 module_position(const DictFile *file, i32 kind, i32 module)
{
    if (module == 0 || module_count(file, kind) == 0) return 0;  // the number 0 reads as none, as from `module_at`

    // KEPT: one would expect positions in every kind. An index of 0 is taken for not found, so each module of the kind
    // that begins the table has position 0. Test: module_position.is_0_for_the_kind_that_begins_the_table
    i16 first = module_find(file, kind, module_at(file, kind, 1));
    i16 index = module_find(file, kind, module);
    if (first == 0 || index == 0) return 0;

    // KEPT: one would expect 0 for a module that is absent. Its index 0xFFFF enters the subtraction, so the result is
    // minus the index of the kind's first module. Test: module_position.is_minus_the_first_index_when_absent
    return (i16)(index - first + 1);
}

// The first gap in the run of numbers from `base` upward.
static i32 next_id_from(const DictFile *file, i32 kind, i32 base)
{
    i32 used = used_entries(file);
    i32 index = 0;
    while (index < used && kind_at(file, index) < kind) index++;

    // KEPT: one would expect the only module of a file to count. With exactly one entry, whatever it is, the base is
    // given even if it is taken. Test: module_next_id.gives_the_base_in_a_file_with_one_module
    if (used == 1) return base;

    i32 last = base - 1;
    for (; index < used && kind_at(file, index) == kind; index++) {
        i32 number = number_at(file, index);
        if (number < base) continue;
        if (number != last + 1) break;
        last++;
    }
    return last + 1;
}

i32 module_next_id(const DictFile *file, i32 kind) { return next_id_from(file, kind, lowest_id); }
i32 module_next_local_id(const DictFile *file, i32 kind) { return next_id_from(file, kind, 20000); }

u32 module_directory_block(const DictFile *file, i16 index)
{
    const ModuleEntry *entry = module_entry(file, index);
    return entry ? le_get(entry->directory_block) : 0;
}

// ---- Names ----------------------------------------------------------------------------------------------------------

static bool name_is_readable(const ModuleEntry *entry)
{
    i32 size = le_get(entry->name_size);
    return size >= 0 && size <= PSTRING_SIZE && le_get(entry->name_offset) >= 0;
}

DictStatus module_name_location(DictFile *file, i16 index, u32 *offset, i32 *size)
{
    const ModuleEntry *entry = module_entry(file, index);
    if (!entry || !name_is_readable(entry)) return DICT_NOT_FOUND;
    i32 name_offset = le_get(entry->name_offset);
    *size = le_get(entry->name_size);

    BlockEntry block;
    if (block_read_typed(file, le_get(file->module_table->name_block), BLOCK_NAMES, &block)) return DICT_NOT_FOUND;
    if ((i64)name_offset + *size > (i64)le_get(block.size) - le_get(block.free)) return DICT_NOT_FOUND;
    *offset = le_get(block.offset) + (u32)name_offset;
    return DICT_OK;
}

DictStatus module_read_name(DictFile *file, i16 index, PString buffer)
{
    u32 offset;
    i32 size;
    DictStatus status = module_name_location(file, index, &offset, &size);
    if (status) return status;
    return dict_read_name_at(file, offset, buffer, (u32)size);
}

static bool same_name(ConstPString candidate, ConstPString name)
{
    return pstricompare(candidate, name, 1, 255, 0) == 0;
}

// Whether the module's name in the list equals `name`. The list is in memory, or 0: then the name is read by itself. An
// offset outside the block is no name.
static bool module_has_name(DictFile *file, const ModuleEntry *entry, ConstPString name, GHandle list,
                            const BlockEntry *block)
{
    i32 offset = le_get(entry->name_offset);
    if (offset < 0 || (u32)offset >= le_get(block->size)) return false;
    if (list) {
        ConstPString bytes = (ConstPString)glock(list);
        return offset + 1 + bytes[offset] <= gsize(list) && same_name(bytes + offset, name);
    }
    u8 buffer[PSTRING_SIZE] = {};
    i32 size = le_get(entry->name_size) < PSTRING_SIZE ? le_get(entry->name_size) : PSTRING_SIZE;
    DictStatus status = dict_read_at(file, le_get(block->offset) + (u32)offset, buffer, size);
    return !status && same_name(buffer, name);
}

i32 module_find_by_name(DictFile *file, i32 kind, ConstPString name)
{
    // KEPT: one would expect the block that `name_block` tells. Searching by name and renaming go to block 2 whatever
    // it says, all else goes by `name_block`. Test: module_find_by_name.reads_block_2_whatever_name_block_says
    BlockEntry block;
    // KEPT: one would expect a failed read to be told. It reads as not found, here and for each name, so that a name
    // can come to stand twice. Test: module_find_by_name.takes_a_failed_read_for_not_found
    if (block_read_entry(file, BLOCK_OF_MODULE_NAMES - 1, &block)) return 0;

    GHandle list = 0;
    if (le_get(block.size) <= (u32)CHUNK_MAX) {
        u8 label[PSTRING_SIZE];
        DictStatus status;
        list = block_read(file, BLOCK_OF_MODULE_NAMES, pstrconst(label, "DD: mod name list"), &status);
    }

    i32 found = 0;
    for (i32 i = 0; i < used_entries(file); i++) {
        const ModuleEntry *entry = &file->module_entries[i];
        if (le_get(entry->kind) != kind || !module_has_name(file, entry, name, list, &block)) continue;
        found = le_get(entry->module);
        break;
    }
    gfree(list);
    return found;
}

PString text_with_number(PString dest, const char *text, i32 number)
{
    u8 digits[16];
    pstrconst(dest, text);
    return pstricat(dest, long_to_pstr(digits, number), 1, 255);
}

PString module_default_name(i32 module, PString buffer)
{
    static const char *const series_words[] = { "System ", "Financial ", "Sales ", "Purchasing ", "Inventory ",
                                                "Payroll ", "Project " };
    static const char *const core_words[] = { "Core", "Strings", "QScript Code/Data", "Install", "Messages",
                                              "Data Types", "Fields", "Short Names", "QScript Source/Debug",
                                              "Core Tables" };
    i32 series = module >> 4 & 15;
    i32 core_type = module & 15;

    // KEPT: one would expect each number to have words of its own. Core types 0 and 11 to 15 of a series share one
    // name, as do the series from 7 on, so that only the first of them can be made under it.
    // Test: module_default_name.gives_several_numbers_of_a_series_one_name
    u8 core[PSTRING_SIZE];
    pstrconst(buffer, series < 7 ? series_words[series] : "Unknown Series ");
    pstrconst(core, core_type >= 1 && core_type <= 10 ? core_words[core_type - 1] : "Unknown core type");
    return pstricat(buffer, core, 1, 255);
}

PString module_core_name(PString buffer, i32 module) { return text_with_number(buffer, "Core Module ", module); }

// ---- The table in memory and in the file ----------------------------------------------------------------------------

// The counts of the table fit the block that it came in.
static bool table_is_sound(const ModuleTable *table, i32 block_size)
{
    if (block_size < (i32)sizeof(ModuleTable)) return false;
    i32 used = le_get(table->module_count);
    i32 spare = le_get(table->spare_entries);
    if (used < 0 || spare < 0) return false;
    return (i64)sizeof(ModuleTable) + ((i64)used + spare) * (i64)sizeof(ModuleEntry) <= block_size;
}

static void point_at_table(DictFile *file)
{
    file->module_table = (ModuleTable *)glock(file->module_table_handle);
    file->module_entries = file->module_table ? (ModuleEntry *)(file->module_table + 1) : nullptr;
}

static void free_table(DictFile *file)
{
    gunlock(file->module_table_handle);
    gfree(file->module_table_handle);
    file->module_table_handle = 0;
    point_at_table(file);
}

DictStatus module_table_load(DictFile *file)
{
    u8 label[PSTRING_SIZE];
    DictStatus status;
    file->module_table_handle = block_read(file, BLOCK_OF_MODULE_TABLE,
                                           text_with_number(label, "DD: mod table dict ", (i32)file->file), &status);
    point_at_table(file);
    // A block 1 that cannot be where its entry says makes this no dictionary.
    if (status == DICT_BAD_POSITION) return DICT_NOT_A_DICTIONARY;
    if (status) return status;
    if (!table_is_sound(file->module_table, gsize(file->module_table_handle))) {
        free_table(file);
        return DICT_NOT_A_DICTIONARY;
    }
    (void)module_table_from_file(file->module_table);

    i32 pairs = used_entries(file) + spare_entries(file);
    file->directories_handle = galloc(pairs * (i32)sizeof(DirectoryPair), nullptr, 1);
    file->directories = (DirectoryPair *)glock(file->directories_handle);
    if (file->directories_handle) return DICT_OK;
    free_table(file);
    return DICT_NO_MEMORY;
}

void module_table_release(DictFile *file)
{
    i32 pairs = file->directories ? gsize(file->directories_handle) / (i32)sizeof(DirectoryPair) : 0;
    for (i32 i = 0; i < pairs; i++) gfree(file->directories[i].handle);
    gunlock(file->directories_handle);
    gfree(file->directories_handle);
    file->directories_handle = 0;
    file->directories = nullptr;
    free_table(file);
}

DictStatus module_table_write(DictFile *file)
{
    if (!file->module_table) return DICT_NOT_FOUND;

    BlockEntry entry;
    DictStatus status = block_read_entry(file, BLOCK_OF_MODULE_TABLE - 1, &entry);
    if (status) return status;
    i32 size = gsize(file->module_table_handle);
    if (size > (i32)le_get(entry.size)) {
        status = block_grow(file, BLOCK_OF_MODULE_TABLE, &entry, (u32)size);
        if (status) return status;
        status = block_write_entry(file, BLOCK_OF_MODULE_TABLE - 1, &entry);
        if (status) return status;
    }

    if (size > (i32)le_get(entry.size)) size = (i32)le_get(entry.size);  // a block may be larger, never the write
    status = dict_write_at(file->file, le_get(entry.offset), module_table_to_file(file->module_table), size);
    (void)module_table_from_file(file->module_table);
    return status;
}

// ---- Registering and removing ---------------------------------------------------------------------------------------

DictStatus module_create(DictFile *file, i32 kind, i32 module, ConstPString name)
{
    if (!file->module_table) return DICT_NOT_FOUND;
    DictStatus status;
    u32 directory = directory_new(file, kind, module, &status);
    if (!directory) return status;
    // KEPT: one would expect the directory's block to be given back when the number or the name is taken. It stays
    // allocated, and nothing reaches it. Test: module_create.loses_the_directory_block_of_a_duplicate
    return module_register(file, kind, module, directory, name);
}

// 50 more spare entries, and as many pairs. What cannot grow is lost, and reads as empty until the next load.
static DictStatus grow_table(DictFile *file)
{
    i32 table_size = gsize(file->module_table_handle) + MODULE_TABLE_STEP * (i32)sizeof(ModuleEntry);
    i32 pairs_size = gsize(file->directories_handle) + MODULE_TABLE_STEP * (i32)sizeof(DirectoryPair);
    gunlock(file->module_table_handle);
    gunlock(file->directories_handle);
    bool grown = grealloc(&file->module_table_handle, table_size) != 0;
    grown = grealloc(&file->directories_handle, pairs_size) != 0 && grown;
    point_at_table(file);
    file->directories = (DirectoryPair *)glock(file->directories_handle);
    if (!grown) return DICT_NO_MEMORY;
    file->module_table->spare_entries = le_i16((i16)(spare_entries(file) + MODULE_TABLE_STEP));
    return DICT_OK;
}

// 12 for a list that does not lie in the file: writing into it would make the file as long as the damage tells.
static DictStatus list_lies_in_file(DictFile *file, const BlockEntry *list)
{
    i64 end = (i64)le_get(list->offset) + le_get(list->size);
    return end <= dict_length(file) ? DictStatus{ DICT_OK } : DictStatus{ DICT_BAD_POSITION };
}

// The list that `name_block` tells.
static DictStatus read_list(DictFile *file, BlockEntry *list)
{
    DictStatus status = block_read_typed(file, le_get(file->module_table->name_block), BLOCK_NAMES, list);
    return status ? status : list_lies_in_file(file, list);
}

// Add the name behind the others; `offset` gets its place in the list.
static DictStatus append_name(DictFile *file, ConstPString name, i32 *offset)
{
    BlockEntry list;
    DictStatus status = read_list(file, &list);
    if (status) return status;
    *offset = (i32)(le_get(list.size) - le_get(list.free));
    return block_splice(file, le_get(file->module_table->name_block), name, *offset, name[0] + 1, 0,
                        (i16)MODULE_NAMES_UNIT);
}

DictStatus module_register(DictFile *file, i32 kind, i32 module, u32 directory_block, ConstPString name)
{
    if (!file->module_table || !file->directories) return DICT_NOT_FOUND;
    i16 index = module_insert_pos(file, kind, module);
    if (index < 0 || module_find_by_name(file, kind, name)) return DICT_EXISTS;
    i32 spare = spare_entries(file) ? spare_entries(file) : MODULE_TABLE_STEP;
    if (used_entries(file) + spare > COUNT_MAX) return DICT_NO_ROOM;

    // KEPT: one would expect the cut to 79 characters that a renaming makes. Registering stores the name whole, and
    // only reading cuts it. Test: module_register.stores_a_long_name_whole
    i32 name_offset;
    DictStatus status = append_name(file, name, &name_offset);
    if (status) return status;
    if (spare_entries(file) == 0) {
        status = grow_table(file);
        if (status) return status;
    }

    size_t behind = (size_t)(used_entries(file) - index);
    ModuleEntry *entry = &file->module_entries[index];
    DirectoryPair *pair = &file->directories[index];
    memmove(entry + 1, entry, behind * sizeof *entry);
    memmove(pair + 1, pair, behind * sizeof *pair);
    *pair = {};
    *entry = { .kind = le_i16((i16)kind), .module = le_i32(module), .directory_block = le32(directory_block),
               .name_offset = le_i32(name_offset), .name_size = le_i16((i16)(name[0] + 1)) };
    file->module_table->module_count = le_i16((i16)(used_entries(file) + 1));
    file->module_table->spare_entries = le_i16((i16)(spare_entries(file) - 1));

    // KEPT: one would expect a failed write of the table to be told. Nobody looks at it, and the status is that of
    // loading the directory. Test: module_register.ignores_a_failed_write_of_the_table
    (void)module_table_write(file);
    return directory_load(file, index);
}

DictStatus module_unregister(DictFile *file, i32 kind, i32 module)
{
    i16 index = module_find(file, kind, module);
    const ModuleEntry *entry = module_entry(file, index);
    if (!entry || !file->directories) return DICT_NOT_FOUND;

    directory_drop(file, kind, module);
    i32 name_offset = le_get(entry->name_offset);
    i32 name_size = le_get(entry->name_size);
    BlockEntry list;
    DictStatus status = read_list(file, &list);
    if (status) return status;
    status = block_splice(file, le_get(file->module_table->name_block), nullptr, name_offset, 0, name_size, 0);
    if (status) return status;

    // KEPT: one would expect each kind to keep its names by itself. The list is one for all, so that removing a module
    // moves the names of the other kinds as well, and their entries change in the file.
    // Test: module_unregister.moves_the_names_of_all_kinds
    i32 used = used_entries(file);
    for (i32 i = 0; i < used; i++) {
        ModuleEntry *other = &file->module_entries[i];
        i32 offset = le_get(other->name_offset);
        if (offset > name_offset) other->name_offset = le_i32(offset - name_size);
    }

    size_t behind = (size_t)(used - index - 1);
    memmove(&file->module_entries[index], &file->module_entries[index + 1], behind * sizeof(ModuleEntry));
    memmove(&file->directories[index], &file->directories[index + 1], behind * sizeof(DirectoryPair));
    file->module_entries[used - 1] = {};
    file->directories[used - 1] = {};
    if (spare_entries(file) < COUNT_MAX) {  // only a damaged table is full of spare entries
        file->module_table->spare_entries = le_i16((i16)(spare_entries(file) + 1));
    }
    file->module_table->module_count = le_i16((i16)(used - 1));
    return module_table_write(file);
}

DictStatus module_rename(DictFile *file, i32 kind, i32 module, ConstPString name)
{
    i16 index = module_find(file, kind, module);
    ModuleEntry *entry = module_entry(file, index);
    if (!entry || !name_is_readable(entry)) return DICT_NOT_FOUND;

    u8 new_name[PSTRING_SIZE];
    pstricpy(new_name, name, 1, NAME_SHOWN_MAX);
    i32 new_size = new_name[0] + 1;
    i32 old_size = le_get(entry->name_size);
    i32 name_offset = le_get(entry->name_offset);
    i16 delta = (i16)(new_size - old_size);

    BlockEntry list;
    DictStatus status = block_read_entry(file, BLOCK_OF_MODULE_NAMES - 1, &list);
    if (status) return status;
    status = list_lies_in_file(file, &list);
    if (status) return status;
    i64 used = (i64)le_get(list.size) - le_get(list.free);
    if (used < (i64)name_offset + old_size) return DICT_FAILED;
    if (delta > 0 && le_get(list.free) < (u32)delta) {
        status = block_grow(file, BLOCK_OF_MODULE_NAMES, &list, le_get(list.size) + RENAME_GROWTH);
        if (status) return status;
    }
    u32 place = le_get(list.offset) + (u32)name_offset;
    if (delta != 0) {
        status = block_move_bytes(file, (i32)(place + (u32)old_size), (i32)(place + (u32)new_size),
                                  (i32)(used - name_offset - old_size));
        if (status) return status;
    }

    entry->name_size = le_i16((i16)new_size);
    status = dict_write_at(file->file, place, new_name, new_size);
    if (status) {
        // KEPT: one would expect the old size back. The difference is added a second time.
        // Test: module_rename.adds_the_difference_twice_when_the_write_fails
        entry->name_size = le_i16((i16)(new_size + delta));
        return status;
    }

    if (delta != 0) {
        list.free = le32(le_get(list.free) - (u32)(i32)delta);
        for (i32 i = 0; i < used_entries(file); i++) {
            ModuleEntry *other = &file->module_entries[i];
            i32 offset = le_get(other->name_offset);
            if (offset > name_offset) other->name_offset = le_i32((i32)((u32)offset + (u32)(i32)delta));
        }
        status = module_table_write(file);
    }
    return first_failure(status, block_write_entry(file, BLOCK_OF_MODULE_NAMES - 1, &list));
}

} // namespace zuk
