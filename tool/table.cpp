#include "tool/table.h"

#include "tool/terminal.h"

#include <algorithm>

namespace zuk::tool {

static void append_cell(std::string *line, const std::string &cell, const Column &column, size_t width, bool last)
{
    std::string padding(width - cell.size(), ' ');
    if (column.right) *line += padding;
    *line += cell;
    if (!column.right && !last) *line += padding;
}

void print_table(const std::vector<Column> &columns, const std::vector<Row> &rows)
{
    if (rows.empty()) return;

    std::vector<size_t> widths;
    for (const Column &column : columns) widths.push_back(std::string(column.title).size());
    for (const Row &row : rows) {
        for (size_t i = 0; i < columns.size(); i++) widths[i] = std::max(widths[i], row[i].size());
    }

    Row titles;
    for (const Column &column : columns) titles.push_back(column.title);
    auto print = [&](const Row &row, const char *before, const char *after) {
        std::string line = before;
        for (size_t i = 0; i < columns.size(); i++) {
            if (i) line += "  ";
            append_cell(&line, row[i], columns[i], widths[i], i + 1 == columns.size());
        }
        while (!line.empty() && line.back() == ' ' && row.back().empty()) line.pop_back();
        put(line + after + "\n");
    };
    bool colour = colour_is_wanted();
    print(titles, colour ? "\033[1m" : "", colour ? "\033[0m" : "");
    for (const Row &row : rows) print(row, "", "");
}

} // namespace zuk::tool
