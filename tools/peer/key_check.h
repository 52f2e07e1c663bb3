// SPDX-License-Identifier: MIT
// What a device makes of a key file, line by line: the device says nothing itself.
#pragma once

#include <optional>
#include <vector>

#include "peer/keys.h"

namespace peer {

// One line, as the device's loader cuts the file.
struct key_line {
  enum class kind { modulus, exponent, skipped, ignored, stops } is = kind::ignored;
  size_t number = 0;  // from 1
  size_t pairs = 0;   // of characters behind the first eleven, the line's end included
  std::vector<std::string> remarks;
};

// What follows for the device, worst first.
enum class key_verdict {
  unprotected,   // nothing is loaded: the device answers anyone, in plain text
  locked,        // protected, but no signature will ever be accepted
  forgeable,     // a stranger can sign
  questionable,  // it works, but not as it should
  good
};

struct key_check {
  std::vector<key_line> lines;
  key_verdict verdict = key_verdict::good;
  std::vector<std::string> findings;  // the reasons, phrases
  public_key key;                     // what was loaded; zeros when nothing was
};

// `content` is that of the device's publickeys.dat.
key_check check_key_file(byte_view content);

// A number whose power ends in the digest (32 bytes, odd), made without a private key: a signature to a
// device, which looks at the end only. None when the exponent is even, or too great for this short cut,
// which needs the power to stay below the modulus.
std::optional<bytes> forge(const public_key &key, byte_view digest);

}  // namespace peer
