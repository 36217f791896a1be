"""Builds the wheel (PEP 517): the package, its binding made from the headers, and the shared library.

The library is that of the build in build/release, which is made if it is not there; TERVALON_LIBRARY
names another one, a ``tervalon.dll`` for a wheel for 64-bit Windows.
"""

from __future__ import annotations

import base64
import gzip
import hashlib
import os
import pathlib
import re
import subprocess
import tarfile
import tempfile
import time
import zipfile
from typing import Any

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent
SUMMARY = "Runs of a mass-spectrometry data system, read and written"


def version() -> str:
    header = (ROOT / "include/tervalon/version.h").read_text("utf-8")
    return ".".join(re.findall(r"^#define TERVALON_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$", header, re.M))


def metadata() -> str:
    page = (ROOT / "docs/getting_started_python.md").read_text("utf-8")
    return (f"Metadata-Version: 2.1\nName: tervalon\nVersion: {version()}\nSummary: {SUMMARY}\n"
            "Requires-Python: >=3.9\nRequires-Dist: cffi>=1.12\nRequires-Dist: numpy>=1.20\n"
            "Provides-Extra: pandas\nRequires-Dist: pandas; extra == 'pandas'\n"
            "Provides-Extra: plot\nRequires-Dist: matplotlib; extra == 'plot'\n"
            f"Description-Content-Type: text/markdown\n\n{page}")


def _library() -> pathlib.Path:
    named = os.environ.get("TERVALON_LIBRARY")
    if named:
        return pathlib.Path(named).resolve(strict=True)
    build = ROOT / "build/release"
    if not (build / "build.ninja").exists():
        subprocess.run(["cmake", "--preset", "release"], cwd=ROOT, check=True, stdout=2)
    subprocess.run(["cmake", "--build", str(build), "--target", "tervalon"], check=True, stdout=2)
    return (build / "lib/libtervalon.so").resolve(strict=True)


def package_files(library: pathlib.Path, windows: bool) -> dict[str, bytes]:
    """The package's files by their names in the wheel, without the library itself."""
    import generate  # beside this file

    files = {f"tervalon/{path.name}": path.read_bytes() for path in sorted((HERE / "tervalon").iterdir())
             if path.suffix in (".py", ".pyi", ".typed") and path.name != "_interface.py"}
    with tempfile.TemporaryDirectory() as folder:
        made = pathlib.Path(folder, "_interface.py")
        generate.generate(made, library, windows)
        files["tervalon/_interface.py"] = made.read_bytes()
    return files


def _stripped(library: pathlib.Path) -> bytes:
    with tempfile.TemporaryDirectory() as folder:
        copy = pathlib.Path(folder, library.name)
        copy.write_bytes(library.read_bytes())
        if library.suffix != ".dll":
            subprocess.run(["strip", "--strip-unneeded", str(copy)], check=True)
        return copy.read_bytes()


def build_wheel(wheel_directory: str, config_settings: Any = None, metadata_directory: Any = None) -> str:
    library = _library()
    windows = library.suffix == ".dll"
    tag = "py3-none-win_amd64" if windows else f"py3-none-linux_{os.uname().machine}"
    files = package_files(library, windows)
    files["tervalon/tervalon.dll" if windows else "tervalon/libtervalon.so.1"] = _stripped(library)
    info = f"tervalon-{version()}.dist-info"
    files[f"{info}/METADATA"] = metadata().encode()
    files[f"{info}/WHEEL"] = (f"Wheel-Version: 1.0\nGenerator: tervalon\nRoot-Is-Purelib: false\n"
                              f"Tag: {tag}\n").encode()
    record = "".join(f"{name},sha256={_digest(data)},{len(data)}\n" for name, data in files.items())
    files[f"{info}/RECORD"] = f"{record}{info}/RECORD,,\n".encode()
    name = f"tervalon-{version()}-{tag}.whl"
    # The same sources give the same wheel.
    stamp = time.gmtime(max(int(os.environ.get("SOURCE_DATE_EPOCH", "315532800")), 315532800))[:6]
    with zipfile.ZipFile(os.path.join(wheel_directory, name), "w", zipfile.ZIP_DEFLATED) as wheel:
        for member, data in files.items():
            entry = zipfile.ZipInfo(member, stamp)
            entry.external_attr = (0o755 if ".so" in member else 0o644) << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            wheel.writestr(entry, data)
    return name


def _digest(data: bytes) -> str:
    return base64.urlsafe_b64encode(hashlib.sha256(data).digest()).decode().rstrip("=")


def build_sdist(sdist_directory: str, config_settings: Any = None) -> str:
    """The sources of the library and the package, as committed."""
    base = f"tervalon-{version()}"
    tar = subprocess.run(["git", "archive", "--format=tar", f"--prefix={base}/", "HEAD"], cwd=ROOT,
                         check=True, stdout=subprocess.PIPE).stdout
    with tempfile.TemporaryDirectory() as folder:
        plain, info = pathlib.Path(folder, "all.tar"), pathlib.Path(folder, "PKG-INFO")
        plain.write_bytes(tar)
        info.write_text(metadata(), "utf-8")
        with tarfile.open(plain, "a") as archive:
            archive.add(info, f"{base}/PKG-INFO")
        target = pathlib.Path(sdist_directory, f"{base}.tar.gz")
        target.write_bytes(gzip.compress(plain.read_bytes(), mtime=0))
    return target.name
