// A sub-heap: many small blocks inside one handle, at two bytes each.
//
//   0            2 words
//   | head units |  managed space, in paragraphs of 16 bytes                    |
//
//   a free block:        | next | size |  unused ...           in address order, never one right behind another
//   an allocated block:  | u16 size |  the caller's bytes ...
//
// Sizes inside are in paragraphs. One sub-heap is current, the last one made; blocks are taken from it and given back
// to it alone. What is behind an allocated block's end is not guarded: a caller who writes there writes into the
// neighbour. One thread at a time. Services for callers.
#pragma once

#include "zuk/types.h"

namespace zuk {

struct SubHeapBlock {
    SubHeapBlock *next;       // at a higher address; null in the last one
    u32 size;
};

// The start of the handle's data. It is 8 bytes long where a pointer has 4, and 16 where it has 8.
struct SubHeap {
    SubHeapBlock *head;       // null if nothing is free
    u32 free_units;           // the sizes of all free blocks together
};
static_assert(sizeof(SubHeap) == 2 * sizeof(void *) && sizeof(SubHeapBlock) <= 16);

// A cleared sub-heap in a block of `size` bytes, which becomes the current one; the one before is neither freed nor
// reachable by these operations again, but by `subheap_dispose`. Below 16 bytes there is nothing to take from it. Null
// for a negative size or when memory is short, and then the current one stays.
SubHeap *subheap_create(i32 size);

SubHeap *subheap_current();             // null if there is none

// Free a sub-heap with all its blocks; null frees none. Whichever it is, there is no current one afterwards.
void subheap_dispose(SubHeap *heap);

// `size` cleared bytes, at an address that is even, no more; null for a size of 0, or without a free block that is
// large enough.
void *subheap_alloc(u16 size);

// Give a block back. Null, and whatever cannot be an allocated block of the current sub-heap, does nothing.
void subheap_free(void *pointer);

} // namespace zuk
