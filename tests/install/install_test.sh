#!/bin/sh
# SPDX-License-Identifier: MIT
# install_test.sh BUILD-OR-PREFIX SOURCE - consumers of an installed prefix: each header alone, what the guide says,
# the examples through CMake. A build folder is installed first, and moved.
set -eu
prefix=$1
source=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export QT_QPA_PLATFORM=offscreen XDG_CONFIG_HOME="$folder/config" XDG_DATA_HOME="$folder/data"

if [ -f "$prefix/CMakeCache.txt" ]; then
    cmake --install "$prefix" --prefix "$folder/first" >/dev/null
    mv "$folder/first" "$folder/moved"
    prefix=$folder/moved
fi
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name veltrano.pc)")
export PKG_CONFIG_PATH

# A component's flags take the headers beside libc/ with them.
(cd "$prefix/include/veltrano" && find . -name '*.h' | sed 's|^\./||') | while read -r header; do
    # shellcheck disable=SC2046
    echo "#include <$header>" | g++ -std=c++20 -Wall -Wextra -Wpedantic -Wno-multichar -Werror -fsyntax-only -x c++ \
        $(pkg-config --cflags veltrano-ui) -
done
LD_LIBRARY_PATH=$(pkg-config --variable=libdir veltrano)
PATH=$prefix/bin:$PATH
export LD_LIBRARY_PATH PATH
mkdir "$folder/guide"
(cd "$folder/guide" && python3 "$source/tests/install/guide.py" "$source/docs/host-guide.md" "$source/README.md") >"$folder/guide.log" || { cat "$folder/guide.log"; exit 1; }
[ "$(vlprefs get com.veltrano.Product.Component Runs)" = 2 ]

examples=$(pkg-config --variable=examples veltrano)
cmake -S "$examples" -B "$folder/examples" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$folder/examples" >/dev/null
"$folder/examples/ExampleHost.app/Contents/MacOS/ExampleHost" --snapshot "$folder/about.png"
"$folder/examples/component"
[ "$(vlprefs get com.veltrano.Example.Part Started)" = 1 ]
for tool in vlabout vlcheck vlpict vlprefs vlprofile; do
    "$prefix/bin/$tool" --help >/dev/null
    ls "$prefix/share/man/man1/$tool.1"* >/dev/null
done
