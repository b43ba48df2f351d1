#include "engine/directory.h"

#include "engine/resources.h"
#include "foundation/handles.h"
#include "tests/engine/outcomes.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

namespace zuk {
namespace {

// In a new file: the module table, the module name list, and the first directory, with its size by kind.
constexpr u32 TABLE_AT = 3610;
constexpr u32 NEW_FILE = 4930;
constexpr i32 KIND_BYTES[] = { 0, 8254, 926, 894 };

// Types that keep numbers small: they gain 2 slots at a time, and their blocks begin with 32 bytes for names.
constexpr i16 SMALL = 4;    // bodies begin with 32 bytes too
constexpr i16 OTHER = 7;    // bodies begin with 64
constexpr i16 THIRD = 24;   // bodies begin with 2048

using Lines = std::vector<std::string>;

// ---- Bytes ----------------------------------------------------------------------------------------------------------

std::string le(i64 value, int bytes)
{
    std::string text;
    for (int i = 0; i < bytes; i++) text += (char)(u8)(value >> 8 * i);
    return text;
}

std::string zeros(size_t count) { return std::string(count, '\0'); }

std::string head_bytes(i32 kind, i32 module, u32 types, u32 free_types, u32 assigned, u32 reserve)
{
    return le(kind, 2) + le(module, 4) + le(types, 2) + le(free_types, 2) + le(assigned, 2) + le(reserve, 2);
}

std::string type_bytes(i32 type, u32 names, u32 bodies, u32 first, u32 count, u32 free)
{
    return le(type, 2) + le(names, 4) + le(bodies, 4) + le(first, 2) + le(count, 2) + le(free, 2);
}

std::string slot_bytes(i32 id, i32 name_size, i32 name_offset, i32 body_offset, i32 body_size, i32 flags = 0)
{
    return le(id, 2) + le(flags, 1) + le(name_size, 1) + le(name_offset, 4) + le(body_offset, 4) + le(body_size, 4);
}

std::string stored(const std::string &name) { return (char)(u8)name.size() + name; }

std::string part(const std::string &bytes, size_t offset, size_t count)
{
    return offset < bytes.size() ? bytes.substr(offset, count) : "";
}

void patch(std::string *bytes, size_t offset, const std::string &with)
{
    ASSERT_LE(offset + with.size(), bytes->size());
    bytes->replace(offset, with.size(), with);
}

std::string row(const BlockEntry &entry)
{
    return std::to_string(le_get(entry.type)) + ": " + std::to_string(le_get(entry.offset)) + " " +
           std::to_string(le_get(entry.size)) + " " + std::to_string(le_get(entry.free));
}

std::string row(DictFile *file, u32 block) { return row(entry_of(file, block)); }

// A directory as it is in memory, all of its handle.
std::string memory_of(DictFile *file, i16 index) { return bytes_of(directory_get_handle(file, index)); }

// The same in the file.
std::string on_disk(DictFile *file, i16 index)
{
    BlockEntry entry = entry_of(file, module_directory_block(file, index));
    std::string bytes(le_get(entry.size), '?');
    EXPECT_EQ(dict_read_at(file, le_get(entry.offset), bytes.data(), (i32)bytes.size()), (DictStatus)DICT_OK);
    return bytes;
}

// ---- Modules to start from ------------------------------------------------------------------------------------------

void make(DictFile *file, i32 kind, i32 module, const std::string &name)
{
    EXPECT_EQ(module_create(file, kind, module, Name(name)), (DictStatus)DICT_OK) << name;
}

// Enter a resource and write its name and body, as a write of the exported interface does.
DictStatus add(DictFile *file, i32 kind, i32 module, i16 type, i16 id, const std::string &name,
                      const std::string &body)
{
    std::string name_bytes = stored(name);
    u8 name_size = (u8)name_bytes.size();
    DictStatus status = resource_add_entry(file, kind, module, type, id, name_size, (i32)body.size());
    if (status) return status;
    status = block_splice(file, type_name_block(file, kind, module, type), name_bytes.data(),
                          resource_name_offset(file, kind, module, type, id), name_size, 0,
                          block_unit(BLOCK_NAMES, type));
    if (status) return status;
    status = block_splice(file, type_body_block(file, kind, module, type), body.data(),
                          resource_body_offset(file, kind, module, type, id), (i32)body.size(), 0,
                          block_unit(BLOCK_NAMES, type));
    if (status) return status;
    return directory_save(file, kind, module);
}

// One module of kind 2 and number 100, at index 0 and in block 4.
struct OneModule {
    BareDictionary bare;

    OneModule() { make(bare, 2, 100, "Mod"); }
    operator DictFile *() { return bare; }
    DictFile *operator->() { return &bare.file; }

    ModuleDirectory *directory() { return directory_get(bare, 0); }
    void put(i16 type, i16 id, const std::string &name, const std::string &body)
    {
        EXPECT_EQ(add(bare, 2, 100, type, id, name, body), (DictStatus)DICT_OK) << type << " " << id;
    }
    void reopen()
    {
        bare.close();
        bare.open();
    }
};

std::string text_at(DictFile *file, DictStatus status, u32 offset, i32 size)
{
    if (status) return "<status " + std::to_string(status) + ">";
    std::string text((size_t)size, '?');
    status = dict_read_at(file, offset, text.data(), size);
    return status ? "<read status " + std::to_string(status) + ">" : text;
}

std::string name_of(DictFile *file, i32 kind, i32 module, i16 type, i16 id)
{
    u32 offset = 0;
    i32 size = 0;
    DictStatus status = name_locate(file, kind, module, (u16)type, id, &offset, &size);
    std::string text = text_at(file, status, offset, size);
    return status || text.empty() ? text : text.substr(1);
}

std::string body_of(DictFile *file, i32 kind, i32 module, i16 type, i16 id)
{
    u32 offset = 0;
    i32 size = 0;
    DictStatus status = resource_locate(file, kind, module, (u16)type, id, &offset, &size);
    return text_at(file, status, offset, size);
}

// "4/1 name=body" for each resource of a module, by the order of its types and identifiers.
Lines resources_of(DictFile *file, i32 kind, i32 module)
{
    Lines lines;
    i16 index = module_find(file, kind, module);
    ModuleDirectory *directory = directory_get(file, index);
    if (!directory) return { "no directory" };
    for (i32 t = 0; const TypeEntry *entry = type_at(directory, t); t++) {
        i16 type = le_get(entry->type);
        for (i32 i = 0; const ResourceEntry *at = resource_entry_at(file, index, type, i, nullptr, nullptr); i++) {
            i16 id = le_get(at->id);
            lines.push_back(std::to_string(type) + "/" + std::to_string(id) + " " +
                            name_of(file, kind, module, type, id) + "=" + body_of(file, kind, module, type, id));
        }
    }
    return lines;
}

// Every operation that only looks at a directory or edits single fields of it in memory.
void look_everywhere(DictFile *file)
{
    for (i16 index = -1; index < 4; index++) {
        ModuleDirectory *directory = directory_get(file, index);
        EXPECT_EQ(directory_get_handle(file, index), ghandle(directory));
        if (!directory) continue;
        EXPECT_LE(directory_size(directory), gsize(ghandle(directory)));
        for (i16 type : { (i16)-1, (i16)0, (i16)1, SMALL, OTHER, THIRD, (i16)32767 }) {
            EXPECT_EQ(type_find(directory, type) >= 0, type_entry(directory, type) != nullptr);
            (void)type_insert_pos(directory, type);
            u16 count = 0;
            u32 names, bodies;
            ResourceEntry *run = resource_range(file, index, type, &count, &names, &bodies);
            if (!run) continue;
            for (i16 id : { (i16)-32768, (i16)0, (i16)1, (i16)2, (i16)3, (i16)32767 }) {
                (void)resource_find(run, count, id);
                (void)resource_insert_pos(run, count, id);
                (void)resource_entry(file, index, type, id, &names, &bodies);
                (void)resource_entry_at(file, index, type, id, &names, &bodies);
            }
            for (const char *name : { "", "one", "two", "none of this name" }) {
                i16 id;
                DictStatus status;
                (void)resource_scan_names(file, run, count, Name(name), names, &id, &status);
            }
        }
    }
    for (i32 module : { 0, 100, 200 }) {
        for (i16 type : { (i16)0, SMALL, OTHER }) {
            u32 offset = 0;
            i32 size = 0;
            (void)resource_find_by_name(file, 2, module, type, Name("two"), &offset, &size);
            (void)type_name_block(file, 2, module, type);
            (void)type_body_block(file, 2, module, type);
            (void)type_resource_count(file, 2, module, type);
            for (i16 id : { (i16)0, (i16)1, (i16)2 }) {
                (void)resource_name_offset(file, 2, module, type, id);
                (void)resource_name_size(file, 2, module, type, id);
                (void)resource_body_offset(file, 2, module, type, id);
                (void)resource_body_size(file, 2, module, type, id);
            }
        }
        (void)resources_of(file, 2, module);
    }
}

// ---- All there is ---------------------------------------------------------------------------------------------------

TEST(types_and_resources, have_every_operation)
{
    const void *const operations[] = {
        (const void *)type_find, (const void *)type_insert_pos, (const void *)type_entry, (const void *)type_at,
        (const void *)type_add, (const void *)type_add_slots, (const void *)resource_range, (const void *)resource_find,
        (const void *)resource_insert_pos, (const void *)resource_entry, (const void *)resource_entry_at,
        (const void *)resource_add_slots, (const void *)resource_add_entry, (const void *)resource_remove_entry,
        (const void *)resource_shift_names, (const void *)resource_shift_bodies, (const void *)resource_find_by_name,
        (const void *)resource_scan_names, (const void *)resource_set_flags, (const void *)resource_mark,
        (const void *)block_unit, (const void *)slot_unit, (const void *)type_name_block, (const void *)type_body_block,
        (const void *)type_resource_count, (const void *)resource_name_offset, (const void *)resource_name_size,
        (const void *)resource_body_offset, (const void *)resource_body_size, (const void *)resource_set_name_size,
        (const void *)resource_set_body_size, (const void *)module_delete, (const void *)directory_size,
    };
    std::set<const void *> different(std::begin(operations), std::end(operations));
    EXPECT_EQ(different.size(), std::size(operations));
    EXPECT_EQ(different.count(nullptr), 0u);
}

// ---- Directories ----------------------------------------------------------------------------------------------------

TEST(directory_new, writes_the_empty_directory_of_each_kind)
{
    BareDictionary bare;
    u32 alive = 0;
    const struct {
        i32 kind, module;
        u32 types, reserve;
    } rows[] = { { 1, 21, 15, 500 }, { 2, -5, 7, 50 }, { 3, 0x01020304, 5, 50 } };
    u32 at = NEW_FILE;
    u32 block = 4;
    for (const auto &r : rows) {
        u32 bytes = (u32)KIND_BYTES[r.kind];
        DictStatus status = 77;
        EXPECT_EQ(directory_new(bare, r.kind, r.module, &status), block);
        EXPECT_EQ(status, (DictStatus)DICT_OK);
        EXPECT_EQ(bare.bytes().size(), at + bytes);
        EXPECT_EQ(part(bare.bytes(), at, bytes),
                  head_bytes(r.kind, r.module, 0, r.types, 0, r.reserve) + zeros((r.types + r.reserve) * 16));
        EXPECT_EQ(row(bare, block), "2: " + std::to_string(at) + " " + std::to_string(bytes) + " 0");
        if (block == 4) alive = handles_alive();
        EXPECT_EQ(handles_alive(), alive);
        at += bytes;
        block++;
    }
    EXPECT_EQ(le_get(bare->header.free_entries), 250u);
    EXPECT_EQ(le_get(bare->module_table->module_count), 0);  // nobody knows them yet
}

TEST(directory_new, makes_the_file_longer_and_then_writes)
{
    BareDictionary bare;
    make(bare, 3, 1, "so that the pages are loaded");
    calls_reset();
    DictStatus status;
    (void)directory_new(bare, 2, 100, &status);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), (Lines{ "write 5824+926", "write 5824+926" }));
    EXPECT_EQ(call_counts().open, 1u);
}

TEST(directory_new, takes_a_free_piece_whole_and_fills_it_with_zeros)
{
    BareDictionary bare;
    u32 piece = block_allocate(bare, BLOCK_BODIES, 926 + 15);
    EXPECT_EQ(dict_write_at(bare->file, NEW_FILE, std::string(941, 'x').data(), 941), (DictStatus)DICT_OK);
    EXPECT_EQ(block_free(bare, piece), (DictStatus)DICT_OK);
    DictStatus status;
    EXPECT_EQ(directory_new(bare, 2, 100, &status), piece);
    EXPECT_EQ(row(bare, piece), "2: 4930 941 15");
    EXPECT_EQ(part(bare.bytes(), NEW_FILE, 941), head_bytes(2, 100, 0, 7, 0, 50) + zeros(927));
}

TEST(directory_new, makes_a_reserve_that_is_never_used)
{
    for (i32 kind : { 1, 2, 3 }) {
        BareDictionary bare;
        make(bare, kind, 16, "Mod");
        u32 reserve = kind == 1 ? 500 : 50;
        const ModuleDirectory *directory = directory_get(bare, 0);
        EXPECT_EQ(le_get(directory->reserve_slots), reserve);
        EXPECT_EQ(add(bare, kind, 16, SMALL, 1, "one", ""), (DictStatus)DICT_OK);
        EXPECT_EQ(add(bare, kind, 16, SMALL, 2, "two", ""), (DictStatus)DICT_OK);
        EXPECT_EQ(add(bare, kind, 16, SMALL, 3, "three", ""), (DictStatus)DICT_OK);
        EXPECT_EQ(resource_remove_entry(bare, kind, 16, SMALL, 1), (DictStatus)DICT_OK);
        directory = directory_get(bare, 0);
        EXPECT_EQ(le_get(directory->reserve_slots), reserve);
        EXPECT_EQ(le_get(directory->assigned_slots), 4);
        EXPECT_EQ(directory_size(directory), KIND_BYTES[kind] + 4 * 16);  // room for four, though the reserve is larger
        EXPECT_EQ(gsize(directory_get_handle(bare, 0)), KIND_BYTES[kind] + 4 * 16);
    }
}

TEST(directory_new, gives_3_for_other_kinds_and_touches_nothing)
{
    BareDictionary bare;
    calls_reset();
    for (i32 kind : { 0, 4, -1, 257, 65537, INT_MIN, INT_MAX }) {
        DictStatus status = 77;
        EXPECT_EQ(directory_new(bare, kind, 100, &status), 0u);
        EXPECT_EQ(status, (DictStatus)DICT_NOT_FOUND) << kind;
    }
    EXPECT_EQ(call_lines(), Lines());
    EXPECT_EQ(le_get(bare->header.free_entries), 253u);
}

TEST(directory_new, gives_13_without_a_block)
{
    BareDictionary bare;
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_ACCESS_DENIED });
    DictStatus status;
    EXPECT_EQ(directory_new(bare, 2, 100, &status), 0u);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(status, (DictStatus)DICT_NO_ROOM);
    EXPECT_EQ(le_get(bare->header.free_entries), 253u);
}

TEST(directory_new, frees_the_block_when_the_directory_cannot_be_written)
{
    BareDictionary bare;
    make(bare, 3, 1, "so that the pages are loaded");
    u32 alive = handles_alive();
    const struct {
        Fault fault;
        DictStatus status;
    } rows[] = {
        { { .call = FAULT_ALLOC, .nth = 2 }, DICT_NO_MEMORY },  // the first is for the zeros at the end of the file
        { { .call = FAULT_WRITE, .error = PLATFORM_ACCESS_DENIED }, DICT_ACCESS_DENIED },  // the piece is there by now
    };
    for (const auto &r : rows) {
        faults_start(r.fault);
        DictStatus status;
        EXPECT_EQ(directory_new(bare, 2, 100, &status), 0u);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(status, r.status);
        EXPECT_EQ(row(bare, 5), "0: 5824 926 926");
        EXPECT_EQ(le_get(bare->header.free_entries), 252u);
        EXPECT_EQ(handles_alive(), alive);
    }
    DictStatus status;
    EXPECT_EQ(directory_new(bare, 2, 100, &status), 5u);
}

TEST(directory_get, is_null_where_there_is_no_module)
{
    OneModule file;
    for (i16 index : { (i16)-1, (i16)-32768, (i16)1, (i16)49, (i16)50, (i16)32767 }) {
        EXPECT_EQ(directory_get(file, index), nullptr) << index;
        EXPECT_EQ(directory_get_handle(file, index), 0u) << index;
    }
}

TEST(directory_get, reads_the_block_once)
{
    OneModule file;
    make(file, 2, 200, "Second");
    file.reopen();
    EXPECT_EQ(file->directories[1].handle, 0u);
    calls_reset();
    const ModuleDirectory *directory = directory_get(file, 1);
    ASSERT_NE(directory, nullptr);
    EXPECT_EQ(le_get(directory->module), 200);
    EXPECT_EQ(call_lines({ FAULT_READ }), (Lines{ "read 5856+926" }));
    EXPECT_EQ(directory_get(file, 1), directory);
    EXPECT_EQ(directory_get_handle(file, 1), ghandle(directory));
    EXPECT_EQ(call_counts().read, 1u);
    EXPECT_EQ(file->directories[0].handle, 0u);  // the other one is not wanted yet
}

TEST(directory_get, is_null_after_a_failed_read_and_works_the_next_time)
{
    OneModule file;
    for (FaultCall call : { FAULT_ALLOC, FAULT_READ, FAULT_SEEK, FAULT_SIZE }) {
        file.reopen();
        u32 alive = handles_alive();
        faults_start({ .call = call });
        EXPECT_EQ(directory_get(file, 0), nullptr);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(file->directories[0].handle, 0u);
        EXPECT_EQ(handles_alive(), alive);
        faults_start({ .call = call });
        EXPECT_EQ(directory_get_handle(file, 0), 0u);
        EXPECT_TRUE(faults_stop());
        EXPECT_NE(directory_get(file, 0), nullptr);
    }
}

TEST(directory_get_handle, is_as_large_as_the_block)
{
    BareDictionary bare;
    u32 piece = block_allocate(bare, BLOCK_BODIES, 926 + 15);
    EXPECT_EQ(block_free(bare, piece), (DictStatus)DICT_OK);
    make(bare, 2, 100, "Mod");
    EXPECT_EQ(gsize(directory_get_handle(bare, 0)), 941);
    EXPECT_EQ(directory_size(directory_get(bare, 0)), 926);
}

TEST(directory_attach, stores_the_handle_and_where_it_points)
{
    OneModule file;
    GHandle old = directory_get_handle(file, 0);
    GHandle handle = gdup(old);
    directory_attach(file, 0, handle);
    EXPECT_EQ(file->directories[0].handle, handle);
    EXPECT_EQ((const void *)file->directories[0].directory, glock(handle));
    EXPECT_EQ(directory_get(file, 0), file->directories[0].directory);
    gfree(old);
    directory_attach(file, 0, 0);
    EXPECT_EQ(file->directories[0].directory, nullptr);
    gfree(handle);
    directory_attach(file, 1, 5);     // no module stands there
    directory_attach(file, -1, 5);
    EXPECT_EQ(file->directories[1].handle, 0u);
}

TEST(directory_drop, frees_the_directory_and_leaves_zeros)
{
    OneModule file;
    u32 alive = handles_alive();
    directory_get(file, 0)->reserve_slots = le16(1);
    directory_drop(file, 2, 100);
    EXPECT_EQ(file->directories[0].handle, 0u);
    EXPECT_EQ(file->directories[0].directory, nullptr);
    EXPECT_EQ(handles_alive(), alive - 1);
    directory_drop(file, 2, 100);     // again
    directory_drop(file, 2, 101);     // absent
    EXPECT_EQ(handles_alive(), alive - 1);
    EXPECT_EQ(le_get(directory_get(file, 0)->reserve_slots), 50);  // what was not written is lost
}

TEST(directory_load, reads_the_whole_block)
{
    OneModule file;
    file.put(SMALL, 1, "one", "body");
    file.reopen();
    EXPECT_EQ(directory_load(file, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(memory_of(file, 0), on_disk(file, 0));
}

TEST(directory_load, of_a_loaded_one_reads_it_again)
{
    OneModule file;
    u32 alive = handles_alive();
    directory_get(file, 0)->reserve_slots = le16(1);
    EXPECT_EQ(directory_load(file, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(le_get(directory_get(file, 0)->reserve_slots), 50);
    EXPECT_EQ(handles_alive(), alive);
}

TEST(directory_load, gives_3_unless_the_block_could_be_read)
{
    OneModule file;
    EXPECT_EQ(directory_load(file, 1), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(directory_load(file, -1), (DictStatus)DICT_NOT_FOUND);
    directory_drop(file, 2, 100);
    for (FaultCall call : { FAULT_ALLOC, FAULT_READ }) {
        faults_start({ .call = call });
        EXPECT_EQ(directory_load(file, 0), (DictStatus)DICT_NOT_FOUND);
        EXPECT_TRUE(faults_stop());
    }
    for (u32 block : { 0u, 1u, 2u, 3u, 5u, 256u, 257u, 0xFFFFFFFFu }) {
        file->module_entries[0].directory_block = le32(block);
        EXPECT_EQ(directory_load(file, 0), (DictStatus)DICT_NOT_FOUND) << block;
    }
}

TEST(directory_load, does_not_compare_kind_and_module)
{
    std::string bytes;
    {
        OneModule file;
        file.bare.close();
        bytes = file.bare.bytes();
    }
    patch(&bytes, NEW_FILE, le(1, 2) + le(7777, 4));
    AfterACrash opened(bytes);
    EXPECT_EQ(directory_load(opened, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(le_get(directory_get(opened, 0)->module), 7777);
    EXPECT_EQ(add(opened, 2, 100, SMALL, 1, "one", "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(body_of(opened, 2, 100, SMALL, 1), "body");
}

TEST(directory_extend, grows_the_block_at_the_end_of_the_file_and_the_handle)
{
    OneModule file;
    calls_reset();
    EXPECT_EQ(directory_extend(file, 0, 32), (DictStatus)DICT_OK);
    EXPECT_EQ(row(file, 4), "2: 4930 958 0");
    EXPECT_EQ(gsize(directory_get_handle(file, 0)), 958);
    EXPECT_EQ(part(memory_of(file, 0), 926, 32), zeros(32));
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE, FAULT_OPEN }), (Lines{ "write 5856+32" }));  // the directory waits
    EXPECT_EQ(directory_size(file.directory()), 926);  // nothing is counted yet
}

TEST(directory_extend, moves_a_block_in_the_midst_of_the_file)
{
    OneModule file;
    make(file, 2, 200, "Second");
    EXPECT_EQ(directory_extend(file, 0, 32), (DictStatus)DICT_OK);
    EXPECT_EQ(row(file, 4), "2: 6782 958 0");
    EXPECT_EQ(row(file, 6), "0: 4930 926 926");
    EXPECT_EQ(gsize(directory_get_handle(file, 0)), 958);
    EXPECT_EQ(part(file.bare.bytes(), 6782, 926), head_bytes(2, 100, 0, 7, 0, 50) + zeros(912));
}

TEST(directory_extend, takes_free_room_first)
{
    BareDictionary bare;
    u32 piece = block_allocate(bare, BLOCK_BODIES, 926 + 15);
    EXPECT_EQ(block_free(bare, piece), (DictStatus)DICT_OK);
    make(bare, 2, 100, "Mod");
    const ModuleDirectory *directory = directory_get(bare, 0);
    EXPECT_EQ(directory_extend(bare, 0, 10), (DictStatus)DICT_OK);
    EXPECT_EQ(row(bare, 4), "2: 4930 941 5");
    EXPECT_EQ(directory_extend(bare, 0, 5), (DictStatus)DICT_OK);
    EXPECT_EQ(row(bare, 4), "2: 4930 941 0");
    EXPECT_EQ(directory_get(bare, 0), directory);
    EXPECT_EQ(directory_extend(bare, 0, 1), (DictStatus)DICT_OK);
    EXPECT_EQ(row(bare, 4), "2: 4930 942 0");
}

TEST(directory_extend, takes_a_piece_whole_and_uses_the_rest_later)
{
    OneModule file;
    u32 piece = block_allocate(file, BLOCK_BODIES, 958 + 15);
    u32 offset = le_get(entry_of(file, piece).offset);
    EXPECT_EQ(block_free(file, piece), (DictStatus)DICT_OK);
    EXPECT_EQ(directory_extend(file, 0, 32), (DictStatus)DICT_OK);
    EXPECT_EQ(row(file, 4), "2: " + std::to_string(offset) + " 973 15");
    EXPECT_EQ(gsize(directory_get_handle(file, 0)), 973);
}

TEST(directory_extend, gives_3_without_a_directory)
{
    OneModule file;
    EXPECT_EQ(directory_extend(file, 1, 16), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(directory_extend(file, -1, 16), (DictStatus)DICT_NOT_FOUND);
    directory_drop(file, 2, 100);
    faults_start({ .call = FAULT_READ });
    EXPECT_EQ(directory_extend(file, 0, 16), (DictStatus)DICT_NOT_FOUND);
    EXPECT_TRUE(faults_stop());
}

TEST(directory_extend, takes_the_free_room_although_the_growth_failed)
{
    BareDictionary bare;
    u32 piece = block_allocate(bare, BLOCK_BODIES, 926 + 15);
    EXPECT_EQ(block_free(bare, piece), (DictStatus)DICT_OK);
    make(bare, 2, 100, "Mod");
    EXPECT_EQ(row(bare, 4), "2: 4930 941 15");
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(directory_extend(bare, 0, 16), (DictStatus)DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(row(bare, 4), "2: 4930 941 0");   // and not 4 billion, which the next would believe
    EXPECT_EQ(gsize(directory_get_handle(bare, 0)), 941);
    EXPECT_EQ(directory_extend(bare, 0, 16), (DictStatus)DICT_OK);
    EXPECT_EQ(row(bare, 4), "2: 4930 957 0");
    EXPECT_EQ(gsize(directory_get_handle(bare, 0)), 957);
}

TEST(directory_extend, gives_9_and_forgets_the_directory_when_the_handle_cannot_grow)
{
    OneModule file;
    file.put(SMALL, 1, "one", "body");
    std::string before = memory_of(file, 0);
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(directory_extend(file, 0, 16), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(file->directories[0].handle, 0u);
    EXPECT_EQ(file->directories[0].directory, nullptr);
    look_everywhere(file);
    EXPECT_EQ(memory_of(file, 0), before + zeros(16));  // read from the file again, with the room that it has gained
    EXPECT_EQ(resources_of(file, 2, 100), (Lines{ "4/1 one=body" }));
    file.put(SMALL, 2, "two", "second");
    file.put(SMALL, 3, "three", "third");
    file.reopen();
    EXPECT_EQ(resources_of(file, 2, 100), (Lines{ "4/1 one=body", "4/2 two=second", "4/3 three=third" }));
    EXPECT_GE(memory_sweep(), 1u);
}

TEST(directory_extend, does_not_believe_room_that_the_handle_does_not_have)
{
    OneModule file;
    for (u32 free : { 100u, 0x7FFFFFFFu, 0xFFFFFFFFu }) {
        BlockEntry entry = entry_of(file, 4);
        entry.free = le32(free);
        EXPECT_EQ(block_write_entry(file, 3, &entry), (DictStatus)DICT_OK);
        EXPECT_EQ(directory_extend(file, 0, 16), (DictStatus)DICT_NOT_FOUND) << free;
        EXPECT_EQ(gsize(directory_get_handle(file, 0)), 926);
    }
    EXPECT_EQ(type_add(file, 0, SMALL), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(type_add_slots(file, 0), (DictStatus)DICT_NOT_FOUND);
    look_everywhere(file);
}

TEST(directory_write, writes_the_full_block_from_the_pointer)
{
    BareDictionary bare;
    u32 piece = block_allocate(bare, BLOCK_BODIES, 926 + 15);
    EXPECT_EQ(block_free(bare, piece), (DictStatus)DICT_OK);
    make(bare, 2, 100, "Mod");
    GHandle handle = handle_of(std::string(941, 'd'));
    memset((u8 *)glock(handle) + 6, 0, 8);  // no types and no slots
    calls_reset();
    EXPECT_EQ(directory_write(bare, (ModuleDirectory *)glock(handle), piece), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_WRITE }), (Lines{ "write 4930+941" }));
    EXPECT_EQ(part(bare.bytes(), 4930, 941), bytes_of(handle));
    gfree(handle);
}

TEST(directory_write, writes_no_more_than_the_handle_or_the_block_holds)
{
    OneModule file;
    make(file, 2, 200, "Second");
    for (i32 size : { 900, 1000 }) {
        GHandle handle = galloc(size, nullptr, 1);
        calls_reset();
        EXPECT_EQ(directory_write(file, (ModuleDirectory *)glock(handle), 4), (DictStatus)DICT_OK);
        EXPECT_EQ(call_lines({ FAULT_WRITE }), (Lines{ size == 900 ? "write 4930+900" : "write 4930+926" }));
        gfree(handle);
    }
}

TEST(directory_write, gives_the_status_of_entry_and_write)
{
    OneModule file;
    EXPECT_EQ(directory_write(file, file.directory(), 0), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(directory_write(file, file.directory(), 257), (DictStatus)DICT_NOT_FOUND);
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(directory_write(file, file.directory(), 4), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_TRUE(faults_stop());
}

TEST(directory_save, writes_the_directory_of_the_module)
{
    OneModule file;
    make(file, 2, 50, "First");
    directory_get(file, 1)->reserve_slots = le16(49);
    calls_reset();
    EXPECT_EQ(directory_save(file, 2, 100), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), (Lines{ "write 4930+926" }));
    EXPECT_EQ(part(file.bare.bytes(), 4930, 14), head_bytes(2, 100, 0, 7, 0, 49));
}

TEST(directory_save, gives_3_for_an_absent_module_and_one_that_cannot_be_loaded)
{
    OneModule file;
    EXPECT_EQ(directory_save(file, 2, 101), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(directory_save(file, 3, 100), (DictStatus)DICT_NOT_FOUND);
    file.reopen();
    faults_start({ .call = FAULT_READ, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(directory_save(file, 2, 100), (DictStatus)DICT_NOT_FOUND);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(directory_save(file, 2, 100), (DictStatus)DICT_OK);
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(directory_save(file, 2, 100), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_TRUE(faults_stop());
}

TEST(directory_size, counts_all_slots)
{
    ModuleDirectory directory = {};
    EXPECT_EQ(directory_size(&directory), 14);
    directory.type_count = le16(1);
    directory.free_type_slots = le16(2);
    directory.assigned_slots = le16(4);
    directory.reserve_slots = le16(8);
    EXPECT_EQ(directory_size(&directory), 15 * 16 + 14);
    directory.type_count = directory.free_type_slots = directory.assigned_slots = directory.reserve_slots = le16(65535);
    EXPECT_EQ(directory_size(&directory), 4 * 65535 * 16 + 14);  // no sum wraps at 16 bits
}

// ---- Types ----------------------------------------------------------------------------------------------------------

// A directory in memory alone, with these types and no slots.
struct Types {
    std::vector<u8> bytes;

    explicit Types(const std::vector<i16> &types) : bytes(14 + 16 * types.size())
    {
        (*this)->type_count = le16((u16)types.size());
        for (size_t i = 0; i < types.size(); i++) ((TypeEntry *)&bytes[14 + 16 * i])->type = le_i16(types[i]);
    }
    operator ModuleDirectory *() { return (ModuleDirectory *)bytes.data(); }
    ModuleDirectory *operator->() { return *this; }
};

TEST(type_find, gives_the_index_of_the_type_as_a_signed_number)
{
    Types types({ -32768, -5, 0, 3, 20, 32767 });
    const i16 order[] = { -32768, -5, 0, 3, 20, 32767 };
    for (i16 i = 0; i < 6; i++) EXPECT_EQ(type_find(types, order[i]), i);
    for (i32 absent : { -32767, -6, -1, 1, 2, 4, 19, 21, 32766 }) {
        EXPECT_EQ(type_find(types, (i16)absent), -1) << absent;
    }
    Types none({});
    EXPECT_EQ(type_find(none, 3), -1);
    Types one({ 3 });
    EXPECT_EQ(type_find(one, 3), 0);
    EXPECT_EQ(type_find(one, 2), -1);
}

TEST(type_insert_pos, gives_where_a_type_would_go_and_minus_1_for_one_that_exists)
{
    Types types({ -5, 3, 20 });
    EXPECT_EQ(type_insert_pos(types, -6), 0);
    EXPECT_EQ(type_insert_pos(types, -5), -1);
    EXPECT_EQ(type_insert_pos(types, 0), 1);
    EXPECT_EQ(type_insert_pos(types, 3), -1);
    EXPECT_EQ(type_insert_pos(types, 19), 2);
    EXPECT_EQ(type_insert_pos(types, 20), -1);
    EXPECT_EQ(type_insert_pos(types, 21), 3);
    Types none({});
    EXPECT_EQ(type_insert_pos(none, 3), 0);
}

TEST(type_entry, is_the_record_of_the_type)
{
    Types types({ -5, 3, 20 });
    EXPECT_EQ((u8 *)type_entry(types, 3), &types.bytes[14 + 16]);
    EXPECT_EQ(type_entry(types, 4), nullptr);
}

TEST(type_at, is_the_record_at_an_index_below_the_count)
{
    Types types({ -5, 3, 20 });
    for (i32 i = 0; i < 3; i++) EXPECT_EQ((u8 *)type_at(types, i), &types.bytes[14 + 16 * (size_t)i]);
    for (i32 index : { -1, 3, 65536, INT_MIN, INT_MAX }) EXPECT_EQ(type_at(types, index), nullptr) << index;
}

TEST(type_add, makes_two_blocks_and_the_first_slots)
{
    OneModule file;
    EXPECT_EQ(type_add(file, 0, 1), (DictStatus)DICT_OK);
    EXPECT_EQ(memory_of(file, 0), head_bytes(2, 100, 1, 6, 10, 50) + type_bytes(1, 5, 6, 0, 0, 10) +
                                      zeros(6 * 16 + 10 * 16 + 50 * 16));
    EXPECT_EQ(row(file, 5), "3: 5856 2048 2048");
    EXPECT_EQ(row(file, 6), "4: 7904 2048 2048");
    EXPECT_EQ(row(file, 4), "2: 9952 1086 0");
    EXPECT_EQ(row(file, 7), "0: 4930 926 926");
    EXPECT_EQ(part(on_disk(file, 0), 0, 14), head_bytes(2, 100, 0, 7, 0, 50));  // the directory waits for its writing
}

TEST(type_add, begins_where_the_assigned_slots_end)
{
    OneModule file;
    EXPECT_EQ(type_add(file, 0, OTHER), (DictStatus)DICT_OK);
    EXPECT_EQ(type_add(file, 0, 2), (DictStatus)DICT_OK);      // 5 slots
    EXPECT_EQ(type_add(file, 0, SMALL), (DictStatus)DICT_OK);
    EXPECT_EQ(part(memory_of(file, 0), 0, 14 + 3 * 16),
              head_bytes(2, 100, 3, 4, 9, 50) + type_bytes(2, 7, 8, 2, 0, 5) + type_bytes(SMALL, 9, 10, 7, 0, 2) +
                  type_bytes(OTHER, 5, 6, 0, 0, 2));
    EXPECT_EQ(row(file, 5), "3: 5856 32 32");
    EXPECT_EQ(row(file, 6), "4: 5888 64 64");
    EXPECT_EQ(row(file, 7), "3: 4930 32 32");                  // cut from the place that the directory has left
    EXPECT_EQ(row(file, 8), "4: 4962 32 32");
    EXPECT_EQ(row(file, 9), "3: 4994 32 32");
    EXPECT_EQ(row(file, 10), "4: 5026 32 32");
    EXPECT_EQ(row(file, 4), "2: 5952 1070 0");
}

TEST(type_add, makes_blocks_of_twice_the_unit)
{
    const struct {
        i16 type;
        u32 names, bodies;
    } rows[] = { { 19, 128, 30720 }, { 9, 10240, 512 }, { 18, 4096, 1024 }, { 0, 512, 1024 }, { -25536, 512, 1024 } };
    for (const auto &r : rows) {
        OneModule file;
        EXPECT_EQ(type_add(file, 0, r.type), (DictStatus)DICT_OK);
        BlockEntry names = entry_of(file, type_name_block(file, 2, 100, r.type));
        BlockEntry bodies = entry_of(file, type_body_block(file, 2, 100, r.type));
        EXPECT_EQ(le_get(names.size), r.names) << r.type;
        EXPECT_EQ(le_get(names.type), BLOCK_NAMES);
        EXPECT_EQ(le_get(bodies.size), r.bodies) << r.type;
        EXPECT_EQ(le_get(bodies.type), BLOCK_BODIES);
        EXPECT_EQ(le_get(type_entry(file.directory(), r.type)->free_slots), slot_unit(r.type));
    }
}

TEST(type_add, gives_2_for_a_type_that_exists)
{
    OneModule file;
    EXPECT_EQ(type_add(file, 0, SMALL), (DictStatus)DICT_OK);
    std::string before = memory_of(file, 0);
    EXPECT_EQ(type_add(file, 0, SMALL), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(memory_of(file, 0), before);
}

TEST(type_add, gives_3_without_a_directory)
{
    OneModule file;
    EXPECT_EQ(type_add(file, 1, SMALL), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(type_add(file, -1, SMALL), (DictStatus)DICT_NOT_FOUND);
}

TEST(type_add, makes_room_for_more_types_when_there_is_none)
{
    BareDictionary bare;
    make(bare, 3, 100, "Mod");
    for (i16 type = 60; type < 65; type++) EXPECT_EQ(type_add(bare, 0, type), (DictStatus)DICT_OK);
    EXPECT_EQ(part(memory_of(bare, 0), 0, 14), head_bytes(3, 100, 5, 0, 25, 50));
    EXPECT_EQ(type_add(bare, 0, 59), (DictStatus)DICT_OK);
    EXPECT_EQ(part(memory_of(bare, 0), 0, 14), head_bytes(3, 100, 6, 4, 30, 50));
    for (i16 i = 0; i < 6; i++) EXPECT_EQ(type_find(directory_get(bare, 0), (i16)(59 + i)), i);
}

TEST(type_add, leaves_the_records_moved_when_a_block_is_missing)
{
    OneModule file;
    file.put(SMALL, 1, "one", "body");
    file.put(OTHER, 1, "one", "other");
    EXPECT_EQ(block_table_flush(file), (DictStatus)DICT_OK);
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(type_add(file, 0, 1), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    ModuleDirectory *directory = file.directory();
    EXPECT_EQ(le_get(directory->type_count), 2);
    EXPECT_EQ(le_get(directory->free_type_slots), 5);
    EXPECT_EQ(le_get(type_at(directory, 0)->type), SMALL);
    EXPECT_EQ(le_get(type_at(directory, 1)->type), SMALL);
    EXPECT_EQ(type_entry(directory, OTHER), nullptr);
    EXPECT_EQ(body_of(file, 2, 100, OTHER, 1), "<status 3>");
    look_everywhere(file);

    AfterACrash other(file.bare);
    EXPECT_EQ(resources_of(other, 2, 100), (Lines{ "4/1 one=body", "7/1 one=other" }));
    module_table_release(file);
    EXPECT_EQ(module_table_load(file), (DictStatus)DICT_OK);
    EXPECT_EQ(resources_of(file, 2, 100), (Lines{ "4/1 one=body", "7/1 one=other" }));
}

TEST(type_add, frees_the_name_block_when_there_is_no_body_block)
{
    OneModule file;
    faults_start({ .call = FAULT_WRITE, .nth = 2, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(type_add(file, 0, SMALL), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(row(file, 5), "0: 5856 32 32");
    EXPECT_EQ(le_get(file->header.free_entries), 252u);
    EXPECT_EQ(le_get(file.directory()->type_count), 0);
}

TEST(type_add, returns_a_failed_growth_of_the_type_area_before_anything_moves)
{
    BareDictionary bare;
    make(bare, 3, 100, "Mod");
    for (i16 type = 60; type < 65; type++) EXPECT_EQ(type_add(bare, 0, type), (DictStatus)DICT_OK);
    std::string before = memory_of(bare, 0);
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(type_add(bare, 0, 59), (DictStatus)DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(memory_of(bare, 0), before);
}

TEST(type_add, returns_a_failed_growth_of_the_slots_with_the_type_made)
{
    OneModule file;
    faults_start({ .call = FAULT_WRITE, .nth = 3, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(type_add(file, 0, SMALL), (DictStatus)DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(part(memory_of(file, 0), 0, 30), head_bytes(2, 100, 1, 6, 0, 50) + type_bytes(SMALL, 5, 6, 0, 0, 0));
}

// A dictionary with a table of 65792 entries, of which those with these indices are empty, those below are taken, and
// the rest is empty too. It has module 100 of kind 2.
std::string dictionary_with_empty_entries(const std::set<u32> &empty)
{
    OneModule file;
    file.bare.close();
    std::string bytes = file.bare.bytes();
    std::string table = part(bytes, 26, 4 * 14);
    for (u32 i = 4; i < 65792; i++) {
        bool taken = i < *empty.rbegin() && !empty.count(i);
        table += le(taken ? BLOCK_BODIES : BLOCK_FREE, 2) + zeros(12);
    }
    patch(&table, 2 * 14 + 2, le((i64)bytes.size(), 4) + le((i64)table.size(), 4));
    patch(&bytes, 14, le((i64)bytes.size(), 4) + le(65792, 4) + le(256, 4));
    return bytes + table;
}

TEST(type_add, takes_block_65536_for_none)
{
    {
        AfterACrash opened(dictionary_with_empty_entries({ 65535 }));
        ASSERT_EQ(opened.status, (DictStatus)DICT_OK);
        EXPECT_EQ(type_add(opened, 0, SMALL), (DictStatus)DICT_NO_MEMORY);
        EXPECT_EQ(le_get(entry_of(opened, 65536).type), BLOCK_NAMES);   // it stays taken
        EXPECT_EQ(le_get(opened->header.free_entries), 255u);
        EXPECT_EQ(type_add(opened, 0, SMALL), (DictStatus)DICT_OK);     // numbers above are good
        EXPECT_EQ(type_name_block(opened, 2, 100, SMALL), 65537u);
        EXPECT_EQ(type_body_block(opened, 2, 100, SMALL), 65538u);
    }
    AfterACrash opened(dictionary_with_empty_entries({ 65534, 65535 }));
    ASSERT_EQ(opened.status, (DictStatus)DICT_OK);
    EXPECT_EQ(type_add(opened, 0, SMALL), (DictStatus)DICT_NO_MEMORY);
    EXPECT_EQ(le_get(entry_of(opened, 65535).type), BLOCK_FREE);        // of the names: given back
    EXPECT_EQ(le_get(entry_of(opened, 65536).type), BLOCK_BODIES);
}

TEST(type_add_slots, moves_the_whole_slot_area_up_by_five_slots)
{
    OneModule file;
    file.put(SMALL, 1, "one", "body");
    file.put(OTHER, 9, "nine", "other");
    // A mark in the reserve, which stays zero otherwise: it moves too.
    std::string before = memory_of(file, 0);
    u32 size = (u32)before.size();
    *((u8 *)glock(directory_get_handle(file, 0)) + size - 1) = 'r';
    EXPECT_EQ(type_add_slots(file, 0), (DictStatus)DICT_OK);
    std::string slots = slot_bytes(1, 4, 0, 0, 4) + zeros(16) + slot_bytes(9, 5, 0, 0, 5) + zeros(16);
    EXPECT_EQ(memory_of(file, 0), head_bytes(2, 100, 2, 10, 4, 50) + type_bytes(SMALL, 5, 6, 0, 1, 1) +
                                      type_bytes(OTHER, 7, 8, 2, 1, 1) + zeros(10 * 16) + slots +
                                      zeros(50 * 16 - 1) + "r");
    EXPECT_EQ(gsize(directory_get_handle(file, 0)), (i32)size + 80);
    EXPECT_EQ(resources_of(file, 2, 100), (Lines{ "4/1 one=body", "7/9 nine=other" }));  // first_slot needs no change
}

TEST(type_add_slots, changes_nothing_after_a_failure)
{
    OneModule file;
    file.put(SMALL, 1, "one", "body");
    std::string before = memory_of(file, 0);
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(type_add_slots(file, 0), (DictStatus)DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(memory_of(file, 0), before);
    EXPECT_EQ(type_add_slots(file, 1), (DictStatus)DICT_NOT_FOUND);

    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(type_add_slots(file, 0), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(part(memory_of(file, 0), 0, before.size()), before);  // from the file
    EXPECT_EQ(resources_of(file, 2, 100), (Lines{ "4/1 one=body" }));
    EXPECT_GE(memory_sweep(), 1u);
}

// ---- Resources ------------------------------------------------------------------------------------------------------

TEST(resource_add_entry, gives_the_bytes_of_a_first_resource)
{
    OneModule file;
    calls_reset();
    file.put(1, 1, "one", "ten bytes!");
    EXPECT_EQ(block_table_flush(file), (DictStatus)DICT_OK);
    EXPECT_EQ(call_counts().open, 3u);  // and one for the module before
    EXPECT_EQ(le_get(file->header.free_entries), 250u);
    EXPECT_EQ(row(file, 4), "2: 9952 1086 0");
    EXPECT_EQ(row(file, 5), "3: 5856 2048 2044");
    EXPECT_EQ(row(file, 6), "4: 7904 2048 2038");
    EXPECT_EQ(row(file, 7), "0: 4930 926 926");

    std::string bytes = file.bare.bytes();
    EXPECT_EQ(bytes.size(), 11038u);
    EXPECT_EQ(part(bytes, 26 + 3 * 14, 4 * 14), le(2, 2) + le(9952, 4) + le(1086, 4) + le(0, 4) +        // block 4
                                                    le(3, 2) + le(5856, 4) + le(2048, 4) + le(2044, 4) +
                                                    le(4, 2) + le(7904, 4) + le(2048, 4) + le(2038, 4) +
                                                    le(0, 2) + le(4930, 4) + le(926, 4) + le(926, 4));
    EXPECT_EQ(part(bytes, 9952, 1086), head_bytes(2, 100, 1, 6, 10, 50) + type_bytes(1, 5, 6, 0, 1, 9) + zeros(6 * 16) +
                                           slot_bytes(1, 4, 0, 0, 10) + zeros(59 * 16));
    EXPECT_EQ(part(bytes, 5856, 2048), stored("one") + zeros(2044));
    EXPECT_EQ(part(bytes, 7904, 2048), "ten bytes!" + zeros(2038));
}

TEST(resource_range, gives_the_run_of_a_type_and_its_blocks)
{
    OneModule file;
    file.put(OTHER, 5, "five", "");
    file.put(SMALL, 1, "one", "");
    file.put(SMALL, 2, "two", "");
    u16 count = 0;
    u32 names = 0;
    u32 bodies = 0;
    const u8 *slots = (const u8 *)file.directory() + 14 + 7 * 16;
    EXPECT_EQ((const u8 *)resource_range(file, 0, OTHER, &count, &names, &bodies), slots);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(names, 5u);
    EXPECT_EQ(bodies, 6u);
    EXPECT_EQ((const u8 *)resource_range(file, 0, SMALL, &count, &names, &bodies), slots + 2 * 16);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(names, 7u);
    EXPECT_EQ(bodies, 8u);
    EXPECT_EQ((const u8 *)resource_range(file, 0, SMALL, nullptr, nullptr, nullptr), slots + 2 * 16);
}

TEST(resource_range, is_null_without_the_type_or_the_module)
{
    OneModule file;
    u16 count = 77;
    u32 names = 77;
    u32 bodies = 77;
    EXPECT_EQ(resource_range(file, 0, SMALL, &count, &names, &bodies), nullptr);
    EXPECT_EQ(resource_range(file, 1, SMALL, &count, &names, &bodies), nullptr);
    EXPECT_EQ(resource_range(file, MODULE_ABSENT, SMALL, &count, &names, &bodies), nullptr);
    EXPECT_EQ(count + names + bodies, 3u * 77);
}

// Resource entries with these identifiers.
std::vector<ResourceEntry> entries_of(const std::vector<i16> &ids)
{
    std::vector<ResourceEntry> entries(ids.size());
    for (size_t i = 0; i < ids.size(); i++) entries[i].id = le_i16(ids[i]);
    return entries;
}

TEST(resource_find, gives_the_index_of_the_id_as_a_signed_number)
{
    auto entries = entries_of({ -7, 1, 2, 500, 32767 });
    for (u16 i = 0; i < 5; i++) EXPECT_EQ(resource_find(entries.data(), 5, le_get(entries[i].id)), i);
    for (i32 id : { -32768, -8, -1, 0, 3, 499, 501, 32766 }) {
        EXPECT_EQ(resource_find(entries.data(), 5, (i16)id), 0xFFFF) << id;
    }
    EXPECT_EQ(resource_find(entries.data(), 2, 2), 0xFFFF);  // behind the count
    EXPECT_EQ(resource_find(entries.data(), 0, -7), 0xFFFF);
    EXPECT_EQ(resource_find(nullptr, 0, 1), 0xFFFF);
}

TEST(resource_insert_pos, gives_where_an_id_would_go_and_minus_1_for_one_that_exists)
{
    auto entries = entries_of({ -7, 1, 2, 500 });
    EXPECT_EQ(resource_insert_pos(entries.data(), 4, -8), 0);
    EXPECT_EQ(resource_insert_pos(entries.data(), 4, -7), -1);
    EXPECT_EQ(resource_insert_pos(entries.data(), 4, 0), 1);
    EXPECT_EQ(resource_insert_pos(entries.data(), 4, 3), 3);
    EXPECT_EQ(resource_insert_pos(entries.data(), 4, 501), 4);
    EXPECT_EQ(resource_insert_pos(nullptr, 0, 501), 0);
}

TEST(resource_entry, is_the_slot_of_the_id)
{
    OneModule file;
    file.put(SMALL, 5, "five", "5");
    file.put(SMALL, 3, "three", "33");
    u32 names = 0;
    u32 bodies = 0;
    const ResourceEntry *run = resource_range(file, 0, SMALL, nullptr, nullptr, nullptr);
    EXPECT_EQ(resource_entry(file, 0, SMALL, 3, &names, &bodies), run);
    EXPECT_EQ(resource_entry(file, 0, SMALL, 5, &names, &bodies), run + 1);
    EXPECT_EQ(names, 5u);
    EXPECT_EQ(bodies, 6u);
    EXPECT_EQ(resource_entry(file, 0, SMALL, 4, &names, &bodies), nullptr);
    EXPECT_EQ(resource_entry(file, 0, OTHER, 3, &names, &bodies), nullptr);
    EXPECT_EQ(resource_entry(file, 1, SMALL, 3, &names, &bodies), nullptr);
    EXPECT_EQ(resource_entry(file, -1, SMALL, 3, nullptr, nullptr), nullptr);
}

TEST(resource_entry_at, is_the_slot_at_a_position_from_0)
{
    OneModule file;
    file.put(SMALL, 5, "five", "5");
    file.put(SMALL, 3, "three", "33");
    file.put(SMALL, 9, "nine", "9");
    const ResourceEntry *run = resource_range(file, 0, SMALL, nullptr, nullptr, nullptr);
    for (i32 i = 0; i < 3; i++) EXPECT_EQ(resource_entry_at(file, 0, SMALL, i, nullptr, nullptr), run + i);
    for (i32 position : { -1, 3, 4, 65536, INT_MIN, INT_MAX }) {
        EXPECT_EQ(resource_entry_at(file, 0, SMALL, position, nullptr, nullptr), nullptr) << position;
    }
    EXPECT_EQ(resource_entry_at(file, 0, OTHER, 0, nullptr, nullptr), nullptr);
    EXPECT_EQ(resource_entry_at(file, 2, SMALL, 0, nullptr, nullptr), nullptr);
}

// Three types in the order SMALL, THIRD, OTHER of their making, two slots each, the middle run full.
struct ThreeTypes : OneModule {
    ThreeTypes()
    {
        put(SMALL, 1, "s1", "small");
        put(THIRD, 1, "t1", "third");
        put(THIRD, 2, "t2", "third 2");
        put(OTHER, 1, "o1", "other");
        put(OTHER, 2, "o2", "other 2");
    }
};

TEST(resource_add_slots, moves_the_runs_behind_and_not_those_in_front)
{
    ThreeTypes file;
    Lines before = resources_of(file, 2, 100);
    const std::string small = slot_bytes(1, 3, 0, 0, 5) + zeros(16);
    const std::string third = slot_bytes(1, 3, 0, 0, 5) + slot_bytes(2, 3, 3, 5, 7);
    const std::string other = third;
    EXPECT_EQ(part(memory_of(file, 0), 0, 14 + 13 * 16),
              head_bytes(2, 100, 3, 4, 6, 50) + type_bytes(SMALL, 5, 6, 0, 1, 1) + type_bytes(OTHER, 8, 10, 4, 2, 0) +
                  type_bytes(THIRD, 7, 9, 2, 2, 0) + zeros(4 * 16) + small + third + other);

    EXPECT_EQ(resource_add_slots(file, 0, THIRD), (DictStatus)DICT_OK);
    EXPECT_EQ(memory_of(file, 0),
              head_bytes(2, 100, 3, 4, 8, 50) + type_bytes(SMALL, 5, 6, 0, 1, 1) + type_bytes(OTHER, 8, 10, 6, 2, 0) +
                  type_bytes(THIRD, 7, 9, 2, 2, 2) + zeros(4 * 16) + small + third + zeros(32) + other +
                  zeros(50 * 16));
    EXPECT_EQ(resources_of(file, 2, 100), before);
    EXPECT_EQ(directory_save(file, 2, 100), (DictStatus)DICT_OK);
    file.reopen();
    EXPECT_EQ(resources_of(file, 2, 100), before);
}

TEST(resource_add_slots, of_the_last_run_takes_the_place_of_the_reserve_without_moving_it)
{
    ThreeTypes file;
    u8 *bytes = (u8 *)glock(directory_get_handle(file, 0));
    size_t reserve = 14 + 7 * 16 + 6 * 16;
    bytes[reserve + 10 * 16] = 'r';            // a mark in its eleventh slot
    EXPECT_EQ(resource_add_slots(file, 0, OTHER), (DictStatus)DICT_OK);
    std::string after = memory_of(file, 0);
    EXPECT_EQ(after[reserve + 10 * 16], 'r');  // which is the ninth now, at the same place
    EXPECT_EQ(part(after, reserve, 32), zeros(32));
    EXPECT_EQ(le_get(file.directory()->reserve_slots), 50);
}

TEST(resource_add_slots, clears_the_new_slots)
{
    ThreeTypes file;
    u8 *bytes = (u8 *)glock(directory_get_handle(file, 0));
    memset(bytes + 14 + 7 * 16 + 6 * 16, 'x', 50 * 16);  // what a damaged file may have in its reserve
    EXPECT_EQ(resource_add_slots(file, 0, OTHER), (DictStatus)DICT_OK);
    EXPECT_EQ(part(memory_of(file, 0), 14 + 7 * 16 + 6 * 16, 32), zeros(32));
}

TEST(resource_add_slots, gains_the_unit_of_the_type)
{
    for (i16 type : { (i16)4, (i16)2, (i16)27, (i16)5, (i16)52, (i16)6, (i16)9 }) {
        OneModule file;
        EXPECT_EQ(type_add(file, 0, type), (DictStatus)DICT_OK);
        i32 unit = slot_unit(type);
        EXPECT_EQ(le_get(file.directory()->assigned_slots), unit) << type;
        EXPECT_EQ(resource_add_slots(file, 0, type), (DictStatus)DICT_OK);
        EXPECT_EQ(le_get(file.directory()->assigned_slots), 2 * unit) << type;
        EXPECT_EQ(le_get(type_entry(file.directory(), type)->free_slots), 2 * unit) << type;
        EXPECT_EQ(gsize(directory_get_handle(file, 0)), 926 + 2 * unit * 16) << type;
    }
}

TEST(resource_add_slots, gives_3_without_the_type_and_makes_room_all_the_same)
{
    OneModule file;
    EXPECT_EQ(resource_add_slots(file, 0, SMALL), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(gsize(directory_get_handle(file, 0)), 926 + 32);
    EXPECT_EQ(part(memory_of(file, 0), 0, 926), head_bytes(2, 100, 0, 7, 0, 50) + zeros(912));
    EXPECT_EQ(resource_add_slots(file, 1, SMALL), (DictStatus)DICT_NOT_FOUND);
}

TEST(resource_add_slots, changes_nothing_after_a_failure)
{
    ThreeTypes file;
    std::string before = memory_of(file, 0);
    Lines resources = resources_of(file, 2, 100);
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(resource_add_slots(file, 0, THIRD), (DictStatus)DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(memory_of(file, 0), before);

    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(resource_add_slots(file, 0, THIRD), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(resources_of(file, 2, 100), resources);
    EXPECT_EQ(resource_add_slots(file, 0, THIRD), (DictStatus)DICT_OK);
    EXPECT_EQ(resources_of(file, 2, 100), resources);
    EXPECT_GE(memory_sweep(), 1u);
}

TEST(resource_add_slots, keeps_apart_a_type_that_got_no_slots_from_the_next_one)
{
    OneModule file;
    faults_start({ .call = FAULT_WRITE, .nth = 3, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(type_add(file, 0, SMALL), (DictStatus)DICT_NO_ROOM);   // its blocks are there, its slots are not
    EXPECT_TRUE(faults_stop());
    file.put(OTHER, 11, "other 11", "o 11");                         // begins at the same slot
    file.put(SMALL, 1, "s1", "small");
    EXPECT_EQ(resources_of(file, 2, 100), (Lines{ "4/1 s1=small", "7/11 other 11=o 11" }));
    file.put(OTHER, 12, "other 12", "o 12");
    file.put(OTHER, 13, "other 13", "o 13");
    file.put(SMALL, 2, "s2", "small 2");
    file.put(SMALL, 3, "s3", "small 3");
    EXPECT_EQ(resources_of(file, 2, 100),
              (Lines{ "4/1 s1=small", "4/2 s2=small 2", "4/3 s3=small 3", "7/11 other 11=o 11", "7/12 other 12=o 12",
                      "7/13 other 13=o 13" }));
}

// A dictionary whose one directory has one type, OTHER, with a run of so many free slots.
std::string dictionary_with_slots(u32 slots)
{
    OneModule file;
    file.bare.close();
    std::string bytes = file.bare.bytes();
    std::string directory = head_bytes(2, 100, 1, 6, slots, 50) + type_bytes(OTHER, 5, 6, 0, 0, slots) +
                            zeros(6 * 16 + (slots + 50) * 16);
    patch(&bytes, 26 + 3 * 14 + 2, le((i64)bytes.size(), 4) + le((i64)directory.size(), 4) + le(0, 4));
    return bytes + directory;
}

TEST(resource_add_slots, gives_13_when_the_counter_of_slots_is_full)
{
    {
        AfterACrash opened(dictionary_with_slots(65532));
        EXPECT_EQ(resource_add_slots(opened, 0, OTHER), (DictStatus)DICT_OK);  // 2 more: 65534
        EXPECT_EQ(resource_add_slots(opened, 0, 2), (DictStatus)DICT_NO_ROOM); // 5 more
        EXPECT_EQ(le_get(directory_get(opened, 0)->assigned_slots), 65534);
        EXPECT_EQ(le_get(type_entry(directory_get(opened, 0), OTHER)->free_slots), 65534);
        EXPECT_EQ(resource_add_slots(opened, 0, OTHER), (DictStatus)DICT_NO_ROOM);
    }
    AfterACrash opened(dictionary_with_slots(65533));
    EXPECT_EQ(resource_add_slots(opened, 0, OTHER), (DictStatus)DICT_OK);
    EXPECT_EQ(le_get(directory_get(opened, 0)->assigned_slots), 65535);
    i32 length = dict_length(opened);
    EXPECT_EQ(resource_add_slots(opened, 0, OTHER), (DictStatus)DICT_NO_ROOM);
    EXPECT_EQ(type_add(opened, 0, SMALL), (DictStatus)DICT_NO_ROOM);
    EXPECT_EQ(type_add(opened, 0, OTHER), (DictStatus)DICT_EXISTS);        // it is there: that comes first
    EXPECT_EQ(resource_add_entry(opened, 2, 100, SMALL, 1, 4, 4), (DictStatus)DICT_NO_ROOM);
    EXPECT_EQ(dict_length(opened), length);
}

TEST(type_add_slots, gives_13_when_the_counter_of_free_types_is_full)
{
    OneModule file;
    file.directory()->free_type_slots = le16(65531);
    EXPECT_EQ(type_add_slots(file, 0), (DictStatus)DICT_NO_ROOM);
    EXPECT_EQ(le_get(file.directory()->free_type_slots), 65531);
    file.directory()->free_type_slots = le16(7);
}

TEST(resource_add_entry, keeps_the_run_sorted_by_signed_id)
{
    OneModule file;
    for (i32 id : { 5, -3, 20, 1, 32767, -32768 }) {
        EXPECT_EQ(resource_add_entry(file, 2, 100, SMALL, (i16)id, 0, 0), (DictStatus)DICT_OK);
    }
    const i16 order[] = { -32768, -3, 1, 5, 20, 32767 };
    for (i32 i = 0; i < 6; i++) {
        EXPECT_EQ(le_get(resource_entry_at(file, 0, SMALL, i, nullptr, nullptr)->id), order[i]);
    }
    const TypeEntry *type = type_entry(file.directory(), SMALL);
    EXPECT_EQ(le_get(type->resource_count), 6);
    EXPECT_EQ(le_get(type->free_slots), 0);
}

TEST(resource_add_entry, records_where_name_and_body_will_go)
{
    OneModule file;
    file.put(SMALL, 5, "five", "12345");
    EXPECT_EQ(resource_add_entry(file, 2, 100, SMALL, 3, 7, 70), (DictStatus)DICT_OK);
    EXPECT_EQ(part(memory_of(file, 0), 14 + 7 * 16, 32), slot_bytes(3, 7, 5, 5, 70) + slot_bytes(5, 5, 0, 0, 5));
    EXPECT_EQ(row(file, 5), "3: 5856 32 27");  // neither is there yet
    EXPECT_EQ(row(file, 6), "4: 5888 32 27");
}

TEST(resource_add_entry, writes_nothing_while_there_are_slots)
{
    OneModule file;
    file.put(SMALL, 5, "five", "12345");
    calls_reset();
    EXPECT_EQ(resource_add_entry(file, 2, 100, SMALL, 3, 7, 70), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines(), Lines());
}

TEST(resource_add_entry, gains_slots_when_the_run_is_full)
{
    OneModule file;
    file.put(SMALL, 1, "one", "1");
    file.put(SMALL, 2, "two", "2");
    EXPECT_EQ(le_get(type_entry(file.directory(), SMALL)->free_slots), 0);
    file.put(SMALL, 3, "three", "3");
    EXPECT_EQ(le_get(type_entry(file.directory(), SMALL)->free_slots), 1);
    EXPECT_EQ(le_get(file.directory()->assigned_slots), 4);
    EXPECT_EQ(resources_of(file, 2, 100), (Lines{ "4/1 one=1", "4/2 two=2", "4/3 three=3" }));
}

TEST(resource_add_entry, gives_3_for_an_absent_module)
{
    OneModule file;
    EXPECT_EQ(resource_add_entry(file, 2, 101, SMALL, 1, 4, 4), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(resource_add_entry(file, 3, 100, SMALL, 1, 4, 4), (DictStatus)DICT_NOT_FOUND);
    directory_drop(file, 2, 100);
    faults_start({ .call = FAULT_READ, .nth = 1, .from_then_on = true });
    EXPECT_EQ(resource_add_entry(file, 2, 100, SMALL, 1, 4, 4), (DictStatus)DICT_NOT_FOUND);
    EXPECT_TRUE(faults_stop());
}

TEST(resource_add_entry, gives_2_for_an_id_that_exists_and_changes_nothing)
{
    OneModule file;
    file.put(SMALL, 1, "one", "1");
    for (bool full : { false, true }) {
        std::string before = memory_of(file, 0);
        calls_reset();
        EXPECT_EQ(resource_add_entry(file, 2, 100, SMALL, 1, 4, 4), (DictStatus)DICT_EXISTS);
        EXPECT_EQ(memory_of(file, 0), before);
        EXPECT_EQ(call_lines(), Lines());
        if (!full) file.put(SMALL, 2, "two", "2");  // the run is full with it
    }
}

TEST(resource_add_entry, gives_2_for_an_id_that_types_out_of_order_have_hidden)
{
    OneModule file;
    for (i16 type = 31; type <= 36; type++) file.put(type, 9, "nine", "body");
    // Six types so out of order that 4 is found only when it is there for the second time.
    const i16 damaged[] = { 0, SMALL, 1, 50, 2, 9 };
    for (i32 i = 0; i < 6; i++) type_at(file.directory(), i)->type = le_i16(damaged[i]);
    EXPECT_EQ(type_find(file.directory(), SMALL), -1);
    EXPECT_EQ(resource_add_entry(file, 2, 100, SMALL, 9, 4, 4), (DictStatus)DICT_EXISTS);
    EXPECT_EQ(type_find(file.directory(), SMALL), 1);
    EXPECT_EQ(le_get(type_at(file.directory(), 1)->resource_count), 1);
}

TEST(resource_add_entry, makes_no_half_entry_when_a_block_cannot_be_read)
{
    OneModule file;
    file.put(SMALL, 1, "one", "1");
    EXPECT_EQ(block_table_flush(file), (DictStatus)DICT_OK);
    std::string before = memory_of(file, 0);
    block_cache_drop(file);
    faults_start({ .call = FAULT_ALLOC });  // of the page
    EXPECT_EQ(resource_add_entry(file, 2, 100, SMALL, 2, 4, 4), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(memory_of(file, 0), before);
    EXPECT_EQ(resource_add_entry(file, 2, 100, SMALL, 2, 4, 4), (DictStatus)DICT_OK);
}

TEST(resource_add_entry, gives_the_status_of_a_failed_type_or_slot)
{
    OneModule file;
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(resource_add_entry(file, 2, 100, SMALL, 1, 4, 4), (DictStatus)DICT_NO_MEMORY);  // of `type_add`
    EXPECT_TRUE(faults_stop());
    file.put(SMALL, 1, "one", "1");
    file.put(SMALL, 2, "two", "2");
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(resource_add_entry(file, 2, 100, SMALL, 3, 4, 4), (DictStatus)DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(type_resource_count(file, 2, 100, SMALL), 2);
}

TEST(resource_add_entry, works_with_types_beyond_63)
{
    OneModule file;
    for (i16 type : { (i16)0, (i16)64, (i16)1000, (i16)-25536, (i16)-1 }) {
        file.put(type, 1, "one", "body " + std::to_string(type));
    }
    file.reopen();
    EXPECT_EQ(resources_of(file, 2, 100),
              (Lines{ "-25536/1 one=body -25536", "-1/1 one=body -1", "0/1 one=body 0", "64/1 one=body 64",
                      "1000/1 one=body 1000" }));
}

TEST(resource_remove_entry, closes_the_gap_and_clears_the_last_slot)
{
    OneModule file;
    file.put(SMALL, 1, "one", "1");
    file.put(SMALL, 2, "two", "22");
    file.put(SMALL, 3, "three", "333");
    calls_reset();
    EXPECT_EQ(resource_remove_entry(file, 2, 100, SMALL, 2), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines(), Lines());
    EXPECT_EQ(part(memory_of(file, 0), 0, 14 + 11 * 16),
              head_bytes(2, 100, 1, 6, 4, 50) + type_bytes(SMALL, 5, 6, 0, 2, 2) + zeros(6 * 16) +
                  slot_bytes(1, 4, 0, 0, 1) + slot_bytes(3, 6, 8, 3, 3) + zeros(32));
    EXPECT_EQ(resource_remove_entry(file, 2, 100, SMALL, 3), (DictStatus)DICT_OK);
    EXPECT_EQ(part(memory_of(file, 0), 14 + 7 * 16, 32), slot_bytes(1, 4, 0, 0, 1) + zeros(16));
}

TEST(resource_remove_entry, keeps_the_type_and_its_blocks)
{
    OneModule file;
    file.put(SMALL, 1, "one", "1");
    EXPECT_EQ(resource_remove_entry(file, 2, 100, SMALL, 1), (DictStatus)DICT_OK);
    EXPECT_EQ(part(memory_of(file, 0), 0, 30), head_bytes(2, 100, 1, 6, 2, 50) + type_bytes(SMALL, 5, 6, 0, 0, 2));
    EXPECT_EQ(le_get(entry_of(file, 5).type), BLOCK_NAMES);
    EXPECT_EQ(le_get(entry_of(file, 6).type), BLOCK_BODIES);
    u32 free_entries = le_get(file->header.free_entries);
    calls_reset();
    EXPECT_EQ(resource_add_entry(file, 2, 100, SMALL, 9, 0, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines(), Lines());  // slots and blocks are there
    EXPECT_EQ(le_get(file->header.free_entries), free_entries);
}

TEST(resource_remove_entry, gives_3_when_anything_is_missing)
{
    OneModule file;
    EXPECT_EQ(resource_remove_entry(file, 2, 100, SMALL, 1), (DictStatus)DICT_NOT_FOUND);
    file.put(SMALL, 1, "one", "1");
    EXPECT_EQ(resource_remove_entry(file, 2, 100, SMALL, 2), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(resource_remove_entry(file, 2, 100, OTHER, 1), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(resource_remove_entry(file, 2, 101, SMALL, 1), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(type_resource_count(file, 2, 100, SMALL), 1);
}

// Four entries with these name and body offsets, and sizes above 0.
struct FourOffsets : OneModule {
    FourOffsets()
    {
        for (i16 id = 1; id <= 4; id++) {
            EXPECT_EQ(resource_add_entry(bare, 2, 100, SMALL, id, 5, 7), (DictStatus)DICT_OK);
            ResourceEntry *entry = resource_entry(bare, 0, SMALL, id, nullptr, nullptr);
            entry->name_offset = le_i32(100 - 10 * id);   // 90, 80, 70, 60: not in the order of the identifiers
            entry->body_offset = le_i32(1000 + 10 * id);  // 1010, 1020, 1030, 1040
        }
    }
    std::vector<i32> names()
    {
        std::vector<i32> offsets;
        for (i16 id = 1; id <= 4; id++) offsets.push_back(resource_name_offset(bare, 2, 100, SMALL, id));
        return offsets;
    }
    std::vector<i32> bodies()
    {
        std::vector<i32> offsets;
        for (i16 id = 1; id <= 4; id++) offsets.push_back(resource_body_offset(bare, 2, 100, SMALL, id));
        return offsets;
    }
};

using Offsets = std::vector<i32>;

TEST(resource_shift_names, adds_the_difference_to_the_names_behind)
{
    FourOffsets file;
    EXPECT_EQ(resource_shift_names(file, 2, 100, SMALL, 3, 5), (DictStatus)DICT_OK);
    EXPECT_EQ(file.names(), (Offsets{ 95, 85, 70, 60 }));
    EXPECT_EQ(resource_shift_names(file, 2, 100, SMALL, 4, -7), (DictStatus)DICT_OK);
    EXPECT_EQ(file.names(), (Offsets{ 88, 78, 63, 60 }));
    EXPECT_EQ(resource_shift_names(file, 2, 100, SMALL, 1, 1000), (DictStatus)DICT_OK);
    EXPECT_EQ(file.names(), (Offsets{ 88, 78, 63, 60 }));
    EXPECT_EQ(file.bodies(), (Offsets{ 1010, 1020, 1030, 1040 }));
}

TEST(resource_shift_bodies, adds_the_difference_to_the_bodies_behind)
{
    FourOffsets file;
    EXPECT_EQ(resource_shift_bodies(file, 2, 100, SMALL, 3, -5), (DictStatus)DICT_OK);
    EXPECT_EQ(file.bodies(), (Offsets{ 1010, 1020, 1030, 1035 }));
    EXPECT_EQ(resource_shift_bodies(file, 2, 100, SMALL, 1, 100), (DictStatus)DICT_OK);
    EXPECT_EQ(file.bodies(), (Offsets{ 1010, 1120, 1130, 1135 }));
    EXPECT_EQ(file.names(), (Offsets{ 90, 80, 70, 60 }));
}

TEST(resource_shift_bodies, touches_no_other_type_and_writes_nothing)
{
    FourOffsets file;
    EXPECT_EQ(resource_add_entry(file, 2, 100, OTHER, 1, 5, 7), (DictStatus)DICT_OK);
    ResourceEntry *other = resource_entry(file, 0, OTHER, 1, nullptr, nullptr);
    other->body_offset = le_i32(5000);
    calls_reset();
    EXPECT_EQ(resource_shift_bodies(file, 2, 100, SMALL, 1, 100), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines(), Lines());
    EXPECT_EQ(resource_body_offset(file, 2, 100, OTHER, 1), 5000);
}

TEST(resource_shift_bodies, gives_3_when_the_type_or_the_id_is_absent)
{
    FourOffsets file;
    EXPECT_EQ(resource_shift_bodies(file, 2, 100, SMALL, 5, 1), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(resource_shift_bodies(file, 2, 100, OTHER, 1, 1), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(resource_shift_bodies(file, 2, 101, SMALL, 1, 1), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(resource_shift_names(file, 2, 100, SMALL, 5, 1), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(resource_shift_names(file, 2, 100, OTHER, 1, 1), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(resource_shift_names(file, 3, 100, SMALL, 1, 1), (DictStatus)DICT_NOT_FOUND);
}

TEST(resource_shift_bodies, moves_what_has_bytes_at_the_same_offset)
{
    FourOffsets file;
    for (i16 id = 1; id <= 4; id++) {
        ResourceEntry *entry = resource_entry(file, 0, SMALL, id, nullptr, nullptr);
        entry->name_offset = entry->body_offset = le_i32(50);
    }
    EXPECT_EQ(resource_set_body_size(file, 2, 100, SMALL, 1, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(resource_set_body_size(file, 2, 100, SMALL, 3, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(resource_shift_bodies(file, 2, 100, SMALL, 1, 9), (DictStatus)DICT_OK);
    EXPECT_EQ(file.bodies(), (Offsets{ 50, 59, 50, 59 }));  // the reference stays, and 3, which has no bytes

    EXPECT_EQ(resource_set_name_size(file, 2, 100, SMALL, 2, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(resource_shift_names(file, 2, 100, SMALL, 3, 9), (DictStatus)DICT_OK);
    EXPECT_EQ(file.names(), (Offsets{ 59, 50, 50, 59 }));
}

TEST(resource_shift_bodies, keeps_bodies_apart_when_one_without_bytes_gets_some)
{
    OneModule file;
    file.put(SMALL, 1, "A", "");
    file.put(SMALL, 2, "B", "of B");
    file.put(SMALL, 3, "C", "of C");
    EXPECT_EQ(resource_body_offset(file, 2, 100, SMALL, 1), resource_body_offset(file, 2, 100, SMALL, 2));

    // As a change of A does it: the bytes, the offsets behind, the size.
    EXPECT_EQ(block_splice(file, type_body_block(file, 2, 100, SMALL), "of A, new", 0, 9, 0, 16), (DictStatus)DICT_OK);
    EXPECT_EQ(resource_shift_bodies(file, 2, 100, SMALL, 1, 9), (DictStatus)DICT_OK);
    EXPECT_EQ(resource_set_body_size(file, 2, 100, SMALL, 1, 9), (DictStatus)DICT_OK);
    EXPECT_EQ(resources_of(file, 2, 100), (Lines{ "4/1 A=of A, new", "4/2 B=of B", "4/3 C=of C" }));
}

TEST(resource_shift_bodies, keeps_bodies_apart_through_the_exported_writes)
{
    Library library;
    library.add_module(2, 99, "so that the next is the second of its kind");
    library.add_module(2, 100, "Mod");
    EXPECT_EQ(library.add(2, 100, 1, 1, "A", ""), (DictStatus)DICT_OK);
    EXPECT_EQ(library.add(2, 100, 1, 2, "B", "of B"), (DictStatus)DICT_OK);
    EXPECT_EQ(library.change(2, 100, 1, 1, "A", "of A, new"), (DictStatus)DICT_OK);
    EXPECT_EQ(library.body(2, 100, 1, 1), "of A, new");
    EXPECT_EQ(library.body(2, 100, 1, 2), "of B");
    library.reopen(DICT_EXCLUSIVE);
    EXPECT_EQ(library.body(2, 100, 1, 1), "of A, new");
    EXPECT_EQ(library.body(2, 100, 1, 2), "of B");
}

TEST(resource_shift_names, keeps_names_apart_when_one_without_bytes_gets_some)
{
    OneModule file;
    std::string longest(255, 'n');       // its stored size of 256 is 0 in 8 bits, and nothing of it is stored
    file.put(SMALL, 1, longest, "A");
    file.put(SMALL, 2, "B", "B");
    EXPECT_EQ(resource_name_size(file, 2, 100, SMALL, 1), 0);
    EXPECT_EQ(resource_name_offset(file, 2, 100, SMALL, 2), resource_name_offset(file, 2, 100, SMALL, 1));
    EXPECT_EQ(block_splice(file, type_name_block(file, 2, 100, SMALL), "\x04name", 0, 5, 0, 16), (DictStatus)DICT_OK);
    EXPECT_EQ(resource_shift_names(file, 2, 100, SMALL, 1, 5), (DictStatus)DICT_OK);
    EXPECT_EQ(resource_set_name_size(file, 2, 100, SMALL, 1, 5), (DictStatus)DICT_OK);
    EXPECT_EQ(resources_of(file, 2, 100), (Lines{ "4/1 name=A", "4/2 B=B" }));
}

TEST(resource_shift_bodies, of_offsets_at_the_ends_of_their_range_wraps)
{
    FourOffsets file;
    resource_entry(file, 0, SMALL, 1, nullptr, nullptr)->body_offset = le_i32(INT_MIN);
    resource_entry(file, 0, SMALL, 2, nullptr, nullptr)->body_offset = le_i32(INT_MAX);
    EXPECT_EQ(resource_shift_bodies(file, 2, 100, SMALL, 1, 1), (DictStatus)DICT_OK);
    EXPECT_EQ(file.bodies(), (Offsets{ INT_MIN, INT_MIN, 1031, 1041 }));
}

// ---- Names ----------------------------------------------------------------------------------------------------------

struct Scan {
    i32 index;
    i16 id = 77;
    DictStatus status = 77;

    Scan(DictFile *file, const std::string &name, i16 type = SMALL)
    {
        u16 count = 0;
        u32 names = 0;
        const ResourceEntry *run = resource_range(file, 0, type, &count, &names, nullptr);
        index = resource_scan_names(file, run, count, Name(name), names, &id, &status);
    }
};

TEST(resource_scan_names, gives_index_and_id_of_the_match)
{
    OneModule file;
    file.put(SMALL, 30, "one", "");
    file.put(SMALL, 10, "two", "");
    file.put(SMALL, 20, "", "");
    calls_reset();
    Scan two(file, "two");
    EXPECT_EQ(two.index, 0);
    EXPECT_EQ(two.id, 10);
    EXPECT_EQ(two.status, (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_READ }), (Lines{ "read 5856+32" }));  // the block, once
    EXPECT_EQ(Scan(file, "one").index, 2);
    EXPECT_EQ(Scan(file, "").index, 1);
    for (const char *absent : { "One", "on", "ones", "three", " " }) {
        Scan none(file, absent);
        EXPECT_EQ(none.index, -1) << absent;
        EXPECT_EQ(none.id, 77) << absent;
        EXPECT_EQ(none.status, (DictStatus)DICT_OK) << absent;
    }
}

TEST(resource_scan_names, frees_the_block)
{
    OneModule file;
    file.put(SMALL, 1, "one", "");
    u32 alive = handles_alive();
    EXPECT_EQ(Scan(file, "one").index, 0);
    EXPECT_EQ(Scan(file, "two").index, -1);
    EXPECT_EQ(handles_alive(), alive);
}

// Make the name block of type SMALL as large as `size`, and give it the names "one" (id 1), 79 times "a" and "x" (id
// 2), and "two" (id 3).
void fill_names(OneModule *file, u32 size)
{
    file->put(SMALL, 1, "one", "");
    file->put(SMALL, 2, std::string(79, 'a') + "x", "");
    file->put(SMALL, 3, "two", "");
    BlockEntry entry = entry_of(*file, 5);
    EXPECT_EQ(block_grow(*file, 5, &entry, size), (DictStatus)DICT_OK);
    EXPECT_EQ(block_write_entry(*file, 4, &entry), (DictStatus)DICT_OK);
}

TEST(resource_scan_names, compares_79_characters_above_65500_bytes)
{
    const std::string a79(79, 'a');
    {
        OneModule file;
        fill_names(&file, 65500);
        EXPECT_EQ(Scan(file, a79 + "x").id, 2);
        EXPECT_EQ(Scan(file, a79).index, -1);
        EXPECT_EQ(Scan(file, a79 + "y").index, -1);
    }
    OneModule file;
    fill_names(&file, 65501);
    EXPECT_EQ(Scan(file, a79).id, 2);              // the name reads as its first 79 characters
    EXPECT_EQ(Scan(file, a79 + "x").index, -1);    // and so its own 80 are not found
}

TEST(resource_scan_names, reads_name_by_name_above_65500_bytes)
{
    OneModule file;
    fill_names(&file, 65501);
    std::string at = std::to_string(le_get(entry_of(file, 5).offset));
    u32 offset = le_get(entry_of(file, 5).offset);
    calls_reset();
    EXPECT_EQ(Scan(file, "two").id, 3);
    EXPECT_EQ(call_lines({ FAULT_SEEK, FAULT_READ }),
              (Lines{ "seek " + at, "read " + at + "+80", "seek " + std::to_string(offset + 4),
                      "read " + std::to_string(offset + 4) + "+80", "seek " + std::to_string(offset + 85),
                      "read " + std::to_string(offset + 85) + "+80" }));
    calls_reset();
    EXPECT_EQ(Scan(file, "one").id, 1);
    EXPECT_EQ(call_counts().read, 1u);  // the scan ends with the match
}

TEST(resource_scan_names, reads_name_by_name_when_the_block_cannot_be_loaded)
{
    OneModule file;
    file.put(SMALL, 1, "one", "");
    file.put(SMALL, 2, "two", "");
    for (FaultCall call : { FAULT_ALLOC, FAULT_READ }) {
        faults_start({ .call = call });
        Scan two(file, "two");
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(two.id, 2);
        EXPECT_EQ(two.status, (DictStatus)DICT_OK);
    }
}

TEST(resource_scan_names, ends_with_the_status_of_a_failed_read)
{
    OneModule file;
    fill_names(&file, 65501);
    faults_start({ .call = FAULT_READ, .nth = 2, .error = PLATFORM_ACCESS_DENIED });
    calls_reset();
    Scan two(file, "two");
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(two.index, -1);
    EXPECT_EQ(two.id, 77);
    EXPECT_EQ(two.status, (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_EQ(call_counts().read, 2u);
}

TEST(resource_scan_names, gives_the_status_of_a_block_that_is_no_name_block)
{
    OneModule file;
    file.put(SMALL, 1, "one", "");
    for (u32 block : { 0u, 1u, 2u, 3u, 4u, 6u, 200u, 257u, 0xFFFFFFFFu }) {
        i16 id;
        DictStatus status = 77;
        const ResourceEntry *run = resource_range(file, 0, SMALL, nullptr, nullptr, nullptr);
        EXPECT_EQ(resource_scan_names(file, run, 1, Name("one"), block, &id, &status), -1) << block;
        EXPECT_EQ(status, (DictStatus)DICT_NOT_FOUND) << block;
    }
}

TEST(resource_scan_names, takes_a_name_of_stored_size_0_for_the_name_behind_it)
{
    OneModule file;
    file.put(SMALL, 1, std::string(255, 'n'), "");  // nothing of it is stored
    EXPECT_EQ(Scan(file, std::string(255, 'n')).index, -1);
    EXPECT_EQ(Scan(file, "").index, 0);             // what the block has there is 0
    file.put(SMALL, 2, "two", "");
    EXPECT_EQ(Scan(file, "two").id, 1);             // and now it is the name of 2
}

TEST(resource_scan_names, goes_on_behind_an_offset_that_is_outside_the_block)
{
    for (u32 size : { 65500u, 65501u }) {
        OneModule file;
        fill_names(&file, size);
        ResourceEntry *first = resource_entry(file, 0, SMALL, 1, nullptr, nullptr);
        for (i32 offset : { -1, INT_MIN, (i32)size, (i32)size + 1, INT_MAX, INT_MAX - 10000 }) {
            first->name_offset = le_i32(offset);
            EXPECT_EQ(Scan(file, "one").index, -1) << offset;
            EXPECT_EQ(Scan(file, "one").status, (DictStatus)DICT_OK) << offset;
            EXPECT_EQ(Scan(file, "two").id, 3) << offset;
        }
        // A name whose last byte would stand behind the block: as a 0, which is what a longer read would find there.
        first->name_offset = le_i32((i32)size - 3);
        EXPECT_EQ(dict_write_at(file->file, le_get(entry_of(file, 5).offset) + size - 3, "\x03" "ab", 3),
                  (DictStatus)DICT_OK);
        if (size == 65500) {  // only in memory is the end of the block known
            EXPECT_EQ(Scan(file, std::string("ab\0", 3)).index, -1);
        }
        EXPECT_EQ(Scan(file, "two").id, 3);
    }
}

TEST(resource_find_by_name, gives_the_id_and_where_the_body_stands)
{
    OneModule file;
    file.put(SMALL, 30, "one", "first");
    file.put(SMALL, 10, "two", "second");
    u32 offset = 77;
    i32 size = 77;
    EXPECT_EQ(resource_find_by_name(file, 2, 100, SMALL, Name("two"), &offset, &size), 10);
    EXPECT_EQ(offset, le_get(entry_of(file, 6).offset) + 5);
    EXPECT_EQ(size, 6);
    EXPECT_EQ(resource_find_by_name(file, 2, 100, SMALL, Name("one"), nullptr, nullptr), 30);
}

TEST(resource_find_by_name, gives_0_when_anything_is_missing)
{
    OneModule file;
    file.put(SMALL, 1, "one", "first");
    u32 offset = 77;
    i32 size = 77;
    EXPECT_EQ(resource_find_by_name(file, 2, 100, SMALL, Name("two"), &offset, &size), 0);
    EXPECT_EQ(resource_find_by_name(file, 2, 100, OTHER, Name("one"), &offset, &size), 0);
    EXPECT_EQ(resource_find_by_name(file, 2, 101, SMALL, Name("one"), &offset, &size), 0);
    EXPECT_EQ(resource_find_by_name(file, 3, 100, SMALL, Name("one"), &offset, &size), 0);
    EXPECT_EQ(offset, 77u);
    EXPECT_EQ(size, 77);
}

TEST(resource_find_by_name, leaves_the_size_alone_when_the_body_would_end_behind_its_block)
{
    OneModule file;
    file.put(SMALL, 1, "one", "first");
    ResourceEntry *entry = resource_entry(file, 0, SMALL, 1, nullptr, nullptr);
    const struct {
        i32 offset, size;
        bool inside;
    } rows[] = {
        { 0, 32, true },  // the whole block, used or not
        { 0, 33, false }, { 20, 12, true }, { 20, 13, false }, { INT_MAX, INT_MAX, false },
    };
    for (const auto &r : rows) {
        entry->body_offset = le_i32(r.offset);
        entry->body_size = le_i32(r.size);
        u32 offset = 77;
        i32 size = 77;
        EXPECT_EQ(resource_find_by_name(file, 2, 100, SMALL, Name("one"), &offset, &size), 1);
        EXPECT_EQ(offset, le_get(entry_of(file, 6).offset) + (u32)r.offset);
        EXPECT_EQ(size, r.inside ? r.size : 77) << r.offset << " " << r.size;
    }
}

TEST(resource_find_by_name, takes_a_failed_read_for_not_found)
{
    OneModule file;
    file.put(SMALL, 1, "one", "first");
    faults_start({ .call = FAULT_READ, .from_then_on = true });
    EXPECT_EQ(resource_find_by_name(file, 2, 100, SMALL, Name("one"), nullptr, nullptr), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(resource_find_by_name(file, 2, 100, SMALL, Name("one"), nullptr, nullptr), 1);
}

// ---- Flags and single fields ----------------------------------------------------------------------------------------

TEST(resource_set_flags, sets_the_byte)
{
    OneModule file;
    file.put(SMALL, 1, "one", "");
    EXPECT_EQ(resource_entry(file, 0, SMALL, 1, nullptr, nullptr)->flags, 0);
    calls_reset();
    EXPECT_EQ(resource_set_flags(file, 2, 100, SMALL, 1, 0x5A), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines(), Lines());
    EXPECT_EQ(part(memory_of(file, 0), 14 + 7 * 16, 16), slot_bytes(1, 4, 0, 0, 0, 0x5A));
    EXPECT_EQ(resource_set_flags(file, 2, 100, SMALL, 1, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(resource_entry(file, 0, SMALL, 1, nullptr, nullptr)->flags, 0);
}

TEST(resource_set_flags, gives_3_when_the_resource_is_absent)
{
    OneModule file;
    file.put(SMALL, 1, "one", "");
    EXPECT_EQ(resource_set_flags(file, 2, 100, SMALL, 2, 1), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(resource_set_flags(file, 2, 100, OTHER, 1, 1), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(resource_set_flags(file, 2, 101, SMALL, 1, 1), (DictStatus)DICT_NOT_FOUND);
}

TEST(resource_mark, sets_the_top_bit_and_keeps_the_others)
{
    OneModule file;
    file.put(SMALL, 1, "one", "");
    EXPECT_EQ(resource_set_flags(file, 2, 100, SMALL, 1, 0x25), (DictStatus)DICT_OK);
    resource_mark(file, 2, 100, SMALL, 1);
    EXPECT_EQ(resource_entry(file, 0, SMALL, 1, nullptr, nullptr)->flags, 0xA5);
    resource_mark(file, 2, 100, SMALL, 1);
    EXPECT_EQ(resource_entry(file, 0, SMALL, 1, nullptr, nullptr)->flags, 0xA5);
    resource_mark(file, 2, 100, SMALL, 2);  // nothing there to mark
    EXPECT_EQ(resource_entry(file, 0, SMALL, 1, nullptr, nullptr)->flags, 0xA5);
}

TEST(resource_fields, are_those_of_the_entry)
{
    OneModule file;
    file.put(SMALL, 1, "one", "first");
    file.put(SMALL, 2, "second", "2");
    EXPECT_EQ(type_name_block(file, 2, 100, SMALL), 5u);
    EXPECT_EQ(type_body_block(file, 2, 100, SMALL), 6u);
    EXPECT_EQ(type_resource_count(file, 2, 100, SMALL), 2);
    EXPECT_EQ(resource_name_offset(file, 2, 100, SMALL, 2), 4);
    EXPECT_EQ(resource_name_size(file, 2, 100, SMALL, 2), 7);
    EXPECT_EQ(resource_body_offset(file, 2, 100, SMALL, 2), 5);
    EXPECT_EQ(resource_body_size(file, 2, 100, SMALL, 1), 5);
    EXPECT_EQ(resource_set_name_size(file, 2, 100, SMALL, 2, 200), (DictStatus)DICT_OK);
    EXPECT_EQ(resource_set_body_size(file, 2, 100, SMALL, 2, 70000), (DictStatus)DICT_OK);
    EXPECT_EQ(part(memory_of(file, 0), 14 + 8 * 16, 16), slot_bytes(2, 200, 4, 5, 70000));
}

TEST(resource_fields, are_0_and_offsets_minus_1_when_anything_is_absent)
{
    OneModule file;
    file.put(SMALL, 1, "one", "first");
    const struct {
        i32 kind, module;
        i16 type, id;
    } rows[] = { { 3, 100, SMALL, 1 }, { 2, 101, SMALL, 1 }, { 2, 100, OTHER, 1 }, { 2, 100, SMALL, 2 } };
    for (const auto &r : rows) {
        if (r.id == 1) {
            EXPECT_EQ(type_name_block(file, r.kind, r.module, r.type), 0u);
            EXPECT_EQ(type_body_block(file, r.kind, r.module, r.type), 0u);
            EXPECT_EQ(type_resource_count(file, r.kind, r.module, r.type), 0);
        }
        EXPECT_EQ(resource_name_offset(file, r.kind, r.module, r.type, r.id), -1);
        EXPECT_EQ(resource_name_size(file, r.kind, r.module, r.type, r.id), 0);
        EXPECT_EQ(resource_body_offset(file, r.kind, r.module, r.type, r.id), -1);
        EXPECT_EQ(resource_body_size(file, r.kind, r.module, r.type, r.id), 0);
        EXPECT_EQ(resource_set_name_size(file, r.kind, r.module, r.type, r.id, 1), (DictStatus)DICT_NOT_FOUND);
        EXPECT_EQ(resource_set_body_size(file, r.kind, r.module, r.type, r.id, 1), (DictStatus)DICT_NOT_FOUND);
    }
    directory_drop(file, 2, 100);
    faults_start({ .call = FAULT_READ, .from_then_on = true });
    EXPECT_EQ(resource_body_offset(file, 2, 100, SMALL, 1), -1);
    EXPECT_EQ(type_body_block(file, 2, 100, SMALL), 0u);
    EXPECT_TRUE(faults_stop());
}

// ---- Modules with all that is in them -------------------------------------------------------------------------------

TEST(module_delete, frees_the_blocks_of_every_type_and_of_the_directory)
{
    OneModule file;
    make(file, 2, 200, "Stays");
    file.put(SMALL, 1, "one", "1");
    file.put(OTHER, 1, "one", "1");
    EXPECT_EQ(add(file, 2, 200, SMALL, 1, "kept", "kept body"), (DictStatus)DICT_OK);
    u32 free_before = le_get(file->header.free_entries);
    std::vector<u32> gone = { 4, type_name_block(file, 2, 100, SMALL), type_body_block(file, 2, 100, SMALL),
                              type_name_block(file, 2, 100, OTHER), type_body_block(file, 2, 100, OTHER) };
    EXPECT_EQ(module_delete(file, 2, 100), (DictStatus)DICT_OK);
    for (u32 block : gone) {
        BlockEntry entry = entry_of(file, block);
        EXPECT_EQ(le_get(entry.type), BLOCK_FREE) << block;
        EXPECT_EQ(le_get(entry.free), le_get(entry.size)) << block;
    }
    EXPECT_EQ(le_get(file->header.free_entries), free_before + 5);
    EXPECT_EQ(module_find(file, 2, 100), MODULE_ABSENT);
    EXPECT_EQ(block_bytes(file, BLOCK_OF_MODULE_NAMES), stored("Stays"));
    EXPECT_EQ(u32_at(file.bare.bytes(), 22), free_before + 5);  // the header is written with each block
    AfterACrash other(file.bare);
    EXPECT_EQ(module_count(other, 2), 1);
    EXPECT_EQ(resources_of(other, 2, 200), (Lines{ "4/1 kept=kept body" }));
}

TEST(module_delete, gives_back_the_room_to_the_next_module)
{
    OneModule file;
    file.put(SMALL, 1, "one", "1");
    u32 length = (u32)file.bare.bytes().size();
    EXPECT_EQ(module_delete(file, 2, 100), (DictStatus)DICT_OK);
    make(file, 2, 300, "Next");
    EXPECT_EQ(file.bare.bytes().size(), length);
    EXPECT_EQ(module_directory_block(file, 0), 4u);
}

TEST(module_delete, gives_3_for_an_absent_module)
{
    OneModule file;
    calls_reset();
    EXPECT_EQ(module_delete(file, 2, 101), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_delete(file, 3, 100), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(call_lines(), Lines());
}

TEST(module_delete, gives_3_and_frees_nothing_when_the_directory_cannot_be_loaded)
{
    OneModule file;
    file.put(SMALL, 1, "one", "1");
    file.reopen();
    std::string before = file.bare.bytes();
    for (FaultCall call : { FAULT_ALLOC, FAULT_READ }) {
        faults_start({ .call = call, .error = PLATFORM_ACCESS_DENIED });
        EXPECT_EQ(module_delete(file, 2, 100), (DictStatus)DICT_NOT_FOUND);
        EXPECT_TRUE(faults_stop());
    }
    EXPECT_EQ(file.bare.bytes(), before);
    EXPECT_EQ(resources_of(file, 2, 100), (Lines{ "4/1 one=1" }));
}

TEST(module_delete, ignores_blocks_that_cannot_be_freed)
{
    OneModule file;
    file.put(SMALL, 1, "one", "1");
    u32 names = type_name_block(file, 2, 100, SMALL);
    EXPECT_EQ(block_free(file, names), (DictStatus)DICT_OK);
    u32 free_entries = le_get(file->header.free_entries);
    EXPECT_EQ(module_delete(file, 2, 100), (DictStatus)DICT_OK);
    EXPECT_EQ(le_get(file->header.free_entries), free_entries + 2);  // the bodies and the directory
}

TEST(module_delete, frees_the_directory_although_the_module_stays)
{
    OneModule file;
    make(file, 2, 200, "Second");   // its name has to move
    file.put(SMALL, 1, "one", "1");
    faults_start({ .call = FAULT_READ, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(module_delete(file, 2, 100), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(module_find(file, 2, 100), 0);
    EXPECT_EQ(le_get(entry_of(file, 4).type), BLOCK_FREE);
    EXPECT_EQ(directory_get(file, 0), nullptr);
    EXPECT_EQ(module_delete(file, 2, 100), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_unregister(file, 2, 100), (DictStatus)DICT_OK);
}

// ---- Growth ---------------------------------------------------------------------------------------------------------

TEST(block_unit, gives_the_unit_of_names_for_each_type)
{
    const i16 units[] = {
        256,                                                     // -1
        256, 1024, 16, 16, 16, 1024, 1024, 16, 32, 5120,         // 0 to 9
        16, 64, 64, 64, 64, 32, 16, 16, 2048, 64,                // 10 to 19
        64, 64, 64, 16, 16, 32, 16, 128, 32, 32,                 // 20 to 29
        2048, 256, 256, 256, 256, 256, 256, 256, 256, 256,       // 30 to 39
        256, 256, 256, 256, 256, 256, 256, 256, 256, 256,        // 40 to 49
        256, 256, 1024, 1024, 1024, 256, 256, 256, 1024, 256,    // 50 to 59
        64, 64, 64, 64, 256, 256, 256, 256, 256, 256,            // 60 to 69
        256,                                                     // 70
    };
    ASSERT_EQ(std::size(units), 72u);
    for (i16 type = -1; type <= 70; type++) EXPECT_EQ(block_unit(BLOCK_NAMES, type), units[type + 1]) << type;
    EXPECT_EQ(block_unit(3, -32768), 256);
    EXPECT_EQ(block_unit(3, 32767), 256);
}

TEST(block_unit, gives_the_unit_of_bodies_for_each_type)
{
    const i16 units[] = {
        512,                                                     // -1
        512, 1024, 16, 1024, 16, 256, 1024, 32, 128, 256,        // 0 to 9
        1024, 1024, 512, 128, 512, 1024, 256, 256, 512, 15360,   // 10 to 19
        1024, 512, 1024, 16, 1024, 32, 64, 128, 1024, 1024,      // 20 to 29
        2048, 512, 512, 512, 512, 512, 512, 512, 512, 512,       // 30 to 39
        512, 512, 512, 512, 512, 512, 512, 512, 512, 512,        // 40 to 49
        512, 512, 1024, 1024, 1024, 512, 512, 512, 1024, 512,    // 50 to 59
        15360, 1024, 512, 1024, 512, 512, 512, 512, 512, 512,    // 60 to 69
        512,                                                     // 70
    };
    ASSERT_EQ(std::size(units), 72u);
    for (i16 type = -1; type <= 70; type++) EXPECT_EQ(block_unit(BLOCK_BODIES, type), units[type + 1]) << type;
    EXPECT_EQ(block_unit(4, -32768), 512);
    EXPECT_EQ(block_unit(4, 32767), 512);
}

TEST(block_unit, gives_0_for_any_other_block)
{
    for (i32 other : { 0, 1, 2, 5, 6, 7, 255, 259, 65535 }) {
        for (i16 type = -1; type <= 70; type++) EXPECT_EQ(block_unit((u16)other, type), 0) << other << " " << type;
    }
}

TEST(slot_unit, gives_the_slots_of_each_type)
{
    const u16 units[] = {
        5,                                        // -1
        5, 10, 5, 2, 2, 20, 50, 2, 5, 100,        // 0 to 9
        5, 5, 5, 5, 5, 2, 2, 2, 100, 5,           // 10 to 19
        5, 5, 5, 5, 2, 2, 5, 10, 2, 2,            // 20 to 29
        20, 5, 5, 5, 5, 5, 5, 5, 5, 5,            // 30 to 39
        5, 5, 5, 5, 5, 5, 5, 5, 5, 5,             // 40 to 49
        5, 5, 46, 46, 46, 5, 5, 5, 5, 5,          // 50 to 59
        5, 5, 5, 5, 5, 5, 5, 5, 5, 5,             // 60 to 69
        5,                                        // 70
    };
    ASSERT_EQ(std::size(units), 72u);
    for (i16 type = -1; type <= 70; type++) EXPECT_EQ(slot_unit(type), units[type + 1]) << type;
    EXPECT_EQ(slot_unit(-32768), 5);
    EXPECT_EQ(slot_unit(32767), 5);
}

// ---- Damage in the file ---------------------------------------------------------------------------------------------

// Modules 2/100 (types SMALL with 1, 2, 3 and OTHER with 5) and 2/200 (SMALL with 1), closed. The numbers of the blocks
// of module 100, and where its directory stands.
struct SoundFile {
    std::string bytes;
    u32 directory_at;
    u32 names, bodies;         // of type SMALL
    u32 other_names, other_bodies;

    SoundFile()
    {
        OneModule file;
        make(file, 2, 200, "Second");
        file.put(SMALL, 1, "one", "1");
        file.put(SMALL, 2, "two", "22");
        file.put(SMALL, 3, "three", "333");
        file.put(OTHER, 5, "five", "55555");
        EXPECT_EQ(add(file, 2, 200, SMALL, 1, "kept", "kept body"), (DictStatus)DICT_OK);
        directory_at = le_get(entry_of(file, 4).offset);
        names = type_name_block(file, 2, 100, SMALL);
        bodies = type_body_block(file, 2, 100, SMALL);
        other_names = type_name_block(file, 2, 100, OTHER);
        other_bodies = type_body_block(file, 2, 100, OTHER);
        file.bare.close();
        bytes = file.bare.bytes();
        EXPECT_EQ(part(bytes, directory_at, 14 + 32),
                  head_bytes(2, 100, 2, 5, 6, 50) + type_bytes(SMALL, names, bodies, 0, 3, 1) +
                      type_bytes(OTHER, other_names, other_bodies, 4, 1, 1));
    }
};

constexpr u32 SLOTS = 14 + 7 * 16;  // where the slots begin in the directory of a module of kind 2

// Every operation of this unit on a file that may be damaged; each may give any status.
void use_all(DictFile *file)
{
    look_everywhere(file);
    for (i32 module : { 100, 200 }) {
        for (i16 type : { SMALL, OTHER, THIRD, (i16)-1 }) {
            for (i16 id : { (i16)4, (i16)2, (i16)-1, (i16)9, (i16)10, (i16)11 }) {
                (void)resource_add_entry(file, 2, module, type, id, 3, 5);
            }
            (void)resource_shift_names(file, 2, module, type, 2, 7);
            (void)resource_shift_bodies(file, 2, module, type, 2, -7);
            (void)resource_set_flags(file, 2, module, type, 1, 0xFF);
            resource_mark(file, 2, module, type, 2);
            (void)resource_set_name_size(file, 2, module, type, 2, 255);
            (void)resource_set_body_size(file, 2, module, type, 2, INT_MAX);
            (void)resource_remove_entry(file, 2, module, type, 2);
            (void)resource_remove_entry(file, 2, module, type, 1);
        }
    }
    look_everywhere(file);
    for (i16 index = -1; index < 3; index++) {
        (void)type_add_slots(file, index);
        (void)resource_add_slots(file, index, SMALL);
        for (i16 type = 50; type < 60; type++) (void)type_add(file, index, type);
        (void)directory_extend(file, index, 160);
    }
    (void)directory_save(file, 2, 100);
    (void)directory_save(file, 2, 200);
    look_everywhere(file);
    directory_drop(file, 2, 100);
    look_everywhere(file);
    (void)module_delete(file, 2, 100);
    (void)module_delete(file, 2, 200);
    look_everywhere(file);
}

TEST(damage_to_a_directory, of_its_counts_gives_3_for_all_that_is_in_it)
{
    SoundFile sound;
    const struct {
        const char *what;
        u32 offset;
        std::string bytes;
        bool loads;
    } rows[] = {
        { "nothing", 0, "", true },
        { "another kind and module", 0, le(9, 2) + le(-1, 4), true },
        { "type_count beyond the handle", 6, le(60, 2), false },
        { "type_count of all bits", 6, le(0xFFFF, 2), false },
        { "free_type_slots beyond the handle", 8, le(6, 2), false },
        { "free_type_slots of all bits", 8, le(0xFFFF, 2), false },
        { "assigned_slots beyond the handle", 10, le(7, 2), false },
        { "assigned_slots of all bits", 10, le(0xFFFF, 2), false },
        { "assigned_slots below the runs", 10, le(5, 2), false },
        { "assigned_slots 0", 10, le(0, 2), false },
        { "reserve_slots beyond the handle", 12, le(51, 2), false },
        { "reserve_slots of all bits", 12, le(0xFFFF, 2), false },
        { "reserve_slots 0", 12, le(0, 2), true },
        { "counts whose sum wraps at 16 bits", 6, le(2, 2) + le(0xFFFF, 2) + le(6, 2) + le(51, 2), false },
        { "all counts of all bits", 6, le(-1, 4) + le(-1, 4), false },
        { "first_slot behind the run's place", 14 + 10, le(3, 2), false },
        { "first_slot of all bits", 14 + 10, le(0xFFFF, 2), false },
        { "resource_count one too many", 14 + 12, le(6, 2), false },
        { "resource_count of all bits", 14 + 12, le(0xFFFF, 2), false },
        { "free_slots one too many", 14 + 14, le(4, 2), false },
        { "free_slots of all bits", 14 + 14, le(0xFFFF, 2), false },
        { "a run whose sum wraps at 16 bits", 14 + 10, le(1, 2) + le(0xFFFF, 2) + le(2, 2), false },
        { "a run of all bits", 14 + 10, le(-1, 2) + le(-1, 2) + le(-1, 2), false },
        { "the last type's run", 14 + 16 + 10, le(5, 2), false },
        { "runs that overlap", 14 + 10, le(2, 2), true },
        { "no types at all", 6, le(0, 2) + le(7, 2), true },
    };
    for (const auto &r : rows) {
        std::string damaged = sound.bytes;
        patch(&damaged, sound.directory_at + r.offset, r.bytes);
        {
            AfterACrash opened(damaged);
            ASSERT_EQ(opened.status, (DictStatus)DICT_OK) << r.what;
            u32 alive = handles_alive();
            EXPECT_EQ(directory_load(opened, 0), r.loads ? (DictStatus)DICT_OK : (DictStatus)DICT_NOT_FOUND) << r.what;
            EXPECT_EQ(handles_alive(), alive + r.loads) << r.what;
            if (!r.loads) {
                std::string before = opened.dir.content("crash.dic");
                EXPECT_EQ(directory_get(opened, 0), nullptr) << r.what;
                EXPECT_EQ(resource_add_entry(opened, 2, 100, SMALL, 9, 3, 5), (DictStatus)DICT_NOT_FOUND) << r.what;
                EXPECT_EQ(resource_remove_entry(opened, 2, 100, SMALL, 1), (DictStatus)DICT_NOT_FOUND) << r.what;
                EXPECT_EQ(resource_shift_names(opened, 2, 100, SMALL, 1, 1), (DictStatus)DICT_NOT_FOUND) << r.what;
                EXPECT_EQ(resource_set_flags(opened, 2, 100, SMALL, 1, 1), (DictStatus)DICT_NOT_FOUND) << r.what;
                EXPECT_EQ(type_add(opened, 0, THIRD), (DictStatus)DICT_NOT_FOUND) << r.what;
                EXPECT_EQ(type_add_slots(opened, 0), (DictStatus)DICT_NOT_FOUND) << r.what;
                EXPECT_EQ(directory_extend(opened, 0, 16), (DictStatus)DICT_NOT_FOUND) << r.what;
                EXPECT_EQ(directory_save(opened, 2, 100), (DictStatus)DICT_NOT_FOUND) << r.what;
                EXPECT_EQ(module_delete(opened, 2, 100), (DictStatus)DICT_NOT_FOUND) << r.what;
                EXPECT_EQ(resource_find_by_name(opened, 2, 100, SMALL, Name("two"), nullptr, nullptr), 0) << r.what;
                EXPECT_EQ(opened.dir.content("crash.dic"), before) << r.what;
            }
            EXPECT_EQ(resources_of(opened, 2, 200), (Lines{ "4/1 kept=kept body" })) << r.what;
        }
        AfterACrash again(damaged);
        use_all(again);
    }
}

TEST(damage_to_a_directory, of_its_blocks_gives_3_and_frees_no_block_of_the_file)
{
    SoundFile sound;
    // Block 4 is the directory, 200 a free entry, 257 above the table.
    for (i64 number : { (i64)0, (i64)1, (i64)2, (i64)3, (i64)4, (i64)sound.bodies, (i64)200, (i64)257, (i64)-1 }) {
        std::string damaged = sound.bytes;
        patch(&damaged, sound.directory_at + 14 + 2, le(number, 4));    // name_block of SMALL
        AfterACrash opened(damaged);
        std::string before = memory_of(opened, 0);
        EXPECT_EQ(resource_add_entry(opened, 2, 100, SMALL, 9, 3, 5), (DictStatus)DICT_NOT_FOUND) << number;
        EXPECT_EQ(memory_of(opened, 0), before) << number;
        EXPECT_EQ(resource_find_by_name(opened, 2, 100, SMALL, Name("two"), nullptr, nullptr), 0) << number;
        EXPECT_EQ(name_of(opened, 2, 100, SMALL, 2), "<status 3>") << number;
        EXPECT_EQ(body_of(opened, 2, 100, SMALL, 2), "22") << number;
        EXPECT_EQ(module_delete(opened, 2, 100), (DictStatus)DICT_OK) << number;
        for (u32 block = 1; block <= 3; block++) EXPECT_NE(le_get(entry_of(opened, block).type), BLOCK_FREE) << number;
        (void)dict_file_close(opened);
        EXPECT_EQ(dict_file_open(opened, opened.path, DICT_EXCLUSIVE, 0), (DictStatus)DICT_OK) << number;
        EXPECT_EQ(resources_of(opened, 2, 200), (Lines{ "4/1 kept=kept body" })) << number;
    }
    for (i64 number : { (i64)0, (i64)1, (i64)2, (i64)3, (i64)4, (i64)sound.names, (i64)200, (i64)257, (i64)-1 }) {
        std::string damaged = sound.bytes;
        patch(&damaged, sound.directory_at + 14 + 6, le(number, 4));    // body_block of SMALL
        AfterACrash opened(damaged);
        std::string before = memory_of(opened, 0);
        EXPECT_EQ(resource_add_entry(opened, 2, 100, SMALL, 9, 3, 5), (DictStatus)DICT_NOT_FOUND) << number;
        EXPECT_EQ(memory_of(opened, 0), before) << number;
        u32 offset = 77;
        i32 size = 77;
        EXPECT_EQ(resource_find_by_name(opened, 2, 100, SMALL, Name("two"), &offset, &size), 2) << number;
        EXPECT_EQ(offset, 77u);
        EXPECT_EQ(size, 77);
        EXPECT_EQ(name_of(opened, 2, 100, SMALL, 2), "two") << number;
        EXPECT_EQ(body_of(opened, 2, 100, SMALL, 2), "<status 3>") << number;
        EXPECT_EQ(module_delete(opened, 2, 100), (DictStatus)DICT_OK) << number;
        for (u32 block = 1; block <= 3; block++) EXPECT_NE(le_get(entry_of(opened, block).type), BLOCK_FREE) << number;
        (void)dict_file_close(opened);
        EXPECT_EQ(dict_file_open(opened, opened.path, DICT_EXCLUSIVE, 0), (DictStatus)DICT_OK) << number;
        EXPECT_EQ(resources_of(opened, 2, 200), (Lines{ "4/1 kept=kept body" })) << number;
    }
}

TEST(damage_to_a_directory, of_the_entries_of_its_blocks_gives_a_status)
{
    SoundFile sound;
    const struct {
        const char *what;
        u32 block, offset;
        std::string bytes;
        DictStatus add;
        const char *name, *body;   // of SMALL 2; no name where its place is behind the file
        i16 found;                 // by its name
    } rows[] = {
        { "names of another type", sound.names, 0, le(4, 2), DICT_NOT_FOUND, "<status 3>", "22", 0 },
        { "names free", sound.names, 0, le(0, 2), DICT_NOT_FOUND, "<status 3>", "22", 0 },
        { "names with more free than there is", sound.names, 10, le(33, 4), DICT_FAILED, "<status 3>", "22", 2 },
        { "names all free", sound.names, 10, le(32, 4), DICT_OK, "two", "22", 2 },
        { "names of size 0", sound.names, 6, le(0, 4) + le(0, 4), DICT_OK, "<status 3>", "22", 0 },
        { "names behind the file", sound.names, 2, le(0x7FFFFF00, 4), DICT_OK, nullptr, "22", 0 },
        { "names above 2 GiB", sound.names, 2, le(0x80000000, 4), DICT_OK, nullptr, "22", 0 },
        { "names too large", sound.names, 6, le(0xFFFFFFFF, 4), DICT_FAILED, "two", "22", 2 },
        { "bodies of another type", sound.bodies, 0, le(3, 2), DICT_NOT_FOUND, "two", "<status 3>", 2 },
        { "bodies free", sound.bodies, 0, le(0, 2), DICT_NOT_FOUND, "two", "<status 3>", 2 },
        { "bodies with more free than there is", sound.bodies, 10, le(33, 4), DICT_FAILED, "two", "<status 3>", 2 },
        { "bodies all free", sound.bodies, 10, le(32, 4), DICT_OK, "two", "22", 2 },
        { "bodies too large", sound.bodies, 6, le(0xFFFFFFFF, 4), DICT_FAILED, "two", "22", 2 },
    };
    for (const auto &r : rows) {
        std::string damaged = sound.bytes;
        patch(&damaged, 26 + (r.block - 1) * 14 + r.offset, r.bytes);
        {
            AfterACrash opened(damaged);
            std::string before = memory_of(opened, 0);
            EXPECT_EQ(resource_find_by_name(opened, 2, 100, SMALL, Name("two"), nullptr, nullptr), r.found) << r.what;
            if (r.name) {
                EXPECT_EQ(name_of(opened, 2, 100, SMALL, 2), r.name) << r.what;
            }
            EXPECT_EQ(body_of(opened, 2, 100, SMALL, 2), r.body) << r.what;
            EXPECT_EQ(resource_add_entry(opened, 2, 100, SMALL, 9, 3, 5), r.add) << r.what;
            if (r.add) {
                EXPECT_EQ(memory_of(opened, 0), before) << r.what;
            }
        }
        AfterACrash again(damaged);
        use_all(again);
    }
}

TEST(damage_to_a_directory, of_one_resource_hides_it_and_no_other)
{
    SoundFile sound;
    u32 two = SLOTS + 16;
    const struct {
        const char *what;
        u32 offset;
        std::string bytes;
        const char *name, *body;   // of SMALL 2
        i16 found;
        bool has_size;
    } rows[] = {
        { "nothing", 0, "", "two", "22", 2, true },
        { "name_offset -1", two + 4, le(-1, 4), "<status 3>", "22", 0, true },
        { "name_offset of the top bit", two + 4, le(0x80000000, 4), "<status 3>", "22", 0, true },
        { "name_offset too near to the end of the block", two + 4, le(29, 4), "<status 3>", "22", 0, true },
        { "name_offset behind the block", two + 4, le(32, 4), "<status 3>", "22", 0, true },
        { "name_offset of 31 bits", two + 4, le(0x7FFFFFFF, 4), "<status 3>", "22", 0, true },
        { "name_size beyond the block", two + 3, le(33, 1), "<status 3>", "22", 2, true },
        { "name_size of all bits", two + 3, le(255, 1), "<status 3>", "22", 2, true },
        { "name_size 0", two + 3, le(0, 1), "", "22", 2, true },
        { "body_offset -1", two + 8, le(-1, 4), "two", "<status 3>", 2, true },
        { "body_offset too near to the end of the block", two + 8, le(31, 4), "two", "<status 3>", 2, false },
        { "body_offset behind the block", two + 8, le(33, 4), "two", "<status 3>", 2, false },
        { "body_offset of 31 bits", two + 8, le(0x7FFFFFFF, 4), "two", "<status 3>", 2, false },
        { "body_size -1", two + 12, le(-1, 4), "two", "<status 3>", 2, true },
        { "body_size of the top bit", two + 12, le(0x80000000, 4), "two", "<status 3>", 2, true },
        { "body_size beyond the block", two + 12, le(32, 4), "two", "<status 3>", 2, false },
        { "body_size of 31 bits", two + 12, le(0x7FFFFFFF, 4), "two", "<status 3>", 2, false },
    };
    for (const auto &r : rows) {
        std::string damaged = sound.bytes;
        patch(&damaged, sound.directory_at + r.offset, r.bytes);
        {
            AfterACrash opened(damaged);
            ASSERT_EQ(opened.status, (DictStatus)DICT_OK) << r.what;
            EXPECT_EQ(name_of(opened, 2, 100, SMALL, 2), r.name) << r.what;
            EXPECT_EQ(body_of(opened, 2, 100, SMALL, 2), r.body) << r.what;
            u32 offset;
            i32 size = 77;
            EXPECT_EQ(resource_find_by_name(opened, 2, 100, SMALL, Name("two"), &offset, &size), r.found) << r.what;
            EXPECT_EQ(size != 77, r.found && r.has_size) << r.what;
            EXPECT_EQ(name_of(opened, 2, 100, SMALL, 3), "three") << r.what;
            EXPECT_EQ(body_of(opened, 2, 100, SMALL, 3), "333") << r.what;
            EXPECT_EQ(resource_find_by_name(opened, 2, 100, SMALL, Name("three"), nullptr, nullptr), 3) << r.what;
            EXPECT_EQ(name_of(opened, 2, 100, SMALL, 1), "one") << r.what;
        }
        AfterACrash again(damaged);
        use_all(again);
    }
}

TEST(damage_to_a_directory, of_the_order_of_its_records_harms_nothing)
{
    SoundFile sound;
    const struct {
        u32 offset;
        i32 key;
    } rows[] = {
        { 14, OTHER }, { 14, 20 }, { 14, -1 }, { 14, 0x7FFF }, { 14 + 16, SMALL }, { 14 + 16, 0 }, { 14 + 16, 0x8000 },
        { SLOTS, 2 },  { SLOTS, 9 }, { SLOTS, 0x7FFF }, { SLOTS + 16, 1 }, { SLOTS + 16, 0 }, { SLOTS + 32, -1 },
    };
    for (const auto &r : rows) {
        std::string damaged = sound.bytes;
        patch(&damaged, sound.directory_at + r.offset, le(r.key, 2));
        AfterACrash opened(damaged);
        EXPECT_EQ(directory_load(opened, 0), (DictStatus)DICT_OK);
        use_all(opened);
    }
}

TEST(damage_to_a_directory, that_two_modules_share_harms_nothing)
{
    SoundFile sound;
    std::string damaged = sound.bytes;
    patch(&damaged, TABLE_AT + 8 + 16 + 6, le(4, 4));           // 200 names the directory of 100
    {
        AfterACrash opened(damaged);
        EXPECT_EQ(resources_of(opened, 2, 200).size(), 4u);
        EXPECT_EQ(module_delete(opened, 2, 100), (DictStatus)DICT_OK);
        EXPECT_EQ(module_delete(opened, 2, 200), (DictStatus)DICT_OK);  // it is in memory still
        EXPECT_EQ(module_count(opened, 2), 0);
    }
    AfterACrash again(damaged);
    use_all(again);

    damaged = sound.bytes;
    patch(&damaged, sound.directory_at + 14 + 16 + 2, le(sound.names, 4) + le(sound.bodies, 4));  // two types, one pair
    AfterACrash opened(damaged);
    u32 free_entries = le_get(opened->header.free_entries);
    EXPECT_EQ(module_delete(opened, 2, 100), (DictStatus)DICT_OK);
    EXPECT_EQ(le_get(opened->header.free_entries), free_entries + 3);   // each of them once
}

TEST(damage_to_a_directory, whose_block_was_given_away_harms_nothing)
{
    BareDictionary bare;
    EXPECT_EQ(module_create(bare, 1, 1, Name("large")), (DictStatus)DICT_OK);
    EXPECT_EQ(module_create(bare, 2, 200, Name("small")), (DictStatus)DICT_OK);
    EXPECT_EQ(resource_add_entry(bare, 1, 1, 1, 1, 2, 0), (DictStatus)DICT_OK);
    GHandle large = directory_get_handle(bare, 0);
    i32 size = gsize(large);

    // The large directory is in memory; in the file its number names the block of the small one, at the file's end or
    // not.
    module_entry(bare, 0)->directory_block = module_entry(bare, 1)->directory_block;
    BlockEntry entry = entry_of(bare, module_directory_block(bare, 1));
    entry.free = le32(0);
    EXPECT_EQ(block_write_entry(bare, module_directory_block(bare, 1) - 1, &entry), (DictStatus)DICT_OK);
    EXPECT_EQ(directory_extend(bare, 0, 80), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(gsize(directory_get_handle(bare, 0)), size);    // as large as all that it counts
    EXPECT_TRUE(resource_entry(bare, 0, 1, 1, nullptr, nullptr) != nullptr);
}

TEST(damage_to_a_directory, of_any_byte_harms_nothing)
{
    SoundFile sound;
    std::vector<size_t> places;
    for (size_t i = 0; i < 14 + 3 * 16; i++) places.push_back(sound.directory_at + i);
    for (size_t i = 0; i < 7 * 16; i++) places.push_back(sound.directory_at + SLOTS + i);
    for (size_t i = 0; i < 14; i++) places.push_back(26 + 3 * 14 + i);
    for (size_t place : places) {
        for (int value : { 0x00, 0x01, 0x7F, 0x80, 0xFF }) {
            if ((u8)sound.bytes[place] == value) continue;
            std::string damaged = sound.bytes;
            damaged[place] = (char)value;
            AfterACrash opened(damaged);
            EXPECT_EQ(opened.status, (DictStatus)DICT_OK) << place << " " << value;
            use_all(opened);
        }
    }
}

// ---- Each call of the platform fails in turn ------------------------------------------------------------------------

// Two modules of kind 2, closed: 100 with types SMALL (1 and 2: its run is full) and OTHER (1), and 200 with SMALL.
std::string two_modules()
{
    OneModule file;
    make(file, 2, 200, "Second");
    file.put(SMALL, 1, "one", "1");
    file.put(SMALL, 2, "two", "22");
    file.put(OTHER, 1, "other", "o");
    EXPECT_EQ(add(file, 2, 200, SMALL, 1, "kept", "kept body"), (DictStatus)DICT_OK);
    file.bare.close();
    return file.bare.bytes();
}

// "100: 4/1 one=1, ...; 200: ..." for each module.
std::string contents(DictFile *file)
{
    look_everywhere(file);
    std::string text;
    for (i16 i = 0; const ModuleEntry *entry = module_entry(file, i); i++) {
        i32 module = le_get(entry->module);
        text += (i > 0 ? "; " : "") + std::to_string(module) + ":";
        for (const std::string &line : resources_of(file, 2, module)) text += " " + line;
    }
    return text;
}

const std::string BEFORE = "100: 4/1 one=1 4/2 two=22 7/1 other=o; 200: 4/1 kept=kept body";

TEST(resource_add_entry, and_directory_save_leave_the_old_or_the_new_state_whichever_call_fails)
{
    const struct {
        i16 type;
        std::string after;
        bool grows;     // the directory grows, and so its block moves
    } rows[] = {
        { OTHER, "100: 4/1 one=1 4/2 two=22 7/1 other=o 7/9 =; 200: 4/1 kept=kept body", false },
        { SMALL, "100: 4/1 one=1 4/2 two=22 4/9 = 7/1 other=o; 200: 4/1 kept=kept body", true },
        { THIRD, "100: 4/1 one=1 4/2 two=22 7/1 other=o 24/9 =; 200: 4/1 kept=kept body", true },
    };
    for (const auto &r : rows) {
        Operation operation = [&](DictFile *file) {
            DictStatus status = resource_add_entry(file, 2, 100, r.type, 9, 0, 0);
            return status ? status : directory_save(file, 2, 100);
        };
        std::set<Outcome> expected = {
            { true, r.after, r.after, r.after },
            { false, BEFORE, BEFORE, BEFORE },   // nothing was entered
            { false, BEFORE, r.after, BEFORE },  // nothing was saved
        };
        if (r.grows) {
            expected.insert({ true, BEFORE, r.after, r.after });  // no flush of the move; the close makes up for it
            expected.insert({ false, BEFORE, "lost", BEFORE });
        }
        EXPECT_EQ(outcomes_of(two_modules(), operation, contents), expected) << r.type;
    }
}

TEST(module_delete, harms_no_other_module_whichever_call_fails)
{
    const std::string kept = "200: 4/1 kept=kept body";
    Operation operation = [](DictFile *file) { return module_delete(file, 2, 100); };
    std::set<Outcome> expected = {
        { true, kept, kept, kept },
        { false, BEFORE, BEFORE, BEFORE },  // the directory could not be loaded
    };
    // Each block is free in the file before the next, and the module's own directory too when the module has to stay.
    // What is in a block that is free is gone: names of type 4, its bodies, names and bodies of type 7, the directory.
    for (const char *rest : { "4/1 one=1 4/2 two=22 7/1 other=o",
                              "4/1 <status 3>=1 4/2 <status 3>=22 7/1 other=o",
                              "4/1 <status 3>=<status 3> 4/2 <status 3>=<status 3> 7/1 other=o",
                              "4/1 <status 3>=<status 3> 4/2 <status 3>=<status 3> 7/1 <status 3>=o",
                              "4/1 <status 3>=<status 3> 4/2 <status 3>=<status 3> 7/1 <status 3>=<status 3>",
                              "no directory" }) {
        std::string left = std::string("100: ") + rest + "; " + kept;
        expected.insert({ false, left, "100: no directory; " + kept, left });
    }
    // The table could not be written: in memory the module is gone, in the file its entry stands.
    for (const char *rest : { "4/1 <status 3>=<status 3> 4/2 <status 3>=<status 3> 7/1 <status 3>=<status 3>",
                              "no directory" }) {
        std::string left = std::string("100: ") + rest + "; " + kept;
        expected.insert({ false, left, kept, left });
    }
    EXPECT_EQ(outcomes_of(two_modules(), operation, contents), expected);
}

} // namespace
} // namespace zuk
