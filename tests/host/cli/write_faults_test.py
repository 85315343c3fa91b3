"""Every verb that writes, when the writing fails: status 2, one line, the old document, and nothing beside it."""

import os
import pathlib
import shutil
import subprocess
import threading
import time
import unittest

from qlinks import QLINKS, Document, Lock, QlinksTest, machine, run

LARGE = "INSERT INTO stream VALUES ('large', 1, 1, randomblob(200000))"


def revised_machine():
    """The machine with a nut more."""
    step = machine()
    root = list(step.shapes)[-1]
    step.use(root, step.product("N-1", "Nut", step.solid("nut")), "new", "u9")
    return step.text()


class WriteFaultTest(QlinksTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        base = pathlib.Path(cls.class_folder.name)
        cls.step = base / "revised.step"
        cls.step.write_text(revised_machine())
        done = run("embodiment", cls.machine, "add", "heavy", "--number", "07")
        assert done.returncode == 0, done

    def in_place(self, path):
        """The command lines of all verbs that change a document in its place."""
        return [["position", path, "P-1", "42"],
                ["attribute", path, "2", "exclude", "on"],
                ["billet", path, "P-1", "--manual"],
                ["embodiment", path, "add", "light", "--number", "02", "--without", "1"],
                ["embodiment", path, "remove", "heavy"],
                ["check", path, "--repair"],
                *self.copying(path, path)]

    def copying(self, path, output):
        """The command lines of all verbs that read a document and write one."""
        return [["update", path, self.step, "-o", output],
                ["copy", path, "-o", output],
                ["convert", path, "-o", output, "--app-version", "0x17000001"]]

    def making(self, path, output):
        return [*self.copying(path, output), ["import", self.step, "-o", output]]

    def assert_sound(self, document):
        self.assertEqual([("ok",)], document.rows("PRAGMA integrity_check"))
        self.assertEqual(self.json_of("check", document.path), [])


class FullDisk(WriteFaultTest):
    def assert_refused_on_disk_of(self, kilobytes, kept, disk, arguments):
        """On a disk of this size, which holds a copy of this document under its name, and in the end nothing else."""
        disk.parent.mkdir(exist_ok=True)
        script = ('disk=${1%/*}; mount -t tmpfs -o size=$3k none "$disk" && cp "$2" "$1" || exit 77; '
                  'kept=$2; document=$1; shift 3; "$@"; status=$?; cmp -s "$kept" "$document" || exit 1; '
                  '[ "$(ls -A "$disk")" = "${document##*/}" ] || exit 1; exit $status')
        done = subprocess.run(["unshare", "--mount", "sh", "-c", script, "sh", disk, kept, str(kilobytes), QLINKS,
                               *map(str, arguments)], capture_output=True, timeout=60)
        if done.returncode == 77 or b"unshare failed" in done.stderr:
            self.skipTest("no right to mount a file system")
        error = done.stderr.decode()
        self.assertEqual((done.returncode, done.stdout, error.count("\n")), (2, b"", 1), (kilobytes, arguments, error))
        self.assertIn(f"qlinks: {disk}: the disk is full", error)

    def test_by_the_limit_of_a_file_leaves_the_document_as_it_was(self):
        document = self.document().change(LARGE)
        size = document.path.stat().st_size
        # What is written must not be more than what is kept for the undoing, which is about the size of the document.
        for limit in (0, 512, 4096):
            for arguments in self.in_place(document.path):
                self.assert_refused([str(document.path), "disk"], *arguments, file_size=limit)
        original, content = document.path.read_bytes(), document.tables()
        for limit in (size // 4, size // 2, size - 1, size):
            for arguments in self.in_place(document.path):
                done = run(*arguments, file_size=limit)
                # A limit below the size of the document stands in the way of the undoing too: who looks next undoes.
                self.text_of("info", document.path)
                self.assertEqual(list(self.folder.iterdir()), [document.path])
                if done.returncode == 2:
                    self.assertEqual((done.stdout, done.stderr.count(b"\n")), (b"", 1), (arguments, done.stderr))
                    self.assertEqual(document.tables(), content, arguments)
                else:
                    self.assertIn(done.returncode, (0, 1), (arguments, done.stderr))
                    self.assertEqual([("ok",)], document.rows("PRAGMA integrity_check"))
                document.path.write_bytes(original)

    def test_by_the_limit_of_a_file_makes_no_new_document(self):
        document = self.document()
        size = document.path.stat().st_size
        for limit in (0, 512, 4096, size // 2, size - 4096):
            for arguments in self.making(document.path, self.folder / "out.qdoc"):
                if arguments[0] != "import" or limit > self.step.stat().st_size:
                    self.assert_refused([str(self.folder / "out.qdoc"), "disk"], *arguments, file_size=limit)

    def test_without_room_beside_a_document_leaves_it_as_it_was(self):
        document, disk = self.document().change(LARGE), self.folder / "disk" / "a.qdoc"
        size = document.path.stat().st_size // 1024
        for room in (0, 4, 16, size // 2):
            for arguments in self.in_place(disk):
                self.assert_refused_on_disk_of(size + room, document.path, disk, arguments)

    def test_without_room_for_a_document_leaves_an_older_one(self):
        document, older = self.document().change(LARGE), self.document("older.qdoc")
        size, disk = older.path.stat().st_size // 1024, self.folder / "disk" / "out.qdoc"
        for room in (0, 16, document.path.stat().st_size // 2048):
            for arguments in self.copying(document.path, disk):
                self.assert_refused_on_disk_of(size + room, older.path, disk, arguments)


class Rights(WriteFaultTest):
    def test_a_read_only_document_stays_as_it_is(self):
        document = self.document()
        document.path.chmod(0o444)
        for arguments in self.in_place(document.path):
            self.assert_refused([str(document.path), "read-only"], *arguments, as_anybody=True)

    def test_in_a_read_only_folder_nothing_is_written(self):
        document = self.document()
        self.folder.chmod(0o555)
        self.addCleanup(self.folder.chmod, 0o755)
        for arguments in [*self.in_place(document.path), *self.making(document.path, self.folder / "out.qdoc")]:
            self.assert_refused([str(self.folder), "writ"], *arguments, as_anybody=True)

    def test_out_of_a_read_only_folder_a_read_only_document_is_copied(self):
        document, open_folder = self.document(), self.folder / "open"
        open_folder.mkdir()
        document.path.chmod(0o444)
        self.folder.chmod(0o555)
        self.addCleanup(self.folder.chmod, 0o755)
        before = document.path.read_bytes()
        for arguments in self.copying(document.path, open_folder / "out.qdoc"):
            done = run(*arguments, as_anybody=True)
            self.assertEqual((done.returncode, done.stderr), (0, b""), arguments)
        self.assertEqual((before, list(open_folder.iterdir())),
                         (document.path.read_bytes(), [open_folder / "out.qdoc"]))


class Locks(WriteFaultTest):
    def assert_all_refused(self, says, document, commands):
        """All at once, since each of them waits."""
        before = self.contents()
        programs = [subprocess.Popen([QLINKS, *map(str, arguments)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                     stderr=subprocess.PIPE) for arguments in commands]
        for program, arguments in zip(programs, commands):
            printed, error = program.communicate(timeout=30)
            self.assertEqual((program.returncode, printed, error.count(b"\n")), (2, b"", 1), (arguments, error))
            self.assertIn(f"{document.path}: {says}".encode(), error)
        self.assertEqual(before, self.contents())

    def test_a_document_that_another_program_writes(self):
        document = self.document()
        for lock in ("BEGIN EXCLUSIVE", "BEGIN IMMEDIATE"):
            with Lock(document.path, lock):
                self.assert_all_refused("locked by another program", document, self.in_place(document.path))

    def test_a_document_that_another_program_reads_all_the_time(self):
        document = self.document()
        # One after the other: of several that wait for the reader one has the right to write.
        with Lock(document.path, "SELECT * FROM meta_object"):
            for arguments in self.in_place(document.path):
                self.assert_refused([str(document.path), "locked by another program"], *arguments)

    def test_a_document_that_another_program_reads_is_copied(self):
        document = self.document()
        with Lock(document.path, "SELECT * FROM meta_object"):
            for arguments in self.copying(document.path, self.folder / "out.qdoc"):
                self.text_of(*arguments)

    def test_a_lock_that_goes_soon_is_waited_for(self):
        for number, arguments in enumerate(self.in_place(self.folder / "a.qdoc")):
            document = self.document()
            before = document.tables()
            with Lock(document.path, "BEGIN EXCLUSIVE" if number % 2 else "SELECT * FROM meta_object"):
                program = subprocess.Popen([QLINKS, *map(str, arguments)], stdin=subprocess.DEVNULL,
                                           stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                time.sleep(0.2)
                self.assertIsNone(program.poll(), arguments)
            _, error = program.communicate(timeout=30)
            self.assertEqual((program.returncode, error), (0, b""), arguments)
            if arguments[0] != "check":
                self.assertNotEqual(document.tables(), before, arguments)

    def test_a_document_that_is_replaced_while_a_program_waits_for_it(self):
        for arguments in self.in_place(self.folder / "a.qdoc"):
            document, newer = self.document(), self.document("newer.qdoc")
            newer.change("UPDATE property SET value = 'Newer' WHERE value = 'Machine'")
            content = newer.path.read_bytes()
            with Lock(document.path, "BEGIN IMMEDIATE"):
                program = subprocess.Popen([QLINKS, *map(str, arguments)], stdin=subprocess.DEVNULL,
                                           stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                time.sleep(0.3)
                self.assertIsNone(program.poll(), arguments)
                os.replace(newer.path, document.path)
            printed, error = program.communicate(timeout=30)
            self.assertEqual((program.returncode, printed, error.count(b"\n")), (2, b"", 1), (arguments, error))
            self.assertIn(f"{document.path}: replaced by another program".encode(), error)
            self.assertEqual(self.contents(), {document.path: content})


class TwoAtOnce(WriteFaultTest):
    """Several programs that change one document, in loops. Each adds embodiments, which all have to be there in the end
    and nothing else."""

    ROUNDS = 12

    def work(self, document, name, commands, problems, added):
        for number in range(self.ROUNDS):
            for arguments in [*commands(number),
                              ["embodiment", document.path, "add", f"{name}-{number}", "--number", f"{name}{number}"]]:
                done = run(*arguments)
                if done.returncode == 0 and arguments[0] == "embodiment":
                    added.add(f"{name}-{number}")
                refused = (done.returncode == 2 and done.stdout == b"" and done.stderr.count(b"\n") == 1
                           and (b"locked by another program" in done.stderr
                                or b"replaced by another program" in done.stderr))
                if not refused and (done.returncode, done.stderr) != (0, b""):
                    problems.append((arguments, done))

    def run_at_once(self, document, *programs):
        problems, added = [], set()
        threads = [threading.Thread(target=self.work, args=(document, f"w{index}", commands, problems, added))
                   for index, commands in enumerate(programs)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(problems, [])
        found = {name for (name,) in document.rows("SELECT value FROM property WHERE name = 'variantName' "
                                                   "AND value <> 'heavy'")}
        self.assertEqual(found, added)
        self.assertGreater(len(added), self.ROUNDS, "most of them get their turn")
        self.assertEqual(list(self.folder.iterdir()), [document.path])
        self.assert_sound(document)

    def test_lose_no_number_or_attribute_that_the_other_sets(self):
        document = self.document()
        self.run_at_once(document, lambda i: [["position", document.path, "P-1", 100 - i]],
                         lambda i: [["attribute", document.path, "2", "bound", ("on", "off")[i % 2]]],
                         lambda i: [["billet", document.path, document.key_of_line("B-1", "F-1").decode(),
                                     ("--manual", "--none")[i % 2]]])

    def test_lose_nothing_to_an_update_of_the_document_itself(self):
        document = self.document()
        self.run_at_once(document, lambda i: [["position", document.path, "P-1", 100 + i]],
                         lambda i: [["update", document.path, self.step, "-o", document.path]])

    def test_lose_nothing_to_a_copy_a_conversion_or_a_repair_in_place(self):
        document = self.document()
        self.run_at_once(document,
                         lambda i: [["copy", document.path, "-o", document.path],
                                    ["convert", document.path, "-o", document.path, "--app-version", "0x17000002"]],
                         lambda i: [["check", document.path, "--repair"]])

    def test_and_one_that_replaces_it_leave_one_whole_document(self):
        document, other = self.document(), self.folder / "elsewhere"
        other.mkdir()
        source = Document(other / "source.qdoc")
        source.path.write_bytes(document.path.read_bytes())
        problems = []
        programs = [threading.Thread(target=self.work, args=(document, "w0", lambda i: [], problems, set())),
                    threading.Thread(target=self.work, args=(source, "w1", lambda i: [
                        ["copy", source.path, "-o", document.path]], problems, set()))]
        for program in programs:
            program.start()
        for program in programs:
            program.join()
        self.assertEqual(problems, [])
        self.assertEqual({path.name for path in self.folder.iterdir()}, {"a.qdoc", "elsewhere"})
        self.assert_sound(document)


class LostOutput(WriteFaultTest):
    def assert_nothing_done(self, arguments, **options):
        before = self.contents()
        done = run(*arguments, **options)
        self.assertEqual((done.returncode, done.stderr.count(b"\n")), (2, 1), (arguments, done.stderr))
        self.assertIn(b"standard output: cannot be written", done.stderr)
        self.assertEqual(before, self.contents(), arguments)

    def commands(self):
        document = self.document().change(LARGE)
        return [*self.in_place(document.path), *self.making(document.path, self.folder / "out.qdoc")]

    def test_on_a_full_disk_leaves_everything_as_it_was(self):
        for arguments in self.commands():
            with open("/dev/full", "wb") as full:
                self.assert_nothing_done(arguments, stdout=full)

    def test_by_a_reader_that_is_gone_leaves_everything_as_it_was(self):
        for arguments in self.commands():
            reading, writing = os.pipe()
            os.close(reading)
            self.assert_nothing_done(arguments, stdout=writing)
            os.close(writing)

    def test_that_was_closed_leaves_everything_as_it_was(self):
        for arguments in self.commands():
            before = self.contents()
            done = subprocess.run(["sh", "-c", 'exec "$@" >&-', "sh", QLINKS, *map(str, arguments)],
                                  capture_output=True, timeout=30)
            self.assertEqual((done.returncode, done.stderr.count(b"\n")), (2, 1), (arguments, done.stderr))
            self.assertIn(b"standard output: cannot be written", done.stderr)
            self.assertEqual(before, self.contents(), arguments)


class InItsPlace(WriteFaultTest):
    def test_is_what_is_named_otherwise_as_well(self):
        document = self.document()
        (self.folder / "link.qdoc").symlink_to("a.qdoc")
        for name in (self.folder / "link.qdoc", self.folder / "." / "a.qdoc", pathlib.Path("a.qdoc")):
            for arguments in self.copying(document.path, name):
                inode, before = document.path.stat().st_ino, document.tables()
                done = run(*arguments, cwd=self.folder)
                self.assertEqual((done.returncode, done.stderr), (0, b""), arguments)
                self.assertEqual(document.path.stat().st_ino, inode, "the file that is locked is the one written")
                self.assertNotEqual(document.tables(), before)
                self.document()
        self.assertTrue((self.folder / "link.qdoc").is_symlink())

    def test_holds_the_document_from_the_reading_on(self):
        document = self.document()
        before, program = document.path.read_bytes(), self.folder / "bin" / "qlinks"
        program.parent.mkdir()
        shutil.copy(QLINKS, program)
        # It starts the reader of STEP files that stands beside it: one that waits until it is told to go on.
        reader = program.with_name("qlinks-step-reader")
        reader.write_text('#!/bin/sh\ntouch "$0.started"\nuntil [ -e "$0.goes_on" ]; do sleep 0.01; done\n'
                          f'exec "{QLINKS}-step-reader" "$@"\n')
        reader.chmod(0o755)
        update = subprocess.Popen([program, "update", document.path, self.step, "-o", document.path],
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        while update.poll() is None and not reader.with_name(reader.name + ".started").exists():
            time.sleep(0.01)
        done = run("position", document.path, "P-1", "42")
        self.assertEqual((done.returncode, done.stdout), (2, b""), "the update has read it and not yet written it")
        self.assertIn(b"locked by another program", done.stderr)
        self.assertEqual(before, document.path.read_bytes())
        reader.with_name(reader.name + ".goes_on").touch()
        self.assertEqual(update.communicate(timeout=30)[1], b"")
        self.assertEqual((update.returncode, document.lines()), (0, {"F-1": 1, "B-1": 2, "N-1": 3}))


if __name__ == "__main__":
    unittest.main()
