// Every structure of a dictionary file, verified from its raw bytes.
//
// A fault is what breaks a rule of the format, so that something is lost, read wrongly or written over. A note is what
// the library leaves behind by its own rules: room that nobody uses, counts that run behind, tables not yet made. A
// sound file has no faults.
//
// Nothing is trusted. What a damaged record names is looked at only where it lies in the file, each block once, and all
// reads together stay within a small multiple of the file's own length.
#pragma once

#include "zuk/types.h"

#include <string>
#include <vector>

namespace zuk::tool {

struct Finding {
    i64 offset;           // in the file, of the record that tells it
    std::string place;    // "header", "block 7", "module table", "2/100/1/5"
    std::string text;     // the rest of the sentence
};

struct CheckReport {
    i64 file_size = 0;
    std::vector<Finding> faults, notes;      // at most FINDINGS_MAX of each, in the order in which they were met
    size_t faults_left_out = 0, notes_left_out = 0;
    bool sound_but_for_owners = false;       // what faults there are, are of the core tables and what they tell
    size_t blocks = 0, modules = 0, resources = 0;    // that were looked at
};
constexpr size_t FINDINGS_MAX = 10000;

// Throws a Failure, which names `shown`, when the file cannot be read or does not begin as a dictionary.
CheckReport check_file(const std::string &path, const std::string &shown);

} // namespace zuk::tool
