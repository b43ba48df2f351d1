// zuk ls: kinds, modules, types and resources, with counts and sizes.

#include "tool/commands.h"
#include "tool/dictionary.h"
#include "tool/escape.h"
#include "tool/json.h"
#include "tool/messages.h"
#include "tool/table.h"
#include "tool/terminal.h"

namespace zuk::tool {

struct LsOptions {
    std::string file, coordinates, series;
    bool has_coordinates = false, recursive = false, json = false;
};

// What the listing shows for some coordinates.
enum class Level { modules, types, resources };

static std::string flags_text(u8 flags)
{
    static const char digits[] = "0123456789ABCDEF";
    return { digits[flags >> 4], digits[flags & 15] };
}

// ---- Tables ---------------------------------------------------------------------------------------------------------

// The row of a group of modules: a kind, or a series.
static Row row_of_group(const std::string &title, const std::vector<ModuleFacts> &modules, const std::string &name,
                        const std::function<bool(const ModuleFacts &)> &is_in)
{
    Counts all;
    for (const ModuleFacts &module : modules) {
        if (is_in(module)) count(&all, module);
    }
    return { title, counted(all.modules, "module"), std::to_string(all.resources), std::to_string(all.body_bytes),
             name };
}

// Each kind ahead of its modules, and in kind 1 each series ahead of its own.
static void print_modules(const std::vector<ModuleFacts> &modules, bool with_kinds)
{
    std::vector<Row> rows;
    const ModuleFacts *before = nullptr;
    for (const ModuleFacts &module : modules) {
        bool begins_kind = !before || before->kind != module.kind;
        if (with_kinds && begins_kind) {
            rows.push_back(row_of_group(std::to_string(module.kind), modules, "",
                                        [&](const ModuleFacts &other) { return other.kind == module.kind; }));
        }
        i32 series = series_of(module.module);
        if (module.kind == 1 && (begins_kind || series_of(before->module) != series)) {
            rows.push_back(row_of_group("series " + std::to_string(series), modules, words_of_series(series),
                                        [&](const ModuleFacts &other) {
                                            return other.kind == 1 && series_of(other.module) == series;
                                        }));
        }
        before = &module;
        Counts counts;
        count(&counts, module);
        rows.push_back({ text_of(coordinates_of(module.kind, module.module)), counted(counts.types, "type"),
                         std::to_string(counts.resources), std::to_string(counts.body_bytes), escape(module.name) });
    }
    print_table({ { "COORDINATES" }, { "HOLDS" }, { "RESOURCES", true }, { "BYTES", true }, { "NAME" } }, rows);
}

static void print_types(const ModuleFacts &module)
{
    std::vector<Row> rows;
    for (const TypeFacts &type : module.types) {
        Counts counts;
        count(&counts, type);
        rows.push_back({ text_of(coordinates_of(module.kind, module.module, type.type)),
                         std::to_string(counts.resources), std::to_string(counts.bodies),
                         std::to_string(counts.body_bytes), std::to_string(counts.name_bytes) });
    }
    print_table({ { "COORDINATES" }, { "RESOURCES", true }, { "WITH BODY", true }, { "BYTES", true },
                  { "NAME BYTES", true } }, rows);
}

// Owners show where there is any of kind 1.
static void print_resources(const std::vector<ModuleFacts> &modules)
{
    bool with_owners = !modules.empty() && modules.front().kind == 1;    // the lowest kind comes first
    std::vector<Row> rows;
    for (const ModuleFacts &module : modules) {
        for (const TypeFacts &type : module.types) {
            for (const ResourceFacts &resource : type.resources) {
                Row row = { text_of(coordinates_of(module.kind, module.module, type.type, resource.id)),
                            flags_text(resource.flags) };
                if (with_owners) row.push_back(module.kind == 1 ? owner_text(resource.owner) : "");
                row.push_back(std::to_string(resource.body_size));
                row.push_back(escape(resource.name));
                rows.push_back(row);
            }
        }
    }
    std::vector<Column> columns = { { "COORDINATES" }, { "FLAGS" }, { "BYTES", true }, { "NAME" } };
    if (with_owners) columns.insert(columns.begin() + 2, { "OWNER", true });
    print_table(columns, rows);
}

// ---- JSON -----------------------------------------------------------------------------------------------------------

// Names are in their escaped form: JSON has no place for bytes that are no text.
static Json json_of(const ModuleFacts &module, const TypeFacts &type, const ResourceFacts &resource)
{
    Json json = { { "coordinates", text_of(coordinates_of(module.kind, module.module, type.type, resource.id)) },
                  { "kind", module.kind }, { "module", module.module }, { "type", type.type }, { "id", resource.id },
                  { "flags", resource.flags }, { "bytes", resource.body_size }, { "name", escape(resource.name) } };
    if (module.kind == 1) json["owner"] = resource.owner == NO_OWNER ? Json() : Json(resource.owner);
    return json;
}

static Json json_of(const ModuleFacts &module, const TypeFacts &type)
{
    Counts counts;
    count(&counts, type);
    return { { "coordinates", text_of(coordinates_of(module.kind, module.module, type.type)) },
             { "kind", module.kind }, { "module", module.module }, { "type", type.type },
             { "resources", counts.resources }, { "withBody", counts.bodies }, { "bytes", counts.body_bytes },
             { "nameBytes", counts.name_bytes } };
}

static Json json_of(const ModuleFacts &module)
{
    Counts counts;
    count(&counts, module);
    Json json = { { "coordinates", text_of(coordinates_of(module.kind, module.module)) }, { "kind", module.kind },
                  { "module", module.module }, { "types", counts.types }, { "resources", counts.resources },
                  { "bytes", counts.body_bytes }, { "name", escape(module.name) } };
    if (module.kind == 1) {
        json["series"] = series_of(module.module);
        json["coreType"] = core_type_of(module.module);
    }
    return json;
}

static Json json_of(const std::vector<ModuleFacts> &modules, Level level)
{
    Json rows = Json::array();
    for (const ModuleFacts &module : modules) {
        if (level == Level::modules) rows.push_back(json_of(module));
        if (level == Level::modules) continue;
        for (const TypeFacts &type : module.types) {
            if (level == Level::types) rows.push_back(json_of(module, type));
            if (level == Level::types) continue;
            for (const ResourceFacts &resource : type.resources) rows.push_back(json_of(module, type, resource));
        }
    }
    return rows;
}

// ---- The command ----------------------------------------------------------------------------------------------------

static Level level_of(const Coordinates &at, bool recursive)
{
    if (recursive || at.levels >= 3) return Level::resources;
    return at.levels == 2 ? Level::types : Level::modules;
}

static void keep_series(const Dictionary &dictionary, i32 series, std::vector<ModuleFacts> *modules)
{
    std::erase_if(*modules, [&](const ModuleFacts &module) { return series_of(module.module) != series; });
    if (!modules->empty()) return;
    fail_with(DICT_NOT_FOUND, dictionary.shown, "there is no module of series " + std::to_string(series));
}

static int run_ls(const LsOptions &options)
{
    Coordinates at = options.has_coordinates ? parse_coordinates(options.coordinates) : Coordinates();
    i32 series = 0;
    if (!options.series.empty()) {
        series = parse_series(options.series);
        if (at.levels == 0) at = coordinates_of(1);
        if (at.levels == 1 && at.kind != 1) fail(EXIT_TROUBLE, options.coordinates, "--series goes with kind 1 alone");
        if (at.levels > 1) at = in_series(at, series, options.coordinates);
    }
    Dictionary dictionary(options.file, DICT_READ_ONLY);
    std::vector<ModuleFacts> modules = read_facts(dictionary, at);
    if (!options.series.empty()) keep_series(dictionary, series, &modules);
    Level level = level_of(at, options.recursive);

    if (modules.empty()) say(options.file + ": it holds no modules");
    if (options.json) put_json(json_of(modules, level));
    else if (level == Level::modules) print_modules(modules, at.levels == 0);
    else if (level == Level::types) print_types(modules.front());
    else print_resources(modules);
    return EXIT_DONE;
}

void declare_ls(CLI::App &app, Work &chosen)
{
    auto options = std::make_shared<LsOptions>();
    CLI::App *command = declare(app, "ls", "List the modules of a dictionary, the types of one, or the resources.",
                                "  zuk ls orders.dic\n"
                                "  zuk ls orders.dic 2/100\n"
                                "  zuk ls orders.dic 2/100/1\n"
                                "  zuk ls orders.dic --series Financial\n"
                                "  zuk ls orders.dic --recursive --json");
    command->add_option("FILE", options->file, "the dictionary")->required();
    CLI::Option *coordinates =
        command->add_option("COORDINATES", options->coordinates, "KIND/MODULE/TYPE/ID, or fewer levels");
    command->add_option("--series", options->series, "of kind 1, what is in this series, by number or word");
    command->add_flag("-r,--recursive", options->recursive, "list all resources below");
    command->add_flag("--json", options->json, "as JSON; names are escaped as in the listing");
    command->callback([options, coordinates, &chosen] {
        options->has_coordinates = coordinates->count() > 0;
        chosen = [options] { return run_ls(*options); };
    });
}

} // namespace zuk::tool
