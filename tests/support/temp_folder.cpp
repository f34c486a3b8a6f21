#include "support/temp_folder.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

TempFolder::TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "ostrand-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    path_ = pattern;
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TempFolder::write(std::string const& name, std::string const& content) const {
    std::filesystem::path const target = path_ / name;
    std::filesystem::create_directories(target.parent_path());
    std::ofstream(target, std::ios::binary) << content;
    return target.string();
}
