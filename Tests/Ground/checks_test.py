#!/usr/bin/env python3
"""The checks of the source text, over small folders that keep the rules and folders that break them."""

import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "Tests" / "Support"))
import script_suite  # noqa: E402


class Check(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="a folder ")
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def write(self, path, text):
        file = self.root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)
        return file

    def run_check(self, name, *options):
        finished = subprocess.run([sys.executable, ROOT / "tools" / f"{name}.py", "--root", self.root, *options],
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        self.assertEqual(finished.stdout.endswith("1 passed, 0 failed\n"), finished.returncode == 0, finished.stdout)
        if finished.stdout.startswith("skipped:"):
            self.skipTest(finished.stdout.splitlines()[0])
        return finished.stdout, finished.returncode == 0


class Includes(Check):
    ALLOWED = [
        ("QuenstalCore/A.cpp", "<vector>"),
        ("QuenstalCore/A.cpp", '"QuenstalCore/Known.hpp"'),
        ("QuenstalCore/Models/Json.hpp", "<nlohmann/json.hpp>"),
        ("QuenstalDDC/A.cpp", '"QuenstalPlatform/Known.hpp"'),
        ("QuenstalDDC/A.cpp", "<immintrin.h>"),
        ("QuenstalApp/A.cpp", '"QuenstalDDC/Known.hpp"'),
        ("QuenstalApp/PresentableText.cpp", "<glib.h>"),
        ("Quenstal/A.cpp", '"QuenstalLinux/Known.hpp"'),
        ("Quenstal/A.cpp", '"QuenstalQt/Known.hpp"'),
        ("Quenstal/A.cpp", '"QuenstalLinux/Bus/Known.hpp"'),
        ("QuenstalApp/Adapters/A.cpp", '"QuenstalCore/Known.hpp"'),
        ("QuenstalLinux/Audio/A.cpp", "<pipewire/pipewire.h>"),
        ("QuenstalLinux/Audio/A.cpp", '"QuenstalLinux/Known.hpp"'),
        ("QuenstalLinux/Keys/A.cpp", '"QuenstalLinux/Bus/Known.hpp"'),
        ("QuenstalKeyService/A.cpp", '"QuenstalLinux/Bus/Known.hpp"'),
        ("QuenstalQt/A.cpp", "<QQuickView>"),
        ("QuenstalQt/A.cpp", "<QtQml/qqml.h>"),
        ("QuenstalQt/A.cpp", "<QtMath>"),
        ("QuenstalQt/A.cpp", '"QuenstalApp/Known.hpp"'),
        ("QuenstalQt/A.cpp", '"QuenstalFreedesktop/Known.hpp"'),
        ("QuenstalFreedesktop/A.cpp", "<QDBusMessage>"),
        ("QuenstalFreedesktop/A.cpp", "<QProcess>"),
        ("QuenstalFreedesktop/A.cpp", "<QImage>"),
        ("QuenstalFreedesktop/A.cpp", '"QuenstalPlatform/Known.hpp"'),
        ("QuenstalSimulation/A.cpp", '"QuenstalPlatform/Known.hpp"'),
    ]
    FORBIDDEN = [
        ("QuenstalCore/A.cpp", '"QuenstalPlatform/Known.hpp"'),
        ("QuenstalCore/A.cpp", "<unistd.h>"),
        ("QuenstalCore/A.cpp", "<nlohmann/json.hpp>"),
        ("QuenstalCore/A.cpp", '"Known.hpp"'),
        ("QuenstalCore/A.cpp", '"../QuenstalCore/Known.hpp"'),
        ("QuenstalCore/A.cpp", '"QuenstalCore/Unknown.hpp"'),
        ("QuenstalCore/A.cpp", "HEADER"),
        ("QuenstalPlatform/A.hpp", '"QuenstalCore/Known.hpp"'),
        ("QuenstalPlatform/A.hpp", "<linux/i2c.h>"),
        ("QuenstalDDC/A.cpp", '"QuenstalCore/Known.hpp"'),
        ("QuenstalDDC/A.cpp", '"QuenstalApp/Known.hpp"'),
        ("QuenstalApp/A.cpp", '"QuenstalLinux/Known.hpp"'),
        ("QuenstalApp/A.cpp", "<glib.h>"),
        ("QuenstalApp/A.cpp", "<QObject>"),
        ("QuenstalLinux/A.cpp", '"QuenstalQt/Known.hpp"'),
        ("QuenstalLinux/A.cpp", '"QuenstalCore/Known.hpp"'),
        ("QuenstalLinux/A.cpp", "<QObject>"),
        ("QuenstalLinux/A.cpp", '"QuenstalLinux/Bus/Known.hpp"'),
        ("QuenstalLinux/Audio/A.cpp", '"QuenstalLinux/Bus/Known.hpp"'),
        ("QuenstalLinux/Bus/A.cpp", '"QuenstalLinux/Audio/Known.hpp"'),
        ("QuenstalKeyService/A.cpp", '"QuenstalLinux/Audio/Known.hpp"'),
        ("QuenstalLinux/Shed/A.cpp", "<vector>"),
        ("QuenstalLinux/A.cpp", "<QtCore/qglobal.h>"),
        ("QuenstalQt/A.cpp", '"QuenstalLinux/Known.hpp"'),
        ("QuenstalQt/A.cpp", '"QuenstalDDC/Known.hpp"'),
        ("QuenstalQt/A.cpp", "<xcb/xcb.h>"),
        ("QuenstalQt/A.cpp", "<QDBusConnection>"),
        ("QuenstalQt/A.cpp", "<QtDBus/QDBusMessage>"),
        ("QuenstalQt/A.cpp", "<QProcess>"),
        ("QuenstalFreedesktop/A.cpp", '"QuenstalQt/Known.hpp"'),
        ("QuenstalFreedesktop/A.cpp", '"QuenstalApp/Known.hpp"'),
        ("QuenstalFreedesktop/A.cpp", "<QQuickWindow>"),
        ("QuenstalFreedesktop/A.cpp", "<QtQml/qqml.h>"),
        ("QuenstalFreedesktop/A.cpp", "<unistd.h>"),
        ("Quenstal/A.cpp", '"QuenstalFreedesktop/Known.hpp"'),
        ("Quenstal/A.cpp", "<unistd.h>"),
        ("QuenstalApp/A.cpp", '"Quenstal/Known.hpp"'),
        ("QuenstalSimulation/A.cpp", '"QuenstalLinux/Known.hpp"'),
        ("QuenstalSimulation/A.cpp", '"QuenstalCore/Known.hpp"'),
        ("QuenstalShed/A.cpp", "<vector>"),
    ]

    def holds(self, path, include):
        shutil.rmtree(self.root / "Sources", ignore_errors=True)
        for room in ("", "Core", "Platform", "DDC", "App", "Linux", "Linux/Audio", "Linux/Bus", "Freedesktop", "Qt",
                     "Simulation"):
            self.write(f"Sources/Quenstal{room}/Known.hpp", "#pragma once\n")
        self.write(f"Sources/{path}", f"#pragma once\n#  include {include} // why\n")
        return self.run_check("check_includes")

    def test_what_the_table_allows_is_allowed(self):
        for path, include in self.ALLOWED:
            with self.subTest(path=path, include=include):
                output, held = self.holds(path, include)
                self.assertTrue(held, output)

    def test_what_the_table_does_not_allow_is_named_with_its_line(self):
        for path, include in self.FORBIDDEN:
            with self.subTest(path=path, include=include):
                output, held = self.holds(path, include)
                self.assertFalse(held)
                self.assertIn(f"Sources/{path}", output)

    def test_a_folder_without_sources_does_not_pass(self):
        self.assertFalse(self.run_check("check_includes")[1])


class Names(Check):
    FIRST = "namespace quenstal {\n\nclass Tap final : public Interface {\n};\n\n} // namespace quenstal\n"
    OF_ITS_OWN = [
        "namespace quenstal {\nnamespace {\n\nclass Tap {\n};\n\n} // namespace\n} // namespace quenstal\n",
        "namespace other {\n\nclass Tap {\n};\n\n} // namespace other\n",
        "namespace quenstal {\n\nclass Tap;\nclass Owner::Tap {\n};\nclass Tapped {\n};\n\n} // namespace quenstal\n",
        "namespace quenstal {\n\ntemplate <>\nstruct Table<Tap> {\n};\n\n} // namespace quenstal\n",
    ]
    ONCE_MORE = [
        "namespace quenstal {\n\nstruct Tap {\n};\n\n} // namespace quenstal\n",
        "namespace quenstal {\n\nenum class Tap { open };\n\n} // namespace quenstal\n",
        "namespace quenstal {\n\ntemplate <typename T>\nclass Tap {\n};\n\n} // namespace quenstal\n",
        "namespace quenstal {\n\nclass Tap\n    : public A\n    , public B {\n};\n\n} // namespace quenstal\n",
        "namespace quenstal {\nnamespace {\nint a = 0;\n} // namespace\n\nclass Tap {\n};\n} // namespace quenstal\n",
    ]

    def names(self, second):
        self.write("Sources/Room/A.hpp", self.FIRST)
        self.write("Tests/Room/B.cpp", second)
        return self.run_check("check_names")

    def test_a_name_hidden_or_of_another_kind_is_its_own(self):
        for second in self.OF_ITS_OWN:
            with self.subTest(second=second):
                output, held = self.names(second)
                self.assertTrue(held, output)

    def test_a_second_definition_is_named_with_both_its_places(self):
        for second in self.ONCE_MORE:
            with self.subTest(second=second):
                output, held = self.names(second)
                self.assertFalse(held)
                self.assertIn("quenstal::Tap is defined in Sources/Room/A.hpp and in Tests/Room/B.cpp", output)

    def test_a_folder_without_types_does_not_pass(self):
        self.assertFalse(self.run_check("check_names")[1])


class Format(Check):
    def setUp(self):
        super().setUp()
        shutil.copy(ROOT / ".clang-format", self.root)

    def test_formatted_files_pass(self):
        self.write("Sources/A.cpp", "int a()\n{\n    return 1;\n}\n")
        output, held = self.run_check("check_format")
        self.assertTrue(held, output)

    def test_one_file_in_another_form_fails_and_can_be_put_right(self):
        file = self.write("Tests/B.hpp", "int  b( ) { return 1 ; }\n")
        output, held = self.run_check("check_format")
        self.assertFalse(held)
        self.assertIn("B.hpp", output)
        self.run_check("check_format", "--fix")
        self.assertEqual(file.read_text(), "int b()\n{\n    return 1;\n}\n")


class Tidy(Check):
    def setUp(self):
        super().setUp()
        shutil.copy(ROOT / ".clang-tidy", self.root)
        self.header = self.write("Sources/Room/A.hpp", "#pragma once\nint a(int* p);\n")
        self.source = self.write("Sources/Room/A.cpp", '#include "Room/A.hpp"\nint a(int* p)\n{\n    return *p = 1;\n}\n')
        self.write("tree/compile_commands.json", json.dumps([{
            "directory": str(self.root / "tree"), "file": str(self.source),
            "command": f"g++ -Wshadow=local -std=c++20 \"-I{self.root}/Sources\" -c \"{self.source}\""}]))

    def tidy(self):
        return self.run_check("check_tidy", "--tree", self.root / "tree", "Sources/Room")

    def test_a_good_file_is_looked_at_once(self):
        self.assertIn("1 files, 1 of them looked at", self.tidy()[0])
        self.assertIn("1 files, 0 of them looked at", self.tidy()[0])

    def test_a_bad_file_fails_until_it_is_mended(self):
        good = self.source.read_text()
        self.source.write_text(good + "int* nothing() { return 0; }\n")
        for _ in range(2):
            output, held = self.tidy()
            self.assertFalse(held)
            self.assertIn("modernize-use-nullptr", output)
        self.source.write_text(good)
        self.assertTrue(self.tidy()[1])

    def test_a_changed_header_is_looked_at_through_its_includers(self):
        self.assertTrue(self.tidy()[1])
        self.header.write_text(self.header.read_text() + "inline int* nothing() { return 0; }\n")
        output, held = self.tidy()
        self.assertFalse(held)
        self.assertIn("A.hpp", output)

    def test_a_changed_configuration_looks_at_everything_again(self):
        self.assertTrue(self.tidy()[1])
        with (self.root / ".clang-tidy").open("a") as configuration:
            configuration.write("# changed\n")
        self.assertIn("1 files, 1 of them looked at", self.tidy()[0])

    def test_a_folder_without_compiled_files_does_not_pass(self):
        self.assertFalse(self.run_check("check_tidy", "--tree", self.root / "tree", "Sources/Other")[1])


if __name__ == "__main__":
    script_suite.run()
