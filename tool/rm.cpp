// zuk rm: take out a resource, or a module with all that is in it.

#include "engine/resources.h"
#include "tool/commands.h"
#include "tool/dictionary.h"
#include "tool/escape.h"
#include "tool/json.h"
#include "tool/messages.h"
#include "tool/terminal.h"

namespace zuk::tool {

struct RmOptions {
    std::string file, coordinates;
    bool force = false, dry_run = false, json = false;
};

// Resources of a module beside the one that stands for it.
static size_t others_in(const ModuleFacts &module)
{
    size_t others = 0;
    for (const TypeFacts &type : module.types) {
        for (const ResourceFacts &resource : type.resources) {
            bool own = (type.type == 2 || type.type == 23) && resource.id == module.module;
            others += !own;
        }
    }
    return others;
}

// What goes, on standard output.
static void tell(const RmOptions &options, const ModuleFacts &module, const Coordinates &at)
{
    Counts counts;
    count(&counts, module);
    std::vector<std::string> lines;
    if (at.levels == 2) lines.push_back(text_of(at));
    for (const TypeFacts &type : module.types) {
        for (const ResourceFacts &resource : type.resources) {
            lines.push_back(text_of(coordinates_of(module.kind, module.module, type.type, resource.id)));
        }
    }
    if (options.json) {
        Json report = { { "dryRun", options.dry_run }, { "removed", lines },
                                  { "resources", counts.resources }, { "bodyBytes", counts.body_bytes } };
        put_json(report);
    } else if (options.dry_run) {
        for (const std::string &line : lines) put("remove " + line + "\n");
    }
}

static int run_rm(const RmOptions &options)
{
    Coordinates at = parse_coordinates(options.coordinates);
    std::string thing = options.file + ": " + options.coordinates;
    if (at.levels != 2 && at.levels != 4) {
        fail(EXIT_TROUBLE, thing, "only a module and a resource can be removed: KIND/MODULE or KIND/MODULE/TYPE/ID");
    }
    if (at.levels == 4 && (at.type == 2 || at.type == 23)) {
        fail(EXIT_TROUBLE, thing, "a resource of type 2 or 23 stands for its module, and goes with it: remove " +
                                      text_of(coordinates_of(at.kind, at.module)));
    }

    bool is_core_module = at.levels == 2 && at.kind == 1 && at.module == CORE_TABLES_MODULE;
    if (is_core_module) fail(EXIT_TROUBLE, thing, "it holds the core tables, which the library keeps itself");
    check_kind_1(thing, at);

    Dictionary dictionary(options.file, options.dry_run ? DICT_READ_ONLY : DICT_EXCLUSIVE);
    ModuleFacts module = read_facts(dictionary, at).front();
    size_t others = at.levels == 2 ? others_in(module) : 0;
    if (others && !options.force) {
        std::string reason = "the module holds " + counted(others, "resource") + "; --force removes them with it";
        if (!options.dry_run) fail(EXIT_REFUSED, thing, reason);
        say("zuk: " + thing + ": " + reason);
    }
    if (!options.dry_run && at.levels == 2) remove_module(dictionary, at);
    if (!options.dry_run && at.levels == 4) remove_resource(dictionary, at);
    tell(options, module, at);
    return EXIT_DONE;
}

void declare_rm(CLI::App &app, Work &chosen)
{
    auto options = std::make_shared<RmOptions>();
    CLI::App *command = declare(app, "rm", "Remove a resource, or a module with all that is in it.",
                                "  zuk rm orders.dic 2/100/1/7\n"
                                "  zuk rm orders.dic 2/100 --dry-run\n"
                                "  zuk rm orders.dic 2/100 --force");
    command->add_option("FILE", options->file, "the dictionary")->required();
    command->add_option("COORDINATES", options->coordinates, "KIND/MODULE/TYPE/ID or KIND/MODULE")->required();
    command->add_flag("-f,--force", options->force, "remove a module although it holds resources");
    command->add_flag("-n,--dry-run", options->dry_run, "only tell what would be removed");
    command->add_flag("--json", options->json, "tell it as JSON");
    command->callback([options, &chosen] { chosen = [options] { return run_rm(*options); }; });
}

} // namespace zuk::tool
