// A file as raw bytes, for the commands that trust none of the engine's structures.
//
// It stands under the library's file layer, so that its sharing rules hold for a raw reader, too.
#pragma once

#include "engine/records.h"
#include "tool/paths.h"

#include <cstring>
#include <string>

namespace zuk::tool {

class RawFile {
public:
    // Throws a Failure when the file cannot be opened for reading, or somebody has it to himself.
    RawFile(const std::string &path, const std::string &shown_path);
    ~RawFile();
    RawFile(const RawFile &) = delete;
    RawFile &operator=(const RawFile &) = delete;

    // As many of `count` bytes at `offset` as the file has.
    std::string read(i64 offset, i64 count) const;

    const std::string shown;
    i32 length = 0;

private:
    FileHandle file = 0;
};

// The record at `offset` of some bytes; false when they end before it does.
template <class Record> bool record_at(const std::string &bytes, i64 offset, Record *record)
{
    if (offset < 0 || offset + (i64)sizeof *record > (i64)bytes.size()) return false;
    memcpy(record, bytes.data() + offset, sizeof *record);
    return true;
}

// The header. Throws when the file is no dictionary, or ends in its header.
DictHeader read_header(const RawFile &file);

// What a block is marked as: "names", "bodies", ...
const char *word_of_block_type(u16 type);

} // namespace zuk::tool
