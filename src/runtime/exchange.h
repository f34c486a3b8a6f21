#pragma once

#include "foundation/byte_list.h"
#include "runtime/port_base.h"

/// The steps that every exchange of frames is made of, on a port's scratch buffer and with the traces of option -h.
/// `label` heads the trace.
namespace exchange {

/// Behind an exchange whose answer didn't come whole. On TCP the connection is closed, with a line under `node`, or a
/// late answer would be taken for that of the next exchange, and from there on every value would stand under its
/// neighbour's topic. A serial line is rid of it by the flush ahead of the next request.
void abandon(PortBase& port, xCommon::LogItem const& node);
/// Moves a frame into the buffer (what doesn't fit is cut) and traces it; gives its length there.
int load(PortBase& port, xCommon::ByteList const& frame, char const* label);
/// Writes `length` bytes of the buffer; what iTran::write gives.
int send(PortBase& port, int length);
/// Gathers `count` bytes into the buffer from `offset` on and traces what came; what iTran::read_count gives. -1 for
/// a count that the buffer can't hold.
int receive(PortBase& port, int offset, int count, char const* label);
/// The same for the rest of an answer, of which nothing is traced unless it comes whole. True if it does.
bool receive_rest(PortBase& port, int offset, int count, char const* label);

/// Reads an answer of unknown length, `most` bytes at most, to the start of the buffer: see iTran::read_frame(). Not
/// traced.
int receive_frame(PortBase& port, int most, iTran::WholeFrame is_whole);

}  // namespace exchange
