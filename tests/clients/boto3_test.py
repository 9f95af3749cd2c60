"""An unmodified boto3 against quorva-http.

    boto3_test.py BINARIES
"""

import sys
import unittest

from clientfixture import run, skip

try:
    import boto3  # noqa: F401
    from boto3_base import ClientTest
    import boto3_tables
except ImportError:
    skip("boto3 is in the package python3-boto3, which script/bootstrap clients installs")

MODULES = (boto3_tables,)


def main(stack):
    ClientTest.connect(stack.url)
    loader = unittest.TestLoader()
    suite = unittest.TestSuite(loader.loadTestsFromModule(module) for module in MODULES)
    if suite.countTestCases() == 0:
        return "there are no tests"
    return 0 if unittest.TextTestRunner(verbosity=1).run(suite).wasSuccessful() else 1


if __name__ == "__main__":
    run(main, sys.argv[1])
