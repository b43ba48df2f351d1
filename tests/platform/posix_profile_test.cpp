// What is the POSIX backend's own: how it writes a profile file without losing it, and where.

#include "platform/platform.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#ifdef _WIN32

namespace zuk {

TEST(posix_profile, is_not_on_this_system)
{
    GTEST_SKIP() << "profile files are a service of Windows, tested in profile_test.cpp";
}

} // namespace zuk

#else

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace zuk {
namespace {

namespace fs = std::filesystem;

u32 write_key(const std::string &file, const std::string &key, const std::string &value)
{
    return native_profiles.write(file.c_str(), "General", key.c_str(), value.c_str());
}

std::string read_key(const std::string &file, const char *key)
{
    char value[100];
    u32 length = native_profiles.read(file.c_str(), "General", key, value, sizeof value);
    return std::string(value, length);
}

std::vector<std::string> names_in(const fs::path &directory)
{
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(directory)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

// The result of `work`, below 100, in a process of its own.
u32 elsewhere(const std::function<u32()> &work)
{
    pid_t child = fork();
    if (child == 0) _exit((int)work());
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    return (u32)WEXITSTATUS(status);
}

// The directory of settings of this process, for the length of a test.
struct ConfigDir {
    explicit ConfigDir(const std::string &path) { setenv("ZUK_CONFIG_DIR", path.c_str(), 1); }
    ~ConfigDir() { setenv("ZUK_CONFIG_DIR", before.c_str(), 1); }
    std::string before = getenv("ZUK_CONFIG_DIR");
};

// ---- A write that fails ---------------------------------------------------------------------------------------------

constexpr u32 NO_FILTER = 99;
constexpr u32 FAILED = 1;

// The result of `work` in a process where these calls of the system do nothing and give this error; 0 gives success.
u32 without(std::initializer_list<long> calls, int error, const std::function<u32()> &work)
{
    return elsewhere([&] {
        std::vector<sock_filter> program = { BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)) };
        for (long call : calls) {
            program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, (u32)call, 0, 1));
            program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | (u32)error));
        }
        program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
        sock_fprog filter = { (unsigned short)program.size(), program.data() };
        bool set = prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
                   prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
        return set ? work() : NO_FILTER;
    });
}

u32 write_without(std::initializer_list<long> calls, int error, const std::string &file)
{
    return without(calls, error, [&] { return write_key(file, "k", "new") == PLATFORM_OK ? 0u : FAILED; });
}

void expect_kept_without(std::initializer_list<long> calls, int error)
{
    TempDir dir;
    (void)dir.put("A.INI", "[General]\r\nk=old\r\n");
    u32 result = write_without(calls, error, dir.native("A.INI"));
    if (result == NO_FILTER) GTEST_SKIP() << "this host allows no filter of system calls";
    EXPECT_EQ(result, FAILED);
    EXPECT_EQ(dir.content("A.INI"), "[General]\r\nk=old\r\n");
    EXPECT_EQ(names_in(dir.path()), std::vector<std::string>{ "A.INI" });  // nothing half done is left
}

TEST(posix_profile_read, gives_nothing_when_the_file_cannot_be_read)
{
    TempDir dir;
    (void)dir.put("A.INI", "[General]\r\nk=5\r\n");
    std::string file = dir.native("A.INI");
    for (long call : { SYS_openat, SYS_read }) {
        u32 result = without({ call }, EIO, [&] {
            if (!read_key(file, "k").empty()) return FAILED;
            return native_profiles.read_number(file.c_str(), "General", "k");
        });
        if (result == NO_FILTER) GTEST_SKIP() << "this host allows no filter of system calls";
        EXPECT_EQ(result, 0u) << call;
    }
    EXPECT_EQ(read_key(file, "k"), "5");
}

TEST(posix_profile_write, keeps_the_file_when_it_cannot_be_read)
{
    expect_kept_without({ SYS_openat }, EMFILE);
    expect_kept_without({ SYS_read }, EIO);
    expect_kept_without({ SYS_read }, 0);    // an end where there was none before
}

TEST(posix_profile_write, keeps_the_file_when_the_bytes_do_not_get_to_the_disk)
{
    expect_kept_without({ SYS_write }, ENOSPC);
    expect_kept_without({ SYS_write }, 0);   // no byte, and no reason
    expect_kept_without({ SYS_fsync }, EIO);
    expect_kept_without({ SYS_close }, EIO);
}

TEST(posix_profile_write, keeps_the_file_when_the_new_one_cannot_take_its_place)
{
#ifdef SYS_rename
    expect_kept_without({ SYS_rename, SYS_renameat, SYS_renameat2 }, EACCES);
#else
    expect_kept_without({ SYS_renameat, SYS_renameat2 }, EACCES);
#endif
}

TEST(posix_profile_write, keeps_the_file_when_the_disk_is_full_in_the_midst)
{
    TempDir dir;
    std::string before = "[General]\r\nk=old\r\n; " + std::string(3000, 'c') + "\r\n";
    (void)dir.put("A.INI", before);
    for (rlim_t room : { 0u, 5u, 12u, 100u, 3018u }) {
        u32 result = elsewhere([&] {
            signal(SIGXFSZ, SIG_IGN);
            rlimit small = { room, room };
            if (setrlimit(RLIMIT_FSIZE, &small) != 0) return 98u;
            return write_key(dir.native("A.INI"), "k", "new") == PLATFORM_DISK_FULL ? FAILED : 0u;
        });
        EXPECT_EQ(result, FAILED) << room;
        EXPECT_TRUE(dir.content("A.INI") == before) << room;
        EXPECT_EQ(names_in(dir.path()), std::vector<std::string>{ "A.INI" });
    }
}

TEST(posix_profile_write, works_where_the_owner_cannot_be_given_on)
{
    TempDir dir;
    (void)dir.put("A.INI", "[General]\r\nk=old\r\n");
    u32 result = write_without({ SYS_fchown, SYS_fchmod, SYS_flock }, EPERM, dir.native("A.INI"));
    if (result == NO_FILTER) GTEST_SKIP() << "this host allows no filter of system calls";
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(read_key(dir.native("A.INI"), "k"), "new");
}

// Passwords stand in such files, so the new one must not be open to more people, even where rights cannot be set.
TEST(posix_profile_write, never_gives_more_rights_than_the_file_had)
{
    TempDir dir;
    (void)dir.put("A.INI", "[General]\r\nk=old\r\n");
    ASSERT_EQ(chmod(dir.path("A.INI").c_str(), 0600), 0);
    u32 result = write_without({ SYS_fchmod }, EPERM, dir.native("A.INI"));
    if (result == NO_FILTER) GTEST_SKIP() << "this host allows no filter of system calls";
    EXPECT_EQ(result, 0u);
    struct stat found = {};
    ASSERT_EQ(stat(dir.path("A.INI").c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0600u);
}

// ---- Several writers ------------------------------------------------------------------------------------------------

TEST(posix_profile_write, loses_no_key_of_several_processes)
{
    TempDir dir;
    constexpr int WRITERS = 4, KEYS = 8;
    pid_t children[WRITERS];
    for (int w = 0; w < WRITERS; w++) {
        children[w] = fork();
        if (children[w] != 0) continue;
        u32 failed = 0;
        for (int k = 0; k < KEYS; k++) {
            failed += write_key(dir.native("A.INI"), "k" + std::to_string(w) + "_" + std::to_string(k), "v") != 0;
        }
        _exit((int)failed);
    }
    for (pid_t child : children) {
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    for (int w = 0; w < WRITERS; w++) {
        for (int k = 0; k < KEYS; k++) {
            std::string key = "k" + std::to_string(w) + "_" + std::to_string(k);
            EXPECT_EQ(read_key(dir.native("A.INI"), key.c_str()), "v") << key;
        }
    }
    EXPECT_EQ(names_in(dir.path()), std::vector<std::string>{ "A.INI" });
}

// ---- Files ----------------------------------------------------------------------------------------------------------

TEST(posix_profile_write, keeps_the_rights_of_the_file)
{
    TempDir dir;
    (void)dir.put("A.INI", "[General]\r\nk=old\r\n");
    for (mode_t rights : { 0640u, 0600u, 0666u }) {
        ASSERT_EQ(chmod(dir.path("A.INI").c_str(), rights), 0);
        EXPECT_EQ(write_key(dir.native("A.INI"), "k", "new"), PLATFORM_OK);
        struct stat found = {};
        ASSERT_EQ(stat(dir.path("A.INI").c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 07777, rights);
    }
}

TEST(posix_profile_write, leaves_a_link_and_writes_what_it_leads_to)
{
    TempDir dir;
    fs::create_directory(dir.path("real"));
    (void)dir.put("real/B.INI", "[General]\r\nk=old\r\n");
    fs::create_symlink("real/B.INI", dir.path("A.INI"));
    EXPECT_EQ(write_key(dir.native("A.INI"), "k", "new"), PLATFORM_OK);
    EXPECT_TRUE(fs::is_symlink(dir.path("A.INI")));
    EXPECT_EQ(dir.content("real/B.INI"), "[General]\r\nk=new\r\n");
    EXPECT_EQ(names_in(dir.path("real")), std::vector<std::string>{ "B.INI" });
}

TEST(posix_profile_write, does_not_write_over_a_link_that_leads_nowhere)
{
    TempDir dir;
    fs::create_symlink("missing/B.INI", dir.path("A.INI"));
    EXPECT_EQ(write_key(dir.native("A.INI"), "k", "v"), PLATFORM_FILE_NOT_FOUND);
    EXPECT_TRUE(fs::is_symlink(dir.path("A.INI")));
    EXPECT_EQ(names_in(dir.path()), std::vector<std::string>{ "A.INI" });
}

// A new file could take its place all the same, if the directory allows it.
TEST(posix_profile_write, refuses_a_file_that_the_user_may_not_write_to)
{
    constexpr uid_t SOMEBODY = 65534;        // to the superuser every file is open
    TempDir dir;
    (void)dir.put("A.INI", "[General]\r\nk=old\r\n");
    ASSERT_EQ(chmod(dir.path().c_str(), 0777), 0);
    ASSERT_EQ(chmod(dir.path("A.INI").c_str(), 0444), 0);
    u32 result = elsewhere([&] {
        if (geteuid() == 0 && setuid(SOMEBODY) != 0) return 98u;
        return write_key(dir.native("A.INI"), "k", "new") == PLATFORM_ACCESS_DENIED ? FAILED : 0u;
    });
    EXPECT_EQ(result, FAILED);
    EXPECT_EQ(dir.content("A.INI"), "[General]\r\nk=old\r\n");
    EXPECT_EQ(names_in(dir.path()), std::vector<std::string>{ "A.INI" });
}

TEST(posix_profile_write, refuses_what_is_no_plain_file)
{
    TempDir dir;
    ASSERT_EQ(mkfifo(dir.path("pipe").c_str(), 0600), 0);
    fs::create_directory(dir.path("directory"));
    for (const char *name : { "pipe", "directory" }) {
        EXPECT_EQ(read_key(dir.native(name), "k"), "") << name;  // and nobody waits for the other end of a pipe
        EXPECT_EQ(write_key(dir.native(name), "k", "v"), PLATFORM_ACCESS_DENIED) << name;
    }
    EXPECT_TRUE(fs::is_fifo(dir.path("pipe")));
}

// A file that somebody else made so large is not taken into memory, and above all not cut.
TEST(posix_profile_write, refuses_a_file_of_more_than_16_MiB)
{
    TempDir dir;
    (void)dir.put("A.INI", "[General]\r\nk=old\r\n");
    fs::resize_file(dir.path("A.INI"), (16 << 20) + 1);
    EXPECT_EQ(read_key(dir.native("A.INI"), "k"), "");
    EXPECT_NE(write_key(dir.native("A.INI"), "k", "v"), PLATFORM_OK);
    EXPECT_EQ(fs::file_size(dir.path("A.INI")), (16u << 20) + 1);
    fs::resize_file(dir.path("A.INI"), 16 << 20);
    EXPECT_EQ(read_key(dir.native("A.INI"), "k"), "old");
}

// ---- Places ---------------------------------------------------------------------------------------------------------

TEST(posix_profile_write, makes_the_directory_of_settings_and_those_above_it)
{
    TempDir dir;
    ConfigDir config(dir.path("one/two/three").string() + "/");
    std::string file = dir.native("one\\two\\three") + "\\A.INI";
    EXPECT_EQ(read_key(file, "k"), "");
    EXPECT_FALSE(dir.has("one"));                    // not by a read
    EXPECT_EQ(write_key(file, "k", "v"), PLATFORM_OK);
    EXPECT_EQ(dir.content("one/two/three/A.INI"), "[General]\r\nk=v\r\n");
}

TEST(posix_profile_write, makes_no_other_directory)
{
    TempDir dir;
    ConfigDir config(dir.path("one").string());
    for (const char *file : { "two\\A.INI", "one\\two\\A.INI", "onetwo\\A.INI" }) {
        EXPECT_EQ(write_key(dir.native(file), "k", "v"), PLATFORM_PATH_NOT_FOUND) << file;
    }
    EXPECT_EQ(names_in(dir.path()), std::vector<std::string>{});
}

TEST(posix_profile_write, takes_a_bare_name_for_a_file_of_the_directory_of_settings)
{
    TempDir dir;
    ConfigDir config(dir.path().string());
    EXPECT_EQ(write_key("A.INI", "k", "v"), PLATFORM_OK);
    EXPECT_EQ(dir.content("A.INI"), "[General]\r\nk=v\r\n");
    EXPECT_EQ(read_key("A.INI", "k"), "v");
}

TEST(posix_profile_write, refuses_a_name_that_is_too_long)
{
    std::string file = "\\" + std::string(600, 'a');
    EXPECT_EQ(write_key(file, "k", "v"), PLATFORM_BAD_PATHNAME);
    EXPECT_EQ(read_key(file, "k"), "");
}

TEST(posix_profile_write, refuses_an_empty_name)
{
    TempDir dir;
    ConfigDir config(dir.path("settings").string());
    EXPECT_EQ(write_key("", "k", "v"), PLATFORM_PATH_NOT_FOUND);
    EXPECT_EQ(read_key("", "k"), "");
    EXPECT_FALSE(dir.has("settings"));
}

} // namespace
} // namespace zuk

#endif
