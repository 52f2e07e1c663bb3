// SPDX-License-Identifier: MIT
// zolt fleet, with devices that misbehave beside ones that do not.
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>

#include "support/zolt_program.h"

namespace {

using fake::answer;
using fake::behaviour;
using libsec::test::has;
using libsec::test::outcome;
using nlohmann::json;
using std::chrono::milliseconds;

class ZoltFleet : public libsec::test::zolt_program {
 protected:
  ZoltFleet() { EXPECT_EQ(run({"key", "generate", "keys"}).exit, 0); }

  fake::device &add(behaviour how = {}) {
    devices_.push_back(std::make_unique<fake::device>(read(folder_ + "/keys/publickeys.dat"), std::move(how)));
    return *devices_.back();
  }

  static std::string name(const fake::device &device) { return "127.0.0.1:" + std::to_string(device.port()); }

  // The list of all devices, each line with the same words behind the address.
  void list(const std::string &words = "") const {
    std::string text;
    for (const auto &each : devices_) text += name(*each) + " " + words + "\n";
    write("list", text);
  }

  outcome fleet(std::vector<std::string> more, const std::string &input = "", const char *output = nullptr) const {
    std::vector<std::string> all = {"fleet", "--targets", "list", "--key", "keys/private.pem"};
    all.insert(all.end(), more.begin(), more.end());
    return run(all, input, output);
  }

  // The objects by their targets; every line must be one, and no target may have two.
  static std::map<std::string, json> objects(const std::string &out) {
    std::map<std::string, json> all;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
      json object = json::parse(line, nullptr, false);
      EXPECT_TRUE(object.is_object()) << line;
      std::string target = object["target"];
      EXPECT_TRUE(all.emplace(target, object).second) << target;
    }
    return all;
  }

  std::vector<std::unique_ptr<fake::device>> devices_;
};

struct wrong_device {
  const char *name;
  int exit;
  const char *step;
  std::function<void(behaviour &)> set;
};

std::function<void(behaviour &)> deliver(answer which, std::function<void(fake::delivery &)> change) {
  return [=](behaviour &how) {
    how.deliver = [=](answer kind, int, fake::delivery &delivery) {
      if (kind == which) change(delivery);
    };
  };
}

// Whether an exit is told for UDP and TCP alike is the business of other tests: these only have to differ.
const wrong_device wrong_devices[] = {
    {"is silent", 4, "WAKE", [](behaviour &how) { how.lose = [](const std::string &, int) { return true; }; }},
    {"loses each login", 4, "LGIN",
     [](behaviour &how) { how.lose = [](const std::string &what, int) { return what == "LGIN"; }; }},
    {"loses the reply", 4, "ENCR", deliver(answer::reply, [](fake::delivery &how) { how.times = 0; })},
    {"loses the goodbye", 4, "LOUT", deliver(answer::ack2, [](fake::delivery &how) { how.times = 0; })},
    {"stops half-way", 6, "WAKE", deliver(answer::wrsp, [](fake::delivery &how) { how.cut = 100; })},
    {"has a degenerate value", 6, "WAKE",
     [](behaviour &how) { how.public_value = [](fake::bytes &value, const fake::bytes &) { value.assign(128, 0); }; }},
    {"garbles its replies", 6, "ENCR",
     [](behaviour &how) {
       how.block = [](answer kind, fake::bytes &block) {
         if (kind == answer::reply) block[0] ^= 1;
       };
     }},
    {"answers to another session", 6, "LGIN",
     [](behaviour &how) {
       how.packet = [](answer kind, fake::bytes &packet) {
         if (kind == answer::ack1) packet[12] ^= 1;
       };
     }},
    {"floods", 6, "ENCR",
     [](behaviour &how) {
       how.packet = [](answer kind, fake::bytes &packet) {
         if (kind == answer::reply) packet[0] = 'X';
       };
       how.deliver = [](answer kind, int, fake::delivery &delivery) {
         if (kind == answer::reply) delivery.flood = milliseconds(300);
       };
     }},
};

TEST_F(ZoltFleet, WhatOneDeviceDoesChangesNothingForAnother) {
  std::map<std::string, const wrong_device *> wrong;
  std::vector<fake::device *> good;
  for (const wrong_device &each : wrong_devices) {
    behaviour how;
    each.set(how);
    wrong[name(add(how))] = &each;
    good.push_back(&add());
  }
  behaviour slow;
  slow.deliver = [](answer, int, fake::delivery &delivery) { delivery.delay = milliseconds(200); };
  good.push_back(&add(slow));
  list("timeout=0.5");
  outcome made = fleet({"--parallel", "4", "hello", "again"});
  EXPECT_EQ(made.exit, 1);
  auto all = objects(made.out);
  EXPECT_EQ(all.size(), devices_.size());
  for (fake::device *each : good) {
    const json &object = all[name(*each)];
    EXPECT_EQ(object["ok"], true) << object;
    EXPECT_EQ(object["exit"], 0);
    EXPECT_EQ(object["transport"], "udp");
    EXPECT_EQ(object["replies"][0]["text"], "hello");
    EXPECT_EQ(object["replies"][1]["text"], "again");
    EXPECT_EQ(object["steps"].size(), 6u);
    EXPECT_GT(object["total_ms"], 0);
    EXPECT_FALSE(object.contains("failure"));
    EXPECT_EQ(each->log(), "WAKE LGIN ENCR ENCR LOUT");
  }
  for (const auto &[target, device] : wrong) {
    const json &object = all[target];
    EXPECT_EQ(object["ok"], false) << device->name << ": " << object;
    EXPECT_EQ(object["exit"], device->exit) << device->name << ": " << object;
    EXPECT_EQ(object["failure"]["step"], device->step) << device->name << ": " << object;
  }
  EXPECT_TRUE(has(made.err, "fleet    19 devices: 10 ok, 4 no answer, 5 wrong answer; ")) << made.err;
}

TEST_F(ZoltFleet, OverTcpToo) {
  for (int i = 0; i < 5; i++) add();
  list("tcp");
  outcome made = fleet({"-q", "hello"});
  EXPECT_EQ(made.exit, 0) << made.err;
  EXPECT_EQ(made.err, "");
  for (const auto &[target, object] : objects(made.out)) {
    EXPECT_EQ(object["transport"], "tcp");
    EXPECT_EQ(object["replies"][0]["hex"], "68656c6c6f") << target;
  }
  for (const auto &each : devices_) EXPECT_TRUE(each->idle());
}

TEST_F(ZoltFleet, WithoutARequestTheSessionAloneIsTried) {
  add();
  list();
  outcome made = fleet({});
  EXPECT_EQ(made.exit, 0) << made.err;
  EXPECT_EQ(objects(made.out)[name(*devices_[0])]["replies"].size(), 0u);
  EXPECT_EQ(devices_[0]->log(), "WAKE LGIN LOUT");
}

TEST_F(ZoltFleet, AListWithAFaultReachesNobody) {
  add();
  write("list", name(*devices_[0]) + "\nbad:port\n");
  outcome made = fleet({"hello"});
  EXPECT_EQ(made.exit, 2);
  EXPECT_EQ(made.out, "");
  EXPECT_TRUE(has(made.err, "zolt: targets: list has 1 fault:\n  line 2: ")) << made.err;
  json object = json::parse(fleet({"--json", "hello"}).out);
  EXPECT_EQ(object["exit"], 2);
  EXPECT_EQ(object["failure"]["step"], "targets");
  EXPECT_EQ(devices_[0]->log(), "");
}

TEST_F(ZoltFleet, StandardInputIsTheListOrARequest) {
  add();
  std::string line = name(*devices_[0]) + "\n";
  write("list", line);
  outcome made = run({"fleet", "-T", "-", "--key", "keys/private.pem", "hello"}, line);
  EXPECT_EQ(made.exit, 0) << made.err;
  made = fleet({"-"}, "from there");
  EXPECT_EQ(made.exit, 0) << made.err;
  EXPECT_EQ(objects(made.out).begin()->second["replies"][0]["text"], "from there");
  made = run({"fleet", "-T", "-", "--key", "keys/private.pem", "-"}, line);
  EXPECT_EQ(made.exit, 2);
  EXPECT_TRUE(has(made.err, "cannot be both")) << made.err;
  for (const char *unreadable : {"no-such-file", "."}) {
    made = run({"fleet", "-T", unreadable, "--key", "keys/private.pem"});
    EXPECT_EQ(made.exit, 2);
    EXPECT_TRUE(has(made.err, "cannot be read: ")) << made.err;
  }
}

TEST_F(ZoltFleet, UsageErrorsAndUnfitKeysReachNobody) {
  add();
  list();
  EXPECT_EQ(fleet({"--parallel", "0"}).exit, 2);
  EXPECT_EQ(fleet({"--parallel", "513"}).exit, 2);
  EXPECT_EQ(fleet({"--hex", "3"}).exit, 2);
  EXPECT_EQ(run({"fleet", "--key", "keys/private.pem"}).exit, 2);
  EXPECT_EQ(run({"fleet", "-T", "list"}).exit, 2);
  EXPECT_EQ(run({"fleet", "-T", "list", "--key", "none"}).exit, 3);
  EXPECT_EQ(devices_[0]->log(), "");
}

TEST_F(ZoltFleet, WhenNobodyCanBeToldNobodyElseIsAsked) {
  for (int i = 0; i < 4; i++) add();
  list();
  outcome made = fleet({"--parallel", "1", "hello"}, "", "/dev/full");
  EXPECT_EQ(made.exit, 1);
  EXPECT_TRUE(has(made.err, "zolt: output: standard output cannot be written: No space left")) << made.err;
  EXPECT_EQ(devices_[0]->log(), "WAKE LGIN ENCR LOUT");
  for (size_t i = 1; i < devices_.size(); i++) EXPECT_EQ(devices_[i]->log(), "");
}

TEST_F(ZoltFleet, TheNarrationNamesTheDevices) {
  for (int i = 0; i < 3; i++) add();
  list();
  outcome made = fleet({"-vv", "hello"});
  EXPECT_EQ(made.exit, 0) << made.err;
  for (const auto &each : devices_) {
    EXPECT_TRUE(has(made.err, name(*each) + "  WAKE     412 bytes sent")) << made.err;
    EXPECT_TRUE(has(made.err, name(*each) + "  sent     0000  57414b45019c0100")) << made.err;
  }
}

TEST_F(ZoltFleet, TheKeyLogHasALineForEachSession) {
  for (int i = 0; i < 8; i++) add();
  list();
  std::vector<std::string> all = {"--keylog", "keys.log", "fleet", "-T", "list", "--key", "keys/private.pem", "x"};
  outcome made = run(all);
  EXPECT_EQ(made.exit, 0) << made.err;
  std::istringstream lines(read(folder_ + "/keys.log"));
  size_t count = 0;
  for (std::string line; std::getline(lines, line); count++) EXPECT_EQ(line.size(), 5u + 8 + 1 + 256) << line;
  EXPECT_EQ(count, 8u);
  size_t warnings = 0;
  for (size_t at = 0; (at = made.err.find("WARNING", at)) != std::string::npos; at++) warnings++;
  EXPECT_EQ(warnings, 1u) << made.err;
}

}  // namespace
