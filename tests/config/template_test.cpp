#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/reader.h>

#include "config/constants.h"
#include "config/cparam.h"
#include "config/cport.h"
#include "support/log_capture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

Json::Value json(std::string const& text) {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

/// A device as the drivers' are: the template first, then its own parameters.
class Device : public CDev {
 public:
    explicit Device(Json::Value& node) : CDev(nullptr, node) {
        LoadTemplate(node["templ"].asString(), this, type);
        if (node.isMember("params")) {
            Load(this, node, "params", suffix_cparam, type);
        }
    }

    std::vector<std::string> params() const {
        std::vector<std::string> names;
        for (auto const& child : children) {
            names.push_back(child->name);
        }
        return names;
    }
    CParam const& param(size_t index) const { return dynamic_cast<CParam const&>(*children.at(index)); }
};

CBase* create_param(CBase* parent, Json::Value& node) {
    return new CParam(parent, node);
}

CBFac const registrar("templated.cparam", create_param);

/// A template file of the test's own, in the folder where the product looks for them.
class Template {
 public:
    Template(std::string const& name, std::string const& content) : path_(path_templates + "/" + name + ".json") {
        std::filesystem::create_directories(path_templates);
        std::ofstream(path_) << content;
    }
    ~Template() { std::filesystem::remove(path_); }

 private:
    std::string path_;
};

Device load(std::string const& templ, std::string const& params = "") {
    Json::Value node = json(R"({"name": "d", "type": "templated", "poll_interval": 7, "templ": ")" + templ + "\"" +
                            (params.empty() ? "" : ", \"params\": " + params) + "}");
    return Device(node);
}

}  // namespace

TEST(Template, DeviceOverridesSingleKeys) {
    LogCapture const log(false);
    Template const file("meter", R"({"name": "meter", "params": [
        {"name": "u", "scale": 0.1, "unit": "V", "value_type": "u16", "min": 1, "max": 250},
        {"name": "i", "unit": "A", "poll_interval": 30}]})");
    Device const device = load("meter", R"([{"name": "p", "unit": "W"},
        {"name": "u", "scale": 0.001, "max": 400, "enabled": false}])");
    ASSERT_THAT(device.params(), ElementsAre("u", "i", "p"));
    CParam const& overlaid = device.param(0);
    EXPECT_EQ(overlaid.scale, 0.001F);
    EXPECT_EQ(overlaid.precision, 2);  // of the first scale
    EXPECT_EQ(overlaid.unit, "V");
    EXPECT_EQ(overlaid.value_type, vt_u16);
    EXPECT_EQ(overlaid.max, 250);  // never overlaid
    EXPECT_TRUE(overlaid.enabled);
    EXPECT_EQ(overlaid.poll_interval, 7);  // of the device
    EXPECT_EQ(device.param(1).poll_interval, 30);
    EXPECT_THAT(log.entries(), IsEmpty());
}

TEST(Template, AloneIsEnough) {
    LogCapture const log(false);
    Template const file("встроенный 1", R"({"name": "встроенный 1", "params": [{"name": "u"}]})");
    EXPECT_THAT(load("встроенный 1").params(), ElementsAre("u"));
    EXPECT_THAT(load("", R"([{"name": "own"}])").params(), ElementsAre("own"));
    EXPECT_THAT(log.entries(), IsEmpty());
}

TEST(Template, FaultyOneLeavesTheDeviceItsOwnParameters) {
    struct Row {
        char const* guards;
        char const* content;  // null: no file
        std::vector<std::string> params;
        std::string line;
    };
    std::string const failed = "[3] [d] ошибка при обработке шаблона 'broken'.";
    auto const mismatch = [](std::string const& name) {
        return "[3] [d] имя шаблона не совпадает с именем из шаблона : broken != " + name +
               ".\nШаблон обработан не будет.";
    };
    Row const rows[] = {
        {"missing", nullptr, {"own"}, failed},
        {"empty", "", {"own"}, failed},
        {"truncated", R"({"name": "broken", "params": [)", {"own"}, failed},
        {"other case", R"({"name": "Broken", "params": [{"name": "u"}]})", {"own"}, mismatch("Broken")},
        {"a blank more", R"({"name": "broken ", "params": [{"name": "u"}]})", {"own"}, mismatch("broken ")},
        {"no name", R"({"params": [{"name": "u"}]})", {"own"}, mismatch("")},
        {"a list", R"([{"name": "u"}])", {"own"}, failed},
        {"a text", R"("broken")", {"own"}, failed},
        {"a name of a wrong type", R"({"name": ["broken"], "params": [{"name": "u"}]})", {"own"}, failed},
        {"a faulty parameter",
         R"({"name": "broken", "params": [{"name": "u", "value_type": "float"}, {"name": "i"}]})",
         {"i", "own"},
         "[3] [d] templated.cparam : nnm : исключение при парсинге элемента : u : неопознанный value_type = float."},
    };
    for (Row const& row : rows) {
        LogCapture const log(false);
        std::unique_ptr<Template> file;
        if (row.content != nullptr) {
            file = std::make_unique<Template>("broken", row.content);
        }
        EXPECT_EQ(load("broken", R"([{"name": "own"}])").params(), row.params) << row.guards;
        EXPECT_THAT(log.entries(), ElementsAre(row.line)) << row.guards;
    }
}
