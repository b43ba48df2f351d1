// Sharing a dictionary file between workstations: byte-range locks beyond its end, and `change_count` in its header.
//
// Only a file opened in mode 0 takes part; in any other mode these operations do nothing and report success. Each
// engine operation takes a lock for its own length, and whoever takes one first loads again what another workstation
// has changed. The gate is held only while a lock is taken, but for the whole time that a writer waits: no new reader
// can overtake it.
//
//   999,999,998                      gate
//   999,999,999                      spare byte, for callers
//   1,000,000,001 .. 1,000,001,000   reader bytes 1 to 1,000: a reader holds one, a writer all
//
// Between calls: `lock_state` is 0, the number of the reader byte held, or LOCK_WRITER. Taking a lock that is not held
// may load the module table again: pointers into it and into directories are then dead.
// Growing a file at its end closes and opens it, and so gives up the lock without anyone noticing (see write_unlock).
#pragma once

#include "engine/dict_file.h"

namespace zuk {

constexpr u32 GATE_BYTE = 999999998;
constexpr u32 SPARE_BYTE = 999999999;
constexpr u32 READER_BASE = 1000000000;   // reader byte n lies at READER_BASE + n
constexpr u32 READER_COUNT = 1000;

bool read_lock_needed(const DictFile *file);    // open, shared, and no lock held
bool write_lock_needed(const DictFile *file);   // open, shared, and the write lock not held

bool read_lock(DictFile *file);                 // true on success, or when none is needed
void read_unlock(DictFile *file);
bool write_lock(DictFile *file);                // true on success, or when none is needed
// Raise `change_count`, write the header and free the range; the result of the unlock. Other modes: the mode itself.
u16 write_unlock(DictFile *file);

bool dict_changed(DictFile *file);              // another workstation has written
void dict_reload(DictFile *file);               // the block table, the module table and the header, from the file

bool gate_lock(DictFile *file);
void gate_unlock(DictFile *file);
bool spare_byte_lock(DictFile *file);           // nothing in the engine asks for this byte
bool spare_byte_unlock(DictFile *file);

void delay_half_double_click();                 // the short wait
u32 clock_seconds();

// By cookie, for callers who hold a lock across several operations: 6 without such an open file, 21 when refused.
DictStatus dict_selected_read_lock(const DictCookie *cookie, i32 selector);
bool dict_selected_has_lock(const DictCookie *cookie, i32 selector);
void dict_selected_read_unlock(const DictCookie *cookie, i32 selector);
bool dict_selected_write_lock(const DictCookie *cookie, i32 selector);
u16 dict_selected_write_unlock(const DictCookie *cookie, i32 selector);
bool dict_selected_spare_lock(const DictCookie *cookie, i32 selector);
bool dict_selected_spare_unlock(const DictCookie *cookie, i32 selector);

} // namespace zuk
