#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <unordered_map>

#if defined(__SANITIZE_ADDRESS__) && !defined(_WIN32)
#include <sanitizer/lsan_interface.h>
#define LEAK_CHECKED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/lsan_interface.h>
#define LEAK_CHECKED 1
#endif
#endif

namespace zuk {

// ---- State ----------------------------------------------------------------------------------------------------------

struct Block {
    size_t size;
    u32 test;  // the test in which it came alive
};

struct FaultState {
    Fault fault;
    u32 fault_seen;  // matching calls since faults_start
    bool fault_met;

    FaultCall hook_call;
    u32 hook_left;   // matching calls until it runs; 0: no hook
    std::function<void()> hook;
    u32 inside;      // depth of hooks now running

    CallCounts counts;
    std::vector<CallRecord> log;

    bool clock_virtual;
    u32 clock_now;
    u32 clock_step;
    bool counter_virtual;
    i64 counter;
    i64 counter_frequency;
    bool local_time_virtual;
    PlatformLocalTime local_time;
    std::function<void(u32)> on_sleep;

    std::string windows_directory;   // none if empty
    std::string module_path;         // the real one if empty

    std::map<FileHandle, std::string> open_files;  // by their native names

    u32 test;
    // The key is the address with its bits turned over: an address in plain view would count for the leak checker as
    // somebody who still holds the block.
    std::unordered_map<uintptr_t, Block> blocks;
};

// Never destroyed, since blocks are freed until the very end.
static FaultState &state()
{
    static FaultState *the_state = new FaultState();
    return *the_state;
}

// ---- What happens to a call -----------------------------------------------------------------------------------------

static bool matches(FaultCall asked, FaultCall call)
{
    bool memory = call == FAULT_ALLOC || call == FAULT_RESIZE;
    bool files = call >= FAULT_OPEN && call <= FAULT_UNLOCK;
    bool directories = call >= FAULT_MAKE_DIRECTORY && call <= FAULT_FIND_NEXT;
    if (asked == FAULT_ANY_MEMORY) return memory;
    if (asked == FAULT_ANY_FILE) return files;
    bool profiles = call >= FAULT_PROFILE_READ && call <= FAULT_FULL_PATH && call != FAULT_PROFILE_FLUSH;
    bool libraries = call == FAULT_LOAD || call == FAULT_ENTRY;
    if (asked == FAULT_ANY) return memory || files || directories || libraries || profiles;
    return asked == call;
}

static void run_inside(const std::function<void()> &work)
{
    state().inside++;
    work();
    state().inside--;
}

enum Fate { GOES_THROUGH, FAILS, IS_CUT };

// Run the hook that waits for this call, if any, and tell how the call is to end.
static Fate fate_of(FaultCall call)
{
    FaultState &s = state();
    if (s.inside) return GOES_THROUGH;

    if (s.hook_left > 0 && matches(s.hook_call, call) && --s.hook_left == 0) {
        std::function<void()> hook = std::move(s.hook);
        s.hook = nullptr;
        run_inside(hook);
    }

    if (!matches(s.fault.call, call)) return GOES_THROUGH;
    s.fault_seen++;
    bool hit = s.fault.from_then_on ? s.fault_seen >= s.fault.nth : s.fault_seen == s.fault.nth;
    if (!hit) return GOES_THROUGH;
    s.fault_met = true;
    return s.fault.cut >= 0 && (call == FAULT_READ || call == FAULT_WRITE) ? IS_CUT : FAILS;
}

static void count(u32 CallCounts::*what)
{
    if (!state().inside) (state().counts.*what)++;
}

static void log(CallRecord record)
{
    if (!state().inside) state().log.push_back(std::move(record));
}

// ---- Memory ---------------------------------------------------------------------------------------------------------

static void track(void *block, size_t size)
{
    if (block) state().blocks[~(uintptr_t)block] = { size, state().test };
}

static void *faulty_alloc(size_t size, bool zero)
{
    count(&CallCounts::alloc);
    if (fate_of(FAULT_ALLOC) == FAILS) return nullptr;
    void *block = native_memory.alloc(size, zero);
    track(block, size);
    return block;
}

static void *faulty_resize(void *block, size_t size)
{
    count(&CallCounts::resize);
    if (fate_of(FAULT_RESIZE) == FAILS) return nullptr;

    uintptr_t key = ~(uintptr_t)block;
    void *resized = native_memory.resize(block, size);
    if (!resized) return nullptr;
    state().blocks.erase(key);
    track(resized, size);
    return resized;
}

static void faulty_free(void *block)
{
    count(&CallCounts::free);
    (void)fate_of(FAULT_FREE);  // only for its hook
    state().blocks.erase(~(uintptr_t)block);
    native_memory.free(block);
}

// ---- Files ----------------------------------------------------------------------------------------------------------

static i64 position_of(FileHandle file)
{
    i32 position = 0;
    return native_files.tell(file, &position) == PLATFORM_OK ? (i64)(u32)position : 0;
}

// A call that moves no bytes: fail it, or make it with `native`.
template <typename Call>
static u32 plain_call(FaultCall call, u32 CallCounts::*counter, FileHandle file, i64 position, u32 length, Call native)
{
    count(counter);
    u32 error = fate_of(call) == FAILS ? state().fault.error : native();
    log({ call, file, position, length, 0, error == PLATFORM_OK, {} });
    return error;
}

template <typename Call>
static u32 call_by_name(FaultCall call, u32 CallCounts::*counter, std::string name, Call native)
{
    count(counter);
    u32 error = fate_of(call) == FAILS ? state().fault.error : native();
    log({ call, 0, 0, 0, 0, error == PLATFORM_OK, std::move(name) });
    return error;
}

// A read or write; `native` takes the count.
template <typename Call>
static u32 moving_call(FaultCall call, u32 CallCounts::*counter, FileHandle file, u32 length, u32 *done, Call native)
{
    count(counter);
    i64 position = position_of(file);
    Fate fate = fate_of(call);
    u32 error = state().fault.error;
    *done = 0;
    if (fate == IS_CUT) error = native(std::min(length, (u32)state().fault.cut));
    if (fate == GOES_THROUGH) error = native(length);
    log({ call, file, position, length, *done, error == PLATFORM_OK, {} });
    return error;
}

static u32 faulty_open(const char *name, u16 mode, FileHandle *file)
{
    count(&CallCounts::open);
    u32 error = fate_of(FAULT_OPEN) == FAILS ? state().fault.error : native_files.open(name, mode, file);
    bool ok = error == PLATFORM_OK;
    if (ok) state().open_files[*file] = name;
    log({ FAULT_OPEN, ok ? *file : 0, 0, 0, 0, ok, name });
    return error;
}

static u32 faulty_close(FileHandle file)
{
    count(&CallCounts::close);
    Fate fate = fate_of(FAULT_CLOSE);
    u32 error = native_files.close(file);
    state().open_files.erase(file);
    if (fate == FAILS) error = state().fault.error;
    log({ FAULT_CLOSE, file, 0, 0, 0, error == PLATFORM_OK, {} });
    return error;
}

static u32 faulty_read(FileHandle file, void *to, u32 length, u32 *done)
{
    return moving_call(FAULT_READ, &CallCounts::read, file, length, done,
                       [&](u32 part) { return native_files.read(file, to, part, done); });
}

static u32 faulty_write(FileHandle file, const void *from, u32 length, u32 *done)
{
    return moving_call(FAULT_WRITE, &CallCounts::write, file, length, done,
                       [&](u32 part) { return native_files.write(file, from, part, done); });
}

static u32 faulty_seek(FileHandle file, i32 position)
{
    return plain_call(FAULT_SEEK, &CallCounts::seek, file, position, 0,
                      [&] { return native_files.seek(file, position); });
}

static u32 faulty_tell(FileHandle file, i32 *position)
{
    return plain_call(FAULT_TELL, &CallCounts::tell, file, 0, 0, [&] { return native_files.tell(file, position); });
}

static u32 faulty_size(FileHandle file, i32 *size)
{
    return plain_call(FAULT_SIZE, &CallCounts::size, file, 0, 0, [&] { return native_files.size(file, size); });
}

static u32 faulty_set_end(FileHandle file)
{
    return plain_call(FAULT_SET_END, &CallCounts::set_end, file, position_of(file), 0,
                      [&] { return native_files.set_end(file); });
}

static u32 faulty_create(const char *name)
{
    return call_by_name(FAULT_CREATE, &CallCounts::create, name, [&] { return native_files.create(name); });
}

static u32 faulty_remove(const char *name)
{
    return call_by_name(FAULT_REMOVE, &CallCounts::remove, name, [&] { return native_files.remove(name); });
}

static u32 faulty_rename(const char *from, const char *to)
{
    return call_by_name(FAULT_RENAME, &CallCounts::rename, std::string(from) + " > " + to,
                        [&] { return native_files.rename(from, to); });
}

static u32 faulty_lock(FileHandle file, u32 offset, u32 length)
{
    return plain_call(FAULT_LOCK, &CallCounts::lock, file, offset, length,
                      [&] { return native_files.lock(file, offset, length); });
}

static u32 faulty_unlock(FileHandle file, u32 offset, u32 length)
{
    return plain_call(FAULT_UNLOCK, &CallCounts::unlock, file, offset, length,
                      [&] { return native_files.unlock(file, offset, length); });
}

// ---- Clock ----------------------------------------------------------------------------------------------------------

static u32 virtual_tick_count()
{
    FaultState &s = state();
    if (!s.clock_virtual) return native_clock.tick_count();
    u32 now = s.clock_now;
    s.clock_now += s.clock_step;
    return now;
}

static void virtual_sleep(u32 ms)
{
    FaultState &s = state();
    (void)fate_of(FAULT_SLEEP);  // only for its hook
    if (!s.inside) {
        s.counts.sleeps++;
        s.counts.slept_ms += ms;
    }
    log({ FAULT_SLEEP, 0, 0, ms, 0, true, {} });
    if (s.clock_virtual) s.clock_now += ms;
    else native_clock.sleep(ms);
    if (s.on_sleep && !s.inside) run_inside([&] { s.on_sleep(ms); });
}

static void virtual_local_time(PlatformLocalTime *now)
{
    if (state().local_time_virtual) *now = state().local_time;
    else native_clock.local_time(now);
}

static i64 virtual_counter() { return state().counter_virtual ? state().counter : native_clock.counter(); }

static i64 virtual_counter_frequency()
{
    return state().counter_virtual ? state().counter_frequency : native_clock.counter_frequency();
}

// ---- Directories and temporary files --------------------------------------------------------------------------------

static u32 faulty_make_directory(const char *name)
{
    return call_by_name(FAULT_MAKE_DIRECTORY, &CallCounts::make_directory, name,
                        [&] { return native_directories.make(name); });
}

static u32 faulty_change_directory(const char *name)
{
    return call_by_name(FAULT_CHANGE_DIRECTORY, &CallCounts::change_directory, name,
                        [&] { return native_directories.change(name); });
}

static u32 faulty_temporary(char *path)
{
    return call_by_name(FAULT_TEMPORARY, &CallCounts::temporary, {},
                        [&] { return native_directories.temporary(path); });
}

static u32 faulty_make_temporary(const char *directory, char *path)
{
    return call_by_name(FAULT_MAKE_TEMPORARY, &CallCounts::make_temporary, directory,
                        [&] { return native_directories.make_temporary(directory, path); });
}

static u32 faulty_find_first(const char *pattern, PlatformSearch *search, char *name)
{
    *search = PLATFORM_FAILED_SEARCH;
    return call_by_name(FAULT_FIND_FIRST, &CallCounts::find_first, pattern,
                        [&] { return native_directories.find_first(pattern, search, name); });
}

static u32 faulty_find_next(PlatformSearch search, char *name)
{
    return call_by_name(FAULT_FIND_NEXT, &CallCounts::find_next, {},
                        [&] { return native_directories.find_next(search, name); });
}

static void faulty_find_close(PlatformSearch search)
{
    count(&CallCounts::find_close);
    (void)fate_of(FAULT_FIND_CLOSE);  // only for its hook
    log({ FAULT_FIND_CLOSE, 0, 0, 0, 0, true, {} });
    native_directories.find_close(search);
}

// ---- Optional library -----------------------------------------------------------------------------------------------

static void *faulty_load(const char *name)
{
    count(&CallCounts::load);
    void *library = fate_of(FAULT_LOAD) == FAILS ? nullptr : native_libraries.load(name);
    log({ FAULT_LOAD, 0, 0, 0, 0, library != nullptr, name });
    return library;
}

static PlatformEntry faulty_entry(void *library, const char *name)
{
    count(&CallCounts::entry);
    PlatformEntry entry = fate_of(FAULT_ENTRY) == FAILS ? nullptr : native_libraries.entry(library, name);
    log({ FAULT_ENTRY, 0, 0, 0, 0, entry != nullptr, name });
    return entry;
}

static void faulty_unload(void *library)
{
    count(&CallCounts::unload);
    (void)fate_of(FAULT_UNLOAD);  // only for its hook
    log({ FAULT_UNLOAD, 0, 0, 0, 0, true, {} });
    native_libraries.free(library);
}

// ---- Diagnostics ----------------------------------------------------------------------------------------------------

static void counted_debug_break()
{
    count(&CallCounts::debug_break);
    (void)fate_of(FAULT_DEBUG_BREAK);  // only for its hook
    log({ FAULT_DEBUG_BREAK, 0, 0, 0, 0, true, {} });
}

// ---- Profiles and paths ---------------------------------------------------------------------------------------------

static u32 faulty_profile_read(const char *file, const char *section, const char *key, char *value, u32 size)
{
    count(&CallCounts::profile_read);
    bool fails = fate_of(FAULT_PROFILE_READ) == FAILS;
    u32 length = 0;
    if (!fails) length = native_profiles.read(file, section, key, value, size);
    else if (size) value[0] = 0;
    log({ FAULT_PROFILE_READ, 0, 0, size, length, !fails, std::string(file) + " [" + section + "] " + key });
    return length;
}

static u32 faulty_profile_number(const char *file, const char *section, const char *key)
{
    count(&CallCounts::profile_number);
    bool fails = fate_of(FAULT_PROFILE_NUMBER) == FAILS;
    u32 number = fails ? 0 : native_profiles.read_number(file, section, key);
    log({ FAULT_PROFILE_NUMBER, 0, 0, 0, 0, !fails, std::string(file) + " [" + section + "] " + key });
    return number;
}

static u32 faulty_profile_write(const char *file, const char *section, const char *key, const char *value)
{
    return call_by_name(FAULT_PROFILE_WRITE, &CallCounts::profile_write,
                        std::string(file) + " [" + section + "] " + key + "=" + value,
                        [&] { return native_profiles.write(file, section, key, value); });
}

static void faulty_profile_flush(const char *file)
{
    count(&CallCounts::profile_flush);
    (void)fate_of(FAULT_PROFILE_FLUSH);  // only for its hook
    log({ FAULT_PROFILE_FLUSH, 0, 0, 0, 0, true, file });
    native_profiles.flush(file);
}

// A call that gives a path.
template <typename Call>
static u32 path_call(FaultCall call, u32 CallCounts::*counter, std::string name, char *path, u32 size, Call native)
{
    count(counter);
    if (size) path[0] = 0;
    u32 length = fate_of(call) == FAILS ? 0 : native();
    log({ call, 0, 0, size, length, length != 0, std::move(name) });
    return length;
}

static u32 give_path(const std::string &from, char *path, u32 size)
{
    if (from.size() >= size) return 0;
    memcpy(path, from.c_str(), from.size() + 1);
    return (u32)from.size();
}

static u32 faulty_windows_directory(char *path, u32 size)
{
    return path_call(FAULT_WINDOWS_DIRECTORY, &CallCounts::windows_directory, {}, path, size,
                     [&] { return give_path(state().windows_directory, path, size); });
}

static u32 faulty_module_path(void *module, char *path, u32 size)
{
    return path_call(FAULT_MODULE_PATH, &CallCounts::module_path, {}, path, size, [&] {
        const std::string &known = state().module_path;
        return known.empty() ? native_paths.module(module, path, size) : give_path(known, path, size);
    });
}

static u32 faulty_full_path(const char *name, char *path, u32 size)
{
    return path_call(FAULT_FULL_PATH, &CallCounts::full_path, name, path, size,
                     [&] { return native_paths.full(name, path, size); });
}

// ---- The tables, and their place ------------------------------------------------------------------------------------

static const PlatformMemory faulty_memory = { .alloc = faulty_alloc, .resize = faulty_resize, .free = faulty_free };

static const PlatformFiles faulty_files = {
    .open = faulty_open,
    .close = faulty_close,
    .read = faulty_read,
    .write = faulty_write,
    .seek = faulty_seek,
    .tell = faulty_tell,
    .size = faulty_size,
    .set_end = faulty_set_end,
    .create = faulty_create,
    .remove = faulty_remove,
    .rename = faulty_rename,
    .lock = faulty_lock,
    .unlock = faulty_unlock,
};

static const PlatformClock virtual_clock = {
    .tick_count = virtual_tick_count,
    .double_click_time = [] { return native_clock.double_click_time(); },
    .sleep = virtual_sleep,
    .local_time = virtual_local_time,
    .counter = virtual_counter,
    .counter_frequency = virtual_counter_frequency,
};

static const PlatformDirectories faulty_directories = {
    .make = faulty_make_directory,
    .change = faulty_change_directory,
    .temporary = faulty_temporary,
    .make_temporary = faulty_make_temporary,
    .find_first = faulty_find_first,
    .find_next = faulty_find_next,
    .find_close = faulty_find_close,
};

static const PlatformLibraries faulty_libraries = {
    .load = faulty_load, .entry = faulty_entry, .free = faulty_unload
};

static const PlatformDiagnostics counted_diagnostics = { .debug_break = counted_debug_break };

static const PlatformProfiles faulty_profiles = {
    .read = faulty_profile_read,
    .read_number = faulty_profile_number,
    .write = faulty_profile_write,
    .flush = faulty_profile_flush,
};

static const PlatformPaths faulty_paths = {
    .windows_directory = faulty_windows_directory,
    .module = faulty_module_path,
    .full = faulty_full_path,
};

static void reset_all()
{
    FaultState &s = state();
    faults_stop();
    s.hook_left = 0;
    s.hook = nullptr;
    s.inside = 0;
    s.on_sleep = nullptr;
    s.clock_virtual = false;
    s.local_time_virtual = false;
    s.counter_virtual = false;
    s.windows_directory.clear();
    s.module_path.clear();
    calls_reset();
}

struct ResetBetweenTests : testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo &) override
    {
        reset_all();
        state().test++;
    }
    void OnTestEnd(const testing::TestInfo &) override { reset_all(); }
};

static bool put_in_front()
{
    platform_memory = &faulty_memory;
    platform_files = &faulty_files;
    platform_clock = &virtual_clock;
    platform_directories = &faulty_directories;
    platform_libraries = &faulty_libraries;
    platform_diagnostics = &counted_diagnostics;
    platform_profiles = &faulty_profiles;
    platform_paths = &faulty_paths;
#ifndef _WIN32
    setenv("ZUK_CONFIG_DIR", "/dev/null/none", 1);  // for the programs that tests start; nothing can be made there
#endif
    testing::UnitTest::GetInstance()->listeners().Append(new ResetBetweenTests);
    return true;
}
[[maybe_unused]] static const bool in_front = put_in_front();

// ---- What tests call ------------------------------------------------------------------------------------------------

void faults_start(const Fault &fault)
{
    state().fault = fault;
    state().fault_seen = 0;
    state().fault_met = false;
}

bool faults_stop()
{
    bool met = state().fault_met;
    faults_start({});
    return met;
}

void faults_hook(FaultCall call, u32 nth, std::function<void()> hook)
{
    state().hook_call = call;
    state().hook_left = nth;
    state().hook = std::move(hook);
}

void calls_reset()
{
    state().counts = {};
    state().log.clear();
}

CallCounts call_counts() { return state().counts; }
const std::vector<CallRecord> &call_log() { return state().log; }

static std::string line_of(const CallRecord &record)
{
    static const char *const words[] = {
        "", "alloc", "resize", "free", "open", "close", "read", "write", "seek", "tell", "size", "set_end",
        "create", "remove", "rename", "lock", "unlock", "sleep",
        "make_directory", "change_directory", "temporary", "make_temporary", "find_first", "find_next", "find_close",
        "load", "entry", "unload", "debug_break",
        "profile_read", "profile_number", "profile_write", "profile_flush",
        "windows_directory", "module_path", "full_path",
    };
    static_assert(std::size(words) == FAULT_ANY_MEMORY);

    std::string line = words[record.call];
    switch (record.call) {
    case FAULT_READ:
    case FAULT_WRITE:
    case FAULT_LOCK:
    case FAULT_UNLOCK:
        line += ' ' + std::to_string(record.position) + '+' + std::to_string(record.length);
        break;
    case FAULT_SEEK:
    case FAULT_SET_END: line += ' ' + std::to_string(record.position); break;
    case FAULT_SLEEP: line += ' ' + std::to_string(record.length); break;
    default:
        if (!record.name.empty()) line += ' ' + record.name;
        break;
    }
    if (!record.ok) return line + " failed";
    bool moves = record.call == FAULT_READ || record.call == FAULT_WRITE;
    return moves && record.done != record.length ? line + " did " + std::to_string(record.done) : line;
}

std::vector<std::string> call_lines(std::initializer_list<FaultCall> only)
{
    std::vector<std::string> lines;
    for (const CallRecord &record : call_log()) {
        bool wanted = only.size() == 0;
        for (FaultCall call : only) wanted = wanted || matches(call, record.call);
        if (wanted) lines.push_back(line_of(record));
    }
    return lines;
}

void clock_virtual_start(u32 ms, u32 step)
{
    state().clock_virtual = true;
    state().clock_now = ms;
    state().clock_step = step;
}

void clock_virtual_stop() { state().clock_virtual = false; }
void clock_virtual_advance(u32 ms) { state().clock_now += ms; }
void clock_virtual_local_time(const PlatformLocalTime &now)
{
    state().local_time_virtual = true;
    state().local_time = now;
}

void clock_virtual_counter(i64 counter, i64 frequency)
{
    state().counter_virtual = true;
    state().counter = counter;
    state().counter_frequency = frequency;
}

void virtual_windows_directory(const std::string &native) { state().windows_directory = native; }
void virtual_module_path(const std::string &native) { state().module_path = native; }

void clock_on_sleep(std::function<void(u32)> hook) { state().on_sleep = std::move(hook); }

u32 memory_alive() { return (u32)state().blocks.size(); }

size_t memory_alive_bytes()
{
    size_t bytes = 0;
    for (const auto &[key, block] : state().blocks) bytes += block.size;
    return bytes;
}

u32 memory_sweep()
{
    auto swept = [](const auto &entry) {
        if (entry.second.test != state().test) return false;
#ifdef LEAK_CHECKED
        __lsan_ignore_object((const void *)~entry.first);
#endif
        return true;
    };
    return (u32)std::erase_if(state().blocks, swept);
}

bool open_file_content(const std::string &name, std::string *content)
{
    for (const auto &[file, open_name] : state().open_files) {
        if (open_name != name) continue;
        i32 position = 0, size = 0;
        u32 done = 0;
        if (native_files.tell(file, &position) || native_files.size(file, &size)) return false;
        content->resize((size_t)size);
        bool good = !native_files.seek(file, 0) && !native_files.read(file, content->data(), (u32)size, &done);
        good = !native_files.seek(file, position) && good;
        content->resize(done);
        return good;
    }
    return false;
}

} // namespace zuk
