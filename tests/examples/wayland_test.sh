#!/bin/sh
# SPDX-License-Identifier: MIT
# wayland_test.sh HOST BUNDLE - what the compositor hears of the Qt host's box: a separate window whose parent is
# the host's window, gone before it.
set -eu
trace=$(mktemp)
trap 'rm -f "$trace" "$trace.png"' EXIT
WAYLAND_DEBUG=1 "$1" --module "$2" --snapshot "$trace.png" 2>"$trace"
requests=$(sed -n 's/.*-> \(xdg_toplevel@.*\)/\1/p' "$trace")
number() { # of the window with a title
    echo "$requests" | sed -n "s/^\(xdg_toplevel@[0-9]*\)\.set_title(\"$1\")$/\1/p"
}
host=$(number "Example Host")
box=$(number "About")
printf '%s\n' "$box.set_parent($host)" "$box.destroy()" "$host.destroy()" >"$trace"
echo "$requests" | grep -E 'set_parent|destroy' | diff "$trace" -
