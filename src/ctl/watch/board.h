#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ctl/watch/message.h"
#include "ctl/watch/trend.h"

namespace watch {

using Time = std::chrono::steady_clock::time_point;
using Span = std::chrono::steady_clock::duration;

struct Device {
    std::optional<Time> failed_at;  ///< since it was told, until one of its values comes
};

/// A parameter.
struct Row {
    std::string name;    ///< "device/parameter", fit for a terminal
    std::string folded;  ///< the name, for comparisons
    std::string topic;   ///< of the value
    std::string value;   ///< as it came, its beginning if it is long
    Device* device = nullptr;
    Time since;                 ///< when the value came; what lay on the broker already is older than that
    bool is_dated = false;      ///< it came before our eyes
    std::optional<Span> usual;  ///< the longest of the last distances between its values
    Trend trend;
    long long errors = 0;   ///< told since the beginning
    bool in_error = false;  ///< nothing good has come since

    bool has_failed() const { return device->failed_at.has_value(); }
    /// No value has come for much longer than usual.
    bool is_stale(Time now) const;
    bool is_faulty(Time now) const { return in_error || has_failed() || is_stale(now); }
};

/// The counters of a port, as its statistics tell them.
struct Port {
    std::string text;       ///< the whole line, as it came
    bool is_known = false;  ///< the line was understood; else the counters are 0
    long long polls = 0;
    long long errors = 0;
    long long out_of_range = 0;
    long long last_polls = 0;  ///< since the line before
    long long last_errors = 0;
    Time since;
};

/// What the topics tell: values, errors, failed devices, statistics. It neither knows a clock nor a terminal. Rows stay
/// where they are for good; what comes from outside can only fill it up to a bound.
class Board {
 public:
    static constexpr size_t row_limit = 100000;

    Board() = default;
    Board(Board const&) = delete;
    Board& operator=(Board const&) = delete;

    /// Topics that it takes something from.
    static std::vector<std::string> topics();

    void take(Message const& message, Time now);

    using Rows = std::unordered_map<std::string_view, std::unique_ptr<Row>>;  ///< by topic
    Rows const& rows() const { return rows_; }
    std::map<std::string, Port> const& ports() const { return ports_; }
    /// Devices that have failed, by name.
    std::map<std::string, Time> failed() const;
    /// There were more parameters than are kept.
    bool is_full() const { return rows_.size() >= row_limit; }

 private:
    void take_value(Row& row, Message const& message, Time now);
    void take_error(Row& row, bool is_set);
    void take_fault(std::string_view device, Time now);
    void take_statistics(std::string_view port, std::string_view line, Time now);
    /// Null for a topic of no parameter.
    Row* row(std::string_view topic, Time now);
    /// Null where there are too many already.
    Device* device(std::string const& name);

    Rows rows_;
    std::map<std::string, Device> devices_;
    std::map<std::string, Port> ports_;
};

}  // namespace watch
