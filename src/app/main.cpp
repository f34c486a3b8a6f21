#include <cstdlib>
#include <exception>

#include "app/options.h"
#include "app/supervisor.h"
#include "config/constants.h"
#include "foundation/xlog.h"
#include "foundation/xsignal.h"

int main(int argc, char** argv) {
    constexpr int start_log_size = 5;
    constexpr int failure_signal = 6;

    Options const options = Options::parse(argc, argv);
    xCommon::xSignalHandling::setHandlers2(&Supervisor::end_of_process);
    // Until the configuration is read, everything is written.
    xCommon::xLog::gv = new xCommon::xLog(path_log_dir, options.log_name, start_log_size, true, true);
    try {
        Supervisor supervisor(options, argv);
        // Not a return: static objects must not be destroyed while workers run.
        std::_Exit(supervisor.run());
    } catch (std::exception const& e) {
        xCommon::global_log(xCommon::lmtError, e.what());
        Supervisor::end_of_process(failure_signal);
    }
}
