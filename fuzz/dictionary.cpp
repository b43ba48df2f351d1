// Any bytes as a dictionary file: it is opened, asked for everything, changed, asked again, closed and opened once
// more.
//
// No call reaches the system: one file in memory stands in front, and a clock that takes no time. Besides the
// sanitizers the target itself refuses, by a trap,
//   - a request for more memory than a file of this length justifies
//   - a handle that is left alive when the library has stopped
//   - a status that is not one of the table
//
//   | mode | count of steps | steps of 4 bytes: what, where, which, how much | the file
//
// With the top bit of `mode` set, the place of the file is taken by changes to one of the sound files that the target
// makes itself; a search gets deep with these much sooner, as every change meets a record:
//
//   | mode | count of steps | steps | sound file | changes of 7 bytes: place (2), width, value (4)
//
// fuzz_dictionary --seeds FOLDER writes the inputs that a search begins with; corpus/dictionary/ holds them.
#include "engine/core_tables.h"
#include "engine/cookies.h"
#include "engine/lifecycle.h"
#include "engine/pinned_cache.h"
#include "engine/resources.h"
#include "files/file.h"
#include "foundation/handles.h"
#include "foundation/pstrings.h"
#include "platform/platform.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using namespace zuk;

// ---- The platform ---------------------------------------------------------------------------------------------------

static std::vector<u8> disk;                    // the one file
static bool disk_exists;
constexpr size_t DISK_ROOM = 4 << 20;           // writes behind it find the disk full
constexpr size_t OWN_NEEDS = 1 << 20;           // memory that does not depend on the file: tables, buffers, new bodies

struct OpenFile {
    bool open;
    u16 mode;
    u32 position;
    std::vector<std::pair<u32, u32>> ranges;    // offset and length of what it has locked
};
static std::vector<OpenFile> open_files;        // handle n is the element n - 1

static OpenFile *open_file(FileHandle file)
{
    return file >= 1 && file <= open_files.size() && open_files[file - 1].open ? &open_files[file - 1] : nullptr;
}

static u32 disk_open(const char *name, u16 mode, FileHandle *file)
{
    if (!disk_exists || strcmp(name, "a") != 0) return PLATFORM_FILE_NOT_FOUND;    // there are no settings
    open_files.push_back({ true, mode, 0, {} });
    *file = (FileHandle)open_files.size();
    return PLATFORM_OK;
}

static u32 disk_close(FileHandle file)
{
    OpenFile *at = open_file(file);
    if (!at) return PLATFORM_INVALID_HANDLE;
    *at = {};
    return PLATFORM_OK;
}

static u32 disk_read(FileHandle file, void *to, u32 count, u32 *done)
{
    OpenFile *at = open_file(file);
    if (!at) return PLATFORM_INVALID_HANDLE;
    *done = at->position >= disk.size() ? 0 : (u32)std::min((size_t)count, disk.size() - at->position);
    if (*done) memcpy(to, disk.data() + at->position, *done);
    at->position += *done;
    return PLATFORM_OK;
}

static u32 disk_write(FileHandle file, const void *from, u32 count, u32 *done)
{
    OpenFile *at = open_file(file);
    *done = 0;
    if (!at) return PLATFORM_INVALID_HANDLE;
    if (at->mode == PLATFORM_READ_ONLY) return PLATFORM_ACCESS_DENIED;
    size_t end = (size_t)at->position + count;
    if (end > DISK_ROOM) return PLATFORM_DISK_FULL;
    if (end > disk.size()) disk.resize(end);
    if (count) memcpy(disk.data() + at->position, from, count);
    at->position += count;
    *done = count;
    return PLATFORM_OK;
}

static u32 disk_seek(FileHandle file, i32 position)
{
    OpenFile *at = open_file(file);
    if (!at) return PLATFORM_INVALID_HANDLE;
    at->position = (u32)position;
    return PLATFORM_OK;
}

static u32 disk_tell(FileHandle file, i32 *position)
{
    const OpenFile *at = open_file(file);
    if (!at) return PLATFORM_INVALID_HANDLE;
    *position = (i32)at->position;
    return PLATFORM_OK;
}

static u32 disk_size(FileHandle file, i32 *size)
{
    if (!open_file(file)) return PLATFORM_INVALID_HANDLE;
    *size = (i32)disk.size();
    return PLATFORM_OK;
}

static u32 disk_set_end(FileHandle file)
{
    const OpenFile *at = open_file(file);
    if (!at) return PLATFORM_INVALID_HANDLE;
    if (at->position > DISK_ROOM) return PLATFORM_DISK_FULL;
    disk.resize(at->position);
    return PLATFORM_OK;
}

static u32 disk_create(const char *)
{
    if (disk_exists) return PLATFORM_FILE_EXISTS;
    disk_exists = true;
    disk.clear();
    return PLATFORM_OK;
}

static u32 disk_remove(const char *)
{
    if (!disk_exists) return PLATFORM_FILE_NOT_FOUND;
    disk_exists = false;
    return PLATFORM_OK;
}

static u32 disk_rename(const char *, const char *) { return PLATFORM_ACCESS_DENIED; }

static u32 disk_lock(FileHandle file, u32 offset, u32 length)
{
    OpenFile *at = open_file(file);
    if (!at) return PLATFORM_INVALID_HANDLE;
    for (const auto &[from, size] : at->ranges) {
        if (offset < from + size && from < offset + length) return PLATFORM_LOCK_VIOLATION;
    }
    at->ranges.push_back({ offset, length });
    return PLATFORM_OK;
}

static u32 disk_unlock(FileHandle file, u32 offset, u32 length)
{
    OpenFile *at = open_file(file);
    if (!at) return PLATFORM_INVALID_HANDLE;
    auto held = std::find(at->ranges.begin(), at->ranges.end(), std::make_pair(offset, length));
    if (held == at->ranges.end()) return PLATFORM_NOT_LOCKED;
    at->ranges.erase(held);
    return PLATFORM_OK;
}

static const PlatformFiles disk_files = {
    .open = disk_open,
    .close = disk_close,
    .read = disk_read,
    .write = disk_write,
    .seek = disk_seek,
    .tell = disk_tell,
    .size = disk_size,
    .set_end = disk_set_end,
    .create = disk_create,
    .remove = disk_remove,
    .rename = disk_rename,
    .lock = disk_lock,
    .unlock = disk_unlock,
};

static void refuse(const char *what)
{
    fprintf(stderr, "fuzz_dictionary: %s\n", what);
    abort();
}

static void expect_justified(size_t size)
{
    if (size > disk.size() + OWN_NEEDS) refuse("asks for more memory than the file justifies");
}

static void *watched_alloc(size_t size, bool zero)
{
    expect_justified(size);
    return native_memory.alloc(size, zero);
}

static void *watched_resize(void *block, size_t size)
{
    expect_justified(size);
    return native_memory.resize(block, size);
}

static void watched_free(void *block) { native_memory.free(block); }

static const PlatformMemory watched_memory = { .alloc = watched_alloc, .resize = watched_resize, .free = watched_free };

static u32 ticks;
static u32 quick_tick_count() { return ticks++; }
static u32 quick_double_click_time() { return 500; }
static void quick_sleep(u32 milliseconds) { ticks += milliseconds; }

static u32 no_windows_directory(char *path, u32)
{
    path[0] = 0;
    return 0;
}

static void stand_in_front()
{
    static PlatformPaths quiet_paths = native_paths;
    quiet_paths.windows_directory = no_windows_directory;
    platform_paths = &quiet_paths;
    static PlatformClock quick_clock = native_clock;
    quick_clock.tick_count = quick_tick_count;
    quick_clock.double_click_time = quick_double_click_time;
    quick_clock.sleep = quick_sleep;
    platform_files = &disk_files;
    platform_memory = &watched_memory;
    platform_clock = &quick_clock;
}

// ---- Small things ---------------------------------------------------------------------------------------------------

struct Text {
    u8 bytes[256];
    explicit Text(const std::string &from) : bytes{}
    {
        bytes[0] = (u8)from.size();
        memcpy(bytes + 1, from.data(), from.size());
    }
};

static GHandle handle_of(const std::string &bytes)
{
    GHandle handle = galloc((i32)bytes.size(), nullptr, 0);
    if (!bytes.empty()) memcpy(glock(handle), bytes.data(), bytes.size());
    return handle;
}

static DictStatus checked(DictStatus status)
{
    if (status > DICT_LOCKED_OUT) refuse("a status that there is not");
    return status;
}

// Look at each byte, for the sanitizers.
static void touch(const void *bytes, size_t size)
{
    u8 sum = 0;
    for (size_t i = 0; i < size; i++) sum = (u8)(sum ^ ((const u8 *)bytes)[i]);
    [[maybe_unused]] static volatile u8 sink;
    sink = sum;
}

static void take(GHandle handle, u32 status)
{
    (void)checked(status);
    if (handle) touch(glock(handle), (size_t)gsize(handle));
    gfree(handle);
}

// ---- Asking for everything ------------------------------------------------------------------------------------------

constexpr i32 MODULES_ASKED = 12;      // of a kind; more of the same shows nothing new
constexpr i32 RESOURCES_ASKED = 8;     // of a type

static void ask_for_position(i32 kind, i32 module, u16 type, i16 n)
{
    u8 name[256];
    u32 status = 0;
    take(dd_getnresourcehndl(kind, module, type, n, 0, &status), status);
    if (!checked(dd_getnresname(kind, module, type, n, name))) {
        touch(name, (size_t)name[0] + 1);
        take(dd_getnamedreshndl(kind, module, type, name, 0, &status), status);
    }
    i32 id = dd_get_nresid(kind, module, type, n);
    take(dd_getresourcehndl(kind, module, type, (u16)id, READ_STORED_FORM, &status), status);
    (void)dd_get_resid_pos(kind, module, type, id);
}

static void ask_for_type(i32 kind, i32 module, u16 type)
{
    i32 count = dd_numresources(kind, module, type);
    i32 last = count < 0 ? 1 : std::min(count, RESOURCES_ASKED) + 1;    // one behind the last, too
    for (i32 n = 1; n <= last; n++) ask_for_position(kind, module, type, (i16)n);
}

static void ask_for_series(i32 module, u16 type)
{
    i16 series = (i16)(module >> 4);
    i32 core_type = module & 15;
    i32 count = std::min((i32)dd_local_numres(series, 1, core_type, type), RESOURCES_ASKED);
    for (i32 n = 1; n <= count + 1; n++) {
        u8 name[256];
        if (!checked(dd_local_get_nresname(series, core_type, type, (i16)n, name))) touch(name, (size_t)name[0] + 1);
        i16 id = dd_local_get_nresid(series, core_type, type, (i16)n);
        (void)dd_local_get_nresid_pos(series, core_type, type, id);
        u32 status = 0;
        take(dd_getresourcehndl(1, core_type, type, (u16)id, 0, &status), status);
    }
}

static void ask_for_everything()
{
    for (i32 kind = 1; kind <= 3; kind++) {
        i32 modules = std::min((i32)dd_numresources(kind, 0, 2), MODULES_ASKED);
        for (i32 n = 1; n <= modules; n++) {
            i32 module = dd_get_nresid(kind, 0, 2, (i16)n);
            for (u16 type = 0; type <= 64; type++) {
                if (kind == 1) ask_for_series(module, type);
                else ask_for_type(kind, module, type);
            }
        }
        ask_for_position(kind, 0, 2, (i16)(modules + 1));
    }
    for (u16 type = 0; type <= 64; type += 3) ask_for_type(1, 1, type);    // by their owners
}

// ---- Changing -------------------------------------------------------------------------------------------------------

struct Step {
    u8 what, where, which, amount;
};

// A module of the file, or now and then one that is not there.
static i32 some_module(i32 kind, u8 where)
{
    i32 modules = std::min((i32)dd_numresources(kind, 0, 2), MODULES_ASKED);
    i32 module = modules > 0 ? dd_get_nresid(kind, 0, 2, (i16)(1 + where % modules)) : 0;
    if (where >= 250) return where;
    return kind == 1 ? module & 15 : module;
}

static void take_step(const Step &step)
{
    static const u16 types[] = { 1, 2, 4, 5, 7, 9, 15, 19, 23, 26, 30, 33, 52, 61, 0, 64 };
    i32 kind = 1 + step.where % 3;
    i32 module = some_module(kind, step.where);
    u16 type = types[step.which & 15];
    i16 id = (i16)(step.which >> 4);
    if (id == 15) id = 20005;
    if (id == 14) id = 22001;
    std::string name = std::string((size_t)(step.amount & 63), 'n') + (char)('a' + id % 26);
    if (step.amount == 255) name = std::string(255, 'n');
    std::string body((size_t)step.amount * step.amount / 3, 'b');    // up to 21 thousand bytes
    if (step.amount == 254) body.assign(70000, 'b');
    GHandle handle = step.amount & 1 ? handle_of(body) : 0;

    switch (step.what % 12) {
    case 0:
    case 1:
    case 2: (void)checked(dd_add_resource(kind, module, type, id, Text(name).bytes, handle)); break;
    case 3: (void)checked(dd_change_resource(kind, module, type, id, Text(name).bytes, handle)); break;
    case 4:
    case 5: (void)checked(dd_change_resource(kind, module, type, id, nullptr, handle)); break;
    case 6:
    case 7: (void)checked(dd_remove_resource(kind, module, type, id)); break;
    case 8: (void)checked(dd_set_resource_flags(kind, module, type, (u32)id, step.amount)); break;
    case 9: (void)dd_choose_owner(step.amount & 128 ? step.amount : step.amount % 7); break;
    case 10:
        // One module less, or a new one.
        if (step.amount & 2) {
            (void)checked(dd_remove_resource(kind, 0, 2, module));
            break;
        }
        module = 100 + step.which;
        (void)checked(dd_add_resource(kind, module, 2, (i16)module, Text(name).bytes, handle));
        break;
    default:
        // Without `cache_release`, which loses handles by its own rules.
        if (step.amount & 2) cache_clear();
        else (void)checked(cache_pin(0, kind, (u32)module, type, step.amount & 4));
        break;
    }
    gfree(handle);
}

// ---- The target -----------------------------------------------------------------------------------------------------

constexpr size_t STEPS_MOST = 24;
constexpr u8 WITH_CHANGES = 0x80;      // bit of `mode`

struct Change {
    u8 place[2], width, value[4];
};

// One of the sound files that the target makes, and the places in it where something stands.
struct SoundFile {
    std::string name;
    u8 mode;
    std::vector<Step> steps;
    std::vector<u8> bytes;
    std::vector<u32> places;
};
static std::vector<SoundFile> sound_files;

static void apply_changes(const u8 *data, size_t size)
{
    if (size == 0) {
        disk.clear();
        return;
    }
    const SoundFile &sound = sound_files[data[0] % sound_files.size()];
    disk = sound.bytes;
    for (size_t at = 1; at + sizeof(Change) <= size; at += sizeof(Change)) {
        Change change;
        memcpy(&change, data + at, sizeof change);
        size_t place = sound.places[(size_t)(change.place[0] | change.place[1] << 8) % sound.places.size()];
        size_t width = (size_t)1 << change.width % 3;
        for (size_t i = 0; i < width && place + i < disk.size(); i++) disk[place + i] = change.value[i];
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const u16 modes[] = { DICT_EXCLUSIVE, DICT_READ_ONLY, DICT_SHARED, DICT_EXCLUSIVE };
    if (size < 2) return 0;
    u16 mode = modes[data[0] & 3];
    size_t steps = std::min({ (size_t)data[1], STEPS_MOST, (size - 2) / sizeof(Step) });
    const u8 *file = data + 2 + steps * sizeof(Step);

    stand_in_front();
    if (data[0] & WITH_CHANGES) apply_changes(file, (size_t)(data + size - file));
    else disk.assign(file, data + size);
    disk_exists = true;
    open_files.clear();
    ticks = 0;
    u32 alive = handles_alive();
    if (!dd_init()) refuse("dd_init failed");
    (void)dd_choose_owner(0);

    Text path("a");
    DictCookie cookie;
    if (!checked(ds_openfile(1, path.bytes, mode, 0, &cookie))) {
        ask_for_everything();
        for (size_t i = 0; i < steps; i++) {
            Step step;
            memcpy(&step, data + 2 + i * sizeof step, sizeof step);
            take_step(step);
        }
        ask_for_everything();
        cache_clear();    // the end of the library would lose what is pinned
        (void)ds_closefile(1);
        if (!checked(ds_openfile(1, path.bytes, DICT_EXCLUSIVE, 0, &cookie))) ask_for_everything();
    }
    dd_term();
    if (handles_alive() != alive) refuse("handles are left alive");
    return 0;
}

// ---- The seeds ------------------------------------------------------------------------------------------------------

static void expect_good(DictStatus status)
{
    if (status) refuse("a seed could not be made");
}

static void start_seed()
{
    stand_in_front();
    disk_exists = false;
    disk.clear();
    open_files.clear();
    Text path("a");
    if (!dd_init()) refuse("dd_init failed");
    expect_good(ds_createfile(1, path.bytes));
    expect_good(ds_openfile(1, path.bytes, DICT_EXCLUSIVE, 0, nullptr));
    (void)dd_choose_owner(0);
}

static void add(i32 kind, i32 module, u16 type, i16 id, const std::string &name, const std::string &body)
{
    GHandle handle = handle_of(body);
    expect_good(dd_add_resource(kind, module, type, id, Text(name).bytes, handle));
    gfree(handle);
}

static void end_seed(const char *name, u8 mode, const std::vector<Step> &steps)
{
    dd_term();
    SoundFile sound = { name, mode, steps, disk, {} };
    // Where something stands, and a little around it: most of a file is room for more.
    u32 last = 0;
    for (u32 at = 0; at < disk.size(); at++) {
        if (!disk[at]) continue;
        for (u32 near = std::max(last, at < 4 ? 0 : at - 4); near < std::min((u32)disk.size(), at + 4); near++) {
            sound.places.push_back(near);
            last = near + 1;
        }
    }
    sound_files.push_back(sound);
}

// An owner table in a file that has none, as the resource that it is.
static void add_owners(u16 type, i32 range, i32 capacity)
{
    DictFile *file = dict_file_at(1, 0);
    if (core_table_at(file, (i16)type, range)) return;
    CoreTable head = { .capacity = le_i32(capacity), .free_count = le_i32(capacity), .reserved = {} };
    std::string table((const char *)&head, sizeof head);
    table.append((size_t)capacity + 1, (char)CORE_FREE);
    table += '\0';
    add(1, 10, (u16)(52 + range), (i16)type, "owners " + std::to_string(type) + "/" + std::to_string(range), table);
    if (!file->core_tables) expect_good(core_tables_init(file));
    core_table_attach(file, type, range, handle_of(table));
}

static void make_sound_files()
{
    start_seed();
    end_seed("empty", 0, { { 0, 1, 0x10, 9 }, { 10, 1, 7, 1 } });

    start_seed();
    add(2, 100, 2, 100, "Mod100", "its own");
    add(2, 100, 1, 1, "one", "body of one");
    end_seed("one_module", 0, { { 0, 1, 0x20, 21 }, { 4, 1, 0x10, 61 }, { 6, 1, 0x10, 0 } });

    start_seed();
    for (i32 module : { 100, 200, 300 }) {
        add(module == 300 ? 3 : 2, module, 2, (i16)module, "Mod" + std::to_string(module), "");
        for (i16 id = 1; id <= 4; id++) {
            std::string text = std::to_string(module) + "-" + std::to_string(id);
            for (u16 type : { (u16)1, (u16)4, (u16)26 }) {
                add(module == 300 ? 3 : 2, module, type, id, "name " + text, std::string((size_t)id * 9, 'b'));
            }
        }
    }
    add(2, 200, 15, 1, "chain", std::string("\2\0\0\0\0\0\0\0\1\0\0\0", 12));
    expect_good(dd_remove_resource(2, 0, 2, 100));
    end_seed("several_modules", 0, { { 4, 1, 0x29, 101 }, { 3, 1, 0x10, 63 }, { 10, 1, 3, 2 } });

    start_seed();
    add_owners(1, 0, 20);
    add_owners(1, 2, 20);
    add_owners(5, 0, 60);
    for (u16 owner = 0; owner < 3; owner++) {
        (void)dd_choose_owner(owner);
        add(1, 1, 1, (i16)(owner + 1), "series " + std::to_string(owner), "body");
    }
    add(1, 1, 1, 22001, "a high one", "body");
    end_seed("owners", 2, { { 9, 0, 0, 4 }, { 0, 0, 0x40, 9 }, { 6, 0, 0x10, 0 } });

    start_seed();
    add(2, 100, 2, 100, "Mod100", "");
    add(2, 100, 1, 1, std::string(255, 'n'), "no name is stored");
    expect_good(dd_add_resource(2, 100, 1, 2, Text("no body").bytes, 0));
    add(2, 100, 1, 3, std::string(254, 'n'), "body of three");
    expect_good(dd_change_resource(2, 100, 1, 2, Text("").bytes, 0));
    end_seed("odd_names", 1, { { 3, 1, 0x10, 255 }, { 4, 1, 0x20, 7 }, { 8, 1, 0x30, 9 } });

    start_seed();
    for (i32 module = 1; module <= 51; module++) add(3, module, 23, (i16)module, "M" + std::to_string(module), "");
    end_seed("many_modules", 0, { { 10, 2, 80, 1 }, { 10, 2, 3, 2 } });
}

static void write_seed(const std::string &folder, const SoundFile &sound, u8 bits, const std::vector<u8> &rest)
{
    std::string path = folder + '/' + sound.name + (bits ? "_changed" : "");
    FILE *out = fopen(path.c_str(), "wb");
    if (!out) refuse("a seed could not be written");
    const u8 head[2] = { (u8)(sound.mode | bits), (u8)sound.steps.size() };
    fwrite(head, 1, sizeof head, out);
    fwrite(sound.steps.data(), sizeof(Step), sound.steps.size(), out);
    fwrite(rest.data(), 1, rest.size(), out);
    fclose(out);
}

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    make_sound_files();
    if (*argc == 3 && strcmp((*argv)[1], "--seeds") == 0) {
        for (u8 i = 0; i < sound_files.size(); i++) {
            write_seed((*argv)[2], sound_files[i], 0, sound_files[i].bytes);
            // Two changes that change nothing much, for a search to go on from.
            write_seed((*argv)[2], sound_files[i], WITH_CHANGES, { i, 4, 0, 0, 11, 0, 0, 0, 60, 0, 1, 255, 255, 0, 0 });
        }
        exit(0);
    }
    return 0;
}
