// Text in columns, each as wide as what it holds.
#pragma once

#include <string>
#include <vector>

namespace zuk::tool {

struct Column {
    const char *title;
    bool right = false;   // numbers stand at the right edge
};

// One row has a cell for each column. The last column is not padded.
using Row = std::vector<std::string>;

// Print the titles and the rows on standard output. Without rows nothing is printed.
void print_table(const std::vector<Column> &columns, const std::vector<Row> &rows);

} // namespace zuk::tool
