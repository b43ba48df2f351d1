// zuk add: a new resource, or a new module.

#include "tool/commands.h"
#include "tool/dictionary.h"
#include "tool/json.h"
#include "tool/messages.h"
#include "tool/paths.h"
#include "tool/terminal.h"

namespace zuk::tool {

struct AddOptions {
    std::string file, coordinates, name, body, series;
    bool escaped = false, json = false;
};

// A module is made by the resource that stands for it, which has its number.
static Coordinates own_resource(const std::string &file, const Coordinates &at)
{
    Coordinates own = at.levels == 2 ? coordinates_of(at.kind, at.module, MODULE_TYPE, (i16)at.module) : at;
    if (at.module < 1 || at.module > ID_MAX) {
        fail(EXIT_TROUBLE, file + ": " + text_of(at), "a new module has a number from 1 to 32767");
    }
    if (at.levels == 3) own = coordinates_of(at.kind, at.module, at.type, (i16)at.module);
    if (own.id != own.module) {
        fail(EXIT_TROUBLE, file + ": " + text_of(at), "a resource of type 2 or 23 has the number of its module");
    }
    return own;
}

static int run_add(const AddOptions &options)
{
    Coordinates at = parse_coordinates(options.coordinates);
    std::string thing = options.file + ": " + options.coordinates;
    if (!options.series.empty()) at = in_series(at, parse_series(options.series), thing);
    if (at.levels < 2) fail(EXIT_TROUBLE, thing, "what is added needs KIND/MODULE or KIND/MODULE/TYPE at least");
    std::string name = name_argument(options.name, options.escaped);
    check_name(thing, name);
    Handle body(options.body.empty() ? std::string() : read_all(options.body));

    check_new_in_kind_1(thing, at);
    bool is_bare = at.kind == 1 && at.levels == 2;
    if (is_bare && body.value) {
        fail(EXIT_TROUBLE, thing, "no resource stands for a module of kind 1, so it has no body");
    }
    bool is_module = at.levels == 2 || at.type == 2 || at.type == 23;
    if (is_module && !is_bare) at = own_resource(options.file, at);
    bool chooses_id = at.levels == 3;

    Dictionary dictionary(options.file, DICT_EXCLUSIVE);
    if (chooses_id) at = coordinates_of(at.kind, at.module, at.type, next_id(dictionary, at));
    if (is_bare) add_bare_module(dictionary, at, name);
    else add_resource(dictionary, at, name, body);

    if (options.json && is_bare) put_json({ { "coordinates", text_of(at) } });
    else if (options.json) put_json({ { "coordinates", text_of(at) }, { "id", at.id } });
    else if (chooses_id) put(text_of(at) + "\n");
    return EXIT_DONE;
}

void declare_add(CLI::App &app, Work &chosen)
{
    auto options = std::make_shared<AddOptions>();
    CLI::App *command = declare(app, "add", "Add a resource, or a module. An identifier that is chosen is printed.",
                                "  zuk add orders.dic 2/100 --name Words\n"
                                "  zuk add orders.dic 2/100/1/7 --name Greeting greeting.txt\n"
                                "  echo Hello | zuk add orders.dic 2/100/1 --name Greeting -\n"
                                "  zuk add orders.dic 1/Strings/9 --series Financial --name Total total.txt");
    command->add_option("FILE", options->file, "the dictionary")->required();
    command->add_option("COORDINATES", options->coordinates,
                        "KIND/MODULE makes a module; KIND/MODULE/TYPE takes the next identifier above the highest, in "
                        "kind 1 the next free one")
        ->required();
    command->add_option("BODY", options->body, "file with the body; - is standard input; without it there is no body");
    command->add_option("--name", options->name, "the name, 1 to 254 bytes")->required();
    command->add_option("--series", options->series,
                        "in kind 1, the series that owns it, by number or word; the module is then the core type");
    command->add_flag("--escaped", options->escaped, "the name is written as ls shows it, with \\xHH for odd bytes");
    command->add_flag("--json", options->json, "print the coordinates as JSON");
    command->callback([options, &chosen] { chosen = [options] { return run_add(*options); }; });
}

} // namespace zuk::tool
