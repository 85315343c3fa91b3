"""qlinks info: versions and counts."""

import unittest

from qlinks import TODAY, Link, QlinksTest


class Json(QlinksTest):
    def test_has_exactly_these_names_and_numbers(self):
        self.assertEqual(self.json_of("info", self.document().path), {
            "appVersion": TODAY[0], "mathVersion": TODAY[1], "metaObjects": 19, "components": 9, "bodies": 9,
            "links": {"unique": 9, "validated": 18}})

    def test_has_them_in_this_order(self):
        info = self.json_of("info", self.document().path)
        self.assertEqual(list(info), ["appVersion", "mathVersion", "metaObjects", "components", "bodies", "links"])
        self.assertEqual(list(info["links"]), ["unique", "validated"])

    def test_counts_what_the_section_holds(self):
        document = self.document()
        document.put_links([], [Link(b"a", 1, (1,), b"x"), Link(b"a", 1, (1,), b"y"), Link(b"b", 1, (1,), b"x")],
                           (0x17000001, 0x04000000))
        info = self.json_of("info", document.path)
        self.assertEqual(info["links"], {"unique": 0, "validated": 3})
        self.assertEqual((info["appVersion"], info["mathVersion"]), (0x17000001, 0x04000000))

    def test_changes_nothing(self):
        document = self.document()
        before = self.contents()
        self.json_of("info", document.path)
        self.assertEqual(before, self.contents())


class Text(QlinksTest):
    def rows(self, document):
        return dict(line.rsplit("  ", 1) for line in self.text_of("info", document.path).splitlines())

    def cells(self, document):
        return {name.strip(): value.strip() for name, value in self.rows(document).items()}

    def test_names_the_root_and_the_versions(self):
        cells = self.cells(self.document())
        self.assertEqual(cells["root"], "M-1 Machine")
        self.assertEqual(cells["application version"], "0x17000002")
        self.assertEqual(cells["math version"], "0x0F001001")

    def test_counts_each_table_and_each_link_set(self):
        cells = self.cells(self.document())
        expected = {"meta objects": 19, "part products": 2, "assembly products": 2, "embodiments": 2,
                    "part occurrences": 7, "assembly occurrences": 2, "billets": 0, "group objects": 4,
                    "properties": 10, "groups": 2, "members": 6 + 3, "components": 9, "bodies": 9,
                    "unique links": 9, "validated links": 18}
        self.assertEqual({name: int(cells[name]) for name in expected}, expected)

    def test_names_streams_of_strangers(self):
        document = self.document()
        document.change("INSERT INTO stream VALUES (?, 1, 2, ?)", "draw\ning", b"12345")
        self.assertIn("stream 'draw\\x0Aing'", self.text_of("info", document.path))
        self.assertEqual(self.cells(document)["stream 'draw\\x0Aing'"], "5 bytes")

    def test_shows_no_control_characters_of_a_property(self):
        document = self.document()
        document.change("UPDATE property SET value = ? WHERE name = 'productName'", "evil\x1b[31m\nname")
        text = self.text_of("info", document.path)
        self.assertNotIn("\x1b", text)
        self.assertNotIn("\nname", text)


if __name__ == "__main__":
    unittest.main()
