#include "support/authority.h"

#include <cstdlib>
#include <stdexcept>

namespace {

void run(std::string const& command) {
    if (std::system(("(" + command + ") >/dev/null 2>&1").c_str()) != 0) {
        throw std::runtime_error("failed : " + command);
    }
}

constexpr char new_key[] = " -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes";

}  // namespace

Authority::Authority() {
    run(std::string("openssl req -x509") + new_key + " -days 1 -subj /CN=authority -keyout " + key_of("ca") + " -out " +
        ca_file());
}

void Authority::certify(std::string const& name, std::string const& names, int days) const {
    std::string const request = folder_.file(name + ".csr");
    std::string const extensions = folder_.write(name + ".ext", "subjectAltName=" + names + "\n");
    run(std::string("openssl req") + new_key + " -subj /CN=" + name + " -keyout " + key_of(name) + " -out " + request +
        " && openssl x509 -req -in " + request + " -CA " + ca_file() + " -CAkey " + key_of("ca") +
        " -CAcreateserial -extfile " + extensions + " -days " + std::to_string(days) + " -out " + certificate_of(name));
}
