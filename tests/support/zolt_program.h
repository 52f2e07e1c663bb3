// SPDX-License-Identifier: MIT
// The program zolt, run as a person runs it: exit status, both outputs, and the files that it makes.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/fake_device.h"

extern char **environ;

namespace libsec::test {

struct outcome {
  int exit;
  std::string out;
  std::string err;
};

class zolt_program : public testing::Test {
 protected:
  zolt_program() {
    std::string name = testing::TempDir() + "zolt_XXXXXX";
    folder_ = ::mkdtemp(name.data());
  }
  ~zolt_program() override { std::filesystem::remove_all(folder_); }

  static std::string read(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }

  void write(const std::string &name, const std::string &text) const {
    std::ofstream(folder_ + "/" + name, std::ios::binary) << text;
  }

  static mode_t mode(const std::string &path) {
    struct stat found {};
    ::stat(path.c_str(), &found);
    return found.st_mode & 07777;
  }

  // Runs zolt in the test's folder.
  outcome run(std::vector<std::string> arguments, const std::string &input = "", const char *output = nullptr) const {
    std::string in = folder_ + "/.in", out = folder_ + "/.out", err = folder_ + "/.err";
    write(".in", input);
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_addopen(&files, 0, in.c_str(), O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&files, 1, output != nullptr ? output : out.c_str(),
                                       O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::posix_spawn_file_actions_addopen(&files, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::posix_spawn_file_actions_addchdir_np(&files, folder_.c_str());
    arguments.insert(arguments.begin(), "zolt");
    std::vector<char *> argv;
    for (std::string &argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t child = 0;
    int error = ::posix_spawn(&child, ZOLT_PROGRAM, &files, nullptr, argv.data(), environ);
    ::posix_spawn_file_actions_destroy(&files);
    if (error != 0) return {-1, "", "zolt cannot be started"};
    int status = 0;
    ::waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128, read(out), read(err)};
  }

  // A pair of keys in the folder "keys", and a device that holds it.
  std::unique_ptr<fake::device> device(fake::behaviour how = {}) {
    EXPECT_EQ(run({"key", "generate", "keys"}).exit, 0);
    return std::make_unique<fake::device>(read(folder_ + "/keys/publickeys.dat"), std::move(how));
  }

  static std::vector<std::string> request(const fake::device &device, std::vector<std::string> more) {
    std::vector<std::string> all = {"request",          "127.0.0.1", "--key",
                                    "keys/private.pem", "--port",    std::to_string(device.port())};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  std::string folder_;
};

inline bool has(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

}  // namespace libsec::test
