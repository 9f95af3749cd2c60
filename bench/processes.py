"""The programs that a measurement runs: servers, echo-limit, bdb-limit and quorva-bench, in one scratch directory."""

import collections
import contextlib
import copy
import json
import os
import shutil
import subprocess
import sys
import tempfile

from quorva import Failure, HttpServer, Server, end, free_port, wait_for_connections


def workload_options(items, item_size):
    return ["-k", str(items), "-i", str(item_size)]


class Workspace:
    """A scratch directory beside the binaries, so on the disk and not in memory, and the processes that use it. Ends
    the processes and removes the directory when it is left."""

    def __init__(self, binaries, items, item_size, seconds):
        self.binaries = os.path.abspath(binaries)
        self.seconds = seconds
        self._workload = workload_options(items, item_size)
        self.directory = None
        self._stack = contextlib.ExitStack()

    def __enter__(self):
        self.directory = tempfile.mkdtemp(prefix="bench-", dir=os.path.dirname(self.binaries))
        self._stack.callback(shutil.rmtree, self.directory)
        return self

    def __exit__(self, *exception):
        self._stack.close()

    def with_workload(self, items, item_size):
        """The same workspace for programs with another workload. It ends with this one."""
        other = copy.copy(self)
        other._workload = workload_options(items, item_size)
        return other

    def make_directory(self, name, with_settings=False, settings=None):
        """An empty environment directory, with the settings of quorvactl init, or with this text in its DB_CONFIG."""
        path = os.path.join(self.directory, name)
        if with_settings:
            self._run("quorvactl", "init", path)
            return path
        os.mkdir(path)
        if settings is not None:
            with open(os.path.join(path, "DB_CONFIG"), "w", encoding="ascii") as config:
                config.write(settings)
        return path

    def start_server(self, *options, program=None):
        """A server that runs in the workspace, so that directories are named without a path."""
        server = Server([program or os.path.join(self.binaries, "quorva"), *options], self.directory)
        self._stack.callback(server.clean_up)
        server.start()
        return server

    def start_http(self, server):
        """quorva-http in front of a server."""
        http = HttpServer([os.path.join(self.binaries, "quorva-http")], self.directory, server.port)
        self._stack.callback(http.clean_up)
        return http

    def start_echo(self):
        return self._start_limit("echo-limit")

    def start_relay(self, server):
        """What passes on the wire protocol to a server."""
        return self._start_limit("relay-limit", "--server", str(server.port))

    def _start_limit(self, program, *options):
        port = free_port()
        command = [os.path.join(self.binaries, program), "-p", str(port), *options]
        process = subprocess.Popen(command, stdin=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self._stack.callback(end, process)
        if not wait_for_connections(process, port):
            raise Failure(f"{program} did not start")
        return Limit(port)

    def load(self, server, table):
        self._run("quorva-bench", "load", "-p", str(server.port), "--table", table, "-c", "8", *self._workload)

    def measure(self, server, table, operation, clients, *options):
        return self._result("quorva-bench", operation, "-p", str(server.port), "--table", table, "-c", str(clients),
                            *options)

    def measure_echo(self, echo, operation, clients, reply_bytes):
        return self._result("quorva-bench", operation, "-p", str(echo.port), "-c", str(clients), "--echo",
                            str(max(1, round(reply_bytes))))

    def load_direct(self, directory):
        self._run("bdb-limit", "load", "--directory", directory, *self._workload)

    def measure_direct(self, directory, operation, clients, *options):
        return self._result("bdb-limit", operation, "--directory", directory, "-c", str(clients), *options)

    @contextlib.contextmanager
    def idle_connections(self, server, table, count):
        command = [os.path.join(self.binaries, "quorva-bench"), "idle", "-p", str(server.port), "--table", table,
                   "--idle", str(count)]
        process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        try:
            if process.stdout.readline() != "connected\n":
                raise Failure("the idle connections could not be opened")
            yield
        finally:
            end(process)

    def _result(self, program, *arguments):
        output = self._run(program, *arguments, *self._workload, "-s", str(self.seconds), "--warm-up", str(min(self.seconds, 0.3)),
                           "--json")
        return json.loads(output)

    def _run(self, program, *arguments):
        command = [os.path.join(self.binaries, program), *arguments]
        done = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=False)
        # Status 1 with a result means that some replies were errors; the result says how many.
        if done.returncode != 0 and not done.stdout:
            raise Failure(f"{' '.join(command)} ended with status {done.returncode}")
        return done.stdout


Limit = collections.namedtuple("Limit", "port")


def note(text):
    """Progress, separate from the results."""
    print(text, file=sys.stderr, flush=True)
