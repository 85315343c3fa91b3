"""qlinks position: a number set by hand."""

import unittest

from qlinks import Lock, QlinksTest, StepFile, run


class PositionTest(QlinksTest):
    def set(self, document, *arguments):
        return self.text_of("position", document.path, *arguments)


class Setting(PositionTest):
    def test_gives_the_line_the_number_and_says_so(self):
        document = self.document()
        self.assertEqual(self.set(document, "F-1", "20"), "F-1 Frame: 20\n")
        self.assertEqual(document.lines(), {"F-1": 20, "B-1": 2})
        self.assertEqual(document.lines("F-1"), {"B-1": 1, "P-1": 2})

    def test_shows_in_the_bill_and_in_the_answer_of_every_body(self):
        document = self.document()
        self.set(document, "P-1", "30")
        bill = self.json_of("positions", document.path, "--component", "1")
        self.assertEqual([(line["position"], line["marking"]) for line in bill], [(1, "B-1"), (30, "P-1")])
        self.assertEqual(self.json_of("check", document.path), [])

    def test_finds_a_line_by_marking_name_both_and_key(self):
        for text in ("F-1", "Frame", "F-1 Frame", self.document().key_of_line("F-1", "M-1").decode()):
            document = self.document()
            self.set(document, text, "9")
            self.assertEqual(document.lines()["F-1"], 9)

    def test_looks_in_one_assembly_alone_where_its_component_is_named(self):
        document = self.document()
        self.set(document, "B-1", "8", "--component", "3")
        self.set(document, "B-1", "9", "--component", "/")
        self.assertEqual((document.lines("F-1")["B-1"], document.lines()["B-1"]), (8, 9))

    def test_takes_the_least_and_the_greatest_number(self):
        document = self.document()
        self.set(document, "F-1", "999999")
        self.set(document, "Bolt", "1", "--component", "/")
        self.assertEqual(document.lines(), {"F-1": 999999, "B-1": 1})

    def test_takes_the_number_that_the_line_has(self):
        document = self.document()
        self.set(document, "F-1", "1")
        self.assertEqual(document.lines(), {"F-1": 1, "B-1": 2})

    def test_reads_numbers_in_tens_whatever_they_begin_with(self):
        document = self.document()
        self.set(document, "F-1", "010")
        self.assertEqual(document.lines()["F-1"], 10)

    def test_changes_no_link(self):
        document = self.document()
        links = document.section()
        self.set(document, "F-1", "20")
        self.assertEqual(document.section(), links)

    def test_is_of_one_embodiment_alone(self):
        document = self.document()
        self.text_of("embodiment", document.path, "add", "light", "--number", "02", "--without", "1")
        self.set(document, "F-1", "20", "--embodiment", "02")
        self.set(document, "B-1", "30", "--component", "/")
        self.assertEqual(document.lines(), {"F-1": 1, "B-1": 30})
        self.assertEqual(document.lines(embodiment="light"), {"F-1": 20, "B-1": 2})


class Swap(PositionTest):
    def test_exchanges_the_numbers_of_two_lines_and_says_both(self):
        document = self.document()
        self.assertEqual(self.set(document, "F-1", "2", "--swap"), "B-1 Bolt: 1\nF-1 Frame: 2\n")
        self.assertEqual(document.lines(), {"F-1": 2, "B-1": 1})
        self.assertEqual(self.json_of("check", document.path), [])

    def test_is_a_number_set_by_hand_for_both(self):
        document = self.document()
        self.set(document, "F-1", "2", "--swap")
        self.assertEqual(document.rows("SELECT count(*) FROM group_property WHERE name NOT IN ('position')"), [(2,)])

    def test_with_a_free_number_is_a_plain_setting(self):
        document = self.document()
        self.assertEqual(self.set(document, "F-1", "5", "--swap"), "F-1 Frame: 5\n")
        self.assertEqual(document.lines(), {"F-1": 5, "B-1": 2})

    def test_tells_nothing_where_it_could_not_be_kept(self):
        document = self.document()
        document.path.chmod(0o444)
        self.assert_refused("read-only", "position", document.path, "F-1", "2", "--swap", as_anybody=True)


class Refusals(PositionTest):
    def refused(self, says, *arguments, document=None):
        document = document or self.document()
        self.assert_refused([str(document.path), *([says] if isinstance(says, str) else says)], "position",
                            document.path, *arguments)

    def test_a_number_that_another_line_holds_naming_that_line(self):
        self.refused(["position 2 is that of B-1 Bolt", "--swap"], "F-1", "2")

    def test_what_is_no_number_from_1_to_999999(self):
        for number in ("0", "-1", "1000000", "1e99", "99999999999999999999", "4294967297", "text", "5.5", "0x10", "",
                       " 5", "5 ", "+5", "1\n2", "\u0665"):
            self.refused("is no position number; they run from 1 to 999999", "F-1", number)

    def test_an_unknown_object(self):
        self.refused(["no line of a bill is called 'X-9'", "qlinks positions"], "X-9", "5")
        self.refused("is called ''", "", "5")

    def test_an_object_of_another_assembly(self):
        self.refused("no line of a bill is called 'P-1'", "P-1", "5", "--component", "/")

    def test_an_ambiguous_name_with_its_candidates(self):
        document = self.document()
        keys = [document.key_of_line("B-1", holder).decode() for holder in ("M-1", "F-1")]
        self.refused(["'B-1' is ambiguous", f"{keys[0]} in M-1 Machine", f"{keys[1]} in F-1 Frame", "use a key"],
                     "B-1", "5", document=document)

    def test_a_long_list_of_candidates_in_one_line(self):
        step = StepFile()
        root = step.product("R-1", "Root")
        for number in range(40):
            step.use(root, step.product(f"P-{number}", "Part", step.solid()))
        self.text_of("import", self.file("in.step", step.text()), "-o", self.folder / "a.qdoc")
        done = self.assert_refused("'Part' is ambiguous, 40 have the name", "position", self.folder / "a.qdoc", "Part",
                                   "5")
        self.assertLess(len(done.stderr), 1000)

    def test_a_component_that_does_not_exist(self):
        self.refused("no component 7/7", "B-1", "5", "--component", "7/7")

    def test_an_unknown_embodiment(self):
        self.refused("no embodiment is called 'light'", "F-1", "5", "--embodiment", "light")

    def test_an_embodiment_for_a_line_of_a_sub_assembly(self):
        document = self.document()
        self.text_of("embodiment", document.path, "add", "light", "--number", "02")
        self.refused(["P-1 Plate is a line of F-1 Frame", "leave out --embodiment"], "P-1", "5", "--embodiment", "02",
                     document=document)

    def test_a_line_that_the_embodiment_does_not_have(self):
        document = self.document()
        self.text_of("embodiment", document.path, "add", "light", "--number", "02", "--without", "2")
        self.refused("B-1 Bolt does not occur in this embodiment", "B-1", "5", "--component", "/", "--embodiment", "02",
                     document=document)

    def test_stock(self):
        document = self.document()
        self.text_of("billet", document.path, "P-1", "--manual")
        self.refused(["P-1 Plate is stock", "--none"], "P-1", "5", document=document)

    def test_a_swap_for_a_line_without_a_number(self):
        document = self.document()
        document.change("DELETE FROM group_property WHERE object = ?", document.key_of_line("P-1", "F-1"))
        self.refused("P-1 Plate has no position to swap", "P-1", "1", "--swap", document=document)

    def test_a_line_of_no_assembly(self):
        document = self.document().change("UPDATE meta_object SET holder = x'00' WHERE type = 8")
        self.refused(["damaged document", "P-1 Plate"], "P-1", "5", document=document)

    def test_a_document_that_another_program_has_locked(self):
        document = self.document()
        with Lock(document.path, "BEGIN EXCLUSIVE"):
            self.refused("", "F-1", "5", document=document)

    def test_a_result_that_cannot_be_printed_changes_nothing(self):
        document = self.document()
        before = self.contents()
        with open("/dev/full", "wb") as full:
            done = run("position", document.path, "F-1", "5", stdout=full)
        self.assertEqual((done.returncode, done.stderr.count(b"\n")), (2, 1))
        self.assertEqual(self.contents(), before)

    def test_what_is_no_sound_document(self):
        self.assert_bad_documents_refused(["position", "DOC", "F-1", "5"])


if __name__ == "__main__":
    unittest.main()
