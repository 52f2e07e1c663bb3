// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>

#include "peer/result.h"

namespace zolt {

// A command line that could not be read, as a failure: it names the word that nobody knows and, where one
// is close, the word that was probably meant.
peer::failure explain_command_line(const CLI::App &app, const CLI::ParseError &error);

}  // namespace zolt
