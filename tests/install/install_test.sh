#!/bin/sh
# SPDX-License-Identifier: MIT
# install_test.sh BUILD-OR-PREFIX SOURCE - consumers of an installed prefix: each header alone, a host and a
# component through pkg-config, the examples through CMake. A build folder is installed first, and moved.
set -eu
prefix=$1
source=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export QT_QPA_PLATFORM=offscreen XDG_CONFIG_HOME="$folder/config"

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
export LD_LIBRARY_PATH
# shellcheck disable=SC2046
gcc -std=c11 -Wall -Wextra -Wpedantic -Werror "$source/examples/x11_host/main.c" -o "$folder/host" \
    $(pkg-config --cflags --libs veltrano x11)
# shellcheck disable=SC2046
g++ -std=c++20 "$source/examples/component/main.cpp" -o "$folder/component" $(pkg-config --cflags --libs veltrano-system)
"$folder/component"
[ "$("$prefix/bin/vlprefs" get com.veltrano.Example.Part Started)" = 1 ]

PATH=$prefix/bin:$PATH cmake -S "$source/examples" -B "$folder/examples" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$folder/examples" --target component example_host >/dev/null
"$folder/examples/ExampleHost.app/Contents/MacOS/ExampleHost" --snapshot "$folder/about.png"
for tool in vlabout vlcheck vlpict vlprefs vlprofile; do
    "$prefix/bin/$tool" --help >/dev/null
    ls "$prefix/share/man/man1/$tool.1"* >/dev/null
done
