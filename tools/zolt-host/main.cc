// SPDX-License-Identifier: MIT
// zolt-host: loads the transport plug-in and runs the loop that a management agent runs.
#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/unistd.h"
#include "options.h"
#include "plugin.h"
#include "responder.h"
#include "service/notify.h"
#include "stop.h"
#include "wait.h"

namespace host {
namespace {

// After a receive that brought nothing, so that a failure which stays does not spin.
constexpr int32_t idle_pause_ms = 50;

// A program that is started without its standard streams would get its sockets and pipes under
// their numbers.
void fill_standard_streams() {
  int descriptor;
  do {
    descriptor = open("/dev/null", O_RDWR);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  if (descriptor >= 0) close(descriptor);
}

// The plug-in reads its key file from the working directory, so it is created in KEYDIR. Relative
// names elsewhere on the command line mean the caller's directory, so that one is returned to.
int create_in(const char *directory, const plugin &from, zolt_context **out) {
  const int caller = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (caller < 0) {
    std::fprintf(stderr, "zolt-host: cannot open the working directory: %s\n", std::strerror(errno));
    return exit_failed;
  }
  if (chdir(directory) != 0) {
    std::fprintf(stderr, "zolt-host: cannot enter the key folder %s: %s\n", directory, std::strerror(errno));
    close(caller);
    return exit_key;
  }
  *out = from.create();
  const int back = fchdir(caller);
  close(caller);
  if (*out == nullptr) {
    std::fprintf(stderr,
                 "zolt-host: the plug-in could not open port 161: it needs root or CAP_NET_BIND_SERVICE, and no\n"
                 "zolt-host: other agent may hold the port (see: ss -lntup 'sport = 161')\n");
    return exit_port;
  }
  if (back != 0) {
    std::fprintf(stderr, "zolt-host: cannot return to the working directory: %s\n", std::strerror(errno));
    return exit_failed;
  }
  return exit_stopped;
}

int check_protection(const plugin &from, const options &chosen) {
  if (from.full_encryption != nullptr && *from.full_encryption != 0) return exit_stopped;
  if (chosen.insecure) {
    std::fprintf(stderr, "zolt-host: WARNING: no key was accepted, so anyone is answered, in plain text\n");
    return exit_stopped;
  }
  std::fprintf(stderr,
               "zolt-host: the plug-in accepted no key from %s/publickeys.dat and would answer anyone in plain\n"
               "zolt-host: text; put a key file there (zolt key generate %s), or give --insecure\n",
               chosen.directory, chosen.directory);
  return exit_key;
}

void serve(const plugin &through, zolt_context *context, const responder &from) {
  while (!stop_requested()) {
    message request = {nullptr, -1};
    if (through.receive(context, &request.bytes, &request.length) != 0) {
      if (!stop_requested()) pause_ms(idle_pause_ms);
      continue;
    }
    message reply;
    if (!responder_answer(from, request, &reply)) continue;
    if (through.send(context, reply.bytes, reply.length) != 0 && !stop_requested()) {
      std::fprintf(stderr, "zolt-host: a reply of %d bytes could not be sent\n", reply.length);
    }
  }
}

int run(int argc, char **argv) {
  options chosen;
  int code = exit_stopped;
  if (!parse_options(argc, argv, &chosen, &code)) return code;
  fill_standard_streams();
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  stop_on_signals();
  plugin loaded;
  if (!plugin_load(chosen.library, &loaded)) return exit_plugin;
  responder from;
  if (!responder_open(chosen, &from)) return exit_failed;
  zolt_context *context = nullptr;
  code = create_in(chosen.directory, loaded, &context);
  if (code == exit_stopped) code = check_protection(loaded, chosen);
  if (code == exit_stopped) {
    std::fprintf(stderr, "zolt-host: serving port 161 with %s; SIGINT or SIGTERM ends it\n", chosen.library);
    service::notify(service::ready);
    serve(loaded, context, from);
    service::notify(service::stopping);
  }
  if (context != nullptr) loaded.destroy(context);
  if (stop_requested()) std::fprintf(stderr, "zolt-host: ended by a signal\n");
  return code;
}

}  // namespace
}  // namespace host

int main(int argc, char **argv) {
  return host::run(argc, argv);
}
