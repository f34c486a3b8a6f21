#pragma once

#include <string>

#include "config/cbase.h"
#include "foundation/serial_line.h"

class Config;

/// Configuration of one port.
class CPort : public CBase, public FromJson<CPort> {
 public:
    /// Reads the transport's keys by the type word: "rs" the serial settings, "tcp" host and port, "z2t" the bridge;
    /// and for a word with "base" the devices. Raises an xExceptionf for settings that can't be used and for a port
    /// without a usable device.
    explicit CPort(Json::Value& node);
    static keys::Tables key_tables();

    /// The first device whose "/devices/" plus name occurs in `topic`; null when none does. It is a search for a part:
    /// the first of two devices whose names begin alike answers for the second too.
    CBase* get_device(std::string const& topic);

    bool type_has(char const* word) const { return type.find(word) != std::string::npos; }

    /// Set by Config::Load once the list is loaded.
    Config* cfg = nullptr;
    std::string url;
    int port = -1;
    /// What the file says; the settings in force are the serial transport's.
    xserial::xco rs;
    /// The bridge's identity in topics.
    std::string z2t_id;
    std::string address;

 private:
    void read_transport(Json::Value& node);
};

/// Configuration of one device, base of every driver's.
class CDev : public CBase {
 public:
    /// Reads `rs` (personal serial settings, not validated here), `display_name` and, for Modbus, `all_params`.
    CDev(CBase* parent, Json::Value& node);
    static keys::Tables key_tables();

    xserial::xco rs;
    bool personal_rs = false;
    std::string display_name;

 protected:
    /// Raises an xExceptionf without a port; `head` is the format of its beginning, with one "%s" for the name.
    void check_port(std::string const& head = "#%s : ctor") const;
    /// The template `templ` first, so that the device's own `params` can change single keys of it. `list_word` is the
    /// type of elements of `params` that have none, if it isn't that of the template's.
    void load_list(Json::Value& node, std::string const& type_word, std::string const& list_word = "");
    /// What nearly every driver's constructor ends with: load_list(). Raises an xExceptionf with the label if no
    /// parameter comes of it.
    void load_params(Json::Value& node, std::string const& type_word, char const* label = "ctor",
                     std::string const& list_word = "");
};

/// Configuration of a device with a number for its address. Its name gets the address appended, and so it stands in the
/// topics.
class CAddressDev : public CDev {
 public:
    /// Raises an xExceptionf for a missing port or `sid`, with `head` as in check_port().
    CAddressDev(CBase* port_node, Json::Value& node, std::string const& head = "#%s : ctor");
    static keys::Tables key_tables();

    /// The wire mostly carries its low byte, the name all of it.
    int sid = 0;
    CBase* port;
};
