// SPDX-License-Identifier: MIT
#include "zolt/json_replies.h"

#include "zolt/output.h"

namespace zolt {

// The text is for people's eyes: bytes that are no UTF-8 are replaced in it.
void json_replies::add(peer::byte_view reply) {
  all_.push_back({{"hex", peer::to_hex(reply)}, {"text", peer::text_of(reply)}});
}

nlohmann::ordered_json json_replies::object(const peer::status &ran, const narrator &voice) const {
  nlohmann::ordered_json object = {{"ok", true}, {"exit", 0}};
  if (!ran) object = to_json(ran.error());
  object["replies"] = all_;
  object["steps"] = voice.steps();
  return object;
}

}  // namespace zolt
