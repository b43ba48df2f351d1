// Names as text: printable ASCII stands for itself, a backslash is `\\`, and every other byte is `\xHH` with two
// upper-case digits. Listings, JSON and the export folder all write names in this form, and any byte survives it.
#pragma once

#include <string>

namespace zuk::tool {

std::string escape(const std::string &bytes);

// Take the form back. False when `text` is not in it; `*bytes` then holds nothing to rely on.
bool unescape(const std::string &text, std::string *bytes);

} // namespace zuk::tool
