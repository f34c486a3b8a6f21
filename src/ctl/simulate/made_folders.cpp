#include "ctl/simulate/made_folders.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace sim {

MadeFolders::~MadeFolders() {
    std::error_code ignored;
    for (size_t index = made_.size(); index-- > 0;) {
        fs::remove(made_[index], ignored);
    }
}

void MadeFolders::make(fs::path const& folder) {
    if (folder.empty() || fs::exists(folder)) {
        return;
    }
    make(folder.parent_path());
    if (fs::create_directory(folder)) {
        made_.push_back(folder);
    }
}

fs::path const& MadeFolders::temporary() {
    if (temporary_.empty()) {
        std::string name = (fs::temp_directory_path() / "ostrandctl-simulate.XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), name);
        }
        temporary_ = name;
        made_.push_back(temporary_);
    }
    return temporary_;
}

}  // namespace sim
