// SPDX-License-Identifier: MIT
#include "peer/advice.h"

#include <fmt/format.h>

namespace peer {
namespace {

struct texts {
  std::string_view causes;
  std::string advice;
};

std::string other_protocol(const endpoint &device) {
  return device.over == protocol::tcp ? "--udp" : "--tcp";
}

texts for_silence(std::string_view step, const endpoint &device) {
  if (step == "connect")
    return {"the device is off, the address is wrong, or the port is filtered",
            fmt::format("ping {}; {}", device.host, other_protocol(device))};
  if (step == "WAKE")
    return {"key not accepted, another manager's session still live (up to 180 s), or port filtered",
            fmt::format("{}; a longer --timeout; later again; or compare the device's publickeys.dat with the one "
                        "beside the private key",
                        other_protocol(device))};
  if (step == "LGIN")
    return {"packets were lost, the two sides do not share the secret, or another manager was first",
            fmt::format("again; {}", other_protocol(device))};
  if (step == "ENCR")
    return {
        "the agent behind the device is slow or did not answer, or a packet was lost; the request was not "
        "repeated, because it may have been carried out",
        fmt::format("a longer --timeout{}", device.over == protocol::udp ? "; --tcp" : "")};
  return {"the answer was lost, or the session's 180 s were over",
          "nothing if the next session opens; otherwise wait up to 180 s"};
}

texts for_refusal(std::string_view step, const endpoint &device) {
  if (step == "ENCR")
    return {"the device's agent ended or was restarted while it held the request, which may have been carried out",
            "look at the agent's log on the device; again when it runs"};
  // Only a connection can be refused after it was made; a datagram is refused by the system behind it.
  if (step == "connect" || device.over == protocol::udp)
    return {"no agent listens on that port, or a firewall refuses it",
            fmt::format("start the device's agent; check --port; {}", other_protocol(device))};
  if (step == "WAKE")
    return {"the device is busy with another manager, or does not accept the key",
            "later again (a session lives up to 180 s); compare the device's publickeys.dat with the one beside the "
            "private key"};
  return {"the device's agent stopped or was restarted, or ended the connection after 5 s without a packet",
          "again; --udp"};
}

texts for_bad_answer(std::string_view step) {
  if (step == "WAKE")
    return {"another service answers on that port, the device's software is faulty, or somebody forges answers",
            "check HOST and --port; wait 10 s before the next try, while the device waits for the login"};
  return {"the two sides do not share the secret, the device's software is faulty, or somebody forges answers",
          "again; if it stays so, look at both ends of the network"};
}

}  // namespace

failure explain_failure(failure why, std::string_view step, std::string_view answer, const endpoint &device,
                        milliseconds timeout) {
  if (why.step.empty()) why.step = step;
  auto within = fmt::format("{:g} s", std::chrono::duration<double>(timeout).count());
  texts extra;
  switch (why.code) {
    case exit_code::no_answer:
      extra = for_silence(step, device);
      if (why.happened.empty()) why.happened = fmt::format("no {} from {} within {}", answer, describe(device), within);
      break;
    case exit_code::refused:
      extra = for_refusal(step, device);
      // A device keeps its port and its connection open for as long as its agent lives, so they vanish under
      // a request only with the agent.
      if (step == "ENCR") why.code = exit_code::agent;
      break;
    case exit_code::verification:
      extra = for_bad_answer(step);
      break;
    default:
      break;
  }
  bool nothing_came =
      why.code == exit_code::no_answer || why.code == exit_code::refused || why.code == exit_code::agent;
  if (why.expected.empty() && nothing_came)
    why.expected =
        answer.empty() ? fmt::format("a connection within {}", within) : fmt::format("{} within {}", answer, within);
  if (why.causes.empty()) why.causes = extra.causes;
  if (why.advice.empty()) why.advice = extra.advice;
  return why;
}

failure explain_silent_agent(failure why) {
  why.code = exit_code::agent;
  why.happened += ", though the device confirmed the end of the session";
  why.causes =
      "the agent behind the device failed or refused this request without a word, or takes longer than the "
      "timeout; the request was not repeated, because it may have been carried out";
  why.advice = "look at the agent's log on the device; a longer --timeout";
  return why;
}

}  // namespace peer
