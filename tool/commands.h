// The subcommands: each file of a command declares its arguments to the parser and, when it is the one given, leaves
// its work in `chosen`. main runs that work; its result is the exit status.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

namespace zuk::tool {

using Work = std::function<int()>;

void declare_create(CLI::App &app, Work &chosen);
void declare_info(CLI::App &app, Work &chosen);
void declare_ls(CLI::App &app, Work &chosen);
void declare_get(CLI::App &app, Work &chosen);
void declare_add(CLI::App &app, Work &chosen);
void declare_change(CLI::App &app, Work &chosen);
void declare_rm(CLI::App &app, Work &chosen);
void declare_export(CLI::App &app, Work &chosen);
void declare_import(CLI::App &app, Work &chosen);
void declare_next_id(CLI::App &app, Work &chosen);
void declare_check(CLI::App &app, Work &chosen);
void declare_pack(CLI::App &app, Work &chosen);
void declare_settings(CLI::App &app, Work &chosen);

// A subcommand with the options that all of them have, and an example at the end of its help.
CLI::App *declare(CLI::App &app, const std::string &name, const std::string &purpose, const std::string &examples);

// An argument that is a name: as it stands, or with `escaped` in the form of tool/escape.h. Throws for a wrong form.
std::string name_argument(const std::string &text, bool escaped);

} // namespace zuk::tool
