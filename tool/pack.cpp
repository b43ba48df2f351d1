// zuk pack: a dictionary without the room that nobody uses.

#include "tool/commands.h"
#include "tool/json.h"
#include "tool/messages.h"
#include "tool/pack_file.h"

namespace zuk::tool {

struct PackOptions {
    std::string file, new_file;
    bool force = false, dry_run = false, json = false;
};

static std::string words_of_saving(const PackReport &report)
{
    i64 saved = report.bytes_before - report.bytes_after;
    if (saved < 0) return counted((size_t)-saved, "byte") + " more";
    return counted((size_t)saved, "byte") + " saved";
}

static int run_pack(const PackOptions &options)
{
    PackReport report = pack_dictionary(options.file, options.new_file, options.force, options.dry_run);
    if (options.json) {
        put_json({ { "dryRun", options.dry_run }, { "file", options.file }, { "new", options.new_file },
                   { "bytesBefore", report.bytes_before }, { "bytesAfter", report.bytes_after },
                   { "saved", report.bytes_before - report.bytes_after }, { "modules", report.modules },
                   { "resources", report.resources } });
    }
    say(options.new_file + ": " + (options.dry_run ? "would be: " : "") +
        counted((size_t)report.bytes_after, "byte") + ", " + words_of_saving(report) + "; " +
        counted(report.modules, "module") + ", " + counted(report.resources, "resource"));
    return EXIT_DONE;
}

void declare_pack(CLI::App &app, Work &chosen)
{
    auto options = std::make_shared<PackOptions>();
    CLI::App *command = declare(app, "pack", "Copy a dictionary without the room that nobody uses in it.",
                                "  zuk pack orders.dic packed.dic\n"
                                "  zuk pack orders.dic packed.dic --dry-run");
    command->add_option("FILE", options->file, "the dictionary; it is only read")->required();
    command->add_option("NEW", options->new_file, "the packed one")->required();
    command->add_flag("-f,--force", options->force, "replace a file that stands there");
    command->add_flag("-n,--dry-run", options->dry_run, "only tell the sizes that there would be");
    command->add_flag("--json", options->json, "tell the sizes as JSON");
    command->callback([options, &chosen] { chosen = [options] { return run_pack(*options); }; });
}

} // namespace zuk::tool
