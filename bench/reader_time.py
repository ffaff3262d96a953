#!/usr/bin/python3
"""How much of the time of `zelmo list` is the card's: a card of 15 ms a command in pcscd's virtual reader.

    bench/reader_time.py BUILD-DIRECTORY TOKEN...    tokens of tests/data/tokens/, such as transparent
"""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "pcsc"))
from reader_stack import Daemon, Vcard, card_in, enter, wait_until  # noqa: E402

READER = "Virtual PCD 00 00"


def listing(zelmo, *options):
    start = time.monotonic()
    done = subprocess.run([zelmo, "--reader", READER, *options, "list"], capture_output=True, text=True, check=True)
    return 1000 * (time.monotonic() - start), done.stderr


def measure(programs, folder, token, port):
    image = folder / f"{token}.card"
    shutil.copy(ROOT / "tests" / "data" / "tokens" / image.name, image)
    vcard = Vcard(programs / "zelmo-vcard", folder, image, port, "--delay", "15", reader=READER)
    wait_until(lambda: card_in(READER), "pcscd does not notice the card")
    # The trace takes time of its own, so that what the card takes and what the whole takes come from different runs.
    waits = [float(ms) for ms in re.findall(r"\((\d+\.\d+) ms\)", listing(programs / "zelmo", "--trace")[1])]
    whole = sorted(listing(programs / "zelmo")[0] for _ in range(9))[4]
    vcard.remove()
    print(f"{token}: {len(waits)} commands, {sum(waits):.0f} of {whole:.0f} ms are the card's: {sum(waits) / whole:.1%}")


enter()
with tempfile.TemporaryDirectory() as name:
    daemon = Daemon(pathlib.Path(name))
    for token in sys.argv[2:]:
        measure(pathlib.Path(sys.argv[1]).resolve() / "bin", pathlib.Path(name), token, daemon.port)
    daemon.stop()
