#!/usr/bin/env python3
"""Says what the manual leaves out: check_complete.py XML_FOLDER.

Every file, function, structure and callback has a description, and every result code stands on the page
of result codes.
"""
import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

missing = []


def described(element):
    return any(
        "".join(element.find(part).itertext()).strip()
        for part in ("briefdescription", "detaileddescription")
    )


for path in pathlib.Path(sys.argv[1]).glob("*.xml"):
    for compound in ElementTree.parse(path).getroot().findall("compounddef"):
        name = compound.findtext("compoundname")
        if compound.get("kind") in ("file", "struct") and not name.endswith(".md"):
            if not described(compound):
                missing.append(name)
        for member in compound.iter("memberdef"):
            if member.get("kind") in ("function", "typedef") and not described(member):
                missing.append(member.findtext("name"))

page = pathlib.Path("docs/result_codes.md").read_text(encoding="utf-8")
for header in ("raw_directory.h", "databases.h"):
    first = re.search(
        r"// (?:Error codes|Causes)\.\nenum \{(.*?)\};",
        pathlib.Path("include/tervalon", header).read_text(encoding="utf-8"),
        re.S,
    )
    for name, code in re.findall(r"(\w+) = (\d+)", first[1]):
        if not re.search(rf"^\| {code} \| `{name}` \|", page, re.M):
            missing.append(f"{name} on the page of result codes")

for name in sorted(set(missing)):
    print(f"{name} is not described", file=sys.stderr)
sys.exit(bool(missing))
