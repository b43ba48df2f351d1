// The set of dictionaries: its slots, which of them is current, and which file an operation reaches.
//
// The set lives in one handle that grows by whole slots, so a slot, a file and a path move whenever a slot is claimed:
// keep slot numbers, never pointers, across `slot_claim`. A slot keeps its place and its contents when it is released.
// Slot numbers count from 1.
#pragma once

#include "engine/dict_file.h"

namespace zuk {

constexpr u16 SLOT_FREE = 65535;         // the id of a slot that is not in use; no dictionary can have it
constexpr i32 SLOT_FILES = 3;
constexpr i16 SLOT_NAME_MAX = 31;

// One dictionary: its main file (selector 0) and two more of the same format.
struct DictSlot {
    u16 id;                              // the caller's
    u8 paths[SLOT_FILES][256];
    DictFile files[SLOT_FILES];
    u8 name[SLOT_NAME_MAX + 1];          // last part of the path of file 0
    u16 inactive;                        // the caller's; nothing else reads it
};

struct DictSet {
    DictCookie current;
    u16 used_slots;
    u16 free_slots;                      // with `used_slots`, the length of `slots`
    u8 base_path[256];
    u16 redirect_to_main;
    u16 not_main_product;
    u16 main_slot;
    u16 user_words[2];
    DictSlot slots[1];                   // as many as the handle has room for
};

extern DictSet *dict_set;                // null: the library is not started

// ---- Start and end --------------------------------------------------------------------------------------------------

bool set_init();                         // a set of one free slot; false without memory. An older set is forgotten.
void set_free();

// ---- Slots ----------------------------------------------------------------------------------------------------------

// Take a slot for a dictionary. 15 without a set, 2 when the identifier is in use or is 65535, 9 without memory.
DictStatus slot_claim(u16 id);
void slot_release(u16 id);               // nothing but the identifier and the counts changes
// More slots. 9 without memory, and then there is no set any more.
DictStatus slot_grow(u16 count);

i32 slot_find(u16 id);                   // slot number, 0 if none
DictSlot *slot_at(i32 slot);             // null for a bad number
u16 slot_id_at(i32 slot);                // 65535 for a bad number
i32 slot_total();
i32 slot_used_count();

// At most 255 characters, empty for a null path; nothing for an unknown identifier or a bad selector.
void slot_set_path(u16 id, i32 selector, ConstPString path);
PString slot_path_at(i32 slot, i32 selector);           // null for a bad slot or selector
void slot_set_name(const DictCookie *cookie, ConstPString name);  // cut to 31 characters; nothing for a bad slot
void slot_name_at(i32 slot, PString out);               // empty for a bad slot
bool slot_is_active(i32 slot);                          // the negation of `inactive`; false for a bad slot
void slot_set_active(i32 slot, bool active);            // nothing for a bad slot

// ---- Files ----------------------------------------------------------------------------------------------------------

DictFile *dict_file_at(i32 slot, i32 selector);         // null for a bad slot or selector
DictFile *dict_file_by_cookie(const DictCookie *cookie, i32 selector);
DictFile *dict_file_of_cookie(const DictCookie *cookie);        // file `other_selector`
DictFile *dict_file_of_cookie_kind1(const DictCookie *cookie);  // file `selector`
i32 slot_selector_if_open(i32 slot, i32 selector);      // the selector if that file is open, else 0
bool dict_selected_is_open(const DictCookie *cookie, i32 selector);

// File 0 of the slot that holds `file`; null when no slot does.
DictFile *dict_main_file_of(const DictFile *file);

// ---- The current dictionary -----------------------------------------------------------------------------------------

void current_cookie_get(DictCookie *out);               // leaves `out` alone when there is no set
u16 current_dict_id();                                  // 0 when there is no set, 65535 for a slot that is free

// The file of a read. Kind 1 goes by the selector, other kinds by the other selector, but for the types that only file
// 0 holds. With `redirect_to_main` set, identifiers below 20000 can go to the main dictionary: callers who want none of
// it pass 20000. Null without a set, and when the cookie names a slot or a selector that does not exist; the file need
// not be open.
DictFile *dict_select_file(i32 kind, u16 type, i16 id);
constexpr i16 SELECT_NO_REDIRECT = 20000;

} // namespace zuk
