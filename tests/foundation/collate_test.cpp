#include "foundation/collate.h"

#include "foundation/handles.h"
#include "foundation/pstrings.h"
#include "platform/platform.h"
#include "tests/support/faults.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace zuk {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;
using Table = std::array<u8, 256>;

// Ahead of every test, which could change them.
static const i32 first_mode = lang_mode(nullptr);
static const uintptr_t first_answers[] = {
    lang_control(LANG_STOP, 0), lang_control(LANG_FUNCTION, 0), lang_control(LANG_CASE_SENSITIVE, 0),
    lang_control(LANG_CASE_BLIND, 0), optlib_call(1, 0),
};

// ---- Collating files ------------------------------------------------------------------------------------------------

static Table identity()
{
    Table table;
    for (size_t i = 0; i < 256; i++) table[i] = (u8)i;
    return table;
}

static Table backwards()
{
    Table table;
    for (size_t i = 0; i < 256; i++) table[i] = (u8)(255 - i);
    return table;
}

static std::string table_text(const std::string &name, const Table &table, const std::string &separator = " ",
                              const std::string &line_end = "\r\n")
{
    std::string text = name + line_end;
    for (size_t i = 0; i < 256; i++) {
        char entry[3];
        snprintf(entry, sizeof entry, "%02X", table[i]);
        text += entry + separator;
        if (i % 16 == 15) text += line_end;
    }
    return text;
}

static std::string sound_file() { return table_text("ENGLISH", identity()) + table_text("BLIND", backwards()); }

namespace {

// A directory of its own, which is the current one; and nothing loaded, at the start and at the end.
struct Fresh {
    fs::path began_in = fs::current_path();
    TempDir dir;
    u32 handles_before;

    Fresh()
    {
        fs::current_path(dir.path());
        forget();
        handles_before = handles_alive();
        calls_reset();
    }
    ~Fresh()
    {
        forget();
        EXPECT_EQ(handles_alive(), handles_before);
        fs::current_path(began_in);
    }

    void put(const std::string &content) { (void)dir.put("ZUK.ACS", content); }
    void forget_file() { fs::remove(dir.path("ZUK.ACS")); }

    // Only a start that finds nothing clears the flag of the file.
    void forget()
    {
        faults_stop();
        forget_file();
        (void)lang_control(LANG_STOP, 0);
        (void)optlib_free();
        faults_start({ .call = FAULT_LOAD, .from_then_on = true });
        (void)lang_control(LANG_START, 0);
        faults_stop();
        acs_free();
        i32 mode = 2;
        (void)lang_mode(&mode);
    }
};

} // namespace

static void set_mode(i32 mode) { EXPECT_EQ(lang_mode(&mode), mode); }

static const SortTableRecord *record_of(i32 operation)
{
    return (const SortTableRecord *)lang_control(operation, 0);
}

static Table table_of(i32 operation)
{
    Table table = {};
    const SortTableRecord *record = record_of(operation);
    EXPECT_NE(record, nullptr);
    if (record) memcpy(table.data(), record->table, table.size());
    return table;
}

static std::string name_of(i32 operation)
{
    const SortTableRecord *record = record_of(operation);
    return record ? record->name : "no record";
}

static i32 compared(const std::string &first, const std::string &second, int start, int count, int fold_case)
{
    return lang_compare(Name(first), Name(second), (i16)start, (i16)count, (i16)fold_case);
}

TEST(collate, has_every_operation)
{
    const void *operations[] = {
        (void *)pstrlangcompare, (void *)lang_compare, (void *)lang_mode, (void *)lang_control, (void *)acs_load,
        (void *)acs_free, (void *)optlib_load, (void *)optlib_free, (void *)optlib_call,
    };
    for (const void *operation : operations) EXPECT_NE(operation, nullptr);
}

TEST(collate, hands_out_packed_records)
{
    EXPECT_EQ(offsetof(SortTableRecord, id), 0u);
    EXPECT_EQ(offsetof(SortTableRecord, name), 2u);
    EXPECT_EQ(offsetof(SortTableRecord, table), 2 + sizeof(void *));
    EXPECT_EQ(sizeof(SortTableRecord), 2 + 2 * sizeof(void *));
}

// ---- The collating file ---------------------------------------------------------------------------------------------

TEST(acs_free, leaves_the_case_blind_record_its_table)
{
    Fresh fresh;
    fresh.put(sound_file());
    EXPECT_EQ(lang_control(LANG_START, 0), 1u);
    acs_free();
    EXPECT_EQ(record_of(LANG_CASE_SENSITIVE), nullptr);
    EXPECT_EQ(table_of(LANG_CASE_BLIND), backwards());
    EXPECT_EQ(handles_alive(), fresh.handles_before);
    acs_free();  // once more is nothing
    EXPECT_EQ(table_of(LANG_CASE_BLIND), backwards());
}

TEST(acs_load, reads_two_tables)
{
    Fresh fresh;
    fresh.put(sound_file());
    EXPECT_EQ(lang_control(LANG_START, 0), 1u);
    EXPECT_EQ(name_of(LANG_CASE_SENSITIVE), "ENGLISH");
    EXPECT_EQ(name_of(LANG_CASE_BLIND), "BLIND");
    EXPECT_EQ(table_of(LANG_CASE_SENSITIVE), identity());
    EXPECT_EQ(table_of(LANG_CASE_BLIND), backwards());
    EXPECT_EQ(record_of(LANG_CASE_SENSITIVE)->id, 0);
    EXPECT_EQ(record_of(LANG_CASE_BLIND)->id, 0);
}

TEST(acs_load, opens_the_file_of_the_current_directory_for_reading)
{
    Fresh fresh;
    fresh.put(sound_file());
    EXPECT_EQ(acs_load(), 1);
    Lines lines = call_lines();
    EXPECT_EQ(Lines(lines.begin(), lines.begin() + 4), (Lines{ "open ZUK.ACS", "size", "seek 0", "tell" }));
    EXPECT_EQ(lines.back(), "close");
    EXPECT_EQ(call_counts().read, 34u);  // one a line
    EXPECT_EQ(call_counts().write, 0u);
    EXPECT_EQ(call_counts().alloc, 3u);
}

TEST(acs_load, keeps_only_the_two_tables)
{
    Fresh fresh;
    fresh.put(sound_file());
    EXPECT_EQ(acs_load(), 1);
    EXPECT_EQ(handles_alive(), fresh.handles_before + 2);
    acs_free();
    EXPECT_EQ(handles_alive(), fresh.handles_before);
}

TEST(acs_load, takes_15_characters_of_a_name)
{
    Fresh fresh;
    fresh.put(table_text("fifteen letters and more", identity()) + table_text("", identity()));
    EXPECT_EQ(lang_control(LANG_START, 0), 1u);
    EXPECT_EQ(name_of(LANG_CASE_SENSITIVE), "fifteen letters");
    EXPECT_EQ(name_of(LANG_CASE_BLIND), "");
}

TEST(acs_load, takes_any_separator_and_any_line_end)
{
    for (const char *separator : { " ", ",", "\t", "\x01", "F", "\n", "\xFF" }) {
        for (const char *line_end : { "\r\n", "\r" }) {
            Fresh fresh;
            fresh.put(table_text("A", backwards(), separator, line_end) +
                      table_text("B", identity(), separator, line_end));
            EXPECT_EQ(lang_control(LANG_START, 0), 1u);
            EXPECT_EQ(table_of(LANG_CASE_SENSITIVE), backwards()) << (int)*separator;
            EXPECT_EQ(table_of(LANG_CASE_BLIND), identity()) << (int)*separator;
        }
    }
}

TEST(acs_load, takes_digits_in_any_case)
{
    Fresh fresh;
    std::string text = sound_file();
    for (char &character : text) character = (char)tolower(character);
    fresh.put(text);
    EXPECT_EQ(lang_control(LANG_START, 0), 1u);
    EXPECT_EQ(table_of(LANG_CASE_SENSITIVE), identity());
}

// A file whose table 0 begins with these lines, and goes on with empty ones.
static Table table_with_lines(const std::string &lines)
{
    Fresh fresh;
    fresh.put("NAME\r\n" + lines + std::string(300, '\r'));
    EXPECT_EQ(lang_control(LANG_START, 0), 1u);
    return table_of(LANG_CASE_SENSITIVE);
}

static std::vector<int> first_of(const Table &table, size_t count)
{
    return std::vector<int>(table.begin(), table.begin() + (ptrdiff_t)count);
}

TEST(acs_load, repeats_the_weight_before_a_place_without_one)
{
    EXPECT_EQ(first_of(table_with_lines("01 ZZ 03\r"), 5), (std::vector<int>{ 1, 1, 3, 3, 3 }));
    // A blank place takes the digits behind it, which count once more at their own place.
    EXPECT_EQ(first_of(table_with_lines("01    03 04\r"), 5), (std::vector<int>{ 1, 3, 3, 4, 4 }));
    EXPECT_EQ(first_of(table_with_lines("01       \r"), 3), (std::vector<int>{ 1, 1, 1 }));
    EXPECT_EQ(first_of(table_with_lines("ZZ 05\r"), 2), (std::vector<int>{ 0, 5 }));  // nothing before: 0
}

TEST(acs_load, reads_one_digit_where_there_is_one)
{
    EXPECT_EQ(first_of(table_with_lines("7Z 8\r"), 3), (std::vector<int>{ 7, 8, 8 }));
}

TEST(acs_load, carries_the_weight_before_over_lines_and_tables)
{
    Fresh fresh;
    Table first = identity();
    std::string text = table_text("A", first);
    size_t third_line = text.find("10 11");  // entries 16 to 31
    text.replace(third_line, 48, "");
    fresh.put(text + "B\r\n" + std::string(200, '\r'));
    EXPECT_EQ(lang_control(LANG_START, 0), 1u);
    for (size_t i = 16; i < 32; i++) first[i] = 0x0F;
    EXPECT_EQ(table_of(LANG_CASE_SENSITIVE), first);
    Table all_ff;
    all_ff.fill(0xFF);
    EXPECT_EQ(table_of(LANG_CASE_BLIND), all_ff);
}

TEST(acs_load, does_not_look_at_the_end_of_the_file)
{
    Fresh fresh;
    std::string text = table_text("A", identity());
    fresh.put(text.substr(0, text.size() - 2));  // 17 lines, the last one without its end
    EXPECT_EQ(lang_control(LANG_START, 0), 1u);
    EXPECT_EQ(table_of(LANG_CASE_SENSITIVE), identity());
    EXPECT_EQ(name_of(LANG_CASE_BLIND), "");
    EXPECT_EQ(table_of(LANG_CASE_BLIND)[0], 0xFF);
}

TEST(acs_load, without_a_file_gives_0_and_keeps_nothing)
{
    Fresh fresh;
    EXPECT_EQ(acs_load(), 0);
    EXPECT_EQ(handles_alive(), fresh.handles_before);
}

TEST(acs_load, that_fails_takes_its_table_from_the_case_sensitive_record_alone)
{
    // The flag of an earlier load still stands, so that the records can be asked for.
    Fresh fresh;
    fresh.put(sound_file());
    EXPECT_EQ(lang_control(LANG_START, 0), 1u);
    for (u32 nth : { 1, 2, 3 }) {
        faults_start({ .call = FAULT_ALLOC, .nth = nth });
        EXPECT_EQ(acs_load(), 0) << nth;
        EXPECT_TRUE(faults_stop()) << nth;
        EXPECT_EQ(record_of(LANG_CASE_SENSITIVE), nullptr) << nth;
        EXPECT_EQ(table_of(LANG_CASE_BLIND), backwards()) << nth;
        EXPECT_EQ(handles_alive(), fresh.handles_before) << nth;
    }
    fresh.forget_file();
    EXPECT_EQ(acs_load(), 0);
    EXPECT_EQ(record_of(LANG_CASE_SENSITIVE), nullptr);
    EXPECT_EQ(table_of(LANG_CASE_BLIND), Table{});  // of the two that were made for the file
    (void)memory_sweep();  // a failed handle loses its block when its record fails, by design
}

TEST(acs_load, of_a_short_file_leaves_two_tables_of_zeros)
{
    for (size_t size : { 0u, 200u, 255u }) {
        Fresh fresh;
        fresh.put(std::string(size, '1'));
        EXPECT_EQ(acs_load(), 0) << size;
        EXPECT_EQ(handles_alive(), fresh.handles_before + 2) << size;
        EXPECT_EQ(call_counts().read, 0u);
        EXPECT_EQ(call_counts().close, 1u);
        acs_free();
        EXPECT_EQ(handles_alive(), fresh.handles_before) << size;
    }
}

TEST(acs_load, of_a_short_file_has_weights_of_0)
{
    // The flag of an earlier load still stands, so that the records of this one can be asked for.
    Fresh fresh;
    fresh.put(sound_file());
    EXPECT_EQ(lang_control(LANG_START, 0), 1u);
    fresh.put("short");
    EXPECT_EQ(acs_load(), 0);
    EXPECT_EQ(table_of(LANG_CASE_SENSITIVE), Table{});
    EXPECT_EQ(table_of(LANG_CASE_BLIND), Table{});
}

TEST(acs_load, of_256_bytes_is_a_file)
{
    Fresh fresh;
    fresh.put(std::string(256, '\r'));
    EXPECT_EQ(acs_load(), 1);
}

TEST(acs_load, frees_the_tables_before_it)
{
    Fresh fresh;
    fresh.put(sound_file());
    EXPECT_EQ(acs_load(), 1);
    EXPECT_EQ(acs_load(), 1);
    EXPECT_EQ(handles_alive(), fresh.handles_before + 2);
    fresh.forget_file();
    EXPECT_EQ(acs_load(), 0);
    EXPECT_EQ(handles_alive(), fresh.handles_before);
}

TEST(acs_load, takes_a_line_that_cannot_be_read_for_an_empty_one)
{
    // It is read by the next call, so that all behind it comes a line later.
    Fresh fresh;
    fresh.put(sound_file());
    faults_start({ .call = FAULT_READ, .nth = 3 });  // the name and 16 weights are there
    EXPECT_EQ(lang_control(LANG_START, 0), 1u);
    EXPECT_TRUE(faults_stop());
    Table table = identity();
    for (size_t i = 255; i >= 32; i--) table[i] = table[i - 16];
    for (size_t i = 16; i < 32; i++) table[i] = 0x0F;
    EXPECT_EQ(table_of(LANG_CASE_SENSITIVE), table);
    EXPECT_EQ(call_counts().read, 34u);
}

TEST(acs_load, survives_whichever_call_fails)
{
    for (bool from_then_on : { false, true }) {
        u32 failed = 0;
        for (u32 nth = 1;; nth++) {
            Fresh fresh;
            fresh.put(sound_file());
            faults_start({ .call = FAULT_ANY, .nth = nth, .from_then_on = from_then_on });
            i16 result = acs_load();
            bool met = faults_stop();
            if (!met) {
                EXPECT_EQ(result, 1);
                break;
            }
            failed++;
            // Three buffers, the opening, the size; behind them no failure is looked at.
            EXPECT_EQ(result, nth > 5) << nth;
            u32 tables = nth > 4 ? 2 : 0;  // an unknown size counts as a short file
            EXPECT_EQ(handles_alive(), fresh.handles_before + tables) << nth;
            acs_free();
        }
        EXPECT_GT(failed, 100u);  // 34 lines of three calls each
    }
    (void)memory_sweep();  // a failed handle loses its block when its record fails, by design
}

// ---- The optional library -------------------------------------------------------------------------------------------

TEST(optlib_load, loads_the_library_once)
{
    Fresh fresh;
    void *library = optlib_load();
    EXPECT_NE(library, nullptr);
    EXPECT_EQ(optlib_load(), library);
    EXPECT_EQ(call_lines(), (Lines{ "load ZUKOPTS.DLL" }));
}

TEST(optlib_load, of_a_missing_library_is_silent)
{
    Fresh fresh;
    faults_start({ .call = FAULT_LOAD });
    EXPECT_EQ(optlib_load(), nullptr);
    EXPECT_TRUE(faults_stop());
    EXPECT_NE(optlib_load(), nullptr);  // it is looked for again
}

TEST(optlib_free, gives_up_what_is_held)
{
    Fresh fresh;
    EXPECT_EQ(optlib_free(), 0);
    (void)optlib_load();
    EXPECT_EQ(optlib_free(), 0);
    EXPECT_EQ(optlib_free(), 0);
    EXPECT_EQ(call_lines(), (Lines{ "load ZUKOPTS.DLL", "unload" }));
    EXPECT_EQ(optlib_call(1, 5), 0u);
}

TEST(optlib_call, hands_the_argument_through)
{
    Fresh fresh;
    (void)optlib_load();
    EXPECT_EQ(optlib_call(1, 20), 41u);  // the function doubles it and adds 1
    EXPECT_EQ(optlib_call(1, UINTPTR_MAX), UINTPTR_MAX);
    EXPECT_NE(optlib_call(2, 0), 0u);
    EXPECT_EQ(optlib_call(2, 1), 0u);
    EXPECT_NE(optlib_call(3, 0), optlib_call(2, 0));
}

TEST(optlib_call, looks_the_entry_up_each_time)
{
    Fresh fresh;
    (void)optlib_load();
    calls_reset();
    (void)optlib_call(1, 0);
    (void)optlib_call(2, 0);
    (void)optlib_call(3, 0);
    (void)optlib_call(1, 0);
    EXPECT_EQ(call_lines(), (Lines{ "entry DLLFunction1", "entry DLLFunction2", "entry DLLFunction3",
                                    "entry DLLFunction1" }));
}

TEST(optlib_call, gives_0_without_an_entry)
{
    Fresh fresh;
    EXPECT_EQ(optlib_call(1, 20), 0u);  // no library
    (void)optlib_load();
    for (i16 entry : { (i16)0, (i16)4, (i16)-1, (i16)32767 }) EXPECT_EQ(optlib_call(entry, 20), 0u);
    faults_start({ .call = FAULT_ENTRY });
    EXPECT_EQ(optlib_call(1, 20), 0u);
    EXPECT_TRUE(faults_stop());
}

// ---- Control --------------------------------------------------------------------------------------------------------

TEST(lang_control, before_the_start_gives_0)
{
    Fresh fresh;
    fresh.put(sound_file());
    (void)optlib_load();  // the library alone is not enough: nobody has started
    for (i32 operation : { 1, 2, 3, 4, 5, -1 }) EXPECT_EQ(lang_control(operation, 7), 0u) << operation;
    EXPECT_EQ(call_counts().entry, 0u);
}

TEST(lang_control, holds_nothing_when_the_program_begins)
{
    for (uintptr_t answer : first_answers) EXPECT_EQ(answer, 0u);
}

TEST(lang_control, with_the_file_does_not_load_the_library)
{
    Fresh fresh;
    fresh.put(sound_file());
    EXPECT_EQ(lang_control(LANG_START, 0), 1u);
    EXPECT_EQ(call_counts().load, 0u);
    EXPECT_EQ(name_of(LANG_CASE_SENSITIVE), "ENGLISH");
    EXPECT_EQ(lang_control(LANG_FUNCTION, 20), 0u);
}

TEST(lang_control, without_the_file_loads_the_library)
{
    Fresh fresh;
    uintptr_t library = lang_control(LANG_START, 0);
    EXPECT_NE(library, 0u);
    EXPECT_EQ(library, (uintptr_t)optlib_load());
    EXPECT_EQ(lang_control(LANG_FUNCTION, 20), 41u);
    EXPECT_EQ(name_of(LANG_CASE_SENSITIVE), "BACKWARDS");
    EXPECT_EQ(name_of(LANG_CASE_BLIND), "BLIND");
    EXPECT_EQ(record_of(LANG_CASE_SENSITIVE)->id, 7);
    EXPECT_EQ(table_of(LANG_CASE_SENSITIVE), backwards());
    EXPECT_EQ(lang_control(LANG_CASE_SENSITIVE, 1), 0u);  // the argument goes to the library
    EXPECT_EQ(lang_control(5, 20), 0u);
    EXPECT_EQ(lang_control(-1, 20), 0u);
}

TEST(lang_control, with_a_short_file_loads_the_library)
{
    Fresh fresh;
    fresh.put(std::string(255, '1'));
    EXPECT_NE(lang_control(LANG_START, 0), 0u);
    EXPECT_EQ(name_of(LANG_CASE_SENSITIVE), "BACKWARDS");
    EXPECT_EQ(lang_control(LANG_STOP, 0), 0u);
    EXPECT_EQ(handles_alive(), fresh.handles_before);  // with the library the stop frees the tables of zeros, too
}

TEST(lang_control, without_any_source_gives_0)
{
    Fresh fresh;
    faults_start({ .call = FAULT_LOAD, .from_then_on = true });
    for (i32 operation : { 0, 1, 2, 3, 4, 5 }) EXPECT_EQ(lang_control(operation, 0), 0u) << operation;
}

TEST(lang_control, file_beats_a_library_held_before)
{
    Fresh fresh;
    uintptr_t library = lang_control(LANG_START, 0);
    fresh.put(sound_file());
    EXPECT_EQ(lang_control(LANG_START, 0), library);  // the answer is the library all the same
    EXPECT_EQ(name_of(LANG_CASE_SENSITIVE), "ENGLISH");
    EXPECT_EQ(name_of(LANG_CASE_BLIND), "BLIND");
    EXPECT_EQ(lang_control(LANG_FUNCTION, 20), 0u);
    EXPECT_EQ(call_counts().load, 1u);
}

TEST(lang_control, stop_without_a_library_keeps_the_tables)
{
    Fresh fresh;
    fresh.put(sound_file());
    EXPECT_EQ(lang_control(LANG_START, 0), 1u);
    EXPECT_EQ(lang_control(LANG_STOP, 0), 0u);
    EXPECT_EQ(handles_alive(), fresh.handles_before + 2);
    EXPECT_EQ(table_of(LANG_CASE_SENSITIVE), identity());
    EXPECT_EQ(table_of(LANG_CASE_BLIND), backwards());
}

TEST(lang_control, stop_gives_up_the_library)
{
    Fresh fresh;
    (void)lang_control(LANG_START, 0);
    calls_reset();
    EXPECT_EQ(lang_control(LANG_STOP, 0), 0u);
    EXPECT_EQ(call_lines(), (Lines{ "unload" }));
    EXPECT_EQ(record_of(LANG_CASE_SENSITIVE), nullptr);
    EXPECT_EQ(lang_control(LANG_STOP, 0), 0u);
    EXPECT_EQ(call_counts().unload, 1u);
}

TEST(lang_control, stop_never_clears_the_flag_of_the_file)
{
    Fresh fresh;
    (void)lang_control(LANG_START, 0);
    fresh.put(sound_file());
    (void)lang_control(LANG_START, 0);
    EXPECT_EQ(lang_control(LANG_STOP, 0), 0u);
    EXPECT_EQ(handles_alive(), fresh.handles_before);
    EXPECT_EQ(record_of(LANG_CASE_SENSITIVE), nullptr);
    EXPECT_EQ(table_of(LANG_CASE_BLIND), backwards());
}

TEST(lang_control, keeps_its_own_idea_of_a_library_that_was_freed)
{
    Fresh fresh;
    uintptr_t library = lang_control(LANG_START, 0);
    (void)optlib_free();
    calls_reset();
    for (i32 operation : { 2, 3, 4 }) EXPECT_EQ(lang_control(operation, 0), 0u) << operation;
    EXPECT_EQ(lang_control(LANG_START, 0), library);
    EXPECT_EQ(compared("a", "b", 1, 255, 0), -1);  // the plain compare
    EXPECT_EQ(call_counts().load + call_counts().entry, 0u);

    // A stop ends it; there is nothing left to unload.
    (void)lang_control(LANG_STOP, 0);
    EXPECT_EQ(call_counts().unload, 0u);
    EXPECT_NE(lang_control(LANG_START, 0), 0u);
    EXPECT_EQ(call_counts().load, 1u);
}

TEST(lang_control, starts_again_after_a_stop)
{
    Fresh fresh;
    (void)lang_control(LANG_START, 0);
    (void)lang_control(LANG_STOP, 0);
    EXPECT_NE(lang_control(LANG_START, 0), 0u);
    EXPECT_EQ(name_of(LANG_CASE_SENSITIVE), "BACKWARDS");
}

TEST(lang_control, start_survives_whichever_call_fails)
{
    for (bool with_file : { false, true }) {
        for (u32 nth = 1;; nth++) {
            Fresh fresh;
            if (with_file) fresh.put(sound_file());
            faults_start({ .call = FAULT_ANY, .nth = nth, .from_then_on = true });
            uintptr_t result = lang_control(LANG_START, 0);
            i32 answer = compared("a", "b", 1, 255, 0);
            if (!faults_stop()) {
                EXPECT_NE(result, 0u);
                break;
            }
            // With the file it has to be opened and measured; without it the library has to be loaded.
            EXPECT_EQ(result != 0, nth > 5) << nth;
            if (!result) {
                EXPECT_EQ(answer, -1);  // the plain compare
            }
        }
    }
    (void)memory_sweep();
}

// ---- Comparing ------------------------------------------------------------------------------------------------------

TEST(lang_mode, is_2_until_it_is_set)
{
    Fresh fresh;
    EXPECT_EQ(first_mode, 2);
    for (i32 mode : { 1, 0, -5, INT32_MAX }) {
        EXPECT_EQ(lang_mode(&mode), mode);
        EXPECT_EQ(lang_mode(nullptr), mode);
    }
}

// Strings of few letters, so that many are alike to some place; arguments around the limits.
template <typename Check>
static void for_many_comparisons(Check check)
{
    std::mt19937 random(1);
    for (int i = 0; i < 5000; i++) {
        std::string texts[2];
        for (std::string &text : texts) {
            for (size_t left = random() % 6; left > 0; left--) text += "aAbB\xE4"[random() % 5];
        }
        i16 start = (i16)((int)(random() % 9) - 1);
        i16 count = i % 7 ? (i16)((int)(random() % 9) - 1) : 255;
        check(Name(texts[0]), Name(texts[1]), start, count, (i16)(random() % 2));
    }
}

TEST(pstrlangcompare, uses_the_tables_in_mode_1_alone)
{
    Fresh fresh;
    fresh.put(sound_file());
    (void)lang_control(LANG_START, 0);
    Name a("a"), b("b");
    for (i32 mode : { 2, 0, -1, 3, 257, 1 }) {
        set_mode(mode);
        // Blind to case the table of the file goes backwards.
        EXPECT_EQ(pstrlangcompare(a, b, 1, 255, 1), mode == 1 ? 1 : -1) << mode;
    }
}

TEST(pstrlangcompare, in_mode_2_is_pstricompare_whatever_is_loaded)
{
    Fresh fresh;
    for (bool with_file : { false, true }) {  // first the library alone
        if (with_file) fresh.put(table_text("A", backwards()) + table_text("B", backwards()));
        EXPECT_NE(lang_control(LANG_START, 0), 0u);
        for_many_comparisons([](const Name &first, const Name &second, i16 start, i16 count, i16 fold_case) {
            ASSERT_EQ(pstrlangcompare(first, second, start, count, fold_case),
                      pstricompare(first, second, start, count, fold_case));
        });
    }
}

TEST(pstrlangcompare, in_mode_1_without_a_source_is_pstricompare)
{
    Fresh fresh;
    faults_start({ .call = FAULT_LOAD, .from_then_on = true });
    (void)lang_control(LANG_START, 0);
    set_mode(1);
    for_many_comparisons([](const Name &first, const Name &second, i16 start, i16 count, i16 fold_case) {
        ASSERT_EQ(pstrlangcompare(first, second, start, count, fold_case),
                  pstricompare(first, second, start, count, fold_case));
    });
}

TEST(pstrlangcompare, in_mode_1_without_a_start_is_pstricompare)
{
    Fresh fresh;
    fresh.put(sound_file());
    set_mode(1);
    EXPECT_EQ(pstrlangcompare(Name("a"), Name("b"), 1, 255, 1), -1);
    EXPECT_EQ(call_lines(), Lines{});
}

TEST(lang_compare, with_the_codes_as_weights_is_pstricompare)
{
    Fresh fresh;
    fresh.put(table_text("A", identity()) + table_text("B", identity()));
    (void)lang_control(LANG_START, 0);
    for_many_comparisons([](const Name &first, const Name &second, i16 start, i16 count, i16) {
        ASSERT_EQ(lang_compare(first, second, start, count, 0), pstricompare(first, second, start, count, 0));
    });
}

TEST(lang_compare, takes_its_table_by_the_case_flag)
{
    Fresh fresh;
    fresh.put(sound_file());
    (void)lang_control(LANG_START, 0);
    EXPECT_EQ(compared("a", "c", 1, 255, 0), -2);
    EXPECT_EQ(compared("a", "c", 1, 255, 1), 2);
    EXPECT_EQ(compared("a", "c", 1, 255, -1), 2);
}

TEST(lang_compare, gives_the_difference_of_the_weights)
{
    Fresh fresh;
    Table table = identity();
    table['a'] = 0;
    table['b'] = 255;
    fresh.put(table_text("A", table) + table_text("B", identity()));
    (void)lang_control(LANG_START, 0);
    EXPECT_EQ(compared("a", "b", 1, 255, 0), -255);
    EXPECT_EQ(compared("xb", "xa", 1, 255, 0), 255);
    EXPECT_EQ(compared("\xE4", "\x04", 1, 255, 0), 0xE0);  // by codes without a sign
}

TEST(lang_compare, of_equal_weights_is_equal_whatever_follows)
{
    Fresh fresh;
    Table table = identity();
    table['b'] = table['a'];
    fresh.put(table_text("A", table) + table_text("B", table));
    (void)lang_control(LANG_START, 0);
    for (int fold_case : { 0, 1 }) {
        EXPECT_EQ(compared("ax", "by", 1, 255, fold_case), 0);
        EXPECT_EQ(compared("a", "bcdef", 1, 255, fold_case), 0);
        EXPECT_EQ(compared("xaz", "xba", 1, 255, fold_case), 0);
        EXPECT_LT(compared("aa", "ac", 1, 255, fold_case), 0);  // the first characters do not differ
    }
}

TEST(lang_compare, of_texts_alike_compares_the_lengths)
{
    Fresh fresh;
    fresh.put(sound_file());
    (void)lang_control(LANG_START, 0);
    for (int fold_case : { 0, 1 }) {
        EXPECT_EQ(compared("abc", "abc", 1, 255, fold_case), 0);
        EXPECT_EQ(compared("abc", "abcde", 1, 255, fold_case), -2);
        EXPECT_EQ(compared("abcde", "abc", 1, 255, fold_case), 2);
        EXPECT_EQ(compared("abcde", "abc", 1, 3, fold_case), 0);  // alike as far as was asked
        EXPECT_EQ(compared("abcde", "abc", 1, 4, fold_case), 2);
        EXPECT_EQ(compared("xbc", "ybc", 2, 2, fold_case), 0);
    }
}

TEST(lang_compare, of_bad_arguments_gives_the_answers_of_pstricompare)
{
    Fresh fresh;
    for (bool with_file : { false, true }) {
        if (with_file) fresh.put(sound_file());
        (void)lang_control(LANG_START, 0);
        for (int fold_case : { 0, 1 }) {
            EXPECT_EQ(compared("abc", "abc", 0, 1, fold_case), 32767);
            EXPECT_EQ(compared("abc", "abc", 1, 0, fold_case), 32767);
            EXPECT_EQ(compared("abc", "abc", -1, -1, fold_case), 32767);
            EXPECT_EQ(compared("abc", "", 1, 255, fold_case), 32767);
            EXPECT_EQ(compared("", "", 1, 255, fold_case), 0);
            EXPECT_EQ(compared("", "abc", 1, 255, fold_case), -1);
            EXPECT_EQ(compared("abc", "abc", 4, 1, fold_case), 32767);
        }
    }
}

TEST(lang_compare, of_255_characters_goes_to_the_end)
{
    Fresh fresh;
    fresh.put(sound_file());
    (void)lang_control(LANG_START, 0);
    std::string text(255, 'x');
    std::string other = text;
    other[254] = 'y';
    EXPECT_EQ(compared(text, text, 1, 255, 0), 0);
    EXPECT_EQ(compared(text, other, 1, 255, 0), -1);
    EXPECT_EQ(compared(text, other, 1, 254, 0), 0);
    EXPECT_EQ(compared(text, other, 255, 32767, 0), -1);
}

TEST(lang_compare, uses_the_library)
{
    Fresh fresh;
    (void)lang_control(LANG_START, 0);
    EXPECT_EQ(compared("a", "c", 1, 255, 0), 2);
    EXPECT_EQ(compared("A", "a", 1, 255, 1), 0);
    EXPECT_EQ(compared("A", "b", 1, 255, 1), -1);
    faults_start({ .call = FAULT_ENTRY, .from_then_on = true });
    EXPECT_EQ(compared("a", "c", 1, 255, 0), -2);  // an entry is missing: the plain compare
}

TEST(lang_compare, of_a_library_record_without_a_table_is_pstricompare)
{
    Fresh fresh;
    static const SortTableRecord empty = { 0, "EMPTY", nullptr };
    static const PlatformLibraries library = {
        .load = [](const char *) { return (void *)&empty; },
        .entry = [](void *, const char *) -> PlatformEntry { return [](uintptr_t) { return (uintptr_t)&empty; }; },
        .free = [](void *) {},
    };
    const PlatformLibraries *usual = platform_libraries;
    platform_libraries = &library;
    (void)lang_control(LANG_START, 0);
    EXPECT_EQ(compared("a", "c", 1, 255, 0), -2);
    (void)lang_control(LANG_STOP, 0);
    platform_libraries = usual;
}

} // namespace zuk
