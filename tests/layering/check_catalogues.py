#!/usr/bin/env python3
"""Sees that every planted fault still applies: that its file has the text which it
replaces, exactly once.

usage: check_catalogues.py <root of the tree>
"""
import pathlib
import runpy
import sys

CATALOGUES = (  # path, name of the list, folder of its files
    ("tests/deviations/catalogue.py", "DEVIATIONS", ("BaseAPI", ".")),
    ("fuzz/planted/catalogue.py", "FAULTS", ("BaseAPI", "BaseAPI/ZinLogger/src", ".")),
    ("bench/tactics/catalogue.py", "TACTICS", ("BaseAPI",)),
)


def text_of(root, folders, name):
    for folder in folders:
        path = root / folder / name
        if path.is_file():
            return path.read_text()
    return None


def main():
    if len(sys.argv) != 2 or not (pathlib.Path(sys.argv[1]) / "BaseAPI").is_dir():
        sys.exit("usage: check_catalogues.py <root of the tree>")
    root = pathlib.Path(sys.argv[1])
    failures = 0
    for path, name, folders in CATALOGUES:
        for what, file, old, *_ in runpy.run_path(str(root / path))[name]:
            text = text_of(root, folders, file)
            count = 0 if text is None else text.count(old)
            if count != 1:
                print(f"{path}: '{what}' replaces a text that {file} has {count} times: {old!r}", file=sys.stderr)
                failures += 1
    sys.exit(failures != 0)


main()
