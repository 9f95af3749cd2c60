"""The unmodified SDK for JavaScript against quorva-http.

    javascript_test.py BINARIES SCRATCH

SCRATCH is a directory in which npm keeps the SDK from one run to the next.
"""

import os
import shutil
import subprocess
import sys

from clientfixture import USERS_ENVIRONMENT, run, skip

HERE = os.path.dirname(os.path.abspath(__file__))
PROGRAMS = ("javascript_tables.mjs", "javascript_items.mjs")


def install(scratch):
    """Has npm install the packages of package.json, once."""
    if shutil.which("npm") is None or shutil.which("node") is None:
        skip("there is no npm, which comes with Node.js")
    wanted = os.path.join(HERE, "package.json")
    marker = os.path.join(scratch, "installed.json")
    if os.path.exists(marker) and read(marker) == read(wanted):
        return
    os.makedirs(scratch, exist_ok=True)
    if os.path.exists(marker):
        os.remove(marker)
    shutil.copy(wanted, os.path.join(scratch, "package.json"))
    try:
        done = subprocess.run(["npm", "install", "--no-audit", "--no-fund", "--silent"], cwd=scratch, timeout=120,
                              check=False, env=USERS_ENVIRONMENT)
    except subprocess.TimeoutExpired:
        done = None
    if done is None or done.returncode != 0:
        skip("npm cannot install the SDK")
    shutil.copy(wanted, marker)


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def main(stack, scratch):
    for name in PROGRAMS:
        program = shutil.copy(os.path.join(HERE, name), scratch)  # modules are searched next to it
        done = subprocess.run(["node", "--no-warnings", program, stack.url], cwd=scratch, timeout=200, check=False)
        if done.returncode != 0:
            return f"{name} ended with {done.returncode}"
    return 0


if __name__ == "__main__":
    sdk = os.path.abspath(sys.argv[2])
    install(sdk)
    run(lambda stack: main(stack, sdk), sys.argv[1])
