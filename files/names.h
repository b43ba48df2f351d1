// Portable file names: strings with `/` between directories and `:` behind a volume, the same on every target.
//
// A native name `C:\DIR\A.TXT` is `:C:DIR/A.TXT` here; a relative one `DIR\A.TXT` is `DIR/A.TXT`. The leading colon
// marks a name that holds a volume. A doubled slash in the last part of a name stands for one slash that belongs to the
// name. `filename_2_native` and `native_2_filename` are declared in zuk/zuk.h. All of it is text work in local buffers:
// no file is touched, nothing is allocated.
#pragma once

#include "zuk/zuk.h"

namespace zuk {

PString filename_name(PString dest, ConstPString name);  // the last part; the result is `dest`
PString filename_dir(PString dest, ConstPString name);   // all up to and with the last separator

} // namespace zuk
