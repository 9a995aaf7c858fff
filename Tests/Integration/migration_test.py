"""The whole application migrates a real store under a real user manager, and comes back from what goes wrong.

usage: migration_test.py LARKMOOR.APP UNDERSTUDY-DAEMON LARKMOOR-MIGRATOR LARKMOOR-TRAY SCRIPTS
"""
import json
import os
import shutil
import signal
import sqlite3
import subprocess
import sys
import unittest
from pathlib import Path

from desktop_session import wait
from managed_session import ManagedSession

BUNDLE, UNDERSTUDY, MIGRATOR, TRAY, SCRIPTS = (Path(argument) for argument in sys.argv[1:6])
KEY = "the key of this store, which nobody but daemon and Migrator ever hold"
FOR_GOOD = "Larkmoor couldn't update its data on this Mac. Tell RK."


class MigrationSession(ManagedSession):
    """With a store of the oldest version, a daemon that holds its key, and a Migrator that is sealed as the bundle is."""

    def __init__(self):
        super().__init__(BUNDLE, UNDERSTUDY, TRAY)
        self.store, self.ledger = self.support / "data.db", self.support / "migration-postponed.json"
        self.store.unlink()
        self.run_migrator("--make", "500")
        self.before = self.dump(self.store)

    def make_bundle(self):
        super().make_bundle()
        (self.home / "daemon.json").write_text(json.dumps({"storeKey": KEY}), encoding="utf-8")
        shutil.copy(MIGRATOR, self.bundle / "Contents/MacOS/larkmoor-migrator")
        self.seal("key")

    def seal(self, name):
        key = self.home / name
        if not key.exists():
            subprocess.run([SCRIPTS / "seal", "--new-key", key], check=True, stdout=subprocess.DEVNULL)
        subprocess.run([SCRIPTS / "seal", self.bundle, "--key", key], check=True)

    def run_migrator(self, *words):
        subprocess.run([MIGRATOR, "--db", self.store, *words, "--key-from-stdin"], env=self.environment, input=KEY, text=True,
                       check=True, stdout=subprocess.DEVNULL)

    def trouble(self, **trouble):
        """What the Migrator meets from now on; nothing without words."""
        scenario = {"troubles": [trouble]} if "at" in trouble else trouble
        (self.home / "larkmoor-migrator.json").write_text(json.dumps(scenario), encoding="utf-8")

    @staticmethod
    def dump(store):
        database = sqlite3.connect(f"file:{store}?mode=ro", uri=True)
        try:
            return [*database.iterdump(), database.execute("PRAGMA user_version").fetchone()]
        finally:
            database.close()

    def version(self):
        return self.dump(self.store)[-1][0]

    def latch(self):
        return self.support / "data.db.migration-in-progress"

    def logs(self):
        return sorted(self.support.glob("data.db.migrate.*.log"))

    def backups(self):
        return sorted(self.support.glob("data.db.backup-*"))

    def reaches(self, point):
        wait(f"{point} in the log of the apply", lambda: any(f"AT      {point}\n" in log.read_text() for log in self.logs()))

    def expect_launch_line(self, *words):
        """The line of a run, which is its end."""
        def has():
            return any("migrations at launch · build 1 · " in line and all(word in line for word in words) for line in self.lines())
        wait(lambda: f"{words}, but {self.lines()}", has)

    def records(self):
        return json.loads(self.ledger.read_text(encoding="utf-8"))["postponed"]

    def rows(self):
        """What somebody sees who opens the menu: a click does, on a row that is off, too."""
        self.tray("click", FOR_GOOD)
        return self.labels()

    def kill_application(self):
        self.application.kill()
        self.application.wait()

    def kill_migrator(self):
        os.kill(int(self.latch().read_text().split()[1]), signal.SIGKILL)

    def questions_for_key(self):
        answer = self.order("Log")
        assert answer.returncode == 0, answer.stderr
        return answer.stdout.count("storeKeyForMigration")


@unittest.skipUnless(os.environ.get("LARKMOOR_CGROUPS"), "no control groups of the tester's own")
class Migration(unittest.TestCase):
    def setUp(self):
        self.session = MigrationSession()
        self.addCleanup(self.session.close)

    def expect_green(self):
        session = self.session
        session.expect_launch_line("pending 3", "applied 3 steps")
        session.expect("Recording")
        session.run_migrator("--floor")
        self.assertFalse(session.latch().exists())
        self.assertNotIn("Migrate now", session.rows())

    def test_a_store_is_migrated_with_the_daemon_down(self):
        session = self.session
        session.launch()
        self.expect_green()
        self.assertEqual([session.dump(backup) for backup in session.backups()], [session.before])
        self.assertEqual(len(session.logs()), 1)
        self.assertFalse(session.ledger.exists())
        session.end_application()
        first = session.daemon_pid()
        session.launch()
        session.expect_launch_line("pending 0", "nothing pending")
        self.assertEqual(session.daemon_pid(), first)

    def test_a_failed_step_is_undone_and_not_tried_again_unasked(self):
        session = self.session
        session.trouble(at="step 2", exit=1)
        session.launch()
        session.expect_launch_line("pending 3", "red, postponed for build 1")
        wait("words", lambda: FOR_GOOD in session.rows())
        session.expect("Recording")
        self.assertEqual(session.dump(session.store), session.before)
        self.assertFalse(session.latch().exists())
        [record] = session.records()
        [backup], [log] = session.backups(), session.logs()
        because = f"a migration step failed on 3 pending step(s) (exit 1); the store was restored from {backup} ("
        self.assertEqual(record["because"][:len(because)], because)
        self.assertEqual((record["version"], record["backup"], record["log"]), ("1", str(backup), str(log)))

        session.end_application()
        asked = session.questions_for_key()
        session.launch()
        session.expect_launch_line("pending - · plan - ms", "(standing marker)")
        self.assertEqual(session.questions_for_key(), asked)
        session.trouble()
        session.tray("click", "Migrate now")
        wait("answer", lambda: "Larkmoor updated its data." in session.alerts())
        self.expect_green()
        self.assertEqual(session.records(), [])
        self.assertNotIn(FOR_GOOD, session.labels())

    def test_a_killed_migration_is_undone_and_done_again(self):
        session = self.session
        session.trouble(at="step 2", hang=True)
        session.launch()
        session.reaches("step 2")
        session.kill_application()
        session.launch()
        session.expect_launch_line("retriable: a Migrator (pid ", "is still migrating this store; nothing was touched")
        self.assertEqual(session.daemon_pid(), 0)
        session.kill_application()
        session.kill_migrator()
        self.assertEqual(session.version(), 2)
        session.trouble()
        session.launch()
        session.expect_launch_line("restored", "after a killed migration")
        self.expect_green()
        self.assertEqual([session.dump(backup) for backup in session.backups()], [session.before] * 2)

    def test_a_quit_lets_it_come_to_its_end(self):
        session = self.session
        session.trouble(at="step 2", pauseMilliseconds=5000)
        session.launch()
        session.reaches("step 2")
        session.tray("click", "Quit")
        wait("the row's words", lambda: "Quits when the data is updated…" in session.labels())
        self.assertEqual(session.application.wait(timeout=60), 0)
        session.run_migrator("--floor")
        self.assertFalse(session.latch().exists())
        wait("end of the daemon", lambda: session.daemon_pid() == 0)

    def test_a_failed_floor_is_undone_and_told_before_an_end_that_waited(self):
        session = self.session
        session.trouble(troubles=[{"at": "step 3", "pauseMilliseconds": 3000}, {"at": "floor", "exit": 1}])
        session.launch()
        session.reaches("step 3")
        session.end_application()
        self.assertEqual(session.dump(session.store), session.before)
        self.assertFalse(session.latch().exists())
        self.assertEqual([record["version"] for record in session.records()], ["1"])
        self.assertIn("red, postponed for build 1", session.order("Log").stdout)


unittest.main(argv=[sys.argv[0], *sys.argv[6:]], verbosity=2)
