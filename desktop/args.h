// The command line: a walk over the tokens of `args_text` (desktop/app_state.h), which are separated by blanks.
//
//     i16 count, first;
//     args_count(&count, &first);
//     for (i16 i = first; i <= count; i++) args_next(name, type);
//
// There is one walk, with a cursor in the text. Blanks are 0x20 alone, and nothing quotes them. One thread at a time.
#pragma once

#include "zuk/types.h"

namespace zuk {

// Begin the walk: the number of tokens and the number of the first one, which is 1, through each pointer that is not
// null. Blanks at the end count as one token more, and the walk gives an empty one for it.
void args_count(i16 *count, i16 *first);

// Take the next token as a portable name and the type of its extension, both in buffers of 256 bytes. A token has at
// most 80 characters; what is behind them is the next one. Both are empty at the end of the text, and ahead of the
// first `args_count`. Nothing happens if one is null. A name of the type PARM, or with the extension PARM, comes in
// upper case.
void args_next(PString name, PString type);

void args_clear();  // there are no tokens any more

} // namespace zuk
