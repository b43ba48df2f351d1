// A workstation: a process of its own that works on a dictionary as it is told, for tests that need a second one.
//
// Commands come one a line on standard input, their words separated by blanks; PATH may stand in quotes. Each is
// answered by one line on standard output, `crash` aside. Waits take no time: the clock moves by what is slept, and
// sleeping returns at once.
//
//   create PATH                              a new dictionary; the status
//   open PATH MODE                           under identifier 1; the status
//   close                                    the status
//   lock read | lock write                   by cookie; the status
//   unlock                                   what `lock` took last; 1, or 0 when it is not held any more; for a write
//                                            lock in another mode than 0, the mode
//   add KIND MODULE TYPE ID NAME [BODY]      the status; a body "x*500" is 500 times x
//   change KIND MODULE TYPE ID NAME [BODY]   the status; "-" leaves the name as it is
//   remove KIND MODULE TYPE ID               the status
//   read KIND MODULE TYPE ID                 the status and the body
//   name KIND MODULE TYPE ID                 the status and the name
//   state                                    lock_state and change_count, as they are in memory
//   hold OFFSET LENGTH                       a byte range, by the open dictionary's own handle; "held" or "refused"
//   work WORKER ROUNDS SEED                  so many operations on resources of its own and reads of all others', in
//                                            module 101 of kind 2; "OPERATIONS REFUSED WRONG", as numbers
//   verify WORKER                            its own resources against what it left; how many there are, and how many
//                                            are wrong
//   owner SERIES                             the series that adds go to from now on; the series
//   uniqueid KIND MODULE TYPE                the next free identifier
//   probe PATH OFFSET LENGTH                 by a handle opened for it in mode 0; "free", "held", or "error" and a code
//   system                                   the one that it runs on: "posix" or "windows"
//   crash                                    the end, with nothing closed or given up
//   quit                                     the end; "bye"
//
// Exit status: 0 after `quit` and at the end of the input, WORKSTATION_CRASHED after `crash`.
#include "engine/dict_set.h"
#include "engine/locks.h"
#include "files/file.h"
#include "tests/processes/workstation.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"

#include <cstdlib>
#ifdef _WIN32
#include <process.h>
#else
#include <unistd.h>
#endif

#include <iomanip>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <thread>

namespace zuk {

static DictCookie cookie;

struct Coordinates {
    i32 kind, module, type, id;
};

static Coordinates coordinates(std::istream &words)
{
    Coordinates at = {};
    words >> at.kind >> at.module >> at.type >> at.id;
    return at;
}

// "x*500" is 500 times x; everything else stands for itself.
static std::string body_of(const std::string &word)
{
    size_t star = word.find('*');
    if (star != 1) return word;
    return std::string(std::stoul(word.substr(2)), word[0]);
}

static std::string create(std::istream &words)
{
    std::string path;
    words >> std::quoted(path);
    return std::to_string(ds_createfile(2, Name(path)));  // 1 may be open
}

static std::string open(std::istream &words)
{
    std::string path;
    u16 mode = 0;
    words >> std::quoted(path) >> mode;
    return std::to_string(ds_openfile(1, Name(path), mode, 0, &cookie));
}

static bool took_to_write;   // the last lock that was had

static std::string lock(std::istream &words)
{
    std::string kind;
    words >> kind;
    DictStatus status = DICT_LOCKED_OUT;
    if (kind == "read") status = dict_selected_read_lock(&cookie, 0);
    else if (dict_selected_is_open(&cookie, 0) && dict_selected_write_lock(&cookie, 0)) status = DICT_OK;
    if (!status) took_to_write = kind == "write";
    return std::to_string(status);
}

static std::string unlock()
{
    const DictFile *file = dict_file_by_cookie(&cookie, 0);
    if (!file) return "0";
    if (took_to_write) return std::to_string(dict_selected_write_unlock(&cookie, 0));
    dict_selected_read_unlock(&cookie, 0);
    return std::to_string(file->lock_state == LOCK_NONE);
}

static std::string add(std::istream &words)
{
    Coordinates at = coordinates(words);
    std::string name, body;
    words >> name >> body;
    GHandle handle = body.empty() ? 0 : handle_of(body_of(body));
    DictStatus status = dd_add_resource(at.kind, at.module, (u16)at.type, (i16)at.id, Name(name), handle);
    gfree(handle);
    return std::to_string(status);
}

static std::string change(std::istream &words)
{
    Coordinates at = coordinates(words);
    std::string name, body;
    words >> name >> body;
    GHandle handle = body.empty() ? 0 : handle_of(body_of(body));
    Name new_name(name);
    DictStatus status = dd_change_resource(at.kind, at.module, (u16)at.type, at.id,
                                           name == "-" ? nullptr : (ConstPString)new_name, handle);
    gfree(handle);
    return std::to_string(status);
}

static std::string remove(std::istream &words)
{
    Coordinates at = coordinates(words);
    return std::to_string(dd_remove_resource(at.kind, at.module, (u16)at.type, at.id));
}

static std::string read(std::istream &words)
{
    Coordinates at = coordinates(words);
    u32 status = 0;
    GHandle body = dd_getresourcehndl(at.kind, at.module, (u16)at.type, (u16)at.id, 0, &status);
    return body ? std::to_string(status) + ' ' + take(body) : std::to_string(status);
}

static std::string name(std::istream &words)
{
    Coordinates at = coordinates(words);
    Name out;
    DictStatus status = dd_getresname(at.kind, at.module, (u16)at.type, (u16)at.id, out);
    return std::to_string(status) + ' ' + out.str();
}

static std::string state()
{
    const DictFile *file = dict_file_by_cookie(&cookie, 0);
    if (!file) return "none";
    return std::to_string(file->lock_state) + ' ' + std::to_string(le_get(file->header.change_count));
}

static std::string hold(std::istream &words)
{
    u32 offset = 0, length = 0;
    words >> offset >> length;
    const DictFile *file = dict_file_by_cookie(&cookie, 0);
    return file && file_lock(file->file, offset, length) ? "held" : "refused";
}

static std::string system()
{
#ifdef _WIN32
    return "windows";
#else
    return "posix";
#endif
}

static std::string probe(std::istream &words)
{
    std::string path;
    u32 offset = 0, length = 0;
    words >> std::quoted(path) >> offset >> length;
    FileHandle file = file_open(Name(path), FILE_RW_SHARED);
    if (!file) return "error " + std::to_string(file_error);
    bool free = file_lock(file, offset, length) != 0;
    if (free) (void)file_unlock(file, offset, length);
    (void)file_close(file);
    return free ? "free" : "held";
}

// ---- Work without orders --------------------------------------------------------------------------------------------

// What a worker has left in the file: the body of each of its resources; "" for none.
static std::string own_bodies[WORK_RESOURCES];
static bool alive[WORK_RESOURCES];

static i16 id_of(u32 worker, u32 which) { return (i16)(worker * WORK_RESOURCES + which + 1); }

// A body tells whose it is and how long: "7:300:aaa...", so that a torn one is seen by anybody.
static std::string body_for(i16 id, u32 length)
{
    return std::to_string(id) + ':' + std::to_string(length) + ':' + std::string(length, (char)('a' + id % 26));
}

static bool is_whole(i16 id, const std::string &body)
{
    size_t colon = body.find(':');
    if (colon == std::string::npos) return false;
    u32 length = (u32)strtoul(body.c_str() + colon + 1, nullptr, 10);
    return body == body_for(id, length);
}

// Until the lock is had; each refusal is counted.
template <class Operation> static DictStatus insist(Operation operation, u32 *refused)
{
    DictStatus status = operation();
    while (status == DICT_LOCKED_OUT) {
        ++*refused;
        std::this_thread::yield();
        status = operation();
    }
    return status;
}

static DictStatus read_body(i16 id, std::string *body)
{
    u32 status = 0;
    GHandle handle = dd_getresourcehndl(2, WORK_MODULE, WORK_TYPE, (u16)id, 0, &status);
    *body = handle ? take(handle) : "";
    return (DictStatus)status;
}

// One operation on a resource of this worker. True if the file and the worker agree on it.
static bool work_on(u32 worker, u32 which, u32 dice, u32 *refused)
{
    i16 id = id_of(worker, which);
    std::string &own = own_bodies[which];
    if (!alive[which] || dice % 4 == 0) {
        std::string body = body_for(id, dice / 4 % WORK_LONGEST);
        GHandle handle = handle_of(body);
        Name name("resource " + std::to_string(id));
        bool fresh = !alive[which];
        DictStatus status = insist([&] {
            if (fresh) return dd_add_resource(2, WORK_MODULE, WORK_TYPE, id, name, handle);
            return dd_change_resource(2, WORK_MODULE, WORK_TYPE, id, nullptr, handle);
        }, refused);
        gfree(handle);
        if (status) return false;
        alive[which] = true;
        own = body;
        return true;
    }
    if (dice % 4 == 1) {
        if (insist([&] { return dd_remove_resource(2, WORK_MODULE, WORK_TYPE, id); }, refused)) return false;
        alive[which] = false;
        return true;
    }
    std::string body;
    return insist([&] { return read_body(id, &body); }, refused) == DICT_OK && body == own;
}

static std::string work(std::istream &words)
{
    u32 worker = 0, rounds = 0, seed = 0;
    words >> worker >> rounds >> seed;
    std::mt19937 random(seed);
    u32 refused = 0, wrong = 0;
    for (u32 round = 0; round < rounds; round++) {
        u32 dice = (u32)random(), which = (u32)random() % WORK_RESOURCES;
        if (dice % 2) {
            wrong += !work_on(worker, which, dice / 2, &refused);
            continue;
        }
        // Somebody's, perhaps one's own: there or not, but never in pieces.
        i16 id = id_of((u32)random() % WORKERS_MOST, which);
        std::string body;
        DictStatus status = insist([&] { return read_body(id, &body); }, &refused);
        wrong += status == DICT_OK ? !is_whole(id, body) : status != DICT_NOT_FOUND;
    }
    return std::to_string(rounds) + ' ' + std::to_string(refused) + ' ' + std::to_string(wrong);
}

static std::string verify(std::istream &words)
{
    u32 worker = 0, there = 0, wrong = 0, refused = 0;
    words >> worker;
    for (u32 which = 0; which < WORK_RESOURCES; which++) {
        i16 id = id_of(worker, which);
        std::string body;
        DictStatus status = insist([&] { return read_body(id, &body); }, &refused);
        there += alive[which];
        wrong += alive[which] ? status || body != own_bodies[which] : status != DICT_NOT_FOUND;
    }
    return std::to_string(there) + ' ' + std::to_string(wrong);
}

// ---- Orders ---------------------------------------------------------------------------------------------------------

static std::string owner(std::istream &words)
{
    i16 series = 0;
    words >> series;
    return std::to_string(dd_choose_owner((u16)series));
}

static std::string uniqueid(std::istream &words)
{
    i32 kind = 0, module = 0, type = 0;
    words >> kind >> module >> type;
    return std::to_string(dd_uniqueid(kind, module, (u16)type));
}

static std::string obey(const std::string &line)
{
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command == "create") return create(words);
    if (command == "open") return open(words);
    if (command == "close") return std::to_string(ds_closefile(1));
    if (command == "lock") return lock(words);
    if (command == "unlock") return unlock();
    if (command == "add") return add(words);
    if (command == "change") return change(words);
    if (command == "remove") return remove(words);
    if (command == "read") return read(words);
    if (command == "name") return name(words);
    if (command == "state") return state();
    if (command == "hold") return hold(words);
    if (command == "work") return work(words);
    if (command == "verify") return verify(words);
    if (command == "owner") return owner(words);
    if (command == "uniqueid") return uniqueid(words);
    if (command == "probe") return probe(words);
    if (command == "system") return system();
    if (command == "crash") _exit(WORKSTATION_CRASHED);
    return "what is \"" + line + "\"?";
}

} // namespace zuk

using namespace zuk;

int main()
{
    clock_virtual_start(0);
    if (!dd_init()) return 1;
    for (std::string line; std::getline(std::cin, line);) {
        if (line == "quit") break;
        std::cout << obey(line) << std::endl;
        calls_reset();  // the log of a long wait is long
    }
    dd_term();
    std::cout << "bye" << std::endl;
    return 0;
}
