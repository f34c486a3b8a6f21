#include "ctl/watch/row_list.h"

#include <algorithm>
#include <cstring>

#include "ctl/text_columns.h"
#include "foundation/xstring.h"

namespace watch {

namespace {

/// How often ages and faults are looked through for a new order.
constexpr auto look_again = std::chrono::seconds(1);

/// "device_2" stands ahead of "device_10".
bool by_name(Row const* left, Row const* right) {
    int const order = strverscmp(left->name.c_str(), right->name.c_str());
    return order != 0 ? order < 0 : left->topic < right->topic;
}

}  // namespace

void RowList::set_filter(std::string const& words) {
    words_ = xCommon::xString::Split(columns::folded(words), " ");
    is_fresh_ = false;
}

void RowList::set_order(Order order) {
    order_ = order;
    is_fresh_ = false;
}

void RowList::set_only_faulty(bool only) {
    only_faulty_ = only;
    is_fresh_ = false;
}

bool RowList::fits(Row const& row, Time now) const {
    return (!only_faulty_ || row.is_faulty(now)) && std::all_of(words_.begin(), words_.end(), [&row](auto const& word) {
               return row.folded.find(word) != std::string::npos;
           });
}

void RowList::sort() {
    std::sort(rows_.begin(), rows_.end(), [this](Row const* left, Row const* right) {
        if (order_ == Order::age && left->since != right->since) {
            return left->since < right->since;
        }
        if (order_ == Order::errors && left->errors != right->errors) {
            return left->errors > right->errors;
        }
        return by_name(left, right);
    });
}

void RowList::update(Time now) {
    bool const is_moving = order_ != Order::name || only_faulty_;
    bool const is_due = is_moving && now - updated_ >= look_again;
    if (is_fresh_ && seen_rows_ == board_.rows().size() && !is_due) {
        return;
    }
    Row const* const kept = selected();
    rows_.clear();
    for (auto const& [topic, row] : board_.rows()) {
        if (fits(*row, now)) {
            rows_.push_back(row.get());
        }
    }
    sort();
    is_fresh_ = true;
    seen_rows_ = board_.rows().size();
    updated_ = now;
    auto const found = std::find(rows_.begin(), rows_.end(), kept);
    selected_ = found != rows_.end() ? static_cast<size_t>(found - rows_.begin()) : selected_;
    move(0);
}

void RowList::move(long by) {
    long const last = static_cast<long>(rows_.size()) - 1;
    selected_ = static_cast<size_t>(std::clamp(static_cast<long>(selected_) + by, 0L, std::max(last, 0L)));
}

size_t RowList::scroll(size_t height) {
    height_ = std::max<size_t>(height, 1);
    size_t const most = rows_.size() > height_ ? rows_.size() - height_ : 0;
    size_t const least = selected_ + 1 > height_ ? selected_ + 1 - height_ : 0;
    top_ = std::min(std::clamp(top_, least, selected_), most);
    return top_;
}

}  // namespace watch
