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
    PLATFORM_BUFFER_OVERFLOW = 111,    // a directory too long to hold a temporary file
    PLATFORM_DISK_FULL = 112,
    PLATFORM_NOT_LOCKED = 158,         // an unlock of a range that is not held in exactly this form
    PLATFORM_BAD_PATHNAME = 161,
    PLATFORM_LOCK_FAILED = 167,
    PLATFORM_ALREADY_EXISTS = 183,
    PLATFORM_NO_DIRECTORY = 267,       // a temporary file was to be made in something else
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
    u32 (*rename)(const char *from, const char *to);            // the same; and `to` must not exist, but as `from`
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
    i64 (*counter)(void);              // the finest one there is, from some moment on
    i64 (*counter_frequency)(void);    // its steps in a second; 0 or less if there is none
};

// ---- Directories and temporary files --------------------------------------------------------------------------------

constexpr u32 PLATFORM_PATH_SIZE = 260;  // a buffer for any path or name that a service gives

using PlatformSearch = intptr_t;         // 0: none
constexpr PlatformSearch PLATFORM_FAILED_SEARCH = -1;

// Each call gives 0 or a `PlatformError`, and takes native names as the files do. What it gives is as its system has
// it: on POSIX separated by slashes.
//
// The pattern of a search is a directory, a separator, and a name with `*` for any characters and `?` for one; a final
// `.*` may stand for nothing, so that `*.*` is every name. Letters count in either case. `.` and `..` come first.
struct PlatformDirectories {
    u32 (*make)(const char *name);
    u32 (*change)(const char *name);                             // relative names start there from now on
    u32 (*temporary)(char path[PLATFORM_PATH_SIZE]);             // where temporary files go, with a separator behind
    u32 (*make_temporary)(const char *directory, char path[PLATFORM_PATH_SIZE]);  // a new empty file, `TNT` + digits
    u32 (*find_first)(const char *pattern, PlatformSearch *search, char name[PLATFORM_PATH_SIZE]);
    u32 (*find_next)(PlatformSearch search, char name[PLATFORM_PATH_SIZE]);
    void (*find_close)(PlatformSearch search);                   // `PLATFORM_FAILED_SEARCH` is ignored
};

// ---- Optional library -----------------------------------------------------------------------------------------------

using PlatformEntry = uintptr_t (*)(uintptr_t argument);

// A library that may be there or not, by the name of its file on Windows, `NAME.DLL`; on POSIX that is `libname.so`.
struct PlatformLibraries {
    // It is looked for beside the module that this code is in, then wherever the system's loader looks; null if it is
    // nowhere, and nobody is told.
    void *(*load)(const char *name);
    PlatformEntry (*entry)(void *library, const char *name);     // null if it has none of that name
    void (*free)(void *library);
};

// ---- Diagnostics ----------------------------------------------------------------------------------------------------

struct PlatformDiagnostics {
    void (*debug_break)(void);         // stops in a debugger if there is one, and goes on
};

// ---- Profile files --------------------------------------------------------------------------------------------------

// Text files of sections and keys, as told in platform/profile_text.h. A file is named by its native name; one without
// any directory is in the Windows directory. Sections and keys count in either case of their letters.
struct PlatformProfiles {
    // The value of a key as NUL-terminated text in `size` bytes, cut if need be; the result is its length. Without a
    // file, section or key it is empty.
    u32 (*read)(const char *file, const char *section, const char *key, char *value, u32 size);
    u32 (*read_number)(const char *file, const char *section, const char *key);  // 0 if there is none
    // 0 or a `PlatformError`, and then the file is as it was. A missing file is made.
    u32 (*write)(const char *file, const char *section, const char *key, const char *value);
    void (*flush)(const char *file);   // forget what may be kept of the file in memory
};

// ---- Paths ----------------------------------------------------------------------------------------------------------

// Each gives the length of a NUL-terminated native path, or 0 and an empty one if it cannot be told or does not fit
// into `size` bytes.
struct PlatformPaths {
    u32 (*windows_directory)(char *path, u32 size);                  // where settings are that stand nowhere else
    u32 (*module)(void *module, char *path, u32 size);               // the file of a module; null: of the program
    u32 (*full)(const char *name, char *path, u32 size);             // a relative name from the current directory
};

// ---- Windows on a screen --------------------------------------------------------------------------------------------

using WindowRef = void *;              // a window of the system; null: none
using DrawingRef = void *;             // what is drawn on; null: none
using IconRef = void *;

// A repaint under way, from `paint_begin` to `paint_end`.
struct PlatformPaint {
    DrawingRef drawing;
    i32 left, top, right, bottom;      // what is to be painted
    uintptr_t kept[16];                // the backend's own
};

// Numbers of messages, icons, colours and brushes are those of Windows. A system without a screen fails at all of it,
// but for the values of windows; a program with windows of its own puts its table in front (`window_platform_set`).
struct PlatformDesktop {
    // A number that each window holds for its owner, 0 at first.
    u32 (*value)(WindowRef window);
    void (*set_value)(WindowRef window, u32 value);

    // The one caret.
    bool (*caret_create)(WindowRef window, i32 width, i32 height);
    void (*caret_move)(i32 x, i32 y);
    void (*caret_show)(WindowRef window);
    void (*caret_hide)(WindowRef window);

    void (*capture_set)(WindowRef window);  // all input of the mouse goes there
    void (*capture_release)(void);
    void (*beep)(void);
    bool (*post)(WindowRef window, u32 message, intptr_t data);  // `data` is the second word; the first one is 0
    bool (*timer_set)(WindowRef window, u32 number, u32 milliseconds);
    void (*timer_kill)(WindowRef window, u32 number);

    IconRef (*icon_load)(u16 number);  // one of the system's own
    bool (*icon_draw)(DrawingRef drawing, i32 x, i32 y, IconRef icon);
    void (*icon_free)(IconRef icon);

    u32 (*colour)(i32 number);         // of the system: blue, green and red from the third byte down
    void (*set_colour)(i32 number, u32 colour);
    DrawingRef (*drawing_take)(WindowRef window);
    void (*drawing_release)(WindowRef window, DrawingRef drawing);
    void (*pixel_set)(DrawingRef drawing, i32 x, i32 y, u32 colour);  // outside of the window it does nothing
    void (*paint_begin)(WindowRef window, PlatformPaint *paint);
    void (*paint_fill)(const PlatformPaint *paint, i32 brush);        // all that is to be painted
    void (*paint_end)(WindowRef window, PlatformPaint *paint);
    void (*invalidate)(WindowRef window);                             // all of it, to be erased and painted anew

    u32 (*run)(const char *command, u32 show);  // above 31: it runs
    void (*log_off)(void);                      // the user's session ends
    u32 (*random)(void);                        // 0 to 32767 at least
};

// ---- The tables in use ----------------------------------------------------------------------------------------------

extern const PlatformMemory native_memory;
extern const PlatformFiles native_files;
extern const PlatformClock native_clock;
extern const PlatformDirectories native_directories;
extern const PlatformLibraries native_libraries;
extern const PlatformDiagnostics native_diagnostics;
extern const PlatformProfiles native_profiles;
extern const PlatformPaths native_paths;
extern const PlatformDesktop native_desktop;

extern const PlatformMemory *platform_memory;  // the native tables, or those of a test
extern const PlatformFiles *platform_files;
extern const PlatformClock *platform_clock;
extern const PlatformDirectories *platform_directories;
extern const PlatformLibraries *platform_libraries;
extern const PlatformDiagnostics *platform_diagnostics;
extern const PlatformProfiles *platform_profiles;
extern const PlatformPaths *platform_paths;
extern const PlatformDesktop *platform_desktop;

} // namespace zuk
