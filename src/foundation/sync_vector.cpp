#include "foundation/sync_vector.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "foundation/xlog.h"

namespace xCommon {

svMessage* SyncVector::PopWait(int wait_ms, bool wake_on_push) {
    std::unique_lock lock(mutex_);
    if (wake_on_push && wait_ms > 0) {
        pushed_.wait_for(lock, std::chrono::milliseconds(wait_ms), [this] { return !entries_.empty(); });
    }
    if (entries_.empty()) {
        dropping_ = false;
        return nullptr;
    }
    std::unique_ptr<svMessage> entry = std::move(entries_.front());
    entries_.pop_front();
    bytes_ -= entry->weight();
    return entry.release();
}

bool SyncVector::WaitPush(int wait_ms) {
    std::unique_lock lock(mutex_);
    pushed_.wait_for(lock, std::chrono::milliseconds(wait_ms), [this] { return has_news_; });
    return std::exchange(has_news_, false);
}

void SyncVector::Wake() {
    {
        std::lock_guard const lock(mutex_);
        has_news_ = true;
    }
    pushed_.notify_one();
}

void SyncVector::Push(std::unique_ptr<svMessage> entry) {
    bool first_drop = false;
    {
        std::lock_guard const lock(mutex_);
        // One "connected" entry makes the subscriptions of the newest connection; a second one behind it adds nothing,
        // and while a line is away each reconnection would leave one.
        if (entry->type == svMessage::connected && !entries_.empty() && entries_.back()->type == svMessage::connected) {
            return;
        }
        bytes_ += entry->weight();
        entries_.push_back(std::move(entry));
        has_news_ = true;
        while (entries_.size() > max_messages || bytes_ > max_bytes) {
            drop_oldest_message();
            first_drop = first_drop || !dropping_;
            dropping_ = true;
        }
    }
    pushed_.notify_one();
    if (first_drop) {
        global_log(lmtError, "очередь сообщений MQTT переполнена : самые старые сообщения отбрасываются.");
    }
}

void SyncVector::drop_oldest_message() {
    auto oldest = std::find_if(entries_.begin(), entries_.end(),
                               [](auto const& entry) { return entry->type == svMessage::message; });
    if (oldest == entries_.end()) {
        oldest = entries_.begin();
    }
    bytes_ -= (*oldest)->weight();
    entries_.erase(oldest);
}

bool SyncVector::TakeConnected() {
    std::lock_guard const lock(mutex_);
    // They weigh nothing.
    return std::erase_if(entries_, [](auto const& entry) { return entry->type == svMessage::connected; }) != 0;
}

bool SyncVector::empty() {
    std::lock_guard const lock(mutex_);
    return entries_.empty();
}

void SyncVector::Clear() {
    std::lock_guard const lock(mutex_);
    entries_.clear();
    bytes_ = 0;
    dropping_ = false;
}

}  // namespace xCommon
