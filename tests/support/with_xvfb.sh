#!/bin/sh
# SPDX-License-Identifier: MIT
# with_xvfb.sh COMMAND [ARGUMENT...] - runs a command in a private X server with a window manager and
# ends both. The result is the command's. SCREEN (1280x800x24) is the size of the screen.
set -u
folder=$(mktemp -d) || exit 99
server= manager=
finish()
{
    [ -z "$manager" ] || kill "$manager" 2>/dev/null
    [ -z "$server" ] || kill "$server" 2>/dev/null
    wait
    rm -rf "$folder"
}
trap finish EXIT
trap 'exit 99' INT TERM

# Calls a command until it succeeds, for ten seconds at most.
await()
{
    tries=0
    until "$@" >/dev/null 2>&1; do
        tries=$((tries + 1))
        [ "$tries" -lt 500 ] || { echo "with_xvfb.sh: no answer to: $*" >&2; exit 99; }
        sleep 0.02
    done
}

Xvfb -displayfd 3 -screen 0 "${SCREEN:-1280x800x24}" -nolisten tcp -noreset \
    3>"$folder/display" >"$folder/server.log" 2>&1 &
server=$!
await test -s "$folder/display"
DISPLAY=:$(cat "$folder/display")
export DISPLAY
unset WAYLAND_DISPLAY XAUTHORITY QT_QPA_PLATFORM
XDG_CONFIG_HOME=$folder XDG_CACHE_HOME=$folder openbox --sm-disable --startup "touch $folder/managed" \
    >"$folder/manager.log" 2>&1 &
manager=$!
await test -e "$folder/managed" # it tells its name before, and loses windows that come in between

"$@"
