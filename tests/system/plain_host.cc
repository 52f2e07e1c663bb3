// SPDX-License-Identifier: MIT
// plain_host LIBRARY: the smallest host, which echoes every request and never pauses. It gets through
// thousands of connections in the time that a host which pauses needs for a few.
#include <dlfcn.h>
#include <libsec/zolt.h>

#include <cstdio>
#include <cstring>

template <typename Function>
static bool look_up(void *library, const char *name, Function *out) {
  void *address = dlsym(library, name);
  std::memcpy(out, &address, sizeof address);
  return address != nullptr;
}

int main(int argc, char **argv) {
  void *library = argc == 2 ? dlopen(argv[1], RTLD_NOW) : nullptr;
  decltype(&ZOLT_create) create;
  decltype(&ZOLT_receive) receive;
  decltype(&ZOLT_send) send;
  if (library == nullptr || !look_up(library, "ZOLT_create", &create) || !look_up(library, "ZOLT_receive", &receive) ||
      !look_up(library, "ZOLT_send", &send)) {
    return 3;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  zolt_context *context = create();
  if (context == nullptr) return 4;
  std::fputs("ready\n", stderr);
  for (;;) {
    uint8_t *data;
    int32_t length;
    if (receive(context, &data, &length) == 0) (void)send(context, data, length);
  }
}
