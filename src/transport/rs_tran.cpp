#include "transport/rs_tran.h"

#include "foundation/xexception.h"

using xCommon::lmtError;

namespace {

xserial::Timeout make_timeout(int rto, int sto) {
    return {.read_constant = rto, .write_constant = sto};
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
        if (line_->isHeld() && !was_held_) {
            cport->Logf(lmtError, "линия %s занята другой программой : открыта без блокировки.", settings.path);
        }
        was_held_ = line_->isHeld();
        flush();
    } catch (std::exception const& e) {
        cport->Logf(lmtError, "ошибка открытия порта : %s.", e.what());
    }
    open_failed_ = !is_open();
    seen_open_ = !open_failed_;
    if (open_failed_) {
        cport->Log(lmtError, "не удалось открыть COM порт.");
    }
    return !open_failed_;
}

bool rsTran::is_away() {
    return open_failed_ || (line_ && !line_->isOpen());
}

std::optional<bool> rsTran::look() {
    return line_ ? std::optional(line_->isOpen()) : std::nullopt;
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

/// Pieces until all have gone; the first one that fails ends it.
template <typename Piece>
bool rsTran::move_all(unsigned char* buffer, int count, Piece next_piece) {
    if (!is_open()) {
        return false;
    }
    int moved = 0;
    while (moved < count) {
        int const piece = next_piece(buffer + moved, count - moved);
        if (piece < 1) {
            return false;
        }
        moved += piece;
    }
    return true;
}

bool rsTran::read_all(unsigned char* buffer, int count) {
    return move_all(buffer, count, [this](unsigned char* to, int most) { return read(to, most); });
}

int rsTran::write(unsigned char* buffer, int count) {
    if (!is_open()) {
        return -1;
    }
    return count <= 0 ? 0 : written(buffer, static_cast<int>(line_->write(buffer, static_cast<unsigned int>(count))));
}

bool rsTran::write_all(unsigned char* buffer, int count) {
    return move_all(buffer, count, [this](unsigned char* from, int most) { return write(from, most); });
}

bool rsTran::write_all(xCommon::ByteList& bytes) {
    return !bytes.empty() && iTran::write_all(bytes);
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
