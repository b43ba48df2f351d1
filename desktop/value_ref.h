// Tagged references to a value that is held in any of 17 ways, a resource of the dictionary among them.
//
// What a kind stands for, and what the operations make of it:
//
//   kind    `value`                     lock gives                      handle gives    release
//   1 - 3   a number of 8, 16, 32 bits  its address in the reference    0
//   4, 5    address of data             that address                    0
//   6       address of an address       the address there + `extra`     0
//   7       a handle, lent              its data                        it
//   8, 10   a resource                  the data of a new handle        a new handle
//   9       a handle, owned             its data                        it              frees it
//   11, 12  as 4, to be owned           as 4                            0
//   13      as 7, to be owned           as 7                            as 7
//   14      as 8, to be owned           as 8                            as 8
//   15      address of a handle         its data                        the handle
//   16      as 15, owned                as 15                           as 15           frees it
//   17      address of an address; at `extra` bytes from there is a handle, owned:  as 15, and release frees it
//
// A resource is named by its type (low word) and identifier (high word), and is read from module 1 of kind 1 of the
// current dictionary. Each time it is, that makes a new handle, which is the caller's to free; `ghandle` finds it from
// the data that a lock gave.
//
// A null pointer on the way, a null reference and a resource that cannot be read give null or 0, and nobody is told
// why. A kind outside 0 to 17 counts as 0. A reference is copied by its bytes, at any address; of all copies of an
// owning one, exactly one may be released. One thread at a time. Services for callers. Built on `dd_getresourcehndl`.
#pragma once

#include "zuk/types.h"

#include <stddef.h>

namespace zuk {

enum ValueKind : i32 {
    VALUE_NONE = 0,
    VALUE_BYTE = 1,
    VALUE_WORD = 2,
    VALUE_LONG = 3,
    VALUE_POINTER = 4,
    VALUE_POINTER_TWIN = 5,
    VALUE_INNER_POINTER = 6,
    VALUE_LENT = 7,
    VALUE_RESOURCE = 8,
    VALUE_OWNED = 9,
    VALUE_RESOURCE_TWIN = 10,
    VALUE_POINTER_TO_OWN = 11,
    VALUE_POINTER_TO_OWN_TWIN = 12,
    VALUE_LENT_TO_OWN = 13,
    VALUE_RESOURCE_TO_OWN = 14,
    VALUE_HANDLE_AT = 15,
    VALUE_OWNED_AT = 16,
    VALUE_OWNED_INSIDE = 17,
};

// Packed: 10 bytes where a pointer has 4, 14 where it has 8. What is narrower than an address takes the low bytes of
// `value`, which come first, and the others are 0.
#pragma pack(push, 1)
struct ValueRef {
    i32 kind;              // a `ValueKind`
    uintptr_t value;
    i16 extra;             // for kinds 6 and 17
};
#pragma pack(pop)
static_assert(sizeof(ValueRef) == 6 + sizeof(void *) && offsetof(ValueRef, extra) == 4 + sizeof(void *));

// ---- The reference itself -------------------------------------------------------------------------------------------

// Store kind and value, the value cut to the kind's width: 8 and 16 bits for kinds 1 and 2, an address for those that
// hold one, else 32 bits. `extra` is 0 but for kinds 6 and 17. An unknown kind clears all three. What the reference
// held is forgotten, not freed.
void value_ref_set(ValueRef *ref, i32 kind, uintptr_t value, i16 extra);

void value_ref_copy(ValueRef *dest, const ValueRef *src);        // a null `src` clears `dest`
i16 value_ref_equal(const ValueRef *a, const ValueRef *b);       // 1 if all bytes agree; 0 also if either is null

// ---- What it stands for ---------------------------------------------------------------------------------------------

GHandle value_ref_handle(const ValueRef *ref);                   // see the table; a resource is the caller's to free

// Where the handle of kinds 7, 9, 13 and 15 to 17 is stored, whatever is stored there; null for the others. The cell
// stands in the reference itself for the first three, so that it has only the alignment of that.
GHandle *value_ref_handle_cell(ValueRef *ref);

void *value_ref_lock(ValueRef *ref);                             // see the table
void value_ref_unlock(ValueRef *ref);                            // no handle of a resource is freed by it

// ---- Owning ---------------------------------------------------------------------------------------------------------

// Free the handle that an owning kind holds, and make kind and value 0, whatever the kind was. `extra` stays, and so
// does the handle's number where kinds 16 and 17 keep it.
void value_ref_release(ValueRef *ref);

// Make an owning reference, of kind 9, out of one of kinds 11 to 14; others stay as they are. `*err` is 0 on success
// and 1 when memory is short or the resource or handle is none; then the kind stays and `value` is 0. `err` may be
// null. The result is null but in one case.
//
//   11, 12  a new handle with `length` bytes of the data. With a negative length it has -`length` bytes of 0, and the
//           result is the old address. With 0 there is no handle. An address that is null stays so, of its kind.
//   13      a new handle with a copy of the old one, which stays its lender's
//   14      a new handle with the resource
//
// What becomes of the data of kinds 11 and 12 is the caller's affair.
void *value_ref_own(ValueRef *ref, i32 length, i16 *err);

} // namespace zuk
