#pragma once

#include <map>
#include <string>
#include <vector>

#include "ctl/simulate/course.h"
#include "ctl/simulate/device.h"
#include "drivers/xdlms/config.h"

namespace sim {

/// The objects of a DLMS meter, as its parameters want them. What is written stays; all else moves.
class DlmsObjects {
 public:
    void add(xdlms::dparam& param);
    /// The response to one of the application layer's requests; empty for what is none.
    Bytes respond(View request, double seconds);
    bool has(View request) const { return objects_.contains(name_of(request)); }

 private:
    struct Object {
        int value_type;
        Course course;
        Bytes written;  ///< tag and value; empty until then
    };

    static Bytes name_of(View request);
    static Bytes item(Object const& object, Bytes const& name, double seconds);

    std::map<Bytes, Object> objects_;  ///< by class, logical name and attribute
};

/// The DLMS meters of one port: on a serial line each at the MAC of its serial number, by the plain ("dlms.rs") or the
/// older exchange ("dlms.rs.old"), which numbers its statuses across all of the line; or behind a concentrator on TCP
/// ("dlms.tcp"), which has the list of their addresses, from 17 on.
class DlmsMeters : public DeviceOf<xdlms::cddev, xdlms::dparam> {
 public:
    explicit DlmsMeters(xdlms::cddev const& node);

    Bytes answer(View request, double seconds) override;
    Bytes miscounted(Bytes reply) const override;

 private:
    struct Meter {
        std::string number;
        Bytes mac;
        DlmsObjects objects;
    };

    /// All of a port, each a meter of its own.
    bool is_same(xdlms::cddev const& node) const override;
    void add(xdlms::dparam& param) override;

    Bytes link_frame(View request, double seconds);
    Bytes select(View frame);
    Bytes status(Bytes const& mac);
    Meter* at_mac(View mac);
    Meter& at_address(View request, size_t address);
    Bytes wrapped(View request, Bytes const& response) const;
    Bytes address_list() const;

    bool on_tcp_;
    bool older_;
    std::vector<Meter> meters_;
    Bytes waiting_;  ///< the answer that a status announces
    Bytes waiting_mac_;
    bool sent_ = false;
    unsigned char packet_ = 0;
};

}  // namespace sim
