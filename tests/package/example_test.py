"""Installs the build into a directory, builds the example there as a stranger would, and runs it.

    example_test.py BUILD EXAMPLE COMPILER
"""

import os
import subprocess
import sys
import tempfile

from installedserver import InstalledServer, expect, run

WANTED = """\
2012-03 has an order already
2012-03 costs 32, paid: yes
2012-05 has no order
all orders:
  2012-01  10
  2012-02  20
  2012-03  32
  2012-04  40
  altogether 102
until March, the last first:
  2012-03  32
  2012-02  20
  2012-01  10
  altogether 62
"""


def main(build, example, compiler):
    with tempfile.TemporaryDirectory(prefix="quorva-example-") as scratch:
        prefix, program = os.path.join(scratch, "prefix"), os.path.join(scratch, "orders")
        run(["cmake", "--install", build, "--prefix", prefix])
        run(["cmake", "-S", example, "-B", program, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={prefix}",
             f"-DCMAKE_CXX_COMPILER={compiler}", "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror"])
        cache = open(os.path.join(program, "CMakeCache.txt")).read()
        expect("the package that was found", f"Quorva_DIR:PATH={prefix}/lib/" in cache, True)
        run(["cmake", "--build", program])

        tables = os.path.join(scratch, "tables")
        os.mkdir(tables)
        server = InstalledServer(lambda port: [f"{prefix}/bin/quorva", "-p", str(port)], scratch, scratch)
        try:
            orders = os.path.join(program, "orders")
            server.start()
            # Twice, as it has to work on what is there already.
            for _ in range(2):
                done = subprocess.run([orders, tables, str(server.port)], capture_output=True, text=True, check=False)
                expect("the example", (done.returncode, done.stdout, done.stderr), (0, WANTED, ""))
            done = subprocess.run([orders, f"{scratch}/missing", str(server.port)], capture_output=True, text=True,
                                  check=False)
            expect("the example without a directory", (done.returncode, done.stdout, done.stderr),
                   (1, "", "creating the table: Specified item does not exist.\n"))
        finally:
            server.clean_up()


main(*sys.argv[1:])
