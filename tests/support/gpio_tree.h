#pragma once

#include <string>
#include <vector>

/// The kernel's GPIO files as plain files below a folder: what is written stays, levels change when the test says so,
/// and nothing ever raises an interrupt.
class GpioTree {
 public:
    /// Makes "sys/class/gpio" below `root` with these lines, level 0 and direction "in".
    GpioTree(std::string const& root, std::vector<int> const& numbers);
    ~GpioTree();
    GpioTree(GpioTree const&) = delete;
    GpioTree& operator=(GpioTree const&) = delete;

    /// Path of a file, such as "export" or "gpio7/edge".
    std::string file(std::string const& name) const { return folder_ + "/" + name; }
    std::string text(std::string const& name) const;
    void remove(std::string const& name) const;
    /// Changes the first byte of the value in place, as hardware would: nobody ever sees an empty file.
    void set_level(int number, char level) const;
    char level(int number) const;

 private:
    std::string folder_;
};
