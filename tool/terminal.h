// The two output streams: data on standard output, words and progress on standard error.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace zuk::tool {

// Standard streams carry bytes as they are, on every system; none of them is a file that is opened later, and one that
// nobody reads any more fails. Once, at the start.
void prepare_streams();

bool output_is_terminal();
bool errors_are_terminal();
// Standard output is a terminal, and the variable NO_COLOR is not set to anything.
bool colour_is_wanted();

// Data for standard output. A failed write ends the command, at the latest in `finish_output`.
void put(const void *bytes, size_t count);
void put(const std::string &text);
void finish_output();

// How far a long work is: one line on standard error that rewrites itself, and goes when the object goes. Nothing shows
// when standard error is no terminal, when `progress_is_off`, or before a second has passed.
class Progress {
public:
    Progress(const std::string &work, size_t total);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void step();          // one more of the total is done

private:
    using Clock = std::chrono::steady_clock;
    std::string work;
    size_t total, done = 0;
    bool visible, shown = false;
    Clock::time_point next;
};

void turn_progress_off(bool off);

} // namespace zuk::tool
