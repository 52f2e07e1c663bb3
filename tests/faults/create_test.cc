// SPDX-License-Identifier: MIT
// ZOLT_create() while memory, and every system call of it, fails at its first use, its second, and so on.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "faults/failing_heap.h"
#include "support/captured.h"
#include "support/loopback.h"
#include "support/private_network.h"
#include "support/sessions.h"
#include "support/working_directory.h"

namespace libsec::test {
namespace {

class CreateUnderFaults : public SessionTest {
 protected:
  void SetUp() override {
    NEEDS_PRIVATE_NETWORK();
    directory.write("publickeys.dat", key_file());
    descriptors_before = open_descriptors();
  }

  static void release(zolt_context *context) {
    close(context->tcp_listen_socket);
    close(context->udp_socket);
    ZOLT_destroy(context);
  }

  // Nothing is left of what failed, and the next creation works.
  void expect_recovery() {
    EXPECT_EQ(open_descriptors(), descriptors_before);
    reset_sessions();
    zolt_context *context = ZOLT_create();
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(to_hex(value_of(security_sessions.rsa_n)), to_hex(from_hex(vectors::modulus)));
    release(context);
    EXPECT_EQ(open_descriptors(), descriptors_before);
  }

  // Creates while the hook, which counts `uses` up, lets use number `failing` fail.
  void expect_failures(int expected_uses, const std::string &printed, bool survives) {
    for (failing = 0;; ++failing) {
      for (error = 1; error <= ENOTCONN; ++error) {
        uses = 0;
        reset_sessions();
        zolt_context *context = nullptr;
        const std::string output = captured([&] { context = ZOLT_create(); });
        const bool reached = uses > failing;
        ASSERT_EQ(context != nullptr, survives || !reached) << failing << " " << std::strerror(error);
        EXPECT_EQ(output, reached ? printed_at(printed) : "");
        if (context != nullptr) release(context);
        if (!reached) {
          EXPECT_EQ(uses, expected_uses);
        }
        uses = failing + 1;  // the next creation meets no failure
        expect_recovery();
        if (!reached) return;
      }
    }
  }
  // "first|second": what the failure of each use prints.
  std::string printed_at(const std::string &printed) const {
    std::string rest = printed;
    for (int i = 0; i < failing && rest.find('|') != std::string::npos; ++i) rest = rest.substr(rest.find('|') + 1);
    return rest.substr(0, rest.find('|'));
  }
  bool hit() { return uses++ == failing; }

  working_directory directory;
  hooked_calls calls;
  size_t descriptors_before = 0;
  int uses = 0;
  int failing = -1;
  int error = 0;
};

TEST_F(CreateUnderFaults, MemoryMissing) {
  failing_heap heap(calls);
  for (const how_long length : both_lengths) {
    for (int index = 0;; ++index) {
      SCOPED_TRACE(index);
      ASSERT_LT(index, 100);
      reset_sessions();
      zolt_context *context = nullptr;
      const std::string output = captured([&] { heap.run(index, length, [&] { context = ZOLT_create(); }); });
      EXPECT_EQ(output, "");
      EXPECT_EQ(context == nullptr, index == 0);  // only the context itself is worth failing for
      const bool reached = heap.failed();
      if (reached && index > 0) {
        // No key is better than half of one: no signature passes, and no plain packet either.
        EXPECT_EQ(security_sessions.rsa_n.limb_count, 0);
        EXPECT_EQ(full_encryption, 1u);
      }
      if (context != nullptr) release(context);
      expect_recovery();
      if (!reached) break;
    }
  }
  reset_sessions();
  EXPECT_EQ(heap.held(), 0);
}

TEST_F(CreateUnderFaults, SocketFails) {
  calls->socket = [&](int a, int b, int c) { return hit() ? fail(error) : real_socket(a, b, c); };
  expect_failures(2, "", false);
}

TEST_F(CreateUnderFaults, BindFails) {
  calls->bind = [&](int a, const sockaddr *b, socklen_t c) { return hit() ? fail(error) : real_bind(a, b, c); };
  expect_failures(2, "", false);
}

TEST_F(CreateUnderFaults, SetsockoptFails) {
  calls->setsockopt = [&](int a, int b, int c, const void *d, socklen_t e) {
    return hit() ? fail(error) : real_setsockopt(a, b, c, d, e);
  };
  expect_failures(2, "", false);
}

// A socket is worth more than its close-on-exec mark.
TEST_F(CreateUnderFaults, FcntlFails) {
  calls->fcntl = [&](int a, int b, long c) { return hit() ? fail(error) : real_fcntl(a, b, c); };
  expect_failures(2, "", true);
}

TEST_F(CreateUnderFaults, GetsockoptFails) {
  calls->getsockopt = [&](int a, int b, int c, void *d, socklen_t *e) {
    return hit() ? fail(error) : real_getsockopt(a, b, c, d, e);
  };
  expect_failures(2, "Couldn't get the receive buffer length\n|Couldn't get the send buffer length\n", true);
}

// Without its key file the plug-in starts all the same, open to everybody, as if there were none.
TEST_F(CreateUnderFaults, FopenFails) {
  const auto failing_fopen = [&](const char *path, const char *mode) {
    if (!hit()) return real_fopen(path, mode);
    errno = error;
    return static_cast<FILE *>(nullptr);
  };
  for (error = 1; error <= ENOTCONN; ++error) {
    uses = failing = 0;
    reset_sessions();
    calls->fopen = failing_fopen;
    zolt_context *context = ZOLT_create();
    calls->fopen = nullptr;
    EXPECT_EQ(uses, 1);
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(full_encryption, 0u);
    EXPECT_EQ(security_sessions.rsa_n.limb_count, 0);
    release(context);
    expect_recovery();
  }
}

// What was read to its end is good, whatever the end says.
TEST_F(CreateUnderFaults, FcloseFails) {
  for (error = 1; error <= ENOTCONN; ++error) {
    uses = failing = 0;
    reset_sessions();
    calls->fclose = [&](FILE *stream) {
      real_fclose(stream);
      return hit() ? fail(error) : 0;
    };
    zolt_context *context = ZOLT_create();
    calls->fclose = nullptr;
    EXPECT_EQ(uses, 1);
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(full_encryption, 1u);
    EXPECT_EQ(to_hex(value_of(security_sessions.rsa_n)), to_hex(from_hex(vectors::modulus)));
    release(context);
    expect_recovery();
  }
}

// No hook: the system itself has no descriptor left, for the first socket, the second, the key file.
TEST_F(CreateUnderFaults, DescriptorsRunOut) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const int lowest_free = real_fcntl(0, F_DUPFD, 3);
  real_close(lowest_free);
  for (int room = 0; room <= 3; ++room) {
    reset_sessions();
    rlimit tight = before;
    tight.rlim_cur = static_cast<rlim_t>(lowest_free + room);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
    zolt_context *context = ZOLT_create();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(context != nullptr, room >= 2);
    EXPECT_EQ(full_encryption, room >= 3 ? 1u : 0u);  // the third is the key file's
    if (context != nullptr) release(context);
    expect_recovery();
  }
}

}  // namespace
}  // namespace libsec::test
