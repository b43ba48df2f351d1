#include "foundation/collate.h"

#include "files/file_util.h"
#include "foundation/format.h"
#include "foundation/handles.h"
#include "foundation/pstrings.h"
#include "platform/platform.h"

#include <string.h>

namespace zuk {

// ---- State ----------------------------------------------------------------------------------------------------------

constexpr i32 TABLE_SIZE = 256;
constexpr i32 NAME_SIZE = 16;  // of a table, with its terminator

enum { SENSITIVE, BLIND, TABLES };

static constinit i16 lang_tables_ok = 0;          // the file is loaded
static constinit void *lang_library = nullptr;    // the library, as `lang_control` sees it
static constinit i32 lang_mode_value = 2;

// The file's tables. The records may outlive the handles.
static constinit GHandle acs_tables[TABLES] = {};
static constinit char acs_names[TABLES][NAME_SIZE] = {};
static constinit SortTableRecord acs_records[TABLES] = {};
static constinit u8 last_blind_table[TABLE_SIZE] = {};

static constinit void *optlib_module = nullptr;   // the library, as it was loaded

// ---- The collating file ---------------------------------------------------------------------------------------------

static void free_handle(GHandle *handle)
{
    gfree(*handle);
    *handle = 0;
}

void acs_free()
{
    // KEPT: one would expect both records to be without a table from here on. Only the first one is; the second one
    // still gives the weights it had, by a copy of them. Test: acs_free.leaves_the_case_blind_record_its_table
    acs_records[SENSITIVE].table = nullptr;
    if (acs_tables[BLIND]) {
        memcpy(last_blind_table, glock(acs_tables[BLIND]), TABLE_SIZE);
        gunlock(acs_tables[BLIND]);
        acs_records[BLIND].table = last_blind_table;
    }
    for (GHandle &table : acs_tables) free_handle(&table);
}

// A line buffer and the two tables, all bytes 0. If there is no room for one, none is left.
static bool make_buffers(GHandle *line)
{
    static const u8 label[] = "\007ZUK.ACS";
    *line = galloc(PSTRING_SIZE, label, 1);
    if (!*line) return false;

    for (i32 i = 0; i < TABLES; i++) {
        acs_tables[i] = galloc(TABLE_SIZE, label, 1);
        if (!acs_tables[i]) {
            acs_free();
            free_handle(line);
            return false;
        }
        acs_records[i].table = (const u8 *)glock(acs_tables[i]);
    }
    return true;
}

// The weights of one line. `word` is what the last entry gave, of this line or one before.
//
// KEPT: one would expect a line without a number at some place to be refused, or that weight to be 0. The scan stores
// nothing there, so the word before counts again; and as it passes over blanks, an empty place takes the number that
// follows. Test: acs_load.repeats_the_weight_before_a_place_without_one
static void read_weights(ConstPString line, u8 weights[16], u16 *word)
{
    for (i16 i = 0; i < 16; i++) {
        u8 rest[PSTRING_SIZE];
        pstricpy(rest, line, (i16)(1 + 3 * i), PSTRING_SIZE - 1);
        pstr_scan(rest, "%2x", word);
        weights[i] = (u8)*word;
    }
}

// One table: its name and 16 lines. The end of the file is not looked at; the lines behind it are empty.
static void read_table(FileHandle file, i32 which, PString line, u16 *word)
{
    (void)file_readline(file, line);  // a last line without its end counts, so the result does not
    c_format_bounded(acs_names[which], NAME_SIZE, "%p", line);
    acs_records[which].name = acs_names[which];

    u8 *weights = (u8 *)glock(acs_tables[which]);
    for (i32 row = 0; row < 16; row++) {
        memset(line, 0, PSTRING_SIZE);
        (void)file_readline(file, line);  // the same
        read_weights(line, weights + 16 * row, word);
    }
    gunlock(acs_tables[which]);
}

i16 acs_load()
{
    acs_free();
    GHandle line_buffer;
    if (!make_buffers(&line_buffer)) return 0;

    static const u8 name[] = "\007ZUK.ACS";
    FileHandle file = file_open(name, FILE_READ_ONLY);
    if (!file) {
        acs_free();
        free_handle(&line_buffer);
        return 0;
    }

    // KEPT: one would expect the tables to go when the file is too short for them. They stay, with all weights 0, until
    // they are freed or loaded again. Test: acs_load.of_a_short_file_leaves_two_tables_of_zeros
    if (file_size(file) <= 255) {
        (void)file_close(file);  // it was only read
        free_handle(&line_buffer);
        return 0;
    }

    // The position is 0 after opening; a seek that fails leaves it there.
    (void)file_seek(file, 0);
    u16 word = 0;
    PString line = (PString)glock(line_buffer);
    for (i32 which = 0; which < TABLES; which++) read_table(file, which, line, &word);
    gunlock(line_buffer);

    (void)file_close(file);  // it was only read
    free_handle(&line_buffer);
    return 1;
}

// ---- The optional library -------------------------------------------------------------------------------------------

void *optlib_load()
{
    if (!optlib_module) optlib_module = platform_libraries->load("ZUKOPTS.DLL");
    return optlib_module;
}

i32 optlib_free()
{
    if (optlib_module) platform_libraries->free(optlib_module);
    optlib_module = nullptr;
    return 0;
}

uintptr_t optlib_call(i16 entry, uintptr_t argument)
{
    static const char *const names[] = { "DLLFunction1", "DLLFunction2", "DLLFunction3" };
    if (!optlib_module || entry < 1 || entry > 3) return 0;

    PlatformEntry function = platform_libraries->entry(optlib_module, names[entry - 1]);
    return function ? function(argument) : 0;
}

// ---- Control --------------------------------------------------------------------------------------------------------

static uintptr_t lang_start()
{
    lang_tables_ok = acs_load();
    if (lang_library) return (uintptr_t)lang_library;

    // KEPT: one would expect the library to be loaded if there is one. The file comes first: where it is usable, the
    // library is not even looked for. Test: lang_control.with_the_file_does_not_load_the_library
    // Test: lang_control.file_beats_a_library_held_before
    if (lang_tables_ok) return 1;
    lang_library = optlib_load();
    return (uintptr_t)lang_library;
}

static uintptr_t lang_stop()
{
    // KEPT: one would expect a stop to free the tables of the file. Without a library it does nothing at all, and they
    // stay in use. Test: lang_control.stop_without_a_library_keeps_the_tables
    if (!lang_library) return 0;

    // KEPT: one would expect the source to count as not loaded from here on. The flag stays, so what was there before
    // the stop goes on answering with what is left of it: no table that tells case apart, and the weights of the other.
    // Test: lang_control.stop_never_clears_the_flag_of_the_file
    acs_free();
    (void)optlib_free();  // always 0
    lang_library = nullptr;
    return 0;
}

static uintptr_t file_record(i32 which)
{
    return acs_records[which].table ? (uintptr_t)&acs_records[which] : 0;
}

uintptr_t lang_control(i32 operation, uintptr_t argument)
{
    if (!lang_library && operation != LANG_START && !lang_tables_ok) return 0;

    switch (operation) {
    case LANG_START: return lang_start();
    case LANG_STOP: return lang_stop();
    case LANG_FUNCTION: return lang_tables_ok ? 0 : optlib_call(1, argument);
    case LANG_CASE_SENSITIVE: return lang_tables_ok ? file_record(SENSITIVE) : optlib_call(2, argument);
    case LANG_CASE_BLIND: return lang_tables_ok ? file_record(BLIND) : optlib_call(3, argument);
    default: return 0;
    }
}

// ---- Comparing ------------------------------------------------------------------------------------------------------

i32 lang_mode(const i32 *new_mode)
{
    if (new_mode) lang_mode_value = *new_mode;
    return lang_mode_value;
}

i16 pstrlangcompare(ConstPString first, ConstPString second, i16 start, i16 count, i16 fold_case)
{
    // KEPT: one would expect every mode but 0 to be on. The mode is 2 at the start, and only exactly 1 turns the tables
    // on. Test: pstrlangcompare.uses_the_tables_in_mode_1_alone, Test: lang_mode.is_2_until_it_is_set
    if (lang_mode(nullptr) == 1) return lang_compare(first, second, start, count, fold_case);
    return pstricompare(first, second, start, count, fold_case);
}

// The weights for a comparison; null if no source has any.
static const u8 *table_for(i16 fold_case)
{
    uintptr_t address = lang_control(fold_case ? LANG_CASE_BLIND : LANG_CASE_SENSITIVE, 0);
    return address ? ((const SortTableRecord *)address)->table : nullptr;
}

i16 lang_compare(ConstPString first, ConstPString second, i16 start, i16 count, i16 fold_case)
{
    const u8 *table = table_for(fold_case);
    if (!table) return pstricompare(first, second, start, count, fold_case);

    // The special answers are those of `pstricompare`, which looks no further for any of them.
    if (start < 1 || count < 1 || first[0] < start || second[0] < start) {
        return pstricompare(first, second, start, count, fold_case);
    }

    i32 shorter = first[0] < second[0] ? first[0] : second[0];
    i32 rest = shorter - start + 1;
    i32 length = rest < count ? rest : count;
    for (i32 i = start; i < start + length; i++) {
        if (first[i] == second[i]) continue;

        // KEPT: one would expect two characters of the same weight to be passed over. The first difference decides,
        // even if it is one of 0: the strings are equal then, whatever follows. So an order tells what is equivalent.
        // Test: lang_compare.of_equal_weights_is_equal_whatever_follows
        return (i16)(table[first[i]] - table[second[i]]);
    }
    return length >= count ? 0 : (i16)(first[0] - second[0]);
}

} // namespace zuk
