#include "desktop/tasks.h"

#include "foundation/handles.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <stddef.h>
#include <vector>

namespace zuk {
namespace {

// As the process starts, ahead of every test.
const i32 count_at_start = task_count;
const u32 ticks_at_start = task_tick_count;
const i32 id_at_start = task_next_id;
const GHandle table_at_start = task_table;

std::vector<intptr_t> runs;    // the data of each run of `note`

void note(intptr_t data) { runs.push_back(data); }

// The module as the process finds it, for one test, and without tasks again at the end.
class Tasks {
public:
    Tasks() : alive(handles_alive())
    {
        task_next_id = 1;
        task_tick_count = 0;
        runs.clear();
    }
    ~Tasks()
    {
        while (task_count > 0) task_remove(row(0).id);
        EXPECT_EQ(task_table, 0u);
        EXPECT_EQ(handles_alive(), alive);
    }
    Tasks(const Tasks &) = delete;
    Tasks &operator=(const Tasks &) = delete;

    static BackgroundTask row(i32 index)
    {
        BackgroundTask task = {};
        const BackgroundTask *table = (const BackgroundTask *)glock(task_table);
        EXPECT_NE(table, nullptr);
        EXPECT_LT(index, task_count);
        if (table && index < task_count) task = table[index];
        return task;
    }
    static std::vector<i32> ids()
    {
        std::vector<i32> all;
        for (i32 i = 0; i < task_count; i++) all.push_back(row(i).id);
        return all;
    }
    // Tick `count` times; which of them, from 1 on, had a run with these data.
    static std::vector<u32> ticks_of(intptr_t data, u32 count)
    {
        std::vector<u32> which;
        for (u32 n = 1; n <= count; n++) {
            runs.clear();
            task_tick();
            for (intptr_t run : runs) {
                if (run == data) which.push_back(n);
            }
        }
        return which;
    }

private:
    u32 alive;
};

using Ids = std::vector<i32>;
using Data = std::vector<intptr_t>;
using Ticks = std::vector<u32>;

constexpr i32 ROW = (i32)sizeof(BackgroundTask);

TEST(tasks, has_every_operation)
{
    void *const operations[] = {
        (void *)task_add, (void *)task_remove, (void *)task_tick, (void *)task_module_ready, (void *)task_module_stop,
    };
    std::set<void *> different(std::begin(operations), std::end(operations));
    EXPECT_EQ(different.size(), std::size(operations));
    EXPECT_EQ(different.count(nullptr), 0u);
}

TEST(tasks, start_with_none_and_the_numbers_0_and_1)
{
    EXPECT_EQ(count_at_start, 0);
    EXPECT_EQ(ticks_at_start, 0u);
    EXPECT_EQ(id_at_start, 1);
    EXPECT_EQ(table_at_start, 0u);
}

TEST(tasks, have_their_fields_in_order)
{
    EXPECT_EQ(offsetof(BackgroundTask, function), 0u);
    EXPECT_EQ(offsetof(BackgroundTask, id), sizeof(void *));
    EXPECT_EQ(offsetof(BackgroundTask, interval), sizeof(void *) + 4);
    EXPECT_EQ(offsetof(BackgroundTask, due), sizeof(void *) + 8);
    EXPECT_EQ(offsetof(BackgroundTask, data), sizeof(void *) == 4 ? 16u : 24u);
    EXPECT_EQ(offsetof(BackgroundTask, reserved), sizeof(void *) == 4 ? 20u : 32u);
}

// ---- Adding ---------------------------------------------------------------------------------------------------------

TEST(task_add, counts_identifiers_from_1)
{
    Tasks tasks;
    EXPECT_EQ(task_add(note, 1000, 0), 1);
    EXPECT_EQ(task_add(note, 1000, 0), 2);
    EXPECT_EQ(task_add(note, 1000, 0), 3);
    EXPECT_EQ(tasks.ids(), (Ids{ 1, 2, 3 }));
    EXPECT_EQ(task_next_id, 4);
}

TEST(task_add, never_gives_an_identifier_again)
{
    Tasks tasks;
    EXPECT_EQ(task_add(note, 1000, 0), 1);
    EXPECT_EQ(task_add(note, 1000, 0), 2);
    task_remove(2);
    EXPECT_EQ(task_add(note, 1000, 0), 3);
    task_remove(1);
    task_remove(3);
    EXPECT_EQ(task_count, 0);
    EXPECT_EQ(task_add(note, 1000, 0), 4);
}

TEST(task_add, fills_a_row)
{
    Tasks tasks;
    task_tick_count = 7;
    EXPECT_EQ(task_add(note, 1250, -5), 1);
    BackgroundTask row = tasks.row(0);
    EXPECT_EQ(row.function, &note);
    EXPECT_EQ(row.id, 1);
    EXPECT_EQ(row.interval, 12u);
    EXPECT_EQ(row.due, 19u);
    EXPECT_EQ(row.data, -5);
    EXPECT_EQ(row.reserved, 0);
}

TEST(task_add, keeps_data_as_wide_as_an_address)
{
    Tasks tasks;
    (void)task_add(note, 0, INTPTR_MIN);
    (void)task_add(note, 0, INTPTR_MAX);
    task_tick();
    EXPECT_EQ(runs, (Data{ INTPTR_MIN, INTPTR_MAX }));
}

TEST(task_add, grows_the_table_by_one_record)
{
    Tasks tasks;
    for (i32 n = 1; n <= 5; n++) {
        EXPECT_EQ(task_add(note, 1000, n), n);
        EXPECT_EQ(task_count, n);
        EXPECT_EQ(gsize(task_table), n * ROW);
    }
    for (i32 n = 1; n <= 5; n++) EXPECT_EQ(tasks.row(n - 1).data, n);
}

TEST(task_add, cuts_the_interval_to_whole_ticks)
{
    Tasks tasks;
    (void)task_add(note, 250, 1);
    (void)task_add(note, 199, 2);
    (void)task_add(note, 4294967295u, 3);    // no negative number
    EXPECT_EQ(tasks.row(0).interval, 2u);
    EXPECT_EQ(tasks.row(1).interval, 1u);
    EXPECT_EQ(tasks.row(2).interval, 42949672u);
    EXPECT_EQ(tasks.ticks_of(1, 7), (Ticks{ 2, 4, 6 }));
}

TEST(task_add, of_less_than_100_ms_runs_at_every_tick)
{
    Tasks tasks;
    (void)task_add(note, 50, 1);
    (void)task_add(note, 99, 2);
    (void)task_add(note, 0, 3);
    (void)task_add(note, 100, 4);
    EXPECT_EQ(tasks.row(0).interval, 0u);
    EXPECT_EQ(tasks.row(3).interval, 1u);
    for (i32 data = 1; data <= 4; data++) EXPECT_EQ(tasks.ticks_of(data, 3), (Ticks{ 1, 2, 3 })) << data;
}

TEST(task_add, up_to_the_last_tick_is_due_there)
{
    Tasks tasks;
    task_tick_count = TASK_LAST_TICK - 5;
    (void)task_add(note, 500, 1);
    EXPECT_EQ(tasks.row(0).due, TASK_LAST_TICK);
    EXPECT_EQ(tasks.ticks_of(1, 5), (Ticks{ 5 }));
}

TEST(task_add, near_the_last_tick_runs_at_the_next_one)
{
    Tasks tasks;
    task_tick_count = TASK_LAST_TICK - 5;
    (void)task_add(note, 600, 1);
    EXPECT_EQ(tasks.row(0).due, 1u);
    EXPECT_EQ(tasks.ticks_of(1, 9), (Ticks{ 1, 8 }));    // five ticks early, then after six and one for the restart
}

TEST(task_add, gives_0_without_memory_for_the_first_task)
{
    Tasks tasks;
    faults_start({ .call = FAULT_ALLOC });
    EXPECT_EQ(task_add(note, 1000, 0), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(task_count, 0);
    EXPECT_EQ(task_table, 0u);
    EXPECT_EQ(task_add(note, 1000, 0), 1);    // the failure took no identifier
}

TEST(task_add, gives_0_and_keeps_the_others_without_memory_for_one_more)
{
    Tasks tasks;
    (void)task_add(note, 0, 1);
    (void)task_add(note, 0, 2);
    GHandle table = task_table;
    faults_start({ .call = FAULT_RESIZE });
    EXPECT_EQ(task_add(note, 0, 3), 0);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(task_count, 2);
    EXPECT_EQ(task_table, table);
    EXPECT_EQ(gsize(task_table), 2 * ROW);
    task_tick();
    EXPECT_EQ(runs, (Data{ 1, 2 }));
    EXPECT_EQ(task_add(note, 0, 4), 3);
    EXPECT_EQ(tasks.ids(), (Ids{ 1, 2, 3 }));
}

TEST(task_add, gives_0_for_a_table_that_cannot_be_locked)
{
    Tasks tasks;
    (void)task_add(note, 0, 1);
    GHandle table = task_table;
    GHandle freed = galloc(1, nullptr, 0);
    gfree(freed);
    task_table = freed;
    EXPECT_EQ(task_add(note, 0, 2), 0);
    EXPECT_EQ(task_count, 1);
    task_tick();
    task_remove(1);
    EXPECT_EQ(runs, Data());
    EXPECT_EQ(task_count, 1);
    task_table = table;
}

TEST(task_add, gives_0_when_the_table_is_full)
{
    Tasks tasks;
    task_count = TASKS_MAX;
    EXPECT_EQ(task_add(note, 0, 1), 0);
    EXPECT_EQ(task_count, TASKS_MAX);
    task_count = 0;
    EXPECT_EQ(task_table, 0u);
}

// ---- Removing -------------------------------------------------------------------------------------------------------

TEST(task_remove, moves_the_followers_down)
{
    Tasks tasks;
    for (intptr_t data = 10; data <= 50; data += 10) (void)task_add(note, 0, data);
    task_remove(3);
    EXPECT_EQ(tasks.ids(), (Ids{ 1, 2, 4, 5 }));
    task_remove(1);
    EXPECT_EQ(tasks.ids(), (Ids{ 2, 4, 5 }));
    task_remove(5);
    EXPECT_EQ(tasks.ids(), (Ids{ 2, 4 }));
    task_tick();
    EXPECT_EQ(runs, (Data{ 20, 40 }));
}

TEST(task_remove, shrinks_the_table_by_one_record)
{
    Tasks tasks;
    for (i32 n = 1; n <= 4; n++) (void)task_add(note, 0, n);
    task_remove(2);
    EXPECT_EQ(gsize(task_table), 3 * ROW);
    task_remove(1);
    EXPECT_EQ(gsize(task_table), 2 * ROW);
    task_remove(4);
    EXPECT_EQ(gsize(task_table), ROW);
}

TEST(task_remove, frees_the_table_with_the_last_task)
{
    Tasks tasks;
    u32 before = handles_alive();
    (void)task_add(note, 0, 1);
    EXPECT_EQ(handles_alive(), before + 1);
    task_remove(1);
    EXPECT_EQ(handles_alive(), before);
    EXPECT_EQ(task_table, 0u);
    EXPECT_EQ(task_count, 0);
}

TEST(task_remove, of_an_unknown_identifier_does_nothing)
{
    Tasks tasks;
    task_remove(1);    // no tasks at all
    (void)task_add(note, 0, 1);
    (void)task_add(note, 0, 2);
    task_remove(2);
    for (i32 id : { 0, 2, 3, -1, INT32_MAX, INT32_MIN }) task_remove(id);
    EXPECT_EQ(tasks.ids(), (Ids{ 1 }));
    EXPECT_EQ(gsize(task_table), ROW);
}

TEST(task_remove, leaves_a_longer_table_without_memory_for_a_shorter_one)
{
    Tasks tasks;
    for (i32 n = 1; n <= 3; n++) (void)task_add(note, 0, n);
    faults_start({ .call = FAULT_RESIZE });
    task_remove(1);
    EXPECT_TRUE(faults_stop());
    EXPECT_EQ(gsize(task_table), 3 * ROW);
    EXPECT_EQ(tasks.ids(), (Ids{ 2, 3 }));
    task_tick();
    EXPECT_EQ(runs, (Data{ 2, 3 }));
    EXPECT_EQ(task_add(note, 0, 4), 4);
    EXPECT_EQ(gsize(task_table), 3 * ROW);    // as many as there are tasks again
    EXPECT_EQ(tasks.ids(), (Ids{ 2, 3, 4 }));
}

TEST(task_remove, leaves_the_counts)
{
    Tasks tasks;
    (void)task_add(note, 0, 1);
    task_tick();
    task_tick();
    task_remove(1);
    EXPECT_EQ(task_tick_count, 2u);
    EXPECT_EQ(task_next_id, 2);
}

// ---- The tick -------------------------------------------------------------------------------------------------------

TEST(task_tick, counts_without_tasks)
{
    Tasks tasks;
    task_tick();
    task_tick();
    EXPECT_EQ(task_tick_count, 2u);
    EXPECT_EQ(task_table, 0u);
}

TEST(task_tick, runs_what_is_due_in_the_order_of_the_table)
{
    Tasks tasks;
    (void)task_add(note, 200, 1);
    (void)task_add(note, 100, 2);
    (void)task_add(note, 300, 3);
    (void)task_add(note, 200, 4);
    std::vector<Data> each;
    for (i32 n = 0; n < 6; n++) {
        runs.clear();
        task_tick();
        each.push_back(runs);
    }
    EXPECT_EQ(each, (std::vector<Data>{ { 2 }, { 1, 2, 4 }, { 2, 3 }, { 1, 2, 4 }, { 2 }, { 1, 2, 3, 4 } }));
}

TEST(task_tick, counts_an_interval_from_the_tick_of_the_run)
{
    Tasks tasks;
    (void)task_add(note, 300, 1);
    EXPECT_EQ(tasks.ticks_of(1, 3), (Ticks{ 3 }));
    EXPECT_EQ(tasks.row(0).due, 6u);
}

TEST(task_tick, counts_a_task_without_a_function)
{
    Tasks tasks;
    EXPECT_EQ(task_add(nullptr, 200, 1), 1);
    for (i32 n = 0; n < 3; n++) task_tick();
    EXPECT_EQ(tasks.row(0).due, 4u);
}

TEST(task_tick, restarts_the_count_behind_the_last_tick)
{
    Tasks tasks;
    task_tick_count = TASK_LAST_TICK - 1;
    task_tick();
    EXPECT_EQ(task_tick_count, 2147483647u);
    task_tick();
    EXPECT_EQ(task_tick_count, 0u);
    task_tick();
    EXPECT_EQ(task_tick_count, 1u);
}

TEST(task_tick, moves_every_task_down_when_the_count_restarts)
{
    Tasks tasks;
    task_tick_count = TASK_LAST_TICK - 2;
    for (u32 interval = 1; interval <= 4; interval++) (void)task_add(note, interval * 100, (intptr_t)interval);
    // The third and fourth are due behind the last tick, and have been brought down already.
    task_tick();
    task_tick();
    EXPECT_EQ(tasks.row(0).due, TASK_LAST_TICK + 1u);
    EXPECT_EQ(tasks.row(1).due, TASK_LAST_TICK + 2u);
    EXPECT_EQ(tasks.row(2).due, TASK_LAST_TICK - 1 + 3u);
    EXPECT_EQ(tasks.row(3).due, TASK_LAST_TICK - 1 + 4u);
    runs.clear();
    task_tick();
    EXPECT_EQ(runs, Data());
    EXPECT_EQ(tasks.row(0).due, 1u);
    EXPECT_EQ(tasks.row(1).due, 2u);
    EXPECT_EQ(tasks.row(2).due, 2u);
    EXPECT_EQ(tasks.row(3).due, 3u);
}

TEST(task_tick, makes_what_was_due_up_to_the_last_tick_due_at_0)
{
    Tasks tasks;
    task_tick_count = TASK_LAST_TICK - 1;
    (void)task_add(note, 0, 1);
    EXPECT_EQ(tasks.ticks_of(1, 1), (Ticks{ 1 }));
    EXPECT_EQ(tasks.row(0).due, TASK_LAST_TICK);
    EXPECT_EQ(tasks.ticks_of(1, 2), (Ticks{ 1, 2 }));    // a task of every tick misses none
    EXPECT_EQ(tasks.row(0).due, 1u);
}

// The runs, with a period of 3, in ticks from the beginning: 3 6 9, the restart at 11, then 13 16 instead of 12 15.
TEST(task_tick, runs_a_task_one_tick_late_when_the_count_restarts)
{
    Tasks tasks;
    task_tick_count = TASK_LAST_TICK - 10;
    (void)task_add(note, 300, 1);
    EXPECT_EQ(tasks.ticks_of(1, 17), (Ticks{ 3, 6, 9, 13, 16 }));
    EXPECT_EQ(task_tick_count, 6u);
}

TEST(task_tick, lets_the_next_run_lie_behind_the_last_tick)
{
    Tasks tasks;
    task_tick_count = TASK_LAST_TICK - 3;
    (void)task_add(note, 200, 1);
    EXPECT_EQ(tasks.ticks_of(1, 3), (Ticks{ 2 }));
    EXPECT_EQ(task_tick_count, TASK_LAST_TICK);
    EXPECT_EQ(tasks.row(0).due, TASK_LAST_TICK - 1 + 2u);    // above what fits a signed number
}

void add_from_within(intptr_t data)
{
    runs.push_back(task_add(note, 0, data));
}

void remove_from_within(intptr_t data)
{
    runs.push_back(data);
    task_remove((i32)data);
}

TEST(task_tick, lets_no_function_add_a_task)
{
    Tasks tasks;
    (void)task_add(add_from_within, 0, 9);
    (void)task_add(note, 0, 2);
    task_tick();
    EXPECT_EQ(runs, (Data{ 0, 2 }));
    EXPECT_EQ(task_count, 2);
    EXPECT_EQ(task_add(note, 0, 3), 3);    // the refusal took no identifier, and ends with the tick
}

TEST(task_tick, lets_no_function_remove_a_task)
{
    Tasks tasks;
    (void)task_add(remove_from_within, 0, 1);    // itself
    (void)task_add(remove_from_within, 0, 3);    // one behind it
    (void)task_add(note, 0, 3);
    task_tick();
    EXPECT_EQ(runs, (Data{ 1, 3, 3 }));
    EXPECT_EQ(tasks.ids(), (Ids{ 1, 2, 3 }));
    task_remove(1);
    EXPECT_EQ(tasks.ids(), (Ids{ 2, 3 }));
}

u32 depth;    // of ticks inside ticks

void tick_from_within(intptr_t data)
{
    runs.push_back(data);
    if (depth++ == 0) task_tick();
}

TEST(task_tick, from_within_runs_what_is_due_its_own_task_included)
{
    Tasks tasks;
    depth = 0;
    (void)task_add(tick_from_within, 100, 1);
    (void)task_add(add_from_within, 0, 2);
    task_tick();
    EXPECT_EQ(task_tick_count, 2u);
    EXPECT_EQ(runs, (Data{ 1, 1, 0, 0 }));    // the inner tick has not ended the outer one: nothing was added
    EXPECT_EQ(tasks.row(0).due, 3u);
    EXPECT_EQ(task_count, 2);
    EXPECT_EQ(task_add(note, 0, 3), 3);
}

void grow_memory(intptr_t)
{
    for (i32 n = 0; n < 50; n++) gfree(galloc(1000, nullptr, 0));
    runs.push_back((intptr_t)gsize(task_table));
}

TEST(task_tick, lets_functions_use_memory)
{
    Tasks tasks;
    (void)task_add(grow_memory, 0, 0);
    (void)task_add(note, 0, 2);
    task_tick();
    EXPECT_EQ(runs, (Data{ 2 * ROW, 2 }));
}

// Puts a copy of the table in the place of the table, with 7 ticks between the runs of the first task.
void move_the_table(intptr_t)
{
    GHandle copy = gdup(task_table);
    gfree(task_table);
    task_table = copy;
    ((BackgroundTask *)glock(copy))->interval = 7;
}

TEST(task_tick, finds_a_table_that_a_function_has_moved)
{
    Tasks tasks;
    (void)task_add(move_the_table, 0, 1);
    (void)task_add(note, 0, 2);
    task_tick();
    EXPECT_EQ(tasks.row(0).due, 1u + 7u);
    EXPECT_EQ(runs, (Data{ 2 }));
    EXPECT_EQ(tasks.row(1).due, 1u);
}

// ---- The module -----------------------------------------------------------------------------------------------------

TEST(task_module_ready, is_always_1)
{
    Tasks tasks;
    EXPECT_EQ(task_module_ready(), 1);
    (void)task_add(note, 0, 1);
    EXPECT_EQ(task_module_ready(), 1);
    task_module_stop();
    EXPECT_EQ(task_module_ready(), 1);
}

TEST(task_module_stop, leaves_the_tasks)
{
    Tasks tasks;
    (void)task_add(note, 0, 1);
    task_module_stop();
    EXPECT_EQ(tasks.ids(), (Ids{ 1 }));
    task_tick();
    EXPECT_EQ(runs, (Data{ 1 }));
}

} // namespace
} // namespace zuk
