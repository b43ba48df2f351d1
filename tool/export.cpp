// zuk export: a dictionary as a folder, or the resources of one type as plain files.

#include "engine/resources.h"
#include "tool/commands.h"
#include "tool/dictionary.h"
#include "tool/escape.h"
#include "tool/folder.h"
#include "tool/folder_writer.h"
#include "tool/json.h"
#include "tool/messages.h"
#include "tool/plain_folder.h"

namespace zuk::tool {

struct ExportOptions {
    std::string file, folder, plain;
    bool force = false, dry_run = false, json = false;
};

// ---- What is written ------------------------------------------------------------------------------------------------

// All of the dictionary but the core tables: an import makes them of the owners. The module that holds them goes with
// them when there is nothing else to tell of it.
static std::vector<ModuleFacts> exported_facts(const Dictionary &dictionary)
{
    std::vector<ModuleFacts> modules = read_facts(dictionary, {});
    for (ModuleFacts &module : modules) {
        for (TypeFacts &type : module.types) {
            std::erase_if(type.resources, [&](const ResourceFacts &resource) {
                return is_core_table(module.kind, module.module, type.type, resource.id);
            });
        }
        std::erase_if(module.types, [](const TypeFacts &type) { return type.resources.empty(); });
    }
    std::erase_if(modules, [](const ModuleFacts &module) {
        return module.kind == 1 && module.module == CORE_TABLES_MODULE && module.types.empty() &&
               module.name == default_module_name(CORE_TABLES_MODULE);
    });
    return modules;
}

static std::vector<PlannedFile> plan_dictionary(const Dictionary &dictionary)
{
    std::vector<PlannedFile> files;
    auto add_text = [&](const std::string &name, const std::string &text) {
        files.push_back({ .name = name, .text = text, .body = {} });
    };
    // The head first: by it a later run knows what an interrupted one has left.
    add_text(FOLDER_HEAD, head_text(le_get(dictionary.file()->header.version)));
    for (const ModuleFacts &module : exported_facts(dictionary)) {
        add_text(folder_file(coordinates_of(module.kind, module.module)), module_text(module));
        for (const TypeFacts &type : module.types) {
            add_text(folder_file(coordinates_of(module.kind, module.module, type.type)),
                     resources_text(module.kind, type));
            for (const ResourceFacts &resource : type.resources) {
                if (resource.body_size == 0) continue;
                Coordinates at = coordinates_of(module.kind, module.module, type.type, resource.id);
                files.push_back({ .name = folder_file(at), .text = {}, .body = at });
            }
        }
    }
    return files;
}

static std::vector<PlannedFile> plan_plain_files(const Dictionary &dictionary, const Coordinates &type)
{
    std::vector<PlannedFile> files;
    std::vector<std::string> names;
    std::vector<ModuleFacts> facts = read_facts(dictionary, type);
    for (const ResourceFacts &resource : facts[0].types[0].resources) {
        Coordinates at = coordinates_of(type.kind, type.module, type.type, resource.id);
        std::string reason = unsafe_file_name(resource.name);
        if (!reason.empty()) {
            fail(EXIT_REFUSED, dictionary.thing(at),
                 "its name \"" + escape(resource.name) + "\" is no name of a file: " + reason);
        }
        names.push_back(resource.name);
        files.push_back({ .name = resource.name, .text = {}, .body = at });
        if (resource.body_size == 0) files.back().body = {};
    }
    std::string clash = clash_of_names(names);
    if (!clash.empty()) {
        fail(EXIT_REFUSED, dictionary.thing(type), "\"" + escape(clash) + "\" would have to be a file and a folder");
    }
    return files;
}

// ---- The command ----------------------------------------------------------------------------------------------------

// The name that the dictionary itself has in the folder; one that begins with .. when it stands elsewhere.
static std::string own_name(const fs::path &file, const fs::path &folder)
{
    std::error_code ignored;
    fs::path from = fs::weakly_canonical(folder, ignored);
    return fs::weakly_canonical(file, ignored).lexically_relative(from).generic_string();
}

// An export into its own dictionary would overwrite what it reads.
static void refuse_own_name(const FolderPlan &plan, const std::string &own)
{
    for (const PlannedFile &file : plan.files) {
        if (file.name == own) fail(EXIT_TROUBLE, plan.shown + "/" + own, "it is the dictionary itself");
    }
}

static void tell(const ExportOptions &options, const FolderReport &report)
{
    if (options.json) {
        put_json({ { "dryRun", options.dry_run }, { "written", report.written }, { "rewritten", report.rewritten },
                   { "removed", report.removed }, { "unchanged", report.unchanged } });
    } else if (options.dry_run) {
        for (const std::string &name : report.written) put("write " + escape(name) + "\n");
        for (const std::string &name : report.rewritten) put("rewrite " + escape(name) + "\n");
        for (const std::string &name : report.removed) put("remove " + escape(name) + "\n");
    }
    say(options.folder + ": " + std::string(options.dry_run ? "would be: " : "") +
        counted(report.written.size() + report.rewritten.size(), "file") + " written, " +
        std::to_string(report.unchanged) + " unchanged, " + std::to_string(report.removed.size()) + " removed");
}

static int run_export(const ExportOptions &options)
{
    Coordinates type;
    if (!options.plain.empty()) {
        type = parse_coordinates(options.plain);
        if (type.levels != 3) fail(EXIT_TROUBLE, options.plain, "--plain needs KIND/MODULE/TYPE");
    }
    FolderPlan plan = { .directory = absolute_path(options.folder), .shown = options.folder, .files = {}, .is_ours = {},
                        .force = options.force, .dry_run = options.dry_run };
    std::string own = own_name(absolute_path(options.file), plan.directory);

    Dictionary dictionary(options.file, DICT_READ_ONLY);
    plan.files = type.levels ? plan_plain_files(dictionary, type) : plan_dictionary(dictionary);
    refuse_own_name(plan, own);
    bool ours = !type.levels && is_export_folder(plan.directory);
    plan.is_ours = [ours, own](const TreeEntry &entry) {
        return ours && entry.name != own && belongs_to_folder(entry.name, entry.kind);
    };
    tell(options, write_folder(dictionary, plan));
    return EXIT_DONE;
}

void declare_export(CLI::App &app, Work &chosen)
{
    auto options = std::make_shared<ExportOptions>();
    CLI::App *command = declare(app, "export", "Write a dictionary as a folder, from which import makes an equal one.",
                                "  zuk export orders.dic orders/\n"
                                "  zuk export orders.dic pages/ --plain 2/200/1");
    command->add_option("FILE", options->file, "the dictionary")->required();
    command->add_option("DIR", options->folder, "the folder; made if it is missing")->required();
    command->add_option("--plain", options->plain,
                        "write the bodies of KIND/MODULE/TYPE instead, each to the file that its name tells");
    command->add_flag("-f,--force", options->force, "write although foreign things stand in the folder; they stay");
    command->add_flag("-n,--dry-run", options->dry_run, "only tell what would be written and removed");
    command->add_flag("--json", options->json, "tell it as JSON");
    command->callback([options, &chosen] { chosen = [options] { return run_export(*options); }; });
}

} // namespace zuk::tool
