"""Where a PIN is in the host's memory: in pages that no core file shows, and after the call nowhere."""

import os
import re
import unittest

from dialog_case import DialogCase, until

PIN = b"7083951264"


def mappings_with(pid, octets):
    """The flags of each mapping that holds the octets, once for each time."""
    found = []
    with open(f"/proc/{pid}/smaps") as smaps, open(f"/proc/{pid}/mem", "rb", 0) as memory:
        for mapping in re.split(r"(?m)^(?=[0-9a-f]+-[0-9a-f]+ )", smaps.read()):
            bounds = re.match(r"([0-9a-f]+)-([0-9a-f]+) rw", mapping)
            if not bounds:
                continue
            start, end = (int(number, 16) for number in bounds.groups())
            memory.seek(start)
            try:
                content = memory.read(end - start)
            except OSError:
                continue
            flags = re.search(r"VmFlags: (.*)", mapping).group(1).split()
            found += [flags] * content.count(octets)
    return found


@unittest.skipIf("asan" in os.environ["ZELMODLG_LIBRARY"], "a sanitizer's shadow is too large to search")
class Memory(DialogCase):
    def assert_gone_after(self, host):
        until((self.folder / "over").exists, "the end of the call")
        self.assertEqual(mappings_with(host.pid, PIN), [])

    def host(self):
        host = self.on_terminal("-w", str(self.folder / "over"), "change", "Change", "64", "64", "4")
        return host

    def assert_kept_well(self, host):
        flags = mappings_with(host.pid, PIN)
        self.assertGreater(len(flags), 0, "the search finds nothing at all")
        for mapping in flags:
            self.assertIn("dd", mapping, "in what a core file shows")

    def test_terminal(self):
        host = self.host()
        host.expect_question(b"Present PIN: ")
        host.type(PIN + b"\n")
        host.expect_question(b"New PIN: ")
        self.assert_kept_well(host)
        host.type(PIN + b"\n")
        host.expect_question(b"New PIN again: ")
        host.type(PIN + b"\n")
        self.assert_gone_after(host)

    def test_program(self):
        answer = f"D {PIN.decode()}\nOK\n"
        self.fake("pinentry-curses", GETPIN=[answer, {"wait": "go", "then": answer}, answer])
        host = self.host()
        until((self.folder / "waiting").exists, "the second question")
        self.assert_kept_well(host)
        (self.folder / "go").touch()
        self.assert_gone_after(host)

    def test_refused(self):
        self.fake("pinentry-curses", GETPIN=[f"D {PIN.decode() * 7}\nOK\n"] * 3)
        self.assert_gone_after(self.host())


if __name__ == "__main__":
    unittest.main()
