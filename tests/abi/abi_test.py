"""The shared library as others see it: exported names, SONAME, loading and unloading, what is
built and destroyed meanwhile, the installed tree."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

LIBRARY = os.environ["QPD_LIBRARY"]
BUILD = os.environ["QPD_BUILD_DIR"]
HERE = pathlib.Path(__file__).resolve().parent


def run(*command, **options):
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, **options)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))}\n{done.stdout}\n{done.stderr}")
    return done.stdout


def exported_names():
    # The base and the complete object variant of constructors and destructors print alike.
    names = set()
    for line in run("nm", "-DC", "--defined-only", LIBRARY).splitlines():
        names.add(re.sub(r"^[0-9a-f]+ [A-Za-z] ", "", line))
    return names


def constants():
    """The property names that are built at run time, in the order of their construction."""
    return (HERE / "constants.txt").read_text().splitlines()


class Exports(unittest.TestCase):
    def test_exactly_the_listed_names_are_exported(self):
        listed = set((HERE / "exports.txt").read_text().splitlines())
        self.assertEqual(listed, exported_names())

    def test_no_property_name_is_exported(self):
        listed = {"c_name", "c_intFlagZero", "c_intFlagMinusOne", *constants()}
        self.assertEqual(100, len(listed))
        names = run("nm", "-DC", "--defined-only", LIBRARY)
        for name in listed:
            self.assertNotRegex(names, rf"\b{name}\b")

    def test_soname_carries_the_major_version(self):
        dynamic = run("readelf", "-dW", LIBRARY)
        self.assertIn("Library soname: [libqProdData3D.so.1]", dynamic)


def permitted_imports():
    lines = (HERE / "imports.txt").read_text().splitlines()
    return [re.compile(line) for line in lines if line and not line.startswith("#")]


class Imports(unittest.TestCase):
    def test_nothing_but_the_permitted_names_is_imported(self):
        imported = [line.split(None, 1)[1].split("@")[0] for line in
                    run("nm", "-DC", "--undefined-only", LIBRARY).splitlines()]
        self.assertGreater(len(imported), 40)
        permitted = permitted_imports()
        self.assertEqual([], [name for name in imported if not any(one.fullmatch(name) for one in permitted)])

    def test_only_the_platform_and_the_compiler_s_runtime_are_needed(self):
        needed = re.findall(r"\(NEEDED\).*\[(.*)\]", run("readelf", "-dW", LIBRARY))
        self.assertEqual(sorted(["libq3DCore.so.1", "libqProdData.so.1", "libqKernel.so.1", "libqSys.so.1",
                                 "libstdc++.so.6", "libgcc_s.so.1", "libc.so.6"]), sorted(needed))


class VirtualTable(unittest.TestCase):
    def slots(self):
        """The functions in the store's virtual table, in their order."""
        table = next(line.split() for line in run("readelf", "-W", "--dyn-syms", LIBRARY).splitlines()
                     if line.endswith(" _ZTV24ProductGeometryObjects3D"))
        start, size = int(table[1], 16), int(table[2])
        names = {}
        for line in run("readelf", "-rW", LIBRARY).splitlines():
            fields = line.split()
            if len(fields) == 7 and fields[2] == "R_X86_64_64" and start <= int(fields[0], 16) < start + size:
                names[int(fields[0], 16) - start] = fields[4]
        # Before the functions stand the offset to the top, which needs no relocation, and the type.
        self.assertEqual("_ZTI24ProductGeometryObjects3D", names.pop(8))
        self.assertEqual(list(range(16, size, 8)), sorted(names))
        return run("c++filt", *(names[offset] for offset in sorted(names))).splitlines()

    def test_holds_the_operations_in_their_order(self):
        listed = (HERE / "virtual_operations.txt").read_text().splitlines()
        self.assertEqual(24, len(listed))
        slots = [re.match(r"ProductGeometryObjects3D::(~?\w+)\(", name).group(1) for name in self.slots()]
        # The destructor has two entries: for an object in its place, and for one that is released as well.
        self.assertEqual([listed[0], *listed], slots)


class Description(unittest.TestCase):
    def test_the_described_library_tells_its_types(self):
        # Without debug information abidiff finds no type to compare, and no difference.
        sections = run("readelf", "-SW", os.environ["QPD_DESCRIBED"])
        self.assertRegex(sections, r" \.debug_info +PROGBITS ")
        types = run("readelf", "--debug-dump=info", "--dwarf-depth=2", os.environ["QPD_DESCRIBED"])
        self.assertRegex(types, r"DW_AT_name .*: ProductGeometryObjects3D\n")

    def test_the_library_is_what_its_description_says(self):
        done = subprocess.run(["abidiff", "--no-default-suppression", HERE / "qProdData3D.abi",
                               os.environ["QPD_DESCRIBED"]], capture_output=True, text=True)
        self.assertEqual((0, ""), (done.returncode, done.stdout + done.stderr),
                         "docs/architecture.md says when the description may change and how")

    def test_the_description_shows_the_store_s_members_in_their_order(self):
        description = (HERE / "qProdData3D.abi").read_text()
        store = description[description.index("<class-decl name='ProductGeometryObjects3D' size-in-bits"):]
        store = store[:store.index("<member-function")]
        self.assertEqual(["uniqueLinks", "validatedLinks", "linkValidator", "writeComponentPath"],
                         re.findall(r"<var-decl name='(\w+)'", store))


def constants_by_address():
    listed = set(constants())
    found = {}
    for line in run("nm", "-C", "--defined-only", LIBRARY).splitlines():
        address, _, name = line.split(" ", 2)
        name = name.removesuffix("[abi:cxx11]")
        if name in listed:
            found[int(address, 16)] = name
    return found


class Unloading(unittest.TestCase):
    loaded = [LIBRARY]

    @classmethod
    def setUpClass(cls):
        # For each loading: the constants that were built, what the library answered, and the constants that unloading
        # destroyed.
        names = constants_by_address()
        cls.loadings = [{"built": [], "answered": [], "destroyed": []}]
        for line in run(os.environ["QPD_LOAD_UNLOAD"], *cls.loaded).splitlines():
            event, *value = line.split()
            if event == "unloaded":
                cls.loadings.append({"built": [], "answered": [], "destroyed": []})
            elif event == "answered":
                cls.loadings[-1][event].append(int(value[0]))
            elif int(value[0], 16) in names:
                cls.loadings[-1][event].append(names[int(value[0], 16)])
        assert cls.loadings.pop() == {"built": [], "answered": [], "destroyed": []}

    def test_a_program_without_cpp_loads_and_unloads_it_twice(self):
        needed = run("readelf", "-dW", os.environ["QPD_LOAD_UNLOAD"])
        self.assertNotIn("libstdc++", needed)
        self.assertNotIn("libc++", needed)
        self.assertEqual(2, len(self.loadings))

    def test_property_names_are_built_once_each_and_in_their_order(self):
        for loading in self.loadings:
            self.assertEqual(constants(), loading["built"])

    def test_property_names_are_destroyed_at_unloading_in_reverse_order(self):
        for loading in self.loadings:
            self.assertEqual(constants()[::-1], loading["destroyed"])


class UnloadingAfterUse(Unloading):
    loaded = [os.environ["QPD_PLUGIN"], "UseLinks"]

    def test_the_library_is_loaded_by_the_plugin_alone(self):
        self.assertIn("libqProdData3D.so.1", run("readelf", "-dW", os.environ["QPD_PLUGIN"]))
        self.assertNotIn("libqProdData3D", run("readelf", "-dW", os.environ["QPD_LOAD_UNLOAD"]))

    def test_a_link_is_added_found_written_and_read_each_time(self):
        self.assertEqual([[2], [2]], [loading["answered"] for loading in self.loadings])


class Using(unittest.TestCase):
    def test_a_program_with_cpp_of_its_own_loads_uses_and_unloads_it_twice(self):
        self.assertEqual("99 links\n" * 2, run(os.environ["QPD_LOAD_USE"], LIBRARY))


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.root = pathlib.Path(cls.folder.name)
        run("cmake", "--install", BUILD, "--prefix", cls.root / "installed")

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def build_with_cmake(self, compiler):
        build = self.root / f"cmake-{compiler}"
        run("cmake", "-S", HERE / "consumer", "-B", build, "-G", "Ninja", f"-DCMAKE_CXX_COMPILER={compiler}",
            f"-DCMAKE_PREFIX_PATH={self.root / 'installed'}")
        run("cmake", "--build", build)
        return build / "consumer"

    def build_with_pkg_config(self, compiler):
        (folder,) = (self.root / "installed").rglob("pkgconfig")
        environment = {**os.environ, "PKG_CONFIG_PATH": str(folder)}
        flags = run("pkg-config", "--cflags", "--libs", "qProdData3D", env=environment).split()
        library_dir = run("pkg-config", "--variable=libdir", "qProdData3D", env=environment).strip()
        program = self.root / f"pkg-config-{compiler}"
        run(compiler, "-std=c++20", "-Wall", "-Wextra", "-Wconversion", "-Werror", HERE / "consumer" / "main.cpp",
            "-o", program, *flags, f"-Wl,-rpath,{library_dir}")
        return program

    def test_find_package_with_gcc(self):
        self.assertEqual("1 link\n", run(self.build_with_cmake("g++")))

    def test_find_package_with_clang(self):
        self.assertEqual("1 link\n", run(self.build_with_cmake("clang++")))

    def test_pkg_config_with_gcc(self):
        self.assertEqual("1 link\n", run(self.build_with_pkg_config("g++")))

    def test_pkg_config_with_clang(self):
        self.assertEqual("1 link\n", run(self.build_with_pkg_config("clang++")))

    def test_no_path_of_the_building_machine_is_in_the_installed_tree(self):
        source = os.environ["QPD_SOURCE_DIR"].encode()
        for file in (self.root / "installed").rglob("*"):
            if file.is_file() and not file.is_symlink():
                self.assertNotIn(source, file.read_bytes(), file)


if __name__ == "__main__":
    unittest.main()
