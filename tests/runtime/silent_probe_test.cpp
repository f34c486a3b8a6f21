// What a pass asks of a device that has been told as failed.

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/driver_rig.h"

using testing::ElementsAre;

TEST(SilentProbe, ADeadDeviceIsAskedForOneParameterUntilSomethingComesBack) {
    struct Row {
        char const* driver;
        char const* device;
        size_t requests;  ///< of a whole pass
        size_t probe;     ///< of a pass over a dead device
        char const* refusal;
    };
    std::string const modbus = R"([{"name": "a", "reg_addr": 0, "value_type": "u16"},
        {"name": "b", "reg_addr": 1, "value_type": "u16"}, {"name": "c", "reg_addr": 2, "value_type": "u16",
        "reg_type": "input"}])";
    Row const rows[] = {
        {"mb-rtu", "", 3, 1, "05 83 02 80 F1"},
        {"mb-rtu", R"(, "all_params": true)", 2, 1, "05 83 02 80 F1"},
        {"mb-rtu", R"(, "silent_probe": false)", 3, 3, ""},
        {"vkt7-rtu", "", 3, 1, "05 83 02 80 F1"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(std::string(row.driver) + row.device);
        DriverRig rig(R"({"name": "d", "sid": 5, "poll_interval": 0, "type": ")" + std::string(row.driver) + "\"" +
                          row.device + R"(, "params": )" + modbus + "}",
                      R"(, "silent_probe": true)");
        rig.port().devices.at(0)->ProcConnect();
        auto const pass = [&] {
            rig.line().sent.clear();
            rig.port().devices.at(0)->Poll(1000);
            return rig.line().sent.size();
        };
        EXPECT_EQ(pass(), row.requests) << "not told yet";
        rig.published();
        EXPECT_EQ(pass(), row.probe);
        EXPECT_THAT(rig.published(), ElementsAre("a!", "b!", "c!"));
        EXPECT_EQ(rig.port().polls, 6);
        EXPECT_EQ(rig.port().errors, 6);
        if (*row.refusal != '\0') {
            // It is there, whatever it thinks of the first one.
            rig.line().script.otherwise(Reply{.hex = row.refusal});
            EXPECT_GE(pass(), row.requests);
        }
    }
}
