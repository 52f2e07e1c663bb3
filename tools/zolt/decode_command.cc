// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>

#include "peer/gathering.h"
#include "peer/hex_dump.h"
#include "peer/reading.h"
#include "zolt/commands.h"
#include "zolt/connection.h"
#include "zolt/decode_capture.h"
#include "zolt/decode_show.h"
#include "zolt/output.h"

namespace zolt {
namespace {

constexpr size_t most_bytes = 256 << 20;  // of what cannot be read twice

struct decode_options {
  std::vector<std::string> input;
  std::string key_log;
  uint16_t port = 161;
};

peer::failure unreadable(const std::string &name, const char *why) {
  return {peer::exit_code::other,
          "input",
          fmt::format("{} cannot be read: {}", name, why),
          "a capture file, a file of hexadecimal digits, or - for standard input",
          {},
          "zolt decode --help"};
}

struct closer {
  void operator()(std::FILE *file) const {
    if (file != stdin) std::fclose(file);
  }
};
using file_owner = std::unique_ptr<std::FILE, closer>;

peer::result<peer::bytes> read_all(std::FILE *file, const std::string &name) {
  peer::bytes content;
  uint8_t chunk[16384];
  while (size_t got = std::fread(chunk, 1, sizeof chunk, file)) {
    peer::append(content, {chunk, got});
    if (content.size() > most_bytes) return unreadable(name, "it is too long");
  }
  if (std::ferror(file) != 0) return unreadable(name, std::strerror(errno));
  return content;
}

// Reads packets, shows them, and remembers what the later ones need: the prime of each session.
class decoder {
 public:
  decoder(peer::key_ring keys, uint16_t port) : keys_(std::move(keys)), port_(port) {}

  void take(peer::byte_view captured, size_t length, const peer::sighting *seen) {
    std::optional<peer::bytes> prime;
    bool has_header = captured.size() >= 16;
    if (auto known = primes_.find(has_header ? peer::read32(captured, 12) : 0); known != primes_.end())
      prime = known->second;
    peer::reading packet = peer::read_packet(captured, length, keys_, prime);
    if (packet.prime) primes_[peer::read32(captured, 12)] = *packet.prime;
    if (seen != nullptr && count_ == 0) since_ = seen->seconds;
    count_++;
    if (!packet.is_good()) wrong_++;
    show_packet(packet, seen, port_, since_);
  }

  size_t count() const { return count_; }
  size_t wrong() const { return wrong_; }
  peer::exit_code exit() const { return wrong_ != 0 ? peer::exit_code::verification : peer::exit_code::ok; }

 private:
  peer::key_ring keys_;
  uint16_t port_;
  std::map<uint32_t, peer::bytes> primes_;
  double since_ = 0;
  size_t count_ = 0;
  size_t wrong_ = 0;
};

peer::exit_code decode_capture(std::FILE *file, const std::string &name, uint16_t port, decoder &into) {
  peer::gatherer gathered(
      port, [&](const peer::gathered_packet &each) { into.take(each.captured, each.length, &each.seen); });
  peer::status read = read_capture(
      file, name, [&](size_t frame, double seconds, peer::byte_view ip) { gathered.add(frame, seconds, ip); });
  gathered.finish();
  if (!read) return complain(read.error());
  if (into.count() == 0)
    return complain({peer::exit_code::other, "capture",
                     fmt::format("{} has no packet of the protocol on port {}", name, port),
                     "UDP or TCP packets over IPv4 from or to that port",
                     "another port, another interface, or a capture that began too late", "--port"});
  if (!output().json && !output().quiet) {
    fmt::print("{} packets, {} of them wrong\n", into.count(), into.wrong());
    if (gathered.foreign() != 0)
      fmt::print("{} datagrams or pieces of streams on port {} were something else\n", gathered.foreign(), port);
  }
  return into.exit();
}

// What is no capture: digits, or a packet as it is.
peer::exit_code decode_bytes(const peer::bytes &content, decoder &into) {
  if (peer::is_packet_kind(content)) {
    into.take(content, content.size(), nullptr);
    return into.exit();
  }
  peer::result<std::vector<peer::bytes>> packets = peer::read_hex_dump(peer::text_of(content));
  if (!packets) {
    packets.error().step = "input";
    packets.error().advice = "zolt decode --help";
    return complain(packets.error());
  }
  for (const peer::bytes &each : *packets) into.take(each, each.size(), nullptr);
  return into.exit();
}

// A capture can be large, so that one in an ordinary file is read piece by piece.
peer::exit_code decode_file(file_owner file, const std::string &name, uint16_t port, decoder &into) {
  struct stat found {};
  if (::fstat(::fileno(file.get()), &found) != 0) return complain(unreadable(name, std::strerror(errno)));
  if (S_ISDIR(found.st_mode)) return complain(unreadable(name, std::strerror(EISDIR)));
  if (S_ISREG(found.st_mode) && file.get() != stdin) {
    uint8_t first[4];
    size_t got = std::fread(first, 1, sizeof first, file.get());
    std::rewind(file.get());
    if (begins_a_capture({first, got})) return decode_capture(file.release(), name, port, into);
  }
  peer::result<peer::bytes> content = read_all(file.get(), name);
  if (!content) return complain(content.error());
  if (!begins_a_capture(*content)) return decode_bytes(*content, into);
  std::FILE *memory = ::fmemopen(content->data(), content->size(), "rb");
  if (memory == nullptr) return complain(unreadable(name, std::strerror(errno)));
  return decode_capture(memory, name, port, into);
}

bool is_file(const std::string &name) {
  struct stat found {};
  return ::stat(name.c_str(), &found) == 0;
}

peer::exit_code decode_input(const decode_options &options, decoder &into) {
  if (options.input.empty() || (options.input.size() == 1 && options.input[0] == "-"))
    return decode_file(file_owner(stdin), "standard input", options.port, into);
  if (options.input.size() == 1 && is_file(options.input[0])) {
    file_owner file(std::fopen(options.input[0].c_str(), "rbe"));
    if (!file) return complain(unreadable(options.input[0], std::strerror(errno)));
    return decode_file(std::move(file), options.input[0], options.port, into);
  }
  std::string digits = fmt::format("{}", fmt::join(options.input, " "));
  if (digits.find_first_of("0123456789abcdefABCDEF") != std::string::npos && peer::read_hex_dump(digits))
    return decode_bytes(peer::bytes_of(digits), into);
  return complain(
      {peer::exit_code::usage,
       "input",
       fmt::format("\"{}\" is neither a file nor a byte string in hexadecimal digits", digits.substr(0, 60)),
       "a capture file, a file of hexadecimal digits, the digits themselves, or -",
       {},
       "zolt decode --help"});
}

peer::exit_code decode(const decode_options &options) {
  const char *from_environment = std::getenv("ZOLT_KEYLOG");
  std::string name = options.key_log;
  if (name.empty()) name = key_log_name();
  if (name.empty() && from_environment != nullptr) name = from_environment;
  peer::key_ring keys;
  if (!name.empty()) {
    peer::result<peer::key_ring> read = peer::key_ring::read(name);
    if (!read) return complain(read.error());
    keys = std::move(*read);
    if (keys.odd_lines() != 0) warn(fmt::format("{}: {} lines are neither keys nor comments", name, keys.odd_lines()));
  }
  decoder into(std::move(keys), options.port);
  return decode_input(options, into);
}

}  // namespace

void add_decode_command(CLI::App &app, peer::exit_code &exit) {
  CLI::App *command = app.add_subcommand("decode", "Show packets field by field, and what is wrong with them");
  auto options = std::make_shared<decode_options>();
  command
      ->add_option("INPUT", options->input,
                   "A capture (pcap or pcapng), a file of hexadecimal digits or of one packet, the digits themselves, "
                   "or - for standard input (the default)")
      ->type_name("");
  command
      ->add_option("--keylog", options->key_log,
                   "Decipher payloads with the keys in this file (also: zolt --keylog, ZOLT_KEYLOG)")
      ->type_name("FILE");
  command->add_option("-p,--port", options->port, "The devices' port in a capture")
      ->capture_default_str()
      ->check(CLI::Range(1, 65535))
      ->type_name("N");
  command->add_flag("-v,--verbose", output().verbosity, "Show the fields of a capture's packets, too");
  add_output_options(*command, true);
  command->footer(
      "Exits with 6 when a packet, or the capture, is wrong.\n"
      "Examples:\n"
      "  zolt decode session.pcap --keylog keys.log\n"
      "  zolt decode 4c4f5554 00200100 00000040 11223344 70b9cbc8 e2152748 d9b3a29d 957549d1\n"
      "  zolt decode --json - < packet.txt");
  command->callback([options, &exit] { exit = decode(*options); });
}

}  // namespace zolt
