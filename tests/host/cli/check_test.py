"""qlinks check: what is wrong with a document, and its repair."""

import json
import unittest

from qlinks import Document, Link, Lock, Plant, QlinksTest, StepFile, run


class CheckTest(QlinksTest):
    BOLT = "B-1 Bolt"

    def found(self, document, *options):
        """The findings of a check that has some."""
        done = run("check", document.path, *options, "--json")
        self.assertEqual((done.returncode, done.stderr), (1, b""), done.stdout)
        findings = json.loads(done.stdout)
        for finding in findings:
            self.assertEqual(list(finding), ["kind", "object", "body", "text"])
        return [(finding["kind"], finding["object"], finding["body"]) for finding in findings]

    def with_links(self, unique=(), validated=(), without=lambda link: False):
        """A document with more links, less those of the validated set that `without` names."""
        document = self.document()
        old = document.links()
        document.put_links([*old[0], *unique], [*(link for link in old[1] if not without(link)), *validated])
        return document

    def line(self, marking, assembly):
        return self.document("other.qdoc").key_of_line(marking, assembly)

    def double(self):
        """Two lines of the root with one number."""
        document = self.document()
        line = document.key_of_line("F-1", "M-1")
        return document.change("UPDATE group_property SET value = 2 WHERE object = ? AND name = 'position'", line)


class Kinds(CheckTest):
    def test_nothing(self):
        document = self.document()
        self.assertEqual(self.json_of("check", document.path), [])
        self.assertEqual(self.text_of("check", document.path), "nothing found\n")

    def test_a_link_of_a_meta_object_that_is_gone(self):
        link = Link(b"gone", 1, (2,), b"body-1")
        self.assertEqual(self.found(self.with_links(validated=[link])), [("gone-object", "gone", "solid 2 body-1")])
        self.assertEqual(self.found(self.with_links(unique=[link])), [("gone-object", "gone", "solid 2 body-1")])

    def test_a_link_to_a_body_that_is_gone(self):
        line = self.line("B-1", "M-1")
        self.assertEqual(self.found(self.with_links(validated=[Link(line, 1, (2,), b"body-7")])),
                         [("gone-body", self.BOLT, "solid 2 body-7")])
        self.assertEqual(self.found(self.with_links(unique=[Link(line, 200, (8, 9))])),
                         [("gone-body", self.BOLT, "assembly 8/9")])

    def test_both_ends_gone_is_one_finding(self):
        self.assertEqual(self.found(self.with_links(validated=[Link(b"gone", 1, (9,), b"body-7")])),
                         [("gone-object", "gone", "solid 9 body-7")])

    def test_the_same_link_in_both_sets_is_two_findings(self):
        link = Link(b"gone", 1, (9,), b"x")
        self.assertEqual(len(self.found(self.with_links(unique=[link], validated=[link]))), 2)

    def test_a_body_that_was_taken_away(self):
        document = self.document().change("DELETE FROM body WHERE path = x'00000002'")
        self.assertEqual(self.found(document), [("gone-body", self.BOLT, "solid 2 body-1")] * 2)

    def test_a_link_that_is_not_valid(self):
        document = self.document()
        key = document.components()["u2",][1]
        document.change("INSERT INTO attribute VALUES (?, 1, 0, 1)", key)
        document.change("DELETE FROM group_member WHERE object = ?", key)
        self.assertIn(("invalid-link", self.BOLT, "solid 2 body-1"), self.found(document))

    def test_a_position_given_twice_in_one_bill(self):
        (kind, name, body), = self.found(self.double())
        self.assertEqual((kind, body), ("double-position", ""))
        self.assertIn(name, ("F-1 Frame", self.BOLT))
        text = run("check", self.double().path).stdout.decode()
        for part in ("position 2 in M-1 Machine", "F-1 Frame", self.BOLT):
            self.assertIn(part, text)

    def test_a_position_given_three_times_is_two_findings(self):
        step = StepFile()
        root = step.product("R-1", "Root")
        for i in range(3):
            step.use(root, step.product(f"P-{i}", f"Part {i}", step.solid()))
        self.text_of("import", self.file("in.step", step.text()), "-o", self.folder / "a.qdoc")
        document = Document(self.folder / "a.qdoc").change("UPDATE group_property SET value = 3")
        self.assertEqual([kind for kind, _, _ in self.found(document)], ["double-position"] * 2)

    def test_the_same_number_in_two_bills_is_none(self):
        document = self.document()
        self.assertEqual((document.lines()["F-1"], document.lines("F-1")["B-1"]), (1, 1))
        self.assertEqual(self.json_of("check", document.path), [])

    def test_a_position_given_twice_in_a_variant_alone(self):
        document = self.document()
        self.text_of("embodiment", document.path, "add", "light", "--number", "02")
        document.change("UPDATE group_property SET value = 5 WHERE name = 'position' AND embodiment = "
                        "(SELECT object FROM property WHERE name = 'variantName')")
        (found,) = json.loads(run("check", document.path, "--json").stdout)
        self.assertEqual(found["kind"], "double-position")
        self.assertIn("position 5 in M-1 Machine (light) is also that of ", found["text"])
        self.text_of("embodiment", document.path, "add", "heavy", "--number", "03")
        self.assertEqual(len(json.loads(run("check", document.path, "--embodiment", "02", "--json").stdout)), 1)
        self.assertEqual(self.json_of("check", document.path, "--embodiment", "03"), [])

    def test_a_body_without_a_position(self):
        line = self.line("B-1", "F-1")
        without = self.with_links(without=lambda link: (link.key, link.component) == (line, (3, 1)))
        self.assertEqual(self.found(without), [("no-position", self.BOLT, "solid 3/1 body-1")])
        document = self.document().change("DELETE FROM group_property WHERE object = ?", line)
        self.assertEqual(self.found(document), [("no-position", self.BOLT, f"solid {place} body-1")
                                                for place in ("1/1", "1/3", "3/1", "3/3")])

    def test_a_body_of_no_link_at_all(self):
        document = self.document()
        document.put_links(document.links()[0], [])
        found = self.found(document)
        self.assertEqual(len(found), 9)
        self.assertEqual({kind for kind, _, _ in found}, {"no-position"})

    def test_what_a_variant_does_not_have_needs_no_position_there(self):
        line = self.line("B-1", "M-1")
        document = self.document().change("DELETE FROM group_property WHERE object = ?", line)
        self.text_of("embodiment", document.path, "add", "light", "--number", "02", "--without", "2")
        self.text_of("attribute", document.path, "2", "bound", "off")
        self.assertEqual(self.json_of("check", document.path, "--embodiment", "light"), [])
        self.assertEqual([kind for kind, _, _ in self.found(document)], ["no-position"])

    def test_a_table_says_what_json_does(self):
        document = self.with_links(validated=[Link(b"gone", 1, (2,), b"body-1")])
        done = run("check", document.path)
        self.assertEqual(done.returncode, 1)
        heading, row = done.stdout.decode().splitlines()
        self.assertEqual(heading.split(), ["KIND", "OBJECT", "BODY", "TEXT"])
        self.assertTrue(row.startswith("gone-object  gone    solid 2 body-1  "), row)

    def test_changes_nothing(self):
        document = self.with_links(validated=[Link(b"gone", 1, (2,), b"body-1")])
        before = self.contents()
        for options in ([], ["--json"]):
            self.assertEqual(run("check", document.path, *options).returncode, 1)
        self.assertEqual(self.contents(), before)


class Repair(CheckTest):
    def test_removes_what_is_invalid_and_leaves_every_valid_link(self):
        gone = [Link(b"gone", 1, (2,), b"body-1"), Link(self.line("P-1", "F-1"), 1, (2,), b"body-7"),
                Link(b"gone", 1, (9,), b"x")]
        document = self.with_links(unique=gone[1:2], validated=gone)
        self.assertEqual(len(self.found(document)), 4)
        self.assertEqual(self.text_of("check", document.path, "--repair"), "4 found, 4 repaired, 0 left\n")
        self.assert_links_whole(document)
        self.assertEqual(self.json_of("check", document.path), [])

    def test_brings_back_the_position_links(self):
        document = self.document()
        document.put_links(document.links()[0], [])
        self.assertEqual(self.json_of("check", document.path, "--repair"), [])
        self.assert_links_whole(document)

    def test_removes_links_that_are_not_valid_in_the_base(self):
        document = self.document()
        key = document.components()["u2",][1]
        document.change("INSERT INTO attribute VALUES (?, 1, 0, 1)", key)
        document.change("DELETE FROM group_member WHERE object = ?", key)
        run("check", document.path, "--repair")
        self.assertNotIn(key, [link.key for links in document.links() for link in links])
        self.assertNotIn("invalid-link", run("check", document.path).stdout.decode())

    def test_takes_away_the_link_of_a_wrong_line(self):
        document = self.with_links(validated=[Link(self.line("F-1", "M-1"), 1, (2,), b"body-1")])
        self.text_of("check", document.path, "--repair")
        self.assert_links_whole(document)

    def test_tells_what_it_cannot_mend_and_leaves_it(self):
        document = self.double()
        links = document.links()
        document.put_links(links[0], [*links[1], Link(b"gone", 1, (2,), b"body-1")])
        done = run("check", document.path, "--repair")
        lines = done.stdout.decode().splitlines()
        self.assertEqual((done.returncode, lines[0], len(lines)), (1, "2 found, 1 repaired, 1 left", 3))
        self.assertIn("double-position", lines[2])
        self.assertEqual([kind for kind, _, _ in self.found(document)], ["double-position"])
        self.assert_links_whole(document)
        self.assertEqual(document.lines(), {"F-1": 2, "B-1": 2})

    def test_that_brings_to_light_more_than_there_was_counts_nothing_as_repaired(self):
        # A link to another line hides that the body's own line has no number.
        line, other = self.line("B-1", "M-1"), self.line("F-1", "M-1")
        document = self.with_links(validated=[Link(other, 1, (2,), b"body-1")])
        document.change("DELETE FROM group_property WHERE object = ?", line)
        self.assertEqual(self.json_of("check", document.path), [])
        done = run("check", document.path, "--repair")
        self.assertEqual((done.returncode, done.stdout.splitlines()[0]), (1, b"0 found, 0 repaired, 1 left"))

    def test_as_json_lists_what_is_left(self):
        document = self.double()
        done = run("check", document.path, "--repair", "--json")
        self.assertEqual(done.returncode, 1)
        self.assertEqual([finding["kind"] for finding in json.loads(done.stdout)], ["double-position"])

    def test_of_a_sound_document_changes_no_table(self):
        document = self.document()
        tables = document.tables()
        self.assertEqual(self.text_of("check", document.path, "--repair"), "0 found, 0 repaired, 0 left\n")
        self.assertEqual(document.tables(), tables)

    def test_changes_links_alone(self):
        document = self.with_links(validated=[Link(b"gone", 1, (2,), b"body-1")])
        tables = document.tables("stream")
        self.text_of("check", document.path, "--repair")
        self.assertEqual(document.tables("stream"), tables)

    def test_is_all_or_nothing(self):
        document = self.with_links(validated=[Link(b"gone", 1, (2,), b"body-1")])
        before = self.contents()
        with open("/dev/full", "wb") as full:
            done = run("check", document.path, "--repair", stdout=full)
        self.assertEqual((done.returncode, done.stderr.count(b"\n")), (2, 1))
        self.assertEqual(self.contents(), before)
        for lock in ("BEGIN IMMEDIATE", "BEGIN EXCLUSIVE"):
            with Lock(document.path, lock):
                self.assert_refused(str(document.path), "check", document.path, "--repair")
        document.path.chmod(0o444)
        self.assert_refused("read-only", "check", document.path, "--repair", as_anybody=True)


class LargeAssembly(CheckTest):
    def test_of_2000_occurrences_finds_each_fault_once_and_mends_it(self):
        self.text_of("import", self.file("in.step", Plant().text()), "-o", self.folder / "a.qdoc")
        document = Document(self.folder / "a.qdoc")
        self.assertEqual(self.json_of("check", document.path), [])
        unique, validated = document.links()
        document.put_links([*unique, Link(b"gone-1", 200, (7, 7))],
                           [*validated[:1000], *(Link(b"gone", 1, (i,), b"x") for i in range(500))])
        whole = document.whole_links()[1]
        lines = {key for key, in document.rows("SELECT key FROM meta_object WHERE type = 8")}
        left = {(link.component, link.name) for link in validated[:1000] if link.key in lines}
        bare = {(link.component, link.name) for link in whole} - left
        found = self.found(document)
        self.assertEqual(len(found), len(set(found)))
        self.assertEqual({kind: sum(other == kind for other, _, _ in found) for kind, _, _ in found},
                         {"gone-object": 501, "no-position": len(bare)})
        self.assertEqual(self.json_of("check", document.path, "--repair"), [])
        self.assert_links_whole(document)


class Refusals(CheckTest):
    def test_an_unknown_variant(self):
        document = self.document()
        self.assert_refused([str(document.path), "no embodiment is called 'light'"], "check", document.path,
                            "--embodiment", "light")

    def test_a_repair_for_one_variant(self):
        document = self.document()
        self.text_of("embodiment", document.path, "add", "light", "--number", "02")
        self.assert_refused("--repair", "check", document.path, "--repair", "--embodiment", "light")

    def test_what_is_no_sound_document(self):
        self.assert_bad_documents_refused(["check", "DOC"])
        self.assert_bad_documents_refused(["check", "DOC", "--repair"])


if __name__ == "__main__":
    unittest.main()
