#!/usr/bin/env python3
"""Puts the package's files into a folder: install_files.py LIBRARY FOLDER

Without the library, which the system has.
"""

import pathlib
import shutil
import sys

import build_backend


def main(library: str, folder: str) -> None:
    target = pathlib.Path(folder)
    shutil.rmtree(target, ignore_errors=True)
    files = build_backend.package_files(pathlib.Path(library), windows=False)
    files[f"tervalon-{build_backend.version()}.dist-info/METADATA"] = build_backend.metadata().encode()
    for name, data in files.items():
        place = target / name
        place.parent.mkdir(parents=True, exist_ok=True)
        place.write_bytes(data)


if __name__ == "__main__":
    main(*sys.argv[1:])
