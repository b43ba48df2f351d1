// Ctrl-C, and the other signals by which a system asks a program to end.
//
// They end the tool at once as long as it only reads. Ahead of the first change `defer_interrupts` has them noted
// instead, so that none cuts an operation on a dictionary in two: a short work is finished, and a long one asks between
// its steps.
#pragma once

#include <string>

namespace zuk::tool {

void defer_interrupts();

// Throws a Failure that names `thing` when a signal was noted.
void stop_if_interrupted(const std::string &thing);

} // namespace zuk::tool
