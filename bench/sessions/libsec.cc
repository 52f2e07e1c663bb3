// SPDX-License-Identifier: MIT
// libsec behind zolt-host --echo, and the peer's library as its manager.
#include <cstdio>
#include <cstdlib>

#include "exchange.h"
#include "peer/session.h"
#include "process.h"

namespace bench {
namespace {

// What both transports share: one device, and the manager's key for it.
struct device {
  static std::shared_ptr<device> start(const std::string &host, const std::string &library) {
    peer::result<peer::private_key> made = peer::private_key::generate();
    if (!made) return nullptr;
    char folder[] = "/tmp/bench-keys-XXXXXX";
    if (mkdtemp(folder) == nullptr || !peer::write_key_files(*made, folder, false)) return nullptr;
    auto result = std::make_shared<device>(std::move(*made), folder,
                                           std::vector<std::string>{host, "--lib", library, "--dir", folder, "--echo"});
    return wait_for_udp_port(161) ? result : nullptr;
  }
  device(peer::private_key made, const char *in, const std::vector<std::string> &command)
      : key(std::move(made)), folder(in), host(command) {}
  ~device() {
    const peer::key_files files = peer::key_files_in(folder);
    std::remove(files.private_pem.c_str());
    std::remove(files.publickeys.c_str());
    std::remove(folder.c_str());
  }
  peer::private_key key;
  std::string folder;
  process host;
};

class libsec_exchange : public exchange, peer::session_observer {
 public:
  libsec_exchange(std::string name, std::shared_ptr<device> with, peer::protocol over)
      : exchange(std::move(name)), device_(std::move(with)) {
    options_.device = {"127.0.0.1", 161, over};
    options_.observer = this;
  }
  std::optional<opening> open() override {
    answered_.clear();
    session_ = std::make_unique<peer::session>(device_->key, options_);
    if (peer::status opened = session_->open(); !opened) {
      std::fprintf(stderr, "%s: %s\n", name().c_str(), peer::describe(opened.error()).c_str());
      return std::nullopt;
    }
    if (answered_.size() != 2) return std::nullopt;
    return opening{answered_[0], answered_[1]};
  }
  bool round_trip() override {
    peer::result<peer::bytes> reply = session_->request(content_);
    return reply && *reply == content_;
  }
  bool close() override { return bool{session_->close()}; }
  pid_t server() const override { return device_->host.id(); }

 private:
  // From before the packet leaves until its answer has arrived: what the manager calculates with the
  // answer is taken off again. (When on_packet() tells of the packet that leaves, the device may have
  // worked on it already.)
  void on_packet(bool outgoing, peer::byte_view) override {
    if (!outgoing) arrived_ = stopwatch();
  }
  void on_step(const peer::step_report &report) override {
    if (report.answer.empty()) return;
    const double took = std::chrono::duration<double, std::micro>(report.took).count();
    answered_.push_back(took - arrived_.microseconds());
  }
  std::shared_ptr<device> device_;
  peer::session_options options_;
  std::unique_ptr<peer::session> session_;
  const peer::bytes content_ = peer::bytes(request_bytes, 'r');
  stopwatch arrived_;
  std::vector<double> answered_;
};

}  // namespace

void add_libsec(exchanges &all, const std::string &host, const std::string &library) {
  const std::shared_ptr<device> with = device::start(host, library);
  if (with == nullptr) {
    std::fprintf(stderr, "libsec: zolt-host has not started\n");
    return;
  }
  all.push_back(std::make_unique<libsec_exchange>("libsec over UDP", with, peer::protocol::udp));
  all.push_back(std::make_unique<libsec_exchange>("libsec over TCP", with, peer::protocol::tcp));
}

}  // namespace bench
