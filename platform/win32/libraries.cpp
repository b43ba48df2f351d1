// An optional library over the loader of Windows.

#include "platform/platform.h"

#include <string.h>
#include <windows.h>

namespace zuk {

// The folder of the module that this code is in, with its separator: the DLL, or the program that holds the static
// library. Empty if it cannot be told.
static void own_folder(char folder[MAX_PATH])
{
    folder[0] = 0;
    HMODULE module = nullptr;
    DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (!GetModuleHandleExA(flags, (LPCSTR)own_folder, &module)) return;

    DWORD length = GetModuleFileNameA(module, folder, MAX_PATH);
    if (length == MAX_PATH) length = 0;  // cut
    folder[length] = 0;
    char *last_separator = strrchr(folder, '\\');
    *(last_separator ? last_separator + 1 : folder) = 0;
}

// Beside the module, then as the loader finds it.
static HMODULE find_and_load(const char *name)
{
    char path[MAX_PATH];
    own_folder(path);
    size_t folder_length = strlen(path);
    if (folder_length > 0 && folder_length + strlen(name) < MAX_PATH) {
        memcpy(path + folder_length, name, strlen(name) + 1);
        HMODULE library = LoadLibraryA(path);
        if (library) return library;
    }
    return LoadLibraryA(name);
}

// A file that is no library must not put up a message either.
static void *win32_load(const char *name)
{
    UINT mode_before = SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    HMODULE library = find_and_load(name);
    SetErrorMode(mode_before);
    return library;
}

static PlatformEntry win32_entry(void *library, const char *name)
{
    return (PlatformEntry)(void (*)(void))GetProcAddress((HMODULE)library, name);
}

static void win32_free(void *library) { FreeLibrary((HMODULE)library); }

constinit const PlatformLibraries native_libraries = {
    .load = win32_load,
    .entry = win32_entry,
    .free = win32_free,
};

} // namespace zuk
