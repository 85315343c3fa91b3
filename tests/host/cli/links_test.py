"""qlinks links: the links of a document, listed."""

import unittest

from qlinks import Link, QlinksTest, key_text

ODD = b"\0k\xff\\"


class LinksTest(QlinksTest):
    UNIQUE = [Link(ODD, 104, (4, 1), b""), Link(b"sub", 200, (4,), b"", (8, 9)), Link(b"zero", 200, (), b"")]
    VALIDATED = [Link(ODD, 1, (4, 1), b"b\n1", (7,)), Link(b"line", 1, (), b"b2"), Link(b"line", 2, (4, 1), b"b3"),
                 Link(b"line", 4294967295, (4,), b"")]

    def linked(self):
        document = self.document()
        document.put_links(self.UNIQUE, self.VALIDATED)
        for path in (b"\0\0\0\x04", b"\0\0\0\x04\0\0\0\x01"):
            document.change("INSERT INTO component VALUES (?, 104, x'', '', '', zeroblob(96), 1)", path)
        return document

    @staticmethod
    def shown(set_, link):
        return {"set": set_, "key": key_text(link.key), "objectType": link.type, "componentPath": list(link.component),
                "secondPath": list(link.second), "objectName": key_text(link.name)}

    def everything(self):
        return ([self.shown("unique", link) for link in self.UNIQUE]
                + [self.shown("validated", link) for link in self.VALIDATED])


class Json(LinksTest):
    def test_lists_both_sets_in_the_order_of_the_section(self):
        self.assertEqual(self.json_of("links", self.linked().path), self.everything())

    def test_has_exactly_these_names_in_this_order(self):
        for link in self.json_of("links", self.linked().path):
            self.assertEqual(list(link), ["set", "key", "objectType", "componentPath", "secondPath", "objectName"])

    def test_gives_an_imported_document_one_for_one(self):
        document = self.document()
        unique, validated = document.links()
        self.assertEqual(self.json_of("links", document.path),
                         [self.shown("unique", link) for link in unique]
                         + [self.shown("validated", link) for link in validated])

    def test_of_no_links_is_an_empty_list(self):
        document = self.document().put_links([], [])
        self.assertEqual(self.json_of("links", document.path), [])

    def test_reads_every_version_and_width(self):
        document = self.linked()
        for app in (0x1400001C, 0x15000003, 0x17000001, 0x17000002):
            for math in (0x04000000, 0x0F000000, 0x0F001001):
                document.put_links(self.UNIQUE, self.VALIDATED, (app, math))
                self.assertEqual(self.json_of("links", document.path), self.everything())

    def test_changes_nothing(self):
        document = self.linked()
        before = self.contents()
        self.json_of("links", document.path)
        self.assertEqual(before, self.contents())


class Selection(LinksTest):
    def selected(self, *options):
        return self.json_of("links", self.linked().path, *options)

    def test_by_set(self):
        for name in ("unique", "validated"):
            self.assertEqual(self.selected("--set", name), [link for link in self.everything() if link["set"] == name])

    def test_by_key(self):
        self.assertEqual(self.selected("--key", "line"), [link for link in self.everything() if link["key"] == "line"])

    def test_by_a_key_as_it_is_shown(self):
        shown = key_text(ODD)
        self.assertEqual(shown, "\\x00k\\xFF\\x5C")
        self.assertEqual(self.selected("--key", shown), [link for link in self.everything() if link["key"] == shown])

    def test_by_component(self):
        for text, path in (("4/1", [4, 1]), ("4", [4]), ("/", [])):
            self.assertEqual(self.selected("--component", text),
                             [link for link in self.everything() if link["componentPath"] == path])

    def test_by_all_three(self):
        self.assertEqual(self.selected("--component", "4/1", "--key", "line", "--set", "validated"),
                         [self.shown("validated", self.VALIDATED[2])])
        self.assertEqual(self.selected("--component", "4/1", "--key", "line", "--set", "unique"), [])

    def test_of_a_meta_object_without_links_is_empty(self):
        document = self.linked()
        ((product,),) = document.rows("SELECT value FROM setting WHERE name = 'root_product'")
        self.assertEqual(self.json_of("links", document.path, "--key", product.decode()), [])

    def test_refuses_an_unknown_key(self):
        self.assert_refused("no meta object has the key 'nobody\\x0A'", "links", self.linked().path, "--key",
                            "nobody\\x0A")

    def test_refuses_a_key_that_is_none(self):
        self.assert_refused("a backslash is followed by x", "links", self.linked().path, "--key", "a\\b")

    def test_refuses_an_unknown_component(self):
        self.assert_refused("no component 4/7", "links", self.linked().path, "--component", "4/7")

    def test_refuses_a_component_that_is_no_path(self):
        for text in ("", "4/", "/4", "4//1", "a", "4294967296", "4 1"):
            self.assert_refused("is no component path", "links", self.linked().path, "--component", text)
        # What looks like an option is taken for one.
        self.assert_refused("", "links", self.linked().path, "--component", "-1")

    def test_takes_every_component_that_it_shows(self):
        document = self.document().put_links([Link(b"a", 1, (77, 5), b"x")], [])
        ((path,),) = [link["componentPath"] for link in self.json_of("links", document.path)],
        self.assertEqual(len(self.json_of("links", document.path, "--component", "/".join(map(str, path)))), 1)


class Table(LinksTest):
    def test_has_a_heading_and_a_line_for_each_link(self):
        lines = self.text_of("links", self.linked().path).splitlines()
        self.assertEqual(lines[0].split(), ["SET", "KEY", "TYPE", "COMPONENT", "BODY", "OBJECT"])
        self.assertEqual(len(lines), 1 + len(self.UNIQUE) + len(self.VALIDATED))

    def test_stands_in_columns(self):
        document = self.document()
        lines = self.text_of("links", document.path).splitlines()
        for heading in ("KEY", "TYPE", "COMPONENT"):
            column = lines[0].index(heading)
            for line in lines[1:]:
                self.assertEqual(line[column - 1], " ", line)
                self.assertNotEqual(line[column], " ", line)

    def test_stands_in_columns_of_characters_whatever_their_bytes(self):
        names = ["b", "\u0433\u0430\u0439\u043a\u0430", "Gr\u00f6\u00dfe"]
        document = self.document().put_links([], [Link(b"k", 1, (1,), name.encode()) for name in names])
        lines = self.text_of("links", document.path).splitlines()
        column = lines[0].index("OBJECT")
        self.assertEqual([line[column:] for line in lines[1:]], ["k"] * 3)

    def test_shows_what_a_person_calls_the_object(self):
        text = self.text_of("links", self.document().path, "--set", "unique", "--component", "2")
        self.assertRegex(text, r"\nunique +\S{15} +part +2 +B-1 Bolt\n\Z")

    def test_shows_no_control_characters(self):
        document = self.linked()
        document.change("UPDATE property SET value = ? WHERE name = 'productName'", "evil\x1b[31m\nname")
        text = self.text_of("links", document.path) + self.text_of("links", self.linked().path)
        self.assertIn("b\\x0A1", text)
        self.assertNotIn("\x1b", text)

    def test_of_an_imported_document_shows_no_control_characters_of_names(self):
        document = self.document()
        document.change("UPDATE property SET value = ? WHERE name = 'productName'", "evil\x1b[31m\nname")
        text = self.text_of("links", document.path)
        self.assertNotIn("\x1b", text)
        self.assertEqual(len(text.splitlines()), 1 + 9 + 18)


if __name__ == "__main__":
    unittest.main()
