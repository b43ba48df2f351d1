// zuk get: the body or the name of a resource, byte for byte.

#include "tool/commands.h"
#include "tool/dictionary.h"
#include "tool/messages.h"
#include "tool/paths.h"
#include "tool/terminal.h"

namespace zuk::tool {

struct GetOptions {
    std::string file, coordinates, output = "-";
    bool name = false, force = false;
};

static void refuse_output(const GetOptions &options)
{
    std::error_code ignored;
    if (fs::equivalent(options.output, options.file, ignored)) {
        fail(EXIT_TROUBLE, options.output, "the output would replace the dictionary itself");
    }
    if (path_kind(options.output) != PathKind::nothing && !options.force) {
        fail(EXIT_REFUSED, options.output, "there is such a file already; --force replaces it");
    }
}

static int run_get(const GetOptions &options)
{
    Coordinates at = parse_coordinates(options.coordinates);
    if (options.name ? at.levels != 4 && at.levels != 2 : at.levels != 4) {
        fail(EXIT_TROUBLE, options.coordinates,
             options.name ? "only a module and a resource have a name" : "a body needs KIND/MODULE/TYPE/ID");
    }
    bool to_file = options.output != "-";
    if (to_file) refuse_output(options);
    fs::path output = to_file ? absolute_path(options.output) : fs::path();

    Dictionary dictionary(options.file, DICT_READ_ONLY);
    Handle body;
    std::string name;
    if (options.name) {
        std::vector<ModuleFacts> found = read_facts(dictionary, at);
        name = at.levels == 2 ? found[0].name : found[0].types[0].resources[0].name;
    } else {
        body = read_body(dictionary, at);
    }
    std::string_view bytes = options.name ? std::string_view(name) : body.bytes();
    if (to_file) write_file(output, options.output, bytes.data(), bytes.size());
    else put(bytes.data(), bytes.size());
    if (options.name && !to_file && output_is_terminal()) put("\n");
    return EXIT_DONE;
}

void declare_get(CLI::App &app, Work &chosen)
{
    auto options = std::make_shared<GetOptions>();
    CLI::App *command = declare(app, "get", "Write the body of a resource to standard output, byte for byte.",
                                "  zuk get orders.dic 2/100/1/7 > greeting.txt\n"
                                "  zuk get orders.dic 2/100/1/7 --name");
    command->add_option("FILE", options->file, "the dictionary")->required();
    command->add_option("COORDINATES", options->coordinates, "KIND/MODULE/TYPE/ID")->required();
    command->add_flag("--name", options->name, "write the name instead, of a resource or of a module");
    command->add_option("-o,--output", options->output, "write to this file; - is standard output");
    command->add_flag("-f,--force", options->force, "replace a file that stands there");
    command->callback([options, &chosen] { chosen = [options] { return run_get(*options); }; });
}

} // namespace zuk::tool
