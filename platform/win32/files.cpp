// Files over the calls of Windows.

#include "platform/file_rows.h"

#include <windows.h>

namespace zuk {

static HANDLE handle_of(const FileRow *row) { return (HANDLE)row->os_file; }

// The outcome of a call that answers with a BOOL; to be asked at once.
static u32 outcome(BOOL good)
{
    if (good) return PLATFORM_OK;
    u32 error = GetLastError();
    return error ? error : PLATFORM_GENERAL_FAILURE;
}

// ---- Opening and closing --------------------------------------------------------------------------------------------

struct Sharing {
    u16 mode;
    DWORD access;
    DWORD share;  // what others may do
};

static const Sharing sharing_modes[] = {
    { PLATFORM_RW_SHARED, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE },
    { PLATFORM_READ_ONLY, GENERIC_READ, FILE_SHARE_READ },
    { PLATFORM_RW_EXCLUSIVE, GENERIC_READ | GENERIC_WRITE, 0 },
};

static const Sharing *sharing_of(u16 mode)
{
    for (const Sharing &sharing : sharing_modes) {
        if (sharing.mode == mode) return &sharing;
    }
    return nullptr;
}

// OpenFile would look for a bare name along the path of programs and give up on long names; this call takes the name
// as it stands.
static u32 win32_open(const char *name, u16 mode, FileHandle *file)
{
    const Sharing *sharing = sharing_of(mode);
    if (!sharing) return PLATFORM_ACCESS_DENIED;

    HANDLE handle = CreateFileA(name, sharing->access, sharing->share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                nullptr);
    if (handle == INVALID_HANDLE_VALUE) return outcome(FALSE);

    FileRow *row = file_row_claim();
    if (!row) {
        CloseHandle(handle);
        return PLATFORM_TOO_MANY_OPEN_FILES;
    }
    row->os_file = (intptr_t)handle;
    row->mode = mode;
    *file = row->number;
    return PLATFORM_OK;
}

static u32 win32_close(FileHandle file)
{
    FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;

    HANDLE handle = handle_of(row);
    file_row_release(row);
    return outcome(CloseHandle(handle));
}

static u32 win32_create(const char *name)
{
    HANDLE handle = CreateFileA(name, GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return outcome(FALSE);
    return outcome(CloseHandle(handle));
}

// ---- Reading and writing --------------------------------------------------------------------------------------------

// The place of a read or write goes with the call, so that a position costs no call of its own. The handle is a
// synchronous one: the call still waits.
static OVERLAPPED at_position(const FileRow *row)
{
    OVERLAPPED place = {};
    place.Offset = (DWORD)(u64)row->position;
    place.OffsetHigh = (DWORD)((u64)row->position >> 32);
    return place;
}

static u32 win32_read(FileHandle file, void *to, u32 count, u32 *done)
{
    *done = 0;
    FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;

    DWORD got = 0;
    OVERLAPPED place = at_position(row);
    u32 error = outcome(ReadFile(handle_of(row), to, count, &got, &place));
    if (error == PLATFORM_HANDLE_EOF) return PLATFORM_OK;  // nothing behind the end, where a plain read has no error
    if (error) return error;

    row->position += got;
    *done = got;
    return PLATFORM_OK;
}

static u32 win32_write(FileHandle file, const void *from, u32 count, u32 *done)
{
    *done = 0;
    FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;

    DWORD put = 0;
    OVERLAPPED place = at_position(row);
    u32 error = outcome(WriteFile(handle_of(row), from, count, &put, &place));
    if (error) return error;

    row->position += put;
    *done = put;
    return PLATFORM_OK;
}

static u32 win32_seek(FileHandle file, i32 position)
{
    FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;

    row->position = position;
    return PLATFORM_OK;
}

static u32 win32_tell(FileHandle file, i32 *position)
{
    const FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;

    *position = (i32)(u32)(u64)row->position;
    return PLATFORM_OK;
}

static u32 win32_size(FileHandle file, i32 *size)
{
    const FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;

    // The low half of a longer size can look like the mark of a failure: the last error decides.
    DWORD high = 0;
    SetLastError(NO_ERROR);
    DWORD low = GetFileSize(handle_of(row), &high);
    if (low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) return outcome(FALSE);
    *size = (i32)low;
    return PLATFORM_OK;
}

static u32 win32_set_end(FileHandle file)
{
    const FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;
    if (row->mode == PLATFORM_READ_ONLY) return PLATFORM_ACCESS_DENIED;  // systems that stand in give another error

    LONG high = (LONG)(row->position >> 32);
    SetLastError(NO_ERROR);
    DWORD low = SetFilePointer(handle_of(row), (LONG)(u32)(u64)row->position, &high, FILE_BEGIN);
    if (low == INVALID_SET_FILE_POINTER && GetLastError() != NO_ERROR) return outcome(FALSE);
    return outcome(SetEndOfFile(handle_of(row)));
}

// ---- Removing and renaming ------------------------------------------------------------------------------------------

// No mode lets others delete, so both are refused while anybody has the file open.
static u32 win32_remove(const char *name) { return outcome(DeleteFileA(name)); }
static u32 win32_rename(const char *from, const char *to) { return outcome(MoveFileA(from, to)); }

// ---- Byte ranges ----------------------------------------------------------------------------------------------------

// The row keeps the ranges here as well: systems that stand in for this one differ in what they refuse to the handle
// that already holds a range.
static u32 win32_lock(FileHandle file, u32 offset, u32 length)
{
    FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;
    if (length == 0) return PLATFORM_OK;  // systems differ in what it would mean
    if (file_row_overlaps(row, offset, length)) return PLATFORM_LOCK_VIOLATION;
    if (!file_row_reserve(row)) return PLATFORM_NOT_ENOUGH_MEMORY;

    u32 error = outcome(LockFile(handle_of(row), offset, 0, length, 0));
    if (error) return error;

    file_row_hold(row, offset, length);
    return PLATFORM_OK;
}

static u32 win32_unlock(FileHandle file, u32 offset, u32 length)
{
    FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;
    if (length == 0) return PLATFORM_OK;
    if (!file_row_holds(row, offset, length)) return PLATFORM_NOT_LOCKED;

    u32 error = outcome(UnlockFile(handle_of(row), offset, 0, length, 0));
    if (error) return error;

    file_row_let_go(row, offset, length);
    return PLATFORM_OK;
}

// ---- The table ------------------------------------------------------------------------------------------------------

constinit const PlatformFiles native_files = {
    .open = win32_open,
    .close = win32_close,
    .read = win32_read,
    .write = win32_write,
    .seek = win32_seek,
    .tell = win32_tell,
    .size = win32_size,
    .set_end = win32_set_end,
    .create = win32_create,
    .remove = win32_remove,
    .rename = win32_rename,
    .lock = win32_lock,
    .unlock = win32_unlock,
};

} // namespace zuk
