// SPDX-License-Identifier: MIT
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>

#include "zolt/bench.h"
#include "zolt/bench_svg.h"
#include "zolt/commands.h"
#include "zolt/connection.h"
#include "zolt/output.h"
#include "zolt/payloads.h"
#include "zolt/stop.h"

namespace zolt {
namespace {

// An SNMP request that every agent answers: the time since its start, from the community "public".
constexpr const char *usual_request =
    "3029020101 04067075626c6963 a01c 02047a6f6c74 020100 020100 300e 300c 06082b06010201010300 0500";
constexpr size_t most_samples = 1'000'000;  // 8 MB

struct bench_arguments {
  connection_options connection;
  payload_options payloads;
  size_t count = most_samples;
  double seconds = 5;
  std::string only;
  std::string svg;
};

// What was measured, under its name.
struct figure {
  const char *name;
  measurement made;
};

std::string rate(const measurement &made) {
  std::string text = fmt::format("{} in {:.1f} s, {:.1f} a second", made.ms.size(), made.seconds, made.per_second());
  return made.failed == 0 ? text : text + fmt::format("; {} failed", made.failed);
}

std::string times(const measurement &made) {
  quantiles is = quantiles_of(made.ms);
  return fmt::format("least {}, median {}, 90% {}, 99% {}, greatest {}", time_text(is.least), time_text(is.median),
                     time_text(is.p90), time_text(is.p99), time_text(is.greatest));
}

void show_text(const std::vector<figure> &figures) {
  for (const auto &[name, made] : figures) {
    fmt::print("{:<8}  {}\n", name, rate(made));
    if (made.ms.empty()) continue;
    fmt::print("{:<8}  {}\n", "", times(made));
    if (!output().quiet) fmt::print("{}", draw(histogram(made.ms), colored(STDOUT_FILENO)));
  }
  flush_output();
}

nlohmann::ordered_json to_json(const measurement &made) {
  quantiles is = quantiles_of(made.ms);
  auto bins = nlohmann::ordered_json::array();
  for (const bin &each : histogram(made.ms))
    bins.push_back({{"from", each.from}, {"to", each.to}, {"count", each.count}});
  return {{"count", made.ms.size()},
          {"failed", made.failed},
          {"seconds", made.seconds},
          {"per_second", made.per_second()},
          {"ms",
           {{"least", is.least},
            {"median", is.median},
            {"p90", is.p90},
            {"p99", is.p99},
            {"greatest", is.greatest},
            {"mean", is.mean}}},
          {"histogram", bins}};
}

void show_json(const peer::endpoint &device, const std::vector<figure> &figures, const peer::status &ran) {
  nlohmann::ordered_json object = {{"ok", true}, {"exit", 0}};
  if (!ran) object = zolt::to_json(ran.error());
  object["target"] = fmt::format("{}:{}", device.host, device.port);
  object["transport"] = device.over == peer::protocol::tcp ? "tcp" : "udp";
  for (const auto &[name, made] : figures) object[name] = to_json(made);
  print(object);
}

peer::failure unwritten(const std::string &path) {
  std::string why = std::strerror(errno);
  return {peer::exit_code::other, "svg", fmt::format("{} cannot be written: {}", path, why), {}, {}, {}};
}

using svg_file = std::unique_ptr<std::FILE, int (*)(std::FILE *)>;

peer::status write_svg(svg_file file, const bench_arguments &chosen, const std::vector<figure> &figures) {
  std::vector<chart> charts;
  for (const auto &[name, made] : figures)
    charts.push_back({fmt::format("{}: {}", name, rate(made)), times(made), histogram(made.ms)});
  std::string drawn = draw_svg("zolt bench " + peer::describe(chosen.connection.device()), charts);
  bool written = std::fwrite(drawn.data(), 1, drawn.size(), file.get()) == drawn.size();
  if (std::fclose(file.release()) != 0 || !written) return unwritten(chosen.svg);
  return peer::done;
}

// Measures until the limits or a failure, and leaves no session behind.
std::vector<figure> measure(const bench_arguments &chosen, peer::session &session, const peer::bytes &content,
                            peer::status &ran) {
  progress shown;
  bench one(session, shown, {chosen.count, std::chrono::duration<double>(chosen.seconds)});
  std::vector<figure> figures;
  if (chosen.only != "requests") figures.push_back({"sessions", one.sessions()});
  if (chosen.only != "sessions" && (figures.empty() || !figures.back().made.ended_by))
    figures.push_back({"requests", one.requests(content)});
  const auto &ended_by = figures.back().made.ended_by;
  peer::status closed = session.close();
  ran = ended_by ? peer::status(*ended_by) : closed;
  return figures;
}

peer::result<peer::bytes> content_of(const payload_options &options) {
  if (options.empty()) return *peer::from_hex(usual_request);
  peer::result<std::vector<payload>> payloads = read_payloads(options);
  if (!payloads) return payloads.error();
  if (payloads->size() == 1) return payloads->front().content;
  return peer::failure{peer::exit_code::usage,
                       "request",
                       "there is more than one request",
                       "one, which is sent again and again",
                       {},
                       {}};
}

peer::exit_code run(const bench_arguments &chosen) {
  peer::result<peer::bytes> content = content_of(chosen.payloads);
  if (!content) return complain(content.error());
  peer::result<peer::private_key> key = peer::private_key::load(chosen.connection.key_file);
  if (!key) return complain(key.error());
  // Before anything is measured: what cannot be kept need not be.
  svg_file file(chosen.svg.empty() ? nullptr : std::fopen(chosen.svg.c_str(), "we"), std::fclose);
  if (!chosen.svg.empty() && !file) return complain(unwritten(chosen.svg));
  session_setup with(chosen.connection, catch_signals());
  if (peer::status ready = with.prepare(); !ready) return complain(ready.error());
  with.options.pause_after_failure = peer::milliseconds(1000);
  peer::session session(*key, with.options);
  peer::status ran = peer::done;
  std::vector<figure> figures = measure(chosen, session, *content, ran);
  if (file) {
    if (peer::status written = write_svg(std::move(file), chosen, figures); !written && ran) ran = written;
  }
  if (output().json) {
    show_json(with.options.device, figures, ran);
  } else {
    show_text(figures);
  }
  if (!ran && !output().json) complain(ran.error());
  return ran ? peer::exit_code::ok : ran.error().code;
}

}  // namespace

void add_bench_command(CLI::App &app, peer::exit_code &exit) {
  CLI::App *command = app.add_subcommand("bench", "Measure sessions and round trips per second of a device");
  auto options = std::make_shared<bench_arguments>();
  add_connection_options(*command, options->connection);
  add_payload_options(*command, options->payloads);
  command->add_option("-n,--count", options->count, "End a measurement after so many")
      ->capture_default_str()
      ->check(CLI::Range(size_t{1}, most_samples))
      ->type_name("N");
  command->add_option("-s,--seconds", options->seconds, "End a measurement after so long")
      ->capture_default_str()
      ->check(CLI::Range(0.1, 86400.0))
      ->type_name("S");
  command->add_option("--only", options->only, "Measure one of the two: sessions, or requests")
      ->check(CLI::IsMember({"sessions", "requests"}))
      ->type_name("WHAT");
  command->add_option("--svg", options->svg, "Draw the histograms into a file, too")->type_name("FILE");
  add_output_options(*command, true);
  command->footer(
      "Measures sessions without a request first, then requests: PAYLOAD, or else an SNMP GetRequest that every\n"
      "agent answers. The device serves nobody else meanwhile. SIGINT logs out and shows what there is.\n"
      "Examples:\n"
      "  zolt bench 192.0.2.7 --key keys/private.pem\n"
      "  zolt bench 192.0.2.7 --key keys/private.pem --tcp --count 1000 --json\n"
      "  zolt bench 192.0.2.7 --key keys/private.pem --only requests --seconds 30 --svg requests.svg \"uptime\"");
  command->callback([options, &exit] { exit = run(*options); });
}

}  // namespace zolt
