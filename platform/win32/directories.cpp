// Directories, temporary files and searches over the calls of Windows.

#include "platform/platform.h"

#include <string.h>
#include <windows.h>

namespace zuk {

static_assert(PLATFORM_PATH_SIZE == MAX_PATH);

// The outcome of a call that answers with a BOOL; to be asked at once.
static u32 outcome(BOOL good)
{
    if (good) return PLATFORM_OK;
    u32 error = GetLastError();
    return error ? error : PLATFORM_GENERAL_FAILURE;
}

static u32 win32_make(const char *name) { return outcome(CreateDirectoryA(name, nullptr)); }
static u32 win32_change(const char *name) { return outcome(SetCurrentDirectoryA(name)); }

static u32 win32_temporary(char path[PLATFORM_PATH_SIZE])
{
    // A length of the size or more is what it would need.
    DWORD length = GetTempPathA(PLATFORM_PATH_SIZE, path);
    if (length == 0) return outcome(FALSE);
    return length < PLATFORM_PATH_SIZE ? PLATFORM_OK : PLATFORM_BUFFER_OVERFLOW;
}

static u32 win32_make_temporary(const char *directory, char path[PLATFORM_PATH_SIZE])
{
    // The service refuses a longer directory. Under Wine it does not, and leaves a path without a terminator.
    if (strlen(directory) > MAX_PATH - 14) return PLATFORM_BUFFER_OVERFLOW;
    return outcome(GetTempFileNameA(directory, "TNT", 0, path) != 0);
}

// ---- Searches -------------------------------------------------------------------------------------------------------

static_assert((PlatformSearch)-1 == PLATFORM_FAILED_SEARCH);  // INVALID_HANDLE_VALUE

static void give_name(const WIN32_FIND_DATAA *found, char name[PLATFORM_PATH_SIZE])
{
    static_assert(sizeof found->cFileName == PLATFORM_PATH_SIZE);
    memcpy(name, found->cFileName, PLATFORM_PATH_SIZE);
}

static u32 win32_find_first(const char *pattern, PlatformSearch *search, char name[PLATFORM_PATH_SIZE])
{
    WIN32_FIND_DATAA found;
    HANDLE handle = FindFirstFileA(pattern, &found);
    *search = (PlatformSearch)handle;
    if (handle == INVALID_HANDLE_VALUE) return outcome(FALSE);
    give_name(&found, name);
    return PLATFORM_OK;
}

static u32 win32_find_next(PlatformSearch search, char name[PLATFORM_PATH_SIZE])
{
    WIN32_FIND_DATAA found;
    u32 error = outcome(FindNextFileA((HANDLE)search, &found));
    if (error) return error;
    give_name(&found, name);
    return PLATFORM_OK;
}

static void win32_find_close(PlatformSearch search)
{
    if (search != 0 && search != PLATFORM_FAILED_SEARCH) FindClose((HANDLE)search);
}

constinit const PlatformDirectories native_directories = {
    .make = win32_make,
    .change = win32_change,
    .temporary = win32_temporary,
    .make_temporary = win32_make_temporary,
    .find_first = win32_find_first,
    .find_next = win32_find_next,
    .find_close = win32_find_close,
};

} // namespace zuk
