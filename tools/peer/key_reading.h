// SPDX-License-Identifier: MIT
#pragma once

#include "peer/bytes.h"
#include "peer/result.h"

namespace peer {

// The content of a regular file that only its owner can read, at most 64 KiB.
result<secret_bytes> read_private_file(const std::string &path);

}  // namespace peer
