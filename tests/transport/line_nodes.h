#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "config/cport.h"
#include "ctl/line/hex.h"
#include "foundation/byte_list.h"
#include "support/sample_config.h"

/// Configuration nodes for transports alone: their type words hold no "base", so that they need no devices.
namespace line_nodes {

inline std::unique_ptr<CPort> serial(std::string const& path, int rto, int sto = 500) {
    Json::Value node = sample::json(R"({"name": "p", "type": "x.rs"})");
    node["rs"]["path"] = path;
    node["rto"] = rto;
    node["sto"] = sto;
    return std::make_unique<CPort>(node);
}

inline std::unique_ptr<CPort> tcp(int port, int rto, int sto = 500) {
    Json::Value node = sample::json(R"({"name": "p", "type": "x.tcp", "tcp": {}})");
    node["tcp"]["port"] = port;
    node["rto"] = rto;
    node["sto"] = sto;
    return std::make_unique<CPort>(node);
}

inline std::unique_ptr<CPort> none() {
    Json::Value node = sample::json(R"({"name": "p", "type": "x"})");
    return std::make_unique<CPort>(node);
}

inline xCommon::ByteList list_of(char const* frame) {
    xCommon::ByteList list;
    hex::Bytes const bytes = hex::bytes(frame);
    list.push_buf(bytes.data(), static_cast<int>(bytes.size()));
    return list;
}

}  // namespace line_nodes

/// Milliseconds since it was made.
class Stopwatch {
 public:
    long long ms() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start_).count();
    }

 private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};
