#include "foundation/longtext.h"

#include "files/file.h"
#include "foundation/format.h"
#include "foundation/handles.h"
#include "foundation/pstrings.h"

#include <stddef.h>
#include <string.h>

namespace zuk {

constexpr u8 CARRIAGE_RETURN = 13;
constexpr i32 PSTRING_MAX = PSTRING_SIZE - 1;
constexpr i32 CHARACTERS = offsetof(LongText, text);  // of a block: where they begin

static i32 length_of(const LongText *text) { return text->length > 0 ? text->length : 0; }

static LongText *set(LongText *dest, const void *characters, i32 length)
{
    memmove(dest->text, characters, (size_t)length);
    dest->length = (i16)length;
    return dest;
}

// How many characters the slice of `count` from position `start` on has: 0 if the arguments are bad.
static i32 slice_length(const LongText *text, i16 start, i16 count)
{
    i32 length = length_of(text);
    if (start < 1 || count < 1 || length < start) return 0;

    i32 rest = length - start + 1;
    return rest < count ? rest : count;
}

// ---- Conversions ----------------------------------------------------------------------------------------------------

LongText *ltext_from_cstr(LongText *dest, const char *source)
{
    // KEPT: one would expect all of the text, and the empty text for an empty one. The last character is dropped; an
    // empty text leaves the destination as it was, length included. Test: ltext_from_cstr.drops_the_last_character
    i32 length = (i32)strnlen(source, LTEXT_MAX);
    if (length == 0) return dest;
    return set(dest, source, length - 1);
}

LongText *ltext_from_cstr255(LongText *dest, const char *source)
{
    u8 work[PSTRING_SIZE];
    work[0] = (u8)strnlen(source, PSTRING_MAX);
    memcpy(work + 1, source, work[0]);
    return ltext_from_pstr(dest, work);
}

char *ltext_to_cstr(char *dest, const LongText *source)
{
    i32 length = length_of(source);
    memmove(dest, source->text, (size_t)length);
    dest[length] = 0;
    return dest;
}

PString ltext_to_pstr(PString dest, const LongText *source)
{
    i32 length = length_of(source);
    if (length > PSTRING_MAX) length = PSTRING_MAX;
    memmove(dest + 1, source->text, (size_t)length);
    dest[0] = (u8)length;
    return dest;
}

LongText *ltext_from_pstr(LongText *dest, ConstPString source) { return set(dest, source + 1, source[0]); }
LongText *ltext_copy(LongText *dest, const LongText *source) { return set(dest, source->text, length_of(source)); }

GHandle ltext_to_handle(const LongText *source)
{
    static const u8 label[] = "\011long text";
    i32 length = length_of(source);
    GHandle handle = galloc(length, label, 1);
    if (!handle) return 0;

    memcpy(glock(handle), source->text, (size_t)length);
    gunlock(handle);
    return handle;
}

LongText *ltext_from_handle(LongText *dest, GHandle handle)
{
    const void *characters = glock(handle);
    if (!characters) return dest;

    // KEPT: one would expect the limit of a text here. It is that of the length itself, so a text of 32765 to 32767
    // characters can come out, to which nothing can be added.
    // Test: ltext_from_handle.takes_more_than_a_text_should_have
    constexpr i32 LENGTH_MAX = 32767;
    i32 size = gsize(handle);
    set(dest, characters, size < LENGTH_MAX ? size : LENGTH_MAX);
    gunlock(handle);
    return dest;
}

// ---- Editing --------------------------------------------------------------------------------------------------------

LongText *ltext_cat(LongText *dest, const LongText *source)
{
    // KEPT: one would expect all or nothing, as in `pstricat` and `ltext_insert`. As much is appended as fits.
    // Test: ltext_cat.appends_as_much_as_fits
    i32 old_length = length_of(dest);
    i32 room = LTEXT_MAX - old_length;
    i32 length = length_of(source) < room ? length_of(source) : room;
    if (length < 1) return dest;

    memmove(dest->text + old_length, source->text, (size_t)length);
    dest->length = (i16)(old_length + length);
    return dest;
}

static LongText *insert_at(LongText *text, i32 pos, const u8 *bytes, i32 count)
{
    // KEPT: one would expect as many bytes as fit, as in `ltext_cat`. They are inserted whole or not at all.
    // Test: ltext_insert.inserts_all_or_nothing
    i32 length = length_of(text);
    if (count < 1 || pos < 1 || pos > length + 1 || count + length > LTEXT_MAX) return text;

    u8 *at = text->text + pos - 1;
    memmove(at + count, at, (size_t)(length - pos + 1));
    memcpy(at, bytes, (size_t)count);
    text->length = (i16)(length + count);
    return text;
}

LongText *ltext_insert(LongText *text, i16 pos, const u8 *bytes, i16 count)
{
    return insert_at(text, pos, bytes, count);
}

LongText *ltext_delete(LongText *text, i16 start, i16 count)
{
    i32 removed = slice_length(text, start, count);
    if (removed == 0) return text;

    i32 new_length = length_of(text) - removed;
    u8 *at = text->text + start - 1;
    memmove(at, at + removed, (size_t)(new_length - start + 1));
    memset(text->text + new_length, 0, (size_t)removed);
    text->length = (i16)new_length;
    return text;
}

LongText *ltext_insc(LongText *text, i16 pos, u8 character) { return insert_at(text, pos, &character, 1); }
LongText *ltext_addc(LongText *text, u8 character) { return insert_at(text, length_of(text) + 1, &character, 1); }
LongText *ltext_delc(LongText *text, i16 pos) { return ltext_delete(text, pos, 1); }

LongText *ltext_clear(LongText *text, i16 pos, i16 count)
{
    // KEPT: one would expect the bytes to be those of the text. Any position and count will do, also behind its end,
    // and the length stays as it is: the buffer must be large enough.
    // Test: ltext_clear.goes_behind_the_end_of_the_text
    if (pos >= 1 && count >= 1) memset(text->text + pos - 1, 0, (size_t)count);
    return text;
}

i16 ltext_find(const LongText *text, i16 start, ConstPString pattern)
{
    i32 length = length_of(text);
    i32 wanted = pattern[0];
    if (wanted == 0) return 0;

    for (i32 pos = start < 1 ? 1 : start; pos + wanted - 1 <= length; pos++) {
        if (memcmp(text->text + pos - 1, pattern + 1, (size_t)wanted) == 0) return (i16)pos;
    }
    return 0;
}

// ---- Growth in a handle ---------------------------------------------------------------------------------------------

constexpr i32 SLACK = 100;  // bytes to spare behind a text, so that not each append has to grow its block

// The length that the block tells of; a block too small for a length has an empty text.
static i32 length_in(GHandle handle)
{
    const LongText *text = (const LongText *)glock(handle);
    i32 length = gsize(handle) < CHARACTERS ? 0 : length_of(text);
    gunlock(handle);
    return length;
}

i16 ltext_handle_insert(GHandle *handle, i16 pos, ConstPString string)
{
    if (!glock(*handle)) return 0;

    i32 size = gsize(*handle);
    bool has_length = size >= CHARACTERS;
    if (length_in(*handle) + string[0] + SLACK > size) {
        if (!grealloc(handle, size + string[0] + SLACK)) return 0;
        size = gsize(*handle);
    }

    // A sound block has room now; one with a length beyond its own end has not.
    LongText *text = (LongText *)glock(*handle);
    if (!has_length) text->length = 0;
    if (CHARACTERS + length_of(text) + string[0] <= size) insert_at(text, (i32)pos + 1, string + 1, string[0]);
    gunlock(*handle);
    return 1;
}

i16 ltext_handle_append(GHandle *handle, ConstPString string)
{
    if (!glock(*handle)) return 0;
    return ltext_handle_insert(handle, (i16)length_in(*handle), string);
}

// ---- Lines ----------------------------------------------------------------------------------------------------------

// KEPT: one would expect a line feed to end a line, or to belong to its end. It is a character like any other here and
// below. Test: ltext_lines.do_not_end_at_a_line_feed
i16 ltext_lines(const LongText *text, i16 limit)
{
    i32 length = length_of(text) < limit ? length_of(text) : limit;
    i32 lines = 1;
    for (i32 i = 0; i < length; i++) lines += text->text[i] == CARRIAGE_RETURN;
    return (i16)lines;  // 16 bits: 32767 carriage returns, which only `ltext_from_handle` can bring, give -32768
}

i16 ltext_line_start(const LongText *text, i16 line)
{
    if (line <= 1) return 0;

    i32 length = length_of(text);
    i32 left = line - 1;
    i32 offset = 0;
    while (offset < length && left > 0) left -= text->text[offset++] == CARRIAGE_RETURN;
    return (i16)offset;
}

i16 ltext_has_cr(const LongText *text, i16 start, i16 count)
{
    i32 length = slice_length(text, start, count);
    return length > 0 && mem_has_cr(text->text + start - 1, (i16)length);
}

void ltext_slice(const LongText *text, i16 from, i16 to, PString dest)
{
    dest[0] = 0;
    i32 length = length_of(text);
    i32 end = to < length ? to : length;
    if (from < 0 || from >= end) return;

    i32 count = end - from < PSTRING_MAX ? end - from : PSTRING_MAX;
    memcpy(dest + 1, text->text + from, (size_t)count);
    dest[0] = (u8)count;
}

// ---- Plain bytes ----------------------------------------------------------------------------------------------------

i16 mem_has_cr(const void *bytes, i16 count)
{
    return count > 0 && memchr(bytes, CARRIAGE_RETURN, (size_t)count) != nullptr;
}

void mem_clear(void *bytes, i32 count)
{
    if (count > 0) memset(bytes, 0, (size_t)count);
}

// ---- The log --------------------------------------------------------------------------------------------------------

FileHandle log_open(ConstPString name)
{
    // KEPT: one would expect a file that cannot be made to be the end of it. As a rule it is there already, so the
    // result of making it is not looked at, nor that of opening it: without a file each step does nothing.
    // Test: log_open.of_an_existing_file_appends_a_date_line
    (void)file_create(name);
    FileHandle log = file_open(name, FILE_RW_EXCLUSIVE);
    (void)file_seek(log, file_size(log));

    ClockDate date;
    ClockTime time;
    u16 weekday;
    clock_now(&date, &time, &weekday);
    u8 line[PSTRING_SIZE];
    pstr_format(line, "%nDate: %02d/%02d/%02d  Time: %d:%02d:%02d%n", date.month, date.day, date.year, time.hour,
                time.minute, time.second);
    log_write(log, line);
    return log;
}

void log_write(FileHandle log, ConstPString text)
{
    if (log) (void)file_write(log, text + 1, text[0]);  // nobody is told of a log that cannot be written
}

void log_close(FileHandle log)
{
    if (!log) return;

    // KEPT: one would expect the file to end where it ended. It ends at the position: text behind an earlier seek back
    // is cut off. Test: log_close.cuts_the_file_at_the_position
    (void)file_seteof(log, file_tell(log));  // nobody is told
    (void)file_close(log);
}

PString source_note(const char *path, i16 line, ConstPString message)
{
    constexpr i16 NAME_MAX_SHOWN = 15;
    u8 name[PSTRING_SIZE];
    u8 last_part[PSTRING_SIZE];
    name[0] = (u8)strnlen(path, PSTRING_MAX);
    memcpy(name + 1, path, name[0]);
    native_2_filename(name);
    filename_name(last_part, name);
    if (last_part[0] > NAME_MAX_SHOWN) last_part[0] = NAME_MAX_SHOWN;

    // KEPT: one would expect a string of the caller's own. There is one for all, and the next call overwrites it.
    // Test: source_note.overwrites_its_last_result
    static u8 note[PSTRING_SIZE];
    u8 work[PSTRING_SIZE + 64];  // the message, the name, the number and what stands between them, uncut
    pstr_format(work, "%p:%d: %p", last_part, line, message);
    return pstricpy(note, work, 1, PSTRING_MAX);
}

} // namespace zuk
