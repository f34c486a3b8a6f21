#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "foundation/mq_access.h"

struct mosquitto;
struct ssl_ctx_st;

namespace xMQ {

/// What one connection to a broker is encrypted with. It knows why a handshake fails: the library that makes the
/// connection has one text for everything.
class TlsContext {
 public:
    /// `host` is the name that the broker's certificate has to bear. Raises an xExceptionf that names the file or
    /// folder, for one that can't be used.
    TlsContext(Tls const& settings, std::string const& host);

    ssl_ctx_st* get() const { return context_.get(); }
    /// Why the handshake failed; empty while nothing is known.
    std::string const& reason() const { return reason_; }
    void refused(int verify_error);
    void alerted(int alert);
    /// A line of the log of the library that makes the connection; counts less than the others.
    void told(int level, std::string_view line);

 private:
    void trust(Tls const& settings);
    void prove(Tls const& settings);
    void expect(std::string const& host);

    std::unique_ptr<ssl_ctx_st, void (*)(ssl_ctx_st*)> context_;
    std::string reason_;
};

/// Gives a client that isn't connected yet what lets it in. The result has to live as long as the client; null without
/// TLS. Raises an xExceptionf that names the file, for one that can't be used.
std::unique_ptr<TlsContext> let_in(mosquitto* client, Access const& access, std::string const& host);

}  // namespace xMQ
