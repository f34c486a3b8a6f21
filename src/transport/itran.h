#pragma once

#include <chrono>
#include <optional>
#include <span>

#include "config/cport.h"
#include "foundation/byte_list.h"
#include "foundation/xmisc.h"

/// The one interface through which drivers reach their line. A port owns exactly one, and its worker alone uses it.
/// Nothing here raises: time-outs and closed lines come back as short counts or false.
class iTran {
 public:
    explicit iTran(CPort* port) : cport(port) {}
    virtual ~iTran() = default;
    iTran(iTran const&) = delete;
    iTran& operator=(iTran const&) = delete;

    /// The line is usable now.
    virtual bool is_open() = 0;
    /// Closes first, then opens; what false means is told at each transport.
    virtual bool open() = 0;
    /// True if it is open, otherwise the result of opening it anew.
    bool reopen();
    virtual void close() = 0;
    /// Bytes read, at most `count`; -1 if not open, 0 on time-out.
    virtual int read(unsigned char* buffer, int count) = 0;
    /// True only if exactly `count` bytes arrived.
    virtual bool read_all(unsigned char* buffer, int count) = 0;
    /// Bytes written; -1 if not open.
    virtual int write(unsigned char* buffer, int count) = 0;
    virtual int write(xCommon::ByteList& bytes) { return write(bytes.data(), static_cast<int>(bytes.size())); }
    /// True only if all went out.
    virtual bool write_all(unsigned char* buffer, int count) = 0;
    virtual bool write_all(xCommon::ByteList& bytes) { return write_all(bytes.data(), static_cast<int>(bytes.size())); }
    /// Drops pending input.
    virtual void flush_in() = 0;
    /// Drops or drains pending output.
    virtual void flush_out() = 0;
    void flush();
    /// Time-outs in ms, for the line that is open now.
    virtual void set_timeout(int rto, int sto) = 0;
    /// An answer that hasn't come whole may still come, and would be taken for the next one: where nothing but a new
    /// connection keeps the two apart, the line is closed, and the next exchange opens it first. True if it was.
    virtual bool abandon() { return false; }
    /// Opens what abandon() has closed. flush_in(), set_timeout(), reads and writes do so by themselves.
    virtual void resume() {}
    /// The line itself is gone, or couldn't be opened: it isn't closed on purpose.
    virtual bool is_away() { return false; }
    /// The line was there when last looked at; nothing before that, and for ports without one. What this program closes
    /// by itself doesn't count.
    std::optional<bool> seen_open();
    /// For a read of known length from a line that may hand it out in pieces: gathers until all is there or the read
    /// time-out in force has passed since the call. What arrived, as read().
    int read_count(unsigned char* buffer, int count);
    /// A frame of a protocol: whether all that has arrived since the read began is a whole and sound one, and nothing
    /// more.
    using WholeFrame = bool (*)(std::span<unsigned char const> arrived);
    /// For a read of unknown length: ends as soon as what has arrived is a whole frame, otherwise when the read
    /// time-out in force has passed since the call or `count` bytes are there. What arrived, as read().
    int read_frame(unsigned char* buffer, int count, WholeFrame is_whole);

    CPort* cport;
    /// A read has brought something since this was last set to false.
    bool heard = false;

 protected:
    /// Notes what a read has brought, and gives its result on. With option -h each one, and each write, is an entry in
    /// the log: direction, milliseconds since the one before on this line, and the bytes.
    int noted(unsigned char const* buffer, int got);
    int written(unsigned char const* buffer, int count);
    /// Nothing: it isn't opened at the moment.
    virtual std::optional<bool> look() { return {}; }
    std::optional<bool> seen_open_;
    /// What the first arrival brings, as read().
    virtual int read_piece(unsigned char* buffer, int count) { return read(buffer, count); }
    /// The time-outs in force, in ms.
    int rto_ = 0;
    int sto_ = 0;

 private:
    template <typename Piece, typename End>
    int gather(unsigned char* buffer, int count, Piece next_piece, End is_end);
    void trace(char const* direction, unsigned char const* buffer, int count);

    std::chrono::steady_clock::time_point last_trace_ = xCommon::xtime::steady();
};
