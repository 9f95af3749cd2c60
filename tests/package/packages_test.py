"""Builds the packages and takes the server's through its life cycle: installed, run, reinstalled, removed, purged.

    packages_test.py BUILD

It is installed below a separate directory, with a separate dpkg database, and needs no privileges.
"""

import glob
import gzip
import json
import os
import re
import shutil
import sys
import tempfile
import time
import urllib.request

from packages import (Root, backup_arguments, build_packages, fields, gateway, make_state_directory, service_command,
                      unit_settings)
from quorva import DEADLINE, Server, expect, fail, run, run_main

PROGRAMS = ["quorva", "quorvactl", "quorva-http"]
OTHER_FILES = ["usr/share/bash-completion/completions/quorvactl", "usr/share/zsh/vendor-completions/_quorvactl",
               "usr/share/fish/vendor_completions.d/quorvactl.fish", "usr/lib/systemd/system/quorva.service",
               "usr/lib/systemd/system/quorva-http.service", "usr/lib/systemd/system/quorva-backup.service",
               "usr/lib/systemd/system/quorva-backup.timer", "usr/lib/systemd/system/quorva-backup-resume.service",
               "usr/share/doc/quorva/backup.md", "usr/share/doc/quorva/protocol.md",
               "usr/share/doc/quorva/copyright", "etc/logrotate.d/quorva"]
UNIT_SETTINGS = {"DynamicUser": "yes", "NoNewPrivileges": "yes", "Restart": "on-failure", "LimitNOFILE": "524288",
                 "ProtectSystem": "strict", "ProtectHome": "yes", "IPAddressDeny": "any",
                 "IPAddressAllow": "localhost", "ExecReload": "kill -HUP $MAINPID"}
GET_ITEM = {"TableName": "main|orders",
            "Key": {"HashKeyElement": {"S": "abc"}, "RangeKeyElement": {"S": "2012-01"}}}


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


def use_gateway(root, server, scratch):
    """Reads the item over HTTP."""
    with gateway(root, server.port, scratch) as url:
        request = urllib.request.Request(f"{url}/", json.dumps(GET_ITEM).encode(),
                                         {"X-Amz-Target": "DynamoDB_20111205.GetItem"})
        # Without any proxy set in the environment.
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        expect("the item over HTTP", json.load(opener.open(request, timeout=DEADLINE)), {"Item": {"total": {"N": "17"}}})


def back_up(root, server, state):
    """Does what the units for backups do, in the service's directory."""
    service, backup = unit_settings(root, "quorva"), unit_settings(root, "quorva-backup")
    for setting in ("DynamicUser", "User", "StateDirectory", "StateDirectoryMode", "WorkingDirectory", "UMask"):
        expect(f"{setting} of quorva-backup", backup.get(setting), service.get(setting))
    expect("options of both units", unit_settings(root, "quorva-backup-resume")["Environment"], backup["Environment"])
    for unit, words, lines in (("quorva-backup", ["backup", "nightly"], ": copied to "),
                               ("quorva-backup-resume", ["backup", "nightly", "--resume"],
                                ": log files are shipped to ")):
        program, *arguments = backup_arguments(root, unit, state)
        expect(f"words of {unit}'s ExecStart", arguments[:len(words)], words)
        output = run([program, "--port", str(server.port), *arguments], cwd=state)
        expect(f"the line of {unit}", output.startswith(f"{os.path.realpath(state)}/main{lines}"), True)
    expect("copies", len(glob.glob(f"{state}/backup/main/*.verified")), 1)


def use_server(root, scratch):
    """Does what systemd would do with the unit, and what a user would do with the tool."""
    settings = unit_settings(root, "quorva")
    expect("the working directory", settings["WorkingDirectory"], ["%S/" + settings["StateDirectory"][0]])
    for _ in range(2):  # each start
        state = make_state_directory(root)
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
        # The service is terminated by a signal; acknowledged writes must survive it.
        expect("the server's end", server.stop(), -15)
        server.start()
        expect("the item", quorvactl("GetItem", GET_ITEM),
               {"__rc": 200, "__rcstr": "OK", "Item": {"total": {"N": "17"}}})
        use_gateway(root, server, scratch)
        back_up(root, server, state)
        expect("the server's end", server.stop(), -15)
    finally:
        server.clean_up()
    rotate_logs(root, scratch, state)
    expect("the table is in the state directory", os.path.isfile(os.path.join(state, "main/orders")), True)


def rotate_logs(root, scratch, state):
    """Has logrotate apply the package's configuration, for a server that writes its log to a file."""
    logs = os.path.join(root.path, "var/log/quorva")
    os.makedirs(logs)
    server = Server(service_command(root, "quorva", "QUORVA_OPTIONS", []), logs, state)
    commands = os.path.join(scratch, "commands")
    os.mkdir(commands)
    try:
        server.start()
        lines = server.log_text()
        with open(os.path.join(commands, "systemctl"), "w", encoding="utf-8") as systemctl:
            reload = unit_settings(root, "quorva")["ExecReload"][0].replace("$MAINPID", str(server.process.pid))
            systemctl.write(f'#!/bin/sh\necho "$*" >>{scratch}/said\n'
                            f'case "$*" in *quorva-http) exit 3 ;; reload*) {reload} ;; esac\n')
            os.chmod(systemctl.name, 0o755)
        with open(os.path.join(root.path, "etc/logrotate.d/quorva"), encoding="utf-8") as packaged:
            rotation = os.path.join(scratch, "logrotate.conf")
            with open(rotation, "w", encoding="utf-8") as adapted:
                adapted.write(packaged.read().replace("/var/log/", f"{root.path}/var/log/"))
        os.chmod(rotation, 0o644)  # it refuses files that others may write
        run(["logrotate", "--force", "--state", f"{scratch}/rotated", rotation],
            env={**os.environ, "PATH": f"{commands}:{os.environ['PATH']}:/usr/sbin:/sbin"})
        with open(f"{scratch}/said", encoding="utf-8") as said:
            expect("what was said to systemctl", said.read().splitlines(),
                   ["--quiet is-active quorva", "reload quorva", "--quiet is-active quorva-http"])
        deadline = time.monotonic() + DEADLINE
        while not os.path.exists(server.log) or "Log file reopened" not in server.log_text():
            if time.monotonic() > deadline:
                fail("the log is not reopened")
            time.sleep(0.01)
        with open(server.log + ".1", encoding="utf-8") as rotated:
            expect("the lines before the rotation", rotated.read(), lines)
        expect("the server's end", server.stop(), -15)
    finally:
        server.clean_up()
    shutil.rmtree(logs)


def main(build):
    with tempfile.TemporaryDirectory(prefix="quorva-packages-") as scratch:
        packages = build_packages(build, scratch)
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
        for unit in sorted(glob.glob(f"{root.path}/usr/lib/systemd/system/*.*")):
            if unit.endswith(".service"):
                check_unit(unit, f"{root.path}/usr/bin", scratch)
            for target in re.findall(r"^WantedBy=(.*)$", open(unit).read(), re.MULTILINE):
                link = os.path.join(root.path, "etc/systemd/system", f"{target}.wants", os.path.basename(unit))
                if not os.path.lexists(link):  # as the administrator would enable it
                    os.makedirs(os.path.dirname(link), exist_ok=True)
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
