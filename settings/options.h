// The options of an installation: one accessor for each key of the settings file, and nothing else spells a key.
//
// An accessor knows its key's spelling, kind, default and limits. It never fails: what cannot be read gives the
// default, and so does an unknown word for a boolean. Its name is `option_` and the key in lower case with underscores
// where words meet: where a capital follows a small letter or a digit, and in front of the last capital of a run that
// has a small letter behind it. settings/option_rows.h is the table of all keys and names; of those that leave a doubt
//
//   owner                            option_owner
//   CT4761                           option_ct4761
//   CTAutoRebuild                    option_ct_auto_rebuild
//   BTCacheStats                     option_bt_cache_stats
//   MSNewDumpFeaturesOff             option_ms_new_dump_features_off
//   FreezeAFAMargins                 option_freeze_afa_margins
//   SQLDBGShowSPROCCallStmts         option_sqldbg_show_sproc_call_stmts
//   SQLDisableSPForDeletes           option_sql_disable_sp_for_deletes
//   SQLLogODBCMessages               option_sql_log_odbc_messages
//   BtrieveFileNameExtension         option_btrieve_file_name_extension
//   FMRamTable                       option_fm_ram_table_1, option_fm_ram_table_0
//   FMTraceBuffer                    option_fm_trace_buffer, option_fm_trace_buffer_2, option_fm_trace_buffer_3
//   Workstation2                     option_workstation2, option_workstation2_set
//   SQLLastDataSource                option_sql_last_data_source_set
//   SQLLastUser                      option_sql_last_user_set
//   Tolerence                        read by option_tolerance
//   CTTableMode                      read by option_ct_file_mode
//   FileHandler                      read by option_database_type
//   DebugQueueOutput                 read by option_debug_queue
//   DisplayTableErrors               read by option_debug_unknown_file
//
// The accessors of one line there are
//
//   i16 option_NAME()                          boolean, number or positive number; a cached one reads the file once
//   i16 option_NAME(i16 default_value)         the same with the caller's default
//   void option_NAME(i16 *result)              a number, stored
//   i16 option_NAME(PString buffer, i16 size)  text of at most `size` - 2 characters; 1 if there was any
//
// and those with more to them stand here. The library itself uses MainProduct and MinID, in `dd_init`. What is cached
// stays as long as the process, whatever is written to the file. One thread at a time.
#pragma once

#include "settings/settings.h"

namespace zuk {

// ---- One line each --------------------------------------------------------------------------------------------------

#define PLAIN_OPTION(kind, key, accessor, value) i16 option_##accessor();
#define ASKED_OPTION(kind, key, accessor) i16 option_##accessor(i16 default_value);
#define CACHED_OPTION(kind, key, accessor, value) i16 option_##accessor();
#define LIMITED_OPTION(key, accessor, least) i16 option_##accessor(i16 default_value);
#define STORED_OPTION(key, accessor) void option_##accessor(i16 *result);
#define TEXT_OPTION(key, accessor) i16 option_##accessor(PString buffer, i16 size);
#define CHECKED_OPTION(key, accessor, least) i16 option_##accessor(PString buffer, i16 size);
#include "settings/option_rows.h"

// ---- Booleans and numbers with more to them -------------------------------------------------------------------------

i16 option_bt_cache_stats();              // BTCacheStats: 1 if the key holds a word for 1, else 0
i16 option_fm_ram_table_1();              // FMRamTable, for those who take a missing key for 1
i16 option_fm_ram_table_0();              // and for those who take it for 0
i32 option_international();               // International: 0 or 1, default 0; cached
i32 option_debug_rw();                    // DebugRW: default 0; cached
i16 option_zps_server_reads();            // ZPSServerReads: default 15, below 1 it is 1; cached
i16 option_tolerance(i16 default_value);  // Tolerance; without text there, Tolerence
i16 option_fm_trace_buffer_2();           // FMTraceBuffer twice more, for other callers
i16 option_fm_trace_buffer_3();
i16 option_zps_instance();                // ZPSInstance: default 1; below 1 or above 99 it is 1

// ---- Texts with more to them ----------------------------------------------------------------------------------------

// NUL-terminated, with a default of their own; 1 if the value is from the file. A default is copied whatever `size`
// says: the buffer has at least 27 bytes (Btrieve) or 4 (BtrieveFileNameExtension).
i16 option_btrieve(void *buffer, i16 size);
i16 option_btrieve_file_name_extension(void *buffer, i16 size);

// DDEAppName: KORVANIS where there is none, with result 0. Asserts more than 10 bytes, and needs 9 for the default.
i16 option_dde_app_name(PString buffer, i16 size);
PString option_report_writer();                        // ReportWriter: in a buffer of its own, or null; cached
i16 option_sql_data_source(PString buffer, i16 size);  // SQLDataSource; where it is empty, SQLLastDataSource
i16 option_sql_user(PString buffer, i16 size);         // SQLUser; where it is empty, SQLLastUser
i16 option_workstation2(PString buffer, i16 size);     // Workstation2

// Written as `settings_put_text` does it.
void option_sql_last_data_source_set(PString value);
void option_sql_last_user_set(PString value);
void option_workstation2_set(PString value);

// ---- Words ----------------------------------------------------------------------------------------------------------

// Exact in case, but where it is said; another word counts as a missing key.
i32 option_script_compile();         // ScriptCompile, by the first letter in either case: F 2, or 4 when longer than 4
                                     // characters; N 1; S 3; else 2; cached
i32 option_ct_doda();                // CTDoda: ADD 256, CHECK 512, else 0
i16 option_ct_file_mode();           // CTFileMode, or where missing CTTableMode: TRANLOG or TRNLOG 1, else 0
i32 option_database_type();          // DatabaseType, or where missing FileHandler, in either case: CTREE 0, BTRIEVE 1,
                                     // SQL 2, else 0
i32 option_default_tempfile_type();  // DefaultTempfileType, in either case: BTRIEVE 2, CTREE 1, SQL 3, else 0; cached
i32 option_debug_queue();            // DebugQueue: TRUE 1, or 3 when DebugQueueOutput is ZUKDEBUG; APPEND 2;
                                     // ZUKDEBUG 3; else 0
i32 option_debug_unknown_file();     // DebugUnknownFile, or where missing DisplayTableErrors: TRUE 1, ALL 2, OPEN 3,
                                     // else 0
i32 option_editor();                 // EDITOR: CODEWRIGHT 1, else 0

// ---- All of them ----------------------------------------------------------------------------------------------------

enum OptionKind { OPTION_BOOLEAN, OPTION_NUMBER, OPTION_POSITIVE, OPTION_TEXT, OPTION_WORD };

// A key as a list shows it. One of the three functions reads the value that holds, by the accessor.
struct OptionRow {
    const char *key;
    OptionKind kind;
    const char *default_text;              // null: the caller's
    bool cached;
    const char *first;                     // the key whose accessor reads this one too; null for the others
    i32 (*value)();
    i16 (*asked)(i16 default_value);
    i16 (*text)(PString buffer, i16 size); // of a `PString`; 1 if it is from the file
};
extern const OptionRow option_rows[];
extern const u32 option_row_count;

// Read the file again for what is cached: for tests, as no option changes within a process.
void options_forget_cached();

} // namespace zuk
