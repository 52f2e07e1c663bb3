// SPDX-License-Identifier: MIT
#include "peer/result.h"

namespace peer {

std::string describe(const failure &what) {
  std::string text = what.step + ": " + what.happened;
  if (!what.expected.empty()) text += "\n  expected: " + what.expected;
  if (!what.causes.empty()) text += "\n  likely:   " + what.causes;
  if (!what.advice.empty()) text += "\n  try:      " + what.advice;
  return text;
}

}  // namespace peer
