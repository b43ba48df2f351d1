// Operations at random on three dictionaries, against a model in memory: additions, changes, removals, renamings and
// copies of modules, in all kinds. Now and then everything is closed, the bytes of each file are taken apart without
// the help of the engine, and opened again.
//
// A run is told by its seed, which a failure shows, and repeats with it on every machine. $ZUK_RANDOM_SEEDS and
// $ZUK_RANDOM_OPERATIONS say how many seeds (200) of how many operations (500), $ZUK_RANDOM_FIRST which seed is the
// first (1).
#include "engine/copy.h"
#include "engine/records.h"
#include "engine/resources.h"
#include "foundation/handles.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"
#include "tool/check_file.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace zuk {
namespace {

constexpr i16 FIRST_ID = 20;               // `lowest_id`: numbers of copies then meet those of other modules
constexpr i32 SERIES = 7;                  // searched for a name of kind 1
constexpr size_t NAME_SHOWN = 79;          // characters of a name that reads give

std::string shown(const std::string &name) { return name.substr(0, NAME_SHOWN); }

bool stands_for_module(u16 type) { return type == 2 || type == 23; }
bool holds_tables(u16 type) { return type >= 52 && type <= 54; }

// ---- The model ------------------------------------------------------------------------------------------------------

struct Resource {
    std::string name, body;
    u8 flags = 0;
};

struct Type {
    std::map<i16, Resource> resources;
    size_t name_gap = 0, body_gap = 0;     // bytes that a failed addition has left, which no entry describes
    bool saved = false;                    // the directory in the file knows the type
};

struct Module {
    std::string name;                      // as it is stored
    std::map<i16, Type> types;
};

using Key = std::pair<i32, i32>;           // kind and number, or type and range

// The owners of one type in one range, byte for byte as they are stored.
struct Owners {
    std::string bytes;

    explicit Owners(i32 size) : bytes(sizeof(CoreTable) + (size_t)size + 2, '\0')
    {
        CoreTable head = { .capacity = le_i32(size), .free_count = le_i32(size), .reserved = {} };
        memcpy(bytes.data(), &head, sizeof head);
        fill(0, size);
    }
    explicit Owners(const std::string &stored) : bytes(stored) {}

    CoreTable *head() { return (CoreTable *)bytes.data(); }
    const CoreTable *head() const { return (const CoreTable *)bytes.data(); }
    i32 capacity() const { return le_get(head()->capacity); }
    i32 used() const { return capacity() - le_get(head()->free_count); }
    u8 at(i32 position) const { return (u8)bytes[sizeof(CoreTable) + (size_t)position]; }
    void fill(i32 first, i32 last)
    {
        for (i32 p = first; p <= last; p++) bytes[sizeof(CoreTable) + (size_t)p] = CORE_FREE;
    }
    void count_free(i32 more) { head()->free_count = le_i32(le_get(head()->free_count) + more); }

    void set(i32 position, u8 owner, i32 step)
    {
        if (position > capacity()) {
            i32 old = capacity();
            i32 grown = std::max(old + step, position);
            bytes.resize(sizeof(CoreTable) + (size_t)grown + 3, '\0');
            head()->capacity = le_i32(grown);
            count_free(grown - old);
            fill(old + 1, grown);
        }
        if (at(position) == CORE_FREE) count_free(-1);
        if (owner == CORE_FREE) count_free(1);
        bytes[sizeof(CoreTable) + (size_t)position] = (char)owner;
    }
};

// One dictionary. Each operation gives the status that the engine's must give.
class Model {
public:
    std::map<Key, Module> modules;
    std::map<Key, Owners> owners;          // those in memory; the stored ones are resources of module 10 of kind 1
    u32 lost_blocks = 0;                   // which no directory names, by design

    // ---- Looking

    const Module *module(i32 kind, i32 number) const
    {
        auto at = modules.find({ kind, number });
        return at == modules.end() ? nullptr : &at->second;
    }
    const Type *type(i32 kind, i32 number, u16 of) const
    {
        const Module *in = module(kind, number);
        auto at = in ? in->types.find((i16)of) : std::map<i16, Type>::const_iterator();
        return in && at != in->types.end() ? &at->second : nullptr;
    }
    const Resource *resource(i32 kind, i32 number, u16 of, i16 id) const
    {
        const Type *in = type(kind, number, of);
        auto at = in ? in->resources.find(id) : std::map<i16, Resource>::const_iterator();
        return in && at != in->resources.end() ? &at->second : nullptr;
    }
    i32 module_of_name(i32 kind, const std::string &name) const
    {
        for (const auto &[key, at] : modules) {
            if (key.first == kind && at.name == name) return key.second;
        }
        return 0;
    }
    i32 modules_of_kind(i32 kind) const
    {
        return (i32)std::count_if(modules.begin(), modules.end(), [&](auto &at) { return at.first.first == kind; });
    }
    i32 id_of_name_in(i32 kind, i32 number, u16 of, const std::string &name) const
    {
        const Type *in = type(kind, number, of);
        if (!in) return 0;
        for (const auto &[id, at] : in->resources) {
            if (at.name == name) return id;
        }
        return 0;
    }
    // For kind 1 in seven series from `number` on.
    i32 id_of_name(i32 kind, i32 number, u16 of, const std::string &name) const
    {
        if (stands_for_module(of)) return module_of_name(kind, name);
        i32 id = 0;
        for (i32 series = 0; series < (kind == 1 ? SERIES : 1) && !id; series++) {
            id = id_of_name_in(kind, number + series * 16, of, name);
        }
        return id;
    }
    i32 owner(u16 of, i16 id) const
    {
        if (holds_tables(of)) return 0;
        i32 position;
        auto at = owners.find({ of, core_id_range(id, &position) });
        if (at == owners.end() || position < 0 || position > at->second.capacity()) return -1;
        u8 byte = at->second.at(position);
        return byte == CORE_FREE ? -1 : byte;
    }
    // The number of the module that a change or a removal goes to; `known` becomes false without an owner.
    i32 real_module(i32 kind, i32 number, u16 of, i16 id, bool *known) const
    {
        *known = true;
        if (kind != 1) return number;
        i32 series = owner(of, id);
        *known = series >= 0;
        return *known ? number + series * 16 : number;
    }
    i32 next_number(i32 kind) const
    {
        if (modules.size() == 1) return FIRST_ID;
        i32 number = FIRST_ID;
        while (module(kind, number)) number++;
        return number;
    }

    // ---- Changing

    DictStatus add(i32 kind, i32 number, u16 of, i16 id, const std::string &name, const std::string &body, i32 series)
    {
        if (name.empty() || id < 1) return DICT_BAD_NAME;
        i32 real = kind == 1 && number != CORE_TABLES_MODULE ? number + series * 16 : number;
        DictStatus status = DICT_OK;
        if (stands_for_module(of)) {
            status = make_module(kind, real, name);
            if (status) return status;
        }
        if (kind == 1 && id_of_name(kind, number, of, name)) status = DICT_EXISTS;
        if (!stands_for_module(of) && id_of_name_in(kind, number, of, name)) status = DICT_EXISTS;
        if (!status && kind == 1 && !holds_tables(of)) {
            if (owner(of, id) != -1) status = DICT_EXISTS;
        } else if (!status && !stands_for_module(of) && resource(kind, number, of, id)) {
            status = DICT_EXISTS;
        }
        if (!status) status = enter(kind, real, of, id);
        if (status == DICT_NOT_FOUND && kind == 1) {
            Name words;
            (void)module_default_name(real, words);
            status = make_module(kind, real, words.str());
            if (!status) status = enter(kind, real, of, id);
        }
        if (status) return status;

        Module &in = modules[{ kind, real }];
        Type &at = in.types[(i16)of];
        i32 position;
        i32 range = core_id_range(id, &position);
        if (kind == 1 && !holds_tables(of) && !owners.count({ of, range })) {
            at.resources.erase(id);  // name and body stay where they were written
            at.name_gap += name.size() + 1;
            at.body_gap += body.size();
            return DICT_NOT_FOUND;
        }
        at.resources[id] = { name, body, 0 };
        save(&in);
        if (kind != 1 || holds_tables(of)) return kind == 1 ? write_owners(of, range) : DictStatus{ DICT_OK };
        owners.at({ of, range }).set(position, (u8)series, core_table_size(of));
        return write_owners(of, range);
    }

    DictStatus change(i32 kind, i32 number, u16 of, i16 id, const std::string *name, const std::string &body)
    {
        bool known;
        i32 real = real_module(kind, number, of, id, &known);
        if (!known || !resource(kind, real, of, id)) return DICT_NOT_FOUND;
        Module &in = modules[{ kind, real }];
        Resource &at = in.types[(i16)of].resources[id];
        if (name) {
            i32 holder = id_of_name(kind, real, of, *name);
            if (stands_for_module(of) && !holder) in.name = shown(*name);
            if (holder && holder != id) return DICT_EXISTS;
            if (!holder) at.name = *name;
        }
        if (!body.empty()) at.body = body;
        save(&in);
        return DICT_OK;
    }

    DictStatus remove(i32 kind, i32 number, u16 of, i16 id)
    {
        if (stands_for_module(of)) return modules.erase({ kind, id }) ? DICT_OK : DICT_NOT_FOUND;
        bool known;
        i32 real = real_module(kind, number, of, id, &known);
        if (!known || !resource(kind, real, of, id)) return DICT_NOT_FOUND;
        Module &in = modules[{ kind, real }];
        in.types[(i16)of].resources.erase(id);
        save(&in);
        if (kind != 1) return DICT_OK;
        i32 position;
        i32 range = core_id_range(id, &position);
        owners.at({ of, range }).set(position, CORE_FREE, 0);
        return write_owners(of, range);
    }

    DictStatus set_flags(i32 kind, i32 number, u16 of, i16 id, u8 flags)
    {
        bool known;
        i32 real = real_module(kind, number, of, id, &known);
        if (!known || !resource(kind, real, of, id)) return DICT_NOT_FOUND;
        modules[{ kind, real }].types[(i16)of].resources[id].flags = flags;
        save(&modules[{ kind, real }]);
        return DICT_OK;
    }

    DictStatus copy_from(Model *source, i32 kind, i32 number, bool keep, const std::string *given, i32 *result)
    {
        bool known = source->module(kind, number) != nullptr;
        bool keeps_number = (keep && known) || kind == 1;
        *result = keeps_number ? number : next_number(kind);
        if (known && keeps_number) modules.erase({ kind, *result });
        DictStatus status = DICT_NOT_FOUND;
        if (known && source->module(kind, number)) status = copy_to_number(source, kind, number, keep, given, *result);
        forget_unsaved({ kind, *result });
        source->forget_unsaved({ kind, number });
        return status;
    }

    DictStatus copy_base_from(Model *source)
    {
        DictStatus status = DICT_OK;
        for (i32 core_type : { 1, 2, 5, 6, 10 }) {
            i32 result;
            for (i32 series = 0; series < SERIES; series++) {
                status = copy_from(source, 1, series * 16 + core_type, true, nullptr, &result);
            }
            if (status && status != DICT_NOT_FOUND) break;
        }
        return status;
    }

    // ---- Closing and opening

    void close()
    {
        for (const auto &[key, at] : modules) forget_unsaved(key);
        owners.clear();
    }

    void open()
    {
        for (i32 of = 1; of <= CORE_TYPE_MAX; of++) {
            i32 size = core_table_size(of);
            for (i32 range = 0; range < CORE_RANGES && size; range++) {
                u16 table_type = (u16)(CORE_TABLES_TYPE + range);
                if (!resource(1, CORE_TABLES_MODULE, table_type, (i16)of)) {
                    std::string name = "Local core table " + std::to_string(of) + ", " + std::to_string(range);
                    EXPECT_EQ(add(1, CORE_TABLES_MODULE, table_type, (i16)of, name, Owners(size).bytes, 0), 0u);
                }
                const Resource *stored = resource(1, CORE_TABLES_MODULE, table_type, (i16)of);
                if (stored) owners.insert({ { of, range }, Owners(stored->body) });
            }
        }
    }

private:
    static void save(Module *in)
    {
        for (auto &[of, at] : in->types) at.saved = true;
    }

    // A directory is dropped from memory: the types go that the file does not know.
    void forget_unsaved(Key key)
    {
        auto in = modules.find(key);
        if (in == modules.end()) return;
        lost_blocks += 2 * (u32)std::erase_if(in->second.types, [](const auto &at) { return !at.second.saved; });
    }

    DictStatus make_module(i32 kind, i32 number, const std::string &name)
    {
        if (module(kind, number) || module_of_name(kind, name)) {
            lost_blocks++;  // of the directory
            return DICT_EXISTS;
        }
        modules[{ kind, number }].name = name;
        return DICT_OK;
    }

    // The type is made where it is missing.
    DictStatus enter(i32 kind, i32 number, u16 of, i16 id)
    {
        if (!module(kind, number)) return DICT_NOT_FOUND;
        if (resource(kind, number, of, id)) return DICT_EXISTS;
        modules[{ kind, number }].types[(i16)of].resources[id] = {};
        return DICT_OK;
    }

    DictStatus write_owners(u16 of, i32 range)
    {
        auto table = owners.find({ of, range });
        if (table == owners.end()) return DICT_OK;
        std::string bytes = table->second.bytes;
        return change(1, CORE_TABLES_MODULE, (u16)(CORE_TABLES_TYPE + range), (i16)of, nullptr, bytes);
    }

    DictStatus copy_to_number(Model *source, i32 kind, i32 number, bool keep, const std::string *given, i32 result)
    {
        Module copied = *source->module(kind, number);
        std::erase_if(copied.types, [](const auto &at) { return !at.second.saved; });
        if (kind == 1) copied.name = "Core Module " + std::to_string(number);
        else copied.name = given ? *given : shown(copied.name);
        if (module(kind, result) || module_of_name(kind, copied.name)) return DICT_EXISTS;

        for (i16 of : { (i16)2, (i16)23 }) {
            auto at = copied.types.find(of);
            if (keep || at == copied.types.end() || (of == 2 && kind != 2) || at->second.resources.empty()) continue;
            Resource itself = at->second.resources.begin()->second;
            at->second.resources = { { (i16)result, itself } };
        }
        modules[{ kind, result }] = copied;
        return DICT_OK;
    }
};

// ---- A file taken apart ---------------------------------------------------------------------------------------------

// The bytes of a closed dictionary. Every record is looked at by its bytes alone, and compared with the model.
class Anatomy {
public:
    Anatomy(const std::string &content, const Model &expected) : bytes(content), model(expected) {}

    void check()
    {
        check_blocks();
        if (!testing::Test::HasFatalFailure()) check_modules();
        if (testing::Test::HasFatalFailure()) return;
        // Three blocks of every file, a directory for each module, two for each type, and what was lost.
        EXPECT_EQ(taken, named.size() + 3 + model.lost_blocks);
    }

private:
    template <typename Record> const Record *at(size_t offset) const
    {
        if (offset + sizeof(Record) > bytes.size()) {
            ADD_FAILURE() << "a record behind the end of the file, at " << offset;
            static const Record zeros = {};
            return &zeros;
        }
        return (const Record *)(bytes.data() + offset);
    }

    const BlockEntry *entry(u32 block) const
    {
        static const BlockEntry none = {};
        u32 count = le_get(header()->table_entries);
        return block == 0 || block > count ? &none : at<BlockEntry>(table_at() + (block - 1) * sizeof(BlockEntry));
    }
    const DictHeader *header() const { return at<DictHeader>(0); }
    size_t table_at() const { return le_get(header()->table_offset); }
    static size_t used(const BlockEntry *of) { return le_get(of->size) - le_get(of->free); }

    void check_blocks()
    {
        ASSERT_EQ(memcmp(header()->magic, "%VTL", 4), 0);
        ASSERT_EQ(le_get(header()->version), DICT_VERSION);
        u32 count = le_get(header()->table_entries);
        ASSERT_EQ(count % BLOCK_TABLE_STEP, 0u);
        ASSERT_EQ(le_get(header()->table_entry), 2u);
        ASSERT_LE(table_at() + count * sizeof(BlockEntry), bytes.size());

        // Header and blocks lie side by side, without a hole or an overlap.
        std::map<u32, u32> by_place;
        u32 free = 0;
        for (u32 block = 1; block <= count; block++) {
            const BlockEntry *of = entry(block);
            u32 size = le_get(of->size);
            ASSERT_LE(le_get(of->free), size) << "block " << block;
            if (le_get(of->type) == BLOCK_FREE) {
                free++;
                ASSERT_EQ(le_get(of->free), size) << "block " << block;
            }
            if (size) { ASSERT_TRUE(by_place.insert({ le_get(of->offset), size }).second) << "block " << block; }
        }
        ASSERT_EQ(le_get(header()->free_entries), free);
        taken = count - free;
        size_t end = sizeof(DictHeader);
        for (const auto &[offset, size] : by_place) {
            ASSERT_EQ(offset, end);
            end += size;
        }
        ASSERT_EQ(end, bytes.size());

        const BlockEntry *own = entry(BLOCK_OF_BLOCK_TABLE);
        ASSERT_EQ(le_get(own->type), BLOCK_TABLE);
        ASSERT_EQ(le_get(own->offset), table_at());
        ASSERT_EQ(le_get(own->size), count * sizeof(BlockEntry));
        ASSERT_EQ(le_get(entry(BLOCK_OF_MODULE_TABLE)->type), BLOCK_MODULE_TABLE);
        ASSERT_EQ(le_get(entry(BLOCK_OF_MODULE_NAMES)->type), BLOCK_NAMES);
    }

    void check_modules()
    {
        size_t place = le_get(entry(BLOCK_OF_MODULE_TABLE)->offset);
        const ModuleTable *table = at<ModuleTable>(place);
        i32 count = le_get(table->module_count);
        i32 spare = le_get(table->spare_entries);
        ASSERT_EQ(le_get(table->name_block), BLOCK_OF_MODULE_NAMES);
        ASSERT_EQ((size_t)count, model.modules.size());
        ASSERT_GE(spare, 0);
        size_t size = sizeof(ModuleTable) + (size_t)(count + spare) * sizeof(ModuleEntry);
        ASSERT_LE(size, le_get(entry(BLOCK_OF_MODULE_TABLE)->size));

        place += sizeof(ModuleTable);
        std::map<i32, i32> names;  // by their place in the list
        for (const auto &[key, module] : model.modules) {  // in the order of the table
            const ModuleEntry *of = at<ModuleEntry>(place);
            ASSERT_EQ(le_get(of->kind), key.first);
            ASSERT_EQ(le_get(of->module), key.second);
            ASSERT_EQ(name_at(BLOCK_OF_MODULE_NAMES, le_get(of->name_offset), le_get(of->name_size)), module.name);
            names[le_get(of->name_offset)] = le_get(of->name_size);
            check_directory(key, module, le_get(of->directory_block));
            if (testing::Test::HasFatalFailure()) {
                ADD_FAILURE() << "in module " << key.first << "/" << key.second;
                return;
            }
            place += sizeof(ModuleEntry);
        }
        for (size_t i = 0; i < (size_t)spare * sizeof(ModuleEntry); i++) ASSERT_EQ(bytes[place + i], '\0');
        ASSERT_EQ(names.size(), model.modules.size());
        ASSERT_EQ((size_t)end_of_row(names), used(entry(BLOCK_OF_MODULE_NAMES)));
    }

    // The end of pieces that stand side by side from 0 on; -1 for a hole or an overlap.
    static i32 end_of_row(const std::map<i32, i32> &pieces)
    {
        i32 end = 0;
        for (const auto &[offset, size] : pieces) {
            if (offset != end) return -1;
            end += size;
        }
        return end;
    }

    std::string name_at(u32 block, i32 offset, i32 size) const
    {
        if (offset < 0 || (size_t)offset + (size_t)size > used(entry(block))) return "<outside>";
        size_t place = le_get(entry(block)->offset) + (size_t)offset;
        if ((u8)bytes[place] + 1 != size) return "<length " + std::to_string((u8)bytes[place]) + ">";
        return bytes.substr(place + 1, (size_t)size - 1);
    }

    void name_block(u32 block, u16 type)
    {
        ASSERT_EQ(le_get(entry(block)->type), type) << "block " << block;
        ASSERT_GT(block, BLOCK_OF_BLOCK_TABLE);
        ASSERT_TRUE(named.insert(block).second) << "block " << block << " is named twice";
    }

    void check_directory(Key key, const Module &module, u32 block)
    {
        ASSERT_NO_FATAL_FAILURE(name_block(block, BLOCK_DIRECTORY));
        size_t place = le_get(entry(block)->offset);
        const ModuleDirectory *of = at<ModuleDirectory>(place);
        ASSERT_EQ(le_get(of->kind), key.first);
        ASSERT_EQ(le_get(of->module), key.second);
        u32 types = le_get(of->type_count);
        u32 free_types = le_get(of->free_type_slots);
        u32 slots = le_get(of->assigned_slots);
        size_t slot_area = place + sizeof *of + (types + free_types) * sizeof(TypeEntry);
        size_t end = slot_area + (slots + le_get(of->reserve_slots)) * sizeof(ResourceEntry);
        ASSERT_LE(end - place, used(entry(block)));
        ASSERT_EQ(types, module.types.size());

        std::map<i32, i32> runs;
        place += sizeof *of;
        for (const auto &[type, expected] : module.types) {
            const TypeEntry *at_type = at<TypeEntry>(place);
            ASSERT_EQ(le_get(at_type->type), type);
            u32 count = le_get(at_type->resource_count);
            u32 free_slots = le_get(at_type->free_slots);
            ASSERT_EQ(count, expected.resources.size()) << "type " << type;
            if (count + free_slots) runs[le_get(at_type->first_slot)] = (i32)(count + free_slots);
            size_t run = slot_area + le_get(at_type->first_slot) * sizeof(ResourceEntry);
            ASSERT_LE(run + (count + free_slots) * sizeof(ResourceEntry), end);
            check_type(expected, at_type, run);
            if (testing::Test::HasFatalFailure()) {
                ADD_FAILURE() << "in type " << type;
                return;
            }
            expect_zeros(run + count * sizeof(ResourceEntry), free_slots);
            place += sizeof(TypeEntry);
        }
        expect_zeros(place, free_types);
        ASSERT_EQ((u32)end_of_row(runs), slots);
    }

    void expect_zeros(size_t place, size_t slots)
    {
        size_t size = slots * sizeof(ResourceEntry);
        EXPECT_EQ(std::count(bytes.begin() + (ptrdiff_t)place, bytes.begin() + (ptrdiff_t)(place + size), '\0'),
                  (ptrdiff_t)size);
    }

    void check_type(const Type &expected, const TypeEntry *of, size_t run)
    {
        u32 names = le_get(of->name_block), bodies = le_get(of->body_block);
        ASSERT_NO_FATAL_FAILURE(name_block(names, BLOCK_NAMES));
        ASSERT_NO_FATAL_FAILURE(name_block(bodies, BLOCK_BODIES));
        size_t body_place = le_get(entry(bodies)->offset);
        std::map<i32, i32> name_pieces, body_pieces;
        size_t name_bytes = expected.name_gap, body_bytes = expected.body_gap;
        for (const auto &[id, resource] : expected.resources) {
            const ResourceEntry *is = at<ResourceEntry>(run);
            ASSERT_EQ(le_get(is->id), id);
            ASSERT_EQ(is->flags, resource.flags) << "id " << id;
            ASSERT_EQ(name_at(names, le_get(is->name_offset), is->name_size), resource.name) << "id " << id;
            i32 offset = le_get(is->body_offset), size = le_get(is->body_size);
            ASSERT_EQ((size_t)size, resource.body.size()) << "id " << id;
            ASSERT_GE(offset, 0);
            ASSERT_LE((size_t)(offset + size), used(entry(bodies))) << "id " << id;
            ASSERT_EQ(bytes.compare(body_place + (size_t)offset, (size_t)size, resource.body), 0) << "id " << id;
            ASSERT_TRUE(name_pieces.insert({ le_get(is->name_offset), is->name_size }).second) << "id " << id;
            if (size) { ASSERT_TRUE(body_pieces.insert({ offset, size }).second) << "id " << id; }
            name_bytes += is->name_size;
            body_bytes += (size_t)size;
            run += sizeof(ResourceEntry);
        }
        ASSERT_EQ(used(entry(names)), name_bytes);
        ASSERT_EQ(used(entry(bodies)), body_bytes);
        ASSERT_FALSE(overlap(name_pieces));
        ASSERT_FALSE(overlap(body_pieces));
    }

    static bool overlap(const std::map<i32, i32> &pieces)
    {
        i32 end = 0;
        for (const auto &[offset, size] : pieces) {
            if (offset < end) return true;
            end = offset + size;
        }
        return false;
    }

    const std::string &bytes;
    const Model &model;
    u32 taken = 0;
    std::set<u32> named;                   // by module table and directories
};

// ---- One run --------------------------------------------------------------------------------------------------------

// A dictionary after its first open and close.
struct NewDictionary {
    std::string bytes;
    Model model;

    NewDictionary()
    {
        Library library;
        EXPECT_EQ(ds_closefile(1), (DictStatus)DICT_OK);
        bytes = library.bytes();
        model.open();
        model.close();
    }
};

constexpr u32 DICTIONARIES = 3;

class RandomRun {
public:
    explicit RandomRun(u32 seed) : random(seed), alive(handles_alive())
    {
        static const NewDictionary fresh;
        EXPECT_EQ(dd_init(), 1);
        lowest_id = FIRST_ID;
        for (u32 i = 0; i < DICTIONARIES; i++) {
            paths[i] = dir.put(file_name(i), fresh.bytes);
            models[i] = fresh.model;
        }
        (void)dd_choose_owner(0);
        open_all();
    }
    ~RandomRun()
    {
        clock_virtual_stop();
        dd_term();
        (void)dd_choose_owner(0);
        EXPECT_EQ(handles_alive(), alive) << "handles left alive";
    }

    void operations(u32 count)
    {
        for (u32 i = 1; i <= count && !testing::Test::HasFailure(); i++) {
            choose_dictionary();
            one_operation();
            if (testing::Test::HasFailure()) ADD_FAILURE() << "operation " << i << ": " << words;
            if (i % 50 == 0 || i == count) close_check_and_open();
            if (testing::Test::HasFailure()) ADD_FAILURE() << "operation " << i << " was the last: " << words;
        }
    }

private:
    // ---- Choices

    u32 below(u32 count) { return (u32)(random() % count); }
    bool once_in(u32 count) { return below(count) == 0; }

    static std::string file_name(u32 i) { return std::string(1, (char)('a' + i)) + ".dic"; }

    std::string any_text(u32 size)
    {
        std::string text(size, '\0');
        u32 letter = below(200);
        for (char &c : text) c = (char)(letter = letter * 5 + 3);
        return text;
    }

    // Often one of a few, so that names meet; all lengths but 255, of which nothing is stored.
    std::string any_name()
    {
        u32 choice = below(20);
        if (choice < 9) return "name " + std::to_string(below(8));
        if (choice == 9) return std::string(below(3) + 78, 'l');
        if (choice == 10) return any_text(below(255));
        return "n" + std::to_string(below(2000)) + std::string(below(30), 'x');
    }

    std::string any_body()
    {
        switch (below(40)) {
        case 0: case 1: case 2: case 3: return "";
        case 4: case 5: return any_text(below(6000));
        case 6: return any_text(below(40000));
        default: return any_text(below(120));
        }
    }

    // Of kind 1 some have no owners: 4, 10 and 24.
    u16 any_type(i32 kind)
    {
        static const u16 of_kind_1[] = { 1, 5, 6, 7, 9, 15, 25, 30, 4, 10, 24 };
        static const u16 others[] = { 1, 4, 5, 7, 15, 24, 26, 60 };
        return kind == 1 ? of_kind_1[below(std::size(of_kind_1))] : others[below(std::size(others))];
    }

    i16 any_id(i32 kind)
    {
        static const i16 edges[] = { 32767, 19999, 20000, 21999, 22000, 300, 0, -1 };
        if (once_in(30)) {
            i16 id = edges[below(std::size(edges))];
            // The owners of 32767 in every type would make the table of it the largest thing in the file.
            return kind == 1 && id > 22000 ? (i16)22050 : id;
        }
        return (i16)(1 + below(25) + (kind == 1 && once_in(4) ? 20000 : 0));
    }

    i32 any_kind() { return (i32)(1 + below(5) % 3); }
    i32 any_core_type()
    {
        i32 core_type = (i32)(1 + below(12));
        return core_type == CORE_TABLES_MODULE ? 1 : core_type;
    }

    // One that exists, as a rule; 0 when there is none.
    i32 any_number(const Model &model, i32 kind)
    {
        if (once_in(12)) return (i32)(1 + below(60));
        std::vector<i32> numbers;
        for (const auto &[key, module] : model.modules) {
            if (key.first == kind) numbers.push_back(key.second);
        }
        return numbers.empty() ? 0 : numbers[below((u32)numbers.size())];
    }

    struct Place {
        i32 kind, module;                  // as a caller gives it
        u16 type;
        i16 id;
    };

    // Coordinates of a resource, as a rule of one that exists.
    Place any_place()
    {
        Place place = { any_kind(), 0, 0, 0 };
        for (u32 tries = once_in(8) ? 0 : 4; tries > 0; tries--) {
            if (find_place(&place)) return place;
        }
        place.module = place.kind == 1 ? any_core_type() : any_number(model(), place.kind);
        place.type = any_type(place.kind);
        place.id = any_id(place.kind);
        return place;
    }

    // A resource of the kind; the tables of owners are left to the engine.
    bool find_place(Place *place)
    {
        i32 number = any_number(model(), place->kind);
        const Module *module = model().module(place->kind, number);
        if (!module || module->types.empty()) return false;
        auto type = module->types.begin();
        std::advance(type, below((u32)module->types.size()));
        const auto &resources = type->second.resources;
        if (holds_tables((u16)type->first) || resources.empty()) return false;
        auto resource = resources.begin();
        std::advance(resource, below((u32)resources.size()));
        place->module = place->kind == 1 ? number & 15 : number;
        place->type = (u16)type->first;
        place->id = resource->first;
        return true;
    }

    // ---- The dictionaries

    Model &model() { return models[current]; }

    void choose_dictionary()
    {
        current = below(DICTIONARIES);
        EXPECT_EQ(ds_setcurdict(&cookies[current]), (DictStatus)DICT_OK);
    }

    void open_all()
    {
        clock_virtual_start(0);
        for (u32 i = 0; i < DICTIONARIES; i++) {
            u16 mode = once_in(4) ? DICT_SHARED : DICT_EXCLUSIVE;
            ASSERT_EQ(ds_openfile((u16)(i + 1), paths[i], mode, 0, &cookies[i]), (DictStatus)DICT_OK);
            models[i].open();
        }
    }

    // In one piece: files are read often here.
    std::string bytes_of_file(const std::string &name) const
    {
        std::string bytes((size_t)std::filesystem::file_size(dir.path(name)), '\0');
        std::ifstream stream(dir.path(name), std::ios::binary);
        stream.read(bytes.data(), (std::streamsize)bytes.size());
        EXPECT_TRUE(stream.good());
        return bytes;
    }

    // `zuk check` finds nothing but owners, which copies of kind 1 leave to their caller, and modules whose names
    // became the same when they were cut to 79 characters.
    static void look_with_the_tool(const std::string &path)
    {
        for (const tool::Finding &fault : tool::check_file(path, "it").faults) {
            bool of_owners = fault.text.find("it has no owner") == 0 || fault.text.find("it stands in series") == 0 ||
                             fault.text.find("it stands as") == 0 || fault.text.find("it stands in kind 1") == 0;
            bool of_cut_names = fault.text.find("its name") == 0 && fault.text.size() > 79;
            EXPECT_TRUE(of_owners || of_cut_names) << fault.place << ": " << fault.text;
        }
    }

    void close_check_and_open()
    {
        for (u32 i = 0; i < DICTIONARIES; i++) ASSERT_EQ(ds_closefile((i16)(i + 1)), (DictStatus)DICT_OK);
        calls_reset();
        for (u32 i = 0; i < DICTIONARIES; i++) {
            SCOPED_TRACE("dictionary " + std::to_string(i + 1));
            models[i].close();
            std::string bytes = bytes_of_file(file_name(i));
            Anatomy(bytes, models[i]).check();
            look_with_the_tool(dir.path(file_name(i)).string());
        }
        if (!testing::Test::HasFailure()) open_all();
        for (current = 0; current < DICTIONARIES && !testing::Test::HasFailure(); current++) {
            (void)ds_setcurdict(&cookies[current]);
            for (u32 i = 0; i < 20; i++) read(any_place());
            count_all();
        }
        current = 0;
    }

    // ---- Operations

    void one_operation()
    {
        switch (below(32)) {
        case 0: case 1: case 2: case 3: case 4: case 5: case 6: case 7: return add_resource();
        case 8: case 9: return add_module();
        case 10: case 11: case 12: case 13: return change_name();
        case 14: case 15: case 16: case 17: return change_body();
        case 18: case 19: case 20: case 21: return remove_resource();
        case 22: return remove_module();
        case 23: return rename_module();
        case 24: return change_both();
        case 25: return set_flags();
        case 26: return choose_owner();
        case 27: return once_in(8) ? copy_base_modules() : read(any_place());
        default: return copy_module();
        }
    }

    std::string at(const Place &place) const
    {
        return std::to_string(current + 1) + ": " + std::to_string(place.kind) + "/" + std::to_string(place.module) +
               "/" + std::to_string(place.type) + "/" + std::to_string(place.id);
    }

    void add(const Place &place)
    {
        std::string name = any_name(), body = any_body();
        words = "add " + at(place) + " name of " + std::to_string(name.size()) + ", body of " +
                std::to_string(body.size());
        GHandle handle = body.empty() && once_in(2) ? 0 : handle_of(body);
        DictStatus status = dd_add_resource(place.kind, place.module, place.type, place.id, Name(name), handle);
        EXPECT_EQ(bytes_of(handle), body);  // it stays the caller's, as it was
        gfree(handle);
        EXPECT_EQ(status, model().add(place.kind, place.module, place.type, place.id, name, body, series));
        if (once_in(4)) read(place);
    }

    void add_resource()
    {
        Place place = any_place();
        if (once_in(2)) place.id = any_id(place.kind);
        if (stands_for_module(place.type)) place.type = any_type(place.kind);
        add(place);
    }

    void add_module()
    {
        i32 kind = any_kind();
        i32 number = (i32)(1 + below(60));
        Place place = { kind, kind == 1 ? any_core_type() : number, once_in(2) ? (u16)2 : (u16)23, (i16)number };
        if (once_in(20)) place.id = (i16)(1 + below(60));
        if (kind == 1 && !once_in(6)) place.kind = 2, place.module = number;
        if (place.kind != 1 && once_in(30)) place.module = 70000;
        add(place);
    }

    void change(const Place &place, const std::string *name, const std::string &body)
    {
        words = "change " + at(place) + (name ? " name of " + std::to_string(name->size()) : "") + " body of " +
                std::to_string(body.size());
        GHandle handle = body.empty() && once_in(2) ? 0 : handle_of(body);
        Name text(name ? *name : "");
        DictStatus status = dd_change_resource(place.kind, place.module, place.type, place.id,
                                               name ? (ConstPString)text : nullptr, handle);
        EXPECT_EQ(bytes_of(handle), body);
        gfree(handle);
        EXPECT_EQ(status, model().change(place.kind, place.module, place.type, place.id, name, body));
        if (once_in(4)) read(place);
    }

    void change_name()
    {
        std::string name = any_name();
        change(any_place(), &name, "");
    }
    void change_body() { change(any_place(), nullptr, any_body()); }
    void change_both()
    {
        std::string name = any_name();
        change(any_place(), &name, any_body());
    }

    void rename_module()
    {
        Place place = { (i32)(2 + below(2)), 0, once_in(2) ? (u16)2 : (u16)23, 0 };
        place.module = any_number(model(), place.kind);
        place.id = (i16)place.module;
        std::string name = any_name();
        change(place, &name, "");
    }

    void remove(const Place &place)
    {
        words = "remove " + at(place);
        DictStatus status = dd_remove_resource(place.kind, place.module, place.type, place.id);
        EXPECT_EQ(status, model().remove(place.kind, place.module, place.type, place.id));
        if (once_in(4)) read(place);
    }

    void remove_resource()
    {
        Place place = any_place();
        if (stands_for_module(place.type)) place.type = any_type(place.kind);
        remove(place);
    }

    void remove_module()
    {
        i32 kind = any_kind();
        i32 number = any_number(model(), kind);
        if (kind == 1 && number == CORE_TABLES_MODULE && !once_in(3)) return;
        remove({ kind, (i32)below(100), once_in(2) ? (u16)2 : (u16)23, (i16)number });
    }

    void set_flags()
    {
        Place place = any_place();
        u8 flags = (u8)below(256);
        words = "set flags " + at(place);
        DictStatus status = dd_set_resource_flags(place.kind, place.module, place.type, (u32)place.id, flags);
        EXPECT_EQ(status, model().set_flags(place.kind, place.module, place.type, place.id, flags));
    }

    void choose_owner()
    {
        series = (i32)below(once_in(10) ? 9 : SERIES);
        words = "choose owner " + std::to_string(series);
        EXPECT_EQ(dd_choose_owner((u16)series), series);
    }

    void copy_module()
    {
        u32 source = once_in(10) ? current : (current + 1 + below(DICTIONARIES - 1)) % DICTIONARIES;
        i32 kind = any_kind();
        i32 number = any_number(models[source], kind);
        bool keep = once_in(2);
        if (kind == 1 && number == CORE_TABLES_MODULE && !once_in(4)) return;
        if (source == current && (keep || kind == 1) && !once_in(3)) return;  // which loses the module
        bool named = once_in(3);
        std::string name = any_name();
        words = "copy " + std::to_string(source + 1) + " to " + std::to_string(current + 1) + ": " +
                std::to_string(kind) + "/" + std::to_string(number) + (keep ? " keep" : "") + (named ? " named" : "");
        Name text(name);
        DictStatus status = 77;
        i16 result = dict_copy_module(&cookies[source], &cookies[current], kind, (u32)number, keep,
                                      named ? (ConstPString)text : nullptr, 0, &status);
        i32 expected;
        EXPECT_EQ(status, model().copy_from(&models[source], kind, number, keep, named ? &name : nullptr, &expected));
        EXPECT_EQ(result, (i16)expected);
    }

    void copy_base_modules()
    {
        u32 source = (current + 1) % DICTIONARIES;
        words = "copy base modules " + std::to_string(source + 1) + " to " + std::to_string(current + 1);
        EXPECT_EQ(dict_copy_base_modules(&cookies[source], &cookies[current]), model().copy_base_from(&models[source]));
    }

    // ---- Reading back

    void read(const Place &place)
    {
        bool known;
        i32 real = model().real_module(place.kind, place.module, place.type, place.id, &known);
        const Resource *resource = model().resource(place.kind, real, place.type, place.id);
        if (place.id < 1) resource = nullptr;
        u32 status = 77;
        GHandle handle = dd_getresourcehndl(place.kind, place.module, place.type, (u16)place.id, 0, &status);
        EXPECT_EQ(status, resource ? (u32)DICT_OK : (u32)DICT_NOT_FOUND) << "read " << at(place);
        EXPECT_TRUE(take(handle) == (resource ? resource->body : "")) << "body of " << at(place);

        const Module *module = model().module(place.kind, real);
        bool named = known && (stands_for_module(place.type) ? module != nullptr : resource != nullptr);
        if (place.id < 1) return;
        Name out;
        DictStatus name_status = dd_getresname(place.kind, place.module, place.type, (u16)place.id, out);
        EXPECT_EQ(name_status, named ? (DictStatus)DICT_OK : (DictStatus)DICT_NOT_FOUND) << "name of " << at(place);
        std::string name = !named ? "[Not Found]" : stands_for_module(place.type) ? module->name : resource->name;
        EXPECT_TRUE(out.str() == shown(name)) << "name of " << at(place);
        if (!named || name.size() > NAME_SHOWN) return;
        EXPECT_EQ(dd_get_resid(place.kind, place.module, place.type, Name(name)),
                  model().id_of_name(place.kind, place.module, place.type, name))
            << "id of the name of " << at(place);
    }

    void count_all()
    {
        for (i32 kind = 1; kind <= 3; kind++) {
            EXPECT_EQ(dd_numresources(kind, 0, 2), model().modules_of_kind(kind));
            i32 number = any_number(model(), kind);
            u16 type = any_type(kind);
            i32 count = 0;
            if (kind == 1) {
                for (i32 range = 0; range < CORE_RANGES; range++) {
                    auto at_range = model().owners.find({ type, range });
                    if (at_range != model().owners.end()) count += at_range->second.used();
                }
            } else if (const Type *in = model().type(kind, number, type)) {
                count = (i32)in->resources.size();
            }
            EXPECT_EQ(dd_numresources(kind, number, type), count) << kind << "/" << number << "/" << type;
        }
        DictFile *file = dict_file_of_cookie(&cookies[current]);
        for (i32 i = 0; i < 20; i++) {
            u16 type = any_type(1);
            i16 id = any_id(1);
            EXPECT_EQ(dd_get_owner(file, type, (u16)id), id < 0 ? -1 : model().owner(type, id)) << type << "/" << id;
        }
    }

    std::mt19937 random;
    TempDir dir;
    Name paths[DICTIONARIES];
    DictCookie cookies[DICTIONARIES] = {};
    Model models[DICTIONARIES];
    u32 current = 0;
    i32 series = 0;                        // the current owner
    std::string words;                     // of the operation at hand
    u32 alive;
};

// ---- Many runs ------------------------------------------------------------------------------------------------------

u32 from_environment(const char *name, u32 otherwise)
{
    const char *value = getenv(name);
    return value ? (u32)strtoul(value, nullptr, 10) : otherwise;
}

constexpr u32 SHARDS = 4;                  // each is a test of its own, so that they can run side by side

class random_operations : public testing::TestWithParam<u32> {};

TEST_P(random_operations, match_the_model)
{
    u32 first = from_environment("ZUK_RANDOM_FIRST", 1);
    u32 seeds = from_environment("ZUK_RANDOM_SEEDS", 200);
    u32 count = from_environment("ZUK_RANDOM_OPERATIONS", 500);
    for (u32 i = GetParam(); i < seeds && !HasFailure(); i += SHARDS) {
        SCOPED_TRACE("seed " + std::to_string(first + i));
        RandomRun(first + i).operations(count);
    }
}

INSTANTIATE_TEST_SUITE_P(shard, random_operations, testing::Range(0u, SHARDS));

} // namespace
} // namespace zuk
