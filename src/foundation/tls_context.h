#pragma once

#include <memory>
#include <string>

#include "foundation/mq_access.h"

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
    /// What the encryption library itself says; counts less than the others.
    void failed(std::string const& text);

 private:
    void trust(Tls const& settings);
    void prove(Tls const& settings);
    void expect(std::string const& host);

    std::unique_ptr<ssl_ctx_st, void (*)(ssl_ctx_st*)> context_;
    std::string reason_;
};

}  // namespace xMQ
