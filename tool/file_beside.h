// A file under another name beside the place that it is for: it is written in full, and then renamed.
//
// Whatever fails on the way leaves no new file, and what stood at the place as it was.
#pragma once

#include "tool/paths.h"

namespace zuk::tool {

class FileBeside {
public:
    // A free name in the folder of `place`, as "zuk-pack-1.tmp" for the `work` "pack". No file is made.
    FileBeside(const fs::path &place, const std::string &work);
    ~FileBeside();    // the file goes, unless it was renamed
    FileBeside(const FileBeside &) = delete;
    FileBeside &operator=(const FileBeside &) = delete;

    // Give the file the permissions and, as far as the system allows it, the owner of the one at `model`.
    void take_rights_of(const fs::path &model) const;
    // Put the file in the place of whatever stands there. Throws a Failure that names `shown`.
    void rename_to(const fs::path &place, const std::string &shown);

    fs::path path;
};

} // namespace zuk::tool
