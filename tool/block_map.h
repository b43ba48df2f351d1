// A dictionary file read as raw bytes: every block, where it stands, what it holds, and what is wrong with it.
//
// Nothing of the engine's structures is trusted or loaded, so a damaged file reads as far as its bytes make sense: a
// record outside the file is left out and told in `troubles`, and memory never exceeds what the file itself holds.
#pragma once

#include "engine/records.h"

#include <string>
#include <vector>

namespace zuk::tool {

struct MapPiece {
    i64 offset, size;       // of the file; a piece of size 0 is never listed
    i64 used;               // bytes at its front that hold something
    u32 block;              // number, 0 for the header and for bytes of no block
    std::string holds;      // "names of 2/100/1", "free", ...
    std::string trouble;    // "" if nothing is wrong with it
};

struct BlockMap {
    i64 file_size = 0;
    DictHeader header = {};
    std::vector<MapPiece> pieces;        // by offset; with the gaps between blocks
    u32 empty_entries = 0;               // of the table, without space
    std::vector<std::string> troubles;   // what is wrong, of pieces too, one sentence each
};

// Throws a Failure when the file cannot be read or does not begin as a dictionary.
BlockMap read_block_map(const std::string &path);

} // namespace zuk::tool
