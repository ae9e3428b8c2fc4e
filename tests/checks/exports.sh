#!/bin/sh
# SPDX-License-Identifier: MIT
# The module defines exactly one dynamic symbol, can be unloaded, and needs only the two platform
# libraries and the language's run time.
set -eu
module=$1

symbols=$(nm -D --defined-only "$module" | awk '{ print $3 }')
[ "$symbols" = GetEntryTable ] || { echo "exports: $symbols"; exit 1; }

if readelf --wide --syms "$module" | grep -q ' UNIQUE '; then
    echo "unique symbols keep the module in the process"
    exit 1
fi
if readelf -d "$module" | grep NEEDED \
    | grep -vE 'libvl(foundation|toolbox)\.so|libstdc\+\+|libgcc_s|libc\.so|libm\.so|ld-linux|lib(a|l|t|ub)san'; then
    echo "the module needs more than the platform libraries"
    exit 1
fi
