// A dictionary rebuilt by copying its modules: what was free in its blocks and between them stays behind.
//
// The new file is written beside its place under another name, compared with the old one, and then renamed: whatever
// fails leaves no new file, and a file that was to be replaced as it was. The old one is only read.
#pragma once

#include "zuk/types.h"

#include <string>

namespace zuk::tool {

struct PackReport {
    i64 bytes_before = 0, bytes_after = 0;
    size_t modules = 0, resources = 0;
};

// Kinds, numbers, names, resources, flags, owners, the version and the change count are kept. Refuses a file with
// faults, and without `force` to replace what stands at `new_file`. With `dry_run` the new file goes once it is
// measured.
PackReport pack_dictionary(const std::string &file, const std::string &new_file, bool force, bool dry_run = false);

} // namespace zuk::tool
