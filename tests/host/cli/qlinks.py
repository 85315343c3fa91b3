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
    """Another program that holds a lock on a document while the context lasts. A process of its own: this one's locks
    would go with the first file that it closes."""

    def __init__(self, path, lock):
        code = ("import sqlite3, sys; other = sqlite3.connect(sys.argv[1], isolation_level=None); "
                "other.execute(sys.argv[2]); print('locked', flush=True); sys.stdin.read()")
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

    def use(self, holder, used, name="", id_=""):
        occurrence = self.add("NEXT_ASSEMBLY_USAGE_OCCURRENCE('%s','%s','',#%d,#%d,$)" % (id_, name, holder, used))
        shape = self.add("PRODUCT_DEFINITION_SHAPE('','',#%d)" % occurrence)
        to = self.axes()
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
