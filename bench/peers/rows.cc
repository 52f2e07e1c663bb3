// SPDX-License-Identifier: MIT
#include "rows.h"

namespace bench {

std::vector<const contender *> agreeing(const row &r, const std::function<void(const contender &)> &wrong) {
  std::vector<const contender *> result;
  bytes expected;
  for (const contender &who : r.contenders) {
    who.repeat(2);  // both keys
    const bytes value = who.result();
    if (result.empty()) expected = value;
    if (value == expected && !value.empty()) {
      result.push_back(&who);
    } else {
      wrong(who);
    }
  }
  return result;
}

}  // namespace bench
