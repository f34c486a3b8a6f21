#pragma once

#include <filesystem>
#include <string>

/// A folder of a test's own, removed with everything in it at the end of the scope.
class TempFolder {
 public:
    TempFolder();
    ~TempFolder();
    TempFolder(TempFolder const&) = delete;
    TempFolder& operator=(TempFolder const&) = delete;

    std::string path() const { return path_.string(); }
    std::string file(std::string const& name) const { return (path_ / name).string(); }
    /// Writes a file below the folder, with the folders on its way; gives its path.
    std::string write(std::string const& name, std::string const& content) const;

 private:
    std::filesystem::path path_;
};
