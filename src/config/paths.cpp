#include "config/constants.h"

const std::string path_log_dir = "/var/log/ostrand";
const std::string path_log_name = "ostrand.log";
const std::string path_templates = "/usr/share/ostrand/templates";
const std::string path_config_first = "/etc/driver.json";
const std::string path_config_second = "/etc/ostrand.json";
