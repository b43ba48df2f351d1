// Several workstations, each a process of its own, on one dictionary: this program, and others of
// tests/processes/workstation.cpp. No wait takes time in any of them. What they hold is seen by one more, which tries
// the bytes by a handle of its own.
#include "engine/cookies.h"
#include "engine/locks.h"
#include "files/file.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"
#include "tests/support/workstation.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace zuk {

// ---- What they work on ----------------------------------------------------------------------------------------------

namespace {

// A library with two modules of kind 2, and resources 1 and 2 of type 1 in the second. It is made in mode 32768, and
// each block has room for a small resource more, so that nothing extends the file and gives up the lock; then it is
// opened in mode 0.
class Shared : public Library {
public:
    Shared()
    {
        add_module(2, 100, "first");
        add_module(2, 101, "second");
        EXPECT_EQ(add(2, 101, 1, 1, "one", "body-of-one"), (DictStatus)DICT_OK);
        EXPECT_EQ(add(2, 101, 1, 2, "two", "body-of-two"), (DictStatus)DICT_OK);
        reopen(DICT_SHARED);
        EXPECT_EQ(file()->lock_state, LOCK_NONE);
        clock_virtual_start(0);
        calls_reset();
    }
    // Choose series 1 and make a module of kind 1 with resource 22000 of type 7. The file stays open in mode 32768, so
    // that a test can make more room.
    void begin_kind_1()
    {
        reopen(DICT_EXCLUSIVE);
        ASSERT_EQ(dd_choose_owner(1), 1);
        ASSERT_EQ(add(1, 0, 7, 22000, "first", "makes the module, and room in it"), (DictStatus)DICT_OK);
    }
    u32 count() { return le_get(file()->header.change_count); }
    u32 count_in_file() const { return u16_at(bytes(), 6); }   // `change_count` stands at 6
};

} // namespace

// Which bytes of the protocol, and around it, others hold: "gate 1 2" for the gate and the first two reader bytes.
static std::string held(Workstation &prober, const Name &path)
{
    static const struct {
        const char *name;
        u32 offset;
    } bytes[] = {
        { "below", GATE_BYTE - 1 }, { "gate", GATE_BYTE }, { "spare", SPARE_BYTE }, { "0", READER_BASE },
        { "1", READER_BASE + 1 }, { "2", READER_BASE + 2 }, { "3", READER_BASE + 3 }, { "500", READER_BASE + 500 },
        { "1000", READER_BASE + 1000 }, { "1001", READER_BASE + 1001 },
    };
    std::string all;
    for (const auto &byte : bytes) {
        std::string answer = prober.probe(path, byte.offset, 1);
        if (answer == "held") all += (all.empty() ? "" : " ") + std::string(byte.name);
        else EXPECT_EQ(answer, "free") << byte.name;
    }
    return all;
}

// That a process has ended is known to its own system at once, and to another one a moment later.
static void settle(const std::function<bool()> &is_so)
{
    for (u32 tries = 0; tries < 1000 && !is_so(); tries++) std::this_thread::yield();
}

static const char NOTHING[] = "";
static const char READER_BYTES[] = "1 2 3 500 1000";   // those of them that are tried

static const char OK[] = "0";
static const char LOCKED_OUT[] = "21";

// ---- One sees what the other does -----------------------------------------------------------------------------------

TEST(workstations, see_what_another_has_added)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(here.body(2, 101, 1, 3), "<status 3>");             // the directory is in memory from here on
    EXPECT_EQ(there.ask("add 2 101 1 3 three body-of-three"), OK);
    EXPECT_EQ(here.count(), 0u);
    calls_reset();
    EXPECT_EQ(here.body(2, 101, 1, 3), "body-of-three");
    // The header for the comparison and for the reload, the first page of the block table and the module table.
    std::vector<std::string> reads = call_lines({ FAULT_READ });
    ASSERT_GT(reads.size(), 4u);
    EXPECT_EQ(std::vector<std::string>(reads.begin(), reads.begin() + 4),
              (std::vector<std::string>{ "read 0+26", "read 0+26", "read 26+896", "read 3610+808" }));
    EXPECT_EQ(here.name(2, 101, 1, 3), "three");
    EXPECT_EQ(here.count(), 1u);
    EXPECT_EQ(here.count_in_file(), 1u);
    EXPECT_EQ(there.ask("state"), "0 1");
    there.quit();
}

TEST(workstations, see_what_another_has_changed_and_removed)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("read 2 101 1 1"), "0 body-of-one");
    EXPECT_EQ(here.change(2, 101, 1, 1, "eins", "a-longer-body-of-one"), (DictStatus)DICT_OK);
    EXPECT_EQ(there.ask("read 2 101 1 1"), "0 a-longer-body-of-one");
    EXPECT_EQ(there.ask("name 2 101 1 1"), "0 eins");
    EXPECT_EQ(there.ask("read 2 101 1 2"), "0 body-of-two");      // it has moved
    EXPECT_EQ(dd_remove_resource(2, 101, 1, 1), (DictStatus)DICT_OK);
    EXPECT_EQ(there.ask("read 2 101 1 1"), "3");
    EXPECT_EQ(there.ask("read 2 101 1 2"), "0 body-of-two");
    there.quit();
}

TEST(workstations, build_on_what_another_has_written)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    for (i16 id = 10; id < 20; id = (i16)(id + 2)) {
        std::string next = std::to_string(id + 1);
        EXPECT_EQ(here.add(2, 101, 1, id, "here" + std::to_string(id), "from-here"), (DictStatus)DICT_OK);
        EXPECT_EQ(there.ask("add 2 101 1 " + next + " there" + next + " from-there"), OK);
    }
    EXPECT_EQ(there.ask("add 2 101 1 10 again body"), "2");       // taken here
    EXPECT_EQ(here.add(2, 101, 1, 30, "there11", "body"), (DictStatus)DICT_EXISTS);
    for (u16 id = 10; id < 20; id++) {
        EXPECT_EQ(here.body(2, 101, 1, id), id % 2 ? "from-there" : "from-here") << id;
        EXPECT_EQ(there.ask("read 2 101 1 " + std::to_string(id)), id % 2 ? "0 from-there" : "0 from-here") << id;
    }
    there.quit();
    here.reopen(DICT_EXCLUSIVE);
    EXPECT_EQ(dd_numresources(2, 101, 1), 12);
}

TEST(workstations, count_a_lock_that_is_held_over_several_operations_once)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("lock write"), OK);
    EXPECT_EQ(there.ask("add 2 101 1 3 three body"), OK);
    EXPECT_EQ(there.ask("remove 2 101 1 3"), OK);
    EXPECT_EQ(here.count_in_file(), 0u);
    EXPECT_EQ(there.ask("unlock"), "1");
    EXPECT_EQ(here.count_in_file(), 1u);
    there.quit();
}

// An addition of kind 1 changes its core table inside its own lock.
TEST(workstations, count_an_operation_inside_another_once)
{
    Shared here;
    here.begin_kind_1();
    here.reopen(DICT_SHARED);
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("owner 1"), "1");
    EXPECT_EQ(there.ask("add 1 0 7 22001 second body"), OK);
    EXPECT_EQ(there.ask("state"), "0 1");
    EXPECT_EQ(here.count_in_file(), 1u);
    EXPECT_EQ(here.body(1, 10, 54, 7)[12 + 2], 1);   // and the table in the file names the owner of 22001
    there.quit();
}

// The header of whoever closes last stands, without a lock and with all that was older in it.
TEST(workstations, that_close_put_their_older_header_back)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(here.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(here.count_in_file(), 1u);
    EXPECT_TRUE(write_lock(here.file()));          // it does not keep the other from closing
    EXPECT_EQ(there.ask("close"), OK);
    EXPECT_EQ(here.count_in_file(), 0u);
    EXPECT_NE(write_unlock(here.file()), 0u);
    EXPECT_EQ(here.count_in_file(), 2u);
    there.quit();
}

// ---- What they hold -------------------------------------------------------------------------------------------------

// Wherever they run: one prober is always of this system.
TEST(workstations, show_their_state_in_the_bytes_they_hold)
{
    Shared here;
    Workstation there, prober, neighbour(WORKSTATION_HERE);
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    auto all_held = [&] {
        std::string seen = held(prober, here.path);
        EXPECT_EQ(held(neighbour, here.path), seen);
        return seen;
    };
    EXPECT_EQ(all_held(), NOTHING);

    EXPECT_EQ(there.ask("lock read"), OK);
    EXPECT_EQ(there.ask("state"), "1 0");
    EXPECT_EQ(all_held(), "1");
    EXPECT_TRUE(read_lock(here.file()));
    EXPECT_EQ(all_held(), "1 2");
    EXPECT_EQ(there.ask("unlock"), "1");
    EXPECT_EQ(all_held(), "2");
    EXPECT_EQ(there.ask("lock read"), OK);         // the first that is free again
    EXPECT_EQ(all_held(), "1 2");
    read_unlock(here.file());
    EXPECT_EQ(there.ask("unlock"), "1");
    EXPECT_EQ(there.ask("state"), "0 0");
    EXPECT_EQ(all_held(), NOTHING);

    EXPECT_EQ(there.ask("lock write"), OK);
    EXPECT_EQ(there.ask("state"), "-1 0");
    EXPECT_EQ(all_held(), READER_BYTES);
    EXPECT_EQ(there.ask("unlock"), "1");
    EXPECT_EQ(there.ask("state"), "0 1");
    EXPECT_EQ(all_held(), NOTHING);

    EXPECT_TRUE(write_lock(here.file()));
    EXPECT_EQ(all_held(), READER_BYTES);
    EXPECT_NE(write_unlock(here.file()), 0u);
    EXPECT_EQ(there.ask("hold 999999999 1"), "held");
    EXPECT_EQ(all_held(), "spare");
    there.quit();
    prober.quit();
    neighbour.quit();
}

TEST(workstations, hold_a_lock_for_one_operation_and_not_the_gate)
{
    Shared here;
    Workstation prober;
    std::string in_the_midst;
    auto look = [&] { in_the_midst = held(prober, here.path); };
    faults_hook(FAULT_READ, 2, look);              // behind that of the comparison
    EXPECT_EQ(here.body(2, 101, 1, 1), "body-of-one");
    EXPECT_EQ(in_the_midst, "1");
    EXPECT_EQ(held(prober, here.path), NOTHING);
    faults_hook(FAULT_WRITE, 1, look);
    EXPECT_EQ(here.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(in_the_midst, READER_BYTES);
    EXPECT_EQ(held(prober, here.path), NOTHING);
    prober.quit();
}

// ---- One keeps the other out ----------------------------------------------------------------------------------------

TEST(workstations, that_write_keep_readers_out)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("lock write"), OK);
    EXPECT_EQ(there.ask("state"), "-1 0");
    EXPECT_EQ(here.body(2, 101, 1, 1), "<status 21>");
    EXPECT_EQ(call_counts().lock, 1u + 3 * 1000);                 // it gets the gate, and no byte in three rounds
    EXPECT_EQ(call_counts().slept_ms, 3000u);
    EXPECT_EQ(dd_numresources(2, 101, 1), 0);
    EXPECT_EQ(there.ask("read 2 101 1 1"), "0 body-of-one");
    EXPECT_EQ(there.ask("unlock"), "1");
    EXPECT_EQ(here.body(2, 101, 1, 1), "body-of-one");
    there.quit();
}

// The search for the identifier is refused, and its 0 reads as not found.
TEST(workstations, that_write_hide_what_is_looked_for_by_name)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("lock write"), OK);
    u32 status = 0;
    EXPECT_EQ(dd_getnamedreshndl(2, 101, 1, Name("one"), 0, &status), 0u);
    EXPECT_EQ(status, (u32)DICT_NOT_FOUND);
    there.quit();
}

TEST(workstations, that_write_keep_writers_out)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("lock write"), OK);
    EXPECT_EQ(here.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_LOCKED_OUT);
    EXPECT_EQ(call_counts().slept_ms, 60000u);
    EXPECT_EQ(here.change(2, 101, 1, 1, "eins", "body"), (DictStatus)DICT_LOCKED_OUT);
    EXPECT_EQ(dd_remove_resource(2, 101, 1, 1), (DictStatus)DICT_LOCKED_OUT);
    EXPECT_EQ(dd_remove_resource(2, 101, 1, 9), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(there.ask("unlock"), "1");
    EXPECT_EQ(here.body(2, 101, 1, 1), "body-of-one");
    EXPECT_EQ(here.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_OK);
    there.quit();
}

TEST(workstations, that_read_keep_writers_out)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_TRUE(read_lock(here.file()));
    EXPECT_EQ(there.ask("add 2 101 1 3 three body"), LOCKED_OUT);
    EXPECT_EQ(there.ask("lock write"), LOCKED_OUT);
    read_unlock(here.file());
    EXPECT_EQ(there.ask("add 2 101 1 3 three body"), OK);
    there.quit();
}

TEST(workstations, that_read_share_the_file)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("lock read"), OK);
    EXPECT_EQ(there.ask("state"), "1 0");
    calls_reset();
    EXPECT_EQ(here.body(2, 101, 1, 1), "body-of-one");
    EXPECT_EQ(call_lines({ FAULT_LOCK, FAULT_UNLOCK }),
              (std::vector<std::string>{ "lock 999999998+1", "lock 1000000001+1 failed", "lock 1000000002+1",
                                         "unlock 999999998+1", "unlock 1000000002+1" }));
    EXPECT_EQ(there.ask("unlock"), "1");
    there.quit();
}

// A third one cannot even begin to read while the second waits for the first.
TEST(workstations, that_wait_to_write_let_no_new_reader_in)
{
    Shared here;
    Workstation reader, late;
    EXPECT_EQ(reader.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(late.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(reader.ask("lock read"), OK);
    u32 waits = 0;
    clock_on_sleep([&](u32) {
        if (++waits > 1) return;
        EXPECT_EQ(held(late, here.path), "gate 1");
        EXPECT_EQ(late.ask("read 2 101 1 1"), LOCKED_OUT);
        EXPECT_EQ(reader.ask("unlock"), "1");
    });
    EXPECT_EQ(here.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(waits, 1u);
    EXPECT_EQ(late.ask("read 2 101 1 3"), "0 body");
    reader.quit();
    late.quit();
}

// For about a minute; who comes to read in the meantime stands at the gate.
TEST(workstations, that_wait_behind_a_writer_hold_the_gate)
{
    Shared here;
    Workstation writer, late;
    EXPECT_EQ(writer.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(late.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(writer.ask("lock write"), OK);
    std::string gate_and_range = "gate " + std::string(READER_BYTES);
    u32 waits = 0;
    clock_on_sleep([&](u32) {
        waits++;
        if (waits == 1 || waits == 60) { EXPECT_EQ(held(late, here.path), gate_and_range) << waits; }
        if (waits == 30) { EXPECT_EQ(late.ask("read 2 101 1 1"), LOCKED_OUT); }
    });
    EXPECT_EQ(here.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_LOCKED_OUT);
    EXPECT_EQ(waits, 60u);
    EXPECT_EQ(call_counts().slept_ms, 60000u);
    EXPECT_EQ(held(late, here.path), READER_BYTES);
    EXPECT_EQ(writer.ask("state"), "-1 0");
    writer.quit();
    late.quit();
}

TEST(workstations, that_hold_the_gate_keep_everybody_out)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("hold 999999998 1"), "held");
    EXPECT_EQ(here.body(2, 101, 1, 1), "<status 21>");
    EXPECT_EQ(here.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_LOCKED_OUT);
    EXPECT_EQ(call_counts().lock, 2u * 5001);
    there.quit();
}

TEST(workstations, that_hold_the_spare_byte_hinder_nobody)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("hold 999999999 1"), "held");
    EXPECT_FALSE(spare_byte_lock(here.file()));
    EXPECT_EQ(here.add(2, 101, 1, 3, "three", "body"), (DictStatus)DICT_OK);
    EXPECT_EQ(here.body(2, 101, 1, 3), "body");
    EXPECT_EQ(call_counts().sleeps, 0u);
    there.quit();
}

// ---- Locks that go --------------------------------------------------------------------------------------------------

TEST(workstations, that_crash_leave_nothing_held)
{
    Shared here;
    Workstation prober;
    static const struct {
        const char *order, *answer, *bytes;
    } locks[] = {
        { "lock write", OK, READER_BYTES }, { "lock read", OK, "1" }, { "hold 999999998 1", "held", "gate" },
        { "hold 999999999 1", "held", "spare" }, { "hold 1000001000 1", "held", "1000" },
    };
    for (const auto &lock : locks) {
        SCOPED_TRACE(lock.order);
        Workstation there;
        EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
        EXPECT_EQ(there.ask(lock.order), lock.answer);
        EXPECT_EQ(held(prober, here.path), lock.bytes);
        there.crash();
        settle([&] { return held(prober, here.path) == NOTHING; });
        EXPECT_EQ(held(prober, here.path), NOTHING);
        calls_reset();
        EXPECT_EQ(here.change(2, 101, 1, 1, "one", "changed"), (DictStatus)DICT_OK);
        EXPECT_EQ(here.body(2, 101, 1, 1), "changed");
        EXPECT_EQ(call_counts().sleeps, 0u);
        EXPECT_EQ(call_lines({ FAULT_LOCK })[3], "lock 1000000001+1");   // the first reader byte is free again
    }
    prober.quit();
}

// What another holds meanwhile stays as it is. Under Wine a single byte of a program that has crashed stays shut to the
// programs of Linux until no Windows program holds a lock in this file.
TEST(workstations, that_crash_beside_another_leave_nothing_when_that_one_is_done)
{
    Shared here;
    Workstation reader, prober, neighbour(WORKSTATION_HERE);
    bool across = reader.ask("system") != neighbour.ask("system");
    EXPECT_EQ(reader.open(here.path, DICT_SHARED), OK);
    for (const char *order : { "hold 999999998 1", "hold 999999999 1", "lock read" }) {
        SCOPED_TRACE(order);
        EXPECT_EQ(reader.ask("lock read"), OK);
        Workstation there;
        EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
        (void)there.ask(order);
        EXPECT_NE(held(prober, here.path), "1");
        there.crash();
        settle([&] { return held(prober, here.path) == "1"; });
        EXPECT_EQ(held(prober, here.path), "1");
        if (!across) { EXPECT_EQ(held(neighbour, here.path), "1"); }
        EXPECT_EQ(reader.ask("unlock"), "1");
        EXPECT_EQ(held(neighbour, here.path), NOTHING);
        EXPECT_EQ(held(prober, here.path), NOTHING);
    }
    reader.quit();
    prober.quit();
    neighbour.quit();
}

// What was written before the end is in the file, and nobody has been told: the counter rises with the unlock.
TEST(workstations, that_crash_under_a_lock_tell_nobody_of_their_change)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(here.body(2, 101, 1, 3), "<status 3>");
    EXPECT_EQ(there.ask("lock write"), OK);
    EXPECT_EQ(there.ask("add 2 101 1 3 three body"), OK);
    there.crash();
    settle([&] { return read_lock(here.file()); });
    read_unlock(here.file());
    EXPECT_EQ(here.count_in_file(), 0u);
    EXPECT_EQ(here.body(2, 101, 1, 3), "<status 3>");
    here.reopen(DICT_SHARED);
    EXPECT_EQ(here.body(2, 101, 1, 3), "body");
}

// An addition that extends the file closes and opens it, and the lock is gone in the midst of the work.
TEST(workstations, that_extend_the_file_lose_their_lock)
{
    Shared here;
    Workstation there, prober;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("lock write"), OK);
    EXPECT_EQ(there.ask("add 2 101 1 3 three small"), OK);
    EXPECT_EQ(held(prober, here.path), READER_BYTES);             // it fits, and the lock stays
    EXPECT_EQ(here.body(2, 101, 1, 1), "<status 21>");
    EXPECT_EQ(there.ask("add 2 101 1 4 four x*9000"), OK);
    EXPECT_EQ(there.ask("state"), "-1 0");
    EXPECT_EQ(held(prober, here.path), NOTHING);                  // while it believes to hold the lock
    EXPECT_EQ(here.body(2, 101, 1, 1), "body-of-one");
    EXPECT_EQ(there.ask("unlock"), "0");
    EXPECT_EQ(there.ask("state"), "-1 1");
    EXPECT_EQ(held(prober, here.path), NOTHING);
    EXPECT_EQ(here.body(2, 101, 1, 4), std::string(9000, 'x'));

    // From then on it takes no lock and sees no change.
    EXPECT_EQ(here.change(2, 101, 1, 1, "one", "BODY-OF-ONE-AND-MORE"), (DictStatus)DICT_OK);
    EXPECT_EQ(there.ask("state"), "-1 1");
    EXPECT_TRUE(write_lock(here.file()));
    EXPECT_EQ(there.ask("name 2 101 1 2"), "0 two");
    EXPECT_EQ(there.ask("state"), "-1 1");
    EXPECT_NE(write_unlock(here.file()), 0u);

    // Through close and open too.
    EXPECT_EQ(there.ask("close"), OK);
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("state").substr(0, 3), "-1 ");
    there.quit();
    prober.quit();
}

// What one adds goes under in the directory that the other has in memory: neither of them looks at the file any more.
TEST(workstations, that_have_lost_their_locks_overwrite_each_other)
{
    Shared here;
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(here.add(2, 101, 5, 10, "ten", "body-of-ten"), (DictStatus)DICT_OK);
    EXPECT_EQ(there.ask("add 2 101 6 11 eleven body-of-eleven"), OK);   // a type takes blocks at the end of the file
    EXPECT_EQ(here.file()->lock_state, LOCK_WRITER);
    EXPECT_EQ(there.ask("state").substr(0, 3), "-1 ");

    EXPECT_EQ(there.ask("read 2 101 5 10"), "0 body-of-ten");           // from when the other still had a lock
    EXPECT_EQ(here.body(2, 101, 6, 11), "<status 3>");
    EXPECT_EQ(here.add(2, 101, 5, 12, "twelve", "body-of-twelve"), (DictStatus)DICT_OK);
    Workstation third;
    EXPECT_EQ(third.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(third.ask("read 2 101 5 12"), "0 body-of-twelve");
    EXPECT_EQ(third.ask("read 2 101 6 11"), "3");
    EXPECT_EQ(there.ask("read 2 101 6 11"), "0 body-of-eleven");        // it thinks that all is well
    third.quit();
    there.quit();
}

// Who owns which identifier is told from memory, as it was when the file was opened; only the directory is looked at
// again. So both are offered the same identifier, and whoever comes second cannot have it, however often he asks.
TEST(workstations, know_the_owners_of_their_own_copy)
{
    Shared here;
    here.begin_kind_1();
    here.reopen(DICT_SHARED);
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("owner 1"), "1");

    EXPECT_EQ(dd_uniqueid(1, 0, 7), 22001);
    EXPECT_EQ(there.ask("uniqueid 1 0 7"), "22001");
    EXPECT_EQ(here.add(1, 0, 7, 22001, "here", "from-here"), (DictStatus)DICT_OK);
    EXPECT_EQ(dd_uniqueid(1, 0, 7), 22002);
    EXPECT_EQ(there.ask("uniqueid 1 0 7"), "22001");
    EXPECT_EQ(there.ask("add 1 0 7 22001 there from-there"), "2");
    EXPECT_EQ(there.ask("read 1 0 7 22001"), "3");   // nor is it found without its owner, before the next open
    EXPECT_EQ(there.ask("close"), OK);
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("read 1 0 7 22001"), "0 from-here");
    EXPECT_EQ(there.ask("uniqueid 1 0 7"), "22002");
    there.quit();
}

// The table that one has in memory goes over the one that the other has stored, and with it the owner of what the other
// has added: the resource is still in its module, and nobody finds it.
TEST(workstations, write_their_own_owners_over_those_of_others)
{
    Shared here;
    here.begin_kind_1();
    ASSERT_EQ(here.add(1, 0, 7, 22001, "second", "room"), (DictStatus)DICT_OK);
    ASSERT_EQ(here.add(1, 0, 7, 22002, "third", "room"), (DictStatus)DICT_OK);
    for (i32 id : { 22001, 22002 }) ASSERT_EQ(dd_remove_resource(1, 0, 7, id), (DictStatus)DICT_OK) << id;
    here.reopen(DICT_SHARED);
    Workstation there;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(there.ask("owner 1"), "1");

    EXPECT_EQ(here.add(1, 0, 7, 22001, "here", "from-here"), (DictStatus)DICT_OK);
    EXPECT_EQ(there.ask("add 1 0 7 22002 there from-there"), OK);
    EXPECT_EQ(here.file()->lock_state, LOCK_NONE);                 // both under a lock that they kept
    EXPECT_EQ(there.ask("state").substr(0, 2), "0 ");
    Workstation third;
    EXPECT_EQ(third.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(third.ask("read 1 0 7 22000"), "0 makes the module, and room in it");
    EXPECT_EQ(third.ask("read 1 0 7 22001"), "3");
    EXPECT_EQ(third.ask("read 1 0 7 22002"), "0 from-there");
    EXPECT_EQ(here.body(1, 0, 7, 22001), "from-here");             // who added it knows its owner
    third.quit();
    there.quit();
}

// The last of 1,000 reader bytes goes to a reader; the next one finds none in three rounds.
TEST(workstations, are_1000_readers_at_most)
{
    Shared here;
    Workstation there, last;
    EXPECT_EQ(there.open(here.path, DICT_SHARED), OK);
    EXPECT_EQ(last.open(here.path, DICT_SHARED), OK);
    for (u32 byte = 1; byte < 1000; byte++) {
        ASSERT_EQ(there.ask("hold " + std::to_string(1000000000 + byte) + " 1"), "held") << byte;
    }
    EXPECT_EQ(last.ask("lock read"), OK);
    EXPECT_EQ(last.ask("state"), "1000 0");
    calls_reset();
    EXPECT_EQ(here.body(2, 101, 1, 1), "<status 21>");
    EXPECT_EQ(call_counts().lock, 1u + 3 * 1000);
    EXPECT_EQ(call_counts().slept_ms, 3000u);
    EXPECT_EQ(last.ask("unlock"), "1");
    EXPECT_EQ(here.body(2, 101, 1, 1), "body-of-one");
    last.quit();
    there.quit();
}

// Byte locks go across systems that share a file, modes do not: each system keeps those of its own programs.
TEST(workstations, are_kept_out_by_the_modes_of_their_own_system)
{
    Shared here;
    Workstation there, neighbour(WORKSTATION_HERE);
    bool across = there.ask("system") != neighbour.ask("system");
    for (u16 mode : { (u16)DICT_EXCLUSIVE, (u16)DICT_READ_ONLY }) {
        here.reopen(mode);
        EXPECT_EQ(neighbour.open(here.path, DICT_SHARED), "10") << mode;
        EXPECT_EQ(there.open(here.path, DICT_SHARED), across ? OK : "10") << mode;
        (void)there.ask("close");
    }
    there.quit();
    neighbour.quit();
}

// ---- Open modes -----------------------------------------------------------------------------------------------------

TEST(workstations_by_mode, share_a_file_by_their_modes)
{
    Shared here;
    ASSERT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    for (u16 first : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        for (u16 second : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
            bool together = first == second && first != DICT_EXCLUSIVE;
            Workstation there;
            EXPECT_EQ(there.open(here.path, first), OK);
            DictStatus status = ds_openfile(1, here.path, second, 0, &here.cookie);
            EXPECT_EQ(status, (DictStatus)(together ? DICT_OK : DICT_ACCESS_DENIED)) << first << ' ' << second;
            EXPECT_EQ(here.body(2, 101, 1, 1), together ? "body-of-one" : "<status 7>");
            EXPECT_EQ(there.ask("read 2 101 1 1"), "0 body-of-one");
            (void)ds_closefile(1);
            there.quit();
        }
    }
}

// All of them are had, and none is taken.
TEST(workstations_by_mode, take_no_lock_in_other_modes)
{
    Shared here;
    ASSERT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    for (u16 mode : { (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        SCOPED_TRACE(mode);
        Workstation there;
        EXPECT_EQ(there.open(here.path, mode), OK);
        EXPECT_EQ(there.ask("lock read"), OK);
        EXPECT_EQ(there.ask("state"), "0 0");
        EXPECT_EQ(there.ask("lock write"), OK);
        EXPECT_EQ(there.ask("state"), "0 0");
        EXPECT_EQ(there.ask("unlock"), std::to_string(mode));
        EXPECT_EQ(there.ask("state"), "0 0");
        there.quit();
    }
}

TEST(workstations_by_mode, that_crash_leave_no_mode_behind)
{
    Shared here;
    ASSERT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        Workstation there;
        EXPECT_EQ(there.open(here.path, mode), OK);
        there.crash();
        EXPECT_EQ(ds_openfile(1, here.path, DICT_EXCLUSIVE, 0, &here.cookie), (DictStatus)DICT_OK) << mode;
        EXPECT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    }
}

TEST(workstations_by_mode, do_not_replace_or_delete_what_another_has_open)
{
    Shared here;
    ASSERT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
    std::string before = here.bytes();
    for (u16 mode : { (u16)DICT_SHARED, (u16)DICT_READ_ONLY, (u16)DICT_EXCLUSIVE }) {
        Workstation there;
        EXPECT_EQ(there.open(here.path, mode), OK);
        EXPECT_EQ(ds_createfile(1, here.path), (DictStatus)DICT_NO_FILE) << mode;
        EXPECT_FALSE(file_delete(here.path)) << mode;
        EXPECT_EQ(file_error, (u32)FILE_REFUSED) << mode;
        EXPECT_EQ(there.ask("read 2 101 1 1"), "0 body-of-one") << mode;
        there.quit();
    }
    EXPECT_EQ(here.bytes().size(), before.size());
    EXPECT_EQ(ds_openfile(1, here.path, DICT_SHARED, 0, &here.cookie), (DictStatus)DICT_OK);
    EXPECT_EQ(here.body(2, 101, 1, 1), "body-of-one");
}

// A dictionary that one workstation makes is one to the other.
TEST(workstations_by_mode, open_what_another_has_made)
{
    Shared here;
    Workstation there;
    Name made = here.dir.name("b.dic");
    EXPECT_EQ(there.ask("create \"" + made.str() + "\""), OK);
    EXPECT_EQ(there.open(made, DICT_EXCLUSIVE), OK);
    EXPECT_EQ(there.ask("add 2 100 2 100 first"), OK);
    EXPECT_EQ(there.ask("add 2 101 2 101 second"), OK);
    EXPECT_EQ(there.ask("add 2 101 1 1 one x*70000"), OK);
    DictCookie cookie;
    EXPECT_EQ(ds_openfile(2, made, DICT_SHARED, 0, &cookie), (DictStatus)DICT_ACCESS_DENIED);
    EXPECT_EQ(there.ask("close"), OK);
    EXPECT_EQ(ds_openfile(2, made, DICT_SHARED, 0, &cookie), (DictStatus)DICT_OK);
    EXPECT_EQ(here.body(2, 101, 1, 1), std::string(70000, 'x'));
    there.quit();
}

} // namespace zuk
