"""Personalisation scripts, and those who sign them."""

import json
import pathlib
import re
import subprocess

from zelmo_case import DATA, ZelmoCase

SOURCES = DATA.parent.parent
SAMPLE = SOURCES / "tools/zelmo/demo/token.json"
ROOT = SOURCES / "packaging/dev-root/dev-root.key.pem"
VERSION = "Tessor API V5.0 (Build 7)"


def recipe(heading):
    """The commands that docs/script-format.md gives under a heading."""
    text = (SOURCES / "docs/script-format.md").read_text()
    return re.search(rf"^#+ {heading}$.*?^```sh\n(.*?)^```", text, re.M | re.S).group(1)


class ScriptCase(ZelmoCase):
    def build(self, edit=lambda profile: None, code=0):
        profile = json.loads(SAMPLE.read_text())
        for thing in profile["objects"]:
            if "file" in thing:
                thing["file"] = str(SAMPLE.parent / thing["file"])
        edit(profile)
        source = self.folder / "profile.json"
        source.write_text(json.dumps(profile))
        target = self.folder / "made.cpd"
        return target, self.zelmo("script", "build", source, "-o", target, code=code)[1]

    def run_in_folder(self, *command):
        """Runs a command that has to succeed."""
        done = subprocess.run([*map(str, command)], cwd=self.folder, stdin=subprocess.DEVNULL, capture_output=True,
                              timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def openssl(self, *arguments):
        return self.run_in_folder("openssl", *arguments)

    def script(self, name="InitToken1501.cpd", edit=lambda profile: None):
        script = self.folder / name
        self.build(edit)[0].rename(script)
        return script

    def signer(self, name="signer"):
        """The key and the certificate of a new signer."""
        certificate = self.folder / f"{name}.pem"
        self.zelmo("script", "issue-signer", "--root-key", ROOT, "-o", certificate)
        return self.folder / f"{name}.key.pem", certificate

    def sign(self, script, key, certificate, *arguments, **how):
        signature = pathlib.Path(script).with_suffix(".sig")
        return signature, self.zelmo("script", "sign", script, "--key", key, "--cert", certificate, "-o", signature,
                                     *arguments, **how)[1]

    def by_recipe(self, script, edit=lambda commands: commands):
        """What the documented commands sign, `edit` having worked on them; without this command having a part in it."""
        (self.folder / "root.key.pem").write_bytes(ROOT.read_bytes())
        if not (self.folder / "signer.pem").exists():
            self.run_in_folder("bash", "-ec", recipe("The certificate by openssl"))
        commands = edit(recipe("The signature by openssl")).replace("InitToken1501", pathlib.Path(script).stem)
        self.run_in_folder("bash", "-ec", commands)
        return pathlib.Path(script).with_suffix(".sig")
