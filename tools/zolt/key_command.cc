// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>

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
  if (output().json) {
    print({{"ok", true}, {"exit", 0}, {"private_pem", files->private_pem}, {"publickeys", files->publickeys}});
  } else if (!output().quiet) {
    fmt::print("{}  the manager's private key: keep it here, and secret\n", files->private_pem);
    fmt::print("{}  the device's key file: put it into the agent's working directory\n", files->publickeys);
  }
  return peer::exit_code::ok;
}

// The text can be put on a device as it is.
peer::exit_code show(const std::string &path) {
  peer::result<peer::public_key> key = peer::read_public_key(path);
  if (!key) return complain(key.error());
  if (output().json) {
    print({{"ok", true},
           {"exit", 0},
           {"fingerprint", key->fingerprint()},
           {"modulus", peer::to_hex(key->modulus)},
           {"exponent", peer::to_hex(key->exponent)},
           {"publickeys", key->publickeys()}});
    return peer::exit_code::ok;
  }
  if (!output().quiet) fmt::print(stderr, "fingerprint {}\n", key->fingerprint());
  fmt::print("{}", key->publickeys());
  return peer::exit_code::ok;
}

void add_show_command(CLI::App &key, peer::exit_code &exit) {
  CLI::App *command = key.add_subcommand("show", "Show a key's fingerprint, and the text of the device's key file");
  auto path = std::make_shared<std::string>();
  command->add_option("FILE", *path, "A private or public key, a PEM file")->required();
  add_output_options(*command, true);
  command->footer(
      "The fingerprint goes to standard error, the text to standard output.\n"
      "Examples:\n"
      "  zolt key show keys/private.pem\n"
      "  zolt key show -q public.pem > publickeys.dat\n"
      "  zolt key show keys/private.pem --json");
  command->callback([path, &exit] { exit = show(*path); });
}

}  // namespace

void add_key_command(CLI::App &app, peer::exit_code &exit) {
  CLI::App *key = app.add_subcommand("key", "Make, show and check the keys of a manager and its devices");
  key->require_subcommand(1);
  CLI::App *command = key->add_subcommand("generate", "Make an RSA-1024 key pair: private.pem and publickeys.dat");
  auto options = std::make_shared<generate_options>();
  command->add_option("DIR", options->folder, "The folder for both files; made when it is not there")
      ->required()
      ->check([](const std::string &folder) { return folder.empty() ? "an empty name" : ""; });
  add_output_options(*command, true);
  command->add_flag("--force", options->force, "Replace keys that are there, for good");
  command->footer(
      "Examples:\n"
      "  zolt key generate keys\n"
      "  zolt key generate ~/.config/zolt/lab\n"
      "  zolt key generate keys --force");
  command->callback([options, &exit] { exit = generate(*options); });
  add_show_command(*key, exit);
  add_key_check_command(*key, exit);
}

}  // namespace zolt
