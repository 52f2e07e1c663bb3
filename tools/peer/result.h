// SPDX-License-Identifier: MIT
// How the peer reports failures: as values, with everything that a person needs to act on them.
#pragma once

#include <string>
#include <utility>
#include <variant>

namespace peer {

// What went wrong, coarsely: the exit status of a program.
enum class exit_code : int {
  ok = 0,
  other = 1,
  usage = 2,
  key = 3,           // the key file, or the key in it
  no_answer = 4,     // silence, or an answer that stopped half-way
  refused = 5,       // busy or refused: the device's system said no
  verification = 6,  // an answer that does not hold what it must
  agent = 7,         // the device is there and the session good, but the agent behind it failed
  interrupted = 130
};

// One failure. `step` is the kind of packet being sent ("WAKE", "LGIN", "ENCR", "LOUT"), "connect", or
// "key". The other texts are phrases without a final stop; those that would say nothing are empty.
struct failure {
  exit_code code = exit_code::other;
  std::string step;
  std::string happened;
  std::string expected;
  std::string causes;
  std::string advice;
};

// The failure as a person reads it: one line, and one indented line for each further text.
std::string describe(const failure &what);

// A T, or why there is none.
template <typename T>
class [[nodiscard]] result {
 public:
  result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
  result(failure why) : content_(std::in_place_index<1>, std::move(why)) {}
  explicit operator bool() const { return content_.index() == 0; }
  T &operator*() { return *std::get_if<0>(&content_); }
  const T &operator*() const { return *std::get_if<0>(&content_); }
  T *operator->() { return std::get_if<0>(&content_); }
  const T *operator->() const { return std::get_if<0>(&content_); }
  failure &error() { return *std::get_if<1>(&content_); }
  const failure &error() const { return *std::get_if<1>(&content_); }

 private:
  std::variant<T, failure> content_;
};

// Success that carries nothing.
struct nothing {};
using status = result<nothing>;
inline constexpr nothing done{};

}  // namespace peer
