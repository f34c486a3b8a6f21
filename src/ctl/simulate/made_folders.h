#pragma once

#include <filesystem>
#include <vector>

namespace sim {

/// Folders that were made for links, which go with the object if nothing of others is in them.
class MadeFolders {
 public:
    MadeFolders() = default;
    ~MadeFolders();
    MadeFolders(MadeFolders const&) = delete;
    MadeFolders& operator=(MadeFolders const&) = delete;

    /// Makes the folder with all above it. Raises std::filesystem::filesystem_error.
    void make(std::filesystem::path const& folder);
    /// One of its own below the folder for temporary files. Raises std::system_error.
    std::filesystem::path const& temporary();

 private:
    std::vector<std::filesystem::path> made_;
    std::filesystem::path temporary_;
};

}  // namespace sim
