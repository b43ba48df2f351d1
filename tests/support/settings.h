// A settings file for the length of a test, in a Windows directory that is the test's own.
#pragma once

#include "tests/support/faults.h"
#include "tests/support/temp_dir.h"

#include <string>

namespace zuk {

// Without a call of `put` there is no file. Until `settings_init` a file in the current directory would come first; no
// test leaves one there.
struct SettingsHome {
    TempDir dir;

    SettingsHome() { virtual_windows_directory(dir.native()); }
    explicit SettingsHome(const std::string &keys) : SettingsHome() { put(keys); }
    ~SettingsHome() { virtual_windows_directory(""); }

    // Make or replace the file: one section with these lines.
    void put(const std::string &keys) { (void)dir.put("ZUK.INI", "[General]\r\n" + keys); }
    std::string content() const { return dir.content("ZUK.INI"); }
    bool exists() const { return dir.has("ZUK.INI"); }
};

} // namespace zuk
