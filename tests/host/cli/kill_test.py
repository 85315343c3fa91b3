"""A program that is killed at any moment leaves a document that opens, with its old content or the new one, whole.

QPD_KILLS multiplies the number of kills."""

import os
import pathlib
import random
import sqlite3
import subprocess
import time
import unittest

from qlinks import QLINKS, Document, Link, QlinksTest, machine, run, section_of

KILLS = float(os.environ.get("QPD_KILLS", "1"))
# So large that a good part of a run is writing.
LARGE = "INSERT INTO stream VALUES ('large', 1, 1, randomblob(3000000))"


class KillTest(QlinksTest):
    def setUp(self):
        super().setUp()
        seed = random.SystemRandom().getrandbits(32)
        self.random = random.Random(seed)
        self.addCleanup(lambda: print(f"seed {seed}"))

    def content(self, path):
        """All that the document holds. A save that was interrupted is undone by the looking."""
        connection = sqlite3.connect(path)
        self.assertEqual([("ok",)], connection.execute("PRAGMA integrity_check").fetchall())
        connection.close()
        return Document(path).tables()

    def kill_somewhere(self, command, longest):
        """Runs the command and kills it within its longest time. Half of the times the clock starts with the first file
        that appears beside the document, so that most kills fall into the writing."""
        before = set(self.folder.iterdir())
        program = subprocess.Popen([QLINKS, *map(str, command)], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
        if self.random.random() < 0.5:
            while program.poll() is None and set(self.folder.iterdir()) <= before:
                pass
            longest /= 4
        delay = self.random.random() * longest
        end = time.monotonic() + delay
        while program.poll() is None and time.monotonic() < end:
            pass
        program.kill()
        return program.wait() == -9

    def assert_whole_after_kills(self, kills, original, command, seen=lambda content: content):
        """original: the document before each run; seen: what is the same after every run that ends."""
        kills = int(kills * KILLS)
        path = self.folder / "a.qdoc"
        path.write_bytes(original)
        old = self.content(path)
        start = time.monotonic()
        self.assertIn(run(*command).returncode, (0, 1))
        longest = (time.monotonic() - start) * 1.2
        new = seen(self.content(path))

        killed = finished = 0
        for number in range(kills):
            for file in self.folder.iterdir():
                if file.name.startswith("a.qdoc"):
                    file.unlink()
            path.write_bytes(original)
            killed += self.kill_somewhere(command, longest)
            if number % 10 == 0:
                self.assertEqual(0, run("info", path).returncode, "the first to look is qlinks")
            content = self.content(path)
            if content != old:
                self.assertEqual(new, seen(content))
                finished += 1
        print(f"{killed} of {kills} killed, {finished} documents with the new content")
        self.assertGreater(killed, kills // 4)


class Save(KillTest):
    def test_of_a_number_set_by_hand(self):
        original = self.document().change(LARGE).path.read_bytes()
        command = ["position", self.folder / "a.qdoc", "P-1", "42"]
        self.assert_whole_after_kills(200, original, command)


class Update(KillTest):
    def test_over_the_document_itself(self):
        original = self.document().change(LARGE).path.read_bytes()
        step = machine()
        root = list(step.shapes)[-1]
        step.use(root, step.product("N-1", "Nut", step.solid("nut")), "new", "u9")
        revised = self.file("revised.step", step.text())
        path = self.folder / "a.qdoc"

        # What is new gets fresh keys in every run.
        def seen(_):
            return self.text_of("positions", path), self.text_of("check", path), self.text_of("info", path)
        self.assert_whole_after_kills(100, original, ["update", path, revised, "-o", path], seen)


class Repair(KillTest):
    def test_of_links_that_lead_nowhere(self):
        document = self.document().change(LARGE)
        unique, validated = document.links()
        gone = [Link(b"gone%d" % number, 1, (number, 99), b"body-1") for number in range(1, 50)]
        document.put_section(section_of(unique, sorted(validated + gone)))
        original = document.path.read_bytes()
        self.assert_whole_after_kills(200, original, ["check", self.folder / "a.qdoc", "--repair"])


if __name__ == "__main__":
    unittest.main()
