#include "lists/glist_kinds.h"

namespace zuk {

// Null for a kind that does not exist.
static const GlistKind *kind_of(i32 kind)
{
    if (kind == GLIST_MEMORY) return &memory_list;
    if (kind == GLIST_DISK) return &disk_list;
    return nullptr;
}

i32 glist_kind_compact(i32 kind, void *state)
{
    const GlistKind *row = kind_of(kind);
    if (!row) return GLIST_ERR_BAD_KIND;
    return state ? row->compact(state) : GLIST_ERR_BAD_ARGUMENT;
}

i32 glist_kind_delete(i32 kind, void *state, i32 position, i32 n, i32 *done)
{
    i32 unused;
    if (!done) done = &unused;
    *done = 0;

    const GlistKind *row = kind_of(kind);
    if (!row) return GLIST_ERR_BAD_KIND;
    return state && n >= 0 ? row->remove(state, position, n, done) : GLIST_ERR_BAD_ARGUMENT;
}

i32 glist_kind_read(i32 kind, void *state, i32 position, i32 n, void *buffer, i32 *done)
{
    i32 unused;
    if (!done) done = &unused;
    *done = 0;

    const GlistKind *row = kind_of(kind);
    if (!row) return GLIST_ERR_BAD_KIND;
    return state && n >= 0 ? row->read(state, position, n, buffer, done) : GLIST_ERR_BAD_ARGUMENT;
}

i32 glist_kind_write(i32 kind, void *state, i32 mode, i32 position, i32 size, i32 n, const void *source, i32 *done)
{
    i32 unused;
    if (!done) done = &unused;
    *done = 0;

    const GlistKind *row = kind_of(kind);
    if (!row) return GLIST_ERR_BAD_KIND;
    return state && n >= 0 ? row->write(state, mode, position, size, n, source, done) : GLIST_ERR_BAD_ARGUMENT;
}

i32 glist_kind_state_size(i32 kind, GHandle attributes, i32 *size)
{
    const GlistKind *row = kind_of(kind);
    return row ? row->state_size(attributes, size) : GLIST_ERR_BAD_KIND;
}

i32 glist_kind_init(i32 kind, GHandle attributes, void *state, i32 element_size)
{
    const GlistKind *row = kind_of(kind);
    if (!row) return GLIST_ERR_BAD_KIND;
    return state ? row->init(attributes, state, element_size) : GLIST_ERR_BAD_ARGUMENT;
}

i32 glist_kind_info(i32 kind, void *state, GlistInfo *info)
{
    const GlistKind *row = kind_of(kind);
    if (!row) return GLIST_ERR_BAD_KIND;
    return state ? row->info(state, info) : GLIST_ERR_BAD_ARGUMENT;
}

i32 glist_kind_element_pointer(i32 kind, GHandle iterator, i32 position, void **pointer)
{
    const GlistKind *row = kind_of(kind);
    return row ? row->element_pointer(iterator, position, pointer) : GLIST_ERR_BAD_KIND;
}

i32 glist_kind_iterator_open(i32 kind, void *state, i32 mode, GHandle *iterator)
{
    const GlistKind *row = kind_of(kind);
    if (!row) return GLIST_ERR_BAD_KIND;
    return state ? row->iterator_open(state, mode, iterator) : GLIST_ERR_BAD_ARGUMENT;
}

void glist_kind_iterator_close(i32 kind, GHandle iterator)
{
    const GlistKind *row = kind_of(kind);
    if (row) row->iterator_close(iterator);
}

i32 glist_kind_dispose(i32 kind, void *state)
{
    const GlistKind *row = kind_of(kind);
    if (!row) return GLIST_ERR_BAD_KIND;
    return state ? row->dispose(state) : GLIST_ERR_BAD_ARGUMENT;
}

} // namespace zuk
