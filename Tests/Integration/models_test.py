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
# What a cancel leaves: its receipt, and the log that tells what it did. The rest is the manager's and the understudy's.
LEFT = ("Library/Application Support/Larkmoor/local-models-cancelled", "Library/Logs/larkmoor-journey.log", "run/", "host.log")


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
        self.support, self.bundle = self.path / "Library/Application Support", self.path / "Larkmoor.app"
        inner = "Larkmoor.app/Contents/Library/Larkmoor.app/Contents"
        for file in (".ollama/models/blobs/sha256-0", "Library/Application Support/Larkmoor/models/mine",
                     ".config/systemd/user/mine.service", "tmp/mine", f"{inner}/Resources/senko/voice"):
            (self.path / file).parent.mkdir(parents=True, exist_ok=True)
            (self.path / file).write_text(file)
        for source, target in ((TRANSCRIBE, f"{inner}/MacOS"), (BUNDLE / "Contents/MacOS/larkmoor-fetch", "Larkmoor.app/Contents/MacOS")):
            (self.path / target).mkdir()
            shutil.copy(source, self.path / target)
        (self.path / "scenario.json").write_text(json.dumps({"log": "host.log", "bytesPerSecond": 8_000_000, **scenario}))
        self.manager = UserManager(self.path, TMPDIR=f"{self.path}/tmp", LARKMOOR_OLLAMA_SCENARIO=f"{self.path}/scenario.json")
        self.before = self.files()

    def start(self, verb, *more):
        return subprocess.Popen([MODELS, verb, *more], env=self.manager.environment, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def start_pass(self):
        return self.start("pass", "--json", "--verbose", "--bundle", self.bundle, *self.release.arguments())

    def finish_pass(self):
        output, self.log = self.start_pass().communicate(timeout=120)
        return json.loads(output) if output else None

    def pass_until(self, words):
        """A pass whose log has just said the words."""
        running = self.start_pass()
        assert any(words in line for line in running.stderr), words
        return running

    def kill_pass(self, words):
        running = self.pass_until(words)
        running.kill()
        running.communicate()

    def files(self):
        """Every file and link of the home, with its digest."""
        found = {str(path.relative_to(self.path)): path for path in self.path.rglob("*") if path.is_symlink() or not path.is_dir()}
        return {name: os.readlink(path) if path.is_symlink() else hashlib.sha256(path.read_bytes()).hexdigest()
                for name, path in found.items() if not name.startswith(LEFT)}

    def proven(self):
        """What was downloaded whole, by inode; a binary without its digest beside it proves nothing."""
        return {name: (self.path / name).stat().st_ino for name in self.files()
                if name.endswith(("ollama.sha256", "model.bin")) or "Larkmoor/models/naming/store/blobs/" in name and "-partial" not in name}

    def close(self):
        self.manager.close()
        shutil.rmtree(self.path, ignore_errors=True)


@unittest.skipUnless(os.environ.get("LARKMOOR_OWN_NETWORK") and os.environ.get("LARKMOOR_CGROUPS"),
                     "the model host's port and a user manager are had under Scripts/lib/as-tester alone")
class LocalModels(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.release = Release(Path(self.enterContext(tempfile.TemporaryDirectory())))
        self.addCleanup(self.release.server_close)
        self.addCleanup(self.release.shutdown)
        self.home = Home(self.release)
        self.addCleanup(self.home.close)

    def test_a_pass_that_is_killed_again_and_again_is_finished_and_downloads_nothing_twice(self):
        home, kept = self.home, {}
        for words in ("first-byte", "unpack-done", "host → active", "model first-byte", "pull-done", '"phase"'):
            with self.subTest(killed_behind=words):
                home.kill_pass(words)
                self.assertEqual(kept, {name: inode for name, inode in home.proven().items() if name in kept})
            kept = home.proven()
        self.assertEqual({row["id"]: row["state"] for row in home.finish_pass()["rows"]},
                         dict.fromkeys(("runtime", "host", "model", "asr", "vad"), "done"), home.log)
        self.assertEqual(self.release.downloads, 2)
        self.assertEqual([name for name in home.files() if name.endswith((".tgz", ".tmp")) or "-partial" in name], [])
        home.finish_pass()
        self.assertIn("nothing to start", home.log)

    def test_one_process_at_a_time_is_at_work(self):
        running = self.home.pass_until("first-byte")
        second = self.home.start_pass()
        self.assertIn("another process is at work on the models", second.communicate(timeout=60)[1])
        self.assertEqual(second.returncode, 1)
        running.communicate(timeout=120)
        self.assertEqual((running.returncode, self.release.downloads), (0, 1))

    def test_a_cancel_leaves_what_was_there_before_the_first_pass(self):
        for killed, cancelled in ((None, "vad → pending"), (None, "first-byte"), (None, "host → active"), (None, '"phase"'),
                                  ("request-start", "host → pending"), ("unpack-done", "models-at-open"), ("host → done", "inventory"),
                                  ("model first-byte", "model first-byte"), ('"phase"', "asr → active")):
            with self.subTest(killed_behind=killed, cancelled_behind=cancelled):
                if killed:
                    self.home.kill_pass(killed)
                running, cancel = self.home.pass_until(cancelled), self.home.start("cancel")
                cancel.communicate(timeout=120)
                self.assertEqual(cancel.returncode, 0)
                # With the receipt everything is undone, not a moment later.
                self.assertEqual(self.home.files(), self.home.before)
                running.communicate(timeout=60)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[5:]], verbosity=2)
