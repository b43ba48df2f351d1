// Statuses of the engine. The numbers stand in zuk/zuk.h (`DICT_OK`, `DICT_NOT_FOUND`, ...).
#pragma once

#include "zuk/zuk.h"

namespace zuk {

// The status of the last error in `file_error`. Ask directly after the file operation.
DictStatus status_from_file_error();

// The first of two statuses that is not success: for a step that runs even though an earlier one failed.
constexpr DictStatus first_failure(DictStatus earlier, DictStatus later) { return earlier ? earlier : later; }

} // namespace zuk
