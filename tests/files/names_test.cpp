#include "files/names.h"

#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace zuk {

// The text of one conversion. The bytes behind the string's buffer are watched, as a name can grow.
static std::string converted(PString (*convert)(PString), const std::string &from)
{
    struct {
        u8 text[256];
        u8 behind[64];
    } buffer = {};
    memset(buffer.behind, 0xEE, sizeof buffer.behind);
    buffer.text[0] = (u8)from.size();
    memcpy(buffer.text + 1, from.data(), from.size());
    EXPECT_EQ(convert(buffer.text), buffer.text);
    for (u8 byte : buffer.behind) EXPECT_EQ(byte, 0xEE);
    return std::string((const char *)buffer.text + 1, buffer.text[0]);
}

static std::string to_native(const std::string &name) { return converted(filename_2_native, name); }
static std::string from_native(const std::string &name) { return converted(native_2_filename, name); }

static std::string name_of(const std::string &from)
{
    Name name(from);
    Name dest("left over from before");
    EXPECT_EQ(filename_name(dest, name), (PString)dest);
    EXPECT_EQ(name.str(), from);
    return dest.str();
}

static std::string dir_of(const std::string &from)
{
    Name name(from);
    Name dest("left over from before");
    EXPECT_EQ(filename_dir(dest, name), (PString)dest);
    EXPECT_EQ(name.str(), from);
    return dest.str();
}

// ---- Between the two forms ------------------------------------------------------------------------------------------

TEST(filename_2_native, turns_slashes_into_backslashes)
{
    EXPECT_EQ(to_native("DIR/A.TXT"), "DIR\\A.TXT");
    EXPECT_EQ(to_native("/DIR/A.TXT"), "\\DIR\\A.TXT");
}

TEST(filename_2_native, gives_a_volume_its_backslash)
{
    EXPECT_EQ(to_native(":C:DIR/A.TXT"), "C:\\DIR\\A.TXT");
    EXPECT_EQ(to_native("C:DIR/A.TXT"), "C:\\DIR\\A.TXT");
}

TEST(filename_2_native, drops_leading_colons)
{
    EXPECT_EQ(to_native(":DIR/A.TXT"), "DIR\\A.TXT");
    EXPECT_EQ(to_native("::C:DIR/A.TXT"), "C:\\DIR\\A.TXT");
    EXPECT_EQ(to_native(":::"), "");
}

TEST(filename_2_native, puts_a_backslash_behind_every_later_colon)
{
    EXPECT_EQ(to_native("A:B:C"), "A:\\B:\\C");
    EXPECT_EQ(to_native("A:/B"), "A:\\\\B");
    EXPECT_EQ(to_native("A:"), "A:\\");
    EXPECT_EQ(to_native("A::B"), "A:\\:\\B");
}

TEST(filename_2_native, keeps_doubled_slashes)
{
    EXPECT_EQ(to_native("//HOST/SHARE/A"), "\\\\HOST\\SHARE\\A");
    EXPECT_EQ(to_native("A/B//C"), "A\\B\\\\C");
}

TEST(filename_2_native, keeps_all_else)
{
    EXPECT_EQ(to_native("a.b c\\d\xE4."), "a.b c\\d\xE4.");
    EXPECT_EQ(to_native(""), "");
}

TEST(filename_2_native, cuts_what_grows_beyond_255_characters)
{
    // 1 and 254 x 2 characters would be 509.
    std::string grown = "A";
    while (grown.size() < 255) grown += ":\\";
    EXPECT_EQ(to_native("A" + std::string(254, ':')), grown.substr(0, 255));

    std::string longest(255, 'x');
    EXPECT_EQ(to_native(longest), longest);
}

TEST(native_2_filename, turns_backslashes_into_slashes)
{
    EXPECT_EQ(from_native("DIR\\A.TXT"), "DIR/A.TXT");
    EXPECT_EQ(from_native("\\DIR\\A.TXT"), "/DIR/A.TXT");
    EXPECT_EQ(from_native("/tmp/a"), "/tmp/a");
}

TEST(native_2_filename, marks_a_volume)
{
    EXPECT_EQ(from_native("C:\\DIR\\A.TXT"), ":C:DIR/A.TXT");
    EXPECT_EQ(from_native("C:A"), ":C:A");
    EXPECT_EQ(from_native("C:"), ":C:");
}

TEST(native_2_filename, drops_one_separator_behind_a_colon)
{
    EXPECT_EQ(from_native("C:/DIR"), ":C:DIR");
    EXPECT_EQ(from_native("C:\\DIR"), ":C:DIR");
    // The slash must stand directly behind the colon of the source; the output has no colon at its end any more.
    EXPECT_EQ(from_native("C://DIR"), ":C:/DIR");
    // Dropped backslashes leave the colon at the end of the output, so all of them go.
    EXPECT_EQ(from_native("C:\\\\DIR"), ":C:DIR");
    EXPECT_EQ(from_native("C:\\/DIR"), ":C:/DIR");
}

TEST(native_2_filename, drops_one_final_dot)
{
    EXPECT_EQ(from_native("NAME."), "NAME");
    EXPECT_EQ(from_native("NAME.."), "NAME.");
    EXPECT_EQ(from_native("A.B."), "A.B");
    EXPECT_EQ(from_native("A.\\B"), "A./B");
    EXPECT_EQ(from_native(".."), ".");
    EXPECT_EQ(from_native("."), "");
}

TEST(native_2_filename, doubles_a_leading_colon)
{
    EXPECT_EQ(from_native(":C:DIR/A.TXT"), "::C:DIR/A.TXT");
    EXPECT_EQ(to_native("::C:DIR/A.TXT"), "C:\\DIR\\A.TXT");
}

TEST(native_2_filename, keeps_a_network_path)
{
    EXPECT_EQ(from_native("\\\\HOST\\SHARE\\A"), "//HOST/SHARE/A");
    EXPECT_EQ(to_native("//HOST/SHARE/A"), "\\\\HOST\\SHARE\\A");
}

TEST(native_2_filename, of_an_empty_name_is_empty)
{
    EXPECT_EQ(from_native(""), "");
}

TEST(native_2_filename, brings_a_name_back)
{
    EXPECT_EQ(from_native(to_native(":C:DIR/A.TXT")), ":C:DIR/A.TXT");
    EXPECT_EQ(from_native(to_native("C:DIR/A.TXT")), ":C:DIR/A.TXT");
    EXPECT_EQ(from_native(to_native("DIR/A.TXT")), "DIR/A.TXT");
}

TEST(native_2_filename, cuts_what_grows_beyond_255_characters)
{
    std::string longest = "C:" + std::string(253, 'x');
    EXPECT_EQ(from_native(longest), ":" + longest.substr(0, 254));
}

// ---- The parts of a name --------------------------------------------------------------------------------------------

TEST(filename_name, gives_the_last_part)
{
    EXPECT_EQ(name_of("A/B"), "B");
    EXPECT_EQ(name_of("A/B/C"), "C");
    EXPECT_EQ(name_of(":C:B"), "B");
    EXPECT_EQ(name_of(":C:D/B"), "B");
    EXPECT_EQ(name_of("B"), "B");
    EXPECT_EQ(name_of("/B"), "B");
}

TEST(filename_name, of_a_directory_is_empty)
{
    EXPECT_EQ(name_of("A/"), "");
    EXPECT_EQ(name_of(":C:"), "");
    EXPECT_EQ(name_of("/"), "");
    EXPECT_EQ(name_of(""), "");
}

TEST(filename_name, does_not_split_at_a_doubled_slash)
{
    EXPECT_EQ(name_of("A/B//C"), "B/C");
    EXPECT_EQ(name_of("B//C"), "B/C");
    EXPECT_EQ(name_of(":C:B//C"), "B/C");
    EXPECT_EQ(name_of("A/B//C//D"), "B/C/D");
}

TEST(filename_name, leaves_one_slash_of_each_pair)
{
    EXPECT_EQ(name_of("a////b"), "a//b");
    EXPECT_EQ(name_of("A///B"), "/B");
    EXPECT_EQ(name_of("//HOST"), "/HOST");
    EXPECT_EQ(name_of("//"), "/");
    EXPECT_EQ(name_of("A//"), "A/");
}

TEST(filename_name, does_not_take_the_length_for_a_slash)
{
    // A length of 47 has the value of a slash, and stands in front of the first character.
    std::string leaf(46, 'x');
    EXPECT_EQ(name_of("/" + leaf), leaf);
    EXPECT_EQ(dir_of("/" + leaf), "/");
}

TEST(filename_name, works_in_place)
{
    Name name("A/B//C");
    filename_name(name, name);
    EXPECT_EQ(name.str(), "B/C");
}

TEST(filename_name, takes_a_name_of_255_characters)
{
    std::string last(250, 'x');
    EXPECT_EQ(name_of("A/B//" + last), "B/" + last);
    EXPECT_EQ(name_of(std::string(255, '/')), std::string(127, '/'));
}

TEST(filename_dir, gives_all_up_to_the_last_separator)
{
    EXPECT_EQ(dir_of("A/B"), "A/");
    EXPECT_EQ(dir_of(":C:B"), ":C:");
    EXPECT_EQ(dir_of("A/B/C"), "A/B/");
    EXPECT_EQ(dir_of("/B"), "/");
    EXPECT_EQ(dir_of("A/"), "A/");
}

TEST(filename_dir, of_a_bare_name_is_empty)
{
    EXPECT_EQ(dir_of("B"), "");
    EXPECT_EQ(dir_of(""), "");
}

TEST(filename_dir, does_not_split_at_a_doubled_slash)
{
    EXPECT_EQ(dir_of("A/B//C"), "A/");
    EXPECT_EQ(dir_of("A///B"), "A/");
    EXPECT_EQ(dir_of("//HOST"), "");
}

TEST(filename_dir, works_in_place)
{
    Name name("A/B");
    filename_dir(name, name);
    EXPECT_EQ(name.str(), "A/");
}

} // namespace zuk
