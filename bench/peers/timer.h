// SPDX-License-Identifier: MIT
// Interleaved timing: the contenders of a row take turns, so that whatever else the machine does meets
// them all alike.
#pragma once

#include "rows.h"

namespace bench {

struct timing {
  double median_ns, least_ns;  // for one operation
};

// Keeps the process on one processor, the last that it may use. False when that is not possible.
bool stay_on_one_processor();

// The times of the contenders, in their order.
std::vector<timing> take_turns(const std::vector<const contender *> &contenders);

}  // namespace bench
