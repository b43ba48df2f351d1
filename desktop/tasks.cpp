#include "desktop/tasks.h"

#include "foundation/handles.h"

#include <string.h>

namespace zuk {

i32 task_count;
u32 task_tick_count;
constinit i32 task_next_id = 1;
GHandle task_table;

static bool tick_running;

// ---- The table ------------------------------------------------------------------------------------------------------

// `count` is not above `TASKS_MAX`.
static i32 table_size(i32 count) { return count * (i32)sizeof(BackgroundTask); }

// Good until the next resize of the table; null if it cannot be locked.
static BackgroundTask *task_at(i32 index)
{
    BackgroundTask *table = (BackgroundTask *)glock(task_table);
    gunlock(task_table);
    return table ? table + index : nullptr;
}

// -1 if there is none.
static i32 index_of(i32 id)
{
    for (i32 index = 0; index < task_count; index++) {
        const BackgroundTask *task = task_at(index);
        if (task && task->id == id) return index;
    }
    return -1;
}

// KEPT: one would expect room for several tasks to be made at once, and to be kept. The table has exactly as many
// records as there are tasks, so that every `task_add` and `task_remove` resizes it, and the last one frees it.
// Test: task_add.grows_the_table_by_one_record, Test: task_remove.shrinks_the_table_by_one_record
static bool table_resize(i32 count)
{
    if (!task_table) {
        task_table = galloc(table_size(count), nullptr, 1);
        return task_table != 0;
    }
    GHandle table = task_table;  // a copy: a resize that fails takes the variable away, and the old block still stands
    return grealloc(&table, table_size(count)) != 0;
}

// ---- Adding and removing --------------------------------------------------------------------------------------------

i32 task_add(TaskProc function, u32 interval_ms, intptr_t data)
{
    if (tick_running || task_count >= TASKS_MAX) return 0;
    if (!table_resize(task_count + 1)) return 0;
    BackgroundTask *task = task_at(task_count);
    if (!task) return 0;

    // KEPT: one would expect the nearest time, and at least a tick. The time is cut, so that 250 ms are 200, and less
    // than 100 ms are 0 ticks, which is every tick. Test: task_add.cuts_the_interval_to_whole_ticks,
    // Test: task_add.of_less_than_100_ms_runs_at_every_tick
    u32 interval = interval_ms / TASK_TICK_MS;

    // KEPT: one would expect a task that is added shortly before the count restarts to wait for its time. What goes
    // beyond the last tick is taken off at once, so that it is due long ago, and runs at the very next tick.
    // Test: task_add.near_the_last_tick_runs_at_the_next_one
    u32 due = task_tick_count + interval;
    if (due > TASK_LAST_TICK) due -= TASK_LAST_TICK;

    *task = { .function = function, .id = task_next_id, .interval = interval, .due = due, .data = data, .reserved = 0 };
    task_next_id = (i32)((u32)task_next_id + 1);
    task_count++;
    return task->id;
}

void task_remove(i32 id)
{
    if (tick_running) return;
    i32 index = index_of(id);
    if (index < 0) return;

    task_count--;
    if (task_count == 0) {
        gfree(task_table);
        task_table = 0;
        return;
    }
    BackgroundTask *task = task_at(index);
    memmove(task, task + 1, (size_t)table_size(task_count - index));
    (void)table_resize(task_count);  // without memory for it the table stays longer, which shows nowhere
}

// ---- The tick -------------------------------------------------------------------------------------------------------

static void count_tick()
{
    if (task_tick_count < TASK_LAST_TICK) {
        task_tick_count++;
        return;
    }
    // KEPT: one would expect all tasks to keep their distance from the count when it restarts. It goes down by
    // one more than they do, so that what was due behind the last tick runs one tick late, once.
    // Test: task_tick.runs_a_task_one_tick_late_when_the_count_restarts
    task_tick_count = 0;
    for (i32 index = 0; index < task_count; index++) {
        BackgroundTask *task = task_at(index);
        if (task) task->due = task->due > TASK_LAST_TICK ? task->due - TASK_LAST_TICK : 0;
    }
}

static void run_if_due(i32 index)
{
    const BackgroundTask *task = task_at(index);
    if (!task || task->due > task_tick_count) return;
    if (task->function) task->function(task->data);

    // KEPT: one would expect the next run to be brought down to the count's range, as `task_add` does it. It may lie
    // behind the last tick, and is brought down when the count restarts.
    // Test: task_tick.lets_the_next_run_lie_behind_the_last_tick
    BackgroundTask *done = task_at(index);
    if (done) done->due = task_tick_count + done->interval;
}

void task_tick()
{
    count_tick();

    bool inside_another = tick_running;
    tick_running = true;
    for (i32 index = 0; index < task_count; index++) run_if_due(index);
    tick_running = inside_another;
}

// ---- The module -----------------------------------------------------------------------------------------------------

i16 task_module_ready() { return 1; }

// KEPT: one would expect the tasks to end here. They stay, and run on at the next tick.
// Test: task_module_stop.leaves_the_tasks
void task_module_stop() {}

} // namespace zuk
