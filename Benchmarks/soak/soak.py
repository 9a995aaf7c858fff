"""See Scripts/soak. usage: soak.py BUILD_FOLDER MINUTES SEED"""
import os
import random
import signal
import sys
import time
from pathlib import Path

from desktop_session import Session

BUILD, MINUTES, SEED = Path(sys.argv[1]), float(sys.argv[2]), int(sys.argv[3])
# The allocator keeps some of what was freed.
ALLOWED = {"KiB resident": 4096, "descriptors": 0, "threads": 0, "processes": 0, "files": 0}


class Soak:
    def __init__(self):
        self.session = Session(BUILD / "Larkmoor.app", BUILD / "Tools/understudy-daemon/larkmoor",
                               BUILD / "Tools/larkmoor-tray/larkmoor-tray")
        self.counts = {}

    def held(self):
        """What the application holds, after the threads and connections of its last work have ended."""
        time.sleep(15)
        process = Path("/proc", str(self.session.application.pid))
        children = [entry for entry in Path("/proc").iterdir() if entry.name.isdigit() and self.is_child(entry, process.name)]
        return {"KiB resident": self.session.resident_kib(),
                "descriptors": len(list((process / "fd").iterdir())),
                "threads": len(list((process / "task").iterdir())),
                "processes": len(children),
                "files": sum(len(names) for _, _, names in os.walk(self.session.folder.name))}

    @staticmethod
    def is_child(entry, parent):
        try:
            return (entry / "stat").read_text().rpartition(")")[2].split()[1] == parent
        except OSError:
            return False

    # What a day may bring; each leaves a daemon that runs.

    def kill(self):
        self.session.kill_daemon()
        time.sleep(random.choice((0, 0.05, 0.5, 2.5, 6)))
        self.session.start_daemon()

    def hang(self):
        self.session.daemon.send_signal(signal.SIGSTOP)
        time.sleep(random.uniform(0.5, 6))
        self.session.daemon.send_signal(signal.SIGCONT)

    def answer_wrongly(self):
        self.session.kill_daemon()
        self.session.start_daemon(**random.choice((
            {"reply": "no JSON"}, {"reply": '{"text":{"_0":7}}'}, {"reply": '{"cards":{"_0":[' + "0," * 2_000_000 + "0]}}"},
            {"reply": "x" * 20_000_000}, {"wire": 2}, {"refuse": True}, {"silent": True}, {"delayMilliseconds": 3000})))
        self.session.refresh()
        time.sleep(random.uniform(0.5, 4))
        self.session.kill_daemon()
        self.session.start_daemon()

    def flood(self):
        for _ in range(100):
            self.session.refresh()
            self.session.order("PushFrontState", "string:" + random.choice(("full", "titleOnly", "blocked", "none")))
            self.session.order("PushEvent", "array:byte:1,2,3")

    def open_menu(self):
        for _ in range(5):
            self.session.labels()

    def click(self):
        self.session.tray("click", "• Pause 15 minutes")

    def step(self):
        action = random.choice((self.kill, self.kill, self.hang, self.answer_wrongly, self.flood, self.open_menu, self.click))
        action()
        self.counts[action.__name__] = self.counts.get(action.__name__, 0) + 1
        self.session.refresh()
        if self.session.application.poll() is not None:
            sys.exit(f"the application has ended during {action.__name__}: {self.session.application.returncode}")

    def run(self):
        self.session.start_daemon()
        # Everything happens once before it is measured, since what is used for the first time stays.
        for action in (self.kill, self.hang, self.answer_wrongly, self.flood, self.open_menu, self.click):
            action()
        before, end = self.held(), time.monotonic() + MINUTES * 60
        print("start", before, flush=True)
        while time.monotonic() < end:
            self.step()
        after = self.held()
        print("end  ", after)
        print("steps", self.counts)
        grown = [name for name, value in after.items() if value > before[name] + ALLOWED[name]]
        if "Recording" not in str(self.session.shown()) and "Resume" not in str(self.session.shown()):
            grown.append("words of a fault in the menu")
        if grown:
            sys.exit("grown: " + ", ".join(grown))


random.seed(SEED)
soak = Soak()
try:
    soak.run()
finally:
    soak.session.close()
