// What every table of this backend shares: the system's errors in our numbers, and native names as paths.
#pragma once

#include "platform/platform.h"

namespace zuk {

u32 error_of(int error);  // of an `errno`

constexpr size_t PATH_SIZE = 512;

// The system's form of a native name: each backslash becomes a slash.
u32 path_of(const char *name, char path[PATH_SIZE]);

// The same as `error_of` for a call that was given `path`. A name that is not there can mean the file or one of its
// directories, which the system does not tell apart.
u32 name_error_of(int error, const char path[PATH_SIZE]);

} // namespace zuk
