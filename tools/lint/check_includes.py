#!/usr/bin/env python3
"""Checks that includes point one way: a folder includes itself and the folders in its row of ALLOWED, nothing else.

Only tests, fuzz targets and benchmarks include another folder's detail/. In corelib/text/ the headers of detail/ do not
include the folder's public headers.

Prints a line for each violation (file:line: reason) and exits with 1 if there is any.
"""

import pathlib
import re
import subprocess
import sys

# Folder -> what it may include besides itself: folders or single headers. The longest matching folder decides.
CORELIB = ["corelib/base", "corelib/text", "corelib/io/files", "corelib/io/wire", "corelib/io/json", "corelib/io",
           "corelib/containers", "corelib/containers/dict", "corelib/containers/shared"]
ALLOWED = {
    "corelib/base": [],
    "corelib/text": ["corelib/base"],
    "corelib/io": ["corelib/base", "corelib/text"],
    "corelib/io/files": ["corelib/base", "corelib/text"],
    "corelib/io/wire": ["corelib/base", "corelib/text", "corelib/io/output.h"],
    "corelib/io/json": ["corelib/base", "corelib/text", "corelib/io/output.h"],
    "corelib/containers": ["corelib/base", "corelib/text", "corelib/io/files"],
    "corelib/containers/dict": ["corelib/base", "corelib/text", "corelib/io/files", "corelib/containers"],
    "corelib/containers/shared": ["corelib/base", "corelib/text", "corelib/io/files"],
    "engine/data": CORELIB,
    "engine/records": CORELIB,
    "engine/trace": [*CORELIB, "engine/records"],
    "engine/cloud": [*CORELIB, "engine/records"],
    "datahelpers": [],
    "installer": ["datahelpers"],
}
INCLUDE = re.compile(r'^\s*#\s*(?:include|import)\s+"([^"]+)"')

# Folders whose detail/ lies below their public headers.
ONE_WAY_DETAIL = ["corelib/text"]
# These use what is in detail/ directly.
MAY_LOOK_INSIDE = ("tests/", "fuzz/", "bench/")


def folder_of(path: str) -> str | None:
    fitting = [folder for folder in ALLOWED if path.startswith(folder + "/")]
    return max(fitting, key=len, default=None)


def is_allowed(path: str, home: str, included: str) -> bool:
    there = folder_of(included)
    return there == home or there in ALLOWED[home] or included in ALLOWED[home]


def offences(path: str):
    home = folder_of(path)
    for number, line in enumerate(pathlib.Path(path).read_text().splitlines(), 1):
        match = INCLUDE.match(line)
        if not match:
            continue
        where = f"{path}:{number}: "
        if home and not is_allowed(path, home, match[1]):
            yield where + f"{home}/ may not include {match[1]}"
        owner, inside, _ = match[1].rpartition("/detail/")
        if inside and not path.startswith((owner + "/", *MAY_LOOK_INSIDE)):
            yield where + f"{match[1]} is {owner}/'s own"
        if home in ONE_WAY_DETAIL and path.startswith(home + "/detail/") and match[1].startswith(home + "/") and not inside:
            yield where + f"{home}/detail/ may not look back at {match[1]}"


def main() -> int:
    files = subprocess.run(["git", "ls-files", "--", "*.h", "*.cc", "*.mm"], check=True, capture_output=True, text=True)
    found = [offence for path in files.stdout.split() for offence in offences(path)]
    print("\n".join(found), end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
