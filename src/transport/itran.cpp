#include "transport/itran.h"

#include <chrono>

#include "foundation/deadline.h"

bool iTran::reopen() {
    if (is_open()) {
        return true;
    }
    close();
    return open();
}

void iTran::flush() {
    flush_out();
    flush_in();
}

int iTran::read_count(unsigned char* buffer, int count) {
    auto const begun = std::chrono::steady_clock::now();
    int piece = read(buffer, count);
    if (piece <= 0 || piece >= count) {
        return piece;
    }
    // In pieces: what follows has the rest of the time only. A read may have connected anew, so the time-out in force
    // is looked at behind the first one.
    int const rto = rto_;
    auto const spent = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begun);
    xCommon::Deadline const deadline(rto - static_cast<int>(spent.count()));
    int got = piece;
    while (got < count && !deadline.passed()) {
        set_timeout(deadline.left_ms(), sto_);
        piece = read(buffer + got, count - got);
        if (piece <= 0) {
            break;
        }
        got += piece;
    }
    set_timeout(rto, sto_);
    return got;
}
