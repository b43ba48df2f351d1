// Dictionaries whose bytes are not what this library writes: each field of each record in turn with hostile values,
// files that end too early, and bytes at random. Whatever stands in a file, the operations end, with a status of
// theirs, stay inside of their memory (for which the sanitizers look), and ask for no more of it, and of the disk, than
// a file of this length can justify.
#include "tests/engine/slot_dictionary.h"
#include "tests/support/memory_limit.h"

#include <climits>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace zuk {
namespace {

// ---- What is asked of memory ----------------------------------------------------------------------------------------

constexpr size_t OWN_NEEDS = 200000;    // records of handles, buffers of 65500 bytes, what the operations here write

// ---- A sound file ---------------------------------------------------------------------------------------------------

static const std::string &sound_file()
{
    static const std::string bytes = [] {
        SlotDictionary dict;
        EXPECT_EQ(dict.add(2, 100, 2, 100, "Mod100", "the first"), 0u);
        EXPECT_EQ(dict.add(2, 200, 2, 200, "Mod200", "the second"), 0u);
        EXPECT_EQ(dict.add(3, 300, 23, 300, "Mod300", ""), 0u);
        for (i16 id : std::initializer_list<i16>{ 2, 4, 3 }) {
            std::string text = std::to_string(id);
            EXPECT_EQ(dict.add(2, 100, 1, id, "name " + text, "body " + text), 0u);
            EXPECT_EQ(dict.add(2, 200, 26, id, "name " + text, std::string(41, 'b')), 0u);
        }
        EXPECT_EQ(dict.add(2, 200, 15, 1, "chain", std::string("\2\0\0\0\0\0\0\0\1\0\0\0", 12)), 0u);
        dict.stored_core_table(1);
        EXPECT_EQ(dict.add(1, 1, 1, 4, "core", "body of the core"), 0u);
        (void)dd_choose_owner(2);
        EXPECT_EQ(dict.add(1, 1, 1, 5, "sales", "body of sales"), 0u);
        dict.close();
        return dict.bytes();
    }();
    return bytes;
}

// ---- All that can be asked of a file --------------------------------------------------------------------------------

static const struct {
    i32 kind, module;
} modules[] = { { 1, 1 }, { 1, 10 }, { 2, 100 }, { 2, 200 }, { 3, 300 }, { 2, 999 } };
static const u16 types[] = { 1, 2, 15, 23, 26, 52 };

static void expect_status(DictStatus status)
{
    EXPECT_LE(status, (DictStatus)DICT_LOCKED_OUT);
}

static void read_all()
{
    Name out;
    char buffer[65536];
    for (const auto &at : modules) {
        for (u16 type : types) {
            (void)dd_numresources(at.kind, at.module, type);
            (void)dd_get_resid(at.kind, at.module, type, Name("name 3"));
            for (i16 n = 0; n <= 3; n++) {
                (void)dd_get_nresid(at.kind, at.module, type, n);
                expect_status(dd_getnresname(at.kind, at.module, type, n, out));
                expect_status(dd_local_get_nresname(2, at.module, type, n, out));
                (void)dd_local_get_nresid(0, at.module, type, n);
                u32 status = 0;
                gfree(dd_getnresourcehndl(at.kind, at.module, type, n, 0, &status));
                expect_status(status);
            }
            for (u16 id = 2; id <= 5; id++) {
                (void)dd_get_resid_pos(at.kind, at.module, type, id);
                expect_status(dd_getresname(at.kind, at.module, type, id, out));
                u32 status = 0;
                GHandle body = dd_getresourcehndl(at.kind, at.module, type, id, 0, &status);
                expect_status(status);
                if (body && gsize(body) <= (i32)sizeof buffer) {
                    expect_status(dd_read_into(at.kind, at.module, type, id, buffer, 0));
                }
                gfree(body);
            }
        }
        (void)dd_local_numres(2, 1, at.module, 1);
        (void)dd_local_get_nresid_pos(2, at.module, 1, 5);
    }
}

static void write_some(SlotDictionary &dict)
{
    expect_status(dict.change_name(2, 100, 1, 4, "a longer name"));
    expect_status(dict.change_body(2, 100, 1, 4, std::string(3000, 'c')));
    expect_status(dict.change_name(2, 100, 2, 100, "a longer module"));
    expect_status(dict.change_body(1, 1, 1, 4, "another body"));
    expect_status(dict.add(2, 100, 1, 9, "nine", "body of nine"));
    expect_status(dict.add(2, 200, 7, 9, "nine", "body of nine"));
    expect_status(dict.add(2, 400, 2, 400, "Mod400", "its own"));
    expect_status(dict.add(1, 1, 1, 7, "seven", "body of seven"));
    expect_status(dd_set_resource_flags(2, 200, 26, 3, 1));
    expect_status(dd_remove_resource(2, 200, 26, 2));
    expect_status(dd_remove_resource(2, 200, 26, 3));
    expect_status(dd_remove_resource(1, 1, 1, 4));
    expect_status(dd_remove_resource(2, 0, 2, 200));
    expect_status(dd_remove_resource(2, 0, 2, 300));
    expect_status(core_table_write(dict, 1, 0));
}

// The owners, as an open that loads them would find them.
static void load_owners(SlotDictionary &dict)
{
    u32 pos;
    i32 len;
    if (resource_locate(dict, 1, 10, 52, 1, &pos, &len) || len > 65536) return;
    std::string table((size_t)len, '\0');
    if (resource_fetch(dict, 1, 10, 52, pos, len, table.data())) return;
    if (core_tables_init(dict)) return;
    core_table_attach(dict, 1, 0, handle_of(table));
}

// Opens files one after the other, at one place: to overwrite a file takes far less time than to make one.
class Victims {
public:
    Victims() : dict(sound_file()) {}

    // Whether the file opened as a dictionary.
    bool try_file(const std::string &content)
    {
        EXPECT_EQ(dict.stop(), 0u);
        overwrite(content);
        MemoryLimit watch(content.size() + OWN_NEEDS);

        dict.start();
        DictStatus status = dict.status;
        expect_status(status);
        if (!status) {
            load_owners(dict);
            read_all();
            write_some(dict);
            read_all();
            dict.close();
            dict.open(DICT_EXCLUSIVE);
            if (!dict.status) read_all();
        }
        EXPECT_LE(MemoryLimit::largest, MemoryLimit::limit) << "more memory than the file justifies";
        EXPECT_EQ(dict.stop(), 0u);
        EXPECT_LE(std::filesystem::file_size(dict.dir.path("a.dic")), content.size() + 1000000);
        dict.start();
        return !status;
    }

private:
    void overwrite(const std::string &content)
    {
        std::filesystem::path path = dict.dir.path("a.dic");
        std::fstream stream(path, std::ios::in | std::ios::out | std::ios::binary);
        stream.write(content.data(), (std::streamsize)content.size());
        stream.close();
        EXPECT_TRUE(stream.good());
        if (std::filesystem::file_size(path) != content.size()) std::filesystem::resize_file(path, content.size());
    }

    SlotDictionary dict;
};

// ---- Every field of every record ------------------------------------------------------------------------------------

struct Field {
    std::string name;
    size_t offset;
    u32 width;
};

static void add_fields(std::vector<Field> *fields, const std::string &record, size_t offset,
                       std::initializer_list<std::pair<const char *, u32>> widths)
{
    for (const auto &[name, width] : widths) {
        fields->push_back({ record + '.' + name, offset, width });
        offset += width;
    }
}

static std::vector<Field> fields_of_sound_file()
{
    std::vector<Field> fields;
    add_fields(&fields, "header", 0, { { "magic", 4 }, { "version", 2 }, { "change_count", 2 }, { "reserved", 2 },
                                       { "table_entry", 4 }, { "table_offset", 4 }, { "table_entries", 4 },
                                       { "free_entries", 4 } });

    AfterACrash file(sound_file());
    size_t table = le_get(file->header.table_offset);
    u32 used = le_get(file->header.table_entries) - le_get(file->header.free_entries);
    for (u32 i = 0; i < used + 2; i++) {    // two of the empty ones too
        add_fields(&fields, "block " + std::to_string(i + 1), table + i * sizeof(BlockEntry),
                   { { "type", 2 }, { "offset", 4 }, { "size", 4 }, { "free", 4 } });
    }

    size_t at = le_get(entry_of(file, 1).offset);
    add_fields(&fields, "module table", at, { { "module_count", 2 }, { "spare_entries", 2 }, { "name_block", 4 } });
    at += sizeof(ModuleTable);
    for (i16 i = 0; module_entry(file, i); i++, at += sizeof(ModuleEntry)) {
        add_fields(&fields, "module " + std::to_string(i), at,
                   { { "kind", 2 }, { "module", 4 }, { "directory_block", 4 }, { "name_offset", 4 },
                     { "name_size", 2 } });

        size_t slot = le_get(entry_of(file, module_directory_block(file, i)).offset);
        ModuleDirectory *directory = directory_get(file, i);
        std::string name = "directory " + std::to_string(i);
        add_fields(&fields, name, slot, { { "kind", 2 }, { "module", 4 }, { "type_count", 2 }, { "free_type_slots", 2 },
                                          { "assigned_slots", 2 }, { "reserve_slots", 2 } });
        slot += sizeof(ModuleDirectory);
        size_t run = slot + (size_t)(le_get(directory->type_count) + le_get(directory->free_type_slots)) * 16;
        for (i32 t = 0; const TypeEntry *type = type_at(directory, t); t++, slot += sizeof(TypeEntry)) {
            add_fields(&fields, name + " type " + std::to_string(le_get(type->type)), slot,
                       { { "type", 2 }, { "name_block", 4 }, { "body_block", 4 }, { "first_slot", 2 },
                         { "resource_count", 2 }, { "free_slots", 2 } });
            for (u32 r = 0; r < le_get(type->resource_count); r++) {
                add_fields(&fields, name + " resource " + std::to_string(r) + " of type " + std::to_string(t),
                           run + (le_get(type->first_slot) + r) * sizeof(ResourceEntry),
                           { { "id", 2 }, { "flags", 1 }, { "name_size", 1 }, { "name_offset", 4 },
                             { "body_offset", 4 }, { "body_size", 4 } });
            }
        }
    }

    u32 pos;
    i32 len;
    EXPECT_EQ(resource_locate(file, 1, 10, 52, 1, &pos, &len), 0u);
    add_fields(&fields, "core table", pos,
               { { "capacity", 4 }, { "free_count", 4 }, { "reserved", 4 }, { "owner 0", 1 }, { "owner 1", 1 } });
    return fields;
}

static u32 value_at(const std::string &bytes, const Field &field)
{
    u32 value = 0;
    for (u32 i = 0; i < field.width; i++) value |= (u32)(u8)bytes[field.offset + i] << 8 * i;
    return value;
}

static std::string with_value(std::string bytes, const Field &field, u32 value)
{
    for (u32 i = 0; i < field.width; i++) bytes[field.offset + i] = (char)(value >> 8 * i);
    return bytes;
}

TEST(damage, of_any_field_harms_nobody)
{
    const std::string &sound = sound_file();
    Victims victims;
    EXPECT_TRUE(victims.try_file(sound));
    u32 opened = 0, refused = 0;
    for (const Field &field : fields_of_sound_file()) {
        ASSERT_LE(field.offset + field.width, sound.size()) << field.name;
        u32 value = value_at(sound, field);
        u32 top = 0x80u << 8 * (field.width - 1);
        std::set<u32> values = { 0, 1, top - 1, top, top | (top - 1), value - 1, value + 1 };
        if (field.width == 4) values.insert({ (u32)sound.size(), (u32)sound.size() - value, 0x40000000 });
        for (u32 hostile : values) {
            SCOPED_TRACE(field.name + " = " + std::to_string(hostile) + " instead of " + std::to_string(value));
            (victims.try_file(with_value(sound, field, hostile)) ? opened : refused)++;
            if (testing::Test::HasFailure()) return;
        }
    }
    EXPECT_GT(opened, 1000u);    // most damage shows only where it stands
    EXPECT_GT(refused, 20u);
}

TEST(damage, of_the_end_of_a_file_harms_nobody)
{
    const std::string &sound = sound_file();
    Victims victims;
    for (size_t length = 0; length < sound.size(); length += length < 64 ? 1 : 127) {
        SCOPED_TRACE("cut to " + std::to_string(length));
        bool opened = victims.try_file(sound.substr(0, length));
        EXPECT_FALSE(opened && length < 26 + 3584 + 808);    // the header, its table, and the module table
        if (testing::Test::HasFailure()) return;
    }
}

TEST(damage, at_random_harms_nobody)
{
    const std::string &sound = sound_file();
    Victims victims;
    std::mt19937 random(20240229);
    auto draw = [&] { return (u32)random(); };
    size_t table_end = 26 + 24 * sizeof(BlockEntry);
    for (int round = 0; round < 600; round++) {
        SCOPED_TRACE("round " + std::to_string(round));
        std::string bytes = sound;
        // Where the records are dense for the first half, anywhere for the other.
        for (u32 changes = 1 + draw() % 12; changes; changes--) {
            size_t at = draw() % (round % 2 ? bytes.size() : table_end);
            bytes[at] = (char)(draw() % 3 ? draw() : draw() % 2 ? 0xFF : 0);
        }
        (void)victims.try_file(bytes);
        if (testing::Test::HasFailure()) return;
    }
}

TEST(damage, of_two_fields_at_once_harms_nobody)
{
    const std::string &sound = sound_file();
    std::vector<Field> fields = fields_of_sound_file();
    Victims victims;
    std::mt19937 random(7);
    auto draw = [&] { return (u32)random(); };
    for (int round = 0; round < 600; round++) {
        const Field &first = fields[draw() % fields.size()];
        const Field &second = fields[draw() % fields.size()];
        // Small numbers and those of other places are the more likely to be taken for good.
        auto any = [&]() -> u32 {
            switch (draw() % 4) {
            case 0: return draw() % 64;
            case 1: return value_at(sound, fields[draw() % fields.size()]);
            case 2: return draw() % (u32)sound.size();
            default: return draw();
            }
        };
        u32 one = any(), other = any();
        SCOPED_TRACE(first.name + " = " + std::to_string(one) + ", " + second.name + " = " + std::to_string(other));
        (void)victims.try_file(with_value(with_value(sound, first, one), second, other));
        if (testing::Test::HasFailure()) return;
    }
}

} // namespace
} // namespace zuk
