// SPDX-License-Identifier: MIT
// The failures of zolt_failures.tsv: each has its exit status, says the step, what was expected, what is likely
// and what to try, and gives no private key away.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include "support/zolt_program.h"

namespace {

using fake::answer;
using fake::behaviour;
using libsec::test::has;
using libsec::test::outcome;

struct row {
  std::string name;
  int exit = 0;
  std::string device;
  std::string command_line;
  std::string says[4];  // happened, expected, likely, try
};

std::vector<std::string> split(const std::string &line, char at) {
  std::vector<std::string> parts(1);
  for (char each : line) {
    if (each == at)
      parts.emplace_back();
    else
      parts.back() += each;
  }
  return parts;
}

const std::vector<row> &rows() {
  static const std::vector<row> all = [] {
    std::vector<row> found;
    std::ifstream file(ZOLT_FAILURES);
    for (std::string line; std::getline(file, line);) {
      std::vector<std::string> parts = split(line, '\t');
      if (line.starts_with('#') || parts.size() != 8) continue;
      found.push_back({parts[0], std::stoi(parts[1]), parts[2], parts[3], {parts[4], parts[5], parts[6], parts[7]}});
    }
    return found;
  }();
  return all;
}

std::function<void(behaviour &)> packet(answer which, std::function<void(fake::bytes &)> change) {
  return [=](behaviour &how) {
    how.packet = [=](answer kind, fake::bytes &bytes) {
      if (kind == which) change(bytes);
    };
  };
}

std::function<void(behaviour &)> block(answer which) {
  return [=](behaviour &how) {
    how.block = [=](answer kind, fake::bytes &bytes) {
      if (kind == which) bytes[0] ^= 1;
    };
  };
}

std::function<void(behaviour &)> deliver(answer which, std::function<void(fake::delivery &)> change) {
  return [=](behaviour &how) {
    how.deliver = [=](answer kind, int, fake::delivery &delivery) {
      if (kind == which) change(delivery);
    };
  };
}

std::function<void(behaviour &)> value(std::function<fake::bytes(fake::bytes prime)> make) {
  return [=](behaviour &how) { how.public_value = [=](auto &value, auto &prime) { value = make(prime); }; };
}

fake::bytes number(uint8_t last) {
  fake::bytes made(128);
  made.back() = last;
  return made;
}

void close_instead(fake::delivery &how) {
  how.times = 0;
  how.then_close = true;
}

const std::map<std::string, std::function<void(behaviour &)>> devices = {
    {"good", [](behaviour &) {}},
    {"gone", [](behaviour &) {}},
    {"silent", [](behaviour &how) { how.lose = [](const std::string &, int) { return true; }; }},
    {"length", packet(answer::wrsp, [](auto &bytes) { bytes[5]++; })},
    {"session", packet(answer::wrsp, [](auto &bytes) { bytes[15] ^= 1; })},
    {"kind", packet(answer::wrsp, [](auto &bytes) { bytes[0] = 'X'; })},
    {"version", packet(answer::wrsp, [](auto &bytes) { bytes[7] = 1; })},
    {"more", packet(answer::wrsp, [](auto &bytes) { bytes.insert(bytes.end(), 4, 0); })},
    {"dh_gx 0", value([](auto) { return number(0); })},
    {"dh_gx 1", value([](auto) { return number(1); })},
    {"dh_gx p-1", value([](auto prime) {
       prime.back()--;
       return prime;
     })},
    {"dh_gx p", value([](auto prime) { return prime; })},
    {"dh_gx max", value([](auto) { return fake::bytes(128, 0xff); })},
    {"crc of ACK1", block(answer::ack1)},
    {"crc of reply", block(answer::reply)},
    {"half", deliver(answer::wrsp, [](auto &how) { how.cut = 100; })},
    {"late", deliver(answer::wrsp, [](auto &how) { how.delay = std::chrono::milliseconds(800); })},
    {"no reply", deliver(answer::reply, [](auto &how) { how.times = 0; })},
    {"closes at WAKE", deliver(answer::wrsp, close_instead)},
    {"closes at ENCR", deliver(answer::reply, close_instead)},
};

// Files that no test changes, made once.
class Failures : public libsec::test::zolt_program, public testing::WithParamInterface<size_t> {
 protected:
  void SetUp() override {
    ASSERT_EQ(run({"key", "generate", "keys", "-q"}).exit, 0);
    ASSERT_EQ(run({"key", "generate", "other", "-q"}).exit, 0);
    write("empty.pem", "");
    write("text.pem", "no key\n");
    write("text.log", "");
    write("dump.txt", "0000  57 41 4b 45 01 9c 01 00 00 00 00 00 11 22 33 44\n0020  00 04\n");
    // A capture's header, with Ethernet frames; and with a frame that is not there.
    std::string header = std::string("\xd4\xc3\xb2\xa1\2\0\4\0\0\0\0\0\0\0\0\0\0\0\4\0\1\0\0\0", 24);
    write("other.pcap", header);
    write("cut.pcap", header + std::string("\0\0\0\0\0\0\0\0\x40\0\0\0\x40\0\0\0\1\2\3", 19));
    std::string make =
        "cd " + folder_ +
        " && umask 077 && cp keys/private.pem group.pem && cp keys/private.pem world.pem && chmod 640 group.pem && "
        "chmod 604 world.pem && chmod 644 text.log && chmod 600 empty.pem text.pem && openssl pkey -in "
        "keys/private.pem -pubout -out public.pem && "
        "openssl pkey -in keys/private.pem -aes128 -passout pass:secret -out encrypted.pem";
    // What takes longer is made where it is wanted.
    if (line().find("curve.pem") != std::string::npos)
      make += " && openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out curve.pem";
    if (line().find("long.pem") != std::string::npos)
      make += " && openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out long.pem";
    if (line().find("three.pem") != std::string::npos)
      make +=
          " && openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:1024 -pkeyopt rsa_keygen_pubexp:3 -out "
          "three.pem";
    ASSERT_EQ(std::system(("(" + make + ") 2>/dev/null").c_str()), 0);
  }

  static const row &chosen() { return rows()[GetParam()]; }
  static const std::string &line() { return chosen().command_line; }

  // No line of a private key may be in what is said.
  void expect_no_key(const std::string &text) const {
    for (const char *name : {"/keys/private.pem", "/other/private.pem"}) {
      std::istringstream lines(read(folder_ + name));
      for (std::string each; std::getline(lines, each);) {
        bool is_secret = each.size() > 20 && !each.starts_with("-----");
        EXPECT_FALSE(is_secret && has(text, each)) << text;
      }
    }
  }
};

// The text behind a label, to the end of its line.
std::string behind(const std::string &label, const std::string &text) {
  size_t at = text.find(label);
  if (at == std::string::npos) return {};
  at += label.size();
  return text.substr(at, text.find('\n', at) - at);
}

TEST_P(Failures, HaveTheirStatusAndTheirTexts) {
  std::unique_ptr<fake::device> there;
  std::string port;
  if (chosen().device != "-") {
    ASSERT_TRUE(devices.contains(chosen().device)) << chosen().device;
    behaviour how;
    devices.at(chosen().device)(how);
    there = std::make_unique<fake::device>(read(folder_ + "/keys/publickeys.dat"), how);
    port = std::to_string(there->port());
    if (chosen().device == "gone") there.reset();
  }
  auto with_port = [&](std::string text) {
    for (size_t at = 0; (at = text.find("PORT", at)) != std::string::npos; at++)
      if (!port.empty()) text.replace(at, 4, port);
    return text;
  };
  std::vector<std::string> arguments = split(with_port(line()), ' ');
  outcome made = run(arguments);
  EXPECT_EQ(made.exit, chosen().exit) << made.err;
  const char *labels[] = {"zolt: ", "\n  expected: ", "\n  likely:   ", "\n  try:      "};
  std::string err = made.err.substr(std::min(made.err.rfind("zolt: "), made.err.size()));  // a warning may stand before
  for (int i = 0; i < 4; i++) {
    std::string said = behind(labels[i], err);
    EXPECT_FALSE(said.empty()) << labels[i] << " is missing:\n" << made.err;
    EXPECT_TRUE(has(said, with_port(chosen().says[i]))) << chosen().says[i] << " is missing:\n" << made.err;
  }
  expect_no_key(made.out + made.err);
}

TEST(FailureTable, HasItsRows) {
  EXPECT_GE(rows().size(), 50u);
  size_t with_devices = 0;
  for (const row &each : rows()) with_devices += each.device != "-" ? 1 : 0;
  EXPECT_GE(with_devices, 20u);
}

INSTANTIATE_TEST_SUITE_P(Of, Failures, testing::Range(size_t{0}, rows().size()),
                         [](const auto &each) { return rows()[each.param].name; });

}  // namespace
