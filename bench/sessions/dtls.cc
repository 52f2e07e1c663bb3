// SPDX-License-Identifier: MIT
// DTLS 1.2 as OpenSSL has it, with numbers as large as libsec's: Diffie-Hellman modulo the same 1024-bit
// prime, authenticated by a 1024-bit RSA key of the server. (libsec authenticates the manager instead:
// there the server verifies, which is cheaper than signing.)
#include <arpa/inet.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "exchange.h"
#include "process.h"

namespace bench {
namespace {

constexpr char cipher[] = "DHE-RSA-AES128-SHA256:@SECLEVEL=0";

SSL_CTX *context(const SSL_METHOD *method) {
  SSL_CTX *const result = SSL_CTX_new(method);
  SSL_CTX_set_security_level(result, 0);
  SSL_CTX_set_min_proto_version(result, DTLS1_2_VERSION);
  SSL_CTX_set_cipher_list(result, cipher);
  SSL_CTX_set_session_cache_mode(result, SSL_SESS_CACHE_OFF);
  SSL_CTX_set_options(result, SSL_OP_NO_TICKET);
  return result;
}

EVP_PKEY *group_parameters() {
  OSSL_PARAM_BLD *const build = OSSL_PARAM_BLD_new();
  BIGNUM *const prime = BN_get_rfc2409_prime_1024(nullptr), *const generator = BN_new();
  BN_set_word(generator, 2);
  OSSL_PARAM_BLD_push_BN(build, OSSL_PKEY_PARAM_FFC_P, prime);
  OSSL_PARAM_BLD_push_BN(build, OSSL_PKEY_PARAM_FFC_G, generator);
  EVP_PKEY *result = nullptr;
  EVP_PKEY_CTX *const making = EVP_PKEY_CTX_new_from_name(nullptr, "DH", nullptr);
  EVP_PKEY_fromdata_init(making);
  EVP_PKEY_fromdata(making, &result, EVP_PKEY_KEY_PARAMETERS, OSSL_PARAM_BLD_to_param(build));
  return result;
}

SSL_CTX *server_context() {
  SSL_CTX *const result = context(DTLS_server_method());
  EVP_PKEY *const key = EVP_RSA_gen(1024);
  X509 *const certificate = X509_new();
  X509_gmtime_adj(X509_getm_notBefore(certificate), 0);
  X509_gmtime_adj(X509_getm_notAfter(certificate), 86400);
  X509_set_pubkey(certificate, key);
  X509_sign(certificate, key, EVP_sha256());
  SSL_CTX_use_certificate(result, certificate);
  SSL_CTX_use_PrivateKey(result, key);
  SSL_CTX_set0_tmp_dh_pkey(result, group_parameters());
  return result;
}

// A connection over a connected socket.
SSL *over(SSL_CTX *context, int socket, const sockaddr_in &peer) {
  SSL *const result = SSL_new(context);
  BIO *const datagrams = BIO_new_dgram(socket, BIO_NOCLOSE);
  sockaddr_in copy = peer;
  BIO_ctrl(datagrams, BIO_CTRL_DGRAM_SET_CONNECTED, 0, &copy);
  SSL_set_bio(result, datagrams, datagrams);
  return result;
}

// One client after the other: the socket belongs to whoever has spoken first.
void serve(int socket) {
  SSL_CTX *const context = server_context();
  for (;;) {
    char content[2048];
    sockaddr_in client{};
    socklen_t length = sizeof client;
    recvfrom(socket, content, sizeof content, MSG_PEEK, reinterpret_cast<sockaddr *>(&client), &length);
    connect(socket, reinterpret_cast<sockaddr *>(&client), length);
    SSL *const connection = over(context, socket, client);
    if (SSL_accept(connection) == 1) {
      for (int got; (got = SSL_read(connection, content, sizeof content)) > 0;) SSL_write(connection, content, got);
      SSL_shutdown(connection);
    }
    SSL_free(connection);
    const sockaddr nobody{.sa_family = AF_UNSPEC, .sa_data = {}};
    connect(socket, &nobody, sizeof nobody);
  }
}

class dtls_exchange : public exchange {
 public:
  dtls_exchange() : exchange("DTLS 1.2, DHE-1024/RSA-1024") {
    address_.sin_family = AF_INET;
    address_.sin_port = htons(4433);  // a port of the kernel's choice would be lost with the first client
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int listening = socket(AF_INET, SOCK_DGRAM, 0);
    if (bind(listening, reinterpret_cast<sockaddr *>(&address_), sizeof address_) != 0) std::perror("DTLS");
    server_ = std::make_unique<process>([&] { serve(listening); });
    ::close(listening);
  }
  std::optional<opening> open() override {
    socket_ = socket(AF_INET, SOCK_DGRAM, 0);
    connect(socket_, reinterpret_cast<const sockaddr *>(&address_), sizeof address_);
    connection_ = over(context_, socket_, address_);
    const stopwatch handshake;
    if (SSL_connect(connection_) != 1) return std::nullopt;
    return opening{handshake.microseconds(), 0};
  }
  bool round_trip() override {
    const std::string content(request_bytes, 'r');
    char reply[2048];
    return SSL_write(connection_, content.data(), static_cast<int>(content.size())) > 0 &&
           SSL_read(connection_, reply, sizeof reply) == static_cast<int>(content.size()) &&
           std::memcmp(reply, content.data(), content.size()) == 0;
  }
  bool close() override {
    SSL_shutdown(connection_);
    char nothing[64];
    SSL_read(connection_, nothing, sizeof nothing);  // until the server has said goodbye too
    SSL_free(connection_);
    return ::close(socket_) == 0;
  }
  pid_t server() const override { return server_->id(); }

 private:
  SSL_CTX *context_ = context(DTLS_client_method());
  SSL *connection_ = nullptr;
  int socket_ = -1;
  sockaddr_in address_{};
  std::unique_ptr<process> server_;
};

}  // namespace

void add_dtls(exchanges &all) {
  all.push_back(std::make_unique<dtls_exchange>());
}

}  // namespace bench
