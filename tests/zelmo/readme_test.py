"""The sessions that the README shows are what the command prints. A line of dots stands for any lines."""

import pathlib
import re
import shutil
import subprocess

from zelmo_case import DATA, ZELMO, ZelmoCase


ROOT = DATA.parent.parent
DEMO = ROOT / "tools/zelmo/demo"
SHOWN = ("zelmo ", "openssl ", "printf ")


class Readme(ZelmoCase):
    def sessions(self):
        """Each command with the lines that are shown below it."""
        text = (ROOT / "README.md").read_text()
        for block in re.findall(r"^```\n(.*?)^```", text, re.M | re.S):
            for part in re.split(r"^\$ ", block, flags=re.M)[1:]:
                command, _, shown = part.partition("\n")
                yield command, shown.rstrip("\n").split("\n")

    def test_sessions(self):
        path = f"{pathlib.Path(ZELMO).parent}:/usr/bin:/bin"
        for file in [*DEMO.iterdir(), ROOT / "packaging/dev-root/dev-root.key.pem"]:
            shutil.copy(file, self.folder)
        environment = self.environment({"PATH": path, "ZELMODLG_PINENTRY": str(DEMO / "pinentry.sh")})
        prepare = "openssl x509 -inform DER -in ca.der -out ca.pem; export DEMO_OUTPUT=/proc/$$/fd/1; "
        run = 0
        for command, shown in self.sessions():
            if not command.startswith(SHOWN):
                continue
            with self.subTest(command=command):
                done = subprocess.run(["bash", "-c", prepare + command], cwd=self.folder, env=environment,
                                      stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                      timeout=60)
                pattern = "".join(r"(?:.*\n)*?" if line.strip() == "..." else re.escape(line) + r"\n"
                                  for line in shown if line)
                self.assertRegex(done.stdout.decode(), rf"\A{pattern}\Z")
                run += 1
        self.assertGreaterEqual(run, 12)
