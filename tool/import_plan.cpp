#include "tool/import_plan.h"

#include "engine/resources.h"
#include "tool/escape.h"
#include "tool/folder.h"
#include "tool/messages.h"
#include "tool/plain_folder.h"

#include <algorithm>
#include <map>
#include <set>

namespace zuk::tool {

using ModuleKey = std::pair<i32, i32>;     // kind and number
using TypeAndId = std::pair<u16, i16>;     // of kind 1, where they stand once
using TypeAndCore = std::pair<u16, i32>;   // type and core type of kind 1, which share their names over the series

// The plan in the making, and what the dictionary will hold when the steps so far are done.
struct Planning {
    const ImportRequest &request;
    std::map<ModuleKey, ModuleFacts> standing;                    // the dictionary as it is
    std::map<std::pair<i32, std::string>, i32> module_names;      // kind and name, to number
    ImportPlan plan;
    std::string conflict;                  // the first coordinate that is taken
    size_t conflicts = 0;
    // Of kind 1:
    std::map<TypeAndId, std::set<i32>> holders;                   // the modules in which an identifier stands
    std::set<std::pair<i32, TypeAndId>> removed;                  // by number of the module
    std::map<TypeAndId, i32> planned;                             // the module in which it will stand
    std::map<TypeAndCore, std::set<std::string>> planned_names;   // of series 0 to 6, from the modules so far
};

static std::string thing(const Planning &planning, const Coordinates &at)
{
    return planning.request.shown_file + ": " + text_of(at);
}

static Planning begin(const ImportRequest &request)
{
    Planning planning = { .request = request, .standing = {}, .module_names = {}, .plan = {}, .conflict = {},
                          .conflicts = 0, .holders = {}, .removed = {}, .planned = {}, .planned_names = {} };
    std::vector<ModuleFacts> modules;
    if (request.dictionary) modules = read_facts(*request.dictionary, {});
    for (ModuleFacts &module : modules) {
        planning.module_names[{ module.kind, module.name }] = module.module;
        for (const TypeFacts &type : module.types) {
            if (module.kind != 1) continue;
            for (const ResourceFacts &resource : type.resources) {
                planning.holders[{ type.type, resource.id }].insert(module.module);
            }
        }
        planning.standing.emplace(ModuleKey(module.kind, module.module), std::move(module));
    }
    // A new dictionary has it by then.
    ModuleKey core_tables(1, CORE_TABLES_MODULE);
    if (!planning.standing.count(core_tables)) {
        ModuleFacts made = { .kind = 1, .module = CORE_TABLES_MODULE,
                             .name = default_module_name(CORE_TABLES_MODULE), .types = {} };
        planning.module_names[{ 1, made.name }] = CORE_TABLES_MODULE;
        planning.standing.emplace(core_tables, std::move(made));
    }
    return planning;
}

// Something is there already. Without --force the plan fails in the end, and tells how many there are.
static void note_conflict(Planning *planning, const std::string &what)
{
    if (planning->conflicts++ == 0) planning->conflict = what;
}

// ---- Modules --------------------------------------------------------------------------------------------------------

// From here on the module has this name.
static void claim_module_name(Planning *planning, const Coordinates &at, const std::string &old_name,
                              const std::string &name)
{
    auto [found, is_free] = planning->module_names.insert({ { at.kind, name }, at.module });
    if (!is_free && found->second != at.module) {
        Coordinates other = coordinates_of(at.kind, found->second);
        fail_with(DICT_EXISTS, thing(*planning, at),
                  "the module " + text_of(other) + " has its name \"" + escape(name) + "\"");
    }
    if (!old_name.empty() && old_name != name) planning->module_names.erase({ at.kind, old_name });
}

static void plan_renaming(Planning *planning, const Coordinates &at, const std::string &old_name,
                          const std::string &name)
{
    if (name.size() > RENAMED_MODULE_MAX_BYTES) {
        fail_with(DICT_BAD_NAME, thing(*planning, at),
                  "its name has more than 79 bytes and is not that of the resource that stands for it, "
                  "so it cannot be given");
    }
    claim_module_name(planning, at, old_name, name);
    planning->plan.steps.push_back({ .what = ImportStep::What::rename_module, .at = at, .name = name });
}

// The resources of types 2 and 23 in a module.
struct OwnResource {
    u16 type;
    const ResourceFacts *facts;
};

static std::vector<OwnResource> own_resources(const ModuleFacts &module)
{
    std::vector<OwnResource> own;
    for (const TypeFacts &type : module.types) {
        if (!type_is_module(type.type)) continue;
        for (const ResourceFacts &resource : type.resources) own.push_back({ type.type, &resource });
    }
    return own;
}

static fs::path body_path(const Planning &planning, const Coordinates &at, i32 size)
{
    return size ? planning.request.folder / folder_file(at) : fs::path();
}

static ImportStep addition(const Planning &planning, const Coordinates &at, const ResourceFacts &resource)
{
    return { .what = ImportStep::What::add, .at = at, .name = resource.name, .has_name = true,
             .has_flags = resource.flags != 0, .flags = resource.flags,
             .has_owner = at.kind == 1 && resource.owner != natural_owner(at.module), .owner = resource.owner,
             .body = body_path(planning, at, resource.body_size) };
}

static void plan_new_module(Planning *planning, const ModuleFacts &module)
{
    Coordinates at = coordinates_of(module.kind, module.module);
    std::vector<OwnResource> own = own_resources(module);
    if (own.size() > 1) {
        fail(EXIT_TROUBLE, planning->request.shown_folder + "/" + text_of(at),
             "it holds more than one resource of types 2 and 23, and a module is made by one");
    }
    planning->plan.modules_added++;
    if (own.empty()) {
        claim_module_name(planning, at, "", module.name);
        planning->plan.steps.push_back({ .what = ImportStep::What::add_module, .at = at, .name = module.name });
        return;
    }

    const ResourceFacts &resource = *own[0].facts;
    Coordinates place = coordinates_of(at.kind, at.module, own[0].type, resource.id);
    check_name(thing(*planning, place), resource.name);
    claim_module_name(planning, at, "", resource.name);
    planning->plan.steps.push_back(addition(*planning, place, resource));
    planning->plan.added++;
    planning->plan.body_bytes += (u64)resource.body_size;
    if (module.name != resource.name) plan_renaming(planning, at, resource.name, module.name);
}

static const ResourceFacts *find_resource(const ModuleFacts &module, u16 type, i16 id)
{
    for (const TypeFacts &candidate : module.types) {
        if (candidate.type != type) continue;
        for (const ResourceFacts &resource : candidate.resources) {
            if (resource.id == id) return &resource;
        }
    }
    return nullptr;
}

// The resource that stands for a module cannot be removed alone, so it is changed.
static void plan_own_change(Planning *planning, const ModuleFacts &old_module, const Coordinates &at,
                            const ResourceFacts &resource, std::string *module_name)
{
    const ResourceFacts *old_resource = find_resource(old_module, at.type, at.id);
    if (!old_resource) {
        fail(EXIT_REFUSED, thing(*planning, at), "the module is there without it, and it cannot be added to a module");
    }
    note_conflict(planning, text_of(at));
    if (resource.body_size == 0 && old_resource->body_size != 0) {
        fail(EXIT_REFUSED, thing(*planning, at), "its body cannot be emptied by a change");
    }
    ImportStep step = addition(*planning, at, resource);
    step.what = ImportStep::What::change;
    step.has_name = resource.name != old_resource->name;
    step.has_flags = resource.flags != old_resource->flags;
    if (step.has_name) {
        if (resource.name.size() > RENAMED_MODULE_MAX_BYTES) {
            fail_with(DICT_BAD_NAME, thing(*planning, at), "the new name of a module has at most 79 bytes");
        }
        claim_module_name(planning, at, *module_name, resource.name);
        *module_name = resource.name;
    }
    planning->plan.steps.push_back(std::move(step));
    planning->plan.replaced++;
    planning->plan.body_bytes += (u64)resource.body_size;
}

static void plan_old_module(Planning *planning, const ModuleFacts &old_module, const ModuleFacts &module)
{
    Coordinates at = coordinates_of(module.kind, module.module);
    std::string name = old_module.name;
    for (const OwnResource &own : own_resources(module)) {
        Coordinates place = coordinates_of(at.kind, at.module, own.type, own.facts->id);
        plan_own_change(planning, old_module, place, *own.facts, &name);
    }
    if (name == module.name) return;
    if (planning->request.dictionary) note_conflict(planning, text_of(at));
    plan_renaming(planning, at, name, module.name);
}

// ---- Resources ------------------------------------------------------------------------------------------------------

// Places of resources are counted in 16 bits, for all types of a module together, and handed out by steps.
constexpr i32 MODULE_PLACES_MAX = 65535;

struct Places {
    i32 assigned = 0;
    std::map<u16, i32> free;               // by type
};

static Places places_of(const ImportRequest &request, const Coordinates &module)
{
    Places places;
    if (!request.dictionary) return places;
    DictFile *file = request.dictionary->file();
    ModuleDirectory *directory = directory_get(file, module_find(file, module.kind, module.module));
    if (!directory) return places;
    places.assigned = le_get(directory->assigned_slots);
    for (i32 i = 0; const TypeEntry *type = type_at(directory, i); i++) {
        places.free[(u16)le_get(type->type)] = le_get(type->free_slots);
    }
    return places;
}

static void take_places(const Planning &planning, const Coordinates &type, Places *places, size_t resources)
{
    i32 unit = slot_unit((i16)type.type);
    i32 missing = (i32)resources - places->free[type.type];
    if (missing > 0) places->assigned += (missing + unit - 1) / unit * unit;
    if (places->assigned <= MODULE_PLACES_MAX) return;
    fail_with(DICT_NO_ROOM, thing(planning, coordinates_of(type.kind, type.module)),
              "with so many resources the module would need more than 65535 places");
}

using Steps = std::vector<ImportStep>;

// A list of names above 65,500 bytes is searched by the library with each name cut to 79 bytes: a name of exactly
// these 79 then counts as taken. Whether the list of a type can come to that size.
// In kind 1 the names of all series are searched; together they are no shorter than one list.
static bool list_is_long(const ImportRequest &request, const Coordinates &type, const Steps &additions,
                         const std::set<std::string> &old_names)
{
    i64 size = 0;
    for (const std::string &name : old_names) size += type.kind == 1 ? (i64)name.size() + 1 : 0;
    if (request.dictionary) {
        u32 block = type_name_block(request.dictionary->file(), type.kind, type.module, (i16)type.type);
        BlockEntry entry;
        bool found = block && !block_read_typed(request.dictionary->file(), block, BLOCK_NAMES, &entry);
        if (found) size = le_get(entry.size);
    }
    for (const ImportStep &step : additions) size += (i64)step.name.size() + 1;
    return size + 2 * block_unit(BLOCK_NAMES, (i16)type.type) > CHUNK_MAX;
}

// Names of 79 bytes with which a longer name of the set begins.
static bool begins_longer(const std::set<std::string> &names, const std::string &name)
{
    if (name.size() != RENAMED_MODULE_MAX_BYTES) return false;
    auto next = names.upper_bound(name);
    return next != names.end() && next->compare(0, name.size(), name) == 0;
}

// Put the additions of one type into the plan. Names of 79 bytes go ahead of the longer ones that begin with them.
// `old_names` are those that the library meets in its search, `given_later` those of them that it accepts in a change.
static void plan_additions(Planning *planning, const Coordinates &type, const std::set<std::string> &old_names,
                           const std::set<std::string> &given_later, Steps additions)
{
    std::set<std::string> new_names;
    for (const ImportStep &step : additions) new_names.insert(step.name);
    bool is_long = list_is_long(planning->request, type, additions, old_names);
    for (const ImportStep &step : additions) {
        if (!is_long || !begins_longer(old_names, step.name)) continue;
        fail_with(DICT_EXISTS, thing(*planning, step.at),
                  "the library cannot tell its name \"" + escape(step.name) + "\" from a longer one that is there");
    }
    if (is_long) {
        std::stable_partition(additions.begin(), additions.end(),
                              [&](const ImportStep &step) { return begins_longer(new_names, step.name); });
    }
    for (ImportStep &step : additions) {
        // The library adds no resource without a name, but takes the name away by a change; and a change alone sees no
        // names in lower series.
        bool changes_name = step.name.empty() || given_later.count(step.name);
        Coordinates at = step.at;
        std::string name = step.name;
        if (changes_name) {
            step.name.clear();
            do step.name += '?';
            while (new_names.count(step.name) || old_names.count(step.name));
        }
        planning->plan.steps.push_back(std::move(step));
        if (!changes_name) continue;
        planning->plan.steps.push_back({ .what = ImportStep::What::change, .at = at, .name = name, .has_name = true });
    }
}

// What stands in a type: its names, by identifier.
static std::map<i16, std::string> names_in(const Planning &planning, const Coordinates &type)
{
    std::map<i16, std::string> names;
    auto module = planning.standing.find({ type.kind, type.module });
    if (module == planning.standing.end()) return names;
    for (const TypeFacts &facts : module->second.types) {
        if (facts.type != type.type) continue;
        for (const ResourceFacts &resource : facts.resources) names[resource.id] = resource.name;
    }
    return names;
}

static std::set<std::string> only_names(const std::map<i16, std::string> &names)
{
    std::set<std::string> set;
    for (const auto &[id, name] : names) set.insert(name);
    return set;
}

static void plan_type(Planning *planning, const Coordinates &at, const TypeFacts &type, Places *places)
{
    std::map<i16, std::string> standing = names_in(*planning, at);
    size_t fresh = 0;
    for (const ResourceFacts &resource : type.resources) {
        Coordinates place = coordinates_of(at.kind, at.module, at.type, resource.id);
        planning->plan.body_bytes += (u64)resource.body_size;
        if (standing.erase(resource.id) == 0) {
            fresh++;
            continue;
        }
        note_conflict(planning, text_of(place));
        planning->plan.steps.push_back({ .what = ImportStep::What::remove, .at = place });
        planning->plan.replaced++;
    }
    planning->plan.added += fresh;
    take_places(*planning, at, places, fresh);

    std::set<std::string> names = only_names(standing);
    Steps additions;
    for (const ResourceFacts &resource : type.resources) {
        Coordinates place = coordinates_of(at.kind, at.module, at.type, resource.id);
        if (names.count(resource.name)) {
            fail_with(DICT_EXISTS, thing(*planning, place),
                      "another resource has its name \"" + escape(resource.name) + "\"");
        }
        additions.push_back(addition(*planning, place, resource));
    }
    plan_additions(planning, at, names, {}, std::move(additions));
}

// ---- Kind 1 ---------------------------------------------------------------------------------------------------------

// The names that stand, and stay, where the library looks for one before it adds it: in series 0 to 6.
static std::set<std::string> names_in_series(const Planning &planning, const Coordinates &type)
{
    std::set<std::string> names;
    for (i32 series = 0; series < 7; series++) {
        Coordinates place = coordinates_of(1, core_type_of(type.module) + series * CORE_TYPES, type.type);
        for (const auto &[id, name] : names_in(planning, place)) {
            if (!planning.removed.count({ place.module, { type.type, id } })) names.insert(name);
        }
    }
    return names;
}

// Take out what the folder has anew, in whatever series it stands.
static void plan_removals_of_kind_1(Planning *planning, const ModuleFacts &module)
{
    for (const TypeFacts &type : module.types) {
        for (const ResourceFacts &resource : type.resources) {
            Coordinates at = coordinates_of(1, module.module, type.type, resource.id);
            check_kind_1(planning->request.shown_folder + "/" + text_of(at), at);
            auto [first, is_first] = planning->planned.insert({ { type.type, resource.id }, module.module });
            if (!is_first) {
                fail(EXIT_TROUBLE, planning->request.shown_folder + "/" + text_of(at),
                     "it stands as " + text_of(coordinates_of(1, first->second, type.type, resource.id)) +
                         ", too, and kind 1 has an identifier once");
            }
            for (i32 holder : planning->holders[{ type.type, resource.id }]) {
                Coordinates old_place = coordinates_of(1, holder, type.type, resource.id);
                note_conflict(planning, text_of(old_place));
                planning->plan.steps.push_back({ .what = ImportStep::What::remove, .at = old_place });
                planning->plan.replaced++;
                planning->removed.insert({ holder, { type.type, resource.id } });
            }
        }
    }
}

static void plan_type_of_kind_1(Planning *planning, const Coordinates &at, const TypeFacts &type, Places *places)
{
    std::set<std::string> names = names_in_series(*planning, at);
    size_t fresh = 0;
    Steps additions;
    for (const ResourceFacts &resource : type.resources) {
        Coordinates place = coordinates_of(1, at.module, at.type, resource.id);
        if (names.count(resource.name)) {
            fail_with(DICT_EXISTS, thing(*planning, place),
                      "another resource has its name \"" + escape(resource.name) + "\"");
        }
        planning->plan.body_bytes += (u64)resource.body_size;
        planning->plan.added += planning->holders[{ at.type, resource.id }].empty();
        fresh += planning->removed.count({ at.module, { at.type, resource.id } }) == 0;  // it needs a place here
        additions.push_back(addition(*planning, place, resource));
    }
    take_places(*planning, at, places, fresh);

    std::set<std::string> &planned = planning->planned_names[{ at.type, core_type_of(at.module) }];
    std::set<std::string> before = planned;
    names.insert(before.begin(), before.end());
    bool is_searched = at.module >= 0 && series_of(at.module) < 7;
    for (const ImportStep &step : additions) {
        if (is_searched) planned.insert(step.name);
    }
    plan_additions(planning, at, names, before, std::move(additions));
}

// ---- The whole ------------------------------------------------------------------------------------------------------

static void plan_version(Planning *planning, u16 version)
{
    const Dictionary *dictionary = planning->request.dictionary;
    u16 standing = dictionary ? dict_file_version(dictionary->file()) : DICT_VERSION;
    if (version == standing) return;
    bool is_empty = true;    // but for the core tables
    for (const auto &[key, module] : planning->standing) {
        is_empty = is_empty && key == ModuleKey(1, CORE_TABLES_MODULE);
    }
    if (!is_empty) note_conflict(planning, "the version " + std::to_string(standing));
    planning->plan.steps.push_back({ .what = ImportStep::What::set_version, .at = {}, .version = version });
}

// What speaks against the plan as a whole.
static ImportPlan finish(Planning *planning)
{
    const ImportRequest &request = planning->request;
    if (planning->conflicts && !request.force) {
        size_t more = planning->conflicts - 1;
        std::string others = more ? ", and " + std::to_string(more) + " more" : "";
        fail_with(DICT_EXISTS, request.shown_file, planning->conflict + " is there already" + others +
                                                       "; --force replaces what is there");
    }
    i64 length = request.dictionary ? dict_length(request.dictionary->file()) : 0;
    if (length + (i64)planning->plan.body_bytes > INT32_MAX) {
        fail_with(DICT_NO_ROOM, request.shown_file, "with these bodies it would reach 2 GiB, and a dictionary cannot");
    }
    return std::move(planning->plan);
}

ImportPlan plan_export_folder(const ImportRequest &request)
{
    DictionaryFacts facts = read_folder(request.folder, request.shown_folder);
    Planning planning = begin(request);
    plan_version(&planning, facts.version);
    for (const ModuleFacts &module : facts.modules) {
        if (module.kind != 1) continue;
        Coordinates at = coordinates_of(1, module.module);
        check_kind_1(request.shown_folder + "/" + text_of(at), at);
        plan_removals_of_kind_1(&planning, module);
    }
    for (const ModuleFacts &module : facts.modules) {
        Coordinates at = coordinates_of(module.kind, module.module);
        auto standing = planning.standing.find({ module.kind, module.module });
        if (standing == planning.standing.end()) plan_new_module(&planning, module);
        else plan_old_module(&planning, standing->second, module);

        Places places = places_of(request, at);
        for (const TypeFacts &type : module.types) {
            Coordinates of_type = coordinates_of(at.kind, at.module, type.type);
            if (module.kind == 1) plan_type_of_kind_1(&planning, of_type, type, &places);
            else if (!type_is_module(type.type)) plan_type(&planning, of_type, type, &places);
        }
    }
    return finish(&planning);
}

// ---- Plain folders --------------------------------------------------------------------------------------------------

static std::string name_of_folder(const fs::path &folder)
{
    fs::path path = folder.lexically_normal();
    if (!path.has_filename()) path = path.parent_path();  // it ended in a slash
    return path.filename().string();
}

static void plan_module_of_files(Planning *planning, const Coordinates &at, const std::string &module_name)
{
    if (planning->standing.count({ at.kind, at.module })) return;
    std::string name = at.kind == 1 ? default_module_name(at.module) : name_of_folder(planning->request.folder);
    if (!module_name.empty()) name = module_name;
    check_name(thing(*planning, at) + ": the new module", name);
    if (at.kind == 1) {
        claim_module_name(planning, at, "", name);
        planning->plan.steps.push_back({ .what = ImportStep::What::add_module, .at = at, .name = name });
        planning->plan.modules_added++;
        return;
    }
    if (at.module < 1 || at.module > ID_MAX) {
        fail(EXIT_TROUBLE, thing(*planning, at), "a new module has a number from 1 to 32767");
    }
    claim_module_name(planning, at, "", name);
    Coordinates own = coordinates_of(at.kind, at.module, MODULE_TYPE, (i16)at.module);
    planning->plan.steps.push_back({ .what = ImportStep::What::add, .at = own, .name = name, .has_name = true });
    planning->plan.modules_added++;
}

// The size of a file to come, tested as a body.
static u64 body_size_of(const ImportRequest &request, const std::string &name)
{
    std::error_code error;
    uintmax_t size = fs::file_size(request.folder / name, error);
    if (error) fail(EXIT_TROUBLE, request.shown_folder + "/" + name, "it cannot be read: " + error.message());
    if (size > INT32_MAX) {
        fail(EXIT_TROUBLE, request.shown_folder + "/" + name, "it is too large: a body has less than 2 GiB");
    }
    return size;
}

// The identifier above which the files get theirs. In kind 1 it is that of all series, and one that the library could
// have given out.
static i32 last_id_of(const Planning &planning, const Coordinates &to, const std::map<i16, std::string> &standing)
{
    if (to.kind != 1) return standing.empty() ? 0 : standing.rbegin()->first;
    start_library();
    i32 last = lowest_id - 1;
    for (const auto &[key, modules] : planning.holders) {
        if (key.first == to.type) last = std::max<i32>(last, key.second);
    }
    return last;
}

ImportPlan plan_plain_folder(const ImportRequest &request, const Coordinates &to, const std::string &module_name)
{
    if (to.levels != 3) fail(EXIT_TROUBLE, text_of(to), "--to needs KIND/MODULE/TYPE");
    check_new_in_kind_1(text_of(to), to);
    if (type_is_module(to.type)) fail(EXIT_TROUBLE, text_of(to), "types 2 and 23 stand for modules, and hold no files");

    std::vector<std::string> files = list_plain_files(request.folder, request.shown_folder);
    Planning planning = begin(request);
    Coordinates module = coordinates_of(to.kind, to.module);
    plan_module_of_files(&planning, module, module_name);

    std::map<i16, std::string> standing = names_in(planning, to);
    std::map<std::string, i16> ids;
    for (const auto &[id, name] : standing) ids[name] = id;
    i32 last = last_id_of(planning, to, standing);
    std::set<std::string> elsewhere;    // names of kind 1 in other series
    if (to.kind == 1) elsewhere = names_in_series(planning, to);
    for (const auto &[id, name] : standing) elsewhere.erase(name);
    Steps additions;
    for (const std::string &name : files) {
        check_name(request.shown_folder + "/" + name, name);
        u64 size = body_size_of(request, name);
        planning.plan.body_bytes += size;
        auto found = ids.find(name);
        i32 id = found == ids.end() ? ++last : found->second;
        if (id > ID_MAX) {
            fail_with(DICT_NO_ROOM, thing(planning, to), "the folder holds " + counted(files.size(), "file") +
                                                             ", and identifiers end at 32767");
        }
        Coordinates at = coordinates_of(to.kind, to.module, to.type, (i16)id);
        if (elsewhere.count(name)) {
            fail_with(DICT_EXISTS, thing(planning, at), "another resource has its name \"" + escape(name) + "\"");
        }
        if (found != ids.end()) {
            note_conflict(&planning, text_of(at));
            planning.plan.steps.push_back({ .what = ImportStep::What::remove, .at = at });
            planning.plan.replaced++;
            standing.erase(found->second);
        } else {
            planning.plan.added++;
        }
        additions.push_back({ .what = ImportStep::What::add, .at = at, .name = name, .has_name = true,
                              .body = size ? request.folder / name : fs::path() });
    }
    Places places = places_of(request, module);
    take_places(planning, to, &places, planning.plan.added);
    elsewhere.merge(only_names(standing));
    plan_additions(&planning, to, elsewhere, {}, std::move(additions));
    return finish(&planning);
}

} // namespace zuk::tool
