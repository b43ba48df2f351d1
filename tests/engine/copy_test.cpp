#include "engine/copy.h"

#include "engine/core_storage.h"
#include "engine/locks.h"
#include "engine/resources.h"
#include "files/file.h"
#include "foundation/handles.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"
#include "tests/support/memory_limit.h"

#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace zuk {
namespace {

constexpr u32 NEW_FILE = 4930;             // bytes of a new dictionary
constexpr u32 DIRECTORY_2 = 926;           // of an empty directory of kind 2
constexpr u16 KEEP = 1;

// Types that keep numbers small: they gain 2 slots at a time, and their blocks begin with 32 bytes for names.
constexpr i16 SMALL = 4;                   // bodies begin with 32 bytes too
constexpr i16 OTHER = 7;                   // bodies begin with 64

using Lines = std::vector<std::string>;
using Contents = std::map<std::string, std::string>;

// ---- Bytes ----------------------------------------------------------------------------------------------------------

std::string le(i64 value, int bytes)
{
    std::string text;
    for (int i = 0; i < bytes; i++) text += (char)(u8)(value >> 8 * i);
    return text;
}

std::string stored(const std::string &name) { return (char)(u8)name.size() + name; }

// All of an open file, by its own handle and past the tables of the tests: nobody else may open it on every target.
std::string bytes_of_file(FileHandle file)
{
    i32 size = 0;
    u32 done = 0;
    EXPECT_EQ(native_files.size(file, &size), (u32)PLATFORM_OK);
    std::string bytes((size_t)size, '\0');
    EXPECT_EQ(native_files.seek(file, 0), (u32)PLATFORM_OK);
    EXPECT_EQ(native_files.read(file, bytes.data(), (u32)size, &done), (u32)PLATFORM_OK);
    EXPECT_EQ(done, (u32)size);
    return bytes;
}

// "type: offset size free" of a block.
std::string row(DictFile *file, u32 block)
{
    BlockEntry entry = entry_of(file, block);
    return std::to_string(le_get(entry.type)) + ": " + std::to_string(le_get(entry.offset)) + " " +
           std::to_string(le_get(entry.size)) + " " + std::to_string(le_get(entry.free));
}

// The lines of the log that are calls on this file.
Lines lines_of(FileHandle file, std::initializer_list<FaultCall> only)
{
    Lines all = call_lines();
    Lines lines;
    for (size_t i = 0; i < all.size(); i++) {
        const CallRecord &record = call_log()[i];
        for (FaultCall call : only) {
            if (record.call == call && record.file == file) lines.push_back(all[i]);
        }
    }
    return lines;
}

// ---- What stands in a dictionary ------------------------------------------------------------------------------------

std::string text_at(DictFile *file, u32 offset, i32 size)
{
    std::string text((size_t)size, '?');
    return dict_read_at(file, offset, text.data(), size) ? "<unread>" : text;
}

std::string module_name_of(DictFile *file, i32 kind, i32 module)
{
    Name name;
    DictStatus status = module_read_name(file, module_find(file, kind, module), name);
    return status ? "<status " + std::to_string(status) + ">" : name.str();
}

// "flags name=body" of one entry; its name as the type has it, also for types 2 and 23.
std::string entry_text(DictFile *file, const ResourceEntry *at, u32 name_block, u32 body_block)
{
    BlockEntry names, bodies;
    if (type_block_read(file, name_block, BLOCK_NAMES, &names)) return "<no names>";
    if (type_block_read(file, body_block, BLOCK_BODIES, &bodies)) return "<no bodies>";
    std::string name = text_at(file, le_get(names.offset) + (u32)le_get(at->name_offset), at->name_size);
    std::string body = text_at(file, le_get(bodies.offset) + (u32)le_get(at->body_offset), le_get(at->body_size));
    return std::to_string(at->flags) + " " + (name.empty() ? name : name.substr(1)) + "=" + body;
}

// "2/100" -> name of the module, "2/100/4/1" -> "flags name=body".
Contents contents_of(DictFile *file)
{
    Contents contents;
    for (i16 index = 0; const ModuleEntry *module = module_entry(file, index); index++) {
        i32 kind = le_get(module->kind);
        i32 number = le_get(module->module);
        std::string key = std::to_string(kind) + "/" + std::to_string(number);
        contents[key] = module_name_of(file, kind, number);
        ModuleDirectory *directory = directory_get(file, index);
        if (!directory) contents[key] += " <no directory>";
        for (i32 t = 0; directory && type_at(directory, t); t++) {
            i16 type = le_get(type_at(directory, t)->type);
            u32 names, bodies;
            for (i32 i = 0; const ResourceEntry *at = resource_entry_at(file, index, type, i, &names, &bodies); i++) {
                std::string id = std::to_string(type) + "/" + std::to_string(le_get(at->id));
                contents[key + "/" + id] = entry_text(file, at, names, bodies);
            }
        }
    }
    return contents;
}

// The same after a close and an open, and by the bytes of the file: what memory holds is what the file holds.
Contents contents_after_reopening(BareDictionary &dictionary)
{
    dictionary.close();
    dictionary.open();
    return contents_of(dictionary);
}

Contents part_of(const Contents &contents, const std::string &prefix)
{
    Contents part;
    for (const auto &[key, value] : contents) {
        if (key == prefix || key.rfind(prefix + "/", 0) == 0) part[key] = value;
    }
    return part;
}

ModuleDirectory *directory_of(DictFile *file, i32 kind, i32 module)
{
    return directory_get(file, module_find(file, kind, module));
}

bool is_in_memory(DictFile *file, i32 kind, i32 module)
{
    i16 index = module_find(file, kind, module);
    return index >= 0 && file->directories[index].directory;
}

// ---- Making dictionaries --------------------------------------------------------------------------------------------

void make(DictFile *file, i32 kind, i32 module, const std::string &name)
{
    EXPECT_EQ(module_create(file, kind, module, Name(name)), (DictStatus)DICT_OK) << name;
}

// Enter a resource and write its name and body, as a write of the exported interface does.
void put(DictFile *file, i32 kind, i32 module, i16 type, i16 id, const std::string &name, const std::string &body)
{
    std::string name_bytes = stored(name);
    i32 name_size = (i32)name_bytes.size();
    EXPECT_EQ(resource_add_entry(file, kind, module, type, id, (u8)name_size, (i32)body.size()), (DictStatus)DICT_OK);
    EXPECT_EQ(block_splice(file, type_name_block(file, kind, module, type), name_bytes.data(),
                           resource_name_offset(file, kind, module, type, id), name_size, 0,
                           block_unit(BLOCK_NAMES, type)),
              (DictStatus)DICT_OK);
    EXPECT_EQ(block_splice(file, type_body_block(file, kind, module, type), body.data(),
                           resource_body_offset(file, kind, module, type, id), (i32)body.size(), 0,
                           block_unit(BLOCK_NAMES, type)),
              (DictStatus)DICT_OK);
    EXPECT_EQ(directory_save(file, kind, module), (DictStatus)DICT_OK);
    EXPECT_EQ(block_table_flush(file), (DictStatus)DICT_OK);
}

// Module 100 of kind 2, with two types of two resources and one of itself.
void put_sample(DictFile *file, i32 number = 100, const std::string &name = "Mod")
{
    make(file, 2, number, name);
    put(file, 2, number, 2, (i16)number, name, "itself");
    put(file, 2, number, SMALL, 5, "five", "body of five");
    put(file, 2, number, SMALL, 3, "three", "body of three");
    put(file, 2, number, OTHER, 1, "one", "");
}

// All pages of the block table in memory: reads and writes that come then are those of the copy itself.
void load_pages(DictFile *file)
{
    for (u32 block = 1; block <= 256; block += PAGE_ENTRIES) (void)entry_of(file, block);
}

// A file that is opened many times with bytes of the test in it, overwritten rather than made anew: that takes far less
// time.
class Reused {
public:
    Reused() : path(dir.put("a.dic", "")), file{} {}
    ~Reused() { close(); }
    Reused(const Reused &) = delete;
    Reused &operator=(const Reused &) = delete;

    DictStatus open(const std::string &bytes)
    {
        close();
        std::fstream stream(dir.path("a.dic"), std::ios::in | std::ios::out | std::ios::binary);
        stream.write(bytes.data(), (std::streamsize)bytes.size());
        stream.close();
        EXPECT_TRUE(stream.good());
        if (std::filesystem::file_size(dir.path("a.dic")) != bytes.size()) {
            std::filesystem::resize_file(dir.path("a.dic"), bytes.size());
        }
        return dict_file_open(&file, path, DICT_EXCLUSIVE, 0);
    }
    void close() { (void)dict_file_close(&file); }
    operator DictFile *() { return &file; }
    DictFile *operator->() { return &file; }

private:
    TempDir dir;
    Name path;
    DictFile file;
};

// The lowest identifier that is given out, for the length of one test.
struct LowestId {
    explicit LowestId(i16 id) : before(lowest_id) { lowest_id = id; }
    ~LowestId() { lowest_id = before; }
    i16 before;
};

// A status word that no operation leaves alone by accident.
constexpr DictStatus UNTOUCHED = 77;

DictStatus copy(DictFile *from, DictFile *to, i32 kind, i32 module, u16 keep, ConstPString name = nullptr)
{
    DictStatus status = UNTOUCHED;
    (void)module_copy(from, to, kind, (u32)module, keep, name, 0, &status);
    return status;
}

constexpr size_t HANDLE_BYTES = 32;        // what a handle takes beside the bytes that were asked for

// ---- All there is ---------------------------------------------------------------------------------------------------

TEST(copies, have_every_operation)
{
    const void *const operations[] = {
        (const void *)dict_copy_module, (const void *)module_copy, (const void *)dict_copy_base_modules,
        (const void *)module_renumber_self, (const void *)file_copy_between, (const void *)block_copy_to,
    };
    std::set<const void *> different(std::begin(operations), std::end(operations));
    EXPECT_EQ(different.size(), std::size(operations));
    EXPECT_EQ(different.count(nullptr), 0u);
}

// ---- Bytes between files --------------------------------------------------------------------------------------------

struct TwoFiles {
    TempDir dir;
    FileHandle source, destination;

    TwoFiles(const std::string &from, const std::string &to)
    {
        source = file_open(dir.put("from", from), DICT_EXCLUSIVE);
        destination = file_open(dir.put("to", to), DICT_EXCLUSIVE);
        EXPECT_NE(source, 0u);
        EXPECT_NE(destination, 0u);
        calls_reset();
    }
    ~TwoFiles()
    {
        (void)file_close(source);
        (void)file_close(destination);
    }
    std::string result() const { return bytes_of_file(destination); }
};

TEST(file_copy_between, copies_bytes_to_their_new_place)
{
    TwoFiles files("0123456789", "abcdefghijkl");
    EXPECT_EQ(file_copy_between(files.source, files.destination, 3, 5, 4), 1);
    EXPECT_EQ(files.result(), "abcde3456jkl");
    EXPECT_EQ(bytes_of_file(files.source), "0123456789");
}

TEST(file_copy_between, reads_both_sizes_then_reads_and_writes)
{
    TwoFiles files("0123456789", "abcdefghijkl");
    EXPECT_EQ(file_copy_between(files.source, files.destination, 3, 5, 4), 1);
    EXPECT_EQ(call_lines(), (Lines{ "size", "size", "seek 3", "read 3+4", "seek 5", "write 5+4" }));
    EXPECT_EQ(call_log()[0].file, files.source);
    EXPECT_EQ(call_log()[1].file, files.destination);
    EXPECT_EQ(call_log()[3].file, files.source);
    EXPECT_EQ(call_log()[5].file, files.destination);
    EXPECT_EQ(call_counts().alloc, 1u);
    EXPECT_EQ(call_counts().free, 1u);
}

TEST(file_copy_between, copies_any_size_in_one_piece)
{
    std::string large(200001, 'x');
    TwoFiles files(large, std::string(200001, 'y'));
    EXPECT_EQ(file_copy_between(files.source, files.destination, 0, 0, 200001), 1);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), (Lines{ "read 0+200001", "write 0+200001" }));
    EXPECT_EQ(files.result(), large);
}

TEST(file_copy_between, of_no_bytes_at_valid_positions_gives_1)
{
    TwoFiles files("0123456789", "abc");
    EXPECT_EQ(file_copy_between(files.source, files.destination, 0, 0, 0), 1);
    EXPECT_EQ(file_copy_between(files.source, files.destination, 10, 3, 0), 1);  // the very ends
    EXPECT_EQ(call_lines({ FAULT_SEEK, FAULT_READ, FAULT_WRITE }), Lines());
    EXPECT_EQ(file_copy_between(files.source, files.destination, 11, 3, 0), 0);
    EXPECT_EQ(file_copy_between(files.source, files.destination, 10, 4, 0), 0);
    EXPECT_EQ(files.result(), "abc");
}

TEST(file_copy_between, fails_without_a_file)
{
    TwoFiles files("0123456789", "abcdefghijkl");
    EXPECT_EQ(file_copy_between(0, files.destination, 0, 0, 1), 0);
    EXPECT_EQ(file_copy_between(files.source, 0, 0, 0, 1), 0);
    EXPECT_EQ(file_copy_between(0, 0, 0, 0, 0), 0);
    EXPECT_EQ(call_lines(), Lines());
}

TEST(file_copy_between, refuses_negative_counts_and_positions)
{
    TwoFiles files("0123456789", "abcdefghijkl");
    for (i32 bad : { -1, INT_MIN }) {
        EXPECT_EQ(file_copy_between(files.source, files.destination, 0, 5, bad), 0);
        EXPECT_EQ(file_copy_between(files.source, files.destination, bad, 0, 1), 0);
        EXPECT_EQ(file_copy_between(files.source, files.destination, 0, bad, 1), 0);
    }
    EXPECT_EQ(call_lines({ FAULT_SEEK, FAULT_READ, FAULT_WRITE }), Lines());
    EXPECT_EQ(call_counts().alloc, 0u);
}

TEST(file_copy_between, tests_the_source_position_loosely)
{
    TwoFiles files("0123456789", "abcdefghijkl");
    // 10 + 4: it passes the test, and the read comes up short.
    EXPECT_EQ(file_copy_between(files.source, files.destination, 14, 0, 4), 0);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), (Lines{ "read 14+4 did 0" }));
    calls_reset();
    EXPECT_EQ(file_copy_between(files.source, files.destination, 8, 0, 4), 0);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), (Lines{ "read 8+4 did 2" }));
    calls_reset();
    EXPECT_EQ(file_copy_between(files.source, files.destination, 15, 0, 4), 0);
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), Lines());  // refused without a look
    EXPECT_EQ(files.result(), "abcdefghijkl");
}

TEST(file_copy_between, wants_the_whole_range_in_the_destination)
{
    TwoFiles files("0123456789", "abcdefghijkl");
    EXPECT_EQ(file_copy_between(files.source, files.destination, 0, 9, 4), 0);  // one byte too far
    EXPECT_EQ(file_copy_between(files.source, files.destination, 0, INT_MAX, INT_MAX), 0);
    EXPECT_EQ(file_copy_between(files.source, files.destination, 0, 13, 0), 0);
    EXPECT_EQ(call_counts().write + call_counts().read, 0u);
    EXPECT_EQ(file_copy_between(files.source, files.destination, 0, 8, 4), 1);
    EXPECT_EQ(files.result(), "abcdefgh0123");
}

TEST(file_copy_between, halves_its_buffer_rounding_up_while_memory_is_short)
{
    TwoFiles files("0123456789", "abcdefghijkl");
    size_t largest;
    {
        MemoryLimit limit(HANDLE_BYTES + 3);  // 10 and 5 are too much, 3 is not
        EXPECT_EQ(file_copy_between(files.source, files.destination, 0, 2, 10), 1);
        largest = MemoryLimit::largest;
    }
    EXPECT_EQ(largest, HANDLE_BYTES + 10);
    EXPECT_EQ(call_lines({ FAULT_READ }), (Lines{ "read 0+3", "read 3+3", "read 6+3", "read 9+1" }));
    EXPECT_EQ(call_lines({ FAULT_WRITE }), (Lines{ "write 2+3", "write 5+3", "write 8+3", "write 11+1" }));
    EXPECT_EQ(files.result(), "ab0123456789");
}

TEST(file_copy_between, goes_down_to_one_byte_and_then_gives_up)
{
    TwoFiles files("0123456789", "abcdefghijkl");
    {
        MemoryLimit limit(HANDLE_BYTES + 1);
        EXPECT_EQ(file_copy_between(files.source, files.destination, 0, 0, 3), 1);
    }
    EXPECT_EQ(call_counts().write, 3u);
    EXPECT_EQ(files.result(), "012defghijkl");

    calls_reset();
    faults_start({ .call = FAULT_ALLOC, .from_then_on = true });
    EXPECT_EQ(file_copy_between(files.source, files.destination, 0, 0, 10), 0);
    EXPECT_EQ(call_counts().alloc, 5u);  // 10, 5, 3, 2, 1
    EXPECT_EQ(file_copy_between(files.source, files.destination, 0, 0, 0), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(call_counts().read, 0u);
}

TEST(file_copy_between, ends_at_the_first_call_that_fails)
{
    u32 alive = handles_alive();
    for (u32 nth = 1;; nth++) {
        TwoFiles files("0123456789", "abcdefghijkl");
        MemoryLimit limit(HANDLE_BYTES + 5);  // two pieces
        faults_start({ .call = FAULT_ANY_FILE, .nth = nth });
        i16 result = file_copy_between(files.source, files.destination, 0, 2, 10);
        bool met = faults_stop();
        EXPECT_EQ(handles_alive(), alive);
        if (!met) {
            EXPECT_EQ(nth, 11u);  // two sizes, and two pieces of four calls
            EXPECT_EQ(result, 1);
            break;
        }
        // Without the size of the source its position counts against 0, which is good enough for position 0.
        EXPECT_EQ(result, nth == 1 ? 1 : 0) << nth;
        if (nth > 1) { EXPECT_EQ(call_lines().size(), std::max(nth, 2u)); }
        EXPECT_EQ(files.result(), nth == 1 ? "ab0123456789" : nth <= 6 ? "abcdefghijkl" : "ab01234hijkl") << nth;
    }
}

TEST(file_copy_between, fails_when_a_read_or_write_comes_up_short)
{
    for (FaultCall call : { FAULT_READ, FAULT_WRITE }) {
        TwoFiles files("0123456789", "abcdefghijkl");
        faults_start({ .call = call, .cut = 9 });
        EXPECT_EQ(file_copy_between(files.source, files.destination, 0, 0, 10), 0);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(files.result(), call == FAULT_READ ? "abcdefghijkl" : "012345678jkl");
    }
}

// ---- Blocks ---------------------------------------------------------------------------------------------------------

// A block of `size` bytes that begins with `used`, and counts as many as used.
u32 put_block(DictFile *file, u16 type, u32 size, const std::string &used)
{
    u32 block = block_allocate(file, type, (i32)size);
    EXPECT_NE(block, 0u);
    BlockEntry entry = entry_of(file, block);
    entry.free = le32(le_get(entry.size) - (u32)used.size());
    EXPECT_EQ(block_write_entry(file, block - 1, &entry), (DictStatus)DICT_OK);
    EXPECT_EQ(dict_write_at(file->file, le_get(entry.offset), used.data(), (i32)used.size()), (DictStatus)DICT_OK);
    return block;
}

TEST(block_copy_to, copies_the_used_part_into_a_new_block)
{
    BareDictionary from, to;
    u32 first = put_block(from, BLOCK_NAMES, 100, "the first");
    u32 second = put_block(from, BLOCK_BODIES, 512, "0123456789");
    u32 block = UNTOUCHED;
    EXPECT_EQ(block_copy_to(from, to, second, &block), (DictStatus)DICT_OK);
    EXPECT_EQ(block, 4u);
    EXPECT_EQ(row(to, 4), "4: 4930 10 0");
    EXPECT_EQ(bytes_of_file(to->file).size(), NEW_FILE + 10);
    EXPECT_EQ(block_bytes(to, 4), "0123456789");
    EXPECT_EQ(block_copy_to(from, to, first, &block), (DictStatus)DICT_OK);
    EXPECT_EQ(block, 5u);
    EXPECT_EQ(row(to, 5), "3: 4940 9 0");
    EXPECT_EQ(block_bytes(to, 5), "the first");
    EXPECT_EQ(le_get(to->header.free_entries), 251u);
}

TEST(block_copy_to, counts_what_the_allocator_gave_beyond_as_free)
{
    BareDictionary from, to;
    u32 block = put_block(from, BLOCK_BODIES, 512, std::string(90, 'b'));
    u32 piece = block_allocate(to, BLOCK_NAMES, 100);
    EXPECT_EQ(block_free(to, piece), (DictStatus)DICT_OK);
    u32 copied;
    EXPECT_EQ(block_copy_to(from, to, block, &copied), (DictStatus)DICT_OK);
    EXPECT_EQ(copied, piece);
    EXPECT_EQ(row(to, piece), "4: 4930 100 10");  // a piece is not split for a rest of 10 bytes
    EXPECT_EQ(block_bytes(to, piece), std::string(90, 'b'));
}

TEST(block_copy_to, writes_the_bytes_then_the_table_but_no_header)
{
    BareDictionary from, to;
    u32 block = put_block(from, BLOCK_BODIES, 512, "0123456789");
    std::string source = bytes_of_file(from->file);
    FileHandle handle = from->file;
    calls_reset();
    u32 copied;
    EXPECT_EQ(block_copy_to(from, to, block, &copied), (DictStatus)DICT_OK);
    // The file is made longer by zeros, the bytes come, then the first page of the table.
    EXPECT_EQ(call_lines({ FAULT_WRITE }), (Lines{ "write 4930+10", "write 4930+10", "write 26+896" }));
    EXPECT_EQ(lines_of(handle, { FAULT_WRITE, FAULT_READ }), (Lines{ "read 4930+10" }));
    EXPECT_EQ(bytes_of_file(from->file), source);
    std::string bytes = bytes_of_file(to->file);
    EXPECT_EQ(bytes.substr(26 + 3 * 14, 14), le(4, 2) + le(4930, 4) + le(10, 4) + le(0, 4));
    EXPECT_EQ(u32_at(bytes, 22), 253u);  // the count of the header waits for the next write of it
}

TEST(block_copy_to, of_a_block_without_bytes_takes_an_empty_entry)
{
    BareDictionary from, to;
    u32 block = put_block(from, BLOCK_BODIES, 512, "");
    u32 copied;
    calls_reset();
    EXPECT_EQ(block_copy_to(from, to, block, &copied), (DictStatus)DICT_OK);
    EXPECT_EQ(copied, 4u);
    EXPECT_EQ(row(to, 4), "4: 0 0 0");  // a block of no size at no place
    EXPECT_EQ(call_lines({ FAULT_READ, FAULT_WRITE }), (Lines{ "write 26+896" }));
    EXPECT_EQ(bytes_of_file(to->file).size(), NEW_FILE);
    EXPECT_EQ(block_splice(to, copied, "grown", 0, 5, 0, 16), (DictStatus)DICT_OK);  // it moves when it grows
    EXPECT_EQ(row(to, 4), "4: 4930 16 11");
    EXPECT_EQ(block_bytes(to, 4), "grown");
}

TEST(block_copy_to, of_a_block_without_bytes_may_begin_where_a_free_piece_does)
{
    BareDictionary from, to;
    u32 block = put_block(from, BLOCK_BODIES, 512, "");
    u32 piece = block_allocate(to, BLOCK_NAMES, 100);
    EXPECT_EQ(block_free(to, piece), (DictStatus)DICT_OK);
    u32 copied;
    EXPECT_EQ(block_copy_to(from, to, block, &copied), (DictStatus)DICT_OK);
    EXPECT_EQ(row(to, copied), "4: 4930 0 0");
    EXPECT_EQ(row(to, copied + 1), "0: 4930 100 100");  // all of the piece is left
}

TEST(block_copy_to, gives_13_when_there_is_no_block)
{
    BareDictionary from, to;
    u32 block = put_block(from, BLOCK_BODIES, 512, "0123456789");
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    u32 copied = UNTOUCHED;
    EXPECT_EQ(block_copy_to(from, to, block, &copied), (DictStatus)DICT_NO_ROOM);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(copied, 0u);
    EXPECT_EQ(le_get(to->header.free_entries), 253u);
}

TEST(block_copy_to, takes_block_65536_for_none)
{
    // A table in which the first free entry is the one of block 65536.
    std::string bytes;
    {
        BareDictionary bare;
        bare.close();
        bytes = bare.bytes();
    }
    std::string table = bytes.substr(26, 3 * 14);
    for (u32 i = 3; i < 65792; i++) table += le(i < 65535 ? BLOCK_BODIES : BLOCK_FREE, 2) + std::string(12, '\0');
    table.replace(2 * 14 + 2, 8, le((i64)bytes.size(), 4) + le((i64)table.size(), 4));
    bytes.replace(14, 12, le((i64)bytes.size(), 4) + le(65792, 4) + le(257, 4));
    AfterACrash to(bytes + table);
    ASSERT_EQ(to.status, (DictStatus)DICT_OK);

    BareDictionary from;
    u32 block = put_block(from, BLOCK_NAMES, 512, "0123456789");
    u32 copied;
    EXPECT_EQ(block_copy_to(from, to, block, &copied), (DictStatus)DICT_NO_ROOM);
    EXPECT_EQ(copied, 65536u);
    EXPECT_EQ(le_get(entry_of(to, 65536).type), BLOCK_NAMES);  // it stays taken
    EXPECT_EQ(le_get(to->header.free_entries), 256u);
    EXPECT_EQ(block_copy_to(from, to, block, &copied), (DictStatus)DICT_OK);
    EXPECT_EQ(copied, 65537u);
}

TEST(block_copy_to, leaves_the_new_block_taken_when_its_bytes_cannot_be_copied)
{
    const struct {
        FaultCall call;
        u32 nth;  // the first write makes the file longer
    } rows[] = { { FAULT_READ, 1 }, { FAULT_WRITE, 2 } };
    for (const auto &r : rows) {
        BareDictionary from, to;
        u32 block = put_block(from, BLOCK_BODIES, 512, "0123456789");
        load_pages(to);
        faults_start({ .call = r.call, .nth = r.nth });
        u32 copied;
        EXPECT_EQ(block_copy_to(from, to, block, &copied), (DictStatus)DICT_FAILED);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(copied, 4u);
        EXPECT_EQ(row(to, 4), "4: 4930 10 10");
        EXPECT_EQ(u32_at(bytes_of_file(to->file), 26 + 3 * 14), 0u);  // and nothing was flushed
    }
}

TEST(block_copy_to, tells_when_the_table_cannot_be_written)
{
    BareDictionary from, to;
    u32 block = put_block(from, BLOCK_BODIES, 512, "0123456789");
    faults_start({ .call = FAULT_WRITE, .nth = 3, .error = PLATFORM_ACCESS_DENIED });
    u32 copied;
    EXPECT_EQ(block_copy_to(from, to, block, &copied), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(row(to, copied), "4: 4930 10 0");
}

TEST(block_copy_to, gives_3_for_a_number_that_is_no_block)
{
    BareDictionary from, to;
    u32 free_block = put_block(from, BLOCK_BODIES, 512, "0123456789");
    EXPECT_EQ(block_free(from, free_block), (DictStatus)DICT_OK);
    calls_reset();
    for (u32 bad : { 0u, 257u, 0xFFFFFFFFu, free_block, free_block + 1 }) {
        u32 copied = UNTOUCHED;
        EXPECT_EQ(block_copy_to(from, to, bad, &copied), (DictStatus)DICT_NOT_FOUND) << bad;
        EXPECT_EQ(copied, 0u);
    }
    EXPECT_EQ(call_lines({ FAULT_WRITE }), Lines());
    EXPECT_EQ(le_get(to->header.free_entries), 253u);
}

TEST(block_copy_to, does_not_grow_the_destination_by_what_the_source_does_not_hold)
{
    const BlockEntry wild[] = {
        { le16(BLOCK_BODIES), le32(4930), le32(100), le32(101) },             // more free than there is
        { le16(BLOCK_BODIES), le32(4930), le32(0), le32(0xFFFFFFFF) },
        { le16(BLOCK_BODIES), le32(4930), le32(513), le32(0) },               // one byte behind the file
        { le16(BLOCK_BODIES), le32(4930), le32(0x7FFFFFFF), le32(0) },
        { le16(BLOCK_BODIES), le32(4930), le32(0xFFFFFFFF), le32(0) },
        { le16(BLOCK_BODIES), le32(0xFFFFFFFF), le32(100), le32(0) },
        { le16(BLOCK_BODIES), le32(0x80000000), le32(100), le32(90) },
    };
    BareDictionary from, to;
    u32 block = put_block(from, BLOCK_BODIES, 512, "0123456789");
    for (const BlockEntry &entry : wild) {
        EXPECT_EQ(block_write_entry(from, block - 1, &entry), (DictStatus)DICT_OK);
        calls_reset();
        u32 copied = UNTOUCHED;
        EXPECT_EQ(block_copy_to(from, to, block, &copied), (DictStatus)DICT_FAILED);
        EXPECT_EQ(copied, 0u);
        EXPECT_EQ(call_lines({ FAULT_WRITE }), Lines());
    }
    EXPECT_EQ(bytes_of_file(to->file).size(), NEW_FILE);
    // The free tail may lie behind the file: it is not copied.
    BlockEntry tail = { le16(BLOCK_BODIES), le32(4930), le32(0x7FFFFFFF), le32(0x7FFFFFFF - 5) };
    EXPECT_EQ(block_write_entry(from, block - 1, &tail), (DictStatus)DICT_OK);
    u32 copied;
    EXPECT_EQ(block_copy_to(from, to, block, &copied), (DictStatus)DICT_OK);
    EXPECT_EQ(block_bytes(to, copied), "01234");
}

// ---- The number of a module in its own resources --------------------------------------------------------------------

TEST(module_renumber_self, gives_types_2_and_23_the_number)
{
    for (i16 type : { (i16)2, (i16)23 }) {
        BareDictionary bare;
        make(bare, 2, 100, "Mod");
        put(bare, 2, 100, type, 100, "Mod", "itself");
        put(bare, 2, 100, SMALL, 100, "other", "other");
        module_renumber_self(7, type, directory_of(bare, 2, 100), 0);
        std::string key = "2/100/" + std::to_string(type) + "/";
        EXPECT_EQ(contents_of(bare), (Contents{ { "2/100", "Mod" }, { key + "7", "0 Mod=itself" },
                                                { "2/100/4/100", "0 other=other" } }));
    }
}

TEST(module_renumber_self, gives_all_resources_of_the_type_the_number)
{
    BareDictionary bare;
    make(bare, 2, 100, "Mod");
    for (i16 id = 1; id <= 3; id++) put(bare, 2, 100, 2, id, "n" + std::to_string(id), "");
    ModuleDirectory *directory = directory_of(bare, 2, 100);
    module_renumber_self(70000, 2, directory, 0);
    for (i32 i = 0; i < 3; i++) {
        const ResourceEntry *at = resource_entry_at(bare, 0, 2, i, nullptr, nullptr);
        EXPECT_EQ(le_get(at->id), 70000 - 65536);  // in 16 bits
        EXPECT_EQ(le_get(at->name_offset), 3 * i);
    }
    EXPECT_EQ(le_get(resource_run(directory, type_entry(directory, 2))[3].id), 0);  // the free slot stays one
}

TEST(module_renumber_self, does_nothing_with_keep_for_other_types_and_without_the_type)
{
    BareDictionary bare;
    make(bare, 2, 100, "Mod");
    put(bare, 2, 100, 2, 100, "Mod", "itself");
    put(bare, 2, 100, SMALL, 100, "other", "other");
    Contents before = contents_of(bare);
    ModuleDirectory *directory = directory_of(bare, 2, 100);
    module_renumber_self(7, 2, directory, 1);
    module_renumber_self(7, 2, directory, 0x8000);
    module_renumber_self(7, 23, directory, 0);
    for (i16 type : { SMALL, (i16)0, (i16)1, (i16)3, (i16)22, (i16)24, (i16)-2 }) {
        module_renumber_self(7, type, directory, 0);
    }
    EXPECT_EQ(contents_of(bare), before);
}

// ---- One module: what comes of it -----------------------------------------------------------------------------------

TEST(module_copy, brings_names_bodies_and_flags)
{
    LowestId first(100);
    BareDictionary from, to;
    put_sample(from);
    EXPECT_EQ(resource_set_flags(from, 2, 100, SMALL, 3, 0x81), (DictStatus)DICT_OK);
    EXPECT_EQ(directory_save(from, 2, 100), (DictStatus)DICT_OK);
    Contents source = contents_of(from);
    DictStatus status = UNTOUCHED;
    EXPECT_EQ(module_copy(from, to, 2, 100, 0, nullptr, 0, &status), 100);
    EXPECT_EQ(status, (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(to), source);
    EXPECT_EQ(contents_after_reopening(to), source);
    EXPECT_EQ(contents_of(to)["2/100/4/3"], "129 three=body of three");
    EXPECT_EQ(contents_of(from), source);
}

TEST(module_copy, copies_what_stands_in_the_file)
{
    BareDictionary from, to;
    put_sample(from);
    EXPECT_EQ(resource_set_flags(from, 2, 100, SMALL, 3, 0x81), (DictStatus)DICT_OK);  // in memory, and not saved
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(to)["2/100/4/3"], "0 three=body of three");
    EXPECT_EQ(contents_of(from)["2/100/4/3"], "0 three=body of three");  // dropped, and loaded from the file again
}

TEST(module_copy, lays_out_the_directory_then_names_and_bodies_by_type)
{
    BareDictionary from, to;
    put_sample(from);
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_OK);
    // 7 slots for types, 50 in reserve; 5 slots for type 2, two each for the others.
    u32 directory = 14 + (7 + 50 + 5 + 2 + 2) * 16;
    EXPECT_EQ(row(to, 4), "2: 4930 " + std::to_string(directory) + " 0");
    u32 at = NEW_FILE + directory;
    EXPECT_EQ(row(to, 5), "3: " + std::to_string(at) + " 4 0");          // type 2: "Mod"
    EXPECT_EQ(row(to, 6), "4: " + std::to_string(at + 4) + " 6 0");
    EXPECT_EQ(row(to, 7), "3: " + std::to_string(at + 10) + " 11 0");    // type 4: "five", "three"
    EXPECT_EQ(row(to, 8), "4: " + std::to_string(at + 21) + " 25 0");
    EXPECT_EQ(row(to, 9), "3: " + std::to_string(at + 46) + " 4 0");     // type 7: "one", without a body
    EXPECT_EQ(row(to, 10), "4: 0 0 0");
    EXPECT_EQ(bytes_of_file(to->file).size(), at + 50);
    EXPECT_EQ(le_get(to->header.free_entries), 246u);
    EXPECT_EQ(type_name_block(to, 2, 100, 2), 5u);
    EXPECT_EQ(type_body_block(to, 2, 100, 2), 6u);
    EXPECT_EQ(type_name_block(to, 2, 100, OTHER), 9u);
    EXPECT_EQ(type_body_block(to, 2, 100, OTHER), 10u);
    EXPECT_EQ(le_get(to->module_table->module_count), 1);
    EXPECT_EQ(le_get(module_entry(to, 0)->directory_block), 4u);
}

TEST(module_copy, writes_in_its_order)
{
    BareDictionary from, to;
    make(from, 2, 100, "Mod");
    put(from, 2, 100, SMALL, 5, "five", "body of five");
    load_pages(to);
    FileHandle source = from->file;
    calls_reset();
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_OK);
    // A directory of one type: 958 bytes in block 4, at 4930; 5 bytes of names, 12 of bodies behind it.
    EXPECT_EQ(call_lines({ FAULT_WRITE }),
              (Lines{ "write 4930+958", "write 4930+958", "write 26+896",     // the directory: room, bytes, table
                      "write 4418+4", "write 3610+808",                       // its name, and the module table
                      "write 5888+5", "write 5888+5", "write 26+896",         // names
                      "write 5893+12", "write 5893+12", "write 26+896",       // bodies
                      "write 4930+958" }));                                   // the directory with its new blocks
    EXPECT_EQ(lines_of(source, { FAULT_WRITE }), Lines());
    EXPECT_EQ(lines_of(source, { FAULT_READ }),
              (Lines{ "read 4418+4", "read 5920+958", "read 5856+5", "read 5888+12" }));
}

TEST(module_copy, without_types_is_a_directory_alone)
{
    LowestId first(7);
    BareDictionary from, to;
    make(from, 2, 100, "Mod");
    EXPECT_EQ(copy(from, to, 2, 100, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(to), (Contents{ { "2/7", "Mod" } }));
    EXPECT_EQ(bytes_of_file(to->file).size(), NEW_FILE + DIRECTORY_2);
    EXPECT_EQ(row(to, 4), "2: 4930 926 0");
    EXPECT_EQ(le_get(to->header.free_entries), 252u);
    EXPECT_EQ(contents_after_reopening(to), (Contents{ { "2/7", "Mod" } }));
}

TEST(module_copy, leaves_the_free_tails_behind)
{
    BareDictionary from, to;
    make(from, 2, 100, "Mod");
    put(from, 2, 100, 60, 1, "one", std::string(20000, 'b'));  // grown by its unit: 20032 bytes
    EXPECT_EQ(block_splice(from, type_body_block(from, 2, 100, 60), nullptr, 100, 0, 19900, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(resource_set_body_size(from, 2, 100, 60, 1, 100), (DictStatus)DICT_OK);
    EXPECT_EQ(directory_save(from, 2, 100), (DictStatus)DICT_OK);
    Contents source = contents_of(from);
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_OK);
    EXPECT_EQ(le_get(entry_of(to, type_body_block(to, 2, 100, 60)).size), 100u);
    EXPECT_EQ(le_get(entry_of(to, type_name_block(to, 2, 100, 60)).size), 4u);
    EXPECT_LT(bytes_of_file(to->file).size(), NEW_FILE + DIRECTORY_2 + 300);
    EXPECT_GT(bytes_of_file(from->file).size(), NEW_FILE + DIRECTORY_2 + 20000);
    EXPECT_EQ(contents_of(to), source);
}

TEST(module_copy, takes_a_gap_between_resources_along)
{
    BareDictionary from, to;
    make(from, 2, 100, "Mod");
    put(from, 2, 100, SMALL, 1, "one", "first");
    put(from, 2, 100, SMALL, 2, "two", "gap");
    put(from, 2, 100, SMALL, 3, "three", "third");
    EXPECT_EQ(resource_remove_entry(from, 2, 100, SMALL, 2), (DictStatus)DICT_OK);  // as a failed add leaves it
    EXPECT_EQ(directory_save(from, 2, 100), (DictStatus)DICT_OK);
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_OK);
    EXPECT_EQ(block_bytes(to, type_body_block(to, 2, 100, SMALL)), "firstgapthird");
    EXPECT_EQ(block_bytes(to, type_name_block(to, 2, 100, SMALL)), stored("one") + stored("two") + stored("three"));
    EXPECT_EQ(resource_body_offset(to, 2, 100, SMALL, 3), 8);
    EXPECT_EQ(contents_of(to), contents_of(from));
}

TEST(module_copy, goes_beyond_the_tables_of_a_new_file)
{
    BareDictionary from, to;
    for (i32 module = 1; module <= 90; module++) {  // more modules than a new table has, and more than 256 blocks
        std::string name = "Mod" + std::to_string(module);
        make(from, 2, module, name);
        put(from, 2, module, 2, (i16)module, name, "body of " + name);
    }
    for (i32 module = 90; module >= 1; module--) EXPECT_EQ(copy(from, to, 2, module, KEEP), (DictStatus)DICT_OK);
    EXPECT_EQ(le_get(to->module_table->module_count), 90);
    EXPECT_EQ(le_get(to->header.table_entries), 512u);
    Contents source = contents_of(from);
    EXPECT_EQ(source.size(), 180u);
    EXPECT_EQ(contents_of(to), source);
    EXPECT_EQ(contents_after_reopening(to), source);
}

// ---- One module: its number -----------------------------------------------------------------------------------------

TEST(module_copy, with_keep_has_the_number_of_the_source)
{
    BareDictionary from, to;
    put_sample(from, 777);
    DictStatus status;
    EXPECT_EQ(module_copy(from, to, 2, 777, KEEP, nullptr, 0, &status), 777);
    EXPECT_EQ(status, (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(to), contents_of(from));
    EXPECT_EQ(le_get(directory_of(to, 2, 777)->module), 777);
}

TEST(module_copy, with_keep_replaces_the_module_of_that_number)
{
    BareDictionary from, to;
    put_sample(from);
    put_sample(to);
    put(to, 2, 100, SMALL, 9, "nine", "only in the old one");
    put_sample(to, 200, "stays");
    Contents stays = part_of(contents_of(to), "2/200");
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_OK);
    Contents after = contents_of(to);
    EXPECT_EQ(part_of(after, "2/100"), contents_of(from));
    EXPECT_EQ(part_of(after, "2/200"), stays);
    EXPECT_EQ(after.count("2/100/4/9"), 0u);
    EXPECT_EQ(contents_after_reopening(to), after);

    // Once more: the pieces of the former copy serve again, and the file stays as long as it is.
    size_t size = bytes_of_file(to->file).size();
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_OK);
    EXPECT_EQ(bytes_of_file(to->file).size(), size);
    EXPECT_EQ(contents_of(to), after);
}

TEST(module_copy, without_keep_has_the_first_free_number)
{
    LowestId first(30);
    BareDictionary from, to;
    put_sample(from);
    put(from, 2, 100, 23, 100, "as form", "form");
    make(to, 2, 30, "Mod30");
    make(to, 2, 31, "Mod31");
    make(to, 2, 33, "Mod33");
    make(to, 3, 32, "of another kind");
    DictStatus status;
    EXPECT_EQ(module_copy(from, to, 2, 100, 0, nullptr, 0, &status), 32);
    EXPECT_EQ(status, (DictStatus)DICT_OK);
    Contents copied = part_of(contents_of(to), "2/32");
    EXPECT_EQ(copied, (Contents{ { "2/32", "Mod" },
                                 { "2/32/2/32", "0 Mod=itself" },
                                 { "2/32/4/3", "0 three=body of three" },
                                 { "2/32/4/5", "0 five=body of five" },
                                 { "2/32/7/1", "0 one=" },
                                 { "2/32/23/32", "0 as form=form" } }));
    EXPECT_EQ(le_get(directory_of(to, 2, 32)->module), 32);
    EXPECT_EQ(part_of(contents_after_reopening(to), "2/32"), copied);
    EXPECT_EQ(le_get(directory_of(to, 2, 32)->module), 32);
    EXPECT_EQ(le_get(directory_of(from, 2, 100)->module), 100);
}

TEST(module_copy, into_a_file_with_one_module_may_meet_its_number)
{
    LowestId first(30);
    BareDictionary from, to;
    put_sample(from);
    make(to, 2, 30, "Mod30");
    DictStatus status;
    EXPECT_EQ(module_copy(from, to, 2, 100, 0, nullptr, 0, &status), 30);  // the base, whatever stands there
    EXPECT_EQ(status, (DictStatus)DICT_EXISTS);
    EXPECT_EQ(contents_of(to), (Contents{ { "2/30", "Mod30" } }));
    EXPECT_EQ(le_get(to->header.free_entries), 252u);
}

TEST(module_copy, with_keep_leaves_the_directory_as_it_is)
{
    BareDictionary from, to;
    put_sample(from);
    put(from, 2, 100, 23, 55, "not its own number", "form");
    directory_of(from, 2, 100)->module = le_i32(99);
    EXPECT_EQ(directory_save(from, 2, 100), (DictStatus)DICT_OK);
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_OK);
    EXPECT_EQ(le_get(directory_of(to, 2, 100)->module), 99);
    EXPECT_EQ(contents_of(to)["2/100/23/55"], "0 not its own number=form");
    EXPECT_EQ(copy(from, to, 2, 100, 0x8000), (DictStatus)DICT_OK);  // any bit keeps
    EXPECT_EQ(le_get(directory_of(to, 2, 100)->module), 99);
}

TEST(module_copy, leaves_type_2_of_kind_3_alone)
{
    LowestId first(30);
    BareDictionary from, to;
    make(from, 3, 100, "Mod");
    put(from, 3, 100, 2, 100, "as two", "two");
    put(from, 3, 100, 23, 100, "as form", "form");
    EXPECT_EQ(copy(from, to, 3, 100, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(to), (Contents{ { "3/30", "Mod" }, { "3/30/2/100", "0 as two=two" },
                                          { "3/30/23/30", "0 as form=form" } }));
    EXPECT_EQ(le_get(directory_of(to, 3, 30)->module), 30);
}

TEST(module_copy, gives_the_number_in_16_bits)
{
    BareDictionary from, to;
    make(from, 2, 70000, "Mod");
    DictStatus status;
    EXPECT_EQ(module_copy(from, to, 2, 70000, KEEP, nullptr, 0, &status), 70000 - 65536);
    EXPECT_EQ(status, (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(to), (Contents{ { "2/70000", "Mod" } }));
    make(from, 2, -5, "negative");
    EXPECT_EQ(module_copy(from, to, 2, (u32)-5, KEEP, nullptr, 0, &status), -5);
    EXPECT_EQ(contents_of(to).count("2/-5"), 1u);
}

TEST(module_copy, gives_the_number_whatever_the_status)
{
    LowestId first(30);
    BareDictionary from, to;
    make(to, 2, 30, "Mod30");
    make(to, 2, 40, "Mod40");
    make(to, 1, 17, "Core Module 17");
    Contents before = contents_of(to);
    std::string bytes = bytes_of_file(to->file);
    DictStatus status = UNTOUCHED;
    EXPECT_EQ(module_copy(from, to, 2, 100, 0, nullptr, 0, &status), 31);
    EXPECT_EQ(status, (DictStatus)DICT_NOT_FOUND);
    status = UNTOUCHED;
    EXPECT_EQ(module_copy(from, to, 2, 40, KEEP, Name("given"), 0, &status), 31);  // it is not there to be kept
    EXPECT_EQ(status, (DictStatus)DICT_NOT_FOUND);
    status = UNTOUCHED;
    EXPECT_EQ(module_copy(from, to, 1, 17, 0, nullptr, 0, &status), 17);
    EXPECT_EQ(status, (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(module_copy(from, to, 1, 17, 0, nullptr, 0, nullptr), 17);
    EXPECT_EQ(contents_of(to), before);  // what stands in the destination is not touched
    EXPECT_EQ(bytes_of_file(to->file), bytes);
}

TEST(module_copy, does_not_read_the_reserved_argument)
{
    BareDictionary from, to;
    put_sample(from);
    DictStatus status = UNTOUCHED;
    EXPECT_EQ(module_copy(from, to, 2, 100, KEEP, nullptr, 0xFFFFFFFF, &status), 100);
    EXPECT_EQ(status, (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(to), contents_of(from));
}

// ---- One module: its name -------------------------------------------------------------------------------------------

TEST(module_copy, has_the_name_that_is_given)
{
    BareDictionary from, to;
    put_sample(from);
    EXPECT_EQ(copy(from, to, 2, 100, KEEP, Name("another")), (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(to)["2/100"], "another");
    EXPECT_EQ(contents_of(to)["2/100/2/100"], "0 Mod=itself");  // the type has its own name, which stays
    EXPECT_EQ(contents_of(from)["2/100"], "Mod");
    EXPECT_EQ(copy(from, to, 2, 100, KEEP, Name("")), (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(to)["2/100"], "");
}

TEST(module_copy, stores_a_long_name_that_is_given_whole)
{
    BareDictionary from, to;
    put_sample(from);
    std::string name(255, 'n');
    EXPECT_EQ(copy(from, to, 2, 100, KEEP, Name(name)), (DictStatus)DICT_OK);
    EXPECT_EQ(le_get(module_entry(to, 0)->name_size), 256);
    EXPECT_EQ(block_bytes(to, BLOCK_OF_MODULE_NAMES), stored(name));
}

TEST(module_copy, cuts_a_name_that_it_reads_to_79_characters)
{
    BareDictionary from, to;
    std::string name(100, 'n');
    make(from, 2, 100, name);
    EXPECT_EQ(block_bytes(from, BLOCK_OF_MODULE_NAMES), stored(name));
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_OK);
    EXPECT_EQ(block_bytes(to, BLOCK_OF_MODULE_NAMES), stored(std::string(79, 'n')));
    EXPECT_EQ(le_get(module_entry(to, 0)->name_size), 80);
}

TEST(module_copy, names_kind_1_by_its_number)
{
    BareDictionary from, to;
    make(from, 1, 22, "Financial Data Types");
    put(from, 1, 22, SMALL, 5, "five", "body of five");
    DictStatus status;
    EXPECT_EQ(module_copy(from, to, 1, 22, 0, Name("given"), 0, &status), 22);  // its own number without keep too
    EXPECT_EQ(status, (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(to), (Contents{ { "1/22", "Core Module 22" }, { "1/22/4/5", "0 five=body of five" } }));
    EXPECT_EQ(le_get(directory_of(to, 1, 22)->module), 22);
    EXPECT_EQ(contents_after_reopening(to).size(), 2u);
    EXPECT_EQ(copy(from, to, 1, 22, KEEP), (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(to)["1/22"], "Core Module 22");
}

TEST(module_copy, of_kind_1_without_keep_numbers_type_23_but_not_type_2)
{
    BareDictionary from, to;
    make(from, 1, 22, "Financial Data Types");
    put(from, 1, 22, 2, 5, "as two", "two");
    put(from, 1, 22, 23, 5, "as form", "form");
    EXPECT_EQ(copy(from, to, 1, 22, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(to), (Contents{ { "1/22", "Core Module 22" }, { "1/22/2/5", "0 as two=two" },
                                          { "1/22/23/22", "0 as form=form" } }));
    EXPECT_EQ(copy(from, to, 1, 22, KEEP), (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(to).count("1/22/23/5"), 1u);
}

TEST(module_copy, gives_2_when_the_name_is_taken_and_frees_the_directory)
{
    LowestId first(30);
    BareDictionary from, to;
    put_sample(from);
    put_sample(to, 500, "Mod");
    Contents before = contents_of(to);
    DictStatus status;
    EXPECT_EQ(module_copy(from, to, 2, 100, 0, nullptr, 0, &status), 30);
    EXPECT_EQ(status, (DictStatus)DICT_EXISTS);
    EXPECT_EQ(contents_of(to), before);
    EXPECT_EQ(contents_after_reopening(to), before);
    u32 taken = 0;
    for (u32 block = 1; block <= 256; block++) taken += le_get(entry_of(to, block).type) != BLOCK_FREE;
    EXPECT_EQ(taken, 10u);  // three of every file, a directory, and two each of three types
}

TEST(module_copy, tells_why_a_name_could_not_be_read)
{
    BareDictionary from, to;
    put_sample(from);
    std::string before = bytes_of_file(to->file);
    faults_start({ .call = FAULT_READ, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(bytes_of_file(to->file), before);
    module_entry(from, 0)->name_offset = le_i32(40);  // outside the list
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_NOT_FOUND);
}

// ---- One module: around it ------------------------------------------------------------------------------------------

TEST(module_copy, leaves_neither_directory_in_memory)
{
    BareDictionary from, to;
    put_sample(from);
    put_sample(from, 200, "stays");
    EXPECT_TRUE(is_in_memory(from, 2, 100));
    load_pages(to);
    u32 alive = handles_alive();
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_OK);
    EXPECT_FALSE(is_in_memory(from, 2, 100));
    EXPECT_FALSE(is_in_memory(to, 2, 100));
    EXPECT_TRUE(is_in_memory(from, 2, 200));
    EXPECT_EQ(handles_alive(), alive - 1);

    // After a failure, too: a module of the name is there.
    EXPECT_NE(directory_of(from, 2, 100), nullptr);
    EXPECT_EQ(copy(from, to, 2, 100, 0), (DictStatus)DICT_EXISTS);
    EXPECT_FALSE(is_in_memory(from, 2, 100));
}

TEST(module_copy, takes_no_lock)
{
    BareDictionary from(DICT_SHARED), to(DICT_SHARED);
    put_sample(from);
    calls_reset();
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_OK);
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }), Lines());
    EXPECT_EQ(le_get(to->header.change_count), 0);
    EXPECT_EQ(from->lock_state, LOCK_NONE);
    EXPECT_EQ(to->lock_state, LOCK_NONE);
    EXPECT_EQ(contents_of(to), contents_of(from));
}

TEST(module_copy, works_from_a_file_that_may_only_be_read)
{
    BareDictionary from, to;
    put_sample(from);
    from.close();
    from.open(DICT_READ_ONLY);
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(to), contents_of(from));
}

TEST(module_copy, into_a_file_that_may_only_be_read_fails)
{
    BareDictionary from, to;
    put_sample(from);
    to.close();
    to.open(DICT_READ_ONLY);
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_NO_ROOM);  // the file cannot be made longer
    EXPECT_EQ(contents_of(to), Contents());
    EXPECT_EQ(bytes_of_file(to->file).size(), NEW_FILE);
}

TEST(module_copy, within_one_file_needs_another_name)
{
    LowestId first(30);
    BareDictionary bare;
    put_sample(bare);
    make(bare, 3, 1, "so that it is not the only one");
    Contents source = part_of(contents_of(bare), "2/100");
    EXPECT_EQ(copy(bare, bare, 2, 100, 0), (DictStatus)DICT_EXISTS);
    DictStatus status;
    EXPECT_EQ(module_copy(bare, bare, 2, 100, 0, Name("twin"), 0, &status), 30);
    EXPECT_EQ(status, (DictStatus)DICT_OK);
    Contents after = contents_of(bare);
    EXPECT_EQ(part_of(after, "2/100"), source);
    EXPECT_EQ(after["2/30"], "twin");
    EXPECT_EQ(after["2/30/2/30"], "0 Mod=itself");
    EXPECT_EQ(after["2/30/4/3"], "0 three=body of three");
    EXPECT_EQ(contents_after_reopening(bare), after);
}

TEST(module_copy, over_itself_loses_the_module)
{
    for (const char *name : { "given", "" }) {
        BareDictionary bare;
        put_sample(bare);
        put_sample(bare, 200, "stays");
        Contents stays = part_of(contents_of(bare), "2/200");
        Name given(name);
        EXPECT_EQ(copy(bare, bare, 2, 100, KEEP, *name ? (ConstPString)given : nullptr), (DictStatus)DICT_NOT_FOUND);
        EXPECT_EQ(contents_of(bare), stays);
        EXPECT_EQ(contents_after_reopening(bare), stays);
    }
}

TEST(module_copy, of_closed_files_gives_3)
{
    BareDictionary from, to;
    put_sample(from);
    to.close();
    EXPECT_EQ(copy(from, to, 2, 100, 0), (DictStatus)DICT_NO_ROOM);
    to.open();
    from.close();
    EXPECT_EQ(copy(from, to, 2, 100, 0), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(contents_of(to), Contents());
}

// ---- One module: failures -------------------------------------------------------------------------------------------

// The n-th write to the destination fails, for a source of one type: see `writes_in_its_order`.
struct FailingCopy {
    BareDictionary from, to;
    Contents stays;

    FailingCopy()
    {
        make(from, 2, 100, "Mod");
        put(from, 2, 100, SMALL, 5, "five", "body of five");
        // A packed module in the destination, whose blocks have the numbers that those of the source have.
        BareDictionary other;
        put_sample(other, 200, "stays");
        EXPECT_EQ(copy(other, to, 2, 200, KEEP), (DictStatus)DICT_OK);
        stays = contents_of(to);
        load_pages(to);
    }
    DictStatus copy_with_failing(FaultCall call, u32 nth, u32 error = PLATFORM_ACCESS_DENIED)
    {
        faults_start({ .call = call, .nth = nth, .error = error });
        DictStatus status = copy(from, to, 2, 100, KEEP);
        EXPECT_TRUE(faults_stop());
        return status;
    }
    u32 taken()
    {
        u32 count = 0;
        for (u32 block = 1; block <= 256; block++) count += le_get(entry_of(to, block).type) != BLOCK_FREE;
        return count;
    }
};

constexpr u32 TAKEN = 10;  // blocks of the destination before a copy

TEST(module_copy, leaves_the_directory_block_taken_when_its_bytes_cannot_be_copied)
{
    FailingCopy failing;
    EXPECT_EQ(failing.taken(), TAKEN);
    EXPECT_EQ(failing.copy_with_failing(FAULT_WRITE, 2), (DictStatus)DICT_FAILED);
    EXPECT_EQ(contents_of(failing.to), failing.stays);
    EXPECT_EQ(failing.taken(), TAKEN + 1);
    EXPECT_EQ(contents_after_reopening(failing.to), failing.stays);
    EXPECT_EQ(failing.taken(), TAKEN + 1);
}

TEST(module_copy, gives_the_directory_block_back_when_the_module_cannot_be_registered)
{
    FailingCopy failing;
    EXPECT_EQ(failing.copy_with_failing(FAULT_WRITE, 4), (DictStatus)DICT_ACCESS_DENIED);  // the name
    EXPECT_EQ(contents_of(failing.to), failing.stays);
    EXPECT_EQ(failing.taken(), TAKEN);
    EXPECT_EQ(contents_after_reopening(failing.to), failing.stays);
    EXPECT_EQ(failing.taken(), TAKEN);
}

TEST(module_copy, leaves_a_module_whose_directory_cannot_be_loaded)
{
    FailingCopy failing;
    // Reads: name of the source, bytes of the directory, the list of names, and then the directory again.
    EXPECT_EQ(failing.copy_with_failing(FAULT_READ, 4), (DictStatus)DICT_NOT_FOUND);
    Contents after = failing.stays;
    after["2/100"] = "Mod <no directory>";
    EXPECT_EQ(contents_of(failing.to), after);
    EXPECT_EQ(failing.taken(), TAKEN);
    EXPECT_EQ(contents_after_reopening(failing.to), after);
}

TEST(module_copy, takes_everything_back_when_a_block_cannot_be_copied)
{
    // Writes 6 to 8 are those of the names, 9 to 11 those of the bodies: room, bytes, table.
    const DictStatus expected[] = { DICT_NO_ROOM, DICT_FAILED, DICT_ACCESS_DENIED,
                                    DICT_NO_ROOM, DICT_FAILED, DICT_ACCESS_DENIED };
    for (u32 i = 0; i < 6; i++) {
        FailingCopy failing;
        EXPECT_EQ(failing.copy_with_failing(FAULT_WRITE, 6 + i), expected[i]) << i;
        EXPECT_EQ(contents_of(failing.to), failing.stays) << i;
        EXPECT_EQ(failing.taken(), TAKEN) << i;
        EXPECT_EQ(le_get(failing.to->header.free_entries), 256 - TAKEN) << i;
        EXPECT_EQ(failing.to->module_table->spare_entries.bytes[0], 49) << i;
        EXPECT_EQ(block_bytes(failing.to, BLOCK_OF_MODULE_NAMES), stored("stays")) << i;
        EXPECT_FALSE(is_in_memory(failing.from, 2, 100));
        EXPECT_EQ(contents_after_reopening(failing.to), failing.stays) << i;
        EXPECT_EQ(failing.taken(), TAKEN) << i;
    }
}

TEST(module_copy, frees_the_directory_first_and_then_the_types_and_the_module)
{
    FailingCopy failing;
    calls_reset();
    EXPECT_EQ(failing.copy_with_failing(FAULT_WRITE, 10), (DictStatus)DICT_FAILED);
    Lines writes = call_lines({ FAULT_WRITE });
    ASSERT_GT(writes.size(), 10u);
    // Each block that is freed: the page, the page with the table's own entry and the header before and behind it.
    Lines freed = { "write 26+896", "write 0+26", "write 26+896", "write 0+26" };
    Lines expected;
    for (i32 i = 0; i < 3; i++) expected.insert(expected.end(), freed.begin(), freed.end());
    expected.push_back("write 3610+808");  // the module table: the name is the last of the list
    EXPECT_EQ(Lines(writes.begin() + 10, writes.end()), expected);
}

TEST(module_copy, frees_no_block_of_the_destination_by_a_number_of_the_source)
{
    // Three types in the source. Its numbers from 5 on are those of another module's blocks in the destination.
    BareDictionary from, to;
    put_sample(from);
    put_sample(to, 200, "stays");
    Contents stays = contents_of(to);
    to.close();
    std::string bytes = to.bytes();
    for (u32 nth = 1;; nth++) {
        AfterACrash fresh(bytes);
        faults_start({ .call = FAULT_WRITE, .nth = nth });
        DictStatus status = copy(from, fresh, 2, 100, KEEP);
        bool met = faults_stop();
        EXPECT_EQ(part_of(contents_of(fresh), "2/200"), stays) << nth;
        if (!met) {
            EXPECT_EQ(status, (DictStatus)DICT_OK);
            EXPECT_GT(nth, 15u);
            break;
        }
    }
}

TEST(module_copy, stays_when_its_directory_cannot_be_written)
{
    FailingCopy failing;
    EXPECT_EQ(failing.copy_with_failing(FAULT_WRITE, 12), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_EQ(failing.taken(), TAKEN + 3);
    ModuleDirectory *directory = directory_of(failing.to, 2, 100);
    ASSERT_NE(directory, nullptr);
    // In the file it names what the blocks of the source are called.
    EXPECT_EQ(le_get(type_at(directory, 0)->name_block), type_name_block(failing.from, 2, 100, SMALL));
    EXPECT_EQ(le_get(type_at(directory, 0)->body_block), type_body_block(failing.from, 2, 100, SMALL));
    EXPECT_EQ(part_of(contents_of(failing.to), "2/200"), failing.stays);
}

TEST(module_copy, loses_the_old_module_when_it_fails)
{
    for (i32 kind : { 1, 2 }) {
        BareDictionary from, to;
        make(from, kind, 17, "Mod");
        put(from, kind, 17, SMALL, 5, "five", "new");
        make(to, kind, 33, "stays");
        make(to, kind, 17, "old");
        put(to, kind, 17, SMALL, 5, "five", "old");
        faults_start({ .call = FAULT_READ, .nth = kind == 1 ? 1u : 2u });  // the name of kind 2, then the directory
        DictStatus status = UNTOUCHED;
        EXPECT_EQ(module_copy(from, to, kind, 17, KEEP, nullptr, 0, &status), 17);
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(status, (DictStatus)DICT_FAILED);
        Contents stays = { { std::to_string(kind) + "/33", "stays" } };
        EXPECT_EQ(contents_of(to), stays);
        EXPECT_EQ(contents_after_reopening(to), stays);
    }
}

TEST(module_copy, goes_on_after_a_lost_removal)
{
    BareDictionary from, to;
    make(from, 2, 100, "Mod");
    put(from, 2, 100, SMALL, 5, "five", "new");
    make(to, 2, 100, "old");
    // Writes of the removal: the directory has no types. The name goes out of the list, which takes none; then the
    // module table, and that one fails.
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(module_delete(to, 2, 100), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_TRUE(faults_stop());
    make(to, 2, 100, "older");

    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_OK);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(contents_of(to), contents_of(from));

    // With a name given, nothing replaces the status, and the copy ends. Four writes each free the two blocks.
    faults_start({ .call = FAULT_WRITE, .nth = 9, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(copy(from, to, 2, 100, KEEP, Name("given")), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_TRUE(faults_stop());
}

// What is left beside a module that could not be removed.
TEST(module_copy, meets_the_module_that_could_not_be_removed)
{
    BareDictionary from, to;
    put_sample(from);
    put_sample(to, 100, "old");
    Contents before = contents_of(to);
    directory_drop(to, 2, 100);
    faults_start({ .call = FAULT_READ, .error = PLATFORM_ACCESS_DENIED });  // its directory: 3, and nothing is removed
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_EXISTS);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(contents_of(to), before);
}

// Every call in turn fails, once and from then on. The other module of the destination and all of the source stay
// whole, and nothing is left in memory that nobody frees.
struct CopyUnderFaults {
    std::string from_bytes, to_bytes;
    Contents from_contents, stays;
    Reused from, to, found;
    u16 keep;

    explicit CopyUnderFaults(u16 with_keep) : keep(with_keep)
    {
        {
            BareDictionary sample;
            put_sample(sample);
            from_contents = contents_of(sample);
            sample.close();
            from_bytes = sample.bytes();
        }
        BareDictionary loose, packed;
        put_sample(loose, 200, "stays");
        put_sample(loose, 100, "old");
        for (i32 module : { 200, 100 }) EXPECT_EQ(copy(loose, packed, 2, module, KEEP), (DictStatus)DICT_OK);
        stays = part_of(contents_of(packed), "2/200");
        packed.close();
        to_bytes = packed.bytes();
    }

    bool run(const Fault &fault)
    {
        SCOPED_TRACE("call " + std::to_string(fault.call) + " number " + std::to_string(fault.nth) +
                     (fault.from_then_on ? " and all behind it" : ""));
        LowestId first(30);
        u32 alive = handles_alive();
        EXPECT_EQ(from.open(from_bytes) | to.open(to_bytes), (DictStatus)DICT_OK);
        DictStatus status = UNTOUCHED;
        faults_start(fault);
        i16 number = module_copy(from, to, 2, 100, keep, nullptr, 0, &status);
        bool met = faults_stop();
        EXPECT_EQ(number, keep ? 100 : 30);
        EXPECT_LE(status, (DictStatus)DICT_LOCKED_OUT);
        if (!met) { EXPECT_EQ(status, (DictStatus)DICT_OK); }
        EXPECT_EQ(bytes_of_file(from->file), from_bytes);
        bool of_memory = fault.call == FAULT_ALLOC || fault.call == FAULT_RESIZE;
        if (!of_memory) { EXPECT_EQ(contents_of(from), from_contents); }
        if (to->file) expect_whole(status, of_memory);
        from.close();
        to.close();
        found.close();
        if (fault.call != FAULT_RESIZE) { EXPECT_EQ(handles_alive(), alive); }
        return met;
    }

    // In memory, and in the file as it is found if this process ends now.
    void expect_whole(DictStatus status, bool of_memory)
    {
        EXPECT_EQ(found.open(bytes_of_file(to->file)), (DictStatus)DICT_OK);
        EXPECT_EQ(part_of(contents_of(found), "2/200"), stays);
        if (of_memory) return;
        EXPECT_EQ(part_of(contents_of(to), "2/200"), stays);
        if (status) return;
        std::string key = keep ? "2/100" : "2/30";
        Contents copied = part_of(contents_of(to), key);
        EXPECT_EQ(copied.size(), from_contents.size());
        EXPECT_EQ(copied[key + "/4/3"], "0 three=body of three");
        EXPECT_EQ(copied[key + "/2" + (keep ? "/100" : "/30")], "0 Mod=itself");
    }
};

TEST(module_copy, harms_nobody_whichever_call_fails)
{
    const FaultCall calls[] = { FAULT_ALLOC, FAULT_RESIZE, FAULT_OPEN,  FAULT_CLOSE,
                                FAULT_READ,  FAULT_WRITE,  FAULT_SEEK,  FAULT_SIZE };
    std::map<FaultCall, u32> failed;
    for (u16 keep : { (u16)0, KEEP }) {
        CopyUnderFaults under(keep);
        for (FaultCall call : calls) {
            for (bool from_then_on : { false, true }) {
                for (u32 nth = 1; under.run({ .call = call, .nth = nth, .from_then_on = from_then_on }); nth++) {
                    failed[call]++;
                    ASSERT_LT(nth, 1000u);
                }
            }
        }
    }
    for (FaultCall call : calls) EXPECT_GT(failed[call], 0u) << call;
    (void)memory_sweep();
}

// ---- Damage ---------------------------------------------------------------------------------------------------------

constexpr u32 WILD[] = { 0, 1, 2, 3, 4, 5, 6, 255, 256, 257, 0x7FFF, 0x8000, 0xFFFF, 0x10000, 0x7FFFFFFF, 0x80000000,
                         0xFFFFFFF0, 0xFFFFFFFF };

// A copy from and into damaged files ends, with a status, without more memory or more of the disk than the source has.
void expect_harmless(Reused &from, const std::string &from_bytes, Reused &to, const std::string &to_bytes)
{
    if (from.open(from_bytes) || to.open(to_bytes)) return;
    MemoryLimit limit(from_bytes.size() + to_bytes.size() + 200000);
    u32 alive = handles_alive();
    directory_drop(from, 2, 100);
    for (u16 keep : { (u16)0, KEEP }) {
        DictStatus status = UNTOUCHED;
        (void)module_copy(from, to, 2, 100, keep, nullptr, 0, &status);
        EXPECT_LE(status, (DictStatus)DICT_LOCKED_OUT);
        (void)module_copy(from, to, 1, 100, keep, Name("given"), 0, &status);
    }
    EXPECT_LE(MemoryLimit::largest, MemoryLimit::limit);
    EXPECT_LE(bytes_of_file(to->file).size(), to_bytes.size() + 3 * from_bytes.size() + 10000);
    (void)contents_of(from);
    EXPECT_GE(handles_alive(), alive);  // the directories that were looked at
}

TEST(module_copy, of_a_directory_with_wild_fields_harms_nobody)
{
    Reused source, destination;
    std::string from_bytes, to_bytes;
    size_t at;
    {
        BareDictionary from, to;
        put_sample(from);
        at = le_get(entry_of(from, module_directory_block(from, 0)).offset);
        put_sample(to, 200, "stays");
        from.close();
        to.close();
        from_bytes = from.bytes();
        to_bytes = to.bytes();
    }
    const struct {
        size_t offset;
        int width;
    } fields[] = { { 0, 2 },  { 2, 4 },  { 6, 2 },  { 8, 2 },  { 10, 2 }, { 12, 2 },           // the head
                   { 14, 2 }, { 16, 4 }, { 20, 4 }, { 24, 2 }, { 26, 2 }, { 28, 2 },           // the first type
                   { 30, 2 }, { 32, 4 }, { 36, 4 }, { 46, 2 }, { 48, 4 }, { 52, 4 }, { 56, 2 } };
    for (const auto &field : fields) {
        for (u32 value : WILD) {
            SCOPED_TRACE(std::to_string(field.offset) + " = " + std::to_string(value));
            std::string damaged = from_bytes;
            damaged.replace(at + field.offset, (size_t)field.width, le(value, field.width));
            expect_harmless(source, damaged, destination, to_bytes);
        }
    }
}

TEST(module_copy, with_wild_block_entries_and_tables_harms_nobody)
{
    Reused source, destination;
    std::string from_bytes, to_bytes;
    {
        BareDictionary from, to;
        put_sample(from);
        put_sample(to, 100, "old");
        from.close();
        to.close();
        from_bytes = from.bytes();
        to_bytes = to.bytes();
    }
    std::vector<std::pair<size_t, int>> fields;
    for (size_t i = 0; i < 11; i++) {
        for (size_t offset : { 2u, 6u, 10u }) fields.push_back({ 26 + i * 14 + offset, 4 });
        fields.push_back({ 26 + i * 14, 2 });
    }
    for (size_t offset : { 6u, 10u, 14u, 18u, 22u }) fields.push_back({ offset, 4 });      // the header
    for (size_t offset : { 0u, 2u, 8u, 22u }) fields.push_back({ 3610 + offset, 2 });     // module table, first entry
    for (size_t offset : { 4u, 10u, 14u, 18u }) fields.push_back({ 3610 + offset, 4 });
    for (const auto &[offset, width] : fields) {
        for (u32 value : WILD) {
            SCOPED_TRACE(std::to_string(offset) + " = " + std::to_string(value));
            std::string wild = le(value, width);
            std::string damaged_source = from_bytes, damaged_destination = to_bytes;
            damaged_source.replace(offset, (size_t)width, wild);
            damaged_destination.replace(offset, (size_t)width, wild);
            expect_harmless(source, damaged_source, destination, to_bytes);
            expect_harmless(source, from_bytes, destination, damaged_destination);
        }
    }
}

TEST(module_copy, of_bytes_at_random_harms_nobody)
{
    Reused source, destination;
    std::string from_bytes, to_bytes;
    {
        BareDictionary from, to;
        put_sample(from);
        put_sample(to, 100, "old");
        from.close();
        to.close();
        from_bytes = from.bytes();
        to_bytes = to.bytes();
    }
    std::mt19937 random(1909);
    for (i32 round = 0; round < 500; round++) {
        SCOPED_TRACE(round);
        std::string damaged[] = { from_bytes, to_bytes };
        for (std::string &bytes : damaged) {
            for (auto i = random() % 6; i > 0; i--) {
                size_t at = random() % 2 ? random() % 200 : 3610 + random() % (bytes.size() - 3610);
                bytes[at] = (char)random();
            }
        }
        expect_harmless(source, damaged[0], destination, damaged[1]);
    }
}

TEST(module_copy, of_one_block_named_by_many_types_does_not_fill_the_disk)
{
    // 50 types whose names and bodies are the same large block each: 10 MB, if each came as a block of its own.
    BareDictionary from, to;
    make(from, 2, 100, "Mod");
    u32 names = put_block(from, BLOCK_NAMES, 100000, std::string(100000, 'n'));
    u32 bodies = put_block(from, BLOCK_BODIES, 100000, std::string(100000, 'b'));
    while (le_get(directory_of(from, 2, 100)->free_type_slots) < 50) {
        EXPECT_EQ(type_add_slots(from, 0), (DictStatus)DICT_OK);
    }
    ModuleDirectory *directory = directory_of(from, 2, 100);
    directory->free_type_slots = le16((u16)(le_get(directory->free_type_slots) - 50));
    directory->type_count = le16(50);
    for (i16 i = 0; i < 50; i++) {
        *type_at(directory, i) = { .type = le_i16((i16)(i + 1)), .name_block = le32(names), .body_block = le32(bodies),
                                   .first_slot = le16(0), .resource_count = le16(0), .free_slots = le16(0) };
    }
    EXPECT_EQ(directory_save(from, 2, 100), (DictStatus)DICT_OK);
    EXPECT_EQ(block_table_flush(from), (DictStatus)DICT_OK);
    EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_FAILED);
    EXPECT_LT(bytes_of_file(to->file).size(), 1000000u);
    EXPECT_EQ(contents_of(to), Contents());
}

TEST(module_copy, refuses_blocks_that_a_type_cannot_have)
{
    for (u32 bad : { 0u, 1u, 2u, 3u, 4u, 7u, 257u, 0xFFFFFFFFu }) {  // 4 is the directory, 7 a block of another type
        BareDictionary from, to;
        put_sample(from);
        put_sample(to, 200, "stays");
        Contents stays = contents_of(to);
        for (bool names : { false, true }) {
            ModuleDirectory *directory = directory_of(from, 2, 100);
            u32 other = names ? type_body_block(from, 2, 100, OTHER) : type_name_block(from, 2, 100, OTHER);
            u32 wrong = bad == 7 ? other : bad;
            Le32 *field = names ? &type_at(directory, 1)->name_block : &type_at(directory, 1)->body_block;
            Le32 before = *field;
            *field = le32(wrong);
            EXPECT_EQ(directory_save(from, 2, 100), (DictStatus)DICT_OK);
            EXPECT_EQ(copy(from, to, 2, 100, KEEP), (DictStatus)DICT_NOT_FOUND) << wrong;
            EXPECT_EQ(contents_of(to), stays);
            directory = directory_of(from, 2, 100);
            (names ? type_at(directory, 1)->name_block : type_at(directory, 1)->body_block) = before;
            EXPECT_EQ(directory_save(from, 2, 100), (DictStatus)DICT_OK);
        }
    }
}

// ---- By cookies -----------------------------------------------------------------------------------------------------

// Slots 1 and 2 of a started library, each with one file that has no core tables.
class TwoSlots {
public:
    TwoSlots() : alive(handles_alive())
    {
        EXPECT_EQ(dd_init(), 1);
        for (u16 id : { (u16)1, (u16)2 }) EXPECT_EQ(slot_claim(id), (DictStatus)DICT_OK);
        for (u16 id : { (u16)1, (u16)2 }) {
            Name path = dir.name(id == 1 ? "a.dic" : "b.dic");
            EXPECT_EQ(dict_file_create(path), (DictStatus)DICT_OK);
            slot_set_path(id, 0, path);
            EXPECT_EQ(dict_file_open(dict_file_at(id, 0), slot_path_at(id, 0), DICT_EXCLUSIVE, 0), (DictStatus)DICT_OK);
        }
    }
    ~TwoSlots()
    {
        dd_term();
        EXPECT_EQ(handles_alive(), alive) << "handles left alive";
    }
    DictFile *from() { return dict_file_at(1, 0); }
    DictFile *to() { return dict_file_at(2, 0); }

    TempDir dir;
    DictCookie source = { 1, 0, 0 };
    DictCookie destination = { 2, 0, 0 };

private:
    u32 alive;
};

TEST(dict_copy_module, copies_between_the_files_of_two_cookies)
{
    TwoSlots slots;
    put_sample(slots.from());
    put_sample(slots.from(), 200, "other");
    DictStatus status = UNTOUCHED;
    EXPECT_EQ(dict_copy_module(&slots.source, &slots.destination, 2, 100, KEEP, nullptr, 0, &status), 100);
    EXPECT_EQ(status, (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(slots.to()), part_of(contents_of(slots.from()), "2/100"));
    EXPECT_EQ(dict_copy_module(&slots.source, &slots.destination, 2, 200, 0, Name("given"), 7, nullptr), lowest_id);
    EXPECT_EQ(contents_of(slots.to())["2/" + std::to_string(lowest_id)], "given");
    EXPECT_EQ(dict_copy_module(&slots.source, &slots.destination, 2, 300, KEEP, nullptr, 0, &status),
              lowest_id + 1);  // there is none of that number to be kept
    EXPECT_EQ(status, (DictStatus)DICT_NOT_FOUND);
}

TEST(dict_copy_module, goes_by_the_other_selector)
{
    TwoSlots slots;
    put_sample(slots.from());
    slot_set_path(2, 1, slots.dir.name("c.dic"));
    EXPECT_EQ(dict_file_create(slot_path_at(2, 1)), (DictStatus)DICT_OK);
    EXPECT_EQ(dict_file_open(dict_file_at(2, 1), slot_path_at(2, 1), DICT_EXCLUSIVE, 0), (DictStatus)DICT_OK);
    DictCookie source = { 1, 2, 0 };       // the selector plays no part
    DictCookie destination = { 2, 0, 1 };
    DictStatus status = UNTOUCHED;
    EXPECT_EQ(dict_copy_module(&source, &destination, 2, 100, KEEP, nullptr, 0, &status), 100);
    EXPECT_EQ(status, (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(slots.to()), Contents());
    EXPECT_EQ(contents_of(dict_file_at(2, 1)), contents_of(slots.from()));
}

TEST(dict_copy_module, leaves_the_current_dictionary_alone)
{
    TwoSlots slots;
    put_sample(slots.from());
    DictCookie before, after;
    current_cookie_get(&before);
    DictStatus status;
    EXPECT_EQ(dict_copy_module(&slots.source, &slots.destination, 2, 100, KEEP, nullptr, 0, &status), 100);
    current_cookie_get(&after);
    EXPECT_EQ(memcmp(&before, &after, sizeof before), 0);
}

TEST(dict_copy_module, of_a_cookie_without_a_slot_leaves_the_status_alone)
{
    TwoSlots slots;
    put_sample(slots.from());
    DictCookie none = { 0, 0, 0 };
    DictStatus status = UNTOUCHED;
    EXPECT_EQ(dict_copy_module(&none, &slots.destination, 2, 100, KEEP, nullptr, 0, &status), 0);
    EXPECT_EQ(dict_copy_module(&slots.source, &none, 2, 100, KEEP, nullptr, 0, &status), 0);
    EXPECT_EQ(dict_copy_module(&none, &none, 2, 100, 0, nullptr, 0, nullptr), 0);
    EXPECT_EQ(status, UNTOUCHED);
    EXPECT_EQ(contents_of(slots.to()), Contents());
}

TEST(dict_copy_module, without_an_open_file_gives_0_and_tells_why)
{
    DictStatus status = UNTOUCHED;
    {
        TwoSlots slots;
        put_sample(slots.from());
        for (const DictCookie &bad : { DictCookie{ 9, 0, 0 }, DictCookie{ -1, 0, 0 }, DictCookie{ 2, 0, 3 },
                                       DictCookie{ 2, 0, -1 } }) {
            status = UNTOUCHED;
            EXPECT_EQ(dict_copy_module(&slots.source, &bad, 2, 100, KEEP, nullptr, 0, &status), 0);
            EXPECT_EQ(status, (DictStatus)DICT_NOT_FOUND);
            status = UNTOUCHED;
            EXPECT_EQ(dict_copy_module(&bad, &slots.destination, 2, 100, KEEP, nullptr, 0, &status), 0);
            EXPECT_EQ(status, (DictStatus)DICT_NOT_FOUND);
            EXPECT_EQ(dict_copy_module(&bad, &bad, 2, 100, KEEP, nullptr, 0, nullptr), 0);
        }
        DictCookie closed = { 2, 0, 2 };
        status = UNTOUCHED;
        EXPECT_EQ(dict_copy_module(&slots.source, &closed, 2, 100, KEEP, nullptr, 0, &status), 0);
        EXPECT_EQ(status, (DictStatus)DICT_NOT_OPEN);
        EXPECT_EQ(dict_copy_base_modules(&slots.source, &closed), (DictStatus)DICT_NOT_OPEN);
    }
    DictCookie any = { 1, 0, 0 };
    EXPECT_EQ(dict_copy_module(&any, &any, 2, 100, KEEP, nullptr, 0, &status), 0);
    EXPECT_EQ(status, (DictStatus)DICT_NOT_STARTED);
    EXPECT_EQ(dict_copy_base_modules(&any, &any), (DictStatus)DICT_NOT_STARTED);
}

TEST(dict_copy_module, leaves_the_owners_in_memory_alone)
{
    Library library;
    DictFile *to = library.file();
    if (!to->core_tables) { EXPECT_EQ(core_tables_init(to), (DictStatus)DICT_OK); }
    if (!core_table_at(to, 1, 0)) {
        CoreTable head = { .capacity = le_i32(9), .free_count = le_i32(9), .reserved = {} };
        std::string bytes((const char *)&head, sizeof head);
        core_table_attach(to, 1, 0, handle_of(bytes + std::string(11, CORE_FREE)));
    }
    EXPECT_EQ(core_owner_set(to, 1, 3, 2), (DictStatus)DICT_OK);

    BareDictionary from;
    make(from, 1, 17, "Financial Core");
    put(from, 1, 17, 1, 3, "three", "in series 1");
    put(from, 1, 17, 1, 4, "four", "in series 1");
    EXPECT_EQ(copy(from, to, 1, 17, KEEP), (DictStatus)DICT_OK);
    EXPECT_EQ(part_of(contents_of(to), "1/17")["1/17/1/4"], "0 four=in series 1");
    EXPECT_EQ(dd_get_owner(to, 1, 3), 2);
    EXPECT_EQ(dd_get_owner(to, 1, 4), -1);  // it is there, and nobody owns it
}

// A dictionary under identifier 1 whose series 1 owns identifier 4 of type 9, and an empty one under identifier 2.
struct Owners {
    TempDir dir;
    DictCookie from = {}, to = {};

    Owners()
    {
        EXPECT_EQ(dd_init(), 1);
        EXPECT_EQ(open(1, "a.dic", &from), (DictStatus)DICT_OK);
        (void)dd_choose_owner(1);
        EXPECT_EQ(dd_add_resource(1, 2, 9, 4, Name("four"), 0), (DictStatus)DICT_OK);
        (void)dd_choose_owner(0);
        EXPECT_EQ(open(2, "b.dic", &to), (DictStatus)DICT_OK);
    }
    ~Owners() { dd_term(); }
    DictStatus open(u16 id, const char *file, DictCookie *cookie)
    {
        Name path = dir.name(file);
        if (!dir.has(file)) { EXPECT_EQ(ds_createfile(9, path), (DictStatus)DICT_OK); }
        return ds_openfile(id, path, DICT_EXCLUSIVE, 0, cookie);
    }
    i16 owner() { return dd_get_owner(dict_file_of_cookie(&to), 9, 4); }
};

TEST(dict_copy_module, of_the_core_tables_counts_from_the_next_open_on)
{
    Owners dictionaries;
    EXPECT_EQ(dict_copy_base_modules(&dictionaries.from, &dictionaries.to), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(dictionaries.owner(), -1);
    EXPECT_EQ(dd_numresources(1, 2, 9), 0);
    EXPECT_EQ(dd_local_numres(1, 1, 2, 9), 1);  // the resource is there
    EXPECT_EQ(ds_closefile(2), (DictStatus)DICT_OK);
    EXPECT_EQ(dictionaries.open(2, "b.dic", &dictionaries.to), (DictStatus)DICT_OK);
    EXPECT_EQ(dictionaries.owner(), 1);         // as the tables of the source have it
    EXPECT_EQ(dd_numresources(1, 2, 9), 1);
}

TEST(dict_copy_module, of_kind_1_gets_its_owners_by_a_rebuild_alone)
{
    Owners dictionaries;
    DictStatus status = UNTOUCHED;
    EXPECT_EQ(dict_copy_module(&dictionaries.from, &dictionaries.to, 1, 18, KEEP, nullptr, 0, &status), 18);
    EXPECT_EQ(status, (DictStatus)DICT_OK);
    EXPECT_EQ(ds_closefile(2), (DictStatus)DICT_OK);
    EXPECT_EQ(dictionaries.open(2, "b.dic", &dictionaries.to), (DictStatus)DICT_OK);
    EXPECT_EQ(dictionaries.owner(), -1);        // no open finds it: the tables are there
    EXPECT_EQ(dict_reset_selected(&dictionaries.to, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(dictionaries.owner(), 1);
}

// ---- The base modules -----------------------------------------------------------------------------------------------

void put_kind_1(DictFile *file, std::initializer_list<i32> modules, const std::string &body)
{
    for (i32 module : modules) {
        make(file, 1, module, "kind 1 " + std::to_string(module));
        put(file, 1, module, SMALL, 5, "five", body);
    }
}

TEST(dict_copy_base_modules, copies_five_core_types_in_seven_series)
{
    TwoSlots slots;
    for (i32 module = 1; module < 8 * 16; module++) make(slots.from(), 1, module, "kind 1 " + std::to_string(module));
    make(slots.from(), 2, 1, "of kind 2");
    EXPECT_EQ(dict_copy_base_modules(&slots.source, &slots.destination), (DictStatus)DICT_OK);  // 106 is the last one
    Contents expected;
    for (i32 core_type : { 1, 2, 5, 6, 10 }) {
        for (i32 series = 0; series < 7; series++) {
            std::string number = std::to_string(series * 16 + core_type);
            expected["1/" + number] = "Core Module " + number;
        }
    }
    EXPECT_EQ(contents_of(slots.to()), expected);
}

TEST(dict_copy_base_modules, ends_with_3)
{
    TwoSlots slots;
    put_kind_1(slots.from(), { 1, 18, 102, 10, 3, 4, 7, 113 }, "new");
    put_kind_1(slots.to(), { 1, 19, 34 }, "old");
    EXPECT_EQ(dict_copy_base_modules(&slots.source, &slots.destination), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(contents_of(slots.to()), (Contents{
        { "1/1", "Core Module 1" },     { "1/1/4/5", "0 five=new" },
        { "1/10", "Core Module 10" },   { "1/10/4/5", "0 five=new" },
        { "1/18", "Core Module 18" },   { "1/18/4/5", "0 five=new" },
        { "1/19", "kind 1 19" },        { "1/19/4/5", "0 five=old" },    // no base module
        { "1/34", "kind 1 34" },        { "1/34/4/5", "0 five=old" },    // one, and not in the source
        { "1/102", "Core Module 102" }, { "1/102/4/5", "0 five=new" } }));
}

TEST(dict_copy_base_modules, goes_by_core_type_and_then_by_series)
{
    TwoSlots slots;
    put_kind_1(slots.from(), { 1, 97, 2, 10 }, "new");
    EXPECT_EQ(dict_copy_base_modules(&slots.source, &slots.destination), (DictStatus)DICT_NOT_FOUND);
    std::string names;
    for (i32 module : { 1, 97, 2, 10 }) names += stored("Core Module " + std::to_string(module));
    EXPECT_EQ(block_bytes(slots.to(), BLOCK_OF_MODULE_NAMES), names);  // in the order of their coming
}

TEST(dict_copy_base_modules, forgets_a_failure_that_is_not_the_last_of_its_series)
{
    TwoSlots slots;
    put_kind_1(slots.from(), { 1, 17, 2 }, "new");
    faults_start({ .call = FAULT_WRITE, .nth = 2 });  // bytes of the first directory
    EXPECT_EQ(dict_copy_base_modules(&slots.source, &slots.destination), (DictStatus)DICT_NOT_FOUND);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(module_find(slots.to(), 1, 1), MODULE_ABSENT);
    EXPECT_EQ(contents_of(slots.to()).count("1/17"), 1u);
    EXPECT_EQ(contents_of(slots.to()).count("1/2"), 1u);
}

TEST(dict_copy_base_modules, ends_after_a_core_type_whose_last_series_failed)
{
    TwoSlots slots;
    put_kind_1(slots.from(), { 1, 97, 2 }, "new");
    faults_start({ .call = FAULT_WRITE, .nth = 14 });  // 12 for the first module; of the next one the bytes
    EXPECT_EQ(dict_copy_base_modules(&slots.source, &slots.destination), (DictStatus)DICT_FAILED);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(contents_of(slots.to()), (Contents{ { "1/1", "Core Module 1" }, { "1/1/4/5", "0 five=new" } }));
}

TEST(dict_copy_base_modules, of_a_cookie_without_a_slot_gives_0)
{
    TwoSlots slots;
    DictCookie none = { 0, 0, 0 };
    put_kind_1(slots.from(), { 1 }, "new");
    EXPECT_EQ(dict_copy_base_modules(&none, &slots.destination), (DictStatus)DICT_OK);
    EXPECT_EQ(dict_copy_base_modules(&slots.source, &none), (DictStatus)DICT_OK);
    EXPECT_EQ(contents_of(slots.to()), Contents());
}

} // namespace
} // namespace zuk
