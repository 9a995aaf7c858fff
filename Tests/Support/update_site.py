"""A site of updates, good and bad, and an application that looks for them: small bundles whose program is a script.

usage: update_site.py SCRIPTS FOLDER [PADDING]
  Makes FOLDER/bundle/X.app of build 1 and serves a feed NAME/appcast.xml for each of CASES, made when it is asked for;
  PADDING bytes that cannot be packed go with each bundle. Prints "PORT KEY", and serves until it is killed. What was
  asked for is listed in FOLDER/asked.
"""
import io
import os
import plistlib
import random
import re
import shutil
import subprocess
import sys
import tarfile
import threading
from http.server import SimpleHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

SCRIPTS, ROOT = Path(sys.argv[1]), Path(sys.argv[2])
PADDING = int(sys.argv[3]) if len(sys.argv) > 3 else 0
KEY, OTHER = ROOT / "key", ROOT / "other-key"
sys.dont_write_bytecode = True
sys.path.insert(0, str(SCRIPTS / "lib"))
import make_update
import seal


def make_bundle(folder, build, identifier="x.y", program="exit 0"):
    bundle = folder / "X.app"
    (bundle / "Contents/MacOS").mkdir(parents=True)
    (bundle / "Contents/Info.plist").write_bytes(plistlib.dumps({
        "CFBundleIdentifier": identifier, "CFBundleVersion": build, "CFBundleShortVersionString": f"{build}.0",
        "CFBundleName": "X", "CFBundleExecutable": "x"}))
    script = bundle / "Contents/MacOS/x"
    script.write_text(f"#!/bin/sh\n{program}\n")
    script.chmod(0o755)
    (bundle / "Contents/padding").write_bytes(random.Random(build).randbytes(PADDING))
    return bundle


def make(name, build="2", key=KEY, before=None, after=None, feed=None, **facts):
    """A feed with one update; `before` touches the bundle, `after` the archive, which is signed anew by `key`."""
    work = ROOT / "work"
    bundle, out = make_bundle(work, build, **facts), ROOT / "site" / name
    archive, text = make_update.make(bundle, KEY, f"http://127.0.0.1:{server.server_port}/{name}", None, out), out / "appcast.xml"
    words = text.read_text()
    signature, length = re.search('edSignature="([^"]*)"', words)[1], archive.stat().st_size
    if before:
        seal.seal(bundle, KEY)
        before(bundle)
        subprocess.run(["tar", "-C", work, "-cJf", archive, "X.app"], check=True)
    if after:
        after(archive)
    if before or after or key != KEY:
        words = words.replace(signature, seal.signature(key, archive))
    words = words.replace(f'length="{length}"', f'length="{archive.stat().st_size}"')
    text.write_text(feed(words) if feed else words)
    shutil.rmtree(work)


def flipped():
    make("flipped")
    archive = ROOT / "site/flipped/X-2.tar.xz"
    data = bytearray(archive.read_bytes())
    data[len(data) // 2] ^= 1
    archive.write_bytes(data)


def login():
    (ROOT / "site/login").mkdir(parents=True)
    (ROOT / "site/login/appcast.xml").write_text("<!DOCTYPE html><html><body>Please log in</body></html>")


def replacing(old, new):
    return {"feed": lambda words: words.replace(old, new)}


def adding(name, **facts):
    return {"after": lambda archive: add(archive, name, **facts)}


CASES = {
    "good": {}, "old": {"build": "1"}, "newer": {"build": "3"},
    "news": {"feed": lambda words: words[:words.index("<enclosure")] + "<link>https://a.b/</link></item></channel></rss>"},
    "offer-only": replacing("<enclosure", "<sparkle:minimumAutoupdateVersion>2</sparkle:minimumAutoupdateVersion><enclosure"),
    # Attacks and accidents.
    "flipped": flipped, "login": login, "other-signer": {"key": OTHER}, "unsigned": replacing("edSignature", "noSignature"),
    "longer-told": replacing('length="', 'length="1'), "other-product": {"identifier": "x.z"},
    "other-build": {"build": "3", **replacing(">3<", ">4<")}, "lower": {"build": "1", **replacing(">1<", ">2<")},
    "dies": {"program": "echo no such library >&2; exit 127"},
    "other-seal": {"before": lambda bundle: seal.seal(bundle, OTHER)},
    "touched": {"before": lambda bundle: (bundle / "Contents/MacOS/x").write_text("#!/bin/sh\n")},
    "added": {"before": lambda bundle: (bundle / "Contents/more").touch()},
    "way-out": adding("../evil"), "link-out": adding("X.app/out", type=tarfile.SYMTYPE, linkname="../../.."),
    "device": adding("X.app/null", type=tarfile.CHRTYPE, devmajor=1, devminor=3),
    "set-user": adding("X.app/su", mode=0o4755), "two-bundles": adding("Y.app", type=tarfile.DIRTYPE, mode=0o755),
    **{way: replacing("X-2.tar.xz", f"X-2.tar.xz?{way}") for way in ("endless", "cut", "elsewhere")},
}
making = threading.Lock()


def make_once(name):
    with making:
        case = CASES.get(name)
        if case is not None and not (ROOT / "site" / name).exists():
            case() if callable(case) else make(name, **case)


def add(archive, name, **facts):
    """Writes the archive anew, with one entry more."""
    with tarfile.open(archive) as old:
        entries = [(each, old.extractfile(each).read() if each.isfile() else b"") for each in old.getmembers()]
    entry = tarfile.TarInfo(name)
    for key, value in facts.items():
        setattr(entry, key, value)
    with tarfile.open(archive, "w:xz", format=tarfile.GNU_FORMAT) as new:
        for each, data in [*entries, (entry, b"")]:
            new.addfile(each, io.BytesIO(data))


class Server(SimpleHTTPRequestHandler):
    def __init__(self, *arguments):
        super().__init__(*arguments, directory=str(ROOT / "site"))

    def log_message(self, *_):
        with open(ROOT / "asked", "a", encoding="utf-8") as asked:
            asked.write(self.path + "\n")

    def do_GET(self):
        file, _, way = self.path.partition("?")
        make_once(file.split("/")[1])
        if not way:
            return super().do_GET()
        self.log_message()
        if way == "elsewhere":
            self.send_response(302)
            self.send_header("Location", "ftp://127.0.0.1/x")
            return self.end_headers()
        data = (ROOT / "site" / file.lstrip("/")).read_bytes()
        self.send_response(200)
        if way != "endless":
            self.send_header("Content-Length", str(len(data)))
        self.end_headers()
        self.wfile.write(data[:len(data) // 2])
        self.wfile.flush()
        try:
            while way == "endless":
                self.wfile.write(data)
        except OSError:
            pass


class Listener(ThreadingHTTPServer):
    daemon_threads = True


os.umask(0o022)
for each in (KEY, OTHER):
    seal.new_key(str(each))
server = Listener(("127.0.0.1", 0), Server)
make_bundle(ROOT / "bundle", "1")
print(server.server_port, seal.public_key(KEY), flush=True)
server.serve_forever()
