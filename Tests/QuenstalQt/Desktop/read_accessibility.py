"""Reads the panel as a screen reader does, uses its slider, and prints what it found as JSON.

read_accessibility.py look             uses nothing
read_accessibility.py press NAME...    presses controls, each as soon as it is there, and uses nothing else
"""

import json
import sys
import time

import pyatspi


def application():
    end = time.monotonic() + 20
    while time.monotonic() < end:
        for candidate in pyatspi.Registry.getDesktop(0):
            if candidate and candidate.name.lower() in ("quenstal", "quenstal_stand"):
                return candidate
        time.sleep(0.05)
    sys.exit("the program is not on the accessibility bus")


def walk(node):
    yield node
    for index in range(node.childCount):
        child = node[index]
        if child:
            yield from walk(child)


def wait_for_value(slider, value):
    end = time.monotonic() + 10
    while slider.queryValue().currentValue != value and time.monotonic() < end:
        time.sleep(0.02)
    return slider.queryValue().currentValue


def press(name):
    end = time.monotonic() + 10
    while time.monotonic() < end:
        for node in walk(application()):
            if node.name == name and "Action" in pyatspi.listInterfaces(node):
                action = node.queryAction()
                names = [action.getName(index).lower() for index in range(action.nActions)]
                action.doAction(next(index for index, name in enumerate(names) if name.startswith(("press", "toggle"))))
                return
        time.sleep(0.05)
    sys.exit(f"there is no {name} to press")


def main():
    if sys.argv[1:2] == ["press"]:
        for name in sys.argv[2:]:
            press(name)
    nodes = list(walk(application()))
    tree = [{"role": node.getRoleName(), "name": node.name, "description": node.description} for node in nodes]
    sliders = [node for node in nodes if node.getRoleName() == "slider"]
    values = {}
    for node in sliders:
        value = node.queryValue()
        values[node.name] = [value.currentValue, value.minimumValue, value.maximumValue]
    said = {"tree": tree, "values": values}
    if "Volume" in values and len(sys.argv) == 1:
        use(next(node for node in sliders if node.name == "Volume"), said)
    print(json.dumps(said))


def use(slider, said):
    """An action and a written value, with what the slider has then."""
    action = slider.queryAction()
    names = [action.getName(index).lower() for index in range(action.nActions)]
    action.doAction(next(index for index, name in enumerate(names) if name.startswith("increase")))
    said["increased"] = wait_for_value(slider, 44)
    slider.queryValue().currentValue = 77
    said["written"] = wait_for_value(slider, 77)
    slider.queryValue().currentValue = 1e300
    said["writtenBeyond"] = wait_for_value(slider, 100)


main()
