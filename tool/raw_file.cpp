#include "tool/raw_file.h"

#include "files/file.h"
#include "tool/messages.h"
#include "tool/open_error.h"

#include <algorithm>

namespace zuk::tool {

RawFile::RawFile(const std::string &path, const std::string &shown_path) : shown(shown_path)
{
    fs::path absolute = absolute_path(path);
    LibraryName name = library_name(path);
    file = file_open(name.text, FILE_READ_ONLY);
    if (!file) fail_open(status_of_open(), shown, absolute, FILE_READ_ONLY);
    length = file_size(file);
    if (length >= 0) return;
    (void)file_close(file);
    fail(EXIT_TROUBLE, shown, "it is larger than a dictionary can be");
}

RawFile::~RawFile() { (void)file_close(file); }

std::string RawFile::read(i64 offset, i64 count) const
{
    if (offset < 0 || offset >= length || count <= 0) return "";
    std::string bytes((size_t)std::min<i64>(count, length - offset), 0);
    if (!file_seek(file, (i32)offset)) fail(EXIT_TROUBLE, shown, "it cannot be read");
    i32 done = file_read(file, bytes.data(), (i32)bytes.size());
    if (done != (i32)bytes.size()) fail(EXIT_TROUBLE, shown, "it cannot be read");
    return bytes;
}

DictHeader read_header(const RawFile &file)
{
    DictHeader header;
    std::string bytes = file.read(0, sizeof header);
    bool is_whole = record_at(bytes, 0, &header);
    if (bytes.compare(0, sizeof header.magic, "%VTL") != 0) fail_with(DICT_NOT_A_DICTIONARY, file.shown);
    if (is_whole) return header;
    fail(EXIT_DAMAGE, file.shown, "its header is cut off" + status_note(DICT_NOT_A_DICTIONARY));
}

const char *word_of_block_type(u16 type)
{
    switch (type) {
    case BLOCK_FREE: return "free";
    case BLOCK_MODULE_TABLE: return "module table";
    case BLOCK_DIRECTORY: return "directory";
    case BLOCK_NAMES: return "names";
    case BLOCK_BODIES: return "bodies";
    case BLOCK_TABLE: return "block table";
    default: return "unknown";
    }
}

} // namespace zuk::tool
