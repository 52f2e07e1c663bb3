// SPDX-License-Identifier: MIT
// Numbers of the input, with GMP's beside them.
#pragma once

#include <libsec/num.h>

#include "fuzz/target.h"
#include "support/gmp_num.h"
#include "support/num_values.h"

namespace fuzz {

// A sign, a count of limbs up to `most`, and the limbs; high ones may be zero.
inline test::number any_number(input &in, size_t most) {
  const uint8_t shape = in.byte();
  test::limb_list limbs(in.byte() % (most + 1));
  for (num_limb &limb : limbs) {
    switch (shape & 3) {
      case 0:
        limb = in.u32();
        break;
      case 1:
        limb = (in.byte() & 1) != 0 ? 0xffffffff : 0;
        break;
      case 2:
        limb = num_limb{1} << (in.byte() & 31);
        break;
      default:
        limb = in.byte();
    }
  }
  return test::number((shape & 4) != 0 ? -1 : 1, limbs);
}

}  // namespace fuzz
