// SPDX-License-Identifier: MIT
// The tunnel's plain side: requests of SNMP clients in datagrams, and the replies to them.
#pragma once

#include <sys/socket.h>

#include <deque>
#include <optional>

#include "peer/descriptor.h"
#include "peer/transport.h"

namespace zolt {

// Who sent a request.
struct client {
  sockaddr_storage address{};
  socklen_t length = 0;
  bool operator==(const client &other) const;
};

struct asked {
  client from;
  peer::bytes content;
  peer::clock::time_point last_heard;  // of its latest copy
};

// Requests in the order of their arrival. A client's identical retry joins the request that waits already.
class listener {
 public:
  // ADDRESS:PORT; port 0 takes a free one.
  static peer::result<listener> open(const std::string &where);

  // ADDRESS:PORT, as a client writes it.
  std::string address() const;

  // True when only programs of this machine reach it.
  bool is_local() const;

  // Takes what has arrived. Copies of `pending`, which is being answered, join it.
  void gather(const asked *pending = nullptr);

  // The next request whose client has not given up waiting by now.
  std::optional<asked> next();

  // A reply that cannot be sent is lost, as datagrams are.
  void answer(const asked &request, peer::byte_view reply) const;

  int socket() const { return socket_.get(); }
  size_t joined() const { return joined_; }  // retries that were not sent again

 private:
  explicit listener(peer::descriptor socket) : socket_(std::move(socket)) {}
  void take(asked arrived, const asked *pending);

  peer::descriptor socket_;
  std::deque<asked> waiting_;
  size_t joined_ = 0;
};

}  // namespace zolt
