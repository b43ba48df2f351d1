// Why a file could not be opened, told so that a person knows what to do.
#pragma once

#include "tool/paths.h"
#include "zuk/zuk.h"

namespace zuk::tool {

// `path` is absolute, `mode` that of the attempt. The library's status 10 covers several reasons, told apart here.
[[noreturn]] void fail_open(DictStatus status, const std::string &shown, const fs::path &path, uint16_t mode);

// The status of a failed `file_open`. Ask directly after it.
DictStatus status_of_open();

} // namespace zuk::tool
