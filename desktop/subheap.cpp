#include "desktop/subheap.h"

#include "foundation/handles.h"

#include <stddef.h>
#include <string.h>

namespace zuk {

constexpr u32 PARAGRAPH = 16;
constexpr u32 PREFIX = sizeof(u16);

static SubHeap *current;

static u8 *space_of(SubHeap *heap) { return (u8 *)(heap + 1); }

static SubHeapBlock *end_of(void *block, u32 units)
{
    return (SubHeapBlock *)((u8 *)block + (size_t)units * PARAGRAPH);
}

// ---- The sub-heap ---------------------------------------------------------------------------------------------------

// KEPT: one would expect the space to be what the header leaves of the block. The whole size is counted, so that the
// last paragraph ends as many bytes behind the block as the header has. These belong to the spare bytes behind the data
// of every handle, and are lent out like all others.
// Test: subheap_create.counts_the_header_as_space, Test: subheap_alloc.lends_the_bytes_behind_the_end
static u32 units_of(SubHeap *heap) { return (u32)gsize(ghandle(heap)) / PARAGRAPH; }

SubHeap *subheap_create(i32 size)
{
    SubHeap *heap = (SubHeap *)glock(galloc(size, nullptr, 1));
    if (!heap) return nullptr;

    heap->free_units = units_of(heap);
    if (heap->free_units > 0) {  // a block without a whole paragraph has no room for the fields of a free one
        heap->head = (SubHeapBlock *)space_of(heap);
        *heap->head = { .next = nullptr, .size = heap->free_units };
    }
    // KEPT: one would expect the sub-heap that was current to be freed, or to come back at the end of this one. It
    // stays alive, and only who kept its address can dispose of it.
    // Test: subheap_create.leaves_the_one_before_alive
    current = heap;
    return heap;
}

SubHeap *subheap_current() { return current; }

void subheap_dispose(SubHeap *heap)
{
    gfree(ghandle(heap));
    // KEPT: one would expect the current sub-heap to stay when another one goes. There is none afterwards, whatever was
    // disposed of. Test: subheap_dispose.leaves_no_current_one_whichever_it_is
    current = nullptr;
}

// ---- Taking a block -------------------------------------------------------------------------------------------------

// The prefix lies where a free block has its fields, so it goes in and out by bytes.

static void put_prefix(void *block, u32 units)
{
    u16 prefix = (u16)units;
    memcpy(block, &prefix, sizeof prefix);
}

static u32 prefix_of(const void *block)
{
    u16 prefix;
    memcpy(&prefix, block, sizeof prefix);
    return prefix;
}

// The place that points to the first free block of at least `need`; null if there is none.
static SubHeapBlock **find_free(SubHeap *heap, u32 need)
{
    for (SubHeapBlock **link = &heap->head; *link; link = &(*link)->next) {
        if ((*link)->size >= need) return link;
    }
    return nullptr;
}

// Take the front of a free block out of the list; what is left of it stands in its place.
static void *take_front(SubHeapBlock **link, u32 need)
{
    SubHeapBlock *block = *link;
    if (block->size == need) {
        *link = block->next;
        return block;
    }
    SubHeapBlock *rest = end_of(block, need);
    *rest = { .next = block->next, .size = block->size - need };
    *link = rest;
    return block;
}

void *subheap_alloc(u16 size)
{
    if (size == 0 || !current) return nullptr;
    u32 need = ((u32)size + PREFIX + PARAGRAPH - 1) / PARAGRAPH;

    SubHeapBlock **link = find_free(current, need);
    if (!link) return nullptr;

    void *block = take_front(link, need);
    put_prefix(block, need);
    current->free_units -= need;
    return memset((u8 *)block + PREFIX, 0, size);
}

// ---- Giving it back -------------------------------------------------------------------------------------------------

// The size of the allocated block that `pointer` was given out for; 0 if it cannot be one of the current sub-heap.
static u32 allocated_units(const void *pointer)
{
    if (!pointer || !current) return 0;

    size_t space = (size_t)units_of(current) * PARAGRAPH;
    uintptr_t offset = (uintptr_t)pointer - PREFIX - (uintptr_t)space_of(current);
    if (offset >= space || offset % PARAGRAPH != 0) return 0;  // in front of the space it is a huge number

    u32 units = prefix_of((const u8 *)pointer - PREFIX);
    return (size_t)units * PARAGRAPH <= space - offset ? units : 0;
}

// Make one of two neighbours in the list if the second, which may be null, begins where the first ends.
static void join(SubHeapBlock *block, SubHeapBlock *next)
{
    if (!next || end_of(block, block->size) != next) return;
    block->next = next->next;
    block->size += next->size;
}

void subheap_free(void *pointer)
{
    // KEPT: one would expect to be told of a pointer that was never given out, or was given back already. Such a call
    // changes nothing, and nobody hears of it. Test: subheap_free.of_a_free_block_does_nothing,
    // Test: subheap_free.of_a_block_over_a_free_one_does_nothing
    u32 units = allocated_units(pointer);
    if (units == 0) return;
    SubHeapBlock *block = (SubHeapBlock *)((u8 *)pointer - PREFIX);
    SubHeapBlock *end = end_of(block, units);

    SubHeapBlock *before = nullptr;
    SubHeapBlock *behind = current->head;
    while (behind && behind <= block) {
        before = behind;
        behind = behind->next;
    }
    if (before && end_of(before, before->size) > block) return;
    if (behind && end > behind) return;

    *block = { .next = behind, .size = units };
    join(block, behind);
    if (before) {
        before->next = block;
        join(before, block);
    } else {
        current->head = block;
    }
    current->free_units += units;
}

} // namespace zuk
