#include "config/load_scope.h"

LoadScope::~LoadScope() {
    current_ = outer;
    if (watcher != nullptr) {
        watcher->left(*this);
    }
}
