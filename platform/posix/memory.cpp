// Memory from the C library, which aligns for any type.

#include "platform/platform.h"

#include <stdlib.h>

namespace zuk {

static void *posix_alloc(size_t size, bool zero) { return zero ? calloc(1, size) : malloc(size); }
static void *posix_resize(void *block, size_t size) { return realloc(block, size); }
static void posix_free(void *block) { free(block); }

constinit const PlatformMemory native_memory = {
    .alloc = posix_alloc,
    .resize = posix_resize,
    .free = posix_free,
};

} // namespace zuk
