// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "peer/descriptor.h"
#include "peer/key_reading.h"
#include "peer/keys.h"

namespace peer {
namespace {

constexpr size_t most_bytes = 65536;

failure file_trouble(const std::string &path, std::string_view doing, int error) {
  return {exit_code::key,
          "key",
          fmt::format("{} cannot be {}: {}", path, doing, std::strerror(error)),
          "a folder that this user may write to",
          "the folder above it is missing or another user's, or the disk is full",
          "name another folder: zolt key generate DIR"};
}

bool write_all(int file, byte_view content) {
  while (!content.empty()) {
    ssize_t written = ::write(file, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    content = content.subspan(static_cast<size_t>(written));
  }
  return ::fsync(file) == 0;
}

// A file with a name of its own becomes `path` in one step, so that nobody sees half a key.
status write_file(const std::string &path, byte_view content, mode_t mode, bool overwrite) {
  std::string temporary = path + ".XXXXXX";
  descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));  // mode 0600
  if (!file) return file_trouble(path, "written", errno);
  bool written = write_all(file.get(), content) && ::fchmod(file.get(), mode) == 0;
  if (written) {
    // A link fails when the name is taken; a rename replaces what has it.
    written =
        overwrite ? std::rename(temporary.c_str(), path.c_str()) == 0 : ::link(temporary.c_str(), path.c_str()) == 0;
  }
  int error = errno;
  ::unlink(temporary.c_str());
  if (!written) return file_trouble(path, "written", error);
  return done;
}

bool exists(const std::string &path) {
  struct stat found {};
  return ::lstat(path.c_str(), &found) == 0;
}

}  // namespace

result<secret_bytes> read_private_file(const std::string &path) {
  // Without O_NONBLOCK, opening a pipe would wait for its other end.
  descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  struct stat found {};
  if (!file || ::fstat(file.get(), &found) != 0) {
    failure why = file_trouble(path, "read", errno);
    why.expected = "the manager's private key, a PEM file";
    why.causes = "the name is wrong, or the file is another user's";
    why.advice = "name the file private.pem that \"zolt key generate DIR\" made";
    return why;
  }
  if (!S_ISREG(found.st_mode))
    return failure{exit_code::key,
                   "key",
                   fmt::format("{} is not a regular file", path),
                   "the manager's private key, a PEM file",
                   "a folder or a device was named",
                   "name the file private.pem that \"zolt key generate DIR\" made"};
  if ((found.st_mode & 077) != 0)
    return failure{exit_code::key,
                   "key",
                   fmt::format("{} has mode {:04o}: others than its owner may use it", path, found.st_mode & 07777),
                   "mode 0600",
                   "it was copied, or made under another umask",
                   fmt::format("chmod 600 {}, and a new key if others may have read it", path)};
  secret_bytes content(most_bytes);
  size_t length = 0;
  while (length < content.size()) {
    ssize_t got = ::read(file.get(), content.data() + length, content.size() - length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return file_trouble(path, "read", errno);
    if (got == 0) break;
    length += static_cast<size_t>(got);
  }
  content.resize(length);
  return content;
}

key_files key_files_in(const std::string &folder) {
  return {folder + "/private.pem", folder + "/publickeys.dat"};
}

result<key_files> write_key_files(const private_key &key, const std::string &folder, bool overwrite) {
  key_files files = key_files_in(folder);
  if (!overwrite) {
    for (const std::string &path : {files.private_pem, files.publickeys}) {
      if (exists(path))
        return failure{exit_code::key,
                       "key",
                       fmt::format("{} exists, and nothing was changed", path),
                       "a folder without keys",
                       "keys were made there before",
                       "name another folder, or replace the old key for good with --force"};
    }
  }
  result<secret_bytes> pem = key.pem();
  if (!pem) return pem.error();
  result<std::string> text = key.publickeys();
  if (!text) return text.error();
  if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return file_trouble(folder, "made", errno);
  status written = write_file(files.private_pem, *pem, 0600, overwrite);
  if (!written) return written.error();
  written = write_file(files.publickeys, bytes_of(*text), 0644, overwrite);
  if (!written) {
    // One half without the other helps nobody; what was there before --force is gone already.
    if (!overwrite) ::unlink(files.private_pem.c_str());
    return written.error();
  }
  return files;
}

}  // namespace peer
