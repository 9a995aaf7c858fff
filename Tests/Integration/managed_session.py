"""The whole application under a user manager of a test's own, with the rest of the family in its places."""
import os
import plistlib
import re
import shutil
import signal
import subprocess
import tempfile
from pathlib import Path

from desktop_session import GATEWAY, Session, finish_first_run, wait
from user_manager import UserManager

UNIT = f"{GATEWAY}.service"
SETTINGS_ID = "tools.fenwright.larkmoor.settings"
UPDATE_LINES = ("[larkmoor-menu] migrations at launch", "[larkmoor-menu] NOT starting the updater: ")


class ManagedSession(Session):
    """A login session with a `systemd --user`, and the bundle in it with understudies of the family in their places."""

    def __init__(self, bundle, understudy, tray, settings=None):
        self.source, self.understudy, self.settings_tool = bundle, understudy, settings
        self.folder = tempfile.TemporaryDirectory(prefix="larkmoor.")
        self.home = Path(self.folder.name)
        self.tray_tool = tray
        for folder in ("Library/Logs", "Library/LaunchAgents"):
            (self.home / folder).mkdir(parents=True, mode=0o700)
        self.support = finish_first_run(self.home)
        self.make_bundle()
        self.manager = UserManager(self.home)
        self.environment, self.systemctl, self.call = self.manager.environment, self.manager.systemctl, self.manager.call
        self.host = self.start(tray, "host")
        self.application = None
        self.log_file = self.home / "application.log"
        (self.home / "alerts").touch()

    def make_bundle(self):
        self.bundle = self.home / "Larkmoor.app"
        shutil.copytree(self.source, self.bundle)
        scenario = self.home / "daemon.json"
        scenario.write_text("{}", encoding="utf-8")
        # The user always clicks the first button.
        for name, script in (("larkmoor", f'exec "{self.understudy}" --support-root "{self.support}" --scenario "{scenario}"'),
                             ("larkmoor-hook", f'echo "$@" >>"{self.home}/hooked"'),
                             ("larkmoor-alert", f'tr "\\0" "\\n" >>"{self.home}/alerts"; echo "chosen 0"')):
            path = self.bundle / "Contents/MacOS" / name
            path.unlink(missing_ok=True)
            path.write_text(f"#!/bin/sh\n{script}\n", encoding="utf-8")
            path.chmod(0o755)
        if self.settings_tool:
            shutil.copy(self.settings_tool, self.home / "larkmoor-settings")
        self.list = self.bundle / f"Contents/Library/LaunchAgents/{GATEWAY}.plist"
        self.change_list(ThrottleInterval=1)

    def change_list(self, **changes):
        self.list.write_bytes(plistlib.dumps(plistlib.loads(self.list.read_bytes()) | changes))

    def daemon_pid(self):
        """0 while it is down."""
        return int(self.systemctl("show", "--property=MainPID", "--value", UNIT).stdout)

    def launch(self):
        """A launch, and its story: every line that it has said of its own."""
        with self.log_file.open("w") as log:
            command = [*os.environ.get("LARKMOOR_LAUNCHER", "").split(), str(self.bundle / "Contents/MacOS/larkmoor-menubar")]
            self.application = subprocess.Popen(command, env=self.environment, stdin=subprocess.DEVNULL,
                                                stdout=subprocess.DEVNULL, stderr=log)
        wait("menu", lambda: "Quit" in self.labels())

    def lines(self):
        return [line for line in self.log_file.read_text().splitlines() if line.startswith("[larkmoor-menu]")]

    def said(self):
        """What each launch says of the updates is left out."""
        return [line for line in self.lines() if not line.startswith(UPDATE_LINES)]

    def expect_said(self, *lines):
        wanted = [f"[larkmoor-menu] {line}" for line in lines]
        wait(lambda: f"{wanted}, but {self.said()}", lambda: self.said() == wanted)

    def alerts(self):
        """The messages of the alerts that were shown."""
        return re.findall("^message=(.*)", (self.home / "alerts").read_text(encoding="utf-8"), re.MULTILINE)

    def end_application(self):
        self.application.send_signal(signal.SIGTERM)
        assert self.application.wait(timeout=30) == 0

    def settings(self, name):
        return self.call(SETTINGS_ID, "/tools/fenwright/larkmoor/understudy", "tools.fenwright.larkmoor.Understudy", name)

    def close(self):
        self.end(self.application, self.host)
        self.manager.close()
        self.folder.cleanup()
