// SPDX-License-Identifier: MIT
// Any packets, one after the other, against a live session in any state. With FUZZ_SIGNATURES_GOOD every
// signature is taken as good, so that the fuzzer gets behind it.
#include "fuzz/device.h"

#ifdef FUZZ_SIGNATURES_GOOD
// In place of the library's, by the linker, and in this program only.
extern "C" int32_t __wrap_set_rsa(zolt_context *context, uint32_t, uint32_t *length, const uint8_t *, uint8_t *);
extern "C" int32_t __wrap_set_rsa(zolt_context *context, uint32_t, uint32_t *length, const uint8_t *, uint8_t *) {
  *length = context->session->rsa_length;
  return 0;
}
constexpr bool signatures_good = true;
#else
constexpr bool signatures_good = false;
#endif

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  using namespace libsec::test;
  fuzz::input in(data, size);
  fuzz::device device;
  const uint8_t mode = in.byte();
  device.start_session(mode % 7);
  full_encryption = mode >> 3 & 1;
  device.context->transport_is_tcp = mode >> 4 & 1;
  for (int i = 0; i < 6 && !in.empty(); ++i) {
    device.clock.advance_ms(in.u16() * 8);
    const bytes before = key_of(security_sessions);
    const bytes packet = in.take(in.u16());
    (void)device.serve(packet);
    const bool wake = packet.size() >= 4 && std::equal(packet.begin(), packet.begin() + 4, "WAKE");
    const bool rekeyed = key_of(security_sessions) != before;
    fuzz::require(!rekeyed || wake, "only a WAKE changes the key");
    fuzz::require(!rekeyed || signatures_good || device.sent.size() == 144, "a new key is answered");
    fuzz::require(!rekeyed || security_sessions.state == SESSION_WRSP_SENT, "a new key means an answered WAKE");
  }
  return 0;
}
