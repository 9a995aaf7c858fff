"""The whole application over homes that a harness's files lie in: what its launch repairs, what it leaves, and what
waits for Claude's end.

usage: converge_test.py LARKMOOR.APP
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from desktop_session import leave_out_models, wait

BUNDLE = Path(sys.argv[1])
INFO = """<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>CFBundleIdentifier</key><string>com.anthropic.claudefordesktop</string></dict></plist>
"""


class Launches(unittest.TestCase):
    def setUp(self):
        self.home = Path(self.enterContext(tempfile.TemporaryDirectory(prefix="larkmoor."))).resolve()
        self.bundle = self.home / "Larkmoor.app"
        shutil.copytree(BUNDLE, self.bundle)
        for name in ("larkmoor-hook", "larkmoor-mcp"):
            (self.bundle / "Contents/MacOS" / name).touch()
        (self.home / "Library/Logs").mkdir(parents=True)
        leave_out_models(self.home)
        self.hook = f"{self.bundle}/Contents/MacOS/larkmoor-hook --harness claude-code"
        self.settings = self.write(".claude/settings.json", {"hooks": {"UserPromptSubmit": [{"hooks": [{"command": self.hook}]}]}})
        bus = self.start("dbus-daemon", "--session", "--nofork", f"--address=unix:path={self.home}/bus", "--print-address=1",
                         stdout=subprocess.PIPE)
        self.addCleanup(bus.stdout.close)
        self.environment = dict(os.environ, HOME=str(self.home), DBUS_SESSION_BUS_ADDRESS=bus.stdout.readline().decode().strip())

    def start(self, *command, **options):
        process = subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL, **options)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def launch(self):
        with (self.home / "log").open("a") as log:
            return self.start(self.bundle / "Contents/MacOS/larkmoor-menubar", env=self.environment, stdout=subprocess.DEVNULL,
                              stderr=log)

    def quit(self, application):
        application.terminate()
        self.assertEqual(application.wait(timeout=60), 0)

    def write(self, name, content):
        path = self.home / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(json.dumps(content), encoding="utf-8")
        return path

    def said(self):
        lines = (self.home / "log").read_text(encoding="utf-8").splitlines()
        return [line for line in lines if "converge (m:1474, m:1613)" in line]

    def commands(self):
        groups = json.loads(self.settings.read_text())["hooks"]["UserPromptSubmit"]
        return [entry["command"] for group in groups for entry in group["hooks"]]

    def test_stale_wiring_is_repaired_once_and_the_retirement_waits_for_claudes_end(self):
        servers = self.write(".claude.json", {"numStartups": 7})
        chat = {"mcpServers": {"mine": {"command": "mine"},
                               "lark": {"command": "/Applications/Larkmoor.app/Contents/MacOS/larkmoor-mcp"}}}
        config = self.write("Library/Application Support/Claude/claude_desktop_config.json", chat)
        program = self.home / "Claude.app/Contents/MacOS/claude"
        program.parent.mkdir(parents=True)
        (program.parent.parent / "Info.plist").write_text(INFO)
        shutil.copy("/bin/sleep", program)
        claude = self.start(program, "1000")
        application = self.launch()
        # All of a launch's words come together, at its end.
        wait("word of the repair", self.said)
        self.assertEqual(len(self.said()), 1)
        self.assertIn("[larkmoor-menu] converge (m:1474, m:1613): Claude Code → changed: ", self.said()[0])
        self.assertTrue(self.said()[0].endswith(f"; {self.settings}: the Larkmoor entry was written to this file; "
                                                f"{servers}: the Larkmoor entry was written to this file"), self.said())
        self.assertEqual(self.commands(), [f"{self.hook} --slot {slot}" for slot in ("rules", "index", "recall")])
        self.assertEqual(json.loads(servers.read_text())["mcpServers"]["larkmoor"]["command"],
                         f"{self.bundle}/Contents/MacOS/larkmoor-mcp")
        self.assertEqual(json.loads(config.read_text()), chat)
        claude.kill()
        claude.wait()
        wait("word of the retirement", lambda: len(self.said()) > 1)
        self.assertIn(f"Claude Chat retirement → changed: {config}.larkmoor-backup-", self.said()[1])
        self.assertTrue(self.said()[1].endswith(f'{config}: the Larkmoor entry "lark" was removed from this file'))
        self.assertEqual(json.loads(config.read_text()), {"mcpServers": {"mine": {"command": "mine"}}})
        self.quit(application)
        # A second launch has nothing to repair. The retirement is the last thing that it looks at.
        config.write_text(json.dumps(chat))
        before = {path: path.read_bytes() for path in (servers, *self.settings.parent.iterdir())}
        application = self.launch()
        wait("word of the second retirement", lambda: len(self.said()) > 2)
        self.assertIn("Claude Chat retirement → changed", self.said()[2])
        self.assertEqual({path: path.read_bytes() for path in (servers, *self.settings.parent.iterdir())}, before)
        self.quit(application)

    def test_two_starts_at_once_leave_one_whole_wiring(self):
        starts = [self.launch(), self.launch()]
        wait("word of the repair", self.said)
        wait("end of one of them", lambda: any(start.poll() is not None for start in starts))
        self.assertEqual(len(self.said()), 1)
        self.assertEqual(len(self.commands()), 3)
        self.assertEqual([path for path in self.settings.parent.iterdir() if path.suffix == ".tmp"], [])


unittest.main(argv=sys.argv[:1], verbosity=2)
