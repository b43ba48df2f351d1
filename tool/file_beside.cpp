#include "tool/file_beside.h"

#include "tool/messages.h"

#ifndef _WIN32
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace zuk::tool {

FileBeside::FileBeside(const fs::path &place, const std::string &work)
{
    for (int i = 1;; i++) {
        path = place.parent_path() / ("zuk-" + work + "-" + std::to_string(i) + ".tmp");
        if (path_kind(path) == PathKind::nothing) return;
    }
}

FileBeside::~FileBeside()
{
    std::error_code ignored;    // nothing is there, as a rule
    if (!path.empty()) fs::remove(path, ignored);
}

void FileBeside::take_rights_of(const fs::path &model) const
{
#ifdef _WIN32
    (void)model;    // the folder gives the rights
#else
    struct stat found;
    if (stat(model.c_str(), &found) != 0) return;
    // Only the superuser can give a file to somebody else, and the group at least is kept.
    bool is_given = chown(path.c_str(), found.st_uid, found.st_gid) == 0 ||
                    chown(path.c_str(), (uid_t)-1, found.st_gid) == 0;
    (void)is_given;    // as far as the system allows it
    (void)chmod(path.c_str(), found.st_mode & 0777);
#endif
}

void FileBeside::rename_to(const fs::path &place, const std::string &shown)
{
    std::error_code error;
    fs::rename(path, place, error);
    if (error) fail(EXIT_TROUBLE, shown, "it cannot be written: " + error.message());
    path.clear();
}

} // namespace zuk::tool
