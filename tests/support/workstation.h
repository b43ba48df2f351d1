// A second workstation, a process of its own, for tests. tests/processes/workstation.cpp has its commands.
//
// It is the program `workstation` beside the tests, or what the command in $ZUK_WORKSTATION starts: so the tests of a
// Linux program can have their counterpart under Wine.
#pragma once

#include "tests/support/temp_dir.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/types.h>
#endif

namespace zuk {

enum WorkstationHome { WORKSTATION_ELSEWHERE, WORKSTATION_HERE };  // as told above, or always beside the tests

class Workstation {
public:
    explicit Workstation(WorkstationHome home = WORKSTATION_ELSEWHERE) : process(home) {}

    // Each of these fails the test when the answer does not come.
    std::string ask(const std::string &command);
    std::string open(const Name &path, u16 mode);
    std::string probe(const Name &path, u32 offset, u32 length);  // "free" or "held"
    void crash();
    void quit();

    // `ask` in two halves, so that several can be at work at once.
    void tell(const std::string &command);
    std::string answer();

private:
    // The program that is running, with its standard input and output.
    class Process {
    public:
        explicit Process(WorkstationHome home);
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

    Process process;
    std::string unread;
};

} // namespace zuk
