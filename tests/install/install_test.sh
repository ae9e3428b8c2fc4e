#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs into an empty prefix, moves it, and builds two consumers outside of the tree: a host in C, through
# pkg-config, and a component in C++ that links Veltrano::System, through CMake.
set -eu
build=$1
source=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

cmake --install "$build" --prefix "$folder/first" >/dev/null
mv "$folder/first" "$folder/moved"
prefix=$folder/moved
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name veltrano.pc)")
export PKG_CONFIG_PATH

# Each public header compiles alone, those of components beside libc/; what a host includes does so in C, too.
(cd "$prefix/include/veltrano" && find . -name '*.h' | sed 's|^\./||') | while read -r header; do
    # shellcheck disable=SC2046
    echo "#include <$header>" | g++ -std=c++20 -Wall -Wextra -Wpedantic -Wno-multichar -Werror -fsyntax-only -x c++ \
        $(pkg-config --cflags veltrano) -I"$prefix/include/veltrano/libc" -
done
# shellcheck disable=SC2046
gcc -std=c11 -Wall -Wextra -Wpedantic -Werror "$source/host.c" -o "$folder/host" \
    $(pkg-config --cflags --libs veltrano) -Wl,-rpath,"$(pkg-config --variable=libdir veltrano)"
QT_QPA_PLATFORM=offscreen "$folder/host"

cmake -S "$source/component" -B "$folder/component" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$folder/component" >/dev/null
XDG_CONFIG_HOME=$folder/config "$folder/component/component"
[ "$(XDG_CONFIG_HOME=$folder/config "$prefix/bin/vlprefs" get com.veltrano.Example.Part Started)" = 1 ]
for tool in vlpict vlprefs vlprofile; do
    "$prefix/bin/$tool" --help >/dev/null
    [ -f "$prefix/share/man/man1/$tool.1.gz" ]
done
