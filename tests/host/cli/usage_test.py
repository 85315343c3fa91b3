"""The command line itself: help, bad usage, and where output goes."""

import unittest

from qlinks import QlinksTest, run

OPTIONS = {
    "import": ["STEP", "--output", "--codepage", "--keep-wrappers"],
    "info": ["DOC", "--json"],
    "links": ["DOC", "--set", "--key", "--component", "--json"],
    "convert": ["DOC", "--output", "--app-version", "--math-version", "--component"],
    "dump": ["FILE", "--app-version", "--math-version", "--json"],
}


class Help(QlinksTest):
    def test_lists_every_verb(self):
        text = self.text_of("--help")
        for verb in OPTIONS:
            self.assertRegex(text, rf"(?m)^\s+{verb}\s+\S")

    def test_tells_the_exit_status_and_how_paths_are_written(self):
        text = self.text_of("--help")
        self.assertIn("Exit status", text)
        self.assertIn("3/1/2", text)

    def test_of_each_verb_lists_each_of_its_options_with_a_word_on_it(self):
        for verb, options in OPTIONS.items():
            text = self.text_of(verb, "--help")
            for option in options:
                self.assertRegex(text, rf"(?m){option}\b.*\n?.*[a-z]{{3}}", verb)

    def test_of_each_verb_needs_no_other_argument(self):
        for verb in OPTIONS:
            self.assertEqual(self.text_of(verb, "--help"), self.text_of(verb, "-h"))

    def test_of_what_an_embodiment_can_do_names_the_document_before_it(self):
        doc = self.document().path
        for what, arguments in (("add", " [OPTIONS] NAME"), ("list", " [OPTIONS]"), ("remove", " [OPTIONS] NAME")):
            self.assertIn(f"Usage: qlinks embodiment DOC {what}{arguments}\n",
                          self.text_of("embodiment", doc, what, "--help"))

    def test_version_is_one_line(self):
        self.assertRegex(self.text_of("--version"), r"\Aqlinks \d+\.\d+\.\d+\n\Z")


class BadUsage(QlinksTest):
    def test_nothing(self):
        self.assert_refused("'qlinks --help' shows the usage")

    def test_an_unknown_verb(self):
        self.assert_refused("'qlinks --help' shows the usage", "frobnicate")

    def test_two_verbs(self):
        doc = self.document().path
        self.assert_refused("", "info", doc, "info", doc)

    def test_a_verb_without_its_file(self):
        for verb in OPTIONS:
            self.assert_refused(f"'qlinks {verb} --help' shows the usage", verb)

    def test_an_unknown_option(self):
        doc = self.document().path
        complete = {"import": ["-o", "b.qdoc"], "convert": ["-o", "b.qdoc", "--app-version", "0x17000002"]}
        for verb in OPTIONS:
            self.assert_refused("--bogus", verb, doc, *complete.get(verb, []), "--bogus")

    def test_one_argument_too_many(self):
        doc = self.document().path
        for verb in ("info", "links", "dump"):
            self.assert_refused("extra", verb, doc, "extra")

    def test_no_output_named(self):
        doc = self.document().path
        self.assert_refused("--output", "import", doc)
        self.assert_refused("--output", "convert", doc, "--app-version", "0x17000002")
        self.assert_refused("--output", "convert", doc, "--app-version", "0x17000002", "-o")

    def test_no_version_named(self):
        self.assert_refused("--app-version", "convert", self.document().path, "-o", self.folder / "b.qdoc")

    def test_an_unknown_link_set(self):
        doc = self.document().path
        for name in ("both", "Unique", ""):
            self.assert_refused("--set", "links", doc, "--set", name)


class Output(QlinksTest):
    def test_that_cannot_be_written_is_an_error(self):
        doc = self.document().path
        for arguments in (["--help"], ["info", doc], ["info", doc, "--json"], ["links", doc], ["links", doc, "--json"],
                          ["dump", doc], ["dump", doc, "--json"]):
            with open("/dev/full", "wb") as full:
                done = run(*arguments, stdout=full)
            self.assertEqual(done.returncode, 2, arguments)
            self.assertEqual(done.stderr.count(b"\n"), 1, done.stderr)
            self.assertIn(b"standard output", done.stderr)


if __name__ == "__main__":
    unittest.main()
