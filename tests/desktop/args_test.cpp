#include "desktop/args.h"

#include "desktop/app_state.h"
#include "foundation/pstrings.h"
#include "tests/support/screen.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace zuk {

using Token = std::pair<std::string, std::string>;  // name and type
using Tokens = std::vector<Token>;

// The screen forgets the text before and after each test.
static i16 count_of(const char *text)
{
    args_set_text(text);
    i16 count = 77;
    i16 first = 77;
    args_count(&count, &first);
    EXPECT_EQ(first, 1);
    return count;
}

static Token next()
{
    Name name("left over");
    Name type("left over");
    args_next(name, type);
    return { name.str(), type.str() };
}

static Token only(const char *text)
{
    (void)count_of(text);
    return next();
}

// As many tokens as were counted.
static Tokens walk(const char *text)
{
    Tokens tokens;
    for (i16 left = count_of(text); left > 0; left--) tokens.push_back(next());
    return tokens;
}

TEST(args, has_every_operation)
{
    void *const operations[] = { (void *)args_count, (void *)args_next, (void *)args_clear };
    for (const void *operation : operations) EXPECT_NE(operation, nullptr);
}

// ---- args_count -----------------------------------------------------------------------------------------------------

TEST(args_count, of_an_empty_text_is_0)
{
    Screen screen;
    EXPECT_EQ(count_of(""), 0);
}

TEST(args_count, counts_the_tokens_between_blanks)
{
    Screen screen;
    EXPECT_EQ(count_of("one"), 1);
    EXPECT_EQ(count_of("one two"), 2);
    EXPECT_EQ(count_of("one  two"), 2);
    EXPECT_EQ(count_of("  one"), 1);
    EXPECT_EQ(count_of("  a b   c"), 3);
}

TEST(args_count, counts_one_more_for_blanks_at_the_end)
{
    Screen screen;
    EXPECT_EQ(count_of("one "), 2);
    EXPECT_EQ(count_of("one two   "), 3);
    EXPECT_EQ(count_of("  "), 1);
    EXPECT_EQ(count_of(" "), 1);
    EXPECT_EQ(walk("a.txt "), (Tokens{ { "a.txt", "TEXT" }, { "", "" } }));
}

TEST(args_count, separates_at_blanks_alone)
{
    Screen screen;
    EXPECT_EQ(count_of("one\ttwo"), 1);
    EXPECT_EQ(count_of("\"one two\""), 2);
}

TEST(args_count, reads_a_text_without_an_end_to_the_end_of_its_buffer)
{
    Screen screen;
    memset(args_text, 'a', sizeof args_text);
    args_text[126] = ' ';
    i16 count;
    i16 first;
    args_count(&count, &first);
    EXPECT_EQ(count, 2);
    memset(args_text, ' ', sizeof args_text);
    args_count(&count, &first);
    EXPECT_EQ(count, 1);
}

TEST(args_count, leaves_out_a_null_pointer)
{
    Screen screen;
    args_set_text("one two");
    i16 count = 77;
    i16 first = 77;
    args_count(nullptr, nullptr);
    args_count(&count, nullptr);
    args_count(nullptr, &first);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(first, 1);
}

TEST(args_count, goes_back_to_the_first_token)
{
    Screen screen;
    EXPECT_EQ(only("one two").first, "one");
    EXPECT_EQ(next().first, "two");
    i16 count;
    i16 first;
    args_count(&count, &first);
    EXPECT_EQ(next().first, "one");
}

// ---- args_next ------------------------------------------------------------------------------------------------------

TEST(args_next, gives_name_and_type_of_each_token)
{
    Screen screen;
    EXPECT_EQ(walk("a.txt   b.dic plain"), (Tokens{ { "a.txt", "TEXT" }, { "b.dic", "DICT" }, { "plain", "" } }));
    EXPECT_EQ(next(), (Token{ "", "" }));
    EXPECT_EQ(next(), (Token{ "", "" }));
}

TEST(args_next, skips_the_blanks_in_front)
{
    Screen screen;
    EXPECT_EQ(walk("   a b"), (Tokens{ { "a", "" }, { "b", "" } }));
}

TEST(args_next, of_an_empty_text_is_empty)
{
    Screen screen;
    EXPECT_EQ(only(""), (Token{ "", "" }));
    EXPECT_EQ(only("   "), (Token{ "", "" }));
}

// Only the first walk of a process has no cursor before it, so this test has a process of its own.
TEST(args_next, is_empty_ahead_of_the_first_count)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            args_set_text("one");
            bool good = next() == Token();
            i16 count;
            i16 first;
            args_count(&count, &first);
            std::_Exit(good && next().first == "one" ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(args_next, makes_the_name_portable)
{
    Screen screen;
    EXPECT_EQ(only("C:\\DIR\\A.TXT"), (Token{ ":C:DIR/A.TXT", "TEXT" }));
    EXPECT_EQ(only("DIR\\A.xyz"), (Token{ "DIR/A.xyz", "XYZ " }));
    EXPECT_EQ(only("a."), (Token{ "a", "" }));
}

TEST(args_next, makes_a_file_type_of_the_extension)
{
    Screen screen;
    EXPECT_EQ(only("a.exe").second, "APPL");
    EXPECT_EQ(only("a.SET").second, "CLST");
    EXPECT_EQ(only("a.b.mac").second, "QRMC");
    EXPECT_EQ(only("a.ab").second, "AB");
    EXPECT_EQ(only("a.html").second, "HTM L");
}

TEST(args_next, looks_for_the_last_dot_of_the_whole_token)
{
    Screen screen;
    EXPECT_EQ(only("dir.d/file"), (Token{ "dir.d/file", "D/F ILE" }));
    EXPECT_EQ(only("/dir.d/file").second, "D/F ILE");
    EXPECT_EQ(only(".abc"), (Token{ ".abc", "" }));  // the walk ends at the start, and the character there is no slash
    EXPECT_EQ(only("a/b"), (Token{ "a/b", "" }));
    EXPECT_EQ(only(".a.txt").second, "TEXT");
}

TEST(args_next, gives_a_token_with_a_slash_the_type_PARM_and_upper_case)
{
    Screen screen;
    EXPECT_EQ(only("/x"), (Token{ "/X", "PARM" }));
    EXPECT_EQ(only("/"), (Token{ "/", "PARM" }));
    EXPECT_EQ(only("/usr/share/words"), (Token{ "/USR/SHARE/WORDS", "PARM" }));
    EXPECT_EQ(only("dir./x"), (Token{ "DIR./X", "PARM" }));  // what is behind the last dot begins with a slash
    EXPECT_EQ(only("setup.PARM"), (Token{ "SETUP.PARM", "PAR M" }));
    EXPECT_EQ(only("/usr/words.txt"), (Token{ "/usr/words.txt", "TEXT" }));
}

TEST(args_next, leaves_the_case_of_every_other_name)
{
    Screen screen;
    EXPECT_EQ(only("setup.parm"), (Token{ "setup.parm", "PAR M" }));
    EXPECT_EQ(only("setup.Parm").first, "setup.Parm");
    EXPECT_EQ(only("setup.txt"), (Token{ "setup.txt", "TEXT" }));
    EXPECT_EQ(only("setup.PARMS").first, "setup.PARMS");
    EXPECT_EQ(only("setup.PAR").first, "setup.PAR");
    EXPECT_EQ(only("PARM").second, "");
    EXPECT_EQ(only("parm").first, "parm");
}

TEST(args_next, takes_80_characters)
{
    Screen screen;
    std::string token = std::string(76, 'a') + ".txt";
    ASSERT_EQ(token.size(), 80u);
    EXPECT_EQ(walk((token + " b").c_str()), (Tokens{ { token, "TEXT" }, { "b", "" } }));
}

TEST(args_next, splits_a_token_of_more_than_80_characters)
{
    Screen screen;
    std::string token = std::string(78, 'a') + ".txt";  // the dot is the 79th character
    EXPECT_EQ(count_of((token + " b").c_str()), 2);
    EXPECT_EQ(next(), (Token{ token.substr(0, 80), "T" }));
    EXPECT_EQ(next(), (Token{ "xt", "" }));
    EXPECT_EQ(next(), (Token{ "b", "" }));
    EXPECT_EQ(next(), (Token{ "", "" }));
}

TEST(args_next, ends_at_the_end_of_a_buffer_without_a_terminator)
{
    Screen screen;
    memset(args_text, 'a', sizeof args_text);
    args_text[120] = ' ';
    args_count(nullptr, nullptr);
    EXPECT_EQ(next().first, std::string(80, 'a'));
    EXPECT_EQ(next().first, std::string(40, 'a'));
    EXPECT_EQ(next().first, std::string(7, 'a'));
    EXPECT_EQ(next(), (Token{ "", "" }));
    memset(args_text + 120, ' ', 8);  // nothing but blanks to the end
    args_count(nullptr, nullptr);
    (void)next();
    (void)next();
    EXPECT_EQ(next(), (Token{ "", "" }));
}

TEST(args_next, is_empty_with_the_cursor_behind_the_text)
{
    Screen screen;
    EXPECT_EQ(only("some_long_name").first, "some_long_name");
    args_set_text("short");
    EXPECT_EQ(next(), (Token{ "", "" }));
    args_set_text("some_long_name next");
    EXPECT_EQ(next().first, "next");
}

TEST(args_next, does_nothing_for_a_null_pointer)
{
    Screen screen;
    (void)count_of("one.txt");
    Name untouched("untouched");
    args_next(nullptr, untouched);
    args_next(untouched, nullptr);
    EXPECT_EQ(untouched.str(), "untouched");
    EXPECT_EQ(next(), (Token{ "one.txt", "TEXT" }));
}

// ---- args_clear -----------------------------------------------------------------------------------------------------

TEST(args_clear, empties_the_text)
{
    Screen screen;
    (void)count_of("one two");
    args_clear();
    EXPECT_STREQ(args_text, "");
    EXPECT_EQ(next(), (Token{ "", "" }));
    i16 count = 77;
    i16 first = 77;
    args_count(&count, &first);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(first, 1);
}

} // namespace zuk
