#include "transport/tcp_tran.h"

#include <exception>

using xCommon::lmtError;
using xCommon::lmtTrace;

bool tcpTran::is_open() {
    return socket_ && socket_->connected;
}

bool tcpTran::open() {
    close();
    abandoned_ = false;
    rto_ = cport->rto;
    sto_ = cport->sto;
    cport->Logf(lmtTrace, "открытие TCP соединения : %s:%d.", cport->url, cport->port);
    try {
        socket_ = std::make_unique<xsock::wsock>(cport->name, cport->url, cport->port, cport->rto, cport->sto);
        if (!socket_->Open()) {
            cport->Log(lmtError, "не удалось открыть TCP соединение.");
        }
        seen_open_ = is_open();
        return true;
    } catch (std::exception const& e) {
        cport->Logf(lmtError, "исключение при открытии TCP соединения : %s.", e.what());
        seen_open_ = false;
        return false;
    }
}

std::optional<bool> tcpTran::look() {
    return socket_ ? std::optional(is_open()) : std::nullopt;
}

void tcpTran::close() {
    socket_.reset();
}

bool tcpTran::abandon() {
    if (!is_open()) {
        return false;
    }
    close();
    abandoned_ = true;
    return true;
}

void tcpTran::resume() {
    if (abandoned_) {
        reopen();
    }
}

bool tcpTran::ready(char const* operation) {
    if (is_open() || reopen()) {
        return true;
    }
    cport->Logf(lmtError, "tcpTran::%s : ошибка (reopen).", operation);
    return false;
}

int tcpTran::read(unsigned char* buffer, int count) {
    return ready("read") ? noted(buffer, socket_->Recv(buffer, count)) : -1;
}

bool tcpTran::read_all(unsigned char* buffer, int count) {
    return ready("read_all") && noted(buffer, socket_->gather(buffer, count)) == count;
}

int tcpTran::write(unsigned char* buffer, int count) {
    return ready("write") ? send(buffer, count) : -1;
}

int tcpTran::write(xCommon::ByteList& bytes) {
    return ready("write(ByteList)") ? send(bytes.data(), static_cast<int>(bytes.size())) : -1;
}

bool tcpTran::write_all(unsigned char* buffer, int count) {
    return ready("write_all") && (count <= 0 || send(buffer, count) == count);
}

bool tcpTran::write_all(xCommon::ByteList& bytes) {
    int const count = static_cast<int>(bytes.size());
    return ready("write_all(ByteList)") && (count == 0 || send(bytes.data(), count) == count);
}

int tcpTran::send(unsigned char const* bytes, int count) {
    return written(bytes, socket_->Send(bytes, count));
}

void tcpTran::flush_in() {
    resume();
    if (!is_open()) {
        cport->Log(lmtError, "tcpTran::flush_in : ошибка (is_open).");
        return;
    }
    socket_->flush_input();
}

void tcpTran::set_timeout(int rto, int sto) {
    resume();
    if (is_open()) {
        rto_ = rto;
        sto_ = sto;
        socket_->set_timeout(rto, sto);
    }
}
