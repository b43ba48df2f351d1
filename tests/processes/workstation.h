// What a test and the program `workstation` must agree on, beside the commands that stand in workstation.cpp.
#pragma once

constexpr int WORKSTATION_CRASHED = 3;   // the exit status after `crash`
