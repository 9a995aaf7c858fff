"""dpkg upgrades and removes the bundle under the running application, under a real user manager.

usage: upgrade_test.py LARKMOOR.APP UNDERSTUDY-DAEMON LARKMOOR-TRAY
"""
import os
import plistlib
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

from desktop_session import wait
from managed_session import UNIT, ManagedSession

BUNDLE, UNDERSTUDY, TRAY = map(Path, sys.argv[1:4])
HEADERS = ("Larkmoor (v0.1.0 · build 1)", "Larkmoor (v0.2.0 · build 2)")


def stamp(file, **facts):
    file.write_bytes(plistlib.dumps(plistlib.loads(file.read_bytes()) | facts))


@unittest.skipUnless(os.environ.get("LARKMOOR_CGROUPS"), "no control groups of the tester's own")
class Upgrade(unittest.TestCase):
    def setUp(self):
        self.session = ManagedSession(BUNDLE, UNDERSTUDY, TRAY)
        self.addCleanup(self.session.close)
        stamp(self.session.bundle / "Contents/Info.plist", CFBundleVersion="1", CFBundleShortVersionString="0.1.0")

    def dpkg(self, *words):
        folder = self.session.home / "dpkg"
        for name in ("info", "updates"):
            (folder / name).mkdir(parents=True, exist_ok=True)
        (folder / "status").touch()
        subprocess.run(["dpkg", "--force-not-root", "--log=/dev/null", f"--admindir={folder}", f"--instdir={self.session.home}",
                        *words], check=True, stdout=subprocess.DEVNULL)

    def package(self):
        """Build 2 with another property list of the agent, and with helpers that fail whoever is not of it."""
        root = self.session.home / "package"
        bundle = root / "Larkmoor.app"
        shutil.copytree(self.session.bundle, bundle)
        stamp(bundle / "Contents/Info.plist", CFBundleVersion="2", CFBundleShortVersionString="0.2.0")
        stamp(bundle / "Contents/Library/LaunchAgents" / UNIT.replace(".service", ".plist"), ThrottleInterval=2)
        (bundle / "Contents/MacOS/larkmoor-alert").write_text("#!/bin/sh\nexit 1\n")
        (root / "DEBIAN").mkdir()
        (root / "DEBIAN/control").write_text("Package: larkmoor\nVersion: 2\nArchitecture: all\nMaintainer: x <x@y.z>\nDescription: x\n")
        subprocess.run(["dpkg-deb", "-Znone", "--build", root, f"{root}.deb"], check=True, stdout=subprocess.DEVNULL)
        return f"{root}.deb"

    def rows(self, header):
        """What somebody sees who opens the menu."""
        self.session.tray("click", header)
        return self.session.labels()

    def test_it_goes_on_until_it_is_started_anew_and_after_a_removal(self):
        session = self.session
        session.launch()
        session.expect("Recording")
        daemon = session.daemon_pid()
        self.dpkg("-i", self.package())
        offered, waits = "Larkmoor 0.2.0 is installed — click to start it anew", "Larkmoor 0.2.0 starts after your call"
        wait("row", lambda: offered in self.rows(HEADERS[0]))
        session.tray("click", "Check for Update…")
        wait("own helper", lambda: session.alerts() == ["Larkmoor 0.2.0 is installed, and waits in this menu to be started"])
        session.order("SetMeetingLive", "boolean:true")
        session.tray("click", offered)
        wait("row that waits", lambda: waits in session.labels())
        self.assertEqual((session.application.poll(), session.daemon_pid()), (None, daemon))
        session.tray("click", waits)
        self.assertEqual(session.application.wait(timeout=60), 0)
        wait("menu of the new build", lambda: HEADERS[1] in session.labels())
        wait("the new unit", lambda: "RestartSec=2" in session.systemctl("cat", UNIT).stdout)
        wait("another daemon", lambda: session.daemon_pid() not in (0, daemon))
        session.expect("Recording")
        [item] = (session.home / ".config/autostart").iterdir()
        self.assertIn(f'Exec="{session.bundle}/Contents/MacOS/larkmoor-menubar"', item.read_text())

        self.dpkg("--remove", "larkmoor")
        self.assertFalse(session.bundle.exists())
        wait("word of it", lambda: self.rows(HEADERS[1]) and any(f"{session.bundle} is gone" in line for line in session.lines()))
        self.assertIn("Recording", session.labels())
        self.assertFalse([row for row in session.labels() if "installed" in row])


unittest.main(argv=[sys.argv[0], *sys.argv[4:]], verbosity=2)
