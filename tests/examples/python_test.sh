#!/bin/sh
# SPDX-License-Identifier: MIT
# python_test.sh HOST - the Python host as its user sees it, who closes the box with the Return key.
set -eu
(xdotool search --sync --onlyvisible --name '^About' windowfocus --sync key Return) &
[ "$("$1")" = "The About box was shown." ]
