"""A program that is killed at any moment leaves a document that opens, with its old content or the new one, whole.

QPD_KILLS multiplies the number of kills. QPD_SEED repeats what was chosen by chance; what the machine did meanwhile
does not repeat. ctest gives each class a few minutes: many kills are for a run by hand,

    QPD_KILLS=10 QPD_QLINKS=build/release/bin/qlinks python3 -B tests/host/cli/kill_test.py"""

import collections
import math
import os
import random
import signal
import subprocess
import time
import unittest

from qlinks import QLINKS, Document, Link, QlinksTest, machine, run, section_of

KILLS = float(os.environ.get("QPD_KILLS", "1"))
SEED = int(os.environ.get("QPD_SEED", random.SystemRandom().getrandbits(32)))
# So large that a good part of a run is writing.
LARGE = "INSERT INTO stream VALUES ('large', 1, 1, randomblob(3000000))"
# A journal that begins otherwise was not on the disk yet, and neither is anything that it could undo.
JOURNAL_MAGIC = bytes.fromhex("d9d505f920a163d7")


def revised_machine():
    """The machine with a nut more."""
    step = machine()
    root = list(step.shapes)[-1]
    step.use(root, step.product("N-1", "Nut", step.solid("nut")), "new", "u9")
    return step.text()


class KillTest(QlinksTest):
    def setUp(self):
        super().setUp()
        self.random = random.Random(SEED)
        self.addCleanup(print, f"QPD_SEED={SEED}")
        # The document that is killed for.
        self.path = self.folder / "a.qdoc"

    # ---- what differs between the ways of saving

    def files_left(self):
        """What a killed program may leave beside the document."""
        raise NotImplementedError

    def is_begun(self, _):
        """True where such a file is one of a save that had begun to write."""
        raise NotImplementedError

    def seen(self):
        """What is the same in the document after every run that ends."""
        return self.content()

    def content(self):
        """All that the document holds. A save that was interrupted is undone by the looking."""
        self.assertEqual([("ok",)], Document(self.path).rows("PRAGMA integrity_check"))
        return Document(self.path).tables()

    # ---- killing

    def is_writing(self, before):
        """True where something stands in a file beside the document that was not there before."""
        for name in set(os.listdir(self.folder)) - before:
            try:
                if os.path.getsize(self.folder / name) > 0:
                    return True
            except FileNotFoundError:
                pass
        return False

    def kill_somewhere(self, command):
        """Runs the command and kills it at a random moment. Of three kills one falls anywhere, one into the writing or
        soon after, one closely behind the end of the writing. False where the program came to its end before that."""
        before = set(os.listdir(self.folder))
        start = time.monotonic()
        program = subprocess.Popen([QLINKS, *map(str, command)], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)

        def wait_while(goes_on):
            while program.poll() is None and goes_on():
                pass

        stage, span = self.random.randrange(3), self.longest
        if stage >= 1:
            wait_while(lambda: not self.is_writing(before))
            span /= 4
        if stage >= 2:
            wait_while(lambda: self.is_writing(before))
            span /= 10
        end = time.monotonic() + self.random.random() * span
        wait_while(lambda: time.monotonic() < end)
        program.kill()
        if program.wait() == -signal.SIGKILL:
            return True
        self.assertIn(program.returncode, (0, 1), "what was left of runs before gets in the way of none")
        self.longest = time.monotonic() - start
        return False

    def run_to_its_end(self, command):
        start = time.monotonic()
        self.assertIn(run(*command).returncode, (0, 1))
        self.longest = time.monotonic() - start

    def assert_whole_after_kills(self, kills, command, look):
        """look: the verb that shows what the command changes. Goes on until so many runs were really killed and each of
        what a kill can leave was seen: the old content, the new one, and the files of a save that had begun."""
        kills = math.ceil(kills * KILLS)
        original, others = self.path.read_bytes(), set(self.folder.iterdir())
        old, shown_old = self.content(), self.text_of(look, self.path)
        self.run_to_its_end(command)
        new, shown_new = self.seen(), self.text_of(look, self.path)
        self.assertNotEqual(shown_old, shown_new)

        runs, found = 0, collections.Counter(killed=0, old=0, new=0, begun=0)
        while found["killed"] < kills or 0 in found.values():
            runs += 1
            self.assertLessEqual(runs, 4 * kills + 100, found)
            self.restore(original, command, new)
            before = set(self.files_left())
            if not self.kill_somewhere(command):
                continue
            found["killed"] += 1
            left = set(self.files_left()) - before
            self.assertEqual(set(self.folder.iterdir()) - left - before, others)
            self.assertLessEqual(len(left), 1)
            found["begun"] += any(map(self.is_begun, left))
            # Who looks first undoes an interrupted save: half of the times that is qlinks, else SQLite alone.
            shown = self.text_of(look, self.path) if self.random.random() < 0.5 else None
            is_new = self.content() != old
            found["new" if is_new else "old"] += 1
            if is_new:
                self.assertEqual(new, self.seen())
            self.assertIn(shown, (None, shown_new if is_new else shown_old))
        self.restore(original, command, new, is_last=True)
        print(f"{runs} runs: {dict(found)}")


class InItsPlace(KillTest):
    """A save in the document's place: one transaction, with a journal beside it that undoes what was interrupted."""

    def setUp(self):
        super().setUp()
        self.document().change(LARGE)

    def restore(self, original, *_, is_last=False):
        for file in self.files_left():
            file.unlink()
        self.path.write_bytes(original)

    def files_left(self):
        return self.folder.glob("a.qdoc-journal")

    def is_begun(self, file):
        with file.open("rb") as journal:
            return journal.read(len(JOURNAL_MAGIC)) == JOURNAL_MAGIC


class Save(InItsPlace):
    def test_of_a_number_set_by_hand(self):
        self.assert_whole_after_kills(200, ["position", self.path, "P-1", "42"], "positions")


class Update(InItsPlace):
    def seen(self):
        # What is new gets fresh keys in every run.
        return [self.text_of(verb, self.path) for verb in ("positions", "check", "info")]

    def test_over_the_document_itself(self):
        revised = self.file("revised.step", revised_machine())
        self.assert_whole_after_kills(100, ["update", self.path, revised, "-o", self.path], "positions")


class Repair(InItsPlace):
    def test_of_links_that_lead_nowhere(self):
        document = Document(self.path)
        unique, validated = document.links()
        gone = [Link(b"gone%d" % number, 1, (number, 99), b"body-1") for number in range(1, 50)]
        document.put_section(section_of(unique, sorted(validated + gone)))
        self.assert_whole_after_kills(200, ["check", self.path, "--repair"], "info")


class Replace(KillTest):
    """A new file that takes the name of a document. What was made of it before the kill stays under a name of its own,
    and the next run takes another."""

    def setUp(self):
        super().setUp()
        self.source = self.document("source.qdoc").change(LARGE)
        self.step = self.file("revised.step", revised_machine())
        self.document().change(LARGE)
        self.assertEqual(run("position", self.path, "P-1", "42").returncode, 0)

    def restore(self, original, command, new, is_last=False):
        """What is left stays for the runs that follow. Now and then, and at last, one comes to its end amid it."""
        left = set(self.files_left())
        if is_last or len(left) > 10:
            self.run_to_its_end(command)
            self.assertEqual(new, self.seen())
            self.assertEqual(left, set(self.files_left()))
            for file in left:
                file.unlink()
        self.path.write_bytes(original)

    def files_left(self):
        return self.folder.glob("a.qdoc.??????")

    def is_begun(self, file):
        return file.stat().st_size > 0

    def seen(self):
        # Keys are fresh in every run.
        return [self.text_of(verb, self.path) for verb in ("positions", "check", "info")]

    def assert_whole(self, *command):
        source = self.source.path.read_bytes()
        self.assert_whole_after_kills(50, [*command, "-o", self.path], "positions")
        self.assertEqual(source, self.source.path.read_bytes())

    def test_by_a_copy(self):
        self.assert_whole("copy", self.source.path)

    def test_by_a_converted_document(self):
        self.seen = self.content
        self.assert_whole("convert", self.source.path, "--app-version", "0x17000001")

    def test_by_an_updated_document(self):
        self.assert_whole("update", self.source.path, self.step)

    def test_by_an_imported_document(self):
        self.assert_whole("import", self.step)


if __name__ == "__main__":
    unittest.main()
