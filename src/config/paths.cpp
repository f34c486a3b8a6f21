#include "config/constants.h"

const std::string path_log_dir = "/var/log/ostrand";
const std::string path_log_name = "ostrand.log";
const std::string path_templates = "/usr/share/ostrand/templates";
const std::string path_config_first = "/etc/driver.json";
const std::string path_config_second = "/etc/ostrand.json";
const std::string path_gpio_export = "/sys/class/gpio/export";
const std::string path_gpio_unexport = "/sys/class/gpio/unexport";
const std::string path_gpio_direction = "/sys/class/gpio/gpio%d/direction";
const std::string path_gpio_edge = "/sys/class/gpio/gpio%d/edge";
const std::string path_gpio_value = "/sys/class/gpio/gpio%d/value";
