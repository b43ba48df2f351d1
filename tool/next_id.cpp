// zuk next-id: the identifier that the library would give to the next resource of a type.

#include "tool/commands.h"
#include "tool/dictionary.h"
#include "tool/json.h"
#include "tool/messages.h"
#include "tool/terminal.h"

namespace zuk::tool {

struct NextIdOptions {
    std::string file, coordinates;
    bool local = false, json = false;
};

static int run_next_id(const NextIdOptions &options)
{
    Coordinates at = parse_coordinates(options.coordinates);
    std::string thing = options.file + ": " + options.coordinates;
    if (at.levels != 3) fail(EXIT_TROUBLE, thing, "identifiers belong to a type: KIND/MODULE/TYPE");
    check_kind_1(thing, at);

    Dictionary dictionary(options.file, DICT_READ_ONLY);
    i16 id = next_free_id(dictionary, at, options.local);
    if (options.json) put_json({ { "coordinates", text_of(at) }, { "local", options.local }, { "id", id } });
    else put(std::to_string(id) + "\n");
    return EXIT_DONE;
}

void declare_next_id(CLI::App &app, Work &chosen)
{
    auto options = std::make_shared<NextIdOptions>();
    CLI::App *command = declare(app, "next-id",
                                "Tell the next free identifier of a type; of types 2 and 23 the next module number. "
                                "Nothing is reserved.",
                                "  zuk next-id orders.dic 2/100/1\n"
                                "  zuk next-id orders.dic \"1/Financial Strings/9\"\n"
                                "  zuk next-id orders.dic 2/100/1 --local");
    command->add_option("FILE", options->file, "the dictionary")->required();
    command->add_option("COORDINATES", options->coordinates, "KIND/MODULE/TYPE")->required();
    command->add_flag("--local", options->local, "of the local range, which begins with 20000");
    command->add_flag("--json", options->json, "as JSON");
    command->callback([options, &chosen] { chosen = [options] { return run_next_id(*options); }; });
}

} // namespace zuk::tool
