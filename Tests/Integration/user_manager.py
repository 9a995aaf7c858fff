"""A `systemd --user` of a test's own, with the bus that it starts, in a home of its own."""
import contextlib
import os
import subprocess

from desktop_session import wait


class UserManager:
    """Needs the control groups that Scripts/lib/as-tester prepares. What it started ends with it."""

    def __init__(self, home, **environment):
        (home / "run").mkdir(mode=0o700)
        self.inaccessible = home / "run/systemd/inaccessible/dir"
        self.environment = {key: value for key, value in os.environ.items() if not key.startswith("XDG_")}
        self.environment.update(HOME=str(home), XDG_RUNTIME_DIR=f"{home}/run", SYSTEMD_LOG_LEVEL="err",
                                DBUS_SESSION_BUS_ADDRESS=f"unix:path={home}/run/bus", **environment)
        join = 'for group; do mkdir "$group"; echo $$ >"$group/cgroup.procs"; done; exec /lib/systemd/systemd --user'
        groups = [f"{group}/{home.name}" for group in os.environ["LARKMOOR_CGROUPS"].split()]
        self.process = subprocess.Popen(["/bin/sh", "-c", join, "sh", *groups], env=self.environment, stdin=subprocess.DEVNULL)
        # On the bus, where the application looks for it, it comes later than on its own socket.
        wait("user manager", lambda: self.call("org.freedesktop.systemd1", "/org/freedesktop/systemd1",
                                               "org.freedesktop.systemd1.Manager", "GetDefaultTarget") is not None)
        wait("default target", lambda: self.systemctl("is-active", "--quiet", "default.target").returncode == 0)

    def systemctl(self, *words):
        return subprocess.run(["systemctl", "--user", *words], env=self.environment, capture_output=True, text=True)

    def call(self, *call):
        """The texts in the answer; nothing if there is none."""
        answer = subprocess.run(["busctl", "--user", "call", "--auto-start=false", *call], env=self.environment, capture_output=True,
                                text=True)
        return answer.stdout.split('"')[1::2] if answer.returncode == 0 else None

    def close(self):
        self.process.terminate()
        self.process.wait()
        # A folder that its owner may not list is not removed.
        with contextlib.suppress(FileNotFoundError):
            self.inaccessible.chmod(0o700)
