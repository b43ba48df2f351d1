#include "settings/options.h"

#include <gtest/gtest.h>

namespace zuk {
namespace {

TEST(options, have_their_defaults)
{
    EXPECT_EQ(option_main_product(), 0);
    EXPECT_EQ(option_min_id(), 1);
}

TEST(option_preset, sets_both_for_the_process)
{
    option_preset(1, -70000);
    EXPECT_EQ(option_main_product(), 1);
    EXPECT_EQ(option_min_id(), -70000);
    option_preset(0, 1);
}

} // namespace
} // namespace zuk
