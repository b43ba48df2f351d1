// Where things are. A system of this family has no directory of its own for the settings of programs: that of the user
// stands in for it, or one that a variable names.

#include "platform/platform.h"

#include <dlfcn.h>
#include <link.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace zuk {

// `first` and `second` one behind the other; 0 and nothing if they do not fit.
static u32 give(char *path, u32 size, const char *first, const char *second)
{
    int length = size ? snprintf(path, size, "%s%s", first, second) : 0;
    if (length > 0 && (u32)length < size) return (u32)length;
    if (size) path[0] = 0;
    return 0;
}

// A path without a slash at its end, but for that of the root.
static u32 without_final_slashes(char *path, u32 length)
{
    while (length > 1 && path[length - 1] == '/') length--;
    path[length] = 0;
    return length;
}

// The first of these that is there counts, whether it fits or not.
static u32 posix_windows_directory(char *path, u32 size)
{
    const char *chosen = secure_getenv("ZUK_CONFIG_DIR");
    const char *config = secure_getenv("XDG_CONFIG_HOME");
    const char *home = secure_getenv("HOME");
    u32 length;
    if (chosen && chosen[0]) length = give(path, size, chosen, "");
    else if (config && config[0] == '/') length = give(path, size, config, "/zuk");
    else if (home && home[0] == '/') length = give(path, size, home, "/.config/zuk");
    else length = give(path, size, "/etc/zuk", "");
    return length ? without_final_slashes(path, length) : 0;
}

static u32 posix_full(const char *name, char *path, u32 size)
{
    if (name[0] == '/' || name[0] == '\\') return give(path, size, name, "");
    if (!size || !getcwd(path, size)) return give(path, size, "", "");

    size_t length = strlen(path);
    bool root = length == 1;
    u32 added = give(path + length, size - (u32)length, root ? "" : "/", name);
    if (added) return (u32)length + added;
    path[0] = 0;
    return 0;
}

static u32 program_path(char *path, u32 size)
{
    ssize_t length = size ? readlink("/proc/self/exe", path, size) : 0;
    if (length > 0 && (u32)length < size) {
        path[length] = 0;
        return (u32)length;
    }
    return give(path, size, "", "");
}

// There are no handles of modules here: it is always the module that this code is in.
static u32 posix_module(void *, char *path, u32 size)
{
    Dl_info found;
    link_map *module = nullptr;
    if (!dladdr1((void *)posix_module, &found, (void **)&module, RTLD_DL_LINKMAP)) return program_path(path, size);

    // The loader knows the program itself by no name.
    return module->l_name[0] ? posix_full(module->l_name, path, size) : program_path(path, size);
}

constinit const PlatformPaths native_paths = {
    .windows_directory = posix_windows_directory,
    .module = posix_module,
    .full = posix_full,
};

} // namespace zuk
