// Numbers as text.
#pragma once

#include "zuk/zuk.h"

namespace zuk {

PString long_to_pstr(PString dest, i32 value);  // decimal, with a minus sign when negative

} // namespace zuk
