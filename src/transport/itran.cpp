#include "transport/itran.h"

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
    int const rto = rto_;
    xCommon::Deadline const deadline(rto);
    int got = 0;
    int piece = 0;
    while (got < count) {
        piece = read(buffer + got, count - got);
        if (piece <= 0) {
            break;
        }
        got += piece;
        if (got < count) {
            if (deadline.passed()) {
                break;
            }
            set_timeout(deadline.left_ms(), sto_);
        }
    }
    if (rto_ != rto) {
        set_timeout(rto, sto_);
    }
    return got > 0 ? got : piece;
}
