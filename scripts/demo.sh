#!/usr/bin/env bash
# Placeholder until the local Verrin service lands: starts the program on a throwaway data folder.
set -eu
build=${1:-build}
data=$(mktemp -d)
trap 'rm -rf "$data"' EXIT
XDG_DATA_HOME="$data" bash scripts/run.sh "$build/src/verrinplus"
