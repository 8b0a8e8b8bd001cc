#!/usr/bin/env bash
# Builds the agent, its operator tool and the Linux plug-ins, then runs a demo agent on
# demo/home (made afresh from demo/template) for about a minute, or until Ctrl-C, and
# shows the incidents as they arrive on the outbound queue and as they resolve.
#   DEMO_SECONDS=120 bash scripts/demo.sh     a longer run
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"

build="$root/build"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j2

seconds="${DEMO_SECONDS:-60}"
home="$root/demo/home"
rm -rf "$home"
cp -r "$root/demo/template" "$home"
mkdir -p "$home/Modules" "$home/LogFiles"
cp "$build"/modules/*.so "$home/Modules/"
# The module files name paths inside this home.
sed -i "s|@HOME@|$home|g; s|@CHECKS@|$root/demo/checks|g" "$home"/ModuleConfigs/*.INI

echo
echo "Demo agent on $home for ${seconds}s (Ctrl-C ends it). Its log: $home/LogFiles/MvAgent.log"
echo "  - the file monitor misses $home/demo-flag, which appears after 25s: an incident, then its resolve"
echo "  - the check program warns while $home/demo-warning exists (from 10s to 40s)"
echo "  - disk, processor, memory and process thresholds are set so that they fire on this machine"
echo "Incidents as koradctl shows them (time | status | resource | condition | key attributes):"
echo

"$build/koradagent" --home "$home" &
agent=$!
"$build/koradctl" --home "$home" incidents --follow 2>/dev/null &
follower=$!

stop() {
  kill -TERM "$agent" 2>/dev/null || true
  wait "$agent" 2>/dev/null || true
  sleep 1  # the follower prints what the last pass sent
  kill -TERM "$follower" 2>/dev/null || true
  wait "$follower" 2>/dev/null || true
  echo
  echo "Agent stopped. State and form files: $build/koradctl --home $home state show DemoFiles"
  echo "Module heartbeats:                   $build/koradctl --home $home heartbeats"
}
trap stop EXIT
trap 'exit 0' INT TERM

for ((t = 0; t < seconds; t++)); do
  [ "$t" -eq 10 ] && touch "$home/demo-warning"
  [ "$t" -eq 25 ] && touch "$home/demo-flag"
  [ "$t" -eq 40 ] && rm -f "$home/demo-warning"
  sleep 1
done
