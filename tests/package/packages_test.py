"""Builds the packages and takes the server's through its life: installed, run, reinstalled, removed, purged.

    packages_test.py BUILD

It is installed below a directory of its own, with a dpkg database of its own, and needs no rights.
"""

import glob
import json
import os
import re
import shutil
import sys
import tempfile

from installedserver import InstalledServer, expect, fail, run

PROGRAMS = ["quorva", "quorvactl"]


class Root:
    """A directory that dpkg takes for the whole system."""

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
        """All that is no directory, but for dpkg's own database."""
        found = set()
        for directory, names, files in os.walk(self.path):
            if directory == os.path.join(self.path, "var/lib"):
                names.remove("dpkg")
            links = [name for name in names if os.path.islink(os.path.join(directory, name))]
            found.update(os.path.relpath(os.path.join(directory, name), self.path) for name in files + links)
        return found


def fields(package):
    """The control fields of a package file; of the description the first line."""
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


def unit_settings(text):
    """The settings of a unit, each with its values in order."""
    settings = {}
    for key, value in re.findall(r"^([A-Za-z]+)=(.*)$", text, re.MULTILINE):
        settings.setdefault(key, []).append(value)
    return settings


def check_unit(path, bin_directory, scratch):
    """Has systemd read the unit, where it is there to be asked."""
    name = os.path.basename(path)
    if shutil.which("systemd-analyze") is None:
        print(f"systemd-analyze is not here, it does not check {name}")
        return
    # It looks for programs on this machine, so it is given the path.
    text = re.sub(r"^ExecStart=(?=[^/])", f"ExecStart={bin_directory}/", open(path).read(), flags=re.MULTILINE)
    copy = os.path.join(scratch, name)
    with open(copy, "w") as file:
        file.write(text)
    expect(f"what systemd-analyze says about {name}", run(["systemd-analyze", "verify", "--man=no", copy]), "")


def service_command(root, settings):
    """Turns the unit's command line into one on the files below `root`, for a port."""
    def command(port):
        program, *words = settings["ExecStart"][0].split()
        expect("words of ExecStart", words, ["$QUORVA_OPTIONS"])
        return [os.path.join(root.path, "usr/bin", program), "-p", str(port)]
    return command


def use_server(root, scratch):
    """Does what systemd does with the unit, and what somebody does with the tool."""
    settings = unit_settings(open(os.path.join(root.path, "usr/lib/systemd/system/quorva.service")).read())
    expect("the working directory", settings["WorkingDirectory"], ["%S/" + settings["StateDirectory"][0]])
    state = os.path.join(root.path, "var/lib", settings["StateDirectory"][0])
    os.makedirs(state)
    run(settings["ExecStartPre"][0].split(), cwd=state)

    server = InstalledServer(service_command(root, settings), state, scratch)

    def quorvactl(operation, body):
        text = run([os.path.join(root.path, "usr/bin/quorvactl"), "--port", str(server.port), operation,
                    json.dumps(body)])
        return json.loads(text)

    key = {"HashKeyElement": {"S": "abc"}, "RangeKeyElement": {"S": "2012-01"}}
    element = {"AttributeType": "S"}
    try:
        server.start()
        quorvactl("CreateTable", {"TableName": "main|orders", "KeySchema": {
            "HashKeyElement": {**element, "AttributeName": "customer"},
            "RangeKeyElement": {**element, "AttributeName": "date"}}})
        quorvactl("PutItem", {"TableName": "main|orders", "Item": {
            "customer": {"S": "abc"}, "date": {"S": "2012-01"}, "total": {"N": "17"}}})
        # The service is ended by a signal; what was acknowledged is there afterwards.
        expect("the server's end", server.stop(), -15)
        server.start()
        expect("the item", quorvactl("GetItem", {"TableName": "main|orders", "Key": key}),
               {"__rc": 200, "__rcstr": "OK", "Item": {"total": {"N": "17"}}})
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
        enabled = "etc/systemd/system/multi-user.target.wants/quorva.service"
        expect("the service is enabled", os.readlink(os.path.join(root.path, enabled)).endswith("/quorva.service"), True)
        for unit in glob.glob(f"{root.path}/usr/lib/systemd/system/*.service"):
            check_unit(unit, f"{root.path}/usr/bin", scratch)

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


main(*sys.argv[1:])
