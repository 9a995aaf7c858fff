"""The whole application under a real user manager: the daemon registered and healed, quit and brought back.

usage: supervision_test.py LARKMOOR.APP UNDERSTUDY-DAEMON UNDERSTUDY-SETTINGS LARKMOOR-TRAY
$LARKMOOR_LAUNCHER, if set, is the command that the application is launched with, such as valgrind.
"""
import os
import plistlib
import signal
import subprocess
import sys
import time
import unittest
from pathlib import Path

from desktop_session import GATEWAY, wait
from managed_session import SETTINGS_ID, UNIT, ManagedSession

BUNDLE, UNDERSTUDY, SETTINGS, TRAY = (Path(argument) for argument in sys.argv[1:5])

REGISTERED = ("registered login item with SMAppService", "registered daemon agent with SMAppService")
RELEASED = "quit released by a user gesture — kickstarting the daemon (m:505)"


@unittest.skipUnless(os.environ.get("LARKMOOR_CGROUPS"), "no control groups of the tester's own")
class Supervision(unittest.TestCase):
    def setUp(self):
        self.session = ManagedSession(BUNDLE, UNDERSTUDY, TRAY, SETTINGS)
        self.addCleanup(self.session.close)

    def first_launch(self):
        self.session.launch()
        self.session.expect_said(*REGISTERED)
        self.session.expect("Recording")
        return self.session.daemon_pid()

    def launch_again(self):
        """Nothing is said then; what comes within a second would be seen."""
        self.session.end_application()
        self.session.launch()
        self.session.expect("Recording")
        time.sleep(1)
        self.session.expect_said()

    def quit(self):
        self.assertEqual(self.session.tray("click", "Quit").returncode, 0)
        self.assertEqual(self.session.application.wait(timeout=30), 0, self.session.log_file.read_text())

    def test_the_agent_is_registered_once_for_each_version_and_kept(self):
        session = self.session
        first = self.first_launch()
        self.assertTrue((session.home / ".config/autostart/tools.fenwright.larkmoor.menubar.desktop").exists())
        wait("warm-up", (session.support / "warmed-build").exists)
        self.launch_again()
        self.assertEqual(session.daemon_pid(), first)

        os.kill(first, signal.SIGKILL)
        wait("another daemon", lambda: session.daemon_pid() not in (0, first))
        session.expect("Recording")
        session.expect_said()
        second = session.daemon_pid()
        session.end_application()
        session.change_list(EnvironmentVariables={"A": "1"})
        session.launch()
        session.expect_said("daemon agent definition changed — unregistered the stale registration", REGISTERED[1])
        session.expect("Recording")
        self.assertNotEqual(session.daemon_pid(), second)
        self.launch_again()

        # A daemon that outlived an update.
        older = session.daemon_pid()
        session.order("SetBuild", "string:0")
        session.end_application()
        session.launch()
        ours = plistlib.loads((session.bundle / "Contents/Info.plist").read_bytes())["CFBundleVersion"]
        session.expect_said(f"the daemon is on build 0 and this app is on {ours} — kickstarting gui/{os.getuid()}/{GATEWAY} "
                            "so the family runs one version (m:955)")
        wait("daemon of this build", lambda: session.daemon_pid() not in (0, older))
        session.expect("Recording")
        self.launch_again()

        session.end_application()
        session.systemctl("mask", "--runtime", "--now", UNIT)
        session.launch()
        session.expect_said("daemon agent job missing from the gui domain — unregistered the stale registration", REGISTERED[1])
        session.expect("Recording")

    def test_what_is_registered_ends_when_it_is_taken_back(self):
        session = self.session
        host, environment = "tools.fenwright.larkmoor.ollama", {"OLLAMA_MODELS": "/", "LLAMA_ARG_CACHE_RAM": "256"}
        (session.home / f"Library/LaunchAgents/{host}.plist").write_bytes(plistlib.dumps(
            {"Label": host, "ProgramArguments": ["/bin/sleep", "1000"], "RunAtLoad": True, "EnvironmentVariables": environment}))
        units, program, run = (UNIT, f"{host}.service"), session.bundle / "Contents/MacOS/larkmoor-menubar", session.home / "run"

        def unregister(status):
            """As a removal does: without the session's variables, and when its bus is gone."""
            (run / "bus").rename(run / "no-bus")
            done = subprocess.run([program, "--unregister"], env={"HOME": str(session.home), "XDG_RUNTIME_DIR": str(run)},
                                  capture_output=True, text=True)
            (run / "no-bus").rename(run / "bus")
            self.assertEqual(done.returncode, status, done.stderr)
            self.assertEqual([each.name for each in session.home.rglob("tools.fenwright.*") if each.suffix != ".plist"], [])
            return done.stderr

        for folder in (".config", "folder of the session's own"):
            session.environment["XDG_CONFIG_HOME"] = str(session.home / folder)
            self.first_launch()
            wait("model host", lambda: session.systemctl("is-active", "--quiet", *units).returncode == 0)
            unregister(0)
            self.assertEqual(session.application.wait(timeout=30), 0)
            self.assertEqual(session.systemctl("list-unit-files", "--no-legend", *units).stdout, "")
            self.assertEqual(session.systemctl("is-active", *units).stdout, "inactive\n" * 2)
        # Where nothing of ours runs, the service manager knows the folder.
        entry = session.home / "elsewhere/autostart/tools.fenwright.larkmoor.menubar.desktop"
        entry.parent.mkdir(parents=True)
        entry.write_text(f'[Desktop Entry]\nExec="{program}"\n', encoding="utf-8")
        session.systemctl("set-environment", f"XDG_CONFIG_HOME={entry.parents[1]}")
        unregister(0)
        # A service manager that nobody can ask.
        self.first_launch()
        daemon = session.daemon_pid()
        (run / "systemd/private").rename(run / "systemd/no-private")
        self.assertIn(f"{UNIT} could not be stopped, and runs as process {daemon}: ", unregister(1))

    def test_the_persons_no_is_left_alone(self):
        session = self.session
        self.first_launch()
        session.end_application()
        session.systemctl("mask", "--now", UNIT)
        entry = session.home / ".config/autostart/tools.fenwright.larkmoor.menubar.desktop"
        with entry.open("a", encoding="utf-8") as file:
            file.write("Hidden=true\n")
        kept = entry.read_bytes()
        session.launch()
        session.expect_said(*(f"{name} needs approval in System Settings > Login Items (user disabled it)"
                              for name in ("login item", "daemon agent")))
        self.assertEqual(session.daemon_pid(), 0)
        self.assertEqual(entry.read_bytes(), kept)

    def test_a_loose_agent_is_healed_and_one_that_runs_is_not_restarted(self):
        session = self.session
        content = plistlib.loads(session.list.read_bytes())
        content["Program"] = str(session.bundle / content.pop("BundleProgram"))
        (session.home / f"Library/LaunchAgents/{GATEWAY}.plist").write_bytes(plistlib.dumps(content))
        session.list.unlink()
        session.launch()
        for line in (f"daemon agent plist is on disk but its job is NOT in gui/{os.getuid()} — re-bootstrapping (m:505)",
                     "daemon agent re-bootstrapped; recording is supervised again"):
            wait(line, lambda: f"[larkmoor-menu] {line}" in session.said())
        session.expect("Recording")
        first = session.daemon_pid()
        for verb in ("start", "stop"):
            session.end_application()
            session.systemctl(verb, UNIT)
            session.launch()
            session.expect("Recording")
            self.assertEqual(session.daemon_pid() == first, verb == "start")
            self.assertFalse(any("bootstrap" in line for line in session.said()), session.said())

    def test_a_quit_daemon_stays_down_until_a_gesture(self):
        session = self.session
        first = self.first_launch()
        wait("warm-up", (session.support / "warmed-build").exists)
        self.quit()
        self.assertTrue((session.support / "quit-requested").exists())
        wait("end of the daemon", lambda: session.daemon_pid() == 0)
        time.sleep(2)
        self.assertEqual(session.daemon_pid(), 0)
        session.launch()
        self.assertEqual((session.home / "hooked").read_text(), "--harness claude-code\n")
        session.expect("Recording")
        session.expect_said(RELEASED)
        self.assertNotEqual(session.daemon_pid(), first)

        # One that was stopped is loaded all the same: a launch and a menu start it, and nothing is registered for that.
        session.end_application()
        for gesture in (session.launch, lambda: session.tray("click", "Stats")):
            session.systemctl("stop", UNIT)
            gesture()
            wait("daemon", session.daemon_pid)
            session.expect("Recording")
            session.expect_said()
        session.systemctl("stop", UNIT)
        (session.support / "quit-requested").write_text("quit at some time\n")
        self.assertEqual(session.tray("click", "Stats").returncode, 0)
        session.expect("Recording")
        session.expect_said(RELEASED)

        # A daemon that hangs holds up no quit, nor does one that is down.
        hanging = session.daemon_pid()
        os.kill(hanging, signal.SIGSTOP)
        self.quit()
        os.kill(hanging, signal.SIGKILL)
        session.systemctl("stop", UNIT)
        session.launch()
        self.quit()

    def test_settings_are_opened_fronted_and_ended(self):
        session = self.session
        (session.support / "terms-agreed").unlink()
        session.launch()
        wait("journey", lambda: session.settings("Seen") == ["build onboarding"])
        wait("setup row", lambda: "Finish setting up Larkmoor…" in session.labels())
        session.tray("click", "Finish setting up Larkmoor…")
        wait("window in front", lambda: session.settings("Seen") == ["build onboarding", "front onboarding"])
        session.settings("FinishJourney")
        wait("stats row", lambda: "Stats" in session.labels())
        session.tray("click", "Stats")
        wait("stats", lambda: session.settings("Seen")[-1] == "open stats")
        session.tray("click", "Check for Update…")
        excuse = "Larkmoor couldn't check for updates. Please download the latest version from https://larkmoor.fenwright.tools"
        wait("answer to the check", lambda: session.alerts() == [excuse])
        self.quit()
        self.assertEqual(session.alerts(), [excuse, "Quit Larkmoor?"])
        wait("end of the settings", lambda: session.settings("Seen") is None)


unittest.main(argv=[sys.argv[0], *sys.argv[5:]], verbosity=2)
