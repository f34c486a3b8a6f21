#include "drivers/merc_2xx/device.h"

#include "config/constants.h"
#include "drivers/merc_2xx/pdu.h"
#include "foundation/xmisc.h"

namespace merc_2xx {

using xCommon::ByteList;
using xCommon::HeadFault;
using xCommon::lmtError;
using xCommon::lmtInfo;

namespace {

[[maybe_unused]] bool const registered = [] {
    for (std::string const& word : model_words) {
        IBFac(word + suffix_dev, dev::create);
    }
    return true;
}();

constexpr meter::Family family = {{"Poll : исключение при опросе параметра : %s.", WalkRules::Blame::port, true},
                                  "исключение при опросе : %s",
                                  "исключение при запуске : %s.",
                                  "исключение при остановке : %s.",
                                  false};

/// The size of the reply isn't relied on: whatever comes within the time-out is read.
constexpr int longest_reply = 257;
constexpr meter::LinkStep start_step = {"merc2::Start", "Start", pdu::short_reply, longest_reply};
constexpr meter::LinkStep stop_step = {"merc2::dev::Stop", "Stop", pdu::short_reply, longest_reply};

/// The reply comes in one piece.
constexpr Exchange::Texts read_texts = {
    .request = "get_response : запрос",
    .head = "merc2::dev::get_response : заголовок ответа",
    .head_faults = {nullptr, nullptr, "get_response : не совпали SlaveId.", nullptr},
    .wrong_crc = "get_response : не совпали CRC."};

/// The channel is opened anew after this silence, s.
constexpr long long idle_limit = 240;

}  // namespace

dev::dev(IBase* port_object, CBase* node) : family_device(port_object, node, family) {}

bool dev::open_session() {
    line().flush();
    ByteList frame;
    pdu::open(frame, slave_address(), pdu::access_level, pdu::password);
    auto const reply = link_dialogue(frame, start_step);
    if (!reply.empty() && tell_status(*cfg, reply) == pdu::status_ok) {
        // On the scale of the poll cycle, as it is compared: once the calendar has been set, mono() is none of it, and
        // the channel would be opened anew before each request.
        last_seen = xCommon::xtime::time();
        opened = true;
    }
    return true;
}

void dev::close_session() {
    last_seen = 0;
    line().flush();
    line().set_timeout(cfg->rto, cfg->sto);
    ByteList frame;
    pdu::close(frame, slave_address());
    link_dialogue(frame, stop_step);
}

/// A meter that was heard in the future was heard before the clock was set back: nobody knows how long ago. What is the
/// future tells the clock of now; behind an answer `last_seen` is mostly later than the pass, whose time `now` is.
bool dev::ready_link(long long now) {
    if (!opened || now - last_seen >= idle_limit || last_seen > xCommon::xtime::time()) {
        Restart();
    }
    return opened;
}

bool dev::poll_param(CParam* param) {
    bool const answered = meter::device::poll_param(param);
    if (answered) {
        last_seen = xCommon::xtime::time();
    }
    return answered;
}

BaseResult dev::get_response(c_param* param) {
    BaseResult result;
    param->Log(lmtInfo, "начало опроса.");
    ByteList frame;
    if (param->reg_type == reg_param) {
        pdu::read_param(frame, slave_address(), param);
    } else {
        pdu::read_array(frame, slave_address(), param);
    }
    Exchange exchange(*port, *cfg, read_texts);
    send_request(*param, exchange, frame);
    auto const expected = static_cast<size_t>(pdu::exp_resp_size(param));
    auto const reply = exchange.head(static_cast<int>(expected));
    if (reply.size() == pdu::short_reply) {
        // A status in place of the value. Its CRC isn't looked at, and no status makes a value, not even "all is well".
        if (tell_status(*param, reply) == pdu::status_closed) {
            last_seen = 0;
        }
        return result;
    }
    if (reply.size() != expected) {
        param->Log(lmtError, "get_response : ответ НЕ получен : timeout.");
        return result;
    }
    bool const is_own = reply[0] == slave_address();
    if (!exchange.is_good(is_own ? HeadFault::none : HeadFault::wrong_address) || !exchange.has_crc()) {
        return result;
    }
    result.is_crc_ok = true;
    result.result = param->getValueFromBuf(reply.data() + 1, static_cast<int>(reply.size()) - 1);
    result.is_ok = true;
    return result;
}

int dev::tell_status(CBase const& node, std::span<unsigned char const> reply) const {
    if (char const* const reason = pdu::reason(reply, slave_address())) {
        node.Logf(lmtError, "ошибка при выполнении операции : %s.", reason);
    }
    return pdu::parse_error(reply, slave_address());
}

}  // namespace merc_2xx
