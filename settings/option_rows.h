// The catalogue: each key of the settings file and the name of its accessor, `option_` and what stands here. Adding a
// key that only reads a value is one line.
//
// This file is included several times, by whoever defines some of these forms; the others give nothing.
//
//   PLAIN_OPTION(kind, key, accessor, default)     reads the file at each call
//   ASKED_OPTION(kind, key, accessor)              the same with the default from the caller
//   CACHED_OPTION(kind, key, accessor, default)    reads it once; later changes of the file are not seen
//   LIMITED_OPTION(key, accessor, least)           a number with the caller's default, which also stands for any below
//   STORED_OPTION(key, accessor)                   a number, default 0, for a place that the caller gives
//   TEXT_OPTION(key, accessor)                     text, for a buffer of the caller
//   CHECKED_OPTION(key, accessor, least)           the same; asserts a buffer, and that it has `least` bytes
//   SPECIAL_OPTION(kind, key, accessor)            more than that: each is told in options.h and written in options.cpp
//   SECOND_OPTION(kind, key, name, first)          a key without an accessor: that of `first` reads it too
//
// Kinds: BOOLEAN, NUMBER, POSITIVE, TEXT, WORD (one of several words).

#ifndef PLAIN_OPTION
#define PLAIN_OPTION(kind, key, accessor, value)
#endif
#ifndef ASKED_OPTION
#define ASKED_OPTION(kind, key, accessor)
#endif
#ifndef CACHED_OPTION
#define CACHED_OPTION(kind, key, accessor, value)
#endif
#ifndef LIMITED_OPTION
#define LIMITED_OPTION(key, accessor, least)
#endif
#ifndef STORED_OPTION
#define STORED_OPTION(key, accessor)
#endif
#ifndef TEXT_OPTION
#define TEXT_OPTION(key, accessor)
#endif
#ifndef CHECKED_OPTION
#define CHECKED_OPTION(key, accessor, least)
#endif
#ifndef SPECIAL_OPTION
#define SPECIAL_OPTION(kind, key, accessor)
#endif
#ifndef SECOND_OPTION
#define SECOND_OPTION(kind, key, name, first)
#endif

// ---- Booleans -------------------------------------------------------------------------------------------------------

PLAIN_OPTION(BOOLEAN, AccuratePrinting, accurate_printing, 0)
PLAIN_OPTION(BOOLEAN, AllowWrongZuk, allow_wrong_zuk, 0)
PLAIN_OPTION(BOOLEAN, AutoDisplayUpdate, auto_display_update, 0)
PLAIN_OPTION(BOOLEAN, CT4761, ct4761, 0)
PLAIN_OPTION(BOOLEAN, CTAutoRebuild, ct_auto_rebuild, 0)
PLAIN_OPTION(BOOLEAN, DebugFonts, debug_fonts, 0)
PLAIN_OPTION(BOOLEAN, DisableBackgroundLoopCounter, disable_background_loop_counter, 0)
PLAIN_OPTION(BOOLEAN, DisableQueueTimers, disable_queue_timers, 0)
PLAIN_OPTION(BOOLEAN, ERRORS, errors, 0)
PLAIN_OPTION(BOOLEAN, FHCheckRanges, fh_check_ranges, 0)
PLAIN_OPTION(BOOLEAN, InternalFeatures, internal_features, 0)
PLAIN_OPTION(BOOLEAN, MainProduct, main_product, 0)
PLAIN_OPTION(BOOLEAN, MemLeakReport, mem_leak_report, 0)
PLAIN_OPTION(BOOLEAN, MSNewDumpFeaturesOff, ms_new_dump_features_off, 0)
PLAIN_OPTION(BOOLEAN, NativeFontLeading, native_font_leading, 0)
PLAIN_OPTION(BOOLEAN, NoPathnames, no_pathnames, 0)
PLAIN_OPTION(BOOLEAN, NoPrintDialogs, no_print_dialogs, 0)
PLAIN_OPTION(BOOLEAN, QueueMoreInfo, queue_more_info, 0)
PLAIN_OPTION(BOOLEAN, ReportText, report_text, 0)
PLAIN_OPTION(BOOLEAN, ShowOtherEventProperty, show_other_event_property, 0)
PLAIN_OPTION(BOOLEAN, ShowReadingOrderProperty, show_reading_order_property, 0)
PLAIN_OPTION(BOOLEAN, ShutdownOverride, shutdown_override, 0)
PLAIN_OPTION(BOOLEAN, SQLCreAllIndx, sql_cre_all_indx, 0)
PLAIN_OPTION(BOOLEAN, SQLDBGShowSPROCCallStmts, sqldbg_show_sproc_call_stmts, 0)
PLAIN_OPTION(BOOLEAN, SQLDBGShowSQLStatements, sqldbg_show_sql_statements, 0)
PLAIN_OPTION(BOOLEAN, SQLDisableSPForDeletes, sql_disable_sp_for_deletes, 0)
PLAIN_OPTION(BOOLEAN, SQLDisableSPForInserts, sql_disable_sp_for_inserts, 0)
PLAIN_OPTION(BOOLEAN, SQLDisableSPForSelects, sql_disable_sp_for_selects, 0)
PLAIN_OPTION(BOOLEAN, SQLFrcSQLIndx, sql_frc_sql_indx, 0)
PLAIN_OPTION(BOOLEAN, SQLLogODBCMessages, sql_log_odbc_messages, 0)
PLAIN_OPTION(BOOLEAN, SQLLogSQLStmt, sql_log_sql_stmt, 0)
PLAIN_OPTION(BOOLEAN, SQLUseQuotedIdentifiers, sql_use_quoted_identifiers, 0)
PLAIN_OPTION(BOOLEAN, StdInternationalInfo, std_international_info, 0)
PLAIN_OPTION(BOOLEAN, StretchTextExport, stretch_text_export, 0)
PLAIN_OPTION(BOOLEAN, TransMacYenChar, trans_mac_yen_char, 0)
PLAIN_OPTION(BOOLEAN, WindowMax, window_max, 0)
PLAIN_OPTION(BOOLEAN, WindowsCompatibility, windows_compatibility, 0)

PLAIN_OPTION(BOOLEAN, CTShrink, ct_shrink, 1)
PLAIN_OPTION(BOOLEAN, PhysicalPageRounding, physical_page_rounding, 1)
PLAIN_OPTION(BOOLEAN, ScriptDebugger, script_debugger, 1)
PLAIN_OPTION(BOOLEAN, SQLDropTableOnDelete, sql_drop_table_on_delete, 1)
PLAIN_OPTION(BOOLEAN, SQLGenerateRWQuery, sql_generate_rw_query, 1)
PLAIN_OPTION(BOOLEAN, SQLUseNumericForDollar, sql_use_numeric_for_dollar, 1)

ASKED_OPTION(BOOLEAN, FlipPrompts, flip_prompts)
ASKED_OPTION(BOOLEAN, SQLDynamicCursorInsVisible, sql_dynamic_cursor_ins_visible)
ASKED_OPTION(BOOLEAN, SQLDynamicCursorUpdAndDelVisible, sql_dynamic_cursor_upd_and_del_visible)
ASKED_OPTION(BOOLEAN, SQLEncryptFields, sql_encrypt_fields)
ASKED_OPTION(BOOLEAN, SQLScrollwinThumbs, sql_scrollwin_thumbs)
ASKED_OPTION(BOOLEAN, SQLUseLockColumn, sql_use_lock_column)
ASKED_OPTION(BOOLEAN, SQLUseLockTable, sql_use_lock_table)
ASKED_OPTION(BOOLEAN, SQLUseNativeLocks, sql_use_native_locks)

CACHED_OPTION(BOOLEAN, AllowStartgroupSyntax, allow_startgroup_syntax, 0)
CACHED_OPTION(BOOLEAN, FreezeAFAMargins, freeze_afa_margins, 0)
CACHED_OPTION(BOOLEAN, PaintWindows, paint_windows, 1)
CACHED_OPTION(BOOLEAN, ShowReportName, show_report_name, 1)
CACHED_OPTION(BOOLEAN, SuppressSound, suppress_sound, 0)

SPECIAL_OPTION(BOOLEAN, BTCacheStats, bt_cache_stats)
SPECIAL_OPTION(BOOLEAN, FMRamTable, fm_ram_table)               // _1 and _0
SPECIAL_OPTION(BOOLEAN, International, international)

// ---- Numbers --------------------------------------------------------------------------------------------------------

PLAIN_OPTION(NUMBER, ReportBlockSize, report_block_size, 0)
PLAIN_OPTION(NUMBER, SQLMaxStmtsPerConnection, sql_max_stmts_per_connection, 0)
PLAIN_OPTION(NUMBER, SuppressWarningCode, suppress_warning_code, 0)
PLAIN_OPTION(NUMBER, owner, owner, 0)
PLAIN_OPTION(NUMBER, ZPSSystemIndex, zps_system_index, 0)

PLAIN_OPTION(NUMBER, MinID, min_id, 1)
PLAIN_OPTION(NUMBER, NextEntryID, next_entry_id, 1)
PLAIN_OPTION(NUMBER, NextGroupID, next_group_id, 1)

ASKED_OPTION(NUMBER, BTServerMaxFiles, bt_server_max_files)
ASKED_OPTION(NUMBER, CTNodeSize, ct_node_size)
ASKED_OPTION(NUMBER, CTServerMaxFiles, ct_server_max_files)
ASKED_OPTION(NUMBER, ScriptCacheEntries, script_cache_entries)
ASKED_OPTION(NUMBER, SQLConnectionBlockSize, sql_connection_block_size)
ASKED_OPTION(NUMBER, SQLCursorBlockSize, sql_cursor_block_size)
ASKED_OPTION(NUMBER, SQLLoginTimeout, sql_login_timeout)
ASKED_OPTION(NUMBER, SQLMaxConnections, sql_max_connections)
ASKED_OPTION(NUMBER, SQLMaxInactiveConnections, sql_max_inactive_connections)
ASKED_OPTION(NUMBER, SQLNumInitialConnections, sql_num_initial_connections)
ASKED_OPTION(NUMBER, SQLQualProcStmt, sql_qual_proc_stmt)
ASKED_OPTION(NUMBER, WindowGridHeight, window_grid_height)
ASKED_OPTION(NUMBER, WindowGridWidth, window_grid_width)

CACHED_OPTION(NUMBER, MacroTypeDelay, macro_type_delay, 0)

LIMITED_OPTION(SQLDeadLockRetries, sql_dead_lock_retries, 0)
LIMITED_OPTION(SQLProcsTimeout, sql_procs_timeout, 0)
LIMITED_OPTION(SQLQueryTimeout, sql_query_timeout, 0)
LIMITED_OPTION(SQLRprtsTimeout, sql_rprts_timeout, 0)
LIMITED_OPTION(SQLMaxLoginTries, sql_max_login_tries, 1)

STORED_OPTION(WindowPosX, window_pos_x)
STORED_OPTION(WindowPosY, window_pos_y)
STORED_OPTION(WindowHeight, window_height)
STORED_OPTION(WindowWidth, window_width)

SPECIAL_OPTION(NUMBER, DebugRW, debug_rw)
SPECIAL_OPTION(NUMBER, ZPSServerReads, zps_server_reads)
SPECIAL_OPTION(NUMBER, Tolerance, tolerance)
SECOND_OPTION(NUMBER, Tolerence, tolerence, Tolerance)

// ---- Positive numbers -----------------------------------------------------------------------------------------------

PLAIN_OPTION(POSITIVE, BidiPrintOpts, bidi_print_opts, 100)
PLAIN_OPTION(POSITIVE, FMTraceBuffer, fm_trace_buffer, 0)       // and fm_trace_buffer_2, fm_trace_buffer_3
PLAIN_OPTION(POSITIVE, ZPMCheckInterval, zpm_check_interval, 10)

ASKED_OPTION(POSITIVE, AverageScale, average_scale)
ASKED_OPTION(POSITIVE, MaxPhysicalWidth, max_physical_width)
ASKED_OPTION(POSITIVE, MaxScalingLoops, max_scaling_loops)
ASKED_OPTION(POSITIVE, MinMilHeight, min_mil_height)

CACHED_OPTION(POSITIVE, ExportLinesPerPage, export_lines_per_page, 0)

SPECIAL_OPTION(POSITIVE, ZPSInstance, zps_instance)

// ---- Texts ----------------------------------------------------------------------------------------------------------

TEXT_OPTION(CTServer, ct_server)
TEXT_OPTION(CTUser, ct_user)
TEXT_OPTION(CustomForms, custom_forms)
TEXT_OPTION(Pathname, pathname)
TEXT_OPTION(ReportPath, report_path)
TEXT_OPTION(ReportTextLocation, report_text_location)

CHECKED_OPTION(DDESubstitute, dde_substitute, 3)
CHECKED_OPTION(FMTraceFile, fm_trace_file, INT16_MIN)           // of any size
CHECKED_OPTION(ScriptCacheStatistics, script_cache_statistics, 1)
CHECKED_OPTION(SQLPassword, sql_password, 1)

SPECIAL_OPTION(TEXT, Btrieve, btrieve)
SPECIAL_OPTION(TEXT, BtrieveFileNameExtension, btrieve_file_name_extension)
SPECIAL_OPTION(TEXT, DDEAppName, dde_app_name)
SPECIAL_OPTION(TEXT, ReportWriter, report_writer)
SPECIAL_OPTION(TEXT, SQLDataSource, sql_data_source)
SPECIAL_OPTION(TEXT, SQLUser, sql_user)
SPECIAL_OPTION(TEXT, Workstation2, workstation2)                             // and workstation2_set
SECOND_OPTION(TEXT, SQLLastDataSource, sql_last_data_source, SQLDataSource)  // and sql_last_data_source_set
SECOND_OPTION(TEXT, SQLLastUser, sql_last_user, SQLUser)                     // and sql_last_user_set

// ---- Words ----------------------------------------------------------------------------------------------------------

SPECIAL_OPTION(WORD, ScriptCompile, script_compile)
SPECIAL_OPTION(WORD, CTDoda, ct_doda)
SPECIAL_OPTION(WORD, CTFileMode, ct_file_mode)
SECOND_OPTION(WORD, CTTableMode, ct_table_mode, CTFileMode)
SPECIAL_OPTION(WORD, DatabaseType, database_type)
SECOND_OPTION(WORD, FileHandler, file_handler, DatabaseType)
SPECIAL_OPTION(WORD, DefaultTempfileType, default_tempfile_type)
SPECIAL_OPTION(WORD, DebugQueue, debug_queue)
SECOND_OPTION(WORD, DebugQueueOutput, debug_queue_output, DebugQueue)
SPECIAL_OPTION(WORD, DebugUnknownFile, debug_unknown_file)
SECOND_OPTION(WORD, DisplayTableErrors, display_table_errors, DebugUnknownFile)
SPECIAL_OPTION(WORD, EDITOR, editor)

#undef PLAIN_OPTION
#undef ASKED_OPTION
#undef CACHED_OPTION
#undef LIMITED_OPTION
#undef STORED_OPTION
#undef TEXT_OPTION
#undef CHECKED_OPTION
#undef SPECIAL_OPTION
#undef SECOND_OPTION
