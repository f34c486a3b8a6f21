#pragma once

#include <type_traits>

#include "foundation/xexception.h"
#include "runtime/command_connection.h"
#include "runtime/dev_base.h"
#include "runtime/port_base.h"

/// What a driver calls its own, in the lines about nodes of other drivers.
struct DriverWords {
    char const* device;  ///< "узел не является ..."
    char const* param;   ///< "параметр не является параметром ..."
};

/// Run-time object of a device whose node is of the class Config and whose parameters are of the class Param. A
/// parameter may take another driver's class by a `type` of its own.
template <typename Config, typename Param>
class TypedDevice : public DevBase {
 public:
    /// Raises as DevBase, and an xExceptionf for a node of another class.
    TypedDevice(IBase* port_object, CBase* node, DriverWords const& words, WalkRules const& rules = usual_rules)
        : DevBase(port_object, node, rules), config_(dynamic_cast<Config*>(node)), words_(words) {
        if (config_ == nullptr) {
            throw xCommon::xExceptionf("#%s : ctor : узел не является %s.", cfg->name, words_.device);
        }
    }

    bool is_own(CParam const& param) const override {
        return std::is_same_v<Param, CParam> || dynamic_cast<std::add_pointer_t<Param const>>(&param) != nullptr;
    }

 protected:
    /// Null for none, and for one of another driver.
    Param* own(CParam* param) const {
        return param != nullptr && is_own(*param) ? static_cast<Param*>(param) : nullptr;
    }
    /// The same, with a line about one of another driver.
    Param* own_or_told(CParam* param) const {
        auto* const mine = own(param);
        if (mine == nullptr && param != nullptr) {
            param->Logf(xCommon::lmtError, "параметр не является параметром %s : опрос пропущен.", words_.param);
        }
        return mine;
    }
    /// For drivers that leave one of another driver out of the walk, and don't count it as a failed poll.
    bool is_wanted_and_own(CParam& param, long long now) {
        if (!DevBase::is_wanted(param, now)) {
            return false;
        }
        if (own_or_told(&param) == nullptr) {
            param.last_poll = now;
            return false;
        }
        return true;
    }
    /// By the low byte of an address whatever its size.
    unsigned char slave_address() const { return static_cast<unsigned char>(config_->sid & 0xFF); }

    Config* config_;

 private:
    DriverWords const& words_;
};

/// One whose poll of a parameter is one exchange and nothing else. What that lets out is a failed poll.
template <typename Config, typename Param>
class PolledDevice : public TypedDevice<Config, Param> {
 public:
    using TypedDevice<Config, Param>::TypedDevice;

    bool poll_param(CParam* base_param) override {
        Param* const param = this->own_or_told(base_param);
        if (param == nullptr) {
            return false;
        }
        BaseResult result = get_response(param);
        this->port->publish_result(result, this, param);
        return result.is_ok;
    }
    virtual BaseResult get_response(Param* param) = 0;
};

/// One that takes commands on the topics of what isn't read only.
template <typename Base, typename Param>
class CommandedDevice : public Base {
 public:
    using Base::Base;

    void ProcConnect() override { this->subscribe_commands("subscribe on : %s"); }
    using Base::ProcMessage;
    bool ProcMessage(std::string& topic, std::string& payload) override {
        this->cfg->Logf(xCommon::lmtTrace, "ProcMessage : %s = %s.", topic, payload);
        CParam* const target = this->commands_.find(topic).param;
        if (target == nullptr) {
            return false;
        }
        CommandConnection const connection(*this);
        if (Param* const param = this->own(target)) {
            write(param, payload);
        }
        return true;
    }
    virtual void write(Param* param, std::string const& value) = 0;
};
