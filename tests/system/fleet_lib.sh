# SPDX-License-Identifier: MIT
# Many real devices at once. The library serves port 161 of all addresses, so each host has a network namespace
# of its own, and they are wired to this one's bridge:
#
#   here: zolt, bridge fleet0 10.77.0.1/16 --+-- p0 == v: 10.77.1.0, zolt-host and libsec.so
#                                            +-- p1 == v: 10.77.1.1, zolt-host and libsec.so
#                                            +-- ...
# shellcheck shell=bash
. "${BASH_SOURCE[0]%/*}/device_lib.sh"

# address NUMBER: that of a device.
address() { printf '10.77.%d.%d' $((1 + $1 / 250)) $(($1 % 250)); }

# start_bridge: what the devices are wired to; addresses of nobody are there, too.
start_bridge() {
  ip link add fleet0 type bridge 2>/dev/null || skip "this kernel has no bridges"
  ip addr add 10.77.0.1/16 dev fleet0
  ip link set fleet0 up
  mkdir "$scratch/fleet"
}

# start_host NUMBER KEYDIR ARGUMENT...: starts to start one; its process number is in $pid.
start_host() {
  local number=$1 folder=$2
  shift 2
  # shellcheck disable=SC2016 # the inner shell's variables
  unshare -n sh -c '
    number=$1 home=$2 address=$3
    shift 3
    printf "link add v type veth peer name p%s netns %s\naddr add %s/16 dev v\nlink set v up\n" "$number" "$home" "$address" |
      ip -batch - && exec "$@"' sh "$number" $$ "$(address "$number")" \
    "$BUILD/zolt-host" --lib "$BUILD/libsec.so" --dir "$folder" "$@" \
    >"$scratch/fleet/$number.out" 2>"$scratch/fleet/$number.err" </dev/null &
  pid=$!
  started+=("$pid")
}

# wire FIRST LAST: waits until these serve, and connects them.
wire() {
  local number i
  for ((number = $1; number <= $2; number++)); do
    for ((i = 0; i < 1200; i++)); do
      grep -qs "serving port 161" "$scratch/fleet/$number.err" && break
      sleep 0.05
    done
    [ "$i" -lt 1200 ] || fail "host $number does not serve: $(cat "$scratch/fleet/$number.err")"
    printf 'link set p%s master fleet0 up\n' "$number"
  done >"$scratch/batch"
  ip -batch "$scratch/batch"
}

# start_hosts FIRST LAST ARGUMENT...: a few at a time, so that they do not wait for each other's processor.
start_hosts() {
  local number=$1 first=$1 last=$2
  shift 2
  for (( ; number <= last; number++)); do
    start_host "$number" "$keys" "$@"
    ((number % 8 != 7)) || until grep -qs "serving port 161" "$scratch/fleet/$number.err"; do sleep 0.02; done
  done
  wire "$first" "$last"
}

# fleet NAME ARGUMENT...: the fleet of $scratch/targets, to its end; its outputs go to NAME.out and NAME.err.
# shellcheck disable=SC2034 # status is read by the tests
fleet() {
  local name=$1
  shift
  status=0
  timeout -s KILL 100 "$NATIVE/zolt" fleet --targets "$scratch/targets" --key "$keys/private.pem" "$@" \
    >"$scratch/$name.out" 2>"$scratch/$name.err" </dev/null || status=$?
}

# verdicts NAME: "TARGET EXIT REPLY..." of each line, sorted. Fails when a line is no JSON object.
verdicts() {
  python3 -c '
import json, sys
for line in open(sys.argv[1]):
    it = json.loads(line)
    assert it["ok"] == (it["exit"] == 0) == ("failure" not in it), line
    print(it["target"], it["exit"], *[each["text"] for each in it["replies"]])' "$scratch/$1.out" | sort
}
