// SPDX-License-Identifier: MIT
#pragma once

#include "peer/result.h"

namespace zolt {

// The failure with every text: where its maker had nothing to say of its own, what holds for all failures of
// that step. One that the user caused on purpose, an interruption, stays as it is.
peer::failure with_all_texts(peer::failure why);

}  // namespace zolt
