// What is the POSIX backend's own: real errors of the system, and a second process on the same file.

#include "platform/platform.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#ifdef _WIN32

namespace zuk {

TEST(posix_files, are_not_on_this_system)
{
    GTEST_SKIP() << "fork, resource limits and system call filters are not on Windows";
}

} // namespace zuk

#else

#include "platform/file_rows.h"

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

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace zuk {

// ---- A second process -----------------------------------------------------------------------------------------------

// Runs `work` in a process of its own, which then keeps what it has open until this object goes.
class OtherProcess {
public:
    explicit OtherProcess(const std::function<u32()> &work)
    {
        int answer[2];
        int leash[2];
        EXPECT_EQ(pipe(answer), 0);
        EXPECT_EQ(pipe(leash), 0);
        child = fork();
        if (child == 0) {
            close(leash[1]);
            u32 sent = work();
            ssize_t written = write(answer[1], &sent, sizeof sent);
            char byte;
            ssize_t got = read(leash[0], &byte, 1);  // until the parent closes its end
            _exit(written == (ssize_t)sizeof sent && got == 0 ? 0 : 1);
        }
        close(answer[1]);
        close(leash[0]);
        leash_end = leash[1];
        EXPECT_EQ(read(answer[0], &result, sizeof result), (ssize_t)sizeof result);
        close(answer[0]);
    }

    ~OtherProcess()
    {
        close(leash_end);
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }

    u32 result = 0xFFFFFFFF;  // what `work` gave

private:
    pid_t child;
    int leash_end;
};

// The result of `work` in a process of its own, for what would stay changed in this one.
static u32 elsewhere(const std::function<u32()> &work)
{
    OtherProcess process(work);
    return process.result;
}

static u32 open_error(const TempDir &dir, const std::string &name, u16 mode = PLATFORM_RW_SHARED)
{
    FileHandle file = 0;
    u32 error = native_files.open(dir.native(name).c_str(), mode, &file);
    if (error == PLATFORM_OK) native_files.close(file);
    return error;
}

TEST(posix_open, lets_only_two_of_the_nine_pairs_of_modes_together_between_processes)
{
    TempDir dir;
    dir.put("a", "");
    const u16 modes[] = { PLATFORM_RW_SHARED, PLATFORM_READ_ONLY, PLATFORM_RW_EXCLUSIVE };
    for (u16 first : modes) {
        for (u16 second : modes) {
            {
                OtherProcess other([&] {
                    FileHandle file = 0;
                    return native_files.open(dir.native("a").c_str(), first, &file);
                });
                ASSERT_EQ(other.result, PLATFORM_OK);
                bool together = first == second && first != PLATFORM_RW_EXCLUSIVE;
                EXPECT_EQ(open_error(dir, "a", second), together ? PLATFORM_OK : PLATFORM_SHARING_VIOLATION)
                    << first << " then " << second;
            }
            EXPECT_EQ(open_error(dir, "a", second), PLATFORM_OK) << "after the end of the process with " << first;
        }
    }
}

TEST(posix_remove, refuses_what_another_process_has_open)
{
    TempDir dir;
    dir.put("a", "");
    {
        OtherProcess other([&] {
            FileHandle file = 0;
            return native_files.open(dir.native("a").c_str(), PLATFORM_READ_ONLY, &file);
        });
        ASSERT_EQ(other.result, PLATFORM_OK);
        EXPECT_EQ(native_files.remove(dir.native("a").c_str()), PLATFORM_SHARING_VIOLATION);
        EXPECT_EQ(native_files.rename(dir.native("a").c_str(), dir.native("b").c_str()), PLATFORM_SHARING_VIOLATION);
    }
    EXPECT_EQ(native_files.remove(dir.native("a").c_str()), PLATFORM_OK);
}

TEST(posix_lock, excludes_another_process_until_it_ends)
{
    TempDir dir;
    dir.put("a", "");
    FileHandle mine = 0;
    {
        OtherProcess other([&] {
            FileHandle file = 0;
            u32 error = native_files.open(dir.native("a").c_str(), PLATFORM_RW_SHARED, &file);
            return error ? error : native_files.lock(file, 1000000001, 1000);
        });
        ASSERT_EQ(other.result, PLATFORM_OK);
        ASSERT_EQ(native_files.open(dir.native("a").c_str(), PLATFORM_RW_SHARED, &mine), PLATFORM_OK);
        EXPECT_EQ(native_files.lock(mine, 1000000500, 1), PLATFORM_LOCK_VIOLATION);
        EXPECT_EQ(native_files.lock(mine, 999999998, 1), PLATFORM_OK);
    }
    EXPECT_EQ(native_files.lock(mine, 1000000500, 1), PLATFORM_OK);
    native_files.close(mine);
}

// A program that asks for locks by process, as Wine does, meets ours at the same bytes.
TEST(posix_lock, is_seen_by_other_kinds_of_locks_at_its_own_position)
{
    TempDir dir;
    dir.put("a", "");
    FileHandle file = 0;
    ASSERT_EQ(native_files.open(dir.native("a").c_str(), PLATFORM_RW_SHARED, &file), PLATFORM_OK);
    ASSERT_EQ(native_files.lock(file, 1000000001, 1000), PLATFORM_OK);

    int fd = open(dir.path("a").c_str(), O_RDWR);
    struct flock range = {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    range.l_len = (off_t)1 << 61;  // below the bytes that tell of the sharing
    ASSERT_EQ(fcntl(fd, F_GETLK, &range), 0);
    EXPECT_EQ(range.l_type, F_WRLCK);
    EXPECT_EQ(range.l_start, 1000000001);
    EXPECT_EQ(range.l_len, 1000);
    close(fd);
    native_files.close(file);
}

TEST(posix_lock, through_a_handle_for_reading_goes_with_other_readers)
{
    TempDir dir;
    dir.put("a", "");
    FileHandle first = 0;
    FileHandle second = 0;
    ASSERT_EQ(native_files.open(dir.native("a").c_str(), PLATFORM_READ_ONLY, &first), PLATFORM_OK);
    ASSERT_EQ(native_files.open(dir.native("a").c_str(), PLATFORM_READ_ONLY, &second), PLATFORM_OK);
    EXPECT_EQ(native_files.lock(first, 10, 1), PLATFORM_OK);
    EXPECT_EQ(native_files.lock(second, 10, 1), PLATFORM_OK);
    EXPECT_EQ(native_files.lock(second, 10, 1), PLATFORM_LOCK_VIOLATION);  // the handle's own
    native_files.close(first);
    native_files.close(second);
}

// ---- Errors of the system -------------------------------------------------------------------------------------------

TEST(posix_open, does_not_wait_for_the_other_end_of_a_pipe)
{
    TempDir dir;
    ASSERT_EQ(mkfifo(dir.path("p").c_str(), 0600), 0);
    FileHandle file = 0;
    ASSERT_EQ(native_files.open(dir.native("p").c_str(), PLATFORM_READ_ONLY, &file), PLATFORM_OK);
    char byte;
    u32 done = 0;
    EXPECT_EQ(native_files.read(file, &byte, 1, &done), PLATFORM_GENERAL_FAILURE);  // a pipe has no positions
    native_files.close(file);
}

TEST(posix_open, hands_no_descriptor_to_programs_that_this_one_starts)
{
    TempDir dir;
    dir.put("a", "");
    FileHandle file = 0;
    ASSERT_EQ(native_files.open(dir.native("a").c_str(), PLATFORM_RW_SHARED, &file), PLATFORM_OK);
    EXPECT_EQ(fcntl((int)file_row(file)->os_file, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    native_files.close(file);
}

TEST(posix_open, calls_a_name_through_a_file_a_bad_path)
{
    TempDir dir;
    dir.put("a", "");
    EXPECT_EQ(open_error(dir, "a/b"), PLATFORM_PATH_NOT_FOUND);
    EXPECT_EQ(native_files.create(dir.native("a/b").c_str()), PLATFORM_PATH_NOT_FOUND);
    EXPECT_EQ(native_files.remove(dir.native("a/b").c_str()), PLATFORM_PATH_NOT_FOUND);
}

TEST(posix_open, calls_a_name_too_long_for_the_system_a_bad_path)
{
    TempDir dir;
    EXPECT_EQ(open_error(dir, std::string(256, 'x')), PLATFORM_BAD_PATHNAME);  // of one part; a part has 255
    std::string parts;
    while (parts.size() < 600) parts += "x/";
    EXPECT_EQ(open_error(dir, parts), PLATFORM_BAD_PATHNAME);  // more than the backend has room for
}

TEST(posix_open, calls_links_in_a_circle_a_bad_path)
{
    TempDir dir;
    ASSERT_EQ(symlink("b", dir.path("a").c_str()), 0);
    ASSERT_EQ(symlink("a", dir.path("b").c_str()), 0);
    EXPECT_EQ(open_error(dir, "a"), PLATFORM_BAD_PATHNAME);
}

TEST(posix_open, finds_a_bare_name_in_the_current_directory)
{
    TempDir dir;
    dir.put("a", "");
    EXPECT_EQ(elsewhere([&] {
        if (chdir(dir.path().c_str()) != 0) return 1000u;
        FileHandle file = 0;
        u32 error = native_files.open("a", PLATFORM_RW_SHARED, &file);
        return error ? error : native_files.open("b", PLATFORM_RW_SHARED, &file);
    }), PLATFORM_FILE_NOT_FOUND);
}

TEST(posix_open, takes_the_root_for_a_directory_that_is_there)
{
    FileHandle file = 0;
    EXPECT_EQ(native_files.open("\\zk-no-such-file", PLATFORM_RW_SHARED, &file), PLATFORM_FILE_NOT_FOUND);
}

TEST(posix_open, keeps_a_colon_as_any_other_character)
{
    TempDir dir;
    FileHandle file = 0;
    EXPECT_EQ(native_files.open("Z:\\zk\\a", PLATFORM_RW_SHARED, &file), PLATFORM_PATH_NOT_FOUND);
    dir.put("a:b", "");
    EXPECT_EQ(open_error(dir, "a:b"), PLATFORM_OK);
}

TEST(posix_open, tells_when_the_process_has_too_many_files)
{
    TempDir dir;
    dir.put("a", "");
    EXPECT_EQ(elsewhere([&] {
        rlimit few = { 20, 20 };
        if (setrlimit(RLIMIT_NOFILE, &few) != 0) return 1000u;
        FileHandle file = 0;
        u32 error = PLATFORM_OK;
        for (int i = 0; i < 30 && error == PLATFORM_OK; i++) {
            error = native_files.open(dir.native("a").c_str(), PLATFORM_RW_SHARED, &file);
        }
        return error;
    }), PLATFORM_TOO_MANY_OPEN_FILES);
}

// The work of a user who owns nothing: root would be refused nowhere.
static u32 as_nobody(const std::function<u32()> &work)
{
    return elsewhere([&] {
        if (geteuid() == 0 && seteuid(65534) != 0) return 1000u;
        return work();
    });
}

TEST(posix_open, is_refused_without_the_right)
{
    TempDir dir;
    dir.put("a", "");
    chmod(dir.path().c_str(), 0755);
    chmod(dir.path("a").c_str(), 0444);
    EXPECT_EQ(as_nobody([&] { return open_error(dir, "a", PLATFORM_RW_SHARED); }), PLATFORM_ACCESS_DENIED);
    EXPECT_EQ(as_nobody([&] { return open_error(dir, "a", PLATFORM_READ_ONLY); }), PLATFORM_OK);
}

TEST(posix_create, is_refused_without_the_right)
{
    TempDir dir;
    chmod(dir.path().c_str(), 0555);
    EXPECT_EQ(as_nobody([&] { return native_files.create(dir.native("a").c_str()); }), PLATFORM_ACCESS_DENIED);
    chmod(dir.path().c_str(), 0755);
}

TEST(posix_remove, of_a_file_that_can_only_be_written_looks_through_a_handle_for_writing)
{
    TempDir dir;
    dir.put("a", "");
    chmod(dir.path().c_str(), 0777);
    FileHandle file = 0;
    ASSERT_EQ(native_files.open(dir.native("a").c_str(), PLATFORM_RW_SHARED, &file), PLATFORM_OK);
    chmod(dir.path("a").c_str(), 0222);
    auto remove = [&] { return as_nobody([&] { return native_files.remove(dir.native("a").c_str()); }); };
    EXPECT_EQ(remove(), PLATFORM_SHARING_VIOLATION);
    native_files.close(file);
    EXPECT_EQ(remove(), PLATFORM_OK);
}

TEST(posix_remove, of_a_file_that_cannot_be_looked_at_is_refused)
{
    TempDir dir;
    dir.put("a", "");
    chmod(dir.path().c_str(), 0777);
    chmod(dir.path("a").c_str(), 0);
    EXPECT_EQ(as_nobody([&] { return native_files.remove(dir.native("a").c_str()); }), PLATFORM_ACCESS_DENIED);
    EXPECT_TRUE(dir.has("a"));
}

TEST(posix_write, to_a_full_disk_says_so)
{
    if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "there is no /dev/full here";
    FileHandle file = 0;
    ASSERT_EQ(native_files.open("\\dev\\full", PLATFORM_RW_SHARED, &file), PLATFORM_OK);
    u32 done = 7;
    EXPECT_EQ(native_files.write(file, "abc", 3, &done), PLATFORM_DISK_FULL);
    EXPECT_EQ(done, 0u);
    native_files.close(file);
}

// The limit cuts the first call at 100 bytes; the one for the rest fails.
TEST(posix_write, that_fails_behind_its_first_bytes_counts_none)
{
    TempDir dir;
    dir.put("a", "");
    EXPECT_EQ(elsewhere([&] {
        signal(SIGXFSZ, SIG_IGN);
        rlimit small = { 100, 100 };
        if (setrlimit(RLIMIT_FSIZE, &small) != 0) return 1000u;
        FileHandle file = 0;
        if (native_files.open(dir.native("a").c_str(), PLATFORM_RW_SHARED, &file)) return 1001u;
        std::string bytes(150, 'x');
        u32 done = 7;
        u32 error = native_files.write(file, bytes.data(), 150, &done);
        i32 position = 7;
        native_files.tell(file, &position);
        return done == 0 && position == 0 ? error : 1002u;
    }), PLATFORM_DISK_FULL);
    EXPECT_EQ(dir.content("a").size(), 100u);  // what the system had taken stays
}

TEST(posix_set_end, beyond_the_limit_of_a_file_is_a_full_disk)
{
    TempDir dir;
    dir.put("a", "");
    EXPECT_EQ(elsewhere([&] {
        signal(SIGXFSZ, SIG_IGN);
        rlimit small = { 100, 100 };
        if (setrlimit(RLIMIT_FSIZE, &small) != 0) return 1000u;
        FileHandle file = 0;
        if (native_files.open(dir.native("a").c_str(), PLATFORM_RW_SHARED, &file)) return 1001u;
        native_files.seek(file, 200);
        return native_files.set_end(file);
    }), PLATFORM_DISK_FULL);
}

// ---- A system without some calls ------------------------------------------------------------------------------------

struct RefusedCall {
    long number;
    u32 error;
};

// Make calls of this process fail with an error of our choice. False where the host does not allow it.
static bool refuse_calls(const std::vector<RefusedCall> &calls)
{
    std::vector<sock_filter> program = { BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)) };
    for (const RefusedCall &call : calls) {
        program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, (u32)call.number, 0, 1));
        program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | call.error));
    }
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    sock_fprog filter = { (unsigned short)program.size(), program.data() };
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

constexpr u32 NO_FILTER = 1000;

#define SKIP_WITHOUT_FILTER(result) \
    if ((result) == NO_FILTER) GTEST_SKIP() << "this host allows no filter of system calls"

#ifdef SYS_link
const std::vector<RefusedCall> no_links = { { SYS_renameat2, ENOSYS }, { SYS_link, EPERM }, { SYS_linkat, EPERM } };
#else
const std::vector<RefusedCall> no_links = { { SYS_renameat2, ENOSYS }, { SYS_linkat, EPERM } };
#endif

static u32 rename_without(const std::vector<RefusedCall> &calls, const TempDir &dir, const char *from, const char *to)
{
    return elsewhere([&] {
        if (!refuse_calls(calls)) return NO_FILTER;
        return native_files.rename(dir.native(from).c_str(), dir.native(to).c_str());
    });
}

TEST(posix_rename, goes_by_a_second_name_where_the_file_system_does_not_know_the_call)
{
    TempDir dir;
    dir.put("a", "one");
    dir.put("b", "two");
    const std::vector<RefusedCall> no_call = { { SYS_renameat2, EINVAL } };
    u32 result = rename_without(no_call, dir, "a", "c");
    SKIP_WITHOUT_FILTER(result);
    EXPECT_EQ(result, PLATFORM_OK);
    EXPECT_FALSE(dir.has("a"));
    EXPECT_EQ(dir.content("c"), "one");

    EXPECT_EQ(rename_without(no_call, dir, "c", "b"), PLATFORM_ALREADY_EXISTS);
    EXPECT_EQ(dir.content("b"), "two");
    EXPECT_EQ(rename_without(no_call, dir, "b", "b"), PLATFORM_OK);
    EXPECT_EQ(dir.content("b"), "two");
    EXPECT_EQ(rename_without(no_call, dir, "b", "d/b"), PLATFORM_PATH_NOT_FOUND);
}

TEST(posix_rename, without_links_looks_first)
{
    TempDir dir;
    dir.put("a", "one");
    dir.put("b", "two");
    u32 result = rename_without(no_links, dir, "a", "b");
    SKIP_WITHOUT_FILTER(result);
    EXPECT_EQ(result, PLATFORM_ALREADY_EXISTS);
    EXPECT_EQ(dir.content("b"), "two");
    EXPECT_EQ(rename_without(no_links, dir, "b", "b"), PLATFORM_OK);
    EXPECT_EQ(dir.content("b"), "two");
    EXPECT_EQ(rename_without(no_links, dir, "a", "c"), PLATFORM_OK);
    EXPECT_EQ(dir.content("c"), "one");
}

TEST(posix_rename, of_a_directory_without_the_call_looks_first)
{
    TempDir dir;
    std::filesystem::create_directory(dir.path("d"));
    std::filesystem::create_directory(dir.path("e"));
    const std::vector<RefusedCall> no_call = { { SYS_renameat2, ENOSYS } };
    u32 result = rename_without(no_call, dir, "d", "e");
    SKIP_WITHOUT_FILTER(result);
    EXPECT_EQ(result, PLATFORM_ALREADY_EXISTS);  // an empty directory would be replaced otherwise
    EXPECT_TRUE(dir.has("d"));
    EXPECT_EQ(rename_without(no_call, dir, "d", "f"), PLATFORM_OK);
    EXPECT_TRUE(dir.has("f"));
}

TEST(posix_rename, whose_old_name_cannot_go_leaves_no_second_one)
{
    TempDir dir;
    std::filesystem::create_directory(dir.path("d"));
    dir.put("a", "text");
    // The old name can be linked from where it stands, but not taken out of a directory that nobody may write.
    chmod(dir.path("a").c_str(), 0666);
    chmod(dir.path("d").c_str(), 0777);
    chmod(dir.path().c_str(), 0555);
    u32 result = as_nobody([&] {
        if (!refuse_calls({ { SYS_renameat2, ENOSYS } })) return NO_FILTER;
        return native_files.rename(dir.native("a").c_str(), dir.native("d/a").c_str());
    });
    chmod(dir.path().c_str(), 0755);
    SKIP_WITHOUT_FILTER(result);
    EXPECT_EQ(result, PLATFORM_ACCESS_DENIED);
    EXPECT_TRUE(dir.has("a"));
    EXPECT_FALSE(dir.has("d/a"));
}

// ---- One call of the system for a read ------------------------------------------------------------------------------

TEST(posix_read, moves_no_position_of_the_system)
{
    TempDir dir;
    dir.put("a", "abcdef");
    std::vector<RefusedCall> calls = { { SYS_lseek, EPERM } };
#ifdef SYS__llseek
    calls.push_back({ SYS__llseek, EPERM });
#endif
    u32 result = elsewhere([&] {
        if (!refuse_calls(calls)) return NO_FILTER;
        FileHandle file = 0;
        if (native_files.open(dir.native("a").c_str(), PLATFORM_RW_SHARED, &file)) return 1001u;
        char bytes[3];
        u32 done = 0;
        native_files.seek(file, 2);
        u32 error = native_files.read(file, bytes, 3, &done);
        return error == PLATFORM_OK && done == 3 && bytes[0] == 'c' ? PLATFORM_OK : 1002u;
    });
    SKIP_WITHOUT_FILTER(result);
    EXPECT_EQ(result, PLATFORM_OK);
}

} // namespace zuk

#endif
