"""What the tests share. They run against the package that is installed, in a folder of their own."""

import os
import pathlib
import shutil
import subprocess
import sys

import pytest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
TOOL = os.environ.get("TERVALON_TOOL") or shutil.which("tervalon") or str(SOURCE / "build/release/bin/tervalon")
DATA = os.environ.get("TERVALON_TEST_DATA")


@pytest.fixture(scope="session")
def simulated(tmp_path_factory):
    """The acquisition that the manual shows."""
    folder = tmp_path_factory.mktemp("simulated")
    subprocess.run([TOOL, "simulate", "FIRST.RAW"], cwd=folder, check=True, stdout=subprocess.DEVNULL)
    return folder / "FIRST.RAW"


@pytest.fixture(autouse=True)
def in_a_folder(tmp_path, monkeypatch, simulated):
    monkeypatch.chdir(tmp_path)
    shutil.copytree(simulated, tmp_path / "FIRST.RAW")


def run_python(code, **options):
    """Runs a program of its own with the package; a crash of the interpreter is a failure."""
    return subprocess.run([sys.executable, "-X", "faulthandler", "-c", code], capture_output=True,
                          text=True, check=True, timeout=120, **options).stdout
