#pragma once

#include <map>
#include <string>
#include <vector>

#include <json/value.h>

#include "ctl/line/peer_script.h"

/// One row of a wire: what the far end does with a request.
struct WireRow {
    std::string request;  ///< "*" for any other
    Reply reply;
    PeerScript::Kind kind = PeerScript::Kind::always;
};

/// One line of a scenario's course: something that is done, or something that must or must not have come of it.
struct Step {
    enum class Kind { pass, clock, date, message, unasked, away, back, value, log, sent, frames, nothing_more };

    Kind kind;
    bool wanted = true;     ///< false: it must not have come
    int line = 0;           ///< in the file
    std::string port = {};  ///< of a frame
    std::string topic = {};
    std::string text = {};  ///< payload, text of a log line, or frame
    int number = 0;         ///< QoS, level, or seconds
    int times = 0;          ///< of a frame or a line; 0: at least once
    bool retained = true;
    std::vector<std::string> frames = {};  ///< all that went out, in their order

    /// It does something; the others look at what came of that.
    bool acts() const { return kind <= Kind::back; }
};

/// A scenario as its file tells it: see docs/scenarios.md.
struct Scenario {
    std::string name;  ///< "emera/faults"
    std::string path;
    std::string fault;  ///< why the file can't be read
    bool in_process = true;
    bool whole = false;
    bool prints_frames = false;  ///< as with option -h
    std::string zone;            ///< of time; empty: that of the machine
    Json::Value config;
    std::map<std::string, std::string> templates;       ///< files by their names
    std::map<std::string, std::vector<WireRow>> wires;  ///< by the port's name
    std::vector<Step> steps;

    /// Reads a file. Raises std::runtime_error with "FILE:LINE: what is wrong".
    static Scenario read(std::string const& path, std::string const& name);
    /// With a line for each port that has a wire: it needn't be written, as nothing is opened.
    Json::Value whole_config() const;
    /// The far end of one port's line.
    void write(std::string const& port, PeerScript& script) const;
};

/// Seconds since 1970 of "2026-01-31 12:00:00", local time. Raises std::runtime_error.
long long time_of(std::string const& date);
/// JSON as it stands in a text. Raises std::invalid_argument with the parser's reason.
Json::Value json_of(std::string const& text);
