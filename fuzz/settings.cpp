// Any bytes as a settings file: every option is asked for, keys are written, and all is asked for again.
//
// No call reaches the system: one text in memory stands in front, read and edited by the rules of profile files.
// Besides the sanitizers the target itself refuses, by a trap,
//   - a key that does not read back as it was written
//   - a write that changes any other key, or a second one that changes anything
//   - an option beyond what its accessor may give
//
//   | which key | length of the value | value | the file
#include "files/file.h"
#include "platform/platform.h"
#include "platform/profile_text.h"
#include "settings/options.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

using namespace zuk;

static void refuse(const char *what)
{
    fprintf(stderr, "fuzz_settings: %s\n", what);
    abort();
}

// ---- The platform ---------------------------------------------------------------------------------------------------

static std::string file_text;

static u32 text_read(const char *, const char *section, const char *key, char *value, u32 size)
{
    return profile_value(file_text.data(), file_text.size(), section, key, value, size);
}

static u32 text_read_number(const char *file, const char *section, const char *key)
{
    char value[PROFILE_NUMBER_SIZE];
    return text_read(file, section, key, value, sizeof value) ? profile_number(value) : 0;
}

static u32 text_write(const char *, const char *section, const char *key, const char *value)
{
    ProfileEdit edit;
    if (!profile_edit(file_text.data(), file_text.size(), section, key, value, &edit)) return PLATFORM_ACCESS_DENIED;
    if (edit.place.from > edit.place.to || edit.place.to > file_text.size()) refuse("an edit outside of the text");
    std::string written = file_text.substr(0, edit.place.from);
    for (u32 i = 0; i < edit.count; i++) written.append(edit.pieces[i].text, edit.pieces[i].length);
    file_text = written + file_text.substr(edit.place.to);
    return PLATFORM_OK;
}

static void text_flush(const char *) {}

static const PlatformProfiles text_profiles = {
    .read = text_read, .read_number = text_read_number, .write = text_write, .flush = text_flush
};

static u32 no_file(const char *, u16, FileHandle *) { return PLATFORM_FILE_NOT_FOUND; }

static u32 some_directory(char *path, u32)
{
    memcpy(path, "C:", 3);
    return 2;
}

static void ignore_break() {}

static void stand_in_front()
{
    static PlatformFiles files = native_files;
    static PlatformPaths paths = native_paths;
    static const PlatformDiagnostics quiet = { .debug_break = ignore_break };
    files.open = no_file;
    paths.windows_directory = some_directory;
    platform_files = &files;
    platform_paths = &paths;
    platform_profiles = &text_profiles;
    platform_diagnostics = &quiet;
}

// ---- Asking ---------------------------------------------------------------------------------------------------------

static std::string text_of(const char *key)
{
    u8 value[PSTRING_SIZE];
    (void)settings_get_text(key, value, sizeof value);
    return std::string((const char *)value + 1, value[0]);
}

// The text of every key, through its accessor and by itself.
static std::map<std::string, std::string> ask_for_everything()
{
    options_forget_cached();
    std::map<std::string, std::string> values;
    for (u32 i = 0; i < option_row_count; i++) {
        const OptionRow &row = option_rows[i];
        values[row.key] = text_of(row.key);
        i32 value = row.value ? row.value() : row.asked ? row.asked(1) : 0;
        if (row.kind == OPTION_BOOLEAN && value != 0 && value != 1) refuse("a boolean that is none");
        if (!row.text) continue;
        for (i16 size : { (i16)32, (i16)PSTRING_SIZE }) {
            u8 buffer[PSTRING_SIZE];
            if (row.text(buffer, size) && buffer[0] > size - 2) refuse("a text beyond its buffer");
        }
    }
    if (option_zps_instance() < 1 || option_zps_instance() > 99) refuse("an instance beyond 99");
    if (option_zps_server_reads() < 1) refuse("no reads of the server");
    if (option_script_compile() < 1 || option_script_compile() > 4) refuse("a way to compile that there is not");
    return values;
}

// What a value reads as once it is written.
static std::string as_read(std::string value)
{
    auto blank = [](char c) { return (c >= 9 && c <= 13) || c == 26 || c == 32; };
    value = value.substr(0, value.find_first_of(std::string("\r\n\0", 3)));
    while (!value.empty() && blank(value.back())) value.pop_back();
    while (!value.empty() && blank(value.front())) value.erase(0, 1);
    bool quoted = value.size() >= 2 && (value[0] == '"' || value[0] == '\'') && value.back() == value[0];
    if (quoted) value = value.substr(1, value.size() - 2);
    return value.substr(0, PSTRING_SIZE - 2);
}

// ---- The target -----------------------------------------------------------------------------------------------------

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2) return 0;
    const char *key = option_rows[data[0] % option_row_count].key;
    size_t length = std::min({ (size_t)data[1], size - 2, (size_t)PSTRING_SIZE - 1 });
    std::string value((const char *)data + 2, length);

    stand_in_front();
    file_text.assign((const char *)data + 2 + length, size - 2 - length);
    std::map<std::string, std::string> before = ask_for_everything();

    u8 string[PSTRING_SIZE];
    string[0] = (u8)length;
    memcpy(string + 1, value.data(), length);
    if (settings_put_text(key, string) != 1) refuse("a write that does not give 1");

    std::map<std::string, std::string> after = ask_for_everything();
    if (after[key] != as_read(value)) refuse("a value that does not read back");
    before[key] = after[key];
    if (after != before) refuse("a write that changes another key");

    // Once more changes nothing, as the key is there.
    std::string text_after = file_text;
    u8 again[PSTRING_SIZE];
    string[0] = (u8)length;
    memcpy(string + 1, value.data(), length);
    (void)settings_put_text(key, string);
    if (file_text != text_after) refuse("a second write that differs");
    i16 number;
    u8 file[PSTRING_SIZE], section[PSTRING_SIZE], name[PSTRING_SIZE];
    profile_read_int(pstrconst(file, "A.INI"), pstrconst(section, "General"), pstrconst(name, key), &number);
    (void)profile_read(file, section, name, again, PSTRING_SIZE);
    return 0;
}
