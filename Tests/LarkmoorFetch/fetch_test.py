"""larkmoor-fetch against servers that behave well and badly, over TLS with an authority of their own.

usage: fetch_test.py HELPER BUILD
"""
import contextlib
import os
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

HELPER, BUILD = sys.argv[1:3]
BODY = bytes(range(256)) * 4096


class Server(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    proxied = []

    def log_message(self, *_):
        pass

    def head(self, status=200, **fields):
        self.send_response(status)
        for name, value in fields.items():
            self.send_header(name.replace("_", "-"), value)
        self.end_headers()
        self.close_connection = True

    def do_GET(self):
        with contextlib.suppress(OSError):
            name, _, rest = self.path.lstrip("/").partition("?")
            getattr(self, name)(rest)

    def do_CONNECT(self):
        Server.proxied.append(self.path)
        self.head(200)
        with socket.create_connection(("localhost", int(self.path.rpartition(":")[2]))) as far:
            threading.Thread(target=self.relay, args=(self.connection, far), daemon=True).start()
            self.relay(far, self.connection)

    @staticmethod
    def relay(source, sink):
        with contextlib.suppress(OSError):
            while piece := source.recv(65536):
                sink.sendall(piece)
            sink.shutdown(socket.SHUT_WR)

    def ok(self, size):
        self.head(Content_Length=size or len(BODY))
        self.wfile.write(BODY[:int(size or len(BODY))])

    def unknown(self, _):
        self.head()
        self.wfile.write(BODY)

    def chunked(self, _):
        self.head(Transfer_Encoding="chunked", Content_Length="5")
        self.wfile.write(b"%x\r\n%b\r\n0\r\nTrailer: x\r\n\r\n" % (len(BODY), BODY))

    def truncated(self, _):
        self.head(Content_Length=len(BODY))
        self.wfile.write(BODY[:70000])

    def gone(self, status):
        self.head(int(status), Content_Length=9)
        self.wfile.write(b"not here\n")

    def to(self, where):
        self.head(302, Location=where, Content_Length=0)

    def loop(self, _):
        self.head(301, Location="/loop", Content_Length=5)
        self.wfile.write(b"again")

    def silent(self, after):
        if after:
            self.truncated(after)
        time.sleep(20)

    def dribble(self, _):
        self.head(Content_Length=8)
        for _ in range(8):
            self.wfile.write(b"x")
            time.sleep(0.2)

    def endless(self, _):
        self.head()
        while True:
            self.wfile.write(BODY)

    def pads(self, _):
        self.wfile.write(b"HTTP/1.1 200 OK\r\n")
        while True:
            self.wfile.write(b"X-Pad: " + b"x" * 1000 + b"\r\n")


def serve(context=None):
    server = ThreadingHTTPServer(("localhost", 0), Server)
    server.daemon_threads = True
    server.handle_error = lambda *_: None  # refused handshakes
    if context:
        server.socket = context.wrap_socket(server.socket, server_side=True, do_handshake_on_connect=False)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server.server_port


class Fetch(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.authority = cls.folder / "cert.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=localhost", "-addext",
                        "subjectAltName=DNS:localhost", "-keyout", cls.folder / "key.pem", "-out", cls.authority],
                       check=True, capture_output=True)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(cls.authority, cls.folder / "key.pem")
        cls.port, cls.plain = serve(context), serve()
        cls.https, cls.http = f"https://localhost:{cls.port}", f"http://localhost:{cls.plain}"

    def fetch(self, url, *more, environment=None, stdin=subprocess.DEVNULL):
        arguments = {"--build": BUILD, "--asker": os.getpid(), "--url": url, "--max-bytes": 1 << 21, "--max-silence": 1000,
                     "--output": self.folder / "body", "--ca-file": self.authority}
        run = subprocess.run([HELPER, *(f"{name}={value}" for name, value in arguments.items()), *more], text=True,
                             stdin=stdin, capture_output=True, env=os.environ | (environment or {}), timeout=20)
        return run.returncode, run.stdout.splitlines(), run.stderr

    def test_bodies(self):
        plain = "--allow-http"
        for url, length, size in ((f"{self.https}/ok", len(BODY), len(BODY)), (f"{self.https}/unknown", -1, len(BODY)),
                                  (f"{self.https}/chunked", -1, len(BODY)), (f"{self.https}/ok?65536", 65536, 65536),
                                  (f"{self.https}/ok?0", 0, 0), (f"{self.https}/to?/ok?7", 7, 7),
                                  (f"{self.http}/to?{self.https}/ok?7", 7, 7), (f"{self.http}/ok?7", 7, 7)):
            with self.subTest(url):
                (self.folder / "body").unlink(missing_ok=True)
                (self.folder / "body").symlink_to("/dev/full")
                status, lines, err = self.fetch(url, plain)
                self.assertEqual((status, err, lines[0], lines[-1]), (0, "", f"head 200 {length} localhost", f"end {size}"))
                self.assertEqual("first-byte" in lines, size > 0)
                self.assertEqual("progress 65536" in lines, size >= 65536)
                self.assertEqual((self.folder / "body").read_bytes(), BODY[:size])
                self.assertEqual((self.folder / "body").lstat().st_mode, 0o100600)
        with tempfile.TemporaryFile() as given:
            self.assertEqual(self.fetch(f"{self.https}/ok", "--output=", stdin=given)[0], 0)
            given.seek(0)
            self.assertEqual(given.read(), BODY)

    def test_failures(self):
        refused = "localhost redirects elsewhere, which is refused: the scheme"
        for path, more, words in (
            ("/gone?404", (), "answers with status 404"), ("/gone?204", (), "answers with status 204"),
            ("/gone?304", (), "answers with status 304"), ("/truncated", (), "transfer closed with"),
            ("/silent", (), "localhost was silent for 1 s"), ("/silent?a-part", (), "localhost was silent for 1 s"),
            ("/endless", (), "more than the 2097152 bytes allowed arrive"),
            ("/ok", ("--max-bytes=9",), "1048576 bytes are announced, more than the 9 allowed"),
            ("/pads", (), "the head of the answer does not end"),
            ("/loop", (), "more than 10 redirects"), (f"/to?{self.http}/ok", (), f"{refused} http is not allowed"),
            (f"/to?{self.http}/ok", ("--allow-http",), f"{refused} http is not allowed"),
            ("/to?file:///etc/passwd", (), f"{refused} file is not allowed"),
            ("/to?gopher://localhost/", (), f"{refused} gopher is not allowed"),
            ("/to?//a:b@localhost/ok", (), "refused: not an address"),
            ("/ok", ("--ca-file=",), "certificate"), ("/ok", ("--ca-file=/dev/null",), "certificate"),
            ("/ok", (f"--url=https://127.0.0.1:{self.port}/ok",), "no alternative certificate subject name matches"),
            ("/ok", ("--url=https://localhost:1/",), "Failed to connect"),
            ("/ok", (f"--url={self.http}/ok",), "the scheme http is not allowed"),
            ("/ok", ("--url=file:///etc/passwd",), "the scheme file is not allowed"),
            ("/ok", ("--output=/dev/full/x",), "Not a directory"), ("/ok", ("--output=",), "standard input: No space left on device"),
        ):
            with self.subTest(path, more=more):
                began = time.monotonic()
                with open("/dev/full", "r+b", buffering=0) as full:
                    status, lines, err = self.fetch(self.https + path, *more, stdin=full)
                self.assertEqual((status, err), (1, ""))
                self.assertRegex(lines[-1], f"^failure .*{words}")
                self.assertLess(time.monotonic() - began, 6)

    def test_what_dribbles_is_not_silent(self):
        self.assertEqual(self.fetch(f"{self.https}/dribble")[1][-1], "end 8")

    def test_a_proxy_is_used_and_does_not_see_into_it(self):
        environment = {"https_proxy": self.http, "no_proxy": ""}
        self.assertEqual(self.fetch(f"{self.https}/ok", environment=environment)[1][-1], f"end {len(BODY)}")
        self.assertEqual(Server.proxied, [f"localhost:{self.port}"])
        self.assertIn("certificate", self.fetch(f"{self.https}/ok", "--ca-file=", environment=environment)[1][-1])

    def test_it_ends_with_its_asker_and_serves_no_other(self):
        script = '"$0" --asker=$$ "$@" & echo $!; wait'
        asker = subprocess.Popen(["/bin/sh", "-c", script, HELPER, f"--build={BUILD}", f"--url={self.https}/silent",
                                  f"--output={self.folder}/body", "--max-bytes=9", "--max-silence=60000",
                                  f"--ca-file={self.authority}"], stdout=subprocess.PIPE, text=True)
        asker.stdout.readline()
        time.sleep(0.3)
        asker.send_signal(signal.SIGKILL)
        # Its output ends with it.
        self.assertEqual(asker.communicate(timeout=5)[0], "")
        for more, status, words in ((["--asker=1"], 5, "gone"), (["--build=0"], 3, "this is build"), (["--quick"], 2, "--quick"),
                                    (["--max-bytes=-1"], 2, "above 0")):
            run = self.fetch(f"{self.https}/ok", *more)
            self.assertEqual(run[0], status)
            self.assertIn(words, run[2])


unittest.main(argv=sys.argv[:1], verbosity=2)
