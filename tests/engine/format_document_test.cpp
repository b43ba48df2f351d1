// The file that docs/format.md shows byte by byte is the one that the library makes.
#include "engine/module_table.h"
#include "tests/engine/slot_dictionary.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace zuk {

// One line of the dump: "    26EE  01 00  05 00 ...    what it means", the place and the bytes there. False if a line
// is none.
static bool read_line(const std::string &line, size_t *place, std::string *bytes)
{
    if (line.compare(0, 4, "    ") != 0) return false;
    std::istringstream words(line);
    std::string word;
    words >> word;
    if (word.size() != 4 || word.find_first_not_of("0123456789ABCDEF") != std::string::npos) return false;
    *place = std::stoul(word, nullptr, 16);
    bytes->clear();
    while (words >> word) {
        if (word.size() != 2 || word.find_first_not_of("0123456789ABCDEF") != std::string::npos) break;
        *bytes += (char)std::stoul(word, nullptr, 16);
    }
    return !bytes->empty();
}

TEST(format_document, shows_the_bytes_of_a_real_file)
{
    SlotDictionary dictionary;
    ASSERT_EQ(module_create(dictionary, 2, 100, Name("Orders")), (DictStatus)DICT_OK);
    ASSERT_EQ(dictionary.add(2, 100, 1, 7, "Title", "Open orders\r\n"), (DictStatus)DICT_OK);
    dictionary.close();
    std::string file = dictionary.bytes();
    ASSERT_EQ(file.size(), 9952u + 1086u);

    std::ifstream document(ZUK_SOURCE_DIR "/docs/format.md");
    ASSERT_TRUE(document);
    std::string line, bytes;
    size_t place = 0;
    u32 lines = 0;
    while (std::getline(document, line)) {
        if (!read_line(line, &place, &bytes)) continue;
        lines++;
        ASSERT_LE(place + bytes.size(), file.size()) << line;
        EXPECT_EQ(file.substr(place, bytes.size()), bytes) << line;
        file.replace(place, bytes.size(), bytes.size(), '\0');
    }
    EXPECT_EQ(lines, 16u);

    // Lines of zeros are left out, and so are the remains at 4930.
    file.replace(4930, 926, 926, '\0');
    EXPECT_EQ(file.find_first_not_of('\0'), std::string::npos);
}

} // namespace zuk
