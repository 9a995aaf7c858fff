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

OLD, NEW = "Larkmoor (v0.1.0 · build 1)", "Larkmoor (v0.2.0 · build 2)"
OFFERED, WAITS = "Larkmoor 0.2.0 is installed — click to start it anew", "Larkmoor 0.2.0 starts after your call"


def stamp(file, **facts):
    file.write_bytes(plistlib.dumps(plistlib.loads(file.read_bytes()) | facts))


@unittest.skipUnless(os.environ.get("LARKMOOR_CGROUPS"), "no control groups of the tester's own")
class Upgrade(unittest.TestCase):
    def setUp(self):
        self.session = ManagedSession(*map(Path, sys.argv[1:4]))
        self.addCleanup(self.session.close)
        stamp(self.session.bundle / "Contents/Info.plist", CFBundleVersion="1", CFBundleShortVersionString="0.1.0")

    def dpkg(self, *words):
        subprocess.run(["dpkg", "--force-not-root", "--log=/dev/null", f"--admindir={self.session.home}/dpkg",
                        f"--instdir={self.session.home}", *words], check=True, stdout=subprocess.DEVNULL)

    def upgrade(self):
        """To a build with another list of the daemon's agent, and helpers that fail whoever is not of it."""
        package, contents = self.session.home / "package", self.session.home / "package/Larkmoor.app/Contents"
        shutil.copytree(self.session.bundle, contents.parent)
        stamp(contents / "Info.plist", CFBundleVersion="2", CFBundleShortVersionString="0.2.0")
        stamp(contents / self.session.list.relative_to(self.session.bundle / "Contents"), ThrottleInterval=2)
        (contents / "MacOS/larkmoor-alert").write_text("#!/bin/sh\nexit 1\n")
        for folder in (package / "DEBIAN", self.session.home / "dpkg/info", self.session.home / "dpkg/updates"):
            folder.mkdir(parents=True)
        (self.session.home / "dpkg/status").touch()
        (package / "DEBIAN/control").write_text("Package: larkmoor\nVersion: 2\nArchitecture: all\nMaintainer: x <x@y.z>\nDescription: x\n")
        subprocess.run(["dpkg-deb", "-Znone", "--build", package, f"{package}.deb"], check=True, stdout=subprocess.DEVNULL)
        self.dpkg("-i", f"{package}.deb")

    def test_it_goes_on_until_it_is_started_anew_and_after_a_removal(self):
        session = self.session
        session.launch()
        session.expect("Recording")
        daemon = session.daemon_pid()
        self.upgrade()
        # Any click opens the menu, which is a look.
        wait("row", lambda: session.tray("click", OLD) and OFFERED in session.labels())
        session.tray("click", "Check for Update…")
        wait("own helper", lambda: session.alerts() == ["Larkmoor 0.2.0 is installed, and waits in this menu to be started"])
        session.order("SetMeetingLive", "boolean:true")
        session.tray("click", OFFERED)
        wait("row that waits", lambda: WAITS in session.labels())
        self.assertEqual((session.application.poll(), session.daemon_pid()), (None, daemon))
        session.tray("click", WAITS)
        wait("new build", lambda: NEW in session.labels())
        self.assertIsNone(session.application.poll(), "it is the same process")
        wait("new unit", lambda: "RestartSec=2" in session.systemctl("cat", UNIT).stdout and session.daemon_pid() not in (0, daemon))
        # It is started by the new unit, and started again for the new build.
        wait("bounce", lambda: "so the family runs one version" in session.log_file.read_text())
        wait("end of the start", lambda: session.systemctl("list-jobs", "--no-legend").stdout.strip() == "")
        session.expect("Recording")
        [item] = (session.home / ".config/autostart").iterdir()
        self.assertIn(f'Exec="{session.bundle}/Contents/MacOS/larkmoor-menubar"', item.read_text())

        self.dpkg("--remove", "larkmoor")
        self.assertFalse(session.bundle.exists())
        wait("word of it", lambda: session.tray("click", NEW) and f"{session.bundle} is gone" in session.log_file.read_text())
        self.assertLess({NEW, "Recording"}, set(session.labels()))
        self.assertFalse([row for row in session.labels() if "installed" in row])


unittest.main(argv=[sys.argv[0], *sys.argv[4:]], verbosity=2)
