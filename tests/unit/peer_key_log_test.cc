// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "peer/key_log.h"
#include "support/peer_bench.h"

namespace {

class KeyLog : public testing::Test {
 protected:
  KeyLog() {
    std::string name = testing::TempDir() + "key_log_XXXXXX";
    folder_ = ::mkdtemp(name.data());
    path_ = folder_ + "/keys.log";
  }
  ~KeyLog() override { std::filesystem::remove_all(folder_); }

  std::string content() const {
    std::ostringstream text;
    text << std::ifstream(path_).rdbuf();
    return text.str();
  }

  std::string folder_;
  std::string path_;
};

TEST_F(KeyLog, EachSessionIsOneLineBehindTheOthers) {
  peer::bytes key(128, 0xab);
  for (uint32_t id : {1u, 0xdeadbeefu}) {
    auto log = peer::key_log::open(path_);
    ASSERT_TRUE(log);
    ASSERT_TRUE(log->append(id, key));
  }
  std::string digits;
  for (int i = 0; i < 128; i++) digits += "ab";
  EXPECT_EQ(content(), "ZOLT 00000001 " + digits + "\nZOLT deadbeef " + digits + "\n");
}

TEST_F(KeyLog, ItIsForItsOwnerAlone) {
  ASSERT_TRUE(peer::key_log::open(path_));
  struct stat found {};
  ASSERT_EQ(::stat(path_.c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 07777, 0600u);
}

TEST_F(KeyLog, AFileThatOthersMayReadIsRefused) {
  std::ofstream(path_) << "";
  ::chmod(path_.c_str(), 0644);
  auto log = peer::key_log::open(path_);
  ASSERT_FALSE(log);
  EXPECT_NE(log.error().happened.find("has mode 0644"), std::string::npos);
}

TEST_F(KeyLog, AFolderIsNoKeyLog) {
  EXPECT_FALSE(peer::key_log::open(folder_));
}

TEST_F(KeyLog, ASessionHandsOutTheKeyThatItEnciphersWith) {
  fake::device device(*support::manager_key().publickeys(), {});
  auto options = support::options_for(device, peer::protocol::udp);
  uint32_t id = 0;
  peer::bytes key;
  options.key_log = [&](uint32_t session_id, peer::byte_view secret) {
    id = session_id;
    key.assign(secret.begin(), secret.end());
  };
  peer::bytes request;
  struct watcher : peer::session_observer {
    void on_packet(bool outgoing, peer::byte_view packet) override {
      if (outgoing && packet[0] == 'E') sent.assign(packet.begin(), packet.end());
    }
    peer::bytes sent;
  } watching;
  options.observer = &watching;
  peer::session session(support::manager_key(), options);
  ASSERT_TRUE(session.open());
  EXPECT_EQ(id, session.id());
  ASSERT_TRUE(session.request(peer::bytes_of("what the log opens")));
  fake::bytes plain(watching.sent.begin() + 16, watching.sent.end());
  fake::xtea(key, plain.data(), plain.size(), true);
  EXPECT_EQ(std::string(plain.begin() + 4, plain.begin() + 22), "what the log opens");
}

}  // namespace
