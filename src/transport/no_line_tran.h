#pragma once

#include "transport/itran.h"

/// What the two transports without a line have in common: a flag, and writes that always succeed.
class NoLineTran : public iTran {
 public:
    explicit NoLineTran(CPort* port) : iTran(port) {}

    bool is_open() override { return is_open_; }
    bool open() override { return is_open_ = true; }
    void close() override { is_open_ = false; }
    bool read_all(unsigned char* buffer, int count) override { return read(buffer, count) == count; }
    using iTran::write;
    int write(unsigned char* /*buffer*/, int count) override { return count; }
    using iTran::write_all;
    bool write_all(unsigned char* /*buffer*/, int /*count*/) override { return true; }
    void flush_in() override {}
    void flush_out() override {}
    void set_timeout(int /*rto*/, int /*sto*/) override {}

 private:
    bool is_open_ = false;
};

/// For devices that are reached over the broker: reads succeed and touch no data.
class z2tTran : public NoLineTran {
 public:
    using NoLineTran::NoLineTran;

    int read(unsigned char* /*buffer*/, int count) override { return count; }
};

/// For ports without a line. Reads hand out a canned 7-byte Modbus RTU answer, slave 0x11, value 5, from one position
/// shared by all objects of the process, so that a Modbus device on such a port can be tried without hardware.
class nullTran : public NoLineTran {
 public:
    using NoLineTran::NoLineTran;

    /// `count`, or 0 with the position unchanged when the rest of the answer is shorter.
    int read(unsigned char* buffer, int count) override;
};
