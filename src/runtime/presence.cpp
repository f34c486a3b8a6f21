#include "runtime/presence.h"

#include "config/config.h"
#include "config/constants.h"
#include "foundation/xmisc.h"
#include "runtime/port_base.h"

void Presence::polled(bool is_good) {
    // A device behind a bridge is heard when it reports; its polls ask nobody.
    if (device_.port->cport->type_has("z2t")) {
        return;
    }
    was_tried_ = true;
    if (is_good) {
        answered();
    }
}

void Presence::answered() {
    has_answered_ = true;
    last_answer_ = xCommon::xtime::steady();
    set(true);
}

void Presence::end_pass() {
    if (was_tried_ && !available_) {
        set(has_answered_);
    } else if (available_ && !is_told_) {
        tell_again();
    }
}

void Presence::unreachable() {
    if (!has_answered_) {
        set(false);
    }
}

void Presence::set(bool available) {
    Config const* const config = device_.port->cport->cfg;
    if (config == nullptr || !config->broker.availability || available_ == available) {
        return;
    }
    available_ = available;
    tell_again();
}

void Presence::tell_again() {
    if (available_) {
        is_told_ = device_.port->mq_publish(xCommon::xString::Format(topic_available, device_.get_device_name()),
                                            *available_ ? "1" : "0", 1, true);
    }
}

std::optional<long long> Presence::age() const {
    if (!last_answer_) {
        return {};
    }
    return std::chrono::duration_cast<std::chrono::seconds>(xCommon::xtime::steady() - *last_answer_).count();
}
