#!/usr/bin/env python3
"""Compares docs/cookbook.md with the programs that it shows: check_cookbook.py REPOSITORY PROGRAMS [EMULATOR]

Every C++ block must be in one of the programs of examples/, line for line. Every block that starts with "$ " is a terminal
session: each command is run in a scratch folder with `examples` in it and must print the lines that follow it; a line "..."
matches any lines. Every program must be run. Every header that the page links opens with an example, which must be in one of
the programs, too.

PROGRAMS is the folder of the built programs; EMULATOR runs them if this machine cannot.
"""
import pathlib
import re
import subprocess
import sys
import tempfile
import textwrap


def blocks(page):
    """Yields (line number, language, text) of each fenced block."""
    for match in re.finditer(r"^```(\w*)\n(.*?)^```$", page, re.M | re.S):
        yield page.count("\n", 0, match.start()) + 2, match[1], match[2]


def commands(text):
    """Yields (command, wanted output) of a terminal session."""
    for part in re.split(r"^\$ ", text, flags=re.M)[1:]:
        command, _, output = part.partition("\n")
        yield command, output


def example_of(header):
    """The code in the first indented lines of a header's opening comment, without white space and without pictures."""
    opening = re.match(r"(?://.*\n)*", header)[0]
    indented = re.search(r"(?://   .*\n|//\n(?=//   ))+", opening)[0].replace("//\n", "\n")
    code = [part for part in indented.split("\n\n") if "+--" not in part]
    return "".join(re.sub("^//", "", "\n".join(code), flags=re.M).split())


def same(wanted, got):
    pattern = re.escape(wanted).replace(re.escape("...\n"), "(?:.*\n)*")
    return re.fullmatch(pattern, got) is not None


def main(repository, programs, emulator):
    examples = repository / "examples"
    page = (repository / "docs/cookbook.md").read_text(encoding="utf-8")
    sources = {source.stem: source.read_text(encoding="utf-8") for source in examples.glob("*.cc")}
    faults, not_run, snippets = [], set(sources), 0
    with tempfile.TemporaryDirectory() as scratch:
        scratch = pathlib.Path(scratch)
        (scratch / "examples").symlink_to(examples)
        for name in sources:
            wrapper = scratch / "bin" / name
            wrapper.parent.mkdir(exist_ok=True)
            wrapper.write_text(f'#!/bin/sh\nexec {emulator} "{programs / name}" "$@"\n')
            wrapper.chmod(0o755)
        for line, language, text in blocks(page):
            if language == "cpp":
                snippets += 1
                if not any(text in textwrap.dedent(part) for source in sources.values()
                           for part in [source, *re.findall(r"(?:^  .*\n|^\n)+", source, re.M)]):
                    faults.append(f"line {line}: this C++ stands in no program of examples/:\n{text}")
            elif text.startswith("$ "):
                for command, wanted in commands(text):
                    got = subprocess.run(["/bin/sh", "-c", f"PATH=$PWD/bin:$PATH; {command}"], cwd=scratch,
                                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
                    not_run.discard(command.split()[0])
                    output = got.stdout.decode("utf-8", "replace")
                    if not same(wanted, output):
                        faults.append(f"line {line}: $ {command}\nwanted:\n{wanted}got:\n{output}")
    squeezed = ["".join(source.split()) for source in sources.values()]
    for header in sorted(set(re.findall(r"\]\(\.\./([\w/]+\.h)\)", page))):
        example = example_of((repository / header).read_text(encoding="utf-8"))
        if not any(example in source for source in squeezed):
            faults.append(f"{header}: the example that it opens with stands in no program of examples/")
    faults += [f"examples/{name}.cc is run nowhere in the cookbook" for name in sorted(not_run)]
    if snippets == 0:
        faults.append("the cookbook has no C++")
    print("\n".join(faults) or f"the cookbook is true: {snippets} snippets, {len(sources)} programs")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve(), " ".join(sys.argv[3:])))
