"""Runs the built zelmo command in a folder of its own."""

import json
import os
import pathlib
import subprocess
import tempfile
import unittest

ZELMO = os.environ["ZELMO"]
DATA = pathlib.Path(os.environ["ZELMO_TEST_DATA"])


class ZelmoCase(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def zelmo(self, *arguments, code=0, env=None, stdout=subprocess.PIPE):
        """Runs the command and returns (stdout, stderr); the exit code must be `code`."""
        environment = {k: v for k, v in os.environ.items() if k not in ("ZELMOCRD_CARDS", "NO_COLOR")}
        done = subprocess.run([ZELMO, *map(str, arguments)], stdout=stdout, stderr=subprocess.PIPE, timeout=60,
                              stdin=subprocess.DEVNULL, env={**environment, **(env or {})})
        out = (done.stdout or b"").decode()
        err = done.stderr.decode()
        self.assertEqual(done.returncode, code, f"{arguments}\n{out}\n{err}")
        return out, err

    def new_card(self, profile, name=None):
        file = self.folder / (name or f"{profile}.card")
        self.zelmo("card", "new", file, "--profile", profile)
        return file

    def edited(self, file, edit, name="edited.card"):
        """A copy of an image after `edit` has worked on its JSON."""
        image = json.loads(pathlib.Path(file).read_text())
        edit(image)
        copied = self.folder / name
        copied.write_text(json.dumps(image))
        return copied

    def list(self, file, *arguments, code=0):
        return self.zelmo("--reader", f"virtual:{file}", "list", *arguments, code=code)

    def list_json(self, file, code=0):
        return json.loads(self.list(file, "--json", code=code)[0])


def find(directory, *fids):
    """The file at a path of identifiers below a directory of an image."""
    for fid in fids:
        directory = next(file for file in directory["files"] if file["fid"] == fid)
    return directory
