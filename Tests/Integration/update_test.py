"""An update of the whole application, from a feed on this machine to the menu of the new build, on a session bus of its
own with an understudy of the daemon: held by a call, and put in at a click, and at the start after the end of the session.

usage: update_test.py LARKMOOR.APP UNDERSTUDY LARKMOOR-TRAY SCRIPTS
"""
import os
import plistlib
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from functools import partial
from http.server import SimpleHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

from desktop_session import Session, wait
from user_manager import UserManager

BUNDLE, UNDERSTUDY, TRAY, SCRIPTS = map(Path, sys.argv[1:5])
PREFERENCES = "Library/Preferences/tools.fenwright.larkmoor.menubar.plist"
READY = "0.2.0 ready, installs after your call"


class Handler(SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


def stamp(bundle, **facts):
    file = bundle / "Contents/Info.plist"
    file.write_bytes(plistlib.dumps({**plistlib.loads(file.read_bytes()), **facts}))


class UpdatedSession(Session):
    """Build 1 in the session's home, told of a feed; it asks nobody."""

    def __init__(self, site):
        self.site = site
        super().__init__(BUNDLE, UNDERSTUDY, TRAY)

    def start(self, *command):
        home = Path(self.folder.name)
        if not (home / "Larkmoor.app").exists():
            shutil.copytree(self.site.first, home / "Larkmoor.app", symlinks=True)
            (home / PREFERENCES).parent.mkdir(parents=True)
            (home / PREFERENCES).write_bytes(plistlib.dumps({"SUAutomaticallyUpdate": True, "UpdateTestLane": True}))
            self.bundle = home / "Larkmoor.app"
        return super().start(*(home / Path(word).relative_to(BUNDLE.parent) if str(word).startswith(str(BUNDLE)) else word
                               for word in command))

    def build(self):
        return plistlib.loads((self.bundle / "Contents/Info.plist").read_bytes())["CFBundleVersion"]

    def processes(self):
        """Of the application, whatever became of its files."""
        found = []
        for process in Path("/proc").glob("[0-9]*"):
            try:
                if f"HOME={self.folder.name}\0".encode() in (process / "environ").read_bytes() + b"\0":
                    if (process / "comm").read_text().strip() == "larkmoor-menuba":
                        found.append(int(process.name))
            except OSError:
                pass
        return found

    def shows(self, words):
        return any(words in label for label in self.labels())

    def rest(self):
        """What an update has left beside the bundle."""
        return sorted(os.listdir(folder)) if (folder := self.bundle.with_name(".Larkmoor.app.update")).exists() else None

    def close(self):
        for process in self.processes():
            os.kill(process, signal.SIGKILL)
        super().close()


class UpdatedUnit(UpdatedSession):
    """The same under a user manager, which has started it as a unit with these properties."""

    def __init__(self, site, *properties):
        self.properties = [word for each in ("Type=exec", "TimeoutStopSec=5s", *properties) for word in ("-p", each)]
        super().__init__(site)

    def begin(self, home):
        self.manager = UserManager(home)
        self.bus = None
        return self.manager.environment

    def start(self, program, *words):
        if Path(program).name != "larkmoor-menubar":
            return super().start(program, *words)
        program = self.bundle / "Contents/MacOS/larkmoor-menubar"
        asked = self.run("systemd-run", "--user", "--collect", "--unit=updated", *self.properties, program)
        assert asked.returncode == 0, asked.stderr
        return None

    def unit(self):
        return self.manager.systemctl("is-active", "updated.service").stdout.strip()

    def close(self):
        for process in self.processes():
            os.kill(process, signal.SIGKILL)
        self.end(self.host, self.daemon)
        self.manager.close()
        self.folder.cleanup()


class Site:
    """Two builds of the application and the feed of the second."""

    def __init__(self, folder):
        self.folder = Path(folder)
        server = ThreadingHTTPServer(("127.0.0.1", 0), partial(Handler, directory=folder))
        threading.Thread(target=server.serve_forever, daemon=True).start()
        key = self.seal("--new-key", self.folder / "key")
        base = f"http://127.0.0.1:{server.server_port}"
        self.first = self.copy("first", "1", "0.1.0", base, key)
        second = self.copy("second", "2", "0.2.0", base, key)
        subprocess.run([SCRIPTS / "make-update", second, "--key", self.folder / "key", "--url", base, folder], check=True)
        self.key = key

    def seal(self, *words):
        return subprocess.run([SCRIPTS / "seal", *words], check=True, capture_output=True, text=True).stdout.strip()

    def copy(self, name, build, version, base, key):
        bundle = self.folder / name / "Larkmoor.app"
        shutil.copytree(BUNDLE, bundle, symlinks=True)
        for program in (bundle / "Contents/MacOS").iterdir():
            subprocess.run(["strip", program], check=True)
        stamp(bundle, CFBundleVersion=build, CFBundleShortVersionString=version, SUFeedURL=f"{base}/appcast.xml", SUPublicEDKey=key)
        return bundle


def setUpModule():
    Case.folder = tempfile.TemporaryDirectory(prefix="larkmoor-site.")
    Case.site = Site(Case.folder.name)


def tearDownModule():
    Case.folder.cleanup()


class Case(unittest.TestCase):
    def begin(self, make=UpdatedSession, *properties):
        """A session of build 1, with a call that holds what it brings."""
        self.session = session = make(self.site, *properties)
        self.addCleanup(session.close)
        session.start_daemon(build="1", meetingLive=True)
        wait("update that waits", lambda: session.shows(READY), 120)

    def expect_second(self):
        """The menu of build 2, once; whole and with nothing beside it."""
        session = self.session
        wait("menu of the second build", lambda: session.shows("(v0.2.0"))
        wait("one process", lambda: len(session.processes()) == 1)
        wait("nothing beside the bundle", lambda: session.rest() is None)
        self.assertEqual(session.build(), "2")
        helper = session.bundle / "Contents/MacOS/larkmoor-verify"
        judged = session.run(helper, "bundle", session.bundle, self.site.key)
        self.assertEqual((judged.returncode, judged.stderr), (0, ""))

    def staged(self):
        return self.session.bundle.with_name(".Larkmoor.app.update") / "staged.app"

    def spoil(self, program):
        """What is staged is another update of ours, whose program is this script."""
        (self.staged() / "Contents/MacOS/larkmoor-menubar").write_text(f"#!/bin/sh\n{program}\n")
        self.site.seal(self.staged(), "--key", self.site.folder / "key")


class Update(Case):
    def setUp(self):
        self.begin()

    def test_it_waits_for_a_call_and_goes_in_at_a_click(self):
        session = self.session
        self.assertEqual((session.build(), session.rest()), ("1", ["staged.app"]))
        session.tray("click", READY)
        self.expect_second()
        # The very process that was started, for whoever waits for it.
        self.assertEqual(session.processes(), [session.application.pid])
        session.application.send_signal(signal.SIGTERM)
        self.assertEqual(session.application.wait(timeout=60), 0)

    def test_what_waits_goes_in_at_the_start_after_the_end_of_the_session(self):
        for number in (signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number):
                session = self.session
                session.application.send_signal(number)
                self.assertEqual(session.application.wait(timeout=60), 0)
                self.assertEqual((session.build(), session.rest()), ("1", ["record.json", "staged.app"]))
                session.application = session.start(BUNDLE / "Contents/MacOS/larkmoor-menubar")
                self.expect_second()
                self.assertEqual(session.processes(), [session.application.pid])
            if number != signal.SIGHUP:
                self.begin()

    def test_a_start_in_the_moment_of_the_last_end_is_the_new_build(self):
        session = self.session
        session.application.send_signal(signal.SIGTERM)
        late = session.start(BUNDLE / "Contents/MacOS/larkmoor-menubar")
        self.assertEqual(session.application.wait(timeout=60), 0)
        session.application = late
        self.expect_second()
        items = Path(session.folder.name) / ".config/autostart"
        wait("login item", lambda: any(f'"{session.bundle}/' in item.read_text() for item in items.glob("*")))

    def test_a_start_without_a_session_tells_nothing_of_the_update(self):
        session = self.session
        session.application.send_signal(signal.SIGTERM)
        session.application.wait(timeout=60)
        lost = session.run(session.bundle / "Contents/MacOS/larkmoor-menubar", DBUS_SESSION_BUS_ADDRESS="unix:path=/none")
        self.assertEqual((lost.returncode, lost.stderr.count("there is no session bus")), (1, 1))
        self.assertEqual((session.build(), session.rest()), ("1", ["staged.app"]))

    def test_an_update_that_dies_at_once_is_taken_back(self):
        def quit_and_start(session):
            session.application.send_signal(signal.SIGTERM)
            session.application.wait(timeout=60)
            session.application = session.start(BUNDLE / "Contents/MacOS/larkmoor-menubar")

        for end in (quit_and_start, lambda session: session.tray("click", READY)):
            session = self.session
            self.spoil("exit 1")
            end(session)
            self.assertEqual(session.application.wait(timeout=90), 1)
            wait("menu of the first build", lambda: session.shows("(v0.1.0"))
            self.assertEqual((session.build(), session.rest()), ("1", ["failed.json"]))
            if end is quit_and_start:
                self.begin()

    def test_what_was_touched_while_it_waited_is_refused(self):
        session = self.session
        (self.staged() / "Contents/Resources/more").touch()
        session.tray("click", READY)
        wait("nothing beside the bundle", lambda: not session.rest())
        self.assertEqual((session.build(), session.application.poll()), ("1", None))
        self.assertTrue(session.shows("(v0.1.0"))

    def test_two_starts_in_the_moment_of_the_exchange_are_one_application(self):
        session = self.session
        session.tray("click", READY)
        end = time.monotonic() + 5
        starts = []
        while time.monotonic() < end and len(starts) < 12:
            starts.append(session.start(BUNDLE / "Contents/MacOS/larkmoor-menubar"))
            time.sleep(0.2)
        self.expect_second()
        session.end(*(start for start in starts if start.pid not in session.processes()))


@unittest.skipUnless(os.environ.get("LARKMOOR_CGROUPS"), "no control groups of the tester's own")
class Unit(Case):
    def test_it_keeps_its_application(self):
        """Whether it ends with its first process or with its last."""
        for properties in ((), ("ExitType=cgroup",)):
            with self.subTest(properties):
                self.begin(UpdatedUnit, *properties)
                first = self.session.processes()
                self.session.tray("click", READY)
                self.expect_second()
                self.assertEqual((self.session.processes(), self.session.unit()), (first, "active"))

    def test_it_has_the_first_build_again_if_the_update_dies(self):
        """Even if it ends with the update, and its watcher with it: a start is of the first build then."""
        for properties in ((), ("Restart=on-failure",), ("ExitType=cgroup",)):
            with self.subTest(properties):
                self.begin(UpdatedUnit, *properties)
                session = self.session
                self.spoil("sleep 1; exit 1")
                session.tray("click", READY)
                wait("first build", lambda: session.build() == "1" and session.rest() == ["failed.json"])
                if not properties:
                    wait("end of the unit", lambda: session.unit() == "inactive" and not session.processes())
                    session.start(BUNDLE / "Contents/MacOS/larkmoor-menubar")
                wait("menu of the first build", lambda: session.shows("(v0.1.0"))
                self.assertEqual((len(session.processes()), session.unit()), (1, "active"))


unittest.main(argv=sys.argv[:1], verbosity=2)
