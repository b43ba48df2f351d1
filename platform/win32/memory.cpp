// Memory from the heap of the process, which aligns for any type that the library stores.

#include "platform/platform.h"

#include <windows.h>

namespace zuk {

static void *win32_alloc(size_t size, bool zero)
{
    return HeapAlloc(GetProcessHeap(), zero ? HEAP_ZERO_MEMORY : 0, size);
}

static void *win32_resize(void *block, size_t size) { return HeapReAlloc(GetProcessHeap(), 0, block, size); }

static void win32_free(void *block)
{
    if (block) HeapFree(GetProcessHeap(), 0, block);
}

constinit const PlatformMemory native_memory = {
    .alloc = win32_alloc,
    .resize = win32_resize,
    .free = win32_free,
};

} // namespace zuk
