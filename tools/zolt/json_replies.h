// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json.hpp>

#include "zolt/narration.h"

namespace zolt {

// The replies of a session, for one JSON object at its end.
class json_replies {
 public:
  void add(peer::byte_view reply);

  // "ok", "exit", "replies" and "steps", and after a failure "failure".
  nlohmann::ordered_json object(const peer::status &ran, const narrator &voice) const;

 private:
  nlohmann::ordered_json all_ = nlohmann::ordered_json::array();
};

}  // namespace zolt
