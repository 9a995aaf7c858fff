"""The whole application on a session bus of its own, with an understudy of the daemon, read through the terminal's tray
host: what the menu says of each way that the daemon can fail, and what bad input does to it.

usage: application_test.py LARKMOOR.APP UNDERSTUDY LARKMOOR-TRAY
"""
import json
import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

BUNDLE, UNDERSTUDY, TRAY = (Path(argument) for argument in sys.argv[1:4])
GATEWAY = "tools.fenwright.larkmoor.gateway"


class Session:
    """A bus, a home and the processes on it; ends what it started."""

    def __init__(self):
        self.folder = tempfile.TemporaryDirectory(prefix="larkmoor.")
        home = Path(self.folder.name)
        (home / "Library/Logs").mkdir(parents=True)
        self.bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", f"--address=unix:path={home}/bus", "--print-address=1"],
                                    stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        # A sanitizer keeps freed memory back, which is none of the application's own.
        self.environment = dict(os.environ, HOME=str(home), DBUS_SESSION_BUS_ADDRESS=self.bus.stdout.readline().strip(),
                                ASAN_OPTIONS="quarantine_size_mb=1")
        self.daemon = None
        self.host = self.start(TRAY, "host")
        self.application = self.start(BUNDLE / "Contents/MacOS/larkmoor-menubar")

    def start(self, *command):
        return subprocess.Popen([str(word) for word in command], env=self.environment, stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL)

    def start_daemon(self, **scenario):
        file = Path(self.folder.name, "scenario.json")
        file.write_text(json.dumps(scenario), encoding="utf-8")
        self.daemon = self.start(UNDERSTUDY, "--scenario", file)
        wait("a daemon that serves", lambda: self.order("Subscribers").returncode == 0)

    def kill_daemon(self):
        self.daemon.kill()
        self.daemon.wait()

    def order(self, name, *arguments):
        return subprocess.run(["dbus-send", "--session", "--print-reply", f"--dest={GATEWAY}", "/tools/fenwright/larkmoor/understudy",
                               f"tools.fenwright.larkmoor.Understudy.{name}", *arguments],
                              env=self.environment, capture_output=True, text=True)

    def refresh(self, journey="0"):
        """Any word of the journey's window is a refresh."""
        subprocess.run(["busctl", "--address", self.environment["DBUS_SESSION_BUS_ADDRESS"], "emit",
                        "/tools/fenwright/larkmoor/notifications", "tools.fenwright.larkmoor.Notifications", "Posted", "ssa{ss}",
                        "tools.fenwright.larkmoor.journey-visible", journey, "0"], check=True)

    def tray(self, *words):
        return subprocess.run([str(TRAY), *words], env=self.environment, capture_output=True, text=True, timeout=30)

    def shown(self):
        return json.loads(self.tray("show", "--json", "--wait", "10").stdout)

    def labels(self):
        return [row["label"].strip() for row in self.shown()["menu"] if not row["separator"]]

    def resident_kib(self):
        lines = Path(f"/proc/{self.application.pid}/status").read_text().splitlines()
        return int(next(line for line in lines if line.startswith("VmRSS")).split()[1])

    def close(self):
        for process in (self.application, self.host, self.daemon, self.bus):
            if process is not None and process.poll() is None:
                process.kill()
                process.wait()
        self.bus.stdout.close()
        self.folder.cleanup()


def wait(what, condition, seconds=20):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"no {what} after {seconds} s")
        time.sleep(0.1)


class Application(unittest.TestCase):
    def setUp(self):
        self.session = Session()
        self.addCleanup(self.session.close)

    def expect(self, words, accessible=None):
        def shows():
            self.session.refresh()
            return words in self.session.labels()
        wait(f"row {words!r}", shows)
        if accessible:
            wait(f"icon named {accessible!r}", lambda: accessible in json.dumps(self.session.shown(), ensure_ascii=False))

    def test_each_fault_has_its_words_and_heals(self):
        session = self.session
        self.expect("Larkmoor isn't running — start it to access your memory.", "Larkmoor — not running")
        session.start_daemon()
        self.expect("Recording", "Larkmoor — remembering this screen")
        session.order("Refuse", "boolean:true")
        self.expect("Larkmoor is running but this menu needs a restart to reconnect.", "Larkmoor — attention")
        session.order("Refuse", "boolean:false")
        self.expect("Recording")
        session.order("SetWire", "int64:2")
        self.expect("Larkmoor is finishing an update — this window will reconnect by itself.")
        session.order("SetWire", "int64:1")
        self.expect("Recording")
        # Silent: the daemon dies during a request, and its successor takes the repeated one and never answers.
        session.order("SetDelay", "int64:60000")
        session.refresh()
        time.sleep(0.5)
        session.kill_daemon()
        session.start_daemon(silent=True)
        wait("word of the silence", lambda: "Larkmoor is running but did not answer in 3s — it may be busy starting up; try again "
                                            "in a moment." in session.labels())
        session.order("Silent", "boolean:false")
        self.expect("Recording")

    def test_a_daemon_silent_from_its_start_leaves_the_menu_usable(self):
        session = self.session
        session.start_daemon(silent=True)
        session.refresh()
        time.sleep(4)
        self.assertIn("Quit", session.labels())
        self.assertEqual(session.tray("click", "Stats").returncode, 0)
        self.assertEqual(session.tray("click", "• Pause 15 minutes").returncode, 0)
        session.order("Silent", "boolean:false")
        session.kill_daemon()
        session.start_daemon()
        self.expect("Recording")

    def test_a_word_from_the_daemon_is_shown_and_events_move_the_icon(self):
        session = self.session
        session.start_daemon()
        self.expect("Recording")
        session.order("PushFrontState", "string:blocked")
        wait("hollow trail", lambda: "not recording this (private or blocked)" in json.dumps(session.shown()))
        session.order("SetHealth", "string:stopped")
        self.expect("Start Recording")

    def test_bad_input_has_its_words_and_leaves_no_trace(self):
        session = self.session
        session.start_daemon()
        self.expect("Recording")
        before = session.resident_kib()
        for reply in ("no JSON", '{"text":{"_0":7}}', '{"later":{}}'):
            session.order("SetReply", "array:byte:" + ",".join(str(byte) for byte in reply.encode()))
            self.expect("bad reply", "Larkmoor — attention")
        session.kill_daemon()
        session.start_daemon(reply="x" * 50_000_000)
        self.expect("bad reply")
        session.kill_daemon()
        session.start_daemon()
        self.expect("Recording")
        for event in (b"\xff\x00{", b'{"frontState":{"_0":"later"}}', b"["*2000):
            session.order("PushEvent", "array:byte:" + ",".join(str(byte) for byte in event))
        for journey in ("", "true", "\u0001" * 10_000):
            session.refresh(journey)
        self.expect("Recording")
        self.assertIsNone(session.application.poll())
        # Freed memory may stay with the process in part; fifty megabytes may not.
        self.assertLess(session.resident_kib() - before, 40_000)

    def test_a_second_start_activates_the_first_and_leaves(self):
        session = self.session
        session.start_daemon()
        self.expect("Recording")
        second = session.start(BUNDLE / "Contents/MacOS/larkmoor-menubar")
        self.assertEqual(second.wait(timeout=10), 0)
        self.assertIsNone(session.application.poll())
        session.application.send_signal(signal.SIGTERM)
        self.assertEqual(session.application.wait(timeout=10), 0)


unittest.main(argv=sys.argv[:1], verbosity=2)
