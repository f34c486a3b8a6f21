#include "foundation/tls_context.h"

#include <cerrno>
#include <cstring>
#include <new>

#include <mosquitto.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <unistd.h>

#include "foundation/xexception.h"
#include "foundation/xstring.h"

namespace xMQ {

using xCommon::xExceptionf;

namespace {

TlsContext* context_of(SSL const* connection) {
    return static_cast<TlsContext*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(connection)));
}

/// Asked for each certificate of the broker's chain.
int verify(int is_good, X509_STORE_CTX* store) {
    auto const* const connection =
        static_cast<SSL const*>(X509_STORE_CTX_get_ex_data(store, SSL_get_ex_data_X509_STORE_CTX_idx()));
    if (is_good == 0) {
        context_of(connection)->refused(X509_STORE_CTX_get_error(store));
    }
    return is_good;
}

void see(SSL const* connection, int where, int value) {
    bool const is_alert = (where & SSL_CB_READ_ALERT) == SSL_CB_READ_ALERT;
    if (is_alert && (value & 0xFF) != SSL_AD_CLOSE_NOTIFY) {
        context_of(connection)->alerted(value);
    }
}

/// A key that is locked by a password can't be used: nobody is there to type it.
int no_password(char* /*text*/, int /*size*/, int /*writing*/, void* /*data*/) {
    return 0;
}

std::string last_error() {
    unsigned long const code = ERR_peek_last_error();
    char const* const text = ERR_reason_error_string(code);
    ERR_clear_error();
    return text != nullptr ? text : "неверное содержимое";
}

[[noreturn]] void refuse(char const* key, std::string const& path) {
    std::string const why = access(path.c_str(), R_OK) != 0 ? std::strerror(errno) : last_error();
    ERR_clear_error();
    throw xExceptionf("TLS : %s : %s : %s", key, path, why);
}

}  // namespace

TlsContext::TlsContext(Tls const& settings, std::string const& host)
    : context_(SSL_CTX_new(TLS_client_method()), &SSL_CTX_free) {
    if (!context_) {
        throw std::bad_alloc();
    }
    SSL_CTX* const context = context_.get();
    SSL_CTX_set_app_data(context, this);
    SSL_CTX_set_min_proto_version(context, settings.only_1_3 ? TLS1_3_VERSION : TLS1_2_VERSION);
    SSL_CTX_set_default_passwd_cb(context, no_password);
    SSL_CTX_set_mode(context, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, verify);
    SSL_CTX_set_info_callback(context, see);
    trust(settings);
    prove(settings);
    if (!settings.insecure) {
        expect(host);
    }
}

void TlsContext::trust(Tls const& settings) {
    if (settings.ca_file.empty() && settings.ca_path.empty()) {
        SSL_CTX_set_default_verify_paths(context_.get());
    }
    if (!settings.ca_file.empty() && SSL_CTX_load_verify_file(context_.get(), settings.ca_file.c_str()) != 1) {
        refuse("ca_file", settings.ca_file);
    }
    // A folder that isn't there would be taken without a word.
    bool const has_folder = !settings.ca_path.empty();
    if (has_folder && (access(settings.ca_path.c_str(), R_OK | X_OK) != 0 ||
                       SSL_CTX_load_verify_dir(context_.get(), settings.ca_path.c_str()) != 1)) {
        refuse("ca_path", settings.ca_path);
    }
}

void TlsContext::prove(Tls const& settings) {
    std::string const& key_file = settings.key_file.empty() ? settings.cert_file : settings.key_file;
    if (!settings.cert_file.empty() &&
        SSL_CTX_use_certificate_chain_file(context_.get(), settings.cert_file.c_str()) != 1) {
        refuse("cert_file", settings.cert_file);
    }
    if (!key_file.empty() && SSL_CTX_use_PrivateKey_file(context_.get(), key_file.c_str(), SSL_FILETYPE_PEM) != 1) {
        refuse("key_file", key_file);
    }
}

/// An address stands in a certificate in another field than a name.
void TlsContext::expect(std::string const& host) {
    X509_VERIFY_PARAM* const wanted = SSL_CTX_get0_param(context_.get());
    if (X509_VERIFY_PARAM_set1_ip_asc(wanted, host.c_str()) != 1) {
        X509_VERIFY_PARAM_set_hostflags(wanted, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
        if (X509_VERIFY_PARAM_set1_host(wanted, host.c_str(), host.size()) != 1) {
            throw xExceptionf("TLS : url : %s", host);
        }
    }
    ERR_clear_error();
}

void TlsContext::refused(int verify_error) {
    switch (verify_error) {
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
            reason_ = "сертификат брокера : неизвестный центр сертификации";
            break;
        case X509_V_ERR_CERT_HAS_EXPIRED:
            reason_ = "сертификат брокера : срок действия истёк";
            break;
        case X509_V_ERR_CERT_NOT_YET_VALID:
            // A gateway whose clock hasn't been set yet sees every certificate so.
            reason_ = "сертификат брокера : срок действия ещё не начался";
            break;
        case X509_V_ERR_HOSTNAME_MISMATCH:
        case X509_V_ERR_IP_ADDRESS_MISMATCH:
            reason_ = "сертификат брокера : выдан на другое имя узла";
            break;
        default:
            reason_ = std::string("сертификат брокера : ") + X509_verify_cert_error_string(verify_error);
    }
}

void TlsContext::alerted(int alert) {
    if (reason_.empty()) {
        reason_ = std::string("брокер отказал в TLS : ") + SSL_alert_desc_string_long(alert);
    }
}

void TlsContext::told(int level, std::string_view line) {
    if (level == MOSQ_LOG_ERR && line.starts_with("OpenSSL Error") && reason_.empty()) {
        reason_ = "TLS : " + std::string(line.substr(line.rfind(':') + 1));
    }
}

std::unique_ptr<TlsContext> let_in(mosquitto* client, Access const& access, std::string const& host) {
    if (access.mqtt_5) {
        mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    }
    if (!access.user.empty()) {
        std::string const password = access.current_password();
        int const code = mosquitto_username_pw_set(client, access.user.c_str(), password.c_str());
        if (code != MOSQ_ERR_SUCCESS) {
            throw xExceptionf("user : %s", mosquitto_strerror(code));
        }
    }
    if (!access.tls) {
        return nullptr;
    }
    auto context = std::make_unique<TlsContext>(*access.tls, host);
    mosquitto_int_option(client, MOSQ_OPT_SSL_CTX_WITH_DEFAULTS, 0);
    mosquitto_void_option(client, MOSQ_OPT_SSL_CTX, context->get());
    return context;
}

}  // namespace xMQ
