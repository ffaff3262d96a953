"""What tests of cards in readers share: a pcscd for each class, cards in its virtual reader."""

import os
import pathlib
import shutil
import sys
import tempfile

from reader_stack import Daemon, Vcard, card_in, wait_until

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "zelmo"))
from zelmo_case import ZelmoCase  # noqa: E402

VCARD = os.environ["ZELMO_VCARD"]
LIBRARIES = os.environ.get("ZELMO_LIBRARIES")  # empty where the libraries cannot be loaded into this program
READERS = ["Virtual PCD 00 00", "Virtual PCD 00 01"]
READER = READERS[0]


class ReaderCase(ZelmoCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.daemon = Daemon(pathlib.Path(folder.name))
        cls.addClassCleanup(lambda: cls.daemon.stop())

    def environment(self, env=None):
        environment = super().environment(env)
        del environment["PCSCLITE_CSOCK_NAME"]
        return environment

    def insert(self, image, *options, slot=0):
        reader = READERS[slot]
        vcard = Vcard(VCARD, self.folder, image, self.daemon.port + slot, *options, reader=reader)
        self.addCleanup(vcard.remove)
        wait_until(lambda: card_in(reader), "pcscd does not notice the card")
        return vcard

    def both(self, image, *command, pins=None):
        """What a command says about a card in the reader is what it says about the same card in the process."""
        copy = self.folder / "embedded.card"
        shutil.copy(image, copy)
        name = f"virtual:{copy}"
        code, out, err = self.run_zelmo("--reader", name, *command, pins=pins)
        expected = code, out.replace(name, READER), err.replace(name, READER)
        self.assertEqual(self.run_zelmo("--reader", READER, *command, pins=pins), expected)
        return copy, code
