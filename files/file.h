// The portable file layer: one set of operations on a `FileHandle`, one small set of error codes.
//
// Names are portable names (files/names.h), cut to 127 characters by every operation that opens, makes or deletes.
//
// Each operation marked * has a twin with `_err` behind its name and a last argument `u32 *error`, the word that
// receives the error code. The plain form writes to the error location, which is `file_error` until
// `file_seterrorptr` moves it. The engine reads `file_error` directly after its calls.
//
// Every operation that takes a handle refuses 0 with code 1. A failed operation is not retried, and leaves nothing
// behind but what the platform's own call left.
//
// One thread at a time; between processes `file_lock` and `file_unlock` are the only co-ordination. Built on
// `platform_files`.
#pragma once

#include "files/names.h"
#include "zuk/zuk.h"

namespace zuk {

enum FileError : u32 {
    FILE_OK = 0,
    FILE_FAILED = 1,             // a 0 handle, a refused lock, and every platform error without a row of its own
    FILE_END = 2,
    FILE_NOT_FOUND = 3,          // or it exists: the name does not suit the operation
    FILE_TOO_MANY_OPEN = 4,
    FILE_REFUSED = 5,
    FILE_FULL = 7,
    FILE_BAD_NUMBER = 8,         // a negative count or position
    FILE_BAD_PATH = 9,
};

enum FileMode : u16 {
    FILE_RW_SHARED = 0,          // read and write; others may do the same
    FILE_READ_ONLY = 16384,      // read; others may not write
    FILE_RW_EXCLUSIVE = 32768,   // read and write; nobody else
};

constexpr i16 FILE_NAME_MAX = 127;  // characters of a name that count

extern u32 file_error;              // the first error location

// Open an existing file. 0 on failure; another mode than the three gives code 5 without a look at the disk. *
FileHandle file_open(ConstPString name, u16 mode);
i16 file_close(FileHandle file);                                 // * 1, or 0 on failure

// Bytes read or written; fewer than `count` is no error. Code 1 for handle 0, 8 with result -1 for a negative count. *
i32 file_read(FileHandle file, void *buffer, i32 count);
i32 file_write(FileHandle file, const void *buffer, i32 count);

i16 file_seek(FileHandle file, i32 position);                    // * 1, or 0 on failure; code 8 for a negative position
i32 file_size(FileHandle file);                                  // * bytes; -1 on failure; handle 0 gives 0 and code 1
i32 file_tell(FileHandle file);                                  // * the same for the position
i16 file_seteof(FileHandle file, i32 position);                  // * ends the file there, shorter or longer

// 1, or 0 on failure. A new file is empty, and closed again; code 3 if the name is taken. Deleting a directory, or a
// file that anybody has open, gives code 5. *
i16 file_create(ConstPString name);
i16 file_delete(ConstPString name);
// Rename, names uncut; both come back normalised, so their buffers have 256 bytes. The code, also stored: 3 if another
// file has the name, 5 while anybody has the file open. Success stores nothing and gives what stands in the error
// location; it includes a file that is given its own name. *
u32 file_rename(PString from, PString to);
i16 file_flush(FileHandle file);                                 // * 1, or 0 for handle 0: only checks the handle

// A byte range by its position, 1 or 0 at once. Code 1 for a range held by anyone, this handle included, and for an
// unlock of a range that was not locked in exactly this form. Length 0 gives 1 and does nothing. *
i16 file_lock(FileHandle file, u32 offset, u32 length);
i16 file_unlock(FileHandle file, u32 offset, u32 length);

FileHandle file_open_err(ConstPString name, u16 mode, u32 *error);
i16 file_close_err(FileHandle file, u32 *error);
i32 file_read_err(FileHandle file, void *buffer, i32 count, u32 *error);
i32 file_write_err(FileHandle file, const void *buffer, i32 count, u32 *error);
i16 file_seek_err(FileHandle file, i32 position, u32 *error);
i32 file_size_err(FileHandle file, u32 *error);
i32 file_tell_err(FileHandle file, u32 *error);
i16 file_seteof_err(FileHandle file, i32 position, u32 *error);
i16 file_create_err(ConstPString name, u32 *error);
i16 file_delete_err(ConstPString name, u32 *error);
u32 file_rename_err(PString from, PString to, u32 *error);
i16 file_flush_err(FileHandle file, u32 *error);
i16 file_lock_err(FileHandle file, u32 offset, u32 length, u32 *error);
i16 file_unlock_err(FileHandle file, u32 offset, u32 length, u32 *error);

// Give a file its type and creator codes. No target of today keeps them: it does nothing.
void file_settype(ConstPString name, ConstPString type, ConstPString creator);
// Called on each local copy of a name before its conversion. It does nothing.
void file_namehook(PString name);

u32 file_map_code(u32 platform_error);   // the error code of a platform error
u32 file_maperror();                     // the error code of the last platform call that failed
void file_seterrorptr(u32 *where);       // null: a private word

// ---- For the other units of this folder -----------------------------------------------------------------------------

u32 *file_errorptr();                    // the error location, for the plain form of an operation

// Store the outcome of a platform call in `*error`. 1 for a good one; else 0, and `file_maperror` gives its code.
i16 file_report(u32 platform_error, u32 *error);

// A local copy of a name, cut to 127 characters, hooked, native and NUL-terminated. `copy` is a string buffer.
const char *file_native_name(PString copy, ConstPString name);

} // namespace zuk
