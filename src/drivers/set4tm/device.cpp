#include "drivers/meter/device.h"

#include "config/constants.h"
#include "drivers/meter/data_reply.h"
#include "drivers/set4tm/pdu.h"

namespace set4tm {

using xCommon::ByteList;
using xCommon::lmtError;
using xCommon::lmtInfo;
using xCommon::lmtTrace;

/// The dialogue with one meter, as far as it goes: no session is opened, no parameter is named, no value is decoded.
class dev : public meter::family_device<c_param>, public FromNode<dev> {
 public:
    dev(IBase* port_object, CBase* node);

 private:
    bool open_session() override;
    void close_session() override;
    bool ready_link(long long now) override;
    BaseResult get_response(c_param* param) override;
};

namespace {

IBFac const registrar = IBFac::add<dev>("set-4tm.dev");

/// The device's own counters stand still, so it is never reported as failed.
constexpr meter::Family family = {{"Poll : исключение при опросе параметра : %s.", WalkRules::Blame::port, false},
                                  "исключение при опросе : %s",
                                  "исключение при запуске : %s.",
                                  "исключение при остановке : %s.",
                                  true};

constexpr meter::LinkStep start_step = {"Start", "Start", pdu::short_reply, pdu::short_reply};
constexpr meter::LinkStep stop_step = {"dev::Stop", "Stop", pdu::short_reply, pdu::short_reply};

constexpr Exchange::Texts read_texts = {.request = ":get_response : запрос",
                                        .head = "get_response : заголовок ответа",
                                        .rest = "get_response : ответ",
                                        .head_faults = {nullptr, "операция НЕ выполнена : timeout.",
                                                        "операция НЕ выполнена : не совпали SlaveId.", nullptr},
                                        .no_rest = "ответ НЕ получен : timeout.",
                                        .wrong_crc = "ответ НЕ получен : не совпали CRC.",
                                        .traced = Exchange::Traced::all};

}  // namespace

dev::dev(IBase* port_object, CBase* node) : family_device(port_object, node, family) {}

bool dev::open_session() {
    line().flush();
    // pdu::open with the device's password belongs into this frame. Until then nothing goes out, and the link counts as
    // open only if a reply comes all the same.
    ByteList const frame;
    opened = !link_dialogue(frame, start_step).empty();
    if (opened) {
        cfg->Log(lmtTrace, "сеанс с устройством открыт.");
    }
    return opened;
}

void dev::close_session() {
    line().flush();
    ByteList frame;
    pdu::close(frame, slave_address());
    link_dialogue(frame, stop_step);
}

bool dev::ready_link(long long /*now*/) {
    if (!opened) {
        Restart();
    }
    return opened;
}

BaseResult dev::get_response(c_param* param) {
    BaseResult result;
    param->Log(lmtInfo, "начало опроса.");
    ByteList frame;
    pdu::read(frame, slave_address());  // the parameter's number belongs into this frame
    Exchange exchange(*port, *param, read_texts);
    send_request(*param, exchange, frame);
    meter::Head const head = pdu::check_head(slave_address(), exchange.head(meter::head_size));
    exchange.is_good(head.fault);
    // Behind a head that can't be used two bytes are read all the same, and fail as the CRC that they are taken for.
    if (!exchange.rest(head.count + meter::crc_size) || !exchange.has_crc()) {
        return result;
    }
    result.is_crc_ok = true;
    // The value belongs into `result.result`. Empty it stands for no answer, while the poll counts as good.
    result.is_ok = true;
    return result;
}

}  // namespace set4tm
