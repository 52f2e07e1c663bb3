// SPDX-License-Identifier: MIT
#include "options.h"

#include <getopt.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace host {
namespace {

constexpr char help[] =
    "usage: zolt-host --lib PATH --dir KEYDIR (--echo | --forward HOST:PORT | --exec CMD) [OPTION...]\n"
    "\n"
    "Loads the transport plug-in and serves port 161 as a management agent does: receives a request,\n"
    "has it answered, sends the reply.\n"
    "\n"
    "  --lib PATH            the plug-in, libsec.so\n"
    "  --dir KEYDIR          the folder that holds the key file publickeys.dat\n"
    "\n"
    "Who answers, one of:\n"
    "  --echo                every reply is its request\n"
    "  --forward HOST:PORT   a UDP agent, such as snmpd: one datagram out and one back\n"
    "  --exec CMD            a shell command: request on standard input, reply on standard output;\n"
    "                        it has to end with status 0\n"
    "\n"
    "Options:\n"
    "  --timeout MS          how long an agent or a command may take, 1 to 60000 (2000); then the\n"
    "                        request stays without a reply\n"
    "  --insecure            serve also when no key was accepted: ANYONE is then answered, in plain text\n"
    "  --help                print this and end\n"
    "\n"
    "Standard output carries the plug-in's own lines; what zolt-host says goes to standard error.\n"
    "\n"
    "Exit codes: 0 ended by SIGINT or SIGTERM; 1 failed; 2 wrong command line; 3 the plug-in could not\n"
    "be loaded; 4 port 161 could not be had; 5 no key was accepted.\n"
    "\n"
    "Examples:\n"
    "  zolt-host --lib ./libsec.so --dir /etc/zolt --forward 127.0.0.1:1161\n"
    "  zolt-host --lib ./libsec.so --dir /etc/zolt --exec 'tr a-z A-Z'\n";

constexpr option long_options[] = {
    {"lib", required_argument, nullptr, 'l'},
    {"dir", required_argument, nullptr, 'd'},
    {"echo", no_argument, nullptr, 'e'},
    {"forward", required_argument, nullptr, 'f'},
    {"exec", required_argument, nullptr, 'x'},
    {"timeout", required_argument, nullptr, 't'},
    {"insecure", no_argument, nullptr, 'i'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
};

bool usage(const char *problem, int *code) {
  if (problem != nullptr) std::fprintf(stderr, "zolt-host: %s\n", problem);
  std::fprintf(stderr, "zolt-host: try 'zolt-host --help'\n");
  *code = exit_usage;
  return false;
}

bool parse_timeout(const char *text, int32_t *out) {
  char *end = nullptr;
  const long value = std::strtol(text, &end, 10);
  if (end == text || *end != '\0' || value < 1 || value > 60000) return false;
  *out = static_cast<int32_t>(value);
  return true;
}

// HOST:PORT with something on either side of the last colon; whether they exist is seen later.
bool is_address(const char *text) {
  const char *colon = std::strrchr(text, ':');
  return colon != nullptr && colon != text && colon[1] != '\0';
}

bool complete(const options &chosen, int responders, int *code) {
  if (chosen.library == nullptr) return usage("--lib PATH is missing: the plug-in, for example ./libsec.so", code);
  if (chosen.directory == nullptr) return usage("--dir KEYDIR is missing: the folder with publickeys.dat", code);
  if (responders != 1) return usage("exactly one of --echo, --forward and --exec is needed", code);
  if (chosen.kind == responder_kind::forward && !is_address(chosen.target)) {
    return usage("--forward takes HOST:PORT, for example 127.0.0.1:1161", code);
  }
  return true;
}

}  // namespace

bool parse_options(int argc, char **argv, options *out, int *code) {
  int responders = 0;
  const auto respond = [&](responder_kind kind, const char *target) {
    responders++;
    out->kind = kind;
    out->target = target;
  };
  int letter;
  while ((letter = getopt_long(argc, argv, "", long_options, nullptr)) != -1) {
    switch (letter) {
      case 'l':
        out->library = optarg;
        break;
      case 'd':
        out->directory = optarg;
        break;
      case 'e':
        respond(responder_kind::echo, nullptr);
        break;
      case 'f':
        respond(responder_kind::forward, optarg);
        break;
      case 'x':
        respond(responder_kind::exec, optarg);
        break;
      case 'i':
        out->insecure = true;
        break;
      case 't':
        if (!parse_timeout(optarg, &out->timeout_ms)) return usage("--timeout takes 1 to 60000 milliseconds", code);
        break;
      case 'h':
        std::fputs(help, stdout);
        *code = exit_stopped;
        return false;
      default:
        return usage(nullptr, code);  // getopt_long has said what is wrong
    }
  }
  if (optind != argc) return usage("every argument belongs to an option; quote a command that has blanks", code);
  return complete(*out, responders, code);
}

}  // namespace host
