#include "gpio/worker.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <sys/inotify.h>
#include <unistd.h>

#include "config/constants.h"
#include "foundation/xmisc.h"
#include "foundation/xsignal.h"

namespace xgpio {

using xCommon::global_logf;
using xCommon::lmtError;
using xCommon::lmtInfo;
using xCommon::lmtTrace;
using xCommon::xMisc;
using xCommon::xString;

namespace {

constexpr int reconnect_pause_ms = 3000;
constexpr int connect_wait_ms = 1000;
constexpr int keep_alive_s = 60;
constexpr uint32_t all_events = 4095;
/// Room for the inotify events of one line in one turn.
constexpr size_t event_room = 272;

std::string value_path(io_base const& line) {
    return xString::Format(path_gpio_value, line.channel->gpio);
}

}  // namespace

worker::worker(std::unique_ptr<config_t> settings)
    : LogItem(nullptr, settings->name), config(std::move(settings)), queue(std::make_unique<xCommon::SyncVector>()) {}

worker::~worker() {
    Stop();
    client.reset();
    queue->Clear();
    lines.clear();
    for (int const fd : {epfd, ifd}) {
        if (fd >= 0) {
            close(fd);
        }
    }
}

bool worker::Run() {
    running = Start();
    if (running) {
        thread = std::thread(&worker::Work, this);
    }
    return running;
}

void worker::Stop() {
    running = false;
    if (thread.joinable()) {
        thread.join();
    }
}

bool worker::Start() {
    try {
        make_lines();
        if (lines.empty()) {
            Log(lmtError, "список каналов пуст. Работа невозможна.");
            return false;
        }
        epfd = epoll_create1(EPOLL_CLOEXEC);
        Logf(lmtInfo, "Инициализация epoll: %d", epfd);
        if (epfd < 1) {
            Log(lmtError, "критическая ошибка : не удалось создать очередь событий.");
            return false;
        }
        ifd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        Logf(lmtInfo, "Инициализация inotify: %d", ifd);
        if (ifd < 0) {
            Log(lmtError, "критическая ошибка : не удалось инициализировать inotify.");
            return false;
        }
        ibuf.resize(lines.size() * event_room);
        for (auto const& line : lines) {
            watch_line(*line);
        }
        return true;
    } catch (std::exception const& e) {
        global_logf(lmtTrace, "Worker.Start : ошибка при запуске драйвера : %s.", e.what());
        return false;
    }
}

void worker::make_lines() {
    for (auto const& channel : config->channels) {
        try {
            if (channel->type == type_base) {
                lines.push_back(std::make_unique<io_base>(this, channel.get()));
            } else {
                lines.push_back(std::make_unique<io_counter>(this, channel.get()));
            }
        } catch (std::exception const& e) {
            Logf(lmtError, "%s : исключение при создании канала : %s.", channel->name, e.what());
        }
    }
}

void worker::watch_line(io_base& line) {
    if (line.irr_set()) {
        // A value that nobody has read counts as changed to the kernel, and would look like a real interrupt.
        line.get_value();
        if (epoll_ctl(epfd, EPOLL_CTL_ADD, line.value_fd, &line.event) != 0) {
            line.Logf(lmtError, "epoll_ctl : ошибка при добавлении канала в очередь событий : %s.",
                      std::strerror(errno));
        }
    }
    std::string const path = value_path(line);
    int const watch = inotify_add_watch(ifd, path.c_str(), all_events);
    if (watch < 0) {
        Logf(lmtError, "inotify_add_watch : ошибка %s : %s.", path, std::strerror(errno));
        return;
    }
    line.watch = watch;
    Logf(lmtInfo, "inotify : %s : %d", path, watch);
}

void worker::Work() {
    xCommon::name_thread("poll", name);
    xCommon::FaultStack const fault_stack;
    while ((epfd > 0 || ifd > 0) && running) {
        turn();
    }
}

void worker::turn() {
    if (!client || !client->get_bool(client->connected)) {
        xMisc::delay(reconnect_pause_ms);
        if (!mq_start()) {
            return;
        }
    }
    client->resubscribe();
    mq_check();
    if (epfd > 0) {
        wait_for_interrupts();
    }
    if (ifd < 1) {
        return;
    }
    touch_lines();
    read_touches();
}

void worker::wait_for_interrupts() {
    int const count = epoll_wait(epfd, events.data(), static_cast<int>(events.size()), config->wto);
    if (count > 0) {
        irr_hand(count);
    } else if (count == 0) {
        debounce();
    }
}

/// The touch is the poll: it raises the inotify event that stands for an interrupt.
void worker::touch_lines() {
    for (auto const& line : lines) {
        if (line->watch > 0) {
            xCommon::xSystem::Touch(value_path(*line));
        }
    }
}

void worker::read_touches() {
    ssize_t const count = read(ifd, ibuf.data(), ibuf.size());
    if (count < 1) {
        debounce();
        return;
    }
    auto const end = static_cast<size_t>(count);
    for (size_t at = 0; at + sizeof(inotify_event) <= end;) {
        inotify_event event;
        std::memcpy(&event, ibuf.data() + at, sizeof(event));
        at += sizeof(event) + event.len;
        // The worker's own reads. Answered by further ones they would fill the kernel's queue, with several lines.
        if (event.mask == IN_ACCESS) {
            continue;
        }
        auto const line = std::ranges::find(lines, event.wd, &io_base::watch);
        if (line == lines.end()) {
            Logf(lmtTrace, "не найден обработчик события inotify : %d", event.wd);
            continue;
        }
        serve(**line, true, "исключение при обработке прерывания : %s.");
    }
}

void worker::irr_hand(int count) {
    Logf(lmtTrace, "обработка прерываний : %d.", count);
    for (int index = 0; index < count; ++index) {
        int const fd = events[static_cast<size_t>(index)].data.fd;
        auto const found = std::ranges::find(lines, fd, &io_base::value_fd);
        if (found == lines.end()) {
            Logf(lmtError, "не найден обработчик прерывания : %d.", fd);
            continue;
        }
        io_base& line = **found;
        if (line.watch > 0) {
            Logf(lmtTrace, "%s : таймер снят : %d.", value_path(line), line.watch);
            line.watch = inotify_rm_watch(ifd, line.watch);
        }
        serve(line, true, "исключение при обработке прерывания : %s.");
    }
}

void worker::debounce() {
    for (auto const& line : lines) {
        serve(*line, false, "исключение при обработке дребезга : %s.");
    }
}

void worker::serve(io_base& line, bool from_event, char const* fault) {
    try {
        if (!process_messages(line.irr_hand(from_event)) && line.channel->type == type_base) {
            line.last_value = std::string(io_base::never_read);  // to be published when the connection stands again
        }
    } catch (std::exception const& e) {
        line.Logf(lmtError, xCommon::RuntimeFormat(fault), e.what());
    }
}

bool worker::process_messages(std::vector<mqtt_message> const& messages) {
    bool all_sent = true;
    for (mqtt_message const& message : messages) {
        // Where the broker held no total yet the subscription still stands, and the line's own first total would come
        // back to it as its base.
        if (awaited_totals_.erase(message.topic) != 0) {
            client->unsubscribe(message.topic);
            overtaken_totals_.insert(message.topic);
        }
        all_sent = client->publish(message.topic, message.payload, message.qos, message.retain) && all_sent;
    }
    return all_sent;
}

bool worker::mq_start() {
    if (config->broker.concerns_client()) {
        return await_own_client();
    }
    client.reset();
    try {
        client = xMQ::mqUtils::mqActivate(config->url, config->port, queue.get(), name, true, keep_alive_s);
    } catch (std::exception const& e) {
        global_logf(lmtError, "Worker::mqActivate : проблемы с подключением к MQTT.\n%s", e.what());
        return false;
    }
    if (!client) {
        xCommon::global_log(lmtError, "Worker::mqActivate : проблемы с подключением к MQTT.");
    }
    return client != nullptr;
}

bool worker::await_own_client() {
    if (!client) {
        client = std::make_unique<xMQ::mqClient>(true, queue.get(), name, keep_alive_s);
        client->set_access(config->broker.access);
        client->set_presence(config->broker.state_topic(name));
        client->connect(config->url, config->port);
    }
    return client->wait_connected(connect_wait_ms);
}

void worker::mq_check() {
    std::unique_ptr<xCommon::svMessage> const entry(queue->PopWait(0, true));
    if (!entry) {
        return;
    }
    if (entry->type == xCommon::svMessage::connected) {
        mq_on_connect();
    } else if (entry->type == xCommon::svMessage::message) {
        if (xMQ::mqMessage* message = xMQ::mqUtils::mqCast(entry.get(), name)) {
            mq_on_message(message->topic, message->payload);
        }
    }
}

void worker::mq_on_connect() {
    Log(lmtInfo, "подключение к MQTT.");
    overtaken_totals_.clear();
    std::vector<xMQ::subsItem> items;
    for (auto const& line : lines) {
        std::string const topic = line->topic();
        if (line->channel->type != type_base) {
            awaited_totals_.insert(topic + gpio_suffix_total);
            items.push_back({topic + gpio_suffix_total, 2});
        }
        if (line->channel->direction == direction_output) {
            items.push_back({topic + topic_on_suffix, 2});
        }
    }
    if (!items.empty()) {
        client->subscribe(items);
    }
}

io_base* worker::getby_topic(std::string const& topic, bool& is_total) {
    is_total = false;
    std::vector<std::string> const parts = xString::Split(topic, "/");
    if (parts.size() < 4 || parts.size() > 5) {
        Log(lmtError, "ошибка в формате топика : size < 4 или size > 5.");
        return nullptr;
    }
    if (parts[0] != "devices" || parts[2] != "controls" || parts[1] != name) {
        Log(lmtError, "ошибка в формате топика : devices | controls | device_name.");
        return nullptr;
    }
    std::string control = parts[3];
    size_t const suffix = control.find(gpio_suffix_total);
    if (suffix != std::string::npos) {
        control.erase(suffix);
        is_total = true;
    }
    if (parts.size() == 5 && parts[4] != "on") {
        Log(lmtError, "ошибка в формате топика : _total | on.");
        return nullptr;
    }
    auto const line = std::ranges::find(lines, control, &io_base::name);
    return line != lines.end() ? line->get() : nullptr;
}

/// At every connection anew, while `current` keeps what this process has counted: after a lost connection the next
/// total is too high by that. It goes with keeping the count in the broker alone.
void worker::take_total(io_base& line, std::string const& topic, std::string const& payload) {
    try {
        line.total_base = std::stof(payload);
    } catch (std::exception const&) {
        // Nothing on this thread catches it, so it ends the process: counting on from 0 would overwrite the total.
        line.Logf(lmtError, "недопустимое значение счётчика : %s = %s. Завершение процесса.", topic, payload);
        throw;
    }
    awaited_totals_.erase(topic);
    client->unsubscribe(topic);
    // A pulse has come between the subscription and this message, and put a total without the base on the broker.
    if (overtaken_totals_.erase(topic) != 0) {
        process_messages({line.total()});
    }
}

void worker::mq_on_message(std::string& topic, std::string& payload) {
    Logf(lmtInfo, "on_message : %s = %s.", topic, payload);
    bool is_total = false;
    io_base* line = getby_topic(topic, is_total);
    if (line == nullptr) {
        Log(lmtInfo, "on_message : канал не найден.");
        return;
    }
    if (is_total) {
        take_total(*line, topic, payload);
        return;
    }
    if (payload != "0" && payload != "1") {
        Log(lmtInfo, "on_message : неверное значение (не 0 и не 1).");
        return;
    }
    if (line->set_value(payload)) {
        client->publish(line->topic(), payload, 0, true);
    }
}

}  // namespace xgpio
