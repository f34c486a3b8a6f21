#include "foundation/duk_helper.h"

#include <memory>

#include <duktape.h>

#include "foundation/xexception.h"

namespace xCommon {

namespace {

struct Job {
    std::vector<std::pair<std::string, std::string>> const& params;
    std::string const& expression;
};

/// Runs under duk_safe_call: whatever the engine raises, lack of memory too, ends there as an error value.
duk_ret_t evaluate(duk_context* context, void* user) {
    auto const& job = *static_cast<Job const*>(user);
    for (auto const& [name, value] : job.params) {
        duk_push_lstring(context, value.data(), value.size());
        duk_put_global_lstring(context, name.data(), name.size());
    }
    duk_eval_lstring(context, job.expression.data(), job.expression.size());
    duk_to_string(context, -1);
    return 1;
}

}  // namespace

void dukHelper::add_param(std::string const& name, std::string const& value) {
    params_.emplace_back(name, value);
}

std::string dukHelper::show(std::string const& expression) {
    std::unique_ptr<duk_context, decltype(&duk_destroy_heap)> const heap(duk_create_heap_default(), &duk_destroy_heap);
    if (!heap) {
        throw xException("dukHelper : не хватило памяти.");
    }
    Job job{params_, expression};
    bool const failed = duk_safe_call(heap.get(), evaluate, &job, 0, 1) != DUK_EXEC_SUCCESS;
    duk_size_t length = 0;
    char const* text = duk_safe_to_lstring(heap.get(), -1, &length);
    std::string result(text, length);
    if (failed) {
        throw xException(result);
    }
    return result;
}

}  // namespace xCommon
