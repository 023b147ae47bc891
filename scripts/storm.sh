#!/bin/bash
# scripts/storm.sh [ROUNDS [BIN [SECONDS]]]: kills the hub or the services ROUNDS times (1000 by default) at random moments while
# messages are pushed. Every time the platform must answer again within SECONDS (5 by default, more beside other work), and at the
# end no confirmed message may be missing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
rounds=${1:-1000}
bin=$(realpath "${2:-build/release/bin}")
limit=${3:-5}
[ -n "${DISPLAY:-}" ] || exec tests/support/with-x.sh -- "$0" "$rounds" "$bin" "$limit"
. scripts/private-platform.sh
start_platform "$bin"
: >"$work/confirmed"

now_ms() { date +%s%3N; }
pid_of() {
    local proc
    for proc in /proc/[0-9]*; do
        [ "$(readlink "$proc/exe" 2>/dev/null)" != "$work/bin/$1" ] || { echo "${proc#/proc/}"; return; }
    done
}
push() { "$work/bin/tarnctl" message push --title "storm $1" 2>/dev/null; }

longest=0
for ((round = 1; round <= rounds; round++)); do
    victim=$([ $((RANDOM % 2)) = 0 ] && echo ServiceHub || echo tarn-services)
    push "$round a" >>"$work/confirmed" & # may be hit: confirmed or not, never lost when confirmed
    sleep "0.$((RANDOM % 4))"
    pid=$(pid_of "$victim")
    [ -z "$pid" ] || kill -KILL "$pid" 2>/dev/null || true
    killed=$(now_ms)
    until push "$round b" >>"$work/confirmed"; do
        [ $(($(now_ms) - killed)) -lt $((limit * 1000)) ] || {
            echo "round $round: no answer $limit seconds after $victim was killed" >&2
            tail -20 "$work/host.log" >&2
            exit 1
        }
        sleep 0.05
    done
    took=$(($(now_ms) - killed))
    [ $took -le $longest ] || longest=$took
    wait $! 2>/dev/null || true
    [ $((round % 50)) != 0 ] || echo "round $round of $rounds, longest silence $longest ms"
done
"$work/bin/tarnctl" message list --json | tr ',' '\n' | sed -n 's/.*"MsgId":"\([^"]*\)".*/\1/p' | sort >"$work/stored"
lost=$(sort "$work/confirmed" | comm -23 - "$work/stored" | wc -l)
echo "$rounds kills, longest silence $longest ms, confirmed $(wc -l <"$work/confirmed"), lost $lost"
[ "$lost" = 0 ]
