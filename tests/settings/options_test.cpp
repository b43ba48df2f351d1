#include "settings/options.h"

#include "tests/support/settings.h"
#include "zuk/zuk.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace zuk {
namespace {

// A settings file, and nothing remembered from the one before.
struct Options : SettingsHome {
    explicit Options(const std::string &keys = "") : SettingsHome(keys) { options_forget_cached(); }
    ~Options() { options_forget_cached(); }
};

// A text accessor called with a buffer of 256 bytes.
struct Text {
    i16 found;
    std::string text;
    bool operator==(const Text &) const = default;
};
void PrintTo(const Text &text, std::ostream *out) { *out << "{ " << text.found << ", \"" << text.text << "\" }"; }

using TextAccessor = i16 (*)(PString buffer, i16 size);

Text text_of(TextAccessor accessor, i16 size = 256)
{
    u8 buffer[256] = { 3, 'o', 'l', 'd' };
    Text text = { accessor(buffer, size), "" };
    text.text = std::string((const char *)buffer + 1, buffer[0]);
    return text;
}

// ---- The catalogue --------------------------------------------------------------------------------------------------

struct Plain {
    const char *key;
    i16 (*accessor)();
    i16 default_value;
};
struct Asked {
    const char *key;
    i16 (*accessor)(i16 default_value);
};
struct Stored {
    const char *key;
    void (*accessor)(i16 *result);
};
struct Texts {
    const char *key;
    TextAccessor accessor;
};

const Plain booleans[] = {
    { "AccuratePrinting", option_accurate_printing, 0 },
    { "AllowWrongZuk", option_allow_wrong_zuk, 0 },
    { "AutoDisplayUpdate", option_auto_display_update, 0 },
    { "CT4761", option_ct4761, 0 },
    { "CTAutoRebuild", option_ct_auto_rebuild, 0 },
    { "DebugFonts", option_debug_fonts, 0 },
    { "DisableBackgroundLoopCounter", option_disable_background_loop_counter, 0 },
    { "DisableQueueTimers", option_disable_queue_timers, 0 },
    { "ERRORS", option_errors, 0 },
    { "FHCheckRanges", option_fh_check_ranges, 0 },
    { "InternalFeatures", option_internal_features, 0 },
    { "MainProduct", option_main_product, 0 },
    { "MemLeakReport", option_mem_leak_report, 0 },
    { "MSNewDumpFeaturesOff", option_ms_new_dump_features_off, 0 },
    { "NativeFontLeading", option_native_font_leading, 0 },
    { "NoPathnames", option_no_pathnames, 0 },
    { "NoPrintDialogs", option_no_print_dialogs, 0 },
    { "QueueMoreInfo", option_queue_more_info, 0 },
    { "ReportText", option_report_text, 0 },
    { "ShowOtherEventProperty", option_show_other_event_property, 0 },
    { "ShowReadingOrderProperty", option_show_reading_order_property, 0 },
    { "ShutdownOverride", option_shutdown_override, 0 },
    { "SQLCreAllIndx", option_sql_cre_all_indx, 0 },
    { "SQLDBGShowSPROCCallStmts", option_sqldbg_show_sproc_call_stmts, 0 },
    { "SQLDBGShowSQLStatements", option_sqldbg_show_sql_statements, 0 },
    { "SQLDisableSPForDeletes", option_sql_disable_sp_for_deletes, 0 },
    { "SQLDisableSPForInserts", option_sql_disable_sp_for_inserts, 0 },
    { "SQLDisableSPForSelects", option_sql_disable_sp_for_selects, 0 },
    { "SQLFrcSQLIndx", option_sql_frc_sql_indx, 0 },
    { "SQLLogODBCMessages", option_sql_log_odbc_messages, 0 },
    { "SQLLogSQLStmt", option_sql_log_sql_stmt, 0 },
    { "SQLUseQuotedIdentifiers", option_sql_use_quoted_identifiers, 0 },
    { "StdInternationalInfo", option_std_international_info, 0 },
    { "StretchTextExport", option_stretch_text_export, 0 },
    { "TransMacYenChar", option_trans_mac_yen_char, 0 },
    { "WindowMax", option_window_max, 0 },
    { "WindowsCompatibility", option_windows_compatibility, 0 },
    { "CTShrink", option_ct_shrink, 1 },
    { "PhysicalPageRounding", option_physical_page_rounding, 1 },
    { "ScriptDebugger", option_script_debugger, 1 },
    { "SQLDropTableOnDelete", option_sql_drop_table_on_delete, 1 },
    { "SQLGenerateRWQuery", option_sql_generate_rw_query, 1 },
    { "SQLUseNumericForDollar", option_sql_use_numeric_for_dollar, 1 },
};

const Asked asked_booleans[] = {
    { "FlipPrompts", option_flip_prompts },
    { "SQLDynamicCursorInsVisible", option_sql_dynamic_cursor_ins_visible },
    { "SQLDynamicCursorUpdAndDelVisible", option_sql_dynamic_cursor_upd_and_del_visible },
    { "SQLEncryptFields", option_sql_encrypt_fields },
    { "SQLScrollwinThumbs", option_sql_scrollwin_thumbs },
    { "SQLUseLockColumn", option_sql_use_lock_column },
    { "SQLUseLockTable", option_sql_use_lock_table },
    { "SQLUseNativeLocks", option_sql_use_native_locks },
};

const Plain cached_booleans[] = {
    { "AllowStartgroupSyntax", option_allow_startgroup_syntax, 0 },
    { "FreezeAFAMargins", option_freeze_afa_margins, 0 },
    { "PaintWindows", option_paint_windows, 1 },
    { "ShowReportName", option_show_report_name, 1 },
    { "SuppressSound", option_suppress_sound, 0 },
};

const Plain numbers[] = {
    { "ReportBlockSize", option_report_block_size, 0 },
    { "SQLMaxStmtsPerConnection", option_sql_max_stmts_per_connection, 0 },
    { "SuppressWarningCode", option_suppress_warning_code, 0 },
    { "owner", option_owner, 0 },
    { "ZPSSystemIndex", option_zps_system_index, 0 },
    { "MinID", option_min_id, 1 },
    { "NextEntryID", option_next_entry_id, 1 },
    { "NextGroupID", option_next_group_id, 1 },
};

const Asked asked_numbers[] = {
    { "BTServerMaxFiles", option_bt_server_max_files },
    { "CTNodeSize", option_ct_node_size },
    { "CTServerMaxFiles", option_ct_server_max_files },
    { "ScriptCacheEntries", option_script_cache_entries },
    { "SQLConnectionBlockSize", option_sql_connection_block_size },
    { "SQLCursorBlockSize", option_sql_cursor_block_size },
    { "SQLLoginTimeout", option_sql_login_timeout },
    { "SQLMaxConnections", option_sql_max_connections },
    { "SQLMaxInactiveConnections", option_sql_max_inactive_connections },
    { "SQLNumInitialConnections", option_sql_num_initial_connections },
    { "SQLQualProcStmt", option_sql_qual_proc_stmt },
    { "WindowGridHeight", option_window_grid_height },
    { "WindowGridWidth", option_window_grid_width },
};

const Plain positives[] = {
    { "BidiPrintOpts", option_bidi_print_opts, 100 },
    { "FMTraceBuffer", option_fm_trace_buffer, 0 },
    { "ZPMCheckInterval", option_zpm_check_interval, 10 },
};

const Asked asked_positives[] = {
    { "AverageScale", option_average_scale },
    { "MaxPhysicalWidth", option_max_physical_width },
    { "MaxScalingLoops", option_max_scaling_loops },
    { "MinMilHeight", option_min_mil_height },
};

const Asked not_negative[] = {
    { "SQLDeadLockRetries", option_sql_dead_lock_retries },
    { "SQLProcsTimeout", option_sql_procs_timeout },
    { "SQLQueryTimeout", option_sql_query_timeout },
    { "SQLRprtsTimeout", option_sql_rprts_timeout },
};

const Stored stored[] = {
    { "WindowPosX", option_window_pos_x },
    { "WindowPosY", option_window_pos_y },
    { "WindowHeight", option_window_height },
    { "WindowWidth", option_window_width },
};

const Texts texts[] = {
    { "CTServer", option_ct_server },
    { "CTUser", option_ct_user },
    { "CustomForms", option_custom_forms },
    { "Pathname", option_pathname },
    { "ReportPath", option_report_path },
    { "ReportTextLocation", option_report_text_location },
    { "Workstation2", option_workstation2 },
    { "DDESubstitute", option_dde_substitute },
    { "FMTraceFile", option_fm_trace_file },
    { "ScriptCacheStatistics", option_script_cache_statistics },
    { "SQLPassword", option_sql_password },
};

const char *const special_keys[] = {
    "BTCacheStats", "Btrieve", "BtrieveFileNameExtension", "DDEAppName", "DebugRW", "ExportLinesPerPage",
    "MacroTypeDelay", "ZPSInstance", "ZPSServerReads", "SQLMaxLoginTries", "Tolerance", "FMRamTable", "International",
    "ReportWriter", "SQLDataSource", "SQLUser", "ScriptCompile", "CTDoda", "CTFileMode", "DatabaseType",
    "DefaultTempfileType", "DebugQueue", "DebugUnknownFile", "EDITOR",
};
const char *const second_keys[] = {
    "SQLLastDataSource", "SQLLastUser", "Tolerence", "CTTableMode", "FileHandler", "DebugQueueOutput",
    "DisplayTableErrors",
};

std::string line(const char *key, const std::string &value) { return std::string(key) + "=" + value + "\r\n"; }

TEST(options, plain_booleans_read_the_file_at_each_call)
{
    Options options;
    for (const Plain &row : booleans) {
        SCOPED_TRACE(row.key);
        i16 other = (i16)!row.default_value;
        options.put("");
        EXPECT_EQ(row.accessor(), row.default_value);
        options.put(line(row.key, other ? "yes" : "off"));
        EXPECT_EQ(row.accessor(), other);
        options.put(line(row.key, "maybe"));
        EXPECT_EQ(row.accessor(), row.default_value);
        options.put(line(row.key, row.default_value ? "TRUE" : "0"));
        EXPECT_EQ(row.accessor(), row.default_value);
    }
}

TEST(options, asked_booleans_have_the_default_of_the_caller)
{
    Options options;
    for (const Asked &row : asked_booleans) {
        SCOPED_TRACE(row.key);
        for (const char *text : { "", "maybe" }) {
            options.put(line(row.key, text));
            EXPECT_EQ(row.accessor(0), 0);
            EXPECT_EQ(row.accessor(1), 1);
            EXPECT_EQ(row.accessor(-7), -7);
        }
        options.put(line(row.key, "on"));
        EXPECT_EQ(row.accessor(0), 1);
        options.put(line(row.key, "no"));
        EXPECT_EQ(row.accessor(1), 0);
    }
}

TEST(options, plain_numbers_read_the_file_at_each_call)
{
    Options options;
    for (const Plain &row : numbers) {
        SCOPED_TRACE(row.key);
        options.put("");
        EXPECT_EQ(row.accessor(), row.default_value);
        options.put(line(row.key, "4321"));
        EXPECT_EQ(row.accessor(), 4321);
        options.put(line(row.key, "-5"));
        EXPECT_EQ(row.accessor(), -5);
        options.put(line(row.key, "0"));
        EXPECT_EQ(row.accessor(), 0);
        options.put(line(row.key, "many"));
        EXPECT_EQ(row.accessor(), row.default_value);
    }
}

TEST(options, asked_numbers_have_the_default_of_the_caller)
{
    Options options;
    for (const Asked &row : asked_numbers) {
        SCOPED_TRACE(row.key);
        for (const char *text : { "", "many" }) {
            options.put(line(row.key, text));
            EXPECT_EQ(row.accessor(12), 12);
            EXPECT_EQ(row.accessor(-3), -3);
        }
        options.put(line(row.key, "-5"));
        EXPECT_EQ(row.accessor(12), -5);
        options.put(line(row.key, "0"));
        EXPECT_EQ(row.accessor(12), 0);
    }
}

TEST(options, positive_numbers_keep_the_default_for_a_negative_one)
{
    Options options;
    for (const Plain &row : positives) {
        SCOPED_TRACE(row.key);
        options.put("");
        EXPECT_EQ(row.accessor(), row.default_value);
        options.put(line(row.key, "4321"));
        EXPECT_EQ(row.accessor(), 4321);
        options.put(line(row.key, "-1"));        // BidiPrintOpts: 100
        EXPECT_EQ(row.accessor(), row.default_value);
        options.put(line(row.key, "many"));
        EXPECT_EQ(row.accessor(), row.default_value);
        options.put(line(row.key, "0"));
        EXPECT_EQ(row.accessor(), 0);
    }
    for (const Asked &row : asked_positives) {
        SCOPED_TRACE(row.key);
        for (const char *text : { "", "-1", "many" }) {
            options.put(line(row.key, text));
            EXPECT_EQ(row.accessor(12), 12);
            EXPECT_EQ(row.accessor(-3), -3);
        }
        options.put(line(row.key, "7"));
        EXPECT_EQ(row.accessor(12), 7);
    }
}

TEST(options, numbers_with_a_least_value_give_the_default_of_the_caller_below_it)
{
    Options options;
    for (const Asked &row : not_negative) {
        SCOPED_TRACE(row.key);
        options.put(line(row.key, "-1"));
        EXPECT_EQ(row.accessor(12), 12);
        EXPECT_EQ(row.accessor(-3), -3);         // as it is, even if negative itself
        options.put(line(row.key, "0"));
        EXPECT_EQ(row.accessor(12), 0);
        options.put(line(row.key, "5"));
        EXPECT_EQ(row.accessor(12), 5);
        options.put(line(row.key, "many"));
        EXPECT_EQ(row.accessor(12), 12);
        options.put("");
        EXPECT_EQ(row.accessor(12), 12);
    }
    options.put("SQLMaxLoginTries=0\r\n");
    EXPECT_EQ(option_sql_max_login_tries(12), 12);
    options.put("SQLMaxLoginTries=1\r\n");
    EXPECT_EQ(option_sql_max_login_tries(12), 1);
    options.put("SQLMaxLoginTries=-4\r\n");
    EXPECT_EQ(option_sql_max_login_tries(12), 12);
    options.put("");
    EXPECT_EQ(option_sql_max_login_tries(0), 0);
}

TEST(options, stored_numbers_go_where_the_caller_says)
{
    Options options;
    for (const Stored &row : stored) {
        SCOPED_TRACE(row.key);
        i16 value = 77;
        options.put("");
        row.accessor(&value);
        EXPECT_EQ(value, 0);
        options.put(line(row.key, "-5"));
        row.accessor(&value);
        EXPECT_EQ(value, -5);
        options.put(line(row.key, "wide"));
        row.accessor(&value);
        EXPECT_EQ(value, 0);
    }
    option_window_pos_x(nullptr);
    EXPECT_EQ(call_counts().debug_break, 1u);
}

TEST(options, texts_go_to_the_buffer_of_the_caller)
{
    Options options;
    for (const Texts &row : texts) {
        SCOPED_TRACE(row.key);
        options.put("");
        EXPECT_EQ(text_of(row.accessor), (Text{ 0, "" }));   // the buffer is cleared
        options.put(line(row.key, "some text"));
        EXPECT_EQ(text_of(row.accessor), (Text{ 1, "some text" }));
        EXPECT_EQ(text_of(row.accessor, 6), (Text{ 1, "some" }));
        options.put(line(row.key, ""));
        EXPECT_EQ(text_of(row.accessor), (Text{ 0, "" }));
    }
    EXPECT_EQ(call_counts().debug_break, 0u);
}

TEST(options, texts_assert_what_is_told_of_each)
{
    Options options;
    u8 buffer[8];
    auto breaks = [&](TextAccessor accessor, PString to, i16 size) {
        u32 before = call_counts().debug_break;
        EXPECT_EQ(accessor(to, size), 0);
        return call_counts().debug_break - before;
    };
    for (const Texts &row : texts) EXPECT_GE(breaks(row.accessor, nullptr, 8), 1u) << row.key;
    EXPECT_EQ(breaks(option_dde_substitute, buffer, 2), 1u);
    EXPECT_EQ(breaks(option_dde_substitute, buffer, 3), 0u);
    EXPECT_EQ(breaks(option_fm_trace_file, buffer, 0), 0u);
    for (TextAccessor accessor : { option_script_cache_statistics, option_sql_password, option_sql_data_source,
                                   option_sql_user }) {
        EXPECT_EQ(breaks(accessor, buffer, 0), 1u);
        EXPECT_EQ(breaks(accessor, buffer, 1), 0u);
        EXPECT_GE(breaks(accessor, nullptr, 8), 1u);
    }
    EXPECT_EQ(breaks(option_dde_app_name, buffer, 8), 1u);
    EXPECT_GE(breaks(option_dde_app_name, nullptr, 20), 1u);
    EXPECT_EQ(breaks(option_ct_server, buffer, 0), 0u);
}

TEST(options, stay_with_their_defaults_whichever_call_fails)
{
    Options options("MainProduct=1\r\nMinID=5\r\nBidiPrintOpts=5\r\nDatabaseType=SQL\r\nScriptCompile=S\r\n");
    for (FaultCall call : { FAULT_WINDOWS_DIRECTORY, FAULT_PROFILE_READ }) {
        faults_start({ .call = call, .from_then_on = true });
        options_forget_cached();
        EXPECT_EQ(option_main_product(), 0);
        EXPECT_EQ(option_min_id(), 1);
        EXPECT_EQ(option_bidi_print_opts(), 100);
        EXPECT_EQ(option_database_type(), 0);
        EXPECT_EQ(option_script_compile(), 2);
        EXPECT_TRUE(faults_stop());
    }
}

// ---- What is read once ----------------------------------------------------------------------------------------------

TEST(cached_options, keep_the_first_value)
{
    Options options;
    for (const Plain &row : cached_booleans) {
        SCOPED_TRACE(row.key);
        i16 other = (i16)!row.default_value;
        options.put("");
        EXPECT_EQ(row.accessor(), row.default_value);
        options.put(line(row.key, other ? "yes" : "no"));
        EXPECT_EQ(row.accessor(), row.default_value);
        options_forget_cached();
        EXPECT_EQ(row.accessor(), other);
        options.put(line(row.key, "maybe"));
        EXPECT_EQ(row.accessor(), other);
        options_forget_cached();
        EXPECT_EQ(row.accessor(), row.default_value);
    }
}

TEST(cached_options, read_the_file_once)
{
    Options options("SuppressSound=1\r\n");
    calls_reset();
    for (int i = 0; i < 3; i++) EXPECT_EQ(option_suppress_sound(), 1);
    EXPECT_EQ(call_counts().profile_read, 1u);
}

TEST(cached_options, are_not_reset_by_a_write)
{
    Options options("SuppressSound=1\r\n");
    EXPECT_EQ(option_suppress_sound(), 1);
    EXPECT_EQ(settings_put_text("SuppressSound", Name("0")), 1);
    EXPECT_EQ(option_suppress_sound(), 1);
    options_forget_cached();
    EXPECT_EQ(option_suppress_sound(), 0);
}

TEST(cached_options, are_not_reset_by_the_end_of_the_library)
{
    Options options("SuppressSound=1\r\nDebugRW=5\r\n");
    ASSERT_EQ(dd_init(), 1);
    EXPECT_EQ(option_suppress_sound(), 1);
    EXPECT_EQ(option_debug_rw(), 5);
    dd_term();
    options.put("");
    EXPECT_EQ(option_suppress_sound(), 1);
    EXPECT_EQ(option_debug_rw(), 5);
}

// A cached accessor of any width: its value for one text, and the same afterwards for another.
template <typename Accessor>
void expect_cached(const char *key, Accessor accessor, const char *first, i32 first_value, const char *second,
                   i32 second_value)
{
    SCOPED_TRACE(key);
    Options options(line(key, first));
    EXPECT_EQ(accessor(), first_value);
    options.put(line(key, second));
    EXPECT_EQ(accessor(), first_value);
    options_forget_cached();
    EXPECT_EQ(accessor(), second_value);
    options_forget_cached();
    options.put("");
}

TEST(cached_options, of_all_kinds_keep_the_first_value)
{
    expect_cached("DebugRW", option_debug_rw, "-5", -5, "7", 7);
    expect_cached("DebugRW", option_debug_rw, "many", 0, "40000", -25536);
    expect_cached("ExportLinesPerPage", option_export_lines_per_page, "-5", 0, "66", 66);
    expect_cached("MacroTypeDelay", option_macro_type_delay, "-5", -5, "x", 0);
    expect_cached("ZPSServerReads", option_zps_server_reads, "-3", 1, "7", 7);
    expect_cached("International", option_international, "yes", 1, "no", 0);
    expect_cached("International", option_international, "", 0, "on", 1);
    expect_cached("ScriptCompile", option_script_compile, "Never", 1, "Sometimes", 3);
    expect_cached("DefaultTempfileType", option_default_tempfile_type, "sql", 3, "ctree", 1);
}

// ---- Keys with more to them -----------------------------------------------------------------------------------------

TEST(option_bt_cache_stats, gives_0_for_a_missing_key)
{
    Options options;
    EXPECT_EQ(option_bt_cache_stats(), 0);
    for (const char *word : { "", "maybe", "NO", "0" }) {
        options.put(line("BTCacheStats", word));
        EXPECT_EQ(option_bt_cache_stats(), 0) << word;
    }
    for (const char *word : { "YES", "1", "on" }) {
        options.put(line("BTCacheStats", word));
        EXPECT_EQ(option_bt_cache_stats(), 1) << word;
    }
}

TEST(option_fm_ram_table, has_two_defaults)
{
    Options options;
    EXPECT_EQ(option_fm_ram_table_1(), 1);
    EXPECT_EQ(option_fm_ram_table_0(), 0);
    options.put("FMRamTable=no\r\n");
    EXPECT_EQ(option_fm_ram_table_1(), 0);
    options.put("FMRamTable=yes\r\n");
    EXPECT_EQ(option_fm_ram_table_0(), 1);
}

TEST(option_fm_trace_buffer, has_three_accessors)
{
    Options options;
    const char *const words[] = { "", "12", "-1", "0", "x" };
    for (const char *text : words) {
        options.put(line("FMTraceBuffer", text));
        i16 value = option_fm_trace_buffer();
        EXPECT_EQ(option_fm_trace_buffer_2(), value) << text;
        EXPECT_EQ(option_fm_trace_buffer_3(), value) << text;
        EXPECT_EQ(value, strcmp(text, "12") == 0 ? 12 : 0);
    }
}

TEST(option_zps_server_reads, is_at_least_1)
{
    for (const auto &[text, value] : std::map<std::string, int>{
             { "", 15 }, { "-3", 1 }, { "0", 1 }, { "1", 1 }, { "15", 15 }, { "200", 200 }, { "x", 15 } }) {
        Options options(line("ZPSServerReads", text));
        EXPECT_EQ(option_zps_server_reads(), value) << text;
        EXPECT_EQ(option_zps_server_reads(), value) << text;     // the limited value is what is kept
    }
}

TEST(option_zps_instance, is_1_outside_of_1_to_99)
{
    Options options;
    for (const auto &[text, value] : std::map<std::string, int>{
             { "", 1 }, { "100", 1 }, { "99", 99 }, { "2", 2 }, { "0", 1 }, { "-7", 1 }, { "x", 1 } }) {
        options.put(line("ZPSInstance", text));
        EXPECT_EQ(option_zps_instance(), value) << text;
    }
}

TEST(option_tolerance, reads_the_misspelled_key_where_the_other_holds_no_text)
{
    Options options;
    EXPECT_EQ(option_tolerance(9), 9);
    options.put("Tolerence=5\r\n");
    EXPECT_EQ(option_tolerance(9), 5);
    options.put("Tolerance=\r\nTolerence=5\r\n");
    EXPECT_EQ(option_tolerance(9), 5);
    options.put("Tolerance=3\r\nTolerence=5\r\n");
    EXPECT_EQ(option_tolerance(9), 3);
    options.put("Tolerance=abc\r\nTolerence=5\r\n");  // it holds text, if no number
    EXPECT_EQ(option_tolerance(9), 9);
    options.put("Tolerence=abc\r\n");
    EXPECT_EQ(option_tolerance(9), 9);
}

// ---- Texts with more to them ----------------------------------------------------------------------------------------

TEST(option_btrieve, copies_its_default_whatever_the_size)
{
    Options options;
    const std::string whole = "/p:4096 /m:64 /f:180 /l:20";
    for (i16 size : { (i16)256, (i16)27, (i16)10, (i16)1, (i16)0 }) {
        char buffer[27];
        EXPECT_EQ(option_btrieve(buffer, size), 0);
        EXPECT_EQ(std::string(buffer, 27), whole + '\0') << size;
    }
}

TEST(option_btrieve, gives_a_terminated_value)
{
    Options options("Btrieve=/p:512\r\n");
    char buffer[256];
    memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(option_btrieve(buffer, 256), 1);
    EXPECT_STREQ(buffer, "/p:512");
    EXPECT_EQ(option_btrieve(buffer, 5), 1);
    EXPECT_STREQ(buffer, "/p:");
    EXPECT_EQ(option_btrieve(nullptr, 256), 0);
}

TEST(option_btrieve_file_name_extension, has_the_default_btr)
{
    Options options;
    char buffer[256] = "before";
    EXPECT_EQ(option_btrieve_file_name_extension(buffer, 256), 0);
    EXPECT_STREQ(buffer, "btr");
    options.put("BtrieveFileNameExtension=dat\r\n");
    EXPECT_EQ(option_btrieve_file_name_extension(buffer, 256), 1);
    EXPECT_STREQ(buffer, "dat");
}

TEST(option_dde_app_name, has_a_default)
{
    Options options;
    EXPECT_EQ(text_of(option_dde_app_name), (Text{ 0, "KORVANIS" }));
    EXPECT_EQ(text_of(option_dde_app_name, 11), (Text{ 0, "KORVANIS" }));
    EXPECT_EQ(call_counts().debug_break, 0u);
    EXPECT_EQ(text_of(option_dde_app_name, 10), (Text{ 0, "KORVANIS" }));  // asserted, and it goes on
    EXPECT_EQ(call_counts().debug_break, 1u);
    EXPECT_EQ(text_of(option_dde_app_name, 8), (Text{ 0, "" }));     // no room: the assertion is for this
    options.put("DDEAppName=Other\r\n");
    EXPECT_EQ(text_of(option_dde_app_name), (Text{ 1, "Other" }));
}

TEST(option_report_writer, gives_null_or_the_first_text)
{
    {
        Options options;
        EXPECT_EQ(option_report_writer(), nullptr);
        options.put("ReportWriter=later\r\n");
        EXPECT_EQ(option_report_writer(), nullptr);              // a missing key is remembered, too
    }
    Options options("ReportWriter=" + std::string(40, 'w') + "\r\n");
    PString text = option_report_writer();
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::string((const char *)text + 1, text[0]), std::string(30, 'w'));   // a buffer of 32 bytes
    options.put("ReportWriter=other\r\n");
    EXPECT_EQ(option_report_writer(), text);
    EXPECT_EQ(text[0], 30);
}

TEST(option_sql_data_source, reads_the_last_one_where_it_is_empty)
{
    Options options;
    EXPECT_EQ(text_of(option_sql_data_source), (Text{ 0, "" }));
    options.put("SQLLastDataSource=last\r\n");
    EXPECT_EQ(text_of(option_sql_data_source), (Text{ 1, "last" }));
    options.put("SQLDataSource=\r\nSQLLastDataSource=last\r\n");
    EXPECT_EQ(text_of(option_sql_data_source), (Text{ 1, "last" }));
    options.put("SQLDataSource=first\r\nSQLLastDataSource=last\r\n");
    EXPECT_EQ(text_of(option_sql_data_source), (Text{ 1, "first" }));
}

TEST(option_sql_user, reads_the_last_one_where_it_is_empty)
{
    Options options;
    EXPECT_EQ(text_of(option_sql_user), (Text{ 0, "" }));
    options.put("SQLUser=\r\nSQLLastUser=last\r\nSQLLastDataSource=no\r\n");
    EXPECT_EQ(text_of(option_sql_user), (Text{ 1, "last" }));
    options.put("SQLUser=first\r\nSQLLastUser=last\r\n");
    EXPECT_EQ(text_of(option_sql_user), (Text{ 1, "first" }));
}

TEST(option_sql_last_data_source_set, writes_the_key)
{
    Options options;
    option_sql_last_data_source_set(Name("one"));
    option_sql_last_user_set(Name("two"));
    option_workstation2_set(Name("three"));
    EXPECT_EQ(options.content(), "[General]\r\nSQLLastDataSource=one\r\nSQLLastUser=two\r\nWorkstation2=three\r\n");
    EXPECT_EQ(text_of(option_sql_data_source), (Text{ 1, "one" }));
    EXPECT_EQ(text_of(option_sql_user), (Text{ 1, "two" }));
    EXPECT_EQ(text_of(option_workstation2), (Text{ 1, "three" }));
}

// ---- Words ----------------------------------------------------------------------------------------------------------

using Words = std::map<std::string, int>;

TEST(option_script_compile, tells_faster_from_fast_by_its_length)
{
    for (const auto &[text, value] : Words{ { "Fast", 2 }, { "Faster", 4 }, { "f", 2 }, { "FIVES", 4 }, { "fast", 2 },
                                            { "Never", 1 }, { "n", 1 }, { "Sometimes", 3 }, { "s", 3 }, { "", 2 },
                                            { "Other", 2 }, { "1", 2 } }) {
        Options options(line("ScriptCompile", text));
        EXPECT_EQ(option_script_compile(), value) << text;
        EXPECT_EQ(option_script_compile(), value) << text;
    }
}

TEST(option_ct_doda, is_exact_in_case)
{
    Options options;
    EXPECT_EQ(option_ct_doda(), 0);
    for (const auto &[text, value] : Words{ { "ADD", 256 }, { "CHECK", 512 }, { "add", 0 }, { "Check", 0 }, { "", 0 },
                                            { "ADDS", 0 }, { "AD", 0 } }) {
        options.put(line("CTDoda", text));
        EXPECT_EQ(option_ct_doda(), value) << text;
    }
}

TEST(option_ct_file_mode, reads_the_second_key_only_if_the_first_is_missing)
{
    Options options;
    EXPECT_EQ(option_ct_file_mode(), 0);
    for (const auto &[text, value] : Words{ { "TRANLOG", 1 }, { "TRNLOG", 1 }, { "tranlog", 0 }, { "OTHER", 0 } }) {
        options.put(line("CTFileMode", text) + "CTTableMode=TRANLOG\r\n");
        EXPECT_EQ(option_ct_file_mode(), value) << text;
        options.put(line("CTTableMode", text));
        EXPECT_EQ(option_ct_file_mode(), value) << text;
        options.put("CTFileMode=\r\n" + line("CTTableMode", text));      // an empty value is a missing one
        EXPECT_EQ(option_ct_file_mode(), value) << text;
    }
    options.put("CTFileMode=TRANLOG" + std::string(8, 'x') + "\r\n");
    EXPECT_EQ(option_ct_file_mode(), 0);
}

TEST(option_database_type, reads_the_second_key_only_if_the_first_is_missing)
{
    Options options;
    EXPECT_EQ(option_database_type(), 0);
    for (const auto &[text, value] : Words{ { "ctree", 0 }, { "CTREE", 0 }, { "Btrieve", 1 }, { "sql", 2 },
                                            { "SQL", 2 }, { "Oracle", 0 } }) {
        options.put(line("DatabaseType", text) + "FileHandler=SQL\r\n");
        EXPECT_EQ(option_database_type(), value) << text;
        options.put(line("FileHandler", text));
        EXPECT_EQ(option_database_type(), value) << text;
    }
    options.put("DatabaseType=\r\nFileHandler=sql\r\n");
    EXPECT_EQ(option_database_type(), 2);
}

TEST(option_default_tempfile_type, has_other_numbers_than_the_database_type)
{
    for (const auto &[text, value] : Words{ { "btrieve", 2 }, { "CTREE", 1 }, { "sql", 3 }, { "", 0 },
                                            { "other", 0 } }) {
        Options options(line("DefaultTempfileType", text) + line("DatabaseType", text));
        EXPECT_EQ(option_default_tempfile_type(), value) << text;
        EXPECT_EQ(option_database_type(), value == 0 ? 0 : value - 1) << text;
        options.put("DefaultTempfileType=sql\r\n");
        EXPECT_EQ(option_default_tempfile_type(), value) << text;
    }
}

TEST(option_debug_queue, reads_the_output_only_with_true)
{
    Options options;
    EXPECT_EQ(option_debug_queue(), 0);
    for (const auto &[text, value] : Words{ { "TRUE", 1 }, { "APPEND", 2 }, { "ZUKDEBUG", 3 }, { "true", 0 },
                                            { "1", 0 }, { "", 0 } }) {
        options.put(line("DebugQueue", text));
        EXPECT_EQ(option_debug_queue(), value) << text;
        options.put(line("DebugQueue", text) + "DebugQueueOutput=ZUKDEBUG\r\n");
        EXPECT_EQ(option_debug_queue(), value == 1 ? 3 : value) << text;
        options.put(line("DebugQueue", text) + "DebugQueueOutput=zukdebug\r\n");
        EXPECT_EQ(option_debug_queue(), value) << text;
    }
}

TEST(option_debug_unknown_file, reads_the_second_key_only_if_the_first_is_missing)
{
    Options options;
    EXPECT_EQ(option_debug_unknown_file(), 0);
    for (const auto &[text, value] : Words{ { "TRUE", 1 }, { "ALL", 2 }, { "OPEN", 3 }, { "all", 0 }, { "1", 0 } }) {
        options.put(line("DebugUnknownFile", text) + "DisplayTableErrors=ALL\r\n");
        EXPECT_EQ(option_debug_unknown_file(), value) << text;
        options.put(line("DisplayTableErrors", text));
        EXPECT_EQ(option_debug_unknown_file(), value) << text;
    }
}

TEST(option_editor, knows_one_word)
{
    Options options;
    EXPECT_EQ(option_editor(), 0);
    for (const auto &[text, value] : Words{ { "CODEWRIGHT", 1 }, { "codewright", 0 }, { "CODEWRIGHTS", 0 },
                                            { "CODEWRIGHT" + std::string(30, 'x'), 0 } }) {
        options.put(line("EDITOR", text));
        EXPECT_EQ(option_editor(), value) << text;
    }
}

// A buffer of 32 bytes or 16 has 30 characters of a word or 14, which the platform is asked for with the terminator.
TEST(option_words, are_read_into_a_buffer_of_their_own)
{
    const struct {
        const char *key;
        u32 length;
    } rows[] = {
        { "ScriptCompile", 31 }, { "CTDoda", 31 }, { "CTFileMode", 15 }, { "CTTableMode", 15 }, { "DatabaseType", 31 },
        { "FileHandler", 31 }, { "DefaultTempfileType", 31 }, { "DebugQueue", 31 }, { "DebugQueueOutput", 31 },
        { "DebugUnknownFile", 31 }, { "DisplayTableErrors", 31 }, { "EDITOR", 31 },
    };
    Options options("DebugQueue=TRUE\r\n");
    calls_reset();
    (void)option_script_compile();
    (void)option_ct_doda();
    (void)option_ct_file_mode();
    (void)option_database_type();
    (void)option_default_tempfile_type();
    (void)option_debug_queue();
    (void)option_debug_unknown_file();
    (void)option_editor();
    std::map<std::string, u32> lengths;
    for (const CallRecord &record : call_log()) {
        if (record.call == FAULT_PROFILE_READ) lengths[record.name.substr(record.name.rfind(' ') + 1)] = record.length;
    }
    EXPECT_EQ(lengths.size(), std::size(rows));
    for (const auto &row : rows) EXPECT_EQ(lengths[row.key], row.length) << row.key;
}

// ---- All of them ----------------------------------------------------------------------------------------------------

std::map<std::string, const OptionRow *> rows_by_key()
{
    std::map<std::string, const OptionRow *> rows;
    for (u32 i = 0; i < option_row_count; i++) {
        EXPECT_TRUE(rows.emplace(option_rows[i].key, &option_rows[i]).second) << option_rows[i].key;
    }
    return rows;
}

TEST(option_rows, hold_each_key_once)
{
    std::set<std::string> keys;
    for (const auto &row : booleans) keys.insert(row.key);
    for (const auto &row : asked_booleans) keys.insert(row.key);
    for (const auto &row : cached_booleans) keys.insert(row.key);
    for (const auto &row : numbers) keys.insert(row.key);
    for (const auto &row : asked_numbers) keys.insert(row.key);
    for (const auto &row : positives) keys.insert(row.key);
    for (const auto &row : asked_positives) keys.insert(row.key);
    for (const auto &row : not_negative) keys.insert(row.key);
    for (const auto &row : stored) keys.insert(row.key);
    for (const auto &row : texts) keys.insert(row.key);
    keys.insert(std::begin(special_keys), std::end(special_keys));
    keys.insert(std::begin(second_keys), std::end(second_keys));

    std::set<std::string> found;
    for (const auto &[key, row] : rows_by_key()) found.insert(key);
    EXPECT_EQ(found, keys);
}

// Words meet where a capital follows a small letter or a digit, and in front of the last capital of a run with a small
// letter behind it.
std::string name_of(const std::string &key)
{
    std::string name;
    for (size_t i = 0; i < key.size(); i++) {
        bool capital = isupper(key[i]) != 0;
        bool behind_a_run = i > 0 && isupper(key[i - 1]);
        bool begins = i > 0 && capital && (!behind_a_run || (i + 1 < key.size() && islower(key[i + 1])));
        if (begins) name += '_';
        name += (char)tolower(key[i]);
    }
    return name;
}

TEST(option_rows, name_each_accessor_by_its_key)
{
    const struct {
        const char *key, *name;
    } rows[] = {
#define PLAIN_OPTION(kind, key, accessor, value) { #key, #accessor },
#define ASKED_OPTION(kind, key, accessor) { #key, #accessor },
#define CACHED_OPTION(kind, key, accessor, value) { #key, #accessor },
#define LIMITED_OPTION(key, accessor, least) { #key, #accessor },
#define STORED_OPTION(key, accessor) { #key, #accessor },
#define TEXT_OPTION(key, accessor) { #key, #accessor },
#define CHECKED_OPTION(key, accessor, least) { #key, #accessor },
#define SPECIAL_OPTION(kind, key, accessor) { #key, #accessor },
#define SECOND_OPTION(kind, key, name, first) { #key, #name },
#include "settings/option_rows.h"
    };
    EXPECT_EQ(std::size(rows), option_row_count);
    for (const auto &row : rows) EXPECT_EQ(row.name, name_of(row.key));
}

TEST(option_rows, have_one_way_to_read_the_value)
{
    for (const auto &[key, row] : rows_by_key()) {
        EXPECT_EQ((row->value != nullptr) + (row->asked != nullptr) + (row->text != nullptr), 1) << key;
        EXPECT_EQ(row->asked != nullptr, row->default_text == nullptr) << key;
    }
    for (const char *key : second_keys) {
        const OptionRow *row = rows_by_key()[key];
        ASSERT_NE(row->first, nullptr) << key;
        EXPECT_EQ(rows_by_key().count(row->first), 1u) << key;
    }
}

TEST(option_rows, tell_the_default_that_the_accessor_gives)
{
    Options options;
    for (const auto &[key, row] : rows_by_key()) {
        SCOPED_TRACE(key);
        if (row->value) {
            EXPECT_EQ(std::to_string(row->value()), row->default_text);
        }
        if (row->asked) {
            EXPECT_EQ(row->asked(1), 1);
        }
        if (row->text) {
            EXPECT_EQ(text_of(row->text), (Text{ 0, row->default_text }));
        }
    }
}

// Of each row: a text that gives another value than the default, and whether a later change of the file is seen.
TEST(option_rows, read_their_key_and_tell_whether_they_remember)
{
    for (const auto &entry : rows_by_key()) {
        const std::string &key = entry.first;
        const OptionRow *row = entry.second;
        SCOPED_TRACE(key);
        Options options;
        auto current = [&] {
            if (row->text) return text_of(row->text).text;
            return std::to_string(row->value ? row->value() : row->asked(1));
        };
        std::string missing = current();
        options_forget_cached();
        std::string changed = missing;
        std::string text;
        for (const char *candidate : { "0", "1", "7", "ALL", "SQL", "ADD", "TRANLOG", "S", "APPEND", "CODEWRIGHT" }) {
            text = candidate;
            options.put(line(key.c_str(), text));
            options_forget_cached();
            changed = current();
            if (changed != missing) break;
        }
        EXPECT_NE(changed, missing) << "no text makes a difference";
        options.put("");
        EXPECT_EQ(current() == changed, row->cached);
    }
}

} // namespace
} // namespace zuk
