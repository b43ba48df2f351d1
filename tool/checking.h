// One run of the check, which its three parts share: check_file (header, block table, space), check_modules (module
// table, directories, types, resources) and check_owners (the core tables of kind 1).
#pragma once

#include "engine/records.h"
#include "tool/check_file.h"
#include "tool/raw_file.h"

#include <map>

namespace zuk::tool {

// A resource of kind 1 that has to have an owner.
struct OwnedResource {
    u16 type;
    i16 id;
    i32 module;
    i64 offset;           // of its entry in the file
};

// A resource of module 1/10 that holds a core table.
struct TableResource {
    i32 range;
    i16 id;               // the type that it describes
    i64 entry_offset;     // of its entry in the file
    i64 body_offset;      // in the file
    i64 body_size;        // 0 when the body does not lie where it has to
};

struct Checking {
    const RawFile &file;
    CheckReport *report;
    DictHeader header = {};
    std::vector<BlockEntry> entries = {};            // of the block table, those that lie in the file
    std::map<u32, std::string> holders = {};         // what each block that something leads to holds
    i64 bytes_left = 0;                              // that may still be read
    bool all_walked = true;                          // no directory or list was left out
    std::vector<OwnedResource> owned = {};
    std::vector<TableResource> tables = {};
};

void add_fault(Checking *check, i64 offset, const std::string &place, const std::string &text);
void add_note(Checking *check, i64 offset, const std::string &place, const std::string &text);

// Bytes of the file, fewer at its end. Nothing once more was asked for than a sound file could ask.
std::string read_bytes(Checking *check, i64 offset, i64 count);

// The place of a block's entry in the file.
i64 offset_of_entry(const Checking &check, u32 block);

// `at` in the file, `place` tells that `what` stands in a block of a type. The entry of that block, if it can be read
// and nothing else has led to it before; null, with a fault, if not.
const BlockEntry *claim_block(Checking *check, i64 at, const std::string &place, const std::string &what, u32 block,
                              BlockType type);

// Bytes in use at the front of a block whose entry is sound.
inline i64 used_of(const BlockEntry &entry) { return (i64)le_get(entry.size) - le_get(entry.free); }

// A piece of the used part of a block, and what it is for.
struct Piece {
    i64 from, to;
    i64 at;               // its record in the file
    std::string place;
};
// Faults for pieces that share bytes; a note of the bytes between them, of `used` in all. `what` is "name" or "body".
void check_pieces(Checking *check, std::vector<Piece> pieces, const std::string &what, i64 used,
                  i64 block_offset, const std::string &block_place);

void check_modules(Checking *check);
void check_owners(Checking *check);

} // namespace zuk::tool
