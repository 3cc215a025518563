#!/usr/bin/env bash
# Runs a client with settings that name the virtual VCI of a build.
# run.sh SOURCE_FOLDER BUILD_FOLDER LIBRARY COMMAND...
set -euo pipefail
PASSBRIDGE_BUILD=$(dirname "$2")
preset=$(basename "$2")
. "$1/scripts/lib.sh"
. "$1/scripts/virtual-vci.sh"
PASSBRIDGE_LIBRARY=$3
case $preset in windows-*) PASSBRIDGE_LIBRARY=$(as_windows_path "$3") ;; esac
export PASSBRIDGE_LIBRARY
shift 3
with_virtual_vci "$preset" "$@"
