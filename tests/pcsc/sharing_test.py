"""Ten programs at once on one card: nobody sees half of a change, and no change is lost."""

import json
import os
import subprocess
import threading
import time
import unittest

import reader_stack
from reader_case import READER, ReaderCase

from pin_case import PinCase, common  # reader_case has made it known
from token_objects import data_object
from zelmo_case import DATA, ZELMO

COUNTER = os.environ["ZELMO_COUNTER_HOST"]


class Sharing(ReaderCase, PinCase):
    def shared_card(self, name="token.card"):
        """Two data objects that anybody may write, both labelled with a number."""
        def change(model):
            directory = next(d for d in model["directories"] if d["type"] == 7)
            directory["objects"] = [(n, data_object(common("000000", ["modifiable"]), {}, {"value": ("path", {
                "path": b"\x4D\x01"})})) for n in (1, 2)]

        def edit(image):
            application = image["root"]["files"][-1]
            next(f for f in application["files"] if f["fid"] == "4407")["access"]["update"] = "always"
        return self.token(change, "records", edit, name)

    def numbers(self):
        listing = json.loads(self.zelmo("--reader", self.reader, "list", "--json")[0])
        return [int(o["label"]) for o in listing["objects"] if o["type"] == "dataObjects"]

    def lister(self):
        first, second = self.numbers()
        self.assertEqual(first, second)

    def certificate_reader(self):
        read = self.zelmo("--reader", self.reader, "cert", "read", "CA certificate", raw=True)[0]
        self.assertEqual(read, (DATA / "pki" / "ca.cert.der").read_bytes())

    def pin_changer(self):
        """Turns the PIN round and round; nobody else does."""
        self.pins.reverse()
        self.zelmo("--reader", self.reader, "pin", "change", "PIN", pins=self.pins)

    def repeat(self, work):
        """In a thread of its own, until the time is over. The first failure is kept."""
        def run():
            try:
                while time.monotonic() < self.end:
                    work()
            except Exception as failure:  # noqa: BLE001
                self.failures.append(failure)
        thread = threading.Thread(target=run)
        thread.start()
        return thread

    def share(self, reader, seconds):
        self.reader, self.failures, self.pins = reader, [], ["4321", "1234"]
        self.end = time.monotonic() + seconds
        hosts = [subprocess.Popen([COUNTER, reader, str(seconds), kind], env=self.environment(), text=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE) for kind in ["count"] * 4 + ["read"] * 2]
        threads = [self.repeat(work) for work in (self.lister, self.lister, self.certificate_reader, self.pin_changer)]
        done = [host.communicate() for host in hosts]
        for thread in threads:
            thread.join()
        self.assertEqual([host.returncode for host in hosts], [0] * 6, done)
        self.assertEqual(self.failures, [])
        counted = sum(int(out) for out, _ in done)
        self.assertEqual(self.numbers(), [counted, counted])
        self.assertGreater(min(int(out) for out, _ in done[:4]), 0, "somebody never had a turn")
        self.zelmo("--reader", reader, "pin", "verify", "PIN", pins=[self.pins[1]])
        print(f"{reader}: counted to {counted}")

    def test_in_a_reader(self):
        self.insert(self.shared_card())
        self.share(READER, 60)

    def test_nothing_is_left_of_a_killed_program(self):
        self.insert(self.shared_card())
        for reader in READER, f"virtual:{self.shared_card('embedded.card')}":
            with subprocess.Popen([COUNTER, reader, "60", "stay"], env=self.environment(), stdout=subprocess.PIPE) as host:
                self.assertEqual(host.stdout.readline(), b"taken\n")
                waiting = subprocess.Popen([ZELMO, "--reader", reader, "list"], env=self.environment(),
                                           stdout=subprocess.DEVNULL)
                time.sleep(0.5)
                self.assertIsNone(waiting.poll())
                host.kill()
            self.assertEqual(waiting.wait(30), 0)

    def test_embedded(self):
        self.share(f"virtual:{self.shared_card()}", 10)


if __name__ == "__main__":
    reader_stack.enter()
    unittest.main()
