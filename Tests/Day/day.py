"""See Scripts/day. usage: day.py BUILD_FOLDER SECOND_BUNDLE SCRIPTS OUTPUT_FOLDER MINUTES"""
import itertools
import json
import os
import plistlib
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time
import traceback
from functools import partial
from http.server import SimpleHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

from desktop_session import wait
from managed_session import UNIT, ManagedSession
from resident_plot import plot

BUILD, SECOND, SCRIPTS, OUTPUT = (Path(word).resolve() for word in sys.argv[1:5])
MINUTES = float(sys.argv[5])
TOOLS = BUILD / "Tools"
MIGRATOR = TOOLS / "understudy-migrator/larkmoor-migrator"
KEY = "the key of this store, which nobody but daemon and Migrator ever hold"
APPLICATION = "larkmoor-menuba"  # as the kernel cuts it
READY = "0.2.0 ready, installs after your call"
GRANTED = {"grants": dict.fromkeys(("screen_recording", "accessibility", "microphone"), "granted"), "hello": True}
HARNESSES = {
    ".claude/settings.json": '{\n  "model": "x",\n  "hooks": {"Stop": [{"hooks": [{"command": "mine"}]}]}\n}\n',
    ".claude.json": '{"numStartups": 7}\n',
    ".codex/config.toml": 'model = "x" # mine\r\n[mcp_servers.mine]\r\ncommand = "m"',
    ".cursor/hooks.json": '{"version": 1, "hooks": {"stop": [{"command": "mine"}]}}',
    ".cursor/mcp.json": '{\n\t"mcpServers": {"mine": {"command": "m"}}\n}\n',
    ".config/opencode/opencode.jsonc": '// mine\n{"theme": "x", /* here */ "mcp": {"mine": {"command": ["m"]}}}\n',
}
# What a day leaves in a home, beside the harnesses' files and their copies. The last line is the driver's own.
SUPPORT = "Library/Application Support/Larkmoor"
KEPT = (*(f"{SUPPORT}/{name}" for name in ("terms-agreed", "recovery-key-passed", "warmed-build", "quit-requested", "models/",
                                           "local-models-progress.json", "data.db")),
        "Library/Logs/", "Library/Preferences/", "Library/LaunchAgents/", ".config/autostart/", ".local/share/systemd/user/",
        ".config/systemd/user/default.target.wants/", "Larkmoor.app/",
        "run/", "application.log", "alerts", "hooked", "larkmoor-", "daemon", "host.")
PASSING = (".tmp", "-partial", "migration-in-progress", ".app.update", "data.db-", ".part")
ALLOWED = {"rss": 4096, "descriptors": 0, "threads": 0}


def publish(bundle, site, **facts):
    """Makes the bundle what the site's feed offers."""
    file = bundle / "Contents/Info.plist"
    file.write_bytes(plistlib.dumps({**plistlib.loads(file.read_bytes()), **facts}))
    subprocess.run([SCRIPTS / "make-update", bundle, "--key", site.key, "--url", site.url, site.folder], check=True)


class Site:
    class Handler(SimpleHTTPRequestHandler):
        def log_message(self, *_):
            pass

    def __init__(self, folder):
        self.folder, self.key = Path(folder), Path(folder, "key")
        server = ThreadingHTTPServer(("127.0.0.1", 0), partial(self.Handler, directory=folder))
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.url = f"http://127.0.0.1:{server.server_port}"
        self.public = subprocess.check_output([SCRIPTS / "seal", "--new-key", self.key], text=True).strip()


class Day(ManagedSession):
    """A bare home with four harnesses' files, build 1 in it, and a feed on this machine."""

    def __init__(self, site):
        self.site, self.rows, self.events, self.began = site, [], [], time.monotonic()
        super().__init__(BUILD / "Larkmoor.app", TOOLS / "understudy-daemon/larkmoor", TOOLS / "larkmoor-tray/larkmoor-tray",
                         BUILD / "larkmoor-settings")
        self.store = self.support / "data.db"

    def make_bundle(self):
        super().make_bundle()
        for receipt in ("terms-agreed", "recovery-key-passed", "data.db", "local-models-progress.json"):
            (self.support / receipt).unlink()
        (self.home / "tmp").mkdir()
        os.environ.update(TMPDIR=f"{self.home}/tmp", LARKMOOR_OLLAMA_SCENARIO=f"{self.home}/host.json")
        stage = ["bash", "-c", '. "$0" && models_stage "$@"', SCRIPTS / "lib/models.sh"]
        subprocess.run([*stage, TOOLS, self.bundle, self.home], check=True)
        programs = self.bundle / "Contents/MacOS"
        shutil.copy(programs / "larkmoor-hook", programs / "larkmoor-mcp")
        shutil.copy(MIGRATOR, programs)
        self.scenario("daemon", storeKey=KEY, build="1", grants={}, hello=False)
        self.scenario("daemon-2", storeKey=KEY, build="2", **GRANTED)
        # The first build has nothing to migrate.
        self.scenario("larkmoor-migrator", planOutput='{"steps":[{"id":"a","disposition":"applied"}]}')
        for name, text in HARNESSES.items():
            (self.home / name).parent.mkdir(parents=True, exist_ok=True)
            (self.home / name).write_bytes(text.encode())
        self.prefer(SUAutomaticallyUpdate=True, UpdateTestLane=True)

        self.second = self.site.folder / "second/Larkmoor.app"
        shutil.copytree(self.bundle, self.second)
        for program in (SECOND / "Contents/MacOS").iterdir():
            if program.name != "larkmoor-alert":
                shutil.copy(program, self.second / "Contents/MacOS")
        daemon = self.second / "Contents/MacOS/larkmoor"
        daemon.write_text(daemon.read_text().replace("daemon.json", "daemon-2.json"))
        publish(self.bundle, self.site, **self.facts("1", "0.1.0"))
        subprocess.run([SCRIPTS / "seal", self.bundle, "--key", self.site.key], check=True)

    def facts(self, build, version):
        return {"CFBundleVersion": build, "CFBundleShortVersionString": version, "SUFeedURL": f"{self.site.url}/appcast.xml",
                "SUPublicEDKey": self.site.public}

    def scenario(self, name, **content):
        (self.home / f"{name}.json").write_text(json.dumps(content), encoding="utf-8")

    def prefer(self, **preferences):
        file = self.home / "Library/Preferences/tools.fenwright.larkmoor.menubar.plist"
        file.parent.mkdir(exist_ok=True)
        # The application keeps something there too.
        file.write_bytes(plistlib.dumps((plistlib.loads(file.read_bytes()) if file.exists() else {}) | preferences))

    # What is looked at.

    def processes(self, name=None):
        """Of this home, whatever became of their files."""
        found = {}
        for process in Path("/proc").glob("[0-9]*"):
            try:
                if f"HOME={self.home}\0".encode() in (process / "environ").read_bytes() + b"\0":
                    found[int(process.name)] = (process / "comm").read_text().strip()
            except OSError:
                pass
        return sorted(pid for pid, comm in found.items() if comm == name) if name else found

    def figures(self):
        """What the application holds; KiB and milliseconds. None while it is not one process."""
        try:
            [pid] = self.processes(APPLICATION)
            process = Path("/proc", str(pid))
            sizes = {line.split()[0]: int(line.split()[1]) for line in (process / "smaps_rollup").read_text().splitlines()[1:]}
            ticks = (process / "stat").read_text().rpartition(")")[2].split()[11:13]
            return {"pid": pid, "rss": sizes["Rss:"], "pss": sizes["Pss:"],
                    "private": sizes["Private_Clean:"] + sizes["Private_Dirty:"], "descriptors": len(os.listdir(process / "fd")),
                    "threads": len(os.listdir(process / "task")), "cpu": sum(map(int, ticks)) * 1000 // os.sysconf("SC_CLK_TCK")}
        except (OSError, ValueError):
            return None

    def held(self):
        """At rest: after the threads and connections of the last work have ended."""
        time.sleep(15)
        return self.figures()

    def dump(self, store):
        database = sqlite3.connect(f"file:{store}?mode=ro", uri=True)
        try:
            return [*database.iterdump(), database.execute("PRAGMA user_version").fetchone()]
        finally:
            database.close()

    def run_migrator(self, *words):
        return subprocess.run([MIGRATOR, "--db", self.store, *words, "--key-from-stdin"], env=self.environment, input=KEY,
                              text=True, stdout=subprocess.DEVNULL).returncode

    def connectors(self, verb):
        return json.loads(subprocess.check_output([TOOLS / "larkmoor-connect/larkmoor-connect", verb, "--home", self.home,
                                                   "--bundle", self.bundle, "--json"]))

    def shows(self, words):
        return any(words in label for label in self.labels())

    def harness_files(self):
        return {path: path.read_bytes() for name in (".claude", ".codex", ".cursor", ".config/opencode", ".claude.json")
                for path in ([self.home / name] if (self.home / name).is_file() else sorted((self.home / name).rglob("*")))
                if path.is_file() and "larkmoor-backup" not in path.name}

    # The day.

    def note(self, words):
        minute = (time.monotonic() - self.began) / 60
        self.events.append((minute, words))
        print(f"{minute:6.1f} {words}", flush=True)

    def watch(self):
        """A row each minute, in a thread of its own."""
        for minute in itertools.count():
            time.sleep(max(0, self.began + minute * 60 - time.monotonic()))
            if now := self.figures():
                self.rows.append({"minute": minute, **now})

    def live(self):
        threading.Thread(target=self.watch, daemon=True).start()
        for share, part in ((0, self.first_run), (0.15, self.connect), (0.25, self.lose_daemon), (0.35, self.begin_call),
                            (0.55, self.end_call), (0.75, self.use), (0.8, self.lose_daemon), (0.97, self.quit)):
            time.sleep(max(0, self.began + share * MINUTES * 60 - time.monotonic()))
            part()

    def first_run(self):
        self.launch()
        self.note("first launch")
        wait("journey", lambda: self.settings("Seen") == ["build onboarding"], 180)
        wait("setup row", lambda: self.shows("Finish setting up Larkmoor…"), 120)
        wait("row of the models", lambda: self.shows("Setting up local models"), 180)
        assert self.run_migrator("--make", "500") == 0
        self.before = self.dump(self.store)
        self.scenario("daemon", storeKey=KEY, build="1", **GRANTED)
        wait("daemon", lambda: self.order("Subscribers").returncode == 0, 120)
        self.order("Apply", f"string:{json.dumps(GRANTED)}").check_returncode()
        self.settings("FinishJourney")
        wait("stats row", lambda: self.shows("Stats"), 120)
        self.expect("Recording")
        self.note("the journey is done")
        progress = self.support / "local-models-progress.json"
        wait("end of the models' pass",
             lambda: {row["state"] for row in json.loads(progress.read_text())["rows"]} == {"done"}, 600)
        wait("end of the models' row", lambda: not self.shows("Setting up local models"), 120)
        self.note("the models are set up")

    def connect(self):
        self.connectors("install")
        found = {harness["id"]: harness["state"] for harness in self.connectors("scan")}
        assert set(found.values()) == {"connected"} and len(found) == 4, found
        self.connected = self.harness_files()
        self.note("four harnesses are connected")
        self.first_rest = self.held()

    def lose_daemon(self):
        lost = self.daemon_pid()
        os.kill(lost, signal.SIGKILL)
        wait("another daemon", lambda: self.daemon_pid() not in (0, lost), 120)
        self.expect("Recording")
        self.note("the daemon was killed and is back")

    def begin_call(self):
        self.expect_no_growth(self.first_rest)
        self.order("SetMeetingLive", "boolean:true").check_returncode()
        (self.home / "larkmoor-migrator.json").unlink()
        publish(self.second, self.site, **self.facts("2", "0.2.0"))
        wait("update that waits", lambda: self.shows(READY), 300)
        # The second build looks once a day, as it is shipped.
        self.prefer(UpdateTestLane=False)
        self.note("the update waits for a call")

    def end_call(self):
        assert self.shows(READY) and self.build() == "1", self.labels()
        self.order("SetMeetingLive", "boolean:false").check_returncode()
        self.note("the call is over")
        wait("menu of the second build", lambda: self.shows("(v0.2.0"), 600)
        wait("nothing beside the bundle", lambda: not self.bundle.with_name(".Larkmoor.app.update").exists(), 120)
        # The second build is the same process, and its watcher has left it.
        wait(lambda: f"{self.application.pid} alone", lambda: self.processes(APPLICATION) == [self.application.pid], 120)
        self.note("the update is in")
        wait(lambda: f"migration, but {self.lines()}",
             lambda: any("build 2" in line and "applied 3 steps" in line for line in self.lines()), 300)
        self.expect("Recording")
        self.note("the store is migrated")
        self.second_rest = self.held()

    def use(self):
        for row, then in (("• Pause 15 minutes", "Resume Recording"), ("Resume Recording", "Recording")):
            label = next(label for label in self.labels() if row in label)
            self.tray("click", label)
            wait(then, lambda: self.shows(then), 120)
        self.tray("click", "Stats")
        wait("stats", lambda: (self.settings("Seen") or [""])[-1] == "open stats", 120)
        self.note("a pause, and the stats")

    def quit(self):
        self.expect_no_growth(self.second_rest)
        self.tray("click", "Quit")
        assert self.application.wait(timeout=120) == 0, self.application.returncode
        wait("end of its helpers", lambda: not self.processes(APPLICATION), 120)
        wait("end of the daemon", lambda: self.daemon_pid() == 0, 60)
        wait("end of the settings", lambda: self.settings("Seen") is None, 60)
        self.note("quit")

    def build(self):
        return plistlib.loads((self.bundle / "Contents/Info.plist").read_bytes())["CFBundleVersion"]

    def expect_no_growth(self, before):
        after = self.held()
        grown = {name: (before[name], after[name]) for name, allowed in ALLOWED.items() if after[name] > before[name] + allowed}
        assert not grown and before["pid"] == after["pid"], f"grown: {grown}, {before}, {after}"

    # Nothing lost, nothing left: each fault in words.

    def faults(self):
        yield from (f"lost: {path}" for path, content in self.connected.items() if self.harness_files().get(path) != content)
        self.connectors("remove")
        expected, now = {self.home / name: text.encode() for name, text in HARNESSES.items()}, self.harness_files()
        yield from (f"not as it was: {path}" for path in expected.keys() | now.keys() if expected.get(path) != now.get(path))
        if self.run_migrator("--floor"):
            yield "the store is not as its Migrator left it"
        backups = sorted(self.support.glob("data.db.backup-*"))
        if [self.dump(backup) for backup in backups] != [self.before]:
            yield f"the store's backups: {backups}"
        judged = self.run(self.bundle / "Contents/MacOS/larkmoor-verify", "bundle", self.bundle, self.site.public)
        if judged.returncode or self.build() != "2":
            yield f"the bundle: build {self.build()}, {judged.stderr}"
        files = [str(path.relative_to(self.home)) for path in self.home.rglob("*") if not path.is_dir() or path.is_symlink()]
        yield from (f"left: {name}" for name in files if "larkmoor-backup" not in name and self.home / name not in expected
                    and (not name.startswith(KEPT) or any(word in name for word in PASSING)))
        yield from (f"a person's hidden folder: {path}" for path in self.home.glob(".Larkmoor*"))
        yield from (f"process {pid}: {name}" for pid, name in self.processes().items()
                    if name.startswith("larkmoor") and name != "larkmoor-tray")

    def table(self):
        lines = ["minute  KiB resident  proportional  private  descriptors  threads  CPU ms"]
        last = {}
        for row in self.rows:
            spent = row["cpu"] - (last["cpu"] if last.get("pid") == row["pid"] else 0)
            happened = "; ".join(words for minute, words in self.events if row["minute"] - 1 < minute <= row["minute"])
            lines.append(f"{row['minute']:6} {row['rss']:13} {row['pss']:13} {row['private']:8} {row['descriptors']:12} "
                         f"{row['threads']:8} {spent:7}  {happened}".rstrip())
            last = row
        return "\n".join(lines) + "\n"

    def close(self):
        for pid in self.processes(APPLICATION):
            os.kill(pid, signal.SIGKILL)
        super().close()


def main():
    OUTPUT.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="larkmoor-site.") as folder:
        day = Day(Site(folder))
        try:
            day.live()
            faults = list(day.faults())
        except BaseException as fault:
            traceback.print_exc()
            print(day.tray("show").stdout, *day.lines(), sep="\n")
            print(day.systemctl("status").stdout, day.systemctl("status", UNIT).stdout, day.order("Log"))
            faults = [f"broken off: {fault!r}"]
        finally:
            (OUTPUT / "table.txt").write_text(day.table(), encoding="utf-8")
            (OUTPUT / "resident.svg").write_text(plot(day.rows, day.events), encoding="utf-8")
            if day.log_file.exists():
                shutil.copy(day.log_file, OUTPUT)
            print(day.table())
            day.close()
    faults += [f"process {pid} after the session: {name}" for pid, name in day.processes().items()]
    print(*faults, f"== a day of {MINUTES:g} minutes: {f'FAILED, faults: {len(faults)}' if faults else 'nothing lost, nothing left'}; "
          f"table.txt, resident.svg and application.log are in {OUTPUT}", sep="\n")
    sys.exit(bool(faults))


main()
