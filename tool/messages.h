// What the tool says, and with what status it ends.
//
// A command that cannot do its work throws a `Failure`: main prints its sentence, `zuk: THING: REASON (status N)`, on
// standard error and ends with its exit status. Words about work that was done go to standard error too, through `say`.
#pragma once

#include "zuk/zuk.h"

#include <stdexcept>
#include <string>

namespace zuk::tool {

enum ExitStatus : int {
    EXIT_DONE = 0,
    EXIT_DAMAGE = 1,       // differences or damage found
    EXIT_TROUBLE = 2,      // wrong use, or the system did not do its part
    EXIT_NOT_FOUND = 3,
    EXIT_LOCKED = 4,       // somebody else has the file
    EXIT_REFUSED = 5,      // it would overwrite or harm
};

struct Failure : std::runtime_error {
    ExitStatus exit;
    Failure(ExitStatus status, const std::string &sentence) : std::runtime_error(sentence), exit(status) {}
};

// `thing` is a path, or a path and what is meant in it: "orders.dic: 2/100/1/7".
[[noreturn]] void fail(ExitStatus exit, const std::string &thing, const std::string &reason);

// The same with the engine's status behind it, which also chooses the exit status and, without a `reason`, the words.
[[noreturn]] void fail_with(DictStatus status, const std::string &thing, const std::string &reason = "");

// " (status 3)"
std::string status_note(DictStatus status);
// What a status means, in the words of a sentence: "there is no such file".
std::string words_of(DictStatus status);
ExitStatus exit_of(DictStatus status);

// "1 resource", "2 resources"; the plural of a word in -y or -s is given whole.
std::string counted(size_t count, const std::string &word, const std::string &plural = "");

// One line for people on standard error, unless `set_quiet`.
void say(const std::string &line);
void set_quiet(bool quiet);

} // namespace zuk::tool
