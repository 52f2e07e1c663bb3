// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>

#include "peer/key_check.h"
#include "zolt/commands.h"
#include "zolt/output.h"

namespace zolt {
namespace {

using peer::key_line;
using peer::key_verdict;

const char *name_of(key_line::kind kind) {
  switch (kind) {
    case key_line::kind::modulus:
      return "modulus";
    case key_line::kind::exponent:
      return "exponent";
    case key_line::kind::skipped:
      return "skipped";
    case key_line::kind::ignored:
      return "ignored";
    default:
      return "stops";
  }
}

struct meaning {
  const char *name;
  const char *text;
};

meaning meaning_of(key_verdict verdict) {
  switch (verdict) {
    case key_verdict::unprotected:
      return {"unprotected",
              "nothing is loaded: the device would run WITHOUT PROTECTION and answer anyone in plain text"};
    case key_verdict::locked:
      return {"locked", "the device would accept no manager's signature, ever"};
    case key_verdict::forgeable:
      return {"forgeable", "the device would let in strangers, who can make signatures without the private key"};
    case key_verdict::questionable:
      return {"questionable", "the device would run with this key, but somebody should look at the file"};
    default:
      return {"good", "the device would let in the owner of the private key, and nobody else"};
  }
}

// A signature for a digest of everybody's choice, to be raised by whoever doubts it.
std::optional<std::pair<std::string, std::string>> example_of_forgery(const peer::key_check &checked) {
  peer::bytes digest(32);
  for (size_t i = 0; i < digest.size(); i++) digest[i] = static_cast<uint8_t>(0x11 * (i % 16));
  digest.back() |= 1;
  std::optional<peer::bytes> forged = peer::forge(checked.key, digest);
  if (!forged) return std::nullopt;
  return std::pair(peer::to_hex(digest), peer::to_hex(*forged));
}

void show_text(const std::string &path, const peer::key_check &checked) {
  fmt::print("{}\n", path);
  for (const key_line &line : checked.lines) {
    fmt::print("  line {:<3} {:<9} {} pairs of characters\n", line.number, name_of(line.is), line.pairs);
    for (const std::string &remark : line.remarks) fmt::print("           {}\n", remark);
  }
  if (checked.verdict == key_verdict::unprotected)
    fmt::print("  loads    nothing\n");
  else
    fmt::print("  loads    exponent {} (hex), modulus {} (hex)\n", peer::to_hex(checked.key.exponent),
               peer::to_hex(checked.key.modulus));
  meaning verdict = meaning_of(checked.verdict);
  fmt::print("{}: {}\n", verdict.name, verdict.text);
  for (const std::string &finding : checked.findings) fmt::print("  because  {}\n", finding);
  if (auto forgery = example_of_forgery(checked); forgery && checked.verdict == key_verdict::forgeable)
    fmt::print(
        "  proof    a signature whose power modulo the modulus ends in the digest\n"
        "           {}\n           is {}\n",
        forgery->first, forgery->second);
  if (checked.verdict == key_verdict::good) fmt::print("fingerprint {}\n", checked.key.fingerprint());
}

void show_json(const std::string &path, const peer::key_check &checked, peer::exit_code code) {
  nlohmann::ordered_json object = {{"ok", code == peer::exit_code::ok},
                                   {"exit", static_cast<int>(code)},
                                   {"file", path},
                                   {"verdict", meaning_of(checked.verdict).name},
                                   {"findings", checked.findings},
                                   {"lines", nlohmann::ordered_json::array()}};
  for (const key_line &line : checked.lines)
    object["lines"].push_back(
        {{"number", line.number}, {"kind", name_of(line.is)}, {"pairs", line.pairs}, {"remarks", line.remarks}});
  object["modulus"] = peer::to_hex(checked.key.modulus);
  object["exponent"] = peer::to_hex(checked.key.exponent);
  object["fingerprint"] = checked.key.fingerprint();
  if (auto forgery = example_of_forgery(checked); forgery && checked.verdict == key_verdict::forgeable)
    object["forgery"] = {{"digest", forgery->first}, {"signature", forgery->second}};
  print(object);
}

peer::exit_code check(const std::string &path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error))
    return complain({peer::exit_code::key, "key", fmt::format("{} is a folder", path), "a device's publickeys.dat",
                     "the folder was named, not the file in it",
                     fmt::format("zolt key check {}/publickeys.dat", path)});
  std::ifstream file(path, std::ios::binary);
  std::string content;
  if (file) content.assign(std::istreambuf_iterator<char>(file), {});
  if (!file)
    return complain({peer::exit_code::key, "key", fmt::format("{} cannot be read", path), "a device's publickeys.dat",
                     "it is not there; a device without one runs WITHOUT PROTECTION and answers anyone in plain text",
                     "make one with \"zolt key generate DIR\""});
  peer::key_check checked = peer::check_key_file(peer::bytes_of(content));
  peer::exit_code code = checked.verdict == key_verdict::good ? peer::exit_code::ok : peer::exit_code::key;
  if (output().json) {
    show_json(path, checked, code);
  } else if (!output().quiet) {
    show_text(path, checked);
  }
  return code;
}

}  // namespace

void add_key_check_command(CLI::App &key, peer::exit_code &exit) {
  CLI::App *command = key.add_subcommand("check", "Tell what a device would make of its key file, line by line");
  auto path = std::make_shared<std::string>();
  command->add_option("FILE", *path, "A device's publickeys.dat")->required();
  add_output_options(*command, true);
  command->footer(
      "Exits with 0 when the file is good, and with 3 otherwise.\n"
      "Examples:\n"
      "  zolt key check keys/publickeys.dat\n"
      "  zolt key check --json publickeys.dat\n"
      "  zolt key check -q publickeys.dat && scp publickeys.dat device:");
  command->callback([path, &exit] { exit = check(*path); });
}

}  // namespace zolt
