"""Scripts/run at a bare terminal, whole: what a person sees there, what keys do, and that nothing stays behind.

usage: run_test.py RUN-IN-OWN-HOME BUILD_FOLDER
"""
import os
import pty
import re
import select
import signal
import sys
import tempfile
import time
import unittest
from pathlib import Path

SCRIPT, BUILD = sys.argv[1:3]
OF_A_DESKTOP = ("DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS")


class Terminal:
    def __init__(self, *options):
        self.folder = tempfile.TemporaryDirectory()
        environment = {key: value for key, value in os.environ.items() if key not in OF_A_DESKTOP}
        # Where these lead is the person's own, and nothing may be written there.
        environment.update({name: "/nonexistent" for name in ("XDG_CONFIG_HOME", "XDG_DATA_HOME")})
        environment["TMPDIR"] = self.folder.name
        self.process, self.end = pty.fork()
        if self.process == 0:
            # As at a terminal, even if whoever runs the tests runs them behind its back.
            for number in (signal.SIGINT, signal.SIGHUP, signal.SIGTERM):
                signal.signal(number, signal.SIG_DFL)
            os.execve(SCRIPT, [SCRIPT, BUILD, *options], environment)
        self.bytes = b""

    def screen(self):
        """The lines of the last picture, without their paint."""
        return re.sub(r"\x1b\[[0-9;?]*[A-Za-z]", "", self.bytes.decode(errors="ignore").split("\x1b[H")[-1]).split("\r\n")

    def until(self, reached, what, seconds=60):
        """The limit is there for tests that fail."""
        end = time.monotonic() + seconds
        while not reached():
            if time.monotonic() > end:
                raise AssertionError(f"no {what} on the screen {self.screen()} or among {self.processes()}")
            if select.select([self.end], [], [], 0.1)[0]:
                try:
                    self.bytes += os.read(self.end, 65536)
                except OSError:  # the other end is closed
                    time.sleep(0.1)

    def expect(self, words, seconds=60):
        self.until(lambda: any(words in line for line in self.screen()), words, seconds)

    def expect_process(self, name):
        self.until(lambda: name in self.processes(), name)

    def expect_in_menu(self, words):
        """Each opening asks the daemon anew, but for one that comes while a pass is under way: keys are faster than hands."""
        for _ in range(10):
            self.press("\r")
            try:
                return self.expect(words, 5)
            except AssertionError:
                self.press("\x1b")
        raise AssertionError(f"no {words!r} in the menu: {self.screen()}")

    def press(self, keys):
        os.write(self.end, keys.encode())

    def click(self, row):
        """Opens the menu and presses the row's number."""
        self.press("\r")
        self.expect(row)
        line = next(line for line in self.screen() if row in line)
        self.press(re.search(r"\d", line)[0])

    def wait(self):
        def has_ended():
            process, status = os.waitpid(self.process, os.WNOHANG)
            self.status = os.waitstatus_to_exitcode(status)
            return process
        self.until(has_ended, "end")
        return self.status

    def processes(self):
        """What runs in a home of that folder."""
        found = []
        for process in Path("/proc").glob("[0-9]*"):
            try:
                if f"HOME={self.folder.name}/".encode() in (process / "environ").read_bytes():
                    found.append((process / "comm").read_text().strip())
            except OSError:
                pass
        return sorted(found)

    def close(self):
        if self.process:
            os.kill(self.process, signal.SIGTERM)
            self.wait()
        os.close(self.end)
        self.folder.cleanup()


class Run(unittest.TestCase):
    def terminal(self, *options):
        terminal = Terminal(*options)
        self.addCleanup(terminal.close)
        # From then on the rows stay where they are.
        terminal.expect("Larkmoor — remembering")
        return terminal

    def expect_end(self, terminal, status):
        self.assertEqual(terminal.wait(), status)
        self.assertEqual((terminal.processes(), os.listdir(terminal.folder.name)), ([], []))
        terminal.process = None

    def test_a_click_pauses_and_quit_ends_everything(self):
        terminal = self.terminal()
        if b"the models' setup plays against understudies" in terminal.bytes:
            terminal.expect_in_menu("Setting up local models  ▰▰")
            terminal.press("\x1b")
        else:
            self.assertIn(b"the models' setup is left out: ", terminal.bytes)
        terminal.click("• Pause 15 minutes")
        terminal.expect_in_menu("Resume Recording (auto ")
        terminal.press("\x1b")
        terminal.click("Settings")
        terminal.expect_process("larkmoor-settin")
        terminal.click("Quit")
        self.expect_end(terminal, 0)

    def test_the_first_run_begins_with_the_setup_and_every_end_ends_everything(self):
        for number, keys, status in ((0, "q", 0), (0, "\x03", 130), (signal.SIGHUP, "", 143), (signal.SIGTERM, "", 143)):
            with self.subTest(status=status, signal=number):
                terminal = self.terminal("--first-run")
                terminal.press("\r")
                terminal.expect("Finish setting up Larkmoor…")
                terminal.expect_process("larkmoor-settin")
                os.kill(terminal.process, number)
                terminal.press(keys)
                self.expect_end(terminal, status)


unittest.main(argv=sys.argv[:1], verbosity=2)
