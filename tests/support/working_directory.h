// SPDX-License-Identifier: MIT
// A fresh, empty working directory for as long as the object lives.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace libsec::test {

class working_directory {
 public:
  working_directory() : before_(std::filesystem::current_path()) {
    std::string name = (std::filesystem::temp_directory_path() / "libsec-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
    here_ = name;
    std::filesystem::current_path(here_);
  }
  ~working_directory() {
    std::error_code ignored;
    std::filesystem::current_path(before_, ignored);
    std::filesystem::remove_all(here_, ignored);
  }
  working_directory(const working_directory &) = delete;
  working_directory &operator=(const working_directory &) = delete;

  void write(const std::string &name, const std::string &content) const {
    std::ofstream(here_ / name, std::ios::binary) << content;
  }

 private:
  std::filesystem::path before_;
  std::filesystem::path here_;
};

}  // namespace libsec::test
