#pragma once

#include <exception>
#include <string>
#include <utility>

#include "foundation/format_text.h"
#include "foundation/xstring.h"

namespace xCommon {

/// An error with a fixed text. Constructors of configuration nodes raise it for invalid settings.
class xException : public std::exception {
 public:
    explicit xException(std::string text) : text_(std::move(text)) {}
    char const* what() const noexcept override { return text_.c_str(); }

 private:
    std::string text_;
};

/// The same with a printf-like format.
class xExceptionf : public xException {
 public:
    template <typename... Args>
    explicit xExceptionf(CheckedFormat<Args...> format, Args const&... args)
        : xException(xString::Format(format.text(), args...)) {}
};

}  // namespace xCommon
