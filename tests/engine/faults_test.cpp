// The writing operations with each call to the platform in turn failing: once, and from then on. Whatever fails, the
// file opens again and every resource that the operation does not touch reads back whole.
#include "tests/engine/slot_dictionary.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace zuk {

// ---- All that stands in a file --------------------------------------------------------------------------------------

// "kind/module" -> name, "kind/module/type/id" -> name and body; what cannot be read reads as "?".
using Contents = std::map<std::string, std::string>;

static std::string name_of(DictFile *file, i32 kind, i32 module, u16 type, i16 id)
{
    u32 pos;
    i32 len;
    u8 name[256];
    if (name_locate(file, kind, module, type, id, &pos, &len)) return "?";
    if (dict_read_name_at(file, pos, name, (u32)len)) return "?";
    return std::string((const char *)name + 1, name[0]);
}

static std::string body_of(DictFile *file, i32 kind, i32 module, u16 type, i16 id)
{
    u32 pos;
    i32 len;
    if (resource_locate(file, kind, module, type, id, &pos, &len)) return "?";
    std::string body((size_t)len, '\0');
    return resource_fetch(file, kind, module, type, pos, len, body.data()) ? "?" : body;
}

static Contents contents_of(DictFile *file)
{
    Contents contents;
    for (i16 index = 0; module_entry(file, index); index++) {
        i32 kind = le_get(module_entry(file, index)->kind);
        i32 module = le_get(module_entry(file, index)->module);
        std::string key = std::to_string(kind) + '/' + std::to_string(module);
        contents[key] = name_of(file, kind, module, 2, 0);
        for (i32 t = 0; directory_get(file, index) && type_at(directory_get(file, index), t); t++) {
            i16 type = le_get(type_at(directory_get(file, index), t)->type);
            for (i32 n = 0;; n++) {
                const ResourceEntry *entry = resource_entry_at(file, index, type, n, nullptr, nullptr);
                if (!entry) break;
                i16 id = le_get(entry->id);
                contents[key + '/' + std::to_string(type) + '/' + std::to_string(id)] =
                    name_of(file, kind, module, (u16)type, id) + '|' + body_of(file, kind, module, (u16)type, id);
            }
        }
    }
    return contents;
}

// ---- The file to start from -----------------------------------------------------------------------------------------

// Several modules, types and resources; one type whose slots are all taken, one whose blocks are full.
static const std::string &sound_file()
{
    static const std::string bytes = [] {
        SlotDictionary dict;
        EXPECT_EQ(dict.add(2, 100, 2, 100, "Mod100", "the first"), 0u);
        EXPECT_EQ(dict.add(2, 200, 2, 200, "Mod200", "the second"), 0u);
        EXPECT_EQ(dict.add(3, 300, 23, 300, "Mod300", ""), 0u);
        for (i32 module : { 100, 200 }) {
            for (i16 id : std::initializer_list<i16>{ 2, 4, 3 }) {
                std::string text = std::to_string(module) + '-' + std::to_string(id);
                EXPECT_EQ(dict.add(2, module, 1, id, "name " + text, "body " + text), 0u);
                EXPECT_EQ(dict.add(2, module, 26, id, "n" + text, std::string(41, (char)('a' + id))), 0u);
            }
        }
        EXPECT_EQ(dict.add(2, 200, 4, 1, "slot 1", "s1"), 0u);    // two slots, then two more
        EXPECT_EQ(dict.add(2, 200, 4, 2, "slot 2", "s2"), 0u);
        dict.stored_core_table(1);
        EXPECT_EQ(dict.add(1, 1, 1, 4, "core", "body of the core"), 0u);
        EXPECT_EQ(dict.add(3, 300, 5, 1, "at the end", "body at the end"), 0u);
        dict.close();
        return dict.bytes();
    }();
    return bytes;
}

// The owners of type 1, as they stand in the file.
static void load_owners(SlotDictionary &dict)
{
    std::string table = body_of(dict, 1, 10, 52, 1);
    if (table == "?") return;
    if (!dict->core_tables) { EXPECT_EQ(core_tables_init(dict), 0u); }
    core_table_attach(dict, 1, 0, handle_of(table));
}

// ---- One operation, and what fails in it ----------------------------------------------------------------------------

struct Operation {
    std::function<DictStatus(GHandle body)> work;
    std::string body;                 // made into a handle before anything fails
    std::set<std::string> touched;    // what it may change; of a change or a removal also what lies behind in its block
};

static DictStatus add(i32 kind, i32 module, u16 type, i16 id, const std::string &name, GHandle body)
{
    return dd_add_resource(kind, module, type, id, Name(name), body);
}

static DictStatus change(i32 module, u16 type, i32 id, const char *name, GHandle body)
{
    return dd_change_resource(2, module, type, id, name ? Name(name).text : nullptr, body);
}

// Other calls than those that only count as failed when a hook is there.
static const FaultCall calls_that_fail[] = {
    FAULT_ALLOC, FAULT_RESIZE, FAULT_OPEN,    FAULT_CLOSE, FAULT_READ, FAULT_WRITE,
    FAULT_SEEK,  FAULT_SIZE,   FAULT_SET_END, FAULT_LOCK,  FAULT_UNLOCK,
};

static std::string words_of(const Fault &fault)
{
    return "call " + std::to_string(fault.call) + " number " + std::to_string(fault.nth) +
           (fault.from_then_on ? " and all behind it" : "") + (fault.cut < 0 ? "" : " cut to " + std::to_string(fault.cut));
}

static void expect_untouched(const Operation &operation, const Contents &before, const Contents &after)
{
    for (const auto &[key, value] : before) {
        if (operation.touched.count(key)) continue;
        auto at = after.find(key);
        EXPECT_EQ(at == after.end() ? "missing" : at->second, value) << key;
    }
    for (const auto &[key, value] : after) {
        if (!operation.touched.count(key)) { EXPECT_TRUE(before.count(key)) << "new: " << key; }
    }
}

// In memory a failed allocation can make more unreadable, but never gives one resource the bytes of another.
static void expect_no_wrong_bytes(const Operation &operation, const Contents &before, const Contents &after)
{
    for (const auto &[key, value] : after) {
        if (operation.touched.count(key) || value.find('?') != std::string::npos) continue;
        EXPECT_TRUE(before.count(key) && before.at(key) == value) << key << " reads " << value;
    }
}

// What a failed call of files or memory can become: the mapped status of the call, or that of what is missing for it.
static const std::set<DictStatus> told = { DICT_ACCESS_DENIED, DICT_NO_MEMORY, DICT_NO_ROOM, DICT_NOT_FOUND,
                                           DICT_LOCKED_OUT };

struct Outcome {
    bool met;             // the fault: false ends the loop
    DictStatus status;
};

static Outcome run_with(const std::string &file, u16 mode, const Operation &operation, const Fault &fault,
                        const Contents &before, const Contents &done)
{
    SlotDictionary dict(file, mode);
    EXPECT_EQ(dict.status, 0u);
    load_owners(dict);

    GHandle body = handle_of(operation.body);
    clock_virtual_start(0);
    faults_start(fault);
    Outcome outcome;
    outcome.status = operation.work(body);
    outcome.met = faults_stop();
    clock_virtual_stop();
    gfree(body);
    bool cut = fault.cut >= 0;

    EXPECT_TRUE(told.count(outcome.status) || outcome.status == 0) << "status " << outcome.status;
    {
        AfterACrash crash(dict.bytes());
        EXPECT_EQ(crash.status, 0u);
        if (crash.status == 0 && !cut) expect_untouched(operation, before, contents_of(crash));
        if (crash.status == 0 && cut) (void)contents_of(crash);    // half a write: it only has to end
        if (!outcome.met) { EXPECT_EQ(contents_of(crash), done); }
    }

    bool open = dict->file != 0;
    if (open && !cut) {
        Contents now = contents_of(dict);
        expect_no_wrong_bytes(operation, before, now);
        bool of_memory = fault.call == FAULT_ALLOC || fault.call == FAULT_RESIZE;
        if (!of_memory) expect_untouched(operation, before, now);
        if (outcome.status == 0) { EXPECT_EQ(now, done); }
    }

    // Closed and opened again, as somebody would who has read the status.
    dict.close();
    dict.open(DICT_EXCLUSIVE);
    EXPECT_EQ(dict.status, 0u);
    if (!cut) expect_untouched(operation, before, contents_of(dict));
    dict.close();

    u32 lost = handles_alive() - dict.alive_at_start();
    if (fault.call == FAULT_RESIZE && outcome.met) {
        EXPECT_GE(lost, 1u) << "a failed grealloc loses its handle, and those that only it led to";
        dict.expect_lost(lost);
    }
    return outcome;
}

static void fail_each_call(const std::string &file, const Operation &operation, u16 mode = DICT_EXCLUSIVE)
{
    Contents before, done;
    {
        SlotDictionary dict(file);
        before = contents_of(dict);
        load_owners(dict);
        GHandle body = handle_of(operation.body);
        EXPECT_EQ(operation.work(body), 0u);
        gfree(body);
        done = contents_of(dict);
        for (const auto &[key, value] : before) EXPECT_EQ(value.find('?'), std::string::npos) << key;
        for (const auto &[key, value] : done) EXPECT_EQ(value.find('?'), std::string::npos) << key;
    }

    std::map<FaultCall, u32> failed;
    for (FaultCall call : calls_that_fail) {
        for (bool from_then_on : { false, true }) {
            for (u32 nth = 1;; nth++) {
                Fault fault = { .call = call, .nth = nth, .from_then_on = from_then_on,
                                .error = PLATFORM_ACCESS_DENIED };
                SCOPED_TRACE(words_of(fault));
                if (!run_with(file, mode, operation, fault, before, done).met) break;
                failed[call]++;
                ASSERT_LT(nth, 2000u);
                if (testing::Test::HasFailure()) return;
            }
        }
    }
    for (FaultCall call : { FAULT_READ, FAULT_WRITE }) {
        for (i32 cut : { 0, 1, 7 }) {
            for (u32 nth = 1;; nth++) {
                Fault fault = { .call = call, .nth = nth, .cut = cut };
                SCOPED_TRACE(words_of(fault));
                if (!run_with(file, mode, operation, fault, before, done).met) break;
                if (testing::Test::HasFailure()) return;
            }
        }
    }
    EXPECT_GT(failed[FAULT_WRITE], 0u);
    EXPECT_GT(failed[FAULT_SEEK], 0u);
}

// ---- Adding ---------------------------------------------------------------------------------------------------------

TEST(faults_in_dd_add_resource, into_a_type_that_has_room)
{
    fail_each_call(sound_file(), { .work = [](GHandle body) { return add(2, 200, 1, 9, "nine", body); },
                                   .body = "body of nine",
                                   .touched = { "2/200/1/9" } });
}

TEST(faults_in_dd_add_resource, into_blocks_that_have_to_move)
{
    fail_each_call(sound_file(), { .work = [](GHandle body) { return add(2, 200, 26, 9, std::string(200, 'n'), body); },
                                   .body = std::string(900, 'b'),
                                   .touched = { "2/200/26/9" } });
}

TEST(faults_in_dd_add_resource, into_blocks_at_the_end_of_the_file)
{
    fail_each_call(sound_file(), { .work = [](GHandle body) { return add(3, 300, 5, 2, "two", body); },
                                   .body = std::string(4000, 'b'),
                                   .touched = { "3/300/5/2" } });
}

TEST(faults_in_dd_add_resource, into_a_run_without_a_slot)
{
    fail_each_call(sound_file(), { .work = [](GHandle body) { return add(2, 200, 4, 3, "slot 3", body); },
                                   .body = "s3",
                                   .touched = { "2/200/4/3" } });
}

TEST(faults_in_dd_add_resource, into_a_new_type)
{
    fail_each_call(sound_file(), { .work = [](GHandle body) { return add(2, 100, 7, 9, "nine", body); },
                                   .body = "body of nine",
                                   .touched = { "2/100/7/9" } });
}

TEST(faults_in_dd_add_resource, with_a_new_module)
{
    fail_each_call(sound_file(), { .work = [](GHandle body) { return add(2, 150, 2, 150, "Mod150", body); },
                                   .body = "its own",
                                   .touched = { "2/150", "2/150/2/150" } });
}

TEST(faults_in_dd_add_resource, of_kind_1_with_a_module_on_demand)
{
    fail_each_call(sound_file(), { .work = [](GHandle body) {
                                       (void)dd_choose_owner(3);
                                       return add(1, 1, 1, 7, "seven", body);
                                   },
                                   .body = "body of seven",
                                   .touched = { "1/49", "1/49/1/7", "1/10/52/1" } });
}

TEST(faults_in_dd_add_resource, of_kind_1_beyond_the_owners)
{
    // The table of type 1 has 20 positions: it grows in memory, and its resource with it.
    fail_each_call(sound_file(), { .work = [](GHandle body) { return add(1, 1, 1, 700, "far", body); },
                                   .body = "body",
                                   .touched = { "1/1/1/700", "1/10/52/1" } });
}

TEST(faults_in_dd_add_resource, in_a_shared_file)
{
    fail_each_call(sound_file(), { .work = [](GHandle body) { return add(2, 100, 7, 9, "nine", body); },
                                   .body = "body of nine",
                                   .touched = { "2/100/7/9" } }, DICT_SHARED);
}

TEST(faults_in_dd_add_resource, of_the_module_that_does_not_fit_the_table)
{
    static const std::string file = [] {
        SlotDictionary dict;
        for (i32 n = 1; n <= 50; n++) dict.module(2, n, "Mod" + std::to_string(n));
        EXPECT_EQ(dict.add(2, 7, 1, 1, "one", "body of one"), 0u);
        dict.close();
        return dict.bytes();
    }();
    fail_each_call(file, { .work = [](GHandle body) { return add(2, 51, 2, 51, "Mod51", body); },
                           .body = "its own",
                           .touched = { "2/51", "2/51/2/51" } });
}

TEST(faults_in_dd_add_resource, of_the_block_that_does_not_fit_the_table)
{
    static const std::string file = [] {
        SlotDictionary dict;
        dict.module(2, 1, "Mod1");
        EXPECT_EQ(dict.add(2, 1, 1, 1, "one", "body of one"), 0u);
        while (le_get(dict->header.free_entries) > 1) EXPECT_NE(block_allocate(dict, BLOCK_DIRECTORY, 16), 0u);
        dict.close();
        return dict.bytes();
    }();
    fail_each_call(file, { .work = [](GHandle body) { return add(2, 1, 7, 1, "one", body); },
                           .body = "its own",
                           .touched = { "2/1/7/1" } });
}

// ---- Changing -------------------------------------------------------------------------------------------------------

// The names and bodies of a type were written in the order 2, 4, 3.

TEST(faults_in_dd_change_resource, of_a_name_to_a_longer_one)
{
    fail_each_call(sound_file(), { .work = [](GHandle) { return change(200, 1, 4, "a longer name", 0); },
                                   .body = "",
                                   .touched = { "2/200/1/4", "2/200/1/3" } });
}

TEST(faults_in_dd_change_resource, of_a_name_to_a_shorter_one)
{
    fail_each_call(sound_file(), { .work = [](GHandle) { return change(200, 1, 4, "4", 0); },
                                   .body = "",
                                   .touched = { "2/200/1/4", "2/200/1/3" } });
}

TEST(faults_in_dd_change_resource, of_the_last_body_in_place)
{
    fail_each_call(sound_file(), { .work = [](GHandle body) { return change(200, 1, 3, nullptr, body); },
                                   .body = "another body",
                                   .touched = { "2/200/1/3" } });
}

TEST(faults_in_dd_change_resource, of_a_body_to_a_larger_one)
{
    fail_each_call(sound_file(), { .work = [](GHandle body) { return change(200, 1, 4, nullptr, body); },
                                   .body = std::string(300, 'b'),
                                   .touched = { "2/200/1/4", "2/200/1/3" } });
}

TEST(faults_in_dd_change_resource, of_a_body_to_a_smaller_one)
{
    fail_each_call(sound_file(), { .work = [](GHandle body) { return change(200, 26, 4, nullptr, body); },
                                   .body = "4",
                                   .touched = { "2/200/26/4", "2/200/26/3" } });
}

TEST(faults_in_dd_change_resource, of_a_body_whose_block_has_to_move)
{
    fail_each_call(sound_file(), { .work = [](GHandle body) { return change(200, 26, 3, "name", body); },
                                   .body = std::string(900, 'b'),
                                   .touched = { "2/200/26/3" } });
}

TEST(faults_in_dd_change_resource, of_the_name_of_a_module)
{
    // The names of modules stand in the order in which they were made, and all behind this one move.
    fail_each_call(sound_file(), { .work = [](GHandle) { return change(200, 2, 200, "a longer name", 0); },
                                   .body = "",
                                   .touched = { "2/200", "3/300", "1/10", "1/1", "2/200/2/200" } });
}

// ---- Removing -------------------------------------------------------------------------------------------------------

TEST(faults_in_dd_remove_resource, of_the_first)
{
    fail_each_call(sound_file(), { .work = [](GHandle) { return dd_remove_resource(2, 200, 1, 2); },
                                   .body = "",
                                   .touched = { "2/200/1/2", "2/200/1/4", "2/200/1/3" } });
}

TEST(faults_in_dd_remove_resource, of_the_last)
{
    fail_each_call(sound_file(), { .work = [](GHandle) { return dd_remove_resource(2, 200, 1, 3); },
                                   .body = "",
                                   .touched = { "2/200/1/3" } });
}

TEST(faults_in_dd_remove_resource, of_kind_1)
{
    fail_each_call(sound_file(), { .work = [](GHandle) { return dd_remove_resource(1, 1, 1, 4); },
                                   .body = "",
                                   .touched = { "1/1/1/4", "1/10/52/1" } });
}

TEST(faults_in_dd_remove_resource, of_a_module)
{
    std::set<std::string> touched = { "2/200", "3/300", "1/10", "1/1", "2/200/2/200", "2/200/4/1", "2/200/4/2" };
    for (const char *id : { "2", "3", "4" }) {
        touched.insert(std::string("2/200/1/") + id);
        touched.insert(std::string("2/200/26/") + id);
    }
    fail_each_call(sound_file(), { .work = [](GHandle) { return dd_remove_resource(2, 0, 2, 200); },
                                   .body = "",
                                   .touched = touched });
}

} // namespace zuk
