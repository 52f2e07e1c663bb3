// SPDX-License-Identifier: MIT
#include "support/fake_device.h"

#include <openssl/bn.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstring>
#include <sstream>

namespace fake {
namespace {

constexpr size_t header_size = 16;

std::string signature_of(const bytes &packet) {
  return {packet.begin(), packet.begin() + 4};
}

unsigned half_word(const bytes &packet, size_t at) {
  return packet[at] * 256U + packet[at + 1];
}

bytes slice(const bytes &from, size_t at, size_t length) {
  auto begin = from.begin() + static_cast<ptrdiff_t>(at);
  return {begin, begin + static_cast<ptrdiff_t>(length)};
}

bytes unhex(const std::string &digits) {
  bytes decoded;
  for (size_t at = 0; at + 1 < digits.size(); at += 2)
    decoded.push_back(static_cast<uint8_t>(std::stoul(digits.substr(at, 2), nullptr, 16)));
  return decoded;
}

bytes power(const bytes &base, const bytes &exponent, const bytes &modulus) {
  BN_CTX *context = BN_CTX_new();
  BIGNUM *b = BN_bin2bn(base.data(), static_cast<int>(base.size()), nullptr);
  BIGNUM *e = BN_bin2bn(exponent.data(), static_cast<int>(exponent.size()), nullptr);
  BIGNUM *m = BN_bin2bn(modulus.data(), static_cast<int>(modulus.size()), nullptr);
  BIGNUM *r = BN_new();
  bytes result(128);
  if (BN_mod_exp(r, b, e, m, context) == 1) BN_bn2binpad(r, result.data(), 128);
  for (BIGNUM *number : {b, e, m, r}) BN_free(number);
  BN_CTX_free(context);
  return result;
}

}  // namespace

bool device::verify(const bytes &packet) const {
  bytes decoded = power(slice(packet, 284, 128), exponent_, modulus_);
  uint8_t digest[32];
  EVP_Digest(packet.data(), 282, digest, nullptr, EVP_sha256(), nullptr);
  return std::memcmp(decoded.data() + 96, digest, 32) == 0;
}

device::device(const std::string &publickeys, behaviour how) : how_(std::move(how)) {
  std::istringstream lines(publickeys);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("PublicKeyN=")) modulus_ = unhex(line.substr(11));
    if (line.starts_with("PublicKeyE=")) exponent_ = unhex(line.substr(11));
  }
  open_sockets();
  thread_ = std::thread([this] { run(); });
}

std::string device::log() const {
  std::lock_guard lock(mutex_);
  return log_;
}

bytes device::last_request() const {
  std::lock_guard lock(mutex_);
  return last_request_;
}

void device::note(const std::string &event) {
  std::lock_guard lock(mutex_);
  log_ += (log_.empty() ? "" : " ") + event;
}

// The device's states: 0 idle, 2 waiting for the login, 4 logged in.
std::optional<device::outgoing> device::handle(const bytes &packet) {
  if (packet.size() < header_size) return std::nullopt;
  std::string signature = signature_of(packet);
  auto seen = std::find_if(seen_.begin(), seen_.end(), [&](auto &entry) { return entry.first == signature; });
  if (seen == seen_.end()) seen = seen_.insert(seen_.end(), {signature, 0});
  if (how_.lose && how_.lose(signature, ++seen->second)) return std::nullopt;
  bool header_good = half_word(packet, 4) == packet.size() && half_word(packet, 6) == 256;
  std::optional<outgoing> made;
  if (header_good && signature == "WAKE") {
    made = handle_wake(packet);
  } else if (header_good && state_ != 0 && slice(packet, 8, 4) == bytes{0, 0, 0, 64} && slice(packet, 12, 4) == id_) {
    std::optional<bytes> content;
    if (signature == "LGIN" && state_ == 2 && open_payload(packet, "LOGIN")) {
      state_ = 4;
      bytes text = {'L', 'O', 'G', 'G', 'E', 'D', 'I', 'N'};
      text.insert(text.end(), id_.begin(), id_.end());
      text.insert(text.end(), {0x00, 0xb4});
      made = sealed(answer::ack1, "ACK1", text);
    } else if (signature == "ENCR" && state_ == 4 && (content = open_payload(packet, ""))) {
      {
        std::lock_guard lock(mutex_);
        last_request_ = *content;
      }
      made = sealed(answer::reply, "ENCR", how_.agent(*content));
    } else if (signature == "LOUT" && open_payload(packet, "LOGOUT")) {
      bytes text = {'L', 'O', 'G', 'G', 'E', 'D', 'O', 'U', 'T'};
      text.insert(text.end(), id_.begin(), id_.end());
      made = sealed(answer::ack2, "ACK2", text);
      state_ = 0;
    }
  }
  note(made ? signature : "(" + signature + ")");
  return made;
}

std::optional<device::outgoing> device::handle_wake(const bytes &packet) {
  bool live = state_ == 4 || (state_ == 2 && std::chrono::steady_clock::now() - keyed_at_ < how_.login_limit);
  if (live || packet.size() != 412 || half_word(packet, 16) != 4 || half_word(packet, 22) != 128 ||
      half_word(packet, 152) != 128 || half_word(packet, 282) != 128 || !verify(packet))
    return std::nullopt;
  bytes prime = slice(packet, 24, 128);
  bytes secret(128);
  BIGNUM *drawn = BN_new();
  BN_rand(drawn, 1024, BN_RAND_TOP_ANY, BN_RAND_BOTTOM_ANY);
  BN_bn2binpad(drawn, secret.data(), 128);
  BN_free(drawn);
  id_ = slice(packet, 12, 4);
  key_ = power(slice(packet, 154, 128), secret, prime);
  bytes public_value = power({4}, secret, prime);
  if (how_.public_value) how_.public_value(public_value, prime);
  keyed_at_ = std::chrono::steady_clock::now();
  state_ = 2;
  return finish(answer::wrsp, "WRSP", public_value);
}

// The content of a payload; none when the CRC is wrong or the content is not `text` and the identifier.
std::optional<bytes> device::open_payload(const bytes &packet, const std::string &text) const {
  bytes block = slice(packet, header_size, packet.size() - header_size);
  if (block.size() < 8 || block.size() % 8 != 0) return std::nullopt;
  xtea(key_, block.data(), block.size(), true);
  if (half_word(block, 0) != table_crc(block.data() + 4, block.size() - 4)) return std::nullopt;
  size_t length = half_word(block, 2);
  if (length > block.size() - 4) return std::nullopt;
  bytes content = slice(block, 4, length);
  bytes wanted(text.begin(), text.end());
  wanted.insert(wanted.end(), id_.begin(), id_.end());
  if (!text.empty() && content != wanted) return std::nullopt;
  return content;
}

device::outgoing device::sealed(answer kind, const std::string &signature, bytes content) {
  if (how_.content) how_.content(kind, content);
  size_t size = ((content.size() + 4) / 8 + 1) * 8;
  bytes block(4);
  block.insert(block.end(), content.begin(), content.end());
  block.resize(size, 0xee);  // a device may pad with anything
  unsigned check = table_crc(block.data() + 4, size - 4);
  block[0] = static_cast<uint8_t>(check >> 8);
  block[1] = static_cast<uint8_t>(check);
  block[2] = static_cast<uint8_t>(content.size() >> 8);
  block[3] = static_cast<uint8_t>(content.size());
  if (how_.block) how_.block(kind, block);
  xtea(key_, block.data(), block.size(), false);
  return finish(kind, signature, block);
}

device::outgoing device::finish(answer kind, const std::string &signature, bytes tail) {
  bytes packet(signature.begin(), signature.end());
  size_t length = header_size + tail.size();
  packet.insert(packet.end(), {static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length), 1, 0, 0, 0, 0, 64});
  packet.insert(packet.end(), id_.begin(), id_.end());
  packet.insert(packet.end(), tail.begin(), tail.end());
  if (how_.packet) how_.packet(kind, packet);
  return {kind, packet};
}

delivery device::plan(answer kind) {
  delivery made;
  int nth = ++counts_[static_cast<int>(kind)];
  if (how_.deliver) how_.deliver(kind, nth, made);
  return made;
}

}  // namespace fake
