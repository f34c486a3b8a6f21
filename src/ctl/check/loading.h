#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "config/config.h"
#include "config/load_scope.h"
#include "ctl/check/document.h"
#include "foundation/xlog.h"
#include "gpio/config.h"

/// The daemon's loader at work on a file: what it made of it, and what it said.
class Loading : private LoadScope::Watcher {
 public:
    /// Where something is: the file, and the place of the element in it.
    struct Place {
        std::string file;
        ptrdiff_t offset = -1;
    };
    /// A line of level 3.
    struct Line {
        std::string text;
        Place place = {};
        std::string key = {};        ///< that was being read; empty: none
        std::string class_key = {};  ///< of the element
        std::string outer_key = {};  ///< of the element around: a parameter's device
    };
    /// An element of a list that a class stands for.
    struct Element {
        Place place;
        std::string class_key;
        CBase* node;  ///< null: left out
        bool is_overlay;
    };

    /// Raises what Document raises. A file that is no JSON loads nothing.
    explicit Loading(std::string const& path);
    ~Loading() override;

    Document const& file() const { return documents_.at(path_); }
    /// The file itself or a template; null for one that can't be read.
    Document const* document(std::string const& path) const;
    /// Of the document of the place; its root for none.
    Json::Value const& element(Place const& place) const;
    /// Where a node of the tree stands: in its template first, and what is laid over it behind.
    std::vector<Element const*> all_of(CBase const* node) const;
    Place place_of(CBase const* node) const;

    Json::Value normalised;
    std::vector<Line> lines;
    std::vector<Element> elements;
    /// Ports that are left out without a word.
    std::vector<Place> dropped;
    std::unique_ptr<Config> config;  ///< null: not loaded
    std::unique_ptr<xgpio::config_t> gpio;

 private:
    void load();
    void hear(xCommon::LMT type, std::string_view text);
    void left(LoadScope const& scope) override;
    Place place_of(LoadScope const* scope) const;

    std::string path_;
    mutable std::map<std::string, Document> documents_;
    std::map<CBase const*, std::vector<size_t>> nodes_;
};

/// One that the daemon would run with. Raises UnreadableFile, and std::runtime_error for one that it wouldn't.
std::unique_ptr<Loading> load_configuration(std::string const& path);

/// The node below, or that itself, whose name a line of the log bears; null for another one's.
CBase const* node_of(CBase const& node, std::string const* name);

/// Lines of the log go to a listener while it stands, and then where they went before.
class LogListener {
 public:
    explicit LogListener(xCommon::xLog::Listener listener) : log_(std::move(listener)), before_(xCommon::xLog::gv) {
        xCommon::xLog::gv = &log_;
    }
    ~LogListener() { xCommon::xLog::gv = before_; }
    LogListener(LogListener const&) = delete;
    LogListener& operator=(LogListener const&) = delete;

 private:
    xCommon::xLog log_;
    xCommon::xLog* before_;
};
