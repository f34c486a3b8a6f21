#include "ctl/text_table.h"

#include <algorithm>

#include "foundation/xstring.h"

size_t display_width(std::string const& text) {
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char symbol) { return (static_cast<unsigned char>(symbol) & 0xC0U) != 0x80U; }));
}

void TextTable::add(std::vector<std::string> row) {
    widths_.resize(std::max(widths_.size(), row.size()));
    for (size_t at = 0; at < row.size(); ++at) {
        row[at] = xCommon::xString::Shown(row[at]);
        widths_[at] = std::max(widths_[at], display_width(row[at]));
    }
    rows_.push_back(std::move(row));
}

std::string TextTable::text() const {
    std::string result;
    for (auto const& row : rows_) {
        std::string line;
        for (size_t at = 0; at < row.size(); ++at) {
            line += row[at] + std::string(widths_[at] - display_width(row[at]) + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        result += line + "\n";
    }
    return result;
}
