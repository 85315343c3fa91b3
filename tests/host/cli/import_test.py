"""qlinks import: from a STEP file to a document."""

import os
import pty
import subprocess
import unittest

from qlinks import APPLICATION_ID, QLINKS, TODAY, Document, Link, QlinksTest, StepFile, machine, run


class ImportTest(QlinksTest):
    def imported(self, step, *options, summary=None, warnings=()):
        """The document of a STEP file whose import prints `summary` and warns of these texts, one line each."""
        path = self.file("in.step", step if isinstance(step, (str, bytes)) else step.text())
        done = run("import", path, "-o", self.folder / "out.qdoc", *options)
        error = done.stderr.decode()
        self.assertEqual(done.returncode, 0, error)
        lines = error.splitlines()
        self.assertEqual(len(lines), len(warnings), error)
        for line, text in zip(lines, warnings):
            self.assertTrue(line.startswith(f"qlinks: warning: {path}: "), line)
            self.assertIn(text, line)
        if summary is not None:
            self.assertEqual(done.stdout.decode(), summary + "\n")
        return Document(self.folder / "out.qdoc")

    def properties(self, document, name):
        return [value for (value,) in document.rows("SELECT value FROM property WHERE name = ? ORDER BY value", name)]


class Structure(ImportTest):
    def test_prints_one_summary_line_and_nothing_else(self):
        self.imported(machine(), summary="9 occurrences, 4 products, 9 bodies, 0 warnings")
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()), ["in.step", "out.qdoc"])

    def test_makes_a_document_of_the_current_format_and_versions(self):
        document = self.imported(machine())
        self.assertEqual(document.rows("PRAGMA application_id"), [(APPLICATION_ID,)])
        self.assertEqual(document.rows("PRAGMA user_version"), [(1,)])
        self.assertEqual(document.rows("PRAGMA integrity_check"), [("ok",)])
        self.assertEqual(document.versions(), TODAY)

    def test_makes_every_occurrence_a_component_and_every_body_a_body(self):
        document = self.imported(machine())
        types = dict(document.rows("SELECT hex(path), type FROM component"))
        frame = {"": 200, "00000001": 104, "00000002": 104, "00000003": 104}
        expected = {"00000002": 104}
        for holder in ("00000001", "00000003"):
            expected.update({holder + within: type_ for within, type_ in frame.items()})
        self.assertEqual(types, expected)
        bodies = document.rows("SELECT hex(path), type, display_name FROM body ORDER BY path, number")
        in_frame = [("00000001", 1, "shank"), ("00000002", 1, ""), ("00000002", 2, "skin"), ("00000003", 1, "shank")]
        self.assertEqual(bodies, [("00000001" + path, *rest) for path, *rest in in_frame]
                         + [("00000002", 1, "shank")] + [("00000003" + path, *rest) for path, *rest in in_frame])

    def test_makes_products_with_marking_and_name(self):
        document = self.imported(machine())
        self.assertEqual(self.properties(document, "productName"), ["Bolt", "Frame", "Machine", "Plate"])
        self.assertEqual(document.rows("SELECT type, count(*) FROM meta_object GROUP BY type"),
                         [(1, 2), (2, 2), (3, 2), (4, 7), (5, 2), (8, 4)])

    def test_links_occurrences_to_components_and_bodies_to_occurrence_and_group_object(self):
        document = self.imported(machine())
        unique, validated = document.links()
        components = {(Link(key, type_, path_of(path))) for path, type_, key
                      in document.rows("SELECT path, type, occurrence FROM component")}
        self.assertEqual(set(unique), components)
        self.assertEqual(len(unique), 9)
        occurrence_at = dict(document.rows("SELECT path, occurrence FROM component"))
        expected = set()
        for path, type_, name in document.rows("SELECT path, type, name FROM body"):
            occurrence = occurrence_at[path]
            ((product, holder),) = document.rows("SELECT product, holder FROM meta_object WHERE key = ?", occurrence)
            if holder:
                ((assembly,),) = document.rows("SELECT product FROM meta_object WHERE key = ?", holder)
            else:
                ((assembly,),) = document.rows("SELECT value FROM setting WHERE name = 'root_product'")
            ((line,),) = document.rows("SELECT key FROM meta_object WHERE type = 8 AND holder = ? AND product = ?",
                                       assembly, product)
            expected |= {Link(key, type_, path_of(path), name) for key in (occurrence, line)}
        self.assertEqual(set(validated), expected)
        self.assertEqual(len(validated), 18)

    def test_of_a_part_without_any_assembly_is_one_body_without_links(self):
        step = StepFile()
        step.product("P-1", "Part", step.solid("block"))
        document = self.imported(step, summary="0 occurrences, 1 products, 1 bodies, 0 warnings")
        self.assertEqual(document.links(), [[], []])
        self.assertEqual(document.rows("SELECT hex(path), type, display_name FROM body"), [("", 1, "block")])

    def test_puts_several_roots_side_by_side_in_an_assembly_named_after_the_file(self):
        step = StepFile()
        step.product("A", "First", step.solid())
        step.product("B", "Second", step.solid())
        document = self.imported(step)
        self.assertEqual(document.rows("SELECT hex(path) FROM component"), [("00000001",), ("00000002",)])
        self.assertEqual(self.properties(document, "productName"), ["First", "Second", "in"])
        self.assertEqual([len(links) for links in document.links()], [2, 4])

    def test_replaces_a_document(self):
        step = StepFile()
        step.product("P-1", "Part", step.solid())
        self.imported(machine())
        document = self.imported(step)
        self.assertEqual(self.properties(document, "productName"), ["Part"])

    def test_takes_names_in_every_script(self):
        step = StepFile()
        step.product("\u0413-8", "\u0413\u0430\u0439\u043a\u0430 \u87ba\u6bcd", step.solid())
        document = self.imported(step)
        self.assertEqual(self.properties(document, "marking"), ["\u0413-8"])
        self.assertEqual(self.properties(document, "productName"), ["\u0413\u0430\u0439\u043a\u0430 \u87ba\u6bcd"])

    def test_runs_from_any_folder_with_a_relative_output(self):
        self.file("in.step", machine().text())
        done = run("import", "in.step", "-o", "out.qdoc", cwd=self.folder)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertTrue((self.folder / "out.qdoc").exists())


def path_of(blob):
    return tuple(int.from_bytes(blob[start:start + 4], "big") for start in range(0, len(blob), 4))


class Reports(ImportTest):
    def wrapped(self):
        step = StepFile()
        body = step.product("", "SOLID", step.solid("core"))
        wrapper = step.product("W-1", "Wrapped")
        step.use(wrapper, body, "=>[0:1:1:3]")
        root = step.product("R-1", "Root")
        step.use(root, wrapper, "w")
        return step

    def test_folded_wrappers(self):
        document = self.imported(self.wrapped(), summary="1 occurrences, 2 products, 1 bodies, 1 warnings",
                                 warnings=["folded 1 wrapper assembly into the part that it wraps, \"Wrapped\""])
        self.assertEqual(document.rows("SELECT hex(path), type FROM component"), [("00000001", 104)])

    def test_nothing_folded_where_wrappers_are_kept(self):
        document = self.imported(self.wrapped(), "--keep-wrappers",
                                 summary="2 occurrences, 3 products, 1 bodies, 0 warnings")
        self.assertEqual(document.rows("SELECT hex(path), type FROM component"),
                         [("00000001", 200), ("0000000100000001", 104)])

    def test_names_that_are_not_utf8_and_reads_them_with_their_code_page(self):
        step = StepFile()
        step.product("P-1", "PARTNAME", step.solid())
        raw = step.text().encode().replace(b"PARTNAME", "\u0413\u0430\u0439\u043a\u0430".encode("cp1251"))
        self.imported(raw, warnings=["--codepage"])
        document = self.imported(raw, "--codepage", "CP1251")
        self.assertEqual(self.properties(document, "productName"), ["\u0413\u0430\u0439\u043a\u0430"])

    def test_a_part_without_geometry(self):
        step = StepFile()
        hollow = step.product("H-1", "Hollow")
        full = step.product("P-1", "Full", step.solid())
        root = step.product("R-1", "Root")
        step.use(root, hollow)
        step.use(root, full)
        document = self.imported(step, warnings=["Hollow"])
        self.assertEqual(len(document.rows("SELECT * FROM component")), 2)
        self.assertEqual(len(document.rows("SELECT * FROM body")), 1)

    def test_progress_on_a_terminal_and_takes_it_away_at_the_end(self):
        path = self.file("in.step", machine().text())
        mine, theirs = pty.openpty()
        try:
            done = subprocess.run([QLINKS, "import", path, "-o", self.folder / "out.qdoc"], stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=theirs, timeout=60)
            os.write(theirs, b"end")
            shown = os.read(mine, 65536)
        finally:
            os.close(theirs)
            os.close(mine)
        self.assertEqual(done.returncode, 0)
        # A quick import shows none at all.
        self.assertRegex(shown, rb"\A(?:.*\r\x1b\[K)?end\Z")


class Refusals(ImportTest):
    def refused(self, says, path, *options, **more):
        self.assert_refused([str(path), *([says] if isinstance(says, str) else says)], "import", path, "-o",
                            self.folder / "out.qdoc", *options, **more)

    def test_no_such_file(self):
        self.refused("no such file", self.folder / "none.step")

    def test_a_directory(self):
        self.refused("is a directory", self.folder)

    def test_an_empty_file(self):
        self.refused("empty", self.file("in.step"))

    def test_what_is_not_step(self):
        for content in ("solid cube\n", "\0" * 5000, "x", "ISO-10303", "<?xml version='1.0'?>"):
            self.refused("not a STEP file", self.file("in.step", content))

    def test_an_archive(self):
        self.refused("archive", self.file("in.stpz", b"PK\x03\x04rest"))

    def test_a_document(self):
        self.refused("not a STEP file", self.document().path)

    def test_step_cut_off_anywhere(self):
        whole = machine().text()
        for part in (0.02, 0.1, 0.5, 0.9, 0.999):
            self.refused("cut off in line", self.file("in.step", whole[:int(len(whole) * part)]))

    def test_step_with_its_middle_missing(self):
        whole = machine().text()
        third = len(whole) // 3
        path = self.file("in.step", whole[:third] + whole[-third:])
        done = run("import", path, "-o", self.folder / "out.qdoc")
        # What is left may hang together or not; whatever comes of it is told.
        self.assertIn(done.returncode, (0, 2))
        self.assertNotEqual(done.stderr, b"")
        self.assertEqual((self.folder / "out.qdoc").exists(), done.returncode == 0)

    def test_step_without_a_shape(self):
        text = machine().text()
        header = text[:text.index("DATA;\n") + 6]
        self.refused("", self.file("in.step", header + "ENDSEC;\nEND-ISO-10303-21;\n"))

    def test_an_unknown_code_page(self):
        self.refused(["unknown code page", "CP1251"], self.file("in.step", machine().text()), "--codepage", "KLINGON")

    def test_a_file_that_may_not_be_read(self):
        path = self.file("in.step", machine().text())
        path.chmod(0)
        self.refused("cannot be read", path, as_anybody=True)

    def test_an_output_that_is_no_document(self):
        step = self.file("in.step", machine().text())
        notes = self.file("notes.txt", "do not lose me")
        self.assert_refused([str(notes), "not a qlinks document"], "import", step, "-o", notes)
        self.assert_refused([str(step), "not a qlinks document"], "import", step, "-o", step)

    def test_an_output_that_is_a_folder_or_lies_in_none(self):
        step = self.file("in.step", machine().text())
        self.assert_refused([str(self.folder), "is a folder"], "import", step, "-o", self.folder)
        self.assert_refused("no such folder", "import", step, "-o", self.folder / "none" / "out.qdoc")
        self.assert_refused("", "import", step, "-o", "")

    def test_more_occurrences_than_memory_holds(self):
        step = StepFile()
        inner = step.product("P-0", "Part", step.solid())
        for level in range(6):
            holder = step.product(f"A-{level}", "Assembly")
            for _ in range(17):
                step.use(holder, inner)
            inner = holder
        self.refused("occurrences", self.file("in.step", step.text()), memory=1 << 30)

    def test_a_summary_that_cannot_be_printed_leaves_no_document(self):
        step = self.file("in.step", machine().text())
        with open("/dev/full", "wb") as full:
            done = run("import", step, "-o", self.folder / "out.qdoc", stdout=full)
        self.assertEqual(done.returncode, 2)
        self.assertFalse((self.folder / "out.qdoc").exists())


if __name__ == "__main__":
    unittest.main()
