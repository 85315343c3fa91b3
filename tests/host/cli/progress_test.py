"""The progress that long commands show on a terminal."""

import os
import pty
import re
import signal
import subprocess
import time
import unittest

from qlinks import QLINKS, Lock, QlinksTest, machine

WIPE = b"\r\x1b[K"
SHOWN = re.compile(rb"([a-z]+) +(\d+) %")


def read_all(terminal):
    """What is written to a terminal until nobody has it open any more."""
    shown = b""
    while True:
        try:
            block = os.read(terminal, 65536)
        except OSError:  # Linux's way to say so
            return shown
        if not block:
            return shown
        shown += block


class ProgressTest(QlinksTest):
    def start_waiting(self, document, *arguments, **streams):
        """A run that has been at work for more than a second when it gets to read the document."""
        with Lock(document, "BEGIN EXCLUSIVE"):
            program = subprocess.Popen([QLINKS, *map(str, arguments)], stdin=subprocess.DEVNULL, **streams)
            self.addCleanup(program.wait)
            self.addCleanup(program.kill)
            # It has the document open and waits for the lock, which it does for a second at most.
            deadline = time.monotonic() + 30
            while not self.has_open(program, document):
                self.assertLess(time.monotonic(), deadline)
                time.sleep(0.001)
            program.send_signal(signal.SIGSTOP)
        time.sleep(1.1)
        program.send_signal(signal.SIGCONT)
        return program

    @staticmethod
    def has_open(program, path):
        folder = f"/proc/{program.pid}/fd"
        for descriptor in os.listdir(folder):
            try:
                if os.readlink(f"{folder}/{descriptor}") == str(path):
                    return True
            except FileNotFoundError:
                pass
        return False


class OnATerminal(ProgressTest):
    def shown(self, document, *arguments):
        """The stages that a run on a terminal shows, and what it prints when they are wiped."""
        mine, theirs = pty.openpty()
        try:
            program = self.start_waiting(document, *arguments, stdout=theirs, stderr=theirs)
            os.close(theirs)
            theirs = None
            shown = read_all(mine)
        finally:
            os.close(mine)
            if theirs is not None:
                os.close(theirs)
        self.assertEqual(program.wait(30), 0, shown)
        before, *steps, printed = shown.split(WIPE)
        self.assertEqual(before, b"")
        stages, last = [], 0
        for step in steps:
            match = SHOWN.fullmatch(step)
            self.assertIsNotNone(match, shown)
            if match[1].decode() not in stages[-1:]:
                stages.append(match[1].decode())
                last = 0
            self.assertLessEqual(last, int(match[2]), shown)
            last = int(match[2])
        self.assertLessEqual(last, 100)
        self.assertIsNone(SHOWN.search(printed))
        return stages, printed.decode().replace("\r\n", "\n")

    def test_positions(self):
        path = self.document().path
        for option in ("--json", "--csv", "--flat"):
            self.assertEqual(self.shown(path, "positions", path, option),
                             (["opening", "counting"], self.text_of("positions", path, option)))

    def test_check(self):
        path = self.document().path
        self.assertEqual(self.shown(path, "check", path), (["opening", "checking"], "nothing found\n"))

    def test_repair(self):
        path = self.document().path
        self.assertEqual(self.shown(path, "check", "--repair", path),
                         (["opening", "checking", "repairing", "checking", "saving"],
                          "0 found, 0 repaired, 0 left\n"))

    def test_import(self):
        step = self.file("in.step", machine().text())
        older = self.document().path
        stages, printed = self.shown(older, "import", step, "-o", older)
        self.assertEqual(stages, ["reading", "transferring", "merging", "saving"])
        self.assertEqual(printed, "9 occurrences, 4 products, 9 bodies, 0 warnings\n")

    def test_update(self):
        step = self.file("in.step", machine().text())
        path = self.document().path
        prints = "kept 9, added 0, moved 0, removed 0 occurrences"
        stages = ["opening", "reading", "transferring", "merging"]
        self.assertEqual(self.shown(path, "update", path, step, "--dry-run"),
                         (stages, prints + " (nothing was written)\n"))
        for output in (path, self.folder / "b.qdoc"):
            self.assertEqual(self.shown(path, "update", path, step, "-o", output),
                             ([*stages, "saving"], prints + "\n"))

    def test_is_wiped_before_an_error(self):
        path = self.document().change("DELETE FROM stream").path
        mine, theirs = pty.openpty()
        program = self.start_waiting(path, "positions", path, stdout=subprocess.DEVNULL, stderr=theirs)
        os.close(theirs)
        shown = read_all(mine)
        os.close(mine)
        self.assertEqual(program.wait(30), 2)
        *steps, error = shown.split(WIPE)
        self.assertIn(b"opening", steps[-1])
        self.assertTrue(error.startswith(b"qlinks: " + str(path).encode()), shown)


class Elsewhere(ProgressTest):
    def test_is_none(self):
        step = self.file("in.step", machine().text())
        path = self.document().path
        for arguments in (("positions", path), ("check", path), ("check", "--repair", path),
                          ("update", path, step, "--dry-run"), ("import", step, "-o", path)):
            program = self.start_waiting(path, *arguments, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            printed, error = program.communicate(timeout=30)
            self.assertEqual((program.returncode, error), (0, b""), arguments)
            self.assertNotIn(b"\x1b", printed)

    def test_is_none_where_only_the_results_go_to_a_terminal(self):
        path = self.document().path
        mine, theirs = pty.openpty()
        program = self.start_waiting(path, "check", path, stdout=theirs, stderr=subprocess.PIPE)
        os.close(theirs)
        printed = read_all(mine)
        os.close(mine)
        self.assertEqual((program.communicate(timeout=30)[1], program.returncode), (b"", 0))
        self.assertEqual(printed, b"nothing found\r\n")


if __name__ == "__main__":
    unittest.main()
