#include "files/file_util.h"

#include "platform/platform.h"
#include "tests/support/faults.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace zuk {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

// A code that no operation gives: what still holds it was not written.
constexpr u32 UNTOUCHED = 77;

// Ahead of every test, which could set it.
static const u8 length_of_the_first_default_directory = default_directory[0];

namespace {

// Every test begins with the error location at `file_error`, and nothing in it that an operation would give. It ends in
// the directory in which it began, and with a search that failed, so that no names stay in memory.
struct Fresh {
    fs::path began_in = fs::current_path();
    TempDir dir;

    Fresh()
    {
        file_seterrorptr(&file_error);
        file_error = UNTOUCHED;
        default_directory[0] = 0;
    }
    ~Fresh()
    {
        faults_stop();
        fs::current_path(began_in);
        Name nowhere = dir.name("no_such_directory/");
        (void)file_findfirst(nowhere, Name("TEXT"));
        default_directory[0] = 0;
        file_seterrorptr(&file_error);
        file_error = FILE_OK;
    }

    // A file with this content, open.
    FileHandle open(const std::string &content)
    {
        FileHandle file = file_open(dir.put("a", content), FILE_RW_SHARED);
        EXPECT_NE(file, 0u);
        file_error = UNTOUCHED;
        return file;
    }
};

} // namespace

TEST(file_util, has_every_operation)
{
    const void *operations[] = {
        (void *)filename_qualify, (void *)filetype_to_ext, (void *)ext_to_filetype, (void *)file_chdir,
        (void *)file_readline, (void *)file_readcline, (void *)file_tempname, (void *)file_tempname_in,
        (void *)file_swap, (void *)file_mkdir, (void *)file_findfirst, (void *)file_findnext,
        (void *)file_readline_err, (void *)file_readcline_err, (void *)file_tempname_err, (void *)file_tempname_in_err,
        (void *)file_swap_err, (void *)file_mkdir_err, (void *)file_findfirst_err, (void *)file_findnext_err,
    };
    for (const void *operation : operations) EXPECT_NE(operation, nullptr);
}

TEST(file_util, writes_the_code_to_the_word_of_an_err_form_alone)
{
    Fresh fresh;
    FileHandle file = fresh.open("line\rlong line\r");
    Name a = fresh.dir.name("a"), b = fresh.dir.put("b", "");
    u8 line[LINE_SIZE], buffer[260];
    char long_line[LONG_LINE_SIZE];
    Name temporary = fresh.dir.name(), search(fresh.dir.name().str() + "/"), next;

    const std::vector<std::function<u32(u32 *)>> operations = {
        [&](u32 *error) { return (u32)file_readline_err(file, line, error) - 1; },
        [&](u32 *error) { return (u32)file_readcline_err(file, long_line, error) - 1; },
        [&](u32 *error) { return (u32)file_close_err(file, error) - 1; },
        [&](u32 *error) { return (u32)file_tempname_err(buffer, error) - 1; },
        [&](u32 *error) { return (u32)file_tempname_in_err(temporary, error) - 1; },
        [&](u32 *error) { return file_swap_err(a, b, error); },
        [&](u32 *error) { return file_mkdir_err(fresh.dir.name("d"), error); },
        [&](u32 *error) { return file_findfirst_err(search, Name(""), error); },
        [&](u32 *error) { return file_findnext_err(next, error); },
    };
    for (size_t i = 0; i < operations.size(); i++) {
        u32 error = UNTOUCHED;
        EXPECT_EQ(operations[i](&error), 0u) << i;  // as each of them succeeds
        EXPECT_EQ(error, FILE_OK) << i;
        EXPECT_EQ(file_error, UNTOUCHED) << i;
    }
    EXPECT_EQ(file_delete(buffer), 1);
}

// ---- Names and types ------------------------------------------------------------------------------------------------

static std::string qualified(const std::string &text, const std::string &directory)
{
    memcpy(default_directory, Name(directory).text, sizeof default_directory);
    Name name(text);
    EXPECT_EQ(filename_qualify(name), name.text);
    default_directory[0] = 0;
    return name.str();
}

TEST(filename_qualify, puts_the_default_directory_in_front)
{
    EXPECT_EQ(qualified("NAME", ":C:DIR/"), ":C:DIR/NAME");
    EXPECT_EQ(qualified("", ":C:DIR/"), ":C:DIR/");  // an empty name has no colon either
    EXPECT_EQ(qualified("A:B", "DIR/"), "DIR/A:B");   // only the first character counts
}

TEST(filename_qualify, leaves_a_name_with_a_volume)
{
    EXPECT_EQ(qualified(":D:NAME", ":C:DIR/"), ":D:NAME");
}

TEST(filename_qualify, has_an_empty_directory_at_the_start)
{
    EXPECT_EQ(length_of_the_first_default_directory, 0);
    EXPECT_EQ(qualified("NAME", ""), "NAME");
}

TEST(filename_qualify, cuts_the_whole_to_127_characters)
{
    EXPECT_EQ(qualified(std::string(100, 'n'), std::string(100, 'd')), std::string(100, 'd') + std::string(27, 'n'));
    EXPECT_EQ(qualified(std::string(255, 'n'), std::string(255, 'd')), std::string(127, 'd'));
    EXPECT_EQ(qualified(":" + std::string(254, 'n'), "DIR/"), ":" + std::string(126, 'n'));
}

static std::string extension_of(const std::string &type)
{
    Name name(type);
    filetype_to_ext(name);
    return name.str();
}

static std::string type_of(const std::string &extension)
{
    Name name(extension);
    ext_to_filetype(name);
    return name.str();
}

TEST(filetype_to_ext, gives_the_extension_of_each_type)
{
    const char *rows[][2] = {
        { "", "*" }, { "TEXT", "txt" }, { "QRS ", "qrs" }, { "QRMC", "mac" }, { "QRIN", "ini" }, { "PARM", "/" },
        { "APPL", "exe" }, { "QRDT", "dic" }, { "CHNK", "cnk" }, { "RDIC", "dic" }, { "DICT", "dic" },
    };
    for (const auto &row : rows) EXPECT_EQ(extension_of(row[0]), row[1]);
}

TEST(filetype_to_ext, cuts_any_other_type_to_three_characters)
{
    EXPECT_EQ(extension_of("ABCD"), "ABC");
    EXPECT_EQ(extension_of("Text"), "Tex");  // the compare is exact, and the case stays
    EXPECT_EQ(extension_of("QRS"), "QRS");
    EXPECT_EQ(extension_of("AB"), "AB");
    EXPECT_EQ(extension_of("LONGER"), "LON");
}

TEST(filetype_to_ext, does_not_know_clst)
{
    EXPECT_EQ(extension_of("CLST"), "CLS");
}

TEST(ext_to_filetype, gives_the_type_of_each_extension)
{
    const char *rows[][2] = {
        { "txt", "TEXT" }, { "qrs", "QRS " }, { "dic", "DICT" }, { "mac", "QRMC" }, { "ini", "QRIN" },
        { "exe", "APPL" }, { "cnk", "CHNK" }, { "set", "CLST" },
    };
    for (const auto &row : rows) EXPECT_EQ(type_of(row[0]), row[1]);
}

TEST(ext_to_filetype, looks_only_at_the_first_character_of_a_slash)
{
    EXPECT_EQ(type_of("/"), "PARM");
    EXPECT_EQ(type_of("/dic"), "PARM");
    EXPECT_EQ(type_of("a/"), "A/");
}

TEST(ext_to_filetype, takes_letters_in_any_case)
{
    EXPECT_EQ(type_of("DIC"), "DICT");
    EXPECT_EQ(type_of("TxT"), "TEXT");
}

TEST(ext_to_filetype, takes_every_dic_for_a_dictionary)
{
    // QRDT and RDIC have this extension too, and cannot be had back.
    EXPECT_EQ(type_of(extension_of("QRDT")), "DICT");
    EXPECT_EQ(type_of(extension_of("RDIC")), "DICT");
    EXPECT_EQ(type_of(extension_of("CLST")), "CLS ");  // nor CLST, whose extension is set in this direction alone
}

TEST(ext_to_filetype, puts_the_blank_at_position_4_alone)
{
    EXPECT_EQ(type_of("abc"), "ABC ");
    EXPECT_EQ(type_of("ab"), "AB");
    EXPECT_EQ(type_of("a"), "A");
    EXPECT_EQ(type_of("html"), "HTM L");
    EXPECT_EQ(type_of(std::string(255, 'x')), std::string(255, 'X'));  // a full string has no room for it
}

TEST(ext_to_filetype, of_no_extension_stays_empty)
{
    EXPECT_EQ(type_of(""), "");
}

// ---- Lines ----------------------------------------------------------------------------------------------------------

namespace {

// What a line reader gave: result, code, text.
struct Got {
    int result;
    u32 code;
    std::string text;
    bool operator==(const Got &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Got &got)
{
    return out << "result " << got.result << ", code " << got.code << ", '" << got.text << "'";
}

} // namespace

static Got next_line(FileHandle file)
{
    Name line("stale");
    u32 code = UNTOUCHED;
    int result = file_readline_err(file, line, &code);
    return { result, code, line.str() };
}

static Got next_long_line(FileHandle file)
{
    char line[LONG_LINE_SIZE];
    memset(line, '#', sizeof line);
    u32 code = UNTOUCHED;
    int result = file_readcline_err(file, line, &code);
    return { result, code, std::string(line, strnlen(line, sizeof line)) };
}

// All lines of a content up to the first that is not one, and that.
static std::vector<Got> lines_of(Fresh &fresh, const std::string &content, Got (*next)(FileHandle) = next_line)
{
    FileHandle file = fresh.open(content);
    std::vector<Got> lines;
    do lines.push_back(next(file));
    while (lines.back().result == 1 && lines.size() < 20);
    file_close(file);
    return lines;
}

using Gots = std::vector<Got>;

TEST(file_readline, gives_one_line_after_the_other)
{
    Fresh fresh;
    EXPECT_EQ(lines_of(fresh, "one\rtwo\r\n\rfour\r"),
              (Gots{ { 1, 0, "one" }, { 1, 0, "two" }, { 1, 0, "" }, { 1, 0, "four" }, { 0, 2, "" } }));
}

TEST(file_readline, of_an_empty_file_gives_the_end_and_an_empty_line)
{
    Fresh fresh;
    EXPECT_EQ(lines_of(fresh, ""), (Gots{ { 0, 2, "" } }));
}

TEST(file_readline, delivers_a_last_line_without_an_end_together_with_the_end_of_the_file)
{
    Fresh fresh;
    EXPECT_EQ(lines_of(fresh, "AB"), (Gots{ { 0, 2, "AB" } }));
    EXPECT_EQ(lines_of(fresh, "one\r\nAB"), (Gots{ { 1, 0, "one" }, { 0, 2, "AB" } }));
}

TEST(file_readline, stays_at_the_end_of_the_file)
{
    Fresh fresh;
    FileHandle file = fresh.open("AB");
    EXPECT_EQ(next_line(file), (Got{ 0, 2, "AB" }));
    EXPECT_EQ(file_tell(file), 2);
    EXPECT_EQ(next_line(file), (Got{ 0, 2, "" }));
    file_close(file);
}

TEST(file_readline, does_not_end_at_a_line_feed_alone)
{
    Fresh fresh;
    EXPECT_EQ(lines_of(fresh, "a\nb\r\n\nc\r"), (Gots{ { 1, 0, "a\nb" }, { 1, 0, "\nc" }, { 0, 2, "" } }));
    EXPECT_EQ(lines_of(fresh, "a\n\rb\r"), (Gots{ { 1, 0, "a\n" }, { 1, 0, "b" }, { 0, 2, "" } }));
}

TEST(file_readline, gives_a_long_line_in_unmarked_pieces)
{
    Fresh fresh;
    std::string piece(255, 'x');
    EXPECT_EQ(lines_of(fresh, piece + std::string(45, 'y')),
              (Gots{ { 1, 0, piece }, { 0, 2, std::string(45, 'y') } }));
    EXPECT_EQ(lines_of(fresh, piece + std::string(45, 'y') + "\rz\r"),
              (Gots{ { 1, 0, piece }, { 1, 0, std::string(45, 'y') }, { 1, 0, "z" }, { 0, 2, "" } }));
    // Without an end to it, the last 255 characters are a line of their own, and behind them is an empty one.
    EXPECT_EQ(lines_of(fresh, piece), (Gots{ { 1, 0, piece }, { 0, 2, "" } }));
    EXPECT_EQ(lines_of(fresh, piece + "\r"), (Gots{ { 1, 0, piece }, { 1, 0, "" }, { 0, 2, "" } }));
}

TEST(file_readline, looks_for_the_line_feed_behind_255_bytes)
{
    Fresh fresh;
    std::string longest(254, 'a');
    EXPECT_EQ(lines_of(fresh, longest + "\r\nb"), (Gots{ { 1, 0, longest }, { 0, 2, "b" } }));
    EXPECT_EQ(lines_of(fresh, longest + "\rb"), (Gots{ { 1, 0, longest }, { 0, 2, "b" } }));
    EXPECT_EQ(lines_of(fresh, longest + "\r"), (Gots{ { 1, 0, longest }, { 0, 2, "" } }));
}

TEST(file_readline, ends_at_a_carriage_return_that_is_the_last_byte_of_the_file)
{
    Fresh fresh;
    FileHandle file = fresh.open("ab\r");
    EXPECT_EQ(next_line(file), (Got{ 1, 0, "ab" }));
    EXPECT_EQ(file_tell(file), 3);
    file_close(file);
}

TEST(file_readline, costs_one_read_and_one_seek)
{
    Fresh fresh;
    FileHandle file = fresh.open("skipped\rline\r\nnext\r");
    file_seek(file, 8);
    calls_reset();
    EXPECT_EQ(next_line(file), (Got{ 1, 0, "line" }));
    EXPECT_EQ(call_lines(), (Lines{ "tell", "read 8+255 did 11", "seek 14" }));
    file_close(file);
}

TEST(file_readline, of_no_file_gives_code_1)
{
    Fresh fresh;
    EXPECT_EQ(next_line(0), (Got{ 0, 1, "stale" }));
    EXPECT_EQ(call_lines(), Lines{});
}

TEST(file_readline, of_a_closed_file_gives_code_1)
{
    Fresh fresh;
    FileHandle file = fresh.open("ab\r");
    file_close(file);
    EXPECT_EQ(next_line(file), (Got{ 0, 1, "stale" }));
}

TEST(file_readline, writes_its_code_to_the_error_location)
{
    Fresh fresh;
    FileHandle file = fresh.open("ab\r");
    Name line;
    u32 elsewhere = UNTOUCHED;
    EXPECT_EQ(file_readline(file, line), 1);
    EXPECT_EQ(file_error, FILE_OK);
    file_seterrorptr(&elsewhere);
    EXPECT_EQ(file_readline(file, line), 0);
    EXPECT_EQ(elsewhere, FILE_END);
    EXPECT_EQ(file_error, FILE_OK);
    file_close(file);
}

// The platform calls of one line of 255 bytes that ends in a carriage return: the most that there are.
TEST(file_readline, gives_the_code_of_whichever_call_fails)
{
    for (bool from_then_on : { false, true }) {
        u32 nth = 1;
        for (;; nth++) {
            Fresh fresh;
            FileHandle file = fresh.open(std::string(254, 'a') + "\r\nb\r");
            faults_start({ .call = FAULT_ANY, .nth = nth, .from_then_on = from_then_on, .error = PLATFORM_DISK_FULL });
            Got got = next_line(file);
            bool met = faults_stop();
            file_close(file);
            if (!met) {
                EXPECT_EQ(got, (Got{ 1, 0, std::string(254, 'a') }));
                break;
            }
            EXPECT_EQ(got.result, 0) << nth;
            EXPECT_EQ(got.code, FILE_FULL) << nth;
            // Position, read, the byte behind; when the seek fails the line is there.
            EXPECT_EQ(got.text, nth < 4 ? "stale" : std::string(254, 'a')) << nth;
        }
        EXPECT_EQ(nth, 5u);
    }
}

TEST(file_readcline, gives_lines_of_up_to_2047_characters)
{
    Fresh fresh;
    std::string piece(2047, 'x');
    EXPECT_EQ(lines_of(fresh, "short\r\n" + piece + "yz\rend", next_long_line),
              (Gots{ { 1, 0, "short" }, { 1, 0, piece }, { 1, 0, "yz" }, { 0, 2, "end" } }));
    EXPECT_EQ(lines_of(fresh, "", next_long_line), (Gots{ { 0, 2, "" } }));
}

TEST(file_readcline, looks_for_the_line_feed_behind_2047_bytes)
{
    Fresh fresh;
    std::string longest(2046, 'a');
    EXPECT_EQ(lines_of(fresh, longest + "\r\nb", next_long_line), (Gots{ { 1, 0, longest }, { 0, 2, "b" } }));
}

TEST(file_readcline, shows_a_line_up_to_a_0_byte_in_it)
{
    Fresh fresh;
    EXPECT_EQ(lines_of(fresh, std::string("a\0b\rc", 5), next_long_line), (Gots{ { 1, 0, "a" }, { 0, 2, "c" } }));
}

TEST(file_readcline, writes_nothing_behind_the_terminator)
{
    Fresh fresh;
    FileHandle file = fresh.open("ab\rrest");
    char line[LONG_LINE_SIZE] = "######";
    EXPECT_EQ(file_readcline(file, line), 1);
    EXPECT_EQ(std::string(line, 6), std::string("ab\0###", 6));
    EXPECT_EQ(file_error, FILE_OK);
    file_close(file);
}

TEST(file_readcline, of_no_file_leaves_the_destination)
{
    Fresh fresh;
    char line[LONG_LINE_SIZE] = "stale";
    EXPECT_EQ(file_readcline(0, line), 0);
    EXPECT_EQ(file_error, FILE_FAILED);
    EXPECT_STREQ(line, "stale");
}

TEST(file_readcline, gives_the_code_of_whichever_call_fails)
{
    for (u32 nth = 1;; nth++) {
        Fresh fresh;
        FileHandle file = fresh.open("ab\rrest");
        char line[LONG_LINE_SIZE] = "stale";
        faults_start({ .call = FAULT_ANY, .nth = nth });
        i16 result = file_readcline(file, line);
        bool met = faults_stop();
        file_close(file);
        if (!met) break;
        EXPECT_EQ(result, 0);
        EXPECT_STREQ(line, nth < 3 ? "stale" : "ab");
    }
}

// ---- Temporary files ------------------------------------------------------------------------------------------------

static u64 size_of_file(const std::string &generic)
{
    u8 name[256];
    memcpy(name, Name(generic).text, sizeof name);
    filename_2_native(name);
    std::string native((const char *)name + 1, name[0]);
#ifndef _WIN32
    std::replace(native.begin(), native.end(), '\\', '/');
#endif
    std::error_code error;
    u64 size = fs::file_size(native, error);
    return error ? UINT64_MAX : size;
}

static std::string last_part(const std::string &generic)
{
    Name part;
    filename_name(part, Name(generic));
    return part.str();
}

static bool is_temporary_name(const std::string &name)
{
    std::string upper = name;
    for (char &character : upper) character = (char)toupper(character);
    return upper.size() > 7 && upper.substr(0, 3) == "TNT" && upper.substr(upper.size() - 4) == ".TMP";
}

// A service of directories that makes its file and then gives another path for it.
static std::string (*path_told)(const std::string &made);

static u32 make_temporary_and_tell(const char *directory, char *path)
{
    u32 error = native_directories.make_temporary(directory, path);
    std::string told = path_told(path);
    memcpy(path, told.c_str(), told.size() + 1);
    return error;
}

namespace {

struct PathTold {
    const PlatformDirectories *usual = platform_directories;
    PlatformDirectories telling = *usual;

    PathTold(std::string (*path)(const std::string &made))
    {
        path_told = path;
        telling.make_temporary = make_temporary_and_tell;
        platform_directories = &telling;
    }
    ~PathTold() { platform_directories = usual; }
};

} // namespace

// The same file by a path of so many characters, with the directory named again and again.
template <size_t length>
static std::string stretched(const std::string &path)
{
    std::string longer = path;
    size_t separator = path.find_last_of("/\\");
    while (longer.size() + 2 <= length) longer.insert(separator, { path[separator], '.' });
    if (longer.size() < length) longer.insert(separator, 1, path[separator]);
    return longer;
}

TEST(file_tempname, makes_an_empty_file)
{
    Fresh fresh;
    u8 buffer[260] = {};
    EXPECT_EQ(file_tempname(buffer), 1);
    EXPECT_EQ(file_error, FILE_OK);
    std::string name((const char *)buffer + 1, buffer[0]);
    EXPECT_TRUE(is_temporary_name(last_part(name))) << name;
    EXPECT_EQ(name.find('\\'), std::string::npos) << name;
    EXPECT_EQ(size_of_file(name), 0u) << name;
    EXPECT_EQ(file_delete(buffer), 1);
}

TEST(file_tempname, gives_another_name_each_time)
{
    Fresh fresh;
    u8 first[260] = {};
    u8 second[260] = {};
    file_tempname(first);
    file_tempname(second);
    EXPECT_NE(std::string((char *)first + 1, first[0]), std::string((char *)second + 1, second[0]));
    EXPECT_EQ(file_delete(first), 1);
    EXPECT_EQ(file_delete(second), 1);
}

TEST(file_tempname, gives_a_portable_name)
{
    Fresh fresh;
    u8 buffer[260] = {};
    EXPECT_EQ(file_tempname(buffer), 1);
    EXPECT_EQ(file_delete(buffer), 1);

    PathTold told([](const std::string &made) {
        fs::remove(made);
        return std::string("C:\\TEMP\\TNT1.tmp");
    });
    EXPECT_EQ(file_tempname(buffer), 1);
    EXPECT_EQ(std::string((const char *)buffer + 1, buffer[0]), ":C:TEMP/TNT1.tmp");
}

TEST(file_tempname, cuts_a_name_of_more_than_255_characters)
{
    Fresh fresh;
    u8 buffer[260] = {};
    PathTold told([](const std::string &made) {
        fs::remove(made);
        return std::string(255, 'n') + "cut";
    });
    EXPECT_EQ(file_tempname(buffer), 1);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(std::string((const char *)buffer + 1, buffer[0]), std::string(255, 'n'));
}

TEST(file_tempname, never_fails)
{
    for (bool from_then_on : { false, true }) {
        for (u32 nth = 1;; nth++) {
            Fresh fresh;
            u8 buffer[260] = { 3, 'o', 'l', 'd' };
            faults_start({ .call = FAULT_ANY, .nth = nth, .from_then_on = from_then_on, .error = PLATFORM_DISK_FULL });
            EXPECT_EQ(file_tempname(buffer), 1);
            bool met = faults_stop();
            EXPECT_EQ(file_error, FILE_OK);
            if (!met) {
                EXPECT_EQ(nth, 3u);  // where, and the file
                EXPECT_EQ(file_delete(buffer), 1);
                break;
            }
            EXPECT_EQ(buffer[0], 0);
            EXPECT_EQ(file_maperror(), FILE_FULL);
        }
    }
}

TEST(file_tempname_in, makes_an_empty_file_in_the_directory)
{
    Fresh fresh;
    Name name = fresh.dir.name();
    EXPECT_EQ(file_tempname_in(name), 1);
    EXPECT_EQ(file_error, FILE_OK);
    std::string directory = fresh.dir.name().str() + "/";
    EXPECT_EQ(name.str().substr(0, directory.size()), directory);
    std::string file = name.str().substr(directory.size());
    EXPECT_TRUE(is_temporary_name(file)) << file;
    EXPECT_EQ(fresh.dir.content(file), "");
}

TEST(file_tempname_in, of_no_directory_takes_the_current_one)
{
    Fresh fresh;
    fs::current_path(fresh.dir.path());
    Name name("");
    EXPECT_EQ(file_tempname_in(name), 1);
    EXPECT_EQ(name.str().substr(0, 2), "./");
    EXPECT_TRUE(is_temporary_name(name.str().substr(2))) << name.str();
    EXPECT_TRUE(fresh.dir.has(name.str().substr(2)));
}

TEST(file_tempname_in, of_a_missing_directory_fails_and_empties_the_name)
{
    Fresh fresh;
    Name name = fresh.dir.name("none");
    EXPECT_EQ(file_tempname_in(name), 0);
    EXPECT_NE(file_error, FILE_OK);
    EXPECT_NE(file_error, UNTOUCHED);
    EXPECT_EQ(std::count(std::begin(name.text), std::end(name.text), 0), 256);
}

TEST(file_tempname_in, gives_a_portable_name)
{
    Fresh fresh;
    PathTold told([](const std::string &) { return std::string("C:\\D\\TNT1.tmp"); });
    Name name = fresh.dir.name();
    EXPECT_EQ(file_tempname_in(name), 1);
    EXPECT_EQ(name.str(), ":C:D/TNT1.tmp");
}

TEST(file_tempname_in, gives_a_name_of_255_characters)
{
    Fresh fresh;
    PathTold told(stretched<255>);
    Name name = fresh.dir.name();
    EXPECT_EQ(file_tempname_in(name), 1);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(name.text[0], 255);
    EXPECT_EQ(size_of_file(name.str()), 0u) << name.str();
}

TEST(file_tempname_in, gives_9_for_a_name_over_255_characters)
{
    for (auto path : { stretched<256>, stretched<259> }) {
        Fresh fresh;
        PathTold told(path);
        Name name = fresh.dir.name();
        EXPECT_EQ(file_tempname_in(name), 0);
        EXPECT_EQ(file_error, FILE_BAD_PATH);
        EXPECT_EQ(name.str(), "");
        EXPECT_EQ(std::distance(fs::directory_iterator(fresh.dir.path()), {}), 1);  // nobody removes it
    }
}

TEST(file_tempname_in, of_a_directory_too_long_for_such_a_file_fails)
{
    // 246 characters is the longest that the service takes.
    Fresh fresh;
    std::string base = fresh.dir.native("");
    std::string directory(247 - base.size() - 1, 'd');
    fs::create_directory(fresh.dir.path(directory));
    Name name = fresh.dir.name(directory);
    EXPECT_EQ(file_tempname_in(name), 0);
    EXPECT_EQ(file_error, FILE_FAILED);
    EXPECT_EQ(name.str(), "");
    EXPECT_TRUE(fs::is_empty(fresh.dir.path(directory)));
}

TEST(file_tempname_in, gives_the_code_of_a_failure)
{
    for (bool from_then_on : { false, true }) {
        for (u32 nth = 1;; nth++) {
            Fresh fresh;
            Name name = fresh.dir.name();
            faults_start({ .call = FAULT_ANY, .nth = nth, .from_then_on = from_then_on, .error = PLATFORM_DISK_FULL });
            i16 result = file_tempname_in(name);
            if (!faults_stop()) {
                EXPECT_EQ(result, 1);
                break;
            }
            EXPECT_EQ(result, 0);
            EXPECT_EQ(file_error, FILE_FULL);
            EXPECT_EQ(name.str(), "");
        }
    }
}

// ---- Files and directories by name ----------------------------------------------------------------------------------

static const char temporary_swap_name[] = "f%$#dzvq.tmp";

TEST(file_swap, exchanges_two_files)
{
    Fresh fresh;
    Name a = fresh.dir.put("a", "first");
    Name b = fresh.dir.put("b", "second");
    std::string before = a.str();
    calls_reset();
    EXPECT_EQ(file_swap(a, b), FILE_OK);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_EQ(fresh.dir.content("a"), "second");
    EXPECT_EQ(fresh.dir.content("b"), "first");
    EXPECT_FALSE(fresh.dir.has(temporary_swap_name));
    EXPECT_EQ(a.str(), before);

    std::string native_a = fresh.dir.native("a"), native_b = fresh.dir.native("b");
    std::string temporary = fresh.dir.native(temporary_swap_name);
    EXPECT_EQ(call_lines(), (Lines{ "rename " + native_a + " > " + temporary, "rename " + native_b + " > " + native_a,
                                    "rename " + temporary + " > " + native_b }));
}

TEST(file_swap, exchanges_files_of_the_current_directory)
{
    Fresh fresh;
    fresh.dir.put("a", "first");
    fresh.dir.put("b", "second");
    fs::current_path(fresh.dir.path());
    calls_reset();
    EXPECT_EQ(file_swap(Name("a"), Name("b")), FILE_OK);
    EXPECT_EQ(fresh.dir.content("a"), "second");
    EXPECT_EQ(call_lines().front(), "rename a > f%$#dzvq.tmp");  // a bare name has no directory part
}

TEST(file_swap, of_a_missing_first_file_does_nothing)
{
    Fresh fresh;
    Name b = fresh.dir.put("b", "second");
    EXPECT_EQ(file_swap(fresh.dir.name("a"), b), FILE_NOT_FOUND);
    EXPECT_EQ(file_error, FILE_NOT_FOUND);
    EXPECT_EQ(fresh.dir.content("b"), "second");
}

TEST(file_swap, of_an_open_file_gives_5_and_leaves_both_as_they_were)
{
    Fresh fresh;
    Name a = fresh.dir.put("a", "first");
    Name b = fresh.dir.put("b", "second");
    for (const Name &opened : { a, b }) {
        FileHandle file = file_open(opened, FILE_RW_SHARED);
        ASSERT_NE(file, 0u);
        EXPECT_EQ(file_swap(a, b), FILE_REFUSED);
        EXPECT_EQ(file_error, FILE_REFUSED);
        file_close(file);
        EXPECT_EQ(fresh.dir.content("a"), "first");
        EXPECT_EQ(fresh.dir.content("b"), "second");
        EXPECT_FALSE(fresh.dir.has(temporary_swap_name));
    }
}

TEST(file_swap, of_a_missing_second_file_gives_the_first_its_name_back)
{
    Fresh fresh;
    Name a = fresh.dir.put("a", "first");
    EXPECT_EQ(file_swap(a, fresh.dir.name("b")), FILE_NOT_FOUND);
    EXPECT_EQ(fresh.dir.content("a"), "first");
    EXPECT_FALSE(fresh.dir.has(temporary_swap_name));
}

TEST(file_swap, of_a_file_with_itself_finds_no_second_one)
{
    Fresh fresh;
    Name a = fresh.dir.put("a", "first");
    EXPECT_EQ(file_swap(a, a), FILE_NOT_FOUND);
    EXPECT_EQ(fresh.dir.content("a"), "first");
}

TEST(file_swap, is_refused_while_the_temporary_name_is_taken)
{
    Fresh fresh;
    Name a = fresh.dir.put("a", "first");
    Name b = fresh.dir.put("b", "second");
    fresh.dir.put(temporary_swap_name, "somebody's");
    EXPECT_EQ(file_swap(a, b), FILE_NOT_FOUND);  // the code of a name that exists
    EXPECT_EQ(fresh.dir.content("a"), "first");
    EXPECT_EQ(fresh.dir.content(temporary_swap_name), "somebody's");
}

TEST(file_swap, repairs_nothing_when_its_last_step_fails)
{
    Fresh fresh;
    Name a = fresh.dir.put("a", "first");
    Name b = fresh.dir.put("b", "second");
    faults_start({ .call = FAULT_RENAME, .nth = 3, .error = PLATFORM_ACCESS_DENIED });
    EXPECT_EQ(file_swap(a, b), FILE_REFUSED);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(call_counts().rename, 3u);
    EXPECT_EQ(fresh.dir.content("a"), "second");
    EXPECT_FALSE(fresh.dir.has("b"));
    EXPECT_EQ(fresh.dir.content(temporary_swap_name), "first");
}

TEST(file_swap, gives_the_code_of_the_step_that_failed)
{
    const struct {
        u32 nth;
        bool from_then_on;
        Lines files;  // afterwards
    } rows[] = {
        { 1, false, { "a first", "b second" } },
        { 1, true, { "a first", "b second" } },
        { 2, false, { "a first", "b second" } },
        { 2, true, { "b second", "f%$#dzvq.tmp first" } },  // the repair fails too
        { 3, false, { "a second", "f%$#dzvq.tmp first" } },
        { 3, true, { "a second", "f%$#dzvq.tmp first" } },
    };
    for (const auto &row : rows) {
        Fresh fresh;
        Name a = fresh.dir.put("a", "first");
        Name b = fresh.dir.put("b", "second");
        faults_start({ .call = FAULT_RENAME, .nth = row.nth, .from_then_on = row.from_then_on,
                       .error = PLATFORM_DISK_FULL });
        EXPECT_EQ(file_swap(a, b), FILE_FULL);
        EXPECT_EQ(file_error, FILE_FULL);
        faults_stop();
        Lines files;
        for (const char *name : { "a", "b", temporary_swap_name }) {
            if (fresh.dir.has(name)) files.push_back(name + (" " + fresh.dir.content(name)));
        }
        EXPECT_EQ(files, row.files) << row.nth << row.from_then_on;
    }
}

TEST(file_swap, cuts_names_to_127_characters)
{
    Fresh fresh;
    fs::current_path(fresh.dir.path());
    std::string longest(127, 'n');
    fresh.dir.put(longest, "first");
    fresh.dir.put("b", "second");
    EXPECT_EQ(file_swap(Name(longest + "more"), Name("b")), FILE_OK);
    EXPECT_EQ(fresh.dir.content(longest), "second");
    EXPECT_EQ(file_swap(Name("b"), Name(longest + "more")), FILE_OK);
    EXPECT_EQ(fresh.dir.content(longest), "first");
}

TEST(file_mkdir, makes_a_directory)
{
    Fresh fresh;
    EXPECT_EQ(file_mkdir(fresh.dir.name("d")), FILE_OK);
    EXPECT_EQ(file_error, FILE_OK);
    EXPECT_TRUE(fs::is_directory(fresh.dir.path("d")));
}

TEST(file_mkdir, tells_why_it_could_not)
{
    Fresh fresh;
    fresh.dir.put("file", "");
    EXPECT_EQ(file_mkdir(fresh.dir.name("file")), FILE_NOT_FOUND);  // the code of a name that exists
    EXPECT_EQ(file_mkdir(fresh.dir.name()), FILE_NOT_FOUND);
    EXPECT_EQ(file_mkdir(fresh.dir.name("none/d")), FILE_BAD_PATH);
    EXPECT_EQ(file_error, FILE_BAD_PATH);
    EXPECT_EQ(file_mkdir(Name("")), FILE_BAD_PATH);
}

TEST(file_mkdir, cuts_the_name_to_127_characters)
{
    Fresh fresh;
    fs::current_path(fresh.dir.path());
    EXPECT_EQ(file_mkdir(Name(std::string(130, 'd'))), FILE_OK);
    EXPECT_TRUE(fresh.dir.has(std::string(127, 'd')));
}

TEST(file_mkdir, gives_the_code_of_a_failure)
{
    Fresh fresh;
    faults_start({ .call = FAULT_ANY, .error = PLATFORM_DISK_FULL });
    EXPECT_EQ(file_mkdir(fresh.dir.name("d")), FILE_FULL);
    EXPECT_TRUE(faults_stop());
    EXPECT_FALSE(fresh.dir.has("d"));
}

TEST(file_chdir, lets_relative_names_start_in_the_directory)
{
    Fresh fresh;
    fresh.dir.put("a", "text");
    Name name = fresh.dir.name();
    file_chdir(name);
    EXPECT_EQ(name.str(), fresh.dir.name().str());
    EXPECT_TRUE(fs::equivalent(fs::current_path(), fresh.dir.path()));
    FileHandle file = file_open(Name("a"), FILE_READ_ONLY);
    EXPECT_NE(file, 0u);
    file_close(file);
}

TEST(file_chdir, sets_no_code)
{
    Fresh fresh;
    Name good = fresh.dir.name();
    file_chdir(good);
    EXPECT_EQ(file_error, UNTOUCHED);

    Name missing("none/deeper");
    file_chdir(missing);
    EXPECT_EQ(file_error, UNTOUCHED);
    EXPECT_EQ(missing.str(), "none/deeper");
    EXPECT_TRUE(fs::equivalent(fs::current_path(), fresh.dir.path()));

    fs::create_directory(fresh.dir.path("d"));
    fs::current_path(fresh.dir.path("d"));
    Name up("..");
    file_chdir(up);
    EXPECT_EQ(file_error, UNTOUCHED);
    EXPECT_EQ(up.str(), ".");  // the final dot is lost on the way back
    EXPECT_TRUE(fs::equivalent(fs::current_path(), fresh.dir.path()));
}

TEST(file_chdir, that_fails_is_known_to_file_maperror_alone)
{
    Fresh fresh;
    fs::current_path(fresh.dir.path());
    faults_start({ .call = FAULT_ANY, .error = PLATFORM_DISK_FULL });
    Name name = fresh.dir.name();
    file_chdir(name);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(file_error, UNTOUCHED);
    EXPECT_EQ(file_maperror(), FILE_FULL);
}

// ---- The search -----------------------------------------------------------------------------------------------------

// All that a search in a directory finds, and the code at its end.
static Lines search_for(const TempDir &dir, const std::string &type, u32 *end = nullptr)
{
    std::string directory = dir.name().str() + "/";
    Name name(directory);
    u32 code = file_findfirst(name, Name(type));
    Lines found;
    while (code == FILE_OK && found.size() < 20) {
        EXPECT_EQ(name.str().substr(0, directory.size()), directory);
        found.push_back(name.str().substr(directory.size()));
        name = Name(directory);
        code = file_findnext(name);
    }
    EXPECT_EQ(name.str(), "");
    EXPECT_EQ(file_error, code);
    if (end) *end = code;
    return found;
}

TEST(file_findfirst, finds_the_files_of_a_type)
{
    Fresh fresh;
    fresh.dir.put("one.txt", "");
    fresh.dir.put("two.dic", "");
    fresh.dir.put("three.txt", "");
    fresh.dir.put("txt", "");
    u32 end = UNTOUCHED;
    EXPECT_EQ(search_for(fresh.dir, "TEXT", &end), (Lines{ "one.txt", "three.txt" }));
    EXPECT_EQ(end, FILE_END);
    EXPECT_EQ(search_for(fresh.dir, "DICT"), (Lines{ "two.dic" }));
}

TEST(file_findfirst, without_a_type_finds_everything)
{
    Fresh fresh;
    fresh.dir.put("b.txt", "");
    fresh.dir.put("A", "");
    fs::create_directory(fresh.dir.path("c"));
    EXPECT_EQ(search_for(fresh.dir, ""), (Lines{ ".", "..", "A", "b.txt", "c" }));
}

TEST(file_findfirst, of_an_empty_directory_finds_two_names)
{
    Fresh fresh;
    u32 end = UNTOUCHED;
    EXPECT_EQ(search_for(fresh.dir, "", &end), (Lines{ ".", ".." }));
    EXPECT_EQ(end, FILE_END);
}

TEST(file_findfirst, finds_letters_in_any_case)
{
    Fresh fresh;
    fresh.dir.put("a.TXT", "");
    fresh.dir.put("B.Txt", "");
    EXPECT_EQ(search_for(fresh.dir, "TEXT"), (Lines{ "a.TXT", "B.Txt" }));
    EXPECT_EQ(search_for(fresh.dir, "TXTX"), (Lines{ "a.TXT", "B.Txt" }));  // an unknown type: its first three
}

TEST(file_findfirst, asks_for_the_directory_and_the_extension)
{
    Fresh fresh;
    fs::current_path(fresh.dir.path());
    fresh.dir.put("a.txt", "");
    calls_reset();
    Name name("");
    EXPECT_EQ(file_findfirst(name, Name("TEXT")), FILE_OK);
    EXPECT_EQ(name.str(), "a.txt");
    EXPECT_EQ(call_lines().back(), "find_first *.txt");

    Name beginning("./a");  // a directory without its separator is the beginning of the names
    EXPECT_EQ(file_findfirst(beginning, Name("")), FILE_OK);
    EXPECT_EQ(call_lines().back(), "find_first .\\a*.*");
    EXPECT_EQ(beginning.str(), "./aa.txt");
}

TEST(file_findfirst, tells_what_is_missing)
{
    Fresh fresh;
    u32 end = UNTOUCHED;
    EXPECT_EQ(search_for(fresh.dir, "TEXT", &end), Lines{});
    EXPECT_EQ(end, FILE_NOT_FOUND);

    Name name = fresh.dir.name("none/");
    EXPECT_EQ(file_findfirst(name, Name("")), FILE_BAD_PATH);
    EXPECT_EQ(file_error, FILE_BAD_PATH);
    EXPECT_EQ(name.str(), "");

    Name no_directory = fresh.dir.name("/");
    EXPECT_NE(file_findfirst(no_directory, Name("PARM")), FILE_OK);  // the extension is a separator: no name at all
}

TEST(file_findfirst, leaves_the_string_where_the_name_does_not_fit)
{
    Fresh fresh;
    fs::current_path(fresh.dir.path());
    std::string long_name(200, 'x');
    fresh.dir.put(long_name + ".txt", "");
    std::string path;
    while (path.size() < 100) path += "./";
    Name name(path);
    EXPECT_EQ(file_findfirst(name, Name("TEXT")), FILE_OK);
    EXPECT_EQ(name.str(), path);  // 100 and 204 characters are more than 255: none is appended
}

TEST(file_findfirst, takes_127_characters_of_a_directory)
{
    Fresh fresh;
    fs::current_path(fresh.dir.path());
    std::string path;
    while (path.size() < 200) path += "./";
    Name name(path);
    EXPECT_EQ(file_findfirst(name, Name("TEXT")), FILE_NOT_FOUND);
    std::string asked = call_lines().back();
    EXPECT_EQ(std::count(asked.begin(), asked.end(), '.'), 64 + 1);  // of the 127, and of the extension
}

TEST(file_findfirst, ends_the_search_before_it)
{
    Fresh fresh;
    fresh.dir.put("a.txt", "");
    fresh.dir.put("b.txt", "");
    fresh.dir.put("c.dic", "");
    fresh.dir.put("d.dic", "");
    fs::current_path(fresh.dir.path());
    Name first(""), second(""), next("");
    EXPECT_EQ(file_findfirst(first, Name("TEXT")), FILE_OK);
    calls_reset();
    EXPECT_EQ(file_findfirst(second, Name("DICT")), FILE_OK);
    EXPECT_EQ(call_lines(), (Lines{ "find_close", "find_first *.dic" }));
    EXPECT_EQ(file_findnext(next), FILE_OK);
    EXPECT_EQ(next.str(), "d.dic");  // of the second search, whoever asks
}

TEST(file_findnext, appends_to_its_string)
{
    Fresh fresh;
    fresh.dir.put("a.txt", "");
    fresh.dir.put("b.txt", "");
    fs::current_path(fresh.dir.path());
    Name name("");
    EXPECT_EQ(file_findfirst(name, Name("TEXT")), FILE_OK);
    EXPECT_EQ(file_findnext(name), FILE_OK);
    EXPECT_EQ(name.str(), "a.txtb.txt");
}

TEST(file_findnext, at_the_end_gives_2_again_and_again)
{
    Fresh fresh;
    fresh.dir.put("a.txt", "");
    fs::current_path(fresh.dir.path());
    Name name("");
    EXPECT_EQ(file_findfirst(name, Name("TEXT")), FILE_OK);
    for (int i = 0; i < 2; i++) {
        name = Name("kept?");
        EXPECT_EQ(file_findnext(name), FILE_END);
        EXPECT_EQ(name.str(), "");
    }
}

TEST(file_findnext, after_a_failed_search_empties_its_string)
{
    Fresh fresh;
    Name name = fresh.dir.name("none/");
    EXPECT_EQ(file_findfirst(name, Name("")), FILE_BAD_PATH);
    name = Name("somewhere/");
    calls_reset();
    EXPECT_EQ(file_findnext(name), FILE_FAILED);
    EXPECT_EQ(file_error, FILE_FAILED);
    EXPECT_EQ(name.str(), "");
    EXPECT_EQ(call_lines(), (Lines{ "find_next failed" }));
}

// Only the first search of a process has none before it, so this test has a process of its own.
TEST(file_findnext, without_a_search_leaves_its_string)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            Name name("somewhere/");
            u32 error = UNTOUCHED;
            u32 result = file_findnext_err(name, &error);
            bool good = result == FILE_FAILED && error == FILE_FAILED && name.str() == "somewhere/";
            std::_Exit(good && call_counts().find_next == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(file_findfirst, gives_the_code_of_whichever_call_fails)
{
    for (bool from_then_on : { false, true }) {
        for (u32 nth = 1;; nth++) {
            Fresh fresh;
            fresh.dir.put("a.txt", "");
            fresh.dir.put("b.txt", "");
            fs::current_path(fresh.dir.path());
            faults_start({ .call = FAULT_ANY, .nth = nth, .from_then_on = from_then_on, .error = PLATFORM_DISK_FULL });
            Name first(""), next("");
            u32 first_code = file_findfirst(first, Name("TEXT"));
            u32 next_code = file_findnext(next);
            if (!faults_stop()) {
                EXPECT_EQ(nth, 3u);
                EXPECT_EQ(next.str(), "b.txt");
                break;
            }
            if (nth == 1) {
                EXPECT_EQ(first_code, FILE_FULL);
                EXPECT_EQ(first.str(), "");
                EXPECT_EQ(next_code, from_then_on ? FILE_FULL : FILE_FAILED);
            } else {
                EXPECT_EQ(first_code, FILE_OK);
                EXPECT_EQ(next_code, FILE_FULL);
            }
            EXPECT_EQ(next.str(), "");
        }
    }
}

} // namespace zuk
