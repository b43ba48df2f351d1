#include "desktop/value_ref.h"

#include "foundation/handles.h"

#include <string.h>

namespace zuk {

// Where all the resources of references are.
constexpr i32 RESOURCE_KIND = 1;
constexpr i32 RESOURCE_MODULE = 1;

// Flags of the two ways to read them. The reading looks at none of these bits.
constexpr i32 READ_TO_LOCK = 3;
constexpr i32 READ_AS_HANDLE = 9;
constexpr i32 READ_TO_OWN = 0;

// KEPT: one would expect each kind to act in a way of its own. 4, 5, 11 and 12 act alike, 7 and 13, 8, 10 and 14, and
// 15 and 16 but for the release; only `value_ref_own` tells more of them apart. The numbers are for callers, who know
// what a value is by them. Test: value_ref_lock.takes_twin_kinds_alike, Test: value_ref_handle.takes_twin_kinds_alike
static i32 kind_of(const ValueRef *ref)
{
    return ref && ref->kind >= VALUE_NONE && ref->kind <= VALUE_OWNED_INSIDE ? ref->kind : VALUE_NONE;
}

// ---- The reference itself -------------------------------------------------------------------------------------------

static uintptr_t cut_to_width(i32 kind, uintptr_t value)
{
    switch (kind) {
    case VALUE_BYTE: return (u8)value;
    case VALUE_WORD: return (u16)value;
    case VALUE_LONG:
    case VALUE_LENT:
    case VALUE_RESOURCE:
    case VALUE_OWNED:
    case VALUE_RESOURCE_TWIN:
    case VALUE_LENT_TO_OWN:
    case VALUE_RESOURCE_TO_OWN: return (u32)value;
    default: return value;
    }
}

void value_ref_set(ValueRef *ref, i32 kind, uintptr_t value, i16 extra)
{
    if (!ref) return;
    *ref = {};
    if (kind < VALUE_BYTE || kind > VALUE_OWNED_INSIDE) return;

    ref->kind = kind;
    ref->value = cut_to_width(kind, value);
    if (kind == VALUE_INNER_POINTER || kind == VALUE_OWNED_INSIDE) ref->extra = extra;
}

void value_ref_copy(ValueRef *dest, const ValueRef *src)
{
    if (!dest) return;
    if (src) memmove(dest, src, sizeof *dest);  // they may be the same
    else value_ref_set(dest, VALUE_NONE, 0, 0);
}

i16 value_ref_equal(const ValueRef *a, const ValueRef *b)
{
    return a && b && memcmp(a, b, sizeof *a) == 0;
}

// ---- The way to the value -------------------------------------------------------------------------------------------

// What is read on the way may stand at any address, as the reference itself.

static void *value_place(const ValueRef *ref) { return (u8 *)ref + offsetof(ValueRef, value); }

static u8 *address_at(const void *place)
{
    u8 *address;
    memcpy(&address, place, sizeof address);
    return address;
}

static u8 *value_as_address(const ValueRef *ref) { return address_at(value_place(ref)); }

// For kinds 6 and 17: `extra` bytes from the address that `value` points to; null if either is null.
static void *inner_place(const ValueRef *ref)
{
    const u8 *place = value_as_address(ref);
    u8 *inner = place ? address_at(place) : nullptr;
    return inner ? inner + ref->extra : nullptr;
}

static void *handle_place(const ValueRef *ref)
{
    switch (kind_of(ref)) {
    case VALUE_LENT:
    case VALUE_OWNED:
    case VALUE_LENT_TO_OWN: return value_place(ref);
    case VALUE_HANDLE_AT:
    case VALUE_OWNED_AT: return value_as_address(ref);
    case VALUE_OWNED_INSIDE: return inner_place(ref);
    default: return nullptr;
    }
}

// The handle that stands somewhere, not that of a resource.
static GHandle stored_handle(const ValueRef *ref)
{
    GHandle handle = 0;
    const void *place = handle_place(ref);
    if (place) memcpy(&handle, place, sizeof handle);
    return handle;
}

static GHandle read_resource(const ValueRef *ref, i32 flags)
{
    u16 type = (u16)ref->value;
    u16 id = (u16)(ref->value >> 16);
    return dd_getresourcehndl(RESOURCE_KIND, RESOURCE_MODULE, type, id, flags, nullptr);
}

static GHandle handle_by(const ValueRef *ref, i32 flags)
{
    switch (kind_of(ref)) {
    case VALUE_RESOURCE:
    case VALUE_RESOURCE_TWIN:
    case VALUE_RESOURCE_TO_OWN: return read_resource(ref, flags);
    default: return stored_handle(ref);
    }
}

// ---- What it stands for ---------------------------------------------------------------------------------------------

GHandle value_ref_handle(const ValueRef *ref) { return handle_by(ref, READ_AS_HANDLE); }

GHandle *value_ref_handle_cell(ValueRef *ref) { return (GHandle *)handle_place(ref); }

void *value_ref_lock(ValueRef *ref)
{
    switch (kind_of(ref)) {
    case VALUE_BYTE:
    case VALUE_WORD:
    case VALUE_LONG: return value_place(ref);
    case VALUE_POINTER:
    case VALUE_POINTER_TWIN:
    case VALUE_POINTER_TO_OWN:
    case VALUE_POINTER_TO_OWN_TWIN: return value_as_address(ref);
    case VALUE_INNER_POINTER: return inner_place(ref);
    default: return glock(handle_by(ref, READ_TO_LOCK));
    }
}

void value_ref_unlock(ValueRef *ref)
{
    GHandle handle = stored_handle(ref);
    switch (kind_of(ref)) {
    case VALUE_RESOURCE:
    case VALUE_RESOURCE_TWIN:
    case VALUE_RESOURCE_TO_OWN:
        // KEPT: one would expect the handle that the lock has read to be given up here. The reference does not know it:
        // type and identifier are unlocked as if they were a handle, which does nothing, and what was read lives on
        // until its locker frees it. Test: value_ref_unlock.leaves_the_handle_that_a_lock_has_read
        handle = (GHandle)ref->value;
        break;
    default: break;
    }
    if (handle) gunlock(handle);
}

// ---- Owning ---------------------------------------------------------------------------------------------------------

void value_ref_release(ValueRef *ref)
{
    if (!ref) return;
    GHandle owned = 0;
    switch (kind_of(ref)) {
    case VALUE_OWNED:
    case VALUE_OWNED_AT:
    case VALUE_OWNED_INSIDE:
        // KEPT: one would expect the variable of kinds 16 and 17 to read 0 once its handle is freed. It keeps the
        // number. Test: value_ref_release.leaves_the_number_in_the_cell
        owned = stored_handle(ref);
        break;
    default: break;
    }

    // KEPT: one would expect a cleared reference, equal to others of kind 0, and nothing to happen to one that owns
    // nothing. Kind and value become 0 for every kind, and `extra` stays. Test: value_ref_release.leaves_extra,
    // Test: value_ref_release.forgets_what_is_not_owned
    ref->value = 0;
    ref->kind = VALUE_NONE;
    gfree(owned);  // last, since the reference may stand in the block that goes
}

// Put a new handle into the reference. A failure, which is 0, goes there too.
static bool own_handle(ValueRef *ref, GHandle handle)
{
    // KEPT: one would expect a failure to leave the reference as it was. Its value is what the failed step gave, 0, and
    // the kind stays, so that what it stood for is found no more.
    // Test: value_ref_own.leaves_the_kind_and_a_value_of_0_when_memory_is_short
    ref->value = handle;
    if (!handle) return false;
    ref->kind = VALUE_OWNED;
    return true;
}

static bool own_data(ValueRef *ref, i32 length, void **old)
{
    // KEPT: one would expect kind 9 for every success. A null address stays of its kind.
    // Test: value_ref_own.leaves_a_null_address_of_its_kind
    u8 *data = value_as_address(ref);
    if (!data) return true;

    // KEPT: one would expect an empty block. There is none, and the owning kind has the handle 0.
    // Test: value_ref_own.of_no_bytes_has_no_handle
    if (length == 0) {
        ref->value = 0;
        ref->kind = VALUE_OWNED;
        return true;
    }

    i32 size = length < 0 ? (i32)(0u - (u32)length) : length;  // stays below 0 for the lowest, which `galloc` refuses
    if (!own_handle(ref, galloc(size, nullptr, 1))) return false;

    // KEPT: one would expect a negative length to be refused. It makes a block of so many bytes, clear, and the caller
    // gets the address back that the reference held. Test: value_ref_own.of_a_negative_length_gives_back_the_address
    if (length < 0) {
        *old = data;
        return true;
    }
    GHandle copy = (GHandle)ref->value;
    memcpy(glock(copy), data, (size_t)length);
    gunlock(copy);
    return true;
}

static bool own_resource(ValueRef *ref)
{
    GHandle read = read_resource(ref, READ_TO_OWN);
    bool owned = own_handle(ref, gdup(read));
    gfree(read);
    return owned;
}

void *value_ref_own(ValueRef *ref, i32 length, i16 *err)
{
    if (err) *err = 0;
    void *old = nullptr;
    bool done = true;
    switch (kind_of(ref)) {
    case VALUE_POINTER_TO_OWN:
    case VALUE_POINTER_TO_OWN_TWIN: done = own_data(ref, length, &old); break;
    case VALUE_LENT_TO_OWN: done = own_handle(ref, gdup(stored_handle(ref))); break;
    case VALUE_RESOURCE_TO_OWN: done = own_resource(ref); break;
    default: break;
    }
    if (err && !done) *err = 1;
    return old;
}

} // namespace zuk
