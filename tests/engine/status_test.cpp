#include "engine/status.h"

#include "files/file.h"
#include "tests/support/faults.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

namespace zuk {

// Every test begins and ends with the error location at `file_error`.
struct ErrorWord {
    ErrorWord() { file_seterrorptr(&file_error); }
    ~ErrorWord()
    {
        file_seterrorptr(&file_error);
        file_error = FILE_OK;
    }
};

static DictStatus status_of(u32 code)
{
    file_error = code;
    return status_from_file_error();
}

TEST(status, has_every_operation)
{
    // One that only an inlined call reached would not be there for whoever links the library.
    void *const operations[] = { (void *)status_from_file_error };
    for (void *operation : operations) EXPECT_NE(operation, nullptr);
}

TEST(status_from_file_error, gives_the_status_of_each_code)
{
    ErrorWord word;
    EXPECT_EQ(status_of(FILE_OK), DICT_OK);
    EXPECT_EQ(status_of(FILE_END), DICT_BAD_POSITION);
    EXPECT_EQ(status_of(FILE_BAD_NUMBER), DICT_BAD_POSITION);
    EXPECT_EQ(status_of(FILE_NOT_FOUND), DICT_NO_FILE);
    EXPECT_EQ(status_of(FILE_BAD_PATH), DICT_NO_FILE);
    EXPECT_EQ(status_of(FILE_TOO_MANY_OPEN), DICT_TOO_MANY_FILES);
    EXPECT_EQ(status_of(FILE_REFUSED), DICT_ACCESS_DENIED);
    EXPECT_EQ(status_of(FILE_FULL), DICT_NO_ROOM);
    EXPECT_EQ(status_of(FILE_FAILED), DICT_FAILED);
}

TEST(status_from_file_error, has_the_numbers_that_callers_know)
{
    ErrorWord word;
    const u32 statuses[] = { 0, 1, 12, 6, 11, 10, 7, 13, 12, 6 };
    for (u32 code = 0; code < 10; code++) EXPECT_EQ(status_of(code), statuses[code]) << "code " << code;
}

TEST(status_from_file_error, gives_7_for_a_code_that_no_operation_gives)
{
    ErrorWord word;
    EXPECT_EQ(status_of(6), DICT_NOT_OPEN);
    for (u32 error = 0; error < 1000; error++) EXPECT_NE(file_map_code(error), 6u) << "platform error " << error;
}

TEST(status_from_file_error, gives_1_for_any_other_code)
{
    ErrorWord word;
    for (u32 code : { 10u, 77u, 255u, 0x10003u, 0xFFFFFFFFu }) EXPECT_EQ(status_of(code), DICT_FAILED) << code;
}

TEST(status_from_file_error, never_gives_a_number_that_stands_for_nothing)
{
    ErrorWord word;
    for (u32 code = 0; code < 1000; code++) {
        for (u32 unused : { 5u, 8u, 16u, 17u, 20u }) EXPECT_NE(status_of(code), unused) << "code " << code;
    }
}

TEST(status_from_file_error, tells_the_operation_before_it)
{
    ErrorWord word;
    TempDir dir;
    EXPECT_EQ(file_open(dir.name("missing"), FILE_RW_SHARED), 0u);
    EXPECT_EQ(status_from_file_error(), DICT_NO_FILE);
    EXPECT_EQ(file_open(dir.name("missing/a"), FILE_RW_SHARED), 0u);
    EXPECT_EQ(status_from_file_error(), DICT_NO_FILE);
    EXPECT_EQ(file_open(dir.name("missing"), 1), 0u);  // a mode that does not exist
    EXPECT_EQ(status_from_file_error(), DICT_ACCESS_DENIED);
    EXPECT_EQ(file_create(dir.name("a")), 1);
    EXPECT_EQ(status_from_file_error(), DICT_OK);
}

TEST(status_from_file_error, leaves_the_error_where_it_is)
{
    ErrorWord word;
    EXPECT_EQ(status_of(FILE_FULL), DICT_NO_ROOM);
    EXPECT_EQ(status_from_file_error(), DICT_NO_ROOM);
    EXPECT_EQ(file_error, FILE_FULL);
}

TEST(status_from_file_error, reads_file_error_though_the_codes_go_elsewhere)
{
    ErrorWord word;
    TempDir dir;
    file_error = FILE_FULL;
    u32 elsewhere = FILE_OK;
    file_seterrorptr(&elsewhere);
    EXPECT_EQ(file_open(dir.name("missing"), FILE_RW_SHARED), 0u);
    EXPECT_EQ(elsewhere, FILE_NOT_FOUND);
    EXPECT_EQ(status_from_file_error(), DICT_NO_ROOM);  // what stood there before
}

TEST(first_failure, keeps_the_earlier_one)
{
    EXPECT_EQ(first_failure(DICT_NO_ROOM, DICT_NO_MEMORY), DICT_NO_ROOM);
    EXPECT_EQ(first_failure(DICT_NO_ROOM, DICT_OK), DICT_NO_ROOM);
}

TEST(first_failure, gives_the_later_one_when_the_earlier_step_went_well)
{
    EXPECT_EQ(first_failure(DICT_OK, DICT_NO_MEMORY), DICT_NO_MEMORY);
    EXPECT_EQ(first_failure(DICT_OK, DICT_OK), DICT_OK);
}

} // namespace zuk
