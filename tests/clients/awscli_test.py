"""An unmodified AWS command line against quorva-http.

    awscli_test.py BINARIES

The commands run in this process, through the function that the program "aws" calls: starting it takes long.
"""

import importlib.util
import sys

from clientfixture import run, run_tests, skip

if importlib.util.find_spec("awscli") is None:
    skip("the command line is in the package awscli, which script/bootstrap clients installs")

from awscli_base import CommandLineTest
import awscli_items
import awscli_tables

MODULES = (awscli_tables, awscli_items)


def main(stack):
    CommandLineTest.url = stack.url
    return run_tests(MODULES)


if __name__ == "__main__":
    run(main, sys.argv[1])
