// One open dictionary file: the record `DictFile`, plain data, and the operations that make, open and close it.
//
// Each floor above owns a piece of the record: block_table the page cache, module_table and directory the module table
// and the directories, locks the `lock_state`, core_tables the owners. A record of zeros is a file that is not open,
// and each piece reads as empty when its pointer is null: after a failed allocation, or before its step of the open.
//
// Between calls: `file` 0 means not open. A platform call is always handed `file->file` as it is at that moment, since
// `block_allocate` closes the file and opens it again when it grows.
#pragma once

#include "engine/records.h"
#include "engine/status.h"

namespace zuk {

// A page of the block table in memory: 64 entries, fewer at the table's end.
struct BlockPage {
    u32 first;            // index of its first entry
    u32 last;             // index of its last entry
    u32 flags;            // PAGE_DIRTY
    GHandle handle;       // the entries
};
constexpr u32 PAGE_DIRTY = 1;

// A module's directory in memory; zeros when it is not. One pair stands for each entry of the module table, used or
// spare, at the same index.
struct DirectoryPair {
    GHandle handle;       // as large as the directory's block
    ModuleDirectory *directory;
};

// The core tables of one resource type, one for each range of identifiers. Both 0: no table; both set: a table of this
// file; only the pointer: borrowed, which means "ask file 0 of the same slot".
constexpr i32 CORE_RANGES = 3;
constexpr i32 CORE_ROWS = 66;            // rows 0 to 65 by resource type, of which 1 to 64 are used
struct CoreRow {
    GHandle handles[CORE_RANGES];
    CoreTable *tables[CORE_RANGES];
};

} // namespace zuk

struct DictFile {
    PString path;                         // in the DictSlot that holds this file
    FileHandle file;                      // 0: not open
    zuk::u16 option;                      // the caller's; nothing asks for it
    zuk::DictHeader header;
    GHandle module_table_handle;          // block 1 whole
    zuk::ModuleTable *module_table;
    zuk::ModuleEntry *module_entries;
    GHandle directories_handle;
    zuk::DirectoryPair *directories;
    zuk::u16 block_changes;               // counts blocks freed or moved; nothing reads it
    GHandle page_cache_handle;
    zuk::BlockPage *page_cache;           // in the order of loading
    zuk::u16 open_mode;
    zuk::CoreRow *core_tables;            // rows by resource type, 0 to 65
    GHandle core_tables_handle;
    zuk::i16 lock_state;                  // 0 none, 1 to 1000 the reader byte held, LOCK_WRITER
};

namespace zuk {

constexpr i16 LOCK_NONE = 0;
constexpr i16 LOCK_WRITER = -1;

// Bounds of the identifiers that are given out; `dd_init` sets them, and they are 0 before.
extern i16 lowest_id;
extern i16 highest_id;

// What an operation may do with the file that was chosen for it: 0; 15 when the library is not started; 3 when there is
// no such file (null); 7 when it is closed.
DictStatus dict_file_usable(const DictFile *file);

bool dict_file_is_open(const DictFile *file);

// Make a new dictionary at `path`, in the place of any file there: 4,930 bytes, in four writes. 14 for a null path, 6
// when the file cannot be made, 9 without memory. A failed open or write leaves no file and gives 0.
DictStatus dict_file_create(ConstPString path);

// Open `path` into a record that holds no file, without its core tables. 14 for a null path, 18 when a file is open, 4
// for a file that is no dictionary. A failure leaves the record closed and its memory freed. `path` is kept as a
// pointer.
DictStatus dict_file_open(DictFile *file, PString path, u16 mode, u16 option);

// Write the header and close, whatever the mode and without a lock. 7 without a file. All memory of the record is
// freed.
DictStatus dict_file_close(DictFile *file);

// Free the core tables that the file owns, and the array of rows.
void core_tables_free(DictFile *file);

// Read the header into `buffer`; the status of the read, else 4 for a wrong magic. The magic is tested in the record's
// own header, which `buffer` may be. Writing gives the status of the write.
DictStatus header_read(DictFile *file, DictHeader *buffer);
DictStatus header_write(FileHandle file, DictHeader *header);

// Whether the block table that the header tells lies behind the header and inside the file.
bool header_is_sound(DictFile *file);

u16 dict_file_version(const DictFile *file);
DictStatus dict_file_set_version(DictFile *file, u16 version);  // writes the header at once

} // namespace zuk
