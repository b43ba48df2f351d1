// A dictionary as the commands see it: opened for their length, listed in facts, changed by coordinates.
//
// All of it goes through the library's own operations. What fails throws a Failure that names the file, the place in
// it, the reason and the library's status. Nothing here prints.
//
// Reading commands open with DICT_READ_ONLY, writing ones with DICT_EXCLUSIVE; several dictionaries can be open at
// once.
//
// In kind 1 an identifier of a type stands once over all modules, and the core tables tell which series owns it. Here
// its modules have their whole numbers; what the library is to do with an identifier, it does in the series of the
// module that is named, whatever owner is recorded.
#pragma once

#include "engine/dict_file.h"
#include "tool/coordinates.h"

#include <string>
#include <string_view>
#include <vector>

namespace zuk::tool {

constexpr size_t NAME_MAX_BYTES = 254;
constexpr size_t RENAMED_MODULE_MAX_BYTES = 79;    // the library cuts the new name of a module
constexpr i32 ID_MAX = 32767;
constexpr u16 MODULE_TYPE = 2;                     // the type of the resource that `add` makes for a module
constexpr i16 NO_OWNER = -1;                       // as the library tells it

// ---- Handles --------------------------------------------------------------------------------------------------------

// A handle of the library that goes with its scope; 0 is no body.
struct Handle {
    GHandle value = 0;

    Handle() = default;
    explicit Handle(GHandle handle) : value(handle) {}
    explicit Handle(std::string_view bytes);       // 0 for no bytes; throws without memory
    Handle(Handle &&other) noexcept : value(other.value) { other.value = 0; }
    Handle &operator=(Handle &&other) noexcept;
    ~Handle();

    std::string_view bytes() const;                // until the handle goes
};

// ---- Open dictionaries ----------------------------------------------------------------------------------------------

class Dictionary {
public:
    // Opening a file that has no core tables makes them, as the library does; where they cannot be made, a file that is
    // only to be read is opened without them. A damaged file gets none: making them could overwrite what is left of it.
    Dictionary(const std::string &path, u16 mode) : Dictionary(path, mode, path) {}
    Dictionary(const std::string &path, u16 mode, const std::string &shown_path);
    ~Dictionary();
    Dictionary(const Dictionary &) = delete;
    Dictionary &operator=(const Dictionary &) = delete;

    DictFile *file() const;                        // good until another dictionary is opened or closed
    void make_current() const;                     // for the library's operations that work on the current one
    std::string thing(const Coordinates &at) const;  // "orders.dic: 2/100/1"

    const std::string shown;                       // what messages call it: the path as it was given

private:
    i16 number;                                    // the library's identifier of it
    DictCookie cookie;
};

// Make a new, empty dictionary; a file that stands there is replaced only by `force`. It has its core tables.
void create_dictionary(const std::string &path, bool force);

// For what needs the library's settings before a dictionary is open.
void start_library();

// ---- What is in it --------------------------------------------------------------------------------------------------

struct ResourceFacts {
    i16 id;
    u8 flags;
    i32 body_size;                                 // 0: without a body
    std::string name;                              // whole
    i16 owner = NO_OWNER;                          // of kind 1: the series that the core tables tell
};

struct TypeFacts {
    u16 type;
    std::vector<ResourceFacts> resources;          // ascending by identifier
};

struct ModuleFacts {
    i32 kind, module;
    std::string name;
    std::vector<TypeFacts> types;                  // ascending as the file has them: signed
};

// All that lies at `at` and below it, in the order of the file; all of the dictionary for no levels. Missing things on
// the way throw "not found". A type without resources is listed, too.
std::vector<ModuleFacts> read_facts(const Dictionary &dictionary, const Coordinates &at);

// The body of one resource. A module's own resource is reached by its full coordinates.
Handle read_body(const Dictionary &dictionary, const Coordinates &at);

struct Counts {
    size_t modules = 0, types = 0, resources = 0, bodies = 0;
    u64 name_bytes = 0, body_bytes = 0;            // of resources; the length byte of a name is not counted
};
void count(Counts *counts, const ModuleFacts &module);
void count(Counts *counts, const TypeFacts &type);

// ---- Names ----------------------------------------------------------------------------------------------------------

// Throws unless the library can store the name: 1 to 254 bytes.
void check_name(const std::string &thing, const std::string &name);

// ---- Changes --------------------------------------------------------------------------------------------------------

std::string owner_text(i16 owner);                 // "-" for none

// What the library cannot hold in kind 1, or keeps itself: types without owners, the core tables, core type 10 outside
// series 0. Throws, naming `thing`; nothing for other kinds.
void check_kind_1(const std::string &thing, const Coordinates &at);

// The same of what a person adds, whose series has to be one that the library finds again: 0 to 14.
void check_new_in_kind_1(const std::string &thing, const Coordinates &at);

// A core table: the library makes it, and changes it with the resources that it tells of.
bool is_core_table(i32 kind, i32 module, u16 type, i16 id);

bool module_exists(const Dictionary &dictionary, const Coordinates &at);
bool resource_exists(const Dictionary &dictionary, const Coordinates &at);

// The type of the resource that stands for a module in the module itself: 2 or 23, 0 if there is none.
u16 own_type(const Dictionary &dictionary, const Coordinates &at);

// Add a resource; one of type 2 or 23 makes its module.
void add_resource(const Dictionary &dictionary, const Coordinates &at, const std::string &name, const Handle &body);
// Make a module that no resource stands for.
void add_bare_module(const Dictionary &dictionary, const Coordinates &at, const std::string &name);

// Change the name (unless null) and the body (unless without bytes).
void change_resource(const Dictionary &dictionary, const Coordinates &at, const std::string *name, const Handle &body);
// Change the name in the list of modules alone. 79 bytes at most.
void rename_module(const Dictionary &dictionary, const Coordinates &at, const std::string &name);

void set_flags(const Dictionary &dictionary, const Coordinates &at, u8 flags);
// Record another owner of a resource of kind 1 than the series of its module, or none.
void set_owner(const Dictionary &dictionary, const Coordinates &at, i16 owner);
// The owner that a resource of a module gets by being added.
i16 natural_owner(i32 module);
void set_version(const Dictionary &dictionary, u16 version);

void remove_resource(const Dictionary &dictionary, const Coordinates &at);
void remove_module(const Dictionary &dictionary, const Coordinates &at);    // not for 1/10

// The next identifier above the highest of a type, 1 where the type is missing; in kind 1 the next free one. Throws
// when there is none up to 32767.
i16 next_id(const Dictionary &dictionary, const Coordinates &at);

// The next free identifier as the library gives them out: of the global range, or of the local one from 20000 on. For
// types 2 and 23 the next free module number. The file may lack the module in kind 1 alone.
i16 next_free_id(const Dictionary &dictionary, const Coordinates &at, bool local);

} // namespace zuk::tool
