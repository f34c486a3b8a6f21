// One poll or write by the daemon's own driver, without a broker.

#include <algorithm>
#include <climits>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <regex>

#include "config/constants.h"
#include "config/process.h"
#include "ctl/commands.h"
#include "ctl/language/phrase.h"
#include "ctl/line/hex.h"
#include "ctl/live/frame_fields.h"
#include "ctl/live/live_ports.h"
#include "ctl/live/selection.h"
#include "ctl/progress.h"

namespace {

struct Options {
    std::string file = path_config_second;
    std::vector<std::string> wanted;
    std::string value;
    bool all = false;
    bool frames = false;
    bool force = false;
};

/// A loaded configuration with its topics.
struct Plant {
    std::unique_ptr<Loading> loading;
    std::vector<TopicRow> rows;

    explicit Plant(std::string const& path) : loading(load_configuration(path)) {
        LogListener const silence([](auto...) {});
        IdlePorts const ports(*loading->config);
        rows = list_topics(*loading->config, loading->gpio.get(), ports);
    }

    CPort* port(TopicRow const& row) const {
        for (auto const& node : loading->config->ports.children) {
            for (auto const& device : node->children) {
                if (row.node != nullptr && device.get() == row.node->parent) {
                    return dynamic_cast<CPort*>(node.get());
                }
            }
        }
        return nullptr;
    }
};

/// Shows the frames of a port, with their fields where all its devices are of one type. What comes behind a request is
/// one frame, however many reads take it.
class FrameView {
 public:
    FrameView(CPort const& port, bool wanted) : is_wanted_(wanted) {
        PH::IsPrintHex = wanted;
        bool is_mixed = false;
        for (auto const& device : port.children) {
            is_mixed |= device->enabled && !type_.empty() && type_ != device->type;
            type_ = device->enabled ? device->type : type_;
        }
        type_ = is_mixed ? "" : type_;
    }

    ~FrameView() { end(); }
    FrameView(FrameView const&) = delete;
    FrameView& operator=(FrameView const&) = delete;

    LiveLog::Frames taker() {
        if (!is_wanted_) {
            return {};
        }
        return [this](std::string const& line) { take(line); };
    }
    void end() {
        if (is_request_) {
            show("→", true);
        } else if (has_reply_) {
            show("←", false);
        }
        is_request_ = has_reply_ = false;
        bytes_.clear();
        time_ms_ = 0;
    }

 private:
    void take(std::string const& line) {
        static std::regex const frame(R"(^(передача|приём) \+(\d+) мс :((?: [0-9A-F]{2})*)$)");
        std::smatch found;
        if (!std::regex_search(line, found, frame)) {
            return;
        }
        bool const is_request = found[1] == "передача";
        if (is_request || is_request_) {
            end();
        }
        is_request_ = is_request;
        has_reply_ = !is_request;
        time_ms_ += std::stol(found[2]);
        hex::Bytes const piece = hex::bytes(found[3].str());
        bytes_.insert(bytes_.end(), piece.begin(), piece.end());
    }

    void show(char const* arrow, bool is_request) const {
        std::string const fields = bytes_.empty() ? say("nothing came") : frame_fields(type_, is_request, bytes_);
        std::cout << "  " << arrow << " " << hex::text(bytes_) << "  +" << time_ms_ << " ms"
                  << (fields.empty() ? "" : "  ") << fields << "\n";
    }

    bool is_wanted_;
    std::string type_;
    bool is_request_ = false;
    bool has_reply_ = false;
    long time_ms_ = 0;
    hex::Bytes bytes_;
};

std::string name_of(TopicRow const& row) {
    // "/devices/NAME/controls/CONTROL"
    std::vector<std::string> const pieces = xCommon::xString::Split(row.topic, "/");
    return (pieces.size() > 1 ? pieces[1] : row.device) + "/" + row.parameter;
}

class Reader {
 public:
    Reader(Plant const& plant, Options const& options) : plant_(plant), options_(options) {}

    int read() {
        std::map<CPort*, std::vector<TopicRow>> by_port;
        std::vector<CPort*> order;
        for (TopicRow const& row : wanted_rows()) {
            CPort* const port = plant_.port(row);
            if (port == nullptr || port->type_has("z2t") || !row.is_read) {
                fail(row, port == nullptr ? say("is a line of the gateway: only the daemon reads it")
                          : row.is_read   ? say("isn't polled: its values come when the bridge reports them")
                                          : say("takes commands only"));
                continue;
            }
            if (!by_port.contains(port)) {
                order.push_back(port);
            }
            by_port[port].push_back(row);
            ++pieces_;
        }
        Progress progress(pieces_);
        progress_ = &progress;
        for (CPort* const port : order) {
            read_port(*port, by_port[port]);
        }
        progress.hide();
        if (options_.all) {
            summarise();
        }
        return failed_.empty() ? status_ok : status_failed;
    }

 private:
    std::vector<TopicRow> wanted_rows() const {
        if (!options_.all) {
            std::vector<TopicRow> rows;
            for (std::string const& wanted : options_.wanted) {
                std::vector<TopicRow> const some = select_rows(*plant_.loading, plant_.rows, wanted);
                // Of a whole device what can be read.
                std::copy_if(some.begin(), some.end(), std::back_inserter(rows),
                             [&some](TopicRow const& row) { return row.is_read || some.size() == 1; });
            }
            return rows;
        }
        std::vector<TopicRow> rows = plant_.rows;
        std::erase_if(rows, [this](TopicRow const& row) {
            CPort const* const port = plant_.port(row);
            return port == nullptr || port->type_has("z2t") || !row.is_read;
        });
        return rows;
    }

    void read_port(CPort& port, std::vector<TopicRow> const& rows) {
        keep_only(port, rows);
        try {
            claim_lines(port);
        } catch (std::exception const& e) {
            for (TopicRow const& row : rows) {
                fail(row, e.what());
            }
            return;
        }
        FrameView view(port, options_.frames);
        LiveLog const log(port, view.taker());
        LivePorts ports;
        ports.on_publish = [this, &rows, &ports] {
            progress_->show(done_ + std::min(ports.published.size(), rows.size()), rows.front().port);
        };
        progress_->show(done_, port.name);
        if (PortBase* const started = ports.start(port)) {
            started->pass();
        }
        view.end();
        progress_->hide();
        done_ += rows.size();
        for (TopicRow const& row : rows) {
            tell(row, ports, log);
        }
    }

    /// What isn't asked for is switched off, in this copy of the tree.
    static void keep_only(CPort& port, std::vector<TopicRow> const& rows) {
        auto const is_wanted = [&rows](auto const& test) { return std::any_of(rows.begin(), rows.end(), test); };
        for (auto const& device : port.children) {
            device->enabled &= is_wanted([&](TopicRow const& row) { return row.node->parent == device.get(); });
            for (auto const& param : device->children) {
                param->enabled &= is_wanted([&](TopicRow const& row) { return row.node == param.get(); });
            }
        }
    }

    void tell(TopicRow const& row, LivePorts const& ports, LiveLog const& log) {
        auto const found = std::find_if(ports.published.rbegin(), ports.published.rend(),
                                        [&row](Published const& item) { return item.topic == row.topic; });
        if (found == ports.published.rend()) {
            fail(row, log.reason(*row.node));
            return;
        }
        ++good_;
        std::cout << name_of(row) << " = " << xCommon::xString::Shown(found->payload) << std::endl;
    }

    void fail(TopicRow const& row, std::string const& reason) {
        failed_[reason].push_back(name_of(row));
        if (!options_.all) {
            std::cerr << name_of(row) << ": " << reason << std::endl;
        }
    }

    void summarise() const {
        size_t count = 0;
        for (auto const& [reason, names] : failed_) {
            count += names.size();
            std::cerr << reason << "\n";
            for (std::string const& name : names) {
                std::cerr << "  " << name << "\n";
            }
        }
        std::cerr << say("%d values came, %d didn't", good_, count) << std::endl;
    }

    Plant const& plant_;
    Options const& options_;
    Progress* progress_ = nullptr;
    size_t pieces_ = 0;
    size_t done_ = 0;
    size_t good_ = 0;
    std::map<std::string, std::vector<std::string>> failed_;  ///< by the reason
};

/// Nothing of the port is due any more.
void hold_polls(CBase& node, long long now) {
    node.poll_interval = INT_MAX;
    node.last_poll = now;
    for (auto const& child : node.children) {
        hold_polls(*child, now);
    }
}

/// The drivers tell a write that was done each in its own way; a bridge is sent a message.
bool is_written(LiveLog const& log, LivePorts const& ports, CPort const& port) {
    if (log.has("записано новое значение") || log.has("операция успешно выполнена")) {
        return true;
    }
    if (port.type_has("z2t")) {
        return std::any_of(ports.published.begin(), ports.published.end(),
                           [](Published const& item) { return item.topic.starts_with("cmnd/"); });
    }
    return port.type.starts_with("dlms") && !log.has("записи значения");
}

int write_value(Plant const& plant, Options const& options) {
    std::vector<TopicRow> rows = select_rows(*plant.loading, plant.rows, options.wanted.front());
    TopicRow const row = rows.front();
    CPort* const port = plant.port(row);
    if (rows.size() > 1) {
        throw std::runtime_error(say("%s: which parameter of it?", options.wanted.front()));
    }
    if (row.on_topic.empty() || port == nullptr || port->type_has("z2t")) {
        throw std::runtime_error(name_of(row) + ": " +
                                 (row.on_topic.empty() ? say("can't be written")
                                                       : say("is written over the broker: ostrandctl watch does it")));
    }
    claim_lines(*port);
    FrameView view(*port, options.frames);
    LiveLog log(*port, view.taker());
    LivePorts ports;
    PortBase* const started = ports.start(*port);
    if (started == nullptr) {
        throw std::runtime_error(name_of(row) + ": " + log.reason(*row.node));
    }
    hold_polls(*port, xCommon::xtime::time());
    started->ProcConnect();
    log.clear();
    bool const is_taken = ports.message(row.on_topic, options.value);
    started->pass();
    view.end();
    if (!is_taken || !is_written(log, ports, *port)) {
        throw std::runtime_error(name_of(row) + ": " + log.reason(*row.node));
    }
    std::cout << name_of(row) << ": " << say("written") << std::endl;
    for (Published const& item : ports.published) {
        if (item.topic == row.topic) {
            std::cout << name_of(row) << " = " << xCommon::xString::Shown(item.payload) << std::endl;
        }
    }
    return status_ok;
}

int run(Options const& options, int (*work)(Plant const&, Options const&)) {
    Plant const plant(options.file);
    xserial::xrs::lock = options.force ? xserial::xrs::Lock::shared : xserial::xrs::Lock::own;
    return work(plant, options);
}

void add_common(CLI::App& command, Options& options) {
    command.add_option("--templates", templates_folder(), say("folder of the templates"))->capture_default_str();
    command.add_flag("-x,--frames", options.frames, say("show the frames, with their fields where they are known"));
    command.add_flag("--force", options.force, say("use a line that another process holds"));
}

}  // namespace

void add_read(CLI::App& app, int& status) {
    auto options = std::make_shared<Options>();
    CLI::App* const command = app.add_subcommand("read", say("read values once, without a broker"));
    command->add_option("FILE", options->file, say("the configuration"))->required();
    CLI::Option* const wanted =
        command->add_option("DEVICE[/PARAMETER]", options->wanted, say("what of it; a device stands for all it has"));
    command->add_flag("--all", options->all, say("everything, with a summary"))->excludes(wanted);
    add_common(*command, *options);
    command->footer(say(
        "  ostrandctl read /etc/ostrand.json boiler/temperature -x\n"
        "polls by the daemon's own driver and prints the value as the daemon would publish it, or why there is none.\n"
        "A device goes by its name in the configuration or that in its topics. A serial line that the daemon has\n"
        "open isn't touched: stop the daemon, or share the line by --force. The status is 0 only if all values came."));
    command->callback([options, &status] {
        if (!options->all && options->wanted.empty()) {
            throw CLI::RequiredError(say("DEVICE[/PARAMETER] or --all"));
        }
        status = run(*options, [](Plant const& plant, Options const& all) { return Reader(plant, all).read(); });
    });
}

void add_write(CLI::App& app, int& status) {
    auto options = std::make_shared<Options>();
    CLI::App* const command = app.add_subcommand("write", say("write a value once, without a broker"));
    options->wanted.resize(1);
    command->add_option("FILE", options->file, say("the configuration"))->required();
    command->add_option("DEVICE/PARAMETER", options->wanted.front(), say("what of it"))->required();
    command->add_option("VALUE", options->value, say("as it would be sent to the \"/on\" topic"))->required();
    add_common(*command, *options);
    command->footer(
        say("  ostrandctl write /etc/ostrand.json boiler/set_point 21.5\n"
            "writes by the daemon's own driver, and prints what it then reads back where the driver does so.\n"
            "The status is 0 only if the device has taken the value."));
    command->callback([options, &status] { status = run(*options, write_value); });
}
