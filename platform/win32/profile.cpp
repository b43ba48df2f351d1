// Profile files by the service of Windows.

#include "platform/platform.h"

#include <windows.h>

namespace zuk {

static u32 win32_profile_read(const char *file, const char *section, const char *key, char *value, u32 size)
{
    if (size == 0) return 0;
    return GetPrivateProfileStringA(section, key, "", value, size, file);
}

static u32 win32_profile_read_number(const char *file, const char *section, const char *key)
{
    return GetPrivateProfileIntA(section, key, 0, file);
}

static u32 win32_profile_write(const char *file, const char *section, const char *key, const char *value)
{
    if (WritePrivateProfileStringA(section, key, value, file)) return PLATFORM_OK;
    u32 error = GetLastError();
    return error ? error : PLATFORM_GENERAL_FAILURE;
}

static void win32_profile_flush(const char *file)
{
    (void)WritePrivateProfileStringA(nullptr, nullptr, nullptr, file);  // answers 0 for a flush
}

constinit const PlatformProfiles native_profiles = {
    .read = win32_profile_read,
    .read_number = win32_profile_read_number,
    .write = win32_profile_write,
    .flush = win32_profile_flush,
};

} // namespace zuk
