// What can come of an operation on a dictionary file when the platform fails it, whichever call it is.
//
// An operation runs on a copy of a sound file, once for each call of the platform that it makes: with that call
// failing, and with that call and all behind it failing. After each run the file is looked at by another process, in
// memory, and after a close. The set of all that was seen is compared with what is meant to come of it, so that a state
// that never arises is noticed as much as one that must not.
#pragma once

#include "foundation/handles.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <functional>
#include <gtest/gtest.h>
#include <ostream>
#include <set>
#include <string>

namespace zuk {

struct Outcome {
    bool ok;               // the operation gave status 0
    std::string other;     // for another process, if this one ended now
    std::string memory;    // for this one; "lost" without the file, or without the page cache
    std::string closed;    // after a close
    auto operator<=>(const Outcome &) const = default;
};

inline void PrintTo(const Outcome &o, std::ostream *out)
{
    *out << "\n  { " << (o.ok ? "true" : "false") << ", \"" << o.other << "\", \"" << o.memory << "\", \"" << o.closed
         << "\" }";
}

using Operation = std::function<DictStatus(DictFile *)>;
using Summary = std::function<std::string(DictFile *)>;   // what there is to tell of a file, read from it

// One run with a fault. False when no call was left to fail.
inline bool run_with_fault(const std::string &sound, const Operation &operation, const Summary &summary,
                           const Fault &fault, std::set<Outcome> *outcomes)
{
    u32 alive = handles_alive();
    bool met;
    {
        AfterACrash opened(sound);
        EXPECT_EQ(opened.status, (DictStatus)DICT_OK);
        Outcome outcome = {};
        faults_start(fault);
        outcome.ok = operation(opened) == DICT_OK;
        met = faults_stop();
        {
            AfterACrash other(opened.dir.content("crash.dic"));
            EXPECT_EQ(other.status, (DictStatus)DICT_OK);
            outcome.other = summary(other);
        }
        outcome.memory = summary(opened);
        bool lost = !outcome.ok && (fault.call == FAULT_RESIZE || fault.call == FAULT_OPEN);
        if (lost) outcome.memory = "lost";
        (void)dict_file_close(opened);
        EXPECT_EQ(dict_file_open(opened, opened.path, DICT_EXCLUSIVE, 0), (DictStatus)DICT_OK);
        outcome.closed = summary(opened);
        outcomes->insert(outcome);
    }
    // What cannot be made larger is lost by design. All else has an owner who frees it.
    if (fault.call != FAULT_RESIZE) {
        EXPECT_EQ(handles_alive(), alive) << "call " << fault.call << ", the " << fault.nth << ".";
    }
    return met;
}

inline std::set<Outcome> outcomes_of(const std::string &sound, const Operation &operation, const Summary &summary)
{
    std::set<Outcome> outcomes;
    for (FaultCall call : { FAULT_ALLOC, FAULT_RESIZE, FAULT_OPEN, FAULT_CLOSE, FAULT_READ, FAULT_WRITE, FAULT_SEEK,
                            FAULT_TELL, FAULT_SIZE, FAULT_SET_END }) {
        for (bool from_then_on : { false, true }) {
            bool met = true;
            for (u32 nth = 1; met && nth < 1000; nth++) {
                Fault fault = { .call = call, .nth = nth, .from_then_on = from_then_on };
                met = run_with_fault(sound, operation, summary, fault, &outcomes);
            }
            EXPECT_FALSE(met);
        }
    }
    (void)memory_sweep();
    return outcomes;
}

} // namespace zuk
