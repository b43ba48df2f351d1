// Everything the library asks of an operating system, as tables of function pointers.
//
// platform/posix/ and platform/win32/ fill one table of each family; nothing above this folder includes a header of
// the system or names one of its calls. Tests put a table of their own in front (tests/support/faults.h): one that
// counts, fails the n-th call, cuts a read or write short, or moves the clock by itself.
//
// A row without work points to a function that does nothing; none is null.
#pragma once

#include "zuk/types.h"

#include <stddef.h>

namespace zuk {

// ---- Errors ---------------------------------------------------------------------------------------------------------

// The numbers in which both backends report a failure. They are those of the Windows services; the POSIX backend
// translates `errno`, so that the file layer has one table for all targets (`file_map_code`).
enum PlatformError : u32 {
    PLATFORM_OK = 0,
    PLATFORM_FILE_NOT_FOUND = 2,
    PLATFORM_PATH_NOT_FOUND = 3,
    PLATFORM_TOO_MANY_OPEN_FILES = 4,
    PLATFORM_ACCESS_DENIED = 5,
    PLATFORM_INVALID_HANDLE = 6,
    PLATFORM_NOT_ENOUGH_MEMORY = 8,
    PLATFORM_NO_MORE_FILES = 18,
    PLATFORM_GENERAL_FAILURE = 31,
    PLATFORM_SHARING_VIOLATION = 32,
    PLATFORM_LOCK_VIOLATION = 33,      // a range that is held, by another handle or by this one
    PLATFORM_HANDLE_EOF = 38,
    PLATFORM_HANDLE_DISK_FULL = 39,
    PLATFORM_FILE_EXISTS = 80,
    PLATFORM_CANNOT_MAKE = 82,
    PLATFORM_OPEN_FAILED = 110,
    PLATFORM_DISK_FULL = 112,
    PLATFORM_NOT_LOCKED = 158,         // an unlock of a range that is not held in exactly this form
    PLATFORM_BAD_PATHNAME = 161,
    PLATFORM_LOCK_FAILED = 167,
    PLATFORM_ALREADY_EXISTS = 183,
};

// ---- Memory ---------------------------------------------------------------------------------------------------------

// Blocks aligned for any type.
struct PlatformMemory {
    void *(*alloc)(size_t size, bool zero);        // null when there is no room; `size` is never 0
    void *(*resize)(void *block, size_t size);     // keeps the content; null leaves the old block as it was
    void (*free)(void *block);                     // null is ignored
};

// ---- Files and byte-range locks -------------------------------------------------------------------------------------

// How a file is opened; the values are those of `file_open`.
enum PlatformOpenMode : u16 {
    PLATFORM_RW_SHARED = 0,            // read and write; others may do the same
    PLATFORM_READ_ONLY = 16384,        // read; others may not write
    PLATFORM_RW_EXCLUSIVE = 32768,     // read and write; nobody else
};

// Each call gives 0 (`PLATFORM_OK`) or a `PlatformError`. Names are NUL-terminated and native: separated by
// backslashes, as `filename_2_native` gives them; a POSIX backend turns each backslash into a slash and nothing else.
// A `FileHandle` is a number of the backend's own, counted up and not given again while another number is free.
struct PlatformFiles {
    u32 (*open)(const char *name, u16 mode, FileHandle *file);  // never creates; honours the sharing of the three modes
    u32 (*close)(FileHandle file);                              // gives up every range that the handle holds
    u32 (*read)(FileHandle file, void *to, u32 count, u32 *done);         // at the position, which moves by `done`
    u32 (*write)(FileHandle file, const void *from, u32 count, u32 *done);
    u32 (*seek)(FileHandle file, i32 position);                 // from the start of the file; never negative
    u32 (*tell)(FileHandle file, i32 *position);
    u32 (*size)(FileHandle file, i32 *size);                    // the low 32 bits of a longer file
    u32 (*set_end)(FileHandle file);                            // the file ends at the position
    u32 (*create)(const char *name);                            // a new empty file, closed again; never an existing one
    u32 (*remove)(const char *name);                            // refused while anybody has the file open
    u32 (*rename)(const char *from, const char *to);            // the same; and `to` must not exist
    u32 (*lock)(FileHandle file, u32 offset, u32 length);       // never waits; refuses what this handle already holds
    u32 (*unlock)(FileHandle file, u32 offset, u32 length);     // only a range that was locked in exactly this form
};

// ---- Clock ----------------------------------------------------------------------------------------------------------

// Date and time of day by the clock on the wall.
struct PlatformLocalTime {
    u16 year;                          // in all its digits
    u16 month;                         // from 1
    u16 day;                           // from 1
    u16 weekday;                       // Sunday is 0
    u16 hour;
    u16 minute;
    u16 second;
};

struct PlatformClock {
    u32 (*tick_count)(void);           // milliseconds since some moment, wrapping at 32 bits
    u32 (*double_click_time)(void);    // milliseconds
    void (*sleep)(u32 milliseconds);
    void (*local_time)(PlatformLocalTime *now);
};

// ---- The tables in use ----------------------------------------------------------------------------------------------

extern const PlatformMemory native_memory;
extern const PlatformFiles native_files;
extern const PlatformClock native_clock;

extern const PlatformMemory *platform_memory;  // the native tables, or those of a test
extern const PlatformFiles *platform_files;
extern const PlatformClock *platform_clock;

} // namespace zuk
