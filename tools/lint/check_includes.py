#!/usr/bin/env python3
"""Checks that includes point one way: a folder includes itself and the folders that its row names, nothing else.

Prints a line per offence (file:line: reason) and exits with 1 if there is any.
"""

import pathlib
import re
import subprocess
import sys

# Folder -> the folders that it may include besides itself. The longest matching folder decides.
ALLOWED = {
    "corelib/text": [],
    "corelib/io": ["corelib/text"],
    "corelib/containers": ["corelib/text", "corelib/io"],
    "engine/data": ["corelib"],
    "engine/records": ["corelib"],
    "engine/trace": ["corelib", "engine/records"],
    "engine/cloud": ["corelib", "engine/records"],
    "datahelpers": [],
    "installer": ["datahelpers"],
}
INCLUDE = re.compile(r'^\s*#\s*(?:include|import)\s+"([^"]+)"')


def room(path: str) -> str | None:
    fitting = [folder for folder in ALLOWED if path.startswith(folder + "/")]
    return max(fitting, key=len, default=None)


def offences(path: str):
    home = room(path)
    if home is None:
        return
    allowed = [home, *ALLOWED[home]]
    for number, line in enumerate(pathlib.Path(path).read_text().splitlines(), 1):
        match = INCLUDE.match(line)
        if match and not any(match[1].startswith(folder + "/") for folder in allowed):
            yield f"{path}:{number}: {home}/ may not include {match[1]}"


def main() -> int:
    files = subprocess.run(["git", "ls-files", "--", "*.h", "*.cc", "*.mm"], check=True, capture_output=True, text=True)
    found = [offence for path in files.stdout.split() for offence in offences(path)]
    print("\n".join(found), end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
