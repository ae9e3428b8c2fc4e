# SPDX-License-Identifier: MIT
"""Holds the table of who may include whom against every #include of the product's folders."""
import pathlib
import re
import sys

BACK_ENDS = r"Q[A-Z].*|Qt\w+/.*|xcb/.*|X11/.*"
# folder: (own headers that it may include with quotes, system headers in angle brackets that it may not)
FOLDERS = {
    "System": (r"System/.*", rf"({BACK_ENDS})|veltrano/.*|Carbon/.*"),
    "ui": (r"(ui|System)/.*", rf"({BACK_ENDS})|veltrano/(?!EntryTable\.h).*"),
    "module": (r"(module|ui|System)/.*", rf"({BACK_ENDS})|veltrano/(?!EntryTable\.h).*"),
    "include": (r"", BACK_ENDS),
    "platform": (r"\w+/.*", None),
}
# Inside platform: a folder may include itself and those before it.
PLATFORM = ["support", "libc", "dyld", "CoreServices", "Resources", "CoreFoundation", "QuickDraw", "HIToolbox"]
# Inside System: what a file may use besides its own header and the assertion report.
SYSTEM = {
    "vlAssert": set(),
    "vlString": set(),
    "vlModuleLog": set(),
    "vlException": set(),
    "vlDataStream": {"vlException"},
    "vlProfileFile": {"vlString"},
    "vlPreferenceStore": {"vlString", "vlModuleLog"},
    "vlModule": {"vlString", "vlPreferenceStore"},
}


def main(root):
    faults = []
    for folder, (own, forbidden) in FOLDERS.items():
        for path in sorted(root.glob(f"{folder}/**/*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            name = path.relative_to(root)
            public = "platform/include" in str(name)
            for number, line in enumerate(path.read_text().splitlines(), 1):
                match = re.match(r'\s*#\s*include(?:_next)?\s*([<"])([^>"]+)[>"]', line)
                if not match:
                    continue
                quote, header = match.groups()
                where = f"{name}:{number}: {header}"
                if quote == '"' and (public or not re.fullmatch(own, header)):
                    faults.append(f"{where} is out of reach for {folder}/")
                if quote == "<" and forbidden and re.fullmatch(forbidden, header):
                    faults.append(f"{where} is a back end or the host's")
                if folder == "platform" and re.fullmatch(BACK_ENDS, header):
                    if not path.stem.endswith("_qt"):
                        faults.append(f"{where} in a file whose suffix does not name it")
                if folder == "platform" and quote == '"' and not public:
                    reach = PLATFORM[: PLATFORM.index(name.parts[1]) + 1]
                    if header.split("/")[0] not in reach:
                        faults.append(f"{where} is out of reach for platform/{name.parts[1]}/")
                if folder == "System" and quote == '"':
                    used = header.removeprefix("System/").removesuffix(".h")
                    if used not in SYSTEM[path.stem] | {path.stem, "vlAssert"}:
                        faults.append(f"{where} is no neighbour of {path.stem}")
    print("\n".join(faults))
    return 1 if faults else 0


sys.exit(main(pathlib.Path(sys.argv[1])))
