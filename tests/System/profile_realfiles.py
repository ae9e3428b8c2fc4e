#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
# profile_realfiles.py DUMP [FOLDER...] - reads the configuration files of this machine with a reader of its
# own, and compares what the profile file (through the program profile_dump) finds in copies of them and
# what one edit leaves on disk, byte by byte. Prints the number of files; fails on the first difference.
import os
import shutil
import subprocess
import sys
import tempfile

SUFFIXES = (".ini", ".conf", ".desktop", ".cnf")
MAX_SIZE = 1 << 20
SPACE = b" \t\n\v\f\r"


def pieces(data):
    """The lines, those of more than 1,022 bytes cut, without their line ends."""
    for line in data.split(b"\n"):
        line += b"\n"
        for i in range(0, len(line), 1022):
            yield line[i : i + 1022]


def read_lines(data):
    if not data.endswith(b"\n"):
        lines = list(pieces(data))
        lines[-1] = lines[-1][:-1]  # the last line feed is not in the file
        if not lines[-1]:
            lines.pop()
    else:
        lines = list(pieces(data[:-1]))
    return [line.rstrip(b"\r\n") for line in lines]


def header(line):
    start = line.find(b"[")
    end = line.find(b"]", start + 1)
    return line[start + 1 : end] if start >= 0 and end >= 0 else None


def entry(line):
    key, equals, value = line.partition(b"=")
    key = key.strip(SPACE)
    return (key, value.strip(SPACE)) if equals and key else None


def expected_dump(path, lines):
    yield b"F", path.encode()
    heads = [(i, header(line)) for i, line in enumerate(lines) if header(line) is not None]
    first = {}
    for n, (i, name) in enumerate(heads):
        end = heads[n + 1][0] if n + 1 < len(heads) else len(lines)
        first.setdefault(name, (i, end))
    for _, name in heads:
        yield b"S", name
        if not name:
            continue
        i, end = first[name]
        keys = [entry(line)[0] for line in lines[i:end] if entry(line)]
        for key in keys:
            values = [entry(line)[1] for line in lines[i + 1 : end] if entry(line) and entry(line)[0] == key]
            yield (b"V", key, values[0]) if values else (b"K", key, b"")
        for line in lines[i + 1 :]:
            if line.strip(SPACE):
                yield b"L", line.strip(SPACE)


def expected_text(lines):
    names = [header(line) for line in lines if header(line) is not None]
    new = list(lines)
    if names and not names[0]:
        return None  # an empty section name changes nothing
    if not names:
        new.append(b"[veltrano section]")
    new.append(b"veltrano key=a value")
    return b"".join(line + b"\n" for line in new)


def main():
    dump = sys.argv[1]
    files = []
    for folder in sys.argv[2:] or ["/etc", "/usr/share"]:
        for root, _, names in os.walk(folder):
            files += [os.path.join(root, name) for name in sorted(names) if name.endswith(SUFFIXES)]
    with tempfile.TemporaryDirectory() as folder:
        copies = []
        for file in files:
            copy = os.path.join(folder, "%05d" % len(copies))
            try:
                if os.path.getsize(file) <= MAX_SIZE:
                    shutil.copyfile(file, copy)
                    copies.append((file, copy))
            except OSError:
                pass
        contents = [open(copy, "rb").read() for _, copy in copies]
        result = subprocess.run(
            [dump], input="".join(copy + "\n" for _, copy in copies).encode(), stdout=subprocess.PIPE, check=True
        )
        found = iter(result.stdout.splitlines())
        for (file, copy), data in zip(copies, contents):
            lines = read_lines(data)
            for fields in expected_dump(copy, lines):
                line = fields[0] + b"".join(b" " + field.hex().encode() for field in fields[1:])
                actual = next(found, b"nothing")
                if line != actual:
                    sys.exit("%s: wanted %s\n   found %s" % (file, line.decode(), actual.decode()))
            wanted = expected_text(lines)
            if open(copy, "rb").read() != (data if wanted is None else wanted):
                sys.exit("%s: the file written back differs" % file)
        if next(found, None) is not None:
            sys.exit("more was found than the files hold")
        print("%d files, %d bytes: the same" % (len(copies), sum(map(len, contents))))
        if not copies:
            sys.exit("no files")


main()
