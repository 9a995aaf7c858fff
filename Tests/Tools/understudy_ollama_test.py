"""The promises of the model host's understudy on which other tests rely: a stand-in that breaks them would make those
pass for nothing.

usage: understudy_ollama_test.py OLLAMA
"""
import hashlib
import json
import socket
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

MODELS = [{"name": "one", "layers": [{"name": "weights", "bytes": 300001}, {"name": "shared", "bytes": 7}]},
          {"name": "two", "layers": [{"name": "shared", "bytes": 7}, {"name": "other", "bytes": 200000}]}]


class Understudy(unittest.TestCase):
    def start(self, **scenario):
        """On a free port, with a store and a log of its own; what it says first, which is nothing if it refuses."""
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        (self.folder / "scenario").write_text(json.dumps(scenario))
        host = self.enterContext(subprocess.Popen(
            [sys.argv[1], "serve", "--scenario", self.folder / "scenario", "--log", self.folder / "log"], text=True,
            env={"OLLAMA_HOST": "127.0.0.1:0", "OLLAMA_MODELS": str(self.folder / "models")}, stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL))
        self.addCleanup(host.kill)
        said = host.stdout.readline()
        self.port = int(said.rpartition(":")[2] or 0)
        return said

    def send(self, path, method="POST", **body):
        text = json.dumps(body)
        with socket.create_connection(("127.0.0.1", self.port), 30) as client:
            client.sendall(f"{method} {path} HTTP/1.1\r\nHost: h\r\nConnection: close\r\nContent-Length: {len(text)}\r\n\r\n{text}".encode())
            return client.makefile()

    def ask(self, *request, **body):
        with self.send(*request, **body) as answer:
            return answer.read()

    def is_ready(self, model):
        return '"response"' in self.ask("/api/generate", stream=False, model=model)

    def sizes(self):
        """Of the blobs; none that is whole may lie about its digest."""
        blobs = list((self.folder / "models/blobs").iterdir())
        for blob in blobs:
            if not blob.name.endswith("-partial"):
                self.assertEqual(blob.name, "sha256-" + hashlib.sha256(blob.read_bytes()).hexdigest())
        return [blob.stat().st_size for blob in blobs]

    def time_of(self, event):
        """When the last such event happened; it may be about to be written."""
        for _ in range(1000):
            for line in reversed((self.folder / "log").read_text().splitlines()):
                if (told := json.loads(line))["event"] == event:
                    return told["at"]
            time.sleep(0.01)
        raise AssertionError(f"nothing was {event}")

    def test_it_fails_at_the_place_and_goes_on_at_the_same_byte(self):
        self.start(models=MODELS, faults=[{"does": "error", "path": "/api/pull", "layer": 0, "bytes": 100003, "times": 1,
                                           "words": "i/o timeout"}])
        self.assertIn('{"error":"i/o timeout"}\n', self.ask("/api/pull", name="one"))
        self.assertEqual((self.sizes(), self.is_ready("one")), ([100003], False))
        second = self.ask("/api/pull", name="one")
        self.assertIn('"total":300001,"completed":100003}', second)
        self.assertNotIn('"completed":65536}', second, "it began anew")
        self.assertIn('{"status":"success"}\n', second)
        self.assertEqual((len(self.sizes()), self.is_ready("one")), (3, True))

    def test_it_keeps_what_another_model_needs_and_runs_no_model_that_lacks_a_layer(self):
        self.start(models=MODELS)
        for model in ("one", "two"):
            self.ask("/api/pull", name=model)
        self.assertEqual(len(self.sizes()), 5)
        self.ask("/api/delete", "DELETE", name="one")
        self.assertEqual((len(self.sizes()), self.is_ready("one"), self.is_ready("two")), (3, False, True))
        [other] = [blob for blob in (self.folder / "models/blobs").iterdir() if blob.stat().st_size == 200000]
        other.unlink()
        self.assertFalse(self.is_ready("two"))

    def test_it_logs_when_the_client_leaves_whatever_it_does_meanwhile(self):
        for begins, scenario in ((False, {"faults": [{"does": "hang"}]}), (True, {"faults": [{"does": "hang", "bytes": 40}]}),
                                 (True, {"bytesPerSecond": 70000}), (True, {"faults": [{"does": "dribble"}]}),
                                 (True, {"faults": [{"does": "flood", "size": 100000000000}]})):
            with self.subTest(scenario):
                self.start(**scenario)
                with self.send("/api/pull", name="gemma3:4b") as answer:
                    if begins:
                        self.assertEqual(answer.readline(), "HTTP/1.1 200 OK\n")
                    time.sleep(0.02)
                left = time.time()
                self.assertAlmostEqual(self.time_of("closed"), left, delta=0.5)
        self.start()
        self.ask("/api/tags", "GET")
        self.time_of("answered")  # a whole answer is no cancel

    def test_it_refuses_a_scenario_with_a_misspelt_member(self):
        for scenario in ({"fault": []}, {"faults": [{"does": "stop", "byte": 1}]}, {"faults": [{"does": "stops"}]},
                         {"models": [{"name": "a", "layers": [{"size": 1}]}]}):
            self.assertEqual(self.start(**scenario), "", scenario)


unittest.main(argv=sys.argv[:1], verbosity=2)
