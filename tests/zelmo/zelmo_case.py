"""Runs the built zelmo command in a folder of its own."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

ZELMO = os.environ["ZELMO"]
DATA = pathlib.Path(os.environ["ZELMO_TEST_DATA"])
SCRIPTED_PINENTRY = pathlib.Path(__file__).parent / "scripted_pinentry.py"

sys.path.insert(0, str(DATA))
import build_tokens  # noqa: E402
import token_models  # noqa: E402


class ZelmoCase(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def environment(self, env=None):
        hidden = ("ZELMOCRD_CARDS", "NO_COLOR", "DISPLAY", "WAYLAND_DISPLAY", "LANG", "LC_ALL", "LC_MESSAGES")
        base = {k: v for k, v in os.environ.items() if k not in hidden}
        # No dialog but the one that a test plays, and no reader of this machine's.
        return {**base, "PCSCLITE_CSOCK_NAME": str(self.folder / "no-pcscd"),
                "ZELMODLG_PINENTRY": str(self.folder / "no-pinentry"), **(env or {})}

    def zelmo(self, *arguments, code=0, **how):
        """Runs the command and returns (stdout, stderr); the exit code must be `code`."""
        got, out, err = self.run_zelmo(*arguments, **how)
        self.assertEqual(got, code, f"{arguments}\n{out}\n{err}")
        return out, err

    def run_zelmo(self, *arguments, env=None, stdout=subprocess.PIPE, pins=None, program=ZELMO, raw=False,
                  stdin=subprocess.DEVNULL, fds=()):
        """Runs the command and returns (exit code, stdout, stderr). `pins` are lines, or octets as they stand, for it
        to read with --pin-fd; `fds` are descriptors that it may use."""
        descriptors = tuple(fds)
        if pins is not None:
            reader, writer = os.pipe()
            os.write(writer, pins if isinstance(pins, bytes) else "".join(f"{pin}\n" for pin in pins).encode())
            os.close(writer)
            self.addCleanup(os.close, reader)
            arguments += ("--pin-fd", reader)
            descriptors += (reader,)
        done = subprocess.run([program, *map(str, arguments)], stdout=stdout, stderr=subprocess.PIPE, timeout=60,
                              stdin=stdin, env=self.environment(env), pass_fds=descriptors,
                              start_new_session=True)
        out = done.stdout or b""
        out = out if raw else out.decode()
        err = done.stderr.decode()
        return done.returncode, out, err

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

    def token(self, change=lambda model: None, base="transparent", edit=lambda image: None, name="token.card"):
        """A test token whose model `change` has worked on, and `edit` on its image."""
        model = getattr(token_models, base)()
        change(model)
        image = build_tokens.image(model)
        edit(image)
        file = self.folder / name
        file.write_text(json.dumps(image))
        return file

    def dialogs(self, *answers, **env):
        """An environment in which scripted_pinentry.py shows the dialogs and gives these answers."""
        (self.folder / "answers.json").write_text(json.dumps(answers))
        (self.folder / "prompts.json").write_text("[]")
        return {"ZELMODLG_PINENTRY": str(SCRIPTED_PINENTRY), "SCRIPTED_PINENTRY": str(self.folder), "LC_ALL": "C.UTF-8",
                **env}

    def prompts(self):
        """What has been shown since."""
        return json.loads((self.folder / "prompts.json").read_text())

    def pin(self, card, verb, *arguments, **how):
        return self.zelmo("--reader", f"virtual:{card}", "pin", verb, *arguments, **how)

    def cert(self, card, verb, *arguments, **how):
        return self.zelmo("--reader", f"virtual:{card}", "cert", verb, *arguments, **how)

    def tries(self, card, pin):
        """The tries that the image has left for the PIN with this reference."""
        secret = next(p for p in json.loads(card.read_text())["pins"] if p["reference"] == pin)
        return secret.get("triesLeft", secret.get("maxTries", 3))

    def list(self, file, *arguments, code=0):
        return self.zelmo("--reader", f"virtual:{file}", "list", *arguments, code=code)

    def list_json(self, file, code=0):
        return json.loads(self.list(file, "--json", code=code)[0])


def find(directory, *fids):
    """The file at a path of identifiers below a directory of an image."""
    for fid in fids:
        directory = next(file for file in directory["files"] if file["fid"] == fid)
    return directory
