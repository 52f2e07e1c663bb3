// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>

#include "support/captured.h"
#include "support/heap.h"
#include "support/sessions.h"
#include "support/working_directory.h"

namespace {

using namespace libsec::test;

class KeyFile : public SessionTest {
 protected:
  // session_init() with a key file of this content.
  int32_t load(const std::string &content) {
    directory.write("publickeys.dat", content);
    return init();
  }

  int32_t init() {
    int32_t result = 7;
    EXPECT_EQ(captured([&] { result = session_init(0); }), "");
    return result;
  }

  void expect_key(const bytes &expected_modulus, const bytes &expected_exponent) {
    EXPECT_EQ(full_encryption, 1u);
    EXPECT_EQ(to_hex(value_of(live.rsa_n)), to_hex(expected_modulus));
    EXPECT_EQ(to_hex(value_of(live.rsa_e, 3)), to_hex(expected_exponent));
    EXPECT_EQ(value_of(live.g, 1), bytes{4});
  }

  void expect_nothing_loaded() {
    EXPECT_EQ(full_encryption, 0u);
    EXPECT_EQ(live.rsa_n.limb_count, 0);
    EXPECT_EQ(live.rsa_e.limb_count, 0);
    EXPECT_EQ(live.g.limb_count, 0);
  }

  working_directory directory;
  security_session &live = security_sessions;
  const std::string n = std::string("PublicKeyN=") + vectors::modulus;
  const std::string e = "PublicKeyE=010001";
  const bytes modulus = from_hex(vectors::modulus);
  const bytes f4 = {1, 0, 1};
};

// A modulus of 128 bytes with these in front.
bytes starting_with(bytes front) {
  front.resize(128);
  return front;
}

TEST_F(KeyFile, ModulusExponentAndGeneratorAreLoadedIntoTheLiveSession) {
  EXPECT_EQ(load(n + "\n" + e + "\n"), 0);
  expect_key(modulus, f4);
  EXPECT_EQ(security_session_tmp.rsa_n.limb_count, 0);
  EXPECT_EQ(live.state, uint32_t{SESSION_DORMANT});
}

TEST_F(KeyFile, TheOptionsChangeNothing) {
  directory.write("publickeys.dat", n + "\n" + e + "\n");
  EXPECT_EQ(session_init(-1), 0);
  expect_key(modulus, f4);
}

TEST_F(KeyFile, AMissingFileIsAFailureThatChangesNothing) {
  EXPECT_EQ(init(), -1);
  expect_nothing_loaded();
}

TEST_F(KeyFile, AMissingFileLeavesAnEarlierKeyInPlace) {
  ASSERT_EQ(load(n + "\n" + e + "\n"), 0);
  working_directory elsewhere;
  EXPECT_EQ(init(), -1);
  expect_key(modulus, f4);
}

TEST_F(KeyFile, ADirectoryInTheFilesPlaceCountsAsAFileWithoutKeys) {
  ASSERT_EQ(mkdir("publickeys.dat", 0700), 0);
  EXPECT_EQ(init(), 0);
  expect_key(bytes(128), bytes(3));
}

TEST_F(KeyFile, TheLastLineNeedsNoEnd) {
  EXPECT_EQ(load(n + "\n" + e), 0);
  expect_key(modulus, f4);
  EXPECT_EQ(load(e + "\n" + n), 0);
  expect_key(modulus, f4);
}

TEST_F(KeyFile, DigitsMayBeUpperOrLowerCase) {
  EXPECT_EQ(load("PublicKeyN=aBcDeF0123456789\nPublicKeyE=Ff00fF\n"), 0);
  expect_key(starting_with({0xab, 0xcd, 0xef, 0x01, 0x23, 0x45, 0x67, 0x89}), {0xff, 0x00, 0xff});
}

TEST_F(KeyFile, EveryOtherCharacterCountsAsZero) {
  EXPECT_EQ(load("PublicKeyN=1g@GzA/::1`f\x80"
                 "2\xff\n3 4\t\n"
                 "PublicKeyE=1-+2 3\n"),
            0);
  expect_key(starting_with({0x10, 0x00, 0x0a, 0x00, 0x01, 0x0f, 0x02, 0x00}), {0x10, 0x02, 0x03});
}

TEST_F(KeyFile, AModulusOf254DigitsLeavesTheLastByteZero) {
  const std::string digits(254, '7');
  for (const char *end : {"\n", ""}) {
    EXPECT_EQ(load("PublicKeyN=" + digits + end + (*end != 0 ? e : "")), 0);
    bytes expected(128, 0x77);
    expected[127] = 0;
    EXPECT_EQ(to_hex(value_of(live.rsa_n)), to_hex(expected));
  }
}

TEST_F(KeyFile, AnExponentOfFiveDigitsIsPairedFromTheLeft) {
  EXPECT_EQ(load(n + "\nPublicKeyE=10001\n"), 0);
  expect_key(modulus, {0x10, 0x00, 0x10});
}

TEST_F(KeyFile, AnOddDigitAtTheEndOfTheFileIsDropped) {
  EXPECT_EQ(load(n + "\nPublicKeyE=10001"), 0);
  expect_key(modulus, {0x10, 0x00, 0x00});
}

TEST_F(KeyFile, AnExponentOfSevenDigitsAndItsNewlineAreFourPairsAndSkipped) {
  EXPECT_EQ(load(n + "\n" + e + "\nPublicKeyE=0300000\n"), 0);
  expect_key(modulus, f4);
  EXPECT_EQ(load(n + "\n" + e + "\nPublicKeyE=0300000"), 0) << "without a newline they are three";
  expect_key(modulus, {0x03, 0x00, 0x00});
}

TEST_F(KeyFile, LinesOfOtherKindsAreSkipped) {
  EXPECT_EQ(load("# keys\n\npublickeyN=" + std::string(20, 'f') + "\n PublicKeyN=ff\nPublicKeyN:ff\nPublicKey\n" + n +
                 "\n\n" + e + "\nPublicKeyD=ff\nPUBLICKEYE=030303\n"),
            0);
  expect_key(modulus, f4);
}

TEST_F(KeyFile, ALaterLineOverwritesOnlyTheBytesThatItHas) {
  EXPECT_EQ(load(n + "\n" + e + "\nPublicKeyN=ffee\nPublicKeyE=03"), 0);
  bytes expected = modulus;
  expected[0] = 0xff;
  expected[1] = 0xee;
  expect_key(expected, {0x03, 0x00, 0x01});
}

TEST_F(KeyFile, NothingIsReadFromTheLineBefore) {
  // A short line behind a long one: what stands behind its end must not count.
  EXPECT_EQ(load("# " + std::string(200, 'f') + "\n" + e + "\nPublicKeyN=12\n"), 0);
  expect_key(starting_with({0x12, 0x00}), f4);
}

TEST_F(KeyFile, AFileWithoutKeysSwitchesEncryptionOnAndLoadsZeros) {
  EXPECT_EQ(load(""), 0);
  expect_key(bytes(128), bytes(3));
}

TEST_F(KeyFile, BytesThatNoLineWroteAreZeroAlsoTheSecondTime) {
  ASSERT_EQ(load(n + "\n" + e + "\n"), 0);
  EXPECT_EQ(load("PublicKeyN=01\n"), 0);
  expect_key(starting_with({1, 0}), bytes(3));
}

TEST_F(KeyFile, ACommentOf300CharactersBeforeTheKeysStopsTheLoading) {
  EXPECT_EQ(load("#" + std::string(299, ' ') + "\n" + n + "\n" + e + "\n"), 0);
  expect_nothing_loaded();
}

TEST_F(KeyFile, ACommentOf300CharactersAfterTheKeysStopsTheLoadingToo) {
  EXPECT_EQ(load(n + "\n" + e + "\n#" + std::string(299, ' ')), 0);
  expect_nothing_loaded();
}

TEST_F(KeyFile, ALineMayHave257CharactersAfterItsEleventhAndNotOneMore) {
  EXPECT_EQ(load(std::string(11 + 258, '#') + "\n" + n + "\n" + e + "\n"), 0);
  expect_nothing_loaded();
  EXPECT_EQ(load(std::string(11 + 257, '#') + "\n" + n + "\n" + e + "\n"), 0);  // 258 with its newline
  expect_nothing_loaded();
  EXPECT_EQ(load(std::string(11 + 256, '#') + "\n" + n + "\n" + e + "\n"), 0);
  expect_key(modulus, f4);
}

TEST_F(KeyFile, AModulusOf257DigitsIsTakenWithoutANewlineOnly) {
  EXPECT_EQ(load(e + "\n" + n + "0\n"), 0);
  expect_nothing_loaded();
  EXPECT_EQ(load(e + "\n" + n + "0"), 0);
  expect_key(modulus, f4);
}

TEST_F(KeyFile, LinesLongerThanAnyBufferStopTheLoading) {
  for (const size_t length : {size_t{1022}, size_t{1023}, size_t{1024}, size_t{1025}, size_t{5000}}) {
    EXPECT_EQ(load(std::string(length, 'P') + "\n" + n + "\n" + e + "\n"), 0);
    expect_nothing_loaded();
  }
}

TEST_F(KeyFile, ACarriageReturnCountsAsTwoDigitsWithTheNewline) {
  // 256 digits and two characters are 129 pairs: a file with foreign line ends loads nothing.
  EXPECT_EQ(load(n + "\r\n" + e + "\r\n"), 0);
  expect_nothing_loaded();
}

TEST_F(KeyFile, ZeroBytesInALineEndItsText) {
  std::string content = n + "\n" + e + "\nPublicKeyE=03";
  content += std::string(1, '\0') + std::string(300, '0') + "\n";
  EXPECT_EQ(load(content), 0);
  expect_key(modulus, {0x03, 0x00, 0x01});
}

TEST_F(KeyFile, AnEmptyNumberOfDigitsLoadsNoByte) {
  EXPECT_EQ(load(n + "\n" + e + "\nPublicKeyN=\nPublicKeyE="), 0);
  expect_key(modulus, f4);
}

int open_descriptors() {
  int count = 0;
  for (int descriptor = 0; descriptor < 256; ++descriptor) count += fcntl(descriptor, F_GETFD) != -1;
  return count;
}

TEST_F(KeyFile, TheFileIsClosedAfterwards) {
  const int before = open_descriptors();
  EXPECT_EQ(load(n + "\n" + e + "\n"), 0);
  EXPECT_EQ(load(""), 0);
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(KeyFile, TheFileStaysOpenAfterALineThatIsTooLong) {
  const int before = open_descriptors();
  EXPECT_EQ(load(std::string(300, '#') + "\n" + n + "\n"), 0);
  EXPECT_EQ(open_descriptors(), before + 1);
}

TEST_F(KeyFile, LoadingAKeyDropsTheCacheOfTheModulusBefore) {
  ASSERT_EQ(num_lset(&live.rr_n, 5), 0);
  EXPECT_EQ(load(n + "\n" + e + "\n"), 0);
  EXPECT_EQ(live.rr_n.limb_count, 0);
}

TEST_F(KeyFile, WithoutMemoryNoKeyIsLoadedAndEncryptionStaysOn) {
  directory.write("publickeys.dat", n + "\n" + e + "\n");
  for (int first_failure = 0;; ++first_failure) {
    reset_sessions();
    int32_t result = 7;
    bool failed = false;
    {
      test::heap_watch heap(first_failure);
      result = session_init(0);
      failed = heap.allocations() > first_failure;
    }
    EXPECT_EQ(full_encryption, 1u);
    if (!failed) {
      EXPECT_EQ(result, 0);
      EXPECT_GE(first_failure, 3) << "modulus, exponent and generator need memory each";
      return;
    }
    EXPECT_EQ(result, -1) << first_failure;
    EXPECT_EQ(live.rsa_n.limb_count, 0) << first_failure;
  }
}

}  // namespace
