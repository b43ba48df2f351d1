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
    std::string file, coordinates;
    bool recursive = false, json = false;
};

// What the listing shows for some coordinates.
enum class Level { modules, types, resources };

static std::string flags_text(u8 flags)
{
    static const char digits[] = "0123456789ABCDEF";
    return { digits[flags >> 4], digits[flags & 15] };
}

// ---- Tables ---------------------------------------------------------------------------------------------------------

// Each kind ahead of its modules.
static void print_modules(const std::vector<ModuleFacts> &modules, bool with_kinds)
{
    std::vector<Row> rows;
    i32 kind = 0;
    for (const ModuleFacts &module : modules) {
        if (with_kinds && module.kind != kind) {
            kind = module.kind;
            Counts all;
            for (const ModuleFacts &other : modules) {
                if (other.kind == kind) count(&all, other);
            }
            rows.push_back({ std::to_string(kind), counted(all.modules, "module"), std::to_string(all.resources),
                             std::to_string(all.body_bytes), "" });
        }
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

static void print_resources(const std::vector<ModuleFacts> &modules)
{
    std::vector<Row> rows;
    for (const ModuleFacts &module : modules) {
        for (const TypeFacts &type : module.types) {
            for (const ResourceFacts &resource : type.resources) {
                rows.push_back({ text_of(coordinates_of(module.kind, module.module, type.type, resource.id)),
                                 flags_text(resource.flags), std::to_string(resource.body_size),
                                 escape(resource.name) });
            }
        }
    }
    print_table({ { "COORDINATES" }, { "FLAGS" }, { "BYTES", true }, { "NAME" } }, rows);
}

// ---- JSON -----------------------------------------------------------------------------------------------------------

// Names are in their escaped form: JSON has no place for bytes that are no text.
static Json json_of(const ModuleFacts &module, const TypeFacts &type, const ResourceFacts &resource)
{
    return { { "coordinates", text_of(coordinates_of(module.kind, module.module, type.type, resource.id)) },
             { "kind", module.kind }, { "module", module.module }, { "type", type.type }, { "id", resource.id },
             { "flags", resource.flags }, { "bytes", resource.body_size }, { "name", escape(resource.name) } };
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
    return { { "coordinates", text_of(coordinates_of(module.kind, module.module)) }, { "kind", module.kind },
             { "module", module.module }, { "types", counts.types }, { "resources", counts.resources },
             { "bytes", counts.body_bytes }, { "name", escape(module.name) } };
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

static int run_ls(const LsOptions &options)
{
    Coordinates at = options.coordinates.empty() ? Coordinates() : parse_coordinates(options.coordinates);
    Dictionary dictionary(options.file, DICT_READ_ONLY);
    std::vector<ModuleFacts> modules = read_facts(dictionary, at);
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
                                "  zuk ls orders.dic --recursive --json");
    command->add_option("FILE", options->file, "the dictionary")->required();
    command->add_option("COORDINATES", options->coordinates, "KIND/MODULE/TYPE/ID, or fewer levels");
    command->add_flag("-r,--recursive", options->recursive, "list all resources below");
    command->add_flag("--json", options->json, "as JSON; names are escaped as in the listing");
    command->callback([options, &chosen] { chosen = [options] { return run_ls(*options); }; });
}

} // namespace zuk::tool
