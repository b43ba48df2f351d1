// zuk create: a new, empty dictionary.

#include "tool/commands.h"
#include "tool/dictionary.h"
#include "tool/messages.h"

namespace zuk::tool {

struct CreateOptions {
    std::string file;
    bool force = false;
};

static int run_create(const CreateOptions &options)
{
    create_dictionary(options.file, options.force);
    return EXIT_DONE;
}

void declare_create(CLI::App &app, Work &chosen)
{
    auto options = std::make_shared<CreateOptions>();
    CLI::App *command = declare(app, "create", "Make a new, empty dictionary.", "  zuk create orders.dic");
    command->add_option("FILE", options->file, "the dictionary")->required();
    command->add_flag("-f,--force", options->force, "replace a file that stands there");
    command->callback([options, &chosen] { chosen = [options] { return run_create(*options); }; });
}

} // namespace zuk::tool
