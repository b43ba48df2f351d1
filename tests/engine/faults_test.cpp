// The writing operations with each call to the platform in turn failing: once, and from then on. Whatever fails, the
// file opens again and every resource that the operation does not touch reads back whole.
#include "tests/engine/slot_dictionary.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace zuk {
namespace {

// ---- All that stands in a file --------------------------------------------------------------------------------------

// "kind/module" -> name, "kind/module/type/id" -> name and body; what cannot be read reads as "?".
using Contents = std::map<std::string, std::string>;

static std::string module_name_of(DictFile *file, i16 index)
{
    u8 name[256];
    if (module_read_name(file, index, name)) return "?";
    return std::string((const char *)name + 1, name[0]);
}

// As its type has it, also for types 2 and 23.
static std::string name_of(DictFile *file, i16 index, i16 type, const ResourceEntry *entry)
{
    BlockEntry block;
    u32 name_block;
    u8 name[256];
    if (!resource_range(file, index, type, nullptr, &name_block, nullptr)) return "?";
    if (type_block_read(file, name_block, BLOCK_NAMES, &block)) return "?";
    i32 offset = le_get(entry->name_offset);
    if ((i64)offset + entry->name_size > (i64)le_get(block.size) - le_get(block.free)) return "?";
    if (dict_read_name_at(file, le_get(block.offset) + (u32)offset, name, entry->name_size)) return "?";
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
        contents[key] = module_name_of(file, index);
        for (i32 t = 0; directory_get(file, index) && type_at(directory_get(file, index), t); t++) {
            i16 type = le_get(type_at(directory_get(file, index), t)->type);
            for (i32 n = 0;; n++) {
                const ResourceEntry *entry = resource_entry_at(file, index, type, n, nullptr, nullptr);
                if (!entry) break;
                i16 id = le_get(entry->id);
                contents[key + '/' + std::to_string(type) + '/' + std::to_string(id)] =
                    name_of(file, index, type, entry) + '|' + body_of(file, kind, module, (u16)type, id);
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
    bool silent = false;              // status 0 does not mean that all was done
    bool grows_table = false;         // pages of the block table are read again in the midst of it
};

static DictStatus add(i32 kind, i32 module, u16 type, i16 id, const std::string &name, GHandle body)
{
    return dd_add_resource(kind, module, type, id, Name(name), body);
}

static DictStatus change(i32 module, u16 type, i32 id, const char *name, GHandle body)
{
    return dd_change_resource(2, module, type, id, name ? Name(name).text : nullptr, body);
}

static const FaultCall calls_that_fail[] = { FAULT_ALLOC, FAULT_RESIZE, FAULT_OPEN, FAULT_CLOSE, FAULT_READ,
                                             FAULT_WRITE, FAULT_SEEK,   FAULT_SIZE, FAULT_LOCK,  FAULT_UNLOCK };

static std::string words_of(const Fault &fault)
{
    std::string words = "call " + std::to_string(fault.call) + " number " + std::to_string(fault.nth);
    if (fault.from_then_on) words += " and all behind it";
    if (fault.cut >= 0) words += " cut to " + std::to_string(fault.cut);
    return words;
}

// What a failed call of files or memory can become: the mapped status of the call, or that of what is missing for it;
// 2 for a module of kind 1 whose directory cannot be read, as a new one is tried then.
static const std::set<DictStatus> told = { DICT_ACCESS_DENIED, DICT_BAD_POSITION, DICT_NO_MEMORY, DICT_NO_ROOM,
                                           DICT_NOT_FOUND,     DICT_LOCKED_OUT,   DICT_EXISTS };

// Where the rounds take place: one file, with the same bytes at the start of each round, and a second one for what
// another process would find. Files are overwritten rather than made anew, which takes far less time.
class Rounds {
public:
    Rounds(const std::string &file, u16 open_mode) : bytes(file), mode(open_mode), dict(file)
    {
        before = contents_of(dict);
        for (const auto &[key, value] : before) EXPECT_EQ(value.find('?'), std::string::npos) << key;
    }
    void expect_without_faults(const Operation &operation);
    bool run(const Operation &operation, const Fault &fault);    // false when no call was left to fail

private:
    void overwrite(const std::string &name, const std::string &content);
    Contents contents_after_a_crash(DictStatus *status);
    void expect_untouched(const Operation &operation, const Contents &after);
    void expect_no_wrong_bytes(const Operation &operation, const Contents &after);

    std::string bytes;
    u16 mode;
    SlotDictionary dict;
    Contents before;    // what stands in the file,
    Contents done;      // and what must stand there when nothing has failed
};

void Rounds::overwrite(const std::string &name, const std::string &content)
{
    std::filesystem::path path = dict.dir.path(name);
    if (!dict.dir.has(name)) (void)dict.dir.put(name, "");
    std::fstream stream(path, std::ios::in | std::ios::out | std::ios::binary);
    stream.write(content.data(), (std::streamsize)content.size());
    stream.close();
    EXPECT_TRUE(stream.good());
    if (std::filesystem::file_size(path) != content.size()) std::filesystem::resize_file(path, content.size());
}

Contents Rounds::contents_after_a_crash(DictStatus *status)
{
    overwrite("crash.dic", dict.bytes());
    DictFile file = {};
    Name path = dict.dir.name("crash.dic");
    *status = dict_file_open(&file, path, DICT_EXCLUSIVE, 0);
    Contents contents = contents_of(&file);
    (void)dict_file_close(&file);
    return contents;
}

void Rounds::expect_untouched(const Operation &operation, const Contents &after)
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
void Rounds::expect_no_wrong_bytes(const Operation &operation, const Contents &after)
{
    for (const auto &[key, value] : after) {
        if (operation.touched.count(key) || value.find('?') != std::string::npos) continue;
        EXPECT_TRUE(before.count(key) && before.at(key) == value) << key << " reads " << value;
    }
}

void Rounds::expect_without_faults(const Operation &operation)
{
    load_owners(dict);
    GHandle body = handle_of(operation.body);
    EXPECT_EQ(operation.work(body), 0u);
    gfree(body);
    done = contents_of(dict);
    for (const auto &[key, value] : done) EXPECT_EQ(value.find('?'), std::string::npos) << key;
    expect_untouched(operation, done);
}

bool Rounds::run(const Operation &operation, const Fault &fault)
{
    EXPECT_EQ(dict.stop(), 0u);
    overwrite("a.dic", bytes);
    dict.start(mode);
    EXPECT_EQ(dict.status, 0u);
    load_owners(dict);

    GHandle body = handle_of(operation.body);
    clock_virtual_start(0);
    faults_start(fault);
    DictStatus status = operation.work(body);
    bool met = faults_stop();
    clock_virtual_stop();
    gfree(body);
    EXPECT_TRUE(told.count(status) || status == 0) << "status " << status;

    // Half of a write or a read can leave anything, and so can a page of the block table that could not be read: it
    // counts as empty, and is written back so. All of it has to end, and must not reach outside of memory.
    bool page_lost = operation.grows_table && (fault.call == FAULT_READ || fault.call == FAULT_SEEK);
    bool sound = !met || (fault.cut < 0 && !page_lost);

    DictStatus opened;
    Contents found = contents_after_a_crash(&opened);
    if (sound) {
        EXPECT_EQ(opened, 0u);
        expect_untouched(operation, found);
    }
    if (!met) { EXPECT_EQ(found, done); }

    Contents now = contents_of(dict);
    if (sound && dict->file) {
        expect_no_wrong_bytes(operation, now);
        bool of_memory = fault.call == FAULT_ALLOC || fault.call == FAULT_RESIZE;
        if (!of_memory) expect_untouched(operation, now);
        if (status == 0 && !operation.silent) { EXPECT_EQ(now, done); }
    }

    // Closed and opened again, as somebody would who has read the status.
    dict.close();
    dict.open(DICT_EXCLUSIVE);
    Contents again = contents_of(dict);
    if (sound) {
        EXPECT_EQ(dict.status, 0u);
        expect_untouched(operation, again);
    }

    // A failed resize loses its handle, and those that only it led to.
    u32 lost = dict.stop();
    if (fault.call == FAULT_RESIZE && met) {
        EXPECT_GE(lost, 1u);
    } else {
        EXPECT_EQ(lost, 0u);
    }
    dict.start();
    return met;
}

static void fail_each_call(const std::string &file, const Operation &operation, u16 mode = DICT_EXCLUSIVE)
{
    Rounds rounds(file, mode);
    rounds.expect_without_faults(operation);

    std::map<FaultCall, u32> failed;
    auto for_each_nth = [&](Fault fault) {
        for (fault.nth = 1;; fault.nth++) {
            SCOPED_TRACE(words_of(fault));
            if (!rounds.run(operation, fault) || testing::Test::HasFailure()) return;
            failed[fault.call]++;
        }
    };
    for (FaultCall call : calls_that_fail) {
        for_each_nth({ .call = call, .error = PLATFORM_ACCESS_DENIED });
        for_each_nth({ .call = call, .from_then_on = true, .error = PLATFORM_ACCESS_DENIED });
    }
    for (FaultCall call : { FAULT_READ, FAULT_WRITE }) {
        for (i32 cut : { 0, 1, 7 }) for_each_nth({ .call = call, .cut = cut });
    }
    EXPECT_GT(failed[FAULT_WRITE], 0u);
    EXPECT_GT(failed[FAULT_SEEK], 0u);
    EXPECT_GT(failed[FAULT_READ], 0u);
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
                           .touched = { "2/1/7/1" },
                           .grows_table = true });
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
                                   .touched = { "2/200", "3/300", "1/10", "1/1", "2/200/2/200" },
                                   .silent = true });    // a failed renaming of the module is not told
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

} // namespace
} // namespace zuk
