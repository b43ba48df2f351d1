// Files into a folder: what is there is compared first, and only what differs is written.
//
// Nothing is written before all of it was tested: that nothing foreign stands in the folder, that no link or other
// thing stands in the way of a file, and, where files may not be replaced, that none would be.
#pragma once

#include "tool/dictionary.h"
#include "tool/paths.h"

#include <functional>

namespace zuk::tool {

struct PlannedFile {
    std::string name;                      // relative, with `/`
    std::string text;                      // what it holds, or
    Coordinates body;                      // with four levels, the resource whose body it holds
};

struct FolderPlan {
    fs::path directory;
    std::string shown;                     // as it was given
    std::vector<PlannedFile> files;        // in the order of writing
    // Whether something that stands in the folder is there by an earlier export: it may be replaced, and goes when it
    // is not planned any more.
    std::function<bool(const TreeEntry &)> is_ours;
    bool force = false;                    // also beside foreign things, and over them where they have a planned name
    bool dry_run = false;
};

struct FolderReport {
    std::vector<std::string> written, rewritten, removed;
    size_t unchanged = 0;
};

FolderReport write_folder(const Dictionary &dictionary, const FolderPlan &plan);

} // namespace zuk::tool
