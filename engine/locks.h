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

// Take a reader byte. True on success, and when none is needed. False, with nothing held, without the gate after 5,001
// attempts, or without a byte after three rounds of all of them and a wait of up to a second behind each.
bool read_lock(DictFile *file);
void read_unlock(DictFile *file);               // nothing without a lock; `lock_state` stays when the unlock fails

// Take all reader bytes. True on success, and when none is needed. False, with nothing more held than before, without
// the gate, or after 61 attempts over about a minute: so too over a read lock of this very file, to be freed first.
bool write_lock(DictFile *file);
// Raise `change_count`, write the header and free the range. The result of the unlock, not 0 on success; `lock_state`
// stays when it fails. In other modes the mode itself, with nothing done.
u16 write_unlock(DictFile *file);

bool dict_changed(DictFile *file);              // another workstation has written; false when the header is unreadable
// Drop the pages and the module table and take the header and the module table from the file; directories and pages
// come when they are wanted. There is no status: what cannot be loaded reads as empty.
void dict_reload(DictFile *file);

bool gate_lock(DictFile *file);                 // true when it was taken; 5,001 attempts with a short wait between
void gate_unlock(DictFile *file);
bool spare_byte_lock(DictFile *file);           // one attempt; nothing in the engine asks for this byte
bool spare_byte_unlock(DictFile *file);         // false when it is not held

void delay_half_double_click();                 // the short wait: half of the platform's double-click time
u32 clock_seconds();                            // of the platform's tick count, which turns to 0 at 2^32 ms

// By cookie, for callers who hold a lock across several operations. Without such an open file the first gives 6, and
// the others do nothing and give 0; the first gives 21 when the lock is refused, the others what those above give.
DictStatus dict_selected_read_lock(const DictCookie *cookie, i32 selector);
bool dict_selected_has_lock(const DictCookie *cookie, i32 selector);
void dict_selected_read_unlock(const DictCookie *cookie, i32 selector);
bool dict_selected_write_lock(const DictCookie *cookie, i32 selector);
u16 dict_selected_write_unlock(const DictCookie *cookie, i32 selector);
bool dict_selected_spare_lock(const DictCookie *cookie, i32 selector);
bool dict_selected_spare_unlock(const DictCookie *cookie, i32 selector);

} // namespace zuk
