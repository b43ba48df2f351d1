#include "settings/settings.h"

#include "files/file.h"
#include "foundation/collate.h"
#include "platform/platform.h"
#include "tests/support/settings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace zuk {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

constexpr auto SETTINGS_CALLS = { FAULT_ANY_FILE,     FAULT_PROFILE_READ,      FAULT_PROFILE_WRITE,
                                  FAULT_PROFILE_FLUSH, FAULT_WINDOWS_DIRECTORY, FAULT_FULL_PATH };

// As after the load of the library: no `settings_init` yet, and errors stored where they are at first.
struct Fresh {
    Fresh() { forget(); }
    ~Fresh() { forget(); }
    void forget()
    {
        settings_instance = nullptr;
        pstrnull(settings_dir);
        file_seterrorptr(&file_error);
    }
};

// A directory of the library's module, and a Windows directory, each with or without a file.
struct Places : Fresh {
    TempDir module;
    SettingsHome windows;

    Places()
    {
        virtual_module_path(module.native("ZUK.DLL"));
        settings_init(nullptr);
    }
    void put_beside(const std::string &keys) { (void)module.put("ZUK.INI", "[General]\r\n" + keys); }
    std::string beside() const { return module.native("ZUK.INI"); }
    std::string in_windows() const { return windows.dir.native("ZUK.INI"); }
};

// The current directory for the length of a test.
struct CurrentDirectory {
    explicit CurrentDirectory(const fs::path &path) : before(fs::current_path()) { fs::current_path(path); }
    ~CurrentDirectory() { fs::current_path(before); }
    fs::path before;
};

std::string read(const std::string &key, i16 size = 256)
{
    u8 value[256];
    Name name(key);
    i16 found = settings_read(name, value, size);
    EXPECT_EQ(name.str(), key);  // converted and back
    EXPECT_EQ(found, value[0] != 0);
    return std::string((const char *)value + 1, value[0]);
}

void write(const std::string &key, const std::string &value)
{
    Name name(key), text(value);
    EXPECT_EQ(settings_write(name, text), 1);
    EXPECT_EQ(name.str(), key);
    EXPECT_EQ(text.str(), value);
}

using Getter = i16 (*)(const char *key, i16 default_value, i16 *result);

struct Answer {
    i16 found, value;
    bool operator==(const Answer &) const = default;
};
void PrintTo(const Answer &answer, std::ostream *out) { *out << "{ " << answer.found << ", " << answer.value << " }"; }

// What a getter gives for this text, with default 77.
Answer get(Getter getter, const std::string &text)
{
    SettingsHome home("k=" + text + "\r\n");
    Answer answer = { -1, -1 };
    answer.found = getter("k", 77, &answer.value);
    return answer;
}

TEST(settings, have_every_operation)
{
    const void *const operations[] = {
        (void *)settings_init, (void *)settings_moduledir, (void *)settings_read, (void *)settings_read_checked,
        (void *)settings_write, (void *)settings_get_text, (void *)settings_put_text, (void *)settings_get_bool,
        (void *)settings_get_int, (void *)settings_get_pos, (void *)profile_read, (void *)profile_read_int,
        (void *)profile_write, (void *)settings_place,
    };
    for (const void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- Start ----------------------------------------------------------------------------------------------------------

TEST(settings_moduledir, cuts_the_path_behind_its_last_separator)
{
    Fresh fresh;
    const struct {
        const char *path, *directory;
    } rows[] = {
        { "C:\\APP\\BIN\\ZUK.DLL", ":C:APP/BIN/" }, { "C:ZUK.DLL", ":C:" }, { "\\ZUK.DLL", "/" },
        { "/usr/lib/libzuk.so.1", "/usr/lib/" },    { "ZUK.DLL", "" },
    };
    for (const auto &row : rows) {
        virtual_module_path(row.path);
        Name directory("before");
        settings_moduledir(directory);
        EXPECT_EQ(directory.str(), row.directory) << row.path;
    }
}

TEST(settings_moduledir, is_empty_when_the_path_cannot_be_told)
{
    Fresh fresh;
    Name directory("before");
    faults_start({ .call = FAULT_MODULE_PATH });
    settings_moduledir(directory);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(directory.str(), "");

    virtual_module_path("C:\\" + std::string(600, 'a') + "\\ZUK.DLL");  // nor when it is longer than any of ours
    settings_moduledir(directory);
    EXPECT_EQ(directory.str(), "");
}

// The empty one would mean the current directory, whoever's that is.
TEST(settings_moduledir, is_cut_when_it_is_too_long_for_a_string)
{
    Fresh fresh;
    virtual_module_path("C:\\" + std::string(300, 'a') + "\\ZUK.DLL");
    Name directory("before");
    settings_moduledir(directory);
    EXPECT_EQ(directory.str(), ":C:" + std::string(252, 'a'));
}

TEST(settings_init, in_a_directory_too_long_for_a_name_leaves_the_windows_directory)
{
    Fresh fresh;
    TempDir current;
    SettingsHome windows("k=windows\r\n");
    CurrentDirectory in(current.path(""));
    (void)current.put("ZUK.INI", "[General]\r\nk=current\r\n");
    for (size_t length : { (size_t)200, (size_t)300 }) {
        virtual_module_path("C:\\" + std::string(length, 'a') + "\\ZUK.DLL");
        settings_init(nullptr);
        EXPECT_EQ(read("k"), "windows") << length;
    }
}

TEST(settings_init, stores_the_module_and_its_directory)
{
    Fresh fresh;
    virtual_module_path("C:\\APP\\ZUK.DLL");
    int module;
    settings_init(&module);
    EXPECT_EQ(settings_instance, &module);
    EXPECT_EQ(std::string((const char *)settings_dir + 1, settings_dir[0]), ":C:APP/");
}

TEST(settings_init, brings_the_error_location_back)
{
    Fresh fresh;
    u32 elsewhere = 0;
    file_seterrorptr(&elsewhere);
    settings_init(nullptr);
    file_error = 0;
    EXPECT_EQ(file_open(Name("no such file"), FILE_READ_ONLY), 0u);
    EXPECT_EQ(file_error, 3u);
    EXPECT_EQ(elsewhere, 0u);
}

// ---- Where the file is ----------------------------------------------------------------------------------------------

TEST(settings_place, tells_the_file_beside_the_module_or_else_that_of_the_windows_directory)
{
    Places places;
    SettingsPlace place;
    settings_place(&place);
    EXPECT_FALSE(place.beside_module);
    EXPECT_EQ(place.path, places.in_windows());

    places.put_beside("");
    settings_place(&place);
    EXPECT_TRUE(place.beside_module);
    EXPECT_EQ(place.path, places.beside());
}

TEST(settings_place, is_nowhere_without_a_windows_directory)
{
    Fresh fresh;
    SettingsPlace place;
    settings_place(&place);
    EXPECT_FALSE(place.beside_module);
    EXPECT_STREQ(place.path, "");
    EXPECT_EQ(read("k"), "");
    write("k", "v");
    EXPECT_EQ(call_counts().profile_read + call_counts().profile_write, 0u);
}

TEST(settings_place, puts_a_separator_behind_the_windows_directory_whatever_its_end)
{
    Places places;
    virtual_windows_directory("C:\\");
    SettingsPlace place;
    settings_place(&place);
    EXPECT_STREQ(place.path, "C:\\\\ZUK.INI");
}

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST(settings_read, reads_the_file_beside_the_module)
{
    Places places;
    places.put_beside("k=beside\r\n");
    places.windows.put("k=windows\r\nonly=there\r\n");
    EXPECT_EQ(read("k"), "beside");
    EXPECT_EQ(read("only"), "");  // it is one file or the other
}

TEST(settings_read, reads_the_file_of_the_windows_directory_where_none_is_beside_the_module)
{
    Places places;
    places.windows.put("k=windows\r\n");
    EXPECT_EQ(read("k"), "windows");
}

TEST(settings_read, looks_in_the_current_directory_until_settings_init)
{
    Fresh fresh;
    SettingsHome windows("k=windows\r\n");
    TempDir current;
    (void)current.put("ZUK.INI", "[General]\r\nk=current\r\n");
    {
        CurrentDirectory directory(current.path());
        EXPECT_EQ(read("k"), "current");
    }
    EXPECT_EQ(read("k"), "windows");
}

TEST(settings_read, makes_these_calls_for_a_file_beside_the_module)
{
    Places places;
    places.put_beside("k=v\r\n");
    calls_reset();
    EXPECT_EQ(read("k", 100), "v");
    EXPECT_EQ(call_lines(SETTINGS_CALLS), (Lines{ "open " + places.beside(), "close", "full_path " + places.beside(),
                                                  "profile_read " + places.beside() + " [General] k" }));
    EXPECT_EQ(call_log().back().length, 99u);  // the size less 1
}

TEST(settings_read, flushes_only_the_file_of_the_windows_directory)
{
    Places places;
    places.windows.put("k=v\r\n");
    calls_reset();
    EXPECT_EQ(read("k"), "v");
    EXPECT_EQ(call_lines(SETTINGS_CALLS),
              (Lines{ "open " + places.beside() + " failed", "windows_directory", "profile_flush ZUK.INI",
                      "profile_read " + places.in_windows() + " [General] k" }));

    places.put_beside("k=v\r\n");
    calls_reset();
    EXPECT_EQ(read("k"), "v");
    EXPECT_EQ(call_counts().profile_flush, 0u);
}

TEST(settings_read, asks_for_255_bytes_of_the_windows_directory)
{
    Places places;
    calls_reset();
    (void)read("k");
    for (const CallRecord &record : call_log()) {
        if (record.call != FAULT_WINDOWS_DIRECTORY) continue;
        EXPECT_EQ(record.length, 255u);
    }
    EXPECT_EQ(call_counts().windows_directory, 1u);
}

TEST(settings_read, keeps_nothing_between_calls)
{
    Places places;
    places.windows.put("k=1\r\n");
    EXPECT_EQ(read("k"), "1");
    places.windows.put("k=2\r\n");
    EXPECT_EQ(read("k"), "2");
    places.put_beside("k=3\r\n");
    EXPECT_EQ(read("k"), "3");
}

TEST(settings_read, passes_by_a_file_that_is_held)
{
    Places places;
    places.put_beside("k=beside\r\n");
    places.windows.put("k=windows\r\n");
    FileHandle held = file_open(places.module.name("ZUK.INI"), FILE_RW_EXCLUSIVE);
    ASSERT_NE(held, 0u);
    EXPECT_EQ(read("k"), "windows");
    write("k", "new");
    (void)file_close(held);
    EXPECT_EQ(read("k"), "beside");
    EXPECT_EQ(places.windows.content(), "[General]\r\nk=new\r\n");
}

TEST(settings_read, finds_a_file_that_somebody_reads)
{
    Places places;
    places.put_beside("k=beside\r\n");
    FileHandle held = file_open(places.module.name("ZUK.INI"), FILE_READ_ONLY);
    ASSERT_NE(held, 0u);
    EXPECT_EQ(read("k"), "beside");
    (void)file_close(held);
}

TEST(settings_read, leaves_the_code_of_a_missing_file_in_the_error_location)
{
    Places places;
    file_error = 0;
    (void)read("k");
    EXPECT_EQ(file_error, 3u);
}

TEST(settings_read, gives_0_for_an_empty_value)
{
    Places places;
    places.windows.put("k=\r\nquoted=\"\"\r\nblank=   \r\n");
    for (const char *key : { "k", "quoted", "blank", "missing" }) {
        u8 value[256] = { 3, 'o', 'l', 'd' };
        EXPECT_EQ(settings_read(Name(key), value, 256), 0) << key;
        EXPECT_EQ(value[0], 0) << key;
    }
}

TEST(settings_read, cuts_a_value_at_the_size_less_2)
{
    Places places;
    std::string longest(300, 'v');
    places.windows.put("k=abcdefghijklmnopqrst\r\nlong=" + longest + "\r\n");
    EXPECT_EQ(read("k", 16), "abcdefghijklmn");      // 14 of 20 characters
    EXPECT_EQ(read("k", 22), "abcdefghijklmnopqrst");
    EXPECT_EQ(read("k", 21), "abcdefghijklmnopqrs");
    EXPECT_EQ(read("k", 3), "a");
    EXPECT_EQ(read("k", 2), "");
    EXPECT_EQ(read("long", 256), longest.substr(0, 254));

    u8 value[400];
    EXPECT_EQ(settings_read(Name("long"), value, 400), 1);
    EXPECT_EQ(value[0], 255);                        // no string has more
    EXPECT_EQ(std::string((const char *)value + 1, 255), longest.substr(0, 255));
}

TEST(settings_read, writes_no_byte_behind_the_size)
{
    Places places;
    places.windows.put("k=abcdefghijklmnopqrst\r\n");
    for (i16 size = 0; size <= 24; size++) {
        std::vector<u8> value((size_t)size + 1, 0xEE);
        (void)settings_read(Name("k"), value.data(), size);
        EXPECT_EQ(value[(size_t)size], 0xEE) << size;
    }
}

TEST(settings_read, reads_nothing_into_less_than_2_bytes)
{
    Places places;
    places.windows.put("k=v\r\n");
    calls_reset();
    u8 value[2] = { 7, 7 };
    for (i16 size : { (i16)-32768, (i16)-1, (i16)0 }) {
        EXPECT_EQ(settings_read(Name("k"), value, size), 0);
        EXPECT_EQ(value[0], 7);
    }
    EXPECT_EQ(settings_read(Name("k"), value, 1), 0);
    EXPECT_EQ(value[0], 0);
    EXPECT_EQ(value[1], 7);
    EXPECT_EQ(call_log().size(), 0u);
}

// The joined name is cut to 127 characters when it is looked for, so it is not found.
TEST(settings_read, finds_no_file_in_a_directory_of_more_than_120_characters)
{
    Fresh fresh;
    SettingsHome windows("k=windows\r\n");
    TempDir dir;
    for (size_t length : { 120u, 121u, 127u, 128u }) {
        size_t room = length - dir.name().str().size() - 2;  // without the separators around it
        std::string folder = std::string(room / 2, 'a') + "/" + std::string(room - room / 2 - 1, 'b');
        fs::create_directories(dir.path(folder));
        (void)dir.put(folder + "/ZUK.INI", "[General]\r\nk=beside\r\n");
        pstrconst(settings_dir, (dir.name(folder).str() + "/").c_str());
        ASSERT_EQ(settings_dir[0], length);
        EXPECT_EQ(read("k"), length == 120 ? "beside" : "windows") << length;
    }
}

// One call that fails on the way to a file beside the module or to that of the Windows directory.
struct FailedCall {
    bool beside;
    u32 nth;
    bool from_then_on;
    const char *outcome;
};

TEST(settings_read, gives_the_value_or_nothing_whichever_call_fails)
{
    const FailedCall rows[] = {
        { false, 1, false, "windows" },  // the look beside the module, which finds nothing anyway
        { false, 2, false, "" },         // the Windows directory
        { false, 3, false, "" },         // the read
        { false, 1, true, "" },
        { true, 1, false, "windows" },   // a file that cannot be opened is not there
        { true, 2, false, "beside" },    // the close behind the look
        { true, 3, false, "" },          // the whole path
        { true, 4, false, "" },          // the read
        { true, 1, true, "" },
        { true, 2, true, "" },
    };
    for (const FailedCall &row : rows) {
        Places places;
        places.windows.put("k=windows\r\n");
        if (row.beside) places.put_beside("k=beside\r\n");
        faults_start({ .call = FAULT_ANY, .nth = row.nth, .from_then_on = row.from_then_on });
        EXPECT_EQ(read("k"), row.outcome) << row.beside << row.nth << row.from_then_on;
        EXPECT_TRUE(faults_stop());
        EXPECT_EQ(places.windows.content(), "[General]\r\nk=windows\r\n");
    }
    for (bool beside : { false, true }) {
        Places places;
        places.windows.put("k=v\r\n");
        if (beside) places.put_beside("k=v\r\n");
        faults_start({ .call = FAULT_ANY, .nth = beside ? 5u : 4u });
        EXPECT_EQ(read("k"), "v");
        EXPECT_FALSE(faults_stop());     // there are no more calls
    }
}

TEST(settings_read_checked, asserts_pointers_and_a_size_above_1)
{
    Places places;
    places.windows.put("k=v\r\n");
    u8 value[256];
    EXPECT_EQ(settings_read_checked(Name("k"), value, 256), 1);
    EXPECT_EQ(std::string((const char *)value + 1, value[0]), "v");
    EXPECT_EQ(settings_read_checked(Name("k"), value, 3), 1);
    EXPECT_EQ(call_counts().debug_break, 0u);

    EXPECT_EQ(settings_read_checked(nullptr, value, 256), 0);
    EXPECT_EQ(call_counts().debug_break, 1u);
    EXPECT_EQ(settings_read_checked(Name("k"), nullptr, 256), 0);
    EXPECT_EQ(call_counts().debug_break, 2u);
    EXPECT_EQ(settings_read_checked(Name("k"), value, 1), 0);
    EXPECT_EQ(call_counts().debug_break, 3u);
    EXPECT_EQ(settings_read_checked(Name("k"), value, 2), 0);  // no room for a character, and no mistake
    EXPECT_EQ(call_counts().debug_break, 3u);
}

TEST(settings_get_text, clears_the_value_first)
{
    Places places;
    u8 value[256] = { 3, 'o', 'l', 'd' };
    EXPECT_EQ(settings_get_text("k", value, 256), 0);
    EXPECT_EQ(value[0], 0);
}

TEST(settings_get_text, accepts_a_key_of_63_characters)
{
    std::string key(63, 'k');
    Places places;
    places.windows.put(key + "=v\r\n" + key + "k=longer\r\n");
    u8 value[256];
    EXPECT_EQ(settings_get_text(key.c_str(), value, 256), 1);
    EXPECT_EQ(call_counts().debug_break, 0u);

    // The 64th reaches the assertion, and does not count.
    EXPECT_EQ(settings_get_text((key + "k").c_str(), value, 256), 1);
    EXPECT_EQ(call_counts().debug_break, 1u);
    EXPECT_EQ(std::string((const char *)value + 1, value[0]), "v");
}

TEST(settings_get_text, asserts_a_buffer_and_a_key)
{
    Places places;
    u8 value[256] = {};
    EXPECT_EQ(settings_get_text("k", nullptr, 256), 0);
    EXPECT_EQ(call_counts().debug_break, 1u);
    EXPECT_EQ(settings_get_text(nullptr, value, 256), 0);
    EXPECT_EQ(call_counts().debug_break, 2u);
}

// ---- Writing --------------------------------------------------------------------------------------------------------

TEST(settings_write, changes_the_file_beside_the_module_and_not_the_other)
{
    Places places;
    places.put_beside("k=old\r\n");
    places.windows.put("k=old\r\n");
    write("k", "new");
    EXPECT_EQ(read("k"), "new");
    EXPECT_EQ(places.module.content("ZUK.INI"), "[General]\r\nk=new\r\n");
    EXPECT_EQ(places.windows.content(), "[General]\r\nk=old\r\n");
}

TEST(settings_write, makes_a_new_file_only_in_the_windows_directory)
{
    Places places;
    write("k", "v");
    EXPECT_FALSE(places.module.has("ZUK.INI"));
    EXPECT_EQ(places.windows.content(), "[General]\r\nk=v\r\n");
    EXPECT_EQ(read("k"), "v");
}

TEST(settings_write, flushes_the_whole_path_or_the_bare_name)
{
    Places places;
    calls_reset();
    write("k", "v");
    EXPECT_EQ(call_lines(SETTINGS_CALLS),
              (Lines{ "open " + places.beside() + " failed", "windows_directory",
                      "profile_write " + places.in_windows() + " [General] k=v", "profile_flush ZUK.INI" }));

    places.put_beside("");
    calls_reset();
    write("k", "v");
    EXPECT_EQ(call_lines(SETTINGS_CALLS),
              (Lines{ "open " + places.beside(), "close", "full_path " + places.beside(),
                      "profile_write " + places.beside() + " [General] k=v", "profile_flush " + places.beside() }));
}

TEST(settings_write, gives_1_when_nothing_could_be_written)
{
    const FailedCall rows[] = {
        { false, 1, false, "windows" },  // the look beside the module, which finds nothing anyway
        { false, 2, false, "" },         // the Windows directory
        { false, 3, false, "" },         // the write
        { false, 1, true, "" },
        { true, 1, false, "windows" },   // a file that cannot be opened is passed by
        { true, 2, false, "beside" },    // the close behind the look
        { true, 3, false, "" },          // the whole path
        { true, 4, false, "" },          // the write
        { true, 1, true, "" },
        { true, 2, true, "" },
    };
    for (const FailedCall &row : rows) {
        Places places;
        places.windows.put("k=old\r\n");
        if (row.beside) places.put_beside("k=old\r\n");
        faults_start({ .call = FAULT_ANY, .nth = row.nth, .from_then_on = row.from_then_on });
        write("k", "new");               // gives 1, and its strings back
        EXPECT_TRUE(faults_stop());

        std::string changed = row.outcome;
        SCOPED_TRACE(testing::Message() << row.beside << row.nth << row.from_then_on);
        EXPECT_EQ(places.windows.content(), changed == "windows" ? "[General]\r\nk=new\r\n" : "[General]\r\nk=old\r\n");
        if (!row.beside) {
            EXPECT_FALSE(places.module.has("ZUK.INI"));
            continue;
        }
        EXPECT_EQ(places.module.content("ZUK.INI"),
                  changed == "beside" ? "[General]\r\nk=new\r\n" : "[General]\r\nk=old\r\n");
    }
}

TEST(settings_write, writes_strings_of_any_length)
{
    Places places;
    std::string value(255, 'v');
    write("k", value);
    u8 read_back[300];
    EXPECT_EQ(settings_read(Name("k"), read_back, 300), 1);
    EXPECT_EQ(std::string((const char *)read_back + 1, read_back[0]), value);
    write("k", "");
    EXPECT_EQ(read("k"), "");
}

TEST(settings_put_text, writes_by_a_terminated_key)
{
    Places places;
    Name value("v");
    EXPECT_EQ(settings_put_text("k", value), 1);
    EXPECT_EQ(read("k"), "v");
    EXPECT_EQ(value.str(), "v");
    EXPECT_EQ(call_counts().debug_break, 0u);
}

TEST(settings_put_text, asserts_a_value_and_a_key_of_63_characters)
{
    Places places;
    std::string key(64, 'k');
    EXPECT_EQ(settings_put_text(key.c_str(), Name("v")), 1);
    EXPECT_EQ(call_counts().debug_break, 1u);
    EXPECT_EQ(places.windows.content(), "[General]\r\n" + key.substr(1) + "=v\r\n");
    EXPECT_EQ(settings_put_text("k", nullptr), 0);
    EXPECT_EQ(settings_put_text(nullptr, Name("v")), 0);
    EXPECT_EQ(call_counts().debug_break, 3u);
    EXPECT_EQ(call_counts().profile_write, 1u);
}

// ---- Values ---------------------------------------------------------------------------------------------------------

TEST(settings_get_bool, knows_eight_words_in_either_case)
{
    Fresh fresh;
    for (const char *word : { "TRUE", "true", "True", "ON", "on", "YES", "yes", "Yes", "1" }) {
        EXPECT_EQ(get(settings_get_bool, word), (Answer{ 1, 1 })) << word;
    }
    for (const char *word : { "FALSE", "false", "OFF", "Off", "NO", "no", "0" }) {
        EXPECT_EQ(get(settings_get_bool, word), (Answer{ 1, 0 })) << word;
    }
}

TEST(settings_get_bool, takes_an_unknown_word_for_a_missing_key)
{
    Fresh fresh;
    for (const char *word : { "maybe", "", "2", "01", "TRUE!", "T", "YESYESYESYESYES", "-1" }) {
        EXPECT_EQ(get(settings_get_bool, word), (Answer{ 0, 77 })) << word;
    }
    SettingsHome none;
    i16 value = 0;
    EXPECT_EQ(settings_get_bool("k", 77, &value), 0);
    EXPECT_EQ(value, 77);
}

TEST(settings_get_bool, compares_by_the_order_of_the_language)
{
    Fresh fresh;
    TempDir dir;
    // Every character has one weight in both tables: all words of one length are equal, and the first in turn counts.
    std::string table = "FLAT\r";
    for (int line = 0; line < 16; line++) {
        for (int entry = 0; entry < 16; entry++) table += "01 ";
        table += '\r';
    }
    (void)dir.put("ZUK.ACS", table + table);
    CurrentDirectory directory(dir.path());
    i32 language = 1, plain = 2;
    ASSERT_EQ(lang_control(LANG_START, 0), 1u);
    (void)lang_mode(&language);
    EXPECT_EQ(get(settings_get_bool, "QQQQ"), (Answer{ 1, 1 }));    // TRUE
    (void)lang_mode(&plain);
    EXPECT_EQ(get(settings_get_bool, "QQQQ"), (Answer{ 0, 77 }));
    // Only a start that finds nothing forgets the file.
    fs::remove(dir.path("ZUK.ACS"));
    faults_start({ .call = FAULT_LOAD });
    EXPECT_EQ(lang_control(LANG_START, 0), 0u);
    faults_stop();
    acs_free();
}

TEST(settings_get_int, reads_the_number_at_the_start)
{
    Fresh fresh;
    const struct {
        const char *text;
        i16 value;
    } rows[] = {
        { "5", 5 },           { "-5", -5 },       { "+5", 5 },       { "12ab", 12 },  { "0", 0 },       { "007", 7 },
        { "32767", 32767 },   { "-32768", -32768 }, { "32768", -32768 }, { "70000", 4464 }, { "0x10", 0 },
        { "0abc", 0 },
        { "\"  6\"", 6 },     { "065536", 0 },    { "1.9", 1 },
    };
    for (const auto &row : rows) EXPECT_EQ(get(settings_get_int, row.text), (Answer{ 1, row.value })) << row.text;
}

TEST(settings_get_int, gives_1_and_the_default_for_text_without_a_number)
{
    Fresh fresh;
    // The last ones are numbers whose low 16 bits are 0, and do not begin with the digit 0.
    for (const char *text : { "abc", "-", "x0", "-0", "+0", "65536", "131072" }) {
        EXPECT_EQ(get(settings_get_int, text), (Answer{ 1, 77 })) << text;
    }
}

TEST(settings_get_int, gives_0_and_the_default_for_a_missing_key)
{
    Fresh fresh;
    EXPECT_EQ(get(settings_get_int, ""), (Answer{ 0, 77 }));
    i16 value = 0;
    EXPECT_EQ(settings_get_int("other", 78, &value), 0);
    EXPECT_EQ(value, 78);
}

TEST(settings_get_int, reads_14_characters)
{
    Fresh fresh;
    EXPECT_EQ(get(settings_get_int, "00000000000012345"), (Answer{ 1, 12 }));
}

TEST(settings_get_pos, keeps_the_default_for_a_negative_number)
{
    Fresh fresh;
    for (const char *text : { "-5", "-1", "abc", "-0", "32768", "65536", "40000" }) {  // negative in 16 bits, or 0
        EXPECT_EQ(get(settings_get_pos, text), (Answer{ 1, 77 })) << text;
    }
    EXPECT_EQ(get(settings_get_pos, "5"), (Answer{ 1, 5 }));
    EXPECT_EQ(get(settings_get_pos, "32767"), (Answer{ 1, 32767 }));
    EXPECT_EQ(get(settings_get_pos, "70000"), (Answer{ 1, 4464 }));
    EXPECT_EQ(get(settings_get_pos, ""), (Answer{ 0, 77 }));
}

TEST(settings_get_pos, stores_0)
{
    Fresh fresh;
    EXPECT_EQ(get(settings_get_pos, "0"), (Answer{ 1, 0 }));
    EXPECT_EQ(get(settings_get_pos, "007"), (Answer{ 1, 7 }));
    EXPECT_EQ(get(settings_get_pos, "0abc"), (Answer{ 1, 0 }));
    EXPECT_EQ(get(settings_get_pos, "040000"), (Answer{ 1, -25536 }));  // 40000 - 65536
}

TEST(settings_getters, assert_a_place_for_the_result)
{
    Fresh fresh;
    SettingsHome home("k=5\r\n");
    EXPECT_EQ(settings_get_bool("k", 1, nullptr), 0);
    EXPECT_EQ(settings_get_int("k", 1, nullptr), 1);
    EXPECT_EQ(settings_get_pos("k", 1, nullptr), 1);
    EXPECT_EQ(call_counts().debug_break, 3u);
}

TEST(settings_getters, give_the_default_whichever_call_fails)
{
    Fresh fresh;
    SettingsHome home("k=1\r\n");
    for (Getter getter : { settings_get_bool, settings_get_int, settings_get_pos }) {
        for (FaultCall call : { FAULT_PROFILE_READ, FAULT_WINDOWS_DIRECTORY }) {
            i16 value = 0;
            faults_start({ .call = call });
            EXPECT_EQ(getter("k", 77, &value), 0);
            EXPECT_TRUE(faults_stop());
            EXPECT_EQ(value, 77);
        }
    }
}

// ---- Any profile file -----------------------------------------------------------------------------------------------

TEST(profile_read, reads_any_file_section_and_key)
{
    TempDir dir;
    Name file = dir.put("A.INI", "[One]\r\nk=1\r\n[Two]\r\nk=2\r\n"), section("Two"), key("k");
    u8 value[256];
    EXPECT_EQ(profile_read(file, section, key, value, 256), 1);
    EXPECT_EQ(std::string((const char *)value + 1, value[0]), "2");
    EXPECT_EQ(section.str(), "Two");
    EXPECT_EQ(key.str(), "k");
    EXPECT_EQ(file.str(), dir.name("A.INI").str());
    EXPECT_EQ(call_lines(SETTINGS_CALLS), Lines{ "profile_read " + dir.native("A.INI") + " [Two] k" });  // no search
    EXPECT_EQ(call_log().back().length, 255u);
}

TEST(profile_read, gives_0_and_nothing_for_a_missing_one)
{
    TempDir dir;
    Name file = dir.put("A.INI", "[One]\r\nempty=\r\n");
    u8 value[256] = { 3, 'o', 'l', 'd' };
    EXPECT_EQ(profile_read(file, Name("One"), Name("k"), value, 256), 0);
    EXPECT_EQ(value[0], 0);
    EXPECT_EQ(profile_read(file, Name("One"), Name("empty"), value, 256), 0);
    EXPECT_EQ(profile_read(file, Name("Two"), Name("empty"), value, 256), 0);
    EXPECT_EQ(profile_read(dir.name("B.INI"), Name("One"), Name("k"), value, 256), 0);
}

TEST(profile_read, cuts_the_value_and_the_name)
{
    TempDir dir;
    Name file = dir.put("A.INI", "[One]\r\nk=abcdefghijklmnopqrst\r\n");
    u8 value[256];
    EXPECT_EQ(profile_read(file, Name("One"), Name("k"), value, 16), 1);
    EXPECT_EQ(std::string((const char *)value + 1, value[0]), "abcdefghijklmn");
    value[0] = 7;
    EXPECT_EQ(profile_read(file, Name("One"), Name("k"), value, 0), 0);
    EXPECT_EQ(value[0], 7);
    EXPECT_EQ(profile_read(file, Name("One"), Name("k"), value, 1), 0);
    EXPECT_EQ(value[0], 0);

    std::string longest = "/" + std::string(126, 'a');
    (void)profile_read(Name(longest + "b"), Name("One"), Name("k"), value, 256);
    EXPECT_EQ(call_log().back().name, "\\" + longest.substr(1) + " [One] k");
}

TEST(profile_read, gives_nothing_when_the_call_fails)
{
    TempDir dir;
    Name file = dir.put("A.INI", "[One]\r\nk=1\r\n");
    u8 value[256] = { 3, 'o', 'l', 'd' };
    faults_start({ .call = FAULT_PROFILE_READ });
    EXPECT_EQ(profile_read(file, Name("One"), Name("k"), value, 256), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(value[0], 0);
}

TEST(profile_read_int, keeps_the_low_16_bits)
{
    TempDir dir;
    Name file = dir.put("A.INI", "[One]\r\na=70000\r\nb=-5\r\nc=0x10\r\nd=12ab\r\ne=abc\r\nf=65536\r\ng=40000\r\n");
    const struct {
        const char *key;
        i16 value;
    } rows[] = { { "a", 4464 }, { "b", -5 }, { "c", 16 }, { "d", 12 }, { "e", 0 }, { "f", 0 }, { "g", -25536 },
                 { "missing", 0 } };
    for (const auto &row : rows) {
        i16 value = 77;
        Name section("One"), key(row.key);
        profile_read_int(file, section, key, &value);
        EXPECT_EQ(value, row.value) << row.key;
        EXPECT_EQ(section.str(), "One");
        EXPECT_EQ(key.str(), row.key);
    }
}

TEST(profile_read_int, gives_0_when_the_call_fails)
{
    TempDir dir;
    Name file = dir.put("A.INI", "[One]\r\nk=5\r\n");
    i16 value = 77;
    faults_start({ .call = FAULT_PROFILE_NUMBER });
    profile_read_int(file, Name("One"), Name("k"), &value);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(value, 0);
}

TEST(profile_write, writes_any_file_and_flushes_nothing)
{
    TempDir dir;
    Name section("One"), key("k"), value("v");
    EXPECT_EQ(profile_write(dir.name("A.INI"), section, key, value), 1);
    EXPECT_EQ(section.str(), "One");
    EXPECT_EQ(key.str(), "k");
    EXPECT_EQ(value.str(), "v");
    EXPECT_EQ(dir.content("A.INI"), "[One]\r\nk=v\r\n");
    EXPECT_EQ(call_lines(SETTINGS_CALLS), Lines{ "profile_write " + dir.native("A.INI") + " [One] k=v" });

    u8 read_back[256];
    EXPECT_EQ(profile_read(dir.name("A.INI"), section, key, read_back, 256), 1);
}

TEST(profile_write, gives_1_when_nothing_could_be_written)
{
    TempDir dir;
    (void)dir.put("A.INI", "[One]\r\nk=old\r\n");
    faults_start({ .call = FAULT_PROFILE_WRITE });
    EXPECT_EQ(profile_write(dir.name("A.INI"), Name("One"), Name("k"), Name("v")), 1);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(dir.content("A.INI"), "[One]\r\nk=old\r\n");
}

} // namespace
} // namespace zuk
