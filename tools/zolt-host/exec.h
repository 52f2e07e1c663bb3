// SPDX-License-Identifier: MIT
// A command behind the host: request on standard input, reply on standard output.
#pragma once

#include <cstddef>
#include <cstdint>

namespace host {

// exec_ask runs `command` with /bin/sh in a process group of its own. The reply counts only when the
// command ends with status 0 within the time; else the whole group is killed.
// Result: the reply's length; or -1 after a message on standard error.
int32_t exec_ask(const char *command, int32_t timeout_ms, const uint8_t *request, int32_t request_length,
                 uint8_t *reply, size_t capacity);

}  // namespace host
