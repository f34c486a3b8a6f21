#pragma once

#include <memory>

#include "foundation/wsock.h"
#include "transport/itran.h"

/// A TCP connection. open() gives true even when the peer is down: the port then runs and tries again at each
/// exchange, as every operation on a closed connection begins with an attempt to open it.
class tcpTran : public iTran {
 public:
    explicit tcpTran(CPort* port) : iTran(port) {}

    bool is_open() override;
    bool open() override;
    void close() override;
    int read(unsigned char* buffer, int count) override;
    bool read_all(unsigned char* buffer, int count) override;
    int write(unsigned char* buffer, int count) override;
    int write(xCommon::ByteList& bytes) override;
    bool write_all(unsigned char* buffer, int count) override;
    bool write_all(xCommon::ByteList& bytes) override;
    void flush_in() override;
    void flush_out() override {}
    void set_timeout(int rto, int sto) override;
    bool abandon() override;
    void resume() override;

 protected:
    std::optional<bool> look() override;

 private:
    bool ready(char const* operation);
    int send(unsigned char const* bytes, int count);

    std::unique_ptr<xsock::wsock> socket_;
    bool abandoned_ = false;
};
