// Text of up to 32764 characters, and the log.
//
// A `LongText` is a length and the characters behind it, in the caller's buffer or at the start of a handle's data. A
// line of it ends with one carriage return; a line feed is a character like any other. Positions count from 1, as in a
// `PString`; what is called an offset counts from 0. A negative length is read as 0. The operations work in place and
// allocate nothing, but those that name a handle; bad positions and counts leave the text as it is. A destination must
// be large enough for what goes into it.
//
// The log is a text file that gets the date when it is opened; only one process has it open at a time.
//
// One thread at a time. The sources of this unit write files by files/file.h.
#pragma once

#include "zuk/zuk.h"

namespace zuk {

constexpr i16 LTEXT_MAX = 32764;

struct LongText {
    i16 length;
    u8 text[1];  // as many as `length` tells
};

// ---- Conversions: the result is the destination ---------------------------------------------------------------------

LongText *ltext_from_cstr(LongText *dest, const char *source);    // without its last character; "" leaves `dest` alone
LongText *ltext_from_cstr255(LongText *dest, const char *source); // 255 characters at most
char *ltext_to_cstr(char *dest, const LongText *source);
PString ltext_to_pstr(PString dest, const LongText *source);      // cut to 255
LongText *ltext_from_pstr(LongText *dest, ConstPString source);
LongText *ltext_copy(LongText *dest, const LongText *source);

GHandle ltext_to_handle(const LongText *source);                  // the characters alone; 0 when memory is short
LongText *ltext_from_handle(LongText *dest, GHandle handle);      // 32767 at most; a bad handle leaves `dest` alone

// ---- Editing: the result is the text --------------------------------------------------------------------------------

LongText *ltext_cat(LongText *dest, const LongText *source);      // as much as fits
// Insert `count` raw bytes in front of position `pos` (length + 1 appends): all or none.
LongText *ltext_insert(LongText *text, i16 pos, const u8 *bytes, i16 count);
LongText *ltext_delete(LongText *text, i16 start, i16 count);     // the bytes freed at the end become 0
LongText *ltext_insc(LongText *text, i16 pos, u8 character);
LongText *ltext_addc(LongText *text, u8 character);
LongText *ltext_delc(LongText *text, i16 pos);
LongText *ltext_clear(LongText *text, i16 pos, i16 count);        // bytes to 0, wherever the text ends

// The first position of the pattern from `start` on; 0 if there is none, and for the empty pattern.
i16 ltext_find(const LongText *text, i16 start, ConstPString pattern);

// ---- Growth in a handle, whose block begins with a `LongText` -------------------------------------------------------

// Insert a string behind character `pos` (0: in front). The block grows by 100 bytes more than the string when that
// many would not be left. 1, also if `ltext_insert` would refuse; 0 for a bad handle. When the block cannot grow the
// result is 0 and `*handle` becomes 0, as `grealloc` does it.
i16 ltext_handle_insert(GHandle *handle, i16 pos, ConstPString string);
i16 ltext_handle_append(GHandle *handle, ConstPString string);

// ---- Lines ----------------------------------------------------------------------------------------------------------

i16 ltext_lines(const LongText *text, i16 limit);       // 1 more than carriage returns in the first `limit` characters
i16 ltext_line_start(const LongText *text, i16 line);   // offset; of a line behind the last one, the length
i16 ltext_has_cr(const LongText *text, i16 start, i16 count);
// Characters from one offset up to another, 255 at most; from the start of a line to that of the next one, it is the
// line with its carriage return.
void ltext_slice(const LongText *text, i16 from, i16 to, PString dest);

// ---- Plain bytes ----------------------------------------------------------------------------------------------------

i16 mem_has_cr(const void *bytes, i16 count);
void mem_clear(void *bytes, i32 count);

// ---- The log --------------------------------------------------------------------------------------------------------

FileHandle log_open(ConstPString name);                 // made if it is not there; 0 on failure
void log_write(FileHandle log, ConstPString text);      // as it is, without the end of a line; nothing for 0
void log_close(FileHandle log);                         // and end the file at the position; nothing for 0

// A message with its place in a source, `name.cpp:12: message`, cut to 255; the name has 15 characters at most, and the
// path counts up to 255. The string is overwritten by the next call.
PString source_note(const char *path, i16 line, ConstPString message);

} // namespace zuk
