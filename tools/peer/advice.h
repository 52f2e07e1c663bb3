// SPDX-License-Identifier: MIT
#pragma once

#include "peer/transport.h"

namespace peer {

// Fills in the texts of a failure that its maker, who did not know the step, left empty: what was
// expected, the likely causes and what to try. `answer` is the kind of packet waited for, or empty.
failure explain_failure(failure why, std::string_view step, std::string_view answer, const endpoint &device,
                        milliseconds timeout);

// The failure of a request that a living device left without an answer.
failure explain_silent_agent(failure why);

}  // namespace peer
