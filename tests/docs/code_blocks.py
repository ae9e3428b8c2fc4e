# SPDX-License-Identifier: MIT
"""Compiles each ```c and ```cpp block of the given Markdown files by itself."""
import pathlib
import re
import subprocess
import sys

root = pathlib.Path(sys.argv[1])
toolkits = subprocess.run(["pkg-config", "--cflags", "gtk+-3.0", "Qt6Widgets"], capture_output=True, text=True)
failed = count = 0
for name in sys.argv[2:]:
    for language, block in re.findall(r"^```(c|cpp)\n(.*?)^```", pathlib.Path(name).read_text(), re.M | re.S):
        compiler = ["gcc", "-xc", "-std=c11"] if language == "c" else ["g++", "-xc++", "-std=c++20"]
        flags = [f"-I{root}", f"-I{root}/include", f"-I{root}/platform/include", "-Wall", "-Wextra", "-Werror", "-fsyntax-only"]
        if "#include <System/" in block:  # a component, which gets this folder by its CMake target
            flags.append(f"-I{root}/platform/include/libc")
        result = subprocess.run([*compiler, *flags, *toolkits.stdout.split(), "-fPIC", "-"], input=block, capture_output=True, text=True)
        count += 1
        if result.returncode:
            failed += 1
            print(f"{name}:\n{block}\n{result.stderr}")
print(f"{count} blocks, {failed} failed")
sys.exit(1 if failed or not count else 0)
