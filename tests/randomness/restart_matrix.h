// SPDX-License-Identifier: MIT
// The restart test of NIST SP 800-90B, 3.1.4: a generator is started N times, and N bytes are taken from each
// start, one row of a matrix. No byte may be more frequent in any row or column than chance explains. A
// generator that starts alike every time fills its columns with one value each, however random a row looks.
#pragma once

#include <libsec/crypto.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

namespace libsec::test {

class restart_matrix {
 public:
  explicit restart_matrix(size_t size) : size_(size), bytes_(size * size) {
    auto state = std::make_unique<havege_context>();
    for (size_t row = 0; row < size; ++row) {
      havege_init(state.get());
      // The low byte of each word, as a private exponent is drawn.
      for (size_t i = 0; i < size; ++i) bytes_[row * size + i] = static_cast<uint8_t>(havege_rand(state.get()));
    }
  }

  // How often the most common byte of any row, or of any column, stands in it.
  size_t most_common_in_rows() const { return most_common(size_, 1); }
  size_t most_common_in_columns() const { return most_common(1, size_); }

  // The lowest count that all the rows and columns of a good generator together reach by chance once in a
  // hundred matrices at most: the share of each is 1 - 0.99^(1/2N), and each of 256 values could be it.
  size_t cutoff() const {
    const double share = 1 - std::pow(0.99, 1.0 / (2.0 * static_cast<double>(size_)));
    size_t count = size_;
    double tail = 0;
    while (count > 0 && 256 * (tail + probability(count)) <= share) tail += probability(count--);
    return count + 1;
  }

  bool passes() const { return std::max(most_common_in_rows(), most_common_in_columns()) < cutoff(); }

  // Min-entropy of a byte by the most common value, 6.3.1: the upper end of its 99 % confidence interval.
  double min_entropy() const {
    std::vector<size_t> counts(256);
    for (const uint8_t byte : bytes_) ++counts[byte];
    const auto total = static_cast<double>(bytes_.size());
    const double p = static_cast<double>(*std::max_element(counts.begin(), counts.end())) / total;
    return -std::log2(std::min(1.0, p + 2.576 * std::sqrt(p * (1 - p) / (total - 1))));
  }

 private:
  size_t most_common(size_t line_step, size_t step) const {
    size_t greatest = 0;
    for (size_t line = 0; line < size_; ++line) {
      std::vector<size_t> counts(256);
      for (size_t i = 0; i < size_; ++i) greatest = std::max(greatest, ++counts[bytes_[line * line_step + i * step]]);
    }
    return greatest;
  }

  // That one value stands `count` times in a line: binomial, in logarithms.
  double probability(size_t count) const {
    const auto n = static_cast<double>(size_), k = static_cast<double>(count);
    return std::exp(std::lgamma(n + 1) - std::lgamma(k + 1) - std::lgamma(n - k + 1) - k * std::log(256.0) +
                    (n - k) * std::log(255.0 / 256.0));
  }

  size_t size_;
  std::vector<uint8_t> bytes_;
};

}  // namespace libsec::test
