#include "transport/rs_tran.h"

#include <vector>

#include "foundation/xexception.h"

using xCommon::lmtError;

namespace {

xserial::Timeout make_timeout(int rto, int sto) {
    xserial::Timeout timeout;
    timeout.inter_byte = -1;
    timeout.read_constant = rto;
    timeout.write_constant = sto;
    return timeout;
}

}  // namespace

rsTran::rsTran(CPort* port) : iTran(port), settings(port->rs) {}

bool rsTran::open() {
    close();
    rto_ = cport->rto;
    sto_ = cport->sto;
    try {
        if (!settings.validate()) {
            throw xCommon::xExceptionf("%s : невалидные настройки", settings.path);
        }
        line_ =
            std::make_unique<xserial::xrs>(settings.path, settings.baudrate, make_timeout(cport->rto, cport->sto),
                                           settings.bytesize, settings.parity, settings.stopbits, settings.flowcontrol);
        line_->open();
        flush();
    } catch (std::exception const& e) {
        cport->Logf(lmtError, "ошибка открытия порта : %s.", e.what());
    }
    open_failed_ = !is_open();
    if (open_failed_) {
        cport->Log(lmtError, "не удалось открыть COM порт.");
    }
    return !open_failed_;
}

bool rsTran::is_away() {
    return open_failed_ || (line_ && !line_->isOpen());
}

void rsTran::close() {
    line_.reset();
}

bool rsTran::is_open() {
    return line_ && line_->isOpen();
}

int rsTran::read(unsigned char* buffer, int count) {
    if (!is_open()) {
        return -1;
    }
    return count <= 0 ? 0 : noted(buffer, static_cast<int>(line_->read(buffer, static_cast<unsigned int>(count))));
}

int rsTran::read_piece(unsigned char* buffer, int count) {
    if (!is_open()) {
        return -1;
    }
    return count <= 0 ? 0 : noted(buffer, static_cast<int>(line_->readSome(buffer, static_cast<unsigned int>(count))));
}

bool rsTran::read_all(unsigned char* buffer, int count) {
    if (!is_open()) {
        return false;
    }
    int got = 0;
    while (got < count) {
        int const piece = read(buffer + got, count - got);
        if (piece < 1) {
            return false;
        }
        got += piece;
    }
    return true;
}

int rsTran::write(unsigned char* buffer, int count) {
    if (!is_open()) {
        return -1;
    }
    return count <= 0 ? 0 : written(buffer, static_cast<int>(line_->write(buffer, static_cast<unsigned int>(count))));
}

int rsTran::write(xCommon::ByteList& bytes) {
    if (!is_open()) {
        return -1;
    }
    auto const count = static_cast<unsigned int>(bytes.size());
    return count == 0 ? 0 : written(bytes.data(), static_cast<int>(line_->write(bytes.data(), count)));
}

bool rsTran::write_all(unsigned char* buffer, int count) {
    if (!is_open()) {
        return false;
    }
    int sent = 0;
    while (sent < count) {
        int const piece = write(buffer + sent, count - sent);
        if (piece < 1) {
            return false;
        }
        sent += piece;
    }
    return true;
}

bool rsTran::write_all(xCommon::ByteList& bytes) {
    if (!is_open() || bytes.empty()) {
        return false;
    }
    std::vector<unsigned char> copy(bytes.size());
    bytes.pop_buf(copy.data(), static_cast<int>(copy.size()));
    return write_all(copy.data(), static_cast<int>(bytes.size()));
}

void rsTran::flush_in() {
    if (line_) {
        line_->flushInput();
    }
}

void rsTran::flush_out() {
    if (line_) {
        line_->flushOutput();
    }
}

void rsTran::set_timeout(int rto, int sto) {
    if (line_) {
        rto_ = rto;
        sto_ = sto;
        line_->setTimeout(make_timeout(rto, sto));
    }
}
