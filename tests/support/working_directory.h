// SPDX-License-Identifier: MIT
// A fresh, empty working directory for as long as the object lives. The C library's functions do:
// MemorySanitizer cannot see into <filesystem>.
#pragma once

#include <dirent.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

namespace libsec::test {

class working_directory {
 public:
  working_directory() {
    const char *const temporary = getenv("TMPDIR");
    here_ = std::string(temporary != nullptr ? temporary : P_tmpdir) + "/libsec-XXXXXX";
    if (getcwd(before_, sizeof before_) == nullptr || mkdtemp(here_.data()) == nullptr || chdir(here_.c_str()) != 0) {
      throw std::runtime_error("no temporary directory");
    }
  }
  ~working_directory() {
    empty();
    // A directory that is left behind is worth a line, and no failure.
    if (chdir(before_) != 0 || rmdir(here_.c_str()) != 0) std::perror(here_.c_str());
  }
  working_directory(const working_directory &) = delete;
  working_directory &operator=(const working_directory &) = delete;

  void write(const std::string &name, const std::string &content) const {
    std::ofstream(here_ + "/" + name, std::ios::binary) << content;
  }

 private:
  // What tests put here are files and empty directories.
  void empty() const {
    DIR *const entries = opendir(here_.c_str());
    if (entries == nullptr) return;
    while (const dirent *entry = readdir(entries)) std::remove((here_ + "/" + entry->d_name).c_str());
    closedir(entries);
  }

  char before_[PATH_MAX];
  std::string here_;
};

}  // namespace libsec::test
