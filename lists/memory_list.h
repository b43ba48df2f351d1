// The memory kind of a list: all elements in one block, one behind the other.
//
// The block grows by whole units and never shrinks. Reached through lists/glist_kinds.h alone, by the row
// `memory_list`; the record is here for whoever has to look inside, which are tests.
#pragma once

#include "lists/glist_kinds.h"

namespace zuk {

struct GlistMemoryState {
    i32 count;
    i32 element_size;
    i32 chunk;             // growth unit in bytes
    i32 capacity;          // bytes allocated
    GHandle data;          // element p, from 1, is at byte (p - 1) * element_size
};
static_assert(sizeof(GlistMemoryState) == 20);

} // namespace zuk
