// SPDX-License-Identifier: MIT
// Ending on SIGINT and SIGTERM although the plug-in blocks in a select() of its own.
#pragma once

namespace host {

// stop_on_signals installs the handlers, and ignores SIGPIPE: a peer that has gone must not end
// the host.
void stop_on_signals();

// stop_requested tells whether a signal has asked the host to end.
bool stop_requested();

}  // namespace host
