#include "runtime/port_client.h"

#include "config/config.h"
#include "foundation/xexception.h"
#include "foundation/xmisc.h"
#include "runtime/port_host.h"

using xCommon::svMessage;
using xCommon::xException;
using xCommon::xString;

namespace {

constexpr char uuid_command[] = "cat /proc/sys/kernel/random/uuid";

}  // namespace

std::string random_identity(std::string const& name) {
    std::string identity = name + "#";
    for (std::string const& piece : xString::Split(xCommon::xSystem::ExecAndGetResult(uuid_command), "-")) {
        identity += piece;
    }
    return identity;
}

bool PortClient::mq_start() {
    mq_stop();
    queue = std::make_unique<xCommon::SyncVector>();
    bool const needs_identity = host_ == nullptr || host_->needs_identities();
    std::string const identity = needs_identity ? random_identity(node_.name) : node_.name + "#";
    try {
        mq = host_ != nullptr ? host_->make_client(*queue, identity)
                              : std::make_unique<xMQ::mqClient>(mq_clean, queue.get(), identity, mq_keepalive);
    } catch (std::bad_alloc const&) {
        throw xException("PBase:mq_start : не хватило памяти на mqClient.");
    }
    if (node_.cfg != nullptr) {
        mq->set_access(node_.cfg->broker.access);
        mq->set_presence(node_.cfg->broker.state_topic(node_.name));
    }
    return mq_connect();
}

void PortClient::mq_stop() {
    if (mq) {
        queue->Clear();
        mq->disconnect();
        mq.reset();
    }
    if (queue) {
        queue->Clear();
        queue.reset();
    }
}

bool PortClient::mq_restart() {
    mq_stop();
    return mq_start();
}

bool PortClient::mq_connect() {
    if (queue) {
        queue->Clear();
    }
    return mq && mq->connect(node_.cfg->mqtt.url, node_.cfg->mqtt.port);
}

void PortClient::mq_disconnect() {
    if (queue) {
        queue->Clear();
    }
    if (mq) {
        mq->disconnect();
    }
}

bool PortClient::mq_publish(std::string const& topic, std::string const& payload, int qos, bool retain) {
    return mq && mq->publish(topic, payload, qos, retain);
}

bool PortClient::mq_subscribe(std::vector<xMQ::subsItem> const& items) {
    return is_connected() && mq->subscribe(items);
}

void PortClient::mq_unsubscribe() {
    if (mq) {
        mq->unsubscribe();
    }
}

std::unique_ptr<svMessage> PortClient::mq_pop() {
    return std::unique_ptr<svMessage>(queue ? queue->PopWait(0, true) : nullptr);
}
