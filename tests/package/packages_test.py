"""Builds the packages and takes the server's through its life cycle: installed, run, reinstalled, removed, purged.

    packages_test.py BUILD

It is installed below a separate directory, with a separate dpkg database, and needs no privileges.
"""

import glob
import gzip
import json
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import time
import urllib.request

from quorva import DEADLINE, Server, end, expect, fail, run, run_main

PROGRAMS = ["quorva", "quorvactl", "quorva-http"]
OTHER_FILES = ["usr/share/bash-completion/completions/quorvactl", "usr/lib/systemd/system/quorva.service",
               "usr/lib/systemd/system/quorva-http.service", "usr/share/doc/quorva/protocol.md",
               "usr/share/doc/quorva/copyright", "etc/logrotate.d/quorva"]
UNIT_SETTINGS = {"DynamicUser": "yes", "NoNewPrivileges": "yes", "Restart": "on-failure", "LimitNOFILE": "524288",
                 "ProtectSystem": "strict", "ProtectHome": "yes", "IPAddressDeny": "any",
                 "IPAddressAllow": "localhost", "ExecReload": "kill -HUP $MAINPID"}
GET_ITEM = {"TableName": "main|orders",
            "Key": {"HashKeyElement": {"S": "abc"}, "RangeKeyElement": {"S": "2012-01"}}}


class Root:
    """A directory that dpkg uses as the root of the system."""

    def __init__(self, scratch):
        self.path = os.path.join(scratch, "root")
        self.log = os.path.join(scratch, "dpkg.log")
        for directory in ("info", "updates", "triggers"):
            os.makedirs(os.path.join(self.path, "var/lib/dpkg", directory))
        for file in ("status", "available"):
            open(os.path.join(self.path, "var/lib/dpkg", file), "w").close()

    def dpkg(self, *arguments):
        # Scripts run outside and are told the directory. What the packages depend on is not in this database. A
        # container may be set up to leave documentation out; this is about all files.
        environment = {**os.environ, "PATH": os.environ["PATH"] + ":/usr/sbin:/sbin", "LC_ALL": "C"}
        return run(["dpkg", f"--root={self.path}", f"--log={self.log}", "--force-not-root",
                    "--force-script-chrootless", "--force-depends", "--path-include=*", *arguments], env=environment)

    def files(self):
        """Everything except directories and dpkg's own database."""
        found = set()
        for directory, names, files in os.walk(self.path):
            if directory == os.path.join(self.path, "var/lib"):
                names.remove("dpkg")
            links = [name for name in names if os.path.islink(os.path.join(directory, name))]
            found.update(os.path.relpath(os.path.join(directory, name), self.path) for name in files + links)
        return found


def fields(package):
    """The control fields of a package file, with the first line of the description."""
    control = run(["dpkg-deb", "--field", package])
    return dict(line.split(": ", 1) for line in control.splitlines() if ": " in line and line[0] != " ")


def check_control(packages):
    expect("names of the packages", sorted(packages), ["libquorva-client1", "libquorva-dev", "quorva"])
    for name, package in packages.items():
        control = fields(package)
        expect(f"description of {name} has one line", bool(control["Description"]), True)
        expect(f"maintainer of {name}", control["Maintainer"], "Quorva maintainers <maintainers@quorva.invalid>")
        depends = {part.split()[0] for part in control["Depends"].split(", ")}
        wanted = {"quorva": {"libc6", "libstdc++6", "libqt6core6", "libdb5.3++"},
                  "libquorva-client1": {"libc6", "libstdc++6", "libqt6core6"},
                  "libquorva-dev": {"libquorva-client1", "qt6-base-dev"}}[name]
        if not wanted <= depends:
            fail(f"{name} depends on {control['Depends']}, which lacks some of {wanted}")


def unit_path(root, unit):
    return os.path.join(root.path, f"usr/lib/systemd/system/{unit}.service")


def unit_settings(root, unit):
    """The settings of a unit, each with its values in order."""
    settings = {}
    for key, value in re.findall(r"^([A-Za-z]+)=(.*)$", open(unit_path(root, unit)).read(), re.MULTILINE):
        settings.setdefault(key, []).append(value)
    return settings


def check_unit(path, bin_directory, scratch):
    """Has systemd check the unit, if it is available."""
    name = os.path.basename(path)
    if shutil.which("systemd-analyze") is None:
        print(f"systemd-analyze is not here, it does not check {name}")
        return
    # It looks for programs on this machine, so it gets the full path.
    text = re.sub(r"^ExecStart=(?=[^/])", f"ExecStart={bin_directory}/", open(path).read(), flags=re.MULTILINE)
    copy = os.path.join(scratch, name)
    with open(copy, "w") as file:
        file.write(text)
    expect(f"what systemd-analyze says about {name}", run(["systemd-analyze", "verify", "--man=no", copy]), "")
    # Fails if the exposure level is above 1.5 of 10.
    run(["systemd-analyze", "security", "--offline=yes", "--threshold=15", copy])


def service_command(root, unit, variable, options):
    """The command line of a unit, run on the files below `root`, with these options in the variable for options."""
    program, *words = unit_settings(root, unit)["ExecStart"][0].split()
    expect(f"words of {unit}'s ExecStart", words, ["$" + variable])
    return [os.path.join(root.path, "usr/bin", program), *options]


def use_gateway(root, server, scratch):
    """Reads the item over HTTP."""
    command = service_command(root, "quorva-http", "QUORVA_HTTP_OPTIONS", ["--listen", "0", "--port", str(server.port)])
    messages = os.path.join(scratch, "http.log")
    with open(messages, "w") as log:
        gateway = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *command], stderr=log)
    try:
        listening = None
        deadline = time.monotonic() + DEADLINE
        while listening is None:
            listening = re.search(r"listening on (127.0.0.1:\d+) ", open(messages).read())
            if listening is None and (gateway.poll() is not None or time.monotonic() > deadline):
                fail(f"quorva-http does not listen:\n{open(messages).read()}")
            time.sleep(0.01)
        request = urllib.request.Request(f"http://{listening[1]}/", json.dumps(GET_ITEM).encode(),
                                         {"X-Amz-Target": "DynamoDB_20111205.GetItem"})
        # Without any proxy set in the environment.
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        expect("the item over HTTP", json.load(opener.open(request, timeout=DEADLINE)), {"Item": {"total": {"N": "17"}}})
        gateway.terminate()
        expect("the end of quorva-http", gateway.wait(DEADLINE), 0)
    finally:
        end(gateway)


def use_server(root, scratch):
    """Does what systemd would do with the unit, and what a user would do with the tool."""
    settings = unit_settings(root, "quorva")
    expect("the working directory", settings["WorkingDirectory"], ["%S/" + settings["StateDirectory"][0]])
    state = os.path.join(root.path, "var/lib", settings["StateDirectory"][0])
    os.makedirs(state)
    command = dict(os.environ, PATH=f"{root.path}/usr/bin:{os.environ['PATH']}")
    for _ in range(2):  # each start
        run(shlex.split(settings["ExecStartPre"][0]), cwd=state, env=command)
    expect("the settings of main", "\nlog_set_config db_log_dsync off\n" in open(f"{state}/main/DB_CONFIG").read(), True)

    server = Server(service_command(root, "quorva", "QUORVA_OPTIONS", []), scratch, state)

    def quorvactl(operation, body):
        text = run([os.path.join(root.path, "usr/bin/quorvactl"), "--port", str(server.port), operation,
                    json.dumps(body)])
        return json.loads(text)

    element = {"AttributeType": "S"}
    try:
        server.start()
        quorvactl("CreateTable", {"TableName": "main|orders", "KeySchema": {
            "HashKeyElement": {**element, "AttributeName": "customer"},
            "RangeKeyElement": {**element, "AttributeName": "date"}}})
        quorvactl("PutItem", {"TableName": "main|orders", "Item": {
            "customer": {"S": "abc"}, "date": {"S": "2012-01"}, "total": {"N": "17"}}})
        # The service is ended by a signal; acknowledged writes must survive it.
        expect("the server's end", server.stop(), -15)
        server.start()
        expect("the item", quorvactl("GetItem", GET_ITEM),
               {"__rc": 200, "__rcstr": "OK", "Item": {"total": {"N": "17"}}})
        use_gateway(root, server, scratch)
        expect("the server's end", server.stop(), -15)
    finally:
        server.clean_up()
    expect("the table is in the state directory", os.path.isfile(os.path.join(state, "main/orders")), True)


def main(build):
    with tempfile.TemporaryDirectory(prefix="quorva-packages-") as scratch:
        run(["cpack", "-B", scratch], cwd=build)
        packages = {os.path.basename(path).split("_")[0]: path for path in glob.glob(f"{scratch}/*.deb")}
        check_control(packages)

        root = Root(scratch)
        expect("files before the installation", root.files(), set())
        root.dpkg("--install", *packages.values())
        expect("what differs from the packages' checksums", root.dpkg("--verify"), "")
        installed = root.files()
        for name in PROGRAMS:
            for file in (f"usr/bin/{name}", f"usr/share/man/man1/{name}.1.gz"):
                expect(f"{file} is installed", file in installed, True)
        for file in OTHER_FILES:
            expect(f"{file} is installed", file in installed, True)
        with open(os.path.join(root.path, "usr/share/doc/quorva/copyright"), encoding="utf-8") as notices:
            text = notices.read()
        for library in ("rapidjson-dev", "libcli11-dev"):
            expect(f"the notice of {library}", f"\n\n{library}\n\nFormat: " in text, True)
        for unit in ("quorva", "quorva-http"):
            settings = unit_settings(root, unit)
            expect(f"settings of {unit}", {key: settings.get(key) for key in UNIT_SETTINGS},
                   {key: [value] for key, value in UNIT_SETTINGS.items()})
        wants = os.path.join(root.path, "etc/systemd/system/multi-user.target.wants")
        expect("enabled services", os.listdir(wants), ["quorva.service"])
        for unit in glob.glob(f"{root.path}/usr/lib/systemd/system/*.service"):
            check_unit(unit, f"{root.path}/usr/bin", scratch)
            link = os.path.join(wants, os.path.basename(unit))
            if not os.path.lexists(link):  # as the administrator would enable it
                os.symlink(unit.removeprefix(root.path), link)

        for name, package in packages.items():
            with gzip.open(f"{root.path}/usr/share/doc/{name}/changelog.gz", "rt") as changes:
                expect(f"the latest change of {name}", changes.readline(),
                       f"quorva ({fields(package)['Version']}) unstable; urgency=medium\n")

        use_server(root, scratch)
        root.dpkg("--install", packages["quorva"])
        expect("the table is still there", "var/lib/quorva/main/orders" in root.files(), True)

        root.dpkg("--remove", *packages)
        left = {file for file in root.files() if not file.startswith("var/lib/quorva/")}
        expect("the table outlives the removal", "var/lib/quorva/main/orders" in root.files(), True)
        expect("programs, units and libraries that outlive the removal",
               {file for file in left if file.startswith("usr/")}, set())
        root.dpkg("--purge", *packages)
        expect("files after the purge", root.files(), set())
        expect("packages after the purge", root.dpkg("--get-selections"), "")


run_main(main, *sys.argv[1:])
