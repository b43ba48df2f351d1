// What both backends keep to: the service of Windows, and the reader and writer of POSIX.

#include "platform/platform.h"
#include "platform/profile_text.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <string>

namespace zuk {
namespace {

// One file of profile form.
struct Profile {
    TempDir dir;

    explicit Profile(const std::string &text) { (void)dir.put("A.INI", text); }
    Profile() {}

    std::string file() const { return dir.native("A.INI"); }
    std::string content() const { return dir.content("A.INI"); }
    std::string read(const std::string &section, const std::string &key, u32 size = 200) const
    {
        std::string value(size, '#');
        u32 length = native_profiles.read(file().c_str(), section.c_str(), key.c_str(), value.data(), size);
        EXPECT_EQ(length, strlen(value.c_str()));
        return value.c_str();
    }
    std::string get(const std::string &key) const { return read("General", key); }
    u32 number(const std::string &key) const
    {
        return native_profiles.read_number(file().c_str(), "General", key.c_str());
    }
    u32 write(const std::string &key, const std::string &value, const std::string &section = "General") const
    {
        u32 error = native_profiles.write(file().c_str(), section.c_str(), key.c_str(), value.c_str());
        native_profiles.flush(file().c_str());
        return error;
    }
};

// The value of the key `k` in a section `General` that holds this one line.
std::string value_of_line(const std::string &line) { return Profile("[General]\r\n" + line + "\r\n").get("k"); }

// ---- read -----------------------------------------------------------------------------------------------------------

TEST(profile_read_row, gives_the_value_of_a_key)
{
    Profile profile("[Other]\r\nk=other\r\n[General]\r\na=1\r\nk=text\r\nz=2\r\n[Last]\r\nk=last\r\n");
    EXPECT_EQ(profile.get("k"), "text");
    EXPECT_EQ(profile.get("a"), "1");
    EXPECT_EQ(profile.get("z"), "2");
    EXPECT_EQ(profile.read("Other", "k"), "other");
    EXPECT_EQ(profile.read("Last", "k"), "last");
}

TEST(profile_read_row, gives_nothing_without_a_file_a_section_or_a_key)
{
    EXPECT_EQ(Profile().get("k"), "");
    EXPECT_EQ(Profile("").get("k"), "");
    EXPECT_EQ(Profile("k=outside\r\n[Other]\r\nk=other\r\n").get("k"), "");
    EXPECT_EQ(Profile("[General]\r\nk2=v\r\n[Other]\r\nk=other\r\n").get("k"), "");
    EXPECT_EQ(Profile("[General2]\r\nk=v\r\n").get("k"), "");
}

TEST(profile_read_row, is_blind_to_case_in_sections_and_keys)
{
    Profile profile("[gEnErAl]\r\nMaInPrOdUcT=Yes\r\n");
    EXPECT_EQ(profile.read("General", "MainProduct"), "Yes");
    EXPECT_EQ(profile.read("GENERAL", "MAINPRODUCT"), "Yes");
    EXPECT_EQ(profile.read("general", "mainproduct"), "Yes");
}

TEST(profile_read_row, takes_the_first_section_and_the_first_key)
{
    Profile profile("[General]\r\nk=first\r\nk=second\r\n[Other]\r\n[General]\r\nk=third\r\nm=fourth\r\n");
    EXPECT_EQ(profile.get("k"), "first");
    EXPECT_EQ(profile.get("m"), "");
}

TEST(profile_read_row, takes_what_is_in_front_of_all_sections_for_that_of_the_empty_name)
{
    Profile profile("k=front\r\n[General]\r\nk=v\r\nm=w\r\n");
    EXPECT_EQ(profile.read("", "k"), "front");
    EXPECT_EQ(profile.read(" ", "k"), "front");
    EXPECT_EQ(profile.read("", "m"), "");
    EXPECT_EQ(Profile("[]\r\nk=v\r\n").read("", "k"), "");
    EXPECT_EQ(Profile("[ ]\r\nk=v\r\n").read(" ", "k"), "");
}

TEST(profile_read_row, knows_an_empty_key)
{
    EXPECT_EQ(Profile("[General]\r\n\r\n=v\r\nk=w\r\n").get(""), "v");
    EXPECT_EQ(Profile("[General]\r\nk=w\r\n \r\n").get(""), "");     // a blank line is none
}

TEST(profile_read_row, ends_a_value_at_a_0)
{
    Profile profile(std::string("[General]\r\nk=a\0b\r\nz=1\r\n", 23));
    EXPECT_EQ(profile.get("k"), "a");
    EXPECT_EQ(profile.get("z"), "1");
}

TEST(profile_read_row, does_not_count_blanks_around_a_key_a_value_and_a_section)
{
    EXPECT_EQ(value_of_line("k=v"), "v");
    EXPECT_EQ(value_of_line("  \t k \t = \t v \t "), "v");
    EXPECT_EQ(value_of_line("k=\x0b\x0cv w\x0c\x0b"), "v w");
    EXPECT_EQ(value_of_line("k=\x1av\x1a"), "v");              // the end mark of old files
    EXPECT_EQ(Profile("  [General]  \r\nk=v\r\n").get("k"), "v");
}

TEST(profile_read_row, takes_one_pair_of_equal_quotes_off)
{
    EXPECT_EQ(value_of_line("k=\"v\""), "v");
    EXPECT_EQ(value_of_line("k='v'"), "v");
    EXPECT_EQ(value_of_line("k=\"  v  \""), "  v  ");
    EXPECT_EQ(value_of_line("k=\"\"v\"\""), "\"v\"");
    EXPECT_EQ(value_of_line("k='\"v\"'"), "\"v\"");
    EXPECT_EQ(value_of_line("k=\"v'"), "\"v'");
    EXPECT_EQ(value_of_line("k=\"v"), "\"v");
    EXPECT_EQ(value_of_line("k=v\""), "v\"");
    EXPECT_EQ(value_of_line("k=\""), "\"");
    EXPECT_EQ(value_of_line("k=\"\""), "");
}

TEST(profile_read_row, knows_no_comment_within_a_line)
{
    EXPECT_EQ(value_of_line("k=5 ;x"), "5 ;x");
    EXPECT_EQ(value_of_line("k=#5"), "#5");
    EXPECT_EQ(value_of_line(";k=5"), "");
    EXPECT_EQ(value_of_line("; k=5"), "");
    EXPECT_EQ(Profile("[General]\r\n;k=5\r\n").get(";k"), "5");       // nor one that is a line
}

TEST(profile_read_row, splits_a_line_at_its_first_equals_sign)
{
    EXPECT_EQ(value_of_line("k=a=b"), "a=b");
    EXPECT_EQ(value_of_line("k==b"), "=b");
    EXPECT_EQ(value_of_line("k a=b"), "");
    EXPECT_EQ(value_of_line("=k"), "");
}

TEST(profile_read_row, takes_a_key_without_an_equals_sign_for_an_empty_one)
{
    EXPECT_EQ(value_of_line("k"), "");
    EXPECT_EQ(value_of_line("k\r\nk=second"), "");
}

TEST(profile_read_row, reads_lines_that_end_with_lf_or_not_at_all)
{
    EXPECT_EQ(Profile("[General]\na=1\nk=v\n").get("k"), "v");
    EXPECT_EQ(Profile("[General]\r\na=1\r\nk=v").get("k"), "v");
    EXPECT_EQ(Profile("\r\n\n\r\n[General]\n\n\nk=v\n\n").get("k"), "v");
}

TEST(profile_read_row, takes_a_section_to_its_last_bracket)
{
    EXPECT_EQ(Profile("[General] behind\r\nk=v\r\n").get("k"), "v");
    EXPECT_EQ(Profile("[Gen]eral]\r\nk=v\r\n").read("Gen]eral", "k"), "v");
    EXPECT_EQ(Profile("[General]\r\n[Open\r\nk=v\r\n").get("k"), "v");   // no section without its bracket
}

TEST(profile_read_row, keeps_bytes_beyond_ascii)
{
    EXPECT_EQ(value_of_line("k=\xe4\xf6\xfc\xa0\xdf"), "\xe4\xf6\xfc\xa0\xdf");
}

TEST(profile_read_row, cuts_a_value_at_the_size_less_1)
{
    Profile profile("[General]\r\nk=abcdefghij\r\n");
    EXPECT_EQ(profile.read("General", "k", 12), "abcdefghij");
    EXPECT_EQ(profile.read("General", "k", 11), "abcdefghij");
    EXPECT_EQ(profile.read("General", "k", 10), "abcdefghi");
    EXPECT_EQ(profile.read("General", "k", 2), "a");
    EXPECT_EQ(profile.read("General", "k", 1), "");
}

TEST(profile_read_row, reads_a_long_line)
{
    std::string longest(5000, 'v');
    Profile profile("[General]\r\na=" + longest + "\r\nk=short\r\n");
    EXPECT_EQ(profile.get("k"), "short");
    EXPECT_EQ(profile.read("General", "a", 6000), longest);
}

// ---- read_number ----------------------------------------------------------------------------------------------------

TEST(profile_read_number_row, reads_decimal_and_other_bases_up_to_the_first_other_character)
{
    const struct {
        const char *text;
        u32 number;
    } rows[] = {
        { "0", 0 },          { "7", 7 },          { "+7", 7 },         { "-7", 0xFFFFFFF9 }, { "12ab", 12 },
        { "0x10", 16 },      { "0xfF", 255 },     { "-0x10", 0xFFFFFFF0 }, { "007", 7 },     { "abc", 0 },
        { "", 0 },           { "5 ;x", 5 },       { "65537", 65537 },  { "4294967295", 0xFFFFFFFF },
        { "0b101", 5 },      { "0o17", 15 },      { "09", 9 },         { "0x", 0 },          { "-", 0 },
        { "4294967297", 1 }, { "1.9", 1 },        { "0X10", 0 },       { "\"5\"", 5 },     { "\" 6\"", 6 },
    };
    for (const auto &row : rows) {
        EXPECT_EQ(Profile("[General]\r\nk=" + std::string(row.text) + "\r\n").number("k"), row.number) << row.text;
    }
}

TEST(profile_read_number_row, gives_0_for_a_missing_key)
{
    EXPECT_EQ(Profile().number("k"), 0u);
    EXPECT_EQ(Profile("[General]\r\n").number("k"), 0u);
}

// ---- write ----------------------------------------------------------------------------------------------------------

TEST(profile_write_row, makes_a_file)
{
    Profile profile;
    EXPECT_EQ(profile.write("k", "v"), PLATFORM_OK);
    EXPECT_EQ(profile.get("k"), "v");
    EXPECT_EQ(profile.content(), "[General]\r\nk=v\r\n");
}

TEST(profile_write_row, replaces_a_value)
{
    Profile profile("[General]\r\na=1\r\nk=old\r\nz=2\r\n[Other]\r\nk=other\r\n");
    EXPECT_EQ(profile.write("K", "new"), PLATFORM_OK);
    EXPECT_EQ(profile.get("k"), "new");
    EXPECT_EQ(profile.get("a"), "1");
    EXPECT_EQ(profile.get("z"), "2");
    EXPECT_EQ(profile.read("Other", "k"), "other");
}

TEST(profile_write_row, adds_a_key_and_a_section)
{
    Profile profile("[General]\r\na=1\r\n\r\n[Other]\r\nb=2\r\n");
    EXPECT_EQ(profile.write("k", "v"), PLATFORM_OK);
    EXPECT_EQ(profile.write("k", "w", "Third"), PLATFORM_OK);
    EXPECT_EQ(profile.get("k"), "v");
    EXPECT_EQ(profile.get("a"), "1");
    EXPECT_EQ(profile.read("Other", "b"), "2");
    EXPECT_EQ(profile.read("Third", "k"), "w");
}

TEST(profile_write_row, adds_a_key_in_front_of_all_sections)
{
    Profile profile("[General]\r\nk=v\r\n");
    EXPECT_EQ(profile.write("k", "front", ""), PLATFORM_OK);
    EXPECT_EQ(profile.write("m", "second", ""), PLATFORM_OK);
    EXPECT_EQ(profile.read("", "k"), "front");
    EXPECT_EQ(profile.read("", "m"), "second");
    EXPECT_EQ(profile.get("k"), "v");
}

TEST(profile_write_row, writes_an_empty_key)
{
    Profile profile("[General]\r\na=1\r\n");
    EXPECT_EQ(profile.write("", "v"), PLATFORM_OK);
    EXPECT_EQ(profile.get(""), "v");
    EXPECT_EQ(profile.get("a"), "1");
}

TEST(profile_write_row, keeps_comments_and_lines_without_sense)
{
    Profile profile("; the head\r\n[General]\r\n; a = comment\r\nnonsense\r\nk=old\r\n# another\r\n");
    EXPECT_EQ(profile.write("k", "new"), PLATFORM_OK);
    for (const char *line : { "; the head\r\n", "comment\r\n", "nonsense\r\n", "# another\r\n" }) {
        EXPECT_NE(profile.content().find(line), std::string::npos) << line << " in\n" << profile.content();
    }
    EXPECT_EQ(profile.get("k"), "new");
}

TEST(profile_write_row, writes_what_a_read_then_gives_without_blanks_and_quotes)
{
    const struct {
        const char *written, *read;
    } rows[] = {
        { "v", "v" }, { "", "" }, { "  v w  ", "v w" }, { "\"v\"", "v" }, { "\" v \"", " v " }, { "5 ;x", "5 ;x" },
        { "a=b", "a=b" }, { "[x]", "[x]" }, { "\xe4\xdf", "\xe4\xdf" },
    };
    for (const auto &row : rows) {
        Profile profile("[General]\r\nk=old\r\n");
        EXPECT_EQ(profile.write("k", row.written), PLATFORM_OK);
        EXPECT_EQ(profile.write("new", row.written), PLATFORM_OK);
        EXPECT_EQ(profile.get("k"), row.read) << row.written;
        EXPECT_EQ(profile.get("new"), row.read) << row.written;
    }
}

TEST(profile_write_row, gives_an_error_where_no_file_can_be_made)
{
    TempDir dir;
    std::string file = dir.native("none") + "\\A.INI";
    EXPECT_NE(native_profiles.write(file.c_str(), "General", "k", "v"), PLATFORM_OK);
    EXPECT_FALSE(dir.has("none"));
}

// ---- The service and platform/profile_text.h ------------------------------------------------------------------------

// Small texts of all the characters that matter, always the same ones: on Windows the service answers the one side.
class Texts {
public:
    std::string next()
    {
        static const char *const pieces[] = {
            "[", "]", "General", "k", "K", "=", " ", "\t", "\r\n", "\n", "\r", "\"", "'", ";", "v", "w", "x", "\x1a",
            "\x0b", "\xef\xbb\xbf", "\xe4", "[General]\r\n", "k=", "k = v\r\n",
        };
        std::string text = draw(4) ? "[General]\r\n" : "";
        for (u32 i = draw(14); i > 0; i--) text += pieces[draw(std::size(pieces))];
        return text;
    }

private:
    u32 random = 1;
    u32 draw(u32 bound)
    {
        random = random * 1103515245 + 12345;
        return (random >> 16) % bound;
    }
};

TEST(profile_value, reads_as_the_platform_does)
{
    Texts texts;
    Profile profile;
    u32 found = 0;
    for (int round = 0; round < 300; round++) {
        std::string text = texts.next();
        (void)profile.dir.put("A.INI", text);
        native_profiles.flush(profile.file().c_str());
        for (const char *section : { "General", "" }) {
            for (const char *key : { "k", "" }) {
                char value[200];
                u32 length = profile_value(text.data(), text.size(), section, key, value, sizeof value);
                EXPECT_EQ(profile.read(section, key), std::string(value, length))
                    << "[" << section << "] " << key << " in\n" << text;
                found += length > 0;
            }
        }
    }
    EXPECT_GT(found, 50u);  // texts that hold a value at all
}

TEST(profile_edit, makes_what_the_platform_reads)
{
    Texts texts;
    Profile profile;
    for (int round = 0; round < 300; round++) {
        std::string text = texts.next();
        ProfileEdit edit;
        ASSERT_TRUE(profile_edit(text.data(), text.size(), "General", "k", "new", &edit));
        std::string edited = text.substr(0, edit.place.from);
        for (u32 i = 0; i < edit.count; i++) edited.append(edit.pieces[i].text, edit.pieces[i].length);
        edited += text.substr(edit.place.to);
        (void)profile.dir.put("A.INI", edited);
        native_profiles.flush(profile.file().c_str());
        EXPECT_EQ(profile.get("k"), "new") << "in\n" << edited << "\nmade of\n" << text;
    }
}

} // namespace
} // namespace zuk
