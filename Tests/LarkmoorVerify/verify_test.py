"""Seals made by Scripts/seal with openssl, judged by larkmoor-verify: what was touched since, and by whom.

usage: verify_test.py SCRIPTS HELPER BUILD
"""
import hashlib
import os
import plistlib
import shutil
import subprocess
import sys
import tempfile
import unittest
from base64 import b64decode, b64encode
from pathlib import Path

SCRIPTS, HELPER, BUILD = Path(sys.argv[1]), sys.argv[2], sys.argv[3]
# From RFC 8032, section 7.1, test 3: key, message and signature of somebody else's making.
RFC_KEY = "fc51cd8e6218a1a38da47ed00230f0580816ed13ba3303ac5deb911548908025"
RFC_MESSAGE = "af82"
RFC_SIGNATURE = ("6291d657deec24024827e69c3abe01a30ce548a284743a445e3680d7db5ac3ac"
                 "18ff9b538d16f290ae67f760984dc6594a7c15e9716ed28dc027beceea1ec40a")


def seal(*words):
    return subprocess.run([SCRIPTS / "seal", *words], check=True, capture_output=True, text=True).stdout.strip()


def ask(*words):
    return subprocess.run([HELPER, *words], capture_output=True, text=True)


class Verify(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.root = Path(cls.folder.name)
        cls.key = seal("--new-key", cls.root / "key")
        cls.other = seal("--new-key", cls.root / "other")
        cls.sealed = cls.root / "X.app"
        macos = cls.sealed / "Contents/MacOS"
        macos.mkdir(parents=True)
        (cls.sealed / "Contents/Info.plist").write_bytes(plistlib.dumps({"CFBundleIdentifier": "x", "CFBundleVersion": "2",
                                                                      "CFBundleShortVersionString": "2", "CFBundleName": "X"}))
        for name in ("program", "helper"):
            shutil.copy("/bin/true", macos / name)
        (macos / "link").symlink_to("program")
        (macos / "with a blank").mkdir()
        seal(cls.sealed, "--key", cls.root / "key")

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def copy(self):
        place = Path(tempfile.mkdtemp(dir=self.root), "X.app")
        shutil.copytree(self.sealed, place, symlinks=True)
        return place

    def expect(self, status, words, *question):
        told = ask(*question)
        self.assertEqual((told.returncode, words in told.stderr), (status, True), told.stderr)

    def test_a_sealed_bundle_holds_and_tells_whose_it_is(self):
        program = self.sealed / "Contents/MacOS/program"
        requirement = f'designated => certificate leaf = H"{hashlib.sha256(b64decode(self.key)).hexdigest()}"\n'
        for path in (self.sealed, f"{self.sealed}/", program):
            with self.subTest(path):
                self.assertEqual(ask(f"--build={BUILD}", f"--asker={os.getpid()}", "--verify", "--strict", path).returncode, 0)
                self.assertEqual(ask("-d", "-r-", path).stdout, requirement)
        self.assertEqual(ask("bundle", self.sealed, self.key).returncode, 0)
        self.expect(1, "sealed by another key", "bundle", self.sealed, self.other)
        self.expect(1, "not sealed at all", "-d", "-r-", "/bin/true")

    def test_whatever_is_touched_breaks_the_seal(self):
        def flip(path):
            data = bytearray(path.read_bytes())
            data[len(data) // 2] ^= 1
            path.write_bytes(data)

        def relink(path):
            path.unlink()
            path.symlink_to("helper")

        def seal_over(path):
            seal(path.parents[2], "--key", self.root / "other")

        def become_pipe(path):
            path.unlink()
            os.mkfifo(path)

        def become_link(path):
            path.rename(path.parents[3] / "kept")
            path.symlink_to(path.parents[3] / "kept")

        for touch, name, words in (
                (flip, "MacOS/program", "not as it was sealed"), (flip, "Info.plist", "not as it was sealed"),
                (flip, "MacOS/helper.seal", "not as it was sealed"), (flip, "Seal/manifest", "not as it was sealed"),
                (lambda path: path.chmod(0o4755), "MacOS/program", "not as it was sealed"),
                (lambda path: path.chmod(0o700), "MacOS/with a blank", "not as it was sealed"),
                (relink, "MacOS/link", "not as it was sealed"), (Path.unlink, "MacOS/link", "missing from"),
                (Path.rmdir, "MacOS/with a blank", "missing from"), (Path.touch, "MacOS/.more", "added to"),
                (Path.mkdir, "Seal/more", "added to"), (Path.unlink, "Seal/manifest.seal", "not sealed at all"),
                (become_pipe, "MacOS/program", "neither a file"), (become_pipe, "Seal/manifest", "not a regular file"),
                (become_link, "Seal/manifest", "not a regular file"), (lambda path: path.chmod(0o777), "..", "not as it was sealed"),
                (lambda path: path.write_text("larkmoor-seal 2\n"), "Seal/manifest.seal", "not a seal"),
                (seal_over, "MacOS/program", "sealed by another key")):
            with self.subTest(name, words=words):
                bundle = self.copy()
                touch(bundle / "Contents" / name)
                self.expect(1, words, "bundle", bundle, self.key)

    def test_what_cannot_be_read_is_no_verdict(self):
        for name in ("MacOS/program", "MacOS/with a blank", "Seal/manifest", "Seal/manifest.seal"):
            bundle = self.copy()
            (bundle / "Contents" / name).chmod(0)
            self.expect(4, "Permission denied", "bundle", bundle, self.key)

    def test_a_file_alone_is_proven_by_its_own_seal(self):
        program = self.copy() / "Contents/MacOS/program"
        with open(program, "ab") as file:
            file.write(b"\0")
        for question in (("--verify", "--strict"), ("-d", "-r-")):
            self.expect(1, "not as it was sealed", *question, program)

    def test_an_archive_is_signed_as_a_whole(self):
        archive = self.root / "archive"
        archive.write_bytes(bytes.fromhex(RFC_MESSAGE))
        key, signature = (b64encode(bytes.fromhex(text)).decode() for text in (RFC_KEY, RFC_SIGNATURE))
        self.assertEqual(ask("archive", archive, key, signature).returncode, 0)
        broken = b64encode(bytes.fromhex(RFC_SIGNATURE)[:-1] + b"\x0b").decode()
        for words, question in (("does not hold", (key, broken)), ("does not hold", (self.key, signature)),
                                ("not 64 bytes", (key, signature[:-4])), ("not 32 bytes", ("", signature))):
            self.expect(1, words, "archive", archive, *question)
        # The neutral point, and one of order eight with the other sign of x.
        for point in ("01" + 31 * "00", "26e8958fc2b227b045c3f489f2ef98f0d5dfac05d3c63339b13802886d53fc85"):
            neutral = b64encode(bytes([1, *63 * [0]])).decode()
            self.expect(1, "nobody's", "archive", archive, b64encode(bytes.fromhex(point)).decode(), neutral)
        for content in (b"", bytes.fromhex(RFC_MESSAGE) + b"\0"):
            archive.write_bytes(content)
            self.expect(1, "does not hold", "archive", archive, key, signature)
        self.expect(1, "not a regular file", "archive", "/dev/zero", key, signature)

    def test_what_cannot_be_made_is_refused_in_words_before_anything_is_written(self):
        bundle, key, notes = self.copy(), self.root / "key", self.root / "none"
        for change, words in (
                ({"bundle": self.root / "none.app"}, "not a bundle"), ({"--key": self.root / "none"}, "no such key"),
                ({"--key": bundle / "Contents/Info.plist"}, "not a private Ed25519 key"), ({"--notes": notes}, "No such file"),
                ({"--url": "ftp://a.b"}, "not an address"), ({"outdir": bundle / "out"}, "inside the bundle")):
            with self.subTest(words):
                options = {"--key": key, "--url": "https://a.b", "--notes": self.root / "key", "bundle": bundle,
                           "outdir": self.root / "out", **change}
                named = [word for name in ("--key", "--url", "--notes") for word in (name, options[name])]
                made = subprocess.run([SCRIPTS / "make-update", options["bundle"], *named, options["outdir"]],
                                      capture_output=True, text=True)
                self.assertEqual((made.returncode, made.stderr.count("\n"), words in made.stderr), (1, 1, True), made.stderr)
                self.assertFalse(Path(options["outdir"]).exists())

    def test_only_its_own_build_and_a_living_asker_are_answered(self):
        self.expect(3, f"this is build {BUILD}, and build 0 asks", "--build=0", "-d", "-r-", self.sealed)
        self.expect(5, "whoever asked is gone", "--asker=1", "-d", "-r-", self.sealed)
        self.expect(2, "usage: ", "-d", self.sealed)


unittest.main(argv=sys.argv[:1], verbosity=2)
