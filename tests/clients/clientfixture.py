"""A server with quorva-http in front of it, for third-party programs: the SDKs and the command line of the API.

Scripts that use it exit with status 77, which counts as skipped, if the client is not installed.
"""

import os
import shutil
import sys
import tempfile
import unittest

from quorva import HttpServer, Server

SKIPPED = 77


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(SKIPPED)


def isolate():
    """Keeps a user's proxy, configuration and credentials away from the clients. Any credentials will do."""
    for name in list(os.environ):
        if name.lower().endswith("_proxy") or name.startswith(("AWS_", "BOTO_")):
            del os.environ[name]
    os.environ.update(AWS_CONFIG_FILE=os.devnull, AWS_SHARED_CREDENTIALS_FILE=os.devnull, AWS_ACCESS_KEY_ID="any",
                      AWS_SECRET_ACCESS_KEY="any", AWS_DEFAULT_REGION="local", AWS_REGION="local", AWS_PAGER="",
                      AWS_EC2_METADATA_DISABLED="true")


USERS_ENVIRONMENT = dict(os.environ)
isolate()  # before any of them is imported


def fast_directory():
    """In memory if there is room: these tests write much, and none of it must persist."""
    memory = "/dev/shm"
    has_room = os.path.isdir(memory) and shutil.disk_usage(memory).free > 2 ** 30
    return memory if has_room else None


class Stack:
    """The server and quorva-http as child processes, with a directory for tables."""

    def __init__(self, binaries):
        self.scratch = tempfile.mkdtemp(prefix="quorva-clients-", dir=fast_directory())
        self.tables = os.path.join(self.scratch, "tables")
        os.mkdir(self.tables)
        # -n: commits need not survive a crash of the machine.
        self.server = Server([os.path.join(binaries, "quorva"), "-n"], self.scratch)
        self.http = None
        try:
            self.server.start()
            self.http = HttpServer([os.path.join(binaries, "quorva-http"), "--directory", self.tables], self.scratch,
                                   self.server.port)
        except BaseException:
            self.end()
            raise

    @property
    def url(self):
        return self.http.url

    def end(self):
        if self.http is not None:
            self.http.clean_up()
        self.server.clean_up()
        shutil.rmtree(self.scratch)


def run(main, binaries):
    """Calls `main` with a stack, and exits with its result."""
    stack = Stack(binaries)
    try:
        status = main(stack)
    finally:
        stack.end()
    sys.exit(status)


def run_tests(modules):
    """Runs the tests in the modules, and returns the exit status."""
    loader = unittest.TestLoader()
    suite = unittest.TestSuite(loader.loadTestsFromModule(module) for module in modules)
    if suite.countTestCases() == 0:
        return "there are no tests"
    return 0 if unittest.TextTestRunner().run(suite).wasSuccessful() else 1
