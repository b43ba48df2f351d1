#include "platform/posix/names.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>

namespace zuk {

// ---- Errors ---------------------------------------------------------------------------------------------------------

u32 error_of(int error)
{
    switch (error) {
    case 0: return PLATFORM_OK;
    case EMFILE:
    case ENFILE: return PLATFORM_TOO_MANY_OPEN_FILES;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case EBUSY:
    case ETXTBSY:
    case EBADF: return PLATFORM_ACCESS_DENIED;  // EBADF: a write through a handle for reading
    case EAGAIN: return PLATFORM_SHARING_VIOLATION;  // another program has a lease on the file
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return PLATFORM_DISK_FULL;
    case EEXIST: return PLATFORM_FILE_EXISTS;
    case ENOENT: return PLATFORM_FILE_NOT_FOUND;
    case ENOTDIR: return PLATFORM_PATH_NOT_FOUND;
    case ELOOP:
    case ENAMETOOLONG: return PLATFORM_BAD_PATHNAME;
    case ENOMEM: return PLATFORM_NOT_ENOUGH_MEMORY;
    default: return PLATFORM_GENERAL_FAILURE;
    }
}

// ---- Names ----------------------------------------------------------------------------------------------------------

u32 path_of(const char *name, char path[PATH_SIZE])
{
    size_t length = strnlen(name, PATH_SIZE);
    if (length == 0) return PLATFORM_PATH_NOT_FOUND;
    if (length == PATH_SIZE) return PLATFORM_BAD_PATHNAME;

    for (size_t i = 0; i <= length; i++) path[i] = name[i] == '\\' ? '/' : name[i];
    return PLATFORM_OK;
}

u32 name_error_of(int error, const char path[PATH_SIZE])
{
    if (error != ENOENT) return error_of(error);

    const char *last_slash = strrchr(path, '/');
    if (!last_slash || last_slash == path) return PLATFORM_FILE_NOT_FOUND;

    char directory[PATH_SIZE];
    size_t length = (size_t)(last_slash - path);
    memcpy(directory, path, length);
    directory[length] = 0;
    struct stat found;
    return stat(directory, &found) == 0 ? PLATFORM_FILE_NOT_FOUND : PLATFORM_PATH_NOT_FOUND;
}

} // namespace zuk
