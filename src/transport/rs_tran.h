#pragma once

#include <memory>

#include "foundation/serial_line.h"
#include "transport/itran.h"

/// A serial line. open() gives false when the device can't be opened. A line that failed stays closed until the port
/// reopens it.
class rsTran : public iTran {
 public:
    explicit rsTran(CPort* port);

    bool is_open() override;
    bool open() override;
    void close() override;
    int read(unsigned char* buffer, int count) override;
    bool read_all(unsigned char* buffer, int count) override;
    int write(unsigned char* buffer, int count) override;
    using iTran::write;
    bool write_all(unsigned char* buffer, int count) override;
    bool write_all(xCommon::ByteList& bytes) override;
    void flush_in() override;
    void flush_out() override;
    void set_timeout(int rto, int sto) override;
    bool is_away() override;

    /// The settings in force: first the port's, then those of the device that is being polled. open() takes them.
    xserial::xco settings;

 protected:
    int read_piece(unsigned char* buffer, int count) override;
    std::optional<bool> look() override;

 private:
    template <typename Piece>
    bool move_all(unsigned char* buffer, int count, Piece next_piece);

    std::unique_ptr<xserial::xrs> line_;
    bool open_failed_ = false;
    bool was_held_ = false;
};
