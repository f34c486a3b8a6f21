#include "app/ports.h"

#include <memory>

#include "config/constants.h"
#include "config/cport.h"
#include "foundation/xmisc.h"
#include "gpio/config.h"
#include "gpio/worker.h"
#include "runtime/ibase.h"

using xCommon::global_logf;
using xCommon::lmtError;
using xCommon::lmtInfo;
using xCommon::xString;

namespace {

constexpr char start_word[] = "start";
constexpr int pause_ms = 1000;

bool start_port(CBase& node) {
    std::string const label = xString::Format("--- %s : %s : %s", start_word, node.name, node.type);
    global_logf(lmtInfo, "%s : запуск порта", label);
    try {
        auto const creator = IBFac::stone_map().find(node.type + suffix_port);
        std::unique_ptr<IBase> port;
        if (creator != IBFac::stone_map().end()) {
            port = creator->second(nullptr, &node);
        }
        if (!port) {
            global_logf(lmtError, "%s : не зарегистрирован класс", label);
            return false;
        }
        if (!port->Start()) {
            port.reset();
            global_logf(lmtError, "%s : ошибка при запуске порта", label);
            return false;
        }
        // From here on the object belongs to its own worker, which ends with the process.
        static_cast<void>(port.release());
    } catch (std::exception const& e) {
        global_logf(lmtError, "%s : исключение при запуске порта : %s.", label, e.what());
        return false;
    }
    // An error level for good news: the line must reach the log however the log is set.
    global_logf(lmtError, "%s : порт запущен", label);
    return true;
}

}  // namespace

int start_ports(Config const& config, int started) {
    for (auto const& node : config.ports.children) {
        if (node->enabled && start_port(*node)) {
            ++started;
            xCommon::xMisc::delay(pause_ms);
        }
    }
    if (started == 0) {
        global_logf(lmtError, "--- %s : нет ни одного запущенного порта.\nРежим ожидания...", start_word);
    } else {
        global_logf(lmtInfo, "--- %s : начало рабочего цикла", start_word);
    }
    return started;
}

int start_gpio(Json::Value const& settings) {
    try {
        std::unique_ptr<xgpio::config_t> config = xgpio::config_t::Load(settings);
        auto worker = config ? std::make_unique<xgpio::worker>(std::move(config)) : nullptr;
        if (worker && worker->Run()) {
            static_cast<void>(worker.release());
            return 1;
        }
    } catch (std::exception const& e) {
        global_logf(lmtError, "xgpio : исключение при запуске : %s.", e.what());
    }
    return 0;
}
