#include "support/driver_rig.h"

#include <algorithm>
#include <span>
#include <stdexcept>
#include <utility>

#include "support/sample_config.h"

int ScriptTran::read(unsigned char* buffer, int count) {
    if (reads_raise) {
        throw std::runtime_error("no line");
    }
    if (!is_open()) {
        return -1;
    }
    size_t const taken = std::min(pending_.size(), static_cast<size_t>(std::max(count, 0)));
    std::copy_n(pending_.begin(), taken, buffer);
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(taken));
    return noted(buffer, static_cast<int>(taken));
}

int ScriptTran::write(unsigned char* buffer, int count) {
    if (writes_raise) {
        throw std::runtime_error("no line");
    }
    if (!is_open() || writes_fail) {
        return -1;
    }
    std::span<unsigned char const> const frame(buffer, static_cast<size_t>(count));
    sent.push_back(hex::text(frame));
    Reply const reply = script.answer(frame);
    hex::Bytes const answer = hex::bytes(reply.garbage + reply.hex);
    pending_.insert(pending_.end(), answer.begin(), answer.end());
    return count;
}

class DriverRig::Port : public PortBase {
 public:
    Port(CPort* node, std::vector<std::string>& published) : PortBase(nullptr, node), published_(published) {}

    void publish_result(BaseResult& result, DevBase* /*dev*/, CParam* param) override {
        published_.push_back(param->name + (result.is_ok ? "=" + result.result : "!"));
    }

 private:
    std::vector<std::string>& published_;
};

DriverRig::DriverRig(std::string const& device, std::string const& port_keys)
    : config_([&] {
          Json::Value root = sample::json(R"({"ports": [{"name": "p", "type": "base.null", "devices": [)" + device +
                                          "]" + port_keys + "}]}");
          return Config::Load(root);
      }()),
      port_(std::make_unique<Port>(dynamic_cast<CPort*>(config_->ports.children.at(0).get()), published_)) {
    auto line = std::make_unique<ScriptTran>(port_->cport);
    line_ = line.get();
    port_->tran = std::move(line);
    line_->open();
}

std::vector<std::string> DriverRig::published() {
    return std::exchange(published_, {});
}
