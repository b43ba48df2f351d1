// An optional library over the dynamic loader.

#include "platform/platform.h"

#include <dlfcn.h>
#include <link.h>
#include <string.h>
#include <unistd.h>

namespace zuk {

constexpr size_t PATH_SIZE = 4096;

// The folder of the module that this code is in, with its separator: the shared library, or the program that holds the
// static one. Empty if it cannot be told.
static void own_folder(char folder[PATH_SIZE])
{
    folder[0] = 0;
    Dl_info found;
    link_map *module = nullptr;
    if (!dladdr1((void *)own_folder, &found, (void **)&module, RTLD_DL_LINKMAP)) return;

    // The loader knows the program itself by no name.
    if (module->l_name[0]) {
        size_t length = strlen(module->l_name);
        if (length >= PATH_SIZE) return;
        memcpy(folder, module->l_name, length + 1);
    } else {
        ssize_t length = readlink("/proc/self/exe", folder, PATH_SIZE - 1);
        folder[length > 0 ? length : 0] = 0;
    }
    char *last_slash = strrchr(folder, '/');
    *(last_slash ? last_slash + 1 : folder) = 0;
}

// `NAME.DLL` as `libname.so`, behind what stands in `to`. False if there is no room.
static bool append_file_name(char to[PATH_SIZE], const char *name)
{
    size_t start = strlen(to);
    size_t length = strlen(name);
    const char *extension = strrchr(name, '.');
    if (extension) length = (size_t)(extension - name);
    if (start + length + sizeof "lib.so" > PATH_SIZE) return false;

    char *at = to + start;
    memcpy(at, "lib", 3);
    for (size_t i = 0; i < length; i++) {
        char character = name[i];
        at[3 + i] = character >= 'A' && character <= 'Z' ? (char)(character - 'A' + 'a') : character;
    }
    memcpy(at + 3 + length, ".so", sizeof ".so");
    return true;
}

static void *posix_load(const char *name)
{
    char path[PATH_SIZE];
    own_folder(path);
    if (path[0] && append_file_name(path, name)) {
        void *library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (library) return library;
    }

    path[0] = 0;
    return append_file_name(path, name) ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr;
}

static PlatformEntry posix_entry(void *library, const char *name) { return (PlatformEntry)dlsym(library, name); }
static void posix_free(void *library) { dlclose(library); }

constinit const PlatformLibraries native_libraries = {
    .load = posix_load,
    .entry = posix_entry,
    .free = posix_free,
};

} // namespace zuk
