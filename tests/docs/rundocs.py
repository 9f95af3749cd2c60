#!/usr/bin/env python3
"""Runs the console sessions of a document and compares their output with the output in the document.

    rundocs.py --bin DIRECTORY [--javascript DIRECTORY] DOCUMENT

The "console" blocks of a document are one session, in one shell, in a separate directory with a build/bin like that of
a checkout, and with a server on the default port. A command starts with "$ " and includes the lines that its syntax
still needs; what follows is its exact output, including standard error. Only ports and what depends on the machine are
translated, so that documents can use the default port while any number of these tests run at once.

A "console NAME" block needs a client of the API that is not installed by default, see CLIENTS; without it the block is
left out.
"""

import argparse
import os
import re
import select
import shutil
import subprocess
import sys
import tempfile

from quorva import Server, free_ports, run_main

DEFAULT_PORT = "4567"
DEFAULT_HTTP_PORT = "8000"
# Ports that documents use in addition to the default one.
OTHER_PORTS = ["4568", "4569", "4570", DEFAULT_HTTP_PORT, "8001", "8080"]
# The directory of the session, as documents call it.
SESSION_DIRECTORY = "/srv"
# Text that differs between machines; replaced on both sides of the comparison.
MACHINE_DEPENDENT = [
    (re.compile(r"Workers count \d+ db-pool max-thread-count \d+"), "Workers count N db-pool max-thread-count N"),
    (re.compile(r"\b[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\b"), "UUID"),
    (re.compile(r"\d+/s, p50 \d+ us, p99 \d+ us, p99.9 \d+ us, max \d+ us"), "RATE"),
    (re.compile(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d UTC"), "TIME"),
    (re.compile(r"\b\d{4}-\d\d-\d\dT\d{6}Z"), "COPY"),
    (re.compile(r"\b\d+\.\d [KM]iB\b"), "SIZE"),
    (re.compile(r'"Directory":"/[^"]*/build/'), '"Directory":"ABSOLUTE/build/'),
    (re.compile(r"token=[0-9a-f]{48}"), "token=TOKEN"),
    (re.compile(r"\r\n"), "\n"),
]
# Where the clients are. The one for JavaScript is what npm installs, in the DIRECTORY of --javascript.
CLIENTS = {"aws": "/usr/bin/aws", "boto3": "/usr/lib/python3/dist-packages/boto3"}
END_OF_OUTPUT = b"\x01"
COMMAND_SECONDS = 60


class Command:
    def __init__(self, line, text):
        self.line = line
        self.text = text
        self.output = ""


def is_complete(command):
    """Whether the shell would run this, rather than wait for more lines."""
    if command.endswith("\\"):
        return False
    check = subprocess.run(["bash", "-n"], input=command, text=True, capture_output=True)
    return check.returncode == 0 and "here-document" not in check.stderr


def is_wanted(block, clients):
    """Whether the line begins a block whose commands must be run."""
    words = block.removeprefix("```").split()
    if words[:1] != ["console"]:
        return False
    if all(client in clients for client in words[1:]):
        return True
    print(f"left out, as it is not installed: {' '.join(words[1:])}")
    return False


def read_commands(path, clients):
    commands = []
    inside = False
    unfinished = False
    with open(path, encoding="utf-8") as document:
        for number, line in enumerate(document, 1):
            line = line.rstrip("\n")
            if line.startswith("```"):
                inside = not inside and is_wanted(line, clients)
                unfinished = False
            elif inside and unfinished:
                commands[-1].text += "\n" + line
                unfinished = not is_complete(commands[-1].text)
            elif inside and line.startswith("$ "):
                commands.append(Command(number, line[2:]))
                unfinished = not is_complete(commands[-1].text)
            elif inside:
                if not commands:
                    sys.exit(f"{path}:{number}: output without a command")
                commands[-1].output += line + "\n"
    return commands


def write_script(path, text):
    with open(path, "w", encoding="utf-8") as script:
        script.write("#!/bin/sh\n" + text + "\n")
    os.chmod(path, 0o755)


def make_checkout(scratch, binaries, ports):
    """Puts the programs where documents expect them. Those with a default port get the one of this session."""
    directory = os.path.join(scratch, "build", "bin")
    os.makedirs(directory)
    os.makedirs(os.path.join(scratch, "script"))
    write_script(os.path.join(scratch, "script", "build"), "exit 0")
    listen = "--listen " + ports[DEFAULT_HTTP_PORT]
    for name in os.listdir(binaries):
        target = os.path.join(binaries, name)
        if name == "quorvactl":
            write_script(os.path.join(directory, name),
                         f'QUORVA_PORT="${{QUORVA_PORT:-{ports[DEFAULT_PORT]}}}" exec "{target}" "$@"')
        elif name in ("quorva-http", "quorva-bench"):
            write_script(os.path.join(directory, name),
                         f'case " $* " in *" --port "*) exec "{target}" "$@" ;; esac\n'
                         f'exec "{target}" --port {ports[DEFAULT_PORT]} {listen if name == "quorva-http" else ""} "$@"')
        else:
            os.symlink(target, os.path.join(directory, name))


def make_npm(directory, modules):
    """A program npm in the directory, which installs no more than what is installed in `modules` already."""
    write_script(os.path.join(directory, "npm"), f'[ "$1" = install ] && ln -s "{modules}" node_modules')


class Shell:
    def __init__(self, directory):
        environment = {name: value for name, value in os.environ.items() if not name.endswith("_LOCKFILE")}
        environment.pop("PYTHONPATH", None)  # ours, which readers of the document do not have
        environment["LC_ALL"] = "C.UTF-8"
        # The first is for stand-ins, the next for the python3 with the system's packages.
        environment["PATH"] = ":".join((os.path.join(directory, "script"), "/usr/bin:/bin", environment["PATH"]))
        for name in [name for name in environment if name.startswith("AWS_")]:
            del environment[name]  # a user's configuration
        environment["AWS_CONFIG_FILE"] = environment["AWS_SHARED_CREDENTIALS_FILE"] = os.devnull
        self.process = subprocess.Popen(["bash", "--noprofile", "--norc"], cwd=directory, env=environment,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                        start_new_session=True)

    def run(self, command):
        """The command's output. Its status is the next one's $?. Raises TimeoutError."""
        marker = "__status=$?; printf '\\001'; (exit $__status)"
        self.process.stdin.write(f"{command}\n{marker}\n".encode())
        self.process.stdin.flush()
        output = b""
        while not output.endswith(END_OF_OUTPUT):
            if not select.select([self.process.stdout], [], [], COMMAND_SECONDS)[0]:
                raise TimeoutError(f"no end of: {command}")
            piece = os.read(self.process.stdout.fileno(), 4096)
            if not piece:
                break
            output += piece
        return output.removesuffix(END_OF_OUTPUT).decode(errors="replace")

    def end(self):
        """Terminates the shell and the processes that it has started."""
        try:
            os.killpg(self.process.pid, 9)
        except ProcessLookupError:
            pass
        self.process.wait()


def translate(text, ports):
    for one, other in ports.items():
        text = re.sub(rf"(?<!\d){one}(?!\d)", other, text)
    return text


def normalise(text):
    for pattern, replacement in MACHINE_DEPENDENT:
        text = pattern.sub(replacement, text)
    return text


def run_session(commands, path, binaries, modules, scratch):
    names = [DEFAULT_PORT] + OTHER_PORTS
    directory = os.path.join(scratch, "checkout")
    os.mkdir(directory)
    server = Server([os.path.join(binaries, "quorva")], scratch, directory)
    for _ in range(5):
        ports = dict(zip(names, map(str, free_ports(len(names)))))
        if server.start_on(int(ports[DEFAULT_PORT])):
            break
    else:
        sys.exit("the server does not start")
    back = {port: name for name, port in ports.items()}
    make_checkout(directory, binaries, ports)
    if os.path.exists(modules):
        make_npm(os.path.join(directory, "script"), modules)
    shell = Shell(directory)
    failures = 0
    try:
        for command in commands:
            output = translate(shell.run(translate(command.text, ports)), back).replace(directory, SESSION_DIRECTORY)
            if normalise(output) == normalise(command.output):
                continue
            failures += 1
            print(f"{path}:{command.line}: $ {command.text}\n--- the document says\n{command.output}"
                  f"--- it prints\n{output}---")
        if server.process.poll() is not None:
            failures += 1
            print(f"{path}: the server ended with status {server.process.returncode}")
    finally:
        shell.end()
        server.clean_up()
    return failures


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True, help="directory of the programs")
    parser.add_argument("--javascript", default="none", help="directory in which clients/javascript has had npm install the API's client")
    parser.add_argument("document")
    arguments = parser.parse_args()
    clients = {name for name, path in CLIENTS.items() if os.path.exists(path)}
    modules = os.path.join(os.path.abspath(arguments.javascript), "node_modules")
    if os.path.exists(os.path.join(arguments.javascript, "installed.json")):
        clients.add("javascript")
    commands = read_commands(arguments.document, clients)
    if not commands:
        sys.exit(f"{arguments.document}: no console session")
    scratch = tempfile.mkdtemp(prefix="quorva-docs-")
    try:
        failures = run_session(commands, arguments.document, os.path.abspath(arguments.bin), modules, scratch)
    finally:
        shutil.rmtree(scratch)
    print(f"{len(commands)} commands, {failures} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    run_main(main)
