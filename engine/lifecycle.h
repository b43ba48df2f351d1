// Start, open, close, stop: the sequences that put the floors below together.
//
// The exported ones are declared in zuk/zuk.h; here stand those by cookie and selector, which reach the two further
// files of a dictionary as well. A file of selector 1 or 2 can be open only while file 0 is.
#pragma once

#include "engine/cookies.h"

namespace zuk {

// Open the file whose path stands in the slot, and bring in its core tables. 3 for a bad slot or selector; a status of
// `dict_file_open`; 21 when the tables of a further file cannot be read under its lock, and it is open then; the status
// of a rebuild. After 0 the file may be closed all the same: where a rebuild could not have it alone.
DictStatus dict_open_selected(const DictCookie *cookie, i32 selector, u16 mode, u16 option);
DictStatus dict_close_selected(const DictCookie *cookie, i32 selector);   // 3, or as `dict_file_close`
DictStatus dict_create_selected(const DictCookie *cookie, i32 selector);  // 3, or as `dict_file_create`

// Open a file again in another mode, with all that is in memory; 1, or 0 when it is back in the old mode, or lost. The
// whole pinned cache is emptied.
i32 dict_file_reopen(const DictCookie *cookie, i32 selector, u16 mode);

} // namespace zuk
