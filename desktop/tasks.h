// Background tasks: functions that run again and again after a fixed time, driven by the application's timer.
//
// The application calls `task_tick` every 100 ms; nothing here has a timer or a thread of its own. All times of a task
// are counted in such ticks.
//
// Between calls:
//   - `task_table` holds exactly `task_count` records, in the order in which they were added; without tasks it is 0.
//     Only a table that could not shrink for want of memory is longer, until the next change
//   - identifiers go up from 1 and none comes back
// A function must not add or remove tasks: while a tick is running `task_add` gives 0 and `task_remove` does nothing.
// One thread at a time. Services for callers; nothing in the library has tasks.
#pragma once

#include "zuk/types.h"

#include <stddef.h>

namespace zuk {

using TaskProc = void (*)(intptr_t data);

// A row of the table.
struct BackgroundTask {
    TaskProc function;
    i32 id;
    u32 interval;      // ticks from one run to the next; 0: every tick
    u32 due;           // the tick of the next run
    intptr_t data;     // what `function` is given
    i32 reserved;      // 0
};
static_assert(sizeof(void *) != 4 || (sizeof(BackgroundTask) == 24 && offsetof(BackgroundTask, reserved) == 20));

constexpr u32 TASK_TICK_MS = 100;
constexpr u32 TASK_LAST_TICK = 2147483647;  // behind it the count restarts at 0
constexpr i32 TASKS_MAX = INT32_MAX / (i32)sizeof(BackgroundTask);

extern i32 task_count;
extern u32 task_tick_count;  // ticks so far, 0 to `TASK_LAST_TICK`
extern i32 task_next_id;     // what the next task will be given; 1 at first
extern GHandle task_table;

// Run `function(data)` every `interval_ms` milliseconds, for the first time after that long. The time is cut to whole
// ticks, and below 100 it is every tick. The result is the task's identifier; 0 when memory is short or a tick is
// running, and then all is as before. A null function is counted as a task, and nothing is called.
i32 task_add(TaskProc function, u32 interval_ms, intptr_t data);

void task_remove(i32 id);      // an unknown identifier does nothing

// Count a tick and run what is due, in the order of the table. A function that calls `task_tick` itself runs what is
// due from within, its own task included.
void task_tick();

i16 task_module_ready();       // 1
void task_module_stop();       // nothing: see its KEPT note

} // namespace zuk
