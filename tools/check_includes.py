#!/usr/bin/env python3
"""Holds every #include under Sources/ to the table of rooms: who may know whom."""

import argparse
import pathlib
import re

import lints

STANDARD_LIBRARY = frozenset("""
    algorithm any array atomic barrier bit bitset cassert cctype cerrno cfenv cfloat charconv chrono cinttypes
    climits clocale cmath codecvt compare complex concepts condition_variable coroutine csetjmp csignal cstdarg
    cstddef cstdint cstdio cstdlib cstring ctime cuchar cwchar cwctype deque exception execution filesystem format
    forward_list fstream functional future initializer_list iomanip ios iosfwd iostream istream iterator latch
    limits list locale map memory memory_resource mutex new numbers numeric optional ostream queue random ranges
    ratio regex scoped_allocator semaphore set shared_mutex source_location span sstream stack stdexcept stop_token
    streambuf string string_view strstream syncstream system_error thread tuple type_traits typeindex typeinfo
    unordered_map unordered_set utility valarray variant vector version
""".split())

QT = r"(Q[A-Z]\w*$|Qt\w*(/|$)|q[a-z]+\.h$)"
# The parts of the toolkit for the session's buses and other programs, and those for windows and views.
QT_OF_THE_SESSION = r"(QDBus|QtDBus|QProcess)"
QT_OF_VIEWS = r"(QQuick|QQml|QtQuick|QtQml)"
TOOLKIT = re.compile(f"(?!{QT_OF_THE_SESSION}){QT}")
SERVICES = re.compile(f"(?!{QT_OF_VIEWS}){QT}")
# The processor's vector instructions, which the sample kernels are written in.
VECTORS = re.compile(r"(immintrin|arm_neon)\.h$")
# The simulated run loop watches real descriptors.
WAITING = re.compile(r"poll\.h$")
SYSTEM = re.compile(r"(?!Q[A-Z]|Qt|qt).+")
NOTHING = re.compile(r"(?!)")


class Room:
    """Which rooms and which headers beyond the standard library a room may include."""

    def __init__(self, *rooms, foreign=NOTHING):
        self.rooms = frozenset(rooms)
        self.foreign = foreign


ROOMS = {
    "QuenstalCore": Room(),
    "QuenstalPlatform": Room(),
    "QuenstalDDC": Room("QuenstalPlatform", foreign=VECTORS),
    "QuenstalApp": Room("QuenstalCore", "QuenstalDDC", "QuenstalPlatform"),
    # What the rooms inside it share.
    "QuenstalLinux": Room("QuenstalPlatform", foreign=SYSTEM),
    "QuenstalLinux/Audio": Room("QuenstalLinux", "QuenstalPlatform", foreign=SYSTEM),
    "QuenstalLinux/Bus": Room("QuenstalLinux", "QuenstalPlatform", foreign=SYSTEM),
    "QuenstalLinux/Desktop": Room("QuenstalLinux", "QuenstalPlatform", foreign=SYSTEM),
    "QuenstalLinux/Display": Room("QuenstalLinux", "QuenstalPlatform", foreign=SYSTEM),
    "QuenstalLinux/Keyboards": Room("QuenstalLinux", "QuenstalPlatform", foreign=SYSTEM),
    "QuenstalLinux/Keys": Room("QuenstalLinux", "QuenstalLinux/Bus", "QuenstalLinux/Keyboards", "QuenstalPlatform",
                               foreign=SYSTEM),
    "QuenstalLinux/Session": Room("QuenstalLinux", "QuenstalLinux/Bus", "QuenstalPlatform", foreign=SYSTEM),
    "QuenstalKeyService": Room("QuenstalLinux", "QuenstalLinux/Bus", "QuenstalLinux/Keyboards", "QuenstalPlatform",
                               foreign=SYSTEM),
    "QuenstalSoundGuard": Room("QuenstalLinux", "QuenstalLinux/Audio", "QuenstalLinux/Bus", "QuenstalPlatform",
                               foreign=SYSTEM),
    "QuenstalFreedesktop": Room("QuenstalPlatform", foreign=SERVICES),
    "QuenstalQt": Room("QuenstalApp", "QuenstalCore", "QuenstalFreedesktop", "QuenstalPlatform", foreign=TOOLKIT),
    "QuenstalSimulation": Room("QuenstalPlatform", foreign=WAITING),
}
# The one place that composes.
ROOMS["Quenstal"] = Room("QuenstalApp", "QuenstalPlatform", "QuenstalQt",
                         *(name for name in ROOMS if name.startswith("QuenstalLinux")))
EXCEPTIONS = {
    # A session excludes its own process from what it captures.
    "QuenstalDDC/SoftwareVolumeTap/Session.cpp": Room("QuenstalPlatform", foreign=re.compile(r"unistd\.h$")),
    # The base class that ports share with the seam's interfaces; the core uses nothing else of that room.
    "QuenstalCore/Ports.hpp": Room("QuenstalPlatform"),
    # Another library knows the classes of characters.
    "QuenstalApp/PresentableText.cpp": Room("QuenstalApp", foreign=re.compile(r"glib\.h$")),
    "QuenstalCore/Models/Json.hpp": Room(foreign=re.compile(r"nlohmann/")),
    "QuenstalCore/Models/Json.cpp": Room(foreign=re.compile(r"nlohmann/")),
}

INCLUDE = re.compile(r'^\s*#\s*(?:include|import)\s*(?P<rest>.*)$')
NAMED = re.compile(r'<(?P<angled>[^>]+)>|"(?P<quoted>[^"]+)"')


def room_of(path):
    """The name of the innermost room that contains a file, given its path below Sources/; None if there is none."""
    folder = path.rpartition("/")[0]
    if folder in ROOMS:
        return folder
    outer = room_of(folder) if folder else None
    # A room that contains rooms has no other folders.
    return None if any(name.startswith(f"{outer}/") for name in ROOMS) else outer


def fault_of(room_name, room, sources, named):
    """What is wrong with one include, None if it is allowed."""
    if quoted := named["quoted"]:
        target = room_of(quoted)
        if room_name in ("QuenstalFreedesktop", "QuenstalQt") and quoted.endswith(".moc"):
            return None
        if not target:
            return "does not begin with the name of a room"
        if target != room_name and target not in room.rooms:
            return f"{room_name} may not include {target}"
        return None if (sources / quoted).is_file() else "does not exist"
    angled = named["angled"]
    if angled in STANDARD_LIBRARY or room.foreign.match(angled):
        return None
    return f"{room_name} may not include it"


def faults_in(path, sources):
    relative = path.relative_to(sources).as_posix()
    room_name = room_of(relative)
    if not room_name:
        return [f"Sources/{relative}: {relative.rpartition('/')[0]} is not a room in the table"]
    room = EXCEPTIONS.get(relative, ROOMS[room_name])
    faults = []
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), start=1):
        if not (include := INCLUDE.match(line)):
            continue
        named = NAMED.match(include["rest"])
        fault = fault_of(room_name, room, sources, named) if named else "names no file"
        if fault:
            faults.append(f"Sources/{relative}:{number}: {line.strip()}: {fault}")
    return faults


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--root", type=pathlib.Path, default=lints.ROOT)
    sources = parser.parse_args().root / "Sources"

    files = lints.source_files([sources], {".hpp", ".cpp", ".h", ".c", ".inc"})
    faults = [fault for path in files for fault in faults_in(path, sources)]
    print("\n".join([*faults, f"{len(files)} files"]))
    lints.close(bool(files) and not faults)


if __name__ == "__main__":
    main()
