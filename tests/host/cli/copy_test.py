"""qlinks copy: the same document under fresh keys."""

import unittest

from qlinks import Document, Lock, Plant, QlinksTest, machine, run


def new_keys(old, new):
    """The new key of each object of the original, found without looking at any key: by place, then by what the objects
    in a place belong to."""
    keys = {}

    def pair(old_key, new_key):
        assert keys.setdefault(old_key, new_key) == new_key

    def objects(document):
        return {key: rest for key, *rest in
                document.rows("SELECT key, product, holder, embodiment, line FROM meta_object")}

    def places(document):
        return document.rows("SELECT occurrence FROM component ORDER BY path")

    for (old_key,), (new_key,) in zip(places(old), places(new), strict=True):
        pair(old_key, new_key)
    for sql in ("SELECT value FROM setting WHERE name = 'root_product'",
                "SELECT object FROM property WHERE name = 'variantName' ORDER BY value"):
        for (old_key,), (new_key,) in zip(old.rows(sql), new.rows(sql), strict=True):
            pair(old_key, new_key)
    old_objects, new_objects = objects(old), objects(new)
    reached = list(keys)
    for key in reached:
        for old_key, new_key in zip(old_objects[key], new_objects[keys[key]], strict=True):
            assert (old_key == b"") == (new_key == b"")
            if old_key and old_key not in keys:
                reached.append(old_key)
            if old_key:
                pair(old_key, new_key)
    return keys


class CopyTest(QlinksTest):
    def copied(self, document):
        text = self.text_of("copy", document.path, "-o", self.folder / "copy.qdoc")
        (count,), = document.rows("SELECT count(*) FROM meta_object")
        self.assertEqual(text, f"{count} meta objects under new keys\n")
        return Document(self.folder / "copy.qdoc")

    def assert_same_under_new_keys(self, old, new):
        keys = new_keys(old, new)
        all_old, all_new = ({key for key, in document.rows("SELECT key FROM meta_object")} for document in (old, new))
        self.assertEqual((set(keys), set(keys.values())), (all_old, all_new))
        self.assertEqual(len(all_old), len(all_new))
        self.assertFalse(all_old & all_new)

        renamed = {table: sorted((tuple(keys.get(value, value) for value in row) for row in rows), key=repr)
                   for table, rows in old.tables("stream").items()}
        self.assertEqual({table: sorted(rows, key=repr) for table, rows in new.tables("stream").items()}, renamed)
        for before, after in zip(old.links(), new.links()):
            self.assertEqual(sorted(link._replace(key=keys[link.key]) for link in before), sorted(after))
        self.assertEqual(self.json_of("positions", old.path), self.json_of("positions", new.path))


class Copies(CopyTest):
    def test_every_key_is_another_and_everything_else_the_same(self):
        document = self.document()
        self.assert_same_under_new_keys(document, self.copied(document))

    def test_so_it_is_with_2000_occurrences(self):
        self.text_of("import", self.file("in.step", Plant().text()), "-o", self.folder / "a.qdoc")
        document = Document(self.folder / "a.qdoc")
        copy = self.copied(document)
        self.assert_same_under_new_keys(document, copy)
        self.assertEqual(self.json_of("check", copy.path), [])

    def test_so_it_is_with_all_that_can_be_set(self):
        document = self.document()
        for words in (["position", "F-1", "20"], ["attribute", "1/2", "exclude", "on"],
                      ["attribute", "F-1", "bound", "on"],
                      ["embodiment", "add", "light", "--number", "02", "--without", "1"],
                      ["embodiment", "add", "short", "--number", "03", "--without", "2"],
                      ["position", "F-1", "30", "--embodiment", "light"], ["billet", "P-1", "--manual"]):
            self.text_of(words[0], document.path, *words[1:])
        copy = self.copied(document)
        self.assert_same_under_new_keys(document, copy)
        for name in ("light", "short"):
            self.assertEqual(self.json_of("positions", copy.path, "--embodiment", name),
                             self.json_of("positions", document.path, "--embodiment", name))

    def test_the_original_stays_as_it_was(self):
        document = self.document()
        before = document.path.read_bytes()
        self.copied(document)
        self.assertEqual(document.path.read_bytes(), before)

    def test_two_copies_have_no_key_in_common(self):
        document = self.document()
        one = {key for key, in self.copied(document).rows("SELECT key FROM meta_object")}
        two = {key for key, in self.copied(document).rows("SELECT key FROM meta_object")}
        self.assertFalse(one & two)

    def test_a_copy_takes_a_revised_file_as_the_original_does(self):
        document = self.document()
        step = self.file("in.step", machine().text())
        text = self.text_of("update", self.copied(document).path, step, "-o", self.folder / "b.qdoc")
        self.assertEqual(text, "kept 9, added 0, moved 0, removed 0 occurrences\n")

    def test_what_others_keep_in_a_document_comes_along(self):
        document = self.document().change("INSERT INTO stream VALUES ('theirs', 1, 2, x'00ff')")
        self.assertEqual(self.copied(document).rows("SELECT * FROM stream WHERE name = 'theirs'"),
                         [("theirs", 1, 2, b"\0\xff")])

    def test_an_older_document_is_replaced(self):
        document = self.document()
        self.document("copy.qdoc").change("DELETE FROM body")
        self.assert_same_under_new_keys(document, self.copied(document))


class Refusals(CopyTest):
    def test_no_output_named(self):
        self.assert_refused("--output", "copy", self.document().path)

    def test_an_output_that_is_no_document_or_lies_in_no_folder(self):
        document = self.document()
        for output in (self.file("notes.txt", "do not lose me"), self.folder, self.folder / "none" / "out.qdoc"):
            self.assert_refused(str(output.parent), "copy", document.path, "-o", output)
        self.assert_refused("", "copy", document.path, "-o", "")

    def test_an_output_that_another_program_has_locked(self):
        document, other = self.document(), self.document("b.qdoc")
        with Lock(other.path, "BEGIN EXCLUSIVE"):
            self.assert_refused(str(other.path), "copy", document.path, "-o", other.path)

    def test_a_disk_that_is_full(self):
        document = self.document()
        self.assert_refused(str(self.folder / "b.qdoc"), "copy", document.path, "-o", self.folder / "b.qdoc",
                            file_size=8192)

    def test_a_result_that_cannot_be_printed_leaves_no_document(self):
        document = self.document()
        before = self.contents()
        with open("/dev/full", "wb") as full:
            done = run("copy", document.path, "-o", self.folder / "b.qdoc", stdout=full)
        self.assertEqual((done.returncode, done.stderr.count(b"\n")), (2, 1))
        self.assertEqual(self.contents(), before)

    def test_what_is_no_sound_document(self):
        self.assert_bad_documents_refused(["copy", "DOC", "-o", "OUT"])


if __name__ == "__main__":
    unittest.main()
