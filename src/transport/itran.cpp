#include "transport/itran.h"

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
