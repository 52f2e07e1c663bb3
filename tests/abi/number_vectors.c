/* SPDX-License-Identifier: MIT
 *
 * The number functions against answers from an independent arithmetic. Numbers go in and out as
 * big-endian bytes, so the answers are the same on every machine.
 */
#include <libsec/num.h>
#include <stdio.h>

#include "hex.h"
#include "host.h"

static const char modulus[] =
    "8fcb44b3fcba4843d2380b6a8c10562b7b994e16150e5651b8d96afd054b7eefd264cddd432a89335f8543633822dce7"
    "7a0071a93b4ed9728c21aecb511609d7caceb86f95b686c534ba5acef0867ff78698e95fb8d058ea97da1b729ffe1d99"
    "6861072c1e753a938661abe05b1b90b46762b34f4e26ea8e603235a1e58e1b1d";
static const char base[] =
    "03f1a3a2cd4deb99ae17caf25507bc597bd6a94c9ae7ce80d3c7ec750bd00912f186d7f87793b591d103e18665e3b4cb"
    "fdd57a50f2213e78ae73db1b6b0225a0282740c387eb95689d71fb281ec2a7a2dd70b75e7a668ab49e0bce2e6f440dfc"
    "ee18aae99f7f90acbc0991ac6b2ce6e4e8a1d22f13ccbb26a305bc7258c0fc23";
static const char exponent[] =
    "84268cc8f863e1459ad2e05adb32f14811bbc7aa88c25af3b3b9196352ee06fdc8426514595e8078cedca0f3a6427061"
    "2a79e68e9142e87433ae1a625db1e1995ac6ef5270fbb2e8d8eaeebd745da064d6a7b6c8a2d2466d6760ed2a37ffff52"
    "c83c5d24252665113a7c6010b9ae8a037ef992a83e4701340a4bcd42101034a8";
static const char power[] =
    "6f5b96659e39f55ab75c71ee4979a87e994dbe6f06b3876cadab2a14713c74c071a02642bd90697326ab3810e6361b19"
    "4632439e95cc552239f08438a2dd717de34ccd8921ccfb19988859392767302890410dda024580a125ddf39e3b23af9a"
    "216a1cc2b4d27db96c2b21e73df85503491f4101e729a73eb5d8e6314f6e813e";
static const char power_65537[] =
    "082162027e66924a3432bd5e6a83e01beb3d2f564d7aafe6d19e1f9d2fe54f3d1f313b8240d939a798a5da32f71c9679"
    "f489a2ca28936d8dde8e103c56972b4ef1ec0483fd8047f26d4a8ca1c6142c6de6260b5a237e1e51424b8687b8e07453"
    "a0d6abdf263edad30130b727a69bf530f2fc4c98e29ab973283f752bb27e6682";
static const char product[] =
    "02371c13a818b885130f7714d128cb152b6114afb7871ffd289a875ddbf7b692aa8160e9934e1c10d1ae0699812b4d0c"
    "a3a2c980c744bd1537cd60b46dda88128193995067e0f63b13a08a5a0a17bd57f1cb175e9f2c777ade7d4d011dc40e75"
    "9c459c3484a469f682b0e318e3787a3801fc0d881f11b451aceb23ca7ff2a00b38725855cbe624a2a0e3ec856314d2cc"
    "a390dca620f0787f5764b81f3ed66b35958639073ab7f84edd95da945982565ee0578bb233aff3110cd8958e56d56a2e"
    "036cc2afdf5d1bc67d24c0c097dd9c018225870f6987ed2a3b74923c97069a19b5dd2b5bcc579cb5ba7439505bad701b"
    "6934e40e5423934507c015ea92de40f7";
static const char divisor[] =
    "a4a3d1fd2ffd0cecc14c05c87f780056b2cde10df1adedbc5c915e933e108dd1d5424a1ff33b82db7842ae8c78149a02"
    "fe866910ba39b4d7f781a349ed167aa80159f55ce920bd182908767574e597a5c50314f2dfdc80c8099f65693bb51aed"
    "1c29cabdfb70d9dd38f7053d3f406ac50f947e6da9d34bcd79a24020";
static const char quotient[] = "df96268d";
static const char remainder[] =
    "662c7e2904d24cbdc1d12b35bde6241e068f31c369c2a5f0c7d9c3634c81d839b30d9ba3b7f70f897297917b6e52f3f3"
    "f5a91d3f525c11e7ad9aa0eaa79a1241c93a7a1719ba34435ba1544bcde2a8c5e9b18288dab1ff1b9379e534512b184d"
    "1dffbab5eca44845e44a69d4c90529521368701c12375a7a5eec097d";

typedef int32_t list_function(num *, ...);
typedef int32_t two_sources(num *, const num *, const num *);

static num from_hex(const char *hex) {
  int32_t (*read_binary)(num *, const uint8_t *, int32_t) =
      (int32_t(*)(num *, const uint8_t *, int32_t))library_function("num_read_binary");
  uint8_t bytes[1 + 512];
  num value;
  ((list_function *)library_function("num_init"))(&value, (num *)NULL);
  bytes_of_hex(hex, bytes + 1);
  expect(read_binary(&value, bytes + 1, (int32_t)(strlen(hex) / 2)) == 0, "num_read_binary");
  return value;
}

static int has_value(const num *value, const char *hex) {
  int32_t (*write_binary)(const num *, uint8_t *, int32_t) =
      (int32_t(*)(const num *, uint8_t *, int32_t))library_function("num_write_binary");
  uint8_t bytes[1 + 512];
  const size_t length = strlen(hex) / 2;
  return value->sign == 1 && write_binary(value, bytes + 1, (int32_t)length) == 0 && equals_hex(bytes + 1, length, hex);
}

void check_number_vectors(void) {
  int32_t (*exp_mod)(num *, const num *, const num *, const num *, num *) =
      (int32_t(*)(num *, const num *, const num *, const num *, num *))library_function("num_exp_mod");
  int32_t (*divide)(num *, num *, const num *, const num *) =
      (int32_t(*)(num *, num *, const num *, const num *))library_function("num_div_num");
  two_sources *multiply = (two_sources *)library_function("num_mul_num");
  two_sources *add = (two_sources *)library_function("num_add_num");
  list_function *release = (list_function *)library_function("num_free");
  num N = from_hex(modulus), A = from_hex(base), E = from_hex(exponent), small = from_hex("010001");
  num D = from_hex(divisor), Q = from_hex("00"), R = from_hex("00"), X = from_hex("00"), cache = from_hex("00");
  release(&cache, (num *)NULL);

  expect(N.limb_count == 32 && N.limbs[0] == 0xe58e1b1d && N.limbs[31] == 0x8fcb44b3, "limbs, least significant first");
  expect(multiply(&X, &A, &N) == 0 && has_value(&X, product), "num_mul_num");
  expect(divide(&Q, &R, &N, &D) == 0 && has_value(&Q, quotient) && has_value(&R, remainder), "num_div_num");
  expect(multiply(&X, &Q, &D) == 0 && add(&X, &X, &R) == 0 && has_value(&X, modulus), "quotient and remainder add up");
  expect(exp_mod(&X, &A, &E, &N, NULL) == 0 && has_value(&X, power), "num_exp_mod");
  expect(exp_mod(&X, &A, &small, &N, &cache) == 0 && has_value(&X, power_65537), "num_exp_mod, E = 65537");
  expect(cache.limbs != NULL, "num_exp_mod leaves its cache to the caller");
  expect(exp_mod(&A, &A, &small, &N, &cache) == 0 && has_value(&A, power_65537),
         "num_exp_mod with the cache, in place");
  N.limbs[0] &= ~(num_limb)1;
  expect(exp_mod(&X, &A, &E, &N, NULL) == NUM_ERR_BAD_INPUT, "an even modulus is refused");

  release(&N, &A, &E, &small, &D, &Q, &R, &X, &cache, (num *)NULL);
  expect(X.limbs == NULL && X.limb_count == 0, "num_free leaves nothing");
  puts("numbers: multiply, divide, exponentiate");
}
