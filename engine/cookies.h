// Cookies: how a caller names a dictionary and its choice of files, and the small values of the set.
//
// A cookie is a copy and says nothing of a file being open. Those made here choose a file only if it is open, and file
// 0 otherwise. Built on engine/dict_set.h. `ds_default_form_cookie` and `ds_setcurdict` are declared in zuk/zuk.h.
#pragma once

#include "engine/dict_set.h"

namespace zuk {

// Cookies with file 1 of a slot, and their `_second` twins with file 2. The results tell whether a slot was found: 1,
// or 0 with slot 0 by identifier and by name, and 0 with the cookie left as it was by `_name_second` and for slot two.
i32 cookie_current_second(DictCookie *cookie);                       // the selector put in, as ds_default_form_cookie
i32 cookie_for_id(DictCookie *cookie, u16 id);
i32 cookie_for_id_second(DictCookie *cookie, u16 id);
i32 cookie_for_name(ConstPString name, DictCookie *cookie);
i32 cookie_for_name_second(ConstPString name, DictCookie *cookie);   // see its KEPT note
i32 cookie_for_slot_two(DictCookie *cookie);                         // see its KEPT note
i32 cookie_for_slot_two_second(DictCookie *cookie);                  // 0 when fewer than two slots are in use
void cookie_for_first_slot(DictCookie *cookie);                      // slot 1, in use or not
void cookie_for_first_slot_plain(DictCookie *cookie);                // {1, 0, 0}, or {0, 0, 0} when slot 1 is free

void cookie_copy(DictCookie *to, const DictCookie *from);
void cookie_clear(DictCookie *cookie);                               // `slot` 0; the other words stay
bool cookie_is_set(const DictCookie *cookie);
i32 cookie_other_selector(const DictCookie *cookie);
i32 cookie_set_selector(DictCookie *cookie, i32 selector);           // 1 if that file, 1 or 2, is open; else 0
i32 cookie_set_other_selector(DictCookie *cookie, i32 selector);
bool cookie_same_slot(const DictCookie *a, const DictCookie *b);
bool cookie_is_current(const DictCookie *cookie, i16 id);            // by the slots alone, whatever `id` is

void cookie_name(const DictCookie *cookie, PString out);             // the slot's name; empty for a bad slot
i32 cookie_path(const DictCookie *cookie, i32 selector, PString out);  // 1, or 0 if there is no such path
u16 cookie_dict_id(const DictCookie *cookie);                        // 65535 for a bad slot

// ---- Values of the set ----------------------------------------------------------------------------------------------

// Without a set nothing is stored, and what is read is empty or 0.

void set_base_path(ConstPString path);                               // at most 255 characters; nothing else uses it
void get_base_path(PString out);                                     // whole
void get_base_dir(PString out);                                      // as `filename_dir` splits it
void get_base_file(PString out);                                     // as `filename_name` does
void set_redirect_to_main(u16 flag);
void set_main_slot(u16 slot);
void set_main_slot_from_cookie(const DictCookie *cookie);            // nothing for a cookie without a slot
u16 get_user_word(i16 index);                                        // 0 unless `index` is 0 or 1
void set_user_word(i16 index, u16 value);                            // see its KEPT note

// ---- Slots as a whole -----------------------------------------------------------------------------------------------

// Release a slot and close the gap behind it, as far as its KEPT note tells. Nothing is closed: a file that is open in
// the slot itself, or in the last one when that does not move, is lost. Two slots can then hold one platform file; all
// that was in memory for it goes to the first of them, and the second reads as empty.
void slot_remove(u16 id);
void slot_release_all_but_first();       // from slot 2 on; see its KEPT note

} // namespace zuk
