// Several workstations at once on one dictionary, each working on resources of its own among those of all others.
//
// The protocol promises safety as long as no operation extends the file: room for all that the workers can ever have is
// made ahead, in mode 32768. No wait takes time; who is refused asks again. $ZUK_TORTURE_ROUNDS makes it longer.
// Without such room the promise ends: the last run shows how.
#include "tests/processes/workstation.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"
#include "tests/support/workstation.h"
#include "tests/tool/run_tool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <sstream>
#include <vector>

namespace zuk {

static u32 rounds_of_each()
{
    const char *rounds = getenv("ZUK_TORTURE_ROUNDS");
    return rounds ? (u32)strtoul(rounds, nullptr, 10) : 400;
}

// What was filled and emptied again stays as room in its blocks and as free slots of its type.
static void make_room(Library *library)
{
    library->add_module(2, 100, "first");
    library->add_module(2, WORK_MODULE, "worked on");
    for (u32 id = 1; id <= WORKERS_MOST * WORK_RESOURCES; id++) {
        ASSERT_EQ(library->add(2, WORK_MODULE, WORK_TYPE, (i16)id, "room for resource " + std::to_string(id),
                               std::string(WORK_LONGEST + 20, ' ')), (DictStatus)DICT_OK);
    }
    for (u32 id = 1; id <= WORKERS_MOST * WORK_RESOURCES; id++) {
        ASSERT_EQ(dd_remove_resource(2, WORK_MODULE, WORK_TYPE, (i32)id), (DictStatus)DICT_OK);
    }
}

using Workers = std::vector<std::unique_ptr<Workstation>>;

// Every second one where $ZUK_WORKSTATION starts it.
static Workers start_workers(u32 count, const Name &path)
{
    Workers workers;
    for (u32 i = 0; i < count; i++) {
        workers.push_back(std::make_unique<Workstation>(i % 2 ? WORKSTATION_ELSEWHERE : WORKSTATION_HERE));
        EXPECT_EQ(workers[i]->open(path, DICT_SHARED), "0");
    }
    return workers;
}

static ToolResult check(const Library &library) { return run_tool(library.dir.path(), { "check", "a.dic" }); }

static void torture(u32 workers, u32 rounds)
{
    Library here;
    make_room(&here);
    size_t length = here.bytes().size();
    ASSERT_EQ(ds_closefile(1), (DictStatus)DICT_OK);

    Workers others = start_workers(workers, here.path);
    for (u32 i = 0; i < workers; i++) {
        others[i]->tell("work " + std::to_string(i) + ' ' + std::to_string(rounds) + ' ' + std::to_string(100 + i));
    }
    u32 operations = 0, refusals = 0;
    for (u32 i = 0; i < workers; i++) {
        u32 done = 0, refused = 0, wrong = 0;
        std::istringstream(others[i]->answer()) >> done >> refused >> wrong;
        EXPECT_EQ(done, rounds) << "worker " << i;
        EXPECT_EQ(wrong, 0u) << "worker " << i;
        operations += done;
        refusals += refused;
    }

    // The lock was never lost, and everybody finds all that it left.
    u32 left = 0;
    for (u32 i = 0; i < workers; i++) {
        EXPECT_EQ(others[i]->ask("state").substr(0, 2), "0 ") << "worker " << i;
        u32 there = 0, wrong = 0;
        std::istringstream(others[i]->ask("verify " + std::to_string(i))) >> there >> wrong;
        EXPECT_EQ(wrong, 0u) << "worker " << i;
        left += there;
    }
    for (auto &other : others) other->quit();
    ToolResult checked = check(here);
    EXPECT_EQ(checked.exit, 0) << checked.out << checked.err;

    ASSERT_EQ(ds_openfile(1, here.path, DICT_EXCLUSIVE, 0, &here.cookie), (DictStatus)DICT_OK);
    EXPECT_EQ(dd_numresources(2, WORK_MODULE, WORK_TYPE), (i16)left);
    EXPECT_EQ(here.bytes().size(), length);
    std::cout << workers << " workstations, a process each, made " << operations
              << " operations and were refused a lock " << refusals << " times; " << left << " resources are left\n";
}

TEST(torture, of_2_workstations_loses_and_tears_nothing) { torture(2, rounds_of_each()); }
TEST(torture, of_8_workstations_loses_and_tears_nothing) { torture(8, rounds_of_each()); }

// Where no room was made, the first addition of each extends the file and so gives up the lock for good. From then on
// it goes by what it has in memory and sees nothing of the others, whose resources its directory, its block table and
// its header overwrite. They take turns here, so that each run is the same.
TEST(torture, of_8_workstations_that_extend_the_file_loses_resources)
{
    constexpr u32 WORKERS = 8, ROUNDS = 5, FIRST_TYPE = 31;   // a type of its own for each: two new blocks
    Library here;
    here.add_module(2, 100, "first");
    here.add_module(2, WORK_MODULE, "worked on");
    ASSERT_EQ(ds_closefile(1), (DictStatus)DICT_OK);

    Workers others = start_workers(WORKERS, here.path);
    u32 added = 0;
    for (u32 round = 0; round < ROUNDS; round++) {
        for (u32 i = 0; i < WORKERS; i++) {
            std::string id = std::to_string(round + 1), type = std::to_string(FIRST_TYPE + i);
            std::string at = "2 " + std::to_string(WORK_MODULE) + ' ' + type + ' ' + id;
            added += others[i]->ask("add " + at + " name" + id + " x*3000") == "0";
        }
    }
    for (u32 i = 0; i < WORKERS; i++) EXPECT_EQ(others[i]->ask("state").substr(0, 3), "-1 ") << "worker " << i;
    for (auto &other : others) other->quit();

    ToolResult checked = check(here);
    EXPECT_EQ(checked.exit, 1) << checked.err;     // damage
    u32 left = 0;
    ASSERT_EQ(ds_openfile(1, here.path, DICT_READ_ONLY, 0, &here.cookie), (DictStatus)DICT_OK);
    for (u32 i = 0; i < WORKERS; i++) {
        for (u16 id = 1; id <= ROUNDS; id++) {
            left += here.body(2, WORK_MODULE, (u16)(FIRST_TYPE + i), id) == std::string(3000, 'x');
        }
    }
    EXPECT_EQ(added, WORKERS * ROUNDS);
    EXPECT_EQ(left, 12u);                          // as docs/locking.md has it
    std::cout << WORKERS << " workstations, a process each, made " << WORKERS * ROUNDS << " additions without room: "
              << added << " had status 0, " << left << " of these are left\n" << checked.out << checked.err;
}

} // namespace zuk
