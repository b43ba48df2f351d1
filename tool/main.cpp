// zuk: dictionaries from the command line.
//
//   zuk COMMAND FILE ...
//
// Exit status: 0 done, 1 differences or damage, 2 wrong use or trouble, 3 not found, 4 locked out, 5 refused.

#include "settings/settings.h"
#include "tool/commands.h"
#include "tool/messages.h"
#include "tool/terminal.h"
#include "zuk/zuk.h"

#include <cstdio>
#include <new>

using namespace zuk::tool;

// The parser's complaint as one sentence.
static int complain(const CLI::App &app, const CLI::ParseError &error, const char *first)
{
    std::string words = error.what();
    bool is_word = first && first[0] != '-';
    auto is_named = [&](const CLI::App *command) { return is_word && command->get_name() == first; };
    bool is_command = !app.get_subcommands(is_named).empty();
    if (is_word && !is_command) words = std::string(first) + ": there is no such command";
    while (!words.empty() && (words.back() == '\n' || words.back() == '.')) words.pop_back();
    for (char &character : words) {
        if (character == '\n') character = ' ';
    }
    std::string command = is_command ? first + std::string(" ") : "";
    fprintf(stderr, "zuk: %s; see zuk %s--help\n", words.c_str(), command.c_str());
    return EXIT_TROUBLE;
}

static int run(int argc, char **argv)
{
    CLI::App app("Make, look at and change dictionaries: files of named resources, kept in modules by type.", "zuk");
    app.allow_windows_style_options(false);  // a path may begin with a slash
    app.set_version_flag("--version", "zuk " ZUK_VERSION);
    app.require_subcommand(1);
    app.footer("Resources are named by KIND/MODULE/TYPE/ID, as in 2/100/1/7.\n"
               "Example:\n"
               "  zuk create orders.dic\n"
               "  zuk COMMAND --help        tells more, with examples");

    Work chosen;
    declare_create(app, chosen);
    declare_info(app, chosen);
    declare_ls(app, chosen);
    declare_get(app, chosen);
    declare_add(app, chosen);
    declare_change(app, chosen);
    declare_rm(app, chosen);
    declare_export(app, chosen);
    declare_import(app, chosen);
    declare_next_id(app, chosen);
    declare_check(app, chosen);
    declare_pack(app, chosen);
    declare_settings(app, chosen);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        // Help and version are "errors" with status 0.
        return error.get_exit_code() == 0 ? app.exit(error) : complain(app, error, argc > 1 ? argv[1] : nullptr);
    }
    int result = chosen();
    finish_output();
    return result;
}

int main(int argc, char **argv)
{
    prepare_streams();
    zuk::settings_init(nullptr);  // a settings file beside the program comes first
    int result = EXIT_TROUBLE;
    try {
        result = run(argc, argv);
    } catch (const Failure &failure) {
        (void)fflush(stdout);  // what was written before it stands before it
        fprintf(stderr, "zuk: %s\n", failure.what());
        result = failure.exit;
    } catch (const std::bad_alloc &) {
        fputs("zuk: there is not enough memory\n", stderr);
    } catch (const std::exception &error) {
        fprintf(stderr, "zuk: %s\n", error.what());
    }
    dd_term();
    return result;
}
