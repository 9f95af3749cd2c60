"""Compares the shapes of requests with the model of the API that its clients are generated from.

    model_test.py DUMP      DUMP prints our shapes (shapesdump.cpp)

Ends with status 77, which counts as skipped, when the model is not installed.
"""

import glob
import json
import subprocess
import sys
import unittest

MODELS = "/usr/lib/python3/dist-packages/botocore/data/dynamodb/2012-08-10/service-2.json*"
SKIPPED = 77

# In the API, but later than the model in Debian.
LATER_MEMBERS = {"DeletionProtectionEnabled", "ResourcePolicy", "ReturnValuesOnConditionCheckFailure"}
# Refused whatever they are.
OPAQUE = {"ReplicationGroupUpdate"}

LIMITS = ("min", "max", "pattern")

def read_model():
    paths = glob.glob(MODELS)
    if not paths:
        print("skipped: the model is in the package python3-botocore, which script/bootstrap clients installs")
        sys.exit(SKIPPED)
    with open(paths[0], encoding="utf-8") as file:
        return json.load(file)

class Shapes(unittest.TestCase):
    model = {}
    dump = ""

    @classmethod
    def setUpClass(cls):
        output = subprocess.run([cls.dump, *cls.model["operations"]], check=True, capture_output=True).stdout
        ours = json.loads(output)
        cls.operations = ours["operations"]
        cls.shapes = ours["shapes"]

    def test_every_operation_is_served_or_refused_with_a_reason(self):
        self.assertEqual(set(self.operations), set(self.model["operations"]))
        for name, shape in self.operations.items():
            if isinstance(shape, str):
                self.assertRegex(shape, f"^{name} is not available: .")

    def test_inputs_are_those_of_the_model(self):
        compared = set()
        served = [name for name, shape in self.operations.items() if not isinstance(shape, str)]
        self.assertGreaterEqual(len(served), 12)
        for name in served:
            self.compare(name, self.operations[name], self.model["operations"][name]["input"]["shape"], compared)
        self.assertGreater(len(compared), 40)

    def compare(self, path, number, name, compared):
        if (number, name) in compared:
            return
        compared.add((number, name))
        ours = self.shapes[number]
        theirs = self.model["shapes"][name]
        with self.subTest(path):
            self.assertEqual(ours["type"], theirs["type"])
            for limit in LIMITS:
                # Every length is at least 0.
                self.assertEqual(ours.get(limit) or None, theirs.get(limit) or None, limit)
            self.assertEqual(sorted(ours.get("enum", [])), sorted(theirs.get("enum", [])))
            self.assertEqual(sorted(set(ours["required"]) - LATER_MEMBERS), sorted(theirs.get("required", [])))
            if ours["type"] == "structure":
                self.assertEqual(ours["name"], name)
        if name in OPAQUE:
            return
        members = theirs.get("members", {})
        with self.subTest(path):
            self.assertEqual(set(ours["members"]) - LATER_MEMBERS, set(members) - LATER_MEMBERS)
        for member, shape in members.items():
            if member in ours["members"]:
                self.compare(f"{path}.{member}", ours["members"][member], shape["shape"], compared)
        for part, their_part in (("element", "member"), ("element", "value"), ("key", "key")):
            if their_part in theirs:
                self.compare(f"{path}.{part}", ours[part], theirs[their_part]["shape"], compared)

if __name__ == "__main__":
    Shapes.dump = sys.argv.pop(1)
    Shapes.model = read_model()
    unittest.main()
