// SPDX-License-Identifier: MIT
// Signals that end a command, as a descriptor to wait for.
#pragma once

namespace zolt {

// From now on SIGINT and SIGTERM make the returned descriptor readable instead of ending the program. A
// second one ends it at once.
int catch_signals();

// The same for the end of a child process, after catch_signals().
void catch_child_end();

// Makes the descriptor readable, as a signal does, from any thread.
void request_stop();

// The first signal of the two that came, or 0.
int caught_signal();

}  // namespace zolt
