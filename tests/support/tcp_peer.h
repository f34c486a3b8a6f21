#pragma once

#include "ctl/line/tcp_far_end.h"
#include "support/free_port.h"

/// A scripted device behind a TCP port that stays this test's while nobody listens on it.
class TcpPeer : private FreePort, public TcpFarEnd {
 public:
    TcpPeer() : TcpFarEnd(number()) {}
};
