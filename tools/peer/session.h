// SPDX-License-Identifier: MIT
// One session with a device: open() makes the key exchange and logs in, request() sends a message to the
// device's agent and returns its reply, close() logs out.
#pragma once

#include <functional>
#include <memory>

#include "peer/dh.h"
#include "peer/keys.h"
#include "peer/transport.h"
#include "peer/wire.h"

namespace peer {

// A device ends every session 180 s after its key exchange, whatever traffic there was, and a key
// exchange without a login after 10 s. In that time it serves nobody else.
inline constexpr std::chrono::seconds session_lifetime{180};
inline constexpr std::chrono::seconds login_time_limit{10};

// One exchange with the device, or the connecting before it, as it went.
struct step_report {
  std::string_view step;    // "connect", "WAKE", "LGIN", "ENCR" or "LOUT"
  std::string_view answer;  // "WRSP", "ACK1", "ENCR", "ACK2"; empty for "connect"
  size_t sent_bytes = 0;
  size_t received_bytes = 0;
  int times_sent = 0;
  clock::duration took{};
};

// What a session tells while it runs. Texts and packets never hold keys.
class session_observer {
 public:
  virtual ~session_observer() = default;
  virtual void on_step(const step_report &) {}             // an exchange succeeded
  virtual void on_note(const std::string &) {}             // something out of the ordinary, in one line
  virtual void on_packet(bool /*outgoing*/, byte_view) {}  // a whole packet, as on the wire
};

struct session_options {
  endpoint device;
  // How long each step waits for its answer.
  milliseconds timeout{3000};
  // Over UDP, packets that may be repeated are sent again after this time. One a second is what a device
  // bears that counts refused packets.
  milliseconds resend_after{1000};
  // Over TCP, a connection that was silent for this time is replaced before it is used again: the device
  // turns away from one after 5 s, without closing it.
  milliseconds reconnect_after{4000};
  // After a failed exchange, until one succeeds again, packets are at least so far apart.
  milliseconds pause_after_failure{0};
  dh_group group = dh_group::oakley2();
  session_observer *observer = nullptr;  // outlives the session
  // When this descriptor is readable, opening and requesting end with the failure `interrupted`. Closing
  // goes on: it is what an interrupted program has to do.
  int stop = -1;
  // Is handed the key of each key exchange, for deciphering captures: whoever reads it reads the session.
  std::function<void(uint32_t session_id, byte_view key)> key_log;
};

// Whether a reply answers the request that waits for one.
using reply_check = std::function<bool(byte_view reply)>;

// Not for use by several threads at once. A device is used by one session at a time.
class session {
 public:
  // The key outlives the session.
  session(const private_key &key, session_options options);

  // Logs out when that is still to be done, without complaint.
  ~session();
  session(const session &) = delete;
  session &operator=(const session &) = delete;

  // After a failure the session is closed, and what the device holds of it is ended where possible. A
  // key exchange whose answer was lost cannot be ended from here: the device forgets it after
  // login_time_limit, and a longer timeout outlasts that.
  status open();

  // A request is never sent twice, because the device's agent may have carried it out. After a failure
  // replies cannot be told apart any more, so that only close() is left. A reply that `answers` says no
  // to is not taken: over UDP the right one is waited for, over TCP it is a failure.
  result<bytes> request(byte_view content, const reply_check &answers = {});

  // Closed afterwards, also after a failure.
  status close();

  // True when a request got no answer, though over TCP it cannot have been lost, and the device then
  // confirmed the end of the session. So its agent had the request and came back without a reply: the
  // protocol has no packet that would say so. Known after close().
  bool agent_was_silent() const { return agent_was_silent_; }

  bool is_open() const { return state_ == state::logged_in; }
  uint32_t id() const { return id_; }

  // Since the key exchange.
  clock::duration age() const { return clock::now() - keyed_at_; }

 private:
  // What the device holds of this session.
  enum class state { closed, keyed, logged_in, out_of_step };
  using parser = std::function<result<bytes>(byte_view)>;

  // One packet to the device and its answer back.
  struct exchange {
    std::string_view step;
    std::string_view answer;
    bytes packet;
    parser parse;
    bool repeatable;
    milliseconds timeout;
  };

  status connect();
  status open_once();
  status wake();
  status login();
  status logout(milliseconds timeout);
  status send_logout(milliseconds timeout);
  bool abandon();
  void forget();
  status pace();
  bool stopped() const;
  failure interruption(std::string_view step) const;
  exchange about(std::string_view step, std::string_view answer, bytes packet, parser parse) const;
  result<bytes> run(const exchange &what);
  result<bytes> await(const exchange &what, clock::time_point started);
  result<bytes> exchange_once(const exchange &what);
  failure explain(failure why, const exchange &what) const;
  void report(const exchange &what, size_t received_bytes, int times_sent, clock::time_point started) const;
  void note(const std::string &text) const;

  const private_key &signing_key_;
  session_options options_;
  std::unique_ptr<transport> transport_;
  state state_ = state::closed;
  clock::time_point last_used_{};
  clock::time_point last_sent_{};
  bool failed_ = false;        // the last exchange
  bool closing_ = false;       // stop does not count any more
  bool nothing_came_ = false;  // in the last exchange, within its time
  bool late_reply_ = false;    // came while logging out
  bool agent_was_silent_ = false;
  uint32_t id_ = 0;
  secret_bytes key_;
  clock::time_point keyed_at_{};
};

}  // namespace peer
