// zuk change: another name or another body for what is there.

#include "tool/commands.h"
#include "tool/dictionary.h"
#include "tool/messages.h"
#include "tool/paths.h"

namespace zuk::tool {

struct ChangeOptions {
    std::string file, coordinates, name, body;
    bool has_name = false, escaped = false;
};

static void change_module(const Dictionary &dictionary, const Coordinates &at, const std::string *name,
                          const Handle &body)
{
    u16 type = own_type(dictionary, at);
    if (type) {
        change_resource(dictionary, coordinates_of(at.kind, at.module, type, (i16)at.module), name, body);
        return;
    }
    if (body.value && module_exists(dictionary, at)) {
        fail(EXIT_TROUBLE, dictionary.thing(at), "no resource stands for this module, so it has no body");
    }
    rename_module(dictionary, at, name ? *name : "");
}

static int run_change(const ChangeOptions &options)
{
    Coordinates at = parse_coordinates(options.coordinates);
    std::string thing = options.file + ": " + options.coordinates;
    if (at.levels != 2 && at.levels != 4) {
        fail(EXIT_TROUBLE, thing, "only a module and a resource can be changed: KIND/MODULE or KIND/MODULE/TYPE/ID");
    }
    if (!options.has_name && options.body.empty()) fail(EXIT_TROUBLE, thing, "give a new --name, a new body, or both");
    std::string name = name_argument(options.name, options.escaped);
    if (options.has_name) check_name(thing, name);
    Handle body(options.body.empty() ? std::string() : read_all(options.body));
    if (!options.body.empty() && !body.value) {
        fail(EXIT_TROUBLE, thing, "the new body is empty, and a body cannot be emptied by a change; remove and add it");
    }

    check_kind_1(thing, at);

    Dictionary dictionary(options.file, DICT_EXCLUSIVE);
    const std::string *new_name = options.has_name ? &name : nullptr;
    if (at.levels == 2) change_module(dictionary, at, new_name, body);
    else change_resource(dictionary, at, new_name, body);
    return EXIT_DONE;
}

void declare_change(CLI::App &app, Work &chosen)
{
    auto options = std::make_shared<ChangeOptions>();
    CLI::App *command = declare(app, "change", "Change the name or the body of a resource, or the name of a module.",
                                "  zuk change orders.dic 2/100/1/7 new.txt\n"
                                "  zuk change orders.dic 2/100/1/7 --name Farewell\n"
                                "  zuk change orders.dic 2/100 --name Texts");
    command->add_option("FILE", options->file, "the dictionary")->required();
    command->add_option("COORDINATES", options->coordinates, "KIND/MODULE/TYPE/ID or KIND/MODULE")->required();
    command->add_option("BODY", options->body, "file with the new body; - is standard input");
    CLI::Option *name = command->add_option("--name", options->name, "the new name, 1 to 254 bytes; of a module, 79");
    command->add_flag("--escaped", options->escaped, "the name is written as ls shows it, with \\xHH for odd bytes");
    command->callback([options, name, &chosen] {
        options->has_name = name->count() > 0;
        chosen = [options] { return run_change(*options); };
    });
}

} // namespace zuk::tool
