#include "tests/support/workstation.h"

#include "tests/processes/workstation.h"

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

#include <cstdlib>
#include <iterator>
#include <sstream>
#include <vector>

namespace zuk {

// ---- The process ----------------------------------------------------------------------------------------------------

#ifdef _WIN32

Workstation::Process::Process(WorkstationHome)
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

Workstation::Process::~Process()
{
    CloseHandle(input);   // at the end of its input it ends
    (void)wait();
    CloseHandle(output);
    CloseHandle(process);
}

void Workstation::Process::write(const std::string &text)
{
    DWORD done = 0;
    (void)WriteFile(input, text.data(), (DWORD)text.size(), &done, nullptr);
}

std::string Workstation::Process::read()
{
    char bytes[4096];
    DWORD done = 0;
    if (!ReadFile(output, bytes, sizeof bytes, &done, nullptr)) return "";
    return std::string(bytes, done);
}

int Workstation::Process::wait()
{
    DWORD status = 0;
    WaitForSingleObject(process, INFINITE);
    GetExitCodeProcess(process, &status);
    return (int)status;
}

#else

// The words of $ZUK_WORKSTATION; without it, the program beside this one.
static std::vector<std::string> workstation_command(WorkstationHome home)
{
    const char *other = getenv("ZUK_WORKSTATION");
    if (!other || home == WORKSTATION_HERE) return { ZUK_PROCESSES_DIR "/workstation" };
    std::istringstream words(other);
    return { std::istream_iterator<std::string>(words), {} };
}

Workstation::Process::Process(WorkstationHome home)
{
    (void)signal(SIGPIPE, SIG_IGN);   // a process that has ended is told by its silence
    int to[2] = { -1, -1 }, from[2] = { -1, -1 };
    EXPECT_EQ(pipe2(to, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(from, O_CLOEXEC), 0);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, to[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, from[1], STDOUT_FILENO);
    std::vector<std::string> command = workstation_command(home);
    std::vector<char *> arguments;
    for (std::string &word : command) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    EXPECT_EQ(posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ), 0) << command[0];
    posix_spawn_file_actions_destroy(&actions);

    ::close(to[0]);
    ::close(from[1]);
    input = to[1];
    output = from[0];
}

Workstation::Process::~Process()
{
    ::close(input);   // at the end of its input it ends
    (void)wait();
    ::close(output);
}

void Workstation::Process::write(const std::string &text)
{
    EXPECT_EQ(::write(input, text.data(), text.size()), (ssize_t)text.size());
}

std::string Workstation::Process::read()
{
    pollfd ready = { output, POLLIN, 0 };
    if (poll(&ready, 1, 60000) <= 0) return "";   // a minute: it hangs
    char bytes[4096];
    ssize_t done = ::read(output, bytes, sizeof bytes);
    return done > 0 ? std::string(bytes, (size_t)done) : std::string();
}

int Workstation::Process::wait()
{
    if (process <= 0) return -1;
    int status = 0;
    if (waitpid(process, &status, 0) != process) return -1;
    process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

#endif

// ---- What it is told ------------------------------------------------------------------------------------------------

void Workstation::tell(const std::string &command) { process.write(command + "\n"); }

std::string Workstation::answer()
{
    size_t end;
    while ((end = unread.find('\n')) == std::string::npos) {
        std::string more = process.read();
        if (more.empty()) {
            ADD_FAILURE() << "no answer from a workstation";
            return "";
        }
        unread += more;
    }
    std::string line = unread.substr(0, end);
    unread.erase(0, end + 1);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

std::string Workstation::ask(const std::string &command)
{
    SCOPED_TRACE(command);
    tell(command);
    return answer();
}

std::string Workstation::open(const Name &path, u16 mode)
{
    return ask("open \"" + path.str() + "\" " + std::to_string(mode));
}

std::string Workstation::probe(const Name &path, u32 offset, u32 length)
{
    return ask("probe \"" + path.str() + "\" " + std::to_string(offset) + ' ' + std::to_string(length));
}

void Workstation::crash()
{
    tell("crash");
    EXPECT_EQ(process.wait(), WORKSTATION_CRASHED);
}

void Workstation::quit()
{
    EXPECT_EQ(ask("quit"), "bye");
    EXPECT_EQ(process.wait(), 0);
}

} // namespace zuk
