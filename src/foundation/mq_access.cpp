#include "foundation/mq_access.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "foundation/xexception.h"

namespace xMQ {

std::string Access::current_password() const {
    if (password_file.empty()) {
        return password;
    }
    std::ifstream file(password_file);
    std::string line;
    std::getline(file, line);
    if (!file && !file.eof()) {
        throw xCommon::xExceptionf("файл пароля %s : %s", password_file, std::strerror(errno));
    }
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    return line;
}

}  // namespace xMQ
