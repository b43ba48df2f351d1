// Two and three workstations, each a process of its own, on one dictionary: this program, and others of
// tests/processes/workstation.cpp. No wait takes time in any of them.
#include "engine/cookies.h"
#include "engine/locks.h"
#include "files/file.h"
#include "tests/processes/workstation.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
extern char **environ;
#endif

namespace zuk {

// ---- The other process ----------------------------------------------------------------------------------------------

namespace {

// A program that is running, with its standard input and output.
class Process {
public:
    Process();
    ~Process();
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    void write(const std::string &text);
    std::string read();    // some bytes; "" at the end
    int wait();            // its exit status, when it has ended

#ifdef _WIN32
private:
    HANDLE process = nullptr, input = nullptr, output = nullptr;
#else
private:
    pid_t process = -1;
    int input = -1, output = -1;
#endif
};

#ifdef _WIN32

Process::Process()
{
    SECURITY_ATTRIBUTES inherited = { sizeof inherited, nullptr, TRUE };
    HANDLE its_input = nullptr, its_output = nullptr;
    bool piped = CreatePipe(&its_input, &input, &inherited, 0) && CreatePipe(&output, &its_output, &inherited, 0) &&
                 SetHandleInformation(input, HANDLE_FLAG_INHERIT, 0) &&
                 SetHandleInformation(output, HANDLE_FLAG_INHERIT, 0);
    EXPECT_TRUE(piped) << GetLastError();

    char path[MAX_PATH];   // beside this program
    EXPECT_GT(GetModuleFileNameA(nullptr, path, MAX_PATH), 0u);
    std::string folder(path);
    std::string command = '"' + folder.substr(0, folder.find_last_of('\\')) + "\\workstation.exe\"";

    STARTUPINFOA start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = its_input;
    start.hStdOutput = its_output;
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION made = {};
    EXPECT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &made))
        << command << ": " << GetLastError();
    process = made.hProcess;
    CloseHandle(made.hThread);
    CloseHandle(its_input);
    CloseHandle(its_output);
}

Process::~Process()
{
    CloseHandle(input);   // at the end of its input it ends
    (void)wait();
    CloseHandle(output);
    CloseHandle(process);
}

void Process::write(const std::string &text)
{
    DWORD done = 0;
    (void)WriteFile(input, text.data(), (DWORD)text.size(), &done, nullptr);
}

std::string Process::read()
{
    char bytes[4096];
    DWORD done = 0;
    if (!ReadFile(output, bytes, sizeof bytes, &done, nullptr)) return "";
    return std::string(bytes, done);
}

int Process::wait()
{
    DWORD status = 0;
    WaitForSingleObject(process, INFINITE);
    GetExitCodeProcess(process, &status);
    return (int)status;
}

#else

Process::Process()
{
    (void)signal(SIGPIPE, SIG_IGN);   // a process that has ended is told by its silence
    int to[2] = { -1, -1 }, from[2] = { -1, -1 };
    EXPECT_EQ(pipe2(to, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(from, O_CLOEXEC), 0);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, to[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, from[1], STDOUT_FILENO);
    std::string path = ZUK_PROCESSES_DIR "/workstation";
    char *arguments[] = { path.data(), nullptr };
    EXPECT_EQ(posix_spawn(&process, path.c_str(), &actions, nullptr, arguments, environ), 0) << path;
    posix_spawn_file_actions_destroy(&actions);

    ::close(to[0]);
    ::close(from[1]);
    input = to[1];
    output = from[0];
}

Process::~Process()
{
    ::close(input);   // at the end of its input it ends
    (void)wait();
    ::close(output);
}

void Process::write(const std::string &text)
{
    EXPECT_EQ(::write(input, text.data(), text.size()), (ssize_t)text.size());
}

std::string Process::read()
{
    pollfd ready = { output, POLLIN, 0 };
    if (poll(&ready, 1, 60000) <= 0) return "";   // a minute: it hangs
    char bytes[4096];
    ssize_t done = ::read(output, bytes, sizeof bytes);
    return done > 0 ? std::string(bytes, (size_t)done) : std::string();
}

int Process::wait()
{
    if (process <= 0) return -1;
    int status = 0;
    if (waitpid(process, &status, 0) != process) return -1;
    process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

#endif

// A workstation that does as it is told; tests/processes/workstation.cpp has the commands.
class Workstation {
public:
    // The answer; fails the test when there is none.
    std::string ask(const std::string &command)
    {
        process.write(command + "\n");
        size_t end;
        while ((end = unread.find('\n')) == std::string::npos) {
            std::string more = process.read();
            if (more.empty()) {
                ADD_FAILURE() << "no answer to \"" << command << '"';
                return "";
            }
            unread += more;
        }
        std::string answer = unread.substr(0, end);
        unread.erase(0, end + 1);
        if (!answer.empty() && answer.back() == '\r') answer.pop_back();
        return answer;
    }

    std::string open(const Name &path, u16 mode)
    {
        return ask("open \"" + path.str() + "\" " + std::to_string(mode));
    }

    // "free" or "held".
    std::string probe(const Name &path, u32 offset, u32 length)
    {
        return ask("probe \"" + path.str() + "\" " + std::to_string(offset) + ' ' + std::to_string(length));
    }

    void crash()
    {
        process.write("crash\n");
        EXPECT_EQ(process.wait(), WORKSTATION_CRASHED);
    }

    void quit()
    {
        EXPECT_EQ(ask("quit"), "bye");
        EXPECT_EQ(process.wait(), 0);
    }

private:
    Process process;
    std::string unread;
};

} // namespace

// ---- What they work on ----------------------------------------------------------------------------------------------

namespace {

// A library with two modules of kind 2, and resources 1 and 2 of type 1 in the second. It is made in mode 32768, and
// each block has room for a small resource more, so that nothing extends the file and gives up the lock; then it is
// opened in mode 0.
class Shared : public Library {
public:
    Shared()
    {
        add_module(2, 100, "first");
        add_module(2, 101, "second");
        EXPECT_EQ(add(2, 101, 1, 1, "one", "body-of-one"), (DictStatus)DICT_OK);
        EXPECT_EQ(add(2, 101, 1, 2, "two", "body-of-two"), (DictStatus)DICT_OK);
        reopen(DICT_SHARED);
        EXPECT_EQ(file()->lock_state, LOCK_NONE);
        clock_virtual_start(0);
        calls_reset();
    }
    u32 count() { return le_get(file()->header.change_count); }
    u32 count_in_file() const { return u16_at(bytes(), 6); }   // `change_count` stands at 6
};

} // namespace

static const char OK[] = "0";
static const char LOCKED_OUT[] = "21";

// ---- One sees what the other does -----------------------------------------------------------------------------------

TEST(workstations, see_what_another_has_added)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(here.body(2, 101, 1, 3), "<status 3>");             // the directory is in memory from here on
    EXPECT_EQ(there.ask("add 2 101 1 3 three body-of-three"), OK);
    EXPECT_EQ(here.count(), 0u);
    EXPECT_EQ(here.body(2, 101, 1, 3), "body-of-three");
    EXPECT_EQ(here.name(2, 101, 1, 3), "three");
    EXPECT_EQ(here.count(), 1u);
    EXPECT_EQ(here.count_in_file(), 1u);
    EXPECT_EQ(there.ask("state"), "0 1");
    there.quit();
}

TEST(workstations, see_what_another_has_changed_and_removed)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("read 2 101 1 1"), "0 body-of-one");
    EXPECT_EQ(here.change(2, 101, 1, 1, "eins", "a-longer-body-of-one"), (DictStatus)DICT_OK);
    EXPECT_EQ(there.ask("read 2 101 1 1"), "0 a-longer-body-of-one");
    EXPECT_EQ(there.ask("name 2 101 1 1"), "0 eins");
    EXPECT_EQ(there.ask("read 2 101 1 2"), "0 body-of-two");      // it has moved
    EXPECT_EQ(dd_remove_resource(2, 101, 1, 1), (DictStatus)DICT_OK);
    EXPECT_EQ(there.ask("read 2 101 1 1"), "3");
    EXPECT_EQ(there.ask("read 2 101 1 2"), "0 body-of-two");
    there.quit();
}

TEST(workstations, build_on_what_another_has_written)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    for (i16 id = 10; id < 20; id = (i16)(id + 2)) {
        std::string next = std::to_string(id + 1);
        EXPECT_EQ(here.add(2, 101, 1, id, "here" + std::to_string(id), "from-here"), (DictStatus)DICT_OK);
        EXPECT_EQ(there.ask("add 2 101 1 " + next + " there" + next + " from-there"), OK);
    }
    EXPECT_EQ(there.ask("add 2 101 1 10 again body"), "2");       // taken here
    EXPECT_EQ(here.add(2, 101, 1, 30, "there11", "body"), (DictStatus)DICT_EXISTS);
    for (u16 id = 10; id < 20; id++) {
        EXPECT_EQ(here.body(2, 101, 1, id), id % 2 ? "from-there" : "from-here") << id;
        EXPECT_EQ(there.ask("read 2 101 1 " + std::to_string(id)), id % 2 ? "0 from-there" : "0 from-here") << id;
    }
    there.quit();
    here.reopen(DICT_EXCLUSIVE);
    EXPECT_EQ(dd_numresources(2, 101, 1), 12);
}

TEST(workstations, count_a_lock_that_is_held_over_several_operations_once)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("lock write"), OK);
    EXPECT_EQ(there.ask("add 2 101 1 3 three body"), OK);
    EXPECT_EQ(there.ask("remove 2 101 1 3"), OK);
    EXPECT_EQ(here.count_in_file(), 0u);
    EXPECT_EQ(there.ask("unlock"), "1");
    EXPECT_EQ(here.count_in_file(), 1u);
    there.quit();
}

// The header of whoever closes last stands, without a lock and with all that was older in it.
TEST(workstations, that_close_put_their_older_header_back)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(here.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(here.count_in_file(), 1u);
    EXPECT_TRUE(write_lock(here.file()));          // it does not keep the other from closing
    EXPECT_EQ(there.ask("close"), OK);
    EXPECT_EQ(here.count_in_file(), 0u);
    EXPECT_NE(write_unlock(here.file()), 0u);
    EXPECT_EQ(here.count_in_file(), 2u);
    there.quit();
}

// ---- One keeps the other out ----------------------------------------------------------------------------------------

TEST(workstations, that_write_keep_readers_out)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("lock write"), OK);
    EXPECT_EQ(there.ask("state"), "-1 0");
    EXPECT_EQ(here.body(2, 101, 1, 1), "<status 21>");
    EXPECT_EQ(call_counts().slept_ms, 3000u);
    EXPECT_EQ(dd_numresources(2, 101, 1), 0);
    EXPECT_EQ(there.ask("read 2 101 1 1"), "0 body-of-one");
    EXPECT_EQ(there.ask("unlock"), "1");
    EXPECT_EQ(here.body(2, 101, 1, 1), "body-of-one");
    there.quit();
}

// The search for the identifier is refused, and its 0 reads as not found.
TEST(workstations, that_write_hide_what_is_looked_for_by_name)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("lock write"), OK);
    u32 status = 0;
    EXPECT_EQ(dd_getnamedreshndl(2, 101, 1, Name("one"), 0, &status), 0u);
    EXPECT_EQ(status, (u32)DICT_NOT_FOUND);
    there.quit();
}

TEST(workstations, that_write_keep_writers_out)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("lock write"), OK);
    EXPECT_EQ(here.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_LOCKED_OUT);
    EXPECT_EQ(call_counts().slept_ms, 60000u);
    EXPECT_EQ(here.change(2, 101, 1, 1, "eins", "body"), (DictStatus)DICT_LOCKED_OUT);
    EXPECT_EQ(dd_remove_resource(2, 101, 1, 1), (DictStatus)DICT_LOCKED_OUT);
    EXPECT_EQ(dd_remove_resource(2, 101, 1, 9), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(there.ask("unlock"), "1");
    EXPECT_EQ(here.body(2, 101, 1, 1), "body-of-one");
    EXPECT_EQ(here.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_OK);
    there.quit();
}

TEST(workstations, that_read_keep_writers_out)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_TRUE(read_lock(here.file()));
    EXPECT_EQ(there.ask("add 2 101 1 3 three body"), LOCKED_OUT);
    EXPECT_EQ(there.ask("lock write"), LOCKED_OUT);
    read_unlock(here.file());
    EXPECT_EQ(there.ask("add 2 101 1 3 three body"), OK);
    there.quit();
}

TEST(workstations, that_read_share_the_file)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("lock read"), OK);
    EXPECT_EQ(there.ask("state"), "1 0");
    calls_reset();
    EXPECT_EQ(here.body(2, 101, 1, 1), "body-of-one");
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }),
              (std::vector<std::string>{ "lock 999999998+1", "lock 1000000001+1 failed", "lock 1000000002+1",
                                         "unlock 999999998+1", "unlock 1000000002+1" }));
    EXPECT_EQ(there.ask("unlock"), "1");
    there.quit();
}

// A third one cannot even begin to read while the second waits for the first.
TEST(workstations, that_wait_to_write_let_no_new_reader_in)
{
    Shared here;
    Workstation reader, late;
    EXPECT_EQ(reader.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(late.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(reader.ask("lock read"), OK);
    u32 waits = 0;
    clock_on_sleep([&](u32) {
        if (++waits > 1) return;
        EXPECT_EQ(late.probe(here.path, GATE_BYTE, 1), "held");
        EXPECT_EQ(late.probe(here.path, READER_BASE + 2, 1), "free");
        EXPECT_EQ(late.ask("read 2 101 1 1"), LOCKED_OUT);
        EXPECT_EQ(reader.ask("unlock"), "1");
    });
    EXPECT_EQ(here.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(waits, 1u);
    EXPECT_EQ(late.ask("read 2 101 1 3"), "0 body");
    reader.quit();
    late.quit();
}

TEST(workstations, that_hold_the_gate_keep_everybody_out)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("hold 999999998 1"), "held");
    EXPECT_EQ(here.body(2, 101, 1, 1), "<status 21>");
    EXPECT_EQ(here.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_LOCKED_OUT);
    EXPECT_EQ(call_counts().lock, 2u * 5001);
    there.quit();
}

TEST(workstations, that_hold_the_spare_byte_hinder_nobody)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("hold 999999999 1"), "held");
    EXPECT_FALSE(spare_byte_lock(here.file()));
    EXPECT_EQ(here.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(here.body(2, 101, 1, 3), "body");
    EXPECT_EQ(call_counts().sleeps, 0u);
    there.quit();
}

// ---- Locks that go --------------------------------------------------------------------------------------------------

TEST(workstations, that_crash_leave_nothing_held)
{
    Shared here;
    for (const char *lock : { "lock write", "lock read", "hold 999999998 1" }) {
        Workstation there;
        EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
        (void)there.ask(lock);
        there.crash();
        calls_reset();
        EXPECT_EQ(here.change(2, 101, 1, 1, "one", "changed"), (DictStatus)DICT_OK) << lock;
        EXPECT_EQ(here.body(2, 101, 1, 1), "changed") << lock;
        EXPECT_EQ(call_counts().sleeps, 0u) << lock;
        EXPECT_EQ(call_lines({ FAULT_LOCK })[3], "lock 1000000001+1") << lock;   // the first reader byte is free again
    }
}

// What was written before the end is in the file, and nobody has been told: the counter rises with the unlock.
TEST(workstations, that_crash_under_a_lock_tell_nobody_of_their_change)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(here.body(2, 101, 1, 3), "<status 3>");
    EXPECT_EQ(there.ask("lock write"), OK);
    EXPECT_EQ(there.ask("add 2 101 1 3 three body"), OK);
    there.crash();
    EXPECT_EQ(here.count_in_file(), 0u);
    EXPECT_EQ(here.body(2, 101, 1, 3), "<status 3>");
    here.reopen(DICT_SHARED);
    EXPECT_EQ(here.body(2, 101, 1, 3), "body");
}

// An addition that extends the file closes and opens it, and the lock is gone in the midst of the work.
TEST(workstations, that_extend_the_file_lose_their_lock)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("lock write"), OK);
    EXPECT_EQ(there.ask("add 2 101 1 3 three small"), OK);
    EXPECT_EQ(here.body(2, 101, 1, 1), "<status 21>");            // it fits, and the lock stays
    EXPECT_EQ(there.ask("add 2 101 1 4 four x*9000"), OK);
    EXPECT_EQ(here.body(2, 101, 1, 1), "body-of-one");            // while the other believes to hold it
    EXPECT_EQ(there.ask("state"), "-1 0");
    EXPECT_EQ(there.ask("unlock"), "0");
    EXPECT_EQ(there.ask("state"), "-1 1");
    EXPECT_EQ(here.body(2, 101, 1, 4), std::string(9000, 'x'));

    // From then on it takes no lock and sees no change.
    EXPECT_EQ(here.change(2, 101, 1, 1, "one", "BODY-OF-ONE-AND-MORE"), (DictStatus)DICT_OK);
    EXPECT_EQ(there.ask("state"), "-1 1");
    EXPECT_TRUE(write_lock(here.file()));
    EXPECT_EQ(there.ask("name 2 101 1 2"), "0 two");
    EXPECT_EQ(there.ask("state"), "-1 1");
    EXPECT_NE(write_unlock(here.file()), 0u);

    // Through close and open too.
    EXPECT_EQ(there.ask("close"), OK);
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("state").substr(0, 3), "-1 ");
    there.quit();
}

// ---- Open modes -----------------------------------------------------------------------------------------------------

TEST(workstations, share_a_file_by_their_modes)
{
    Shared here;
    ASSERT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    for (u16 first : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        for (u16 second : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
            bool together = first == second && first != DICT_EXCLUSIVE;
            Workstation there;
            EXPECT_EQ(there.open(here.path, first), OK);
            DictStatus status = ds_openfile(1, here.path, second, 0, &here.cookie);
            EXPECT_EQ(status, (DictStatus)(together ? DICT_OK : DICT_ACCESS_DENIED)) << first << ' ' << second;
            EXPECT_EQ(here.body(2, 101, 1, 1), together ? "body-of-one" : "<status 7>");
            EXPECT_EQ(there.ask("read 2 101 1 1"), "0 body-of-one");
            (void)ds_closefile(1);
            there.quit();
        }
    }
}

TEST(workstations, that_crash_leave_no_mode_behind)
{
    Shared here;
    ASSERT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        Workstation there;
        EXPECT_EQ(there.open(here.path, mode), OK);
        there.crash();
        EXPECT_EQ(ds_openfile(1, here.path, DICT_EXCLUSIVE, 0, &here.cookie), (DictStatus)DICT_OK) << mode;
        EXPECT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    }
}

TEST(workstations, do_not_replace_or_delete_what_another_has_open)
{
    Shared here;
    ASSERT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    std::string before = here.bytes();
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        Workstation there;
        EXPECT_EQ(there.open(here.path, mode), OK);
        EXPECT_EQ(ds_createfile(1, here.path), (DictStatus)DICT_NO_FILE) << mode;
        EXPECT_FALSE(file_delete(here.path)) << mode;
        EXPECT_EQ(file_error, (u32)FILE_REFUSED) << mode;
        EXPECT_EQ(there.ask("read 2 101 1 1"), "0 body-of-one") << mode;
        there.quit();
    }
    EXPECT_EQ(here.bytes().size(), before.size());
    EXPECT_EQ(ds_openfile(1, here.path, DICT_SHARED, 0, &here.cookie), (DictStatus)DICT_OK);
    EXPECT_EQ(here.body(2, 101, 1, 1), "body-of-one");
}

// A dictionary that one workstation makes is one to the other.
TEST(workstations, open_what_another_has_made)
{
    Shared here;
    Workstation there;
    Name made = here.dir.name("b.dic");
    EXPECT_EQ(there.ask("create \"" + made.str() + "\""), OK);
    EXPECT_EQ(there.open(made, DICT_EXCLUSIVE), OK);
    EXPECT_EQ(there.ask("add 2 100 2 100 first"), OK);
    EXPECT_EQ(there.ask("add 2 101 2 101 second"), OK);
    EXPECT_EQ(there.ask("add 2 101 1 1 one x*70000"), OK);
    DictCookie cookie;
    EXPECT_EQ(ds_openfile(2, made, DICT_SHARED, 0, &cookie), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_EQ(there.ask("close"), OK);
    EXPECT_EQ(ds_openfile(2, made, DICT_SHARED, 0, &cookie), (DictStatus)DICT_OK);
    EXPECT_EQ(here.body(2, 101, 1, 1), std::string(70000, 'x'));
    there.quit();
}

} // namespace zuk
