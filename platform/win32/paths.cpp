#include "platform/platform.h"

#include <windows.h>

namespace zuk {

// These services give the length that they would need where the path does not fit, or cut it.
static u32 fitting(u32 length, char *path, u32 size)
{
    if (length && length < size) return length;
    if (size) path[0] = 0;
    return 0;
}

static u32 win32_windows_directory(char *path, u32 size)
{
    return fitting(GetWindowsDirectoryA(path, size), path, size);
}

static u32 win32_module(void *module, char *path, u32 size)
{
    return fitting(GetModuleFileNameA((HMODULE)module, path, size), path, size);
}

static u32 win32_full(const char *name, char *path, u32 size)
{
    return fitting(GetFullPathNameA(name, size, path, nullptr), path, size);
}

constinit const PlatformPaths native_paths = {
    .windows_directory = win32_windows_directory,
    .module = win32_module,
    .full = win32_full,
};

} // namespace zuk
