#include "ctl/watch/board.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "config/constants.h"
#include "ctl/text_columns.h"
#include "foundation/xstring.h"

namespace watch {

using std::chrono::seconds;

namespace {

constexpr std::string_view values_head = "/devices/";
constexpr std::string_view values_middle = "/controls/";
constexpr std::string_view service_part = "/meta/";
constexpr std::string_view statistics_head = "stat/";
constexpr std::string_view statistics_tail = "/poll";

/// No daemon makes longer ones.
constexpr size_t topic_limit = 1024;
constexpr size_t name_limit = 256;
/// Of a value. No screen shows more.
constexpr size_t value_limit = 512;
constexpr size_t port_limit = 1000;
constexpr size_t device_limit = 20000;

constexpr auto unknown_limit = seconds(60);
constexpr int stale_factor = 3;
constexpr auto stale_slack = seconds(2);
/// Distances fade, so that one long pause isn't the usual for ever.
constexpr int fading = 8;

std::string beginning(std::string_view text, size_t limit) {
    return text.size() <= limit ? std::string(text)
                                : xCommon::xString::CutUtf8(std::string(text.substr(0, limit + 1)), limit);
}

/// The piece between a head and a tail; empty where they aren't there.
std::string_view between(std::string_view text, std::string_view head, std::string_view tail) {
    return text.size() > head.size() + tail.size() && text.starts_with(head) && text.ends_with(tail)
               ? text.substr(head.size(), text.size() - head.size() - tail.size())
               : std::string_view();
}

/// A statistics line ends with three counters, each behind "= ".
bool read_counters(std::string_view line, std::array<long long, 3>& counters) {
    constexpr std::string_view sign = "= ";
    for (size_t index = counters.size(); index-- > 0;) {
        size_t const at = line.rfind(sign);
        if (at == std::string_view::npos) {
            return false;
        }
        std::string_view const digits = line.substr(at + sign.size());
        if (std::from_chars(digits.data(), digits.data() + digits.size(), counters[index]).ec != std::errc()) {
            return false;
        }
        line = line.substr(0, at);
    }
    return true;
}

}  // namespace

bool Row::is_stale(Time now) const {
    return now - since > (usual ? *usual * stale_factor + stale_slack : Span(unknown_limit));
}

std::vector<std::string> Board::topics() {
    return {std::string(values_head) + "#", std::string(statistics_head) + "+" + std::string(statistics_tail)};
}

void Board::take(Message const& message, Time now) {
    static std::string const error_tail = "/" + topic_meta_error;
    std::string_view const topic = message.topic;
    if (topic.size() > topic_limit) {
        return;
    }
    if (topic == topic_fault) {
        take_fault(message.payload, now);
    } else if (auto const port = between(topic, statistics_head, statistics_tail); !port.empty()) {
        take_statistics(port, message.payload, now);
    } else if (auto const value_topic = between(topic, {}, error_tail); !value_topic.empty()) {
        if (Row* const found = row(value_topic, now)) {
            take_error(*found, !message.payload.empty());
        }
    } else if (!topic.ends_with(topic_on_suffix)) {
        if (Row* const found = row(topic, now)) {
            take_value(*found, message, now);
        }
    }
}

void Board::take_value(Row& row, Message const& message, Time now) {
    std::string value = beginning(message.payload, value_limit);
    // At each connection the broker tells again what lies there.
    if (message.retained && value == row.value) {
        return;
    }
    if (!message.retained) {
        if (row.is_dated) {
            Span const distance = now - row.since;
            row.usual = row.usual ? std::max(distance, *row.usual - (*row.usual - distance) / fading) : distance;
        }
        // An input that can't be read clears its value.
        row.in_error = value.empty();
        row.device->failed_at.reset();
    }
    row.since = now;
    row.is_dated = !message.retained;
    row.value = std::move(value);
    if (auto const number = number_in(row.value)) {
        row.trend.add(*number);
    } else {
        row.trend.clear();
    }
}

void Board::take_error(Row& row, bool is_set) {
    row.in_error = is_set;
    row.errors += is_set ? 1 : 0;
}

void Board::take_fault(std::string_view name, Time now) {
    if (name.empty()) {
        return;
    }
    if (Device* const found = device(beginning(name, name_limit))) {
        found->failed_at = now;
    }
}

void Board::take_statistics(std::string_view name, std::string_view line, Time now) {
    std::string key = columns::plain(beginning(name, name_limit));
    if (ports_.size() >= port_limit && !ports_.contains(key)) {
        return;
    }
    Port const before = ports_[key];
    Port next;
    next.text = columns::plain(beginning(line, value_limit));
    next.since = now;
    std::array<long long, 3> counters{};
    next.is_known = read_counters(line, counters);
    if (next.is_known) {
        std::tie(next.polls, next.errors, next.out_of_range) = std::tuple_cat(counters);
        // A daemon that has been started anew counts from zero.
        bool const goes_on = before.is_known && next.polls >= before.polls && next.errors >= before.errors;
        next.last_polls = goes_on ? next.polls - before.polls : 0;
        next.last_errors = goes_on ? next.errors - before.errors : 0;
    }
    ports_[std::move(key)] = std::move(next);
}

Row* Board::row(std::string_view topic, Time now) {
    if (auto const known = rows_.find(topic); known != rows_.end()) {
        return known->second.get();
    }
    size_t const middle = topic.find(values_middle, values_head.size());
    if (!topic.starts_with(values_head) || middle == std::string_view::npos || is_full()) {
        return nullptr;
    }
    std::string_view const device_name = topic.substr(values_head.size(), middle - values_head.size());
    std::string_view const parameter = topic.substr(middle + values_middle.size());
    Device* const owner = device(beginning(device_name, name_limit));
    if (parameter.empty() || parameter.find(service_part) != std::string_view::npos || owner == nullptr) {
        return nullptr;
    }
    auto fresh = std::make_unique<Row>();
    fresh->name = columns::plain(device_name) + "/" + columns::plain(parameter);
    fresh->folded = columns::folded(fresh->name);
    fresh->topic = topic;
    fresh->device = owner;
    fresh->since = now;
    std::string_view const key = fresh->topic;
    return rows_.emplace(key, std::move(fresh)).first->second.get();
}

Device* Board::device(std::string const& name) {
    if (auto const known = devices_.find(name); known != devices_.end()) {
        return &known->second;
    }
    return devices_.size() < device_limit ? &devices_[name] : nullptr;
}

std::map<std::string, Time> Board::failed() const {
    std::map<std::string, Time> result;
    for (auto const& [name, device] : devices_) {
        if (device.failed_at) {
            result.emplace(columns::plain(name), *device.failed_at);
        }
    }
    return result;
}

}  // namespace watch
