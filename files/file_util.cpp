#include "files/file_util.h"

#include "foundation/pstrings.h"
#include "platform/platform.h"

#include <string.h>

namespace zuk {

// ---- Names and types ------------------------------------------------------------------------------------------------

constinit u8 default_directory[256] = {};

PString filename_qualify(PString name)
{
    u8 work[2 * PSTRING_SIZE];
    i32 length = 0;
    if (name[0] == 0 || name[1] != ':') {
        length = default_directory[0];
        memcpy(work, default_directory + 1, (size_t)length);
    }
    memcpy(work + length, name + 1, name[0]);
    length += name[0];

    if (length > FILE_NAME_MAX) length = FILE_NAME_MAX;
    memcpy(name + 1, work, (size_t)length);
    name[0] = (u8)length;
    return name;
}

struct TypeRow {
    const char *type;
    const char *extension;
};

// Looked through from the top.
static const TypeRow extensions_of_types[] = {
    { "", "*" },
    { "TEXT", "txt" },
    { "QRS ", "qrs" },
    { "QRMC", "mac" },
    { "QRIN", "ini" },
    { "PARM", "/" },
    { "APPL", "exe" },
    { "QRDT", "dic" },
    { "CHNK", "cnk" },
    { "RDIC", "dic" },
    { "DICT", "dic" },
};

// KEPT: one would expect three types with the extension dic to be told apart on the way back, and CLST to have its
// extension on the way there. The second and the third dic stand behind the first and are never reached; CLST stands
// only here, and becomes CLS. Test: ext_to_filetype.takes_every_dic_for_a_dictionary
static const TypeRow types_of_extensions[] = {
    { "TEXT", "txt" },
    { "QRS ", "qrs" },
    { "DICT", "dic" },
    { "QRMC", "mac" },
    { "QRIN", "ini" },
    { "PARM", "/" },  // and whatever else begins with it
    { "APPL", "exe" },
    { "QRDT", "dic" },
    { "CHNK", "cnk" },
    { "CLST", "set" },
    { "RDIC", "dic" },
};

static bool text_is(ConstPString string, const char *text)
{
    return string[0] == strlen(text) && memcmp(string + 1, text, string[0]) == 0;
}

static void set_text(PString string, const char *text)
{
    size_t length = strnlen(text, PSTRING_SIZE - 1);
    memcpy(string + 1, text, length);
    string[0] = (u8)length;
}

void filetype_to_ext(PString type)
{
    for (const TypeRow &row : extensions_of_types) {
        if (text_is(type, row.type)) {
            set_text(type, row.extension);
            return;
        }
    }
    if (type[0] > 3) type[0] = 3;
}

void ext_to_filetype(PString extension)
{
    pstrlower(extension);
    bool slash = extension[0] > 0 && extension[1] == '/';
    for (const TypeRow &row : types_of_extensions) {
        if (slash ? strcmp(row.extension, "/") == 0 : text_is(extension, row.extension)) {
            set_text(extension, row.type);
            return;
        }
    }

    // KEPT: one would expect every result to have four characters. The blank goes in at position 4, whatever is there:
    // `ab` stays without one, and `html` becomes `HTM L`. Test: ext_to_filetype.puts_the_blank_at_position_4_alone
    pstrupper(extension);
    pstrinsc(extension, 4, ' ');
}

// ---- Lines ----------------------------------------------------------------------------------------------------------

constexpr u8 CARRIAGE_RETURN = 13;
constexpr u8 LINE_FEED = 10;

struct Line {
    u8 text[LONG_LINE_SIZE];
    i32 length;
    i32 next;     // where the next line begins
    bool at_end;  // the file ended without a carriage return, and ahead of the limit
};

// Whether the file goes on with a line feed, behind a carriage return that was the last byte read.
static bool line_feed_follows(FileHandle file, u32 *error)
{
    u8 byte = 0;
    return file_read_err(file, &byte, 1, error) == 1 && byte == LINE_FEED;
}

// Read up to `limit` bytes and look for the end of the line. False, with a code, if that failed.
static bool take_line(FileHandle file, i32 limit, Line *line, u32 *error)
{
    i32 start = file_tell_err(file, error);
    if (*error) return false;
    i32 count = file_read_err(file, line->text, limit, error);
    if (*error) return false;

    // KEPT: one would expect a line feed to end a line as well. Alone it is a character like any other, and only behind
    // a carriage return does it belong to the end. Test: file_readline.does_not_end_at_a_line_feed_alone
    const void *found = memchr(line->text, CARRIAGE_RETURN, (size_t)count);
    i32 used = count;
    line->length = count;
    if (found) {
        line->length = (i32)((const u8 *)found - line->text);
        used = line->length + 1;
        bool feed = used < count ? line->text[used] == LINE_FEED : count == limit && line_feed_follows(file, error);
        if (*error) return false;
        used += feed;
    }

    // KEPT: one would expect a line longer than the limit to be marked as one. It comes in pieces that look like lines;
    // and when the file ends with the limit, its last piece is an empty one, at the end of the file.
    // Test: file_readline.gives_a_long_line_in_unmarked_pieces
    line->at_end = !found && count < limit;
    line->next = (i32)((u32)start + (u32)used);
    return true;
}

static i16 go_behind(FileHandle file, const Line *line, u32 *error)
{
    if (!line->at_end) return file_seek_err(file, line->next, error);

    // KEPT: one would expect the last line to count as one without its carriage return. Its text is in the destination,
    // while result and code say that the file has ended: whoever reads lines looks at the text all the same.
    // Test: file_readline.delivers_a_last_line_without_an_end_together_with_the_end_of_the_file
    *error = FILE_END;
    return 0;
}

i16 file_readline_err(FileHandle file, PString dest, u32 *error)
{
    Line line;
    if (!take_line(file, LINE_SIZE - 1, &line, error)) return 0;

    memcpy(dest + 1, line.text, (size_t)line.length);
    dest[0] = (u8)line.length;
    return go_behind(file, &line, error);
}

i16 file_readcline_err(FileHandle file, char *dest, u32 *error)
{
    Line line;
    if (!take_line(file, LONG_LINE_SIZE - 1, &line, error)) return 0;

    memcpy(dest, line.text, (size_t)line.length);
    dest[line.length] = 0;
    return go_behind(file, &line, error);
}

// ---- Temporary files ------------------------------------------------------------------------------------------------

// Let `file_maperror` know of a failure that sets no code.
static void note_only(u32 platform_error)
{
    u32 nowhere;
    (void)file_report(platform_error, &nowhere);  // the code is not wanted
}

i16 file_tempname_err(PString dest, u32 *error)
{
    char directory[PLATFORM_PATH_SIZE] = "";
    char path[PLATFORM_PATH_SIZE] = "";
    u32 platform_error = platform_directories->temporary(directory);
    if (!platform_error) platform_error = platform_directories->make_temporary(directory, path);

    // KEPT: one would expect a failure to be told. The result is 1 and the code 0 whatever happened; only the empty
    // name shows that there is no file. Test: file_tempname.never_fails
    if (platform_error) path[0] = 0;
    note_only(platform_error);
    *error = FILE_OK;

    for (char *at = path; *at; at++) {
        if (*at == '\\') *at = '/';
    }
    set_text(dest, path);
    native_2_filename(dest);
    return 1;
}

i16 file_tempname_in_err(PString name, u32 *error)
{
    u8 directory[PSTRING_SIZE];
    pstricpy(directory, name, 1, PSTRING_SIZE - 1);
    filename_2_native(directory);
    if (pstrisnull(directory)) pstraddc(directory, '.');

    char path[PLATFORM_PATH_SIZE] = "";
    memset(name, 0, PSTRING_SIZE);
    u32 platform_error = platform_directories->make_temporary((const char *)ptocstr(directory), path);
    if (!file_report(platform_error, error)) return 0;

    // The file is there, under a name that no string can hold.
    if (strnlen(path, PLATFORM_PATH_SIZE) > PSTRING_SIZE - 1) {
        *error = FILE_BAD_PATH;
        return 0;
    }
    set_text(name, path);
    native_2_filename(name);
    return 1;
}

// ---- Files and directories by name ----------------------------------------------------------------------------------

// The name that the first file has while the second one takes its own: beside it, so that no file leaves its volume.
static const char *swap_name(PString temporary, ConstPString first)
{
    static const u8 last_part[] = "\014f%$#dzvq.tmp";
    u8 cut[PSTRING_SIZE];
    pstricpy(cut, first, 1, FILE_NAME_MAX);
    filename_dir(temporary, cut);
    pstricat(temporary, last_part, 1, PSTRING_SIZE - 1);
    file_namehook(temporary);
    filename_2_native(temporary);
    return (const char *)ptocstr(temporary);
}

// first to temporary, second to first, temporary to second.
u32 file_swap_err(ConstPString first, ConstPString second, u32 *error)
{
    u8 first_copy[PSTRING_SIZE];
    u8 second_copy[PSTRING_SIZE];
    u8 temporary_copy[PSTRING_SIZE];
    const char *first_name = file_native_name(first_copy, first);
    const char *second_name = file_native_name(second_copy, second);
    const char *temporary = swap_name(temporary_copy, first);

    if (!file_report(platform_files->rename(first_name, temporary), error)) return *error;
    if (!file_report(platform_files->rename(second_name, first_name), error)) {
        note_only(platform_files->rename(temporary, first_name));  // the code told is that of the step that failed
        return *error;
    }

    // KEPT: one would expect both files to get their names back when this step fails. Nothing is repaired: the second
    // file has the first name, and the first file the temporary one, which stands in the way of the next exchange in
    // that directory. Test: file_swap.repairs_nothing_when_its_last_step_fails
    (void)file_report(platform_files->rename(temporary, second_name), error);  // the code is the result
    return *error;
}

u32 file_mkdir_err(ConstPString name, u32 *error)
{
    u8 copy[PSTRING_SIZE];
    (void)file_report(platform_directories->make(file_native_name(copy, name)), error);  // the code is the result
    return *error;
}

void file_chdir(PString name)
{
    u8 copy[PSTRING_SIZE];
    filename_2_native(name);
    pstricpy(copy, name, 1, PSTRING_SIZE - 1);

    // KEPT: one would expect a code when there is no such directory. None is set, and the current one stays. The name
    // comes back through `native_2_filename`, which makes `..` a `.`. Test: file_chdir.sets_no_code
    note_only(platform_directories->change((const char *)ptocstr(copy)));
    native_2_filename(name);
}

// ---- The search -----------------------------------------------------------------------------------------------------

// KEPT: one would expect each caller to have a search of its own. There is one: another `file_findfirst` ends it, and
// only that; so the last one stays open. Test: file_findfirst.ends_the_search_before_it
static constinit PlatformSearch search = 0;

static void append_found(PString string, const char *found)
{
    u8 name[PSTRING_SIZE];
    set_text(name, found);
    pstricat(string, name, 1, PSTRING_SIZE - 1);
}

u32 file_findfirst_err(PString name, ConstPString type, u32 *error)
{
    if (search != 0) {
        platform_directories->find_close(search);
        search = 0;
    }

    static const u8 any_name[] = "\002*.";
    u8 extension[PSTRING_SIZE];
    pstricpy(extension, type, 1, FILE_NAME_MAX);
    filetype_to_ext(extension);
    u8 pattern[PSTRING_SIZE] = {};
    pstricat(pattern, name, 1, FILE_NAME_MAX);
    pstricat(pattern, any_name, 1, FILE_NAME_MAX);
    pstricat(pattern, extension, 1, FILE_NAME_MAX);
    filename_2_native(pattern);

    // KEPT: one would expect a search that failed to be none. What the platform gave stays, so that `file_findnext`
    // asks the platform with it, fails there and empties its string.
    // Test: file_findnext.after_a_failed_search_empties_its_string
    char found[PLATFORM_PATH_SIZE];
    u32 platform_error = platform_directories->find_first((const char *)ptocstr(pattern), &search, found);
    if (file_report(platform_error, error)) append_found(name, found);
    else pstrnull(name);
    return *error;
}

u32 file_findnext_err(PString name, u32 *error)
{
    if (search == 0) {
        *error = FILE_FAILED;
        return *error;
    }

    // KEPT: one would expect the string to be replaced by the name found. The name goes behind what is there, which has
    // to be the directory again. Test: file_findnext.appends_to_its_string
    char found[PLATFORM_PATH_SIZE];
    if (file_report(platform_directories->find_next(search, found), error)) append_found(name, found);
    else pstrnull(name);
    return *error;
}

// ---- The plain forms ------------------------------------------------------------------------------------------------

i16 file_readline(FileHandle file, PString dest) { return file_readline_err(file, dest, file_errorptr()); }
i16 file_readcline(FileHandle file, char *dest) { return file_readcline_err(file, dest, file_errorptr()); }
i16 file_tempname(PString dest) { return file_tempname_err(dest, file_errorptr()); }
i16 file_tempname_in(PString name) { return file_tempname_in_err(name, file_errorptr()); }
u32 file_swap(ConstPString first, ConstPString second) { return file_swap_err(first, second, file_errorptr()); }
u32 file_mkdir(ConstPString name) { return file_mkdir_err(name, file_errorptr()); }
u32 file_findfirst(PString name, ConstPString type) { return file_findfirst_err(name, type, file_errorptr()); }
u32 file_findnext(PString name) { return file_findnext_err(name, file_errorptr()); }

} // namespace zuk
