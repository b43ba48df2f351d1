// Core tables as resources of the dictionary.
//
// A core table is the body of the kind 1 resource in module 10 with type 52 + range and, as its identifier, the type
// that it describes. Here they are read at open, made where they are missing, and rebuilt from the contents of a file
// that has none. `core_table_write` (resources.h) puts a changed one back; `core_tables_free` (dict_file.h) is part of
// the close.
//
// Reading goes by the file that is named; making and writing go to the current dictionary, as every write does.
#pragma once

#include "engine/core_tables.h"

namespace zuk {

// Read one table into memory. 0 for a type without a table, 3 when it is not stored, 21 without the lock.
DictStatus core_table_read(DictFile *file, i32 type, i32 range);

// Add a new, empty table as a resource of the current dictionary. 0 for a type without a table.
DictStatus core_table_create(i32 type, i32 range);

// Load every table into a file that has none in memory. With `main`, only the middle range is the file's own and the
// others are borrowed from there. Missing tables are made in modes 0 and 32768. The first failure ends it, and the
// tables behind it stay absent.
DictStatus core_tables_load(DictFile *file, DictFile *main);

// By the table of type 9 in range 0, sound or not.
bool dict_has_core_tables(const DictFile *file);
bool dict_selected_has_core_tables(const DictCookie *cookie, i32 selector);

// Rebuild all owners from what the modules hold. The caller has made `file` the one that writes go to, and has it to
// itself. 3, 7 or 15 without an open file, else the status of the last step; owners set before it stay.
DictStatus dict_reset_core_tables(DictFile *file);
DictStatus dict_reset_selected(const DictCookie *cookie, i32 selector);

} // namespace zuk
