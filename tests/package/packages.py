"""The packages of a build, installed below a separate directory with a separate dpkg database, and what systemd does with
their units. Needs no privileges.
"""

import contextlib
import glob
import os
import re
import shlex

from quorva import HttpServer, expect, run


def build_packages(build, scratch, *options):
    """Makes the packages in `scratch`. Returns the path of each by its name."""
    run(["cpack", "-B", scratch, *options], cwd=build)
    return {os.path.basename(path).split("_")[0]: path for path in glob.glob(f"{scratch}/*.deb")}


def fields(package):
    """The control fields of a package file, with the first line of the description."""
    control = run(["dpkg-deb", "--field", package])
    return dict(line.split(": ", 1) for line in control.splitlines() if ": " in line and line[0] != " ")


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
        # Scripts run outside and receive the directory. The packages' dependencies are not in this database. A
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


def unit_path(root, unit):
    return os.path.join(root.path, f"usr/lib/systemd/system/{unit}.service")


def unit_settings(root, unit):
    """The settings of a unit, each with its values in order."""
    settings = {}
    for key, value in re.findall(r"^([A-Za-z]+)=(.*)$", open(unit_path(root, unit)).read(), re.MULTILINE):
        settings.setdefault(key, []).append(value)
    return settings


def service_command(root, unit, variable, options):
    """The command line of a unit, run on the files below `root`, with these options in the variable for options."""
    program, *words = unit_settings(root, unit)["ExecStart"][0].split()
    expect(f"words of {unit}'s ExecStart", words, ["$" + variable])
    return [os.path.join(root.path, "usr/bin", program), *options]


def make_state_directory(root):
    """Does what precedes each start of the service. Returns its working directory."""
    settings = unit_settings(root, "quorva")
    state = os.path.join(root.path, "var/lib", settings["StateDirectory"][0])
    os.makedirs(state, exist_ok=True)
    command = dict(os.environ, PATH=f"{root.path}/usr/bin:{os.environ['PATH']}")
    run(shlex.split(settings["ExecStartPre"][0]), cwd=state, env=command)
    return state


@contextlib.contextmanager
def gateway(root, port, scratch):
    """Runs quorva-http as its service does, for the server on a port. Its URL."""
    http = HttpServer(service_command(root, "quorva-http", "QUORVA_HTTP_OPTIONS", []), scratch, port)
    try:
        yield http.url
        http.stop()
    finally:
        http.clean_up()


def backup_arguments(root, unit, state):
    """The words of a unit for backups, run in that directory."""
    settings = unit_settings(root, unit)
    variable, _, options = settings["Environment"][0].strip('"').partition("=")
    program, *words = settings["ExecStart"][0].split()
    expect(f"the last word of {unit}'s ExecStart", words.pop(), "$" + variable)
    return [os.path.join(root.path, "usr/bin", program), *words, *options.replace("%S/quorva", state).split()]
