#include "drivers/modbus/set_reply.h"

#include "config/process.h"
#include "drivers/modbus/pdu.h"
#include "foundation/crc.h"

namespace modbus {

using xCommon::HeadFault;
using xCommon::lmtError;

namespace {

constexpr size_t crc_size = 2;

constexpr xCommon::HeadTexts head_faults = {nullptr, "RTU запрос : операция НЕ выполнена : timeout",
                                            "RTU запрос : операция НЕ выполнена : не совпали SID",
                                            "RTU запрос : операция НЕ выполнена : %s"};

}  // namespace

bool modbus_rtu_frame_t::read(PortBase* port, unsigned char sid, std::string const& type) {
    CPort const& log = *port->cport;
    std::vector<unsigned char> bytes;
    auto const come = [&](size_t count, char const* timeout) {
        size_t const from = bytes.size();
        bytes.resize(from + count);
        auto const wanted = static_cast<int>(count);
        bool const came = port->tran->read_count(bytes.data() + from, wanted) >= wanted;
        if (!came) {
            log.Log(lmtError, timeout);
        }
        return came;
    };
    if (!come(pdu::head_size, head_faults[1])) {
        return false;
    }
    header = {bytes[0], bytes[1], bytes[2]};
    if (HeadFault const fault = pdu::check_head(sid, bytes); fault != HeadFault::none) {
        log.Logf(lmtError, xCommon::RuntimeFormat(head_faults.at(static_cast<size_t>(fault))), pdu::refusal(bytes));
        is_whole = fault == HeadFault::refused;
        return false;
    }
    bool const has_crc = type == "mb-rtu";
    if (!come(header.count, "RTU : ответ НЕ получен : timeout") ||
        (has_crc && !come(crc_size, "RTU CRC : ответ НЕ получен : timeout"))) {
        return false;
    }
    if (has_crc && !xCommon::crc16::ends(bytes)) {
        log.Log(lmtError, "RTU CRC : ответ НЕ получен : не совпали CRC");
        is_whole = true;
        return false;
    }
    auto const first = bytes.begin() + pdu::head_size;
    data.assign(first, first + header.count);
    return true;
}

void modbus_rtu_frame_t::trace(PortBase const& port) const {
    trace_hex(*port.cport, &header, sizeof(header), "ОТВЕТ : заголовок RTU");
    trace_hex(*port.cport, data.data(), static_cast<int>(data.size()), "ОТВЕТ : полученные данные");
}

}  // namespace modbus
