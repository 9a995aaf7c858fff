"""The application on a session bus of its own, in a home of its own, read through the terminal's tray host."""
import json
import os
import shutil
import subprocess
import tempfile
import time
from pathlib import Path

GATEWAY = "tools.fenwright.larkmoor.gateway"
MENUBAR = "tools.fenwright.larkmoor.menubar"
MODELS_SET_UP = Path(__file__).parents[1] / "Data/local-models-set-up.json"


def finish_first_run(home):
    """What a home holds once the first-run journey is behind it; its support root."""
    support = home / "Library/Application Support/Larkmoor"
    support.mkdir(parents=True, exist_ok=True)
    for name in ("terms-agreed", "recovery-key-passed", "data.db"):
        (support / name).touch()
    leave_out_models(home)
    return support


def leave_out_models(home):
    """The models' setup was finished in that home before: a launch asks neither a model host nor the internet."""
    support = home / "Library/Application Support/Larkmoor"
    support.mkdir(parents=True, exist_ok=True)
    shutil.copy(MODELS_SET_UP, support / "local-models-progress.json")


class Session:
    """A bus, a home and the processes on it; ends what it started."""

    def __init__(self, bundle, understudy, tray):
        self.bundle, self.understudy, self.tray_tool = bundle, understudy, tray
        self.folder = tempfile.TemporaryDirectory(prefix="larkmoor.")
        home = Path(self.folder.name)
        (home / "Library/Logs").mkdir(parents=True)
        finish_first_run(home)
        # A sanitizer keeps freed memory back, which is none of the application's own.
        self.environment = dict(self.begin(home), ASAN_OPTIONS="quarantine_size_mb=1")
        self.daemon = None
        self.host = self.start(self.tray_tool, "host")
        self.application = self.start(self.bundle / "Contents/MacOS/larkmoor-menubar")

    def begin(self, home):
        """Starts the bus; the environment in which it is found."""
        self.bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", f"--address=unix:path={home}/bus", "--print-address=1"],
                                    stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        return dict(os.environ, HOME=str(home), DBUS_SESSION_BUS_ADDRESS=self.bus.stdout.readline().strip())

    def start(self, *command):
        return subprocess.Popen([str(word) for word in command], env=self.environment, stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL)

    def run(self, *command, **environment):
        return subprocess.run([str(word) for word in command], env=dict(self.environment, **environment), capture_output=True,
                              text=True, timeout=60)

    def start_daemon(self, **scenario):
        file = Path(self.folder.name, "scenario.json")
        file.write_text(json.dumps(scenario), encoding="utf-8")
        self.daemon = self.start(self.understudy, "--scenario", file)
        wait("a daemon that serves", lambda: self.order("Subscribers").returncode == 0)

    def kill_daemon(self):
        self.daemon.kill()
        self.daemon.wait()

    def order(self, name, *arguments):
        return subprocess.run(["dbus-send", "--session", "--print-reply", f"--dest={GATEWAY}", "/tools/fenwright/larkmoor/understudy",
                               f"tools.fenwright.larkmoor.Understudy.{name}", *arguments],
                              env=self.environment, capture_output=True, text=True)

    def owner(self, name):
        """The unique name behind it; empty if there is none."""
        return self.run("busctl", "--address", self.environment["DBUS_SESSION_BUS_ADDRESS"], "call", "org.freedesktop.DBus",
                        "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner", "s", name).stdout

    def questions(self):
        return self.order("Log").stdout.count('"health"')

    def refresh(self, journey="0"):
        """Any word of the journey's window is a refresh."""
        subprocess.run(["busctl", "--address", self.environment["DBUS_SESSION_BUS_ADDRESS"], "emit",
                        "/tools/fenwright/larkmoor/notifications", "tools.fenwright.larkmoor.Notifications", "Posted", "ssa{ss}",
                        "tools.fenwright.larkmoor.journey-visible", journey, "0"], check=True)

    def tray(self, *words):
        return subprocess.run([str(self.tray_tool), *words], env=self.environment, capture_output=True, text=True, timeout=90)

    def shown(self):
        return json.loads(self.tray("show", "--json", "--wait", "30").stdout)

    def labels(self):
        return [row["label"].strip() for row in self.shown()["menu"] if not row["separator"]]

    def resident_kib(self):
        lines = Path(f"/proc/{self.application.pid}/status").read_text().splitlines()
        return int(next(line for line in lines if line.startswith("VmRSS")).split()[1])

    def expect(self, words, accessible=""):
        """A row of the menu, and what the icon says."""
        def shows():
            self.refresh()
            return words in self.labels() and accessible in json.dumps(self.shown(), ensure_ascii=False)
        wait(f"row {words!r}", shows)

    @staticmethod
    def end(*processes):
        for process in processes:
            if process is not None and process.poll() is None:
                process.kill()
                process.wait()

    def close(self):
        self.end(self.application, self.host, self.daemon, self.bus)
        self.bus.stdout.close()
        self.folder.cleanup()


def wait(what, condition, seconds=60):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"no {what() if callable(what) else what} after {seconds} s")
        time.sleep(0.1)
