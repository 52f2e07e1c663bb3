// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "peer/session.h"
#include "zolt/listener.h"

namespace zolt {

struct tunnel_options {
  // A session older than this is replaced between two requests, before the device ends it.
  peer::clock::duration renew_after{};
  // How long the first session is tried for; later ones are tried for until they are there.
  peer::clock::duration patience{};
  // Readable when the tunnel is to end.
  int stop = -1;
  // Takes what is worth a line.
  std::function<void(const std::string &)> say;
};

// Carries requests of a listener, one at a time, through sessions with one device.
class tunnel {
 public:
  // All of these outlive the tunnel. The session paces itself after a failure.
  tunnel(peer::session &session, listener &plain, tunnel_options options)
      : session_(session), plain_(plain), options_(std::move(options)) {}

  // The first session.
  peer::status open();

  // Serves until the time has come to stop. Leaves a session for the caller to close.
  void run();

 private:
  peer::status open_until(peer::clock::time_point deadline);
  void renew();
  void serve(const asked &request);
  bool stopped() const;
  peer::clock::time_point renewal() const;

  peer::session &session_;
  listener &plain_;
  tunnel_options options_;
};

}  // namespace zolt
