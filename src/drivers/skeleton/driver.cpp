#include "drivers/skeleton/driver.h"

#include "config/constants.h"
#include "config/keys.h"
#include "drivers/skeleton/pdu.h"
#include "runtime/command_connection.h"
#include "runtime/exchange.h"
#include "runtime/typed_device.h"

namespace skeleton {

using xCommon::lmtInfo;

// The keys, the nodes that hold them, the texts of an exchange, and the dialogue, in this order.

struct c_param : CParam, FromJson<c_param> {
    c_param(CBase* device, Json::Value& node);
    void Compare(Json::Value& node) override;
    int number = 0;
};

struct c_dev : CAddressDev, FromJson<c_dev> {
    c_dev(CBase* port_node, Json::Value& node) : CAddressDev(port_node, node) { load_params(node, "skeleton"); }
};

namespace {

constexpr keys::Key param_table[] = {
    {"number", keys::of<&c_param::number>, "", "number of the value", "номер значения", keys::Overlay::taken,
     "%s : не указан атрибут 'number'.", "", keys::any_text, 0, 255},
};

constexpr DriverWords words = {"устройством skeleton", "skeleton"};
constexpr Exchange::Texts texts = {.request = "skeleton : запрос",
                                   .head = "skeleton : заголовок ответа",
                                   .rest = "skeleton : ответ",
                                   .head_faults = {nullptr, "ответ НЕ получен : timeout.",
                                                   "ответ НЕ получен : не совпал адрес.", "отказ устройства : %s."},
                                   .no_rest = "ответ НЕ получен : timeout.",
                                   .wrong_crc = "ответ НЕ получен : не совпали CRC."};

}  // namespace

c_param::c_param(CBase* device, Json::Value& node) : CParam(device, node) {
    keys::read(param_table, *this, node);
}

void c_param::Compare(Json::Value& node) {
    keys::lay_over(param_table, *this, node);
    CParam::Compare(node);
}

struct dev : TypedDevice<c_dev, c_param>, FromNode<dev> {
    dev(IBase* port_object, CBase* node) : TypedDevice(port_object, node, words) {}

    bool poll_param(CParam* base_param) override {
        c_param* const param = own_or_told(base_param);
        if (param == nullptr) {
            return false;
        }
        xCommon::ByteList frame;
        pdu::read(frame, slave_address(), static_cast<unsigned char>(param->number));
        BaseResult result = ask(*param, frame);
        port->publish_result(result, this, param);
        return result.is_ok;
    }

    void ProcConnect() override { subscribe_commands("subscribe on : %s"); }

    using DevBase::ProcMessage;
    bool ProcMessage(std::string& topic, std::string& payload) override {
        c_param* const param = commanded(topic, payload);
        if (param == nullptr) {
            return false;
        }
        param->Logf(lmtInfo, "запись нового значения : %s.", payload);
        CommandConnection const connection(*this);
        xCommon::ByteList frame;
        pdu::write(frame, slave_address(), static_cast<unsigned char>(param->number),
                   static_cast<unsigned short>(std::stoul(payload)));
        return ask(*param, frame).is_ok && poll_param(param);
    }

    /// One exchange; a failure has its line behind it.
    BaseResult ask(c_param& param, xCommon::ByteList const& frame) {
        BaseResult result;
        Exchange exchange(*port, param, texts);
        exchange.prepare(param);
        exchange.send(frame);
        auto const head = exchange.head(pdu::head_size);
        auto const found = xCommon::head_fault(head, slave_address(), pdu::head_size);
        std::string const reason = head.size() < pdu::head_size ? "" : std::to_string(head[2]);
        if (exchange.is_good(found, reason.c_str()) && exchange.rest(pdu::tail_size) && exchange.has_crc()) {
            auto const value = exchange.answer().subspan(pdu::head_size);
            result.result = std::to_string(value[0] << 8U | value[1]);
            result.is_ok = result.is_crc_ok = true;
        }
        return result;
    }
};

void enter() {
    // In a driver: CBFac const registrars[] = {...} and IBFac const registrar = ... in the unnamed namespace.
    CBFac::add<c_dev>("skeleton.cdev");
    CBFac::add<c_param>("skeleton.cparam", param_table);
    IBFac::add<dev>("skeleton.dev");
}

}  // namespace skeleton
