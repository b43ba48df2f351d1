// zuk check: every structure of a dictionary, verified from the raw bytes.

#include "tool/check_file.h"
#include "tool/commands.h"
#include "tool/json.h"
#include "tool/messages.h"
#include "tool/terminal.h"

namespace zuk::tool {

struct CheckOptions {
    std::string file;
    bool json = false;
};

static Json json_of(const std::vector<Finding> &findings)
{
    Json rows = Json::array();
    for (const Finding &finding : findings) {
        rows.push_back({ { "offset", finding.offset }, { "place", finding.place }, { "text", finding.text } });
    }
    return rows;
}

static void print(const char *word, const std::vector<Finding> &findings, size_t left_out)
{
    for (const Finding &finding : findings) {
        put(std::string(word) + " at " + std::to_string(finding.offset) + ": " + finding.place + ": " + finding.text +
            "\n");
    }
    if (left_out) put(std::string(word) + "s left out: " + std::to_string(left_out) + " more\n");
}

static int run_check(const CheckOptions &options)
{
    CheckReport report = check_file(options.file, options.file);
    size_t faults = report.faults.size() + report.faults_left_out;
    size_t notes = report.notes.size() + report.notes_left_out;
    if (options.json) {
        put_json({ { "file", options.file }, { "bytes", report.file_size }, { "sound", faults == 0 },
                   { "blocks", report.blocks }, { "modules", report.modules }, { "resources", report.resources },
                   { "faults", json_of(report.faults) }, { "faultsLeftOut", report.faults_left_out },
                   { "notes", json_of(report.notes) }, { "notesLeftOut", report.notes_left_out } });
    } else {
        print("fault", report.faults, report.faults_left_out);
        print("note", report.notes, report.notes_left_out);
    }
    say(options.file + ": " + (faults ? counted(faults, "fault") : "sound") +
        (notes ? ", " + counted(notes, "note") : "") + "; " + counted(report.blocks, "block") + ", " +
        counted(report.modules, "module") + ", " + counted(report.resources, "resource") + " in " +
        counted((size_t)report.file_size, "byte"));
    return faults ? EXIT_DAMAGE : EXIT_DONE;
}

void declare_check(CLI::App &app, Work &chosen)
{
    auto options = std::make_shared<CheckOptions>();
    CLI::App *command = declare(app, "check",
                                "Verify every structure of a dictionary from its raw bytes. A fault ends with status "
                                "1; a note tells what the library leaves behind by its own rules.",
                                "  zuk check orders.dic\n"
                                "  zuk check orders.dic --json");
    command->add_option("FILE", options->file, "the dictionary; it is never changed")->required();
    command->add_flag("--json", options->json, "as JSON");
    command->callback([options, &chosen] { chosen = [options] { return run_check(*options); }; });
}

} // namespace zuk::tool
