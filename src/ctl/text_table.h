#pragma once

#include <string>
#include <vector>

/// Columns of texts, as wide as their widest one, with two blanks between them. What comes from outside is shown so
/// that it can't move the terminal.
class TextTable {
 public:
    explicit TextTable(std::vector<std::string> head) { add(std::move(head)); }
    void add(std::vector<std::string> row);
    std::string text() const;

 private:
    std::vector<std::vector<std::string>> rows_;
    std::vector<size_t> widths_;
};

/// Columns of a terminal that a UTF-8 text takes.
size_t display_width(std::string const& text);
