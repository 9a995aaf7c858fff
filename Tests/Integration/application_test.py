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

from desktop_session import Session, wait

BUNDLE, UNDERSTUDY, TRAY = (Path(argument) for argument in sys.argv[1:4])


class Application(unittest.TestCase):
    def setUp(self):
        self.session = Session(BUNDLE, UNDERSTUDY, TRAY)
        self.addCleanup(self.session.close)

    def test_each_fault_has_its_words_and_heals(self):
        session = self.session
        session.expect("Larkmoor isn't running — start it to access your memory.", "Larkmoor — not running")
        session.start_daemon()
        session.expect("Recording", "Larkmoor — remembering this screen")
        # No test starts the setup of the models: it would ask this machine's own host, and the internet.
        log = Path(session.folder.name, "Library/Logs/larkmoor-journey.log")
        wait("word of the models", lambda: log.exists() and "models-at-open: nothing to start (steps-done=true" in log.read_text())
        session.order("Refuse", "boolean:true")
        session.expect("Larkmoor is running but this menu needs a restart to reconnect.", "Larkmoor — attention")
        session.order("Refuse", "boolean:false")
        session.expect("Recording")
        session.order("SetWire", "int64:2")
        session.expect("Larkmoor is finishing an update — this window will reconnect by itself.")
        session.order("SetWire", "int64:1")
        session.expect("Recording")
        # Silent: the daemon dies during a request, and its successor takes the repeated one and never answers.
        session.order("SetDelay", "int64:60000")
        asked = session.questions()
        session.refresh()
        wait("question", lambda: session.questions() > asked)
        session.kill_daemon()
        session.start_daemon(silent=True)
        wait("word of the silence", lambda: "Larkmoor is running but did not answer in 3s — it may be busy starting up; try again "
                                            "in a moment." in session.labels())
        session.order("Silent", "boolean:false")
        session.expect("Recording")
        # Away for a moment, in which the menu asks: its return is enough, without the next refresh.
        session.kill_daemon()
        session.refresh()
        wait("absence", lambda: "Recording" not in session.labels())
        session.start_daemon()
        wait("return", lambda: "Recording" in session.labels(), 10)

    def test_a_silent_daemon_leaves_the_menu_usable_and_events_move_the_icon(self):
        session = self.session
        session.start_daemon(silent=True)
        session.refresh()
        time.sleep(4)
        self.assertIn("Quit", session.labels())
        for row in ("Stats", "• Pause 15 minutes"):
            self.assertEqual(session.tray("click", row).returncode, 0)
        session.order("Silent", "boolean:false")
        session.kill_daemon()
        session.start_daemon()
        session.expect("Recording")
        # A daemon that came after the first try is subscribed to at the next one.
        wait("subscriber", lambda: "uint32 0" not in session.order("Subscribers").stdout, 40)
        session.order("PushFrontState", "string:blocked")
        wait("hollow trail", lambda: "not recording this (private or blocked)" in json.dumps(session.shown()))

    def test_bad_input_has_its_words_and_leaves_no_trace(self):
        session = self.session
        session.start_daemon()
        session.expect("Recording")
        before = session.resident_kib()
        for reply in ("no JSON", '{"text":{"_0":7}}', '{"later":{}}'):
            session.order("SetReply", "array:byte:" + ",".join(str(byte) for byte in reply.encode()))
            session.expect("bad reply", "Larkmoor — attention")
        session.kill_daemon()
        session.start_daemon(reply="x" * 50_000_000)
        session.expect("bad reply")
        session.kill_daemon()
        session.start_daemon()
        session.expect("Recording")
        for event in (b"\xff\x00{", b'{"frontState":{"_0":"later"}}', b"["*2000):
            session.order("PushEvent", "array:byte:" + ",".join(str(byte) for byte in event))
        for journey in ("", "true", "\u0001" * 10_000):
            session.refresh(journey)
        session.expect("Recording")
        self.assertIsNone(session.application.poll())
        # Freed memory may stay with the process in part; fifty megabytes may not.
        self.assertLess(session.resident_kib() - before, 40_000)

    def test_a_second_start_activates_the_first_or_tells_why_it_leaves(self):
        session = self.session
        session.expect("Quit")
        second = session.start(session.bundle / "Contents/MacOS/larkmoor-menubar")
        self.assertEqual(second.wait(timeout=60), 0)
        self.assertIsNone(session.application.poll())
        session.application.send_signal(signal.SIGSTOP)
        began = time.monotonic()
        second = session.run(session.bundle / "Contents/MacOS/larkmoor-menubar")
        self.assertEqual(second.returncode, 3)
        self.assertIn("does not answer", second.stderr)
        self.assertLess(time.monotonic() - began, 10)
        second = session.run(session.bundle / "Contents/MacOS/larkmoor-menubar", DBUS_SESSION_BUS_ADDRESS="unix:path=/none")
        self.assertEqual(second.returncode, 1)
        self.assertIn("there is no session bus", second.stderr)
        session.application.send_signal(signal.SIGCONT)
        session.application.send_signal(signal.SIGTERM)
        self.assertEqual(session.application.wait(timeout=60), 0)

    def test_a_start_during_a_quit_is_a_new_application(self):
        session = self.session
        session.start_daemon()
        session.expect("Recording")
        session.daemon.send_signal(signal.SIGSTOP)  # the quit waits for it
        session.tray("click", "Quit")
        question = "Quit Larkmoor? Click again to quit"
        wait("question", lambda: question in session.labels())
        session.tray("click", question)
        self.assertEqual(session.start(session.bundle / "Contents/MacOS/larkmoor-menubar").wait(timeout=60), 0)
        self.assertEqual(session.application.wait(timeout=60), 0)
        session.kill_daemon()
        session.start_daemon()
        session.expect("Recording")


class CommandLine(unittest.TestCase):
    def test_it_tells_what_it_is_without_a_bus(self):
        for options, status, words in ((["--version"], 0, "Larkmoor (v"), (["--help"], 0, "usage: larkmoor-menubar "),
                                       (["--later"], 2, "unknown option --later\nusage: "), (["--help", "file"], 2, "usage: ")):
            with self.subTest(options):
                told = subprocess.run([BUNDLE / "Contents/MacOS/larkmoor-menubar", *options], env={}, capture_output=True, text=True)
                self.assertEqual(told.returncode, status)
                self.assertIn(words, told.stderr if status else told.stdout)

    def test_it_takes_back_its_own_registrations_without_a_bus(self):
        program = Path(os.path.realpath(BUNDLE), "Contents/MacOS/larkmoor-menubar")
        units, login = ".local/share/systemd/user/tools.fenwright.larkmoor.", ".config/autostart/tools.fenwright.larkmoor.menubar.desktop"
        wants = ".config/systemd/user/default.target.wants/tools.fenwright.larkmoor."
        ours = {login: f'[Desktop Entry]\nExec="{program}"\nHidden=true\n', f"{units}ollama.service": "",
                f"{units}gateway.service": f"[Unit]\nSourcePath={program.parents[1]}/Library/LaunchAgents/tools.fenwright.larkmoor.gateway.plist\n"}
        others = {login: '[Desktop Entry]\nExec="/opt/Larkmoor.app/Contents/MacOS/larkmoor-menubar"\n',
                  f"{units}gateway.service": "[Unit]\nSourcePath=/opt/Larkmoor.app/Contents/Library/LaunchAgents/tools.fenwright.larkmoor.gateway.plist\n"}
        for changed, stays in (({}, set()), ({login: others[login]}, {login, f"{units}ollama.service", f"{wants}ollama.service"}),
                               (others, {*ours, f"{wants}ollama.service", f"{wants}gateway.service"})):
            with self.subTest(changed), tempfile.TemporaryDirectory() as home:
                for name, text in (ours | changed).items():
                    Path(home, name).parent.mkdir(parents=True, exist_ok=True)
                    Path(home, name).write_text(text, encoding="utf-8")
                Path(home, wants).parent.mkdir(parents=True)
                for agent in ("ollama", "gateway"):
                    Path(home, f"{wants}{agent}.service").symlink_to(f"{home}/{units}{agent}.service")
                def run(verb):
                    return subprocess.run([program, verb], env={"HOME": home}, capture_output=True, text=True)
                told = {str(Path(line).relative_to(home)) for line in run("--registered").stdout.splitlines()}
                self.assertEqual(told | stays, {*ours, f"{wants}ollama.service", f"{wants}gateway.service"})
                self.assertFalse(told & stays)
                self.assertEqual(run("--unregister").returncode, 0)
                self.assertEqual({str(each.relative_to(home)) for each in Path(home).rglob("tools.fenwright*")}, stays)


unittest.main(argv=sys.argv[:1], verbosity=2)
