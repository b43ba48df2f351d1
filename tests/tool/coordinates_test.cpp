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

} // namespace zuk::tool
