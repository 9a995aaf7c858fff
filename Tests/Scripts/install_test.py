"""What `cmake --install` puts on a machine: a launcher that reads the entry finds the program and the icon.

usage: install_test.py CMAKE BUILD_FOLDER
"""
import configparser
import os
import shlex
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CMAKE, BUILD = sys.argv[1:3]
ENTRY = "share/applications/tools.fenwright.larkmoor.menubar.desktop"


class Install(unittest.TestCase):
    def install(self, root, prefix):
        """Installs for `prefix`, staged under the folder `root`; answers with the entry."""
        subprocess.run([CMAKE, "--install", BUILD, "--prefix", prefix], env=dict(os.environ, DESTDIR=root), check=True,
                       stdout=subprocess.DEVNULL)
        file = Path(f"{root}{prefix}", ENTRY)
        judged = subprocess.run(["desktop-file-validate", file], capture_output=True, text=True)
        self.assertEqual((judged.returncode, judged.stdout), (0, ""))
        entry = configparser.RawConfigParser()
        entry.optionxform = str
        entry.read(file, encoding="utf-8")
        return entry["Desktop Entry"]

    def test_the_entry_leads_to_the_program_and_the_icon(self):
        with tempfile.TemporaryDirectory() as folder:
            for root, prefix in ((folder, "/usr"), ("", f"{folder}/with a blank")):
                with self.subTest(prefix):
                    entry = self.install(root, prefix)
                    (program,) = shlex.split(entry["Exec"])
                    self.assertTrue(program.startswith(prefix))
                    self.assertTrue(os.access(f"{root}{program}", os.X_OK))
                    bundle = Path(f"{root}{program}").parents[1]
                    self.assertTrue((bundle / "Info.plist").is_file())
                    self.assertTrue(os.access(bundle / "MacOS/larkmoor-alert", os.X_OK))
                    self.assertTrue(Path(f"{root}{prefix}/share/icons/hicolor/scalable/apps/{entry['Icon']}.svg").is_file())


unittest.main(argv=sys.argv[:1], verbosity=2)
