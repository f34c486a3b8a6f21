#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "config/cport.h"
#include "runtime/dev_base.h"
#include "runtime/ibase.h"
#include "runtime/port_client.h"
#include "runtime/port_line.h"

/// Gives a class of ports its static create().
template <typename T>
struct PortFromNode {
    static std::unique_ptr<IBase> create(IBase* parent, CBase* node) {
        return std::make_unique<T>(parent, dynamic_cast<CPort*>(node));
    }
};

/// Since process start; written by the worker alone.
struct PortCounters {
    long long polls = 0;
    long long errors = 0;
    long long out_of_range = 0;
};

/// Run-time object of one port: owns the transport, the broker client and the devices, and runs the one worker thread
/// that polls them and handles every message. Ports share nothing but the read-only tree and the process log.
/// A class derived from it calls end() in its own destructor, before its parts go that the worker uses.
class PortBase : public IBase, public PortCounters, public PortLine, public PortClient, public PortFromNode<PortBase> {
 public:
    /// Raises an xException for a missing node, and an xExceptionf for a port of which no device could be made.
    PortBase(IBase* parent_object, CPort* node);
    ~PortBase() override;

    bool Start() override;
    void Stop() override;
    void Worker() override;
    void Poll(long long now) override;
    void ProcConnect() override;
    using IBase::ProcMessage;
    bool ProcMessage(std::string& topic, std::string& payload) override;
    /// Serves the waiting messages, on behalf of a device between two of its parameters; does nothing for null.
    void CheckMessage(DevBase* dev) override;

    /// Publishes the value of a good result, or "r" on the error topic.
    virtual void publish_result(BaseResult& result, DevBase* dev, CParam* param);
    /// Logs and publishes the counters since process start.
    virtual void show_stat();
    /// Publishes how long ago each device has answered, where that is wanted.
    void show_age();
    /// Undoes the scale on a value that is to be written.
    virtual void scale_command(DevBase* dev, std::string const& topic, std::string& value);
    /// Adds the correction to a value. Not part of the ordinary path of a write: drivers may call it.
    virtual void correction_command(DevBase* dev, std::string const& topic, std::string& value);

    /// One pass of the worker: what is due is polled, messages are served. For a port with a PortHost.
    void pass();
    /// Each device of the port, of whatever class it is.
    virtual void each_device(std::function<void(DevBase&)> const& step);
    /// One device in a pass; what it raises is told by `node`.
    void poll_device(DevBase& device, long long now, CBase const& node);
    void th_start();
    void th_stop();
    /// The first device with that configuration name, or null.
    DevBase* get_device(std::string const& name);

    /// Fans the members of a JSON message of the bridge out to the devices. False when the message isn't one.
    bool check_z2t_message(std::string const& topic, std::string const& payload);

    CPort* cport;
    std::vector<std::unique_ptr<DevBase>> devices;
    bool is_base = false;

 protected:
    /// Serves the queue; `dev` may be null in a port-level driver.
    void serve_queue(DevBase* dev);
    /// What is due can't be asked.
    void line_is_away(long long now);
    /// Stop(), for destructors.
    void end();
    std::unique_ptr<std::thread> thread;
    std::atomic<bool> running = false;
    int worker_delay = 1000;  ///< ms, rest at the head of each pass, in which messages are served

 private:
    /// A subscription has failed although the connection stood: ProcConnect() is to be run again at the next pass.
    bool connect_owed_ = false;
    bool is_hosted_;
    std::optional<bool> told_line_;
    std::chrono::steady_clock::time_point last_age_;

    PortBase(IBase* parent_object, CPort* node, PortHost* host);
    /// Serves the entries of type 0 alone: subscriptions don't wait for a line, messages do.
    void serve_connections();
    void proc_connected();
    void tell_line();
    void tell_age_in_time();
    void make_devices();
    void start_devices();
    void rest();
    void serve_at_rest();
    void offer(std::function<bool(DevBase&)> const& message);
};
