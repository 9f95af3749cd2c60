"""The list of packages that are installed on this machine, as items."""

import collections
import subprocess

NO_SECTION = "none"  # the hash key of packages that name no section

Package = collections.namedtuple("Package", "section name attributes")


def installed_packages():
    """Every installed package, in dpkg's order. Empty fields of a package are omitted."""
    # The separators are control characters, which no field contains; descriptions do contain newlines and tabs.
    fields = ["db:Status-Status", "Section", "Package", "Architecture", "Version", "Installed-Size", "Maintainer",
              "Description"]
    listing = subprocess.run(
        ["dpkg-query", "-W", "-f=" + "\x1f".join("${%s}" % field for field in fields) + "\x1e"],
        stdout=subprocess.PIPE, check=True).stdout.decode("utf-8", "replace")
    rows = [row.split("\x1f") for row in listing.split("\x1e") if row]
    rows = [row[1:] for row in rows if row[0] == "installed"]
    # A package may be installed for several architectures; those need different names.
    times = collections.Counter(row[1] for row in rows)
    packages = []
    for section, name, architecture, version, size, maintainer, description in rows:
        attributes = {
            "version": {"S": version},
            "size": {"N": size},
            "maintainer": {"S": maintainer},
            "description": {"S": description},
        }
        packages.append(Package(
            section or NO_SECTION,
            name if times[name] == 1 else f"{name}:{architecture}",
            {key: value for key, value in attributes.items() if all(value.values())}))
    return packages
