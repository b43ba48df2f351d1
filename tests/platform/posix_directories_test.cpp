// What is the POSIX backend's own: real errors of the system, and a search that is read at its beginning.

#include "platform/platform.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#ifdef _WIN32

namespace zuk {

TEST(posix_directories, are_not_on_this_system)
{
    GTEST_SKIP() << "fork, resource limits and system call filters are not on Windows";
}

} // namespace zuk

#else

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace zuk {

// ---- A second process -----------------------------------------------------------------------------------------------

constexpr u32 CANNOT_BE_HAD = 200;  // what the host refuses to set up

// The result of `work`, below 256, in a process of its own, for what would stay changed in this one.
static u32 elsewhere(const std::function<u32()> &work)
{
    pid_t child = fork();
    if (child == 0) _exit((int)work());
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << status;
    return (u32)WEXITSTATUS(status);
}

// The work of a user who owns nothing: root would be refused nowhere.
static u32 as_nobody(const std::function<u32()> &work)
{
    return elsewhere([&] {
        if (geteuid() == 0 && seteuid(65534) != 0) return CANNOT_BE_HAD;
        return work();
    });
}

static u32 without_a_free_descriptor(const std::function<u32()> &work)
{
    return elsewhere([&] {
        rlimit none = { 0, 0 };
        if (setrlimit(RLIMIT_NOFILE, &none) != 0) return CANNOT_BE_HAD;
        return work();
    });
}

// With calls of the system that fail with this error.
static u32 without_calls(const std::vector<long> &calls, u32 error, const std::function<u32()> &work)
{
    return elsewhere([&] {
        std::vector<sock_filter> program = { BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)) };
        for (long call : calls) {
            program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, (u32)call, 0, 1));
            program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error));
        }
        program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
        sock_fprog filter = { (unsigned short)program.size(), program.data() };
        if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return CANNOT_BE_HAD;
        if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) return CANNOT_BE_HAD;
        return work();
    });
}

#define SKIP_WITHOUT_FILTER(result) \
    if ((result) == CANNOT_BE_HAD) GTEST_SKIP() << "this host allows no filter of system calls"

#ifdef SYS_open
const std::vector<long> opening = { SYS_open, SYS_openat };
#else
const std::vector<long> opening = { SYS_openat };
#endif

// The error of a search; a failed one has to be told as one.
static u32 search_error(const TempDir &dir)
{
    PlatformSearch search = 0;
    char name[PLATFORM_PATH_SIZE];
    u32 error = native_directories.find_first(dir.native("*.*").c_str(), &search, name);
    bool failed = search == PLATFORM_FAILED_SEARCH;
    native_directories.find_close(search);
    return failed == (error != PLATFORM_OK) ? error : CANNOT_BE_HAD + 1;
}

// ---- Directories ----------------------------------------------------------------------------------------------------

TEST(posix_make, is_refused_without_the_right)
{
    TempDir dir;
    chmod(dir.path().c_str(), 0555);
    EXPECT_EQ(as_nobody([&] { return native_directories.make(dir.native("d").c_str()); }), PLATFORM_ACCESS_DENIED);
    chmod(dir.path().c_str(), 0755);
    EXPECT_FALSE(dir.has("d"));
}

TEST(posix_make, calls_a_name_through_a_file_a_bad_path)
{
    TempDir dir;
    dir.put("file", "");
    EXPECT_EQ(native_directories.make(dir.native("file\\d").c_str()), PLATFORM_PATH_NOT_FOUND);
    EXPECT_EQ(native_directories.make(std::string(600, 'd').c_str()), PLATFORM_BAD_PATHNAME);
}

TEST(posix_change, tells_why_it_could_not)
{
    TempDir dir;
    dir.put("file", "");
    EXPECT_EQ(native_directories.change(dir.native("file").c_str()), PLATFORM_PATH_NOT_FOUND);
    EXPECT_EQ(native_directories.change(dir.native("none").c_str()), PLATFORM_FILE_NOT_FOUND);
    EXPECT_EQ(native_directories.change(dir.native("none\\d").c_str()), PLATFORM_PATH_NOT_FOUND);
    EXPECT_EQ(native_directories.change(""), PLATFORM_PATH_NOT_FOUND);
    chmod(dir.path().c_str(), 0);
    EXPECT_EQ(as_nobody([&] { return native_directories.change(dir.native().c_str()); }), PLATFORM_ACCESS_DENIED);
    chmod(dir.path().c_str(), 0755);
}

// ---- Temporary files ------------------------------------------------------------------------------------------------

TEST(posix_make_temporary, takes_four_digits_for_the_name)
{
    TempDir dir;
    char path[PLATFORM_PATH_SIZE];
    ASSERT_EQ(native_directories.make_temporary(dir.native().c_str(), path), PLATFORM_OK);
    std::string name = std::filesystem::path(path).filename().string();
    ASSERT_EQ(name.size(), 11u) << name;
    EXPECT_EQ(name.substr(0, 3) + name.substr(7), "TNT.tmp");
    for (char digit : name.substr(3, 4)) EXPECT_TRUE(isxdigit((unsigned char)digit)) << name;
}

TEST(posix_make_temporary, is_for_the_owner_alone)
{
    TempDir dir;
    char path[PLATFORM_PATH_SIZE];
    ASSERT_EQ(native_directories.make_temporary(dir.native().c_str(), path), PLATFORM_OK);
    struct stat found;
    ASSERT_EQ(stat(path, &found), 0);
    EXPECT_EQ(found.st_mode & 0077, 0u);
}

static u32 temporary_error(const TempDir &dir)
{
    char path[PLATFORM_PATH_SIZE];
    return native_directories.make_temporary(dir.native().c_str(), path);
}

TEST(posix_make_temporary, tells_why_there_is_no_file)
{
    TempDir dir;
    EXPECT_EQ(without_a_free_descriptor([&] { return temporary_error(dir); }), PLATFORM_TOO_MANY_OPEN_FILES);
    chmod(dir.path().c_str(), 0555);
    EXPECT_EQ(as_nobody([&] { return temporary_error(dir); }), PLATFORM_ACCESS_DENIED);
    chmod(dir.path().c_str(), 0755);
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST(posix_make_temporary, gives_up_when_every_name_is_taken)
{
    TempDir dir;
    u32 error = without_calls(opening, EEXIST, [&] { return temporary_error(dir); });
    SKIP_WITHOUT_FILTER(error);
    EXPECT_EQ(error, PLATFORM_FILE_EXISTS);
}

// ---- Searches -------------------------------------------------------------------------------------------------------

TEST(posix_find_first, keeps_the_names_of_its_moment)
{
    TempDir dir;
    dir.put("a.txt", "");
    dir.put("b.txt", "");
    PlatformSearch search = 0;
    char name[PLATFORM_PATH_SIZE];
    ASSERT_EQ(native_directories.find_first(dir.native("*.txt").c_str(), &search, name), PLATFORM_OK);
    std::filesystem::remove(dir.path("b.txt"));
    dir.put("c.txt", "");
    EXPECT_EQ(native_directories.find_next(search, name), PLATFORM_OK);
    EXPECT_STREQ(name, "b.txt");
    EXPECT_EQ(native_directories.find_next(search, name), PLATFORM_NO_MORE_FILES);
    native_directories.find_close(search);
}

TEST(posix_find_first, is_refused_without_the_right)
{
    TempDir dir;
    chmod(dir.path().c_str(), 0311);
    EXPECT_EQ(as_nobody([&] { return search_error(dir); }), PLATFORM_ACCESS_DENIED);
    chmod(dir.path().c_str(), 0755);
    EXPECT_EQ(search_error(dir), PLATFORM_OK);
}

TEST(posix_find_first, tells_when_the_process_has_too_many_files)
{
    TempDir dir;
    EXPECT_EQ(without_a_free_descriptor([&] { return search_error(dir); }), PLATFORM_TOO_MANY_OPEN_FILES);
}

TEST(posix_find_first, calls_a_directory_that_is_a_file_a_bad_path)
{
    TempDir dir;
    dir.put("file", "");
    PlatformSearch search = 0;
    char name[PLATFORM_PATH_SIZE];
    u32 error = native_directories.find_first(dir.native("file\\*.*").c_str(), &search, name);
    EXPECT_EQ(error, PLATFORM_PATH_NOT_FOUND);
    EXPECT_EQ(search, PLATFORM_FAILED_SEARCH);
}

TEST(posix_find_first, fails_where_the_names_cannot_be_read)
{
    TempDir dir;
    u32 error = without_calls({ SYS_getdents64 }, EIO, [&] { return search_error(dir); });
    SKIP_WITHOUT_FILTER(error);
    EXPECT_EQ(error, PLATFORM_GENERAL_FAILURE);
}

} // namespace zuk

#endif
