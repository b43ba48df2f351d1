// What a test and the program `workstation` must agree on, beside the commands that stand in workstation.cpp.
#pragma once

constexpr int WORKSTATION_CRASHED = 3;         // the exit status after `crash`

// Where `work` works, and how much there is of it at most: who prepares a file makes room for all of it.
constexpr int WORK_MODULE = 101;               // of kind 2
constexpr unsigned short WORK_TYPE = 1;
constexpr unsigned WORKERS_MOST = 8;           // numbered from 0
constexpr unsigned WORK_RESOURCES = 20;        // of each worker: identifiers from worker * 20 + 1 on
constexpr unsigned WORK_LONGEST = 400;         // bytes of a body, beside a few in front
