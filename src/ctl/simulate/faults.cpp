#include "ctl/simulate/faults.h"

namespace sim {

bool Faults::strikes() {
    return std::bernoulli_distribution(rate_)(engine_);
}

size_t Faults::below(size_t limit) {
    return std::uniform_int_distribution<size_t>(0, limit - 1)(engine_);
}

Bytes Faults::spoilt(Device& device, View request, Bytes const& reply) {
    constexpr size_t kinds = 5;
    constexpr size_t most_noise = 4;
    switch (below(kinds)) {
        case 0:
            return {reply.begin(), reply.begin() + static_cast<std::ptrdiff_t>(below(reply.size()))};
        case 1:
            return device.miscounted(reply);
        case 2: {
            Bytes noisy;
            for (size_t count = 1 + below(most_noise); count > 0; --count) {
                noisy.push_back(static_cast<unsigned char>(below(256)));
            }
            append(noisy, reply);
            return noisy;
        }
        case 3:
            return device.refusal(request);
        default:
            return {};
    }
}

}  // namespace sim
