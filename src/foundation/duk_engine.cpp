#include "foundation/duk_engine.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <random>

#include <duktape.h>

#include "foundation/duk_helper.h"
#include "foundation/plain_expression.h"

namespace xCommon {

using Clock = std::chrono::steady_clock;

/// Memory, clock and chance of an engine. What it takes until seal() is the image: that lies in one block, which
/// restore() writes back as it was, while all that was taken later is freed.
class dukMemory {
 public:
    dukMemory() = default;
    ~dukMemory() { free_later_pieces(); }
    dukMemory(dukMemory const&) = delete;
    dukMemory& operator=(dukMemory const&) = delete;

    void* resize(void* piece, size_t size) {
        size_t const held = piece == nullptr ? 0 : size_of(piece);
        if (size == 0) {
            release(piece);
            return nullptr;
        }
        // Loops inside the engine ask for memory now and then, but never for the time.
        if (size > held && (used_ - held + size > dukHelper::memory_limit || is_over())) {
            refused_ = size;
            return nullptr;
        }
        void* const fresh = is_sealed() ? take_later(size) : take_from_image(size);
        if (fresh == nullptr) {
            return nullptr;
        }
        if (piece != nullptr) {
            std::memcpy(fresh, piece, std::min(held, size));
            release(piece);
        }
        if (size >= refused_) {
            refused_ = 0;  // the engine has made room and gone on
        }
        return fresh;
    }

    void seal() {
        // The last piece may reach a little beyond its granules.
        copy_.assign(image_.get(), image_.get() + std::min(top_ + granule, image_size));
        used_by_image_ = used_;
    }
    void restore() {
        free_later_pieces();
        std::memcpy(image_.get(), copy_.data(), copy_.size());
        used_ = used_by_image_;
    }

    void begin() {
        end_ = Clock::now() + dukHelper::time_limit;
        is_late_ = false;
        refused_ = 0;
    }
    bool is_over() {
        is_late_ = is_late_ || Clock::now() >= end_;
        return is_late_;
    }
    bool is_late() const { return is_late_; }
    bool is_refused() const { return refused_ != 0; }

    /// The engine's own generator would begin again with each restore().
    double random() { return std::uniform_real_distribution<double>()(generator_); }

 private:
    static constexpr size_t granule = 16;
    /// The engine takes 134 KiB on a machine of 64 bits. What it doesn't take is never touched.
    static constexpr size_t image_size = size_t{512} * 1024;
    static constexpr size_t free_lists = 256;

    /// Every piece has its size ahead of it.
    struct alignas(std::max_align_t) Later {
        Later* before;
        Later* after;
        size_t unused;
        size_t size;
    };
    static_assert(sizeof(Later) == offsetof(Later, size) + sizeof(size_t));

    static size_t& size_of(void* piece) { return static_cast<size_t*>(piece)[-1]; }
    static size_t granules(size_t size) { return (sizeof(size_t) + size + granule - 1) / granule; }
    bool is_sealed() const { return !copy_.empty(); }
    bool is_in_image(void const* piece) const {
        return std::less_equal<>()(image_.get(), piece) && std::less<>()(piece, image_.get() + image_size);
    }

    void* take_from_image(size_t size) {
        size_t const count = granules(size);
        void* piece = nullptr;
        if (count < free_lists && free_[count] != nullptr) {
            piece = free_[count];
            std::memcpy(&free_[count], piece, sizeof(void*));
        } else {
            // The pieces, not their sizes, stand at granules.
            if (top_ + count * granule + granule > image_size) {
                return nullptr;
            }
            top_ += granule;
            piece = image_.get() + top_;
            top_ += count * granule - granule;
        }
        size_of(piece) = size;
        used_ += count * granule;
        return piece;
    }

    void* take_later(size_t size) {
        auto* const place = static_cast<Later*>(std::malloc(sizeof(Later) + size));
        if (place == nullptr) {
            return nullptr;
        }
        place->before = nullptr;
        place->after = later_;
        if (later_ != nullptr) {
            later_->before = place;
        }
        later_ = place;
        place->size = size;
        used_ += sizeof(Later) + size;
        return place + 1;
    }

    void release(void* piece) {
        if (piece == nullptr) {
            return;
        }
        if (!is_in_image(piece)) {
            Later* const place = static_cast<Later*>(piece) - 1;
            (place->before == nullptr ? later_ : place->before->after) = place->after;
            if (place->after != nullptr) {
                place->after->before = place->before;
            }
            used_ -= sizeof(Later) + place->size;
            std::free(place);
        } else if (!is_sealed()) {
            size_t const count = granules(size_of(piece));
            used_ -= count * granule;
            if (count < free_lists) {
                std::memcpy(piece, &free_[count], sizeof(void*));
                free_[count] = piece;
            }
        }
    }

    void free_later_pieces() {
        while (later_ != nullptr) {
            std::free(std::exchange(later_, later_->after));
        }
    }

    std::unique_ptr<std::byte[]> image_ = std::make_unique_for_overwrite<std::byte[]>(image_size);
    size_t top_ = 0;
    std::array<void*, free_lists> free_{};
    std::vector<std::byte> copy_;
    size_t used_by_image_ = 0;
    Later* later_ = nullptr;
    size_t used_ = 0;

    Clock::time_point end_ = Clock::time_point::max();
    bool is_late_ = false;
    size_t refused_ = 0;
    std::minstd_rand generator_{std::random_device()()};
};

namespace {

constexpr int most_kept = 1000;

void* allocate(void* memory, duk_size_t size) {
    return size == 0 ? nullptr : static_cast<dukMemory*>(memory)->resize(nullptr, size);
}

void* reallocate(void* memory, void* piece, duk_size_t size) {
    return static_cast<dukMemory*>(memory)->resize(piece, size);
}

void release(void* memory, void* piece) {
    static_cast<dukMemory*>(memory)->resize(piece, 0);
}

struct Job {
    dukEngine::Params const& params;
    std::string const& code;
};

// Both run under duk_safe_call: whatever the engine raises, lack of memory too, ends there as an error value.

duk_ret_t compile(duk_context* context, void* user) {
    auto const& expression = *static_cast<std::string const*>(user);
    duk_push_lstring(context, expression.data(), expression.size());
    duk_push_string(context, "eval");
    duk_compile(context, DUK_COMPILE_EVAL);
    duk_dump_function(context);
    duk_buffer_to_string(context, -1);
    return 1;
}

duk_ret_t evaluate(duk_context* context, void* user) {
    auto const& job = *static_cast<Job const*>(user);
    for (auto const& [name, value] : job.params) {
        duk_push_lstring(context, value.data(), value.size());
        duk_put_global_lstring(context, name.data(), name.size());
    }
    void* const code = duk_push_fixed_buffer(context, job.code.size());
    std::memcpy(code, job.code.data(), job.code.size());
    duk_load_function(context);
    duk_push_global_object(context);
    duk_call_method(context, 0);
    duk_to_string(context, -1);
    return 1;
}

}  // namespace

dukEngine& dukEngine::of_this_thread() {
    thread_local dukEngine engine;
    return engine;
}

dukEngine::dukEngine()
    : memory_(std::make_unique<dukMemory>()),
      context_(duk_create_heap(allocate, reallocate, release, memory_.get(), nullptr)) {
    if (context_ == nullptr) {
        throw xException("dukHelper : не хватило памяти.");
    }
    // The counter to the next one begins anew: as it was made, the engine would clean up in each evaluation.
    duk_gc(context_, 0);
    memory_->seal();
}

/// The engine is no more than its memory.
dukEngine::~dukEngine() = default;

std::string dukEngine::evaluate(Params const& params, std::string const& expression) {
    memory_->begin();
    Compiled const& known = compiled(expression);
    Job job{params, known.code};
    // Other names would stay bound.
    bool const is_usual = params.size() == 1 && params.front().first == "value";
    return run(xCommon::evaluate, &job, known.is_plain && is_usual);
}

dukEngine::Compiled const& dukEngine::compiled(std::string const& expression) {
    auto const known = compiled_.find(expression);
    if (known != compiled_.end()) {
        return known->second;
    }
    std::string copy = expression;
    Compiled fresh{run(compile, &copy, false), is_plain_expression(expression)};
    return compiled_.emplace(expression, std::move(fresh)).first->second;
}

/// With `keep` the engine stays as it is for the next one, which saves the copy.
std::string dukEngine::run(int (*step)(duk_hthread*, void*), void* user, bool keep) {
    struct Restore {
        ~Restore() {
            if (wanted) {
                memory.restore();
            }
        }
        dukMemory& memory;
        bool wanted = true;
    } restore{*memory_};
    bool const failed = duk_safe_call(context_, step, user, 0, 1) != DUK_EXEC_SUCCESS;
    duk_size_t length = 0;
    char const* const text = duk_safe_to_lstring(context_, -1, &length);
    std::string result(text, length);
    if (failed && memory_->is_late()) {
        throw ExpressionLimit("превышено время 5 с");
    }
    if (failed && memory_->is_refused()) {
        throw ExpressionLimit("превышена память 16 МиБ");
    }
    if (failed) {
        throw xException(result);
    }
    // Now and then all the same, for what the engine itself gathers.
    if (keep && ++kept_ < most_kept) {
        duk_pop(context_);
        restore.wanted = false;
    } else {
        kept_ = 0;
    }
    return result;
}

}  // namespace xCommon

/// The engine asks at every so many steps of an expression; once it has been told yes, a `catch` doesn't help either.
unsigned int ostrand_expression_ends(void* memory) {
    return static_cast<xCommon::dukMemory*>(memory)->is_over() ? 1 : 0;
}

double ostrand_random(void* memory) {
    return static_cast<xCommon::dukMemory*>(memory)->random();
}
