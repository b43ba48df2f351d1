#include "tool/commands.h"

#include "tool/escape.h"
#include "tool/messages.h"
#include "tool/terminal.h"

namespace zuk::tool {

CLI::App *declare(CLI::App &app, const std::string &name, const std::string &purpose, const std::string &examples)
{
    CLI::App *command = app.add_subcommand(name, purpose);
    command->allow_windows_style_options(false);
    command->add_flag_callback("-q,--quiet", [] {
        set_quiet(true);
        turn_progress_off(true);
    }, "say nothing but errors");
    command->add_flag_callback("--no-progress", [] { turn_progress_off(true); }, "show no progress");
    command->footer("Example:\n" + examples);
    return command;
}

std::string name_argument(const std::string &text, bool escaped)
{
    if (!escaped) return text;
    std::string bytes;
    if (!unescape(text, &bytes)) {
        fail(EXIT_TROUBLE, text,
             "with --escaped a name is printable ASCII, \\\\ for a backslash and \\xHH for other bytes");
    }
    return bytes;
}

} // namespace zuk::tool
