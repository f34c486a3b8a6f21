#include "support/gpio_tree.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

GpioTree::GpioTree(std::string const& root, std::vector<int> const& numbers) : folder_(root + "/sys/class/gpio") {
    fs::create_directories(folder_);
    for (char const* name : {"export", "unexport"}) {
        std::ofstream(file(name)) << "\n";
    }
    for (int const number : numbers) {
        std::string const line = "gpio" + std::to_string(number);
        fs::create_directories(file(line));
        std::ofstream(file(line + "/direction")) << "in";
        std::ofstream(file(line + "/edge")) << "none";
        std::ofstream(file(line + "/value")) << "0\n";
    }
}

GpioTree::~GpioTree() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

std::string GpioTree::text(std::string const& name) const {
    std::ifstream stream(file(name));
    return {std::istreambuf_iterator<char>(stream), {}};
}

void GpioTree::remove(std::string const& name) const {
    fs::remove_all(file(name));
}

void GpioTree::set_level(int number, char level) const {
    int const fd = open(file("gpio" + std::to_string(number) + "/value").c_str(), O_WRONLY | O_CLOEXEC);
    bool const written = pwrite(fd, &level, 1, 0) == 1;
    close(fd);
    if (!written) {
        throw std::runtime_error("the level can't be set");
    }
}

char GpioTree::level(int number) const {
    return text("gpio" + std::to_string(number) + "/value").at(0);
}
