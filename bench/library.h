// SPDX-License-Identifier: MIT
// libsec.so as a host has it: loaded by path, its functions found by name. What is measured is the file
// that is shipped, and the compiler of the measuring program has no part in it.
#pragma once

#include <dlfcn.h>
#include <libsec/crypto.h>
#include <libsec/num.h>
#include <libsec/packet.h>

#include <cstdio>
#include <cstdlib>

namespace bench {

class library {
 public:
  explicit library(const char *path) : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) give_up(dlerror());
  }

  // library["name"] converts to whatever pointer the name stands for.
  struct symbol {
    void *address;
    template <typename T>
    operator T *() const {
      return reinterpret_cast<T *>(address);
    }
  };
  symbol operator[](const char *name) const {
    void *const address = dlsym(handle_, name);
    if (address == nullptr) give_up(name);
    return {address};
  }

 private:
  [[noreturn]] static void give_up(const char *why) {
    std::fprintf(stderr, "libsec.so: %s\n", why);
    std::exit(2);
  }
  void *handle_;
};

// The functions that are measured, under their own names.
struct functions {
  explicit functions(const library &from)
      : num_lset(from["num_lset"]),
        num_read_binary(from["num_read_binary"]),
        num_write_binary(from["num_write_binary"]),
        num_cmp_num(from["num_cmp_num"]),
        num_mul_num(from["num_mul_num"]),
        num_div_num(from["num_div_num"]),
        num_exp_mod(from["num_exp_mod"]),
        sha256(from["sha256"]),
        crc16_ccitt(from["crc16_ccitt"]),
        encrypt(from["encrypt"]),
        havege_init(from["havege_init"]),
        packet_process(from["packet_process"]) {}

  decltype(&::num_lset) num_lset;
  decltype(&::num_read_binary) num_read_binary;
  decltype(&::num_write_binary) num_write_binary;
  decltype(&::num_cmp_num) num_cmp_num;
  decltype(&::num_mul_num) num_mul_num;
  decltype(&::num_div_num) num_div_num;
  decltype(&::num_exp_mod) num_exp_mod;
  decltype(&::sha256) sha256;
  decltype(&::crc16_ccitt) crc16_ccitt;
  decltype(&::encrypt) encrypt;
  decltype(&::havege_init) havege_init;
  decltype(&::packet_process) packet_process;
};

// The hexadecimal digits as a number.
inline bool read_hex(const functions &sec, num *to, const char *digits) {
  const auto value = [](char digit) { return digit <= '9' ? digit - '0' : digit - 'a' + 10; };
  uint8_t bytes[512];
  int32_t length = 0;
  size_t count = 0;
  while (digits[count] != '\0') ++count;
  if ((count & 1) != 0) bytes[length++] = static_cast<uint8_t>(value(*digits++));
  for (; *digits != '\0'; digits += 2) {
    bytes[length++] = static_cast<uint8_t>(value(digits[0]) << 4 | value(digits[1]));
  }
  return sec.num_read_binary(to, bytes, length) == 0;
}

}  // namespace bench
