"""The command line itself: options, exit codes, logs, traces, images."""

import json
import os
import stat
import subprocess
import unittest

from zelmo_case import ZELMO, ZelmoCase


class CommandLine(ZelmoCase):
    def test_help_has_examples_everywhere(self):
        for arguments in ([], ["readers"], ["list"], ["apps"], ["card"], ["card", "new"], ["card", "show"],
                          ["init"], ["script"], ["script", "sign"], ["script", "verify"], ["script", "issue-signer"]):
            out, err = self.zelmo(*arguments, "--help")
            self.assertIn("Examples:\n  zelmo", out, arguments)
            self.assertEqual(err, "")
        self.assertIn("Exit codes: 0 ok, 1 failure, 2 usage", self.zelmo("--help")[0])
        # The tests are built with the development root, and a build with that one says so.
        self.assertRegex(self.zelmo("--version")[0], r"^zelmo \d+\.\d+\.\d+ \(DEVELOPMENT ROOT: [^\n]*\)\n$")

    def test_mistakes(self):
        card = self.new_card("eid")
        cases = [
            ([], 2),
            (["nonsense"], 2),
            (["list", "--nonsense"], 2),
            (["card"], 2),
            (["card", "new"], 2),
            (["card", "new", self.folder / "x.card", "--profile", "nonsense"], 2),
            (["--log", "loud", "--reader", f"virtual:{card}", "list"], 2),
            (["--log", f"3:{self.folder}/none/log", "--reader", f"virtual:{card}", "list"], 1),
            (["--log", "loud", "readers"], 2),
            (["readers"], 3),
            (["list"], 3),
            (["--reader", "nonsense", "list"], 3),
            (["--reader", f"virtual:{self.folder}/none.card", "list"], 3),
            (["card", "show", self.folder / "none.card"], 3),
            (["card", "new", card], 1),
            (["card", "new", self.folder / "none" / "x.card"], 1),
        ]
        for arguments, code in cases:
            with self.subTest(arguments=arguments):
                out, err = self.zelmo(*arguments, code=code)
                self.assertEqual(out, "")
                self.assertRegex(err, r"^zelmo: [^\n]+; [^\n]+\n$")
        self.assertIn("; see 'zelmo script sign --help'\n", self.zelmo("script", "sign", code=2)[1])

    def test_readers(self):
        self.new_card("eid", "b.card")
        cards = {"ZELMOCRD_CARDS": str(self.folder)}
        self.assertEqual(self.zelmo("readers", env=cards)[0], f"virtual:{self.folder}/b.card\n")
        self.assertIn("Zelmop demo eID", self.zelmo("list", env=cards)[0], "the only reader needs no name")
        self.new_card("eid", "a.card")
        self.assertEqual(self.zelmo("readers", env=cards)[0].count("\n"), 2)
        err = self.zelmo("list", env=cards, code=2)[1]
        for name in "a", "b":
            self.assertIn(f"virtual:{self.folder}/{name}.card", err)

    def test_wait(self):
        cards = {"ZELMOCRD_CARDS": str(self.folder)}
        self.assertIn("no card within 0 seconds", self.zelmo("wait", "--timeout", 0, env=cards, code=3)[1])
        card = f"virtual:{self.folder}/a.card"
        self.zelmo("wait", "--timeout", 0, "--reader", card, env=cards, code=3)
        waiting = [subprocess.Popen([ZELMO, "wait", *more], env=self.environment(cards), stdout=subprocess.PIPE)
                   for more in ([], ["--timeout", "30", "--reader", card])]
        self.new_card("eid", "a.card")
        for process in waiting:
            self.assertEqual(process.communicate(timeout=30)[0].decode(), f"{card}\n")
            self.assertEqual(process.returncode, 0)

    def test_options_may_follow_the_command(self):
        card = self.new_card("eid")
        self.assertEqual(self.zelmo("list", "--json", "--reader", f"virtual:{card}"),
                         self.zelmo("--reader", f"virtual:{card}", "list", "--json"))

    @unittest.skipUnless(os.path.exists("/dev/full"), "needs /dev/full")
    def test_a_full_disk_is_a_failure(self):
        card = self.new_card("eid")
        for arguments in (["--reader", f"virtual:{card}", "list"], ["--reader", f"virtual:{card}", "apps", "--json"],
                          ["card", "show", card], ["--help"], ["--version"]):
            with self.subTest(arguments=arguments), open("/dev/full", "w") as full:
                _, err = self.zelmo(*arguments, code=1, stdout=full)
                self.assertIn("zelmo: cannot write the output", err)


class Logs(ZelmoCase):
    def test_log(self):
        card = self.new_card("eid")
        out, err = self.zelmo("--log", "debug", "--reader", f"virtual:{card}", "list")
        self.assertRegex(err, r"(?m)^\d+:\d+ \d\d:\d\d:\d\d      : Started PKCS#15 logging on ")
        self.assertIn("Debug: ", err)
        self.assertNotIn("logging on", out)
        file = self.folder / "a:b.log"
        for _ in range(2):
            _, err = self.zelmo("--log", f"2:{file}", "--reader", f"virtual:{card}", "list")
            self.assertEqual(err, "")
        self.assertEqual(file.read_text().count("End of PKCS#15 log."), 2)

    def test_trace(self):
        out, err = self.zelmo("--trace", "--reader", f"virtual:{self.new_card('eid')}", "list")
        self.assertRegex(err, r"(?m)^card > 00 A4 08 0[04C] 02 2F 00( 00)?\ncard <.* 90 00 \(\d+\.\d\d ms\)$")
        self.assertRegex(err, r"(?m)^\d+:\d+ \d\d:\d\d:\d\d ASN\.1: (SEQUENCE|BIT STRING)")
        self.assertEqual(out, self.list(self.folder / "eid.card")[0])


class Images(ZelmoCase):
    def test_new_cards(self):
        for profile, label in (("eid", "Zelmop demo eID"), ("records", "Zelmop demo token")):
            card = self.new_card(profile)
            listed = self.list_json(card)
            self.assertEqual(listed["tokenInfo"]["label"], label)
            self.assertEqual("readonly" in listed["tokenInfo"]["tokenflags"], profile == "eid")
            self.assertEqual([o["label"] for o in listed["objects"]],
                             ["Signature key", "Authentication key", "Signature public key",
                              "Authentication public key", "Administration key", "Signature certificate",
                              "Authentication certificate", "Demo CA", "Address", "PIN", "PUK", "Administration"])
        self.list(self.new_card("empty"), code=6)

    def test_force(self):
        card = self.new_card("eid")
        before = card.read_text()
        self.zelmo("card", "new", card, "--profile", "empty", code=1)
        self.assertEqual(card.read_text(), before)
        self.zelmo("card", "new", card, "--profile", "empty", "--force")
        self.assertNotEqual(card.read_text(), before)

    def test_show(self):
        out, _ = self.zelmo("card", "show", self.new_card("records"))
        self.assertIn("  Serial number    5A454C4D4F501502\n", out)
        self.assertRegex(out, r"\n  3F00  directory\n    2F00  1 record, \d+ octets +update: never\n")
        self.assertRegex(out, r"\n      4401  4 TLV records, \d+ octets +update: PIN 0x81\n")
        self.assertTrue(out.endswith(
            "PINs\n"
            "  0x81  8 octets, new ones 8, 3 of 3 tries left, unblocked by PIN 0x82  unblock: key 0x03\n"
            "  0x82  8 octets, new ones 8, 10 of 10 tries left\n"
            "\nKeys\n  0x03  24 octets, 3 of 3 tries left, triple DES\n"), out)

    def test_show_secrets(self):
        def secrets(image):
            image["pins"] = [{"reference": 1, "minLength": 4, "maxLength": 12, "maxTries": 0},
                             {"reference": 2, "value": "00", "triesLeft": 1, "access": {"change": {"key": 1}}}]
            image["keys"] = [{"reference": 1, "algorithm": "aes", "value": "00" * 32}, {"reference": 2, "value": "00"}]
        out, _ = self.zelmo("card", "show", self.edited(self.new_card("empty"), secrets))
        self.assertTrue(out.endswith(
            "PINs\n"
            "  0x01  not set, new ones 4 to 12, no retry counter\n"
            "  0x02  1 octet, 1 of 3 tries left  change: key 0x01\n"
            "\nKeys\n"
            "  0x01  32 octets, 3 of 3 tries left, AES\n"
            "  0x02  1 octet, 3 of 3 tries left\n"), out)

    def test_bad_images(self):
        good = self.new_card("eid").read_text()
        bad = self.folder / "bad.card"
        for text in ("", "no JSON", good[:len(good) // 2], good.replace('"fid": "5015"', '"fid": "50"')):
            bad.write_text(text)
            with self.subTest(text=text[:20]):
                for arguments in (["card", "show", bad], ["--reader", f"virtual:{bad}", "list"]):
                    out, err = self.zelmo(*arguments, code=8)
                    self.assertEqual(out, "")
                    self.assertRegex(err, r"^zelmo: [^\n]*bad\.card[^\n]*; see docs/image-format\.md[^\n]*\n$")

    def test_listing_changes_no_image(self):
        card = self.new_card("records")
        before = card.read_bytes()
        card.chmod(stat.S_IRUSR)
        self.list(card)
        self.assertEqual(card.read_bytes(), before)
