// SPDX-License-Identifier: MIT
#include "plugin.h"

#include <dlfcn.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace host {
namespace {

template <typename Function>
bool look_up(void *library, const char *path, const char *name, Function *out) {
  void *address = dlsym(library, name);
  if (address == nullptr) {
    std::fprintf(stderr, "zolt-host: %s exports no '%s': it is no transport plug-in\n", path, name);
    return false;
  }
  std::memcpy(out, &address, sizeof address);
  return true;
}

}  // namespace

bool plugin_load(const char *path, plugin *out) {
  // dlopen() searches the system's library folders for a name without a slash; a whole path is
  // taken as it is.
  static char whole_path[PATH_MAX];
  if (realpath(path, whole_path) == nullptr) {
    std::fprintf(stderr, "zolt-host: cannot load %s: %s\n", path, std::strerror(errno));
    return false;
  }
  void *library = dlopen(whole_path, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "zolt-host: cannot load %s: %s\nzolt-host: is it built for this machine?\n", path, dlerror());
    return false;
  }
  out->full_encryption = static_cast<const uint32_t *>(dlsym(library, "full_encryption"));
  return look_up(library, path, "ZOLT_create", &out->create) && look_up(library, path, "ZOLT_receive", &out->receive) &&
         look_up(library, path, "ZOLT_send", &out->send) && look_up(library, path, "ZOLT_destroy", &out->destroy);
}

}  // namespace host
