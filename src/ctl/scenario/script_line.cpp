#include "ctl/scenario/script_line.h"

#include <algorithm>
#include <utility>

#include "foundation/xmisc.h"

using xCommon::xtime;

bool ScriptLine::open() {
    abandoned_ = false;
    hangs_up_ = false;
    rto_ = cport->rto;
    seen_open_ = !is_away_;
    if (is_away_) {
        // As the transports tell it.
        cport->Log(xCommon::lmtError, is_tcp_ ? "не удалось открыть TCP соединение." : "не удалось открыть COM порт.");
        return is_tcp_;
    }
    return NoLineTran::open();
}

void ScriptLine::close() {
    pieces_.clear();
    NoLineTran::close();
}

void ScriptLine::set_away(bool away) {
    is_away_ = away;
    if (away) {
        close();
    }
}

/// TCP connects anew by itself, a serial line doesn't.
bool ScriptLine::ready() {
    return is_open() || (is_tcp_ && open() && is_open());
}

int ScriptLine::take(unsigned char* buffer, int count, bool first_only) {
    if (!ready()) {
        return -1;
    }
    Time const end = xtime::steady() + std::chrono::milliseconds(std::max(rto_, 0));
    int got = 0;
    while (got < count) {
        if (pieces_.empty() || pieces_.front().at > end) {
            if (pieces_.empty() && std::exchange(hangs_up_, false)) {
                close();
                return got > 0 ? noted(buffer, got) : -1;
            }
            wait_until(end);
            break;
        }
        Piece& piece = pieces_.front();
        wait_until(piece.at);
        size_t const taken = std::min(piece.bytes.size(), static_cast<size_t>(count - got));
        std::copy_n(piece.bytes.begin(), taken, buffer + got);
        piece.bytes.erase(piece.bytes.begin(), piece.bytes.begin() + static_cast<std::ptrdiff_t>(taken));
        got += static_cast<int>(taken);
        if (piece.bytes.empty()) {
            pieces_.pop_front();
        }
        if (first_only) {
            break;
        }
    }
    return noted(buffer, got);
}

bool ScriptLine::read_all(unsigned char* buffer, int count) {
    int got = 0;
    while (got < count) {
        int const piece = read(buffer + got, count - got);
        if (piece <= 0) {
            return false;
        }
        got += piece;
    }
    return true;
}

void ScriptLine::arrive(hex::Bytes bytes, int after_ms) {
    if (!bytes.empty()) {
        pieces_.push_back({xtime::steady() + std::chrono::milliseconds(after_ms), std::move(bytes)});
    }
}

void ScriptLine::wait_until(Time time) {
    auto const left = std::chrono::ceil<std::chrono::milliseconds>(time - xtime::steady());
    xCommon::xMisc::delay(static_cast<int>(left.count()));
}

int ScriptLine::write(unsigned char* buffer, int count) {
    if (!ready()) {
        return -1;
    }
    std::span<unsigned char const> const frame(buffer, static_cast<size_t>(count));
    sent.push_back(hex::text(frame));
    written(buffer, count);
    Reply const reply = script.answer(frame);
    if (reply.hang_up == HangUp::before_reply) {
        close();
        return count;
    }
    hex::Bytes const bytes = hex::bytes(reply.hex);
    size_t const step = reply.fragment > 0 ? static_cast<size_t>(reply.fragment) : bytes.size();
    int after_ms = reply.delay_ms;
    for (size_t at = 0; at < bytes.size(); at += step, after_ms += reply.gap_ms) {
        auto const piece = std::span(bytes).subspan(at, std::min(step, bytes.size() - at));
        arrive({piece.begin(), piece.end()}, after_ms);
    }
    hangs_up_ = reply.hang_up != HangUp::never;
    return count;
}

void ScriptLine::flush_in() {
    resume();
    std::erase_if(pieces_, [this](Piece const& piece) { return piece.at <= xtime::steady(); });
}

void ScriptLine::set_timeout(int rto, int /*sto*/) {
    resume();
    rto_ = rto;
}

bool ScriptLine::abandon() {
    if (!is_tcp_ || !is_open()) {
        return false;
    }
    close();
    abandoned_ = true;
    return true;
}

void ScriptLine::resume() {
    if (abandoned_) {
        open();
    }
}
