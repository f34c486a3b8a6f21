#pragma once

#include <functional>
#include <string>
#include <vector>

/// Random bytes for everything that reads what came from outside. A target is fed bytes that lie in an allocation of
/// exactly their size, so that AddressSanitizer sees each read behind their end.
namespace fuzz {

using Bytes = std::vector<unsigned char>;

struct Target {
    std::string name;
    /// Must return, or raise an exception derived from std::exception.
    std::function<void(Bytes& input)> run;
    /// Good inputs as hexadecimal text, from which others are made by small changes.
    std::vector<std::string> seeds;
    /// Bytes of a wholly random input at most.
    size_t longest = 64;
};

/// Enters targets; a static object of it stands in each file.
class Registrar {
 public:
    explicit Registrar(std::vector<Target> targets);
    static std::vector<Target>& all();
};

}  // namespace fuzz
