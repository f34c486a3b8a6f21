#pragma once

#include "ctl/scan/protocol.h"

namespace scanner {

/// DCON modules: asked for their configuration, then for their name. A module that answers without checksums refuses
/// what has one, and is asked without it then.
std::unique_ptr<Protocol> scan_dcon(bool has_checksum);
/// Emera meters: asked for their energies. Their addresses are texts; numbers are tried.
std::unique_ptr<Protocol> scan_emera();

}  // namespace scanner
