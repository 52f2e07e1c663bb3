// SPDX-License-Identifier: MIT
// A context without sockets: what is sent is kept, and time stands still until a target moves it.
#pragma once

#include <libsec/packet.h>
#include <libsec/zolt.h>

#include <memory>

#include "fuzz/target.h"
#include "support/calls.h"
#include "support/fake_clock.h"
#include "support/packets.h"
#include "support/sessions.h"

namespace fuzz {

inline constexpr uint32_t live_id = 0xA1B2C3D4;

class device {
 public:
  device() {
    silence();
    libsec::test::reset_sessions();
    libsec::test::load_test_key(&security_sessions);
    full_encryption = 1;
    context->tcp_listen_socket = 100;
    context->udp_socket = 101;
    context->tcp_client_socket = 102;
    calls->select = [](int, fd_set *, fd_set *, fd_set *, timeval *) { return 1; };
    calls->sendto = [this](int, const void *from, size_t n, int, const sockaddr *, socklen_t) { return keep(from, n); };
    calls->send = [this](int, const void *from, size_t n, int) { return keep(from, n); };
    calls->shutdown = [](int, int) { return 0; };
    calls->close = [](int) { return 0; };
    calls->fcntl = [](int, int, long) { return 0; };
  }
  ~device() { libsec::test::reset_sessions(); }
  device(const device &) = delete;
  device &operator=(const device &) = delete;

  // The live session as a peer with test_key() left it.
  void start_session(uint32_t state) {
    security_sessions.state = state;
    security_sessions.session_id = live_id;
    libsec::test::set_key(&security_sessions, libsec::test::test_key());
    get_timer(&security_sessions.timer, 1);
  }

  // What holds after every packet, whatever it was.
  void check() const {
    require(security_sessions.state <= SESSION_LOUT_ACCEPTED, "the live session is in a known state");
    require(sent.size() <= ZOLT_PACKET_BYTES, "what is sent fits a packet");
    require(context->session == &security_sessions || context->session == &security_session_tmp ||
                context->session == nullptr,
            "the context points at a session record");
  }

  // Serves one packet; 0 means that `data` is for the host.
  int32_t serve(const bytes &packet) {
    sent.clear();
    std::copy(packet.begin(), packet.end(), context->packet);
    context->data_length = static_cast<int32_t>(packet.size());
    const int32_t result = packet_process(context.get());
    require(result == 0 || result == -1, "packet_process() gives 0 or -1");
    if (result == 0) {
      const uint8_t *const end = reinterpret_cast<const uint8_t *>(context.get() + 1);
      require(
          context->data_length >= 0 && context->data >= context->packet && context->data + context->data_length <= end,
          "what the host gets lies inside the context");
      // Every byte can be read: an address that is wrong is AddressSanitizer's to tell.
      for (int32_t i = 0; i < context->data_length; ++i) read_ = static_cast<uint8_t>(read_ + context->data[i]);
    }
    check();
    return result;
  }

  libsec::test::fake_clock clock{1'000'000};
  libsec::test::hooked_calls calls;
  std::unique_ptr<zolt_context> context = libsec::test::make_context();
  bytes sent;

 private:
  ssize_t keep(const void *from, size_t n) {
    const auto *first = static_cast<const uint8_t *>(from);
    sent.assign(first, first + n);
    return static_cast<ssize_t>(n);
  }

  volatile uint8_t read_ = 0;
};

}  // namespace fuzz
