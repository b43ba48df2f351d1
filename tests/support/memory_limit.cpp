#include "tests/support/memory_limit.h"

namespace zuk {

size_t MemoryLimit::limit = 0;
size_t MemoryLimit::largest = 0;

static const PlatformMemory *behind = nullptr;

static bool is_refused(size_t size)
{
    if (size > MemoryLimit::largest) MemoryLimit::largest = size;
    return size > MemoryLimit::limit;
}

static const PlatformMemory limited = {
    .alloc = [](size_t size, bool zero) { return is_refused(size) ? nullptr : behind->alloc(size, zero); },
    .resize = [](void *block, size_t size) { return is_refused(size) ? nullptr : behind->resize(block, size); },
    .free = [](void *block) { behind->free(block); },
};

MemoryLimit::MemoryLimit(size_t most)
{
    limit = most;
    largest = 0;
    behind = platform_memory;
    platform_memory = &limited;
}

MemoryLimit::~MemoryLimit() { platform_memory = behind; }

} // namespace zuk
