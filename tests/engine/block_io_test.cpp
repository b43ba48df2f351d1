#include "engine/block_io.h"

#include "files/file.h"
#include "foundation/handles.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"
#include "tests/support/temp_dir.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace zuk {

using Lines = std::vector<std::string>;

constexpr u32 TOP_BIT = 0x80000000;  // the lowest position that no seek takes

// A file with this content, open in a record that holds nothing else.
class RawFile {
public:
    explicit RawFile(const std::string &content) : file{}
    {
        file_seterrorptr(&file_error);
        file.file = file_open(dir.put("a", content), FILE_RW_SHARED);
        EXPECT_NE(file.file, 0u);
        calls_reset();
    }
    ~RawFile()
    {
        faults_stop();
        if (file.file) file_close(file.file);
    }
    RawFile(const RawFile &) = delete;
    RawFile &operator=(const RawFile &) = delete;

    operator DictFile *() { return &file; }
    DictFile *operator->() { return &file; }
    std::string bytes() const { return dir.content("a"); }
    void close()
    {
        file_close(file.file);
        file.file = 0;
    }

    TempDir dir;
    DictFile file;
};

// Bytes of which no two runs are alike.
static std::string pattern(size_t count)
{
    std::string bytes;
    u32 state = 12345;
    while (bytes.size() < count) {
        state = state * 1103515245 + 12345;
        bytes += (char)(state >> 16);
    }
    return bytes;
}

static std::string zeros(size_t count) { return std::string(count, '\0'); }

// Equal bytes; else where they begin to differ, rather than all of them.
static void expect_bytes(const std::string &bytes, const std::string &expected)
{
    EXPECT_EQ(bytes.size(), expected.size());
    auto first = std::mismatch(bytes.begin(), bytes.end(), expected.begin(), expected.end()).first;
    EXPECT_TRUE(bytes == expected) << "from byte " << first - bytes.begin() << " on";
}

static Lines moved() { return call_lines({ FAULT_READ, FAULT_WRITE }); }

TEST(block_io, has_every_operation)
{
    void *const operations[] = {
        (void *)dict_read_at, (void *)dict_write_at, (void *)dict_read_name_at,
        (void *)block_move_bytes, (void *)block_extend_file, (void *)dict_length,
    };
    for (void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- dict_read_at ---------------------------------------------------------------------------------------------------

TEST(dict_read_at, seeks_and_reads)
{
    RawFile file("0123456789");
    char bytes[4];
    EXPECT_EQ(dict_read_at(file, 3, bytes, 4), DICT_OK);
    EXPECT_EQ(std::string(bytes, 4), "3456");
    EXPECT_EQ(call_lines(), (Lines{ "seek 3", "read 3+4" }));
}

TEST(dict_read_at, gives_0_for_a_short_read)
{
    RawFile file("0123");
    char bytes[] = "......";
    EXPECT_EQ(dict_read_at(file, 2, bytes, 6), DICT_OK);
    EXPECT_EQ(std::string(bytes, 6), "23....");  // what was not read stays
    EXPECT_EQ(dict_read_at(file, 100, bytes, 6), DICT_OK);
    EXPECT_EQ(std::string(bytes, 6), "23....");
}

TEST(dict_read_at, of_no_bytes_only_seeks)
{
    RawFile file("0123");
    EXPECT_EQ(dict_read_at(file, 2, nullptr, 0), DICT_OK);
    EXPECT_EQ(call_lines(), (Lines{ "seek 2" }));
}

TEST(dict_read_at, gives_12_for_a_position_with_its_top_bit)
{
    RawFile file("0123");
    char byte = '.';
    EXPECT_EQ(dict_read_at(file, TOP_BIT, &byte, 1), DICT_BAD_POSITION);
    EXPECT_EQ(dict_read_at(file, 0xFFFFFFFF, &byte, 1), DICT_BAD_POSITION);
    EXPECT_EQ(dict_read_at(file, TOP_BIT - 1, &byte, 1), DICT_OK);  // nothing there, which is no error
    EXPECT_EQ(byte, '.');
}

TEST(dict_read_at, gives_12_for_a_negative_count)
{
    RawFile file("0123");
    char byte = '.';
    EXPECT_EQ(dict_read_at(file, 0, &byte, -1), DICT_BAD_POSITION);
    EXPECT_EQ(byte, '.');
}

TEST(dict_read_at, does_not_read_after_a_failed_seek)
{
    RawFile file("0123");
    char byte = '.';
    faults_start({ .call = FAULT_SEEK, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(dict_read_at(file, 0, &byte, 1), DICT_ACCESS_DENIED);
    EXPECT_EQ(call_lines(), (Lines{ "seek 0 failed" }));
}

TEST(dict_read_at, gives_the_status_of_a_failed_read)
{
    RawFile file("0123");
    char byte = '.';
    faults_start({ .call = FAULT_READ, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(dict_read_at(file, 0, &byte, 1), DICT_ACCESS_DENIED);
    faults_start({ .call = FAULT_READ });
    EXPECT_EQ(dict_read_at(file, 0, &byte, 1), DICT_FAILED);
    EXPECT_EQ(byte, '.');
}

TEST(dict_read_at, gives_1_without_an_open_file)
{
    RawFile file("0123");
    file.close();
    char byte = '.';
    EXPECT_EQ(dict_read_at(file, 0, &byte, 1), DICT_FAILED);
}

// ---- dict_write_at --------------------------------------------------------------------------------------------------

TEST(dict_write_at, seeks_and_writes)
{
    RawFile file("0123456789");
    EXPECT_EQ(dict_write_at(file->file, 3, "abc", 3), DICT_OK);
    EXPECT_EQ(call_lines(), (Lines{ "seek 3", "write 3+3" }));
    EXPECT_EQ(file.bytes(), "012abc6789");
}

TEST(dict_write_at, behind_the_end_fills_with_zeros)
{
    RawFile file("01");
    EXPECT_EQ(dict_write_at(file->file, 4, "ab", 2), DICT_OK);
    EXPECT_EQ(file.bytes(), "01" + zeros(2) + "ab");
}

TEST(dict_write_at, gives_0_for_a_short_write)
{
    RawFile file("0123");
    faults_start({ .call = FAULT_WRITE, .cut = 1 });
    EXPECT_EQ(dict_write_at(file->file, 0, "abc", 3), DICT_OK);
    EXPECT_EQ(file.bytes(), "a123");
}

TEST(dict_write_at, of_no_bytes_only_seeks)
{
    RawFile file("0123");
    EXPECT_EQ(dict_write_at(file->file, 9, nullptr, 0), DICT_OK);
    EXPECT_EQ(call_lines(), (Lines{ "seek 9" }));
    EXPECT_EQ(file.bytes(), "0123");
}

TEST(dict_write_at, gives_12_for_a_position_with_its_top_bit_and_a_negative_count)
{
    RawFile file("0123");
    EXPECT_EQ(dict_write_at(file->file, TOP_BIT, "a", 1), DICT_BAD_POSITION);
    EXPECT_EQ(dict_write_at(file->file, 0, "a", -1), DICT_BAD_POSITION);
    EXPECT_EQ(moved(), Lines{});
    EXPECT_EQ(file.bytes(), "0123");
}

TEST(dict_write_at, does_not_write_after_a_failed_seek)
{
    RawFile file("0123");
    faults_start({ .call = FAULT_SEEK, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(dict_write_at(file->file, 0, "a", 1), DICT_ACCESS_DENIED);
    EXPECT_EQ(file.bytes(), "0123");
}

TEST(dict_write_at, gives_the_status_of_a_failed_write)
{
    RawFile file("0123");
    faults_start({ .call = FAULT_WRITE, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(dict_write_at(file->file, 0, "a", 1), DICT_NO_ROOM);
    faults_start({ .call = FAULT_WRITE });
    EXPECT_EQ(dict_write_at(file->file, 0, "a", 1), DICT_FAILED);
    EXPECT_EQ(file.bytes(), "0123");
}

TEST(dict_write_at, gives_1_without_an_open_file)
{
    EXPECT_EQ(dict_write_at(0, 0, "a", 1), DICT_FAILED);
}

// ---- dict_read_name_at ----------------------------------------------------------------------------------------------

// A name as it stands in a file: its length, then its characters.
static std::string stored(const std::string &name) { return (char)(u8)name.size() + name; }

// A buffer whose every byte tells that nobody wrote to it.
struct UsedName : Name {
    UsedName() : Name(std::string(255, '?')) {}
};

TEST(dict_read_name_at, reads_a_name)
{
    RawFile file("..." + stored("Customer") + "behind it");
    UsedName name;
    EXPECT_EQ(dict_read_name_at(file, 3, name, 9), DICT_OK);
    EXPECT_EQ(name.str(), "Customer");
    EXPECT_EQ(moved(), (Lines{ "read 3+9" }));
    EXPECT_EQ(name.text[9], '?');  // no byte behind the stored ones was touched
}

TEST(dict_read_name_at, cuts_to_79_characters)
{
    std::string long_name = pattern(100);
    RawFile file(stored(long_name));
    UsedName name;
    EXPECT_EQ(dict_read_name_at(file, 0, name, 101), DICT_OK);
    EXPECT_EQ(name.str(), long_name.substr(0, 79));
    EXPECT_EQ(moved(), (Lines{ "read 0+80" }));
    EXPECT_EQ(name.text[80], '?');
    EXPECT_EQ(file.bytes(), stored(long_name));  // all of it stays stored
}

TEST(dict_read_name_at, leaves_79_characters_whole)
{
    std::string longest = pattern(79);
    RawFile file(stored(longest));
    UsedName name;
    EXPECT_EQ(dict_read_name_at(file, 0, name, 80), DICT_OK);
    EXPECT_EQ(name.str(), longest);
}

TEST(dict_read_name_at, takes_max_as_unsigned)
{
    RawFile file(stored("Customer"));
    UsedName name;
    EXPECT_EQ(dict_read_name_at(file, 0, name, (u32)-1), DICT_OK);
    EXPECT_EQ(name.str(), "Customer");
    EXPECT_EQ(moved(), (Lines{ "read 0+80 did 9" }));
}

TEST(dict_read_name_at, cuts_a_length_that_passes_what_was_read)
{
    // Only damage makes the length byte disagree with the stored size.
    RawFile file(std::string("\x09", 1) + "abcdefghi");
    UsedName name;
    EXPECT_EQ(dict_read_name_at(file, 0, name, 5), DICT_OK);
    EXPECT_EQ(name.str(), "abcd");
    EXPECT_EQ(dict_read_name_at(file, 0, name, 9), DICT_OK);  // a length of 9 asks for 10 bytes
    EXPECT_EQ(name.str(), "abcdefgh");
    EXPECT_EQ(dict_read_name_at(file, 0, name, 1), DICT_OK);
    EXPECT_EQ(name.str(), "");
}

TEST(dict_read_name_at, of_no_bytes_is_empty_without_a_read)
{
    RawFile file(stored("Customer"));
    UsedName name;
    EXPECT_EQ(dict_read_name_at(file, 0, name, 0), DICT_OK);
    EXPECT_EQ(name.str(), "");
    EXPECT_EQ(call_lines(), Lines{});
}

TEST(dict_read_name_at, takes_bytes_behind_the_end_as_0)
{
    RawFile file(std::string("\x08", 1) + "Cus");
    UsedName name;
    EXPECT_EQ(dict_read_name_at(file, 0, name, 9), DICT_OK);
    EXPECT_EQ(name.str(), "Cus" + zeros(5));
    EXPECT_EQ(dict_read_name_at(file, 50, name, 9), DICT_OK);
    EXPECT_EQ(name.str(), "");
}

TEST(dict_read_name_at, is_empty_after_a_failure)
{
    RawFile file(stored("Customer"));
    for (FaultCall call : { FAULT_SEEK, FAULT_READ }) {
        UsedName name;
        faults_start({ .call = call, .error = PLATFORM_ACCESS_DENIED });
        EXPECT_EQ(dict_read_name_at(file, 0, name, 9), DICT_ACCESS_DENIED);
        EXPECT_EQ(name.str(), "");
    }
    UsedName name;
    EXPECT_EQ(dict_read_name_at(file, TOP_BIT, name, 9), DICT_BAD_POSITION);
    EXPECT_EQ(name.str(), "");
}

// ---- dict_length ----------------------------------------------------------------------------------------------------

TEST(dict_length, counts_the_bytes_of_the_file)
{
    RawFile empty("");
    EXPECT_EQ(dict_length(empty), 0);
    RawFile file(pattern(4930));
    EXPECT_EQ(dict_length(file), 4930);
    EXPECT_EQ(dict_write_at(file->file, 4930, "a", 1), DICT_OK);
    EXPECT_EQ(dict_length(file), 4931);
}

TEST(dict_length, is_minus_1_when_it_is_not_known)
{
    RawFile file("0123");
    faults_start({ .call = FAULT_SIZE });
    EXPECT_EQ(dict_length(file), -1);
    faults_stop();
    file.close();
    EXPECT_EQ(dict_length(file), -1);
}

// ---- block_move_bytes -----------------------------------------------------------------------------------------------

// What a move within `bytes` has to come to.
static std::string after_a_move(std::string bytes, size_t from, size_t to, size_t count)
{
    std::string part = bytes.substr(from, count);
    if (bytes.size() < to + count) bytes.resize(to + count);
    return bytes.replace(to, count, part);
}

TEST(block_move_bytes, moves_down_and_up)
{
    RawFile file("0123456789");
    EXPECT_EQ(block_move_bytes(file, 5, 0, 3), DICT_OK);
    EXPECT_EQ(file.bytes(), "5673456789");
    EXPECT_EQ(block_move_bytes(file, 0, 8, 4), DICT_OK);
    EXPECT_EQ(file.bytes(), "567345675673");
    EXPECT_EQ(call_lines(), (Lines{ "seek 5", "read 5+3", "seek 0", "write 0+3",
                                    "seek 0", "read 0+4", "seek 8", "write 8+4" }));
}

TEST(block_move_bytes, reports_bad_arguments_in_its_order)
{
    RawFile file("0123456789");
    EXPECT_EQ(block_move_bytes(file, -1, -1, 0), DICT_OK);
    EXPECT_EQ(block_move_bytes(file, -1, -1, -1), DICT_FAILED);
    EXPECT_EQ(block_move_bytes(file, 1, -1, -1), DICT_FAILED);
    EXPECT_EQ(block_move_bytes(file, -1, -1, 1), DICT_BAD_POSITION);
    EXPECT_EQ(block_move_bytes(file, 1, -1, 1), DICT_BAD_POSITION);
    EXPECT_EQ(block_move_bytes(file, -1, 1, -1), DICT_FAILED);
    EXPECT_EQ(block_move_bytes(file, 1, 1, -1), DICT_FAILED);
    EXPECT_EQ(block_move_bytes(file, -1, 1, 1), DICT_BAD_POSITION);

    // Without a file all of them come first.
    file.close();
    EXPECT_EQ(block_move_bytes(file, -1, -1, 0), DICT_OK);
    EXPECT_EQ(block_move_bytes(file, 1, -1, -1), DICT_FAILED);
    EXPECT_EQ(block_move_bytes(file, 1, -1, 1), DICT_BAD_POSITION);
    EXPECT_EQ(block_move_bytes(file, 1, 1, -1), DICT_FAILED);
    EXPECT_EQ(block_move_bytes(file, -1, 1, 1), DICT_BAD_POSITION);
    EXPECT_EQ(block_move_bytes(file, 1, 5, 1), DICT_NO_FILE);
    EXPECT_EQ(file.bytes(), "0123456789");
}

TEST(block_move_bytes, takes_65500_bytes_at_a_time)
{
    RawFile file(pattern(65501));
    EXPECT_EQ(block_move_bytes(file, 0, 70000, 65500), DICT_OK);
    EXPECT_EQ(moved(), (Lines{ "read 0+65500", "write 70000+65500" }));

    calls_reset();
    EXPECT_EQ(block_move_bytes(file, 0, 70000, 65501), DICT_OK);
    EXPECT_EQ(moved(), (Lines{ "read 0+65500", "write 70000+65500", "read 65500+1", "write 135500+1" }));
    expect_bytes(file.bytes().substr(70000), pattern(65501));
}

TEST(block_move_bytes, into_its_own_source_copies_from_the_end)
{
    RawFile file(pattern(65501 + 10));
    EXPECT_EQ(block_move_bytes(file, 0, 10, 65501), DICT_OK);
    EXPECT_EQ(moved(), (Lines{ "read 1+65500", "write 11+65500", "read 0+1", "write 10+1" }));
    expect_bytes(file.bytes(), after_a_move(pattern(65511), 0, 10, 65501));
}

TEST(block_move_bytes, copies_from_the_start_unless_it_would_overwrite_its_source)
{
    constexpr i32 COUNT = 65501;
    const struct {
        i32 from, to;
        const char *first_read;
    } moves[] = {
        { 0, COUNT, "read 0+65500" },      // directly behind the source
        { 0, COUNT - 1, "read 1+65500" },  // over its last byte
        { 5, 6, "read 6+65500" },
        { 5, 5, "read 5+65500" },          // onto itself
        { 6, 5, "read 6+65500" },          // down, over its first bytes
    };
    for (const auto &move : moves) {
        std::string before = pattern(2 * COUNT + 10);
        RawFile file(before);
        EXPECT_EQ(block_move_bytes(file, move.from, move.to, COUNT), DICT_OK);
        EXPECT_EQ(moved()[0], move.first_read) << move.from << " to " << move.to;
        expect_bytes(file.bytes(), after_a_move(before, (size_t)move.from, (size_t)move.to, COUNT));
    }
}

TEST(block_move_bytes, keeps_every_byte_with_any_chunk)
{
    // The first `refused` allocations fail, so that the chunk is 37, 18, 9, 4, 2, 1 bytes.
    std::string before = pattern(120);
    const i32 places[][2] = { { 0, 80 }, { 80, 0 }, { 20, 21 }, { 21, 20 }, { 20, 56 }, { 20, 57 }, { 30, 30 } };
    for (u32 refused = 0; refused < 6; refused++) {
        for (const auto &place : places) {
            RawFile file(before);
            faults_start({ .call = refused ? FAULT_ALLOC : FAULT_NONE, .from_then_on = true });
            faults_hook(FAULT_ALLOC, refused + 1, [] { faults_stop(); });
            EXPECT_EQ(block_move_bytes(file, place[0], place[1], 37), DICT_OK);
            EXPECT_EQ(file.bytes(), after_a_move(before, (size_t)place[0], (size_t)place[1], 37))
                << place[0] << " to " << place[1] << ", " << refused << " allocations refused";
        }
    }
}

TEST(block_move_bytes, halves_the_chunk_when_memory_is_short)
{
    RawFile file("0123456...");
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(block_move_bytes(file, 0, 10, 7), DICT_OK);
    EXPECT_EQ(moved(), (Lines{ "read 0+3", "write 10+3", "read 3+3", "write 13+3", "read 6+1", "write 16+1" }));
    EXPECT_EQ(file.bytes(), "0123456...0123456");
}

TEST(block_move_bytes, gives_9_when_no_chunk_can_be_had)
{
    RawFile file(pattern(100));
    u32 alive = handles_alive();
    faults_start({ .call = FAULT_ALLOC, .from_then_on = true });
    EXPECT_EQ(block_move_bytes(file, 0, 50, 50), DICT_NO_MEMORY);
    EXPECT_EQ(call_counts().alloc, 6u);  // 50, 25, 12, 6, 3, 1
    EXPECT_EQ(moved(), Lines{});
    EXPECT_EQ(handles_alive(), alive);
}

TEST(block_move_bytes, never_asks_for_more_than_a_chunk)
{
    RawFile file(pattern(200000));
    gfree(galloc(0, nullptr, 0));  // the records of handles exist from here on
    size_t before = memory_alive_bytes();
    size_t most = 0;
    faults_hook(FAULT_READ, 1, [&] { most = memory_alive_bytes() - before; });
    EXPECT_EQ(block_move_bytes(file, 0, 100, 199000), DICT_OK);
    EXPECT_GE(most, 65500u);
    EXPECT_LT(most, 65500u + 64u);  // the head of its block
}

TEST(block_move_bytes, ends_at_the_first_failure)
{
    // Two chunks: size, then twice seek, read, seek, write.
    constexpr i32 COUNT = 65501;
    u32 met = 0;
    for (bool from_then_on : { false, true }) {
        for (u32 nth = 1; nth < 20; nth++) {
            SCOPED_TRACE(nth);
            RawFile file(pattern(COUNT));
            u32 alive = handles_alive();
            faults_start({ .call = FAULT_ANY_FILE, .nth = nth, .from_then_on = from_then_on,
                           .error = PLATFORM_ACCESS_DENIED });
            DictStatus status = block_move_bytes(file, 0, COUNT, COUNT);
            if (!faults_stop()) break;
            met++;

            const CallRecord &last = call_log().back();
            bool place = last.call == FAULT_SEEK || last.call == FAULT_SIZE;
            EXPECT_EQ(call_log().size(), nth);
            EXPECT_FALSE(last.ok);
            EXPECT_EQ(status, place ? DICT_BAD_POSITION : DICT_ACCESS_DENIED) << nth;
            EXPECT_EQ(handles_alive(), alive) << nth;
            expect_bytes(file.bytes().substr(0, COUNT), pattern(COUNT));  // it is a copy, not a cut
        }
    }
    EXPECT_EQ(met, 18u);
}

TEST(block_move_bytes, gives_12_for_a_failed_seek_whatever_its_reason)
{
    RawFile file("0123456789");
    for (u32 error : { PLATFORM_GENERAL_FAILURE, PLATFORM_ACCESS_DENIED, PLATFORM_DISK_FULL }) {
        for (u32 nth : { 1u, 2u }) {  // to the source, to the destination
            faults_start({ .call = FAULT_SEEK, .nth = nth, .error = error });
            EXPECT_EQ(block_move_bytes(file, 0, 5, 5), DICT_BAD_POSITION);
        }
    }
    EXPECT_EQ(file.bytes(), "0123456789");
}

TEST(block_move_bytes, moves_zeros_for_bytes_behind_the_end)
{
    RawFile file("0123456789");
    EXPECT_EQ(block_move_bytes(file, 8, 0, 5), DICT_OK);
    EXPECT_EQ(file.bytes(), "89" + zeros(3) + "56789");
}

TEST(block_move_bytes, moves_zeros_where_a_read_falls_short)
{
    // The second of two chunks comes back short, in a buffer that has held the first.
    RawFile file(pattern(2 * 65500));
    faults_start({ .call = FAULT_READ, .nth = 2, .cut = 3 });
    EXPECT_EQ(block_move_bytes(file, 0, 2 * 65500, 2 * 65500), DICT_OK);
    expect_bytes(file.bytes().substr(3 * 65500), pattern(2 * 65500).substr(65500, 3) + zeros(65497));
}

TEST(block_move_bytes, gives_12_for_more_chunks_than_the_file_has_bytes)
{
    RawFile file(pattern(100000));
    EXPECT_EQ(block_move_bytes(file, 0, 10, 0x7FFFFFFF), DICT_BAD_POSITION);
    EXPECT_EQ(block_move_bytes(file, 0x7FFFFFFF, 0, 0x7FFFFFFF), DICT_BAD_POSITION);
    EXPECT_EQ(block_move_bytes(file, 1, 0, 100000), DICT_BAD_POSITION);
    EXPECT_EQ(moved(), Lines{});
    EXPECT_EQ(block_move_bytes(file, 0, 1, 100000), DICT_OK);
}

TEST(block_move_bytes, gives_12_where_positions_end)
{
    RawFile file(pattern(65501));
    faults_start({ .call = FAULT_WRITE, .from_then_on = true, .cut = 0 });  // no file of 2 GiB for a test
    EXPECT_EQ(block_move_bytes(file, 0, 0x7FFFFFFF, 65501), DICT_BAD_POSITION);
    EXPECT_EQ(moved(), (Lines{ "read 0+65500", "write 2147483647+65500 did 0", "read 65500+1" }));
}

// ---- block_extend_file ----------------------------------------------------------------------------------------------

TEST(block_extend_file, writes_zeros_in_one_piece)
{
    RawFile file("0123");
    EXPECT_EQ(block_extend_file(file, 4, 100000), DICT_OK);
    EXPECT_EQ(call_lines(), (Lines{ "seek 4", "write 4+100000" }));
    expect_bytes(file.bytes(), "0123" + zeros(100000));
}

TEST(block_extend_file, writes_where_it_is_told)
{
    RawFile file("0123456789");
    EXPECT_EQ(block_extend_file(file, 3, 2), DICT_OK);
    EXPECT_EQ(file.bytes(), "012" + zeros(2) + "56789");
}

TEST(block_extend_file, of_no_bytes_writes_nothing)
{
    RawFile file("0123");
    EXPECT_EQ(block_extend_file(file, 4, 0), DICT_OK);
    EXPECT_EQ(block_extend_file(file, TOP_BIT, 0), DICT_BAD_POSITION);
    EXPECT_EQ(moved(), Lines{});
    EXPECT_EQ(file.bytes(), "0123");
}

TEST(block_extend_file, goes_on_in_chunks_when_memory_is_short)
{
    RawFile file("0123");
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(block_extend_file(file, 4, 65501), DICT_OK);
    EXPECT_EQ(moved(), (Lines{ "write 4+65500", "write 65504+1" }));
    expect_bytes(file.bytes(), "0123" + zeros(65501));
}

TEST(block_extend_file, tries_a_small_count_once_more_and_then_halves_it)
{
    RawFile file("0123");
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(block_extend_file(file, 4, 7), DICT_OK);
    EXPECT_EQ(moved(), (Lines{ "write 4+7" }));

    calls_reset();
    faults_start({ .call = FAULT_ALLOC, .from_then_on = true });
    faults_hook(FAULT_ALLOC, 3, [] { faults_stop(); });
    EXPECT_EQ(block_extend_file(file, 4, 7), DICT_OK);
    EXPECT_EQ(moved(), (Lines{ "write 4+3", "write 7+3", "write 10+1" }));
}

TEST(block_extend_file, gives_9_when_no_chunk_can_be_had)
{
    RawFile file("0123");
    faults_start({ .call = FAULT_ALLOC, .from_then_on = true });
    EXPECT_EQ(block_extend_file(file, 4, 7), DICT_NO_MEMORY);
    EXPECT_EQ(call_counts().alloc, 4u);  // 7, 7, 3, 1
    EXPECT_EQ(file.bytes(), "0123");
}

TEST(block_extend_file, gives_9_for_a_negative_count)
{
    RawFile file("0123");
    EXPECT_EQ(block_extend_file(file, 4, -1), DICT_NO_MEMORY);
    EXPECT_EQ(block_extend_file(file, 4, INT32_MIN), DICT_NO_MEMORY);
    EXPECT_EQ(call_lines(), Lines{});
    EXPECT_EQ(file.bytes(), "0123");
}

TEST(block_extend_file, ends_at_the_first_failure)
{
    u32 met = 0;
    for (bool from_then_on : { false, true }) {
        for (u32 nth = 1; nth < 10; nth++) {
            SCOPED_TRACE(nth);
            RawFile file("0123");
            u32 alive = handles_alive();
            // Two chunks of two calls each: the one allocation that would do it in a piece fails.
            faults_start({ .call = FAULT_ALLOC });
            faults_hook(FAULT_ALLOC, 2, [&] {
                faults_start({ .call = FAULT_ANY_FILE, .nth = nth, .from_then_on = from_then_on,
                               .error = PLATFORM_DISK_FULL });
            });
            DictStatus status = block_extend_file(file, 4, 65501);
            if (!faults_stop()) break;
            met++;
            EXPECT_EQ(status, DICT_NO_ROOM) << nth;
            EXPECT_EQ(call_log().size(), nth);
            EXPECT_EQ(handles_alive(), alive) << nth;
            expect_bytes(file.bytes(), "0123" + zeros(nth <= 2 ? 0 : 65500));
        }
    }
    EXPECT_EQ(met, 8u);
}

TEST(block_extend_file, gives_12_for_a_position_with_its_top_bit)
{
    RawFile file("0123");
    EXPECT_EQ(block_extend_file(file, TOP_BIT, 7), DICT_BAD_POSITION);
    EXPECT_EQ(file.bytes(), "0123");
}

} // namespace zuk
