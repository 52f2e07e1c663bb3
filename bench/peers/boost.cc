// SPDX-License-Identifier: MIT
#include <boost/crc.hpp>
#include <memory>

#include "rows.h"

namespace bench {

void add_boost(std::vector<row> &rows) {
  for (row &r : rows) {
    if (r.kind != what::check) continue;
    const auto crc = std::make_shared<unsigned>();
    r.add(
        "Boost.CRC",
        [crc, length = r.length] {
          boost::crc_optimal<16, 0x1021, 0, 0, false, false> computer;
          computer.process_bytes(given().data.data(), length);
          *crc = computer.checksum();
        },
        [crc] {
          return bytes{static_cast<uint8_t>(*crc >> 8), static_cast<uint8_t>(*crc)};
        });
  }
}

}  // namespace bench
