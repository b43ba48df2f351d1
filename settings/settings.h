// The settings file: text of the profile form, named ZUK.INI, with all keys in the section "General".
//
//     [General]
//     MainProduct=yes
//     MinID=100
//
// The file stands beside the library's module, in `settings_dir`; if it cannot be opened there, in the Windows
// directory. It is looked for anew by each call, and nothing is kept between calls: settings/options.h has one accessor
// for each key, and some of those remember. Built on `platform_profiles`, `platform_paths` and `file_open`.
//
// Keys and values are strings, converted in place for the platform and back: none may be constant. A missing file, key
// or section acts as an empty value, which acts as a missing one; nothing else is reported. Letters of keys count in
// either case. Each look at the file stores a code in the file error location, that of a missing file as a rule.
//
// Where a call asserts something, a mistake of the caller reaches the platform's `debug_break`, and the call goes on: a
// null key or value gives 0, a null place for a result is left out, and a key of 64 characters or more is cut to 63.
// No locks are taken; one thread at a time.
#pragma once

#include "foundation/pstrings.h"

namespace zuk {

constexpr i16 SETTINGS_KEY_MAX = 63;        // characters of a key that is given NUL-terminated
constexpr i16 SETTINGS_NUMBER_SIZE = 16;    // the buffer for the text of a boolean or a number: 14 characters

extern void *settings_instance;             // the library's module; null until `settings_init`
extern u8 settings_dir[PSTRING_SIZE];       // its directory with a separator behind; empty until `settings_init`

// Once, at the start, by the host of the library: nothing in here does it. Until then the file is looked for in the
// current directory. It also brings the file error location back to `file_error`.
void settings_init(void *module);
void settings_moduledir(PString directory);  // of `settings_instance`, as a portable name; empty if it cannot be told

// ---- By key ---------------------------------------------------------------------------------------------------------

// Each getter of a value gives 1 when there is one. `size` is that of the buffer; a value has `size` - 2 characters at
// most, and 255, and the rest is cut off. A size below 1 leaves the buffer alone.
i16 settings_read(PString key, PString value, i16 size);
i16 settings_read_checked(PString key, PString value, i16 size);  // asserts two pointers and a size above 1
// Into the file that a read would use, at the moment of the call; a new file is made only in the Windows directory.
// Always 1: nobody looks whether it worked. When it did not, the file is as it was.
i16 settings_write(PString key, PString value);

// The same by a NUL-terminated key, of which 63 characters count. Without a value there is an empty one.
i16 settings_get_text(const char *key, PString value, i16 size);
i16 settings_put_text(const char *key, PString value);

// 1, and one of the words TRUE, FALSE, ON, OFF, YES, NO, 1, 0 as a number, letters in either case; or 0 and the
// default, for any other text as well.
i16 settings_get_bool(const char *key, i16 default_value, i16 *result);
// 1 if there is text. The number that it begins with, cut to 16 bits; the default if that is 0 and the text does not
// begin with the digit 0.
i16 settings_get_int(const char *key, i16 default_value, i16 *result);
i16 settings_get_pos(const char *key, i16 default_value, i16 *result);  // the default for a negative number as well

// ---- Where the file is ----------------------------------------------------------------------------------------------

constexpr u32 SETTINGS_PATH_SIZE = 512;

struct SettingsPlace {
    bool beside_module;                  // or where `settings_dir` says; else in the Windows directory
    char path[SETTINGS_PATH_SIZE];       // native and whole; empty if there is no Windows directory
};

// Where a read or write at this moment goes. In the Windows directory the file may be missing.
void settings_place(SettingsPlace *place);

// ---- Any profile file -----------------------------------------------------------------------------------------------

// The file is a portable name, cut to 127 characters and not searched for; the platform takes one without any directory
// for a file of the Windows directory.
i16 profile_read(ConstPString file, PString section, PString key, PString value, i16 size);
void profile_read_int(ConstPString file, PString section, PString key, i16 *result);  // 0 if there is no number
i16 profile_write(ConstPString file, PString section, PString key, PString value);    // always 1

} // namespace zuk
