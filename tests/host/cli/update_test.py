"""qlinks update: a revised STEP file in a document. What is still there keeps its keys, paths, links and numbers."""

import os
import pathlib
import unittest

from qlinks import Document, Lock, Plant, QlinksTest, StepFile, machine, run

SAMPLES = pathlib.Path(__file__).resolve().parents[3] / "samples"


class UpdateTest(QlinksTest):
    def imported(self, step, name="in.qdoc"):
        self.text_of("import", self.file("in.step", step if isinstance(step, str) else step.text()), "-o",
                     self.folder / name)
        return Document(self.folder / name)

    def assert_sound(self, document):
        self.assert_links_whole(document)
        self.assertEqual(self.json_of("check", document.path), [])
        self.text_of("positions", document.path)


class Unchanged(UpdateTest):
    def test_the_same_file_changes_nothing_at_all(self):
        for step in (machine(), Plant()):
            document = self.imported(step)
            again, text = self.updated(document, step)
            self.assertRegex(text, r"\Akept \d+, added 0, moved 0, removed 0 occurrences\n\Z")
            self.assertEqual(again.tables(), document.tables())

    def test_a_file_without_identifiers_and_in_another_order_is_recognised_by_place(self):
        def step(reverse):
            made = StepFile()
            parts = [made.product(f"P-{i}", f"Part {i}", made.solid()) for i in range(3)]
            root = made.product("R-1", "Root")
            uses = [(parts[i % 3], (i, 0, 0)) for i in range(9)]
            for part, at in reversed(uses) if reverse else uses:
                made.use(root, part, at=at)
            return made
        document = self.imported(step(False))
        again, text = self.updated(document, step(True))
        self.assertEqual(text, "kept 9, added 0, moved 0, removed 0 occurrences\n")
        self.assertEqual(again.tables("stream"), document.tables("stream"))
        self.assertEqual(again.lines(), {"P-0": 1, "P-1": 2, "P-2": 3})

    def test_the_document_that_is_updated_stays_as_it_was(self):
        document = self.imported(Plant())
        before = document.path.read_bytes()
        self.updated(document, Plant().revise())
        self.assertEqual(document.path.read_bytes(), before)

    def test_a_document_can_take_the_place_of_the_one_that_it_comes_from(self):
        document = self.imported(Plant())
        step = self.file("new.step", Plant().revise().text())
        self.text_of("update", document.path, step, "-o", document.path)
        self.assertEqual(len(document.components()), 2018)
        self.assert_sound(document)


class LargeAssembly(UpdateTest):
    """2,000 occurrences, of which some are added, moved, removed, exchanged and called otherwise."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        folder = pathlib.Path(cls.class_folder.name)
        cls.old, cls.new = Plant(), Plant().revise()
        for name, plant in (("a", cls.old), ("b", cls.new)):
            (folder / f"{name}.step").write_text(plant.text())
        run("import", folder / "a.step", "-o", folder / "a.qdoc")
        done = run("update", folder / "a.qdoc", folder / "b.step", "-o", folder / "b.qdoc")
        if done.returncode != 0 or done.stderr:
            raise AssertionError(done)
        cls.text = done.stdout.decode()
        cls.before, cls.after = Document(folder / "a.qdoc"), Document(folder / "b.qdoc")

    def pairs(self):
        """What was and still is there: its path and key before and after, by what it is."""
        old_ids, new_ids = self.old.occurrences(), self.new.occurrences()
        before, after = self.before.components(), self.after.components()
        return {what: (before[old_ids[what]], after[new_ids[what]]) for what in old_ids.keys() & new_ids.keys()}

    def test_has_2000_occurrences(self):
        self.assertEqual(len(self.before.components()), 2000)

    def test_what_is_still_there_keeps_its_key(self):
        pairs = self.pairs()
        self.assertEqual(len(pairs), 2000 - 19)
        for what, ((_, old), (_, new)) in pairs.items():
            self.assertEqual(old, new, what)

    def test_what_did_not_move_keeps_its_path(self):
        for what, ((old, _), (new, _)) in self.pairs().items():
            if what[0] not in Plant.MOVED:
                self.assertEqual(old, new, what)

    def test_what_moved_takes_along_what_it_holds(self):
        for what, ((old, _), (new, _)) in self.pairs().items():
            if what[0] in Plant.MOVED and len(what) > 1:
                self.assertEqual(old[-1], new[-1], what)
        self.assertEqual(len(self.after.components()["another hall", "module", "kit", "K-1.0"][0]), 4)

    def test_what_is_new_has_a_key_and_a_path_that_nothing_had(self):
        old_ids, new_ids = self.old.occurrences(), self.new.occurrences()
        before, after = self.before.components(), self.after.components()
        paths, keys = ({values[i] for values in before.values()} for i in (0, 1))
        added = [after[new_ids[what]] for what in new_ids.keys() - old_ids.keys()]
        self.assertEqual(len(added), 37)
        for path, key in added:
            self.assertNotIn(path, paths)
            self.assertNotIn(key, keys)

    def test_what_is_gone_leaves_no_trace(self):
        old_ids, new_ids = self.old.occurrences(), self.new.occurrences()
        before = self.before.components()
        gone = {before[old_ids[what]][1] for what in old_ids.keys() - new_ids.keys()}
        self.assertEqual(len(gone), 19)
        for table, column in (("meta_object", "key"), ("group_member", "object"), ("component", "occurrence")):
            self.assertFalse(gone & {key for key, in self.after.rows(f"SELECT {column} FROM {table}")}, table)
        self.assertFalse(gone & {link.key for links in self.after.links() for link in links})

    def test_every_line_keeps_its_number_and_new_ones_get_the_next(self):
        # By the marking in the revision; the hall has another one.
        for assembly, uses in self.new.uses.items():
            was = {"H-B/2": "H-B"}.get(assembly, assembly)
            numbers = {{"H-B": "H-B/2"}.get(product, product): number
                       for number, product in enumerate(self.old.lines(was), 1)}
            expected = {product: numbers[product] for product in self.new.lines(assembly) if product in numbers}
            last = max(numbers.values())
            for product in self.new.lines(assembly):
                if product not in numbers:
                    last += 1
                    expected[product] = last
            self.assertEqual(self.after.lines(assembly), expected, assembly)

    def test_every_link_is_there_and_no_other(self):
        self.assert_links_whole(self.after)
        self.assertEqual(self.json_of("check", self.after.path), [])

    def test_every_body_answers_the_number_of_its_line(self):
        self.text_of("positions", self.after.path)

    def test_prints_how_much_was_kept_added_moved_and_removed_and_what(self):
        lines = self.text.splitlines()
        self.assertEqual(lines[-1], "kept 1978, added 37, moved 3, removed 19 occurrences")
        self.assertEqual(sum(line.startswith("added: ") for line in lines), 37)
        self.assertEqual(sum(line.startswith("removed: ") for line in lines), 19)
        for line in ("removed: 167 P-12 Part 12", "moved: 1/10 to 2/10 M-1 Module",
                     "moved: 168 to 2/10/11 K-1 Kit", "moved: 1/10/10 to 169 P-11 Part 11", "added: 170 P-03 Part 3"):
            self.assertIn(line, lines)

    def test_an_exchanged_body_has_a_name_that_its_component_never_had(self):
        self.assertEqual(self.after.rows("SELECT DISTINCT body.name, body.type FROM body "
                                         "JOIN component ON component.path = body.path "
                                         "JOIN meta_object ON key = occurrence JOIN property ON object = product "
                                         "WHERE property.name = 'marking' AND value = 'P-08'"), [(b"body-2", 2)])

    def test_back_again_gives_no_number_to_what_had_it_not(self):
        back = Document(self.folder / "c.qdoc")
        self.text_of("update", self.after.path, self.file("a.step", self.old.text()), "-o", back.path)
        root = self.old.lines("ROOT")
        freed = {"P-12": 6, "K-1": 7}
        self.assertEqual(self.before.lines()["P-12"], freed["P-12"])
        for product in root:
            if product in freed:
                self.assertGreater(back.lines()[product], 8, product)
            else:
                self.assertEqual(back.lines()[product], self.before.lines()[product], product)
        self.assert_sound(back)

    def test_a_dry_run_says_the_same_and_writes_nothing(self):
        folder = pathlib.Path(self.class_folder.name)
        for output in ([], ["-o", self.folder / "c.qdoc"]):
            files = {path: path.read_bytes() for path in folder.iterdir()}
            text = self.text_of("update", self.before.path, folder / "b.step", "--dry-run", *output)
            self.assertEqual(text, self.text[:-1] + " (nothing was written)\n")
            self.assertEqual({path: path.read_bytes() for path in folder.iterdir()}, files)
            self.assertEqual(os.listdir(self.folder), [])


class Numbers(UpdateTest):
    def step(self, *markings, holder="R-1"):
        step = StepFile()
        root = step.product(holder, "Root")
        made = {}
        for number, marking in enumerate(markings):
            made[marking] = made.get(marking) or step.product(marking, "Part " + marking, step.solid())
            step.use(root, made[marking], id_=f"{marking}.{number}", at=(number, 0, 0))
        return step

    def test_a_line_that_is_gone_frees_its_number_for_nobody_else(self):
        document = self.imported(self.step("A", "B", "C"))
        document, _ = self.updated(document, self.step("A", "B"), name="1.qdoc")
        self.assertEqual(document.lines(), {"A": 1, "B": 2})
        document, _ = self.updated(document, self.step("D", "A", "B"), name="2.qdoc")
        self.assertEqual(document.lines(), {"A": 1, "B": 2, "D": 4})
        document, _ = self.updated(document, self.step("C", "D", "A", "B"), name="3.qdoc")
        self.assertEqual(document.lines(), {"A": 1, "B": 2, "D": 4, "C": 5})

    def test_a_number_set_by_hand_stays(self):
        document = self.imported(self.step("A", "B", "C"))
        self.text_of("position", document.path, "B", "40")
        document, _ = self.updated(document, self.step("C", "D", "B"))
        self.assertEqual(document.lines(), {"B": 40, "C": 3, "D": 41})

    def test_a_number_set_by_hand_and_given_up_goes_to_nobody_else(self):
        document = self.imported(self.step("A", "B"))
        self.text_of("position", document.path, "A", "9")
        self.text_of("position", document.path, "A", "7")
        document, _ = self.updated(document, self.step("A", "B", "C"))
        self.assertEqual(document.lines(), {"A": 7, "B": 2, "C": 10})

    def test_a_number_that_a_line_gives_up_by_hand_goes_to_nobody_else(self):
        document = self.imported(self.step("A", "B"))
        self.text_of("position", document.path, "A", "9")
        self.text_of("position", document.path, "A", "3")
        document, _ = self.updated(document, self.step("B", "C", "D"))
        self.assertEqual(document.lines(), {"B": 2, "C": 10, "D": 11})

    def test_one_occurrence_that_is_left_keeps_the_line(self):
        document = self.imported(self.step("A", "B", "A", "A"))
        document, _ = self.updated(document, self.step("A", "B"))
        self.assertEqual(document.lines(), {"A": 1, "B": 2})

    def test_every_variant_keeps_numbers_of_its_own(self):
        document = self.imported(self.step("A", "B", "C"))
        self.text_of("embodiment", document.path, "add", "light", "--number", "02", "--without", "A")
        self.text_of("position", document.path, "B", "50", "--embodiment", "light")
        document, _ = self.updated(document, self.step("A", "B", "C", "D"))
        self.assertEqual(document.lines(), {"A": 1, "B": 2, "C": 3, "D": 4})
        self.assertEqual(document.lines(embodiment="light"), {"B": 50, "C": 3, "D": 51})
        self.assert_sound(document)

    def test_what_was_set_of_an_object_stays(self):
        document = self.imported(self.step("A", "B", "C"))
        self.text_of("attribute", document.path, "A", "exclude", "on")
        self.text_of("attribute", document.path, "2", "bound", "on")
        self.text_of("billet", document.path, "C", "--associative")
        attributes = document.rows("SELECT * FROM attribute ORDER BY object")
        document, _ = self.updated(document, self.step("A", "B", "C"))
        self.assertEqual(document.rows("SELECT * FROM attribute ORDER BY object"), attributes)
        self.assertEqual(self.text_of("billet", document.path, "C"), "C Part C: stock, follows the model\n")


class Products(UpdateTest):
    """Numbers are kept in the bill of a product, so all hangs on which product of the file is which."""

    def lamps(self, *order):
        """Lamps in this order, each with a glass of its own; all glasses have one marking and one name. A lamp of a
        negative number is that one without its glass."""
        step = StepFile()
        root = step.product("R-1", "Root")
        for number in order:
            lamp = step.product(f"L-{abs(number)}", "Lamp")
            if number > 0:
                step.use(lamp, step.product("G", "Glass", step.solid()), at=(1, 2, 3))
            step.use(lamp, step.product(f"F-{abs(number)}", "Foot", step.solid()))
            step.use(root, lamp, at=(abs(number), 0, 0))
        return step

    def test_that_share_marking_and_name_are_told_apart_by_who_uses_them(self):
        document = self.imported(self.lamps(1, 2, 3, 4, 5))
        again, text = self.updated(document, self.lamps(5, 4, 3, 2, 1))
        self.assertEqual(text, "kept 15, added 0, moved 0, removed 0 occurrences\n")
        self.assertEqual(again.tables("stream"), document.tables("stream"))

    def test_one_of_many_that_share_marking_and_name_goes_alone(self):
        document = self.imported(self.lamps(1, 2, 3, 4, 5))
        again, text = self.updated(document, self.lamps(1, -2, 3, 4, 5))
        self.assertEqual(text, "removed: 2/1 G Glass\nkept 14, added 0, moved 0, removed 1 occurrences\n")
        for i in range(1, 6):
            self.assertEqual(again.lines(f"L-{i}"), {f"F-{i}": 2} if i == 2 else {"G": 1, f"F-{i}": 2})

    def with_spare(self, *, spare):
        """A machine, and a part beside it that nothing uses."""
        step = machine()
        if spare:
            step.product("X-1", "Spare", step.solid())
        return step

    def test_a_root_that_gets_another_one_beside_it_keeps_its_numbers(self):
        document = self.imported(self.with_spare(spare=False))
        self.text_of("position", document.path, "F-1", "20")
        two, _ = self.updated(document, self.with_spare(spare=True), name="two.qdoc")
        self.assertEqual(two.lines("M-1"), {"F-1": 20, "B-1": 2})
        self.assertEqual(two.lines("F-1"), {"B-1": 1, "P-1": 2})
        self.assert_sound(two)
        one, _ = self.updated(two, self.with_spare(spare=False), name="one.qdoc")
        self.assertEqual(one.lines(), {"F-1": 20, "B-1": 2})
        self.assert_sound(one)

    def test_a_root_of_another_name_is_the_same(self):
        document = self.imported(machine())
        text = machine().text().replace("'M-1','Machine'", "'N-2','Engine'")
        again, _ = self.updated(document, text)
        self.assertEqual(again.lines(), document.lines())
        self.assertEqual({key for key, in again.rows("SELECT key FROM meta_object")},
                         {key for key, in document.rows("SELECT key FROM meta_object")})


class Sample(UpdateTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.drive = pathlib.Path(cls.class_folder.name) / "drive.qdoc"
        run("import", SAMPLES / "conveyor_drive_rev_a.step", "-o", cls.drive)

    def revised(self):
        text = self.text_of("update", self.drive, SAMPLES / "conveyor_drive_rev_b.step", "-o", self.folder / "b.qdoc")
        return Document(self.folder / "b.qdoc"), text

    def numbers(self, document):
        return {(line["assembly"], line["marking"]): line["position"]
                for line in self.json_of("positions", document.path)}

    def test_keeps_every_number_but_that_of_the_gasket(self):
        before, (document, _) = self.numbers(Document(self.drive)), self.revised()
        after = self.numbers(document)
        gone = {("QD.01.02.000 Редуктор", "QD.01.02.003")}
        self.assertEqual(before.keys() - after.keys(), gone)
        self.assertEqual({line: after[line] for line in before.keys() - gone},
                         {line: before[line] for line in before.keys() - gone})
        for assembly, number in ((assembly, before[assembly, marking]) for assembly, marking in gone):
            self.assertNotIn(number, [value for (holder, _), value in after.items() if holder == assembly])

    def test_keeps_the_key_of_every_occurrence_whose_identifier_stays(self):
        before = {ids[-1]: key for ids, (_, key) in Document(self.drive).components().items() if len(ids) == 1}
        document, _ = self.revised()
        after = {ids[-1]: key for ids, (_, key) in document.components().items() if len(ids) == 1}
        self.assertEqual({id_: after[id_] for id_ in before if id_ != "TOP-coupling2"},
                         {id_: key for id_, key in before.items() if id_ != "TOP-coupling2"})

    def test_moves_the_coupling_with_its_key_and_everything_in_it(self):
        before, (document, text) = Document(self.drive).components(), self.revised()
        after = document.components()
        moved = {("TOP-drum", "DR-coupling", *ids[1:]): key
                 for ids, (_, key) in before.items() if ids[0] == "TOP-coupling2"}
        self.assertGreater(len(moved), 10)
        self.assertEqual({ids: after[ids][1] for ids in moved}, moved)
        self.assertEqual(sum(line.startswith("moved: ") for line in text.splitlines()), 1)

    def test_prints_what_changed(self):
        _, text = self.revised()
        lines = text.splitlines()
        self.assertEqual(lines[-1], "kept 267, added 16, moved 1, removed 11 occurrences")
        self.assertTrue(any(line.startswith("added: ") and "QD.01.07.000" in line for line in lines), text)
        self.assertTrue(any(line.startswith("removed: ") and "QD.01.02.003" in line for line in lines), text)

    def test_leaves_nothing_wrong(self):
        self.assert_sound(self.revised()[0])

    def test_back_again_keeps_what_both_have(self):
        document, _ = self.revised()
        self.text_of("update", document.path, SAMPLES / "conveyor_drive_rev_a.step", "-o", self.folder / "c.qdoc")
        back = Document(self.folder / "c.qdoc")
        self.assert_sound(back)
        before, after = self.numbers(Document(self.drive)), self.numbers(back)
        gasket = ("QD.01.02.000 Редуктор", "QD.01.02.003")
        self.assertEqual(before.keys(), after.keys())
        self.assertEqual([line for line in before if before[line] != after[line]], [gasket])


class Refusals(UpdateTest):
    def refused(self, says, step, *options):
        document = self.document()
        for way in (["-o", self.folder / "out.qdoc"], ["-o", document.path], ["--dry-run"]):
            self.assert_refused(says, "update", document.path, step, *way, *options)

    def test_neither_an_output_nor_a_dry_run(self):
        step = self.file("in.step", machine().text())
        self.assert_refused(["-o", "--dry-run"], "update", self.document().path, step)

    def test_what_is_no_step_file(self):
        self.refused([str(self.folder / "none.step"), "no such file"], self.folder / "none.step")
        self.refused(["in.step", "not a STEP file"], self.file("in.step", "solid"))
        self.refused(["in.step", "cut off in line"], self.file("in.step", machine().text()[:3000]))
        self.refused(["a.qdoc", "not a STEP file"], self.document().path)

    def test_an_unknown_code_page(self):
        self.refused("unknown code page", self.file("in.step", machine().text()), "--codepage", "KLINGON")

    def test_an_output_that_is_no_document_or_lies_in_no_folder(self):
        document, step = self.document(), self.file("in.step", machine().text())
        notes = self.file("notes.txt", "do not lose me")
        for output in (notes, step, self.folder, self.folder / "none" / "out.qdoc"):
            self.assert_refused(str(output.parent), "update", document.path, step, "-o", output)

    def test_an_output_that_another_program_has_locked(self):
        document, step = self.document(), self.file("in.step", machine().text())
        with Lock(document.path, "BEGIN EXCLUSIVE"):
            self.assert_refused(str(document.path), "update", document.path, step, "-o", document.path)

    def test_a_summary_that_cannot_be_printed_leaves_no_document(self):
        document, step = self.document(), self.file("in.step", machine().text())
        before = self.contents()
        with open("/dev/full", "wb") as full:
            done = run("update", document.path, step, "-o", self.folder / "out.qdoc", stdout=full)
        self.assertEqual((done.returncode, done.stderr.count(b"\n")), (2, 1))
        self.assertEqual(self.contents(), before)

    def test_a_document_whose_occurrences_or_lines_are_gone(self):
        for change in ("UPDATE meta_object SET line = x'41' WHERE type IN (4, 5)",
                       "DELETE FROM meta_object WHERE type = 8",
                       "UPDATE setting SET value = x'41' WHERE name = 'root_product'",
                       "UPDATE component SET occurrence = (SELECT key FROM meta_object WHERE type = 4 LIMIT 1)"):
            document, step = self.document().change(change), self.file("in.step", machine().text())
            done = run("update", document.path, step, "-o", self.folder / "out.qdoc")
            self.assertIn(done.returncode, (0, 2), change)
            self.assertEqual(done.stderr.count(b"\n"), done.returncode // 2)

    def test_what_is_no_sound_document(self):
        self.assert_bad_documents_refused(["update", "DOC", self.file("in.step", machine().text()), "-o", "OUT"])


if __name__ == "__main__":
    unittest.main()
