#include "foundation/mq_access.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "foundation/xexception.h"

namespace xMQ {

std::string Access::current_password() const {
    if (password_file.empty()) {
        return password;
    }
    // A pipe must not hold the connection up.
    int const fd = open(password_file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    std::array<char, 4096> buffer{};
    ssize_t const count = fd < 0 ? -1 : read(fd, buffer.data(), buffer.size());
    int const error = errno;
    if (fd >= 0) {
        close(fd);
    }
    if (count < 0) {
        throw xCommon::xExceptionf("файл пароля %s : %s", password_file, std::strerror(error));
    }
    std::string const text(buffer.data(), static_cast<size_t>(count));
    std::string line = text.substr(0, text.find('\n'));
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    return line;
}

}  // namespace xMQ
