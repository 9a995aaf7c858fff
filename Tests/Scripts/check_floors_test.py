"""The check of the floors must see each kind of break: a tree of one file each, with what the check has to say of it, if
anything."""
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CHECK = Path(__file__).resolve().parents[2] / "Scripts" / "check-floors"

CASES = [
    ("Sources/LarkmoorWire/A.h", "LarkmoorKit/B.h", "floor 2 includes LarkmoorKit/B.h of floor 3"),
    ("Sources/LarkmoorUpdate/A.cpp", "LarkmoorConnectors/B.h", "of a neighbour on its own floor"),
    ("Sources/LarkmoorKit/A.cpp", "LarkmoorPlatform/Linux/Bus.h", "names the adapter"),
    ("Tests/LarkmoorKit/ATests.cpp", "LarkmoorPlatform/Linux/Bus.h", "names the adapter"),
    ("Sources/LarkmoorNew/A.h", "string", "stands on no floor"),
    ("Sources/LarkmoorConnectors/ConfigFile/A.h", "LarkmoorConnectors/Framework/B.h", "ConfigFile includes what stands above it"),
    ("Sources/LarkmoorConnectors/Framework/A.h", "LarkmoorConnectors/ClaudeCode/B.h", "Framework includes what stands above it"),
    ("Sources/LarkmoorConnectors/Cursor/A.cpp", "LarkmoorConnectors/ClaudeCode/B.h", "the harness Cursor includes its neighbour's"),
    ("Sources/LarkmoorConnectors/New/A.cpp", "LarkmoorConnectors/Framework/B.h", "New stands behind no wall"),
    ("Sources/LarkmoorConnectors/ConfigFile/A.h", "LarkmoorConnectors/Observation.h", None),
    ("Sources/LarkmoorConnectors/Converge.cpp", "LarkmoorConnectors/Connectors.h", None),
    ("Sources/LarkmoorKit/A.h", "LarkmoorWire/B.h", None),
    ("Sources/LarkmoorMenuApp/Main/main.cpp", "LarkmoorPlatform/Linux/Bus.h", None),
    ("Tools/larkmoor-tray/main.cpp", "LarkmoorPlatform/Linux/Bus.h", None),
    ("Tests/LarkmoorPlatform/Linux/BusTests.cpp", "LarkmoorPlatform/Linux/Bus.h", None),
]


def check(place, included):
    with tempfile.TemporaryDirectory() as root:
        file = Path(root, place)
        file.parent.mkdir(parents=True)
        Path(root, "Sources").mkdir(exist_ok=True)
        file.write_text(f'#pragma once\n  #  include "{included}"\n', encoding="utf-8")
        return subprocess.run([sys.executable, CHECK, root], capture_output=True, text=True)


class Floors(unittest.TestCase):
    def test_each_break_is_named_with_its_place_and_nothing_else(self):
        for place, included, words in CASES:
            with self.subTest(place):
                result = check(place, included)
                self.assertEqual(result.returncode, 1 if words else 0)
                for told in (words, place) if words else ():
                    self.assertIn(told, result.stdout)

    def test_no_tree_is_no_pass(self):
        with tempfile.TemporaryDirectory() as root:
            self.assertEqual(subprocess.run([sys.executable, CHECK, root], capture_output=True).returncode, 2)


unittest.main()
