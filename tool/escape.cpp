#include "tool/escape.h"

namespace zuk::tool {

static const char hex_digits[] = "0123456789ABCDEF";

static bool stands_for_itself(char character) { return character >= ' ' && character <= '~' && character != '\\'; }

std::string escape(const std::string &bytes)
{
    std::string text;
    for (char character : bytes) {
        if (stands_for_itself(character)) {
            text += character;
        } else if (character == '\\') {
            text += "\\\\";
        } else {
            unsigned byte = (unsigned char)character;
            text += "\\x";
            text += hex_digits[byte >> 4];
            text += hex_digits[byte & 15];
        }
    }
    return text;
}

// -1 for anything but an upper-case hexadecimal digit.
static int digit_value(char character)
{
    if (character >= '0' && character <= '9') return character - '0';
    if (character >= 'A' && character <= 'F') return character - 'A' + 10;
    return -1;
}

bool unescape(const std::string &text, std::string *bytes)
{
    bytes->clear();
    for (size_t i = 0; i < text.size(); i++) {
        if (stands_for_itself(text[i])) {
            *bytes += text[i];
        } else if (text[i] != '\\') {
            return false;
        } else if (i + 1 < text.size() && text[i + 1] == '\\') {
            *bytes += '\\';
            i++;
        } else {
            if (i + 3 >= text.size() || text[i + 1] != 'x') return false;
            int high = digit_value(text[i + 2]);
            int low = digit_value(text[i + 3]);
            if (high < 0 || low < 0) return false;
            *bytes += (char)(high << 4 | low);
            i += 3;
        }
    }
    return true;
}

} // namespace zuk::tool
