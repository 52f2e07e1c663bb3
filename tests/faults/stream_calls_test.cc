// SPDX-License-Identifier: MIT
// Streams that fail or bring only a part: the key file, and what sha256_file() reads.
#include <libsec/crypto.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "faults/failing_heap.h"
#include "support/protocol_test.h"
#include "support/working_directory.h"

namespace libsec::test {
namespace {

constexpr int stream_errors[] = {EINTR, EAGAIN, EIO, ENOMEM, EBADF};

class KeyFileCalls : public ProtocolTest {
 protected:
  KeyFileCalls() { directory.write("publickeys.dat", key_file()); }

  // Reads the key file as ZOLT_create() does, then tells whether a WAKE that is signed with its key opens
  // a session.
  bool opens_a_session() {
    reset_sessions();
    EXPECT_EQ(session_init(0), 0);
    EXPECT_EQ(full_encryption, 1u);  // closed, rather than open with half of a key
    peer.send(from_hex(vectors::wake_key_is_gx));
    receive();
    const bool answered = peer.has_received();
    while (peer.has_received()) peer.receive();
    EXPECT_EQ(security_sessions.state, uint32_t{answered ? SESSION_WRSP_SENT : SESSION_WAKE_ADMITTED});
    return answered;
  }

  working_directory directory;
};

TEST_F(KeyFileCalls, AKeyThatFgetsDidNotBringWholeOpensNothing) {
  ASSERT_TRUE(opens_a_session());
  for (const how_long length : both_lengths) {
    for (int failing = 0;; ++failing) {
      for (const int error : stream_errors) {
        SCOPED_TRACE(std::to_string(failing) + ": " + std::strerror(error));
        int uses = 0;
        calls->fgets = [&](char *line, int size, FILE *stream) {
          const int use = uses++;
          if (use != failing && (use < failing || length == how_long::once)) return real_fgets(line, size, stream);
          errno = error;
          return static_cast<char *>(nullptr);
        };
        const bool opened = opens_a_session();
        calls->fgets = nullptr;
        // The modulus, the exponent, the end; a failure in place of the end is one.
        EXPECT_EQ(opened, failing >= 2);
        EXPECT_EQ(uses > failing, failing < 3);
        EXPECT_TRUE(opens_a_session());
      }
      if (failing == 3) break;
    }
  }
}

// A read that was interrupted may hand out the beginning of a line.
TEST_F(KeyFileCalls, APartOfALineOpensNothing) {
  const std::string text = key_file();
  const size_t lines[] = {text.find('\n') + 1, text.size() - text.find('\n') - 1};
  for (int cut = 0; cut < 2; ++cut) {
    for (size_t length = 1; length <= lines[cut]; ++length) {
      SCOPED_TRACE(std::to_string(cut) + ": " + std::to_string(length));
      int uses = 0;
      calls->fgets = [&](char *line, int size, FILE *stream) {
        return real_fgets(line, uses++ == cut ? static_cast<int>(length) + 1 : size, stream);
      };
      // Only the end of the line may be missing.
      EXPECT_EQ(opens_a_session(), length + 1 >= lines[cut]);
      calls->fgets = nullptr;
    }
  }
}

TEST(FileDigestCalls, AReadErrorEndsTheInputAsTheEndOfTheFileDoes) {
  hooked_calls calls;
  bytes content(1000);
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<uint8_t>(i * 7);
  FILE *file = tmpfile();
  ASSERT_NE(file, nullptr);
  ASSERT_EQ(fwrite(content.data(), 1, content.size(), file), content.size());
  // Read number `failing` brings only so many of its bytes.
  for (size_t failing = 0; failing <= content.size() / SHA256_BLOCK_BYTES + 1; ++failing) {
    for (const size_t brought : {size_t{0}, size_t{1}, size_t{63}}) {
      size_t uses = 0, read = 0;
      calls->fread = [&](void *to, size_t size, size_t count, FILE *stream) {
        const size_t got = real_fread(to, size, count, stream);
        read += uses == failing ? std::min(got, brought) : got;
        if (uses++ != failing) return got;
        errno = EIO;
        return std::min(got, brought);
      };
      bytes digest(SHA256_DIGEST_BYTES), expected(SHA256_DIGEST_BYTES);
      rewind(file);
      sha256_file(file, digest.data());
      calls->fread = nullptr;
      EXPECT_EQ(read, std::min(content.size(), failing * SHA256_BLOCK_BYTES + brought));
      sha256(content.data(), static_cast<uint32_t>(read), expected.data());
      EXPECT_EQ(to_hex(digest), to_hex(expected)) << failing << " " << brought;
    }
  }
  fclose(file);
}

// The kernel's random bytes, from where they can be had: without any the clock alone must do.
TEST(KernelRandomCalls, ADrawNeverFailsForWantOfTheKernel) {
  hooked_calls calls;
  reset_sessions();
  int uses = 0, failing = 0, error = 0;
  const auto hit = [&] { return uses++ == failing; };
  const auto draws = [&] {
    uses = 0;
    EXPECT_EQ(session_generate_random(&security_sessions, 128), 0);
    return to_hex(value_of(security_sessions.x));
  };
  std::string before = draws();
  const auto expect_another = [&] {
    const std::string drawn = draws();
    EXPECT_NE(drawn, before);
    before = drawn;
    return uses > failing;
  };
  const size_t descriptors = open_descriptors();
  calls->getrandom = [&](void *, size_t, unsigned) { return fail(ENOSYS); };
  for (const int one : {EINTR, EAGAIN, EMFILE, ENFILE, ENOMEM, ENOENT, EACCES, EIO, EBADF}) {
    error = one;
    calls->open = [&](const char *path, int flags, int mode) {
      return hit() ? fail(error) : real_open(path, flags, mode);
    };
    for (failing = 0; expect_another(); ++failing) ASSERT_LT(failing, 100);
    EXPECT_EQ(failing, 16);
    calls->open = nullptr;
    // Interrupted reads are repeated; every other failure ends what the device gives to one piece.
    calls->read = [&](int d, void *to, size_t n) {
      return hit() ? fail(error) : real_read(d, to, std::min<size_t>(n, 100));
    };
    for (failing = 0; expect_another(); failing += 7) ASSERT_LT(failing, 100);
    calls->read = nullptr;
    EXPECT_EQ(open_descriptors(), descriptors);
  }
  reset_sessions();
}

}  // namespace
}  // namespace libsec::test
