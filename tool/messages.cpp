#include "tool/messages.h"

#include <cstdio>

namespace zuk::tool {

void fail(ExitStatus exit, const std::string &thing, const std::string &reason)
{
    throw Failure(exit, thing.empty() ? reason : thing + ": " + reason);
}

void fail_with(DictStatus status, const std::string &thing, const std::string &reason)
{
    fail(exit_of(status), thing, (reason.empty() ? words_of(status) : reason) + status_note(status));
}

std::string status_note(DictStatus status) { return " (status " + std::to_string(status) + ")"; }

std::string words_of(DictStatus status)
{
    switch (status) {
    case DICT_OK: return "all is well";
    case DICT_EXISTS: return "it is there already";
    case DICT_NOT_FOUND: return "it is not there";
    case DICT_NOT_A_DICTIONARY: return "it is no dictionary";
    case DICT_NO_FILE: return "there is no such file";
    case DICT_NOT_OPEN: return "the file is not open";
    case DICT_NO_MEMORY: return "there is not enough memory, or no room for another block";
    case DICT_ACCESS_DENIED: return "access was denied";
    case DICT_TOO_MANY_FILES: return "too many files are open";
    case DICT_BAD_POSITION: return "the file ends before what its tables tell";
    case DICT_NO_ROOM: return "there is no room left";
    case DICT_NO_NAME: return "no file name was given";
    case DICT_NOT_STARTED: return "the library could not be started";
    case DICT_ALREADY_OPEN: return "it is open already";
    case DICT_BAD_NAME: return "the name is empty, or the identifier below 1";
    case DICT_LOCKED_OUT: return "somebody else holds the lock";
    default: return "it failed";
    }
}

ExitStatus exit_of(DictStatus status)
{
    switch (status) {
    case DICT_OK: return EXIT_DONE;
    case DICT_EXISTS: return EXIT_REFUSED;
    case DICT_NOT_FOUND:
    case DICT_NO_FILE: return EXIT_NOT_FOUND;
    case DICT_BAD_POSITION: return EXIT_DAMAGE;
    case DICT_LOCKED_OUT: return EXIT_LOCKED;
    default: return EXIT_TROUBLE;
    }
}

std::string counted(size_t count, const std::string &word, const std::string &plural)
{
    std::string many = plural.empty() ? word + "s" : plural;
    return std::to_string(count) + " " + (count == 1 ? word : many);
}

static bool is_quiet = false;

void set_quiet(bool quiet) { is_quiet = quiet; }

void say(const std::string &line)
{
    if (!is_quiet) fprintf(stderr, "%s\n", line.c_str());
}

} // namespace zuk::tool
