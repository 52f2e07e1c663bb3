// SPDX-License-Identifier: MIT
// A plug-in without a network, for tests of the host: it takes its part from a script, the file that
// the environment variable FAKE_SCRIPT names, one line for each call of ZOLT_receive:
//
//   request TEXT   deliver TEXT
//   bytes N        deliver N bytes
//   nothing        return -1, as for a read that brought no data
//   term-and-wait  a SIGTERM arrives just before a select() that nothing ends
//   pipe           a SIGPIPE arrives; return -1
//   hang           never return, whatever arrives
//   end            a SIGTERM arrives; return -1
//
// After the last line it waits like "select() that nothing ends". FAKE_CREATE=fail, FAKE_SEND=fail
// and FAKE_ENCRYPTION=0 do what they say. What happens is printed on standard output.
#include <libsec/zolt.h>
#include <sys/select.h>
#include <time.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

zolt_context the_context;
FILE *script;

bool environment_says(const char *name, const char *value) {
  const char *found = std::getenv(name);
  return found != nullptr && std::strcmp(found, value) == 0;
}

long milliseconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<long>(now.tv_sec % 100000) * 1000 + now.tv_nsec / 1000000;
}

int32_t nothing(uint8_t **data, int32_t *length) {
  *data = nullptr;
  *length = -1;
  return -1;
}

int32_t deliver(uint8_t **data, int32_t *length, size_t count) {
  *data = the_context.packet;
  *length = static_cast<int32_t>(count);
  return 0;
}

int32_t wait_in_select() {
  std::puts("waiting");
  select(0, nullptr, nullptr, nullptr, nullptr);
  return -1;
}

}  // namespace

LIBSEC_BEGIN

#ifndef FAKE_NO_FLAG
uint32_t full_encryption = 0;
#endif

zolt_context *ZOLT_create(void) {
  char line[100] = "no key file\n";
  if (FILE *keys = std::fopen("./publickeys.dat", "r")) {
    if (std::fgets(line, sizeof line, keys) == nullptr) line[0] = '\0';
    std::fclose(keys);
  }
  std::printf("created with %s", line);
#ifndef FAKE_NO_FLAG
  full_encryption = environment_says("FAKE_ENCRYPTION", "0") ? 0 : 1;
#endif
  const char *path = std::getenv("FAKE_SCRIPT");
  script = path == nullptr ? nullptr : std::fopen(path, "re");
  return environment_says("FAKE_CREATE", "fail") ? nullptr : &the_context;
}

int32_t ZOLT_receive(zolt_context *context, uint8_t **data, int32_t *length) {
  if (context != &the_context) std::puts("receive: this is not my context");
  std::printf("receive at %ld ms\n", milliseconds());
  char line[200];
  if (script == nullptr || std::fgets(line, sizeof line, script) == nullptr) return wait_in_select();
  line[std::strcspn(line, "\n")] = '\0';
  if (std::strncmp(line, "request ", 8) == 0) {
    std::strcpy(reinterpret_cast<char *>(the_context.packet), line + 8);
    return deliver(data, length, std::strlen(line + 8));
  }
  if (std::strncmp(line, "bytes ", 6) == 0) {
    const long count = std::strtol(line + 6, nullptr, 10);
    std::memset(the_context.packet, 'x', sizeof the_context.packet);
    return deliver(data, length, static_cast<size_t>(count));
  }
  if (std::strcmp(line, "term-and-wait") == 0) {
    std::raise(SIGTERM);
    return wait_in_select();
  }
  if (std::strcmp(line, "hang") == 0) {
    std::puts("hanging");
    for (;;) select(0, nullptr, nullptr, nullptr, nullptr);
  }
  if (std::strcmp(line, "pipe") == 0) std::raise(SIGPIPE);
  if (std::strcmp(line, "end") == 0) std::raise(SIGTERM);
  return nothing(data, length);
}

#ifndef FAKE_NO_SEND
int32_t ZOLT_send(zolt_context *context, uint8_t *buffer, int32_t length) {
  if (context != &the_context) std::puts("send: this is not my context");
  std::printf("sent %d: %.*s\n", length, length < 100 ? length : 0, reinterpret_cast<char *>(buffer));
  return environment_says("FAKE_SEND", "fail") ? -1 : 0;
}
#endif

int32_t ZOLT_destroy(zolt_context *context) {
  std::puts(context == &the_context ? "destroyed" : "destroy: this is not my context");
  return 0;
}

LIBSEC_END
