#include "ctl/check/loading.h"

#include <stdexcept>

#include "app/normalise.h"
#include "ctl/language/phrase.h"

using xCommon::LMT;

Loading::Loading(std::string const& path) : path_(path) {
    documents_.emplace(path, path);
    if (!file().fault().empty()) {
        return;
    }
    LoadScope::watcher = this;
    LogListener const log([this](LMT type, std::string const*, std::string_view text) { hear(type, text); });
    load();
    LoadScope::watcher = nullptr;
}

Loading::~Loading() = default;

/// As the daemon's start does it.
void Loading::load() {
    try {
        Normalised result = normalise(file().root(), Endless::skipped);
        for (ptrdiff_t const offset : result.dropped) {
            dropped.push_back({path_, offset});
        }
        normalised = result.config;
        config.reset(Config::Load(result.config));
        if (config && result.is_xgpio) {
            gpio = xgpio::config_t::Load(result.xgpio);
        }
    } catch (std::exception const& e) {
        hear(xCommon::lmtError, xCommon::LogArgument(e.what()).text());
    }
}

void Loading::hear(LMT type, std::string_view text) {
    if (type != xCommon::lmtError || text == "Load : список пуст.") {
        return;
    }
    LoadScope const* const scope = LoadScope::current();
    Line line{std::string(text), place_of(scope)};
    if (scope != nullptr) {
        line.key = scope->key;
        line.class_key = scope->class_key;
        line.outer_key = scope->outer == nullptr ? "" : scope->outer->class_key;
    }
    lines.push_back(line);
}

void Loading::left(LoadScope const& scope) {
    if (scope.class_key.empty()) {
        return;
    }
    if (scope.node != nullptr) {
        std::vector<size_t>& places = nodes_[scope.node];
        if (!scope.is_overlay) {
            places.clear();  // somebody else had that address, and has gone
        }
        places.push_back(elements.size());
    }
    elements.push_back({place_of(&scope), scope.class_key, scope.node, scope.is_overlay});
}

Loading::Place Loading::place_of(LoadScope const* scope) const {
    if (scope == nullptr) {
        return {path_, -1};
    }
    Place place{path_, scope->element.getOffsetStart()};
    for (; scope != nullptr; scope = scope->outer) {
        if (!scope->file.empty()) {
            place.file = scope->file;
            break;
        }
    }
    return place;
}

Document const* Loading::document(std::string const& path) const {
    auto found = documents_.find(path);
    if (found == documents_.end()) {
        try {
            found = documents_.emplace(path, path).first;
        } catch (std::exception const&) {
            return nullptr;
        }
    }
    return &found->second;
}

Json::Value const& Loading::element(Place const& place) const {
    Document const* const found = document(place.file);
    if (found == nullptr) {
        return Json::Value::nullSingleton();
    }
    Json::Value const* const element = place.offset < 0 ? nullptr : found->element(place.offset);
    return element == nullptr ? found->root() : *element;
}

std::vector<Loading::Element const*> Loading::all_of(CBase const* node) const {
    std::vector<Element const*> result;
    auto const found = nodes_.find(node);
    if (found != nodes_.end()) {
        for (size_t const index : found->second) {
            result.push_back(&elements[index]);
        }
    }
    return result;
}

Loading::Place Loading::place_of(CBase const* node) const {
    std::vector<Element const*> const all = all_of(node);
    return all.empty() ? Place{path_, -1} : all.back()->place;
}

std::unique_ptr<Loading> load_configuration(std::string const& path) {
    auto loading = std::make_unique<Loading>(path);
    if (!loading->config) {
        throw std::runtime_error(say("%s doesn't load: ask `ostrandctl check` why", path));
    }
    return loading;
}

CBase const* node_of(CBase const& node, std::string const* name) {
    if (&node.name == name) {
        return &node;
    }
    for (auto const& child : node.children) {
        if (CBase const* const found = node_of(*child, name)) {
            return found;
        }
    }
    return nullptr;
}
