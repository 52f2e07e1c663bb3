# SPDX-License-Identifier: MIT
# zolt decode: packets in digits, captures of all kinds, and what is wrong with them.
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/device_lib.sh"

captures=$SOURCE/wireshark/captures
log=$captures/keys.log

# decode ARGUMENT...: what it shows is in decode.out.
decode() { run_program decode "$NATIVE/zolt" decode "$@"; }

test_a_capture_is_one_line_a_packet() {
  decode "$captures/udp.pcap" --keylog "$log"
  expect_status 0
  expect_equal "$(grep -cE '^ +[0-9]+  [0-9.]+  192\.0\.2\.' "$scratch/decode.out")" 10 "count of lines"
  expect "192.0.2.1:40001 > 192.0.2.7:161  UDP  ENCR, 64 bytes, session 5e551001, SNMPv2c get-request, request-id 7001" decode.out
  expect "10 packets, 0 of them wrong" decode.out
  decode -q "$captures/udp.pcap"
  expect_status 0
  expect_equal "$(cat "$scratch/decode.out" "$scratch/decode.err")" "" "what -q leaves"
}

test_a_wrong_capture_names_its_faults() {
  decode "$captures/faults.pcap" --keylog "$log"
  expect_status 6
  for name in version block_size length signature field_length prime degenerate cut short payload_length too_long crc \
    content_length content; do
    expect "  WRONG  $name: " decode.out
  done
}

test_the_environment_names_a_key_log() {
  ZOLT_KEYLOG=$log decode --json "$captures/tcp.pcap"
  expect_status 0
  expect '"pdu":"response","request_id":7002' decode.out
  decode --json "$captures/tcp.pcap"
  expect_status 0
  expect_not '"pdu"' decode.out
  expect '"name":"no_key"' decode.out
}

# bytes NAME: one packet of the recorded session, as digits.
bytes() { sed -n "s/^$1: //p" "$SOURCE/tests/vectors/session.txt"; }

test_digits_come_from_anywhere() {
  local digits
  digits=$(bytes ACK1)
  printf 'ZOLT 11223344 %s\n' "$(bytes key)" >"$scratch/keys.log"
  decode "$digits" --keylog "$scratch/keys.log"
  expect_status 0
  expect 'ACK1, 40 bytes, session 11223344' decode.out
  expect '("LOGGEDIN", session 11223344, which lives 180 s)' decode.out
  cp "$scratch/decode.out" "$scratch/first.out"
  # shellcheck disable=SC2001,SC2046 # bytes as words of their own
  decode --keylog "$scratch/keys.log" $(sed 's/../& /g' <<<"$digits")
  cmp "$scratch/first.out" "$scratch/decode.out" || fail "bytes as words are read differently"
  # shellcheck disable=SC2001
  printf "$(sed 's/../\\x&/g' <<<"$digits")" >"$scratch/packet.bin"
  od -A x -t x1z -v "$scratch/packet.bin" >"$scratch/packet.txt"
  for file in packet.bin packet.txt; do
    decode "$scratch/$file" --keylog "$scratch/keys.log"
    cmp "$scratch/first.out" "$scratch/decode.out" || fail "$file is read differently"
    "$NATIVE/zolt" decode - --keylog "$scratch/keys.log" <"$scratch/$file" >"$scratch/decode.out" || fail "$file as standard input"
    cmp "$scratch/first.out" "$scratch/decode.out" || fail "$file is read differently from standard input"
  done
}

test_a_capture_may_come_through_a_pipe_or_as_pcapng() {
  decode "$captures/tcp.pcap"
  cp "$scratch/decode.out" "$scratch/first.out"
  # shellcheck disable=SC2002 # a pipe is the matter
  cat "$captures/tcp.pcap" | "$NATIVE/zolt" decode >"$scratch/decode.out" || fail "a pipe is not read"
  cmp "$scratch/first.out" "$scratch/decode.out" || fail "a pipe is read differently"
  command -v editcap >/dev/null || skip "there is no editcap (Debian package wireshark-common)"
  editcap -F pcapng "$captures/tcp.pcap" "$scratch/tcp.pcapng"
  decode "$scratch/tcp.pcapng"
  cmp "$scratch/first.out" "$scratch/decode.out" || fail "pcapng is read differently"
}

# relink LINKTYPE HEX: the capture udp.pcap with another header, of these bytes, before each IP packet.
relink() {
  python3 - "$captures/udp.pcap" "$scratch/relinked.pcap" "$1" "$2" <<'END'
import struct, sys
source, target, link, header = sys.argv[1], sys.argv[2], int(sys.argv[3]), bytes.fromhex(sys.argv[4])
data = open(source, "rb").read()
out, at = data[:20] + struct.pack("<I", link), 24
while at < len(data):
    seconds, micros, stored, length = struct.unpack_from("<4I", data, at)
    frame = header + data[at + 16 + 14:at + 16 + stored]
    out += struct.pack("<4I", seconds, micros, len(frame), len(frame)) + frame
    at += 16 + stored
open(target, "wb").write(out)
END
}

test_every_link_type_is_understood() {
  command -v python3 >/dev/null || skip "there is no python3"
  decode "$captures/udp.pcap"
  cp "$scratch/decode.out" "$scratch/first.out"
  local link
  for link in "1 020000000001020000000007810000050800" "101 " "228 " "0 02000000" "0 00000002" "108 00000002" \
    "113 00000001000600000000000000000800" "276 0800000000000001000100060000000000000000"; do
    # shellcheck disable=SC2086 # two words
    relink ${link%% *} "${link#* }"
    decode "$scratch/relinked.pcap"
    cmp "$scratch/first.out" "$scratch/decode.out" || fail "link type ${link%% *} is read differently"
  done
  relink 105 ""
  decode "$scratch/relinked.pcap"
  expect_status 1
  expect "is of the link type IEEE802_11" decode.err
}

test_a_cut_capture_shows_what_is_there() {
  head -c 1000 "$captures/udp.pcap" >"$scratch/cut.pcap"
  decode "$scratch/cut.pcap"
  expect_status 6
  expect "WRSP, 144 bytes" decode.out
  expect "cut.pcap is damaged" decode.err
}

test_captures_are_read_as_tshark_reads_them() {
  command -v python3 >/dev/null || skip "there is no python3"
  status=0
  python3 -B "$SOURCE/tests/system/decode_tshark.py" "$NATIVE/zolt" "$SOURCE" >"$scratch/tshark.out" 2>&1 || status=$?
  cat "$scratch/tshark.out"
  [ "$status" -ne 77 ] || exit 77
  expect_status 0
}
