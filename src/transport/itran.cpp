#include "transport/itran.h"

#include <utility>

#include "config/process.h"
#include "foundation/deadline.h"

std::optional<bool> iTran::seen_open() {
    if (std::optional<bool> const now = look()) {
        seen_open_ = now;
    }
    return seen_open_;
}

bool iTran::reopen() {
    if (is_open()) {
        return true;
    }
    close();
    return open();
}

void iTran::trace(char const* direction, unsigned char const* buffer, int count) {
    if (!PH::IsPrintHex || count < 0) {
        return;
    }
    auto const now = xCommon::xtime::steady();
    auto const since = std::chrono::duration_cast<std::chrono::milliseconds>(now - std::exchange(last_trace_, now));
    trace_hex(*cport, buffer, count, xCommon::xString::Format("%s +%d мс", direction, static_cast<int>(since.count())));
}

int iTran::noted(unsigned char const* buffer, int got) {
    heard = heard || got > 0;
    trace("приём", buffer, got);
    return got;
}

int iTran::written(unsigned char const* buffer, int count) {
    trace("передача", buffer, count);
    return count;
}

void iTran::flush() {
    flush_out();
    flush_in();
}

/// Pieces until the end, or until the read time-out in force at the call has passed.
template <typename Piece, typename End>
int iTran::gather(unsigned char* buffer, int count, Piece next_piece, End is_end) {
    auto const begun = std::chrono::steady_clock::now();
    int piece = next_piece(buffer, count);
    if (piece <= 0 || is_end(piece)) {
        return piece;
    }
    // In pieces: what follows has the rest of the time only. A read may have connected anew, so the time-out in force
    // is looked at behind the first one.
    int const rto = rto_;
    auto const spent = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begun);
    xCommon::Deadline const deadline(rto - static_cast<int>(spent.count()));
    int got = piece;
    while (!is_end(got) && !deadline.passed()) {
        set_timeout(deadline.left_ms(), sto_);
        piece = next_piece(buffer + got, count - got);
        if (piece <= 0) {
            break;
        }
        got += piece;
    }
    set_timeout(rto, sto_);
    return got;
}

int iTran::read_count(unsigned char* buffer, int count) {
    return gather(
        buffer, count, [this](unsigned char* to, int most) { return read(to, most); },
        [count](int got) { return got >= count; });
}

int iTran::read_frame(unsigned char* buffer, int count, WholeFrame is_whole) {
    return gather(
        buffer, count, [this](unsigned char* to, int most) { return read_piece(to, most); },
        [=](int got) {
            return got >= count || is_whole({buffer, static_cast<size_t>(got)});
        });
}
