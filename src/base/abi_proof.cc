// SPDX-License-Identifier: MIT
// Proof that the compiler lays the exported records out as abi/records.def says. Compiled for every
// target; leaves no code behind.
#include <libsec/crypto.h>
#include <libsec/packet.h>
#include <libsec/zolt.h>

#include <cstddef>

namespace {

constexpr size_t by_pointer(size_t bits32, size_t bits64) {
  return sizeof(void *) == 4 ? bits32 : bits64;
}

#define RECORD(record, size32, size64) static_assert(sizeof(record) == by_pointer(size32, size64), #record);
#define FIELD(record, field, offset32, size32, offset64, size64)                                \
  static_assert(offsetof(record, field) == by_pointer(offset32, offset64), #record "." #field); \
  static_assert(sizeof(record::field) == by_pointer(size32, size64), #record "." #field);
#include "../../abi/records.def"
#undef RECORD
#undef FIELD

}  // namespace
