// SPDX-License-Identifier: MIT
// The program zolt: usage, requests and pings, outputs and exit codes.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "support/zolt_program.h"

namespace {

using libsec::test::has;
using libsec::test::outcome;

class Zolt : public libsec::test::zolt_program {};

TEST_F(Zolt, UsageErrorsHaveTheirOwnStatus) {
  ASSERT_EQ(run({"key", "generate", "keys"}).exit, 0);
  const std::vector<std::vector<std::string>> wrong = {
      {},
      {"no-such-command"},
      {"key"},
      {"key", "generate"},
      {"key", "generate", ""},
      {"request"},
      {"request", "127.0.0.1", "x"},
      {"request", "127.0.0.1", "--key", "keys/private.pem"},
      {"request", "127.0.0.1", "--key", "keys/private.pem", "--tcp", "--udp", "x"},
      {"request", "127.0.0.1", "--key", "keys/private.pem", "--port", "0", "x"},
      {"request", "127.0.0.1", "--key", "keys/private.pem", "--port", "65536", "x"},
      {"request", "127.0.0.1", "--key", "keys/private.pem", "--timeout", "0", "x"},
      {"request", "127.0.0.1", "--key", "keys/private.pem", "--timeout", "soon", "x"},
      {"request", "127.0.0.1", "--key", "keys/private.pem", "--hex", "3"},
      {"request", "127.0.0.1", "--key", "keys/private.pem", "--hex", "xy"},
      {"request", "127.0.0.1", "--key", "keys/private.pem", "--hex", "30", "x"},
      {"request", "127.0.0.1", "--key", "keys/private.pem", "-", "-"},
      {"request", "127.0.0.1", "--key", "keys/private.pem", "--no-such-option", "x"},
      {"request", "127.0.0.1", "--key", "keys/private.pem", std::string(39980, 'x')},
  };
  for (const auto &arguments : wrong) {
    outcome made = run(arguments);
    EXPECT_EQ(made.exit, 2) << testing::PrintToString(arguments) << made.err;
    EXPECT_FALSE(made.err.empty()) << testing::PrintToString(arguments);
    EXPECT_TRUE(made.out.empty()) << testing::PrintToString(arguments);
  }
}

TEST_F(Zolt, AnUnknownWordIsNamedAndTheNearestIsSuggested) {
  struct slip {
    std::vector<std::string> line;
    const char *named;
    const char *suggested;
  };
  for (const slip &each :
       {slip{{"bogus"}, "\"zolt\" has no command \"bogus\"", nullptr},
        {{"pign"}, "\"pign\"", "\"ping\" was meant"},
        {{"req"}, "\"req\"", "\"request\" was meant"},
        {{"tunel", "127.0.0.1", "--tcp"}, "\"tunel\"", "zolt tunnel --help"},
        {{"key", "chek", "file"}, "\"zolt key\" has no command \"chek\"", "\"check\" was meant"},
        {{"ping", "127.0.0.1", "--key", "k", "--tpc"}, "has no option \"--tpc\"", "\"--tcp\" was meant"},
        {{"ping", "127.0.0.1", "--key", "k", "--tiemout=3"}, "\"--tiemout\"", "\"--timeout\" was meant"},
        {{"ping", "127.0.0.1", "--key", "k", "again"}, "takes no further argument, such as \"again\"", nullptr}}) {
    outcome made = run(each.line);
    EXPECT_EQ(made.exit, 2) << made.err;
    EXPECT_TRUE(has(made.err, each.named)) << made.err;
    EXPECT_EQ(has(made.err, "was meant"), each.suggested != nullptr) << made.err;
    EXPECT_TRUE(each.suggested == nullptr || has(made.err, each.suggested)) << made.err;
    EXPECT_TRUE(has(made.err, "\n  try:      zolt ")) << made.err;
  }
  outcome made = run({"bogus"});
  for (const char *command : {"key", "ping", "request", "tunnel"}) EXPECT_TRUE(has(made.err, command)) << made.err;
  made = run({"ping", "--json", "127.0.0.1"});
  EXPECT_EQ(nlohmann::json::parse(made.out)["failure"]["happened"], "--key is required");
}

TEST_F(Zolt, HelpShowsThreeExamplesOfEveryCommand) {
  outcome help = run({"--help"});
  EXPECT_EQ(help.exit, 0);
  for (const char *status :
       {"0    ok", "1 ", "2 ", "3 ", "4    no answer", "5    busy or refused", "6 ", "7 ", "130  interrupted"})
    EXPECT_TRUE(has(help.out, "\n  " + std::string(status))) << help.out;
  for (const auto &command : {std::vector<std::string>{"request"},
                              {"ping"},
                              {"fleet"},
                              {"bench"},
                              {"tunnel"},
                              {"decode"},
                              {"completion"},
                              {"key", "generate"},
                              {"key", "show"},
                              {"key", "check"}}) {
    std::vector<std::string> arguments = command;
    arguments.push_back("--help");
    help = run(arguments);
    EXPECT_EQ(help.exit, 0);
    std::string examples = help.out.substr(std::min(help.out.find("Examples:"), help.out.size()));
    size_t count = 0;
    for (size_t at = 0; (at = examples.find("\n  zolt ", at)) != std::string::npos; at++) count++;
    EXPECT_EQ(count, 3u) << help.out;
  }
}

TEST_F(Zolt, ARequestPrintsItsReplyAndNothingElse) {
  auto there = device();
  for (const char *over : {"--udp", "--tcp"}) {
    outcome made = run(request(*there, {over, "hello"}));
    EXPECT_EQ(made.exit, 0) << made.err;
    EXPECT_EQ(made.out, "hello\n");
    EXPECT_EQ(made.err, "");
    EXPECT_TRUE(there->idle());
  }
}

TEST_F(Zolt, APingShowsEveryStepAndIsASessionWithoutARequest) {
  auto there = device();
  std::vector<std::string> arguments = request(*there, {});
  arguments[0] = "ping";
  outcome made = run(arguments);
  EXPECT_EQ(made.exit, 0) << made.err;
  for (const char *step : {"connect", "WAKE", "LGIN", "LOUT", "total"})
    EXPECT_TRUE(has(made.out, std::string(step) + " ")) << made.out;
  EXPECT_EQ(there->log(), "WAKE LGIN LOUT");
  arguments.push_back("-q");
  made = run(arguments);
  EXPECT_EQ(made.exit, 0);
  EXPECT_EQ(made.out + made.err, "");
}

TEST_F(Zolt, JsonHasTheRepliesAndTheSteps) {
  auto there = device();
  outcome made = run(request(*there, {"--json", "hello"}));
  EXPECT_EQ(made.exit, 0) << made.err;
  auto object = nlohmann::json::parse(made.out);
  EXPECT_EQ(object["ok"], true);
  EXPECT_EQ(object["exit"], 0);
  EXPECT_EQ(object["replies"][0]["text"], "hello");
  EXPECT_EQ(object["replies"][0]["hex"], "68656c6c6f");
  EXPECT_EQ(object["steps"].size(), 5u);
  EXPECT_EQ(object["steps"][1]["step"], "WAKE");
  EXPECT_EQ(object["steps"][1]["answer"], "WRSP");
  EXPECT_EQ(object["steps"][1]["sent"], 412);
}

TEST_F(Zolt, JsonTellsAFailureAsAnObject) {
  outcome made = run({"ping", "127.0.0.1", "--key", "no/such/file", "--json"});
  EXPECT_EQ(made.exit, 3);
  auto object = nlohmann::json::parse(made.out);
  EXPECT_EQ(object["ok"], false);
  EXPECT_EQ(object["exit"], 3);
  EXPECT_EQ(object["failure"]["step"], "key");
  EXPECT_TRUE(has(object["failure"]["happened"], "no/such/file")) << made.out;
}

TEST_F(Zolt, TwiceVerboseShowsThePackets) {
  auto there = device();
  outcome made = run(request(*there, {"-vv", "hello"}));
  EXPECT_EQ(made.exit, 0) << made.err;
  EXPECT_TRUE(has(made.err, "sent     0000  57414b45019c0100")) << made.err;  // WAKE, 412 bytes, version 256
  EXPECT_TRUE(has(made.err, "got      0000  5752535000900100")) << made.err;  // WRSP, 144 bytes
}

TEST_F(Zolt, NoOutputHoldsASessionsKey) {
  auto there = device();
  std::vector<std::string> arguments = request(*there, {"-vv", "hello"});
  arguments.insert(arguments.begin(), {"--keylog", "keys.log"});
  outcome made = run(arguments);
  EXPECT_EQ(made.exit, 0) << made.err;
  std::string line = read(folder_ + "/keys.log");
  ASSERT_EQ(line.size(), 5u + 9u + 256u + 1u);
  EXPECT_EQ(mode(folder_ + "/keys.log"), 0600u);
  // Any eight bytes of it in a row would be too much.
  std::string key = line.substr(14, 256);
  for (size_t at = 0; at + 16 <= key.size(); at += 2) EXPECT_FALSE(has(made.out + made.err, key.substr(at, 16))) << at;
}

TEST_F(Zolt, ColoursAreForTerminalsOrOnRequest) {
  EXPECT_FALSE(has(run({"ping", "127.0.0.1", "--key", "none"}).err, "\x1b["));
  EXPECT_TRUE(has(run({"ping", "127.0.0.1", "--key", "none", "--color", "always"}).err, "\x1b["));
  EXPECT_EQ(run({"ping", "127.0.0.1", "--key", "none", "--color", "pink"}).exit, 2);
}

TEST_F(Zolt, SeveralRequestsGoThroughOneSession) {
  auto there = device();
  outcome made = run(request(*there, {"one", "", "three"}));
  EXPECT_EQ(made.exit, 0) << made.err;
  EXPECT_EQ(made.out, "one\n\nthree\n");
  EXPECT_EQ(there->log(), "WAKE LGIN ENCR ENCR ENCR LOUT");
}

TEST_F(Zolt, HexIsAnsweredInHex) {
  auto there = device();
  outcome made = run(request(*there, {"--hex", "30 26 ff", "--hex", "00"}));
  EXPECT_EQ(made.exit, 0) << made.err;
  EXPECT_EQ(made.out, "3026ff\n00\n");
  EXPECT_EQ(there->last_request(), fake::bytes{0});
}

TEST_F(Zolt, HexTakesOneArgumentOnly) {
  auto there = device();
  outcome made = run(
      {"request", "--hex", "ab", "127.0.0.1", "--key", "keys/private.pem", "--port", std::to_string(there->port())});
  EXPECT_EQ(made.exit, 0) << made.err;
  EXPECT_EQ(made.out, "ab\n");
}

TEST_F(Zolt, StandardInputIsSentAndAnsweredByteForByte) {
  auto there = device();
  std::string binary;
  for (int byte = 0; byte < 256; byte++) binary += static_cast<char>(byte);
  outcome made = run(request(*there, {"-"}), binary);
  EXPECT_EQ(made.exit, 0) << made.err;
  EXPECT_EQ(made.out, binary);
}

TEST_F(Zolt, TheNarrationHasOneLineForEachStep) {
  auto there = device();
  outcome made = run(request(*there, {"-v", "hello"}));
  EXPECT_EQ(made.exit, 0);
  EXPECT_EQ(made.out, "hello\n");
  std::istringstream lines(made.err);
  std::vector<std::string> wanted = {"connect", "WAKE     412 bytes sent, WRSP of 144 bytes received  ",
                                     "LGIN     32 bytes sent, ACK1 of 40 bytes received  ",
                                     "ENCR     32 bytes sent, ENCR of 32 bytes received  ",
                                     "LOUT     32 bytes sent, ACK2 of 40 bytes received  "};
  size_t at = 0;
  for (std::string line; std::getline(lines, line); at++) {
    ASSERT_LT(at, wanted.size()) << line;
    EXPECT_EQ(line.substr(0, wanted[at].size()), wanted[at]);
    EXPECT_TRUE(line.ends_with(" ms")) << line;
  }
  EXPECT_EQ(at, wanted.size()) << made.err;
}

TEST_F(Zolt, UnfitKeyFilesHaveTheirOwnStatus) {
  auto there = device();
  ::chmod((folder_ + "/keys/private.pem").c_str(), 0644);
  outcome open = run(request(*there, {"x"}));
  EXPECT_EQ(open.exit, 3);
  EXPECT_TRUE(has(open.err, "chmod 600")) << open.err;
  std::filesystem::remove(folder_ + "/keys/private.pem");
  outcome none = run(request(*there, {"x"}));
  EXPECT_EQ(none.exit, 3);
  EXPECT_TRUE(has(none.err, "zolt key generate")) << none.err;
  EXPECT_EQ(there->log(), "") << "nothing may be sent";
}

TEST_F(Zolt, SilenceEndsWithFourAndSaysWhatToTry) {
  fake::behaviour silent;
  silent.lose = [](const std::string &, int) { return true; };
  auto there = device(silent);
  outcome made = run(request(*there, {"--timeout", "0.2", "x"}));
  EXPECT_EQ(made.exit, 4);
  EXPECT_EQ(made.out, "");
  EXPECT_TRUE(
      has(made.err, "zolt: WAKE: no WRSP from 127.0.0.1:" + std::to_string(there->port()) + " over UDP within 0.2 s\n"))
      << made.err;
  EXPECT_TRUE(has(made.err, "\n  likely:   key not accepted")) << made.err;
  EXPECT_TRUE(has(made.err, "\n  try:      --tcp")) << made.err;
}

TEST_F(Zolt, AClosedPortEndsWithFive) {
  auto there = device();
  std::vector<std::string> arguments = request(*there, {"--tcp", "x"});
  there.reset();
  outcome made = run(arguments);
  EXPECT_EQ(made.exit, 5);
  EXPECT_TRUE(has(made.err, "Connection refused")) << made.err;
}

TEST_F(Zolt, AWrongAnswerEndsWithSix) {
  fake::behaviour wrong;
  wrong.block = [](fake::answer kind, fake::bytes &block) {
    if (kind == fake::answer::reply) block[0] ^= 1;
  };
  auto there = device(wrong);
  outcome made = run(request(*there, {"--tcp", "x"}));
  EXPECT_EQ(made.exit, 6);
  EXPECT_TRUE(has(made.err, "zolt: ENCR: ENCR is damaged")) << made.err;
  EXPECT_TRUE(there->idle()) << "it must be logged out all the same";
}

// A living device whose agent has nothing to say: over TCP the request cannot have been lost.
TEST_F(Zolt, ASilentAgentEndsWithSevenWhereTheRequestCannotBeLost) {
  fake::behaviour silent;
  silent.deliver = [](fake::answer kind, int, fake::delivery &how) {
    if (kind == fake::answer::reply) how.times = 0;
  };
  auto there = device(silent);
  outcome made = run(request(*there, {"--tcp", "--timeout", "0.3", "x"}));
  EXPECT_EQ(made.exit, 7);
  EXPECT_TRUE(has(made.err, "within 0.3 s, though the device confirmed the end of the session")) << made.err;
  EXPECT_TRUE(has(made.err, "look at the agent's log")) << made.err;
  made = run(request(*there, {"--udp", "--timeout", "0.3", "x"}));
  EXPECT_EQ(made.exit, 4);
  // A device that does not confirm anything may be gone as a whole.
  silent.lose = [](const std::string &signature, int) { return signature == "LOUT"; };
  there = std::make_unique<fake::device>(read(folder_ + "/keys/publickeys.dat"), silent);
  made = run(request(*there, {"--tcp", "--timeout", "0.3", "x"}));
  EXPECT_EQ(made.exit, 4);
}

TEST_F(Zolt, AnAgentThatSaysItFailedEndsWithSevenAfterAllReplies) {
  const std::string failed = "3019020101040100a2110201090201050201003006300406000500";
  auto there = device();  // an echo: what is asked is the reply
  outcome made = run(request(*there, {"--hex", failed, "--hex", "00"}));
  EXPECT_EQ(made.exit, 7);
  EXPECT_EQ(made.out, failed + "\n00\n");
  EXPECT_TRUE(has(made.err, "the agent answered with the SNMP error genErr (5)")) << made.err;
  EXPECT_EQ(there->log(), "WAKE LGIN ENCR ENCR LOUT");
}

TEST_F(Zolt, RepliesBeforeAFailureAreKept) {
  fake::behaviour wrong;
  wrong.deliver = [](fake::answer kind, int nth, fake::delivery &how) {
    if (kind == fake::answer::reply && nth == 2) how.times = 0;
  };
  auto there = device(wrong);
  outcome made = run(request(*there, {"--timeout", "0.3", "one", "two"}));
  EXPECT_EQ(made.exit, 4);
  EXPECT_EQ(made.out, "one\n");
  EXPECT_TRUE(there->idle());
}

TEST_F(Zolt, AnUnknownHostEndsWithOne) {
  ASSERT_EQ(run({"key", "generate", "keys"}).exit, 0);
  outcome made = run({"request", "no.such.host.invalid", "--key", "keys/private.pem", "x"});
  EXPECT_EQ(made.exit, 1);
  EXPECT_TRUE(has(made.err, "no IPv4 address")) << made.err;
}

TEST_F(Zolt, AFullOutputEndsWithOneAndTheSessionIsLoggedOut) {
  auto there = device();
  outcome made = run(request(*there, {"x"}), "", "/dev/full");
  EXPECT_EQ(made.exit, 1);
  EXPECT_TRUE(has(made.err, "standard output cannot be written")) << made.err;
  EXPECT_TRUE(there->idle());
  made = run(request(*there, {"--json", "x"}), "", "/dev/full");
  EXPECT_EQ(made.exit, 1);
  EXPECT_TRUE(has(made.err, "standard output cannot be written")) << made.err;
  EXPECT_TRUE(there->idle());
}

}  // namespace
