// Options of the installation. Each has one accessor, and nothing else spells its key.
//
// They give their defaults until a settings file is read; `option_preset` sets them for a process.
#pragma once

#include "zuk/types.h"

namespace zuk {

i16 option_main_product();  // MainProduct: whether this is the main product; default 0
i32 option_min_id();        // MinID: the lowest identifier to give out; default 1

// Other values for this process, in the place of the defaults.
void option_preset(i16 main_product, i32 min_id);

} // namespace zuk
