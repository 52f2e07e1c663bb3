// SPDX-License-Identifier: MIT
// Tells a service manager how far a program is, as systemd's Type=notify expects it.
#pragma once

namespace service {

constexpr char ready[] = "READY=1";
constexpr char stopping[] = "STOPPING=1";

// notify sends a state to the datagram socket that NOTIFY_SOCKET names: a path, or a name of the abstract
// kind behind an @. Without that variable nobody waits, and nothing is done. A failure is told on standard
// error, for the manager would go on waiting without a reason.
void notify(const char *state);

}  // namespace service
