#!/bin/sh
# SPDX-License-Identifier: MIT
# with_weston.sh COMMAND [ARGUMENT...] - runs a command under a private Wayland compositor, without a screen,
# and ends it. The result is the command's.
set -u
folder=$(mktemp -d) || exit 99
chmod 700 "$folder"
unset DISPLAY
export XDG_RUNTIME_DIR="$folder" WAYLAND_DISPLAY=wayland-test QT_QPA_PLATFORM=wayland
export QT_WAYLAND_CLIENT_BUFFER_INTEGRATION=none # widgets need no GL
weston --backend=headless-backend.so --width=1280 --height=800 --socket=$WAYLAND_DISPLAY --idle-time=0 \
    --no-config >"$folder/weston.log" 2>&1 &
weston=$!
trap 'kill $weston 2>/dev/null; wait; rm -rf "$folder"' EXIT
trap 'exit 99' INT TERM

tries=0
until [ -S "$folder/$WAYLAND_DISPLAY" ]; do
    tries=$((tries + 1))
    [ $tries -lt 500 ] || { echo "with_weston.sh: no compositor" >&2; cat "$folder/weston.log" >&2; exit 99; }
    sleep 0.02
done

"$@"
