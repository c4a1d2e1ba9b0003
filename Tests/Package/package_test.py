"""The package's parts, each held to the validator of its convention, and its life on a system: coming and going."""

import gzip
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import unittest.mock

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "Tests" / "Support"))
sys.path.insert(0, str(ROOT / "Tests" / "QuenstalQt" / "Desktop"))
import script_suite  # noqa: E402
from built_package import ID, BuiltPackage  # noqa: E402
from session import Missing, Session, wait_for  # noqa: E402

BUILD = pathlib.Path(sys.argv.pop(1)).resolve()
package = None


def setUpModule():
    global package
    for program in ("cpack", "dpkg-deb", "dpkg-shlibdeps"):
        if not shutil.which(program):
            raise unittest.SkipTest(f"not installed: {program}")
    package = BuiltPackage(BUILD)
    unittest.addModuleCleanup(package.close)


class PackageCase(unittest.TestCase):
    def tool(self, *command, **options):
        """What the tool says; the test is skipped where there is none."""
        if not shutil.which(command[0]):
            self.skipTest(f"not installed: {command[0]}")
        return subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              text=True, check=False, **options)

    def assert_silent(self, *command, **options):
        finished = self.tool(*command, **options)
        self.assertEqual((finished.returncode, finished.stdout), (0, ""))

    def text(self, path):
        return (package.root / path).read_text()


class Parts(PackageCase):
    def test_desktop_entries(self):
        for folder in ("usr/share/applications", "etc/xdg/autostart"):
            self.assert_silent("desktop-file-validate", package.root / folder / f"{ID}.desktop")

    def test_metainfo(self):
        # One remark is expected: the identity is the name on the bus, which has a capital letter.
        said = self.tool("appstreamcli", "validate", "--no-net", "--pedantic",
                         package.root / f"usr/share/metainfo/{ID}.metainfo.xml")
        self.assertEqual(said.returncode, 0, said.stdout)
        self.assertEqual(re.findall(r"^[A-Z]: \S+ (\S+)", said.stdout, re.MULTILINE), ["cid-contains-uppercase-letter"])

    def test_every_xml_file_is_well_formed(self):
        files = [package.root / file for file in package.files() if file.endswith((".svg", ".xml", ".policy"))]
        files.append(package.root / "usr/share/dbus-1/system.d/app.quenstal.KeyService.conf")
        self.assertEqual(len(files), 5, files)
        self.assert_silent("xmllint", "--nonet", "--noout", *files)

    def test_icons_make_a_theme_cache(self):
        with tempfile.TemporaryDirectory() as copy:
            theme = pathlib.Path(copy) / "hicolor"
            shutil.copytree(package.root / "usr/share/icons/hicolor", theme)
            made = self.tool("gtk-update-icon-cache", "--force", "--ignore-theme-index", theme)
            self.assertEqual(made.returncode, 0, made.stdout)
            self.assertIn(ID.encode(), (theme / "icon-theme.cache").read_bytes())

    def test_the_symbolic_icon_is_made_of_areas_in_one_colour(self):
        # Desktops recolour areas; lines would be filled.
        drawing = self.text(f"usr/share/icons/hicolor/symbolic/apps/{ID}-symbolic.svg")
        self.assertNotIn("stroke", drawing)
        self.assertEqual(set(re.findall(r'fill="([^"]+)"', drawing)), {"#2e3436"})

    def verify_unit(self, manager, path):
        """The unit as it is installed, with its program where it was unpacked."""
        with tempfile.TemporaryDirectory() as folder:
            unit = pathlib.Path(folder) / pathlib.Path(path).name
            unit.write_text(self.text(path).replace("ExecStart=/usr/", f"ExecStart={package.root}/usr/"))
            environment = dict(os.environ, XDG_RUNTIME_DIR=folder, SYSTEMD_LOG_LEVEL="warning",
                               MANPATH=f"{package.root}/usr/share/man")
            self.assert_silent("systemd-analyze", manager, "verify", unit, env=environment)

    def test_the_users_unit(self):
        self.verify_unit("--user", f"usr/lib/systemd/user/{ID}.service")

    def test_the_systems_unit(self):
        self.verify_unit("--system", "usr/lib/systemd/system/quenstal-keyd.service")

    def test_manual_pages(self):
        pages = [file for file in package.files() if "/man/" in file]
        self.assertEqual(len(pages), 3, pages)
        for file in pages:
            page = gzip.decompress((package.root / file).read_bytes()).decode()
            for command in (["groff", "-ww", "-man", "-Tutf8", "-z"], ["mandoc", "-Tlint", "-Wstyle"]):
                self.assert_silent(*command, input=page)

    def test_the_names_on_the_bus_agree(self):
        header = (ROOT / "Sources/QuenstalLinux/Session/SingleInstance.hpp").read_text()
        name = re.search(r'busName = "([^"]+)"', header).group(1)
        self.assertEqual(name, ID)
        self.assertIn(f"\nName={name}\n", self.text(f"usr/share/dbus-1/services/{ID}.service"))
        self.assertIn(f"\nSystemdService={ID}.service\n", self.text(f"usr/share/dbus-1/services/{ID}.service"))
        self.assertIn(f"\nBusName={name}\n", self.text(f"usr/lib/systemd/user/{ID}.service"))

    def test_the_guard_of_the_sound_is_where_the_program_looks_for_it(self):
        source = (ROOT / "Sources/QuenstalLinux/Audio/SoundGuard.cpp").read_text()
        places = re.findall(r'folder / "([^"]+)"', source)
        guard = [package.root / "usr/bin" / place for place in places if (package.root / "usr/bin" / place).exists()]
        self.assertEqual(len(guard), 1, places)
        told = self.tool(guard[0])
        self.assertEqual((told.returncode, told.stdout),
                         (1, "The guard of the sound cannot run: it is started by quenstal, and by nobody else.\n"))

    def test_the_package_brings_every_module_that_the_views_import(self):
        views = (ROOT / "Sources/QuenstalQt/qml").glob("*.qml")
        imported = {line.split()[1] for view in views for line in view.read_text().splitlines()
                    if line.startswith("import ")}
        modules = {name for name in imported if not name.startswith("Quenstal.")}
        self.assertTrue(modules)
        depends = re.findall(r"qml6-module-[\w-]+", package.field("Depends"))
        # The toolkit's own module imports the second one.
        modules.add("QtQml.WorkerScript")
        self.assertEqual({"qml6-module-" + name.lower().replace(".", "-") for name in modules}, set(depends))

    def test_there_is_one_version(self):
        project = re.search(r"project\(Quenstal VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text()).group(1)
        environment = {name: value for name, value in os.environ.items() if "DISPLAY" not in name}
        said = subprocess.run([package.root / "usr/bin/quenstal", "--version"], env=environment, check=True,
                              capture_output=True, text=True).stdout
        self.assertEqual(said, f"Quenstal {project}\n")
        self.assertEqual(package.field("Version"), f"{project}-1")
        self.assertIn(f'<release version="{project}"', self.text(f"usr/share/metainfo/{ID}.metainfo.xml"))
        newest = re.search(r"^## (\d\S*)", (ROOT / "CHANGELOG.md").read_text(), re.MULTILINE).group(1)
        self.assertEqual(newest, project)

    def test_the_licence_is_the_repositorys(self):
        terms = " ".join((ROOT / "LICENSE").read_text().split("\n", 4)[4].split())
        installed = " ".join(self.text("usr/share/doc/quenstal/copyright").replace("\n .\n", "\n").split())
        self.assertIn(terms, installed)

    def test_no_file_sends_its_readers_to_an_address(self):
        # The project has none that somebody reads. A package's own changelog has to name its builder's.
        formats = ("http://www.w3.org/", "http://www.freedesktop.org/standards/", "https://www.debian.org/doc/")
        for file in package.files():
            content = (package.root / file).read_bytes()
            text = (gzip.decompress(content) if file.endswith(".gz") else content).decode(errors="ignore")
            if file.endswith("changelog.Debian.gz") or "\0" in text:
                continue
            found = re.findall(r"https?://[^\s\"<>]+|[\w.-]+@[\w-]+\.[a-z]{2,}", text)
            self.assertEqual([address for address in found if not address.startswith(formats)], [], file)

    def test_lintian(self):
        said = self.tool("lintian", "--fail-on", "error,warning", package.file)
        remarks = [line for line in said.stdout.splitlines() if not line.startswith("running with root privileges")]
        self.assertEqual((said.returncode, remarks), (0, []))


class System(PackageCase):
    """The package on a system that holds nothing else, without its scripts' touching this one."""

    # What was there before, and accounts, which stay as those of packages do.
    OTHERS = {"etc", "etc/passwd", "etc/group", "etc/shadow", "etc/gshadow", "etc/.pwd.lock", "var", "var/lib"}

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="quenstal-system-")
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        (self.root / "etc").mkdir()
        for name in ("info", "updates", "triggers"):
            (self.root / "var/lib/dpkg" / name).mkdir(parents=True)
        for name in ("status", "available"):
            (self.root / "var/lib/dpkg" / name).touch()

    def dpkg(self, *action):
        as_root = [] if os.geteuid() == 0 else ["unshare", "--map-root-user"]
        if as_root and subprocess.run([*as_root, "true"], capture_output=True, check=False).returncode != 0:
            self.skipTest("neither root nor name spaces to be root in")
        finished = self.tool(*as_root, "dpkg", f"--root={self.root}", "--force-script-chrootless", "--force-depends",
                             "--log=/dev/null", *action)
        self.assertEqual(finished.returncode, 0, finished.stdout)

    def there(self):
        found = {str(path.relative_to(self.root)) for path in self.root.rglob("*")}
        return {path for path in found - self.OTHERS if not path.startswith("var/lib/dpkg")}

    def test_comes_and_goes(self):
        self.dpkg("--install", package.file)
        self.assertLessEqual(set(package.files()), self.there())
        self.assertIn("quenstal-keyd", (self.root / "etc/passwd").read_text())

        self.dpkg("--remove", "quenstal")
        kept = {path for path in self.there() if (self.root / path).is_file()}
        self.assertEqual(kept, {f"etc/xdg/autostart/{ID}.desktop"})

        self.dpkg("--purge", "quenstal")
        self.assertEqual(self.there(), set())

    def test_a_start_with_the_session_that_the_user_took_away_stays_away(self):
        entry = self.root / f"etc/xdg/autostart/{ID}.desktop"
        self.dpkg("--install", package.file)
        entry.unlink()
        self.dpkg("--install", package.file)
        self.assertFalse(entry.exists())


class InASession(PackageCase):
    """The packaged program, started by the bus of a desktop session."""

    def setUp(self):
        data = tempfile.TemporaryDirectory(prefix="quenstal-data-")
        self.addCleanup(data.cleanup)
        services = pathlib.Path(data.name) / "dbus-1/services"
        services.mkdir(parents=True)
        program = f"{package.root}/usr/bin/quenstal"
        service = self.text(f"usr/share/dbus-1/services/{ID}.service")
        (services / f"{ID}.service").write_text(service.replace("Exec=/usr/bin/quenstal", f"Exec={program}"))
        with unittest.mock.patch.dict(os.environ, XDG_DATA_HOME=data.name):
            os.environ.pop("XDG_CONFIG_HOME", None)
            try:
                self.session = Session()
                self.addCleanup(self.session.close)
                # With a tray, and the guide seen, no panel opens by itself.
                self.session.start_tray()
            except Missing as missing:
                self.skipTest(f"not installed: {missing}")
        preferences = pathlib.Path(self.session.folder.name) / ".config/quenstal/preferences.json"
        preferences.parent.mkdir(parents=True)
        preferences.write_text('{"Quenstal.SetupGuideCompleted": true}')
        self.program = program

    def quenstal(self, *options):
        return subprocess.run([self.program, *options], env=self.session.environment, capture_output=True, text=True,
                              timeout=15, check=False)

    def call(self, *words):
        said = self.tool("busctl", "--user", "call", *words, env=self.session.environment)
        self.assertEqual(said.returncode, 0, said.stdout)
        return said.stdout

    def end(self):
        """Ends what the bus started; it is nobody's child here."""
        owner = self.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetConnectionUnixProcessID", "s", ID)
        os.kill(int(owner.split()[1]), 15)
        wait_for(lambda: self.quenstal("--report").returncode == 1, "end of the program")

    def test_a_click_on_its_entry_starts_it_and_opens_its_panel(self):
        # As desktops do when they have come up: what the bus starts gets to know where the screen is.
        self.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                  "UpdateActivationEnvironment", "a{ss}", "1", "DISPLAY", self.session.environment["DISPLAY"])
        self.call(ID, "/app/quenstal/Quenstal", "org.freedesktop.Application", "Activate", "a{sv}", "0")
        wait_for(lambda: self.session.windows("Quenstal"), "panel")
        self.end()

    def test_says_what_it_found_and_what_is_missing(self):
        running = self.session.start(self.program, "--tell", stdout=subprocess.PIPE, text=True)
        told = [running.stdout.readline() for _ in range(5)]
        self.assertEqual(told, ["Output:   none\n",
                                "Volume:   Unavailable: there is no output.\n",
                                "Keys:     captured through the X server: mute, volume down and volume up.\n",
                                "Problems: No sound server with an output was found.\n",
                                "            systemctl --user start pipewire.service wireplumber.service\n"])
        self.assertEqual(self.quenstal("--report").stdout, "".join(told))
        second = self.quenstal("--tell")
        self.assertEqual((second.returncode, second.stdout),
                         (0, "Quenstal is already running in this session.\n" + "".join(told)))
        running.stdout.close()

    def test_the_sessions_own_start_leaves_the_one_that_runs_alone(self):
        running = self.session.start(self.program, "--tell", stdout=subprocess.PIPE, text=True)
        running.stdout.readline()
        self.assertEqual(self.quenstal("--background").returncode, 0)
        # A question that is answered after whatever the start above may have asked for.
        self.assertEqual(self.quenstal("--report").returncode, 0)
        self.assertFalse(self.session.windows("Quenstal"))
        self.assertEqual(self.quenstal().returncode, 0)
        wait_for(lambda: self.session.windows("Quenstal"), "panel")
        running.stdout.close()


if __name__ == "__main__":
    script_suite.run()
