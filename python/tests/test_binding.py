"""The binding and the headers, and what a wheel may need. These look at the sources."""

import ast
import doctest
import importlib
import os
import pkgutil
import shutil
import sys
import zipfile

import pytest

import tervalon

from conftest import SOURCE

sys.path.insert(0, str(SOURCE / "python"))
import build_backend  # noqa: E402
import check_wheel  # noqa: E402
import generate  # noqa: E402


@pytest.mark.parametrize("name", sorted(module.name for module in pkgutil.iter_modules(tervalon.__path__)))
def test_examples_in_docstrings(name):
    if name != "_interface":
        assert doctest.testmod(importlib.import_module(f"tervalon.{name}")).failed == 0


def test_examples_of_the_package_and_its_page():
    assert doctest.testmod(tervalon).failed == 0
    page = doctest.testfile(str(SOURCE / "docs/getting_started_python.md"), module_relative=False)
    assert page.attempted > 10 and page.failed == 0


@pytest.mark.parametrize("platform", ["linux", "windows"])
def test_structures_are_those_of_the_binary_interface(platform):
    recorded = (SOURCE / f"tests/abi/recorded/{platform}-x86_64.txt").read_text("utf-8")
    ffi = generate.Headers(windows=platform == "windows").cdef()
    sizes = recorded.partition("# Sizes\n")[2].partition("# Constants")[0].split()
    for name, size in zip(sizes[::2], sizes[1::2]):
        assert ffi.sizeof(name) == int(size), name
    assert len(sizes) > 100


@pytest.mark.parametrize("header, before, after", [
    ("raw_spectra.h", "int32_t first, int32_t count,", "int32_t count, int32_t first,"),
    ("raw_spectra.h", "  uint32_t points; ", "  uint64_t points; "),
    ("raw_functions.h", "RAW_DATA_SIR = 2", "RAW_DATA_SIR = 22"),
    ("raw_chromatograms.h", "#define RAW_CHROM_BASE_PEAK 2", "#define RAW_CHROM_BASE_PEAK 3"),
    ("types.h", "#define TV_PATH_SIZE 260", "#define TV_PATH_SIZE 300"),
    ("raw_history.h", "#define RAW_HISTORY_ENTRIES 257", "#define RAW_HISTORY_ENTRIES 200"),
])
def test_a_changed_header_is_noticed(tmp_path, header, before, after):
    include = tmp_path / "tervalon"
    shutil.copytree(SOURCE / "include/tervalon", include)
    generate.check_record(include)
    text = (include / header).read_text("utf-8")
    assert before in text
    (include / header).write_text(text.replace(before, after, 1), "utf-8")
    with pytest.raises(ValueError, match="--record"):
        generate.check_record(include)


def test_what_a_wheel_may_need():
    bundled = os.path.join(os.path.dirname(tervalon.__file__), "libtervalon.so.1")
    if os.path.exists(bundled):
        assert check_wheel.check_library(bundled) == []
    assert any("needs" in wrong for wrong in check_wheel.check_library(os.path.realpath(shutil.which("bash"))))


def test_the_stub_lists_the_codes():
    stub = ast.parse((SOURCE / "python/tervalon/codes.pyi").read_text("utf-8"))
    for listed in (node for node in stub.body if isinstance(node, ast.ClassDef)):
        members = {line.targets[0].id: line.value.value for line in listed.body}
        family = getattr(tervalon, listed.name)
        assert members == {name: int(member) for name, member in family.__members__.items()}


def test_a_wheel_for_windows(tmp_path, monkeypatch):
    """From the same sources; what stands in for the DLL is only packed."""
    (tmp_path / "tervalon.dll").write_bytes(b"MZ")
    monkeypatch.setenv("TERVALON_LIBRARY", str(tmp_path / "tervalon.dll"))
    name = build_backend.build_wheel(str(tmp_path))
    assert name.endswith("-py3-none-win_amd64.whl") and check_wheel.check(str(tmp_path / name)) == []
    with zipfile.ZipFile(tmp_path / name) as wheel:
        binding = wheel.read("tervalon/_interface.py").decode()
        assert "tervalon/tervalon.dll" in wheel.namelist()
    assert "RawReadSpectra" in binding and "TvCreateSvgDC" not in binding
