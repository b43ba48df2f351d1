#include "engine/block_io.h"

#include "files/file.h"

#include <string.h>

namespace zuk {

constexpr i32 NAME_READ_MAX = 80;  // bytes of a name that are read from a file, its length byte included

static i32 smaller(i32 a, i32 b) { return a < b ? a : b; }

DictStatus dict_read_at(DictFile *file, u32 pos, void *buffer, i32 count)
{
    // KEPT: one would expect fewer bytes than asked for to be an error. A short read is none here, nor a short write
    // below; whoever needs all the bytes looks for itself. Test: dict_read_at.gives_0_for_a_short_read
    if (file_seek(file->file, (i32)pos)) (void)file_read(file->file, buffer, count);  // the error word says the rest
    return status_from_file_error();
}

DictStatus dict_write_at(FileHandle file, u32 pos, const void *buffer, i32 count)
{
    if (file_seek(file, (i32)pos)) (void)file_write(file, buffer, count);  // the error word says the rest
    return status_from_file_error();
}

DictStatus dict_read_name_at(DictFile *file, u32 pos, PString buffer, u32 max)
{
    i32 count = max < (u32)NAME_READ_MAX ? (i32)max : NAME_READ_MAX;
    if (count == 0) {
        buffer[0] = 0;
        return DICT_OK;
    }

    memset(buffer, 0, (size_t)count);  // bytes behind the end of the file count as 0
    DictStatus status = dict_read_at(file, pos, buffer, count);
    // KEPT: one would expect a long name whole. From the file it reads as its first 79 characters, while all of it
    // stays stored. Test: dict_read_name_at.cuts_to_79_characters
    if (buffer[0] >= count) buffer[0] = (u8)(count - 1);
    return status;
}

i32 dict_length(DictFile *file)
{
    i32 length = file_size(file->file);
    return length < 0 || !file->file ? -1 : length;
}

// A zero-filled buffer of `*count` bytes, or of the largest half, quarter, ... that memory has. 0 when there is none.
static GHandle buffer_of(i32 *count)
{
    for (; *count > 0; *count /= 2) {
        GHandle handle = galloc(*count, nullptr, 1);
        if (handle) return handle;
    }
    return 0;
}

// Positions are unsigned here: one that passes 31 bits is refused by the seek.
static DictStatus move_chunk(DictFile *file, u32 from, u32 to, void *buffer, i32 count)
{
    memset(buffer, 0, (size_t)count);  // a short read moves zeros, never what an earlier chunk left
    if (!file_seek(file->file, (i32)from)) return DICT_BAD_POSITION;
    (void)file_read(file->file, buffer, count);   // the error word says the rest
    DictStatus status = status_from_file_error();
    if (status) return status;

    if (!file_seek(file->file, (i32)to)) return DICT_BAD_POSITION;
    (void)file_write(file->file, buffer, count);  // here too
    return status_from_file_error();
}

DictStatus block_move_bytes(DictFile *file, i32 from, i32 to, i32 count)
{
    // KEPT: one would expect bad positions to be refused first. A count of 0 wins over all of them, and a negative `to`
    // hides behind a negative count. Test: block_move_bytes.reports_bad_arguments_in_its_order
    if (count == 0) return DICT_OK;
    if (to < 0 && count < 0) return DICT_FAILED;
    if (to < 0) return DICT_BAD_POSITION;
    if (count < 0) return DICT_FAILED;
    if (from < 0) return DICT_BAD_POSITION;
    if (!file->file) return DICT_NO_FILE;

    i32 chunk = smaller(count, CHUNK_MAX);
    // A damaged length would have us move gigabytes that are not there.
    if (count > chunk && (i64)from + count > dict_length(file)) return DICT_BAD_POSITION;

    GHandle handle = buffer_of(&chunk);
    if (!handle) return DICT_NO_MEMORY;
    void *buffer = glock(handle);

    DictStatus status = DICT_OK;
    bool forward = to <= from || (i64)from + count <= to;  // else the source would be overwritten before it is read
    for (i32 done = 0, part; done < count && !status; done += part) {
        part = smaller(chunk, count - done);
        u32 at = (u32)(forward ? done : count - done - part);
        status = move_chunk(file, (u32)from + at, (u32)to + at, buffer, part);
    }
    gunlock(handle);
    gfree(handle);
    return status;
}

DictStatus block_extend_file(DictFile *file, u32 pos, i32 count)
{
    if (count == 0) return dict_write_at(file->file, pos, nullptr, 0);

    i32 chunk = count;
    GHandle handle = galloc(chunk, nullptr, 1);
    if (!handle) {
        chunk = smaller(count, CHUNK_MAX);
        handle = buffer_of(&chunk);
        if (!handle) return DICT_NO_MEMORY;
    }

    DictStatus status = DICT_OK;
    const void *zeros = glock(handle);
    for (i32 done = 0, part; done < count && !status; done += part) {
        part = smaller(chunk, count - done);
        status = dict_write_at(file->file, pos + (u32)done, zeros, part);
    }
    gunlock(handle);
    gfree(handle);
    return status;
}

} // namespace zuk
