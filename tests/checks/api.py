# SPDX-License-Identifier: MIT
"""Holds the register of the API against the headers, the libraries and what the module imports."""
import pathlib
import re
import subprocess
import sys


def dynamic_symbols(path, kind):
    lines = subprocess.run(["nm", "-D", f"--{kind}-only", path], check=True, capture_output=True, text=True)
    names = {line.split()[-1].split("@")[0] for line in lines.stdout.splitlines()}
    return {name for name in names if not name.startswith("_ZSt")}  # unique objects of the language runtime


def elf_name(name, users):
    return name if "plain" in users else f"vlp_{name}"


def main(source, module, *libraries):
    platform = source / "platform"
    register = {}
    for line in (platform / "api.list").read_text().splitlines():
        if line and not line.startswith("#"):
            name, library, *users = line.split()
            register[name] = (library, users)
    declared = set()
    for header in [*platform.glob("include/**/*.h"), *source.glob("include/**/*.h")]:
        declared |= set(re.findall(r"VL_SYMBOL\((\w+)\)|^VL_EXPORT .*?(\w+)\(", header.read_text(), re.M))
    declared = {name or plain for name, plain in declared} - {"name"}

    faults = []

    def compare(what, found, listed):
        faults.extend(f"{what}: {name} is not in the register" for name in sorted(found - listed))
        faults.extend(f"{what}: {name} of the register is missing" for name in sorted(listed - found))

    compare("headers", declared, set(register))
    packaged = (source / "debian/libveltrano1.symbols").read_text()
    for path, library in zip(libraries, ("foundation", "toolbox")):
        listed = {elf_name(name, users) for name, (owner, users) in register.items() if owner == library}
        compare(f"lib {library}", dynamic_symbols(path, "defined"), listed)
        rows = re.search(rf"^libvl{library}\.so.*\n((?: .*\n)*)", packaged, re.M)[1]
        compare(f"debian/libveltrano1.symbols, {library}", set(re.findall(r"^ (\w+)@Base", rows, re.M)), listed)
    imported = {name for name in dynamic_symbols(module, "undefined") if name.startswith("vlp_")}
    compare("module", imported, {elf_name(name, users) for name, (_, users) in register.items() if "module" in users})
    print("\n".join(faults))
    return 1 if faults else 0


sys.exit(main(pathlib.Path(sys.argv[1]), *sys.argv[2:]))
