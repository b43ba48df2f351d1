#include "tool/open_error.h"

#include "engine/status.h"
#include "tool/messages.h"

#include <cstring>
#include <fstream>
#include <unistd.h>

namespace zuk::tool {

// A dictionary by its first bytes, but nothing that can be opened: its tables are damaged.
static bool begins_as_dictionary(const fs::path &path)
{
    char magic[4] = {};
    std::ifstream in(path, std::ios::binary);
    in.read(magic, sizeof magic);
    return in && memcmp(magic, "%VTL", sizeof magic) == 0;
}

void fail_open(DictStatus status, const std::string &shown, const fs::path &path, uint16_t mode)
{
    std::error_code ignored;
    if (status == DICT_NOT_A_DICTIONARY && begins_as_dictionary(path)) {
        fail(EXIT_DAMAGE, shown, "its tables do not lie inside it" + status_note(status));
    }
    if (status == DICT_NOT_FOUND) fail_with(status, shown, "its core tables cannot be made of what it holds");
    if (status != DICT_ACCESS_DENIED) fail_with(status, shown);
    if (fs::is_directory(path, ignored)) fail_with(status, shown, "it is a directory");

    bool writing = mode != DICT_READ_ONLY;
    if (access(path.string().c_str(), R_OK) != 0) fail_with(status, shown, "you may not read it");
    if (writing && access(path.string().c_str(), W_OK) != 0) fail_with(status, shown, "you may not write to it");
    fail(EXIT_LOCKED, shown, "somebody has it open" + status_note(status));
}

DictStatus status_of_open() { return status_from_file_error(); }

} // namespace zuk::tool
