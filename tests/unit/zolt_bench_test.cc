// SPDX-License-Identifier: MIT
// zolt bench: what it sends, what it shows, and when it gives up.
#include <gtest/gtest.h>

#include <mutex>
#include <nlohmann/json.hpp>

#include "support/zolt_program.h"

namespace {

using fake::answer;
using fake::behaviour;
using libsec::test::has;
using libsec::test::outcome;
using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

class ZoltBench : public libsec::test::zolt_program {
 protected:
  outcome bench(const fake::device &device, const std::vector<std::string> &more) const {
    std::vector<std::string> all = request(device, more);
    all[0] = "bench";
    return run(all);
  }
};

size_t count_of(const std::string &text, const std::string &part) {
  size_t count = 0;
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at++) count++;
  return count;
}

TEST_F(ZoltBench, MeasuresSessionsAndThenRequestsInOne) {
  auto there = device();
  outcome made = bench(*there, {"--count", "3", "--json", "hello"});
  EXPECT_EQ(made.exit, 0) << made.err;
  EXPECT_EQ(made.err, "");
  EXPECT_EQ(there->log(), "WAKE LGIN LOUT WAKE LGIN LOUT WAKE LGIN LOUT WAKE LGIN ENCR ENCR ENCR LOUT");
  json object = json::parse(made.out);
  EXPECT_EQ(object["ok"], true);
  EXPECT_EQ(object["exit"], 0);
  EXPECT_EQ(object["target"], "127.0.0.1:" + std::to_string(there->port()));
  EXPECT_EQ(object["transport"], "udp");
  for (const char *what : {"sessions", "requests"}) {
    const json &is = object[what];
    EXPECT_EQ(is["count"], 3) << made.out;
    EXPECT_EQ(is["failed"], 0);
    EXPECT_NEAR(is["per_second"].get<double>(), 3 / is["seconds"].get<double>(), 1e-6);
    EXPECT_LE(is["ms"]["least"], is["ms"]["median"]);
    EXPECT_LE(is["ms"]["p99"], is["ms"]["greatest"]);
    size_t counted = 0;
    for (const json &each : is["histogram"]) counted += each["count"].get<size_t>();
    EXPECT_EQ(counted, 3u);
  }
}

TEST_F(ZoltBench, TheTextHasRatesAndHistograms) {
  auto there = device();
  outcome made = bench(*there, {"-n", "20", "--tcp", "x"});
  EXPECT_EQ(made.exit, 0) << made.err;
  EXPECT_EQ(made.err, "");
  EXPECT_TRUE(made.out.starts_with("sessions  20 in ")) << made.out;
  EXPECT_TRUE(has(made.out, "\nrequests  20 in ")) << made.out;
  EXPECT_EQ(count_of(made.out, " a second\n"), 2u);
  EXPECT_EQ(count_of(made.out, "median "), 2u);
  EXPECT_TRUE(has(made.out, "s |#")) << made.out;
  made = bench(*there, {"-n", "20", "--tcp", "-q", "x"});
  EXPECT_FALSE(has(made.out, "|#")) << made.out;
  EXPECT_EQ(count_of(made.out, " a second\n"), 2u);
  EXPECT_TRUE(there->idle());
}

TEST_F(ZoltBench, OnlyOneOfTheTwoOnRequest) {
  auto there = device();
  outcome made = bench(*there, {"-n", "2", "--only", "sessions", "--json"});
  EXPECT_EQ(made.exit, 0) << made.err;
  EXPECT_FALSE(json::parse(made.out).contains("requests"));
  EXPECT_EQ(there->log(), "WAKE LGIN LOUT WAKE LGIN LOUT");
  made = bench(*there, {"-n", "2", "--only", "requests", "--json"});
  EXPECT_FALSE(json::parse(made.out).contains("sessions"));
  EXPECT_EQ(there->log(), "WAKE LGIN LOUT WAKE LGIN LOUT WAKE LGIN ENCR ENCR LOUT");
}

TEST_F(ZoltBench, TheUsualRequestIsOneThatAnSnmpAgentAnswers) {
  auto there = device();
  EXPECT_EQ(bench(*there, {"-n", "1"}).exit, 0);
  // A GetRequest of version 2c with the community "public", for sysUpTime.0, written out by hand.
  const fake::bytes wanted = {0x30, 0x29, 0x02, 0x01, 0x01, 0x04, 0x06, 'p',  'u',  'b',  'l',  'i',  'c',  0xa0, 0x1c,
                              0x02, 0x04, 'z',  'o',  'l',  't',  0x02, 0x01, 0x00, 0x02, 0x01, 0x00, 0x30, 0x0e, 0x30,
                              0x0c, 0x06, 0x08, 0x2b, 0x06, 0x01, 0x02, 0x01, 0x01, 0x03, 0x00, 0x05, 0x00};
  EXPECT_EQ(there->last_request(), wanted);
}

TEST_F(ZoltBench, TimeEndsAMeasurementToo) {
  auto there = device();
  outcome made = bench(*there, {"--seconds", "0.2", "--json", "x"});
  EXPECT_EQ(made.exit, 0) << made.err;
  json object = json::parse(made.out);
  for (const char *what : {"sessions", "requests"}) {
    EXPECT_GE(object[what]["seconds"], 0.2);
    EXPECT_GE(object[what]["count"], 1);
  }
}

TEST_F(ZoltBench, TheFirstFailureEndsWhatNeverWorked) {
  std::atomic<int> lost{0};
  behaviour silent;
  silent.lose = [&](const std::string &, int) { return ++lost > 0; };
  auto there = device(silent);
  outcome made = bench(*there, {"--timeout", "0.2", "--json"});
  EXPECT_EQ(made.exit, 4);
  json object = json::parse(made.out);
  EXPECT_EQ(object["failure"]["step"], "WAKE");
  EXPECT_EQ(object["sessions"]["count"], 0);
  EXPECT_EQ(object["sessions"]["failed"], 1);
  EXPECT_FALSE(object.contains("requests"));
  EXPECT_EQ(lost, 1) << "one packet, and no more tries";
}

TEST_F(ZoltBench, AFailureInBetweenIsCountedAndGotOver) {
  behaviour how;
  how.deliver = [](answer kind, int nth, fake::delivery &delivery) {
    if (kind == answer::reply && nth == 3) delivery.times = 0;
  };
  auto there = device(how);
  outcome made = bench(*there, {"-n", "5", "--timeout", "0.3", "--only", "requests", "--json", "x"});
  EXPECT_EQ(made.exit, 0) << made.err;
  json object = json::parse(made.out);
  EXPECT_EQ(object["requests"]["count"], 5);
  EXPECT_EQ(object["requests"]["failed"], 1);
  EXPECT_EQ(there->log(), "WAKE LGIN ENCR ENCR ENCR LOUT WAKE LGIN ENCR ENCR ENCR LOUT");
}

// A device that counts refused packets bears one a second; the third failure in a row is the last.
TEST_F(ZoltBench, AfterAFailureOnePacketASecondAndNotForEver) {
  std::mutex mutex;
  std::vector<steady_clock::time_point> lost;
  behaviour how;
  how.lose = [&](const std::string &what, int nth) {
    std::lock_guard lock(mutex);
    bool dying = !lost.empty() || (what == "ENCR" && nth > 2);
    if (dying) lost.push_back(steady_clock::now());
    return dying;
  };
  auto there = device(how);
  outcome made = bench(*there, {"--timeout", "0.2", "--only", "requests", "--json", "x"});
  EXPECT_EQ(made.exit, 4);
  json object = json::parse(made.out);
  EXPECT_EQ(object["requests"]["count"], 2);
  EXPECT_EQ(object["requests"]["failed"], 3);
  ASSERT_GE(lost.size(), 3u);
  for (size_t i = 1; i < lost.size(); i++) EXPECT_GT(lost[i] - lost[i - 1], milliseconds(900)) << i;
}

TEST_F(ZoltBench, ThePictureIsWrittenOrNothingIsMeasured) {
  auto there = device();
  outcome made = bench(*there, {"-n", "2", "--svg", "no/such/folder/a.svg"});
  EXPECT_EQ(made.exit, 1);
  EXPECT_TRUE(has(made.err, "no/such/folder/a.svg cannot be written: No such file")) << made.err;
  EXPECT_EQ(there->log(), "");
  made = bench(*there, {"-n", "2", "--svg", "a.svg"});
  EXPECT_EQ(made.exit, 0) << made.err;
  std::string drawn = read(folder_ + "/a.svg");
  EXPECT_TRUE(drawn.starts_with("<svg xmlns=")) << drawn;
  EXPECT_TRUE(drawn.ends_with("</svg>\n")) << drawn;
  made = bench(*there, {"-n", "2", "--svg", "/dev/full", "--json"});
  EXPECT_EQ(made.exit, 1);
  EXPECT_EQ(json::parse(made.out)["failure"]["step"], "svg");
  EXPECT_EQ(json::parse(made.out)["sessions"]["count"], 2) << "what was measured is shown all the same";
}

TEST_F(ZoltBench, UsageErrorsReachNobody) {
  auto there = device();
  const std::vector<std::vector<std::string>> wrong = {{"-n", "0"},
                                                       {"-n", "1000001"},
                                                       {"-s", "0"},
                                                       {"-s", "86401"},
                                                       {"--only", "pings"},
                                                       {"--svg", "a", "one", "two"},
                                                       {"-n", "1", "--hex", "00", "--hex", "01"},
                                                       {"--hex", "0"}};
  for (const auto &each : wrong) EXPECT_EQ(bench(*there, each).exit, 2) << testing::PrintToString(each);
  EXPECT_EQ(there->log(), "");
}

}  // namespace
