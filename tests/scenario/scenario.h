#pragma once

#include <map>
#include <string>
#include <vector>

#include <json/value.h>

#include "support/peer_script.h"

/// One row of a wire: what the far end does with a request.
struct WireRow {
    std::string request;  ///< "*" for any other
    Reply reply;
    bool once = false;
};

/// One line of a scenario's course: something that is done, or something that must or must not have come of it.
struct Step {
    enum class Kind { pass, clock, message, unasked, value, log, sent, nothing_more };

    Kind kind;
    bool wanted = true;     ///< false: it must not have come
    int line = 0;           ///< in the file
    std::string port = {};  ///< of a frame
    std::string topic = {};
    std::string text = {};  ///< payload, text of a log line, or frame
    int number = 0;         ///< QoS, level, or seconds
    bool retained = true;
};

/// A scenario as its file tells it: see docs/scenarios.md.
struct Scenario {
    std::string name;  ///< "emera/faults"
    std::string path;
    std::string fault;  ///< why the file can't be read
    bool in_process = true;
    bool whole = false;
    Json::Value config;
    std::map<std::string, std::vector<WireRow>> wires;  ///< by the port's name
    std::vector<Step> steps;

    /// Reads a file. Raises std::runtime_error with "FILE:LINE: what is wrong".
    static Scenario read(std::string const& path, std::string const& name);
};

/// Fails the test that runs, for a scenario that doesn't hold.
void run_in_process(Scenario const& scenario);
/// The same with the real binary, a real broker, and pseudo-terminals or TCP peers.
void run_whole(Scenario const& scenario);
