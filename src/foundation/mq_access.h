#pragma once

#include <optional>
#include <string>

namespace xMQ {

/// Encryption of the connection to a broker, with paths of PEM files.
struct Tls {
    /// Of the authorities that are trusted; with neither of the two those of the system.
    std::string ca_file;
    std::string ca_path;
    /// The certificate by which the client proves itself, and its key; without `key_file` the key stands in
    /// `cert_file`.
    std::string cert_file;
    std::string key_file;
    bool only_1_3 = false;  ///< TLS 1.2 isn't accepted
    bool insecure = false;  ///< the certificate may be another host's
};

/// How a client is let in by its broker.
struct Access {
    std::string user;
    std::string password;
    /// Its first line is the password, in place of `password`.
    std::string password_file;
    std::optional<Tls> tls;
    bool mqtt_5 = false;

    bool is_used() const { return !user.empty() || tls; }
    /// Raises an xExceptionf that names the file, for one that can't be read.
    std::string current_password() const;
};

}  // namespace xMQ
