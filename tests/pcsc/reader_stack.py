"""A pcscd with a virtual reader, and cards in it, for the tests alone.

pcscd has one fixed place for its socket. So the tests run in a mount namespace of their own, where that place is
empty: by root as it is, by others with a user namespace if the system lets them.
"""

import ctypes
import os
import pathlib
import signal
import socket
import subprocess
import sys
import time

SOCKETS = pathlib.Path("/run/pcscd")
DRIVER = "/usr/lib/pcsc/drivers/serial/libifdvpcd.so"
INSIDE = "ZELMO_READER_STACK"


def enter():
    """Runs this program again where it has /run/pcscd for itself; returns there. Where that cannot be had, says so and
    ends as skipped."""
    if os.environ.get(INSIDE):
        subprocess.run(["mount", "-t", "tmpfs", "none", SOCKETS], check=True)
        return
    namespace = ["unshare", "--mount"] + ([] if os.geteuid() == 0 else ["--map-root-user"])
    SOCKETS.mkdir(exist_ok=True) if os.geteuid() == 0 else None
    if not SOCKETS.is_dir() or subprocess.run([*namespace, "true"], stderr=subprocess.DEVNULL).returncode != 0:
        print("skipped: a mount namespace cannot be had here, and there would be two pcscd")
        sys.exit(77)
    os.environ[INSIDE] = "1"
    os.execvp(namespace[0], [*namespace, sys.executable, *sys.argv])


def wait_until(holds, what, seconds=20):
    end = time.monotonic() + seconds
    while not holds():
        if time.monotonic() > end:
            raise TimeoutError(what)
        time.sleep(0.01)


def free_port():
    """The first of two ports that nobody uses: the virtual reader has two slots."""
    for port in range(36000, 60000, 2):
        try:
            for slot in (port, port + 1):
                with socket.socket() as probe:
                    probe.bind(("127.0.0.1", slot))
            return port
        except OSError:
            pass


class Daemon:
    """pcscd with one virtual reader of two slots."""

    def __init__(self, folder):
        self.port = free_port()
        self.config = folder / "reader.conf"
        self.config.write_text(f'FRIENDLYNAME "Virtual PCD"\nDEVICENAME /dev/null:0x{self.port:X}\n'
                               f"LIBPATH {DRIVER}\nCHANNELID 0x{self.port:X}\n")
        self.log = folder / "pcscd.log"
        self.start()

    def start(self):
        for left in SOCKETS.iterdir():
            left.unlink()
        with self.log.open("w") as log:
            self.process = subprocess.Popen(["pcscd", "--foreground", "--config", self.config], stdout=log,
                                            stderr=subprocess.STDOUT)
        wait_until((SOCKETS / "pcscd.comm").exists, "pcscd does not come up")

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait(10)


class Vcard:
    """A card in a slot of the reader. What zelmo-vcard says is in `said`."""

    def __init__(self, program, folder, image, port, *options, reader):
        self.reader = reader
        self.said = folder / f"vcard-{port}.txt"
        with self.said.open("w") as said:
            self.process = subprocess.Popen([program, "--port", str(port), *options, image], stdout=said,
                                            stderr=subprocess.STDOUT)
        wait_until(lambda: "In the reader" in self.said.read_text(), self.said.read_text())

    def remove(self):
        """Ends it, and waits until pcscd has noticed."""
        self.process.terminate()
        self.process.wait(10)
        wait_until(lambda: not card_in(self.reader), "pcscd does not notice that the card has left")


class OtherProgram:
    """Another user of the reader, by way of the PC/SC library itself."""

    SHARED, ANY_PROTOCOL, LEAVE, RESET = 2, 3, 0, 1

    def __init__(self):
        self.pcsc = ctypes.CDLL("libpcsclite.so.1")
        for function in "SCardEstablishContext", "SCardConnect", "SCardReconnect", "SCardDisconnect":
            getattr(self.pcsc, function).restype = ctypes.c_ulong
        self.context, self.card, self.protocol = ctypes.c_long(), ctypes.c_long(), ctypes.c_ulong()
        if self.pcsc.SCardEstablishContext(ctypes.c_ulong(2), None, None, ctypes.byref(self.context)) != 0:
            raise OSError("no PC/SC service")

    def connects(self, reader):
        """Whether there is a card that can be connected to."""
        return self.pcsc.SCardConnect(self.context, reader.encode(), ctypes.c_ulong(self.SHARED),
                                      ctypes.c_ulong(self.ANY_PROTOCOL), ctypes.byref(self.card),
                                      ctypes.byref(self.protocol)) == 0

    def reset(self):
        self.pcsc.SCardReconnect(self.card, ctypes.c_ulong(self.SHARED), ctypes.c_ulong(self.ANY_PROTOCOL),
                                 ctypes.c_ulong(self.RESET), ctypes.byref(self.protocol))

    def end(self):
        self.pcsc.SCardDisconnect(self.card, ctypes.c_ulong(self.LEAVE))
        self.pcsc.SCardReleaseContext(self.context)


def card_in(reader):
    """Whether pcscd has noticed a card in the reader."""
    try:
        program = OtherProgram()
    except OSError:
        return False
    found = program.connects(reader)
    program.end()
    return found
