// zuk import: an export folder, or the files of any folder, into a dictionary.
//
// The road: read and test the folder; open the dictionary, or know that it is to be made; plan every step; and only
// when nothing speaks against any of them, do them one by one, on a copy of a dictionary that is there. The steps stand
// in the order of the folder, so the same folder always makes the same bytes.

#include "engine/block_io.h"
#include "engine/block_table.h"
#include "tool/commands.h"
#include "tool/dictionary.h"
#include "tool/file_beside.h"
#include "tool/import_plan.h"
#include "tool/interrupt.h"
#include "tool/json.h"
#include "tool/messages.h"
#include "tool/terminal.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

namespace zuk::tool {

struct ImportOptions {
    std::string folder, file, to, module_name;
    bool force = false, dry_run = false, json = false;
};

// ---- Doing it -------------------------------------------------------------------------------------------------------

static void do_step(const Dictionary &dictionary, const ImportStep &step)
{
    Handle body;
    if (!step.body.empty()) body = Handle(read_file(step.body, step.body.string()));
    switch (step.what) {
    case ImportStep::What::set_version: set_version(dictionary, step.version); return;
    case ImportStep::What::add_module: add_bare_module(dictionary, step.at, step.name); return;
    case ImportStep::What::rename_module: rename_module(dictionary, step.at, step.name); return;
    case ImportStep::What::remove: remove_resource(dictionary, step.at); return;
    case ImportStep::What::add: add_resource(dictionary, step.at, step.name, body); break;
    case ImportStep::What::change:
        change_resource(dictionary, step.at, step.has_name ? &step.name : nullptr, body);
        break;
    }
    if (step.has_flags) set_flags(dictionary, step.at, step.flags);
    if (step.has_owner) set_owner(dictionary, step.at, step.owner);
}

static void do_steps(const Dictionary &dictionary, const std::vector<ImportStep> &steps)
{
    Progress progress("importing", steps.size());
    for (const ImportStep &step : steps) {
        stop_if_interrupted(dictionary.shown);
        do_step(dictionary, step);
        progress.step();
    }
    // The close would write both, and tell of no failure.
    DictStatus status = block_table_flush(dictionary.file());
    if (!status) status = header_write(dictionary.file()->file, &dictionary.file()->header);
    if (status) fail_with(status, dictionary.shown, "it could not be written");
}

static void import_into_new(const ImportOptions &options, const ImportPlan &plan)
{
    fs::path path = absolute_path(options.file);
    create_dictionary(options.file, false);
    try {
        Dictionary dictionary(options.file, DICT_EXCLUSIVE);
        do_steps(dictionary, plan.steps);
    } catch (...) {
        // Nobody wants half a dictionary.
        std::error_code ignored;
        fs::remove(path, ignored);
        throw;
    }
}

// The bytes of an open dictionary in a file of their own.
static void copy_bytes(const Dictionary &dictionary, const fs::path &path)
{
    DictStatus status = block_table_flush(dictionary.file());    // the open may have made core tables
    if (status) fail_with(status, dictionary.shown);
    std::ofstream out(path, std::ios::binary);
    std::string bytes;
    i64 length = dict_length(dictionary.file());
    for (i64 done = 0; done < length && out; done += (i64)bytes.size()) {
        bytes.resize((size_t)std::min<i64>(length - done, 1 << 20));
        status = dict_read_at(dictionary.file(), (u32)done, bytes.data(), (i32)bytes.size());
        if (status) fail_with(status, dictionary.shown);
        out.write(bytes.data(), (std::streamsize)bytes.size());
    }
    out.close();
    if (out) return;
    int error = errno;
    fail(EXIT_TROUBLE, dictionary.shown, std::string("its copy for the import cannot be written beside it: ") +
                                             strerror(error));
}

// All of the steps or none: they are done on a copy, and the dictionary is held until it is replaced.
static void import_into_old(std::unique_ptr<Dictionary> dictionary, const ImportPlan &plan, const fs::path &path)
{
    if (plan.steps.empty()) return;
    std::error_code ignored;
    fs::path place = fs::weakly_canonical(path, ignored);    // a link to it stays
    std::string shown = dictionary->shown;
    FileBeside beside(place, "import");
    copy_bytes(*dictionary, beside.path);
    {
        Dictionary copy(beside.path.string(), DICT_EXCLUSIVE, shown);
        do_steps(copy, plan.steps);
    }
    stop_if_interrupted(shown);
    beside.take_rights_of(place);
#ifdef _WIN32
    dictionary.reset();    // here nothing takes the place of an open file
#endif
    beside.rename_to(place, shown);
}

// ---- The command ----------------------------------------------------------------------------------------------------

static ImportPlan make_plan(const ImportOptions &options, const fs::path &folder, const Dictionary *dictionary)
{
    ImportRequest request = { .folder = folder, .shown_folder = options.folder, .shown_file = options.file,
                              .dictionary = dictionary, .force = options.force };
    if (options.to.empty()) return plan_export_folder(request);
    return plan_plain_folder(request, parse_coordinates(options.to), options.module_name);
}

static std::string word_of(ImportStep::What what)
{
    switch (what) {
    case ImportStep::What::set_version: return "set the version";
    case ImportStep::What::add_module: return "add";
    case ImportStep::What::rename_module: return "rename";
    case ImportStep::What::remove: return "remove";
    case ImportStep::What::add: return "add";
    default: return "change";
    }
}

static void tell(const ImportOptions &options, const ImportPlan &plan)
{
    if (options.json) {
        put_json({ { "dryRun", options.dry_run }, { "modules", plan.modules_added }, { "added", plan.added },
                   { "replaced", plan.replaced }, { "bodyBytes", plan.body_bytes } });
    } else if (options.dry_run) {
        for (const ImportStep &step : plan.steps) put(word_of(step.what) + " " + text_of(step.at) + "\n");
    }
    say(options.file + ": " + (options.dry_run ? "would be: " : "") + counted(plan.added, "resource") + " added, " +
        std::to_string(plan.replaced) + " replaced, " + counted(plan.modules_added, "new module") + ", " +
        std::to_string(plan.body_bytes) + " bytes");
}

static int run_import(const ImportOptions &options)
{
    if (options.to.empty() && !options.module_name.empty()) {
        fail(EXIT_TROUBLE, "--module-name", "it goes with --to, and names the module that is made");
    }
    fs::path folder = absolute_path(options.folder);
    fs::path path = absolute_path(options.file);
    bool is_new = path_kind(path) == PathKind::nothing;
    if (is_new) {
        ImportPlan plan = make_plan(options, folder, nullptr);
        if (!options.dry_run) import_into_new(options, plan);
        tell(options, plan);
        return EXIT_DONE;
    }
    auto dictionary = std::make_unique<Dictionary>(options.file, options.dry_run ? DICT_READ_ONLY : DICT_EXCLUSIVE);
    ImportPlan plan = make_plan(options, folder, dictionary.get());
    if (!options.dry_run) import_into_old(std::move(dictionary), plan, path);
    tell(options, plan);
    return EXIT_DONE;
}

void declare_import(CLI::App &app, Work &chosen)
{
    auto options = std::make_shared<ImportOptions>();
    CLI::App *command = declare(app, "import", "Bring an export folder, or the files of any folder, into a dictionary.",
                                "  zuk import orders/ orders.dic\n"
                                "  zuk import /usr/share/doc/bash docs.dic --to 2/200/1 --module-name Manuals");
    command->add_option("DIR", options->folder, "the folder")->required();
    command->add_option("FILE", options->file, "the dictionary; made if it is missing")->required();
    command->add_option("--to", options->to, "take every file below DIR as a resource of KIND/MODULE/TYPE");
    command->add_option("--module-name", options->module_name,
                        "with --to, the name of the module if it is made; else that of the folder");
    command->add_flag("-f,--force", options->force, "replace resources that are there already");
    command->add_flag("-n,--dry-run", options->dry_run, "only tell what would be done");
    command->add_flag("--json", options->json, "tell it as JSON");
    command->callback([options, &chosen] { chosen = [options] { return run_import(*options); }; });
}

} // namespace zuk::tool
