#pragma once

#include <string>
#include <string_view>

#include <json/value.h>

class CBase;

/// Where in the document the loading is: for a tool that tells what a line of the log is about. Scopes lie within each
/// other, on the one thread that loads, and the daemon looks at none of them.
class LoadScope {
 public:
    class Watcher {
     public:
        virtual ~Watcher() = default;
        /// At the end of each scope.
        virtual void left(LoadScope const& scope) = 0;
    };

    explicit LoadScope(Json::Value const& scope_element) : element(scope_element), outer(current_) { current_ = this; }
    ~LoadScope();
    LoadScope(LoadScope const&) = delete;
    LoadScope& operator=(LoadScope const&) = delete;

    static LoadScope const* current() { return current_; }
    /// The key that is being read in the current element; it stays when reading it raises.
    static void at_key(std::string_view key) {
        if (current_ != nullptr) {
            current_->key = key;
        }
    }

    /// Positions in the file that it was read from are those of the value.
    Json::Value const& element;
    LoadScope* outer;
    std::string_view key;
    /// The file of the element and what lies below it; empty: that of the scope around.
    std::string file;
    /// As CBFac has it; empty for what is no node.
    std::string class_key;
    /// What came of the element; null: nothing.
    CBase* node = nullptr;
    /// It was laid over a node.
    bool is_overlay = false;

    inline static Watcher* watcher = nullptr;

 private:
    inline static LoadScope* current_ = nullptr;
};
