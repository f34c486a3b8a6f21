#pragma once

/// A descriptor that becomes readable when the process is asked to end by SIGTERM, SIGINT or SIGHUP. A peer that hangs
/// up doesn't end it.
int end_signals();
