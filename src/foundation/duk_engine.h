#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

struct duk_hthread;

namespace xCommon {

class dukMemory;

/// The engine that evaluates the expressions of one thread. It is made once, and each expression is compiled once; an
/// evaluation meets it as it was made, byte for byte, whatever the ones before it have done.
class dukEngine {
 public:
    using Params = std::vector<std::pair<std::string, std::string>>;

    /// Raises an xException when there is no memory for it.
    static dukEngine& of_this_thread();
    dukEngine();
    ~dukEngine();
    dukEngine(dukEngine const&) = delete;
    dukEngine& operator=(dukEngine const&) = delete;

    /// The value of the last statement as a text, with `params` as global variables. Errors as dukHelper::show().
    std::string evaluate(Params const& params, std::string const& expression);

 private:
    /// What the engine makes of an expression, in its portable form, which lies outside the engine.
    struct Compiled {
        std::string code;
        bool is_plain;
    };

    Compiled const& compiled(std::string const& expression);
    std::string run(int (*step)(duk_hthread*, void*), void* user, bool keep);

    std::unique_ptr<dukMemory> memory_;
    duk_hthread* context_ = nullptr;
    std::unordered_map<std::string, Compiled> compiled_;
    int kept_ = 0;
};

}  // namespace xCommon
