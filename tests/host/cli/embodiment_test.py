"""qlinks embodiment and marking: variants of the root assembly."""

import json
import unittest

from qlinks import QlinksTest, StepFile, run


class EmbodimentTest(QlinksTest):
    def embodiment(self, document, *arguments):
        return self.text_of("embodiment", document.path, *arguments)

    def with_light(self, *without):
        """A document with the variant "light", number 02; without the first frame unless told otherwise."""
        document = self.document()
        options = [word for what in without or ("1",) for word in ("--without", what)]
        self.embodiment(document, "add", "light", "--number", "02", *options)
        return document

    def members(self, document, name):
        """The identifiers of the occurrences that a variant has."""
        return sorted(id_ for (id_,) in document.rows(
            "SELECT file_id FROM group_member JOIN property ON property.object = embodiment "
            "JOIN component ON occurrence = group_member.object WHERE name = 'variantName' AND value = ?", name))

    def counts(self, document, *options):
        return {line["marking"]: (line["position"], line["count"])
                for line in self.json_of("positions", document.path, "--component", "/", *options)}


class Adding(EmbodimentTest):
    def test_makes_a_group_of_what_the_root_holds_directly(self):
        document = self.document()
        self.assertEqual(self.embodiment(document, "add", "full", "--number", "01"), "full: 3 occurrences\n")
        self.assertEqual(self.members(document, "full"), ["u1", "u2", "u3"])

    def test_leaves_out_what_is_named_by_path_marking_name_or_key(self):
        key = self.document().components()["u2",][1].decode()
        for what in ("2", "B-1", "Bolt", "B-1 Bolt", key):
            self.assertEqual(self.members(self.with_light(what), "light"), ["u1", "u3"], what)

    def test_leaves_out_several_however_they_are_written(self):
        self.assertEqual(self.members(self.with_light("1", "2"), "light"), ["u3"])
        document = self.document()
        self.embodiment(document, "add", "light", "--number", "02", "--without", "1", "2")
        self.assertEqual(self.members(document, "light"), ["u3"])
        self.assertEqual(self.members(self.with_light("1", "1"), "light"), ["u2", "u3"])

    def test_binds_what_is_left_out_to_the_variants_that_have_it(self):
        document = self.with_light("1")
        key = document.components()["u1",][1]
        self.assertEqual(document.rows("SELECT object, include, exclude, bound FROM attribute"), [(key, 1, 0, 1)])

    def test_gives_the_variant_the_numbers_of_the_base(self):
        document = self.document()
        self.text_of("position", document.path, "F-1", "20")
        self.embodiment(document, "add", "light", "--number", "02", "--without", "2")
        self.assertEqual(document.lines(embodiment="light"), {"F-1": 20})
        self.assertEqual(self.counts(document, "--embodiment", "light"), {"F-1": (20, 2)})

    def test_changes_neither_the_base_nor_its_links(self):
        before = self.document("b.qdoc")
        document = self.with_light("1")
        self.assertEqual(document.section(), before.section())
        self.assertEqual(document.lines(), before.lines())
        self.assertEqual(self.counts(document), self.counts(before))
        self.assertEqual(self.json_of("check", document.path), [])

    def test_lets_a_check_of_the_variant_show_the_bodies_that_it_does_not_have(self):
        document = self.with_light("1", "2")
        section = document.section()
        for name in ("light", "02"):
            done = run("check", document.path, "--embodiment", name, "--json")
            self.assertEqual((done.returncode, done.stderr), (1, b""))
            self.assertEqual([(found["kind"], found["object"], found["body"]) for found in json.loads(done.stdout)],
                             [("invalid-link", "B-1 Bolt", "part 2"), ("invalid-link", "B-1 Bolt", "solid 2 body-1")])
        self.text_of("check", document.path, "--repair")
        self.assertEqual(document.section(), section)

    def test_gives_each_variant_numbers_of_its_own(self):
        document = self.with_light("1")
        self.text_of("position", document.path, "F-1", "5", "--embodiment", "light")
        self.assertEqual(self.counts(document, "--embodiment", "light"), {"F-1": (5, 1), "B-1": (2, 1)})
        self.assertEqual(self.counts(document), {"F-1": (1, 2), "B-1": (2, 1)})


class Links(EmbodimentTest):
    def test_of_positions_are_made_anew_by_adding_and_by_removing(self):
        document = self.document()
        for arguments in (["add", "light", "--number", "02"], ["remove", "light"]):
            document.put_links(document.links()[0], [])
            self.embodiment(document, *arguments)
            self.assert_links_whole(document)


class Listing(EmbodimentTest):
    def test_shows_the_base_first_and_every_variant(self):
        document = self.with_light("1")
        (base,), = document.rows("SELECT embodiment FROM meta_object JOIN setting ON key = setting.value")
        (light,), = document.rows("SELECT object FROM property WHERE name = 'variantName'")
        rows = [line.split() for line in self.embodiment(document, "list").splitlines()]
        self.assertEqual(rows, [["NAME", "NUMBER", "OCCURRENCES", "KEY"], ["(base)", "3", base.decode()],
                                ["light", "02", "2", light.decode()]])

    def test_changes_nothing(self):
        document = self.with_light("1")
        before = self.contents()
        self.embodiment(document, "list")
        self.assertEqual(self.contents(), before)


class Removing(EmbodimentTest):
    def test_takes_the_variant_and_all_that_its_group_knows(self):
        for by in ("light", "02"):
            document = self.with_light("1")
            self.assertEqual(self.embodiment(document, "remove", by), f"{by}: removed\n")
            for table in ("group_member", "group_property"):
                self.assertEqual(document.rows(f"SELECT * FROM {table} WHERE embodiment NOT IN "
                                               "(SELECT key FROM meta_object)"), [])
            self.assertEqual(len(self.embodiment(document, "list").splitlines()), 2)
            self.assertEqual(self.counts(document), {"F-1": (1, 2), "B-1": (2, 1)})
            self.assertEqual(self.json_of("check", document.path), [])

    def test_frees_its_name_and_its_number(self):
        document = self.with_light("1")
        self.embodiment(document, "remove", "light")
        self.embodiment(document, "add", "light", "--number", "02")

    def test_leaves_the_other_variants(self):
        document = self.with_light("1")
        self.embodiment(document, "add", "short", "--number", "03", "--without", "2")
        self.embodiment(document, "remove", "light")
        self.assertEqual(self.members(document, "short"), ["u1", "u3"])


class Marking(EmbodimentTest):
    def marking(self, document, *options):
        return self.text_of("marking", document.path, *options)

    def test_is_that_of_the_root_unless_a_component_is_named(self):
        document = self.document()
        for options in ([], ["--component", "/"]):
            self.assertEqual(self.marking(document, *options), "M-1\n")

    def test_is_that_of_the_innermost_assembly_on_the_path(self):
        document = self.document()
        self.assertEqual(self.marking(document, "--component", "3"), "F-1\n")
        self.assertEqual(self.marking(document, "--component", "3/1"), "F-1\n")
        self.assertEqual(self.marking(document, "--component", "2"), "M-1\n")

    def test_has_the_number_of_the_variant(self):
        document = self.with_light("1")
        self.embodiment(document, "add", "short", "--number", "11")
        self.assertEqual(self.marking(document, "--embodiment", "light"), "M-1-02\n")
        self.assertEqual(self.marking(document, "--embodiment", "11"), "M-1-11\n")
        self.assertEqual(self.marking(document, "--embodiment", "11", "--component", "2"), "M-1-11\n")
        self.assertEqual(self.marking(document, "--embodiment", "11", "--component", "1"), "F-1\n")
        self.assertEqual(self.marking(document), "M-1\n")

    def test_changes_nothing(self):
        document = self.with_light("1")
        before = self.contents()
        self.marking(document, "--embodiment", "02")
        self.assertEqual(self.contents(), before)


class Refusals(EmbodimentTest):
    def refused(self, says, document, *arguments):
        self.assert_refused([str(document.path), *([says] if isinstance(says, str) else says)], "embodiment",
                            document.path, *arguments)

    def test_the_base_is_not_removed(self):
        document = self.document()
        (key,), = document.rows("SELECT embodiment FROM meta_object JOIN setting ON key = setting.value")
        self.refused("the base embodiment cannot be removed", document, "remove", key.decode())

    def test_an_unknown_variant(self):
        document = self.document()
        self.refused(["no embodiment is called 'light'", "list"], document, "remove", "light")
        for verb in ("marking", "check", "positions"):
            self.assert_refused([str(document.path), "no embodiment is called 'light'"], verb, document.path,
                                "--embodiment", "light")

    def test_a_name_or_number_that_is_taken(self):
        document = self.with_light("1")
        for name, number in (("light", "03"), ("short", "02")):
            self.refused(["there is an embodiment", name, number], document, "add", name, "--number", number)

    def test_neither_name_nor_number_may_be_empty(self):
        for name, number in (("", "03"), ("short", ""), ("", "")):
            self.refused("without a name or a number", self.document(), "add", name, "--number", number)

    def test_a_name_that_the_list_has_for_the_base(self):
        document = self.document()
        self.assertIn("(base)", self.embodiment(document, "list"))
        self.refused("'(base)' is what lists call the base embodiment", document, "add", "(base)", "--number", "03")

    def test_no_number(self):
        self.assert_refused("--number", "embodiment", self.document().path, "add", "light")

    def test_a_name_that_is_also_a_number_is_ambiguous(self):
        document = self.with_light("1")
        self.embodiment(document, "add", "02", "--number", "03")
        keys = [key.decode() for key, in document.rows("SELECT object FROM property WHERE name = 'variantName'")]
        self.refused(["'02' is ambiguous", *keys, "use a key"], document, "remove", "02")
        self.embodiment(document, "remove", keys[0])

    def test_what_the_root_does_not_hold_directly(self):
        for what in ("1/1", "P-1", "9", "X-9", ""):
            self.refused(f"no occurrence directly below the root is called '{what}'", self.document(), "add", "light",
                         "--number", "02", "--without", what)

    def test_an_ambiguous_occurrence_with_its_candidates(self):
        document = self.document()
        keys = [document.components()[id_,][1].decode() for id_ in ("u1", "u3")]
        self.refused(["'F-1' is ambiguous", *keys], document, "add", "light", "--number", "02", "--without", "F-1")

    def test_a_part_has_no_variants(self):
        step = StepFile()
        step.product("P-1", "Part", step.solid())
        path = self.folder / "p.qdoc"
        self.text_of("import", self.file("in.step", step.text()), "-o", path)
        self.assert_refused([str(path), "only assemblies have embodiments"], "embodiment", path, "add", "x", "--number",
                            "1")

    def test_a_document_whose_base_is_gone(self):
        document = self.document().change("UPDATE meta_object SET embodiment = x'41' WHERE type = 2")
        self.refused("damaged document", document, "add", "light", "--number", "02")

    def test_what_to_do_must_be_said(self):
        document = self.document()
        self.assert_refused("--help", "embodiment", document.path)
        self.assert_refused("--help", "embodiment", document.path, "rename", "light")
        self.assert_refused("--help", "embodiment", document.path, "remove")

    def test_a_marking_of_a_component_that_does_not_exist(self):
        document = self.document()
        self.assert_refused([str(document.path), "no component 9"], "marking", document.path, "--component", "9")
        self.assert_refused("is no component path", "marking", document.path, "--component", "x")

    def test_a_result_that_cannot_be_printed_changes_nothing(self):
        document = self.with_light("1")
        before = self.contents()
        for arguments in (["add", "x", "--number", "9"], ["remove", "light"]):
            with open("/dev/full", "wb") as full:
                self.assertEqual(run("embodiment", document.path, *arguments, stdout=full).returncode, 2)
            self.assertEqual(self.contents(), before)

    def test_what_is_no_sound_document(self):
        for arguments in (["embodiment", "DOC", "list"], ["embodiment", "DOC", "add", "x", "--number", "9"],
                          ["embodiment", "DOC", "remove", "x"], ["marking", "DOC"]):
            self.assert_bad_documents_refused(arguments)


if __name__ == "__main__":
    unittest.main()
