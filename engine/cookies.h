// Cookies: how a caller names a dictionary and its choice of files, and the small values of the set.
//
// A cookie is a copy and says nothing of a file being open. Those made here choose a file only if it is open, and file 0
// otherwise. Built on engine/dict_set.h. `ds_default_form_cookie` and `ds_setcurdict` are declared in zuk/zuk.h.
#pragma once

#include "engine/dict_set.h"

namespace zuk {

// Cookies with file 1 of a slot, and their `_second` twins with file 2. The results tell whether a slot was found.
i32 cookie_current_second(DictCookie *cookie);                       // the selector put in, as ds_default_form_cookie
i32 cookie_for_id(DictCookie *cookie, u16 id);
i32 cookie_for_id_second(DictCookie *cookie, u16 id);
i32 cookie_for_name(ConstPString name, DictCookie *cookie);
i32 cookie_for_name_second(ConstPString name, DictCookie *cookie);   // see its KEPT note
i32 cookie_for_slot_two(DictCookie *cookie);                         // see its KEPT note
i32 cookie_for_slot_two_second(DictCookie *cookie);
void cookie_for_first_slot(DictCookie *cookie);                      // slot 1, in use or not
void cookie_for_first_slot_plain(DictCookie *cookie);                // {1, 0, 0}, or cleared when slot 1 is free

void cookie_copy(DictCookie *to, const DictCookie *from);
void cookie_clear(DictCookie *cookie);                               // `slot` 0
bool cookie_is_set(const DictCookie *cookie);
i32 cookie_other_selector(const DictCookie *cookie);
i32 cookie_set_selector(DictCookie *cookie, i32 selector);           // 1 if that file is open, else 0 and no change
i32 cookie_set_other_selector(DictCookie *cookie, i32 selector);
bool cookie_same_slot(const DictCookie *a, const DictCookie *b);
bool cookie_is_current(const DictCookie *cookie, i16 id);

void cookie_name(const DictCookie *cookie, PString out);             // the slot's name; empty for a bad slot
i32 cookie_path(const DictCookie *cookie, i32 selector, PString out);  // 1, or 0 if there is no such path
u16 cookie_dict_id(const DictCookie *cookie);                        // 65535 for a bad slot

// ---- Values of the set ----------------------------------------------------------------------------------------------

void set_base_path(ConstPString path);
void get_base_path(PString out);
void get_base_dir(PString out);
void get_base_file(PString out);
void set_redirect_to_main(u16 flag);
void set_main_slot(u16 slot);
void set_main_slot_from_cookie(const DictCookie *cookie);            // nothing for a cookie without a slot
u16 get_user_word(i16 index);                                        // 0 unless `index` is 0 or 1
void set_user_word(i16 index, u16 value);

// ---- Slots as a whole -----------------------------------------------------------------------------------------------

void slot_remove(u16 id);                // see its KEPT note
void slot_release_all_but_first();

} // namespace zuk
