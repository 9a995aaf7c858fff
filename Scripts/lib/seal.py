"""The seals of a bundle; see Scripts/seal. What is wrong ends the program, in words."""
import base64
import functools
import hashlib
import os
import re
import stat
import subprocess
import sys
import tempfile
from pathlib import Path

SUFFIX = ".seal"
MANIFEST = "Contents/Seal/manifest"
# What tar lists without an escape, and a manifest's line holds.
PLAIN = re.compile(r"[ !#-\[\]-~]+")


def fail(words):
    print(words, file=sys.stderr)
    sys.exit(1)


def openssl(*words):
    result = subprocess.run(["openssl", *map(str, words)], capture_output=True)
    if result.returncode:
        fail(f"openssl {words[0]}: {result.stderr.decode(errors='replace').strip()}")
    return result.stdout


def new_key(file):
    if os.path.lexists(file):
        fail(f"{file}: exists already")
    os.umask(0o077)
    openssl("genpkey", "-algorithm", "ed25519", "-out", file)


@functools.cache
def public_key(key):
    if not os.access(key, os.R_OK):
        fail(f"{key}: no such key, or not yours to read")
    result = subprocess.run(["openssl", "pkey", "-in", key, "-pubout", "-outform", "DER"], capture_output=True)
    # What stands before the key names its kind.
    if result.returncode or not result.stdout.startswith(bytes.fromhex("302a300506032b6570032100")):
        fail(f"{key}: not a private Ed25519 key as PEM, such as Scripts/seal --new-key makes one")
    return base64.b64encode(result.stdout[-32:]).decode()


def signature(key, file):
    """Of the whole file."""
    return base64.b64encode(openssl("pkeyutl", "-sign", "-inkey", key, "-rawin", "-in", file)).decode()


def seal_file(key, file):
    with tempfile.NamedTemporaryFile() as digest:
        digest.write(hashlib.sha256(file.read_bytes()).digest())
        digest.flush()
        signed = signature(key, digest.name)
    place = Path(f"{file}{SUFFIX}")
    place.write_text(f"larkmoor-seal 1\nkey {public_key(key)}\nsignature {signed}\n", encoding="ascii")
    place.chmod(0o644)


def entries(bundle):
    """Everything below the bundle, sorted by the bytes of the paths."""
    found = {}
    for folder, folders, files in os.walk(bundle):
        for name in folders + files:
            path = Path(folder, name)
            place = path.relative_to(bundle).as_posix()
            if not PLAIN.fullmatch(place):
                fail(f"{place!r}: only plain ASCII names can be sealed")
            found[place] = path
    return [(place, found[place]) for place in sorted(found, key=os.fsencode)]


def make_plain(bundle):
    """Modes are 0755 and 0644; what an earlier seal left goes."""
    for place, path in entries(bundle):
        mode = path.lstat().st_mode
        if stat.S_ISLNK(mode):
            continue
        if not stat.S_ISDIR(mode) and not stat.S_ISREG(mode):
            fail(f"{place}: neither a file nor a folder nor a link")
        if place.endswith(SUFFIX) or place == MANIFEST:
            path.unlink()
        else:
            path.chmod(0o755 if stat.S_ISDIR(mode) or mode & 0o100 else 0o644)
    bundle.chmod(0o755)


def line(place, path):
    status = path.lstat()
    mode = f"{stat.S_IMODE(status.st_mode):04o}"
    if stat.S_ISLNK(status.st_mode):
        target = os.readlink(path)
        if not PLAIN.fullmatch(target):
            fail(f"{place}: a link to {target!r}, which is no plain ASCII name")
        return f"link\t{target}\t{place}"
    if stat.S_ISDIR(status.st_mode):
        return f"folder\t{mode}\t{place}"
    return f"file\t{mode}\t{hashlib.sha256(path.read_bytes()).hexdigest()}\t{place}"


def check_bundle(bundle):
    if not (bundle / "Contents/Info.plist").is_file():
        fail(f"{bundle}: not a bundle")


def seal(bundle, key):
    check_bundle(bundle)
    public_key(key)
    make_plain(bundle)
    for _, path in entries(bundle):
        if not path.is_symlink() and path.is_file() and path.stat().st_mode & 0o100:
            seal_file(key, path)
    manifest = bundle / MANIFEST
    manifest.parent.mkdir(mode=0o755, exist_ok=True)
    lines = [line(place, path) for place, path in entries(bundle)]
    manifest.write_text("\n".join(["larkmoor-manifest 1", *lines, ""]), encoding="ascii")
    manifest.chmod(0o644)
    seal_file(key, manifest)
