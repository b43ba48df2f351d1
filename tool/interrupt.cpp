#include "tool/interrupt.h"

#include "tool/messages.h"

#include <csignal>

namespace zuk::tool {

static volatile std::sig_atomic_t is_interrupted = 0;

static void note_interrupt(int signal)
{
    is_interrupted = 1;
    (void)std::signal(signal, note_interrupt);    // some systems take a handler away when they have called it
}

static const int signals[] = {
    SIGINT, SIGTERM,
#ifdef SIGHUP
    SIGHUP,
#endif
#ifdef SIGBREAK
    SIGBREAK,
#endif
};

void defer_interrupts()
{
    for (int signal : signals) {
        auto before = std::signal(signal, note_interrupt);
        if (before == SIG_IGN) (void)std::signal(signal, SIG_IGN);    // as nohup wants it
    }
}

void stop_if_interrupted(const std::string &thing)
{
    if (!is_interrupted) return;
    is_interrupted = 0;    // it is told once
    fail(EXIT_TROUBLE, thing, "the work was interrupted, and nothing of it is done");
}

} // namespace zuk::tool
