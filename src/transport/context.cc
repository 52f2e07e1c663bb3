// SPDX-License-Identifier: MIT
// The plug-in context: creation with its two sockets, and destruction.
#include <libsec/packet.h>
#include <libsec/zolt.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/bytes.h"
#include "base/unistd.h"
#include "transport/sockets.h"

static_assert(sizeof(zolt_address) == sizeof(sockaddr_in) && alignof(zolt_address) == alignof(sockaddr_in) &&
              offsetof(zolt_address, port) == offsetof(sockaddr_in, sin_port) &&
              offsetof(zolt_address, address) == offsetof(sockaddr_in, sin_addr));

uint16_t override_port = 0;

namespace {

void close_if_open(int32_t descriptor) {
  if (descriptor != -1) close(descriptor);
}

// A context under construction: released again unless it is handed out.
class unfinished_context {
 public:
  unfinished_context() : context_(static_cast<zolt_context *>(std::malloc(sizeof(zolt_context)))) {
    if (context_ == nullptr) return;
    std::memset(context_, 0, sizeof *context_);
    context_->tcp_listen_socket = context_->udp_socket = context_->tcp_client_socket = -1;
  }
  unfinished_context(const unfinished_context &) = delete;
  unfinished_context &operator=(const unfinished_context &) = delete;
  ~unfinished_context() {
    if (context_ == nullptr) return;
    close_if_open(context_->tcp_listen_socket);
    close_if_open(context_->udp_socket);
    std::free(context_);
  }
  zolt_context *get() { return context_; }
  zolt_context *release() {
    zolt_context *context = context_;
    context_ = nullptr;
    return context;
  }

 private:
  zolt_context *context_;
};

bool set_reuse_address(int32_t descriptor) {
  const int on = 1;
  return setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0;
}

void warn_if_unknown(int32_t descriptor, int option, const char *text) {
  int bytes = 0;
  socklen_t length = sizeof bytes;
  if (getsockopt(descriptor, SOL_SOCKET, option, &bytes, &length) != 0) std::puts(text);
}

bool bind_port(int32_t descriptor) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(ZOLT_PORT);
  address.sin_addr.s_addr = htonl(INADDR_ANY);
  return bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

// Both openers store the descriptor at once, so that the context under construction owns it.
bool open_tcp(zolt_context *context) {
  const int32_t descriptor = libsec::adopt_descriptor(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  context->tcp_listen_socket = descriptor;
  if (descriptor == -1 || !set_reuse_address(descriptor)) return false;
  // The host's log shows when the system cannot say how much it buffers; nothing depends on the values.
  warn_if_unknown(descriptor, SO_RCVBUF, "Couldn't get the receive buffer length");
  warn_if_unknown(descriptor, SO_SNDBUF, "Couldn't get the send buffer length");
  return bind_port(descriptor);
}

bool open_udp(zolt_context *context) {
  const int32_t descriptor = libsec::adopt_descriptor(socket(AF_INET, SOCK_DGRAM, 0));
  context->udp_socket = descriptor;
  return descriptor != -1 && set_reuse_address(descriptor) && bind_port(descriptor);
}

}  // namespace

zolt_context *ZOLT_create(void) {
  unfinished_context unfinished;
  zolt_context *context = unfinished.get();
  if (context == nullptr) return nullptr;
  context->host_name = "localhost";
  context->host_value = 20000;
  if (!open_tcp(context) || !open_udp(context)) return nullptr;
  if (packet_process_init(context, 0) == -1) return nullptr;
  return unfinished.release();
}

int32_t ZOLT_destroy(zolt_context *context) {
  if (context == nullptr) return 0;
  libsec::secure_zero(context, sizeof *context);
  std::free(context);
  return 0;
}
