// Templates of messages: "%1" to "%9" and "%0" stand for what is known only later.
#pragma once

#include "zuk/types.h"

namespace zuk {

constexpr i32 SUBSTITUTE_SIZE = 544;  // bytes that a result has at most, its NUL included

// Replace the first "%" with the digit `number` (0 to 9) behind it by `insert`, in place. Both texts are
// NUL-terminated, and `text` must have room for the new one, which is cut to 543 characters. The result is the new
// length plus 1; without the placeholder `text` stays as it is. 0 for a null pointer.
i32 text_substitute(char *text, i16 number, const char *insert);

} // namespace zuk
