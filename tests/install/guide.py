# SPDX-License-Identifier: MIT
"""guide.py FILE.md ... - does what the files say, in the current folder: writes each block whose line before names a
file, runs each sh block, and compiles any other C and C++ block by itself."""
import pathlib
import re
import subprocess
import sys

for name in sys.argv[1:]:
    text = pathlib.Path(name).read_text()
    for file, language, block in re.findall(r"(?:`([\w-]+\.cp*)`:\n\n)?^```(c|cpp|sh)\n(.*?)^```", text, re.M | re.S):
        print(f"{name}: {file or language}", flush=True)
        if language == "sh":
            subprocess.run(["sh", "-eu"], input=block, text=True, check=True)
        elif file:
            pathlib.Path(file).write_text(block)
        else:
            flags = subprocess.run(["pkg-config", "--cflags", "veltrano"], capture_output=True, text=True, check=True)
            compiler = ["gcc", "-xc"] if language == "c" else ["g++", "-xc++"]
            subprocess.run([*compiler, "-Wall", "-Wextra", "-Werror", "-fsyntax-only", *flags.stdout.split(), "-"],
                           input=block, text=True, check=True)
