// Any format and any text for the scanner, and the text as a number.
//
// Each pointer leads to as many bytes as a conversion may write, and no more, so that the sanitizers see the first one
// behind them; source and format have their exact sizes, too. The target itself refuses, by a trap, a source that is
// not the same afterwards, and a number that does not come back from its own text.
//
//   | length of the format | format | the text |
#include "foundation/format.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using namespace zuk;

static void refuse(const char *what)
{
    fprintf(stderr, "%s\n", what);
    abort();
}

constexpr size_t POINTERS = 8;
constexpr size_t RESULT_SIZE = 256;  // the longest text of a source and a terminator

static void scan(std::vector<u8> source, const std::string &format)
{
    // Every conversion takes one pointer at most.
    if ((size_t)std::count(format.begin(), format.end(), '%') > POINTERS) return;

    u8 *results[POINTERS];
    for (u8 *&result : results) result = (u8 *)malloc(RESULT_SIZE);
    std::vector<u8> before = source;
    pstr_scan(source.data(), format.c_str(), results[0], results[1], results[2], results[3], results[4], results[5],
              results[6], results[7]);
    if (source != before) refuse("the source has changed");
    for (u8 *result : results) free(result);
}

static void read_numbers(std::vector<u8> source)
{
    std::vector<u8> before = source;
    i32 value = pstr_to_long(source.data());
    i32 small = pstr_to_short(source.data());
    if (source != before) refuse("a number has changed its text");
    if (small < -32767 || small > 32767) refuse("a short is too large");

    u8 text[256];
    if (pstr_to_long(long_to_pstr(text, value)) != value) refuse("a number does not come back");
    if (pstr_to_short(short_to_pstr(text, (i16)small)) != small) refuse("a short does not come back");

    std::string c_text(source.begin() + 1, source.end());
    value = str_to_long(c_text.c_str());
    char digits[16];
    long_to_str(digits, value);
    if (str_to_long(digits) != value) refuse("a number of C text does not come back");
    (void)str_to_short(c_text.c_str());
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0) return 0;
    size_t format_size = std::min((size_t)data[0], size - 1);
    std::string format((const char *)data + 1, format_size);
    size_t text_size = std::min((size_t)255, size - 1 - format_size);
    std::vector<u8> source(1 + text_size);
    source[0] = (u8)text_size;
    if (text_size) memcpy(source.data() + 1, data + 1 + format_size, text_size);

    scan(source, format);
    scan(source, "%2x");  // the format of collating files
    scan(source, "%d");   // and of settings
    read_numbers(source);
    return 0;
}
