// A fresh directory for one test, removed with all that is in it when the object goes.
//
// Its name is short, as names are cut to 127 characters. Each file in it has a portable name for the library, and a
// path for the streams of the test.
#pragma once

#include "zuk/zuk.h"

#include <filesystem>
#include <string>

namespace zuk {

// A string in a buffer of its own, to hand to operations that take a PString.
struct Name {
    u8 text[256];

    Name() : text{} {}
    Name(const std::string &from);
    operator PString() { return text; }
    operator ConstPString() const { return text; }
    std::string str() const { return std::string((const char *)text + 1, text[0]); }
};

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    // The portable name of a file in this directory; of the directory itself, without a separator, for "".
    Name name(const std::string &file = "") const;
    // Its path for everything but the library.
    std::filesystem::path path(const std::string &file = "") const;
    // Its native name, separated as `filename_2_native` does it.
    std::string native(const std::string &file = "") const;

    // Make or replace a file, from outside the library.
    Name put(const std::string &file, const std::string &content) const;
    // All bytes of a file, if need be through the handle by which the library holds it alone; fails the test when it
    // cannot be read.
    std::string content(const std::string &file) const;
    bool has(const std::string &file) const;

private:
    std::filesystem::path directory;
};

} // namespace zuk
