#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/sync_vector.h"
#include "support/log_capture.h"

using xCommon::svMessage;
using xCommon::SyncVector;

namespace {

constexpr char overflow_line[] = "[3] очередь сообщений MQTT переполнена : самые старые сообщения отбрасываются.";

struct Numbered : svMessage {
    explicit Numbered(int value, size_t bytes = 0) : svMessage(svMessage::message), number(value), held(bytes) {}
    size_t weight() const override { return held; }

    int number;
    size_t held;
};

void push(SyncVector& queue, int number, size_t bytes = 0) {
    queue.Push(std::make_unique<Numbered>(number, bytes));
}

void push_connected(SyncVector& queue) {
    queue.Push(std::make_unique<svMessage>(svMessage::connected));
}

/// The next entry as text: the number of a message, "connected", or "none".
std::string pop(SyncVector& queue) {
    std::unique_ptr<svMessage> const entry(queue.PopWait(0, true));
    if (!entry) {
        return "none";
    }
    auto const* message = dynamic_cast<Numbered const*>(entry.get());
    return message != nullptr ? std::to_string(message->number) : "connected";
}

std::vector<std::string> pop_all(SyncVector& queue) {
    std::vector<std::string> found;
    for (std::string text = pop(queue); text != "none"; text = pop(queue)) {
        found.push_back(text);
    }
    return found;
}

using Clock = std::chrono::steady_clock;

}  // namespace

TEST(Queue, FirstInFirstOut) {
    SyncVector queue;
    EXPECT_EQ(pop(queue), "none");
    push_connected(queue);
    push(queue, 1);
    push(queue, 2);
    EXPECT_EQ(pop(queue), "connected");
    push(queue, 3);
    EXPECT_EQ(pop_all(queue), (std::vector<std::string>{"1", "2", "3"}));

    push(queue, 4);
    queue.Clear();
    EXPECT_EQ(pop(queue), "none");
    push(queue, 5);  // left to the destructor
}

TEST(Queue, RepeatedConnectionsMakeOneEntry) {
    SyncVector queue;
    push_connected(queue);
    push_connected(queue);
    push(queue, 1);
    push_connected(queue);
    push_connected(queue);
    // A message in between came under the older subscriptions: the later connection needs its own.
    EXPECT_EQ(pop_all(queue), (std::vector<std::string>{"connected", "1", "connected"}));
    push_connected(queue);
    EXPECT_EQ(pop(queue), "connected");
}

TEST(Queue, FullQueueLosesTheOldestMessagesWithOneLine) {
    LogCapture const log;
    SyncVector queue;
    constexpr int surplus = 10;
    auto const fill = [&queue](int count) {
        push_connected(queue);
        for (int number = 0; number < count; ++number) {
            push(queue, number);
        }
    };
    fill(SyncVector::max_messages - 1);
    EXPECT_EQ(log.count(overflow_line), 0);
    EXPECT_EQ(pop_all(queue).size(), SyncVector::max_messages);

    fill(SyncVector::max_messages - 1 + surplus);
    EXPECT_EQ(log.count(overflow_line), 1);
    std::vector<std::string> const left = pop_all(queue);
    ASSERT_EQ(left.size(), SyncVector::max_messages);
    EXPECT_EQ(left[0], "connected");  // without it nothing would be subscribed
    EXPECT_EQ(left[1], std::to_string(surplus));
    EXPECT_EQ(left.back(), std::to_string(SyncVector::max_messages - 2 + surplus));

    // Emptied in between: the next overflow is a new one.
    fill(SyncVector::max_messages);
    EXPECT_EQ(log.count(overflow_line), 2);
}

TEST(Queue, BoundCountsBytesToo) {
    LogCapture const log;
    SyncVector queue;
    constexpr size_t quarter = SyncVector::max_bytes / 4;
    for (int number = 0; number < 5; ++number) {
        push(queue, number, quarter);
    }
    EXPECT_EQ(log.count(overflow_line), 1);
    EXPECT_EQ(pop(queue), "1");
    push(queue, 5, quarter);  // what was popped no longer counts
    EXPECT_EQ(pop_all(queue), (std::vector<std::string>{"2", "3", "4", "5"}));

    push(queue, 6, quarter * 3);
    queue.Clear();  // nor what was cleared
    push(queue, 7, quarter * 3);
    push(queue, 8, quarter);
    EXPECT_EQ(pop_all(queue), (std::vector<std::string>{"7", "8"}));

    push(queue, 9, SyncVector::max_bytes * 2);  // a single one passes it neither
    EXPECT_EQ(pop(queue), "none");
}

TEST(Queue, WaitsOnlyWhenAsked) {
    SyncVector queue;
    auto const begin = Clock::now();
    EXPECT_EQ(queue.PopWait(0, true), nullptr);
    EXPECT_EQ(queue.PopWait(60000, false), nullptr);
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(30));

    auto const before_wait = Clock::now();
    EXPECT_EQ(queue.PopWait(50, true), nullptr);
    EXPECT_GE(Clock::now() - before_wait, std::chrono::milliseconds(50));

    std::thread other([&queue] { push(queue, 1); });
    std::unique_ptr<svMessage> const woken(queue.PopWait(60000, true));
    other.join();
    EXPECT_NE(woken, nullptr);
}

TEST(Queue, TwoThreadsLoseNothing) {
    SyncVector queue;
    constexpr int count = 20000;
    std::thread producer([&queue] {
        for (int number = 0; number < count; ++number) {
            push(queue, number);
        }
    });
    int expected = 0;
    while (expected < count) {
        std::unique_ptr<svMessage> const entry(queue.PopWait(10000, true));
        auto const* message = dynamic_cast<Numbered const*>(entry.get());
        if (message == nullptr || message->number != expected) {
            ADD_FAILURE() << "message " << expected << " is missing";
            break;
        }
        ++expected;
    }
    producer.join();
}
