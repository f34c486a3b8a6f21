#pragma once

#include "foundation/byte_list.h"
#include "foundation/frame_head.h"
#include "runtime/port_base.h"

/// One request and its answer, on the scratch buffer of a port and with the traces of option -h.
class Exchange {
 public:
    /// Whether the rest of an answer is traced when it comes whole, whatever comes of it, or together with its head.
    enum class Traced { whole, part, all };

    /// What a kind of exchange says. The lines are errors on the node; those with a "%s" tell the subject of the call.
    struct Texts {
        // Heads of the traces; null: none.
        char const* request = nullptr;
        char const* head = nullptr;
        char const* rest = nullptr;
        // Lines about the head, the rest that doesn't come, and the checksum.
        xCommon::HeadTexts head_faults = {};
        char const* no_rest = nullptr;  ///< null: none
        char const* wrong_crc = "";
        Traced traced = Traced::whole;
    };

    Exchange(PortBase& port, xCommon::LogItem const& node, Texts const& texts)
        : port_(port), node_(node), texts_(texts) {}
    /// What the texts say nothing of isn't told.
    Exchange(PortBase& port, xCommon::LogItem const& node);

    /// Rids the line of what came before, and sets its time-outs.
    void prepare(CBase const& time_outs);

    /// Moves a frame into the buffer; what doesn't fit is cut.
    void load(xCommon::ByteList const& frame);
    /// Gives the number of bytes written; request_size() were to be.
    int send();
    int send(xCommon::ByteList const& frame) {
        load(frame);
        return send();
    }
    int request_size() const { return request_size_; }
    /// The beginning of the answer: `count` bytes, or what came of them.
    std::span<unsigned char const> head(int count);
    /// What comes first, in whatever size; what iTran::read() gives. Not traced.
    int arrival();
    /// All of an answer of unknown length, `most` bytes at most; what iTran::read_frame() gives.
    int whole(int most, iTran::WholeFrame is_whole);
    /// `count` bytes more. False behind its line for those that don't all come, and for more than the buffer holds.
    bool rest(int count);
    /// False behind the line of a fault.
    bool is_good(xCommon::HeadFault fault, char const* subject = "") const;
    /// False behind its line for an answer of less than `least` bytes or without its CRC, as of Modbus, at the end.
    bool has_crc(int least = 0, char const* subject = "") const;
    /// All of a plain exchange: prepare(), the request, an answer of `head_size` bytes, which end with the code of a
    /// refusal, and of `tail` more, which end with the CRC. The first `echoed` of them are those of the request. False
    /// behind the line of a fault; that about a refusal tells its code. What doesn't come whole is abandoned.
    bool run(CBase const& time_outs, xCommon::ByteList const& request, int head_size, int tail, int echoed);
    /// What has come.
    std::span<unsigned char const> answer() const { return held(size_); }

    /// The first bytes of the buffer, where less has come what is left of the request.
    std::span<unsigned char const> held(int count) const { return {port_.buffer, static_cast<size_t>(count)}; }

    /// Behind an exchange whose answer didn't come whole. On TCP the connection is closed, with a line under `node`, or
    /// a late answer would be taken for that of the next exchange, and from there on every value would stand under its
    /// neighbour's topic. A serial line is rid of it by the flush ahead of the next request.
    static void abandon(PortBase& port, xCommon::LogItem const& node);

 private:
    void trace(int from, int count, char const* label) const;

    PortBase& port_;
    xCommon::LogItem const& node_;
    Texts const& texts_;
    int request_size_ = 0;
    int size_ = 0;
};

/// Of an exchange for which nobody has told texts.
inline constexpr Exchange::Texts plain_texts = {
    .request = "запрос",
    .head = "заголовок ответа",
    .rest = "ответ",
    .head_faults = {nullptr, "ответ НЕ получен : timeout.", "ответ НЕ получен : не совпал адрес.",
                    "отказ устройства : %s.", "ответ НЕ получен : не на этот запрос."},
    .no_rest = "ответ НЕ получен : timeout.",
    .wrong_crc = "ответ НЕ получен : не совпали CRC."};
