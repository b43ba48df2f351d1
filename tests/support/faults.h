// The tables of tests in front of the native ones: they count and log every call, fail the n-th, cut a read or write
// short, run code of the test in the gap before a call, and move the clock by themselves.
//
// The tables stand in front from the start of the test program on and hand every call through while nothing is asked
// of them. Each test begins with everything reset: no fault, no hook, counts of 0, an empty log, the real clock. A call
// made from within a hook goes straight through: it is neither counted nor made to fail.
#pragma once

#include "platform/platform.h"

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace zuk {

// ---- Faults ---------------------------------------------------------------------------------------------------------

enum FaultCall {
    FAULT_NONE,
    FAULT_ALLOC,
    FAULT_RESIZE,
    FAULT_FREE,        // for a hook: it cannot fail
    FAULT_OPEN,
    FAULT_CLOSE,       // the file is closed all the same
    FAULT_READ,
    FAULT_WRITE,
    FAULT_SEEK,
    FAULT_TELL,
    FAULT_SIZE,
    FAULT_SET_END,
    FAULT_CREATE,
    FAULT_REMOVE,
    FAULT_RENAME,
    FAULT_LOCK,
    FAULT_UNLOCK,      // the range stays held
    FAULT_SLEEP,       // for a hook and in the log: it cannot fail
    FAULT_MAKE_DIRECTORY,
    FAULT_CHANGE_DIRECTORY,
    FAULT_TEMPORARY,
    FAULT_MAKE_TEMPORARY,
    FAULT_FIND_FIRST,  // a failed one gives `PLATFORM_FAILED_SEARCH`
    FAULT_FIND_NEXT,
    FAULT_FIND_CLOSE,  // for a hook and in the log: it cannot fail
    FAULT_LOAD,        // there is no such library
    FAULT_ENTRY,       // it has no such entry
    FAULT_UNLOAD,      // for a hook and in the log: it cannot fail
    FAULT_DEBUG_BREAK, // the same; it never gets to the native table
    FAULT_PROFILE_READ,    // gives no text
    FAULT_PROFILE_NUMBER,  // gives 0
    FAULT_PROFILE_WRITE,
    FAULT_PROFILE_FLUSH,   // for a hook and in the log: it cannot fail
    FAULT_WINDOWS_DIRECTORY,
    FAULT_MODULE_PATH,
    FAULT_FULL_PATH,
    FAULT_ANY_MEMORY,  // alloc, resize
    FAULT_ANY_FILE,    // every call from open to unlock
    FAULT_ANY,         // every call that can fail
};

// Which call goes wrong, and how. A call that fails does nothing, closing aside.
struct Fault {
    FaultCall call = FAULT_NONE;
    u32 nth = 1;                           // counted from `faults_start` on, from 1
    bool from_then_on = false;             // and every such call behind it
    u32 error = PLATFORM_GENERAL_FAILURE;  // an allocation gives null instead
    i32 cut = -1;                          // 0 or more: a read or write moves at most so many bytes, and succeeds
};

void faults_start(const Fault &fault);
// Back to calls that go through. True if the fault was met: the loop over `nth` ends with the first false.
bool faults_stop();

// Run `hook` once, before the n-th such call from now on; the call is made afterwards. One hook at a time.
void faults_hook(FaultCall call, u32 nth, std::function<void()> hook);

// ---- Counts and the log ---------------------------------------------------------------------------------------------

struct CallCounts {
    u32 alloc, resize, free;
    u32 open, close, read, write, seek, tell, size, set_end, create, remove, rename, lock, unlock;
    u32 sleeps;
    u64 slept_ms;
    u32 make_directory, change_directory, temporary, make_temporary, find_first, find_next, find_close;
    u32 load, entry, unload;
    u32 debug_break;
    u32 profile_read, profile_number, profile_write, profile_flush;
    u32 windows_directory, module_path, full_path;
};

// One call of files, directories, libraries, profiles or paths, a sleep, or a break. Calls of memory are counted but
// not logged.
struct CallRecord {
    FaultCall call;
    FileHandle file;   // 0 for calls by name; what `open` gave
    i64 position;      // of read, write and set_end: where the file stood; of seek, lock and unlock: the argument
    u32 length;        // asked for; of a sleep the milliseconds
    u32 done;          // bytes moved
    bool ok;
    std::string name;  // native, of calls by name; of rename "from > to"
};

void calls_reset();
CallCounts call_counts();
const std::vector<CallRecord> &call_log();

// The log in words, to be compared as a whole: "write 26+14", "lock 999999998+1", "lock 5+1 failed", "seek 26",
// "sleep 100", "open C:\A". With `only`, no other calls.
std::vector<std::string> call_lines(std::initializer_list<FaultCall> only = {});

// ---- Files held by the library --------------------------------------------------------------------------------------

// The bytes of a file that is open at the moment, through the handle that holds it: a system can keep everybody else
// from a file that is held alone. `name` is the native one that it was opened by; false when none of that name is open.
bool open_file_content(const std::string &name, std::string *content);

// ---- Clock ----------------------------------------------------------------------------------------------------------

// From here on `tick_count` gives `ms`, plus `step` for each call of it so far, plus all that was slept; `sleep`
// returns at once.
void clock_virtual_start(u32 ms, u32 step = 0);
void clock_virtual_stop();
void clock_virtual_advance(u32 ms);

// From here on `local_time` gives `now`, to the end of the test.
void clock_virtual_local_time(const PlatformLocalTime &now);

// From here on `counter` gives this and `counter_frequency` that, to the end of the test.
void clock_virtual_counter(i64 counter, i64 frequency);

// Called at the end of each sleep, when the clock has moved; so a test can release a lock in the midst of a wait.
void clock_on_sleep(std::function<void(u32 ms)> hook);

// ---- Places ---------------------------------------------------------------------------------------------------------

// From here to the end of the test these are the Windows directory and the path of the library's module, as native
// names. Without the first there is no such directory in a test, so that no settings of the host are read or written.
void virtual_windows_directory(const std::string &native);
void virtual_module_path(const std::string &native);

// ---- Memory ---------------------------------------------------------------------------------------------------------

u32 memory_alive();         // blocks now alive
size_t memory_alive_bytes();
// Forget the blocks that came alive during this test and are alive still, for an operation that loses some by design:
// they no longer count as alive, and the leak checker does not report them. They are not freed, as some may be in use.
// The result is their number.
u32 memory_sweep();

} // namespace zuk
