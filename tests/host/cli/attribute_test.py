"""qlinks attribute and billet: what decides on a place in the bill, and what is stock."""

import unittest

from qlinks import QlinksTest, machine, run


class AttributeTest(QlinksTest):
    def set(self, document, *arguments):
        return self.text_of("attribute", document.path, *arguments)

    def lines(self, document, *options):
        """Position, count and number of bodies of each line, by assembly and marking."""
        return {(line["assembly"][:3], line["marking"]): (line["position"], line["count"], len(line["bodies"]))
                for line in self.json_of("positions", document.path, *options)}

    ALL = {("M-1", "F-1"): (1, 2, 0), ("M-1", "B-1"): (2, 1, 1), ("F-1", "B-1"): (1, 2, 4), ("F-1", "P-1"): (2, 1, 4)}

    def assert_sound(self, document):
        self.assertEqual(self.json_of("check", document.path), [])
        self.text_of("positions", document.path)


class Showing(AttributeTest):
    def test_tells_all_three_and_that_nothing_is_set(self):
        document = self.document()
        before = self.contents()
        for what, name in (("2", "B-1 Bolt"), ("1/2", "P-1 Plate"), ("F-1", "F-1 Frame")):
            self.assertEqual(self.set(document, what), f"{name}: include on, exclude off, bound off (nothing set)\n")
        self.assertEqual(self.contents(), before)

    def test_tells_what_was_set(self):
        document = self.document()
        self.assertEqual(self.set(document, "2", "exclude", "on"), "B-1 Bolt: include on, exclude on, bound off\n")
        self.assertEqual(self.set(document, "2", "bound", "on"), "B-1 Bolt: include on, exclude on, bound on\n")
        self.assertEqual(self.set(document, "2", "include", "off"), "B-1 Bolt: include off, exclude on, bound on\n")
        self.assertEqual(self.set(document, "2"), "B-1 Bolt: include off, exclude on, bound on\n")
        self.assertEqual(self.set(document, "2", "exclude", "off"), "B-1 Bolt: include off, exclude off, bound on\n")

    def test_is_of_one_object_alone(self):
        document = self.document()
        self.set(document, "1/1", "bound", "on")
        key = document.rows("SELECT occurrence FROM component WHERE path = x'0000000100000001'")[0][0]
        self.assertEqual(document.rows("SELECT * FROM attribute"), [(key, 1, 0, 1)])

    def test_finds_an_occurrence_by_its_key(self):
        document = self.document()
        self.set(document, document.components()["u2",][1].decode(), "exclude", "on")
        self.assertIn("exclude on", self.set(document, "2"))


class Setting(AttributeTest):
    def test_takes_an_occurrence_out_of_its_line(self):
        for attribute, state in (("exclude", "on"), ("include", "off")):
            document = self.document()
            self.set(document, "1/1", attribute, state)
            # The first use of the frame is the one that is counted.
            self.assertEqual(self.lines(document), {**self.ALL, ("F-1", "B-1"): (1, 1, 3)})
            self.assert_sound(document)

    def test_takes_a_line_out_of_the_bill(self):
        for attribute, state in (("exclude", "on"), ("include", "off")):
            document = self.document()
            self.set(document, "P-1", attribute, state)
            self.assertEqual(self.lines(document), {line: what for line, what in self.ALL.items() if line[1] != "P-1"})
            self.assert_sound(document)

    def test_back_again_brings_the_line_with_its_number_and_its_links(self):
        document = self.document()
        for what in ("P-1", "2"):
            for attribute, away, back in (("exclude", "on", "off"), ("include", "off", "on")):
                self.set(document, what, attribute, away)
                self.assertNotEqual(self.lines(document), self.ALL)
                self.set(document, what, attribute, back)
                self.assertEqual(self.lines(document), self.ALL)
                self.assertEqual([sorted(links) for links in document.links()],
                                 [sorted(links) for links in document.whole_links()])

    def test_of_an_occurrence_takes_the_links_to_its_line_from_its_bodies_and_no_other(self):
        document = self.document()
        line = document.key_of_line("P-1", "F-1")
        unique, validated = document.whole_links()
        self.set(document, "3/2", "exclude", "on")
        links = document.links()
        self.assertEqual(set(links[0]), unique)
        self.assertEqual(set(links[1]), {link for link in validated if (link.key, link.component) != (line, (3, 2))})

    def test_bound_to_the_variants_that_have_it_stays_in_the_bill_of_the_base(self):
        document = self.document()
        self.set(document, "2", "bound", "on")
        self.assertEqual(self.lines(document), self.ALL)
        self.assert_sound(document)

    def test_bound_shows_in_the_check_of_a_variant_that_has_it_not(self):
        document = self.document()
        self.text_of("embodiment", document.path, "add", "light", "--number", "02", "--without", "2")
        found = run("check", document.path, "--embodiment", "light")
        bound = (found.returncode, found.stdout)
        self.set(document, "2", "bound", "off")
        found = run("check", document.path, "--embodiment", "light")
        self.assertEqual(found.returncode, 0)
        self.assert_sound(document)
        self.assertEqual(bound[0], 1, bound[1])


class Billets(AttributeTest):
    def billet(self, document, *arguments):
        return self.text_of("billet", document.path, *arguments)

    def test_tells_of_which_kind_a_line_is(self):
        document = self.document()
        self.assertEqual(self.billet(document, "P-1"), "P-1 Plate: no stock\n")
        for option, text in (("--manual", "stock, added by hand"), ("--associative", "stock, follows the model"),
                             ("--none", "no stock")):
            self.assertEqual(self.billet(document, "P-1", option), f"P-1 Plate: {text}\n")
            before = self.contents()
            self.assertEqual(self.billet(document, "P-1"), f"P-1 Plate: {text}\n")
            self.assertEqual(self.contents(), before)

    def test_stock_has_no_position_and_is_no_fault(self):
        for option in ("--manual", "--associative"):
            document = self.document()
            self.billet(document, "P-1", option)
            self.assertEqual(self.lines(document), {**self.ALL, ("F-1", "P-1"): (None, 1, 4)})
            self.assert_sound(document)

    def test_makes_the_line_and_its_occurrences_stock(self):
        document = self.document()
        self.billet(document, "P-1", "--associative")
        self.assertEqual(document.rows("SELECT type, billet, count(*) FROM meta_object WHERE billet != 0 "
                                       "GROUP BY type ORDER BY type"), [(6, 2, 2), (8, 2, 1)])
        self.billet(document, "P-1", "--none")
        self.assertEqual(document.rows("SELECT * FROM meta_object WHERE billet != 0 OR type = 6"), [])

    def test_a_part_again_has_the_next_number_and_never_its_old_one(self):
        document = self.document()
        self.text_of("position", document.path, "P-1", "9")
        self.billet(document, "P-1", "--manual")
        self.billet(document, "P-1", "--none")
        self.assertEqual(self.lines(document), {**self.ALL, ("F-1", "P-1"): (10, 1, 4)})
        self.assert_sound(document)

    def test_none_of_what_is_none_changes_nothing(self):
        document = self.document()
        tables = document.tables()
        self.billet(document, "P-1", "--none")
        self.assertEqual(document.tables(), tables)

    def test_stock_stays_without_a_position_whatever_else_is_numbered(self):
        document = self.document()
        self.billet(document, "P-1", "--manual")
        loose = document.key_of_line("B-1", "M-1").decode()
        self.billet(document, loose, "--manual")
        self.billet(document, loose, "--none")
        self.assertEqual(self.lines(document), {**self.ALL, ("M-1", "B-1"): (3, 1, 1), ("F-1", "P-1"): (None, 1, 4)})
        self.text_of("update", document.path, self.file("in.step", machine().text()), "-o", document.path)
        self.assertEqual(self.lines(document)["F-1", "P-1"], (None, 1, 4))
        self.assert_sound(document)

    def test_stock_has_no_position_in_any_variant(self):
        document = self.document()
        self.text_of("embodiment", document.path, "add", "light", "--number", "02")
        self.billet(document, document.key_of_line("B-1", "M-1").decode(), "--manual")
        self.assertEqual(document.lines(), {"F-1": 1})
        self.assertEqual(document.lines(embodiment="light"), {"F-1": 1})


class Refusals(AttributeTest):
    def refused(self, says, *arguments):
        document = self.document()
        self.assert_refused([str(document.path), *([says] if isinstance(says, str) else says)], arguments[0],
                            document.path, *arguments[1:])

    def test_an_unknown_object(self):
        for what in ("X-9", ""):
            self.refused(f"no line of a bill is called '{what}'", "attribute", what)
            self.refused(f"no line of a bill is called '{what}'", "attribute", what, "exclude", "on")
            self.refused(f"no line of a bill is called '{what}'", "billet", what, "--manual")

    def test_an_unknown_component(self):
        for path in ("9/9", "7"):
            self.refused(f"no component {path}, and no line", "attribute", path)
            self.refused(f"no component {path}, and no line", "attribute", path, "exclude", "on")

    def test_an_ambiguous_name_with_its_candidates(self):
        for arguments in (["attribute", "B-1"], ["attribute", "B-1", "exclude", "on"], ["billet", "Bolt", "--manual"]):
            document = self.document()
            keys = [document.key_of_line("B-1", holder).decode() for holder in ("M-1", "F-1")]
            self.assert_refused([str(document.path), "is ambiguous", f"{keys[0]} in M-1 Machine",
                                 f"{keys[1]} in F-1 Frame"], arguments[0], document.path, *arguments[1:])

    def test_what_is_no_attribute_or_state(self):
        document = self.document()
        for arguments in (["weight", "on"], ["exclude", "maybe"], ["exclude"], ["exclude", "1"]):
            self.assert_refused("--help", "attribute", document.path, "2", *arguments)

    def test_two_kinds_of_stock(self):
        self.assert_refused("--manual", "billet", self.document().path, "P-1", "--manual", "--none")

    def test_an_assembly_as_stock(self):
        self.refused(["F-1 Frame is an assembly", "stock is what a part is made from"], "billet", "F-1", "--manual")

    def test_an_occurrence_whose_meta_object_is_gone(self):
        document = self.document()
        document.change("UPDATE component SET occurrence = x'41' WHERE path = x'00000002'")
        for arguments in ([], ["exclude", "on"]):
            self.assert_refused([str(document.path), "damaged document", "component 2"], "attribute", document.path,
                                "2", *arguments)

    def test_a_result_that_cannot_be_printed_changes_nothing(self):
        document = self.document()
        before = self.contents()
        for arguments in (["attribute", document.path, "2", "exclude", "on"],
                          ["billet", document.path, "P-1", "--manual"]):
            with open("/dev/full", "wb") as full:
                self.assertEqual(run(*arguments, stdout=full).returncode, 2)
            self.assertEqual(self.contents(), before)

    def test_what_is_no_sound_document(self):
        for arguments in (["attribute", "DOC", "2"], ["attribute", "DOC", "2", "exclude", "on"],
                          ["billet", "DOC", "P-1"], ["billet", "DOC", "P-1", "--manual"]):
            self.assert_bad_documents_refused(arguments)


if __name__ == "__main__":
    unittest.main()
