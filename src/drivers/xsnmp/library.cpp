#include "drivers/xsnmp/library.h"

#include <clocale>

namespace xsnmp {

namespace {

/// A place where nothing can be and nothing can be made. The part of the library for TLS would make a folder for its
/// certificates in the persistent one, whatever the flags below say.
constexpr char nowhere[] = "/dev/null";

constexpr int flags[] = {
    NETSNMP_DS_LIB_DONT_READ_CONFIGS,       NETSNMP_DS_LIB_DONT_PERSIST_STATE,   NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD,
    NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE, NETSNMP_DS_LIB_DONT_LOAD_HOST_FILES,
};

void start_once(std::string const& application) {
    // Gives the library its defaults; a setting made ahead of this would be lost.
    netsnmp_session unused;
    snmp_sess_init(&unused);

    for (int const flag : flags) {
        netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, flag, 1);
    }
    set_configuration_directory(nowhere);
    set_persistent_directory(nowhere);
    netsnmp_set_mib_directory("");

    // With every log switched off it falls back to standard error, so it has one that drops everything.
    netsnmp_log_handler* const dropping = netsnmp_register_loghandler(NETSNMP_LOGHANDLER_NONE, LOG_DEBUG);
    init_snmp(application.c_str());
    // It takes over the environment's character set, in which more than ASCII may count as printable. How a string
    // comes out must not hang on who has started the process.
    std::setlocale(LC_CTYPE, "C");
    snmp_disable_calllog();
    snmp_disable_filelog();
    snmp_disable_log();
    snmp_disable_stderrlog();
    snmp_disable_syslog();
    netsnmp_enable_this_loghandler(dropping);
}

}  // namespace

void library::start(std::string const& application) {
    static std::once_flag started;
    std::call_once(started, [&application] { start_once(application); });
}

void library::forget_error_detail() {
    static_cast<void>(snmp_api_errstring(SNMPERR_GENERR));
}

}  // namespace xsnmp
