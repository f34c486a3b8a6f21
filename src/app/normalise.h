#pragma once

#include <cstddef>
#include <vector>

#include <json/value.h>

/// The one shape of configuration that the tree understands, made of either shape of the file.
struct Normalised {
    Json::Value config;
    /// Settings of the GPIO worker: mqtt, name, wto, channels.
    Json::Value xgpio;
    bool is_xgpio = false;
    /// Where in the file ports stand that were left out without a word.
    std::vector<ptrdiff_t> dropped;
};

/// What becomes of a port whose splitting never ends, see split_tcp_port(): a tool leaves it out.
enum class Endless { followed, skipped };

/// Plain files pass unchanged. In the connection shape, which one `connection` in any port makes it, the keys of a port
/// lie in `connection` and the parameters in groups that are bound to devices by `cname`. Faulty pieces cost a line in
/// the global log and themselves. Raises an xException when the root is no object.
///
/// A "base.tcp" connection port with devices, but none of type "mb-tcp", never ends: see split_tcp_port().
Normalised normalise(Json::Value const& file, Endless endless = Endless::followed);
