// SPDX-License-Identifier: MIT
// SNMPv3 with authentication and privacy, as net-snmp has it: its library as the manager, its snmpd as
// the agent. A session opens with the discovery of the agent's engine; keys come from passwords, so
// there is no key exchange to compare. The passwords' long derivation is done once, beforehand.
#include <net-snmp/net-snmp-config.h>
// net-snmp's own includes need its configuration first.
#include <net-snmp/net-snmp-includes.h>

#include <cstdio>
#include <cstring>
#include <fstream>

#include "exchange.h"
#include "process.h"

namespace bench {
namespace {

constexpr char user[] = "bench", password[] = "a long password";
constexpr unsigned port = 1161;

class snmp_exchange : public exchange {
 public:
  snmp_exchange(const std::string &snmpd, const std::string &configuration)
      : exchange("SNMPv3 authPriv (net-snmp)"), agent_({snmpd, "-f", "-C", "-c", configuration, "-Lf", "/dev/null"}) {
    snmp_sess_init(&settings_);
    settings_.version = SNMP_VERSION_3;
    settings_.peername = address_;
    settings_.securityName = name_;
    settings_.securityNameLen = std::strlen(user);
    settings_.securityLevel = SNMP_SEC_LEVEL_AUTHPRIV;
    settings_.securityAuthProto = usmHMACSHA1AuthProtocol;
    settings_.securityAuthProtoLen = USM_AUTH_PROTO_SHA_LEN;
    settings_.securityPrivProto = usmAESPrivProtocol;
    settings_.securityPrivProtoLen = USM_PRIV_PROTO_AES_LEN;
    settings_.securityAuthKeyLen = settings_.securityPrivKeyLen = USM_AUTH_KU_LEN;
    const auto *text = reinterpret_cast<const u_char *>(password);
    for (auto [key, length] : {std::pair{settings_.securityAuthKey, &settings_.securityAuthKeyLen},
                               std::pair{settings_.securityPrivKey, &settings_.securityPrivKeyLen}}) {
      generate_Ku(usmHMACSHA1AuthProtocol, USM_AUTH_PROTO_SHA_LEN, text, std::strlen(password), key, length);
    }
  }
  std::optional<opening> open() override {
    const stopwatch discovery;
    session_ = snmp_open(&settings_);
    if (session_ == nullptr) return std::nullopt;
    return opening{discovery.microseconds(), 0};
  }
  bool round_trip() override {
    oid description[] = {1, 3, 6, 1, 2, 1, 1, 1, 0};
    netsnmp_pdu *const request = snmp_pdu_create(SNMP_MSG_GET), *reply = nullptr;
    snmp_add_null_var(request, description, OID_LENGTH(description));
    const bool right = snmp_synch_response(session_, request, &reply) == STAT_SUCCESS &&
                       reply->errstat == SNMP_ERR_NOERROR && reply->variables->val_len == request_bytes;
    if (reply != nullptr) snmp_free_pdu(reply);
    return right;
  }
  bool close() override { return snmp_close(session_) != 0; }
  pid_t server() const override { return agent_.id(); }

 private:
  char address_[32] = "udp:127.0.0.1:1161";
  char name_[sizeof user] = "bench";
  process agent_;
  netsnmp_session settings_{};
  netsnmp_session *session_ = nullptr;
};

}  // namespace

void add_snmp(exchanges &all, const std::string &snmpd, const std::string &scratch) {
  const std::string configuration = scratch + "/snmpd.conf";
  std::ofstream(configuration) << "agentAddress udp:127.0.0.1:" << port << "\ncreateUser " << user << " SHA \""
                               << password << "\" AES \"" << password << "\"\nrouser " << user << " priv\nsysDescr "
                               << std::string(request_bytes, 'r') << '\n';
  setenv("SNMP_PERSISTENT_DIR", scratch.c_str(), 1);
  setenv("MIBS", "", 1);
  init_snmp("bench");
  auto made = std::make_unique<snmp_exchange>(snmpd, configuration);
  if (wait_for_udp_port(port)) {
    all.push_back(std::move(made));
  } else {
    std::fprintf(stderr, "SNMPv3: snmpd has not started\n");
  }
}

}  // namespace bench
