#pragma once

#include <string>

#include "support/temp_folder.h"

/// A certification authority of the test's own.
class Authority {
 public:
    Authority();

    std::string ca_file() const { return folder_.file("ca.crt"); }
    std::string key_of(std::string const& name) const { return folder_.file(name + ".key"); }
    std::string certificate_of(std::string const& name) const { return folder_.file(name + ".crt"); }
    /// Makes a certificate and its key. `names` as "IP:127.0.0.1,DNS:localhost"; valid for `days` from now.
    void certify(std::string const& name, std::string const& names, int days = 1) const;

 private:
    TempFolder folder_;
};
