#pragma once

#include <chrono>
#include <deque>
#include <string>
#include <vector>

#include "ctl/line/peer_script.h"
#include "transport/no_line_tran.h"

/// A line whose other end is a script and whose time is that of xtime: what arrives behind a time-out lies there for
/// the next read, as on a real one.
class ScriptLine : public NoLineTran {
 public:
    explicit ScriptLine(CPort* port) : NoLineTran(port), is_tcp_(port->type_has("tcp")) {}

    bool open() override;
    int read(unsigned char* buffer, int count) override { return take(buffer, count, is_tcp_); }
    bool read_all(unsigned char* buffer, int count) override;
    using NoLineTran::write;
    int write(unsigned char* buffer, int count) override;
    using NoLineTran::write_all;
    bool write_all(unsigned char* buffer, int count) override { return write(buffer, count) == count; }
    void flush_in() override;
    void set_timeout(int rto, int sto) override;
    bool abandon() override;
    void resume() override;
    void close() override;

    /// The line is pulled out, or nobody listens: it can't be opened until it is back.
    void set_away(bool away);
    bool is_away() override { return is_away_ && !is_tcp_; }
    /// Bytes that nobody asked for, hexadecimal.
    void send(std::string const& frame) { arrive(hex::bytes(frame), 0); }

    PeerScript script;
    std::vector<std::string> sent;  ///< the frames written

 protected:
    int read_piece(unsigned char* buffer, int count) override { return take(buffer, count, true); }

 private:
    using Time = std::chrono::steady_clock::time_point;
    struct Piece {
        Time at;
        hex::Bytes bytes;
    };

    bool ready();
    int take(unsigned char* buffer, int count, bool first_only);
    void arrive(hex::Bytes bytes, int after_ms);
    void wait_until(Time time);

    bool is_tcp_;
    bool is_away_ = false;
    bool abandoned_ = false;
    bool hangs_up_ = false;
    std::deque<Piece> pieces_;
};
