// What stands on the file layer: type codes, lines of text files, temporary names, an exchange of two files,
// directories and a search in one of them.
//
// Names, handles and the error location are those of files/file.h, and as there each operation marked * has a twin with
// `_err` behind its name and a last argument `u32 *error`.
//
// A file type is told by a code of four characters, filled up with blanks, where the systems have extensions of names.
//
// The search is one record for the whole system: a second one ends the first. One thread at a time. Built on
// `platform_directories`.
#pragma once

#include "files/file.h"

namespace zuk {

// ---- Names and types ------------------------------------------------------------------------------------------------

extern u8 default_directory[256];         // a portable name; empty at the start, and for its owner to set

// Put the default directory in front of a name that does not begin with a colon, and cut the whole to 127 characters.
// In place; the result is the string.
PString filename_qualify(PString name);

void filetype_to_ext(PString type);       // in place; no type is `*`, an unknown one its first three characters
void ext_to_filetype(PString extension);  // in place, in any case; an unknown one gets a blank at position 4

// ---- Lines ----------------------------------------------------------------------------------------------------------

constexpr i32 LINE_SIZE = 256;            // a buffer for `file_readline`
constexpr i32 LONG_LINE_SIZE = 2048;      // a buffer for `file_readcline`

// Take the next line, without its carriage return and a line feed behind that, and go to the one behind it. A line of
// more than 255 or 2047 characters comes in pieces. 1; or 0 with code 2 at the end of the file, where `dest` holds what
// was left, perhaps the last line. After another failure 0, and `dest` is as it was unless the seek alone failed. *
i16 file_readline(FileHandle file, PString dest);
i16 file_readcline(FileHandle file, char *dest);  // NUL-terminated

// ---- Temporary files ------------------------------------------------------------------------------------------------

// Make an empty file under a name that nobody has, and give that name; the file is the caller's to delete. `dest` takes
// 260 bytes. 1 and code 0 always; the name is empty if there is no file, and cut where it has more than 255
// characters. *
i16 file_tempname(PString dest);
// The same in a directory, or the current one for "": `name` is the directory before, uncut, and the file afterwards,
// in 256 bytes. 1, or 0 and the empty name; code 9 if the name has more than 255 characters (the file stays). *
i16 file_tempname_in(PString name);

// ---- Files and directories by name: the code, also stored -----------------------------------------------------------

// Let two files exchange their names, each cut to 127 characters. If the second cannot be renamed, the first gets its
// name back; if the last step fails the first file keeps the name `f%$#dzvq.tmp` in its directory, and the second has
// the first name. Code 3 also if that name is taken. *
u32 file_swap(ConstPString first, ConstPString second);
// Make a directory by a name cut to 127 characters; code 3 if the name is taken, 9 if there is nowhere to make it. *
u32 file_mkdir(ConstPString name);
// Relative names start in this directory from now on. It is given back normalised, in its buffer of 256 bytes, and no
// code is set: after a failure they start where they did.
void file_chdir(PString name);

// Begin the search for the files of a type ("" for any) in a directory, which is a name with its separator behind it or
// empty, and append the name found to it. `name` has 256 bytes, and its first 127 characters are the directory; a name
// found that does not fit behind it is left out. After a failure `name` is empty; code 3 if nothing was found, 9 if
// there is no such directory. Names come in any case; without a type `.` and `..` come first. *
u32 file_findfirst(PString name, ConstPString type);
// Append the next name found to a string, which should hold the directory again. Code 2 and an empty string when there
// are no more; 1 without a search, and then the string stays; 1 and an empty string after a search that failed. *
u32 file_findnext(PString name);

i16 file_readline_err(FileHandle file, PString dest, u32 *error);
i16 file_readcline_err(FileHandle file, char *dest, u32 *error);
i16 file_tempname_err(PString dest, u32 *error);
i16 file_tempname_in_err(PString name, u32 *error);
u32 file_swap_err(ConstPString first, ConstPString second, u32 *error);
u32 file_mkdir_err(ConstPString name, u32 *error);
u32 file_findfirst_err(PString name, ConstPString type, u32 *error);
u32 file_findnext_err(PString name, u32 *error);

} // namespace zuk
