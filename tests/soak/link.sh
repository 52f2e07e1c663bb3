# SPDX-License-Identifier: MIT
# The manager's tools over a network that loses, doubles, delays and reorders: each try succeeds, or ends in
# time and names the step that failed. The kernel's netem queue makes the faults where it is there, and
# soak_link otherwise, on every packet of both directions alike. Tries without any fault show that it is the faults
# that others fail from, and not a machine that is too slow.
# shellcheck shell=bash
. "$SOURCE/tests/soak/soak_lib.sh"

near=10.161.0.1 far=10.161.0.2
longest=60 # seconds that a try may take

# make_link LOSS DUPLICATION OVERTAKING DELAY JITTER: near0 here, far0 in the namespace of process $link.
make_link() {
  by=soak_link
  if tc qdisc add dev lo root netem && tc qdisc delete dev lo root; then by=netem; fi 2>/dev/null
  "start_$by" "$@"
  ip address add "$near/24" dev near0
  ip link set near0 up
  at_far ip address add "$far/24" dev far0
  at_far ip link set far0 up
  at_far ip link set lo up
}

start_netem() {
  # netem lets nothing overtake where nothing is late.
  local netem=(loss "$1%" duplicate "$2%" delay "$4ms" "$5ms" reorder "$3%")
  start_program link unshare -n sh -c 'echo ready && exec sleep 7200'
  link=$pid
  wait_for "ready" link.out
  ip link add near0 type veth peer name far0 netns "$link"
  tc qdisc add dev near0 root netem "${netem[@]}"
  at_far tc qdisc add dev far0 root netem "${netem[@]}"
}

start_soak_link() {
  [ -w /dev/net/tun ] || skip "the faults need a tunnel device, and with it root"
  start_program link "$BUILD/tests/soak_link" "$@"
  link=$pid
  wait_for "ready" link.out
}

# end_link: and what it did.
end_link() {
  if [ "$by" = netem ]; then # requeues: those that overtook others
    { tc -s qdisc show dev near0 && at_far tc -s qdisc show dev far0; } | sed 's/ root .* limit/ limit/; /backlog/d'
  fi
  kill -TERM "$link"
  wait_end "$link" 5
  [ "$by" = netem ] || cat "$scratch/link.out"
}

at_far() { nsenter "--net=/proc/$link/ns/net" "$@"; }

# A try must not suffer from what an earlier one has left at the device.
fresh_device() {
  [ -z "${device-}" ] || { kill -KILL "$device" && wait "$device"; } 2>/dev/null || true
  start_program device nsenter "--net=/proc/$link/ns/net" "$BUILD/zolt-host" --lib "$BUILD/libsec.so" --dir "$keys" "$@"
  device=$pid
  wait_for "serving port 161" device.err
}

# judge WHAT: of the try that has just ended.
judge() {
  [ "$status" -ne 137 ] || fail "$1 hangs"
  if [ "$status" -eq 0 ]; then
    good=$((good + 1))
    return
  fi
  # 4: no answer; 5: refused, which a late answer to an earlier connection is; 6: an answer that does not fit.
  [[ $status == [456] ]] || fail "$1 ends with status $status"
  local step
  # A tunnel goes on after a failure, and tells of it in passing.
  step=$(sed -nE 's/^(zolt:|tunnel +)( ?waiting for the device.)? ?(connect|WAKE|LGIN|ENCR|LOUT): .*/\3/p' \
    "$scratch/try.err" | tail -n 1)
  [ -n "$step" ] || fail "$1 fails without naming a step"
  failures[$step]=$((${failures[$step]-0} + 1))
}

# Three objects of the table, asked for with retries as a manager's program would; a wrong value is a failure.
# shellcheck disable=SC2016 # the tunnel's shell expands it
get_three='for row in 11 222 1111; do
  for again in 1 2 3 4 5 6 7 8 9 10; do
    value=$(snmpget -v2c -c public -On -Oqv -t 2 -r 0 "$ZOLT_TUNNEL" $TABLE.$row 2>/dev/null) || continue
    [ "$value" = $((row * 7)) ] || exit 99
    break
  done
  [ "$again" -lt 10 ] || exit 4
done'

# One payload a session: over UDP nothing would tell a doubled reply from that to the next one.
try_tool() { # TOOL TRANSPORT
  local text="over a bad link $RANDOM"
  case $1 in
    request)
      try zolt request "--$2" "$text"
      [ "$status" -ne 0 ] || expect_equal "$(cat "$scratch/try.out")" "$text" reply
      ;;
    ping) try zolt ping "--$2" ;;
    tunnel)
      TABLE=$table try zolt tunnel "--$2" --listen 127.0.0.1:0 --wait 12 --timeout 2 --exec "$get_three"
      ;;
  esac
  judge "$1 over $2"
}

try() { # zolt COMMAND ARGUMENT...
  status=0
  timeout -s KILL "$longest" "$NATIVE/zolt" "$2" "$far" --key "$keys/private.pem" "${@:3}" \
    >"$scratch/try.out" 2>"$scratch/try.err" </dev/null || status=$?
}

# over_link NAME FAULT...: tries of every tool over both transports.
over_link() {
  local name=$1 tries tool transport i agent=(--echo)
  shift
  make_keys "$keys"
  make_link "$@"
  start_agent nsenter "--net=/proc/$link/ns/net"
  tries=${LIBSEC_TRIES:-$(long_or 25 2)}
  for tool in request ping tunnel; do
    [ "$tool" != tunnel ] || agent=(--forward 127.0.0.1:1161)
    for transport in udp tcp; do
      local good=0
      declare -A failures=()
      for ((i = 0; i < tries; i++)); do
        fresh_device "${agent[@]}"
        try_tool "$tool" "$transport"
      done
      printf '%s (%s), %s over %s: %d of %d succeed' "$name" "$by" "$tool" "$transport" "$good" "$tries"
      for i in "${!failures[@]}"; do printf '; %d fail at %s' "${failures[$i]}" "$i"; done
      echo
      [ "$good" -gt 0 ] || [ "$tries" -lt 10 ] || fail "nothing gets through"
      [ "$good" -eq "$tries" ] || [ "$*" != "0 0 0 0 0" ] || fail "a try fails without a fault"
    done
  done
  end_link
}

# Percent lost, doubled and overtaking, and milliseconds of delay and its spread.
undisturbed() { over_link "no faults" 0 0 0 0 0; }
loss() { over_link "15 % lost" 15 0 0 1 0; }
duplication() { over_link "40 % doubled" 0 40 0 2 1; }
reordering() { over_link "40 % overtake" 0 0 40 25 15; }
delay() { over_link "300 to 500 ms each way" 0 0 0 400 100; }
everything() { over_link "everything at once" 8 15 20 30 20; }
