#include <cstdlib>
#include <exception>

#include <fcntl.h>
#include <unistd.h>

#include "app/options.h"
#include "app/supervisor.h"
#include "config/constants.h"
#include "foundation/xlog.h"
#include "foundation/xmisc.h"
#include "foundation/xsignal.h"

namespace {

/// Where a starter has closed a standard descriptor, the next line or file would get its number, and what is written
/// to standard error would go out on the bus.
void fill_standard_descriptors() {
    int fd = open("/dev/null", O_RDWR);
    while (fd >= 0 && fd <= STDERR_FILENO) {
        fd = open("/dev/null", O_RDWR);
    }
    if (fd > STDERR_FILENO) {
        close(fd);
    }
}

}  // namespace

int main(int argc, char** argv) {
    constexpr int start_log_size = 5;

    fill_standard_descriptors();
    xCommon::xSystem::ShareMemory();

    Options const options = Options::parse(argc, argv);
    xCommon::xSignalHandling::hold();
    xCommon::FaultStack const fault_stack;
    // Ahead of the signals, so that the end of the process is told from the first moment on. Until the configuration is
    // read, everything is written.
    xCommon::xLog::gv = new xCommon::xLog(path_log_dir, options.log_name, start_log_size, true, true);
    xCommon::xSignalHandling::setHandlers2(&Supervisor::end_of_process, &Supervisor::tell_fault);
    try {
        Supervisor supervisor(options, argv);
        // Not a return: static objects must not be destroyed while workers run.
        std::_Exit(supervisor.run());
    } catch (std::exception const& e) {
        xCommon::global_log(xCommon::lmtError, std::string(e.what()));
        Supervisor::end_of_process(Supervisor::failure_signal);
    }
}
