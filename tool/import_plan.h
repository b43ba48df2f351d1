// What an import will do, step by step, tested before the first of them.
//
// A plan is refused when a coordinate or a name is taken (unless `force` lets it be replaced), when a name cannot be
// stored, or when a type, a module or the file would hold more than it can. So a plan that stands fails only by what
// nobody can foresee: a full disk, or a file that changes meanwhile.
#pragma once

#include "tool/dictionary.h"
#include "tool/paths.h"

namespace zuk::tool {

struct ImportStep {
    enum class What { set_version, add_module, rename_module, remove, add, change };
    What what;
    Coordinates at;
    std::string name = {};
    bool has_name = false;                 // of `change`; an empty name counts, too
    bool has_flags = false;
    u8 flags = 0;
    bool has_owner = false;                // of kind 1
    i16 owner = NO_OWNER;
    u16 version = 0;
    fs::path body = {};                    // empty: no body
};

struct ImportPlan {
    std::vector<ImportStep> steps;
    size_t modules_added = 0, added = 0, replaced = 0;
    u64 body_bytes = 0;
};

struct ImportRequest {
    fs::path folder;
    std::string shown_folder, shown_file;
    const Dictionary *dictionary;          // null: a new one, empty
    bool force;
};

// Modules ascending, in each types ascending, in each identifiers ascending. The resource that stands for a module
// makes it, ahead of the others in it. What is replaced in kind 1 goes ahead of all, since it can come to stand in
// another series.
ImportPlan plan_export_folder(const ImportRequest &request);

// Each file below the folder as a resource of the type `to`, named by its path, with identifiers above the highest.
ImportPlan plan_plain_folder(const ImportRequest &request, const Coordinates &to, const std::string &module_name);

} // namespace zuk::tool
