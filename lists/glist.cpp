#include "lists/glist.h"

#include "files/file.h"
#include "foundation/format.h"
#include "foundation/handles.h"
#include "foundation/pstrings.h"
#include "lists/glist_kinds.h"

#include <string.h>

namespace zuk {

// ---- Attributes -----------------------------------------------------------------------------------------------------

struct AttributeDefault {
    i32 kind;
    i32 id;
    i32 value;
};
static const AttributeDefault attribute_defaults[] = {
    { GLIST_MEMORY, GLIST_ATTR_UNIT, 1024 },
    { GLIST_DISK, GLIST_ATTR_UNIT, 4096 },
    { GLIST_DISK, GLIST_ATTR_FRAMES, 16 },
};

constexpr i32 FIRST_PAIRS = 2;        // pairs that a new block has room for
constexpr i32 UNLOCKABLE_KIND = 2;    // refused by every operation that is handed it

// Null for 0, a freed handle, and a block too small for attributes.
static GlistAttributes *lock_attributes(GHandle handle)
{
    i32 smallest = (i32)(sizeof(GlistAttributes) + FIRST_PAIRS * sizeof(GlistAttributePair));
    return gsize(handle) < smallest ? nullptr : (GlistAttributes *)glock(handle);
}

static GlistAttributePair *pairs_of(GlistAttributes *attributes) { return (GlistAttributePair *)(attributes + 1); }

// Null if no pair has this id.
static GlistAttributePair *pair_with(GlistAttributes *attributes, i32 id)
{
    GlistAttributePair *pairs = pairs_of(attributes);
    for (i32 i = 0; i < attributes->pair_count; i++) {
        if (pairs[i].id == id) return &pairs[i];
    }
    return nullptr;
}

// KEPT: one would expect `reserved` to mean something, here and in the other operations that take one. Nobody looks at
// it. Test: glist_create.ignores_the_reserved_arguments
GHandle glist_attr_create(i32 kind, i32 reserved, i32 *err)
{
    (void)reserved;
    i32 unused;
    if (!err) err = &unused;
    *err = GLIST_OK;
    if (kind != GLIST_MEMORY && kind != GLIST_DISK) {
        *err = GLIST_ERR_BAD_ARGUMENT;
        return 0;
    }

    i32 size = (i32)(sizeof(GlistAttributes) + FIRST_PAIRS * sizeof(GlistAttributePair));
    GHandle handle = galloc(size, nullptr, 1);
    GlistAttributes *attributes = (GlistAttributes *)glock(handle);
    if (!attributes) {
        *err = GLIST_ERR_MEMORY;
        return 0;
    }
    attributes->kind = kind;
    gunlock(handle);
    return handle;
}

void glist_attr_dispose(GHandle attributes)
{
    gfree(attributes);
}

i16 glist_attr_get(GHandle handle, i32 id, i32 *value)
{
    GlistAttributes *attributes = lock_attributes(handle);
    if (!attributes) return 0;

    i32 unused;
    if (!value) value = &unused;
    *value = 0;
    attributes->last_error = GLIST_ERR_NOT_FOUND;
    if (const GlistAttributePair *pair = pair_with(attributes, id)) {
        *value = pair->value;
        attributes->last_error = GLIST_OK;
    } else {
        for (const AttributeDefault &row : attribute_defaults) {
            if (row.kind != attributes->kind || row.id != id) continue;
            *value = row.value;
            attributes->last_error = GLIST_OK;
            break;
        }
    }
    i16 found = attributes->last_error == GLIST_OK;
    gunlock(handle);
    return found;
}

// Room for one pair more than there are, as `glist_attr_set` counts it.
static bool room_for_pair(GHandle handle, i32 pair_count)
{
    // KEPT: one would expect the second pair to take the second place of a new block, and a block that has room not to
    // grow. Only the first one takes what is there; each later one adds a place first, so that one is always empty.
    // The size of the block tells. Test: glist_attr_set.keeps_room_for_one_more_pair
    if (pair_count == 0) return true;

    // The handle is a copy: a resize that fails takes the variable away, and the old block still stands.
    return grealloc(&handle, gsize(handle) + (i32)sizeof(GlistAttributePair)) != 0;
}

i16 glist_attr_set(GHandle *handle, i32 id, i32 value)
{
    GlistAttributes *attributes = handle ? lock_attributes(*handle) : nullptr;
    if (!attributes) return 0;

    attributes->last_error = GLIST_OK;
    if (GlistAttributePair *pair = pair_with(attributes, id)) {
        pair->value = value;
        gunlock(*handle);
        return 1;
    }

    i32 pair_count = attributes->pair_count;
    gunlock(*handle);
    bool room = room_for_pair(*handle, pair_count);
    attributes = lock_attributes(*handle);
    if (room) pairs_of(attributes)[attributes->pair_count++] = { .id = id, .value = value };
    else attributes->last_error = GLIST_ERR_MEMORY;
    gunlock(*handle);
    return room;
}

i32 glist_attr_error(GHandle handle)
{
    const GlistAttributes *attributes = lock_attributes(handle);
    if (!attributes) return GLIST_ERR_MEMORY;

    i32 error = attributes->last_error;
    gunlock(handle);
    return error;
}

i32 glist_attr_kind(GHandle handle)
{
    GlistAttributes *attributes = lock_attributes(handle);
    if (!attributes) return UNLOCKABLE_KIND;

    attributes->last_error = GLIST_OK;
    i32 kind = attributes->kind;
    gunlock(handle);
    return kind;
}

// ---- Creating and disposing -----------------------------------------------------------------------------------------

// Null for 0, a freed handle, and a block too small for a list.
static Glist *lock_list(GHandle handle)
{
    return gsize(handle) < (i32)sizeof(Glist) ? nullptr : (Glist *)glock(handle);
}

// A list of this kind for `*err` 0, its state filled; else 0.
static GHandle create_list(i32 kind, i32 element_size, GHandle attributes, i32 *err)
{
    i32 state_size = 0;
    *err = glist_kind_state_size(kind, attributes, &state_size);
    if (*err) return 0;

    GHandle handle = galloc((i32)sizeof(Glist) + state_size, nullptr, 1);
    Glist *list = (Glist *)glock(handle);
    if (!list) {
        *err = GLIST_ERR_MEMORY;
        return 0;
    }

    list->state_size = state_size;
    *err = glist_kind_init(kind, attributes, glist_state(list), element_size);
    if (*err) {
        gunlock(handle);
        gfree(handle);
        return 0;
    }

    list->cursor = { .position = 0, .last_error = GLIST_OK };
    list->callback_count = 0;
    list->debug_name = 0;
    list->kind = kind;
    gunlock(handle);
    return handle;
}

GHandle glist_create(i32 element_size, GHandle attributes, void *reserved, i32 *err)
{
    (void)reserved;
    i32 unused;
    if (!err) err = &unused;
    *err = GLIST_OK;

    GHandle own_attributes = 0;
    if (!attributes) {
        own_attributes = glist_attr_create(GLIST_MEMORY, 0, err);
        if (*err) return 0;
        attributes = own_attributes;
    }

    GHandle list = create_list(glist_attr_kind(attributes), element_size, attributes, err);
    glist_attr_dispose(own_attributes);
    return list;
}

static GlistCallback *callbacks_of(Glist *list)
{
    return (GlistCallback *)((u8 *)glist_state(list) + list->state_size);
}

void glist_dispose(GHandle handle)
{
    Glist *list = lock_list(handle);
    if (!list) return;

    GlistCallback *rows = callbacks_of(list);
    for (i32 i = 0; i < list->callback_count; i++) proc_instance_free((AnyProc)rows[i].function);
    (void)glist_kind_dispose(list->kind, glist_state(list));  // the list goes whatever its files do

    // KEPT: one would expect the block with the name of the debug file to go with its list. It stays alive, and only
    // whoever kept the handle that `glist_set_debug_file` gave can free it.
    // Test: glist_dispose.leaves_the_name_of_the_debug_file
    gunlock(handle);
    gfree(handle);
}

// ---- Callbacks ------------------------------------------------------------------------------------------------------

// The row with this type and id; null if there is none.
static GlistCallback *callback_with(Glist *list, i32 type, i32 id)
{
    GlistCallback *rows = callbacks_of(list);
    for (i32 i = 0; i < list->callback_count; i++) {
        if (rows[i].type == type && rows[i].id == id) return &rows[i];
    }
    return nullptr;
}

// The list as every operation that stores a status looks at it, and then the row that is to be added.
static i32 check_callback(Glist *list, i32 type, i32 id)
{
    GlistInfo info;
    i32 status = glist_kind_info(list->kind, glist_state(list), &info);
    if (status) return status;
    if (type != GLIST_CALLBACK_FIND && type != GLIST_CALLBACK_DELETE) return GLIST_ERR_BAD_ARGUMENT;
    return callback_with(list, type, id) ? GLIST_ERR_DUPLICATE : GLIST_OK;
}

static i32 add_callback(GHandle *handle, i32 type, i32 id, GlistMatchProc function, intptr_t data)
{
    Glist *list = lock_list(*handle);
    i32 status = check_callback(list, type, id);
    gunlock(*handle);
    if (status) return status;

    GHandle grown = *handle;  // a copy: a resize that fails takes the variable away, and the old block still stands
    if (!grealloc(&grown, gsize(grown) + (i32)sizeof(GlistCallback))) return GLIST_ERR_MEMORY;
    *handle = grown;

    list = lock_list(*handle);
    GlistMatchProc instance = (GlistMatchProc)proc_instance_make((AnyProc)function);
    callbacks_of(list)[list->callback_count++] = { .type = type, .id = id, .function = instance, .data = data };
    gunlock(*handle);
    return GLIST_OK;
}

i16 glist_add_callback(GHandle *handle, i32 type, i32 id, GlistMatchProc function, intptr_t data)
{
    if (!handle || !lock_list(*handle)) return 0;
    gunlock(*handle);

    i32 status = add_callback(handle, type, id, function, data);
    lock_list(*handle)->cursor.last_error = status;
    gunlock(*handle);
    return status == GLIST_OK;
}

i32 glist_find_callback(GHandle handle, i32 type, i32 id, GlistCallback **entry)
{
    Glist *list = lock_list(handle);
    if (!list) return GLIST_ERR_MEMORY;

    GlistCallback *row = callback_with(list, type, id);
    gunlock(handle);
    if (!row) return GLIST_ERR_NOT_FOUND;
    if (entry) *entry = row;
    return GLIST_OK;
}

// ---- What every operation with a cursor does ------------------------------------------------------------------------

// A list and the cursor in use, both locked, from `begin` to `end`.
struct Access {
    GHandle list_handle;
    GHandle cursor_handle;    // 0 for the built-in cursor
    Glist *list;
    GlistCursor *cursor;
    GlistInfo info;
    i32 status;               // what the operation is going to store
};

static i32 kind_of(const Access &at) { return at.list->kind; }
static void *state_of(const Access &at) { return glist_state(at.list); }

// False if the list or the cursor cannot be locked: then nothing is stored. Otherwise the status is that of the kind's
// `info`, and the operation goes on if it is 0.
static bool begin(Access *at, GHandle list, GHandle cursor)
{
    *at = { .list_handle = list, .cursor_handle = cursor, .list = lock_list(list), .cursor = nullptr, .info = {},
            .status = GLIST_OK };
    if (!at->list) return false;

    if (!cursor) at->cursor = &at->list->cursor;
    else if (gsize(cursor) >= (i32)sizeof(GlistCursor)) at->cursor = (GlistCursor *)glock(cursor);
    if (!at->cursor) {
        gunlock(list);
        return false;
    }

    at->status = glist_kind_info(kind_of(*at), state_of(*at), &at->info);
    return true;
}

// Store the status; the result is the operation's flag.
static i16 end(const Access &at)
{
    at.cursor->last_error = at.status;
    i16 flag = at.status == GLIST_OK;
    gunlock(at.cursor_handle);
    gunlock(at.list_handle);
    return flag;
}

// ---- Cursors --------------------------------------------------------------------------------------------------------

// KEPT: one would expect success to store a status of 0, as the other creations do. `*err` keeps what was in it.
// Test: glist_cursor_create.leaves_the_status_alone_on_success
GHandle glist_cursor_create(GHandle list, i32 *err)
{
    i32 unused;
    if (!err) err = &unused;
    if (!list) {
        *err = GLIST_ERR_BAD_ARGUMENT;
        return 0;
    }

    GHandle cursor = galloc((i32)sizeof(GlistCursor), nullptr, 1);
    if (!cursor) *err = GLIST_ERR_MEMORY;
    return cursor;
}

i16 glist_cursor_dispose(GHandle list, GHandle cursor)
{
    if (!list || !cursor) return 0;
    gfree(cursor);
    return 1;
}

static i32 seek(GlistCursor *cursor, i32 position, i32 count)
{
    i32 at = cursor->position;
    switch (position) {
    case GLIST_BEFORE_FIRST:
        cursor->position = 0;
        return GLIST_OK;

    case GLIST_AFTER_LAST:
        // KEPT: one would expect an empty list to have no place behind its last element. It is position 1.
        // Test: glist_seek.behind_the_last_of_an_empty_list_is_1
        cursor->position = count + 1;
        return GLIST_OK;

    case GLIST_NEXT:
        if (at >= count) return GLIST_ERR_POSITION;
        cursor->position = at + 1;
        return GLIST_OK;

    case GLIST_PREVIOUS:
        if (at < 2) return GLIST_ERR_POSITION;
        cursor->position = at - 1;
        return GLIST_OK;

    case GLIST_FIRST:
        // KEPT: one would expect the same status when an empty list is asked for its first and for its last element,
        // and a cursor that stays. They are 7 and 11, and the cursor goes to 0.
        // Test: glist_seek.to_the_first_of_an_empty_list_gives_7_and_position_0,
        // Test: glist_seek.to_the_last_of_an_empty_list_gives_11_and_position_0
        cursor->position = count > 0 ? 1 : 0;
        return count > 0 ? GLIST_OK : GLIST_ERR_POSITION;

    case GLIST_LAST:
        cursor->position = count;
        return count > 0 ? GLIST_OK : GLIST_ERR_RANGE;

    default:
        if (position < 0 || position > count) return GLIST_ERR_POSITION;
        cursor->position = position;
        return GLIST_OK;
    }
}

i16 glist_seek(GHandle list, GHandle cursor, i32 position)
{
    Access at;
    if (!begin(&at, list, cursor)) return 0;
    if (!at.status) at.status = seek(at.cursor, position, at.info.count);
    return end(at);
}

i32 glist_tell(GHandle list, GHandle cursor)
{
    Access at;
    if (!begin(&at, list, cursor)) return 0;
    i32 position = at.cursor->position;
    gunlock(cursor);
    gunlock(list);
    return position;
}

i32 glist_error(GHandle list)
{
    return glist_cursor_error(list, 0);
}

i32 glist_cursor_error(GHandle list, GHandle cursor)
{
    GHandle handle = cursor ? cursor : list;
    i32 smallest = (i32)(cursor ? sizeof(GlistCursor) : sizeof(Glist));
    const GlistCursor *at = gsize(handle) < smallest ? nullptr : (const GlistCursor *)glock(handle);
    if (!at) return GLIST_ERR_MEMORY;

    i32 error = at->last_error;
    gunlock(handle);
    return error;
}

i32 glist_count(GHandle list, GHandle cursor)
{
    Access at;
    if (!begin(&at, list, cursor)) return 0;
    return end(at) ? at.info.count : 0;
}

i32 glist_element_size(GHandle list, GHandle cursor)
{
    Access at;
    if (!begin(&at, list, cursor)) return 0;
    return end(at) ? at.info.element_size : 0;
}

// ---- Reading --------------------------------------------------------------------------------------------------------

// Which elements a read is about, and where it leaves the cursor when it succeeds.
struct ReadPlan {
    i32 start;
    i32 n;
    i32 cursor;
};

// Forward from the cursor, as many as there are.
static i32 plan_forward(const Access &at, i32 count, ReadPlan *plan)
{
    i64 there = (i64)at.info.count - at.cursor->position + 1;
    i64 n = count < there ? count : there;
    if (n < 0) return GLIST_ERR_RANGE;  // the cursor was left behind by deletions through another one

    plan->start = at.cursor->position;
    plan->n = (i32)n;
    plan->cursor = (i32)(plan->start + n - 1);
    return GLIST_OK;
}

// Backward from the cursor; with fewer than `count` in front of it, from 1 on, `rest` of them.
static void plan_backward(const Access &at, i32 count, i32 rest, ReadPlan *plan)
{
    i64 start = (i64)at.cursor->position - count;
    *plan = start >= 1 ? ReadPlan{ (i32)start, count, (i32)start } : ReadPlan{ 1, rest, 1 };
}

// Decide on what is read; modes 1, 2 and 4 seek first.
static i32 plan_read(const Access &at, i32 mode, i32 count, ReadPlan *plan)
{
    i32 status;
    switch (mode) {
    case GLIST_READ_CURRENT:
        status = plan_forward(at, count, plan);
        plan->cursor = at.cursor->position;
        return status;

    case GLIST_READ_FIRST:
    case GLIST_READ_NEXT:
        status = seek(at.cursor, mode == GLIST_READ_FIRST ? GLIST_FIRST : GLIST_NEXT, at.info.count);
        return status ? status : plan_forward(at, count, plan);

    case GLIST_READ_PREVIOUS:
        // KEPT: one would expect nothing but elements in front of the cursor. With fewer than `count` of them the
        // cursor's own element is read, too, behind the others.
        // Test: glist_read.of_more_than_stand_in_front_takes_in_the_cursors_element
        if (at.cursor->position < 2) return GLIST_ERR_POSITION;
        plan_backward(at, count, at.cursor->position, plan);
        return GLIST_OK;

    case GLIST_READ_LAST:
        (void)seek(at.cursor, GLIST_AFTER_LAST, at.info.count);  // there is always such a position
        plan_backward(at, count, at.info.count, plan);
        return GLIST_OK;

    default:
        return GLIST_ERR_BAD_ARGUMENT;
    }
}

static i32 read_elements(const Access &at, i32 mode, void *buffer, i32 count, i32 *got)
{
    if (count < 0) return GLIST_ERR_BAD_ARGUMENT;

    ReadPlan plan = {};
    i32 status = plan_read(at, mode, count, &plan);
    if (status) return status;

    *got = plan.n;
    i32 done;
    status = glist_kind_read(kind_of(at), state_of(at), plan.start, plan.n, buffer, &done);
    if (!status) at.cursor->position = plan.cursor;
    return status;
}

i16 glist_read(GHandle list, GHandle cursor, i32 mode, void *buffer, i32 count, i32 *got)
{
    i32 unused;
    if (!got) got = &unused;
    *got = 0;

    Access at;
    if (!begin(&at, list, cursor)) return 0;
    if (!at.status) at.status = read_elements(at, mode, buffer, count, got);
    return end(at);
}

i16 glist_get(GHandle list, GHandle cursor, void *buffer)
{
    return glist_read(list, cursor, GLIST_READ_CURRENT, buffer, 1, nullptr);
}

i16 glist_get_next(GHandle list, GHandle cursor, void *buffer)
{
    return glist_read(list, cursor, GLIST_READ_NEXT, buffer, 1, nullptr);
}

i16 glist_get_previous(GHandle list, GHandle cursor, void *buffer)
{
    return glist_read(list, cursor, GLIST_READ_PREVIOUS, buffer, 1, nullptr);
}

i16 glist_get_at(GHandle list, GHandle cursor, i32 position, void *buffer)
{
    if (!glist_seek(list, cursor, position)) return 0;
    return glist_get(list, cursor, buffer);
}

// ---- Writing and deleting -------------------------------------------------------------------------------------------

// KEPT: one would expect the other cursors of a list to go along with the elements that they stand on, here and when
// elements are inserted or deleted. Only the cursor in use moves; the others keep their numbers, even behind the end.
// Test: glist_insert.leaves_other_cursors_at_their_numbers, Test: glist_delete.leaves_other_cursors_behind_the_end
static i32 write_elements(const Access &at, i32 mode, i32 position, const void *data, i32 count)
{
    i32 done;
    return glist_kind_write(kind_of(at), state_of(at), mode, position, at.info.element_size, count, data, &done);
}

i16 glist_append(GHandle list, GHandle cursor, const void *data, i32 count, i32 reserved)
{
    (void)reserved;
    Access at;
    if (!begin(&at, list, cursor)) return 0;
    if (!at.status) {
        at.status = write_elements(at, GLIST_WRITE_BEHIND, at.info.count, data, count);
        if (!at.status) at.cursor->position = at.info.count + count;
    }
    return end(at);
}

i16 glist_insert(GHandle list, GHandle cursor, const void *data, i32 count, i32 reserved)
{
    (void)reserved;
    Access at;
    if (!begin(&at, list, cursor)) return 0;
    if (!at.status) {
        // KEPT: one would expect the place behind the end to be good for an empty list as it is for every other. Behind
        // is the only way to write into an empty list, and there it wants position 0.
        // Test: glist_insert.into_an_empty_list_at_1_gives_11
        i32 mode = at.info.count > 0 ? GLIST_WRITE_BEFORE : GLIST_WRITE_BEHIND;
        at.status = write_elements(at, mode, at.cursor->position, data, count);
        if (!at.status) at.cursor->position += count;
    }
    return end(at);
}

i16 glist_replace(GHandle list, GHandle cursor, const void *data)
{
    Access at;
    if (!begin(&at, list, cursor)) return 0;
    if (!at.status) at.status = write_elements(at, GLIST_WRITE_OVER, at.cursor->position, data, 1);

    // KEPT: one would expect as many locks as unlocks. A cursor that was handed in is locked once more on return.
    // Nobody sees it as long as locks are not counted; all that can be tested is that the cursor stays as it was.
    // Test: glist_replace.leaves_a_separate_cursor_locked
    (void)glock_checked(cursor);
    return end(at);
}

i16 glist_delete(GHandle list, GHandle cursor)
{
    Access at;
    if (!begin(&at, list, cursor)) return 0;
    if (!at.status) {
        i32 done;
        at.status = glist_kind_delete(kind_of(at), state_of(at), at.cursor->position, 1, &done);
        // KEPT: one would expect the cursor to stand on the element that came into the gap. It falls back, onto the one
        // in front of it, so that `glist_get_next` is what goes on. Test: glist_delete.moves_the_cursor_back_by_one
        if (!at.status) at.cursor->position--;
    }
    return end(at);
}

// ---- Matching -------------------------------------------------------------------------------------------------------

struct Match {
    GlistMatchProc function;
    intptr_t data;
};

// Complete what the caller has given by the row of this type and id.
static i32 match_of(Glist *list, i32 type, i32 id, Match *match)
{
    bool complete = match->function && match->data;
    if (id == GLIST_NO_CALLBACK_ID) {
        // KEPT: one would expect the function to be enough, and data of 0 to be data like others. Without an id of a
        // row neither may be missing, and data of 0 are missing. Test: glist_find.without_an_id_needs_function_and_data
        return complete ? GLIST_OK : GLIST_ERR_BAD_ARGUMENT;
    }
    if (complete) return GLIST_OK;

    const GlistCallback *row = callback_with(list, type, id);
    if (!row) return GLIST_ERR_NOT_FOUND;
    if (!match->function) match->function = row->function;
    if (!match->data) match->data = row->data;
    return match->function ? GLIST_OK : GLIST_ERR_BAD_ARGUMENT;
}

// Delete the element at the cursor, and count it as gone.
static i32 delete_match(Access *at, i32 *removed)
{
    i32 done;
    (void)glist_kind_delete(kind_of(*at), state_of(*at), at->cursor->position, 1, &done);  // `done` tells enough
    at->cursor->position -= done;
    at->info.count -= done;
    *removed += done;
    return done == 1 ? GLIST_OK : GLIST_ERR_FAILED;
}

static i32 delete_matching(Access *at, i32 id, Match match, i32 *removed)
{
    i32 status = match_of(at->list, GLIST_CALLBACK_DELETE, id, &match);
    if (status) return status;

    GHandle iterator;
    status = glist_kind_iterator_open(kind_of(*at), state_of(*at), 0, &iterator);
    if (status) return status;

    at->cursor->position = 1;
    while (!status && at->cursor->position <= at->info.count) {
        void *element;
        status = glist_kind_element_pointer(kind_of(*at), iterator, at->cursor->position, &element);
        if (status) break;  // not examined, so the cursor stays in front of it
        if (match.function(element, match.data)) status = delete_match(at, removed);
        at->cursor->position++;
    }
    glist_kind_iterator_close(kind_of(*at), iterator);
    return status;
}

i16 glist_delete_matching(GHandle list, GHandle cursor, i32 id, GlistMatchProc function, intptr_t data, i32 *removed)
{
    i32 unused;
    if (!removed) removed = &unused;
    *removed = 0;

    Access at;
    if (!begin(&at, list, cursor)) return 0;
    if (!at.status) at.status = delete_matching(&at, id, { function, data }, removed);
    return end(at);
}

// Where a search begins, its step, and where it has run off the list.
struct Walk {
    i32 start;
    i32 step;
    i32 stop;
};

static i32 walk_of(const Access &at, i32 direction, Walk *walk)
{
    i32 behind = at.info.count + 1;
    i32 here = at.cursor->position;
    switch (direction) {
    case GLIST_FORWARD: *walk = { 0, 1, behind }; return GLIST_OK;
    case GLIST_BACKWARD: *walk = { behind, -1, 0 }; return GLIST_OK;
    case GLIST_FORWARD_FROM_CURSOR: *walk = { here, 1, behind }; return GLIST_OK;
    case GLIST_BACKWARD_FROM_CURSOR: *walk = { here, -1, 0 }; return GLIST_OK;
    default: return GLIST_ERR_BAD_ARGUMENT;
    }
}

// Step on until an element matches; its position is `*found`. A walk that begins at its stop steps past it, and ends
// because there is no element.
static i32 search(const Access &at, GHandle iterator, const Walk &walk, Match match, i32 *found)
{
    for (i32 position = walk.start + walk.step; position != walk.stop; position += walk.step) {
        void *element;
        i32 status = glist_kind_element_pointer(kind_of(at), iterator, position, &element);
        if (status) return status;
        if (match.function(element, match.data)) {
            *found = position;
            return GLIST_OK;
        }
    }
    return GLIST_ERR_NOT_FOUND;
}

static i32 find(const Access &at, i32 direction, i32 id, Match match)
{
    i32 status = match_of(at.list, GLIST_CALLBACK_FIND, id, &match);
    if (status) return status;

    Walk walk;
    status = walk_of(at, direction, &walk);
    if (status) return status;

    GHandle iterator;
    status = glist_kind_iterator_open(kind_of(at), state_of(at), 0, &iterator);
    if (status) return status;

    i32 found = 0;
    status = search(at, iterator, walk, match, &found);
    glist_kind_iterator_close(kind_of(at), iterator);
    if (!status) at.cursor->position = found;
    return status;
}

i16 glist_find(GHandle list, GHandle cursor, i32 direction, i32 id, GlistMatchProc function, intptr_t data)
{
    Access at;
    if (!begin(&at, list, cursor)) return 0;
    if (!at.status) at.status = find(at, direction, id, { function, data });
    return end(at);
}

// ---- Debugging ------------------------------------------------------------------------------------------------------

GHandle glist_set_debug_file(GHandle handle, const char *name)
{
    Glist *list = lock_list(handle);
    if (!list) return 0;

    if (!list->debug_name) list->debug_name = galloc(PSTRING_SIZE, nullptr, 1);
    char *text = (char *)glock(list->debug_name);
    if (text) {
        size_t length = name ? strnlen(name, PSTRING_SIZE - 1) : 0;
        if (length > 0) memmove(text, name, length);
        text[length] = 0;
        gunlock(list->debug_name);
    }
    GHandle block = list->debug_name;
    gunlock(handle);
    return block;
}

// The file named by `glist_set_debug_file`, made if it is not there; 0 on failure.
static FileHandle open_debug_file(GHandle name_block)
{
    const char *text = (const char *)glock(name_block);
    u8 name[PSTRING_SIZE];
    pstrconst(name, text ? text : "");
    gunlock(name_block);
    if (name[0] == 0) return 0;

    native_2_filename(name);
    FileHandle file = file_open(name, FILE_RW_SHARED);
    if (file) return file;
    (void)file_create(name);  // the second opening tells whether there is one now
    return file_open(name, FILE_RW_SHARED);
}

static bool write_whole(FileHandle file, const void *bytes, i32 size)
{
    return file_write(file, bytes, size) == size;
}

static void write_text(FileHandle file, const char *text)
{
    (void)write_whole(file, text, (i32)strlen(text));  // a dump says what it can
}

// KEPT: one would expect numbers of 32 bits, which positions and sizes are. They are printed as 16 bits with a sign, so
// that 40000 reads -25536. Test: glist_dump.prints_numbers_of_16_bits
static void write_number(FileHandle file, const char *label, i32 number)
{
    char line[64];
    c_format_bounded(line, (i32)sizeof line, "%s%0d", label, number);
    write_text(file, line);
}

constexpr i32 DUMP_COLUMNS = 16;

// A line of at most 16 bytes, in hexadecimal and as characters. False if it did not go out whole.
static bool dump_line(FileHandle file, const u8 *bytes, i32 count)
{
    static const char digits[] = "0123456789ABCDEF";
    char line[128] = "\r\n  ";
    char *to = line + strlen(line);
    for (i32 i = 0; i < DUMP_COLUMNS; i++) {
        *to++ = i < count ? digits[bytes[i] >> 4] : ' ';
        *to++ = i < count ? digits[bytes[i] & 15] : ' ';
        *to++ = ' ';
    }
    for (const char *mark = " -> \""; *mark; mark++) *to++ = *mark;
    for (i32 i = 0; i < count; i++) *to++ = char_isprint(bytes[i]) ? (char)bytes[i] : '.';
    *to++ = '"';
    return write_whole(file, line, (i32)(to - line));
}

static void dump_bytes(FileHandle file, const u8 *bytes, i32 size)
{
    for (i32 done = 0; done < size; done += DUMP_COLUMNS) {
        i32 rest = size - done;
        if (!dump_line(file, bytes + done, rest < DUMP_COLUMNS ? rest : DUMP_COLUMNS)) return;
    }
}

static void dump_list(const Access &at, FileHandle file, ConstPString message, u8 *element)
{
    write_text(file, "\r\n\r\n*** Glist DBG List Dump ***");
    if (message) {
        write_text(file, "\r\nMessage:        ");
        (void)write_whole(file, message + 1, message[0]);
    }
    write_number(file, "\r\nCount:          ", at.info.count);
    write_number(file, "\r\nElement Size:   ", at.info.element_size);

    for (i32 position = 1; position <= at.info.count; position++) {
        write_number(file, "\r\n\r\n  Element #: ", position);
        i32 done;
        i32 status = glist_kind_read(kind_of(at), state_of(at), position, 1, element, &done);
        if (!status) dump_bytes(file, element, at.info.element_size);
    }
}

static i32 dump_to(const Access &at, FileHandle file, ConstPString message)
{
    i32 size = file_size(file);
    if (size < 0 || !file_seek(file, size)) return GLIST_ERR_FAILED;

    GHandle buffer = galloc(at.info.element_size, nullptr, 1);
    u8 *element = (u8 *)glock(buffer);
    if (!element) return GLIST_ERR_MEMORY;

    dump_list(at, file, message, element);
    gunlock(buffer);
    gfree(buffer);
    return GLIST_OK;
}

static i32 dump(const Access &at, FileHandle file, ConstPString message)
{
    if (!at.list->debug_name) return dump_to(at, file, message);

    FileHandle own = open_debug_file(at.list->debug_name);
    if (!own) return GLIST_ERR_FAILED;
    i32 status = dump_to(at, own, message);
    (void)file_close(own);  // what was written is there
    return status;
}

i16 glist_dump(GHandle list, FileHandle file, ConstPString message)
{
    Access at;
    if (!begin(&at, list, 0)) return 0;
    if (!at.status) at.status = dump(at, file, message);
    return end(at);
}

// ---- Companions -----------------------------------------------------------------------------------------------------

GHandle handle_from_bytes(const void *bytes, i16 size)
{
    return ghandle_from_bytes(bytes, size);
}

// KEPT: one would expect somebody to use this value. It is the highest status at the start, and whatever is stored in
// it counts for nothing. Test: glist_module_value.is_17_until_another_is_stored
i16 glist_module_value(const i16 *new_value)
{
    static constinit i16 value = GLIST_ERR_TEMP_FILE;
    if (new_value) value = *new_value;
    return value;
}

void glist_module_start()
{
}

} // namespace zuk
