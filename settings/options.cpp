#include "settings/options.h"

#include "platform/platform.h"

#include <stdint.h>
#include <string.h>

namespace zuk {

// ---- Reading --------------------------------------------------------------------------------------------------------

static void expect(bool good)
{
    if (!good) platform_diagnostics->debug_break();
}

static i16 read_option(OptionKind kind, const char *key, i16 default_value)
{
    i16 value;
    switch (kind) {
    case OPTION_BOOLEAN: (void)settings_get_bool(key, default_value, &value); break;
    case OPTION_POSITIVE: (void)settings_get_pos(key, default_value, &value); break;
    default: (void)settings_get_int(key, default_value, &value); break;
    }
    return value;
}

// A value that is read once.
// KEPT: one would expect a key that is written to be seen. What is cached stays until the process ends, whoever writes.
// Test: cached_options.keep_the_first_value
struct CachedOption {
    i16 unread;     // 1 until the one read
    i16 value;
};

static i16 read_once(CachedOption *option, OptionKind kind, const char *key, i16 default_value)
{
    if (option->unread) {
        option->value = read_option(kind, key, default_value);
        option->unread = 0;
    }
    return option->value;
}

static i16 read_limited(const char *key, i16 default_value, i16 least)
{
    i16 value = read_option(OPTION_NUMBER, key, default_value);
    return value < least ? default_value : value;
}

static i16 read_checked(const char *key, PString buffer, i16 size, i16 least)
{
    expect(buffer != nullptr);
    expect(size >= least);
    return settings_get_text(key, buffer, size);  // clears the buffer first
}

// ---- One line each --------------------------------------------------------------------------------------------------

#define PLAIN_OPTION(kind, key, accessor, value) \
    i16 option_##accessor() { return read_option(OPTION_##kind, #key, value); }
#define ASKED_OPTION(kind, key, accessor) \
    i16 option_##accessor(i16 default_value) { return read_option(OPTION_##kind, #key, default_value); }
#define CACHED_OPTION(kind, key, accessor, value)           \
    static constinit CachedOption cached_##accessor = { 1, 0 }; \
    i16 option_##accessor() { return read_once(&cached_##accessor, OPTION_##kind, #key, value); }
#define LIMITED_OPTION(key, accessor, least) \
    i16 option_##accessor(i16 default_value) { return read_limited(#key, default_value, least); }
#define STORED_OPTION(key, accessor) \
    void option_##accessor(i16 *result) { (void)settings_get_int(#key, 0, result); }
#define TEXT_OPTION(key, accessor) \
    i16 option_##accessor(PString buffer, i16 size) { return settings_get_text(#key, buffer, size); }
#define CHECKED_OPTION(key, accessor, least) \
    i16 option_##accessor(PString buffer, i16 size) { return read_checked(#key, buffer, size, least); }
#define SPECIAL_OPTION(kind, key, accessor) static const char KEY_##accessor[] = #key;
#define SECOND_OPTION(kind, key, name, first) static const char KEY_##name[] = #key;
#include "settings/option_rows.h"

// ---- Booleans and numbers with more to them -------------------------------------------------------------------------

i16 option_bt_cache_stats()
{
    // KEPT: one would expect the default of 1 for a missing key. It never comes through: without a word there it is 0.
    // Test: option_bt_cache_stats.gives_0_for_a_missing_key
    i16 value;
    i16 found = settings_get_bool(KEY_bt_cache_stats, 1, &value);
    return found && value;
}

// KEPT: one would expect one default for a key. Two kinds of callers take a missing one for different things.
// Test: option_fm_ram_table.has_two_defaults
i16 option_fm_ram_table_1() { return read_option(OPTION_BOOLEAN, KEY_fm_ram_table, 1); }
i16 option_fm_ram_table_0() { return read_option(OPTION_BOOLEAN, KEY_fm_ram_table, 0); }

constexpr i32 INTERNATIONAL_UNREAD = 2;
static constinit i32 international = INTERNATIONAL_UNREAD;

i32 option_international()
{
    if (international == INTERNATIONAL_UNREAD) international = read_option(OPTION_BOOLEAN, KEY_international, 0);
    return international;
}

static constinit CachedOption cached_debug_rw = { 1, 0 };
i32 option_debug_rw() { return read_once(&cached_debug_rw, OPTION_NUMBER, KEY_debug_rw, 0); }

static constinit CachedOption cached_zps_server_reads = { 1, 0 };
i16 option_zps_server_reads()
{
    CachedOption *option = &cached_zps_server_reads;
    bool first = option->unread != 0;
    i16 value = read_once(option, OPTION_NUMBER, KEY_zps_server_reads, 15);
    if (first && value < 1) option->value = 1;
    return option->value;
}

i16 option_tolerance(i16 default_value)
{
    // KEPT: one would expect the misspelled key to be a mistake. Files have it, and it counts where the other one holds
    // no text. Test: option_tolerance.reads_the_misspelled_key_where_the_other_holds_no_text
    i16 value;
    if (!settings_get_int(KEY_tolerance, default_value, &value)) {
        (void)settings_get_int(KEY_tolerence, default_value, &value);
    }
    return value;
}

// KEPT: one would expect one accessor. There are three, alike in all ways, for three kinds of callers.
// Test: option_fm_trace_buffer.has_three_accessors
i16 option_fm_trace_buffer_2() { return option_fm_trace_buffer(); }
i16 option_fm_trace_buffer_3() { return option_fm_trace_buffer(); }

i16 option_zps_instance()
{
    i16 value = read_option(OPTION_POSITIVE, KEY_zps_instance, 1);
    return value < 1 || value > 99 ? (i16)1 : value;
}

// ---- Texts with more to them ----------------------------------------------------------------------------------------

static i16 read_terminated(const char *key, void *buffer, i16 size, const char *default_text)
{
    i16 found = settings_get_text(key, (PString)buffer, size);
    if (found) ptocstr(buffer);
    // KEPT: one would expect a string, as of every other text, and its default to be cut at the size. The text is
    // NUL-terminated, and the default is copied whole. Test: option_btrieve.copies_its_default_whatever_the_size
    // Test: option_btrieve.gives_a_terminated_value
    else if (buffer) memcpy(buffer, default_text, strlen(default_text) + 1);
    return found;
}

static const char BTRIEVE_DEFAULT[] = "/p:4096 /m:64 /f:180 /l:20";
static const char BTRIEVE_EXTENSION_DEFAULT[] = "btr";
static const char DDE_APP_NAME_DEFAULT[] = "KORVANIS";

i16 option_btrieve(void *buffer, i16 size) { return read_terminated(KEY_btrieve, buffer, size, BTRIEVE_DEFAULT); }

i16 option_btrieve_file_name_extension(void *buffer, i16 size)
{
    return read_terminated(KEY_btrieve_file_name_extension, buffer, size, BTRIEVE_EXTENSION_DEFAULT);
}

i16 option_dde_app_name(PString buffer, i16 size)
{
    expect(buffer != nullptr);
    expect(size > 10);
    i16 found = settings_get_text(KEY_dde_app_name, buffer, size);
    if (!found && buffer && size >= (i16)sizeof DDE_APP_NAME_DEFAULT) (void)pstrconst(buffer, DDE_APP_NAME_DEFAULT);
    return found;
}

static constinit i16 report_writer_unread = 1;
static constinit i16 report_writer_found = 0;
static constinit u8 report_writer[32] = {};

PString option_report_writer()
{
    if (report_writer_unread) {
        report_writer_found = settings_get_text(KEY_report_writer, report_writer, sizeof report_writer);
        report_writer_unread = 0;
    }
    return report_writer_found ? report_writer : nullptr;
}

static i16 read_or_last(const char *key, const char *last_key, PString buffer, i16 size)
{
    i16 found = read_checked(key, buffer, size, 1);
    if (found || !buffer) return found;
    return settings_get_text(last_key, buffer, size);
}

i16 option_sql_data_source(PString buffer, i16 size)
{
    return read_or_last(KEY_sql_data_source, KEY_sql_last_data_source, buffer, size);
}

i16 option_sql_user(PString buffer, i16 size) { return read_or_last(KEY_sql_user, KEY_sql_last_user, buffer, size); }
i16 option_workstation2(PString buffer, i16 size) { return settings_get_text(KEY_workstation2, buffer, size); }

void option_sql_last_data_source_set(PString value) { (void)settings_put_text(KEY_sql_last_data_source, value); }
void option_sql_last_user_set(PString value) { (void)settings_put_text(KEY_sql_last_user, value); }
void option_workstation2_set(PString value) { (void)settings_put_text(KEY_workstation2, value); }

// ---- Words ----------------------------------------------------------------------------------------------------------

constexpr i16 WORD_SIZE = 32;              // of the buffer for a word: 30 characters

struct Word {
    const char *word;
    i32 value;
};

// The value of the word that `text` is, exactly; 0 for any other.
static i32 value_of(ConstPString text, const Word *words, u32 count)
{
    for (u32 i = 0; i < count; i++) {
        u8 word[WORD_SIZE];
        if (pstricompare(text, pstrconst(word, words[i].word), 1, 255, 0) == 0) return words[i].value;
    }
    return 0;
}

template <u32 N> static i32 value_of(ConstPString text, const Word (&words)[N]) { return value_of(text, words, N); }

// The word of a key, or of the second one if the first has none: one that it does not know is a word, too.
static void read_word(PString text, i16 size, const char *key, const char *second)
{
    if (settings_get_text(key, text, size) || !second) return;
    // KEPT: one would expect the second key to count where the first one makes no sense. It is read only where the
    // first is missing. Test: option_database_type.reads_the_second_key_only_if_the_first_is_missing
    (void)settings_get_text(second, text, size);
}

constexpr i32 SCRIPT_COMPILE_UNREAD = 0;
static constinit i32 script_compile = SCRIPT_COMPILE_UNREAD;

i32 option_script_compile()
{
    if (script_compile != SCRIPT_COMPILE_UNREAD) return script_compile;

    u8 text[WORD_SIZE];
    bool found = settings_get_text(KEY_script_compile, text, sizeof text) != 0;
    switch (found ? ascii_upper(text[1]) : 0) {
    // KEPT: one would expect two words, as for the other letters. It is the length alone that tells.
    // Test: option_script_compile.tells_faster_from_fast_by_its_length
    case 'F': script_compile = text[0] > 4 ? 4 : 2; break;
    case 'N': script_compile = 1; break;
    case 'S': script_compile = 3; break;
    default: script_compile = 2; break;
    }
    return script_compile;
}

i32 option_ct_doda()
{
    // KEPT: one would expect the case of letters not to matter, as it does not in a boolean. Here and in most keys
    // below the word has to be exact. Test: option_ct_doda.is_exact_in_case
    static const Word words[] = { { "ADD", 256 }, { "CHECK", 512 } };
    u8 text[WORD_SIZE];
    read_word(text, sizeof text, KEY_ct_doda, nullptr);
    return value_of(text, words);
}

i16 option_ct_file_mode()
{
    static const Word words[] = { { "TRANLOG", 1 }, { "TRNLOG", 1 } };
    u8 text[SETTINGS_NUMBER_SIZE];
    read_word(text, sizeof text, KEY_ct_file_mode, KEY_ct_table_mode);
    return (i16)value_of(text, words);
}

i32 option_database_type()
{
    static const Word words[] = { { "CTREE", 0 }, { "BTRIEVE", 1 }, { "SQL", 2 } };
    u8 text[WORD_SIZE];
    read_word(text, sizeof text, KEY_database_type, KEY_file_handler);
    return value_of(pstrupper(text), words);
}

static constinit CachedOption cached_default_tempfile_type = { 1, 0 };

i32 option_default_tempfile_type()
{
    // KEPT: one would expect the numbers of `option_database_type` for the same words.
    // Test: option_default_tempfile_type.has_other_numbers_than_the_database_type
    static const Word words[] = { { "BTRIEVE", 2 }, { "CTREE", 1 }, { "SQL", 3 } };
    CachedOption *option = &cached_default_tempfile_type;
    if (option->unread) {
        u8 text[WORD_SIZE];
        read_word(text, sizeof text, KEY_default_tempfile_type, nullptr);
        option->value = (i16)value_of(pstrupper(text), words);
        option->unread = 0;
    }
    return option->value;
}

i32 option_debug_queue()
{
    static const Word words[] = { { "TRUE", 1 }, { "APPEND", 2 }, { "ZUKDEBUG", 3 } };
    static const Word outputs[] = { { "ZUKDEBUG", 3 } };
    u8 text[WORD_SIZE];
    read_word(text, sizeof text, KEY_debug_queue, nullptr);
    i32 value = value_of(text, words);
    if (value != 1) return value;

    // KEPT: one would expect the output to count with any of the words. It is read with TRUE alone.
    // Test: option_debug_queue.reads_the_output_only_with_true
    read_word(text, sizeof text, KEY_debug_queue_output, nullptr);
    i32 output = value_of(text, outputs);
    return output ? output : value;
}

i32 option_debug_unknown_file()
{
    static const Word words[] = { { "TRUE", 1 }, { "ALL", 2 }, { "OPEN", 3 } };
    u8 text[WORD_SIZE];
    read_word(text, sizeof text, KEY_debug_unknown_file, KEY_display_table_errors);
    return value_of(text, words);
}

i32 option_editor()
{
    static const Word words[] = { { "CODEWRIGHT", 1 } };
    u8 text[WORD_SIZE];
    read_word(text, sizeof text, KEY_editor, nullptr);
    return value_of(text, words);
}

// ---- All of them ----------------------------------------------------------------------------------------------------

// The texts that accessors give otherwise than in a string of the caller.
static i16 text_of_btrieve(PString buffer, i16 size)
{
    i16 found = option_btrieve(buffer, size);
    ctopstr(buffer);
    return found;
}

static i16 text_of_btrieve_extension(PString buffer, i16 size)
{
    i16 found = option_btrieve_file_name_extension(buffer, size);
    ctopstr(buffer);
    return found;
}

static i16 text_of_report_writer(PString buffer, i16 size)
{
    ConstPString text = option_report_writer();
    if (text) pstricpy(buffer, text, 1, (i16)(size - 1));
    else pstrnull(buffer);
    return text != nullptr;
}

static i16 asked_fm_ram_table(i16 default_value)
{
    return default_value ? option_fm_ram_table_1() : option_fm_ram_table_0();
}

#define VALUE_ROW(kind, key, accessor, text, cached) \
    { key, OPTION_##kind, text, cached, nullptr, []() -> i32 { return option_##accessor(); }, nullptr, nullptr },
#define ASKED_ROW(kind, key, function) { key, OPTION_##kind, nullptr, false, nullptr, nullptr, function, nullptr },
#define TEXT_ROW(key, function, text, cached) { key, OPTION_TEXT, text, cached, nullptr, nullptr, nullptr, function },

constinit const OptionRow option_rows[] = {
#define PLAIN_OPTION(kind, key, accessor, value) VALUE_ROW(kind, #key, accessor, #value, false)
#define ASKED_OPTION(kind, key, accessor) ASKED_ROW(kind, #key, option_##accessor)
#define CACHED_OPTION(kind, key, accessor, value) VALUE_ROW(kind, #key, accessor, #value, true)
#define LIMITED_OPTION(key, accessor, least) ASKED_ROW(NUMBER, #key, option_##accessor)
#define STORED_OPTION(key, accessor) \
    { #key, OPTION_NUMBER, "0", false, nullptr, []() -> i32 { \
         i16 value; \
         option_##accessor(&value); \
         return value; \
     }, nullptr, nullptr },
#define TEXT_OPTION(key, accessor) TEXT_ROW(#key, option_##accessor, "", false)
#define CHECKED_OPTION(key, accessor, least) TEXT_ROW(#key, option_##accessor, "", false)
#define SECOND_OPTION(kind, key, name, first) \
    { #key, OPTION_##kind, "", false, #first, nullptr, nullptr, \
      [](PString buffer, i16 size) { return settings_get_text(#key, buffer, size); } },
#include "settings/option_rows.h"

    VALUE_ROW(BOOLEAN, KEY_bt_cache_stats, bt_cache_stats, "0", false)
    ASKED_ROW(BOOLEAN, KEY_fm_ram_table, asked_fm_ram_table)
    VALUE_ROW(BOOLEAN, KEY_international, international, "0", true)
    VALUE_ROW(NUMBER, KEY_debug_rw, debug_rw, "0", true)
    VALUE_ROW(NUMBER, KEY_zps_server_reads, zps_server_reads, "15", true)
    ASKED_ROW(NUMBER, KEY_tolerance, option_tolerance)
    VALUE_ROW(POSITIVE, KEY_zps_instance, zps_instance, "1", false)
    TEXT_ROW(KEY_btrieve, text_of_btrieve, BTRIEVE_DEFAULT, false)
    TEXT_ROW(KEY_btrieve_file_name_extension, text_of_btrieve_extension, BTRIEVE_EXTENSION_DEFAULT, false)
    TEXT_ROW(KEY_dde_app_name, option_dde_app_name, DDE_APP_NAME_DEFAULT, false)
    TEXT_ROW(KEY_report_writer, text_of_report_writer, "", true)
    TEXT_ROW(KEY_sql_data_source, option_sql_data_source, "", false)
    TEXT_ROW(KEY_sql_user, option_sql_user, "", false)
    TEXT_ROW(KEY_workstation2, option_workstation2, "", false)
    VALUE_ROW(WORD, KEY_script_compile, script_compile, "2", true)
    VALUE_ROW(WORD, KEY_ct_doda, ct_doda, "0", false)
    VALUE_ROW(WORD, KEY_ct_file_mode, ct_file_mode, "0", false)
    VALUE_ROW(WORD, KEY_database_type, database_type, "0", false)
    VALUE_ROW(WORD, KEY_default_tempfile_type, default_tempfile_type, "0", true)
    VALUE_ROW(WORD, KEY_debug_queue, debug_queue, "0", false)
    VALUE_ROW(WORD, KEY_debug_unknown_file, debug_unknown_file, "0", false)
    VALUE_ROW(WORD, KEY_editor, editor, "0", false)
};
const u32 option_row_count = sizeof option_rows / sizeof *option_rows;

void options_forget_cached()
{
#define CACHED_OPTION(kind, key, accessor, value) cached_##accessor.unread = 1;
#include "settings/option_rows.h"
    cached_debug_rw.unread = 1;
    cached_zps_server_reads.unread = 1;
    cached_default_tempfile_type.unread = 1;
    international = INTERNATIONAL_UNREAD;
    script_compile = SCRIPT_COMPILE_UNREAD;
    report_writer_unread = 1;
}

} // namespace zuk
