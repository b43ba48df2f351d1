#include "tool/terminal.h"

#include "tool/messages.h"

#include <cstdio>
#include <cstdlib>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#endif

namespace zuk::tool {

// ---- What the streams are -------------------------------------------------------------------------------------------

#ifdef _WIN32
static bool is_terminal(FILE *stream) { return _isatty(_fileno(stream)) != 0; }

void prepare_streams()
{
    for (FILE *stream : { stdin, stdout, stderr }) _setmode(_fileno(stream), _O_BINARY);
}
#else
static bool is_terminal(FILE *stream) { return isatty(fileno(stream)) != 0; }

// A dictionary that was opened in the place of a closed stream would take what is said there. The place is held by
// something of which the stream's use fails.
static void hold_closed_streams()
{
    for (int stream : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO }) {
        if (fcntl(stream, F_GETFD) != -1) continue;
        int holder = open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);    // the lowest that is free
        if (holder != stream) _exit(EXIT_TROUBLE);                                       // and nobody could be told
    }
}

void prepare_streams()
{
    hold_closed_streams();
    (void)std::signal(SIGPIPE, SIG_IGN);    // a reader that goes fails the write, and ends no change half-way
}
#endif

bool output_is_terminal() { return is_terminal(stdout); }
bool errors_are_terminal() { return is_terminal(stderr); }

bool colour_is_wanted()
{
    const char *refusal = getenv("NO_COLOR");
    return output_is_terminal() && (!refusal || !refusal[0]);
}

// ---- Data -----------------------------------------------------------------------------------------------------------

[[noreturn]] static void fail_output() { fail(EXIT_TROUBLE, "standard output", "it cannot be written"); }

void put(const void *bytes, size_t count)
{
    if (fwrite(bytes, 1, count, stdout) != count) fail_output();
}

void put(const std::string &text) { put(text.data(), text.size()); }

void finish_output()
{
    if (fflush(stdout) != 0 || ferror(stdout)) fail_output();
}

// ---- Progress -------------------------------------------------------------------------------------------------------

static bool progress_is_off = false;

void turn_progress_off(bool off) { progress_is_off = off; }

Progress::Progress(const std::string &name, size_t count)
    : work(name), total(count), visible(!progress_is_off && errors_are_terminal()),
      next(Clock::now() + std::chrono::seconds(1))
{
}

Progress::~Progress()
{
    if (shown) fputs("\r\033[K", stderr);
}

void Progress::step()
{
    done++;
    if (!visible || Clock::now() < next) return;
    fprintf(stderr, "\r%s: %zu of %zu\033[K", work.c_str(), done, total);
    fflush(stderr);
    shown = true;
    next = Clock::now() + std::chrono::milliseconds(100);
}

} // namespace zuk::tool
