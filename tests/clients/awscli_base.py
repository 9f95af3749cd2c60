"""The common parts of the tests with the command line."""

import contextlib
import io
import json
import unittest

import awscli.clidriver


class CommandLineTest(unittest.TestCase):
    url = ""

    def run_command(self, *words):
        """A command of "aws dynamodb": its exit status, output and errors."""
        output = io.TextIOWrapper(io.BytesIO(), encoding="utf-8")
        errors = io.StringIO()
        with contextlib.redirect_stdout(output), contextlib.redirect_stderr(errors):
            status = awscli.clidriver.create_clidriver().main(
                ["dynamodb", "--endpoint-url", self.url, "--output", "json", *words])
        output.flush()
        return status, output.buffer.getvalue().decode(), errors.getvalue()

    def aws(self, *words):
        """The output of a successful command, which is JSON, or nothing."""
        status, output, errors = self.run_command(*words)
        self.assertEqual((status, errors), (0, ""), words)
        return json.loads(output) if output else None

    def aws_fails(self, *words):
        """The error of a command that the service refuses."""
        status, output, errors = self.run_command(*words)
        self.assertEqual((status, output), (254, ""), words)
        return errors.strip()

    def make_table(self, name, *more):
        self.aws("create-table", "--table-name", name, "--key-schema", "AttributeName=id,KeyType=HASH",
                 "--attribute-definitions", "AttributeName=id,AttributeType=S", "--billing-mode", "PAY_PER_REQUEST",
                 *more)
        self.addCleanup(self.aws, "delete-table", "--table-name", name)
