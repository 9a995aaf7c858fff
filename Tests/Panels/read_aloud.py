#!/usr/bin/python3
"""What assistive technology finds on this session: "role: name — description" for each object, a line each."""
import json
import subprocess

ACCESSIBLE = "org.a11y.atspi.Accessible"


def busctl(*words):
    answer = subprocess.run(["busctl", "--json=short", *words], capture_output=True, text=True, timeout=10)
    return json.loads(answer.stdout)["data"] if answer.returncode == 0 else None


def walk(bus, name, path, depth=0):
    role = busctl(bus, "call", name, path, ACCESSIBLE, "GetRoleName")
    if role is None or depth > 8:
        return
    texts = [busctl(bus, "get-property", name, path, ACCESSIBLE, which) or "" for which in ("Name", "Description")]
    print(f"{role[0]}: {' — '.join(text for text in texts if text)}")
    for child_name, child_path in (busctl(bus, "call", name, path, ACCESSIBLE, "GetChildren") or [[]])[0]:
        walk(bus, child_name, child_path, depth + 1)


address = busctl("--user", "call", "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress")[0]
walk(f"--address={address}", "org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root")
