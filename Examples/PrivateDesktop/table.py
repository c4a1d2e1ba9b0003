"""What was expected and what was measured, told as it goes and as a table in the end."""

import dataclasses
import sys
import time

WIDTHS = (34, 20, 20)


def percent(share):
    return f"{100 * share:.0f} %"


def decibels(level):
    return "silence" if level is None else f"{level:+.1f} dB"


def is_level(expected, measured):
    """In decibels; None is silence."""
    return expected is measured if None in (expected, measured) else abs(expected - measured) <= 0.3


def fitted(text, width):
    return text if len(text) <= width else text[:width - 1] + "…"


@dataclasses.dataclass
class Row:
    what: str
    expected: str
    measured: str
    is_right: bool

    def __str__(self):
        cells = (fitted(text, width).ljust(width) for text, width in zip((self.what, self.expected, self.measured), WIDTHS))
        return "  " + "  ".join(cells) + ("  ok" if self.is_right else "  WRONG")


class Table:
    def __init__(self):
        self.acts = []
        self.began = time.monotonic()

    def begin(self, act):
        self.acts.append((act, []))
        self.act_began = time.monotonic()
        print(f"  {len(self.acts):2}. {act:<62}", end="", flush=True)

    def finish(self):
        rows = self.acts[-1][1]
        verdict = "ok" if rows and all(row.is_right for row in rows) else "WRONG"
        print(f"{time.monotonic() - self.act_began:5.1f} s  {verdict}", flush=True)

    def expect(self, what, expected, measured, is_right=None):
        """Right when both are the same, unless it is said otherwise."""
        right = expected == measured if is_right is None else is_right
        self.acts[-1][1].append(Row(what, str(expected), str(measured), bool(right)))

    def rows(self):
        return [row for _, rows in self.acts for row in rows]

    def show(self):
        """The table and its sum; whether all is right."""
        titles = [title.ljust(width) for title, width in zip(("", "expected", "measured"), WIDTHS)]
        print("\n" + "  " + "  ".join(titles).rstrip())
        for act, rows in self.acts:
            print("\n" + act)
            for row in rows:
                print(row)
        right = sum(row.is_right for row in self.rows())
        print(f"\n{right} of {len(self.rows())} as expected, in {time.monotonic() - self.began:.0f} seconds.", flush=True)
        sys.stdout.flush()
        return right == len(self.rows())
