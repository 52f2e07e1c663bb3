// SPDX-License-Identifier: MIT
// ZOLT_create and ZOLT_destroy, on the real port in a network of the program's own.
#include <fcntl.h>
#include <libsec/packet.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "support/calls.h"
#include "support/captured.h"
#include "support/loopback.h"
#include "support/private_network.h"
#include "support/sessions.h"
#include "support/working_directory.h"

namespace libsec::test {
namespace {

sockaddr_in port(uint16_t number) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(number);
  return address;
}

sockaddr_in bound_address(int descriptor) {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  EXPECT_EQ(getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &length), 0);
  return address;
}

int int_option(int descriptor, int option) {
  int value = -1;
  socklen_t length = sizeof value;
  EXPECT_EQ(real_getsockopt(descriptor, SOL_SOCKET, option, &value, &length), 0);
  return value;
}

class Context : public SessionTest {
 protected:
  void SetUp() override {
    NEEDS_PRIVATE_NETWORK();
    descriptors_before = open_descriptors();
  }

  void TearDown() override { close_all(); }

  // Creates a context that TearDown() releases.
  zolt_context *create(const std::string &expected_output = "") {
    zolt_context *context = nullptr;
    EXPECT_EQ(captured([&] { context = ZOLT_create(); }), expected_output);
    if (context != nullptr) created.push_back(context);
    return context;
  }

  void close_all() {
    for (zolt_context *context : created) {
      close(context->tcp_listen_socket);
      close(context->udp_socket);
      ZOLT_destroy(context);
    }
    created.clear();
  }

  // A creation that fails leaves nothing behind: no message, no descriptor, no memory.
  void expect_failure() {
    void *allocated = nullptr;
    bool released = false;
    calls->malloc = [&](size_t length) {
      void *memory = real_malloc(length);
      if (length == sizeof(zolt_context)) allocated = memory;
      return memory;
    };
    calls->free = [&](void *memory) {
      if (memory != nullptr && memory == allocated) released = true;
      real_free(memory);
    };
    zolt_context *context = create();
    calls->malloc = nullptr;
    calls->free = nullptr;
    EXPECT_EQ(context, nullptr);
    EXPECT_NE(allocated, nullptr);
    EXPECT_TRUE(released);
    EXPECT_EQ(open_descriptors(), descriptors_before);
    EXPECT_EQ(full_encryption, 0u);
  }

  working_directory directory;
  hooked_calls calls;
  size_t descriptors_before = 0;
  std::vector<zolt_context *> created;
};

TEST_F(Context, BothSocketsAreBoundToPort161OfAllAddresses) {
  zolt_context *context = create();
  ASSERT_NE(context, nullptr);
  for (const int descriptor : {context->tcp_listen_socket, context->udp_socket}) {
    const sockaddr_in address = bound_address(descriptor);
    EXPECT_EQ(address.sin_family, AF_INET);
    EXPECT_EQ(ntohs(address.sin_port), 161);
    EXPECT_EQ(address.sin_addr.s_addr, htonl(INADDR_ANY));
    EXPECT_EQ(int_option(descriptor, SO_REUSEADDR), 1);
  }
  EXPECT_EQ(int_option(context->tcp_listen_socket, SO_TYPE), SOCK_STREAM);
  EXPECT_EQ(int_option(context->udp_socket, SO_TYPE), SOCK_DGRAM);
  EXPECT_EQ(int_option(context->tcp_listen_socket, SO_ACCEPTCONN), 0);  // the receive loop listens
}

TEST_F(Context, TheSocketsAreMadeInOrderWithTheirProtocols) {
  std::vector<std::string> made;
  calls->socket = [&](int domain, int type, int protocol) {
    made.push_back(std::to_string(domain) + " " + std::to_string(type) + " " + std::to_string(protocol));
    return real_socket(domain, type, protocol);
  };
  create();
  EXPECT_EQ(made, (std::vector<std::string>{std::to_string(AF_INET) + " " + std::to_string(SOCK_STREAM) + " 6",
                                            std::to_string(AF_INET) + " " + std::to_string(SOCK_DGRAM) + " 0"}));
}

TEST_F(Context, ANewContextIsClearAndKnowsItsHostFields) {
  calls->malloc = [](size_t length) { return std::memset(real_malloc(length), 0xA5, length); };
  zolt_context *context = create();
  ASSERT_NE(context, nullptr);
  calls->malloc = nullptr;
  EXPECT_STREQ(context->host_name, "localhost");
  EXPECT_EQ(context->host_value, 20000u);
  EXPECT_EQ(context->host_flags, 0u);
  EXPECT_EQ(context->tcp_client_socket, -1);

  // All else is zero, the buffers included.
  zolt_context rest = *context;
  rest.host_name = nullptr;
  rest.host_value = 0;
  rest.tcp_client_socket = rest.tcp_listen_socket = rest.udp_socket = 0;
  const zolt_context zeros{};
  EXPECT_EQ(std::memcmp(rest.packet, zeros.packet, sizeof rest.packet), 0);
  EXPECT_EQ(std::memcmp(rest.receive_chunk, zeros.receive_chunk, sizeof rest.receive_chunk), 0);
  EXPECT_EQ(rest.protocol_version, 0u);
  EXPECT_EQ(rest.packet_failed, 0u);
  EXPECT_EQ(rest.tcp_session_active, 0);
  EXPECT_EQ(rest.transport_is_tcp, 0);
  EXPECT_EQ(std::memcmp(&rest.peer_address, &zeros.peer_address, sizeof rest.peer_address), 0);
  EXPECT_EQ(rest.iteration_time_ms, 0);
  EXPECT_EQ(rest.total_receive_time_ms, 0u);
  EXPECT_EQ(rest.data_length, 0);
  EXPECT_EQ(rest.encrypt_replies, 0u);
  EXPECT_EQ(rest.receive_timer.seconds, 0);
  EXPECT_EQ(rest.session, nullptr);
  EXPECT_EQ(rest.data, nullptr);
}

TEST_F(Context, TheOverridePortIsNotLookedAt) {
  EXPECT_EQ(override_port, 0);
  override_port = 9999;
  zolt_context *context = create();
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(ntohs(bound_address(context->tcp_listen_socket).sin_port), 161);
  EXPECT_EQ(ntohs(bound_address(context->udp_socket).sin_port), 161);
  EXPECT_EQ(override_port, 9999);
  override_port = 0;
}

TEST_F(Context, APortThatSomeoneHoldsFailsTheCreation) {
  for (const int type : {SOCK_STREAM, SOCK_DGRAM}) {
    const int holder = socket(AF_INET, type, 0);
    const sockaddr_in address = port(161);
    ASSERT_EQ(bind(holder, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    descriptors_before = open_descriptors();
    expect_failure();
    close(holder);
  }
}

// A host that replaces malloc() gets to see the record; compilers like to make calloc() of it.
TEST_F(Context, TheRecordComesFromMalloc) {
  int records = 0;
  calls->malloc = [&](size_t length) {
    records += length == sizeof(zolt_context) ? 1 : 0;
    return real_malloc(length);
  };
  calls->calloc = [](size_t count, size_t length) {
    EXPECT_LT(count * length, sizeof(zolt_context));
    return real_calloc(count, length);
  };
  EXPECT_NE(create(), nullptr);
  calls->malloc = nullptr;
  calls->calloc = nullptr;
  EXPECT_EQ(records, 1);
}

TEST_F(Context, WithoutMemoryCreationFailsWithoutAMessage) {
  int refused = 0;
  calls->malloc = [&](size_t length) -> void * {
    if (length != sizeof(zolt_context)) return real_malloc(length);
    ++refused;
    return nullptr;
  };
  zolt_context *context = create();
  calls->malloc = nullptr;
  EXPECT_EQ(context, nullptr);
  EXPECT_EQ(refused, 1);
  EXPECT_EQ(open_descriptors(), descriptors_before);
}

TEST_F(Context, ASocketThatCannotBeHadFailsTheCreation) {
  for (int nth = 0; nth < 2; ++nth) {
    calls->socket = [nth, n = 0](int domain, int type, int protocol) mutable {
      return n++ == nth ? fail(EMFILE) : real_socket(domain, type, protocol);
    };
    expect_failure();
  }
}

TEST_F(Context, ASocketWhoseAddressCannotBeReusedFailsTheCreation) {
  for (int nth = 0; nth < 2; ++nth) {
    calls->setsockopt = [nth, n = 0](int d, int level, int option, const void *value, socklen_t length) mutable {
      EXPECT_EQ(level, SOL_SOCKET);
      EXPECT_EQ(option, SO_REUSEADDR);
      return n++ == nth ? fail(ENOPROTOOPT) : real_setsockopt(d, level, option, value, length);
    };
    expect_failure();
  }
}

TEST_F(Context, ASocketThatCannotBeBoundFailsTheCreation) {
  for (int nth = 0; nth < 2; ++nth) {
    calls->bind = [nth, n = 0](int descriptor, const sockaddr *address, socklen_t length) mutable {
      return n++ == nth ? fail(EACCES) : real_bind(descriptor, address, length);
    };
    expect_failure();
  }
}

TEST_F(Context, SocketsThatCannotBeMarkedAsClosedOnExecServeAllTheSame) {
  calls->fcntl = [](int descriptor, int command, long argument) {
    return command == F_SETFD ? fail(EINVAL) : real_fcntl(descriptor, command, argument);
  };
  EXPECT_NE(create(), nullptr);
}

TEST_F(Context, BufferLengthsThatCannotBeReadAreOnlyReported) {
  int asked = 0;
  calls->getsockopt = [&](int, int level, int option, void *, socklen_t *length) {
    EXPECT_EQ(level, SOL_SOCKET);
    EXPECT_EQ(option, asked == 0 ? SO_RCVBUF : SO_SNDBUF);
    EXPECT_EQ(*length, 4u);
    ++asked;
    return fail(ENOPROTOOPT);
  };
  EXPECT_NE(create("Couldn't get the receive buffer length\nCouldn't get the send buffer length\n"), nullptr);
  EXPECT_EQ(asked, 2);
}

TEST_F(Context, TheSocketsAreClosedOnExec) {
  zolt_context *context = create();
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(fcntl(context->tcp_listen_socket, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  EXPECT_EQ(fcntl(context->udp_socket, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(Context, TheSocketsAreMovedAboveTheStandardStreams) {
  const int saved = fcntl(STDIN_FILENO, F_DUPFD, 10);
  int lowest = 0;
  calls->socket = [&](int domain, int type, int protocol) {
    real_close(STDIN_FILENO);
    const int descriptor = real_socket(domain, type, protocol);
    if (descriptor == STDIN_FILENO) ++lowest;
    return descriptor;
  };
  zolt_context *context = create();
  calls->socket = nullptr;
  EXPECT_FALSE(is_open(STDIN_FILENO));
  if (saved != -1) {
    dup2(saved, STDIN_FILENO);
    close(saved);
  }
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(lowest, 2);
  EXPECT_GT(context->tcp_listen_socket, STDERR_FILENO);
  EXPECT_GT(context->udp_socket, STDERR_FILENO);
}

TEST_F(Context, AMissingKeyFileDoesNotFailTheCreation) {
  EXPECT_NE(create(), nullptr);
  EXPECT_EQ(full_encryption, 0u);
}

TEST_F(Context, TheKeyFileOfTheWorkingDirectoryIsRead) {
  directory.write("publickeys.dat", key_file());
  EXPECT_NE(create(), nullptr);
  EXPECT_EQ(full_encryption, 1u);
  EXPECT_EQ(value_of(security_sessions.rsa_n), from_hex(vectors::modulus));
}

TEST_F(Context, ASecondCreationAfterTheKeyFileChangedVerifiesWithTheNewKeyAlone) {
  // Under the exponent 1, a signature is what it signs. Another modulus also needs another cached constant.
  const auto accepts = [](zolt_context *context, const char *wake) {
    security_sessions.state = SESSION_DORMANT;
    receive(context, from_hex(wake));
    context->peer_address = {AF_INET, htons(9), htonl(INADDR_LOOPBACK), {}};
    captured([&] { EXPECT_EQ(packet_process(context), -1); });
    return security_sessions.state == SESSION_WRSP_SENT;
  };
  directory.write("publickeys.dat", key_file());
  zolt_context *first = create();
  ASSERT_NE(first, nullptr);
  EXPECT_TRUE(accepts(first, vectors::wake));
  EXPECT_FALSE(accepts(first, vectors::wake_raw_digest));

  directory.write("publickeys.dat", std::string("PublicKeyN=") + vectors::prime + "\nPublicKeyE=000001\n");
  zolt_context *second = create();
  ASSERT_NE(second, nullptr);
  EXPECT_FALSE(accepts(second, vectors::wake));
  EXPECT_TRUE(accepts(second, vectors::wake_raw_digest));
}

TEST_F(Context, ProcessInitIgnoresWhatTheSessionLayerSays) {
  EXPECT_EQ(packet_process_init(nullptr, 0), 0);
  EXPECT_EQ(full_encryption, 0u);
  directory.write("publickeys.dat", key_file());
  EXPECT_EQ(packet_process_init(nullptr, 77), 0);
  EXPECT_EQ(full_encryption, 1u);
}

TEST_F(Context, DestroyReturnsZeroAndLeavesEveryDescriptorOpen) {
  zolt_context *context = create();
  ASSERT_NE(context, nullptr);
  created.clear();
  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  context->tcp_client_socket = pair[0];
  context->tcp_session_active = 1;
  const int descriptors[] = {context->tcp_listen_socket, context->udp_socket, pair[0]};
  EXPECT_EQ(ZOLT_destroy(context), 0);
  for (const int descriptor : descriptors) {
    EXPECT_TRUE(is_open(descriptor));
    close(descriptor);
  }
  close(pair[1]);
}

TEST_F(Context, DestroyWipesTheRecordBeforeItReleasesIt) {
  zolt_context *context = create();
  ASSERT_NE(context, nullptr);
  close(context->tcp_listen_socket);
  close(context->udp_socket);
  created.clear();
  std::memset(context, 0x5A, sizeof *context);
  size_t left = sizeof *context;
  calls->free = [&](void *memory) {
    if (memory == context) {
      left = 0;
      for (size_t i = 0; i < sizeof *context; ++i) left += static_cast<uint8_t *>(memory)[i] != 0 ? 1 : 0;
    }
    real_free(memory);
  };
  EXPECT_EQ(ZOLT_destroy(context), 0);
  calls->free = nullptr;
  EXPECT_EQ(left, 0u);
}

TEST_F(Context, DestroyOfNullReturnsZero) {
  EXPECT_EQ(ZOLT_destroy(nullptr), 0);
}

}  // namespace
}  // namespace libsec::test
