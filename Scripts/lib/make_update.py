"""An update as a feed offers it; see Scripts/make-update. What is wrong ends the program, in words."""
import plistlib
import re
import shutil
import subprocess
import tempfile
from email.utils import formatdate
from pathlib import Path
from urllib.parse import quote
from xml.parsers.expat import ExpatError
from xml.sax.saxutils import escape, quoteattr

import seal
from seal import fail


def facts_of(bundle):
    """What the feed tells of the bundle."""
    try:
        facts = plistlib.loads((bundle / "Contents/Info.plist").read_bytes())
    except (OSError, plistlib.InvalidFileException, ExpatError) as error:
        fail(f"{bundle}: not a bundle ({getattr(error, 'strerror', None) or error})")
    for key in ("CFBundleName", "CFBundleVersion", "CFBundleShortVersionString"):
        if not isinstance(facts.get(key), str) or not facts[key].strip():
            fail(f"{bundle}: its Info.plist has no {key}")
    if not re.fullmatch(r"[0-9A-Za-z][0-9A-Za-z.+-]*", facts["CFBundleVersion"]):
        fail(f"{bundle}: its build {facts['CFBundleVersion']!r} is no name for a file")
    return facts


def check(bundle, key, url, notes, outdir):
    """Before anything is written. Returns the words of the notes."""
    seal.check_bundle(bundle)
    seal.public_key(key)
    if not re.fullmatch(r"https?://[!-~]+", url) or re.search(r"[?#]", url):
        fail(f"{url}: not an address below which files are served, such as https://example.com/updates")
    if outdir.resolve().is_relative_to(bundle.resolve()):
        fail(f"{outdir}: inside the bundle, which would be packed into itself")
    if outdir.exists() and not outdir.is_dir():
        fail(f"{outdir}: not a folder")
    try:
        return notes and notes.read_text(encoding="utf-8")
    except (OSError, UnicodeDecodeError) as error:
        fail(f"{notes}: {getattr(error, 'strerror', None) or error}")


def pack(bundle, archive):
    # Of nobody and of no time, so that the same bundle is the same archive.
    subprocess.run(["tar", "--create", "--xz", f"--file={archive}", "--sort=name", "--owner=0", "--group=0", "--numeric-owner",
                    "--mtime=@0", "--format=gnu", f"--directory={bundle.parent}", bundle.name], check=True)


def description(words, is_text):
    if not words:
        return ""
    form = ' sparkle:format="plain-text"' if is_text else ""
    return f"\n      <description{form}>{escape(words)}</description>"


def feed(facts, url, length, signature, description):
    name, build, version = (escape(facts[key]) for key in ("CFBundleName", "CFBundleVersion", "CFBundleShortVersionString"))
    return f"""<?xml version="1.0" encoding="UTF-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
  <channel>
    <title>{name}</title>
    <item>
      <title>{name} {version}</title>
      <pubDate>{formatdate(usegmt=True)}</pubDate>
      <sparkle:version>{build}</sparkle:version>
      <sparkle:shortVersionString>{version}</sparkle:shortVersionString>{description}
      <enclosure url={quoteattr(url)} length="{length}" type="application/x-xz" sparkle:os="linux"
                 sparkle:edSignature="{signature}"/>
    </item>
  </channel>
</rss>
"""


def make(bundle, key, url, notes, outdir):
    """Returns the archive. Under their names there is never a part of a file, nor a feed before its archive."""
    facts, words = facts_of(bundle), check(bundle, key, url, notes, outdir)
    name = f"{bundle.resolve().stem}-{facts['CFBundleVersion']}.tar.xz"
    outdir.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(dir=outdir) as folder:
        copy, packed, offer = Path(folder, bundle.resolve().name), Path(folder, "archive"), Path(folder, "feed")
        shutil.copytree(bundle, copy, symlinks=True)
        seal.seal(copy, key)
        pack(copy, packed)
        offer.write_text(feed(facts, f"{url.rstrip('/')}/{quote(name)}", packed.stat().st_size, seal.signature(key, packed),
                              description(words, notes and notes.suffix == ".txt")), encoding="utf-8")
        packed.rename(outdir / name)
        offer.rename(outdir / "appcast.xml")
    return outdir / name
