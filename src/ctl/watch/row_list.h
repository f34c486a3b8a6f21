#pragma once

#include <string>
#include <vector>

#include "ctl/watch/board.h"

namespace watch {

enum class Order { name, age, errors };

/// The rows of a board that are wanted, in their order, and the one that is selected. It keeps its rows until update().
class RowList {
 public:
    explicit RowList(Board const& board) : board_(board) {}

    /// Rows whose names hold each of the words, in upper or lower case.
    void set_filter(std::string const& words);
    void set_order(Order order);
    Order order() const { return order_; }
    void set_only_faulty(bool only);
    bool only_faulty() const { return only_faulty_; }

    /// Takes up what has changed.
    void update(Time now);
    std::vector<Row const*> const& rows() const { return rows_; }

    /// Null when there is none.
    Row const* selected() const { return rows_.empty() ? nullptr : rows_[selected_]; }
    size_t selected_index() const { return selected_; }
    void move(long by);
    /// Moves by that many screens.
    void page(long by) { move(by * static_cast<long>(height_)); }
    /// The first row to show where `height` of them fit, so that the selected one is among them.
    size_t scroll(size_t height);

 private:
    bool fits(Row const& row, Time now) const;
    void sort();

    Board const& board_;
    std::vector<std::string> words_;
    Order order_ = Order::name;
    bool only_faulty_ = false;
    bool is_fresh_ = false;
    size_t seen_rows_ = 0;
    Time updated_;
    std::vector<Row const*> rows_;
    size_t selected_ = 0;
    size_t top_ = 0;
    size_t height_ = 1;
};

}  // namespace watch
