// What a kind of list does, and the eleven operations through which the public ones of lists/glist.h reach it.
//
// Every operation takes the kind's number first, and the state that stands in the list's block behind the header. It
// gives a `GlistStatus`: `GLIST_ERR_BAD_KIND` for a kind that does not exist, `GLIST_ERR_BAD_ARGUMENT` without a state
// or for a negative count. A state pointer is good until the list's block grows.
#pragma once

#include "lists/glist.h"

namespace zuk {

enum GlistWriteMode : i32 {
    GLIST_WRITE_BEHIND = 0,                // insert behind a position from 0 to count
    GLIST_WRITE_BEFORE = 1,                // insert in front of a position from 1 to count + 1
    GLIST_WRITE_OVER = 2,                  // replace from a position on
};

struct GlistInfo {
    i32 element_size;
    i32 count;
};

// A row for each kind: memory_list.cpp and disk_list.cpp have one. `state` is never null, no count is negative, and
// `done` points to a 0; an operation stores there how many elements it was about. None of the functions is null.
struct GlistKind {
    i32 (*compact)(void *state);
    i32 (*remove)(void *state, i32 position, i32 n, i32 *done);
    i32 (*read)(void *state, i32 position, i32 n, void *buffer, i32 *done);
    i32 (*write)(void *state, i32 mode, i32 position, i32 size, i32 n, const void *source, i32 *done);
    i32 (*state_size)(GHandle attributes, i32 *size);
    i32 (*init)(GHandle attributes, void *state, i32 element_size);   // a failure leaves nothing to dispose of
    i32 (*info)(void *state, GlistInfo *info);
    i32 (*element_pointer)(GHandle iterator, i32 position, void **pointer);  // good until the next call
    i32 (*iterator_open)(void *state, i32 mode, GHandle *iterator);
    void (*iterator_close)(GHandle iterator);
    i32 (*dispose)(void *state);
};
extern const GlistKind memory_list;
extern const GlistKind disk_list;

// Give back the room of deleted elements. No public operation calls it; work in a memory list is never needed.
i32 glist_kind_compact(i32 kind, void *state);
i32 glist_kind_delete(i32 kind, void *state, i32 position, i32 n, i32 *done);
i32 glist_kind_read(i32 kind, void *state, i32 position, i32 n, void *buffer, i32 *done);
i32 glist_kind_write(i32 kind, void *state, i32 mode, i32 position, i32 size, i32 n, const void *source, i32 *done);
i32 glist_kind_state_size(i32 kind, GHandle attributes, i32 *size);
i32 glist_kind_init(i32 kind, GHandle attributes, void *state, i32 element_size);
i32 glist_kind_info(i32 kind, void *state, GlistInfo *info);
i32 glist_kind_element_pointer(i32 kind, GHandle iterator, i32 position, void **pointer);
i32 glist_kind_iterator_open(i32 kind, void *state, i32 mode, GHandle *iterator);    // mode 0 is the only one
void glist_kind_iterator_close(i32 kind, GHandle iterator);
i32 glist_kind_dispose(i32 kind, void *state);

// The state of a list whose block is locked.
inline void *glist_state(Glist *list) { return list + 1; }

} // namespace zuk
