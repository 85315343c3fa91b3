"""What is no sound document, by every verb that reads one: one line, status 2, nothing left behind."""

import os
import pathlib
import signal
import sqlite3
import struct
import subprocess
import unittest

from qlinks import QLINKS, TODAY, Link, Lock, QlinksTest, form_of, run, section_of


class BadDocumentTest(QlinksTest):
    def verbs(self, path):
        """The command lines of all verbs that read a document."""
        return [["info", path], ["info", path, "--json"], ["links", path], ["links", path, "--json"], ["dump", path],
                ["convert", path, "-o", self.folder / "out.qdoc", "--app-version", "0x17000001"]]

    def assert_all_refuse(self, says, path, verbs=None, **options):
        for arguments in verbs or self.verbs(path):
            self.assert_refused([str(path), *([says] if isinstance(says, str) else says)], *arguments, **options)

    def without_dump(self, path):
        """dump takes any file for a bare section."""
        return [arguments for arguments in self.verbs(path) if arguments[0] != "dump"]


def chained(pages, root, size=512):
    """The database with the inner pages of one table strung into a chain."""

    def children(page):
        start = (page - 1) * size
        count, = struct.unpack_from(">H", pages, start + 3)
        cells = [start + struct.unpack_from(">H", pages, start + 12 + 2 * cell)[0] for cell in range(count)]
        return [*cells, start + 8]

    inner, open_pages = [], [root]
    for page in open_pages:
        if pages[(page - 1) * size] == 2:
            inner.append(page)
            open_pages += [struct.unpack_from(">I", pages, place)[0] for place in children(page)]
    # SQLite follows at most 20 levels.
    chain = [*inner[:17], open_pages[-1]]
    for page, following in zip(chain, chain[1:]):
        for place in children(page):
            struct.pack_into(">I", pages, place, following)
    return pages


class Kinds(BadDocumentTest):
    def test_no_such_file(self):
        self.assert_all_refuse("no such file", self.folder / "none.qdoc")
        self.assert_all_refuse("no such file", self.folder / "none" / "none.qdoc")

    def test_a_directory(self):
        self.assert_all_refuse("folder", self.folder, self.without_dump(self.folder))
        self.assert_refused(str(self.folder), "dump", self.folder)

    def test_an_empty_file(self):
        path = self.file("a.qdoc")
        self.assert_all_refuse("is empty", path, self.without_dump(path))
        self.assert_refused(str(path), "dump", path, prints=True)

    def test_what_is_no_database(self):
        for content in ("ISO-10303-21;\nHEADER;\n", "x", b"\0" * 4096, "SQLite format 3"):
            path = self.file("a.qdoc", content)
            self.assert_all_refuse("not a qlinks document", path, self.without_dump(path))

    def test_a_device(self):
        for path in (pathlib.Path("/dev/zero"), pathlib.Path("/dev/null")):
            self.assert_all_refuse("not a file on a disk", path)

    def test_a_pipe(self):
        pipe = self.folder / "pipe"
        os.mkfifo(pipe)
        self.assert_all_refuse("not a file on a disk", pipe, timeout=5)

    def test_a_database_of_another_program(self):
        path = self.folder / "other.qdoc"
        connection = sqlite3.connect(path)
        connection.execute("CREATE TABLE stream (name, app_version, math_version, bytes)")
        connection.close()
        self.assert_all_refuse("a database of another program", path)

    def test_a_newer_format(self):
        path = self.document().change("PRAGMA user_version = 2").path
        self.assert_all_refuse(["document format 2", "use a newer qlinks"], path)

    def test_a_document_cut_off(self):
        document = self.document()
        whole = document.path.read_bytes()
        for length in (16, 100, 4096, len(whole) // 2, len(whole) - 4096, len(whole) - 1):
            document.path.write_bytes(whole[:length])
            for arguments in self.verbs(document.path)[:2]:
                self.assert_refused(str(document.path), *arguments)

    def test_a_table_that_is_missing(self):
        for table in ("setting", "meta_object", "property", "group_member", "component", "body", "stream"):
            self.assert_all_refuse(table, self.document().change(f"DROP TABLE {table}").path)

    def test_text_that_a_database_brings_into_an_error_stays_one_clean_line(self):
        document = self.document()
        connection = sqlite3.connect(document.path)
        connection.execute("PRAGMA writable_schema = ON")
        connection.execute("INSERT INTO sqlite_schema VALUES ('table', ?, ?, 2, 'CREATE TABLE')",
                           ("evil\nqlinks: all is well\x1b[2J",) * 2)
        connection.commit()
        connection.close()
        for arguments in self.verbs(document.path):
            done = run(*arguments)
            self.assertEqual((done.returncode, done.stderr.count(b"\n")), (2, 1), done.stderr)
            self.assertNotIn(b"\x1b", done.stderr)

    def test_a_table_whose_pages_lead_to_the_same_page_again_and_again(self):
        # Each page of a chain names the next one as every one of its children: few pages, more rows than time.
        # The last body has a long name, so that each time round costs more than its page.
        for table, row in (("group_member", "x'00', ?"), ("body", "x'', row, ?, 1, '', ''"),
                           ("body", "x'', row, ?, 1, iif(row = 3099, hex(zeroblob(100000)), ''), ''"),
                           ("body", "x'', row, ?, 1, iif(row > 3059, hex(zeroblob(100000)), ''), ''")):
            document = self.document()
            connection = sqlite3.connect(document.path)
            connection.execute("PRAGMA synchronous = OFF")
            for number in range(3000):
                values = row.replace("row", str(number + 100))
                connection.execute(f"INSERT INTO {table} VALUES ({values})", (b"%030d" % number,))
            connection.commit()
            connection.execute("PRAGMA page_size = 512")
            connection.execute("VACUUM")
            ((root,),) = connection.execute("SELECT rootpage FROM sqlite_schema WHERE name = ?", (table,))
            connection.close()
            document.path.write_bytes(chained(bytearray(document.path.read_bytes()), root))
            self.assert_refused([str(document.path), "damaged"], "info", document.path, memory=512 << 20, timeout=10)

    def test_a_name_of_two_lines_is_told_in_one(self):
        self.assert_refused("no such file", "info", self.folder / "two\nlines.qdoc")


LINKS = ([Link(b"a", 104, (4, 1), b"", (7,)), Link(b"b", 200, (4,), b"name")], [Link(b"line", 1, (4, 1), b"b1")])


class DamagedSections(BadDocumentTest):
    FORMS = [TODAY, (0x17000001, 0x0EFFFFFF), (0x15000002, 0x0F000000), (0x12000010, 0x04000000)]
    # A process needs about 40 MB of address space; what counts claim is far beyond.
    MEMORY = 256 << 20

    def assert_damaged(self, document, arguments, **options):
        return self.assert_refused([str(document.path), "the links section is damaged at byte"], *arguments,
                                   memory=self.MEMORY, **options)

    def test_every_truncation(self):
        for versions in self.FORMS[:2]:
            document = self.document().put_links(*LINKS, versions)
            whole = document.section()
            for length in range(len(whole)):
                document.put_section(whole[:length], versions)
                self.assert_damaged(document, self.verbs(document.path)[length % 4])

    def test_a_truncation_in_every_verb(self):
        document = self.document().put_links(*LINKS)
        whole = document.section()
        for length in range(0, len(whole), 23):
            document.put_section(whole[:length])
            for arguments in self.verbs(document.path):
                self.assert_damaged(document, arguments, prints=arguments[0] == "dump")

    def counts(self, versions):
        """Offset and width of every count of the section of LINKS."""
        width = form_of(*versions).count_bytes
        whole = section_of(*LINKS, versions)
        offsets, end = [], 0
        form = form_of(*versions)
        for links in LINKS[:form.sets]:
            offsets.append((end, width))
            end += width
            for link in links:
                offsets += [(end, 4), (end + 4 + len(link.key) + 4, width)]
                end += 8 + len(link.key) + width + 4 * len(link.component)
                offsets.append((end, 4))
                end += 4 + len(link.name)
                if form.second_path:
                    offsets.append((end, width))
                    end += width + 4 * len(link.second)
        assert end == len(whole)
        return offsets

    def test_every_count_up_to_the_largest(self):
        for versions in self.FORMS[:2]:
            document = self.document().put_links(*LINKS, versions)
            whole = document.section()
            for offset, width in self.counts(versions):
                for count in (2 ** 64 - 1, 2 ** 61, 2 ** 32, 2 ** 32 - 1, 2 ** 30):
                    if count < 2 ** (8 * width):
                        damaged = whole[:offset] + count.to_bytes(width, "little") + whole[offset + width:]
                        document.put_section(damaged, versions)
                        done = self.assert_damaged(document, self.verbs(document.path)[offset % 4])
                        self.assertIn(f"at byte {offset}:".encode(), done.stderr)

    def test_a_large_count_in_every_verb(self):
        document = self.document().put_section(b"\xff" * 8)
        for arguments in self.verbs(document.path):
            self.assert_damaged(document, arguments, prints=arguments[0] == "dump")

    def test_bytes_left_over(self):
        document = self.document().put_section(section_of(*LINKS) + b"\0")
        for arguments in self.verbs(document.path):
            self.assert_damaged(document, arguments, prints=arguments[0] == "dump")

    def test_a_16_bit_section(self):
        document = self.document().put_section(section_of(*LINKS), (0x17000002, 0x03FFFFFF))
        for arguments in self.verbs(document.path):
            self.assert_damaged(document, arguments, prints=arguments[0] == "dump")

    def test_a_section_of_many_bytes_that_lies_at_its_end(self):
        links = [Link(b"k%06d" % number, 1, (number, 1), b"b") for number in range(20_000)]
        section = bytearray(section_of(links, []))
        section[-8:] = struct.pack("<Q", 2 ** 64 - 1)
        document = self.document().put_section(bytes(section))
        self.assert_damaged(document, ["info", document.path])

    def test_no_section(self):
        document = self.document().change("DELETE FROM stream")
        self.assert_all_refuse("it has no links section", document.path)


class Locks(BadDocumentTest):
    def test_a_document_that_another_program_writes(self):
        document = self.document()
        with Lock(document.path, "BEGIN EXCLUSIVE"):
            for arguments in (["info", document.path], ["links", document.path], ["dump", document.path],
                              self.verbs(document.path)[-1]):
                self.assert_refused([str(document.path), "locked by another program"], *arguments)

    def test_an_output_that_another_program_writes(self):
        document, out = self.document(), self.document("out.qdoc")
        step = pathlib.Path(self.class_folder.name) / "machine.step"
        for lock in ("BEGIN EXCLUSIVE", "BEGIN IMMEDIATE"):
            with Lock(out.path, lock):
                self.assert_refused([str(out.path), "locked by another program"], *self.verbs(document.path)[-1])
                self.assert_refused([str(out.path), "locked by another program"], "import", step, "-o", out.path)


class Rights(BadDocumentTest):
    def test_a_document_that_may_not_be_read(self):
        document = self.document()
        content = document.path.read_bytes()
        document.path.chmod(0)
        for arguments in self.verbs(document.path):
            done = run(*arguments, as_anybody=True)
            self.assertEqual((done.returncode, done.stderr.count(b"\n")), (2, 1), arguments)
            self.assertIn(b"cannot be opened", done.stderr)
        document.path.chmod(0o600)
        self.assertEqual(content, document.path.read_bytes())

    def test_a_read_only_document_can_be_read(self):
        document = self.document()
        document.path.chmod(0o444)
        for arguments in self.verbs(document.path)[:5]:
            self.assertEqual(run(*arguments, as_anybody=True).returncode, 0, arguments)

    def test_a_read_only_document_is_not_replaced(self):
        document, out = self.document(), self.document("out.qdoc")
        out.path.chmod(0o444)
        self.assert_refused([str(out.path), "read-only"], *self.verbs(document.path)[-1], as_anybody=True)
        self.assert_refused([str(out.path), "read-only"], "import",
                            pathlib.Path(self.class_folder.name) / "machine.step", "-o", out.path, as_anybody=True)

    def test_a_read_only_folder_takes_no_document(self):
        document = self.document()
        folder = self.folder / "closed"
        folder.mkdir(mode=0o555)
        self.assert_refused([str(folder / "out.qdoc"), "cannot be written"], "convert", document.path, "-o",
                            folder / "out.qdoc", "--app-version", "0x17000001", as_anybody=True)


class Signals(BadDocumentTest):
    def is_saving(self, document):
        """Whether a good part of another file has been written."""
        return any(path.stat().st_size > 5_000_000 for path in self.folder.iterdir() if path != document)

    def test_in_the_middle_of_a_save_leave_nothing_new(self):
        document = self.document().change("INSERT INTO stream VALUES ('large', 1, 1, zeroblob(30000000))")
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            program = subprocess.Popen([QLINKS, "convert", document.path, "-o", self.folder / "out.qdoc",
                                        "--app-version", "0x17000001"], stdin=subprocess.DEVNULL,
                                       stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
            while program.poll() is None and not self.is_saving(document.path):
                pass
            program.send_signal(number)
            program.communicate(timeout=30)
            self.assertEqual(program.returncode, -number)
            self.assertEqual(list(self.folder.iterdir()), [document.path])


class FullDisk(BadDocumentTest):
    def test_leaves_nothing_new(self):
        document = self.document()
        size = document.path.stat().st_size
        step = self.folder / "in.step"
        step.write_bytes((pathlib.Path(self.class_folder.name) / "machine.step").read_bytes())
        for limit in (0, 4096, size // 2, size - 1):
            self.assert_refused([str(self.folder / "out.qdoc"), "disk"], *self.verbs(document.path)[-1],
                                file_size=limit)
            self.assert_refused([str(self.folder / "out.qdoc"), "disk"], "import", step, "-o",
                                self.folder / "out.qdoc", file_size=limit)

    def test_leaves_an_older_document(self):
        document, out = self.document(), self.document("out.qdoc").put_links([], [])
        self.assert_refused([str(out.path), "disk"], *self.verbs(document.path)[-1],
                            file_size=document.path.stat().st_size // 2)

    def test_is_told_by_the_name_that_was_given(self):
        document = self.document()
        done = run(*self.verbs(document.path)[-1], file_size=4096)
        self.assertIn(f"qlinks: {self.folder / 'out.qdoc'}: ".encode(), done.stderr)

    def test_of_a_file_system_without_room_leaves_an_older_document(self):
        document = self.document()
        document.change("INSERT INTO stream VALUES ('large', 1, 1, zeroblob(400000))")
        script = ('mount -t tmpfs -o size=200k none "$1" && cp "$2" "$1/out.qdoc" || exit 77; '
                  'before=$(sha256sum "$1/out.qdoc"); '
                  '"$3" convert "$4" -o "$1/out.qdoc" --app-version 0x17000001; status=$?; '
                  '[ "$before" = "$(sha256sum "$1/out.qdoc")" ] && [ "$(ls -A "$1")" = out.qdoc ] || exit 1; '
                  'exit $status')
        target = self.folder / "small"
        target.mkdir()
        done = subprocess.run(["unshare", "--mount", "sh", "-c", script, "sh",
                               target, self.machine, QLINKS, document.path], capture_output=True, timeout=60)
        if done.returncode == 77 or b"unshare failed" in done.stderr:
            self.skipTest("no right to mount a file system")
        self.assertEqual(done.returncode, 2, done.stderr)
        self.assertEqual(done.stderr.count(b"\n"), 1, done.stderr)
        self.assertIn(f"{target / 'out.qdoc'}".encode(), done.stderr)
        self.assertIn(b"the disk is full; make room and try again", done.stderr)


if __name__ == "__main__":
    unittest.main()
