#!/usr/bin/env python3
"""Uses the console like a person, in a real browser:

    console_test.py BIN CLASS [TEST]

With QUORVA_PICTURES=DIR it leaves screenshots there.
"""

import os
import sys
import unittest

import consolefixture
from access_test import Access
from browse_test import Browse
from edit_test import Edit
from jsontext_test import JsonText
from live_test import Live

__all__ = ["Access", "Browse", "Edit", "JsonText", "Live"]

if __name__ == "__main__":
    consolefixture.BIN = os.path.abspath(sys.argv[1])
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
