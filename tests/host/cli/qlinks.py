"""Runs qlinks and looks into the documents that it makes, without any of its code."""

import json
import os
import pathlib
import resource
import shutil
import sqlite3
import struct
import subprocess
import sys
import tempfile
import unittest
from typing import NamedTuple

QLINKS = os.environ["QPD_QLINKS"]
LIMITS_MEMORY = os.environ.get("QPD_LIMITS_MEMORY") == "1"

TODAY = (0x17000002, 0x0F001001)
APPLICATION_ID = 0x51504433


def run(*arguments, as_anybody=False, memory=None, file_size=None, **options):
    """Runs qlinks to its end. as_anybody: without root's right to open every file. Limits are in bytes."""
    command = [QLINKS, *map(str, arguments)]
    if as_anybody and os.geteuid() == 0:
        command = ["setpriv", "--inh-caps=-all", "--bounding-set=-dac_override,-dac_read_search", "--", *command]

    def limit():
        if memory is not None and LIMITS_MEMORY:
            resource.setrlimit(resource.RLIMIT_AS, (memory, memory))
        if file_size is not None:
            resource.setrlimit(resource.RLIMIT_FSIZE, (file_size, file_size))

    options.setdefault("stdout", subprocess.PIPE)
    options.setdefault("timeout", 30)
    return subprocess.run(command, stderr=subprocess.PIPE, stdin=subprocess.DEVNULL, preexec_fn=limit, **options)


class Lock:
    """Another program that holds a lock on a document while the context lasts: the one that the statement takes, a
    query that of a reader. A process of its own: this one's locks would go with the first file that it closes."""

    def __init__(self, path, lock):
        code = ("import sqlite3, sys; other = sqlite3.connect(sys.argv[1], isolation_level=None); "
                "rows = other.execute(sys.argv[2]); print('locked', flush=True); sys.stdin.read()")
        self.program = subprocess.Popen([sys.executable, "-c", code, path, lock], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE)

    def __enter__(self):
        assert self.program.stdout.readline() == b"locked\n"

    def __exit__(self, *_):
        self.program.communicate()


class Link(NamedTuple):
    """A link; paths have the outermost component first."""
    key: bytes
    type: int
    component: tuple = ()
    name: bytes = b""
    second: tuple = ()


class Form(NamedTuple):
    """What a section looks like under its versions, as docs/stream_format.md says."""
    count_bytes: int
    sets: int
    second_path: bool
    outermost_first: bool


def form_of(app, math):
    sets = 0 if app < 0x12000005 else 1 if app < 0x12000026 else 2
    second = 0x1400001C <= app <= 0x14FFFFFF or app >= 0x15000003
    return Form(8 if math >= 0x0F000000 else 4, sets, second, app < 0x17000002)


def section_of(unique, validated, versions=TODAY):
    """The bytes of a section that holds these links in this order."""
    form = form_of(*versions)

    def count(number):
        return number.to_bytes(form.count_bytes, "little")

    def path(elements):
        return count(len(elements)) + b"".join(struct.pack("<I", element) for element in elements)

    def string(text):
        return struct.pack("<I", len(text)) + text

    def link(one):
        component = one.component if form.outermost_first else one.component[::-1]
        second = path(one.second[::-1]) if form.second_path else b""
        return string(one.key) + struct.pack("<I", one.type) + path(component) + string(one.name) + second

    return b"".join(count(len(links)) + b"".join(map(link, links)) for links in (unique, validated)[:form.sets])


def links_of(section, versions):
    """The links of both sets of a section; it must be sound and end with them."""
    form = form_of(*versions)
    position = 0

    def take(length):
        nonlocal position
        position += length
        assert position <= len(section)
        return section[position - length:position]

    def number(length):
        return int.from_bytes(take(length), "little")

    def path(outermost_first):
        elements = [number(4) for _ in range(number(form.count_bytes))]
        return tuple(elements if outermost_first else elements[::-1])

    def link():
        key, type_ = take(number(4)), number(4)
        component, name = path(form.outermost_first), take(number(4))
        return Link(key, type_, component, name, path(False) if form.second_path else ())

    sets = [[link() for _ in range(number(form.count_bytes))] for _ in range(form.sets)]
    assert position == len(section)
    return sets + [[]] * (2 - form.sets)


def key_text(raw):
    """As qlinks shows bytes: what is no printable text as \\xNN."""
    shown = ""
    while raw:
        for length in range(1, 5):
            try:
                character = raw[:length].decode("utf-8")
                break
            except UnicodeDecodeError:
                character = ""
        if character == "" or character == "\\" or ord(character) < 0x20 or 0x7F <= ord(character) < 0xA0:
            length = 1 if character == "" else length
            shown += "".join(f"\\x{byte:02X}" for byte in raw[:length])
        else:
            shown += character
        raw = raw[length:]
    return shown


def path_of(blob):
    """The elements of a stored path, the outermost component first."""
    return tuple(int.from_bytes(blob[start:start + 4], "big") for start in range(0, len(blob), 4))


class Document:
    """A document file, looked into as the database that it is."""

    def __init__(self, path):
        self.path = pathlib.Path(path)

    def rows(self, sql, *values):
        connection = sqlite3.connect(self.path)
        try:
            return connection.execute(sql, values).fetchall()
        finally:
            connection.close()

    def change(self, sql, *values):
        connection = sqlite3.connect(self.path)
        connection.execute("PRAGMA synchronous = OFF")
        with connection:
            connection.execute(sql, values)
        connection.close()
        return self

    def section(self):
        return self.rows("SELECT bytes FROM stream WHERE name = 'links'")[0][0]

    def versions(self):
        return self.rows("SELECT app_version, math_version FROM stream WHERE name = 'links'")[0]

    def put_section(self, section, versions=TODAY):
        return self.change("UPDATE stream SET bytes = ?, app_version = ?, math_version = ? WHERE name = 'links'",
                           section, *versions)

    def put_links(self, unique, validated, versions=TODAY):
        return self.put_section(section_of(unique, validated, versions), versions)

    def links(self):
        return links_of(self.section(), self.versions())

    def lines(self, assembly=None, embodiment=None):
        """The stored position of each line by its product's marking, in the base embodiment of the assembly with this
        marking, the root unless given, or in another embodiment of the root by name."""
        product = ("(SELECT value FROM setting WHERE name = 'root_product')" if assembly is None else
                   "(SELECT object FROM property WHERE name = 'marking' AND value = ? AND object IN "
                   "(SELECT key FROM meta_object WHERE type = 2))")
        variant = (f"(SELECT embodiment FROM meta_object WHERE key = {product})" if embodiment is None else
                   "(SELECT object FROM property WHERE name = 'variantName' AND value = ?)")
        return dict(self.rows("SELECT property.value, group_property.value FROM group_property "
                              "JOIN meta_object ON meta_object.key = group_property.object "
                              "JOIN property ON property.object = meta_object.product AND property.name = 'marking' "
                              f"WHERE group_property.name = 'position' AND group_property.embodiment = {variant}",
                              *(value for value in (assembly, embodiment) if value is not None)))

    def key_of_line(self, marking, assembly):
        """The key of the line for a product in the bill of an assembly, both by marking."""
        (key,), = self.rows("SELECT line.key FROM meta_object line "
                            "JOIN property used ON used.object = line.product AND used.name = 'marking' "
                            "JOIN property holder ON holder.object = line.holder AND holder.name = 'marking' "
                            "WHERE line.type = 8 AND used.value = ? AND holder.value = ?", marking, assembly)
        return key

    def components(self):
        """The path and the occurrence's key of each component, by the file's identifiers from the outermost on; the
        number of one that has no identifier."""
        ids, result = {(): ()}, {}
        for blob, id_, key in self.rows("SELECT path, file_id, occurrence FROM component ORDER BY path"):
            path = path_of(blob)
            ids[path] = (*ids[path[:-1]], id_ or path[-1])
            assert ids[path] not in result, ids[path]
            result[ids[path]] = (path, key)
        return result

    def whole_links(self):
        """The links that a document in good order has: each occurrence with its component, each body with its
        occurrence and its line."""
        unique = {Link(key, type_, path_of(path))
                  for path, type_, key in self.rows("SELECT path, type, occurrence FROM component")}
        validated = set()
        for path, name, type_, key, line in self.rows(
                "SELECT body.path, body.name, body.type, key, line FROM body "
                "JOIN component ON component.path = body.path JOIN meta_object ON key = occurrence"):
            validated |= {Link(key, type_, path_of(path), name), Link(line, type_, path_of(path), name)}
        return unique, validated

    def tables(self, *without):
        names = [name for (name,) in self.rows("SELECT name FROM sqlite_schema WHERE type = 'table' ORDER BY name")]
        return {name: self.rows(f"SELECT * FROM {name} ORDER BY 1, 2") for name in names if name not in without}


class StepFile:
    """The text of a small STEP file. Every method adds entities and gives the number of the one that others need."""

    def __init__(self):
        self.entities = []
        self.shapes = {}
        self.context = self.add("APPLICATION_CONTEXT('mechanical design')")
        units = [self.add(unit) for unit in ("(LENGTH_UNIT()NAMED_UNIT(*)SI_UNIT(.MILLI.,.METRE.))",
                                             "(NAMED_UNIT(*)PLANE_ANGLE_UNIT()SI_UNIT($,.RADIAN.))",
                                             "(NAMED_UNIT(*)SI_UNIT($,.STERADIAN.)SOLID_ANGLE_UNIT())")]
        self.space = self.add("(GEOMETRIC_REPRESENTATION_CONTEXT(3)GLOBAL_UNIT_ASSIGNED_CONTEXT((#%d,#%d,#%d))"
                              "REPRESENTATION_CONTEXT('',''))" % tuple(units))

    def add(self, entity):
        self.entities.append(entity)
        return len(self.entities)

    def axes(self, origin=(0, 0, 0), z=(0, 0, 1), x=(1, 0, 0)):
        point = self.add("CARTESIAN_POINT('',(%f,%f,%f))" % origin)
        directions = [self.add("DIRECTION('',(%.12f,%.12f,%.12f))" % direction) for direction in (z, x)]
        return self.add("AXIS2_PLACEMENT_3D('',#%d,#%d,#%d)" % (point, *directions))

    def faces(self, closed):
        points = [self.add("CARTESIAN_POINT('',(%f,%f,%f))" % at)
                  for at in ((0, 0, 0), (10, 0, 0), (0, 10, 0), (0, 0, 10))]
        third, half = 3 ** -0.5, 0.5 ** 0.5
        sides = [((0, 2, 1), self.axes(z=(0, 0, -1))), ((0, 1, 3), self.axes(z=(0, -1, 0))),
                 ((0, 3, 2), self.axes(z=(-1, 0, 0), x=(0, 1, 0)))]
        if closed:
            sides.append(((1, 2, 3), self.axes((10, 0, 0), (third, third, third), (half, -half, 0))))
        faces = []
        for corners, plane in sides:
            loop = self.add("POLY_LOOP('',(#%d,#%d,#%d))" % tuple(points[corner] for corner in corners))
            bound = self.add("FACE_OUTER_BOUND('',#%d,.T.)" % loop)
            surface = self.add("PLANE('',#%d)" % plane)
            faces.append(self.add("FACE_SURFACE('',(#%d),#%d,.T.)" % (bound, surface)))
        kind = "CLOSED" if closed else "OPEN"
        return self.add("%s_SHELL('',(%s))" % (kind, ",".join("#%d" % face for face in faces)))

    def solid(self, name=""):
        return self.add("FACETED_BREP('%s',#%d)" % (name, self.faces(True)))

    def open_shell(self, name=""):
        return self.add("SHELL_BASED_SURFACE_MODEL('%s',(#%d))" % (name, self.faces(False)))

    def product(self, id_, name, *items):
        context = self.add("PRODUCT_CONTEXT('',#%d,'mechanical')" % self.context)
        product = self.add("PRODUCT('%s','%s','',(#%d))" % (id_, name, context))
        formation = self.add("PRODUCT_DEFINITION_FORMATION('','',#%d)" % product)
        context = self.add("PRODUCT_DEFINITION_CONTEXT('part definition',#%d,'design')" % self.context)
        definition = self.add("PRODUCT_DEFINITION('design','',#%d,#%d)" % (formation, context))
        axes = self.axes()
        # Uses add axes to the items of their holder, so the entity is written when all are known.
        shape = self.add(None)
        self.shapes[definition] = (shape, [axes, *items])
        holder = self.add("PRODUCT_DEFINITION_SHAPE('','',#%d)" % definition)
        self.add("SHAPE_DEFINITION_REPRESENTATION(#%d,#%d)" % (holder, shape))
        return definition

    def use(self, holder, used, name="", id_="", at=(0, 0, 0)):
        occurrence = self.add("NEXT_ASSEMBLY_USAGE_OCCURRENCE('%s','%s','',#%d,#%d,$)" % (id_, name, holder, used))
        shape = self.add("PRODUCT_DEFINITION_SHAPE('','',#%d)" % occurrence)
        to = self.axes(at)
        self.shapes[holder][1].append(to)
        turn = self.add("ITEM_DEFINED_TRANSFORMATION('','',#%d,#%d)" % (self.shapes[used][1][0], to))
        relation = self.add("(REPRESENTATION_RELATIONSHIP('','',#%d,#%d)"
                            "REPRESENTATION_RELATIONSHIP_WITH_TRANSFORMATION(#%d)SHAPE_REPRESENTATION_RELATIONSHIP())"
                            % (self.shapes[used][0], self.shapes[holder][0], turn))
        self.add("CONTEXT_DEPENDENT_SHAPE_REPRESENTATION(#%d,#%d)" % (relation, shape))

    def text(self):
        entities = list(self.entities)
        for shape, items in self.shapes.values():
            entities[shape - 1] = "SHAPE_REPRESENTATION('',(%s),#%d)" % (",".join("#%d" % item for item in items),
                                                                         self.space)
        data = "".join("#%d=%s;\n" % (number, entity) for number, entity in enumerate(entities, 1))
        return ("ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION((''),'2;1');\n"
                "FILE_NAME('test','2020-01-01T00:00:00',(''),(''),'','','');\n"
                "FILE_SCHEMA(('AUTOMOTIVE_DESIGN { 1 0 10303 214 1 1 1 1 }'));\nENDSEC;\n"
                "DATA;\n" + data + "ENDSEC;\nEND-ISO-10303-21;\n")


def machine():
    """Two frames of two bolts and a plate with a solid and an open shell, and a bolt beside them: 9 occurrences."""
    step = StepFile()
    bolt = step.product("B-1", "Bolt", step.solid("shank"))
    plate = step.product("P-1", "Plate", step.solid(), step.open_shell("skin"))
    frame = step.product("F-1", "Frame")
    root = step.product("M-1", "Machine")
    for used in (bolt, plate, bolt):
        step.use(frame, used)
    step.use(root, frame, "left", "u1")
    step.use(root, bolt, "loose", "u2")
    step.use(root, frame, "right", "u3")
    return step


class Use(NamedTuple):
    """A use of a product in an assembly. What it is called in a file may change while it stays what it is."""
    what: str
    product: str
    id: str
    at: tuple


class Plant:
    """An assembly of 2,000 occurrences on five levels, and its revision."""

    MOVED = ("module", "kit", "lamp")

    def __init__(self):
        # By marking: names, bodies, uses. A product comes after those that it uses.
        self.names = {f"P-{i:02}": f"Part {i}" for i in range(1, 14)}
        self.bodies = {marking: ["solid"] for marking in self.names}
        self.bodies["P-05"] = ["solid", "solid"]
        self.bodies["P-06"] = ["open_shell"]
        self.uses = {}
        for k in (1, 2, 3, 4):
            self.assembly(f"C-{k}", f"Cell {k}", [f"P-{(i * k) % 8 + 1:02}" for i in range(24)])
        self.assembly("S-1", "Station 1", ["C-1", "C-2", "C-1", "C-3"])
        self.assembly("S-2", "Station 2", ["C-2", "C-3", "C-4", "C-4"])
        self.assembly("K-1", "Kit", ["P-09", "P-10", "P-09"])
        self.assembly("M-1", "Module", ["P-09"] * 5 + ["P-10"] * 4)
        self.uses["M-1"].append(Use("lamp", "P-11", "lamp", (1, 2, 3)))
        self.assembly("H-A", "Hall A", ["S-1"] * 9)
        self.uses["H-A"].append(Use("module", "M-1", "module", (7, 7, 7)))
        self.assembly("H-B", "Hall B", ["S-2"] * 9)
        self.assembly("ROOT", "Plant", ["H-A", "H-B"] + [f"P-{i % 3 + 1:02}" for i in range(164)] + ["P-12"])
        self.uses["ROOT"].append(Use("kit", "K-1", "kit", (0, -50, 0)))

    def assembly(self, marking, name, products):
        self.names[marking] = name
        self.uses[marking] = [Use(f"{marking}.{i}", product, f"{marking}.{i}", (i * 20, 5, 0))
                              for i, product in enumerate(products)]

    def revise(self):
        """Adds, moves, removes, exchanges, renames and reorders, all of it in sight of this list."""
        uses = self.uses
        # New: a product in each cell 2, one more of a product in the root.
        uses["C-2"] += [Use(f"new.{i}", "P-13", f"new.{i}", (600, i, 0)) for i in range(2)]
        uses["ROOT"].append(Use("more", "P-03", "more", (9000, 0, 0)))
        # Gone: the only one of its line in the root; one of several in each cell 4.
        uses["ROOT"] = [use for use in uses["ROOT"] if use.product != "P-12"]
        del uses["C-4"][5]
        # Moved: an assembly on its level, another one two levels down into it, a part two levels up.
        module, lamp, kit = uses["H-A"].pop(), uses["M-1"].pop(), next(u for u in uses["ROOT"] if u.what == "kit")
        uses["ROOT"].remove(kit)
        uses["H-B"].append(module)
        uses["M-1"].append(kit)
        uses["ROOT"].append(lamp)
        # Exchanged.
        self.bodies["P-08"] = ["open_shell"]
        # Called otherwise: one use in each cell 1, a hall; a part by name, an assembly by marking.
        uses["C-1"][3] = uses["C-1"][3]._replace(id="other identifier")
        uses["ROOT"][1] = uses["ROOT"][1]._replace(id="another hall")
        self.names["P-07"] = "Part 7, improved"
        self.names = {"H-B/2" if marking == "H-B" else marking: name for marking, name in self.names.items()}
        uses["ROOT"][1] = uses["ROOT"][1]._replace(product="H-B/2")
        self.uses = {"H-B/2" if marking == "H-B" else marking: held for marking, held in uses.items()}
        # In another order.
        self.uses["ROOT"].reverse()
        self.uses["S-2"].reverse()
        self.names = dict(sorted(self.names.items(), reverse=True))
        return self

    def text(self):
        step = StepFile()
        # What nothing uses would be a root of its own.
        used = {"ROOT", *(use.product for uses in self.uses.values() for use in uses)}
        made = {marking: step.product(marking, name, *(getattr(step, kind)() for kind in self.bodies.get(marking, ())))
                for marking, name in self.names.items() if marking in used}
        for marking, uses in self.uses.items():
            for use in uses:
                step.use(made[marking], made[use.product], id_=use.id, at=use.at)
        return step.text()

    def occurrences(self):
        """The identifiers from the outermost on of each occurrence, by what it is: the way to it, from the last use on
        the way that may move."""
        result = {}

        def walk(product, what, ids):
            for use in self.uses.get(product, ()):
                within = (use.what,) if use.what in self.MOVED else (*what, use.what)
                result[within] = (*ids, use.id)
                walk(use.product, within, result[within])

        walk("ROOT", (), ())
        return result

    def lines(self, assembly):
        """The products of an assembly's bill in the order of their first use."""
        return list(dict.fromkeys(use.product for use in self.uses[assembly]))


class QlinksTest(unittest.TestCase):
    """Gives each test an empty folder, and each class a document of the machine above to copy."""

    @classmethod
    def setUpClass(cls):
        cls.class_folder = tempfile.TemporaryDirectory(prefix="qlinks-test-")
        cls.addClassCleanup(cls.class_folder.cleanup)
        base = pathlib.Path(cls.class_folder.name)
        (base / "machine.step").write_text(machine().text())
        done = run("import", base / "machine.step", "-o", base / "machine.qdoc")
        if done.returncode != 0 or done.stderr:
            raise AssertionError(done)
        cls.machine = base / "machine.qdoc"

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="qlinks-test-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def document(self, name="a.qdoc"):
        shutil.copyfile(self.machine, self.folder / name)
        return Document(self.folder / name)

    def file(self, name, content=b""):
        (self.folder / name).write_bytes(content.encode() if isinstance(content, str) else content)
        return self.folder / name

    def contents(self):
        return {path: path.read_bytes() for path in self.folder.rglob("*") if path.is_file()}

    def text_of(self, *arguments):
        """Standard output of a run that succeeds and says nothing else."""
        done = run(*arguments)
        self.assertEqual((done.returncode, done.stderr), (0, b""), arguments)
        return done.stdout.decode()

    def json_of(self, *arguments):
        return json.loads(self.text_of(*arguments, "--json"))

    def updated(self, document, step, *options, name="b.qdoc"):
        """The document that an update with this STEP file makes, and what it prints."""
        path = self.file("new.step", step if isinstance(step, str) else step.text())
        text = self.text_of("update", document.path, path, "-o", self.folder / name, *options)
        return Document(self.folder / name), text

    def assert_links_whole(self, document):
        unique, validated = document.links()
        self.assertEqual((len(unique), len(validated)), (len(set(unique)), len(set(validated))))
        self.assertEqual((set(unique), set(validated)), document.whole_links())

    def assert_bad_documents_refused(self, arguments):
        """By the verb with these arguments, "DOC" and "OUT" among them standing for documents."""
        def refused(says, path):
            words = [{"DOC": path, "OUT": self.folder / "out.qdoc"}.get(word, word) for word in arguments]
            self.assert_refused([str(path), says], *words)

        refused("no such file", self.folder / "none.qdoc")
        refused("folder", self.folder)
        refused("is empty", self.file("empty.qdoc"))
        refused("not a qlinks document", self.file("text.qdoc", "ISO-10303-21;"))
        refused("document format 9", self.document("newer.qdoc").change("PRAGMA user_version = 9").path)
        refused("group_member", self.document("less.qdoc").change("DROP TABLE group_member").path)
        refused("links", self.document("cut.qdoc").put_section(b"\x01").path)

    def assert_refused(self, says, *arguments, prints=False, **options):
        """Status 2, one line that says these texts, nothing printed unless `prints`, and every file as it was."""
        before = self.contents()
        done = run(*arguments, **options)
        error = done.stderr.decode()
        self.assertEqual(done.returncode, 2, (arguments, error))
        self.assertTrue(error.startswith("qlinks: ") and error.endswith("\n") and error.count("\n") == 1, repr(error))
        for text in [says] if isinstance(says, str) else says:
            self.assertIn(text, error)
        if not prints:
            self.assertEqual(done.stdout, b"")
        self.assertEqual(before, self.contents())
        return done
