#include "foundation/handles.h"

#include "platform/platform.h"

#include <stddef.h>
#include <string.h>

namespace zuk {

// ---- Records and blocks ---------------------------------------------------------------------------------------------

// What a handle stands for. A record never moves, and is alive while `data` is not null.
struct HandleRecord {
    void *data;         // first byte for the caller, behind the prefix
    i32 size;           // bytes the caller asked for
    GHandle next_free;  // in a freed record: the one freed after it
};

// In front of the data of every block, and as many bytes again behind them, unused: the heaps that are laid into a
// block write the head of one more piece there.
//
//   0            12         16                     16 + size      32 + size
//   |   unused   |  handle  |  the caller's bytes  |    spare     |
//
// KEPT: one would expect the bytes in front of the data to be nobody's business but this file's. The 32-bit word there
// is the handle for everyone who has nothing but a pointer, before and after a resize.
// Test: galloc.puts_the_handle_in_front_of_the_data
struct DataPrefix {
    u8 unused[12];
    GHandle handle;
};
constexpr size_t SPARE_BYTES = 16;
static_assert(sizeof(DataPrefix) == 16 && offsetof(DataPrefix, handle) == 12);

static DataPrefix *prefix_of(const void *data) { return (DataPrefix *)data - 1; }

// `size` is not negative. The sum passes 2^31 for the largest sizes, so it has no room in an i32.
static size_t block_size(i32 size) { return sizeof(DataPrefix) + (size_t)size + SPARE_BYTES; }

// ---- The table of records -------------------------------------------------------------------------------------------

// The table grows by segments, which stay where they are; `segments` finds the segment of a handle. Record 0 of the
// first one is never given to anybody, so that handle 0 is refused without a test of its own.
constexpr u32 SEGMENT_BITS = 12;
constexpr u32 SEGMENT_RECORDS = 1u << SEGMENT_BITS;
constexpr u32 SEGMENT_COUNT = 1u << 14;
constexpr GHandle HANDLE_LIMIT = SEGMENT_COUNT * SEGMENT_RECORDS;  // 64 million at a time

// A number comes back only when this many others were freed after it, so that whoever kept a handle for too long is
// refused rather than served the block of somebody else.
constexpr u32 REUSE_DISTANCE = 4096;

static HandleRecord *segments[SEGMENT_COUNT];
static GHandle numbers_given;  // the highest handle ever given
static GHandle oldest_free;    // freed records, in the order in which they were freed
static GHandle newest_free;
static u32 free_count;
static u32 alive_count;

// The record of a number that was given once.
static HandleRecord *record_at(GHandle handle)
{
    return &segments[handle >> SEGMENT_BITS][handle & (SEGMENT_RECORDS - 1)];
}

// The record of a live handle; null for 0, a freed handle and any other number.
static HandleRecord *live_record(GHandle handle)
{
    if (handle >= HANDLE_LIMIT) return nullptr;

    HandleRecord *segment = segments[handle >> SEGMENT_BITS];
    if (!segment) return nullptr;

    HandleRecord *record = &segment[handle & (SEGMENT_RECORDS - 1)];
    return record->data ? record : nullptr;
}

// A number with a record that is not alive; 0 when memory for records is short.
static GHandle record_take()
{
    if (free_count > REUSE_DISTANCE) {
        GHandle reused = oldest_free;
        oldest_free = record_at(reused)->next_free;
        free_count--;
        return reused;
    }

    GHandle fresh = numbers_given + 1;
    if (fresh >= HANDLE_LIMIT) return 0;

    HandleRecord **segment = &segments[fresh >> SEGMENT_BITS];
    if (!*segment) *segment = (HandleRecord *)platform_memory->alloc(SEGMENT_RECORDS * sizeof(HandleRecord), true);
    if (!*segment) return 0;

    numbers_given = fresh;
    return fresh;
}

static void record_give_back(GHandle handle)
{
    HandleRecord *record = record_at(handle);
    record->data = nullptr;
    record->size = 0;
    record->next_free = 0;

    if (free_count == 0) oldest_free = handle;
    else record_at(newest_free)->next_free = handle;
    newest_free = handle;
    free_count++;
}

} // namespace zuk

using namespace zuk;

// ---- The exported operations ----------------------------------------------------------------------------------------

GHandle galloc(int32_t size, ConstPString label, int16_t zero)
{
    (void)label;  // only a name for whoever reads the calls
    if (size < 0) return 0;

    DataPrefix *prefix = (DataPrefix *)platform_memory->alloc(block_size(size), zero != 0);
    if (!prefix) return 0;

    // KEPT: one would expect the data block to be freed when there is no room for the record. It stays allocated, with
    // nothing that refers to it; the caller sees 0 and a process that has grown.
    // Test: galloc.leaves_the_data_block_when_the_record_fails
    GHandle handle = record_take();
    if (!handle) return 0;

    prefix->handle = handle;
    HandleRecord *record = record_at(handle);
    record->data = prefix + 1;
    record->size = size;
    alive_count++;
    return handle;
}

void gfree(GHandle handle)
{
    // KEPT: one would expect a second `gfree` of a handle to be reported. Nobody is told; as long as the number waits
    // to be given again it does nothing. Test: gfree.of_a_freed_handle_does_nothing
    HandleRecord *record = live_record(handle);
    if (!record) return;

    platform_memory->free(prefix_of(record->data));
    record_give_back(handle);
    alive_count--;
}

int16_t grealloc(GHandle *handle, int32_t size)
{
    // KEPT: one would expect every failure to leave the variable in the same way. Bad arguments touch nothing, while a
    // failed resize, below, takes the handle away. Test: grealloc.of_a_negative_size_touches_nothing
    if (size < 0 || !handle) return 0;

    HandleRecord *record = live_record(*handle);
    if (!record) return 0;

    // KEPT: one would expect a failed resize to leave the caller his block. His variable becomes 0, and the old block
    // and its record stay, for nobody: a pointer from before and a copy of the handle still work. All callers count on
    // a variable that reads 0. Test: grealloc.takes_the_handle_away_when_the_resize_fails
    DataPrefix *prefix = (DataPrefix *)platform_memory->resize(prefix_of(record->data), block_size(size));
    if (!prefix) {
        *handle = 0;
        return 0;
    }

    i32 old_size = record->size;
    record->data = prefix + 1;
    record->size = size;

    // KEPT: one would expect new bytes to be as undefined as those of a `galloc` without zero fill. They are cleared
    // for every handle, also those that an earlier shrink had given up; the old bytes keep their values.
    // Test: grealloc.clears_the_growth_of_a_handle_made_without_zero_fill
    if (size > old_size) memset((u8 *)record->data + old_size, 0, (size_t)size - (size_t)old_size);
    return 1;
}

// KEPT: one would expect a lock that is counted and given up again. `glock` counts nothing and `gunlock` does nothing;
// a pointer outlives any number of `gunlock`. Code pairs the two all the same. Test: gunlock.leaves_the_pointer_valid
void *glock(GHandle handle)
{
    HandleRecord *record = live_record(handle);
    return record ? record->data : nullptr;
}

void gunlock(GHandle handle)
{
    (void)handle;
}

int32_t gsize(GHandle handle)
{
    HandleRecord *record = live_record(handle);
    return record ? record->size : 0;
}

// ---- The operations of handles.h ------------------------------------------------------------------------------------

namespace zuk {

GHandle ghandle(const void *data)
{
    return data ? prefix_of(data)->handle : 0;
}

void *glock_checked(GHandle handle)
{
    if (handle == 0) return nullptr;
    return glock(handle);
}

GHandle gdup(GHandle handle)
{
    const void *data = glock(handle);
    if (!data) return 0;

    static const u8 empty_label[1] = {0};
    i32 size = gsize(handle);
    GHandle copy = galloc(size, empty_label, 0);
    if (copy) memcpy(glock(copy), data, (size_t)size);
    gunlock(copy);
    gunlock(handle);
    return copy;
}

GHandle ghandle_from_bytes(const void *source, i16 length)
{
    GHandle handle = galloc(length, nullptr, 1);
    if (!handle) return 0;

    if (length > 0) memcpy(glock(handle), source, (size_t)length);
    gunlock(handle);
    return handle;
}

void *ghandle_to_bytes(void *dest, GHandle handle)
{
    i32 size = gsize(handle);
    if (size > 0) memcpy(dest, glock(handle), (size_t)size);
    gunlock(handle);
    return dest;
}

// What stands in front of the text of `str_alloc`, at the beginning of its block.
struct TextPrefix {
    u8 unused[4];
    i16 size;  // of the text with its terminator
};
static_assert(sizeof(TextPrefix) == 6 && offsetof(TextPrefix, size) == 4);

void *str_alloc(i32 unused, i16 size)
{
    (void)unused;

    // KEPT: one would expect 32768 bytes for 32767 characters. The sum is a signed 16-bit number and becomes -32768,
    // so that the largest size gives null. Test: str_alloc.fails_for_the_largest_size
    i16 with_terminator = (i16)(size + 1);

    static const char label[] = "\015str_alloc mem";
    GHandle handle = galloc((i32)with_terminator + 7, (ConstPString)label, 1);
    if (!handle) return nullptr;

    TextPrefix *prefix = (TextPrefix *)glock(handle);
    prefix->size = with_terminator;
    return prefix + 1;
}

void str_free(void *text)
{
    if (!text) return;

    GHandle handle = ghandle((TextPrefix *)text - 1);
    gunlock(handle);
    gfree(handle);
}

AnyProc proc_instance_make(AnyProc proc)
{
    return proc;
}

void proc_instance_free(AnyProc proc)
{
    (void)proc;
}

u32 handles_alive()
{
    return alive_count;
}

} // namespace zuk
