#include <cstdlib>

#include "config/constants.h"

// The fixed paths, below the folder that OSTRAND_TEST_ROOT names.

namespace {

std::string below_root(char const* path) {
    char const* root = std::getenv("OSTRAND_TEST_ROOT");
    return std::string(root != nullptr ? root : "/nonexistent") + path;
}

}  // namespace

const std::string path_log_dir = below_root("/log");
const std::string path_log_name = "ostrand.log";
const std::string path_templates = below_root("/templates");
const std::string path_config_first = below_root("/etc/driver.json");
const std::string path_config_second = below_root("/etc/ostrand.json");
const std::string path_gpio_export = below_root("/sys/class/gpio/export");
const std::string path_gpio_unexport = below_root("/sys/class/gpio/unexport");
const std::string path_gpio_direction = below_root("/sys/class/gpio/gpio%d/direction");
const std::string path_gpio_edge = below_root("/sys/class/gpio/gpio%d/edge");
const std::string path_gpio_value = below_root("/sys/class/gpio/gpio%d/value");
