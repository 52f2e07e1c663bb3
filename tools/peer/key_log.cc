// SPDX-License-Identifier: MIT
#include "peer/key_log.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace peer {
namespace {

failure trouble(const std::string &path, int error) {
  return {exit_code::other, "keylog", fmt::format("{} cannot be written: {}", path, std::strerror(error)), {}, {}, {}};
}

}  // namespace

result<key_log> key_log::open(const std::string &path) {
  // Without O_NONBLOCK, opening a pipe would wait for its other end.
  descriptor file(
      ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, S_IRUSR | S_IWUSR));
  struct stat found {};
  if (!file || ::fstat(file.get(), &found) != 0) return trouble(path, errno);
  if (!S_ISREG(found.st_mode))
    return failure{exit_code::other, "keylog", fmt::format("{} is not a regular file", path), {}, {}, {}};
  if ((found.st_mode & 077) != 0)
    return failure{exit_code::other,
                   "keylog",
                   fmt::format("{} has mode {:04o}: others than its owner may use it", path, found.st_mode & 07777),
                   "mode 0600",
                   {},
                   fmt::format("chmod 600 {}", path)};
  return key_log(std::move(file), path);
}

status key_log::append(uint32_t session_id, byte_view key) const {
  // Room for all of it at once: a string that grows would leave copies of the key behind.
  secret_bytes line;
  line.reserve(16 + 2 * key.size());
  for (char each : fmt::format("ZOLT {:08x} ", session_id)) line.push_back(static_cast<uint8_t>(each));
  constexpr char digits[] = "0123456789abcdef";
  for (uint8_t byte : key) {
    line.push_back(static_cast<uint8_t>(digits[byte >> 4]));
    line.push_back(static_cast<uint8_t>(digits[byte & 15]));
  }
  line.push_back('\n');
  ssize_t written = ::write(file_.get(), line.data(), line.size());
  if (written != static_cast<ssize_t>(line.size())) return trouble(path_, written < 0 ? errno : ENOSPC);
  return done;
}

}  // namespace peer
