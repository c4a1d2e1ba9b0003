"""The package in a Debian 12 that holds nothing but what it asks for: apt installs it, the program opens its panel with
those libraries and modules alone, and nothing of it stays when it is purged."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "Tests" / "Support"))
sys.path.insert(0, str(ROOT / "Tests" / "QuenstalQt" / "Desktop"))
import script_suite  # noqa: E402
from built_package import ID, BuiltPackage  # noqa: E402
from session import Missing, Session, wait_for  # noqa: E402

BUILD = pathlib.Path(sys.argv.pop(1)).resolve()
# What dpkg and apt keep for themselves, and accounts, which stay as those of packages do.
OTHERS = ("var/lib/dpkg", "var/lib/apt", "var/cache", "var/log", "etc/passwd", "etc/group", "etc/shadow",
          "etc/gshadow", "etc/.pwd.lock", "run", "dev", "proc", "sys", "tmp")


class CleanSystem(unittest.TestCase):
    def setUp(self):
        for program in ("mmdebstrap", "cpack", "dpkg-shlibdeps", "busctl"):
            if not shutil.which(program):
                self.skipTest(f"not installed: {program}")
        if os.geteuid() != 0 or subprocess.run(["unshare", "--mount", "true"], check=False).returncode != 0:
            self.skipTest("only root, where there are name spaces, can enter another system")
        folder = tempfile.TemporaryDirectory(prefix="quenstal-debian-")
        self.addCleanup(folder.cleanup)
        self.system = pathlib.Path(folder.name) / "system"
        # Its lists are used below, and none of it need outlive a power failure.
        made = subprocess.run(["mmdebstrap", "--variant=apt", "--skip=cleanup/apt/lists",
                               "--dpkgopt=force-unsafe-io", '--aptopt=Acquire::Languages "none"', "bookworm",
                               self.system], check=False, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if made.returncode != 0:
            self.skipTest("no Debian 12 can be had: " + made.stdout.strip().splitlines()[-1])
        self.package = BuiltPackage(BUILD)
        self.addCleanup(self.package.close)
        shutil.copy(self.package.file, self.system / "tmp/quenstal.deb")

    def entered(self, *command, shared=()):
        """The command in the new system, in name spaces of its own: whatever is mounted is gone with it."""
        mounts = [f"mount --rbind /{name} {self.system}/{name}" for name in ("proc", "dev", "sys")]
        for path in shared:
            mounts += [f"mkdir -p {self.system}{path}", f"mount --bind {path} {self.system}{path}"]
        script = " && ".join([*mounts, f'exec chroot {self.system} "$@"'])
        return ["unshare", "--mount", "--propagation", "private", "sh", "-ec", script, "sh", *command]

    def inside(self, *command):
        environment = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "DEBIAN_FRONTEND": "noninteractive"}
        finished = subprocess.run(self.entered(*command), env=environment, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, text=True, check=False)
        self.assertEqual(finished.returncode, 0, finished.stdout)
        return finished.stdout

    def there(self):
        found = set()
        for folder, folders, files in os.walk(self.system):
            for name in folders + files:
                path = os.path.relpath(os.path.join(folder, name), self.system)
                if not path.startswith(OTHERS):
                    found.add(path)
        return found

    def assert_shows_its_panel(self):
        try:
            session = Session()
        except Missing as missing:
            self.skipTest(f"not installed: {missing}")
        self.addCleanup(session.close)
        child = session.start(*self.entered("/usr/bin/quenstal", "--tell", shared=[session.folder.name]),
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        first = child.stdout.readline()
        self.assertTrue(first.startswith("Output:"), first)
        session.run("busctl", "--user", "call", ID, "/app/quenstal/Quenstal", "org.freedesktop.Application", "Activate",
                    "a{sv}", "0")
        wait_for(lambda: session.windows("Quenstal"), "panel")
        session.stop(child)
        # A module of the views that is missing would be told here.
        self.assertNotIn("qrc:", child.stdout.read())
        child.stdout.close()

    def test_comes_works_and_goes(self):
        self.inside("apt-get", "satisfy", "-y", "-qq", "--no-install-recommends", self.package.field("Depends"))
        before = self.there()
        self.inside("apt-get", "install", "-y", "-qq", "--no-install-recommends", "/tmp/quenstal.deb")
        self.assertLessEqual(set(self.package.files()), self.there())
        self.assertIn("quenstal-keyd", (self.system / "etc/passwd").read_text())
        self.assert_shows_its_panel()
        self.inside("apt-get", "purge", "-y", "-qq", "quenstal")
        self.assertEqual(self.there(), before)


if __name__ == "__main__":
    script_suite.run()
