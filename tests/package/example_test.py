"""Installs the build into a directory, builds programs against it as any user would, and runs them: the example, and
the code in the client library's documentation.

    example_test.py BUILD EXAMPLE DOCUMENT COMPILER
"""

import os
import re
import subprocess
import sys
import tempfile

from quorva import Server, expect, run, run_main

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


PROJECT_OF_THE_DOCUMENT = """\
cmake_minimum_required(VERSION 3.25)
project(document CXX)
{code}
add_executable(document main.cpp)
target_compile_features(document PRIVATE cxx_std_20)
target_link_libraries(document PRIVATE Quorva::Client)
"""


def write_program_of(document, project, port):
    """Writes a program from the document's first C++ block, and its project from the lines about CMake."""
    text = open(document, encoding="utf-8").read()
    cmake = re.search(r"^    (find_package\(.*\))$", text, re.MULTILINE)[1]
    lines = re.search(r"```cpp\n(.*?)```", text, re.DOTALL)[1].splitlines()
    top = [line for line in lines if line.startswith(("#include", "using"))]
    body = [line.replace("connection.open()", f"connection.open({{.port = {port}}})")
            for line in lines if line not in top]
    os.mkdir(project)
    with open(os.path.join(project, "main.cpp"), "w", encoding="utf-8") as file:
        file.write("\n".join(["#include <QtDebug>", *top, "int main() {", *body, "}", ""]))
    with open(os.path.join(project, "CMakeLists.txt"), "w", encoding="utf-8") as file:
        file.write(PROJECT_OF_THE_DOCUMENT.format(code=cmake))


def main(build, example, document, compiler):
    with tempfile.TemporaryDirectory(prefix="quorva-example-") as scratch:
        prefix, program = os.path.join(scratch, "prefix"), os.path.join(scratch, "orders")
        run(["cmake", "--install", build, "--prefix", prefix])
        def configure(source, directory, *flags):
            run(["cmake", "-S", source, "-B", directory, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={prefix}",
                 f"-DCMAKE_CXX_COMPILER={compiler}", *flags])

        configure(example, program, "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror")
        cache = open(os.path.join(program, "CMakeCache.txt")).read()
        expect("the package that was found", f"Quorva_DIR:PATH={prefix}/lib/" in cache, True)
        run(["cmake", "--build", program])

        tables = os.path.join(scratch, "tables")
        run([f"{prefix}/bin/quorvactl", "init", tables])
        server = Server([f"{prefix}/bin/quorva"], scratch)
        try:
            orders = os.path.join(program, "orders")
            server.start()
            # Twice, as it must also work if its table exists.
            for _ in range(2):
                done = subprocess.run([orders, tables, str(server.port)], capture_output=True, text=True, check=False)
                expect("the example", (done.returncode, done.stdout, done.stderr), (0, WANTED, ""))
            done = subprocess.run([orders, f"{scratch}/missing", str(server.port)], capture_output=True, text=True,
                                  check=False)
            expect("the example without a directory", (done.returncode, done.stdout, done.stderr),
                   (1, "", "creating the table: Specified item does not exist.\n"))

            project, built = os.path.join(scratch, "document"), os.path.join(scratch, "document-build")
            write_program_of(document, project, server.port)
            configure(project, built)
            run(["cmake", "--build", built])
            os.mkdir(os.path.join(scratch, "shop"))
            done = subprocess.run([os.path.join(built, "document")], capture_output=True, text=True, check=False)
            expect("the document's program", (done.returncode, done.stdout, done.stderr), (0, "", '17\n"2012-01"\n'))
        finally:
            server.clean_up()


run_main(main, *sys.argv[1:])
