#include "engine/dict_file.h"

#include "engine/core_tables.h"
#include "engine/directory.h"
#include "engine/module_table.h"
#include "files/file.h"
#include "foundation/handles.h"
#include "platform/file_rows.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace zuk {
namespace {

constexpr DictStatus OK = DICT_OK;
constexpr size_t NEW_FILE = 4930;         // bytes of a new dictionary
constexpr u32 MODULES_AT = 3610;          // where its module table stands
constexpr u32 NAMES_AT = 4418;            // and its module names

using Lines = std::vector<std::string>;

std::string header_bytes(u32 table_offset = 26, u32 table_entries = 256)
{
    DictHeader header = {};
    memcpy(header.magic, "%VTL", 4);
    header.version = le16(11);
    header.table_entry = le32(2);
    header.table_offset = le32(table_offset);
    header.table_entries = le32(table_entries);
    header.free_entries = le32(253);
    return std::string((const char *)&header, sizeof header);
}

std::string new_dictionary_bytes()
{
    TempDir dir;
    EXPECT_EQ(dict_file_create(dir.name("a.dic")), OK);
    return dir.content("a.dic");
}

// Write bytes into a file from outside the library. If the library has it open, it must be shared; not every system
// lets a stream at a file that is open in another mode.
void patch(const TempDir &dir, u32 offset, const std::string &bytes)
{
    std::fstream file(dir.path("a.dic"), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(offset);
    file << bytes;
    file.close();
    EXPECT_TRUE(file);
}

// Nothing of the record is left: no file, no memory.
void expect_closed(const DictFile &file)
{
    EXPECT_EQ(file.file, 0u);
    EXPECT_EQ(file.module_table_handle, 0u);
    EXPECT_EQ(file.module_table, nullptr);
    EXPECT_EQ(file.module_entries, nullptr);
    EXPECT_EQ(file.directories_handle, 0u);
    EXPECT_EQ(file.directories, nullptr);
    EXPECT_EQ(file.page_cache_handle, 0u);
    EXPECT_EQ(file.page_cache, nullptr);
    EXPECT_EQ(file.core_tables_handle, 0u);
    EXPECT_EQ(file.core_tables, nullptr);
}

// The handles and open files of the program, to be the same at the end of a scope.
struct NothingLeft {
    u32 handles = handles_alive();
    u32 files = file_rows_open;
    u32 may_lose = 0;  // handles, by a failed resize that takes one away

    ~NothingLeft()
    {
        EXPECT_LE(handles_alive(), handles + may_lose) << "handles left alive";
        EXPECT_EQ(file_rows_open, files) << "files left open";
    }
};

// Run `work` again and again with another call made to fail each time: first once, then from that call on. `work`
// starts the fault that it is handed at the right moment, and its result is that of `faults_stop`.
template <typename Work>
void with_each_failure(Work work)
{
    for (FaultCall call : { FAULT_ALLOC, FAULT_RESIZE, FAULT_ANY_FILE, FAULT_ANY }) {
        for (bool from_then_on : { false, true }) {
            for (u32 nth = 1;; nth++) {
                SCOPED_TRACE("fault " + std::to_string(call) + ", call " + std::to_string(nth) +
                             (from_then_on ? " and all behind it" : ""));
                NothingLeft nothing_left;
                nothing_left.may_lose = call == FAULT_RESIZE || call == FAULT_ANY ? 1 : 0;
                if (!work(Fault{ .call = call, .nth = nth, .from_then_on = from_then_on })) break;
                ASSERT_LT(nth, 1000u);
            }
        }
    }
    (void)memory_sweep();  // where the record of a handle had no memory, its block is lost
}

// ---- The record -----------------------------------------------------------------------------------------------------

TEST(dict_file, has_every_operation)
{
    const AnyProc operations[] = {
        (AnyProc)dict_file_is_open, (AnyProc)dict_file_open, (AnyProc)dict_file_close, (AnyProc)dict_file_create,
        (AnyProc)dict_file_version, (AnyProc)dict_file_set_version, (AnyProc)header_read, (AnyProc)header_write,
        (AnyProc)core_tables_free, (AnyProc)status_from_file_error,
    };
    for (AnyProc operation : operations) EXPECT_NE(operation, nullptr);
}

TEST(dict_file, has_its_fields_in_order)
{
    DictFile file = {};
    const std::vector<const void *> fields = {
        &file.path, &file.file, &file.option, &file.header, &file.module_table_handle, &file.module_table,
        &file.module_entries, &file.directories_handle, &file.directories, &file.block_changes,
        &file.page_cache_handle, &file.page_cache, &file.open_mode, &file.core_tables, &file.core_tables_handle,
        &file.lock_state,
    };
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end()));
    EXPECT_EQ(sizeof file.header, 26u);
    EXPECT_EQ(sizeof file.option, 2u);
    EXPECT_EQ(sizeof file.block_changes, 2u);
    EXPECT_EQ(sizeof file.open_mode, 2u);
    EXPECT_EQ(sizeof file.lock_state, 2u);
}

TEST(dict_file_is_open, asks_for_the_file_alone)
{
    DictFile file = {};
    EXPECT_FALSE(dict_file_is_open(&file));
    file.file = 0x80000000;
    EXPECT_TRUE(dict_file_is_open(&file));
}

// ---- The header -----------------------------------------------------------------------------------------------------

TEST(header_read, reads_26_bytes_at_0)
{
    BareDictionary file(DICT_SHARED);
    patch(file.dir, 6, "\x34\x12");
    DictHeader buffer = {};
    calls_reset();
    EXPECT_EQ(header_read(file, &buffer), OK);
    EXPECT_EQ(call_lines(), (Lines{ "seek 0", "read 0+26" }));
    EXPECT_EQ(le_get(buffer.change_count), 0x1234u);
    EXPECT_EQ(le_get(file->header.change_count), 0u);  // only the buffer has it
}

TEST(header_read, reads_into_the_record_itself)
{
    BareDictionary file(DICT_SHARED);
    patch(file.dir, 6, "\x34\x12");
    EXPECT_EQ(header_read(file, &file->header), OK);
    EXPECT_EQ(le_get(file->header.change_count), 0x1234u);
    patch(file.dir, 0, "%VTX");
    EXPECT_EQ(header_read(file, &file->header), (DictStatus)DICT_NOT_A_DICTIONARY);
}

TEST(header_read, tests_the_magic_in_memory)
{
    BareDictionary file(DICT_SHARED);
    patch(file.dir, 0, "none");
    DictHeader buffer = {};
    EXPECT_EQ(header_read(file, &buffer), OK);
    EXPECT_EQ(memcmp(buffer.magic, "none", 4), 0);

    patch(file.dir, 0, "%VTL");
    file->header.magic[3] = 'X';
    EXPECT_EQ(header_read(file, &buffer), (DictStatus)DICT_NOT_A_DICTIONARY);
    EXPECT_EQ(memcmp(buffer.magic, "%VTL", 4), 0);
}

TEST(header_read, gives_the_status_of_a_failed_read_whatever_the_magic)
{
    BareDictionary file;
    DictHeader buffer = {};
    for (char last : { 'L', 'X' }) {
        file->header.magic[3] = (u8)last;
        faults_start({ .call = FAULT_READ, .error = PLATFORM_ACCESS_DENIED });
        EXPECT_EQ(header_read(file, &buffer), (DictStatus)DICT_ACCESS_DENIED);
        EXPECT_TRUE(faults_stop());
    }
}

TEST(header_read, leaves_what_a_short_file_does_not_have)
{
    BareDictionary file(DICT_SHARED);
    std::filesystem::resize_file(file.dir.path("a.dic"), 6);
    DictHeader buffer;
    memset(&buffer, 0x55, sizeof buffer);
    EXPECT_EQ(header_read(file, &buffer), OK);
    EXPECT_EQ(le_get(buffer.version), 11u);
    EXPECT_EQ(le_get(buffer.change_count), 0x5555u);
}

TEST(header_write, writes_26_bytes_at_0)
{
    BareDictionary file(DICT_SHARED);
    DictHeader header = file->header;
    header.reserved[0] = 0xAB;
    calls_reset();
    EXPECT_EQ(header_write(file->file, &header), OK);
    EXPECT_EQ(call_lines(), (Lines{ "seek 0", "write 0+26" }));
    EXPECT_EQ((u8)file.bytes()[8], 0xABu);
    EXPECT_EQ(header.reserved[0], 0xABu);
}

TEST(header_write, gives_the_status_of_a_failed_write)
{
    BareDictionary file;
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(header_write(file->file, &file->header), (DictStatus)DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
    faults_start({ .call = FAULT_SEEK });
    EXPECT_EQ(header_write(file->file, &file->header), (DictStatus)DICT_FAILED);
    EXPECT_TRUE(faults_stop());
}

TEST(dict_file_version, gives_the_word_of_the_header)
{
    BareDictionary file;
    EXPECT_EQ(dict_file_version(file), 11u);
    file->header.version = le16(0xFEDC);
    EXPECT_EQ(dict_file_version(file), 0xFEDCu);
}

TEST(dict_file_set_version, writes_the_header_at_once)
{
    BareDictionary file(DICT_SHARED);
    file->header.change_count = le16(3);  // goes along
    calls_reset();
    EXPECT_EQ(dict_file_set_version(file, 0x0203), OK);
    EXPECT_EQ(call_lines(), (Lines{ "seek 0", "write 0+26" }));
    EXPECT_EQ(file.bytes().substr(4, 4), std::string("\x03\x02\x03\x00", 4));
    EXPECT_EQ(dict_file_version(file), 0x0203u);
}

TEST(dict_file_set_version, gives_the_status_of_the_write)
{
    BareDictionary file(DICT_READ_ONLY);
    EXPECT_EQ(dict_file_set_version(file, 12), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_EQ(u16_at(file.bytes(), 4), 11u);
}

TEST(header_is_sound, wants_the_table_behind_the_header_and_inside_the_file)
{
    BareDictionary file;  // 4,930 bytes: 26 + 350 entries of 14 bytes, and 4 more
    const struct {
        u32 offset, entries;
        bool sound;
    } rows[] = {
        { 26, 256, true },          { 26, 1, true },      { 26, 350, true },          { 30, 350, true },
        { 31, 350, false },         { 26, 351, false },   { 26, 0, false },           { 25, 256, false },
        { 0, 1, false },            { 4916, 1, true },    { 4917, 1, false },         { 4930, 1, false },
        { 0xFFFFFFFF, 1, false },   { 26, 0xFFFFFFFF, false },
        { 26, 0x12492493, false },  // as many entries have 2^32 + 2 bytes
        { 0xFFFFFFF2, 1, false },   // ends at 2^32
    };
    for (const auto &row : rows) {
        file->header.table_offset = le32(row.offset);
        file->header.table_entries = le32(row.entries);
        EXPECT_EQ(header_is_sound(file), row.sound) << row.offset << " " << row.entries;
    }
    memcpy(&file->header, header_bytes().data(), sizeof file->header);  // what the close writes
}

TEST(header_is_sound, is_false_when_the_length_is_not_known)
{
    BareDictionary file;
    faults_start({ .call = FAULT_SIZE });
    EXPECT_FALSE(header_is_sound(file));
    EXPECT_TRUE(faults_stop());
    EXPECT_TRUE(header_is_sound(file));
}

// ---- Making a dictionary --------------------------------------------------------------------------------------------

TEST(dict_file_create, gives_14_without_a_path)
{
    calls_reset();
    EXPECT_EQ(dict_file_create(nullptr), (DictStatus)DICT_NO_NAME);
    EXPECT_EQ(call_lines(), Lines());
}

TEST(dict_file_create, writes_the_first_layout)
{
    std::string bytes = new_dictionary_bytes();
    ASSERT_EQ(bytes.size(), NEW_FILE);

    std::string expected(NEW_FILE, '\0');
    auto put = [&](size_t offset, std::initializer_list<int> values) {
        for (int value : values) expected[offset++] = (char)value;
    };
    // %VTL, version 11, change_count and reserved 0, table_entry 2, table_offset 26, 256 entries, 253 of them free
    put(0, { '%', 'V', 'T', 'L', 11, 0, 0, 0, 0, 0, 2, 0, 0, 0, 26, 0, 0, 0, 0, 1, 0, 0, 253, 0, 0, 0 });
    put(26, { 1, 0, 0x1A, 0x0E, 0, 0, 0x28, 3, 0, 0, 0x28, 3, 0, 0 });   // block 1: 3610, 808, 808
    put(40, { 3, 0, 0x42, 0x11, 0, 0, 0, 2, 0, 0, 0, 2, 0, 0 });         // block 2: 4418, 512, 512
    put(54, { 6, 0, 26, 0, 0, 0, 0, 0x0E, 0, 0, 0, 0x0E, 0, 0 });        // block 3: 26, 3584, 3584
    put(3610, { 0, 0, 50, 0, 2, 0, 0, 0 });                              // no modules, 50 spare ones, names in block 2
    EXPECT_EQ(bytes, expected);
}

TEST(dict_file_create, writes_four_pieces_one_behind_the_other)
{
    TempDir dir;
    std::string name = dir.native("a.dic");
    calls_reset();
    EXPECT_EQ(dict_file_create(dir.name("a.dic")), OK);
    EXPECT_EQ(call_lines(), (Lines{ "open " + name + " failed", "create " + name, "open " + name,
                                    "seek 0", "write 0+26", "seek 26", "write 26+3584",
                                    "seek 3610", "write 3610+808", "seek 4418", "write 4418+512", "close" }));
    EXPECT_EQ(call_counts().free, 4u);  // one handle for each piece, and none left
}

TEST(dict_file_create, opens_the_file_shared_while_it_writes)
{
    TempDir dir;
    FileHandle other = 0;
    faults_hook(FAULT_WRITE, 1, [&] { other = file_open(dir.name("a.dic"), FILE_RW_SHARED); });
    EXPECT_EQ(dict_file_create(dir.name("a.dic")), OK);
    EXPECT_NE(other, 0u);
    (void)file_close(other);
}

TEST(dict_file_create, replaces_any_file)
{
    TempDir dir;
    dir.put("a.dic", "Dear Sir or Madam,\n");
    calls_reset();
    EXPECT_EQ(dict_file_create(dir.name("a.dic")), OK);
    EXPECT_EQ(dir.content("a.dic"), new_dictionary_bytes());
    Lines lines = call_lines();
    lines.resize(4);
    std::string name = dir.native("a.dic");
    EXPECT_EQ(lines, (Lines{ "open " + name, "close", "remove " + name, "create " + name }));
}

TEST(dict_file_create, replaces_a_dictionary_that_is_larger)
{
    TempDir dir;
    dir.put("a.dic", new_dictionary_bytes() + std::string(9000, 'x'));
    EXPECT_EQ(dict_file_create(dir.name("a.dic")), OK);
    EXPECT_EQ(dir.content("a.dic").size(), NEW_FILE);
}

TEST(dict_file_create, gives_6_while_somebody_has_the_file_open)
{
    TempDir dir;
    for (u16 mode : { FILE_RW_SHARED, FILE_READ_ONLY, FILE_RW_EXCLUSIVE }) {
        FileHandle other = file_open(dir.put("a.dic", "theirs"), mode);
        ASSERT_NE(other, 0u);
        EXPECT_EQ(dict_file_create(dir.name("a.dic")), (DictStatus)DICT_NO_FILE) << mode;
        (void)file_close(other);
        EXPECT_EQ(dir.content("a.dic"), "theirs");
    }
}

TEST(dict_file_create, gives_6_whatever_kept_the_file_from_being_made)
{
    TempDir dir;
    EXPECT_EQ(dict_file_create(dir.name("missing/a.dic")), (DictStatus)DICT_NO_FILE);
    std::filesystem::create_directory(dir.path("folder"));
    EXPECT_EQ(dict_file_create(dir.name("folder")), (DictStatus)DICT_NO_FILE);
    for (u32 error : { PLATFORM_DISK_FULL, PLATFORM_ACCESS_DENIED, PLATFORM_TOO_MANY_OPEN_FILES,
                       PLATFORM_GENERAL_FAILURE }) {
        faults_start({ .call = FAULT_CREATE, .error = error });
        EXPECT_EQ(dict_file_create(dir.name("a.dic")), (DictStatus)DICT_NO_FILE) << error;
        EXPECT_TRUE(faults_stop());
        EXPECT_FALSE(dir.has("a.dic"));
    }
}

TEST(dict_file_create, gives_6_for_an_empty_name)
{
    EXPECT_EQ(dict_file_create(Name("")), (DictStatus)DICT_NO_FILE);
}

TEST(dict_file_create, gives_0_and_no_file_when_the_open_fails)
{
    TempDir dir;
    faults_start({ .call = FAULT_OPEN, .nth = 2, .error = PLATFORM_ACCESS_DENIED });  // the first looks for an old file
    EXPECT_EQ(dict_file_create(dir.name("a.dic")), OK);
    EXPECT_TRUE(faults_stop());
    EXPECT_FALSE(dir.has("a.dic"));
}

TEST(dict_file_create, gives_0_and_no_file_when_a_write_fails)
{
    for (FaultCall call : { FAULT_WRITE, FAULT_SEEK }) {
        for (u32 nth = 1; nth <= 4; nth++) {  // the four pieces
            TempDir dir;
            faults_start({ .call = call, .nth = nth, .error = PLATFORM_DISK_FULL });
            EXPECT_EQ(dict_file_create(dir.name("a.dic")), OK);
            EXPECT_TRUE(faults_stop());
            EXPECT_FALSE(dir.has("a.dic")) << call << " " << nth;
        }
    }
}

TEST(dict_file_create, does_not_notice_a_short_write)
{
    TempDir dir;
    faults_start({ .call = FAULT_WRITE, .nth = 4, .cut = 100 });
    EXPECT_EQ(dict_file_create(dir.name("a.dic")), OK);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dir.content("a.dic"), new_dictionary_bytes().substr(0, NAMES_AT + 100));
}

TEST(dict_file_create, gives_9_and_no_file_without_memory)
{
    gfree(galloc(1, nullptr, 0));  // the table of handles has its memory
    for (u32 nth = 1; nth <= 4; nth++) {
        TempDir dir;
        NothingLeft nothing_left;
        faults_start({ .call = FAULT_ALLOC, .nth = nth });
        EXPECT_EQ(dict_file_create(dir.name("a.dic")), (DictStatus)DICT_NO_MEMORY);
        EXPECT_TRUE(faults_stop());
        EXPECT_FALSE(dir.has("a.dic")) << nth;
    }
}

TEST(dict_file_create, leaves_an_old_file_whole_or_a_new_one_or_none_whichever_call_fails)
{
    const std::string made = new_dictionary_bytes();
    for (const std::string &old : { std::string(), std::string("an old file") }) {
        with_each_failure([&](const Fault &fault) {
            TempDir dir;
            if (!old.empty()) dir.put("a.dic", old);
            faults_start(fault);
            DictStatus status = dict_file_create(dir.name("a.dic"));
            bool met = faults_stop();

            std::string now = dir.has("a.dic") ? dir.content("a.dic") : "";
            if (status == DICT_NO_FILE) {
                EXPECT_TRUE(now == old || now.empty());  // none when the old one was gone before the new one failed
            } else if (fault.from_then_on && met) {
                EXPECT_TRUE(status == OK || status == DICT_NO_MEMORY) << status;
                EXPECT_EQ(now, made.substr(0, now.size()));  // what could not be deleted any more
            } else {
                EXPECT_TRUE(status == OK || (status == DICT_NO_MEMORY && now.empty())) << status;
                EXPECT_TRUE(now.empty() || now == made);
            }
            return met;
        });
    }
}

// ---- Opening --------------------------------------------------------------------------------------------------------

TEST(dict_file_open, gives_14_without_a_path)
{
    DictFile file = {};
    calls_reset();
    EXPECT_EQ(dict_file_open(&file, nullptr, DICT_SHARED, 0), (DictStatus)DICT_NO_NAME);
    EXPECT_EQ(call_lines(), Lines());
    expect_closed(file);
}

TEST(dict_file_open, gives_18_for_a_record_with_a_file_and_leaves_it_alone)
{
    BareDictionary file;
    DictFile before = file.file;
    calls_reset();
    EXPECT_EQ(dict_file_open(file, file.path, DICT_SHARED, 9), (DictStatus)DICT_ALREADY_OPEN);
    EXPECT_EQ(call_lines(), Lines());
    EXPECT_EQ(memcmp(&before, (DictFile *)file, sizeof before), 0);
}

TEST(dict_file_open, gives_14_before_18)
{
    BareDictionary file;
    EXPECT_EQ(dict_file_open(file, nullptr, DICT_SHARED, 0), (DictStatus)DICT_NO_NAME);
}

TEST(dict_file_open, reads_header_block_table_and_module_table)
{
    BareDictionary file;
    file.close();
    calls_reset();
    file.open(DICT_SHARED);
    // 896 bytes are a page of 64 entries. Between them the length of the file is asked for, to guard against damage.
    EXPECT_EQ(call_lines({ FAULT_OPEN, FAULT_CLOSE, FAULT_SEEK, FAULT_READ, FAULT_WRITE }),
              (Lines{ "open " + file.dir.native("a.dic"), "seek 0", "read 0+26", "seek 26", "read 26+896", "seek 3610",
                      "read 3610+808" }));
}

TEST(dict_file_open, fills_the_record)
{
    BareDictionary file;
    file.close();
    file->path = nullptr;
    EXPECT_EQ(dict_file_open(file, file.path, DICT_SHARED, 4711), OK);
    EXPECT_EQ(file->path, (PString)file.path);
    EXPECT_NE(file->file, 0u);
    EXPECT_EQ(file->option, 4711u);
    EXPECT_EQ(file->open_mode, 0u);
    EXPECT_EQ(std::string((const char *)&file->header, 26), header_bytes());
    EXPECT_EQ(gsize(file->module_table_handle), 808);
    EXPECT_EQ(file->module_table, glock(file->module_table_handle));
    EXPECT_EQ((u8 *)file->module_entries, (u8 *)file->module_table + 8);
    EXPECT_EQ(gsize(file->directories_handle), (i32)(50 * sizeof(DirectoryPair)));
    EXPECT_EQ(file->directories, glock(file->directories_handle));
    EXPECT_EQ(gsize(file->page_cache_handle), (i32)sizeof(BlockPage));  // the page that holds block 1
    EXPECT_EQ(file->page_cache[0].first, 0u);
    EXPECT_EQ(file->page_cache[0].last, 63u);
    EXPECT_EQ(file->core_tables, nullptr);  // they come behind this
    EXPECT_EQ(file->lock_state, LOCK_NONE);
}

TEST(dict_file_open, stores_the_mode)
{
    BareDictionary file;
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        file.close();
        file.open(mode);
        EXPECT_EQ(file->open_mode, mode);
    }
}

TEST(dict_file_open, stores_an_option_that_chooses_nothing)
{
    BareDictionary file;
    Lines lines[2];
    std::string bytes[2];
    for (u32 i = 0; i < 2; i++) {
        file.close();
        calls_reset();
        EXPECT_EQ(dict_file_open(file, file.path, DICT_SHARED, i ? 0xFFFF : 0), OK);
        EXPECT_EQ(file->option, i ? 0xFFFFu : 0u);
        lines[i] = call_lines();
        file.close();
        bytes[i] = file.bytes();
    }
    EXPECT_EQ(lines[0], lines[1]);
    EXPECT_EQ(bytes[0], bytes[1]);
}

TEST(dict_file_open, does_not_look_at_the_version)
{
    BareDictionary file;
    for (u32 version : { 0u, 10u, 99u, 0xFFFFu }) {
        file.close();
        patch(file.dir, 4, { (char)(version & 0xFF), (char)(version >> 8) });
        EXPECT_EQ(dict_file_open(file, file.path, DICT_EXCLUSIVE, 0), OK) << version;
        EXPECT_EQ(dict_file_version(file), version);
    }
}

TEST(dict_file_open, gives_6_for_a_missing_file_directory_and_name)
{
    TempDir dir;
    DictFile file = {};
    for (const std::string name : { "none", "none/a.dic" }) {
        Name path = dir.name(name);
        EXPECT_EQ(dict_file_open(&file, path, DICT_SHARED, 0), (DictStatus)DICT_NO_FILE) << name;
        expect_closed(file);
    }
    Name empty("");
    EXPECT_EQ(dict_file_open(&file, empty, DICT_SHARED, 0), (DictStatus)DICT_NO_FILE);
}

TEST(dict_file_open, gives_10_for_an_unknown_mode_without_a_look_at_the_disk)
{
    TempDir dir;
    DictFile file = {};
    Name path = dir.name("none");
    for (u32 mode : { 1u, 2u, 16383u, 16385u, 32767u, 32769u, 49152u, 65535u }) {
        calls_reset();
        EXPECT_EQ(dict_file_open(&file, path, (u16)mode, 0), (DictStatus)DICT_ACCESS_DENIED) << mode;
        EXPECT_EQ(call_lines(), Lines());
    }
}

TEST(dict_file_open, gives_10_when_the_modes_do_not_go_together)
{
    BareDictionary file;
    DictFile other = {};
    const u16 modes[] = { DICT_SHARED, DICT_READ_ONLY, DICT_EXCLUSIVE };
    for (u16 first : modes) {
        file.close();
        file.open(first);
        for (u16 second : modes) {
            bool together = first == second && first != DICT_EXCLUSIVE;
            EXPECT_EQ(dict_file_open(&other, file.path, second, 0), together ? OK : (DictStatus)DICT_ACCESS_DENIED)
                << first << " " << second;
            if (together) (void)dict_file_close(&other);
            expect_closed(other);
        }
    }
}

TEST(dict_file_open, gives_11_when_the_system_has_too_many_files_open)
{
    BareDictionary file;
    file.close();
    faults_start({ .call = FAULT_OPEN, .error = PLATFORM_TOO_MANY_OPEN_FILES });
    EXPECT_EQ(dict_file_open(file, file.path, DICT_SHARED, 0), (DictStatus)DICT_TOO_MANY_FILES);
    EXPECT_TRUE(faults_stop());
}

TEST(dict_file_open, gives_4_for_a_wrong_magic_and_closes_the_file)
{
    BareDictionary file;
    for (const char *magic : { "%VTl", "VTL%", "\0VTL", "PK\3\4" }) {
        file.close();
        patch(file.dir, 0, std::string(magic, 4));
        EXPECT_EQ(dict_file_open(file, file.path, DICT_EXCLUSIVE, 0), (DictStatus)DICT_NOT_A_DICTIONARY) << magic;
        expect_closed(file.file);
        FileHandle other = file_open(file.path, FILE_RW_EXCLUSIVE);
        EXPECT_NE(other, 0u);
        (void)file_close(other);
    }
    patch(file.dir, 0, "%VTL");
    file.open();  // the record is as good as new
}

TEST(dict_file_open, tells_a_short_file_by_its_magic)
{
    TempDir dir;
    DictFile file = {};
    for (const std::string content : { "", "%VT", "abc", "%VTL" }) {
        Name path = dir.put("a.dic", content);
        EXPECT_EQ(dict_file_open(&file, path, DICT_EXCLUSIVE, 0), (DictStatus)DICT_NOT_A_DICTIONARY) << content;
        expect_closed(file);
    }
}

TEST(dict_file_open, does_not_take_the_magic_of_an_earlier_file_for_that_of_a_short_one)
{
    BareDictionary file;
    file.close();
    file.dir.put("a.dic", "");
    EXPECT_EQ(memcmp(file->header.magic, "%VTL", 4), 0);  // still in memory
    EXPECT_EQ(dict_file_open(file, file.path, DICT_EXCLUSIVE, 0), (DictStatus)DICT_NOT_A_DICTIONARY);
}

TEST(dict_file_open, gives_the_status_of_a_failed_read_before_that_of_the_magic)
{
    BareDictionary file;
    file.close();
    patch(file.dir, 0, "none");
    const struct {
        u32 error;
        DictStatus status;
    } rows[] = {
        { PLATFORM_GENERAL_FAILURE, DICT_FAILED }, { PLATFORM_ACCESS_DENIED, DICT_ACCESS_DENIED },
        { PLATFORM_HANDLE_EOF, DICT_BAD_POSITION }, { PLATFORM_DISK_FULL, DICT_NO_ROOM },
    };
    for (const auto &row : rows) {
        faults_start({ .call = FAULT_READ, .error = row.error });
        EXPECT_EQ(dict_file_open(file, file.path, DICT_EXCLUSIVE, 0), row.status);
        EXPECT_TRUE(faults_stop());
        expect_closed(file.file);
    }
}

TEST(dict_file_open, gives_4_for_a_block_table_outside_the_file)
{
    std::string rest = new_dictionary_bytes().substr(26);
    TempDir dir;
    DictFile file = {};
    const std::string headers[] = { header_bytes(26, 0), header_bytes(25, 256), header_bytes(26, 4000000000),
                                    header_bytes(26, 351), header_bytes(4917, 1) };
    for (const std::string &header : headers) {
        Name path = dir.put("a.dic", header + rest);
        EXPECT_EQ(dict_file_open(&file, path, DICT_EXCLUSIVE, 0), (DictStatus)DICT_NOT_A_DICTIONARY);
        expect_closed(file);
        EXPECT_EQ(dir.content("a.dic"), header + rest);
    }
}

TEST(dict_file_open, gives_4_for_a_bad_block_1_and_leaves_nothing)
{
    BareDictionary file;
    const struct {
        u32 offset;
        std::string bytes;
    } damages[] = {
        { 28, std::string("\xFF\xFF\xFF\x7F", 4) },               // block 1 far beyond the file
        { 32, std::string("\x00\x00\x00\x00", 4) },               // of 0 bytes
        { 32, std::string("\x07\x00\x00\x00", 4) },               // too short for its head
        { 32, std::string("\x27\x03\x00\x00", 4) },               // one byte too short for its entries
        { MODULES_AT, std::string("\xFF\xFF", 2) },               // -1 modules
        { MODULES_AT, std::string("\x01\x00", 2) },               // one more than there is room for
        { MODULES_AT + 2, std::string("\xFF\xFF", 2) },           // -1 spare entries
        { MODULES_AT + 2, std::string("\x33\x00", 2) },           // 51 of them
        { MODULES_AT, std::string("\xFF\x7F\xFF\x7F", 4) },
    };
    for (const auto &damage : damages) {
        file.close();
        std::string sound = new_dictionary_bytes();
        file.dir.put("a.dic", sound.replace(damage.offset, damage.bytes.size(), damage.bytes));
        NothingLeft nothing_left;
        EXPECT_EQ(dict_file_open(file, file.path, DICT_EXCLUSIVE, 0), (DictStatus)DICT_NOT_A_DICTIONARY);
        expect_closed(file.file);
    }
}

TEST(dict_file_open, gives_9_without_memory_and_leaves_nothing)
{
    BareDictionary file;
    file.close();
    for (u32 nth = 1; nth <= 4; nth++) {  // the page cache, its page, the module table, the directories
        NothingLeft nothing_left;
        faults_start({ .call = FAULT_ALLOC, .nth = nth });
        EXPECT_EQ(dict_file_open(file, file.path, DICT_EXCLUSIVE, 0), (DictStatus)DICT_NO_MEMORY) << nth;
        EXPECT_TRUE(faults_stop());
        expect_closed(file.file);
    }
    NothingLeft nothing_left;
    nothing_left.may_lose = 1;  // a resize that fails takes the array of pages away
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(dict_file_open(file, file.path, DICT_EXCLUSIVE, 0), (DictStatus)DICT_NO_MEMORY);
    EXPECT_TRUE(faults_stop());
    expect_closed(file.file);
}

TEST(dict_file_open, leaves_the_path_of_before_when_it_fails)
{
    BareDictionary file;
    file.close();
    Name other = file.dir.name("none");
    EXPECT_EQ(dict_file_open(file, other, DICT_EXCLUSIVE, 0), (DictStatus)DICT_NO_FILE);
    EXPECT_EQ(file->path, (PString)file.path);
}

TEST(dict_file_open, keeps_the_lock_state)
{
    BareDictionary file(DICT_SHARED);
    file->lock_state = LOCK_WRITER;
    file.close();
    file.open(DICT_SHARED);
    EXPECT_EQ(file->lock_state, LOCK_WRITER);
}

TEST(dict_file_open, frees_what_a_lost_file_has_left)
{
    NothingLeft nothing_left;
    BareDictionary file;
    faults_start({ .call = FAULT_OPEN });
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), 0u);  // extends the file, and cannot open it again
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(file->file, 0u);
    EXPECT_NE(file->module_table, nullptr);
    file.open();
    EXPECT_EQ(module_count(file, 2), 0);
}

// The plain forms of the file operations store their code elsewhere then, and the open asks `file_error` all the same.
TEST(dict_file_open, asks_file_error_wherever_the_error_location_is)
{
    TempDir dir;
    DictFile file = {};
    Name path = dir.name("none");
    u32 elsewhere = 0;
    file_error = FILE_TOO_MANY_OPEN;  // of some time before
    file_seterrorptr(&elsewhere);
    EXPECT_EQ(dict_file_open(&file, path, DICT_SHARED, 0), (DictStatus)DICT_TOO_MANY_FILES);
    file_seterrorptr(&file_error);
    file_error = FILE_OK;
    EXPECT_EQ(elsewhere, (u32)FILE_NOT_FOUND);
    expect_closed(file);
}

TEST(dict_file_open, leaves_the_record_closed_and_the_file_as_it_was_whichever_call_fails)
{
    BareDictionary file;
    ASSERT_EQ(module_create(file, 2, 100, Name("one")), OK);
    file.close();
    std::string before = file.bytes();
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        with_each_failure([&](const Fault &fault) {
            faults_start(fault);
            DictStatus status = dict_file_open(file, file.path, mode, 0);
            bool met = faults_stop();
            if (status) {
                expect_closed(file.file);
                EXPECT_EQ(file.bytes(), before);
                EXPECT_EQ(dict_file_open(file, file.path, mode, 0), OK);
            }
            // A failed read of a page or a table of modules shows as damage or not at all; a close is not looked at.
            const DictStatus known[] = { OK, DICT_FAILED, DICT_NOT_A_DICTIONARY, DICT_NO_MEMORY };
            EXPECT_NE(std::find(std::begin(known), std::end(known), status), std::end(known)) << status;
            (void)dict_file_close(file);
            EXPECT_EQ(file.bytes(), before);
            return met;
        });
    }
}

// ---- Closing --------------------------------------------------------------------------------------------------------

TEST(dict_file_close, gives_7_without_a_file)
{
    DictFile file = {};
    calls_reset();
    EXPECT_EQ(dict_file_close(&file), (DictStatus)DICT_NOT_OPEN);
    EXPECT_EQ(call_lines(), Lines());
}

TEST(dict_file_close, frees_what_a_lost_file_has_left)
{
    NothingLeft nothing_left;
    BareDictionary file;
    faults_start({ .call = FAULT_OPEN });
    EXPECT_EQ(block_allocate(file, BLOCK_BODIES, 100), 0u);  // extends the file, and cannot open it again
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dict_file_close(file), (DictStatus)DICT_NOT_OPEN);
    expect_closed(file.file);
}

TEST(dict_file_close, writes_header_and_dirty_pages_and_frees_all)
{
    NothingLeft nothing_left;
    BareDictionary file;
    BlockEntry entry = {};
    EXPECT_EQ(block_write_entry(file, 100, &entry), OK);  // in the second page
    calls_reset();
    EXPECT_EQ(dict_file_close(file), OK);
    EXPECT_EQ(call_lines(), (Lines{ "seek 0", "write 0+26", "seek 922", "write 922+896", "close" }));
    expect_closed(file.file);
}

TEST(dict_file_close, writes_the_header_from_memory)
{
    BareDictionary file(DICT_SHARED);
    patch(file.dir, 0, std::string(26, '?'));
    file.close();
    EXPECT_EQ(file.bytes(), new_dictionary_bytes());  // unchanged in memory, written all the same
    file.open(DICT_EXCLUSIVE);
    file->header.version = le16(12);
    file.close();
    EXPECT_EQ(u16_at(file.bytes(), 4), 12u);
    patch(file.dir, 4, std::string("\x0B", 1));

    // What somebody else has written since is lost.
    DictFile other = {};
    file.open(DICT_SHARED);
    EXPECT_EQ(dict_file_open(&other, file.path, DICT_SHARED, 0), OK);
    EXPECT_EQ(dict_file_set_version(&other, 77), OK);
    EXPECT_EQ(dict_file_close(&other), OK);
    EXPECT_EQ(u16_at(file.bytes(), 4), 77u);
    calls_reset();
    file.close();
    EXPECT_EQ(u16_at(file.bytes(), 4), 11u);
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }), Lines());
}

TEST(dict_file_close, tries_to_write_the_header_of_a_read_only_file)
{
    BareDictionary file(DICT_READ_ONLY);
    file->header.version = le16(12);
    calls_reset();
    EXPECT_EQ(dict_file_close(file), OK);
    EXPECT_EQ(call_lines(), (Lines{ "seek 0", "write 0+26 failed", "close" }));
    EXPECT_EQ(file.bytes(), new_dictionary_bytes());
}

TEST(dict_file_close, keeps_path_mode_option_header_and_lock_state)
{
    BareDictionary file(DICT_SHARED);
    file->option = 5;
    file->lock_state = 7;
    EXPECT_EQ(dict_file_close(file), OK);
    EXPECT_EQ(file->path, (PString)file.path);
    EXPECT_EQ(file->open_mode, 0u);
    EXPECT_EQ(file->option, 5u);
    EXPECT_EQ(file->lock_state, 7);
    EXPECT_EQ(std::string((const char *)&file->header, 26), header_bytes());
}

TEST(dict_file_close, frees_core_tables_of_its_own)
{
    NothingLeft nothing_left;
    BareDictionary file;
    EXPECT_EQ(core_tables_init(file), OK);
    core_table_attach(file, 9, 0, galloc(100, nullptr, 1));
    core_table_attach(file, 64, 2, galloc(100, nullptr, 1));
    EXPECT_EQ(dict_file_close(file), OK);
    expect_closed(file.file);
}

TEST(dict_file_close, gives_0_and_frees_all_whichever_call_fails)
{
    BareDictionary file;
    file.close();
    std::string before = file.bytes();
    with_each_failure([&](const Fault &fault) {
        file.dir.put("a.dic", before);
        file.open();
        file->header.version = le16(99);
        BlockEntry entry = { .type = le16(0), .offset = le32(1234), .size = {}, .free = {} };
        EXPECT_EQ(block_write_entry(file, 255, &entry), OK);

        faults_start(fault);
        EXPECT_EQ(dict_file_close(file), OK);
        bool met = faults_stop();
        expect_closed(file.file);

        std::string with_header = std::string(before).replace(4, 1, "\x63");
        std::string with_entry = std::string(before).replace(26 + 255 * 14 + 2, 2, "\xD2\x04");
        std::string with_both = std::string(with_entry).replace(4, 1, "\x63");
        std::string now = file.bytes();
        if (!met) EXPECT_EQ(now, with_both);
        else EXPECT_TRUE(now == before || now == with_header || now == with_entry || now == with_both);
        return met;
    });
}

TEST(core_tables_free, leaves_borrowed_tables)
{
    NothingLeft nothing_left;
    DictFile file = {};
    EXPECT_EQ(core_tables_init(&file), OK);
    GHandle lent = galloc(100, nullptr, 1);
    core_table_attach(&file, 9, 1, galloc(100, nullptr, 1));
    core_table_borrow(&file, 9, 0, (CoreTable *)glock(lent));
    core_tables_free(&file);
    expect_closed(file);
    EXPECT_EQ(gsize(lent), 100);
    gfree(lent);
    core_tables_free(&file);  // none are left: nothing happens
}

TEST(core_tables_free, frees_a_detached_table)
{
    NothingLeft nothing_left;
    DictFile file = {};
    EXPECT_EQ(core_tables_init(&file), OK);
    core_table_attach(&file, 9, 0, galloc(100, nullptr, 1));
    EXPECT_NE(core_table_detach(&file, 9, 0), 0u);
    core_tables_free(&file);
}

// ---- Damage ---------------------------------------------------------------------------------------------------------

// What one does with a dictionary, as far as it lets one. Any status will do. The disk is full after 300 writes, far
// more than a sound file needs, so that no damaged length makes the test move gigabytes.
void use(DictFile *file)
{
    faults_start({ .call = FAULT_WRITE, .nth = 300, .from_then_on = true, .error = PLATFORM_DISK_FULL });
    for (i32 kind = 0; kind <= 4; kind++) {
        for (i32 n = module_count(file, kind); n > 0; n--) {
            i32 module = module_at(file, kind, n);
            (void)module_position(file, kind, module);
            u8 name[256] = {};
            i16 index = module_find(file, kind, module);
            (void)module_read_name(file, index, name);
            (void)directory_load(file, index);
            (void)type_resource_count(file, kind, module, 9);
        }
        (void)module_find_by_name(file, kind, Name("none"));
    }
    (void)module_create(file, 2, 55, Name("fifty-five"));
    (void)module_delete(file, 2, 100);
    (void)module_rename(file, 2, 101, Name("another and a longer name"));
    (void)block_free(file, 4);
    (void)block_allocate(file, BLOCK_BODIES, 40);
    (void)faults_stop();
}

// A new file each time: many systems send a file to the disk when it is cut and written again.
void put_anew(const TempDir &dir, const std::string &bytes)
{
    std::filesystem::remove(dir.path("a.dic"));
    dir.put("a.dic", bytes);
}

DictStatus open_and_use(const TempDir &dir)
{
    NothingLeft nothing_left;
    DictFile file = {};
    Name path = dir.name("a.dic");
    DictStatus status = dict_file_open(&file, path, DICT_EXCLUSIVE, 0);
    if (!status) use(&file);
    else expect_closed(file);
    (void)dict_file_close(&file);
    EXPECT_LT(std::filesystem::file_size(dir.path("a.dic")), 100000u);  // no length that is not there gets filled up
    return status;
}

TEST(damaged_file, cut_at_any_length_opens_or_is_no_dictionary)
{
    TempDir dir;
    std::string whole = new_dictionary_bytes();
    for (size_t length = NEW_FILE; length-- > 0;) {
        // Of the name list nothing is read at the open; all in front of it must be there.
        DictStatus expected = length < NAMES_AT ? (DictStatus)DICT_NOT_A_DICTIONARY : OK;
        if (expected == OK || length == NAMES_AT - 1) put_anew(dir, whole.substr(0, length));
        else std::filesystem::resize_file(dir.path("a.dic"), length);  // a file that did not open is as it was
        ASSERT_EQ(open_and_use(dir), expected) << length;
    }
}

// Each byte of the header, the first three block entries and the module table.
void scramble_each_byte(const std::string &sound)
{
    TempDir dir;
    size_t modules_at = u32_at(sound, 28);
    size_t modules_end = modules_at + u32_at(sound, 32);
    for (size_t offset = 0; offset < modules_end; offset++) {
        if (offset == 68) offset = modules_at;
        for (i32 value : { 0, 0xFF, 0x7F }) {
            std::string bytes = sound;
            bytes[offset] = (char)value;
            if (bytes == sound) continue;  // the byte has this value
            put_anew(dir, bytes);
            DictStatus status = open_and_use(dir);
            ASSERT_TRUE(status == OK || status == DICT_NOT_A_DICTIONARY) << offset << " " << value << " " << status;
        }
    }
}

TEST(damaged_file, with_any_byte_changed_opens_or_is_no_dictionary)
{
    scramble_each_byte(new_dictionary_bytes());
}

TEST(damaged_file, with_modules_and_any_byte_changed_opens_or_is_no_dictionary)
{
    BareDictionary file;
    for (i32 module = 100; module < 103; module++) {
        EXPECT_EQ(module_create(file, 2, module, Name("Module " + std::to_string(module))), OK);
    }
    EXPECT_EQ(module_create(file, 1, 17, Name("Financial Core")), OK);
    file.close();
    scramble_each_byte(file.bytes());
}

} // namespace
} // namespace zuk
