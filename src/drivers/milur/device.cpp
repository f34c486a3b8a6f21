#include "drivers/meter/device.h"

#include "config/constants.h"
#include "drivers/meter/data_reply.h"
#include "drivers/milur/pdu.h"
#include "runtime/exchange.h"

namespace milur {

using xCommon::ByteList;
using xCommon::lmtError;
using xCommon::lmtInfo;
using xCommon::lmtTrace;

/// The dialogue with one meter. A session has to be opened first; it stands until the meter says that it is closed.
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

IBFac const registrar = IBFac::add<dev>("milur.dev");

constexpr char refusal[] = "milur::parse_error : операция НЕ выполнена : %s.";

constexpr meter::Family family = {
    {"milur::Poll : исключение при опросе параметра : %s.", WalkRules::Blame::nobody, true},
    "milur::poll_param : исключение при опросе : %s",
    "milur::Start : исключение при запуске : %s.",
    "milur::Stop : исключение при остановке : %s.",
    true,
    refusal};

constexpr meter::LinkStep start_step = {"milur::Start", "milur::Start", pdu::short_reply, pdu::short_reply};
constexpr meter::LinkStep stop_step = {"milur::Stop", "milur::Stop", pdu::short_reply, pdu::short_reply};

constexpr Exchange::Texts read_texts = {
    .request = "milur::get_response : запрос",
    .head = "milur::get_response : заголовок ответа",
    .rest = "milur::get_response : ответ",
    .head_faults = {nullptr, "milur::check_head : операция НЕ выполнена: timeout.",
                    "milur::check_head : операция НЕ выполнена : не совпали SlaveId.", refusal},
    .no_rest = "milur::get_response : ответ НЕ получен : timeout.",
    .wrong_crc = "milur::get_response : ответ НЕ получен : не совпали CRC.",
    .traced = Exchange::Traced::part};

}  // namespace

dev::dev(IBase* port_object, CBase* node) : family_device(port_object, node, family) {}

bool dev::open_session() {
    cfg->Log(lmtTrace, "milur::Start : открытие сессии.");
    ByteList frame;
    pdu::open(frame, slave_address(), pdu::access_level, pdu::password);
    opened = !link_dialogue(frame, start_step).empty();
    if (opened) {
        cfg->Log(lmtTrace, "milur::Start : сеанс с устройством открыт.");
    }
    return opened;
}

void dev::close_session() {
    cfg->Log(lmtTrace, "milur::Stop :закрытие сессии.");
    line().flush();
    ByteList frame;
    pdu::close(frame, slave_address());
    link_dialogue(frame, stop_step);
}

/// A session that can't be opened doesn't keep the driver from asking: there are meters that answer all the same.
bool dev::ready_link(long long /*now*/) {
    if (!opened) {
        cfg->Log(lmtTrace, "milur::Poll : сессию открыть не удалось.");
        Restart();
    }
    return true;
}

BaseResult dev::get_response(c_param* param) {
    BaseResult result;
    param->Log(lmtInfo, "milur::get_response : начало опроса.");
    ByteList frame;
    pdu::read(frame, slave_address(), static_cast<unsigned char>(param->object_id));
    Exchange exchange(*port, *param, read_texts);
    send_request(*param, exchange, frame);
    auto const bytes = exchange.head(meter::head_size);
    meter::Head const head = pdu::check_head(slave_address(), bytes);
    exchange.is_good(head.fault, meter::error_text(pdu::parse_error(bytes, slave_address())));
    param->Logf(lmtTrace, "milur::get_response::check_head (recv_size) = %d", head.count);
    if (head.count == pdu::head_closed) {
        opened = false;
    }
    // A count that leaves no room for the CRC can't be met by one.
    if (head.count <= 0 || !exchange.rest(head.count) || !exchange.has_crc(meter::head_size + meter::crc_size)) {
        return result;
    }
    result.is_crc_ok = true;
    result.result = param->getValueFromBuf(exchange.answer().data() + meter::head_size, head.count - meter::crc_size);
    result.is_ok = true;
    return result;
}

}  // namespace milur
