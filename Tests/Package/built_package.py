"""The Debian package of a build tree, built for a test and taken apart."""

import pathlib
import subprocess
import tempfile

ID = "app.quenstal.Quenstal"


class BuiltPackage:
    """Gone when closed."""

    def __init__(self, tree):
        self.folder = tempfile.TemporaryDirectory(prefix="quenstal-package-")
        place = pathlib.Path(self.folder.name)
        # The scripts of a package are run by others than its builder.
        place.chmod(0o755)
        made = subprocess.run(["cpack", "--config", tree / "CPackConfig.cmake", "-B", place], cwd=place, check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if made.returncode != 0:
            raise AssertionError(made.stdout)
        (self.file,) = place.glob("*.deb")
        self.root = place / "root"
        subprocess.run(["dpkg-deb", "--extract", self.file, self.root], check=True)

    def close(self):
        self.folder.cleanup()

    def field(self, name):
        return subprocess.run(["dpkg-deb", "--field", self.file, name], check=True, capture_output=True,
                              text=True).stdout.strip()

    def files(self):
        """The paths that it installs, folders left out."""
        return sorted(str(path.relative_to(self.root)) for path in self.root.rglob("*") if not path.is_dir())
