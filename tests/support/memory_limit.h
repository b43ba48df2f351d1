// Memory that is short, or that is watched: for the length of an object, requests above a limit are refused.
#pragma once

#include "platform/platform.h"

namespace zuk {

// It stands in front of the table that was there. One at a time.
struct MemoryLimit {
    explicit MemoryLimit(size_t most);
    ~MemoryLimit();
    MemoryLimit(const MemoryLimit &) = delete;
    MemoryLimit &operator=(const MemoryLimit &) = delete;

    static size_t limit;
    static size_t largest;    // what was asked for at the most, refused or not; stays to be read
};

} // namespace zuk
