#include "tool/folder.h"

#include "tool/messages.h"

#include <gtest/gtest.h>

namespace zuk::tool {

TEST(folder_file, gives_each_level_its_file)
{
    EXPECT_EQ(folder_file(coordinates_of(2, 100)), "2/100/module.txt");
    EXPECT_EQ(folder_file(coordinates_of(2, 100, 1)), "2/100/1/resources.txt");
    EXPECT_EQ(folder_file(coordinates_of(2, 100, 1, 7)), "2/100/1/7.bin");
}

TEST(belongs_to_folder, knows_what_an_export_writes)
{
    for (const char *file : { "dictionary.txt", "2/100/module.txt", "2/100/1/resources.txt", "2/100/1/7.bin" }) {
        EXPECT_TRUE(belongs_to_folder(file, PathKind::file)) << file;
        EXPECT_FALSE(belongs_to_folder(file, PathKind::directory)) << file;
        EXPECT_FALSE(belongs_to_folder(file, PathKind::other)) << file;   // a link
    }
    for (const char *directory : { "2", "2/100", "2/-5", "3/100/65535" }) {
        EXPECT_TRUE(belongs_to_folder(directory, PathKind::directory)) << directory;
        EXPECT_FALSE(belongs_to_folder(directory, PathKind::file)) << directory;
    }
}

TEST(belongs_to_folder, knows_nothing_else)
{
    for (const char *name : { "README", "4", "02", "2/x", "2/module.txt", "2/100/7.bin", "2/100/1/07.bin",
                              "2/100/1/0.bin", "2/100/1/32768.bin", "2/100/1/.bin", "2/100/1/7",
                              "2/100/1/7.bin/x", "2/100/65536",
                              "2/100/resources.txt", "dictionary.txt/x" }) {
        EXPECT_FALSE(belongs_to_folder(name, PathKind::file)) << name;
    }
    for (const char *name : { "0", "4", "2/100/1/7", "2/100/1/7.bin/8" }) {
        EXPECT_FALSE(belongs_to_folder(name, PathKind::directory)) << name;
    }
}

TEST(resources_text, has_one_line_for_each_resource)
{
    TypeFacts type = { .type = 1, .resources = { { .id = 1, .flags = 0, .body_size = 5, .name = "One" },
                                                 { .id = 20, .flags = 0xA5, .body_size = 0, .name = "T\twice" } } };
    EXPECT_EQ(resources_text(2, type), "1\t00\t1.bin\tOne\n20\tA5\t-\tT\\x09wice\n");
}

TEST(resources_text, tells_the_owners_of_kind_1)
{
    TypeFacts type = { .type = 5, .resources = { { .id = 1, .flags = 0, .body_size = 5, .name = "One", .owner = 6 },
                                                 { .id = 2, .flags = 0, .body_size = 0, .name = "Two" } } };
    EXPECT_EQ(resources_text(1, type), "1\t00\t6\t1.bin\tOne\n2\t00\t-\t-\tTwo\n");
}

TEST(head_text, tells_the_form_and_the_version) { EXPECT_EQ(head_text(11), "zuk-dictionary 1\nversion 11\n"); }

} // namespace zuk::tool
