// Dictionaries for tests: below the set for exact places in the file, and through the exported interface.
#pragma once

#include "engine/block_table.h"
#include "engine/dict_set.h"
#include "tests/support/temp_dir.h"

#include <string>

namespace zuk {

// ---- Handles as text ------------------------------------------------------------------------------------------------

GHandle handle_of(const std::string &bytes);   // a new handle with these bytes
std::string bytes_of(GHandle handle);          // a copy; "" for 0
std::string take(GHandle handle);              // the same, and the handle is freed

// ---- A file below the set -------------------------------------------------------------------------------------------

// A new dictionary file, opened by `dict_file_open` itself: no set, no slot, no core tables. Block numbers, offsets and
// sizes are those of a file that nobody else has written to. Closed when the object goes.
class BareDictionary {
public:
    explicit BareDictionary(u16 mode = DICT_EXCLUSIVE);
    ~BareDictionary();
    BareDictionary(const BareDictionary &) = delete;
    BareDictionary &operator=(const BareDictionary &) = delete;

    operator DictFile *() { return &file; }
    DictFile *operator->() { return &file; }

    void close();                              // what the close writes is then in the file
    void open(u16 mode = DICT_EXCLUSIVE);      // again, after `close`
    std::string bytes() const;                 // all of the file as it is on disk now

    TempDir dir;
    Name path;                                 // portable, "a.dic"
    DictFile file;
};

// The file of `from` as another process would find it if this one ended now: a copy of its bytes, opened by itself.
class AfterACrash {
public:
    explicit AfterACrash(const BareDictionary &from);
    explicit AfterACrash(const std::string &bytes);
    ~AfterACrash();
    operator DictFile *() { return &file; }
    DictFile *operator->() { return &file; }

    TempDir dir;
    Name path;
    DictFile file;
    DictStatus status;                         // of the open
};

// ---- What stands in a file ------------------------------------------------------------------------------------------

BlockEntry entry_of(DictFile *file, u32 block);              // from memory; fails the test when it cannot be read
std::string block_bytes(DictFile *file, u32 block);          // the used bytes of a block, from the file
u32 u16_at(const std::string &bytes, size_t offset);         // little-endian, of a file's bytes
u32 u32_at(const std::string &bytes, size_t offset);

// ---- Through the exported interface ---------------------------------------------------------------------------------

// The library, started and stopped around a test, with one new dictionary open under identifier 1 and current. At the
// end no handle may be alive that was not so before, except those told to `expect_lost`.
class Library {
public:
    explicit Library(u16 mode = DICT_EXCLUSIVE);
    ~Library();
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;

    // A module of kind 2 or 3 with a resource of type 2 that stands for it; the status is expected to be 0.
    void add_module(i32 kind, i32 module, const std::string &name);
    DictStatus add(i32 kind, i32 module, u16 type, i16 id, const std::string &name, const std::string &body);
    DictStatus change(i32 kind, i32 module, u16 type, i32 id, const std::string &name, const std::string &body);
    std::string body(i32 kind, i32 module, u16 type, u16 id);    // "<status n>" on failure
    std::string name(i32 kind, i32 module, u16 type, u16 id);    // as dd_getresname leaves it
    DictFile *file();                          // file 0 of the current slot
    std::string bytes() const;                 // of the file on disk
    void reopen(u16 mode);                     // close and open under identifier 1

    void expect_lost(u32 handles);

    TempDir dir;
    Name path;
    DictCookie cookie;

private:
    u32 alive_before;
    u32 lost;
};

} // namespace zuk
