#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>

namespace xCommon {

/// A queue entry. Whoever pops it deletes it.
class svMessage {
 public:
    /// Values of `type`.
    static constexpr int connected = 0;
    static constexpr int message = 1;

    explicit svMessage(int entry_type) : type(entry_type) {}
    virtual ~svMessage() = default;
    /// Bytes that the entry holds beyond itself, for the queue's bound.
    virtual size_t weight() const { return 0; }

    int type;
};

/// First-in first-out queue between the broker client's network thread and the worker. It holds a bounded number of
/// messages: while a line is away nobody pops, and then the oldest message is dropped, with one line in the log until
/// the queue has been emptied.
class SyncVector {
 public:
    SyncVector() = default;
    virtual ~SyncVector() = default;
    SyncVector(SyncVector const&) = delete;
    SyncVector& operator=(SyncVector const&) = delete;

    static constexpr size_t max_messages = 50000;
    static constexpr size_t max_bytes = size_t{16} * 1024 * 1024;

    /// The oldest entry, or null after `wait_ms` without one. `wake_on_push` false makes it a bare look that doesn't
    /// wait at all.
    svMessage* PopWait(int wait_ms, bool wake_on_push);
    /// Waits until an entry is pushed or Wake() is called, `wait_ms` at most; what came since the last call counts.
    /// False when nothing did.
    bool WaitPush(int wait_ms);
    void Wake();
    virtual void Push(std::unique_ptr<svMessage> entry);
    /// Takes all entries of type 0 out, whatever waits in front of them; true if there was one.
    bool TakeConnected();
    bool empty();
    void Clear();

 private:
    void drop_oldest_message();

    std::mutex mutex_;
    std::condition_variable pushed_;
    std::deque<std::unique_ptr<svMessage>> entries_;
    size_t bytes_ = 0;
    bool dropping_ = false;
    bool has_news_ = false;
};

}  // namespace xCommon
