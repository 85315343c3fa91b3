"""qlinks dump: a section byte by byte, down to the first fault."""

import json
import re
import unittest

from qlinks import TODAY, Link, QlinksTest, key_text, run, section_of

LINKS = ([Link(b"a", 104, (4, 1), b"", (7,)), Link(b"\0\xff", 200, (4,), b"name")],
         [Link(b"line", 1, (3, 1, 2), b"b1")])


class Cover(QlinksTest):
    VERSIONS = [TODAY, (0x17000001, 0x0EFFFFFF), (0x15000002, 0x0F000000), (0x12000010, 0x04000000),
                (0x12000004, 0x0F001001)]

    def test_json_gives_every_byte_once_and_in_order(self):
        for versions in self.VERSIONS:
            document = self.document().put_links(*LINKS, versions)
            end, shown = 0, b""
            for field in self.json_of("dump", document.path):
                self.assertEqual(list(field), ["offset", "bytes", "field", "value", "depth"])
                self.assertEqual(field["offset"], end)
                shown += bytes.fromhex(field["bytes"])
                end = len(shown)
            self.assertEqual(shown, document.section())

    def test_text_gives_every_byte_once_and_in_order(self):
        for versions in self.VERSIONS:
            document = self.document().put_links(*LINKS, versions)
            lines = self.text_of("dump", document.path).splitlines()
            self.assertEqual(lines[0], "application version 0x%08X, math version 0x%08X, %d bytes"
                             % (*versions, len(document.section())))
            shown = b""
            for line in lines[1:]:
                offset, rest = re.fullmatch(r" *(\d+)  (.*)", line).groups()
                self.assertEqual(int(offset), len(shown))
                hexadecimal = re.search(r"  ((?:[0-9A-F]{2} ?)+)$", rest)
                shown += bytes.fromhex(hexadecimal.group(1)) if hexadecimal else b""
            self.assertEqual(shown, document.section())

    def test_indents_by_set_and_record(self):
        document = self.document().put_links(*LINKS)
        names = [re.match(r" *\d+  ( *)(\S+)", line).groups()
                 for line in self.text_of("dump", document.path).splitlines()[1:]]
        record = ["metaKey", "metaKey", "objectType", "componentPath", "componentPath", "objectName", "objectName",
                  "secondPath", "secondPath"]
        without_second = record[:-1]
        self.assertEqual([(len(indent), name) for indent, name in names],
                         [(0, "uniqueLinks"), (2, "uniqueLinks[0]"), *((4, name) for name in record),
                          (2, "uniqueLinks[1]"), *((4, name) for name in without_second),
                          (0, "validatedLinks"), (2, "validatedLinks[0]"), *((4, name) for name in without_second)])

    def test_tells_what_a_field_means(self):
        document = self.document().put_links(*LINKS)
        values = {}
        for field in self.json_of("dump", document.path):
            values.setdefault(field["field"], []).append(field["value"])
        self.assertEqual(values["metaKey"], ["a", key_text(b"\0\xff"), "line"])
        self.assertEqual(values["objectType"], ["104 (part)", "200 (assembly)", "1 (solid)"])
        self.assertEqual(values["componentPath"], ["4/1", "4", "3/1/2"])
        self.assertEqual(values["secondPath"], ["7"])
        self.assertEqual(values["objectName"], ["", "name", "b1"])
        self.assertEqual(values["uniqueLinks"], ["2 records"])

    def test_of_an_imported_document_is_its_section(self):
        document = self.document()
        shown = "".join(field["bytes"] for field in self.json_of("dump", document.path))
        self.assertEqual(bytes.fromhex(shown), document.section())


class Faults(QlinksTest):
    def test_end_the_dump_after_what_stands_before(self):
        whole = section_of(*LINKS)
        document = self.document().put_links(*LINKS)
        fields = self.json_of("dump", document.path)
        for length in range(0, len(whole), 9):
            document.put_section(whole[:length])
            done = self.assert_refused(["the links section is damaged at byte"], "dump", document.path, "--json",
                                       prints=True)
            offset = int(re.search(rb"at byte (\d+):", done.stderr).group(1))
            shown = json.loads(done.stdout)
            self.assertEqual(shown, fields[:len(shown)])
            self.assertEqual(sum(len(bytes.fromhex(field["bytes"])) for field in shown if field["offset"] < offset),
                             offset)

    def test_are_told_after_the_text_as_well(self):
        document = self.document().put_section(section_of(*LINKS) + b"\0\0")
        done = self.assert_refused("2 bytes after the end of the section", "dump", document.path, prints=True)
        self.assertEqual(len(done.stdout.splitlines()), 1 + len(self.json_of("dump", self.sound().path)))

    def sound(self):
        return self.document("sound.qdoc").put_links(*LINKS)

    def test_of_a_16_bit_section_are_told(self):
        document = self.document().put_section(b"\0" * 16, (0x17000002, 0x03FFFFFF))
        self.assert_refused("16-bit", "dump", document.path, prints=True)


class BareSections(QlinksTest):
    def test_are_shown_like_those_of_documents(self):
        document = self.document().put_links(*LINKS)
        bare = self.file("links.bin", document.section())
        self.assertEqual(self.text_of("dump", bare), self.text_of("dump", document.path))
        self.assertEqual(self.json_of("dump", bare), self.json_of("dump", document.path))

    def test_have_the_versions_that_are_given(self):
        versions = (0x15000002, 0x0EFFFFFF)
        document = self.document().put_links(*LINKS, versions)
        bare = self.file("links.bin", document.section())
        self.assertEqual(self.text_of("dump", bare, "--app-version", "0x15000002", "--math-version", "0x0EFFFFFF"),
                         self.text_of("dump", document.path))
        self.assert_refused("damaged", "dump", bare, prints=True)

    def test_refuse_versions_that_are_none(self):
        bare = self.file("links.bin", section_of(*LINKS))
        for option in ("--app-version", "--math-version"):
            self.assert_refused(option, "dump", bare, option, "seventeen")

    def test_are_the_only_ones_that_take_versions(self):
        document = self.document()
        for option in ("--app-version", "--math-version"):
            self.assert_refused("a document has versions of its own", "dump", document.path, option, "0x17000002")

    def test_that_are_damaged_are_refused(self):
        for content in (b"", b"\xff" * 8, b"\0" * 17, b"ISO-10303-21;"):
            self.assert_refused("at byte", "dump", self.file("links.bin", content), prints=True)

    def test_that_are_no_files_are_refused(self):
        self.assert_refused("no such file", "dump", self.folder / "none.bin")
        self.assert_refused("not a file", "dump", self.folder)
        self.assert_refused("not a file", "dump", "/dev/zero")

    def test_that_may_not_be_read_are_refused(self):
        bare = self.file("links.bin", section_of(*LINKS))
        bare.chmod(0)
        self.assert_refused("cannot be opened", "dump", bare, as_anybody=True)

    def test_of_a_fault_at_once_need_no_more_memory_than_their_bytes(self):
        bare = self.folder / "links.bin"
        with open(bare, "wb") as file:
            file.write(b"\xff" * 8)
            file.truncate(50_000_000)
        before = bare.stat()
        done = run("dump", bare, memory=300 << 20)
        self.assertEqual((done.returncode, done.stderr.count(b"\n")), (2, 1))
        self.assertIn(b"at byte 0", done.stderr)
        self.assertEqual(before.st_size, bare.stat().st_size)


if __name__ == "__main__":
    unittest.main()
