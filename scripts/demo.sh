#!/usr/bin/env bash
# Starts the local Verrin service with the demo account and the program on a throwaway data folder
# pointed at it (SSL off), with the demo credentials stored so it signs in on its own.
set -eu
build=${1:-build}
if [ $# -gt 0 ]; then shift; fi
service="$build/tools/verrin-service/verrin-service"
data=$(mktemp -d)
service_pid=
cleanup() {
    if [ -n "$service_pid" ]; then kill "$service_pid" 2>/dev/null || true; wait "$service_pid" 2>/dev/null || true; fi
    rm -rf "$data"
}
trap cleanup EXIT

if [ ! -x "$service" ]; then
    echo "verrin-service was not built (is qt6-httpserver-dev installed?)" >&2
    exit 1
fi
# A free port is picked by the service; its first line names the address.
exec 3< <("$service" --port 0 --seed tools/verrin-service/seeds/demo-seed.json --db "$data/service.sqlite")
service_pid=$!
read -r -t 15 line <&3 || { echo "verrin-service did not start" >&2; exit 1; }
url=${line#Listening on }
echo "Local Verrin service: $url (sign in as demo@verrin.test / demo), process $service_pid"
port=${url##*:}
port=${port%%/*}
echo "After stopping it, start it again with: $service --port $port --db $data/service.sqlite"

mkdir -p "$data/VerrinPlus"
# A year of recorded history, none of it linked yet, so the trees and the calendar have something to show.
"$build/tools/verrin-history/verrin-history" --years 1 --entries-per-day 300 --heavy-day-entries 600 \
    --applications 40 --linked-percent 0 "$data/VerrinPlus/verrinplus.sqlite" >/dev/null
cat > "$data/VerrinPlus/verrinplus.ini" <<INI
[API]
Url=$url
Username=demo@verrin.test
Password=$(printf '%s' demo | base64)
SslEnabled=false
INI
cat <<TEXT
Data folder: $data/VerrinPlus (removed when the demo ends)
Apply the rules without the window, from another terminal while the demo runs:
  XDG_DATA_HOME=$data $(cd "$build" && pwd)/src/verrinplus --apply-rules $(date +%F)
TEXT
# The throwaway folder keeps the demo password in its settings file, never in your keyring.
XDG_DATA_HOME="$data" VERRINPLUS_KEYRING=off bash scripts/run.sh "$build/src/verrinplus" "$@"
