"""zelmo script sign, verify and issue-signer, with OpenSSL on the other side of each."""

import hashlib
import os
import pty
import stat
import termios
import time
import unittest

from script_case import ROOT, VERSION, ScriptCase
from zelmo_case import ZELMO


class ScriptSign(ScriptCase):
    def verify(self, script, signature, code=0):
        return self.zelmo("script", "verify", script, signature, code=code)

    def refused(self, script, signature, words):
        out, err = self.verify(script, signature, code=9)
        self.assertEqual(out, "")
        self.assertRegex(err, rf"^zelmo: the signature {signature} is refused: [^\n]*{words}[^\n]*; [^\n]+\n$")

    def test_openssl_takes_what_we_make(self):
        script = self.script()
        key, certificate = self.signer()
        signature, _ = self.sign(script, key, certificate)
        self.openssl("req", "-x509", "-new", "-key", ROOT, "-subj", "/CN=Personalisation script root", "-out", "ca.pem")
        self.openssl("verify", "-CAfile", "ca.pem", certificate)
        self.openssl("cms", "-verify", "-binary", "-inform", "DER", "-in", signature, "-content", script, "-CAfile",
                     "ca.pem", "-purpose", "any", "-out", "content")
        self.assertEqual((self.folder / "content").read_bytes(), script.read_bytes())
        parsed = self.openssl("asn1parse", "-inform", "DER", "-in", signature).decode()
        self.assertRegex(parsed, rf"1\.2\.840\.113549\.1\.9\.13\n.*SET +\n.*IA5STRING +:{VERSION[:11]}.*Build 7\)\n")
        text = self.openssl("x509", "-in", certificate, "-noout", "-text").decode()
        for part in ("Version: 3", "Signature Algorithm: sha1WithRSAEncryption", "Public-Key: (2048 bit)", "CA:FALSE",
                     "Digital Signature", "Subject: CN = Personalisation script signer"):
            self.assertIn(part, text)
        self.assertEqual(stat.S_IMODE(key.stat().st_mode), 0o600)
        self.openssl("rsa", "-in", key, "-check", "-noout")

    def test_we_take_what_openssl_makes(self):
        script = self.script()
        out, _ = self.verify(script, self.by_recipe(script))
        self.assertEqual(out, f"{script} is genuine: signed by CN=Ann Example, SHA-1 "
                              f"{hashlib.sha1(script.read_bytes()).hexdigest().upper()}\n")

    def test_each_refusal(self):
        script = self.script()
        good = self.by_recipe(script).read_bytes()
        key, certificate = self.folder / "signer.key.pem", self.folder / "signer.pem"
        signature = self.folder / "InitToken1501.sig"
        common = ("-sign", "-binary", "-in", script, "-outform", "DER", "-md", "sha1", "-inkey", key, "-signer",
                  certificate, "-out", signature)
        for words, make in (
            ("no PKCS #7 message in DER", lambda: signature.write_bytes(good[:-1])),
            ("no PKCS #7 message in DER", lambda: signature.write_bytes(b"")),
            ("not signed data", lambda: self.openssl("cms", "-data_create", "-in", script, "-outform", "DER", "-out",
                                                     signature)),
            ("nobody has signed it", lambda: self.openssl("crl2pkcs7", "-nocrl", "-certfile", certificate, "-outform",
                                                          "DER", "-out", signature)),
            ("no signed attribute with the script's digest", lambda: self.openssl("cms", *common, "-noattr")),
            ("no signed attribute that names the version", lambda: self.openssl("cms", *common)),
            ("made for another script", lambda: self.by_recipe(script, lambda c: c.replace(
                "script=InitToken1501.cpd", "script=signer.pem"))),
            ("another version", lambda: self.by_recipe(script, lambda c: c.replace("Build 7", "Build 8"))),
            ("no IA5String", lambda: self.by_recipe(script, lambda c: c.replace("element 16 ", "element 0c "))),
            ("certificate of its signer is missing", lambda: self.by_recipe(script, lambda c: c.replace(
                "$(element a0 $certificate)", ""))),
            ("not made, by RSA with SHA-1, with the key", lambda: signature.write_bytes(good[:-1] + b"\0")),
            ("not made, by RSA with SHA-1, with the key", lambda: self.by_recipe(script, lambda c: c.replace(
                "-sha1 -sign", "-sha256 -sign"))),
        ):
            with self.subTest(words):
                make()
                self.refused(script, signature, words)
        # Everything is right but who has certified the signer.
        self.openssl("req", "-x509", "-new", "-key", key, "-sha1", "-subj", "/CN=Ann Example", "-out", certificate)
        self.refused(script, self.by_recipe(script), "by the trusted root")

    def test_what_cannot_be_signed(self):
        script = self.script()
        key, certificate = self.signer()
        other = self.folder / "other.pem"
        self.openssl("genrsa", "-out", "other.key.pem", "2048")
        self.openssl("req", "-x509", "-new", "-key", "other.key.pem", "-sha1", "-subj", "/CN=Bob", "-out", other)
        self.openssl("ecparam", "-name", "prime256v1", "-genkey", "-noout", "-out", "ec.pem")
        self.openssl("req", "-x509", "-new", "-key", ROOT, "-subj", "/CN=Root", "-out", "ca.pem")
        self.openssl("req", "-new", "-key", key, "-subj", "/CN=Ann", "-out", "request.pem")
        self.openssl("x509", "-req", "-in", "request.pem", "-CA", "ca.pem", "-CAkey", ROOT, "-sha256", "-out",
                     "sha256.pem")
        handled = self.folder / "handled.cpd"
        octets = script.read_bytes()[10:] + bytes.fromhex("D1000000")
        handled.write_bytes(b"ZCPD\0\1" + (len(octets) + 10).to_bytes(4, "big") + octets)
        other_key = self.folder / "other.key.pem"
        for what, code, words in (
            ((script, other_key, certificate), 1, "does not belong to the certificate"),
            ((script, other_key, other), 9, "not signed, by RSA with SHA-1, by the trusted root"),
            ((script, key, self.folder / "sha256.pem"), 9, "by the trusted root"),
            ((script, self.folder / "ec.pem", certificate), 8, "is no RSA key"),
            ((script, certificate, certificate), 8, "holds no private key"),
            ((script, key, key), 8, "holds no certificate"),
            ((script, self.folder / "none", certificate), 6, "No such file"),
            ((self.folder, key, certificate), 6, "it is no regular file"),
            ((certificate, key, certificate), 8, "is no script"),
            ((handled, key, certificate), 8, "an instruction without a handler"),
        ):
            with self.subTest(words):
                signature, err = self.sign(*what, code=code)
                self.assertIn(words, err)
                self.assertFalse(signature.is_file())
        _, err = self.zelmo("script", "sign", script, "--key", key, "--cert", certificate, "-o", key, code=2)
        self.assertIn("would be overwritten", err)

    def test_who_is_no_signer(self):
        key, certificate = self.signer()
        self.openssl("genrsa", "-out", "short.pem", "1024")
        self.openssl("ecparam", "-name", "prime256v1", "-genkey", "-noout", "-out", "ec.pem")
        for root, more, code, words in (
            (key, (), 9, "is not the trusted root"),
            (ROOT, ("--key", self.folder / "short.pem"), 8, "has 1024 bits"),
            (ROOT, ("--key", self.folder / "ec.pem"), 8, "is no RSA key"),
            (ROOT, ("--name", "x" * 65), 2, "must be 1 to 64 characters"),
            (ROOT, ("--days", "0"), 2, "--days"),
            (ROOT, ("--key", self.folder / "new.pem"), 2, "would be overwritten"),
        ):
            with self.subTest(words):
                before = sorted(self.folder.iterdir())
                _, err = self.zelmo("script", "issue-signer", "--root-key", root, "-o", self.folder / "new.pem", *more,
                                    code=code)
                self.assertIn(words, err)
                self.assertEqual(sorted(self.folder.iterdir()), before)
        # A key that is there stays, and serves again.
        before = key.read_bytes()
        self.zelmo("script", "issue-signer", "--root-key", ROOT, "--name", "Änn", "-o", certificate)
        self.assertEqual(key.read_bytes(), before)
        self.sign(self.script(), key, certificate)


class Passphrases(ScriptCase):
    def setUp(self):
        super().setUp()
        plain, self.certificate = self.signer()
        self.key = self.folder / "encrypted.pem"
        self.openssl("rsa", "-in", plain, "-aes256", "-passout", "pass:geheim", "-out", self.key)

    def test_lines(self):
        script = self.script()

        def sign(line, code, words):
            reader, writer = os.pipe()
            os.write(writer, line)
            os.close(writer)
            self.addCleanup(os.close, reader)
            _, err = self.sign(script, self.key, self.certificate, "--passphrase-fd", reader, code=code, fds=[reader])
            self.assertIn(words, err)

        sign(b"geheim\n", 0, "Made")
        sign(b"Geheim\n", 1, "the passphrase is wrong")
        sign(b"\n", 1, "is empty; nothing was signed")
        sign(b"x" * 65, 1, "is longer than 64 octets")
        self.assertIn("there is no terminal", self.sign(script, self.key, self.certificate, code=1)[1])

    def test_terminal(self):
        script, signature = self.script(), self.folder / "by-hand.sig"
        child, terminal = pty.fork()
        if child == 0:
            os.execv(ZELMO, [ZELMO, "script", "sign", str(script), "--key", str(self.key), "--cert",
                             str(self.certificate), "-o", str(signature)])
        shown = b""
        while b": " not in shown:
            shown += os.read(terminal, 1000)
        while termios.tcgetattr(terminal)[3] & termios.ECHO:
            time.sleep(0.01)
        os.write(terminal, b"geheim\n")
        try:
            while more := os.read(terminal, 1000):
                shown += more
        except OSError:  # the terminal's end
            pass
        os.close(terminal)
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 0, shown)
        self.assertIn(f"Passphrase of {self.key}: ".encode(), shown)
        self.assertNotIn(b"geheim", shown)
        self.zelmo("script", "verify", script, signature)


if __name__ == "__main__":
    unittest.main()
