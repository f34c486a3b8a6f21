#include "foundation/duk_helper.h"

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <memory>

#include <duktape.h>

#include "foundation/xexception.h"

namespace xCommon {

namespace {

using Clock = std::chrono::steady_clock;

/// What one evaluation has used. The engine is given this as its own memory and its own clock.
class Budget {
 public:
    /// Each piece is preceded by its size.
    void* resize(void* piece, size_t size) {
        Head* const old = piece == nullptr ? nullptr : static_cast<Head*>(piece) - 1;
        size_t const held = old == nullptr ? 0 : old->size;
        if (size == 0) {
            used_ -= old == nullptr ? 0 : held + sizeof(Head);
            std::free(old);
            return nullptr;
        }
        // Loops inside the engine ask for memory now and then, but never for the time.
        if (size > held && (used_ - held + size + sizeof(Head) > dukHelper::memory_limit || is_over())) {
            refused_ = size;
            return nullptr;
        }
        auto* const fresh = static_cast<Head*>(std::realloc(old, sizeof(Head) + size));
        if (fresh == nullptr) {
            return nullptr;
        }
        used_ = used_ - held + size + (old == nullptr ? sizeof(Head) : 0);
        if (size >= refused_) {
            refused_ = 0;  // the engine has made room and gone on
        }
        fresh->size = size;
        return fresh + 1;
    }
    bool is_over() {
        is_late_ = is_late_ || Clock::now() >= end_;
        return is_late_;
    }
    bool is_late() const { return is_late_; }
    bool is_refused() const { return refused_ != 0; }

 private:
    struct alignas(std::max_align_t) Head {
        size_t size;
    };

    Clock::time_point end_ = Clock::now() + dukHelper::time_limit;
    size_t used_ = 0;
    bool is_late_ = false;
    size_t refused_ = 0;
};

void* allocate(void* budget, duk_size_t size) {
    return size == 0 ? nullptr : static_cast<Budget*>(budget)->resize(nullptr, size);
}

void* reallocate(void* budget, void* piece, duk_size_t size) {
    return static_cast<Budget*>(budget)->resize(piece, size);
}

void release(void* budget, void* piece) {
    static_cast<Budget*>(budget)->resize(piece, 0);
}

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

bool is_utf8(std::string const& text) {
    for (size_t at = 0; at < text.size();) {
        size_t const length = xString::utf8_length(std::string_view(text).substr(at));
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

/// Bytes that are no text, as a string of one character for each byte. The engine takes some of them for marks of its
/// own when it gets them as they are.
std::string bytes_to_characters(std::string const& bytes) {
    std::string text;
    for (char const byte : bytes) {
        auto const code = static_cast<unsigned char>(byte);
        if (code < 0x80) {
            text.push_back(byte);
        } else {
            text.push_back(static_cast<char>(0xC0U | (code >> 6U)));
            text.push_back(static_cast<char>(0x80U | (code & 0x3FU)));
        }
    }
    return text;
}

/// The way back; false when a character is none of a byte.
bool characters_to_bytes(std::string const& text, std::string& bytes) {
    for (size_t at = 0; at < text.size(); ++at) {
        auto const code = static_cast<unsigned char>(text[at]);
        if (code < 0x80) {
            bytes.push_back(text[at]);
        } else if ((code == 0xC2 || code == 0xC3) && at + 1 < text.size()) {
            ++at;
            bytes.push_back(static_cast<char>((code << 6U) | (static_cast<unsigned char>(text[at]) & 0x3FU)));
        } else {
            return false;
        }
    }
    return true;
}

}  // namespace

void dukHelper::add_param(std::string const& name, std::string const& value) {
    bool const is_text = is_utf8(value);
    has_bytes_ = has_bytes_ || !is_text;
    params_.emplace_back(name, is_text ? value : bytes_to_characters(value));
}

std::string dukHelper::show(std::string const& expression) {
    Budget budget;
    std::unique_ptr<duk_context, decltype(&duk_destroy_heap)> const heap(
        duk_create_heap(allocate, reallocate, release, &budget, nullptr), &duk_destroy_heap);
    if (!heap) {
        throw xException("dukHelper : не хватило памяти.");
    }
    Job job{params_, expression};
    bool const failed = duk_safe_call(heap.get(), evaluate, &job, 0, 1) != DUK_EXEC_SUCCESS;
    duk_size_t length = 0;
    char const* text = duk_safe_to_lstring(heap.get(), -1, &length);
    std::string result(text, length);
    if (failed && budget.is_late()) {
        throw ExpressionLimit("превышено время 5 с");
    }
    if (failed && budget.is_refused()) {
        throw ExpressionLimit("превышена память 16 МиБ");
    }
    if (failed) {
        throw xException(result);
    }
    std::string bytes;
    return has_bytes_ && characters_to_bytes(result, bytes) ? bytes : result;
}

}  // namespace xCommon

/// The engine asks at every so many steps of an expression; once it has been told yes, a `catch` doesn't help either.
unsigned int ostrand_expression_ends(void* engine) {
    return static_cast<xCommon::Budget*>(engine)->is_over() ? 1 : 0;
}
