#include "tool/coordinates.h"

#include "tool/messages.h"

#include <gtest/gtest.h>

namespace zuk::tool {

TEST(parse_coordinates, reads_one_to_four_levels)
{
    EXPECT_EQ(text_of(parse_coordinates("3")), "3");
    EXPECT_EQ(text_of(parse_coordinates("2/100")), "2/100");
    EXPECT_EQ(text_of(parse_coordinates("2/100/1")), "2/100/1");
    Coordinates at = parse_coordinates("2/100/1/7");
    EXPECT_EQ(at.levels, 4);
    EXPECT_EQ(at.kind, 2);
    EXPECT_EQ(at.module, 100);
    EXPECT_EQ(at.type, 1);
    EXPECT_EQ(at.id, 7);
}

TEST(parse_coordinates, takes_the_bounds_of_each_level)
{
    EXPECT_EQ(text_of(parse_coordinates("1/-2147483648/0/1")), "1/-2147483648/0/1");
    EXPECT_EQ(text_of(parse_coordinates("3/2147483647/65535/32767")), "3/2147483647/65535/32767");
}

TEST(parse_coordinates, refuses_numbers_outside_the_bounds_or_in_another_form)
{
    for (const char *text : { "", "0", "4", "2/", "/2", "2/100/", "2/2147483648", "2/1/65536", "2/1/1/0", "2/1/1/32768",
                              "2/1/1/1/1", "02", "2/+1", "2/01", "2/-0", "2/1/1/0x1", "2/ 1", "2/99999999999" }) {
        EXPECT_THROW(parse_coordinates(text), Failure) << text;
    }
}

TEST(parse_coordinates, says_what_is_wrong)
{
    try {
        parse_coordinates("2/100/1/40000");
        FAIL();
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.exit, EXIT_TROUBLE);
        EXPECT_STREQ(failure.what(),
                     "2/100/1/40000: in KIND/MODULE/TYPE/ID the identifier is a number from 1 to 32767");
    }
}

TEST(parse_coordinates, takes_the_words_of_series_and_core_type)
{
    const char *const cases[][2] = { { "1/Financial Core", "1/17" },
                                     { "1/system strings/9", "1/2/9" },
                                     { "1/Strings/9/1", "1/2/9/1" },
                                     { "1/Core Tables", "1/10" },
                                     { "1/QScript Code/Data/20/1", "1/3/20/1" },
                                     { "1/SALES QSCRIPT SOURCE/DEBUG/19", "1/41/19" },
                                     { "1/Project Short Names/51", "1/104/51" },
                                     { "1/2 Messages/30", "1/37/30" },
                                     { "1/2 12/31", "1/44/31" },
                                     { "1/Inventory 0", "1/64" },
                                     { "1/17/5", "1/17/5" } };
    for (auto [text, numbers] : cases) EXPECT_EQ(text_of(parse_coordinates(text)), numbers) << text;
}

TEST(parse_coordinates, takes_words_of_kind_1_alone_and_whole)
{
    for (const char *text : { "2/Financial Core", "1/Financial", "1/Financial ", "1/FinancialCore", "1/Core Table",
                              "1/16 Core", "1/Financial 16", "1/Financial  Core", "1/Core/x", "1/1 ", "1/ Core" }) {
        EXPECT_THROW(parse_coordinates(text), Failure) << text;
    }
}

TEST(parse_series, takes_a_number_or_a_word)
{
    EXPECT_EQ(parse_series("0"), 0);
    EXPECT_EQ(parse_series("15"), 15);
    EXPECT_EQ(parse_series("Purchasing"), 3);
    EXPECT_EQ(parse_series("project"), 6);
    for (const char *text : { "", "16", "-1", "Unknown Series", "Fin", "Sales ", "Sales/" }) {
        EXPECT_THROW(parse_series(text), Failure) << text;
    }
}

TEST(in_series, makes_a_core_type_whole)
{
    EXPECT_EQ(text_of(in_series(parse_coordinates("1/2/9/1"), 3, "x")), "1/50/9/1");
    EXPECT_EQ(text_of(in_series(parse_coordinates("1/50/9/1"), 3, "x")), "1/50/9/1");
    EXPECT_THROW(in_series(parse_coordinates("1/50/9/1"), 2, "x"), Failure);
    EXPECT_THROW(in_series(parse_coordinates("2/2/9/1"), 2, "x"), Failure);
}

TEST(words_of_series, are_those_of_the_modules)
{
    EXPECT_EQ(words_of_series(0), "System");
    EXPECT_EQ(words_of_series(6), "Project");
    EXPECT_EQ(words_of_series(7), "");    // without words of its own
    EXPECT_EQ(words_of_core_type(9), "QScript Source/Debug");
    EXPECT_EQ(words_of_core_type(11), "");
    EXPECT_EQ(default_module_name(54), "Purchasing Data Types");
}

} // namespace zuk::tool
