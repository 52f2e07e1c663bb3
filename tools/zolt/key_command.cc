// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <memory>

#include "peer/keys.h"
#include "zolt/commands.h"
#include "zolt/output.h"

namespace zolt {
namespace {

struct generate_options {
  std::string folder;
  bool force = false;
};

peer::exit_code generate(const generate_options &options) {
  peer::result<peer::private_key> key = peer::private_key::generate();
  if (!key) return complain(key.error());
  peer::result<peer::key_files> files = peer::write_key_files(*key, options.folder, options.force);
  if (!files) return complain(files.error());
  fmt::print("{}  the manager's private key: keep it here, and secret\n", files->private_pem);
  fmt::print("{}  the device's key file: put it into the agent's working directory\n", files->publickeys);
  return peer::exit_code::ok;
}

}  // namespace

void add_key_command(CLI::App &app, peer::exit_code &exit) {
  CLI::App *key = app.add_subcommand("key", "Make the keys of a manager and its devices");
  key->require_subcommand(1);
  CLI::App *command = key->add_subcommand("generate", "Make an RSA-1024 key pair: private.pem and publickeys.dat");
  auto options = std::make_shared<generate_options>();
  command->add_option("DIR", options->folder, "The folder for both files; made when it is not there")
      ->required()
      ->check([](const std::string &folder) { return folder.empty() ? "an empty name" : ""; });
  command->add_flag("--force", options->force, "Replace keys that are there, for good");
  command->footer(
      "Examples:\n"
      "  zolt key generate keys\n"
      "  zolt key generate ~/.config/zolt/lab\n"
      "  zolt key generate keys --force");
  command->callback([options, &exit] { exit = generate(*options); });
}

}  // namespace zolt
