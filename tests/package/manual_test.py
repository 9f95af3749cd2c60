"""Checks the manual pages with mandoc, and that they contain every option and command listed by the programs' --help.

    manual_test.py SOURCE PROGRAMS
"""

import glob
import os
import re
import sys

from quorva import expect, fail, run, run_main


def help_texts(program, *command):
    """The help texts of a program and, recursively, of its commands; and the names of all these commands."""
    text = run([program, *command, "--help"])
    commands = re.findall(r"^  ([a-z][a-z-]+)\s", text.partition("Subcommands:")[2].partition("\n\n")[0], re.MULTILINE)
    names = list(commands)
    for name in commands:
        further, more = help_texts(program, *command, name)
        text += further
        names += more
    return text, names


def main(source, programs):
    pages = glob.glob(f"{source}/man/*.1")
    expect("pages", sorted(os.path.basename(page) for page in pages), ["quorva-http.1", "quorva.1", "quorvactl.1"])
    for page in pages:
        name = os.path.basename(page)[:-2]
        # Exits with a nonzero status if there are complaints.
        run(["mandoc", "-T", "lint", "-W", "warning", page])
        program = os.path.join(programs, name)
        text = re.sub("[^\n]\b", "", run(["mandoc", "-T", "ascii", page]))  # bold is written as overstriking
        helps, commands = help_texts(program)
        options = re.findall(r"(?<![\w-])(--?[a-zA-Z][\w-]*)", helps)
        missing = [word for word in dict.fromkeys(commands + options)
                   if not re.search(rf"(?<![\w-]){re.escape(word)}(?![\w-])", text)]
        if missing:
            fail(f"{name}.1 does not have {', '.join(missing)}")


run_main(main, *sys.argv[1:])
