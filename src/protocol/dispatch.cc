// SPDX-License-Identifier: MIT
// Every received packet goes to the handler of its kind.
#include <libsec/packet.h>

#include <cstdio>

#include "base/bytes.h"
#include "protocol/handlers.h"

namespace {

constexpr packet_handler *none = nullptr;

// The index is the state that session_get() has given to the packet's session.
constexpr packet_handler *handlers[] = {
    none,                  // 0: dormant
    libsec::handle_wake,   // 1: PACKET_WAKE
    none,                  // 2: WRSP sent
    libsec::handle_lgin,   // 3: PACKET_LGIN
    none,                  // 4: ACK1 sent
    libsec::handle_encr,   // 5: PACKET_ENCR
    libsec::handle_lout,   // 6: PACKET_LOUT
    none,                  // 7
    libsec::pass_through,  // 8: PACKET_OTHER
};
static_assert(sizeof handlers / sizeof handlers[0] == PACKET_OTHER + 1);
static_assert(handlers[PACKET_WAKE] == libsec::handle_wake && handlers[PACKET_LGIN] == libsec::handle_lgin &&
              handlers[PACKET_ENCR] == libsec::handle_encr && handlers[PACKET_LOUT] == libsec::handle_lout &&
              handlers[PACKET_OTHER] == libsec::pass_through);

bool is_for_host(uint32_t state) {
  return state == SESSION_DATA_FLOWING || state == PACKET_OTHER;
}

// Runs the packet's handler.
int32_t process(zolt_context *context) {
  context->packet_failed = 1;
  if (session_get(&context->session, context->packet, context->data_length) != 0) {
    return libsec::refuse(context, "Error getting session");
  }
  // cppcheck-suppress AssignmentIntegerToAddress ; the elements are pointers to functions
  packet_handler *handler = handlers[context->session->state];
  if (handler == nullptr) return 0;
  if (handler(context) != 0) return -1;
  context->packet_failed = 0;
  // The handler may have moved the context to the live session, and that to another state.
  return is_for_host(context->session->state) ? 0 : -1;
}

}  // namespace

int32_t libsec::refuse(zolt_context *context, const char *text) {
  std::puts(text);
  context->tcp_session_active = 0;
  return -1;
}

int32_t libsec::pass_through(zolt_context *context) {
  context->data = context->packet;
  context->encrypt_replies = 0;
  return 0;
}

int32_t packet_process_init(zolt_context * /*context*/, int32_t options) {
  (void)session_init(options);  // without a key file the plug-in starts all the same
  return 0;
}

int32_t packet_process(zolt_context *context) {
  const int32_t result = process(context);
  libsec::wipe_stack_below();
  return result;
}
