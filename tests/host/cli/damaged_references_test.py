"""Documents whose meta objects, components and groups name what is not there or cannot be: every verb survives them."""

import pathlib
import unittest

from qlinks import QlinksTest, run

ROOT = "(SELECT value FROM setting WHERE name = 'root_product')"
KEY_COLUMNS = {"meta_object": ["product", "holder", "embodiment", "line"], "component": ["occurrence"],
               "group_member": ["embodiment", "object"], "group_property": ["embodiment", "object"]}


def references(*tables):
    """Each leads the references of one column elsewhere: all of them, or those to one object."""
    for table in tables:
        for column in KEY_COLUMNS[table]:
            one = f" WHERE {column} = (SELECT min({column}) FROM {table} WHERE length({column}) > 0)"
            for target, where in (("x'41'", ""), ("x'41'", one), ("x''", ""), (ROOT, one),
                                  ("(SELECT max(key) FROM meta_object)", "")):
                yield f"UPDATE OR IGNORE {table} SET {column} = {target}{where}"


def references_to_itself():
    for column in KEY_COLUMNS["meta_object"]:
        yield f"UPDATE meta_object SET {column} = key"


def other_roots():
    for target in ("x'41'", "x''", "(SELECT min(key) FROM meta_object WHERE type = 8)",
                   "(SELECT min(key) FROM meta_object WHERE type = 5)"):
        yield f"UPDATE setting SET value = {target} WHERE name = 'root_product'"


def kinds():
    """Each takes away, or makes another kind of thing of, all meta objects of one kind, or all."""
    for type_ in (1, 2, 3, 4, 5, 6, 8, 4294967295):
        yield f"DELETE FROM meta_object WHERE type = {type_}"
        yield f"UPDATE meta_object SET type = {type_}"
        yield f"UPDATE meta_object SET type = {type_} WHERE type = 8"
        yield f"UPDATE meta_object SET type = 8 WHERE type = {type_}"
    yield "UPDATE meta_object SET billet = 4294967295"


def contents():
    for table in ("attribute", "property", "group_property", "group_member", "component", "body"):
        yield f"DELETE FROM {table}"
    yield "DELETE FROM component WHERE length(path) = 8"
    yield "UPDATE component SET type = 0, next_element = 0"
    yield "UPDATE component SET next_element = 4294967295"
    yield "UPDATE setting SET value = 4294967295 WHERE name = 'next_root_element'"
    yield "UPDATE meta_object SET last_position = 2147483647"
    for kind, value in ((0, "NULL"), (1, "'x'"), (2, 1), (3, -1), (3, 0), (3, 2147483647), (4, 1e300), (5, 2 ** 62)):
        yield f"UPDATE group_property SET kind = {kind}, value = {value}"
        yield f"UPDATE property SET kind = {kind}, value = {value}"
    yield "UPDATE body SET type = 4294967295"


class DamagedReferencesTest(QlinksTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.step = pathlib.Path(cls.class_folder.name) / "machine.step"
        done = run("embodiment", cls.machine, "add", "light", "--number", "02", "--without", "1")
        assert done.returncode == 0, done

    def reading(self, path):
        return [["info", path], ["links", path], ["positions", path, "--keys"], ["positions", path, "--flat"],
                ["positions", path, "--embodiment", "light"], ["positions", path, "--component", "1"],
                ["check", path], ["check", path, "--embodiment", "02"], ["marking", path],
                ["marking", path, "--component", "1/2"], ["marking", path, "--embodiment", "light"],
                ["embodiment", path, "list"], ["attribute", path, "1/2"], ["billet", path, "P-1"],
                ["update", path, self.step, "--dry-run"]]

    def writing(self, path, out):
        return [["copy", path, "-o", out], ["convert", path, "-o", out, "--app-version", "0x17000001"],
                ["convert", path, "-o", out, "--app-version", "0x17000002", "--component", "1"],
                ["update", path, self.step, "-o", out],
                ["embodiment", path, "add", "short", "--number", "03", "--without", "2"],
                ["embodiment", path, "remove", "light"], ["attribute", path, "1/2", "exclude", "on"],
                ["billet", path, "P-1", "--manual"], ["billet", path, "P-1", "--none"], ["position", path, "P-1", "42"],
                ["position", path, "F-1", "2", "--swap"], ["check", path, "--repair"]]

    def assert_survived(self, change, arguments):
        done = run(*arguments)
        said = (change, arguments, done.returncode, done.stderr)
        self.assertIn(done.returncode, (0, 1, 2), said)
        if done.returncode == 2:
            self.assertEqual((done.stderr.count(b"\n"), done.stderr[:8]), (1, b"qlinks: "), said)
        return done.returncode

    def assert_every_verb_survives(self, changes):
        for change in changes:
            path, out = self.document().change(change).path, self.folder / "out.qdoc"
            damaged = path.read_bytes()
            for arguments in self.reading(path):
                self.assert_survived(change, arguments)
            for arguments in self.writing(path, out):
                if self.assert_survived(change, arguments) != 2:
                    written = out if out.exists() else path
                    self.assertEqual(self.assert_survived(change, ["info", written]), 0, (change, arguments))
                self.assertLessEqual(set(self.folder.iterdir()), {path, out}, (change, arguments))
                out.unlink(missing_ok=True)
                path.write_bytes(damaged)


class References(DamagedReferencesTest):
    def test_of_meta_objects_that_lead_nowhere_or_elsewhere_are_survived(self):
        self.assert_every_verb_survives(references("meta_object"))


class Members(DamagedReferencesTest):
    def test_of_components_and_groups_that_lead_nowhere_or_elsewhere_are_survived(self):
        self.assert_every_verb_survives(references("component", "group_member", "group_property"))


class Itself(DamagedReferencesTest):
    def test_as_what_it_refers_to_is_survived(self):
        self.assert_every_verb_survives(references_to_itself())

    def test_another_object_as_the_root_is_survived(self):
        self.assert_every_verb_survives(other_roots())


class Kinds(DamagedReferencesTest):
    def test_that_are_gone_or_others_are_survived(self):
        self.assert_every_verb_survives(kinds())


class Contents(DamagedReferencesTest):
    def test_that_are_gone_or_others_are_survived(self):
        self.assert_every_verb_survives(contents())


if __name__ == "__main__":
    unittest.main()
