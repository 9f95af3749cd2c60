"""An unmodified AWS command line against quorva-http.

    awscli_test.py BINARIES

The commands run in this process, through the function that the program "aws" calls: starting it takes long.
"""

import sys
import unittest

from clientfixture import run, skip

try:
    import awscli.clidriver  # noqa: F401
    import awscli_tables
    from awscli_base import CommandLineTest
except ImportError:
    skip("the command line is in the package awscli, which script/bootstrap clients installs")

MODULES = (awscli_tables,)


def main(stack):
    CommandLineTest.url = stack.url
    loader = unittest.TestLoader()
    suite = unittest.TestSuite(loader.loadTestsFromModule(module) for module in MODULES)
    if suite.countTestCases() == 0:
        return "there are no tests"
    return 0 if unittest.TextTestRunner(verbosity=1).run(suite).wasSuccessful() else 1


if __name__ == "__main__":
    run(main, sys.argv[1])
