// The export folder: a dictionary as small text files and one file for each body, made to live under version control.
//
//   DIR/dictionary.txt                    zuk-dictionary 1
//                                         version 11
//   DIR/KIND/MODULE/module.txt            name <escaped name>
//   DIR/KIND/MODULE/TYPE/resources.txt    ID <tab> FLAGS <tab> ID.bin or - <tab> <escaped name>
//   DIR/1/MODULE/TYPE/resources.txt       ID <tab> FLAGS <tab> OWNER or - <tab> ID.bin or - <tab> <escaped name>
//   DIR/KIND/MODULE/TYPE/ID.bin           the body
//
// docs/export-folder.md tells it whole. The same dictionary always gives the same bytes: numbers are decimal in their
// only form, lines end in a line feed, resources stand by ascending identifier, and types without resources are left
// out. So are the core tables, as an import makes them of the owners.
#pragma once

#include "tool/dictionary.h"
#include "tool/paths.h"

namespace zuk::tool {

struct DictionaryFacts {
    u16 version = 0;
    std::vector<ModuleFacts> modules;      // ascending by kind and number, types ascending
};

extern const char *const folder_mark;      // the first line of dictionary.txt
constexpr const char *FOLDER_HEAD = "dictionary.txt";

// ---- Names in the folder --------------------------------------------------------------------------------------------

// The file for coordinates of two levels (module.txt), three (resources.txt) or four (a body).
std::string folder_file(const Coordinates &at);

// Whether an export could have written this; `name` is relative to the folder.
bool belongs_to_folder(const std::string &name, PathKind kind);

// ---- Writing --------------------------------------------------------------------------------------------------------

std::string head_text(u16 version);
std::string module_text(const ModuleFacts &module);
std::string resources_text(i32 kind, const TypeFacts &type);

// ---- Reading --------------------------------------------------------------------------------------------------------

// Whether the folder's head is that of an export.
bool is_export_folder(const fs::path &directory);

// Read and test all of it but the bytes of the bodies. Throws a Failure that names the file and the line. What stands
// beside the tree, and is no part of it, is told by `say` and left out.
DictionaryFacts read_folder(const fs::path &directory, const std::string &shown);

} // namespace zuk::tool
