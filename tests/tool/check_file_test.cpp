// The check of a file's bytes: sound files of all sorts, one planted fault at a time, and any bytes at all.

#include "tool/check_file.h"

#include "engine/core_storage.h"
#include "engine/lifecycle.h"
#include "engine/resources.h"
#include "tests/support/dictionary.h"
#include "tests/support/faults.h"
#include "tool/messages.h"

#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <random>

namespace zuk::tool {

static CheckReport check_bytes(const std::string &bytes)
{
    TempDir dir;
    (void)dir.put("a.dic", bytes);
    return check_file(dir.path("a.dic").string(), "a.dic");
}

static std::string text_of(const Finding &finding)
{
    return std::to_string(finding.offset) + ": " + finding.place + ": " + finding.text;
}

static std::string text_of(const std::vector<Finding> &findings)
{
    std::string text;
    for (const Finding &finding : findings) text += text_of(finding) + "\n";
    return text;
}

static void expect_one_note(const std::string &bytes, const std::string &place, const std::string &text)
{
    CheckReport report = check_bytes(bytes);
    EXPECT_EQ(text_of(report.faults), "");
    ASSERT_EQ(report.notes.size(), 1u);
    EXPECT_EQ(report.notes[0].place, place);
    EXPECT_EQ(report.notes[0].text, text);
}

static void expect_sound(const std::string &bytes)
{
    CheckReport report = check_bytes(bytes);
    EXPECT_EQ(text_of(report.faults), "");
    EXPECT_EQ(text_of(report.notes), "");
}

// ---- A file with something of each sort -----------------------------------------------------------------------------

static DictStatus add_in_series(Library *library, u16 series, i32 core_type, u16 type, i16 id, const std::string &name,
                                const std::string &body)
{
    (void)dd_choose_owner(series);
    DictStatus status = library->add(1, core_type, type, id, name, body);
    (void)dd_choose_owner(0);
    return status;
}

// The bytes, and where everything stands in them, found by the library itself.
struct SoundFile {
    std::string bytes;
    AfterACrash *file;

    SoundFile() : bytes(make()), file(new AfterACrash(bytes)) {}
    ~SoundFile() { delete file; }

    static std::string make()
    {
        Library library;
        library.add_module(2, 100, "Words");
        library.add_module(3, 5, "Other");
        EXPECT_EQ(library.add(2, 100, 1, 1, "One", "first"), (DictStatus)DICT_OK);
        EXPECT_EQ(library.add(2, 100, 1, 2, "Two", "second"), (DictStatus)DICT_OK);
        EXPECT_EQ(library.add(2, 100, 1, 3, "Three", ""), (DictStatus)DICT_OK);
        EXPECT_EQ(library.add(2, 100, 5, 1, "A", "a"), (DictStatus)DICT_OK);
        EXPECT_EQ(library.add(3, 5, 1, 1, "B", "bb"), (DictStatus)DICT_OK);
        EXPECT_EQ(add_in_series(&library, 1, 1, 5, 1, "Sum", "abc"), (DictStatus)DICT_OK);
        EXPECT_EQ(add_in_series(&library, 2, 1, 5, 2, "Net", "xyz"), (DictStatus)DICT_OK);
        EXPECT_EQ(add_in_series(&library, 1, 2, 9, 22000, "Text", "t"), (DictStatus)DICT_OK);
        ds_closefile(1);
        return library.bytes();
    }

    i64 of_block(u32 block) const { return le_get(entry_of(*file, block).offset); }
    i64 entry(u32 block) const { return le_get((*file)->header.table_offset) + ((i64)block - 1) * 14; }
    i64 module(i32 kind, i32 number) const { return of_block(1) + 8 + 16 * module_find(*file, kind, number); }
    u32 directory_block(i32 kind, i32 number) const
    {
        return module_directory_block(*file, module_find(*file, kind, number));
    }
    i64 directory(i32 kind, i32 number) const { return of_block(directory_block(kind, number)); }
    i64 in_directory(i32 kind, i32 number, const void *record) const
    {
        return directory(kind, number) +
               ((const u8 *)record - (const u8 *)directory_get(*file, module_find(*file, kind, number)));
    }
    i64 type(i32 kind, i32 number, i16 of_type) const
    {
        return in_directory(kind, number, type_entry(directory_get(*file, module_find(*file, kind, number)), of_type));
    }
    i64 resource(i32 kind, i32 number, i16 of_type, i16 id) const
    {
        i16 index = module_find(*file, kind, number);
        return in_directory(kind, number, resource_entry(*file, index, of_type, id, nullptr, nullptr));
    }
    u32 names(i32 kind, i32 number, i16 of_type) const { return type_name_block(*file, kind, number, of_type); }
    u32 bodies(i32 kind, i32 number, i16 of_type) const { return type_body_block(*file, kind, number, of_type); }
    i64 table(i16 of_type, i32 range) const
    {
        u32 place = 0;
        i32 size = 0;
        EXPECT_EQ(resource_locate(*file, 1, 10, (u16)(52 + range), of_type, &place, &size), (DictStatus)DICT_OK);
        return place;
    }
    u32 blocks() const { return le_get((*file)->header.table_entries) - le_get((*file)->header.free_entries); }
};

static void put16(std::string *bytes, i64 at, i64 value)
{
    for (int i = 0; i < 2; i++) (*bytes)[(size_t)at + (size_t)i] = (char)(value >> 8 * i);
}

static void put32(std::string *bytes, i64 at, i64 value)
{
    for (int i = 0; i < 4; i++) (*bytes)[(size_t)at + (size_t)i] = (char)(value >> 8 * i);
}

static std::string num(i64 value) { return std::to_string(value); }

// ---- Sound files ----------------------------------------------------------------------------------------------------

TEST(check_file, finds_nothing_in_a_new_file)
{
    BareDictionary dictionary;
    dictionary.close();
    expect_sound(dictionary.bytes());
}

TEST(check_file, finds_nothing_in_a_file_with_core_tables)
{
    Library library;
    ds_closefile(1);
    expect_sound(library.bytes());
}

TEST(check_file, finds_nothing_in_a_file_with_something_of_each_sort)
{
    SoundFile sound;
    expect_sound(sound.bytes);
    CheckReport report = check_bytes(sound.bytes);
    EXPECT_EQ(report.modules, 6u);    // 1/10, 1/17, 1/18, 1/33, 2/100, 3/5
    EXPECT_EQ(report.resources, 156u + 3 + 5 + 2);
    EXPECT_EQ(report.file_size, (i64)sound.bytes.size());
}

// Two hundred modules and two thousand resources: the tables have moved and grown, and pieces were freed.
TEST(check_file, finds_nothing_in_a_large_file)
{
    Library library;
    for (i16 i = 1; i <= 100; i++) {
        library.add_module(2, i, "Module " + num(i));
        EXPECT_EQ(library.add(2, i, 7, 1, "a", std::string((size_t)i, 'x')), (DictStatus)DICT_OK);
        EXPECT_EQ(add_in_series(&library, (u16)(i % 7), 2, 9, (i16)(i * 3), "n" + num(i), "body"), (DictStatus)DICT_OK);
    }
    for (i16 i = 2; i <= 500; i++) EXPECT_EQ(library.add(2, 3, 1, i, num(i), num(i * i)), (DictStatus)DICT_OK);
    for (i16 i = 2; i <= 500; i += 3) EXPECT_EQ(dd_remove_resource(2, 3, 1, i), (DictStatus)DICT_OK);
    for (i16 i = 4; i <= 500; i += 3) EXPECT_EQ(library.change(2, 3, 1, i, "long " + num(i), "b"), (DictStatus)DICT_OK);
    for (i16 i = 1; i <= 100; i += 4) EXPECT_EQ(dd_remove_resource(2, i, 2, i), (DictStatus)DICT_OK);
    for (i16 i = 1; i <= 100; i += 5) EXPECT_EQ(dd_remove_resource(1, 2, 9, i * 3), (DictStatus)DICT_OK);
    ds_closefile(1);
    expect_sound(library.bytes());
}

// Before the core tables there was none to tell an owner; the library makes them when it has to.
TEST(check_file, notes_that_a_file_has_no_core_tables)
{
    BareDictionary bare;
    EXPECT_EQ(module_create(bare, 1, 17, Name("Financial Core")), (DictStatus)DICT_OK);
    EXPECT_EQ(resource_add_entry(bare, 1, 17, 5, 30, 4, 0), (DictStatus)DICT_OK);
    EXPECT_EQ(block_splice(bare, type_name_block(bare, 1, 17, 5), Name("Sum").text, 0, 4, 0, 16), (DictStatus)DICT_OK);
    EXPECT_EQ(directory_save(bare, 1, 17), (DictStatus)DICT_OK);
    bare.close();
    CheckReport report = check_bytes(bare.bytes());
    EXPECT_EQ(text_of(report.faults), "");
    EXPECT_EQ(text_of(report.notes), "0: 1/10: there are no core tables; the next open for reading makes them\n");
}

// ---- Notes: what the library leaves behind --------------------------------------------------------------------------

TEST(check_file, notes_free_entries_that_are_counted_wrongly)
{
    SoundFile sound;
    put32(&sound.bytes, 22, 0);
    CheckReport report = check_bytes(sound.bytes);
    EXPECT_EQ(text_of(report.faults), "");
    EXPECT_EQ(text_of(report.notes), "22: header: 0 entries of the block table are said to be free, and " +
                                         num(256 - sound.blocks()) + " are\n");
}

TEST(check_file, notes_bytes_of_no_block)
{
    SoundFile sound;
    i64 end = (i64)sound.bytes.size();
    CheckReport report = check_bytes(sound.bytes + "lost");
    EXPECT_EQ(text_of(report.faults), "");
    EXPECT_EQ(text_of(report.notes), num(end) + ": space: the bytes " + num(end) + " to " + num(end + 3) +
                                         " are in no block and in no free piece\n");
}

// A module under a name that is taken: its directory has its block by then.
TEST(check_file, notes_a_block_that_nothing_leads_to)
{
    Library library;
    library.add_module(2, 100, "Words");
    EXPECT_EQ(library.add(2, 101, 2, 101, "Words", ""), (DictStatus)DICT_EXISTS);
    ds_closefile(1);
    CheckReport report = check_bytes(library.bytes());
    EXPECT_EQ(text_of(report.faults), "");
    ASSERT_EQ(report.notes.size(), 1u);
    EXPECT_EQ(report.notes[0].text, "it is marked as directory, and nothing leads to its 926 bytes");
}

// A type without owners in kind 1: name and body are written before the owner is refused. The next add writes the
// table of blocks.
TEST(check_file, notes_the_gap_of_a_failed_add)
{
    Library library;
    EXPECT_EQ(add_in_series(&library, 1, 1, 5, 1, "Sum", "abc"), (DictStatus)DICT_OK);
    EXPECT_EQ(add_in_series(&library, 1, 1, 3, 1, "Lost", "abcde"), (DictStatus)DICT_NOT_FOUND);
    EXPECT_EQ(add_in_series(&library, 1, 1, 5, 2, "Net", "abc"), (DictStatus)DICT_OK);
    ds_closefile(1);
    CheckReport report = check_bytes(library.bytes());
    EXPECT_EQ(text_of(report.faults), "");
    ASSERT_EQ(report.notes.size(), 2u) << text_of(report.notes);
    EXPECT_EQ(report.notes[0].text, "5 bytes in use belong to no name");
    EXPECT_EQ(report.notes[1].text, "5 bytes in use belong to no body");
}

TEST(check_file, notes_a_name_that_was_not_stored)
{
    Library library;
    library.add_module(2, 100, "Words");
    EXPECT_EQ(library.add(2, 100, 1, 1, std::string(255, 'n'), "x"), (DictStatus)DICT_OK);
    EXPECT_EQ(library.add(2, 100, 2, 9, "Nine", ""), (DictStatus)DICT_EXISTS);    // the module is there
    ds_closefile(1);
    CheckReport report = check_bytes(library.bytes());
    EXPECT_EQ(text_of(report.faults), "");
    ASSERT_GE(report.notes.size(), 1u);
    EXPECT_EQ(report.notes[0].place, "2/100/1/1");
    EXPECT_EQ(report.notes[0].text, "no bytes of its name are stored, as of one of 255 characters");
}

// The library compares neither: the module made is 7, the resource in it has the identifier 8.
TEST(check_file, notes_a_module_whose_resource_has_another_number)
{
    Library library;
    Name name("Seven");
    EXPECT_EQ(dd_add_resource(2, 7, 2, 8, name, 0), (DictStatus)DICT_OK);
    ds_closefile(1);
    expect_one_note(library.bytes(), "2/7/2/8", "it stands for a module, and has not the number of its own");
}

// The library puts core type 10 of any series into the one module, and records the series that was chosen.
TEST(check_file, notes_the_owner_of_a_guest_among_the_core_tables)
{
    Library library;
    EXPECT_EQ(add_in_series(&library, 3, 10, 5, 1, "Guest", "x"), (DictStatus)DICT_OK);
    ds_closefile(1);
    expect_one_note(library.bytes(), "1/10/5/1", "it stands in series 0, and 1/10/52/5 tells series 3 as its owner");
}

// The library removes a module of kind 1 with all that is in it, and asks nobody who owned that.
TEST(check_file, notes_the_owners_that_a_removed_module_leaves)
{
    Library library;
    EXPECT_EQ(add_in_series(&library, 3, 9, 9, 22001, "Part", "x"), (DictStatus)DICT_OK);
    EXPECT_EQ(dd_remove_resource(1, 0, 2, 57), (DictStatus)DICT_OK);
    ds_closefile(1);
    expect_one_note(library.bytes(), "1/10/54/9",
                    "it tells series 3 as the owner of identifier 22001 of type 9, and there is no such resource");
}

// Records that the library keeps and never reads.
TEST(check_file, notes_spare_records_that_are_not_empty)
{
    SoundFile sound;
    i64 spare = sound.of_block(1) + 8 + 16 * 7;
    i64 base = sound.directory(2, 100);
    const ModuleDirectory *head = directory_get(*sound.file, module_find(*sound.file, 2, 100));
    i64 free_type = base + 14 + 16 * le_get(head->type_count);
    i64 reserve = base + 14 + 16 * ((i64)le_get(head->type_count) + le_get(head->free_type_slots) +
                                    le_get(head->assigned_slots));
    for (i64 at : { spare, free_type, reserve }) sound.bytes[(size_t)at] = 1;
    CheckReport report = check_bytes(sound.bytes);
    EXPECT_EQ(text_of(report.faults), "");
    EXPECT_EQ(text_of(report.notes), num(spare) + ": module table: a spare entry is not empty\n" + num(free_type) +
                                         ": 2/100: a free record behind its types is not empty\n" + num(reserve) +
                                         ": 2/100: a place of the reserve is not empty\n");
}

// ---- Faults ---------------------------------------------------------------------------------------------------------

struct Case {
    const char *name;
    std::function<Finding(std::string *bytes, const SoundFile &sound)> plant;    // the fault that has to be told
    size_t faults = 1;                                                           // in all
};

using Bytes = std::string *;
using Sound = const SoundFile &;

static const Case cases[] = {
    // The header.
    { "own_entry_elsewhere", [](Bytes bytes, Sound) -> Finding {
        put32(bytes, 10, 3);
        return { 10, "header", "the block table's own entry is said to have the index 3, and it has 2" };
    } },
    { "table_in_the_header", [](Bytes bytes, Sound) -> Finding {
        put32(bytes, 14, 25);
        return { 14, "header", "the block table is said to begin at 25, in the header itself" };
    }, 0 },
    { "table_elsewhere", [](Bytes bytes, Sound sound) -> Finding {
        // The same table a second time, at the end of the file: only the two places differ.
        std::string table = bytes->substr((size_t)sound.entry(1), 3584);
        put32(bytes, 14, (i64)bytes->size());
        *bytes += table;
        i64 at = (i64)bytes->size() - 3584 + 2 * 14 + 2;
        return { at, "block 3", "the block table begins at " + num((i64)bytes->size() - 3584) +
                                    " by the header, and at 26 by its own entry" };
    } },
    { "no_entries", [](Bytes bytes, Sound) -> Finding {
        put32(bytes, 18, 0);
        return { 18, "header", "the block table is said to have 0 entries, and it has a multiple of 256" };
    }, 0 },
    { "a_broken_number_of_entries", [](Bytes bytes, Sound) -> Finding {
        put32(bytes, 18, 255);
        return { 18, "header", "the block table is said to have 255 entries, and it has a multiple of 256" };
    }, 2 },    // and the own entry tells 256
    { "a_table_behind_the_end", [](Bytes bytes, Sound) -> Finding {
        put32(bytes, 18, 1 << 20);
        return { 14, "header", "the block table is said to end at " + num(26 + 14 * (1 << 20)) +
                                   ", behind the file of " + num((i64)bytes->size()) + " bytes" };
    }, 0 },
    { "more_free_entries_than_there_are", [](Bytes bytes, Sound) -> Finding {
        put32(bytes, 22, 257);
        return { 22, "header", "257 entries are said to be free, of 256" };
    } },

    // The block table.
    { "an_unknown_type_of_block", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.entry(200), 5);    // an empty entry
        return { sound.entry(200), "block 200", "it has the type 5, and there is none" };
    } },
    { "a_second_module_table", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.entry(200), 1);
        return { sound.entry(200), "block 200", "it is marked as the module table, which is block 1" };
    } },
    { "a_second_block_table", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.entry(200), 6);
        return { sound.entry(200), "block 200", "it is marked as the block table, which is block 3" };
    } },
    { "the_module_table_marked_as_something_else", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.entry(1), 4);
        return { sound.entry(1), "module table",
                 "the module table is said to be block 1, which is marked as bodies" };
    } },
    { "the_module_names_marked_as_something_else", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.entry(2), 4);
        return { sound.entry(2), "module names",
                 "the list of module names is said to be block 2, which is marked as bodies" };
    } },
    { "the_block_table_marked_as_free", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.entry(3), 0);
        return { sound.entry(3), "block table", "the block table is said to be block 3, which is marked as free" };
    }, 2 },    // and a free piece of which nothing is free
    { "a_block_table_of_another_size", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.entry(3) + 6, 3570);
        return { sound.entry(3) + 6, "block 3",
                 "the block table has 3584 bytes by the header, and 3570 by its own entry" };
    } },
    { "a_block_table_with_room", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.entry(3) + 10, 14);
        return { sound.entry(3) + 10, "block 3", "the block table is all in use, and 14 bytes are said to be free" };
    } },
    { "more_free_than_a_block_has", [](Bytes bytes, Sound sound) -> Finding {
        u32 block = sound.bodies(2, 100, 1);
        put32(bytes, sound.entry(block) + 10, 2049);    // of twice the unit of type 1
        return { sound.entry(block) + 10, "block " + num(block), "2049 of its 2048 bytes are said to be free" };
    } },
    { "a_free_piece_that_is_in_use", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.entry(200) + 10, 7);
        return { sound.entry(200) + 10, "block 200", "it is free, and 7 of its 0 bytes are said to be so" };
    } },
    { "a_block_in_the_header", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.entry(200) + 2, 20);
        put32(bytes, sound.entry(200) + 6, 6);
        put32(bytes, sound.entry(200) + 10, 6);
        return { sound.entry(200) + 2, "block 200", "it is said to begin at 20, in the header" };
    } },
    { "a_block_behind_the_end", [](Bytes bytes, Sound sound) -> Finding {
        i64 end = (i64)bytes->size();
        put32(bytes, sound.entry(200) + 2, end - 0);
        put32(bytes, sound.entry(200) + 6, 10);
        put32(bytes, sound.entry(200) + 10, 10);
        return { sound.entry(200) + 2, "block 200",
                 "it is said to end at " + num(end + 10) + ", behind the file of " + num(end) + " bytes" };
    } },
    { "blocks_that_overlap", [](Bytes bytes, Sound sound) -> Finding {
        i64 at = sound.of_block(2);
        put32(bytes, sound.entry(200) + 2, at + 5);
        put32(bytes, sound.entry(200) + 6, 20);
        put32(bytes, sound.entry(200) + 10, 20);
        return { sound.entry(200) + 2, "block 200",
                 "it shares the bytes " + num(at + 5) + " to " + num(at + 24) + " with block 2" };
    } },

    // The module table.
    { "a_negative_number_of_modules", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.of_block(1), -1);
        return { sound.of_block(1), "module table",
                 "it tells -1 modules and 44 spare entries, and its block of 808 bytes has room for 50" };
    } },
    { "more_spare_entries_than_the_block_holds", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.of_block(1) + 2, 45);
        return { sound.of_block(1), "module table",
                 "it tells 6 modules and 45 spare entries, and its block of 808 bytes has room for 50" };
    } },
    { "another_list_of_names", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.of_block(1) + 4, 5);
        return { sound.of_block(1) + 4, "module table",
                 "the list of module names is said to be block 5, and it is block 2" };
    } },
    { "modules_out_of_order", [](Bytes bytes, Sound sound) -> Finding {
        i64 at = sound.module(2, 100);
        std::string one = bytes->substr((size_t)at, 16);
        bytes->replace((size_t)at, 16, bytes->substr((size_t)at + 16, 16));
        bytes->replace((size_t)at + 16, 16, one);
        return { at + 16, "2/100", "it stands behind 3/5 in the module table, and modules have to ascend" };
    } },
    { "a_module_twice", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.module(1, 33) + 2, 18);    // behind 1/18
        return { sound.module(1, 33), "1/18", "it stands twice in the module table" };
    }, 0 },
    { "an_unknown_kind", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.module(3, 5), 4);
        put16(bytes, sound.directory(3, 5), 4);
        return { sound.module(3, 5), "4/5", "its kind is not 1, 2 or 3" };
    } },
    { "a_module_name_outside_the_list", [](Bytes bytes, Sound sound) -> Finding {
        i64 used = (i64)block_bytes(*sound.file, 2).size();
        put32(bytes, sound.module(2, 100) + 10, used - 5);
        return { sound.module(2, 100) + 10, "2/100",
                 "its name of 6 bytes at " + num(used - 5) + " does not lie in the " + num(used) +
                     " bytes of names in use" };
    } },
    { "a_module_name_of_negative_size", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.module(2, 100) + 14, -6);
        i64 used = (i64)block_bytes(*sound.file, 2).size();
        i64 offset = le_get(module_entry(*sound.file, module_find(*sound.file, 2, 100))->name_offset);
        return { sound.module(2, 100) + 10, "2/100",
                 "its name of 0 bytes at " + num(offset) + " does not lie in the " + num(used) +
                     " bytes of names in use" };
    } },
    { "another_length_of_a_module_name", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.module(2, 100) + 14, 5);
        return { sound.module(2, 100) + 10, "2/100",
                 "its name is said to have 5 bytes, and its length byte says 6" };
    } },
    { "two_modules_of_one_name", [](Bytes bytes, Sound sound) -> Finding {
        // "Financial Core" and "Financial Strings" of the same place.
        put32(bytes, sound.module(1, 33) + 10, le_get(module_entry(*sound.file, 1)->name_offset));
        put16(bytes, sound.module(1, 33) + 14, le_get(module_entry(*sound.file, 1)->name_size));
        return { sound.module(1, 33) + 10, "1/33", "its name \"Financial Core\" is that of 1/17, too" };
    }, 2 },    // and they share their bytes
    { "module_names_that_overlap", [](Bytes bytes, Sound sound) -> Finding {
        i64 offset = le_get(module_entry(*sound.file, module_find(*sound.file, 2, 100))->name_offset);
        i64 list = sound.of_block(2);
        put32(bytes, sound.module(3, 5) + 10, offset + 4);
        (*bytes)[(size_t)(list + offset + 4)] = 5;    // the "d" of Words: its own name is then "Wor\5s"
        return { sound.module(3, 5) + 10, "3/5",
                 "its name shares the bytes " + num(list + offset + 4) + " to " + num(list + offset + 5) +
                     " with that of 2/100" };
    } },
    { "a_directory_in_no_block", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.module(2, 100) + 6, 0);
        return { sound.module(2, 100) + 6, "2/100",
                 "the directory is said to be block 0, and the block table has no such entry" };
    } },
    { "a_directory_behind_the_table", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.module(2, 100) + 6, 257);
        return { sound.module(2, 100) + 6, "2/100",
                 "the directory is said to be block 257, and the block table has no such entry" };
    } },
    { "a_directory_that_is_that_of_another", [](Bytes bytes, Sound sound) -> Finding {
        u32 other = sound.directory_block(2, 100);
        put32(bytes, sound.module(3, 5) + 6, other);
        return { sound.module(3, 5) + 6, "3/5",
                 "the directory is said to be block " + num(other) + ", which is the directory of 2/100" };
    } },
    { "a_directory_in_a_block_of_bodies", [](Bytes bytes, Sound sound) -> Finding {
        u32 block = sound.directory_block(3, 5);
        put16(bytes, sound.entry(block), BLOCK_BODIES);
        return { sound.module(3, 5) + 6, "3/5",
                 "the directory is said to be block " + num(block) + ", which is marked as bodies" };
    } },

    // Directories.
    { "a_directory_of_another_kind", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.directory(2, 100), 3);
        return { sound.directory(2, 100), "2/100", "its directory says that it is that of 3/100" };
    } },
    { "a_directory_of_another_module", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.directory(2, 100) + 2, 101);
        return { sound.directory(2, 100), "2/100", "its directory says that it is that of 2/101" };
    } },
    { "a_directory_larger_than_its_block", [](Bytes bytes, Sound sound) -> Finding {
        i64 base = sound.directory(2, 100);
        const ModuleDirectory *head = directory_get(*sound.file, module_find(*sound.file, 2, 100));
        put16(bytes, base + 12, le_get(head->reserve_slots) + 500);
        i64 size = directory_size(head);
        return { base + 6, "2/100",
                 "its directory tells records of " + num(size + 8000) + " bytes, and its block has " +
                     num(le_get(entry_of(*sound.file, sound.directory_block(2, 100)).size)) };
    } },
    { "a_directory_longer_than_its_used_part", [](Bytes bytes, Sound sound) -> Finding {
        u32 block = sound.directory_block(2, 100);
        i64 size = le_get(entry_of(*sound.file, block).size);
        put32(bytes, sound.entry(block) + 10, 16);
        return { sound.directory(2, 100) + 6, "2/100",
                 "its directory has " + num(size) + " bytes, and its block tells " + num(size - 16) +
                     " of them as used" };
    } },
    { "types_out_of_order", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.type(2, 100, 1), 3);    // before type 2
        return { sound.type(2, 100, 2), "2/100/2", "it stands behind the type 3, and they have to ascend" };
    } },
    { "a_type_twice", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.type(2, 100, 1), 2);
        return { sound.type(2, 100, 2), "2/100/2", "it stands twice in its directory" };
    }, 0 },
    { "places_that_are_not_assigned", [](Bytes bytes, Sound sound) -> Finding {
        i64 at = sound.type(2, 100, 1);
        const ModuleDirectory *head = directory_get(*sound.file, module_find(*sound.file, 2, 100));
        i64 assigned = le_get(head->assigned_slots);
        put16(bytes, at + 10, assigned);
        return { at + 10, "2/100/1",
                 "its places " + num(assigned) + " to " + num(assigned + 9) + " are not all among the " +
                     num(assigned) + " assigned ones" };
    } },
    { "places_of_two_types", [](Bytes bytes, Sound sound) -> Finding {
        // Type 2 was made first and has the places 0 to 4; type 1 begins with 5.
        i64 at = sound.type(2, 100, 1);
        put16(bytes, at + 10, 4);
        return { at + 10, "2/100/1", "its places from 4 on are those of 2/100/2, too" };
    } },
    { "fewer_assigned_places", [](Bytes bytes, Sound sound) -> Finding {
        i64 base = sound.directory(2, 100);
        const ModuleDirectory *head = directory_get(*sound.file, module_find(*sound.file, 2, 100));
        i64 assigned = le_get(head->assigned_slots);
        put16(bytes, base + 10, assigned - 1);
        put16(bytes, base + 12, le_get(head->reserve_slots) + 1);
        i64 first = assigned - 20;    // type 5 came last, with 20 places
        return { sound.type(2, 100, 5) + 10, "2/100/5",
                 "its places " + num(first) + " to " + num(assigned - 1) + " are not all among the " +
                     num(assigned - 1) + " assigned ones" };
    } },
    { "names_in_no_block", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.type(2, 100, 1) + 2, 0);
        return { sound.type(2, 100, 1), "2/100/1",
                 "the names is said to be block 0, and the block table has no such entry" };
    } },
    { "names_in_the_bodies", [](Bytes bytes, Sound sound) -> Finding {
        u32 block = sound.bodies(2, 100, 5);
        put32(bytes, sound.type(2, 100, 5) + 2, block);
        return { sound.type(2, 100, 5), "2/100/5",
                 "the names is said to be block " + num(block) + ", which is marked as bodies" };
    }, 2 },    // the block is then no longer that of the bodies
    { "names_of_another_type", [](Bytes bytes, Sound sound) -> Finding {
        u32 block = sound.names(2, 100, 1);
        put32(bytes, sound.type(2, 100, 2) + 2, block);
        return { sound.type(2, 100, 2), "2/100/2",
                 "the names is said to be block " + num(block) + ", which is the names of 2/100/1" };
    } },
    { "bodies_in_the_module_names", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.type(3, 5, 1) + 6, 2);
        return { sound.type(3, 5, 1), "3/5/1",
                 "the bodies is said to be block 2, which is the list of module names" };
    } },

    // Resources.
    { "an_identifier_of_0", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.resource(2, 100, 1, 1), 0);
        return { sound.resource(2, 100, 1, 1), "2/100/1/0", "its identifier is below 1" };
    } },
    { "a_negative_identifier", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.resource(2, 100, 1, 1), -7);
        return { sound.resource(2, 100, 1, 1), "2/100/1/-7", "its identifier is below 1" };
    } },
    { "identifiers_out_of_order", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.resource(2, 100, 1, 2), 9);
        return { sound.resource(2, 100, 1, 3), "2/100/1/3",
                 "it stands behind the identifier 9, and they have to ascend" };
    } },
    { "an_identifier_twice", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.resource(2, 100, 1, 2), 1);
        return { sound.resource(2, 100, 1, 2), "2/100/1/1", "it stands twice in its directory" };
    } },
    { "a_free_place_that_is_not_empty", [](Bytes bytes, Sound sound) -> Finding {
        i64 at = sound.resource(2, 100, 1, 3) + 16;
        put16(bytes, at, 4);
        return { at, "2/100/1", "a free place behind its resources is not empty" };
    } },
    { "fewer_resources", [](Bytes bytes, Sound sound) -> Finding {
        // The third counts as a free place, which it does not look like.
        put16(bytes, sound.type(2, 100, 1) + 12, 2);
        put16(bytes, sound.type(2, 100, 1) + 14, 8);
        return { sound.resource(2, 100, 1, 3), "2/100/1", "a free place behind its resources is not empty" };
    } },
    { "a_name_behind_the_used_part", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.resource(2, 100, 1, 2) + 4, 13);
        return { sound.resource(2, 100, 1, 2), "2/100/1/2",
                 "its name of 4 bytes at 13 does not lie in the 14 bytes of names in use" };
    } },
    { "a_name_before_its_block", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.resource(2, 100, 1, 2) + 4, -1);
        return { sound.resource(2, 100, 1, 2), "2/100/1/2",
                 "its name of 4 bytes at -1 does not lie in the 14 bytes of names in use" };
    } },
    { "a_name_of_another_length", [](Bytes bytes, Sound sound) -> Finding {
        (*bytes)[(size_t)sound.of_block(sound.names(2, 100, 1))] = 2;
        return { sound.resource(2, 100, 1, 1), "2/100/1/1",
                 "its name is said to have 4 bytes, and its length byte says 3" };
    } },
    { "names_that_overlap", [](Bytes bytes, Sound sound) -> Finding {
        i64 base = sound.of_block(sound.names(2, 100, 1));
        put32(bytes, sound.resource(2, 100, 1, 2) + 4, 2);
        (*bytes)[(size_t)base + 2] = 3;    // "One" is then "O\3e"
        return { sound.resource(2, 100, 1, 2), "2/100/1/2",
                 "its name shares the bytes " + num(base + 2) + " to " + num(base + 3) + " with that of 2/100/1/1" };
    } },
    { "two_resources_of_one_name", [](Bytes bytes, Sound sound) -> Finding {
        i64 base = sound.of_block(sound.names(2, 100, 1));
        bytes->replace((size_t)base + 4, 4, "\3One");
        return { sound.resource(2, 100, 1, 2), "2/100/1/2", "its name \"One\" is that of 2/100/1/1, too" };
    } },
    { "a_body_behind_the_used_part", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.resource(2, 100, 1, 2) + 12, 7);
        return { sound.resource(2, 100, 1, 2), "2/100/1/2",
                 "its body of 7 bytes at 5 does not lie in the 11 bytes of bodies in use" };
    } },
    { "a_body_before_its_block", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.resource(2, 100, 1, 2) + 8, -2);
        return { sound.resource(2, 100, 1, 2), "2/100/1/2",
                 "its body of 6 bytes at -2 does not lie in the 11 bytes of bodies in use" };
    } },
    { "a_body_of_negative_size", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.resource(2, 100, 1, 2) + 12, -6);
        return { sound.resource(2, 100, 1, 2), "2/100/1/2", "its body is said to have -6 bytes" };
    } },
    { "no_body_far_behind_the_used_part", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.resource(2, 100, 1, 3) + 8, 12);
        return { sound.resource(2, 100, 1, 3), "2/100/1/3",
                 "its body of 0 bytes at 12 does not lie in the 11 bytes of bodies in use" };
    } },
    { "bodies_that_overlap", [](Bytes bytes, Sound sound) -> Finding {
        i64 base = sound.of_block(sound.bodies(2, 100, 1));
        put32(bytes, sound.resource(2, 100, 1, 1) + 12, 6);
        return { sound.resource(2, 100, 1, 2), "2/100/1/2",
                 "its body shares the bytes " + num(base + 5) + " to " + num(base + 5) + " with that of 2/100/1/1" };
    } },
    { "used_bytes_that_were_cut", [](Bytes bytes, Sound sound) -> Finding {
        u32 block = sound.bodies(2, 100, 1);
        put32(bytes, sound.entry(block) + 10, 2048 - 10);
        return { sound.resource(2, 100, 1, 2), "2/100/1/2",
                 "its body of 6 bytes at 5 does not lie in the 10 bytes of bodies in use" };
    }, 2 },    // that of the third, of no bytes, begins at 11

    // Owners.
    { "a_missing_core_table", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.resource(1, 10, 53, 63), 64);    // two of type 64 would stand in each other's way
        put16(bytes, sound.resource(1, 10, 53, 64), 65);
        return { 0, "1/10/53/63", "it is missing: the core table of type 63 for identifiers from 20000 to 21999" };
    } },
    { "a_core_table_without_a_body", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.resource(1, 10, 52, 9) + 12, 0);
        return { sound.resource(1, 10, 52, 9), "1/10/52/9", "there is no body that could tell owners" };
    } },
    { "a_core_table_of_another_length", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.resource(1, 10, 52, 9) + 12, 513);
        return { sound.table(9, 0), "1/10/52/9", "a table for 500 identifiers has 514 bytes, and it has 513" };
    } },
    { "a_core_table_of_another_capacity", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.table(9, 0), 501);
        // It would be one that has grown.
        return { sound.table(9, 0), "1/10/52/9", "a table for 501 identifiers has 516 bytes, and it has 514" };
    } },
    { "a_core_table_that_is_too_small", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.table(9, 0), -1);
        return { sound.table(9, 0), "1/10/52/9",
                 "it is a table of 514 bytes for -1 identifiers, and begins with 500" };
    } },
    { "free_identifiers_counted_wrongly", [](Bytes bytes, Sound sound) -> Finding {
        put32(bytes, sound.table(5, 0) + 4, 57);
        return { sound.table(5, 0) + 4, "1/10/52/5", "it tells 57 of its identifiers as free, and 58 are" };
    } },
    { "an_owner_of_position_0", [](Bytes bytes, Sound sound) -> Finding {
        (*bytes)[(size_t)sound.table(5, 0) + 12] = 1;
        return { sound.table(5, 0) + 12, "1/10/52/5",
                 "its position 0, which belongs to no identifier, has an owner" };
    } },
    { "an_owner_that_is_lost", [](Bytes bytes, Sound sound) -> Finding {
        (*bytes)[(size_t)sound.table(5, 0) + 12 + 1] = CORE_FREE;
        put32(bytes, sound.table(5, 0) + 4, 59);
        return { sound.table(5, 0) + 13, "1/17/5/1",
                 "it has no owner, as 1/10/52/5 tells its identifier as free" };
    } },
    { "another_owner", [](Bytes bytes, Sound sound) -> Finding {
        (*bytes)[(size_t)sound.table(5, 0) + 12 + 2] = 4;
        return { sound.table(5, 0) + 14, "1/33/5/2",
                 "it stands in series 2, and 1/10/52/5 tells series 4 as its owner" };
    } },
    { "an_identifier_in_two_series", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.resource(1, 33, 5, 2), 1);
        (*bytes)[(size_t)sound.table(5, 0) + 12 + 2] = CORE_FREE;
        put32(bytes, sound.table(5, 0) + 4, 59);
        return { sound.resource(1, 33, 5, 2), "1/33/5/1",
                 "it stands as 1/17/5/1, too, and kind 1 has an identifier once" };
    } },
    { "a_type_without_owners", [](Bytes bytes, Sound sound) -> Finding {
        put16(bytes, sound.type(1, 18, 9), 10);
        (*bytes)[(size_t)sound.table(9, 2) + 12 + 1] = CORE_FREE;
        put32(bytes, sound.table(9, 2) + 4, 500);
        return { sound.resource(1, 18, 9, 22000), "1/18/10", "it stands in kind 1, which has no owners for type 10" };
    } },
};

TEST(check_file, names_each_planted_fault_and_its_place)
{
    SoundFile sound;
    EXPECT_GE(std::size(cases), 40u);
    for (const Case &one : cases) {
        SCOPED_TRACE(one.name);
        std::string bytes = sound.bytes;
        std::string expected = text_of(one.plant(&bytes, sound));
        CheckReport report = check_bytes(bytes);
        bool found = false;
        for (const Finding &fault : report.faults) found = found || text_of(fault) == expected;
        EXPECT_TRUE(found) << "expected: " << expected << "\nfaults:\n" << text_of(report.faults);
        // 0: the fault hides or garbles others, so that their number says nothing.
        if (one.faults) {
            EXPECT_EQ(report.faults.size(), one.faults) << text_of(report.faults);
        }
    }
}

TEST(check_file, finds_the_fault_of_a_file_that_was_cut)
{
    SoundFile sound;
    i64 size = (i64)sound.bytes.size();
    CheckReport report = check_bytes(sound.bytes.substr(0, (size_t)size - 1));
    ASSERT_GE(report.faults.size(), 1u);
    EXPECT_NE(report.faults[0].text.find("it is said to end at " + num(size) + ", behind the file of " +
                                         num(size - 1) + " bytes"), std::string::npos) << text_of(report.faults);
}

TEST(check_file, refuses_what_does_not_begin_as_a_dictionary)
{
    SoundFile sound;
    for (size_t length : { 0u, 3u, 25u }) EXPECT_THROW(check_bytes(sound.bytes.substr(0, length)), Failure) << length;
    std::string bytes = sound.bytes;
    bytes[0] = '$';
    EXPECT_THROW(check_bytes(bytes), Failure);
}

// ---- Any bytes ------------------------------------------------------------------------------------------------------

// Each prefix of a file that ends inside something.
TEST(check_file, survives_a_cut_anywhere)
{
    SoundFile sound;
    for (size_t length = 26; length < sound.bytes.size(); length += length < 700 ? 5 : 397) {
        EXPECT_GE(check_bytes(sound.bytes.substr(0, length)).faults.size(), 1u) << length;
    }
}

TEST(check_file, survives_random_bytes)
{
    SoundFile sound;
    std::mt19937 random(20);
    auto any = [&](size_t below) { return std::uniform_int_distribution<size_t>(0, below - 1)(random); };
    for (int run = 0; run < 60; run++) {
        std::string bytes = sound.bytes;
        if (run % 3 == 0) {    // a magic, and nothing else of sense
            for (size_t i = 4; i < bytes.size(); i++) bytes[i] = (char)any(256);
            if (run % 2) bytes.replace(0, 26, sound.bytes, 0, 26);
        } else {               // a few wrong bytes where the structures are
            for (size_t i = 0; i < 1 + any(40); i++) {
                i64 places[] = { sound.entry(1 + (u32)any(40)), sound.of_block(1), sound.directory(2, 100),
                                 sound.directory(1, 10), sound.table(9, 0) };
                size_t at = (size_t)places[any(5)] + any(200);
                bytes[at] = (char)(any(2) ? 0xFF : any(256));
            }
        }
        CheckReport report = check_bytes(bytes);
        EXPECT_EQ(report.file_size, (i64)bytes.size());
    }
}

// Many entries that all tell the same bytes, and many modules whose directories they are: what is read stays within
// the file's own size.
TEST(check_file, does_not_read_the_same_bytes_over_and_over)
{
    const i64 modules = 4000;
    const i64 size = 2 << 20;
    std::string bytes((size_t)size, 0);
    bytes.replace(0, 4, "%VTL");
    const i64 entries = 4096;
    put32(&bytes, 10, 2);
    put32(&bytes, 14, 26);
    put32(&bytes, 18, entries);
    auto put_entry = [&](i64 block, i64 type, i64 offset, i64 length, i64 free) {
        i64 at = 26 + (block - 1) * 14;
        put16(&bytes, at, type);
        put32(&bytes, at + 2, offset);
        put32(&bytes, at + 6, length);
        put32(&bytes, at + 10, free);
    };
    const i64 table = 26 + entries * 14;
    const i64 directory = table + 8 + modules * 16;
    put_entry(1, 1, table, directory - table, 0);
    put_entry(2, 3, directory, size - directory, 0);
    put_entry(3, 6, 26, entries * 14, 0);
    put16(&bytes, table, modules);
    put32(&bytes, table + 4, 2);
    for (i64 i = 0; i < modules; i++) {
        i64 at = table + 8 + i * 16;
        put16(&bytes, at, 2);
        put32(&bytes, at + 2, i);
        put32(&bytes, at + 6, 4 + i % 4000);
        put_entry(4 + i, 2, directory, size - directory, 0);
    }
    put16(&bytes, directory + 6, 65535);    // types, of zeros
    CheckReport report = check_bytes(bytes);
    bool ended = false;
    for (const Finding &fault : report.faults) {
        ended = ended || fault.place == "file";
    }
    EXPECT_TRUE(ended || report.faults_left_out > 0) << report.faults.size();
    EXPECT_LE(report.faults.size(), FINDINGS_MAX);
}

} // namespace zuk::tool
