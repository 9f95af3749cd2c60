"""An unmodified boto3 against quorva-http.

    boto3_test.py BINARIES
"""

import importlib.util
import sys

from clientfixture import run, run_tests, skip

if importlib.util.find_spec("boto3") is None:
    skip("boto3 is in the package python3-boto3, which script/bootstrap clients installs")

from boto3_base import ClientTest
import boto3_items
import boto3_reads
import boto3_tables

MODULES = (boto3_tables, boto3_items, boto3_reads)


def main(stack):
    ClientTest.connect(stack.url)
    return run_tests(MODULES)


if __name__ == "__main__":
    run(main, sys.argv[1])
