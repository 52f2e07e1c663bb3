// SPDX-License-Identifier: MIT
// The wire layouts of the received packets and of the acknowledgements, one table each, row by row.
// (WRSP and the ENCR that carries a reply stand beside their handlers.)
#pragma once

#include <libsec/packet.h>

#include <cstring>

namespace libsec {

inline constexpr std::nullptr_t none = nullptr;
inline constexpr std::nullptr_t no_text = nullptr;
inline constexpr uint32_t variable = 0;  // a handler fills the length in
inline constexpr packet_field end_row{none, 0, 0, no_text, none, none, none};

inline constexpr uint8_t text_wake[] = {'W', 'A', 'K', 'E'};
inline constexpr uint8_t text_wrsp[] = {'W', 'R', 'S', 'P'};
inline constexpr uint8_t text_lgin[] = {'L', 'G', 'I', 'N'};
inline constexpr uint8_t text_ack1[] = {'A', 'C', 'K', '1'};
inline constexpr uint8_t text_encr[] = {'E', 'N', 'C', 'R'};
inline constexpr uint8_t text_lout[] = {'L', 'O', 'U', 'T'};
inline constexpr uint8_t text_ack2[] = {'A', 'C', 'K', '2'};
inline constexpr uint8_t text_login[] = {'L', 'O', 'G', 'I', 'N'};
inline constexpr uint8_t text_logged_in[] = {'L', 'O', 'G', 'G', 'E', 'D', 'I', 'N'};
inline constexpr uint8_t text_logout[] = {'L', 'O', 'G', 'O', 'U', 'T'};
inline constexpr uint8_t text_logged_out[] = {'L', 'O', 'G', 'G', 'E', 'D', 'O', 'U', 'T'};

// Received. The parser computes the offsets; they are noted at the right where they are fixed.

// clang-format off
inline constexpr packet_field wake_layout[] = {
    {"signature_id",      0, 4,        text_wake, set_sig,     none, none},  //   0
    {"packet_length",     0, 2,        no_text,   none,        none, none},  //   4
    {"protocol_version",  0, 2,        no_text,   set_ver,     none, none},  //   6
    {"signing_key_id",    0, 4,        no_text,   set_ski,     none, none},  //   8
    {"session_id",        0, 4,        no_text,   set_ses,     none, none},  //  12
    {"ip_address_length", 0, 2,        no_text,   set_ip_len,  none, none},  //  16
    {"ip_address",        0, variable, no_text,   set_ip_add,  none, none},  //  18: 4 bytes
    {"key_p_length",      0, 2,        no_text,   set_p_len,   none, none},  //  22
    {"key_p",             0, variable, no_text,   set_p,       none, none},  //  24: 128 bytes
    {"key_yb_length",     0, 2,        no_text,   set_yb_len,  none, none},  // 152
    {"key_yb",            0, variable, no_text,   set_yb,      none, none},  // 154: 128 bytes
    {"rsa_length",        0, 2,        no_text,   set_rsa_len, none, none},  // 282
    {"rsa",               0, variable, no_text,   set_rsa,     none, none},  // 284: 128 bytes
    end_row,
};

inline constexpr packet_field lgin_layout[] = {
    {"signature_id",      0, 4,        text_lgin,  set_sig, none, none},  //  0
    {"packet_length",     0, 2,        no_text,    none,    none, none},  //  4
    {"protocol_version",  0, 2,        no_text,    set_ver, none, none},  //  6
    {"block_size",        0, 4,        no_text,    set_blk, none, none},  //  8
    {"session_id",        0, 4,        no_text,    set_ses, none, none},  // 12
    {"payload",           0, 5,        text_login, set_pay, none, cmp_text_conc_session_id},  // 16: the rest
    end_row,
};

inline constexpr packet_field encr_layout[] = {
    {"signature_id",      0, 4,        text_encr, set_sig, none, none},  //  0
    {"packet_length",     0, 2,        no_text,   none,    none, none},  //  4
    {"protocol_version",  0, 2,        no_text,   set_ver, none, none},  //  6
    {"block_size",        0, 4,        no_text,   set_blk, none, none},  //  8
    {"session_id",        0, 4,        no_text,   set_ses, none, none},  // 12
    {"payload",           0, variable, no_text,   set_pay, none, none},  // 16: the rest
    end_row,
};

inline constexpr packet_field lout_layout[] = {
    {"signature_id",      0, 4,        text_lout,   set_sig, none, none},  //  0
    {"packet_length",     0, 2,        no_text,     none,    none, none},  //  4
    {"protocol_version",  0, 2,        no_text,     set_ver, none, none},  //  6
    {"block_size",        0, 4,        no_text,     set_blk, none, none},  //  8
    {"session_id",        0, 4,        no_text,     set_ses, none, none},  // 12
    {"payload",           0, 6,        text_logout, set_pay, none, cmp_text_conc_session_id},  // 16: the rest
    end_row,
};

// Generated. The payload comes first, because it may be read from where the header will be written.

inline constexpr packet_field ack1_layout[] = {
    {"payload",          16, 8, text_logged_in, none, get_payack1, none},
    {"signature_id",      0, 4, text_ack1,      none, get_sig,     none},
    {"packet_length",     4, 2, no_text,        none, none,        none},
    {"protocol_version",  6, 2, no_text,        none, get_ver,     none},
    {"block_size",        8, 4, no_text,        none, get_blk,     none},
    {"session_id",       12, 4, no_text,        none, get_ses,     none},
    end_row,
};

inline constexpr packet_field ack2_layout[] = {
    {"payload",          16, 9, text_logged_out, none, get_payack2, none},
    {"signature_id",      0, 4, text_ack2,       none, get_sig,     none},
    {"packet_length",     4, 2, no_text,         none, none,        none},
    {"protocol_version",  6, 2, no_text,         none, get_ver,     none},
    {"block_size",        8, 4, no_text,         none, get_blk,     none},
    {"session_id",       12, 4, no_text,         none, get_ses,     none},
    end_row,
};
// clang-format on

// A WAKE whose four variable fields have the only lengths that are accepted.
inline constexpr int32_t wake_bytes = 412;
inline constexpr uint32_t header_bytes = 16;

// Proofs about a layout, for the compiler.
template <size_t N>
consteval bool ends_with_end_row(const packet_field (&layout)[N]) {
  for (size_t i = 0; i + 1 < N; ++i) {
    if (layout[i].name == nullptr) return false;
  }
  const packet_field &last = layout[N - 1];
  return last.name == nullptr && last.offset == 0 && last.length == 0 && last.text == nullptr && last.set == nullptr &&
         last.get == nullptr && last.compare == nullptr;
}

template <size_t N>
consteval bool is_received(const packet_field (&layout)[N]) {
  size_t length_rows = 0;
  for (const packet_field &row : layout) {
    if (row.offset != 0 || row.get != nullptr) return false;
    if (row.name != nullptr && row.set == nullptr) ++length_rows;
  }
  return ends_with_end_row(layout) && length_rows == 1 && layout[1].set == nullptr && layout[1].length == 2;
}

// The first row is the payload; the others fill the header without a gap.
template <size_t N>
consteval bool is_generated(const packet_field (&layout)[N]) {
  size_t length_rows = 0;
  uint32_t offset = 0;
  for (size_t i = 1; i + 1 < N; ++i) {
    if (layout[i].offset != offset || layout[i].set != nullptr || layout[i].compare != nullptr) return false;
    if (layout[i].get == nullptr) ++length_rows;
    offset += layout[i].length;
  }
  return ends_with_end_row(layout) && length_rows == 1 && layout[0].offset == header_bytes && offset == header_bytes;
}

template <size_t N>
consteval uint32_t fixed_bytes(const packet_field (&layout)[N]) {
  uint32_t sum = 0;
  for (const packet_field &row : layout) sum += row.length;
  return sum;
}

static_assert(is_received(wake_layout) && is_received(lgin_layout) && is_received(encr_layout) &&
              is_received(lout_layout));
static_assert(is_generated(ack1_layout) && is_generated(ack2_layout));
static_assert(fixed_bytes(wake_layout) + 4 + 128 + 128 + 128 == wake_bytes);
static_assert(fixed_bytes(encr_layout) == header_bytes);
static_assert(fixed_bytes(lgin_layout) == header_bytes + sizeof text_login);
static_assert(fixed_bytes(lout_layout) == header_bytes + sizeof text_logout);
static_assert(ack1_layout[0].length == sizeof text_logged_in && ack2_layout[0].length == sizeof text_logged_out);

// A layout's copy that handlers may write lengths into.
template <size_t N>
struct layout_copy {
  packet_field rows[N];
};

template <size_t N>
layout_copy<N> copy_of(const packet_field (&layout)[N]) {
  layout_copy<N> copy;
  std::memcpy(copy.rows, layout, sizeof layout);
  return copy;
}

}  // namespace libsec
