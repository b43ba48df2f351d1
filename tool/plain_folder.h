// Any folder of files as the resources of one type: a file is a resource named by its path in the folder, with `/`.
#pragma once

#include "tool/paths.h"

#include <string>
#include <vector>

namespace zuk::tool {

// The regular files below a folder, sorted by the bytes of their paths. Links and special files are told by `say` and
// left out.
std::vector<std::string> list_plain_files(const fs::path &directory, const std::string &shown);

// Why a name cannot be the path of a file below a folder; "" when it can. It would leave the folder, or name no file.
std::string unsafe_file_name(const std::string &name);

// The first name that is also a folder of another; "" if there is none.
std::string clash_of_names(const std::vector<std::string> &names);

} // namespace zuk::tool
