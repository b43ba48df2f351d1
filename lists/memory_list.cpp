#include "lists/memory_list.h"

#include <string.h>

namespace zuk {

// ---- Places ---------------------------------------------------------------------------------------------------------

// Bytes of the first `elements` elements; within the block it is also the place of the one behind them.
static i64 bytes_of(const GlistMemoryState *state, i64 elements) { return elements * state->element_size; }

static bool within(const GlistMemoryState *state, i32 position, i32 n)
{
    return position >= 1 && (i64)position + n - 1 <= state->count;
}

// ---- Start and end --------------------------------------------------------------------------------------------------

static i32 memory_state_size(GHandle, i32 *size)
{
    *size = (i32)sizeof(GlistMemoryState);
    return GLIST_OK;
}

static i32 memory_init(GHandle attributes, void *at, i32 element_size)
{
    GlistMemoryState *state = (GlistMemoryState *)at;
    if (element_size < 0) return GLIST_ERR_BAD_ARGUMENT;

    // KEPT: one would expect a unit of 0, a negative one and a huge one to be refused with the status of bad page
    // sizes. The only bound is the element: a unit below it is refused, and there is none above.
    // Test: glist_create.has_no_upper_bound_for_the_growth_unit
    if (!glist_attr_get(attributes, GLIST_ATTR_UNIT, &state->chunk)) return GLIST_ERR_ATTRIBUTE;
    state->element_size = element_size;
    state->capacity = 0;
    state->count = 0;
    if (element_size > state->chunk) return GLIST_ERR_ELEMENT_TOO_BIG_CHUNK;

    state->data = galloc(state->chunk, nullptr, 1);
    if (!state->data) return GLIST_ERR_MEMORY;
    state->capacity = state->chunk;
    return GLIST_OK;
}

static i32 memory_dispose(void *at)
{
    gfree(((GlistMemoryState *)at)->data);
    return GLIST_OK;
}

static i32 memory_compact(void *)
{
    return GLIST_OK;
}

static i32 memory_info(void *at, GlistInfo *info)
{
    GlistMemoryState *state = (GlistMemoryState *)at;
    *info = { .element_size = state->element_size, .count = state->count };
    return GLIST_OK;
}

// ---- Elements -------------------------------------------------------------------------------------------------------

// Make room for `need` bytes behind the elements that there are.
static i32 make_room(GlistMemoryState *state, i64 need)
{
    i64 missing = need - (state->capacity - bytes_of(state, state->count));
    if (missing <= 0) return GLIST_OK;
    if (state->chunk < 1) return GLIST_ERR_MEMORY;

    // KEPT: one would expect the block to be as large as its elements, or to double. It grows by as many whole units as
    // it takes, and keeps them when elements go. Test: glist_append.grows_by_whole_units,
    // Test: glist_delete.keeps_the_capacity
    i64 units = (missing + state->chunk - 1) / state->chunk;
    i64 capacity = state->capacity + units * state->chunk;
    if (capacity > INT32_MAX) return GLIST_ERR_MEMORY;

    GHandle data = state->data;  // a copy: a resize that fails takes the variable away, and the old block still stands
    if (!grealloc(&data, (i32)capacity)) return GLIST_ERR_MEMORY;
    state->capacity = (i32)capacity;
    return GLIST_OK;
}

static i32 check_place(const GlistMemoryState *state, i32 mode, i32 position, i32 n)
{
    bool good;
    switch (mode) {
    case GLIST_WRITE_BEHIND: good = position >= 0 && position <= state->count; break;
    case GLIST_WRITE_BEFORE: good = position >= 1 && position <= (i64)state->count + 1; break;
    case GLIST_WRITE_OVER: good = position <= state->count && within(state, position, n); break;
    default: return GLIST_ERR_BAD_ARGUMENT;
    }
    return good ? GLIST_OK : GLIST_ERR_RANGE;
}

// Move the elements from the place of the new ones on out of their way.
static void move_tail(const GlistMemoryState *state, u8 *data, i32 mode, i32 position, size_t need)
{
    i32 first = position;
    i32 elements = state->count - position + 1;
    if (mode == GLIST_WRITE_BEHIND) {
        // KEPT: one would expect the elements behind the position to move. The move begins with the one at it and
        // leaves out the last one, which is lost but for position = count, where nothing moves at all. The public
        // operations use no other. At position 0 it would begin in front of the block, at what the new elements cover
        // at once. Test: glist_kind_write.behind_an_element_loses_the_last_one
        elements = state->count - position;
        if (position == 0) {
            first = 1;
            elements--;
        }
    }
    if (elements < 1) return;

    u8 *from = data + bytes_of(state, first - 1);
    memmove(from + need, from, (size_t)bytes_of(state, elements));
}

static i32 memory_write(void *at, i32 mode, i32 position, i32, i32 n, const void *source, i32 *done)
{
    GlistMemoryState *state = (GlistMemoryState *)at;
    i32 status = check_place(state, mode, position, n);
    if (status) return status;

    i64 need = bytes_of(state, n);
    if (mode != GLIST_WRITE_OVER) {
        // Elements of no bytes can be any number; two positions more than there are elements must have a number.
        if ((i64)state->count + n > INT32_MAX - 2) return GLIST_ERR_MEMORY;
        status = make_room(state, need);
        if (status) return status;
    }

    u8 *data = (u8 *)glock(state->data);
    if (!data) return GLIST_ERR_MEMORY;
    if (mode != GLIST_WRITE_OVER) {
        move_tail(state, data, mode, position, (size_t)need);
        state->count += n;
    }
    i32 before = mode == GLIST_WRITE_BEHIND ? position : position - 1;
    if (need > 0) memcpy(data + bytes_of(state, before), source, (size_t)need);
    gunlock(state->data);
    *done = n;
    return GLIST_OK;
}

static i32 memory_read(void *at, i32 position, i32 n, void *buffer, i32 *done)
{
    GlistMemoryState *state = (GlistMemoryState *)at;
    if (!within(state, position, n)) return GLIST_ERR_RANGE;

    const u8 *data = (const u8 *)glock(state->data);
    if (!data) return GLIST_ERR_MEMORY;
    size_t size = (size_t)bytes_of(state, n);
    if (size > 0) memcpy(buffer, data + bytes_of(state, position - 1), size);
    gunlock(state->data);
    *done = n;
    return GLIST_OK;
}

static i32 memory_delete(void *at, i32 position, i32 n, i32 *done)
{
    GlistMemoryState *state = (GlistMemoryState *)at;
    if (position > state->count || !within(state, position, n)) return GLIST_ERR_RANGE;

    u8 *data = (u8 *)glock(state->data);
    if (!data) return GLIST_ERR_MEMORY;
    u8 *gap = data + bytes_of(state, position - 1);
    i64 behind = (i64)state->count - (position - 1) - n;
    memmove(gap, gap + bytes_of(state, n), (size_t)bytes_of(state, behind));
    gunlock(state->data);
    state->count -= n;
    *done = n;
    return GLIST_OK;
}

// ---- Iterators ------------------------------------------------------------------------------------------------------

struct MemoryIterator {
    GlistMemoryState *state;
    i32 mode;
    u8 *data;              // locked while the iterator is open
};

static i32 memory_iterator_open(void *at, i32 mode, GHandle *iterator)
{
    GlistMemoryState *state = (GlistMemoryState *)at;
    *iterator = 0;
    if (mode != 0) return GLIST_ERR_BAD_ARGUMENT;

    GHandle handle = galloc((i32)sizeof(MemoryIterator), nullptr, 1);
    MemoryIterator *opened = (MemoryIterator *)glock(handle);
    u8 *data = (u8 *)glock(state->data);
    if (!opened || !data) {
        gfree(handle);
        return GLIST_ERR_MEMORY;
    }

    *opened = { .state = state, .mode = mode, .data = data };
    gunlock(handle);
    *iterator = handle;
    return GLIST_OK;
}

static i32 memory_element_pointer(GHandle iterator, i32 position, void **pointer)
{
    const MemoryIterator *opened = (const MemoryIterator *)glock(iterator);
    if (!opened) return GLIST_ERR_MEMORY;

    i32 status = GLIST_ERR_RANGE;
    if (position >= 1 && position <= opened->state->count) {
        *pointer = opened->data + bytes_of(opened->state, position - 1);
        status = GLIST_OK;
    }
    gunlock(iterator);
    return status;
}

static void memory_iterator_close(GHandle iterator)
{
    const MemoryIterator *opened = (const MemoryIterator *)glock(iterator);
    if (!opened) return;

    gunlock(opened->state->data);
    gunlock(iterator);
    gfree(iterator);
}

// ---- The row --------------------------------------------------------------------------------------------------------

const GlistKind memory_list = {
    .compact = memory_compact,
    .remove = memory_delete,
    .read = memory_read,
    .write = memory_write,
    .state_size = memory_state_size,
    .init = memory_init,
    .info = memory_info,
    .element_pointer = memory_element_pointer,
    .iterator_open = memory_iterator_open,
    .iterator_close = memory_iterator_close,
    .dispose = memory_dispose,
};

} // namespace zuk
