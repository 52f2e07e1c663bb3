// SPDX-License-Identifier: MIT
// The plug-in as a host sees it: four names and a flag, found in a library that is loaded by path.
#pragma once

#include <libsec/zolt.h>

namespace host {

struct plugin {
  decltype(&ZOLT_create) create = nullptr;
  decltype(&ZOLT_receive) receive = nullptr;
  decltype(&ZOLT_send) send = nullptr;
  decltype(&ZOLT_destroy) destroy = nullptr;
  const uint32_t *full_encryption = nullptr;  // null when the plug-in has no such flag
};

// plugin_load loads the library at `path` (a path even without a slash: no search) for the rest of
// the process's life and looks the names up. Result: false after a message on standard error.
bool plugin_load(const char *path, plugin *out);

}  // namespace host
