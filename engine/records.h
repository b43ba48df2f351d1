// The dictionary file on one page: every record that stands in it, drawn as bytes.
//
//   header (26 bytes, at 0)
//     -> block table            one BlockEntry a block; a block number is the entry's index + 1, 0 is no block
//          block 1              ModuleTable: ModuleEntry records sorted by kind and module
//          block 2              module name list: the module names, one behind the other
//          block 3              the block table itself
//          type 2               ModuleDirectory of one module: TypeEntry records, then ResourceEntry slots
//          type 3               names of one resource type in one module
//          type 4               bodies of one resource type in one module
//
// Offsets in a BlockEntry count from the start of the file; all other offsets count from the first byte of their block.
// Integers are little-endian at any address. The same record serves memory and disk.
#pragma once

#include "foundation/little_endian.h"

#include <stddef.h>

namespace zuk {

// ---- The header -----------------------------------------------------------------------------------------------------

//   0      4        6             10            14             18              22             26
//   | %VTL |version |change|resvd.| table_entry | table_offset | table_entries | free_entries |
struct DictHeader {
    u8 magic[4];          // "%VTL"
    Le16 version;         // 11; nothing tests it
    Le16 change_count;    // one more at each release of a write lock; compared for inequality only
    u8 reserved[2];
    Le32 table_entry;     // index of the block table's own entry; 2
    Le32 table_offset;    // where the block table stands
    Le32 table_entries;   // entries in it, a multiple of 256
    Le32 free_entries;    // entries of type BLOCK_FREE, with or without space
};
static_assert(sizeof(DictHeader) == 26 && alignof(DictHeader) == 1 && offsetof(DictHeader, free_entries) == 22);

constexpr u16 DICT_VERSION = 11;

// ---- The block table ------------------------------------------------------------------------------------------------

enum BlockType : u16 {
    BLOCK_FREE = 0,           // a piece of the file to use again, or, with size 0, an empty entry
    BLOCK_MODULE_TABLE = 1,   // always block 1
    BLOCK_DIRECTORY = 2,
    BLOCK_NAMES = 3,          // the module name list, and the names of a type in a module
    BLOCK_BODIES = 4,
    BLOCK_TABLE = 6,          // the block table itself
};

// One block of the file: 14 bytes.
//
//   0      2          6          10         14
//   | type |  offset  |   size   |   free   |       bytes in use: size - free, at the front
struct BlockEntry {
    Le16 type;            // BlockType
    Le32 offset;          // first byte, from the start of the file
    Le32 size;            // bytes the block owns
    Le32 free;            // bytes unused, at its end; equals size in a free piece
};
static_assert(sizeof(BlockEntry) == 14 && alignof(BlockEntry) == 1 && offsetof(BlockEntry, free) == 10);

constexpr u32 BLOCK_TABLE_STEP = 256;        // entries of a new table, and what it grows by
constexpr u32 BLOCK_OF_MODULE_TABLE = 1;
constexpr u32 BLOCK_OF_MODULE_NAMES = 2;
constexpr u32 BLOCK_OF_BLOCK_TABLE = 3;

// ---- Modules --------------------------------------------------------------------------------------------------------

// One module: 16 bytes. Entries are strictly ascending by kind and module, both signed.
//
//   0      2        6                 10            14          16
//   | kind | module | directory_block | name_offset | name_size |
struct ModuleEntry {
    LeI16 kind;              // 1, 2 or 3
    LeI32 module;            // for kind 1: series * 16 + core type
    Le32 directory_block;
    LeI32 name_offset;       // in the module name list
    LeI16 name_size;         // stored bytes, the length byte included
};
static_assert(sizeof(ModuleEntry) == 16 && alignof(ModuleEntry) == 1 && offsetof(ModuleEntry, name_size) == 14);

// The head of block 1; behind it `module_count` entries, then `spare_entries` zero ones.
//
//   0              2               4            8
//   | module_count | spare_entries | name_block |
struct ModuleTable {
    LeI16 module_count;
    LeI16 spare_entries;
    Le32 name_block;         // 2
};
static_assert(sizeof(ModuleTable) == 8 && alignof(ModuleTable) == 1 && offsetof(ModuleTable, name_block) == 4);

constexpr i32 MODULE_TABLE_STEP = 50;        // spare entries of a new table, and what it grows by
constexpr i32 MODULE_NAMES_SIZE = 512;       // the module name list of a new file
constexpr i32 MODULE_NAMES_UNIT = 50;        // what it grows by

// The head of a directory; behind it `type_count` + `free_type_slots` TypeEntry slots (the type area), then
// `assigned_slots` + `reserve_slots` ResourceEntry slots (the slot area).
//
//   0      2        6            8                 10               12              14
//   | kind | module | type_count | free_type_slots | assigned_slots | reserve_slots |
struct ModuleDirectory {
    LeI16 kind;
    LeI32 module;
    Le16 type_count;
    Le16 free_type_slots;
    Le16 assigned_slots;     // slots handed out to types
    Le16 reserve_slots;      // zero slots behind them
};
static_assert(sizeof(ModuleDirectory) == 14 && alignof(ModuleDirectory) == 1 &&
              offsetof(ModuleDirectory, reserve_slots) == 12);

// ---- Types and resources --------------------------------------------------------------------------------------------

// One resource type of a module: 16 bytes, strictly ascending by type. Its run of slots is contiguous; the runs stand
// in the order in which they were made.
//
//   0      2            6            10           12               14           16
//   | type | name_block | body_block | first_slot | resource_count | free_slots |
struct TypeEntry {
    LeI16 type;
    Le32 name_block;
    Le32 body_block;
    Le16 first_slot;         // counted from the start of the slot area
    Le16 resource_count;
    Le16 free_slots;         // zero slots directly behind the resources
};
static_assert(sizeof(TypeEntry) == 16 && alignof(TypeEntry) == 1 && offsetof(TypeEntry, free_slots) == 14);

// One resource: 16 bytes, strictly ascending by id within its run.
//
//   0    2       3           4             8             12          16
//   | id | flags | name_size | name_offset | body_offset | body_size |
struct ResourceEntry {
    LeI16 id;                // 1 and above
    u8 flags;                // nothing here interprets it
    u8 name_size;            // stored bytes, the length byte included
    LeI32 name_offset;
    LeI32 body_offset;
    LeI32 body_size;
};
static_assert(sizeof(ResourceEntry) == 16 && alignof(ResourceEntry) == 1 && offsetof(ResourceEntry, body_size) == 12);

// ---- Core tables ----------------------------------------------------------------------------------------------------

// Owners of the identifiers of one resource type in one range, the body of a resource. Behind the head stand
// `capacity` + 1 owner bytes, by position from 0 on, and a trailer byte.
//
//   0          4            8          12
//   | capacity | free_count | reserved | owners ...
struct CoreTable {
    LeI32 capacity;          // highest position
    LeI32 free_count;        // positions 1 to capacity that hold CORE_FREE
    u8 reserved[4];
};
static_assert(sizeof(CoreTable) == 12 && alignof(CoreTable) == 1 && offsetof(CoreTable, reserved) == 8);

constexpr u8 CORE_FREE = 15;                 // the owner byte of a free identifier

} // namespace zuk
