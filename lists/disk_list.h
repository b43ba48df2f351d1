// The disk kind of a list: the elements in pages of a temporary file, a few of which are in memory.
//
// A table in memory says where each element is, in the order of the elements; so an insertion moves entries of the
// table and no elements, and a deletion takes an entry away and leaves the bytes where they are, until the list is
// compacted.
//
//   table:    | page 1, 0 | page 2, 8 | page 1, 8 |   an ElementLocation for each element
//   pages:    | 1: free 0 | 2: free 4080 |  ...       PageStore, lists/page_store.h
//
// Reached through lists/glist_kinds.h alone, by the row `disk_list`; the records are here for whoever has to look
// inside, which are tests. A page is chosen by first fit. No failure undoes what was done before it, but an insertion
// that fails midway in a batch leaves no element of that batch.
#pragma once

#include "lists/glist_kinds.h"
#include "lists/page_store.h"

namespace zuk {

struct ElementLocation {
    i32 page;
    i32 offset;            // of the element's first byte in the page
};
static_assert(sizeof(ElementLocation) == 8);

struct GlistDiskState {
    i32 count;
    i32 element_size;
    GHandle table;         // memory list of ElementLocation
    PageStore store;
};
static_assert(sizeof(GlistDiskState) == 12 + sizeof(PageStore));

} // namespace zuk
