# SPDX-License-Identifier: MIT
"""Refuses documentation whose labels stand in the middle of a line, as a reflow leaves them."""
import pathlib
import re
import sys

LABELS = "returns|owns|fails|asserts|throws|thread|example|differs"


def main(root):
    faults = []
    for folder in ("include", "System", "ui", "module", "platform", "tools", "examples", "tests"):
        for path in sorted((root / folder).glob("**/*.h")):
            for number, line in enumerate(path.read_text().splitlines(), 1):
                text = re.match(r"\s*(?:///|\*) ?(.*)", line)
                if not text:
                    continue
                text = re.sub(r'".*?"', '""', text[1])
                if re.match(r"\s*\S+ .*?\S\s{2,}\S", text) and not re.match(r"\s*\S+(?:, \S+)*\s{2,}\S", text):
                    faults.append(f"{path.relative_to(root)}:{number}: {line.strip()}")
                elif re.match(rf"\s*\S+\s.*\S\s({LABELS})\s{{2,}}", text):
                    faults.append(f"{path.relative_to(root)}:{number}: {line.strip()}")
    print("\n".join(faults))
    return 1 if faults else 0


sys.exit(main(pathlib.Path(sys.argv[1])))
