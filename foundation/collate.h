// Comparison in the sort order of a language.
//
// A sort order is a table with the weight of each character. Two sources have one that tells letters of different case
// apart and one that does not: the text file ZUK.ACS in the current directory, or, where that is missing or too short,
// the optional library ZUKOPTS.DLL. Nothing is loaded until somebody asks for it, and the compare is the plain
// `pstricompare` until `lang_mode` is set to 1; all failures lead back to it in silence.
//
// The file has 34 lines: a line with the name of a table (15 characters count), 16 lines of 16 weights, and the same
// again for the table that is blind to case. A weight takes three columns: two hexadecimal digits, and a separator of
// any kind. Nothing is validated, and a weight that is missing repeats the one before it. A file of 255 bytes or less
// is none.
//
// The library has the entries DLLFunction1, which serves operation 2, and DLLFunction2 and DLLFunction3, which give the
// `SortTableRecord` of the two orders or 0. Each takes a word and gives a word (the size of a pointer).
//
// One thread at a time. The sources of this unit read files by files/file_util.h.
#pragma once

#include "zuk/zuk.h"

namespace zuk {

// What a source gives out for one table. It crosses the boundary to the optional library: 10 bytes where a pointer has
// 4, 18 where it has 8.
#pragma pack(push, 1)
struct SortTableRecord {
    u16 id;             // 0 in the records of the file
    const char *name;   // NUL-terminated
    const u8 *table;    // 256 weights, by the code of the character
};
#pragma pack(pop)
static_assert(sizeof(SortTableRecord) == 2 + 2 * sizeof(void *));

// ---- Comparing ------------------------------------------------------------------------------------------------------

// Compare `count` characters from position `start` on, with the arguments and the special answers of `pstricompare`:
// in the order of the language while the mode is 1, else as `pstricompare` does.
i16 pstrlangcompare(ConstPString first, ConstPString second, i16 start, i16 count, i16 fold_case);
// The same whatever the mode is; without a table `pstricompare`. The first two characters that differ decide by their
// weights, for good: equal weights make the strings equal.
i16 lang_compare(ConstPString first, ConstPString second, i16 start, i16 count, i16 fold_case);

i32 lang_mode(const i32 *new_mode);  // the mode, 2 at the start, after taking the new one; null only asks

// ---- Sources --------------------------------------------------------------------------------------------------------

enum LangOperation : i32 {
    LANG_START = 0,           // 1 if the file was loaded, else the library, or 0; a library held before is the answer
    LANG_STOP = 1,            // gives the library up, and with it the file's tables; without a library nothing
    LANG_FUNCTION = 2,        // what DLLFunction1 of the library makes of the argument; 0 while the file is loaded
    LANG_CASE_SENSITIVE = 3,  // the address of a `SortTableRecord`, or 0
    LANG_CASE_BLIND = 4,
};
uintptr_t lang_control(i32 operation, uintptr_t argument);

// Load the file: 1, or 0 if it is missing or too short, or there is no memory. Tables loaded before are freed first. A
// file that is too short leaves two tables of zeros. A line that cannot be read is passed over like a bad one.
i16 acs_load();
// Free both tables. The record of operation 3 is without one then; that of operation 4 keeps its weights.
void acs_free();

void *optlib_load();          // the library, loaded unless it is held already; null if there is none
i32 optlib_free();            // 0
// What the entry of this number, 1 to 3, makes of the argument. 0 for another, or if it or the library is missing.
uintptr_t optlib_call(i16 entry, uintptr_t argument);

} // namespace zuk
