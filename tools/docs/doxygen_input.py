#!/usr/bin/env python3
"""Prepares the installed headers and the pages of docs/ for Doxygen: doxygen_input.py REPOSITORY FOLDER

Headers: each plain comment before a declaration becomes a documentation comment. Characters that Doxygen interprets are
escaped; indented tables and examples stay as they are. The opening comment becomes the file's page, in the group of its
folder. Everything below the line of dashes is left out: it is function bodies.

Pages: links that lead out of the pages become plain text.
"""
import pathlib
import re
import sys

COMMENT = re.compile(r"^(\s*)//(?!/)(.*)$")


def plain(text):
    """The text with Doxygen's special characters escaped, and code in backquotes marked up."""
    def escaped(part):
        return re.sub(r'([\\@<>#&$%"|])', r"\\\1", part)

    parts = text.split("`")
    if len(parts) % 2 == 0:  # code that continues on the next line
        return escaped(text.replace("`", "'"))
    return "".join(f"<tt>{escaped(part)}</tt>" if i % 2 else escaped(part) for i, part in enumerate(parts))


def documentation(indent, lines):
    """The lines of one comment, without their slashes, as a documentation comment."""
    out, in_table = [], False
    for line in lines:
        is_table = line.startswith("   ") or (in_table and not line.strip())
        if is_table != in_table:
            out.append("@verbatim" if is_table else "@endverbatim")
            in_table = is_table
        if line.startswith((" ----", "----")):
            line = line.strip(" -")
        out.append(line if is_table else plain(line))
    if in_table:
        out.append("@endverbatim")
    return [f"{indent}/// {line}".rstrip() for line in out]


def above_the_bodies(lines):
    """The lines above the line of dashes, with a closing brace for each namespace that is open there."""
    open_spaces = []
    for number, line in enumerate(lines):
        if re.match(r"^// -{40,}$", line):
            return lines[:number] + ["}"] * len(open_spaces)
        if match := re.match(r"^(?:inline )?namespace ([\w:]+) \{$", line):
            open_spaces.append(match[1])
        elif re.match(r"^\}  // namespace", line) and open_spaces:
            open_spaces.pop()
    return lines


# Declarations that a reader of the pages does not look for, and that Doxygen does not understand.
UNWANTED = re.compile(r"^extern template [^;]*;\n|^template <[^\n]*>\nstruct std::hash<[^;{]*\{\};\n|"
                      r"^template <[^\n]*>\nstruct std::hash<.*?^\};\n", re.M | re.S)


def header(text, path):
    text = UNWANTED.sub("", text)
    group = "_".join(path.parent.parts)
    lines, out, at = above_the_bodies(text.split("\n")), [], 0
    while at < len(lines):
        start = at
        while at < len(lines) and COMMENT.match(lines[at]):
            at += 1
        if at == start:
            out.append(lines[at])
            at += 1
            continue
        block = [COMMENT.match(line)[2] for line in lines[start:at]]
        indent = COMMENT.match(lines[start])[1]
        if start == 0:
            out += [f"/// @file {path}", f"/// @ingroup {group}", "///"]
        elif at < len(lines) and not lines[at].strip() or block[0].startswith(" ----"):
            continue  # it does not belong to one declaration
        out += documentation(indent, block)
        if start == 0:
            out += ["", f"/// @addtogroup {group}", "/// @{"]
    return "\n".join([*out, "/// @}"])


def page(text, path, docs):
    def link(match):
        target, _, _ = match[2].partition("#")
        to = (path.parent / target).resolve()
        inside = to.suffix == ".md" and to.is_relative_to(docs) and to not in {path, docs / "README.md"}
        return f"[{match[1]}]({target})" if inside or "://" in target else match[1]

    return re.sub(r"\[([^\]]+)\]\(([^)\s]+)\)", link, text)


def main(repository, folder):
    for room in ["corelib", "engine", "docs"]:
        for source in sorted((repository / room).rglob("*.*")):
            path = source.relative_to(repository)
            if source.suffix not in {".h", ".md", ".dox"} or "detail" in path.parts or path == pathlib.Path("docs/README.md"):
                continue
            text = source.read_text(encoding="utf-8")
            if source.suffix == ".h":
                text = header(text, path)
            elif source.suffix == ".md":
                text = page(text, source, repository / "docs")
            (folder / path).parent.mkdir(parents=True, exist_ok=True)
            (folder / path).write_text(text, encoding="utf-8")
    readme = repository / "README.md"
    text = page(readme.read_text(encoding="utf-8"), readme, repository / "docs")
    (folder / "README.md").write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]))
