// The library's general container: an ordered sequence of elements of one size, named by their positions from 1 on.
//
// A list is of one of two kinds, chosen when it is created and invisible afterwards: a memory list holds its elements
// in one block (lists/memory_list.h), a disk list in pages of a temporary file, a few of which are in memory
// (lists/disk_list.h). The operations here are the same for both and reach the kind through lists/glist_kinds.h.
//
// Every operation that has a position takes the list and a cursor; cursor 0 is the one that is built into the list.
// Several cursors may walk one list. A cursor holds a position, from 0 (in front of the first element) to count + 1,
// and the status of the last operation with it. It doesn't know its list, and nobody adjusts it when another cursor
// inserts or deletes.
//
// A result i16 is a flag: 1 for success, 0 for failure, whose reason stands in the cursor (`glist_error`,
// `glist_cursor_error`). A list or cursor that cannot be locked gives 0 and no reason; any other outcome is stored, a
// success as 0. A position doesn't move when its operation fails, but for `GLIST_FIRST` and `GLIST_LAST` on an empty
// list and for the seek with which `glist_read` begins. `err`, `got`, `removed` and the like may be null.
//
// One thread at a time. A failed allocation leaves a list as it was. Whoever creates a list, a cursor or attributes
// disposes of them.
#pragma once

#include "zuk/zuk.h"

namespace zuk {

// ---- Statuses, positions, modes -------------------------------------------------------------------------------------

enum GlistStatus : i32 {
    GLIST_OK = 0,
    GLIST_ERR_FAILED = 1,                  // a page could not be moved or was not in memory; a deletion went wrong
    GLIST_ERR_ELEMENT_TOO_BIG_CHUNK = 2,   // memory list: an element is larger than the growth unit
    GLIST_ERR_MEMORY = 4,                  // a handle could not be allocated, grown or locked
    GLIST_ERR_NOT_FOUND = 5,               // no such attribute or callback; `glist_find` ran off the list
    GLIST_ERR_POSITION = 7,                // the cursor cannot go there
    GLIST_ERR_BAD_ARGUMENT = 8,            // unknown mode, direction or kind, a negative count, no callback, no list
    GLIST_ERR_ATTRIBUTE = 9,               // an attribute that is needed could not be read
    GLIST_ERR_ELEMENT_TOO_BIG_PAGE = 10,   // disk list: an element is larger than a page
    GLIST_ERR_RANGE = 11,                  // an element outside 1 to count; the last one of an empty list
    GLIST_ERR_DUPLICATE = 12,              // a callback with this type and id is there already
    GLIST_ERR_BAD_KIND = 13,               // neither a memory list nor a disk list
    GLIST_ERR_PAGE_SIZE = 14,              // disk list: pages above 65535 bytes
    GLIST_ERR_ALL_PAGES_BUSY = 15,         // disk list: no page could leave memory in two sweeps
    GLIST_ERR_COMPACT_REFUSED = 16,        // disk list: no page is in memory
    GLIST_ERR_TEMP_FILE = 17,              // disk list: trouble with the temporary file
};

enum GlistKindNumber : i32 {
    GLIST_MEMORY = 0,
    GLIST_DISK = 1,
};

// Where a cursor can be sent; 0 and above are positions up to `count`.
enum GlistPosition : i32 {
    GLIST_BEFORE_FIRST = -1,               // 0
    GLIST_AFTER_LAST = -2,                 // count + 1, on an empty list too
    GLIST_NEXT = -3,                       // status 7 from the last element on
    GLIST_PREVIOUS = -4,                   // status 7 below position 2
    GLIST_FIRST = -5,                      // on an empty list 0, with status 7
    GLIST_LAST = -6,                       // on an empty list 0, with status 11
};

enum GlistReadMode : i32 {
    GLIST_READ_CURRENT = 0,                // from the cursor, which stays
    GLIST_READ_FIRST = 1,                  // from the first element; leaves the cursor on the last one read
    GLIST_READ_NEXT = 2,                   // from the one behind the cursor; the same
    GLIST_READ_PREVIOUS = 3,               // those in front of the cursor; leaves it on the first one read
    GLIST_READ_LAST = 4,                   // the last ones; the same
};

enum GlistDirection : i32 {
    GLIST_FORWARD = 0,                     // from the first element
    GLIST_BACKWARD = 1,                    // from the last element
    GLIST_FORWARD_FROM_CURSOR = 2,         // from the one behind the cursor
    GLIST_BACKWARD_FROM_CURSOR = 3,        // from the one in front of the cursor
};

enum GlistAttributeId : i32 {
    GLIST_ATTR_UNIT = 0,                   // memory: growth unit in bytes, 1024; disk: page size in bytes, 4096
    GLIST_ATTR_FRAMES = 8,                 // disk: pages held in memory, 16
};

enum GlistCallbackType : i32 {
    GLIST_CALLBACK_FIND = 0,
    GLIST_CALLBACK_DELETE = 1,
};

// In place of the id of a callback: `function` and `data` are in the call, and both must be.
constexpr i32 GLIST_NO_CALLBACK_ID = -999;

// ---- Records --------------------------------------------------------------------------------------------------------

// Gives non-zero for a match. The element is there for the call alone, and the list must not be changed by it.
using GlistMatchProc = i16 (*)(void *element, intptr_t data);

// A row of the table of callbacks. Rows are packed, as they stand behind a state that is a multiple of 4 bytes.
struct [[gnu::packed, gnu::aligned(4)]] GlistCallback {
    i32 type;
    i32 id;                                // the caller's number for it
    GlistMatchProc function;
    intptr_t data;                         // what the function is given when the caller has nothing of his own
};
static_assert(sizeof(GlistCallback) == 8 + 2 * sizeof(void *) && alignof(GlistCallback) == 4);

struct GlistCursor {
    i32 position;
    i32 last_error;
};
static_assert(sizeof(GlistCursor) == 8);

// What the handle of a list owns:
//
//   0         8                                     24
//   |  built- | callback_count, state_size, kind,   |  the kind's   |  callback_count rows
//   |in cursor| debug_name                          |  state        |  of GlistCallback
struct Glist {
    GlistCursor cursor;
    i32 callback_count;
    i32 state_size;                        // bytes of the state
    i32 kind;
    GHandle debug_name;                    // block with the name of the dump file, 0 until there is one
};
static_assert(sizeof(Glist) == 24);

// How a list is to be built: a header and its pairs.
struct GlistAttributePair {
    i32 id;
    i32 value;
};
struct GlistAttributes {
    i32 kind;
    i32 last_error;
    i32 pair_count;
};
static_assert(sizeof(GlistAttributePair) == 8 && sizeof(GlistAttributes) == 12);

// ---- Attributes -----------------------------------------------------------------------------------------------------

GHandle glist_attr_create(i32 kind, i32 reserved, i32 *err);    // status 8 or 4 and 0; `reserved` counts for nothing
void glist_attr_dispose(GHandle attributes);
i16 glist_attr_get(GHandle attributes, i32 id, i32 *value);     // the value set, else the default; status 5 if neither
i16 glist_attr_set(GHandle *attributes, i32 id, i32 value);
i32 glist_attr_error(GHandle attributes);                       // status of the last operation; 4 if not lockable
i32 glist_attr_kind(GHandle attributes);                        // 2 if not lockable, a kind that no list has

// ---- Life of a list -------------------------------------------------------------------------------------------------

// A new list for elements of so many bytes; 0 with the status in `*err` on failure. Attributes 0 make a memory list
// that grows by 1024 bytes. The attributes stay the caller's; `reserved` counts for nothing.
GHandle glist_create(i32 element_size, GHandle attributes, void *reserved, i32 *err);
// Nothing for a handle that cannot be locked. Other cursors, and the block of the debug file's name, stay.
void glist_dispose(GHandle list);

// Add a callback; the status goes to the built-in cursor. The list's block grows and may move.
i16 glist_add_callback(GHandle *list, i32 type, i32 id, GlistMatchProc function, intptr_t data);
// Status 0 and the row, good until the next callback is added; else 5, or 4 for a list that cannot be locked.
i32 glist_find_callback(GHandle list, i32 type, i32 id, GlistCallback **entry);

// ---- Cursors --------------------------------------------------------------------------------------------------------

// A new cursor at position 0; 0 with status 8 or 4 in `*err` on failure. Success leaves `*err` alone: clear it before.
GHandle glist_cursor_create(GHandle list, i32 *err);
i16 glist_cursor_dispose(GHandle list, GHandle cursor);         // 0 if either is 0

i16 glist_seek(GHandle list, GHandle cursor, i32 position);     // to a position or a `GlistPosition`
i32 glist_tell(GHandle list, GHandle cursor);                   // 0 if not lockable
i32 glist_error(GHandle list);                                  // status in the built-in cursor; 4 if not lockable
i32 glist_cursor_error(GHandle list, GHandle cursor);           // the same for any cursor
i32 glist_count(GHandle list, GHandle cursor);                  // 0 on failure; the status is stored
i32 glist_element_size(GHandle list, GHandle cursor);

// ---- Elements -------------------------------------------------------------------------------------------------------

// Up to `count` elements in a `GlistReadMode`. Forward modes read what there is; mode 4 too. Mode 3 with fewer than
// `count` in front of the cursor reads from 1 up to and with the cursor's own element. `*got` is the number that was
// to be read, after a failure of the kind's read too; else 0.
i16 glist_read(GHandle list, GHandle cursor, i32 mode, void *buffer, i32 count, i32 *got);

// One element. Behind the last one `glist_get` succeeds and gives nothing.
i16 glist_get(GHandle list, GHandle cursor, void *buffer);
i16 glist_get_next(GHandle list, GHandle cursor, void *buffer);
i16 glist_get_previous(GHandle list, GHandle cursor, void *buffer);
i16 glist_get_at(GHandle list, GHandle cursor, i32 position, void *buffer);

// Behind the last element; the cursor then stands on the last one added. A disk list takes what fills a page at a time,
// each such batch in front of the one before it: the order stays only within a page.
i16 glist_append(GHandle list, GHandle cursor, const void *data, i32 count, i32 reserved);
// In front of the element at the cursor, which goes along with that element; into an empty list at position 0.
i16 glist_insert(GHandle list, GHandle cursor, const void *data, i32 count, i32 reserved);
// The one element at the cursor. In a disk list it is lost when its page leaves memory, unless the page was written to
// by an insertion since it came.
i16 glist_replace(GHandle list, GHandle cursor, const void *data);
i16 glist_delete(GHandle list, GHandle cursor);                 // the cursor falls back by one

// Every element that matches, counted in `*removed`; what is deleted before a failure stays deleted. The cursor walks
// the whole list and ends behind the last element examined. Function and data as in `glist_find`, from rows of type 1.
i16 glist_delete_matching(GHandle list, GHandle cursor, i32 id, GlistMatchProc function, intptr_t data, i32 *removed);

// The cursor to the first match in a `GlistDirection`; it stays when there is none, with status 5. A function that is
// not null and data that are not 0 win over those of the row of type 0 with this id, which is needed for the others.
i16 glist_find(GHandle list, GHandle cursor, i32 direction, i32 id, GlistMatchProc function, intptr_t data);

// ---- Debugging ------------------------------------------------------------------------------------------------------

// Name the file for `glist_dump`: NUL-terminated, native, cut to 255 characters. The block it is kept in, or 0; the
// block stays when the list goes, and is then the caller's to free.
GHandle glist_set_debug_file(GHandle list, const char *name);
// Append the list as text to that file, or to the open `file` if none was named. `message` is a string or null. The
// flag is about the preparations: status 1 for the file, 4 for memory. What cannot be written is left out silently.
i16 glist_dump(GHandle list, FileHandle file, ConstPString message);

// ---- Companions -----------------------------------------------------------------------------------------------------

GHandle handle_from_bytes(const void *bytes, i16 size);         // `ghandle_from_bytes` by its name among the lists
i16 glist_module_value(const i16 *new_value);                   // stores a value unless null; gives the current one
void glist_module_start();                                      // nothing is to be done

} // namespace zuk
