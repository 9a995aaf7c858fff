"""The whole application over homes that a harness's files lie in: what its launch repairs, what it leaves, and what
waits for Claude's end.

usage: converge_test.py LARKMOOR.APP
"""
import ctypes
import json
import os
import select
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from desktop_session import wait

BUNDLE = Path(sys.argv[1])
CHAT = "Library/Application Support/Claude/claude_desktop_config.json"
LIBC = ctypes.CDLL(None)
CLOSED_UNCHANGED = 0x10  # inotify's IN_CLOSE_NOWRITE
INFO = """<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>CFBundleIdentifier</key><string>com.anthropic.claudefordesktop</string></dict></plist>
"""


class Launches(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory(prefix="larkmoor.")
        cls.addClassCleanup(cls.folder.cleanup)
        cls.bundle = Path(cls.folder.name, "Larkmoor.app").resolve()
        shutil.copytree(BUNDLE, cls.bundle)
        for name in ("larkmoor-hook", "larkmoor-mcp"):
            (cls.bundle / "Contents/MacOS" / name).touch()
        cls.hook = f"{cls.bundle}/Contents/MacOS/larkmoor-hook --harness claude-code"

    def setUp(self):
        self.home_folder = tempfile.TemporaryDirectory(prefix="larkmoor.")
        self.addCleanup(self.home_folder.cleanup)
        self.home = Path(self.home_folder.name).resolve()
        (self.home / "Library/Logs").mkdir(parents=True)
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", f"--address=unix:path={self.home}/bus", "--print-address=1"],
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.addCleanup(self.end, bus)
        self.environment = dict(os.environ, HOME=str(self.home), DBUS_SESSION_BUS_ADDRESS=bus.stdout.readline().strip())
        self.log = self.home / "log"

    @staticmethod
    def end(process):
        if process.poll() is None:
            process.kill()
        process.wait()
        if process.stdout:
            process.stdout.close()

    def launch(self):
        log = self.log.open("a")
        self.addCleanup(log.close)
        application = subprocess.Popen([str(self.bundle / "Contents/MacOS/larkmoor-menubar")], env=self.environment,
                                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=log)
        self.addCleanup(self.end, application)
        wait("name on the bus", lambda: "tools.fenwright.larkmoor.menubar" in subprocess.run(
            ["dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/", "org.freedesktop.DBus.ListNames"],
            env=self.environment, capture_output=True, text=True).stdout)
        return application

    def launch_and_quit(self):
        """A launch that has looked at the chat application's configuration, which is the last thing that it looks at."""
        watch = LIBC.inotify_init1(os.O_NONBLOCK | os.O_CLOEXEC)
        self.addCleanup(os.close, watch)
        LIBC.inotify_add_watch(watch, os.fsencode(self.home / CHAT), CLOSED_UNCHANGED)
        application = self.launch()
        wait("look at the last file", lambda: select.select([watch], [], [], 0)[0])
        self.quit(application)

    def quit(self, application):
        application.terminate()
        self.assertEqual(application.wait(timeout=60), 0)

    def write(self, name, text):
        path = self.home / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
        return path

    def said(self):
        return [line for line in self.log.read_text(encoding="utf-8").splitlines() if "converge (m:1474, m:1613)" in line]

    def harness_files(self):
        return {path.relative_to(self.home): path.read_bytes()
                for root in (".claude", "Library/Application Support/Claude") for path in (self.home / root).rglob("*") if path.is_file()}

    def test_stale_wiring_is_repaired_once_and_logged(self):
        settings = self.write(".claude/settings.json", json.dumps({"model": "x", "hooks": {"UserPromptSubmit": [
            {"hooks": [{"type": "command", "command": self.hook, "timeout": 3}]}]}}))
        servers = self.write(".claude.json", '{"numStartups":7}')
        self.write(CHAT, "{}")
        application = self.launch()
        wait("word of the repair", self.said)
        self.quit(application)
        line = self.said()[0]
        self.assertTrue(line.endswith(f"; {settings}: the Larkmoor entry was written to this file; "
                                      f"{servers}: the Larkmoor entry was written to this file"), line)
        self.assertIn("[larkmoor-menu] converge (m:1474, m:1613): Claude Code → changed: ", line)
        commands = [entry["command"] for group in json.loads(settings.read_text())["hooks"]["UserPromptSubmit"]
                    for entry in group["hooks"]]
        self.assertEqual(commands, [f"{self.hook} --slot {slot}" for slot in ("rules", "index", "recall")])
        self.assertEqual(json.loads(servers.read_text())["mcpServers"]["larkmoor"]["command"],
                         f"{self.bundle}/Contents/MacOS/larkmoor-mcp")
        after = self.harness_files()
        self.launch_and_quit()
        self.assertEqual(len(self.said()), 1)
        self.assertEqual(self.harness_files(), after)

    def test_a_home_that_was_never_connected_is_not_touched(self):
        self.write(".claude/settings.json", '{"hooks":{"UserPromptSubmit":[{"hooks":[{"command":"mine"}]}]}}')
        self.write(CHAT, '{"mcpServers":{"a":{"command":"mine"}}}')
        before = self.harness_files()
        self.launch_and_quit()
        self.assertEqual(self.harness_files(), before)
        self.assertEqual(self.said(), [])
        self.assertFalse((self.home / "Library/Application Support/Larkmoor/Connectors").exists())

    def test_two_starts_at_once_leave_one_whole_wiring(self):
        settings = self.write(".claude/settings.json", json.dumps({"hooks": {"UserPromptSubmit": [
            {"hooks": [{"type": "command", "command": self.hook, "timeout": 3}]}]}}))
        starts = [subprocess.Popen([str(self.bundle / "Contents/MacOS/larkmoor-menubar")], env=self.environment,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=self.log.open("a")) for _ in range(2)]
        for start in starts:
            self.addCleanup(self.end, start)
        wait("word of the repair", self.said)
        wait("end of one of them", lambda: any(start.poll() is not None for start in starts))
        self.assertEqual(len(self.said()), 1)
        self.assertEqual(len(json.loads(settings.read_text())["hooks"]["UserPromptSubmit"][0]["hooks"]), 3)
        self.assertEqual([path for path in (self.home / ".claude").iterdir() if path.suffix == ".tmp"], [])

    def test_the_retirement_waits_for_claudes_end(self):
        mine = {"command": "mine"}
        config = self.write(CHAT, json.dumps({"mcpServers": {
            "mine": mine, "lark": {"command": "/Applications/Larkmoor.app/Contents/MacOS/larkmoor-mcp"}}}))
        before = config.read_bytes()
        self.write("Claude.app/Contents/Info.plist", INFO)
        program = self.home / "Claude.app/Contents/MacOS/claude"
        program.parent.mkdir()
        shutil.copy("/bin/sleep", program)
        claude = subprocess.Popen([str(program), "1000"])
        self.addCleanup(self.end, claude)
        self.write(".claude/settings.json", json.dumps({"hooks": {"UserPromptSubmit": [{"hooks": [{"command": self.hook}]}]}}))
        application = self.launch()
        # All of a launch's words come together, at its end.
        wait("word of another repair", self.said)
        self.assertEqual(config.read_bytes(), before)
        self.assertEqual(len(self.said()), 1)
        claude.kill()
        claude.wait()
        wait("word of the retirement", lambda: len(self.said()) > 1)
        self.assertIn(f'Claude Chat retirement → changed: {config}.larkmoor-backup-', self.said()[1])
        self.assertTrue(self.said()[1].endswith(f'{config}: the Larkmoor entry "lark" was removed from this file'))
        self.assertEqual(json.loads(config.read_text()), {"mcpServers": {"mine": mine}})
        self.quit(application)


unittest.main(argv=sys.argv[:1], verbosity=2)
