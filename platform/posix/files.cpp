// Files over POSIX calls, with Linux's open-file-description locks.
//
// Such a lock belongs to one opening of a file: two handles of one process exclude each other, and a lock goes when its
// handle is closed. All locks are advisory; reads and writes do not ask for them.
//
// How others may open a file is told by four bytes far beyond the end of any file. A handle keeps a read lock on the
// bytes of what it does and of what it denies to others, and is refused when somebody else holds a byte that goes
// against it. Read locks do not exclude each other and need no right to write.
//
//   2^62      +1       +2             +3
//   |  reads  | writes | denies reads | denies writes |
//
// Marking and looking are two steps, the mark first: of two handles that do not go together, opened at the same
// moment, one or both are refused, and never none.

#include "platform/file_rows.h"
#include "platform/posix/names.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zuk {

static_assert(sizeof(off_t) == 8, "build with -D_FILE_OFFSET_BITS=64");

// ---- Locks of the system --------------------------------------------------------------------------------------------

// Set or give up (`F_UNLCK`) a lock without waiting. 0 or errno; EAGAIN when somebody else is in the way.
static int set_lock(int fd, short type, off_t start, off_t length)
{
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = start;
    range.l_len = length;

    int result;
    do result = fcntl(fd, F_OFD_SETLK, &range);
    while (result == -1 && errno == EINTR);
    if (result == 0) return 0;
    return errno == EACCES ? EAGAIN : errno;
}

// The same answers for the question whether somebody else holds any lock on the range.
static int look_for_lock(int fd, off_t start, off_t length)
{
    struct flock range = {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    range.l_start = start;
    range.l_len = length;
    if (fcntl(fd, F_OFD_GETLK, &range) == -1) return errno;
    return range.l_type == F_UNLCK ? 0 : EAGAIN;
}

// ---- Sharing --------------------------------------------------------------------------------------------------------

constexpr off_t SHARING_BYTES = (off_t)1 << 62;
enum SharingByte { READS, WRITES, DENIES_READS, DENIES_WRITES, ALL_SHARING_BYTES };

struct SharingRun {
    i32 first;
    i32 count;  // 0: no run
};

struct Sharing {
    u16 mode;
    int access;
    SharingRun marks[2];   // the bytes that the handle keeps
    SharingRun conflicts;  // the bytes that nobody else may keep
};

static const Sharing sharing_modes[] = {
    { PLATFORM_RW_SHARED, O_RDWR, {{ READS, 2 }, { 0, 0 }}, { DENIES_READS, 2 } },
    { PLATFORM_READ_ONLY, O_RDONLY, {{ READS, 1 }, { DENIES_WRITES, 1 }}, { WRITES, 2 } },
    { PLATFORM_RW_EXCLUSIVE, O_RDWR, {{ READS, ALL_SHARING_BYTES }, { 0, 0 }}, { READS, ALL_SHARING_BYTES } },
};

static const Sharing *sharing_of(u16 mode)
{
    for (const Sharing &sharing : sharing_modes) {
        if (sharing.mode == mode) return &sharing;
    }
    return nullptr;
}

// The locks go with `fd`, so a refusal needs no undoing but its close.
static u32 take_share(int fd, const Sharing *sharing)
{
    for (const SharingRun &run : sharing->marks) {
        if (run.count == 0) continue;
        int error = set_lock(fd, F_RDLCK, SHARING_BYTES + run.first, run.count);
        if (error) return error_of(error);
    }
    return error_of(look_for_lock(fd, SHARING_BYTES + sharing->conflicts.first, sharing->conflicts.count));
}

// Refuse to take away the name of a file that somebody has open, this process included.
static u32 refuse_if_open(const char *path)
{
    int flags = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    int fd = open(path, O_RDONLY | flags);
    if (fd == -1 && errno == EACCES) fd = open(path, O_WRONLY | flags);  // any access will do for a look
    if (fd == -1) return name_error_of(errno, path);

    u32 error = error_of(look_for_lock(fd, SHARING_BYTES, ALL_SHARING_BYTES));
    close(fd);
    return error;
}

// ---- Opening and closing --------------------------------------------------------------------------------------------

static u32 refuse_directory(int fd)
{
    struct stat found;
    if (fstat(fd, &found) == -1) return error_of(errno);
    return S_ISDIR(found.st_mode) ? PLATFORM_ACCESS_DENIED : PLATFORM_OK;
}

static u32 posix_open(const char *name, u16 mode, FileHandle *file)
{
    const Sharing *sharing = sharing_of(mode);
    if (!sharing) return PLATFORM_ACCESS_DENIED;

    char path[PATH_SIZE];
    u32 error = path_of(name, path);
    if (error) return error;

    // Without O_NONBLOCK a pipe would keep the caller waiting for its other end. It makes no difference to a file.
    int fd = open(path, sharing->access | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd == -1) return name_error_of(errno, path);

    FileRow *row = nullptr;
    error = refuse_directory(fd);
    if (!error) error = take_share(fd, sharing);
    if (!error) {
        row = file_row_claim();
        if (!row) error = PLATFORM_TOO_MANY_OPEN_FILES;
    }
    if (error) {
        close(fd);
        return error;
    }

    row->os_file = fd;
    row->mode = mode;
    *file = row->number;
    return PLATFORM_OK;
}

static u32 posix_close(FileHandle file)
{
    FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;

    // Whatever `close` answers, the descriptor is gone, and with it its locks.
    int fd = (int)row->os_file;
    file_row_release(row);
    if (close(fd) == 0 || errno == EINTR) return PLATFORM_OK;
    return error_of(errno);
}

static u32 posix_create(const char *name)
{
    char path[PATH_SIZE];
    u32 error = path_of(name, path);
    if (error) return error;

    int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd == -1) return name_error_of(errno, path);
    return close(fd) == 0 || errno == EINTR ? PLATFORM_OK : error_of(errno);
}

// ---- Reading and writing --------------------------------------------------------------------------------------------

// The system moves a little under 2 GiB in one call; any more goes in pieces, so that only the end of the file makes a
// read short.
constexpr u32 LARGEST_PIECE = 1u << 30;

static u32 posix_read(FileHandle file, void *to, u32 count, u32 *done)
{
    *done = 0;
    FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;

    u32 read = 0;
    while (read < count) {
        u32 piece = count - read < LARGEST_PIECE ? count - read : LARGEST_PIECE;
        ssize_t got = pread((int)row->os_file, (u8 *)to + read, piece, row->position + read);
        if (got == -1 && errno == EINTR) continue;
        if (got == -1) return error_of(errno);
        read += (u32)got;
        if ((u32)got < piece) break;
    }

    row->position += read;
    *done = read;
    return PLATFORM_OK;
}

static u32 posix_write(FileHandle file, const void *from, u32 count, u32 *done)
{
    *done = 0;
    FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;

    // A failure behind the first bytes is a failure of the whole: the position stays, and no bytes are counted.
    u32 written = 0;
    while (written < count) {
        u32 piece = count - written < LARGEST_PIECE ? count - written : LARGEST_PIECE;
        ssize_t put = pwrite((int)row->os_file, (const u8 *)from + written, piece, row->position + written);
        if (put == -1 && errno == EINTR) continue;
        if (put == -1) return error_of(errno);
        if (put == 0) break;
        written += (u32)put;
    }

    row->position += written;
    *done = written;
    return PLATFORM_OK;
}

static u32 posix_seek(FileHandle file, i32 position)
{
    FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;

    row->position = position;
    return PLATFORM_OK;
}

static u32 posix_tell(FileHandle file, i32 *position)
{
    const FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;

    *position = (i32)(u32)(u64)row->position;
    return PLATFORM_OK;
}

static u32 posix_size(FileHandle file, i32 *size)
{
    const FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;

    struct stat found;
    if (fstat((int)row->os_file, &found) == -1) return error_of(errno);
    *size = (i32)(u32)(u64)found.st_size;
    return PLATFORM_OK;
}

static u32 posix_set_end(FileHandle file)
{
    const FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;
    // The system calls this an invalid argument, which would hide the reason.
    if (row->mode == PLATFORM_READ_ONLY) return PLATFORM_ACCESS_DENIED;

    int result;
    do result = ftruncate((int)row->os_file, row->position);
    while (result == -1 && errno == EINTR);
    return result == 0 ? PLATFORM_OK : error_of(errno);
}

// ---- Removing and renaming ------------------------------------------------------------------------------------------

static u32 posix_remove(const char *name)
{
    char path[PATH_SIZE];
    u32 error = path_of(name, path);
    if (error) return error;

    error = refuse_if_open(path);
    if (error) return error;
    return unlink(path) == 0 ? PLATFORM_OK : name_error_of(errno, path);
}

// Rename, never onto an existing name. 0 or errno.
static int rename_to_free_name(const char *from, const char *to)
{
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;

    // Not every file system knows that call. A second name can be made everywhere but for directories and on file
    // systems without links, and is refused for an existing name, too.
    if (link(from, to) == 0) {
        if (unlink(from) == 0) return 0;
        int error = errno;
        unlink(to);
        return error;
    }
    if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS) return errno;

    // Here the look and the rename are two steps, and a name made in between would be lost.
    struct stat found;
    if (lstat(to, &found) == 0) return EEXIST;
    return rename(from, to) == 0 ? 0 : errno;
}

// Whether two names are those of one file: the same name, or two ways of writing it, or two links.
static bool names_one_file(const char *first, const char *second)
{
    struct stat one, other;
    if (lstat(first, &one) == -1 || lstat(second, &other) == -1) return false;
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

static u32 posix_rename(const char *from, const char *to)
{
    char from_path[PATH_SIZE];
    char to_path[PATH_SIZE];
    u32 error = path_of(from, from_path);
    if (!error) error = path_of(to, to_path);
    if (error) return error;

    error = refuse_if_open(from_path);
    if (error) return error;

    int result = rename_to_free_name(from_path, to_path);
    // A file that is in its own way keeps its name, and that is no failure on any system.
    if (result == EEXIST) return names_one_file(from_path, to_path) ? PLATFORM_OK : PLATFORM_ALREADY_EXISTS;
    return name_error_of(result, to_path);  // `from` was there a moment ago
}

// ---- Byte ranges ----------------------------------------------------------------------------------------------------

// The system joins neighbouring ranges of one handle, splits them again, and gives up what was never held; the row
// keeps them apart.
static u32 posix_lock(FileHandle file, u32 offset, u32 length)
{
    FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;
    if (length == 0) return PLATFORM_OK;  // to the system it would mean all the rest
    if (file_row_overlaps(row, offset, length)) return PLATFORM_LOCK_VIOLATION;
    if (!file_row_reserve(row)) return PLATFORM_NOT_ENOUGH_MEMORY;

    // A lock that excludes readers too needs the right to write.
    short type = row->mode == PLATFORM_READ_ONLY ? F_RDLCK : F_WRLCK;
    int error = set_lock((int)row->os_file, type, offset, length);
    if (error == EAGAIN) return PLATFORM_LOCK_VIOLATION;
    if (error) return error_of(error);

    file_row_hold(row, offset, length);
    return PLATFORM_OK;
}

static u32 posix_unlock(FileHandle file, u32 offset, u32 length)
{
    FileRow *row = file_row(file);
    if (!row) return PLATFORM_INVALID_HANDLE;
    if (length == 0) return PLATFORM_OK;
    if (!file_row_holds(row, offset, length)) return PLATFORM_NOT_LOCKED;

    int error = set_lock((int)row->os_file, F_UNLCK, offset, length);
    if (error) return error_of(error);

    file_row_let_go(row, offset, length);
    return PLATFORM_OK;
}

// ---- The table ------------------------------------------------------------------------------------------------------

constinit const PlatformFiles native_files = {
    .open = posix_open,
    .close = posix_close,
    .read = posix_read,
    .write = posix_write,
    .seek = posix_seek,
    .tell = posix_tell,
    .size = posix_size,
    .set_end = posix_set_end,
    .create = posix_create,
    .remove = posix_remove,
    .rename = posix_rename,
    .lock = posix_lock,
    .unlock = posix_unlock,
};

} // namespace zuk
