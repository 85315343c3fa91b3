"""qlinks convert: links rewritten for older and newer streams, and what these cannot carry."""

import unittest

from qlinks import TODAY, Document, Link, QlinksTest, run, section_of

UNIQUE = [Link(b"a", 104, (4, 1), b""), Link(b"b", 200, (4,), b"", (8, 9)), Link(b"c", 200, (5, 6, 7), b"")]
VALIDATED = [Link(b"a", 1, (4, 1), b"b1", (7,)), Link(b"line", 1, (4, 1), b"b1", (7,)), Link(b"line", 2, (5,), b"b2")]


def hexadecimal(version):
    return f"0x{version:08X}"


class ConvertTest(QlinksTest):
    def convert(self, source, *options, app, to="out.qdoc", prints="nothing lost\n"):
        self.assertEqual(self.text_of("convert", source.path, "-o", self.folder / to, "--app-version", hexadecimal(app),
                                      *options), prints)
        return Document(self.folder / to)

    def linked(self, unique=UNIQUE, validated=VALIDATED, versions=TODAY):
        return self.document().put_links(unique, validated, versions)

    @staticmethod
    def without_second(links):
        return [link._replace(second=()) for link in links]


class RoundTrip(ConvertTest):
    def test_to_the_version_before_and_back_changes_nothing(self):
        for source in (self.document("imported.qdoc"), self.linked()):
            source.change("INSERT INTO stream VALUES ('stranger', 1, 4294967295, x'00FF')")
            older = self.convert(source, app=0x17000001, to="older.qdoc")
            back = self.convert(older, app=0x17000002, to="back.qdoc")
            self.assertEqual(older.versions(), (0x17000001, TODAY[1]))
            self.assertNotEqual(older.section(), source.section())
            self.assertEqual(older.tables("stream"), source.tables("stream"))
            self.assertEqual(back.tables(), source.tables())
            self.assertEqual(self.json_of("links", older.path), self.json_of("links", source.path))
            self.assertEqual(self.json_of("links", back.path), self.json_of("links", source.path))

    def test_through_every_version_that_carries_everything_changes_nothing(self):
        source = self.linked()
        for app in (0x1400001C, 0x14FFFFFF, 0x15000003, 0x17000001, 0x17000002):
            for math in (0x04000000, 0x0EFFFFFF, 0x0F000000, 0x0F001000, 0x0F001001):
                there = self.convert(source, "--math-version", hexadecimal(math), app=app, to="there.qdoc")
                back = self.convert(there, "--math-version", hexadecimal(TODAY[1]), app=TODAY[0], to="back.qdoc")
                self.assertEqual(back.tables(), source.tables(), (hexadecimal(app), hexadecimal(math)))

    def test_in_place(self):
        source = self.linked()
        converted = self.convert(source, app=0x17000001, to=source.path.name)
        self.assertEqual(converted.links(), [UNIQUE, VALIDATED])
        self.assertEqual(converted.versions()[0], 0x17000001)
        self.assertEqual([path.name for path in self.folder.iterdir()], [source.path.name])

    def test_leaves_the_source_as_it_was(self):
        source = self.linked()
        before = source.path.read_bytes()
        self.text_of("convert", source.path, "-o", self.folder / "out.qdoc", "--app-version", "0x12000004")
        self.assertEqual(before, source.path.read_bytes())

    def test_keeps_links_that_name_no_meta_object_and_no_component(self):
        unique, validated = [Link(b"nobody", 104, (77,), b"y")], [Link(b"nobody", 5, (78,), b"z")]
        self.assertEqual(self.convert(self.linked(unique, validated), app=0x17000002).links(), [unique, validated])

    def test_does_not_say_that_nothing_is_lost_where_links_of_the_section_are_dropped(self):
        # A link without a key, and one of two that claim the same geometry object.
        source = self.linked([Link(b"", 104, (1,), b"x"), Link(b"a", 104, (1,), b"y"), Link(b"b", 104, (1,), b"y")], [])
        text = self.text_of("convert", source.path, "-o", self.folder / "out.qdoc", "--app-version", "0x17000002")
        kept = sum(map(len, Document(self.folder / "out.qdoc").links()))
        self.assertEqual(text == "nothing lost\n", kept == 3, (text, kept))


class Losses(ConvertTest):
    def lost(self, app, unique=UNIQUE, validated=VALIDATED):
        """What is printed, and the document."""
        source = self.linked(unique, validated)
        text = self.text_of("convert", source.path, "-o", self.folder / "out.qdoc", "--app-version", hexadecimal(app))
        return text.splitlines(), Document(self.folder / "out.qdoc")

    def test_of_a_version_with_one_set_are_the_validated_links_and_the_second_paths(self):
        lines, document = self.lost(0x12000010)
        self.assertEqual(lines, ["lost: 3 validated links (0x12000010 carries unique links only)",
                                 "lost: the second paths of 1 unique and 0 validated links (0x12000010 carries none)",
                                 "changed: 3 unique links count as validated as well (0x12000010 keeps one set for "
                                 "both)"])
        self.assertEqual(document.links(), [self.without_second(UNIQUE), []])

    def test_of_a_version_without_links_are_all_of_them(self):
        lines, document = self.lost(0x12000004)
        self.assertEqual(lines, ["lost: 3 unique links (0x12000004 carries no links)",
                                 "lost: 3 validated links (0x12000004 carries no links)"])
        self.assertEqual(document.section(), b"")

    def test_of_a_version_without_second_paths_are_these(self):
        for app in (0x12000026, 0x1400001B, 0x15000000, 0x15000002):
            lines, document = self.lost(app)
            self.assertEqual(lines, [f"lost: the second paths of 1 unique and 2 validated links ({hexadecimal(app)} "
                                     "carries none)"])
            self.assertEqual(document.links(), [self.without_second(UNIQUE), self.without_second(VALIDATED)])

    def test_are_none_where_there_is_nothing_to_lose(self):
        plain = self.without_second(UNIQUE), self.without_second(VALIDATED)
        self.assertEqual(self.lost(0x15000002, *plain)[0], ["nothing lost"])
        self.assertEqual(self.lost(0x12000004, [], [])[0], ["nothing lost"])
        self.assertEqual(self.lost(0x12000010, [], [])[0], ["nothing lost"])

    def test_are_none_where_both_sets_are_alike(self):
        alike = self.without_second(UNIQUE)
        self.assertEqual(self.lost(0x12000010, alike, alike)[0], ["nothing lost"])

    def test_of_second_paths_alone_where_both_sets_are_alike(self):
        self.assertEqual(self.lost(0x12000010, UNIQUE, UNIQUE)[0],
                         ["lost: the second paths of 1 unique and 1 validated links (0x12000010 carries none)"])

    def test_count_only_the_links_that_one_set_does_not_hold(self):
        lines, _ = self.lost(0x12000005, self.without_second(UNIQUE), self.without_second(UNIQUE[:1] + VALIDATED))
        self.assertEqual(lines, ["lost: 3 validated links (0x12000005 carries unique links only)",
                                 "changed: 2 unique links count as validated as well (0x12000005 keeps one set for "
                                 "both)"])

    def test_are_as_large_as_what_reads_back_says(self):
        source = self.document()
        text = self.text_of("convert", source.path, "-o", self.folder / "out.qdoc", "--app-version", "0x12000010")
        self.assertEqual(text.splitlines(),
                         ["lost: 18 validated links (0x12000010 carries unique links only)",
                          "changed: 9 unique links count as validated as well (0x12000010 keeps one set for both)"])
        self.assertEqual(self.json_of("info", self.folder / "out.qdoc")["links"], {"unique": 9, "validated": 9})


class Forms(ConvertTest):
    VERSIONS = [(app, math) for app in (0x12000005, 0x12000025, 0x12000026, 0x1400001B, 0x1400001C, 0x14FFFFFF,
                                        0x15000000, 0x15000002, 0x15000003, 0x17000001, 0x17000002, 0x17000003)
                for math in (0x04000000, 0x0EFFFFFF, 0x0F000000, 0x0F001000, 0x0F001001)]

    def test_have_exactly_these_bytes(self):
        source = self.linked()
        for app, math in self.VERSIONS:
            self.text_of("convert", source.path, "-o", self.folder / "out.qdoc", "--app-version", hexadecimal(app),
                         "--math-version", hexadecimal(math))
            out = Document(self.folder / "out.qdoc")
            self.assertEqual(out.versions(), (app, math))
            self.assertEqual(out.section(), section_of(UNIQUE, VALIDATED, (app, math)),
                             (hexadecimal(app), hexadecimal(math)))

    def test_keep_the_math_version_unless_another_is_given(self):
        source = self.linked(versions=(0x17000002, 0x0EFFFFFF))
        self.assertEqual(self.convert(source, app=0x17000001).versions(), (0x17000001, 0x0EFFFFFF))

    def test_take_decimal_versions(self):
        source = self.linked()
        self.text_of("convert", source.path, "-o", self.folder / "out.qdoc", "--app-version", str(0x17000001))
        self.assertEqual(Document(self.folder / "out.qdoc").versions()[0], 0x17000001)


class OneComponent(ConvertTest):
    def test_alone_has_its_own_links_with_an_empty_path(self):
        source = self.document()
        unique, validated = source.links()
        out = self.convert(source, "--component", "1/2", app=0x17000002)
        own = [[link._replace(component=()) for link in links if link.component == (1, 2)]
               for links in (unique, validated)]
        self.assertEqual(out.links(), own)
        self.assertEqual([len(links) for links in own], [1, 4])

    def test_alone_has_its_own_bodies_and_no_component(self):
        source = self.document()
        out = self.convert(source, "--component", "1/2", app=0x17000002)
        self.assertEqual(out.rows("SELECT * FROM component"), [])
        self.assertEqual(out.rows("SELECT hex(path), number, name, type FROM body"),
                         [("", 1, b"body-1", 1), ("", 2, b"body-2", 2)])
        self.assertEqual(out.tables()["meta_object"], source.tables()["meta_object"])

    def test_without_bodies_has_none(self):
        out = self.convert(self.document(), "--component", "1", app=0x17000002)
        self.assertEqual(out.rows("SELECT * FROM body"), [])
        self.assertEqual([len(links) for links in out.links()], [1, 0])

    def test_may_be_the_document_itself(self):
        source = self.linked([Link(b"r", 200, (), b""), *UNIQUE], [Link(b"l", 1, (), b"b"), *VALIDATED])
        out = self.convert(source, "--component", "/", app=0x17000002)
        self.assertEqual(out.links(), [[Link(b"r", 200, (), b"")], [Link(b"l", 1, (), b"b")]])

    def test_under_an_older_version_loses_what_that_cannot_carry_of_it(self):
        source = self.linked()
        for path in (b"\0\0\0\x04", b"\0\0\0\x04\0\0\0\x01"):
            source.change("INSERT INTO component VALUES (?, 104, x'', '', '', zeroblob(96), 1)", path)
        out = self.convert(source, "--component", "4/1", app=0x15000002,
                           prints="lost: the second paths of 0 unique and 2 validated links (0x15000002 carries "
                                  "none)\n")
        self.assertEqual(out.links()[1], [Link(b"a", 1, (), b"b1"), Link(b"line", 1, (), b"b1")])

    def test_that_is_not_there_is_refused(self):
        source = self.document()
        for path in ("9", "1/2/1", "1/9"):
            self.assert_refused(f"no component {path}", "convert", source.path, "-o", self.folder / "out.qdoc",
                                "--app-version", "0x17000002", "--component", path)

    def test_that_is_no_path_is_refused(self):
        for text in ("", "1/", "x"):
            self.assert_refused("is no component path", "convert", self.document().path, "-o", self.folder / "out.qdoc",
                                "--app-version", "0x17000002", "--component", text)


class Refusals(ConvertTest):
    def refused(self, says, *options, source=None):
        self.assert_refused(says, "convert", (source or self.document()).path, "-o", self.folder / "out.qdoc", *options)

    def test_a_16_bit_version(self):
        for math in ("0", "0x03FFFFFF"):
            self.refused("is a 16-bit version, which can carry no links; take 0x04000000 or later",
                         "--app-version", "0x17000002", "--math-version", math)

    def test_a_16_bit_version_of_the_document_itself(self):
        source = self.document().put_section(b"", (0x12000004, 0x03FFFFFF))
        self.refused("is a 16-bit version", "--app-version", "0x17000002", source=source)

    def test_versions_that_are_none(self):
        for version in ("", "v17", "0x100000000", "4294967296", "1.0"):
            self.refused("--app-version", "--app-version", version)
            self.refused("--math-version", "--app-version", "0x17000002", "--math-version", version or "x")

    def test_an_output_that_is_no_document(self):
        notes = self.file("notes.txt", "do not lose me")
        self.assert_refused([str(notes), "not a qlinks document"], "convert", self.document().path, "-o", notes,
                            "--app-version", "0x17000001")

    def test_losses_that_cannot_be_printed_leave_no_document(self):
        source = self.linked()
        with open("/dev/full", "wb") as full:
            done = run("convert", source.path, "-o", self.folder / "out.qdoc", "--app-version", "0x12000010",
                       stdout=full)
        self.assertEqual(done.returncode, 2)
        self.assertFalse((self.folder / "out.qdoc").exists())


if __name__ == "__main__":
    unittest.main()
