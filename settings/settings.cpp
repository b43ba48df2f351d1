#include "settings/settings.h"

#include "files/file.h"
#include "foundation/collate.h"
#include "foundation/format.h"
#include "platform/platform.h"

#include <string.h>

namespace zuk {

constinit void *settings_instance = nullptr;
constinit u8 settings_dir[PSTRING_SIZE] = {};

static const char SECTION[] = "General";
static const char FILE_NAME[] = "ZUK.INI";

// A developer's aid: it stops where a debugger runs, and the call goes on.
static bool expect(bool good)
{
    if (!good) platform_diagnostics->debug_break();
    return good;
}

// ---- Start ----------------------------------------------------------------------------------------------------------

void settings_moduledir(PString directory)
{
    char path[SETTINGS_PATH_SIZE];
    u32 length = platform_paths->module(settings_instance, path, sizeof path);
    while (length > 0 && !strchr("\\/:", path[length - 1])) length--;

    // One that is too long for a string is cut rather than left out: the empty one would mean the current directory.
    if (length > PSTRING_SIZE - 1) length = PSTRING_SIZE - 1;
    memcpy(directory + 1, path, length);
    directory[0] = (u8)length;
    native_2_filename(directory);
}

void settings_init(void *module)
{
    settings_instance = module;
    settings_moduledir(settings_dir);
    // KEPT: one would expect the start of the settings to leave the file layer alone. A location that somebody chose
    // for file errors is given up. Test: settings_init.brings_the_error_location_back
    file_seterrorptr(&file_error);
}

// ---- Where the file is ----------------------------------------------------------------------------------------------

// The file beside the module is the one to use if it can be opened for reading.
// KEPT: one would expect a look at the settings to leave no trace. It is asked of the file layer, so the code of a file
// that is not there stays in the error location.
// Test: settings_read.leaves_the_code_of_a_missing_file_in_the_error_location
// KEPT: one would expect the file to be found in any directory. The file layer cuts its name to 127 characters, so it
// is never found in one of more than 120. Test: settings_read.finds_no_file_in_a_directory_of_more_than_120_characters
// KEPT: one would expect a file that somebody holds open for writing to be the settings file still. It cannot be opened
// at that moment, so reads and writes go to the Windows directory. Test: settings_read.passes_by_a_file_that_is_held
static bool is_beside_module(PString name)
{
    FileHandle file = file_open(name, FILE_READ_ONLY);
    if (file) (void)file_close(file);  // it was only asked for
    return file != 0;
}

void settings_place(SettingsPlace *place)
{
    u8 name[PSTRING_SIZE];
    u8 file_name[PSTRING_SIZE];
    pstricpy(name, settings_dir, 1, FILE_NAME_MAX);
    pstricat(name, pstrconst(file_name, FILE_NAME), 1, PSTRING_SIZE);

    place->path[0] = 0;
    place->beside_module = is_beside_module(name);
    if (place->beside_module) {
        // The service would look for a bare name in the Windows directory.
        const char *native = (const char *)ptocstr(filename_2_native(name));
        (void)platform_paths->full(native, place->path, SETTINGS_PATH_SIZE);  // gives none when it fails
        return;
    }

    u32 length = platform_paths->windows_directory(place->path, PSTRING_SIZE - 1);
    if (length == 0) return;
    place->path[length] = '\\';
    memcpy(place->path + length + 1, FILE_NAME, sizeof FILE_NAME);
}

// ---- Reading --------------------------------------------------------------------------------------------------------

i16 settings_read(PString key, PString value, i16 size)
{
    if (size < 1) return 0;
    value[0] = 0;
    if (size == 1) return 0;

    // KEPT: one would expect the place and the text of the file to be kept between calls. Both are found anew each
    // time, so a change by anybody is seen at once. Test: settings_read.keeps_nothing_between_calls
    SettingsPlace place;
    settings_place(&place);
    if (!place.path[0]) return 0;
    // KEPT: one would expect a read of either file to drop what the platform keeps of it, or of neither. Only the one
    // of the Windows directory does, by its bare name.
    // Test: settings_read.flushes_only_the_file_of_the_windows_directory
    if (!place.beside_module) platform_profiles->flush(FILE_NAME);

    // KEPT: one would expect a value too long for the buffer to be reported. It is cut, to leave room for the
    // terminator and the length byte. Test: settings_read.cuts_a_value_at_the_size_less_2
    ptocstr(key);
    (void)platform_profiles->read(place.path, SECTION, (const char *)key, (char *)value, (u32)(size - 1));
    ctopstr(key);
    ctopstr(value);

    // KEPT: one would expect a key with an empty value to be told from a missing one.
    // Test: settings_read.gives_0_for_an_empty_value
    return value[0] != 0;
}

i16 settings_read_checked(PString key, PString value, i16 size)
{
    bool pointers = expect(key != nullptr && value != nullptr);
    (void)expect(size > 1);  // a smaller one reads nothing
    return pointers ? settings_read(key, value, size) : (i16)0;
}

// A key as a string; false for one that cannot be used.
static bool take_key(u8 copy[SETTINGS_KEY_MAX + 1], const char *key)
{
    if (!expect(key != nullptr)) return false;
    size_t length = strnlen(key, SETTINGS_KEY_MAX + 1);
    if (!expect(length <= SETTINGS_KEY_MAX)) length = SETTINGS_KEY_MAX;
    memcpy(copy + 1, key, length);
    copy[0] = (u8)length;
    return true;
}

i16 settings_get_text(const char *key, PString value, i16 size)
{
    bool has_value = expect(value != nullptr);
    u8 copy[SETTINGS_KEY_MAX + 1];
    if (!take_key(copy, key) || !has_value) return 0;
    if (size > 0) value[0] = 0;
    return settings_read(copy, value, size);
}

// ---- Writing --------------------------------------------------------------------------------------------------------

i16 settings_write(PString key, PString value)
{
    SettingsPlace place;
    settings_place(&place);

    // KEPT: one would expect the outcome of the platform's call. Nobody looks at it, and the result is always 1.
    // Test: settings_write.gives_1_when_nothing_could_be_written
    // KEPT: one would expect a new file beside the module as well. It is only ever made in the Windows directory.
    // Test: settings_write.makes_a_new_file_only_in_the_windows_directory
    if (!place.path[0]) return 1;
    ptocstr(key);
    ptocstr(value);
    (void)platform_profiles->write(place.path, SECTION, (const char *)key, (const char *)value);
    platform_profiles->flush(place.beside_module ? place.path : FILE_NAME);
    ctopstr(key);
    ctopstr(value);
    return 1;
}

i16 settings_put_text(const char *key, PString value)
{
    bool has_value = expect(value != nullptr);
    u8 copy[SETTINGS_KEY_MAX + 1];
    if (!take_key(copy, key) || !has_value) return 0;  // a null value would take the key out of the file
    return settings_write(copy, value);
}

// ---- Values ---------------------------------------------------------------------------------------------------------

static const struct {
    u8 word[6];
    i16 value;
} words[] = {
    { { 4, 'T', 'R', 'U', 'E' }, 1 }, { { 5, 'F', 'A', 'L', 'S', 'E' }, 0 }, { { 2, 'O', 'N' }, 1 },
    { { 3, 'O', 'F', 'F' }, 0 },      { { 3, 'Y', 'E', 'S' }, 1 },          { { 2, 'N', 'O' }, 0 },
    { { 1, '1' }, 1 },                { { 1, '0' }, 0 },
};

i16 settings_get_bool(const char *key, i16 default_value, i16 *result)
{
    i16 nobody;
    if (!expect(result != nullptr)) result = &nobody;
    *result = default_value;
    u8 text[SETTINGS_NUMBER_SIZE];
    if (!settings_get_text(key, text, sizeof text)) return 0;

    for (const auto &row : words) {
        if (pstrlangcompare(text, row.word, 1, 255, 1) != 0) continue;
        *result = row.value;
        return 1;
    }
    // KEPT: one would expect a word that is none of these to be told from a missing key, as text without a number is.
    // Test: settings_get_bool.takes_an_unknown_word_for_a_missing_key
    return 0;
}

// The text of a key and the number in it; 0 if there is no text.
static i16 get_number(const char *key, i16 default_value, i16 **result, i16 *nobody, i16 *number, bool *zero_digit)
{
    if (!expect(*result != nullptr)) *result = nobody;
    **result = default_value;
    u8 text[SETTINGS_NUMBER_SIZE];
    if (!settings_get_text(key, text, sizeof text)) return 0;

    *number = 0;
    pstr_scan(text, "%d", number);
    *zero_digit = text[1] == '0';
    return 1;
}

i16 settings_get_int(const char *key, i16 default_value, i16 *result)
{
    i16 nobody, number;
    bool zero_digit;
    if (!get_number(key, default_value, &result, &nobody, &number, &zero_digit)) return 0;
    // KEPT: one would expect text without a number to act as a missing key. The default stays, but the result says that
    // there was something. Test: settings_get_int.gives_1_and_the_default_for_text_without_a_number
    if (number != 0 || zero_digit) *result = number;
    return 1;
}

i16 settings_get_pos(const char *key, i16 default_value, i16 *result)
{
    i16 nobody, number;
    bool zero_digit;
    if (!get_number(key, default_value, &result, &nobody, &number, &zero_digit)) return 0;
    // KEPT: one would expect 0 to be refused where only positive numbers are wanted. It is stored, and so is whatever
    // wraps to a negative number behind a digit 0. Test: settings_get_pos.stores_0
    if (number > 0 || zero_digit) *result = number;
    return 1;
}

// ---- Any profile file -----------------------------------------------------------------------------------------------

// The section and the key are converted for the length of a call.
static const char *begin_call(u8 copy[PSTRING_SIZE], ConstPString file, PString section, PString key)
{
    pstricpy(copy, file, 1, FILE_NAME_MAX);
    ptocstr(section);
    ptocstr(key);
    return (const char *)ptocstr(filename_2_native(copy));
}

static void end_call(PString section, PString key)
{
    ctopstr(section);
    ctopstr(key);
}

i16 profile_read(ConstPString file, PString section, PString key, PString value, i16 size)
{
    if (size < 1) return 0;
    value[0] = 0;
    if (size == 1) return 0;

    u8 copy[PSTRING_SIZE];
    const char *path = begin_call(copy, file, section, key);
    (void)platform_profiles->read(path, (const char *)section, (const char *)key, (char *)value, (u32)(size - 1));
    end_call(section, key);
    ctopstr(value);
    return value[0] != 0;
}

void profile_read_int(ConstPString file, PString section, PString key, i16 *result)
{
    u8 copy[PSTRING_SIZE];
    const char *path = begin_call(copy, file, section, key);
    // KEPT: one would expect a number beyond 16 bits to be refused or to stay at the limit. Its upper bits are cut off.
    // Test: profile_read_int.keeps_the_low_16_bits
    *result = (i16)platform_profiles->read_number(path, (const char *)section, (const char *)key);
    end_call(section, key);
}

i16 profile_write(ConstPString file, PString section, PString key, PString value)
{
    u8 copy[PSTRING_SIZE];
    const char *path = begin_call(copy, file, section, key);
    ptocstr(value);
    (void)platform_profiles->write(path, (const char *)section, (const char *)key, (const char *)value);
    end_call(section, key);
    ctopstr(value);
    return 1;
}

} // namespace zuk
