"""qlinks positions: the bill of materials, and the numbers that an import gives."""

import csv
import io
import json
import unittest

from qlinks import Document, Link, Plant, QlinksTest, StepFile, run


class PositionsTest(QlinksTest):
    def bill(self, document, *options):
        """Position, marking and count of each line, in the order shown, by assembly."""
        result = {}
        for line in self.json_of("positions", document.path, *options):
            result.setdefault(line["assembly"], []).append((line["position"], line["marking"], line["count"]))
        return result

    def imported(self, step):
        self.text_of("import", self.file("in.step", step.text()), "-o", self.folder / "a.qdoc")
        return Document(self.folder / "a.qdoc")


class Numbering(PositionsTest):
    def test_runs_from_1_in_the_order_of_first_occurrence_within_each_assembly(self):
        document = self.document()
        self.assertEqual(document.lines(), {"F-1": 1, "B-1": 2})
        self.assertEqual(document.lines("F-1"), {"B-1": 1, "P-1": 2})

    def test_of_a_large_assembly_numbers_every_assembly_of_it(self):
        plant = Plant()
        document = self.imported(plant)
        for assembly in plant.uses:
            expected = {marking: number for number, marking in enumerate(plant.lines(assembly), 1)}
            self.assertEqual(document.lines(assembly), expected, assembly)

    def test_is_held_per_group_and_by_nothing_else(self):
        document = self.document()
        self.assertEqual(document.rows("SELECT count(*) FROM property WHERE name = 'position'"), [(0,)])
        self.assertEqual(document.rows("SELECT DISTINCT type FROM group_property JOIN meta_object ON key = object "
                                       "WHERE name = 'position'"), [(8,)])

    def test_leaves_no_fault_and_every_link_that_there_must_be(self):
        for step in (StepFile(), Plant()):
            if isinstance(step, StepFile):
                step.product("P-1", "Part", step.solid())
            document = self.imported(step)
            self.assert_links_whole(document)
            self.assertEqual(self.json_of("check", document.path), [])


class Json(PositionsTest):
    def test_has_exactly_these_names_in_this_order(self):
        for line in self.json_of("positions", self.document().path):
            self.assertEqual(list(line), ["assembly", "position", "marking", "name", "count", "bodies"])

    def test_lists_every_line_with_every_body(self):
        self.assertEqual(self.json_of("positions", self.document().path), [
            {"assembly": "M-1 Machine", "position": 1, "marking": "F-1", "name": "Frame", "count": 2, "bodies": []},
            {"assembly": "M-1 Machine", "position": 2, "marking": "B-1", "name": "Bolt", "count": 1,
             "bodies": ["2:body-1"]},
            {"assembly": "F-1 Frame", "position": 1, "marking": "B-1", "name": "Bolt", "count": 2,
             "bodies": ["1/1:body-1", "1/3:body-1", "3/1:body-1", "3/3:body-1"]},
            {"assembly": "F-1 Frame", "position": 2, "marking": "P-1", "name": "Plate", "count": 1,
             "bodies": ["1/2:body-1", "1/2:body-2", "3/2:body-1", "3/2:body-2"]}])

    def test_of_a_part_is_an_empty_list(self):
        step = StepFile()
        step.product("P-1", "Part", step.solid())
        self.assertEqual(self.json_of("positions", self.imported(step).path), [])

    def test_of_a_line_without_a_number_has_null(self):
        document = self.document()
        self.text_of("billet", document.path, "P-1", "--manual")
        self.assertEqual(self.bill(document)["F-1 Frame"], [(1, "B-1", 2), (None, "P-1", 1)])


class Forms(PositionsTest):
    def test_a_table_for_each_assembly_is_indented_by_its_level(self):
        self.assertEqual(self.text_of("positions", self.document().path).splitlines(), [
            "M-1 Machine",
            "  POS  MARKING  NAME   COUNT  BODIES",
            "  1    F-1      Frame  2",
            "  2    B-1      Bolt   1      2:body-1",
            "  F-1 Frame",
            "    POS  MARKING  NAME   COUNT  BODIES",
            "    1    B-1      Bolt   2      1/1:body-1 1/3:body-1 3/1:body-1 ... 4 in all",
            "    2    P-1      Plate  1      1/2:body-1 1/2:body-2 3/2:body-1 ... 4 in all"])

    def test_csv_says_what_json_does_and_quotes_what_must_be(self):
        document = self.document().change("UPDATE property SET value = 'Bolt, \"hex\"' WHERE value = 'Bolt'")
        rows = list(csv.DictReader(io.StringIO(self.text_of("positions", document.path, "--csv"))))
        lines = self.json_of("positions", document.path)
        self.assertEqual(rows, [{name: " ".join(value) if name == "bodies" else str(value)
                                 for name, value in line.items()} for line in lines])
        self.assertIn('"Bolt, ""hex"""', self.text_of("positions", document.path, "--csv"))

    def test_sorted_by_each_of_its_orders(self):
        document = self.document()
        self.text_of("position", document.path, "B-1", "7", "--component", "1")
        frame = {order: [marking for _, marking, _ in self.bill(document, "--sort", order)["F-1 Frame"]]
                 for order in ("position", "marking", "name", "count")}
        self.assertEqual(frame, {"position": ["P-1", "B-1"], "marking": ["B-1", "P-1"], "name": ["B-1", "P-1"],
                                 "count": ["B-1", "P-1"]})
        plant = self.imported(Plant())
        counts = [count for _, _, count in self.bill(plant, "--sort", "count")["ROOT Plant"]]
        self.assertEqual(counts, sorted(counts, reverse=True))
        names = [line["name"] for line in self.json_of("positions", plant.path, "--sort", "name", "--component", "/")]
        self.assertEqual(names, sorted(names))

    def test_with_keys_every_form_ends_with_the_key_that_names_the_line(self):
        document = self.document()
        keys = [document.key_of_line(marking, assembly).decode()
                for marking, assembly in (("F-1", "M-1"), ("B-1", "M-1"), ("B-1", "F-1"), ("P-1", "F-1"))]
        lines = self.json_of("positions", document.path, "--keys")
        self.assertEqual([(list(line)[-1], line.pop("key")) for line in lines], [("key", key) for key in keys])
        self.assertEqual(lines, self.json_of("positions", document.path))
        rows = list(csv.DictReader(io.StringIO(self.text_of("positions", document.path, "--csv", "--keys"))))
        self.assertEqual([(list(row)[-1], row["key"]) for row in rows], [("key", key) for key in keys])
        shown = [line.split()[-1] for line in self.text_of("positions", document.path, "--keys").splitlines()]
        self.assertEqual(shown, ["Machine", "KEY", *keys[:2], "Frame", "KEY", *keys[2:]])
        self.text_of("position", document.path, keys[2], "9")
        self.assertEqual(document.lines("F-1")["B-1"], 9)

    def test_numbers_are_sorted_as_numbers(self):
        step = StepFile()
        root = step.product("R-1", "Root")
        for number in range(12):
            step.use(root, step.product(f"P-{number}", f"Part {number}", step.solid()))
        self.assertEqual([position for position, _, _ in self.bill(self.imported(step))["R-1 Root"]],
                         list(range(1, 13)))

    def test_flat_sums_the_parts_of_the_whole_product(self):
        self.assertEqual(self.bill(self.document(), "--flat"), {"M-1 Machine": [(None, "B-1", 5), (None, "P-1", 2)]})
        plant = Plant()
        flat = self.bill(self.imported(plant), "--flat")["ROOT Plant"]
        parts = [ids for ids in plant.occurrences().values()]
        assemblies = 2 + 18 + 18 * 4 + 2
        self.assertEqual(sum(count for _, _, count in flat), len(parts) - assemblies)

    def test_of_one_component_is_the_table_of_its_assembly_alone(self):
        document = self.document()
        for path in ("1", "3"):
            self.assertEqual(self.bill(document, "--component", path), {"F-1 Frame": [(1, "B-1", 2), (2, "P-1", 1)]})
        self.assertEqual(list(self.bill(document, "--component", "/")), ["M-1 Machine"])
        self.assertTrue(self.text_of("positions", document.path, "--component", "1").startswith("F-1 Frame\n  POS"))

    def test_of_an_embodiment_leaves_out_what_it_does_not_have(self):
        document = self.document()
        self.text_of("embodiment", document.path, "add", "light", "--number", "02", "--without", "1", "--without", "2")
        self.assertEqual(self.bill(document)["M-1 Machine"], [(1, "F-1", 2), (2, "B-1", 1)])
        for name in ("light", "02"):
            self.assertEqual(self.bill(document, "--embodiment", name),
                             {"M-1 Machine": [(1, "F-1", 1)], "F-1 Frame": [(1, "B-1", 2), (2, "P-1", 1)]})
        self.assertEqual(self.bill(document, "--flat", "--embodiment", "02"),
                         {"M-1 Machine": [(None, "B-1", 2), (None, "P-1", 1)]})

    def test_changes_nothing(self):
        document = self.document()
        before = self.contents()
        for options in ([], ["--json"], ["--csv"], ["--flat"], ["--sort", "name"]):
            self.text_of("positions", document.path, *options)
        self.assertEqual(self.contents(), before)


class Disagreement(PositionsTest):
    """A body that answers otherwise than its line is shown, the bill as well, and the status is 1."""

    def shown(self, document, *bodies, position):
        for options in ([], ["--csv"], ["--json"]):
            done = run("positions", document.path, *options)
            self.assertEqual(done.returncode, 1)
            lines = done.stderr.decode().splitlines()
            self.assertEqual(len(lines), len(bodies), lines)
            for line, body in zip(lines, bodies):
                for text in ("B-1 Bolt", position, body, "answers otherwise"):
                    self.assertIn(text, line)
            self.assertIn(b"B-1", done.stdout)
        self.assertEqual(len(json.loads(done.stdout)), 4)

    def test_of_a_body_without_its_link(self):
        document = self.document()
        unique, validated = document.links()
        line = document.key_of_line("B-1", "F-1")
        document.put_links(unique, [link for link in validated if (link.key, link.component) != (line, (3, 1))])
        self.shown(document, "3/1:body-1", position="position 1 in F-1 Frame")

    def test_of_a_body_with_the_link_of_another_line(self):
        document = self.document()
        unique, validated = document.links()
        document.put_links(unique, [*validated, Link(document.key_of_line("F-1", "M-1"), 1, (2,), b"body-1")])
        self.shown(document, "2:body-1", position="position 2 in M-1 Machine")

    def test_of_bodies_whose_line_has_no_number(self):
        document = self.document()
        unique, validated = document.links()
        line, other = document.key_of_line("B-1", "M-1"), document.key_of_line("F-1", "M-1")
        document.change("DELETE FROM group_property WHERE object = ?", line)
        document.put_links(unique, [*validated, Link(other, 1, (2,), b"body-1")])
        self.shown(document, "2:body-1", position="no position in M-1 Machine")

    def test_is_gone_after_a_repair(self):
        document = self.document()
        document.put_links(document.links()[0], [])
        self.assertEqual(run("positions", document.path).returncode, 1)
        self.text_of("check", document.path, "--repair")
        self.text_of("positions", document.path)


class Refusals(PositionsTest):
    def refused(self, says, *options):
        document = self.document()
        for form in ([], ["--json"]):
            self.assert_refused([str(document.path), says], "positions", document.path, *options, *form)

    def test_a_component_that_does_not_exist(self):
        self.refused("no component 9", "--component", "9")
        self.refused("no component 1/4", "--component", "1/4")

    def test_keys_of_lines_that_are_summed(self):
        self.assert_refused(["--keys", "--flat"], "positions", self.document().path, "--flat", "--keys")

    def test_a_component_of_a_part(self):
        self.refused("component 1/2 is a part, which has no bill", "--component", "1/2")

    def test_a_component_that_the_embodiment_does_not_have(self):
        document = self.document()
        self.text_of("embodiment", document.path, "add", "light", "--number", "02", "--without", "1", "--without", "3")
        self.assert_refused("component 1 does not occur in this embodiment", "positions", document.path, "--component",
                            "1", "--embodiment", "light")

    def test_what_is_no_path(self):
        for path in ("x", "1/", "/1", "-1", "1//2", "4294967296"):
            self.assert_refused("is no component path", "positions", self.document().path, "--component=" + path)

    def test_an_unknown_embodiment(self):
        self.refused("no embodiment is called '05'", "--embodiment", "05")

    def test_an_unknown_order(self):
        self.assert_refused("--sort", "positions", self.document().path, "--sort", "weight")

    def test_two_forms_at_once(self):
        self.assert_refused("--csv", "positions", self.document().path, "--csv", "--json")

    def test_one_component_of_a_sum_of_all(self):
        self.assert_refused("--flat", "positions", self.document().path, "--flat", "--component", "1")

    def test_what_is_no_sound_document(self):
        self.assert_bad_documents_refused(["positions", "DOC"])


if __name__ == "__main__":
    unittest.main()
