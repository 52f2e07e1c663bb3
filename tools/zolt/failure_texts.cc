// SPDX-License-Identifier: MIT
#include "zolt/failure_texts.h"

#include <string_view>

namespace zolt {
namespace {

using peer::exit_code;

struct row {
  std::string_view step;
  exit_code code;
  const char *expected;
  const char *causes;
  const char *advice;
};

constexpr row rows[] = {
    {"command line", exit_code::usage, "a command and what it asks for",
     "a slip, or a word of another command or version", "zolt --help"},
    {"request", exit_code::usage, "requests as arguments", "a slip on the command line", "zolt request --help"},
    {"request", exit_code::other, "a request on standard input", "it is closed, or it is a folder",
     "zolt request HOST --key FILE - < request.bin"},
    {"connect", exit_code::other, "an IPv4 address, or a name that has one",
     "the name is misspelt, or no name server knows it or answers", "name the device's IPv4 address"},
    {"ENCR", exit_code::refused, "a request within 180 s of the key exchange",
     "many requests in one session, or slow ones", "again, with fewer requests at a time"},
    {"keylog", exit_code::other, "a regular file of mode 0600, in a folder that may be written to",
     "the name is wrong, or the file is another user's", "name another file: zolt --keylog FILE"},
    {"listen", exit_code::usage, "ADDRESS:PORT", "the address, the colon or the port is missing",
     "--listen 127.0.0.1:1161"},
    {"listen", exit_code::other, "an address of this machine and a free port",
     "another program has the port, the address is not of this machine, or the port is below 1024 and needs a "
     "privilege",
     "another port: --listen 127.0.0.1:0"},
    {"input", exit_code::usage, "a packet in hexadecimal digits, or a file",
     "a name was mistyped, or something else was copied", "zolt decode --help"},
    {"input", exit_code::other, "a file that can be read", "the name is wrong, or the file is another user's",
     "zolt decode --help"},
    {"capture", exit_code::other, "a capture of the sessions", "it was made on an interface of another kind",
     "tcpdump -i any -w session.pcap port 161"},
    {"output", exit_code::other, "room for the output", "the disk is full, or the reader went away",
     "write it somewhere else"},
    {"key", exit_code::key, "a key file", "the file is damaged, or was made for something else", "zolt key --help"},
};

// For what this machine does not let happen.
constexpr row otherwise = {"", exit_code::other, "this machine to do as usual",
                           "its memory, its network or its permissions", "again with -v"};

}  // namespace

peer::failure with_all_texts(peer::failure why) {
  if (why.code == exit_code::interrupted) return why;
  const row *found = &otherwise;
  for (const row &each : rows) {
    if (each.step == why.step && each.code == why.code) found = &each;
  }
  if (why.expected.empty()) why.expected = found->expected;
  if (why.causes.empty()) why.causes = found->causes;
  if (why.advice.empty()) why.advice = found->advice;
  return why;
}

}  // namespace zolt
