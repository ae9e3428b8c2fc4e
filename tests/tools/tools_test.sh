#!/bin/sh
# SPDX-License-Identifier: MIT
# Runs the tools as a user would and compares what they print, with their exit codes, with expected.txt.
set -u
tools=$1/tools
bundle=$1/Veltrano.bundle
source=$2
expected=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export XDG_CONFIG_HOME="$folder/config" XDG_CONFIG_DIRS="$folder/all" QT_QPA_PLATFORM=offscreen XDG_RUNTIME_DIR="$folder"
cd "$folder" || exit 1

run() {
    echo "\$ $*"
    "$tools/$@" 2>errors
    code=$?
    grep "^$1:" errors
    [ "$code" = 0 ] || echo "= $code"
}

same() { # two files
    if cmp -s "$1" "$2"; then echo "same"; else echo "different"; fi
}

{
    run vlprefs set com.example.a View/Main/Left --int -5
    run vlprefs set com.example.a View/Main/Name --string 'a	tab'
    run vlprefs set com.example.a On --bool true
    run vlprefs set com.example.a Blob --data 00ffA0 --all-users
    run vlprefs get com.example.a View/Main/Left
    run vlprefs list com.example.a
    run vlprefs list com.example.a --all-users
    run vlprefs delete com.example.a View/Main/Name
    run vlprefs delete com.example.a View/Main/Name
    run vlprefs set com.example.a On --bool maybe
    run vlprefs set a/b On --int 1
    run vlprefs get com.example.b Nothing
    run vlprefs set com.example.a On/Off --int 1
    run vlprefs domains
    run vlprefs clear com.example.a --all-users
    run vlprefs domains --all-users
    run vlprefs export com.example.a >exported
    sed 1d exported | python3 -c 'import plistlib, sys; print(sorted(plistlib.loads(sys.stdin.buffer.read()).items()))'
    run vlprefs clear com.example.a
    sed 1d exported | run vlprefs import com.example.a -
    run vlprefs list com.example.a
    run vlprefs import com.example.a exported
    echo "<plist" >"$(find config -name '*.plist')"
    run vlprefs list com.example.a | sed 's|/.*/||; s|[.][^ .]*[.]plist|.plist|'
    run vlprefs set com.example.a View --string new | sed 's|/.*/||; s|[.][^ .]*[.]plist|.plist|'
    run vlprefs list com.example.a

    printf '; kept\n[one]\na = 1\n\n[two]\nb=2\n' >profile.ini
    run vlprofile get profile.ini one a
    run vlprofile set profile.ini one new 'x y'
    run vlprofile set profile.ini three c 3
    run vlprofile set profile.ini two b ''
    run vlprofile add-line profile.ini one '# a line'
    run vlprofile remove-line profile.ini one 'a = 1'
    run vlprofile remove-line profile.ini one c=3
    run vlprofile add-line profile.ini one '[three]'
    run vlprofile set profile.ini one d '[four]'
    run vlprofile lines profile.ini one
    cat profile.ini | run vlprofile lines - one
    run vlprofile set - two b 3
    run vlprofile keys - two <profile.ini
    run vlprofile sections profile.ini
    run vlprofile get profile.ini one a
    run vlprofile keys profile.ini none
    cat profile.ini
    printf '[a]\nName=x\nName[de]=y\nEnd=z\n' >desktop.ini
    run vlprofile set desktop.ini a Name new
    run vlprofile set desktop.ini a End new
    run vlprofile set desktop.ini de k v
    run vlprofile remove-line desktop.ini a Name=new
    run vlprofile set desktop.ini b k v
    printf '[a]\n%1022s\n' x >long.ini
    run vlprofile set long.ini a k v
    wc -c <long.ini
    cat desktop.ini
    run vlprofile get missing.ini one a
    run vlprofile frobnicate

    run vlpict add a.rsrc --id 128 --name First --density 2 "$source/examples/host/about-light.png" | sed 's|/.*/||'
    run vlpict add a.rsrc --id=-3 --name=Ö "$source/module/artwork/default.png" | sed 's|/.*/||'
    run vlpict list a.rsrc | sed 's/ [0-9]\{4,\}/ N/'
    run vlpict extract a.rsrc --id 128 one.pict
    run vlpict draw one.pict --scale 2 two.png
    run vlpict draw a.rsrc --id 128 --scale 2 three.png
    same two.png three.png
    run vlpict add b.rsrc --id 128 --density 2 two.png
    run vlpict draw b.rsrc --id 128 --scale 2 four.png
    same two.png four.png
    run vlpict remove a.rsrc --id -3
    run vlpict draw a.rsrc --id -3 none.png
    run vlpict list profile.ini
    run vlpict add a.rsrc --id 99999 one.png
    run vlpict add a.rsrc --id 1 --name 日 one.png
    "$tools/vlpict" add - --id 1 --density 2 two.png </dev/null 2>errors \
        | "$tools/vlpict" draw - --id 1 --scale 2 - >five.png 2>errors
    same two.png five.png
    "$tools/vlpict" list a.rsrc 2>errors >/dev/full
    grep '^vlpict:' errors
    run vlpict --version | sed 's| [0-9.]*$| N|'

    run vlabout --picture two.png --density 2 --version "Product 3.2" --text "Extra" --snapshot box.png
    run vlabout --bundle . --id 5 --snapshot box.png
    run vlabout --snapshot nowhere/box.png
    run vlabout --style light
    [ -s box.png ] && echo "a picture"
    run vlcheck "$bundle" | sed 's|/.*/||'
    cp -r "$bundle" Bare.bundle
    rm -r Bare.bundle/Contents/Resources/*.lproj
    run vlcheck Bare.bundle
} | sed 's, *$,,' >printed.txt

diff -u "$expected" printed.txt
