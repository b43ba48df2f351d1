// Any bytes as a collating file: it is loaded, asked for its tables, compared with, and stopped; then the same bytes as
// long lines.
//
// No call reaches the system: one file in memory stands in front, whose calls fail from the n-th on if the input says
// so, and no optional library. Besides the sanitizers the target itself refuses, by a trap,
//   - a file of more than 255 bytes that is not loaded, or one of fewer that is, when no call fails
//   - a name without an end, a record without a table, more calls than 34 lines take
//   - a comparison that does not change its sign with its arguments, or goes beyond the weights
//   - a handle that is left alive
//   - a long line without a terminator, one that does not go on, or an end of the lines ahead of that of the file
//
//   | start | count | calls that succeed, 0 for all | length of the texts | texts | the file |
#include "files/file_util.h"
#include "foundation/collate.h"
#include "foundation/handles.h"
#include "foundation/pstrings.h"
#include "platform/platform.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace zuk;

static void refuse(const char *what)
{
    fprintf(stderr, "%s\n", what);
    abort();
}

// ---- The platform ---------------------------------------------------------------------------------------------------

static const u8 *disk;
static u32 disk_size;
static u32 position;
static u32 calls;
static u32 calls_that_succeed;  // 0: all

static u32 outcome()
{
    calls++;
    return calls_that_succeed != 0 && calls > calls_that_succeed ? PLATFORM_GENERAL_FAILURE : PLATFORM_OK;
}

static u32 disk_open(const char *, u16, FileHandle *file)
{
    position = 0;
    *file = 1;
    return outcome();
}

static u32 disk_read(FileHandle, void *to, u32 count, u32 *done)
{
    *done = 0;
    if (u32 error = outcome()) return error;
    *done = position >= disk_size ? 0 : std::min(count, disk_size - position);
    if (*done) memcpy(to, disk + position, *done);
    position += *done;
    return PLATFORM_OK;
}

static u32 disk_seek(FileHandle, i32 to)
{
    if (u32 error = outcome()) return error;
    position = (u32)to;
    return PLATFORM_OK;
}

static u32 disk_tell(FileHandle, i32 *at)
{
    *at = (i32)position;
    return outcome();
}

static u32 disk_length(FileHandle, i32 *length)
{
    *length = (i32)disk_size;
    return outcome();
}

static void put_in_front()
{
    static PlatformFiles one_file = native_files;
    one_file.open = disk_open;
    one_file.close = [](FileHandle) { return outcome(); };
    one_file.read = disk_read;
    one_file.seek = disk_seek;
    one_file.tell = disk_tell;
    one_file.size = disk_length;
    platform_files = &one_file;

    static PlatformLibraries no_library = native_libraries;
    no_library.load = [](const char *) -> void * { return nullptr; };
    platform_libraries = &no_library;
}

// ---- One input ------------------------------------------------------------------------------------------------------

static void look_at_record(i32 operation)
{
    const SortTableRecord *record = (const SortTableRecord *)lang_control(operation, 0);
    if (!record || !record->table || !record->name) refuse("a loaded file has no record");
    if (strnlen(record->name, 16) > 15) refuse("a name has no end");
}

static void compare(ConstPString first, ConstPString second, i16 start, i16 count, i16 fold_case)
{
    i16 forth = pstrlangcompare(first, second, start, count, fold_case);
    i16 back = pstrlangcompare(second, first, start, count, fold_case);
    if (forth == 32767 || back == 32767) return;  // a special answer has no opposite
    if (forth < -255 || forth > 255) refuse("a comparison goes beyond the weights");
    if (start >= 1 && first[0] >= start && second[0] >= start && forth != -back) refuse("a comparison has two signs");
    i16 same = pstrlangcompare(first, first, start, count, fold_case);
    if (first[0] >= start && same != 0) refuse("a text is not itself");
}

// All lines of the file in memory, up to the first that is none.
static void read_long_lines()
{
    calls = 0;
    u32 error = FILE_OK;
    FileHandle file = file_open_err((ConstPString) "\007ZUK.ACS", FILE_READ_ONLY, &error);
    i16 more = file != 0;
    while (more) {
        u32 start = position;
        char line[LONG_LINE_SIZE];
        memset(line, '#', sizeof line);
        more = file_readcline_err(file, line, &error);
        bool delivered = more || error == FILE_END;
        if (delivered && strnlen(line, sizeof line) == sizeof line) refuse("a long line has no terminator");
        if (more && position <= start) refuse("a long line does not go on");
        if (more != (error == FILE_OK)) refuse("the result and the code of a line disagree");
    }
    if (calls_that_succeed == 0 && (error != FILE_END || position != disk_size)) refuse("lines end ahead of the file");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 4) return 0;
    i16 start = (i8)data[0];
    i16 count = (i8)data[1];
    calls_that_succeed = data[2];
    size_t text_size = std::min((size_t)data[3], size - 4);
    const u8 *texts = data + 4;
    disk = texts + text_size;
    disk_size = (u32)(size - 4 - text_size);

    u8 first[256], second[256];
    first[0] = (u8)(text_size / 2);
    second[0] = (u8)(text_size - first[0]);
    memcpy(first + 1, texts, first[0]);
    memcpy(second + 1, texts + first[0], second[0]);

    put_in_front();
    u32 alive = handles_alive();
    calls = 0;
    i32 mode = 1;
    (void)lang_mode(&mode);
    bool loaded = lang_control(LANG_START, 0) == 1;
    if (calls_that_succeed == 0 && loaded != (disk_size > 255)) refuse("the length of the file does not decide");
    if (calls > 5 + 34 * 4) refuse("34 lines took too many calls");
    if (loaded) {
        look_at_record(LANG_CASE_SENSITIVE);
        look_at_record(LANG_CASE_BLIND);
    }
    compare(first, second, start, count, 0);
    compare(first, second, start, count, 1);
    compare(first, second, 1, 255, 0);
    compare(first, second, 1, 255, 1);

    (void)lang_control(LANG_STOP, 0);
    acs_free();
    if (handles_alive() != alive) refuse("a handle is left alive");
    if (lang_control(LANG_CASE_SENSITIVE, 0)) refuse("a freed table is given out");
    read_long_lines();
    return 0;
}
