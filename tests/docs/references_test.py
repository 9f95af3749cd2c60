#!/usr/bin/env python3
"""Checks that everything the documents refer to exists: link targets and anchors, files, scripts, programs, labels.
Also that docs/behaviours.md and the comments that begin with `Kept:` name the same sources.

    references_test.py SOURCE BIN
"""

import glob
import os
import re
import sys

LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)")
HEADING = re.compile(r"^#+ (.*)$", re.MULTILINE)
CODE_BLOCK = re.compile(r"^```.*?^```", re.MULTILINE | re.DOTALL)
# A path in the project that starts with a top-level directory and is spelled out.
SOURCE_PATH = re.compile(r"(?<![\w/.-])((?:src|tests|bench|docs|examples|man|packaging|cmake|script|\.ci)/[\w./-]*\w)")
PROGRAM = re.compile(r"build/bin/([\w-]+)")
LABEL = re.compile(r"script/test(?: \w+)? -L (\w+)")
# A row of docs/behaviours.md: sources without "src/" and extension, what happens, tests.
BEHAVIOUR = re.compile(r"^\| ([\w/, ]+) \| .* \| (`.*`) \|$", re.MULTILINE)
TEST_NAME = re.compile(r"`(\w+)\.(\w+)`")
TEST = re.compile(r"^TEST(?:_F|_P)?\((\w+), (\w+)\)", re.MULTILINE)


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def anchor(heading):
    """The anchor of a heading."""
    return re.sub(r"[^\w\- ]", "", heading.replace("`", "").lower()).replace(" ", "-")


def anchors(path):
    return {anchor(heading) for heading in HEADING.findall(CODE_BLOCK.sub("", read(path)))}


def broken_link(document, target):
    if re.match(r"[a-z]+:", target):
        return None
    path, _, name = target.partition("#")
    path = os.path.join(os.path.dirname(document), path) if path else document
    if not os.path.exists(path):
        return f"a link to {target}, which is not there"
    if name and name not in anchors(path):
        return f"a link to {target}, which has no such heading"
    return None


def problems_of(document, root, programs, labels):
    text = read(document)
    for target in LINK.findall(CODE_BLOCK.sub("", text)):
        if problem := broken_link(document, target):
            yield problem
    for path in SOURCE_PATH.findall(text):
        # A document may omit the extension to refer to a header and its source.
        if not os.path.exists(os.path.join(root, path)) and not glob.glob(os.path.join(root, path + ".*")):
            yield f"{path} is not there"
        elif path.startswith("script/") and not os.access(os.path.join(root, path), os.X_OK):
            yield f"{path} cannot be run"
    for program in PROGRAM.findall(text):
        if program not in programs:
            yield f"there is no program {program}"
    for label in LABEL.findall(text):
        if label not in labels:
            yield f"no test has the label {label}"


def sources(root, folder):
    return [path for ending in ("h", "cpp") for path in glob.glob(os.path.join(root, folder, "**", "*." + ending),
                                                                  recursive=True)]


def behaviour_problems(root):
    rows = BEHAVIOUR.findall(read(os.path.join(root, "docs", "behaviours.md")))
    listed = {source for where, _ in rows for source in where.split(", ")}
    kept = {os.path.splitext(os.path.relpath(path, os.path.join(root, "src")))[0]
            for path in sources(root, "src") if "Kept:" in read(path)}
    tests = {test for path in sources(root, "tests") for test in TEST.findall(read(path))}
    for source in sorted(kept - listed):
        yield f"src/{source} has a comment with Kept: and no row"
    for source in sorted(listed - kept):
        yield f"src/{source} has a row and no comment with Kept:"
    for _, named in rows:
        for test in TEST_NAME.findall(named):
            if test not in tests:
                yield f"there is no test {'.'.join(test)}"
    if not rows:
        yield "no row was recognised"


def main():
    root, binaries = sys.argv[1:]
    programs = set(os.listdir(binaries))
    labels = set()
    for listing in glob.glob(os.path.join(root, "tests", "**", "CMakeLists.txt"), recursive=True):
        labels.update(re.findall(r"LABELS\s+(\w+)", read(listing)))
    documents = glob.glob(os.path.join(root, "*.md")) + glob.glob(os.path.join(root, "docs", "*.md"))
    problems = [f"{os.path.relpath(document, root)}: {problem}"
                for document in sorted(documents) for problem in problems_of(document, root, programs, labels)]
    problems += [f"docs/behaviours.md: {problem}" for problem in behaviour_problems(root)]
    print("\n".join(problems + [f"{len(documents)} documents, {len(problems)} problems"]))
    return 1 if problems or not documents else 0


if __name__ == "__main__":
    sys.exit(main())
