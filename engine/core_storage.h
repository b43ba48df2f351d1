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

// Read one table, of a type from 1 to 64 and a range from 0 to 2, into memory. 0 for a type without a table; 3 when it
// is not stored, and where no row could hold it; 21 without the lock, 9 without memory, 12 for a body that is longer
// than the file, else the status of the read. After a failure what is in memory stays.
DictStatus core_table_read(DictFile *file, i32 type, i32 range);

// Add a new, empty table as a resource of the current dictionary. 0 for a type without a table, 9 without memory, else
// the status of `dd_add_resource`: 2 when it is stored already.
DictStatus core_table_create(i32 type, i32 range);

// Load every table into a file that has none in memory. With `main`, only the middle range is the file's own and the
// others are borrowed from there. Missing tables are made in modes 0 and 32768. The first failure ends it with its
// status, and the tables behind it stay absent: 9 without memory, 3 for one that is missing still, 12 when they are
// larger than the file together, else as `core_table_read`.
DictStatus core_tables_load(DictFile *file, DictFile *main);

// By the table of type 9 in range 0, sound or not.
bool dict_has_core_tables(const DictFile *file);
bool dict_selected_has_core_tables(const DictCookie *cookie, i32 selector);

// Rebuild all owners from what the modules hold. The caller has made `file` the one that writes go to, and has it to
// itself. 3, 7 or 15 without an open file, else the status of the last step; owners set before it stay.
DictStatus dict_reset_core_tables(DictFile *file);
// The same by cookie; 3 for a bad slot or selector. The cookie is not made current.
DictStatus dict_reset_selected(const DictCookie *cookie, i32 selector);

} // namespace zuk
