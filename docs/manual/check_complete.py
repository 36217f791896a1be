#!/usr/bin/env python3
"""Says what the manual leaves out: check_complete.py XML_FOLDER.

Every file, function, structure and callback has a description; every parameter is named in that of its
function or file, or on the page of arguments; every result code stands on its page.
"""
import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

missing = []


def description(element):
    parts = (element.find(part) for part in ("briefdescription", "detaileddescription"))
    return " ".join("".join(part.itertext()) for part in parts).strip().lower()


def named(parameter, text):
    """Comments write of `mass_count` as of a count of masses."""
    return all(word.rstrip("s") in text for word in parameter.lower().split("_"))


arguments = pathlib.Path("docs/arguments.md").read_text(encoding="utf-8")
common = set(re.findall(r"`(\w+)`(?=[^|]*\|[^|]*\|$)", arguments, re.M))
for path in pathlib.Path(sys.argv[1]).glob("*.xml"):
    for compound in ElementTree.parse(path).getroot().findall("compounddef"):
        name = compound.findtext("compoundname")
        if compound.get("kind") in ("file", "struct") and not name.endswith(".md"):
            if not description(compound):
                missing.append(name)
        for member in compound.iter("memberdef"):
            if member.get("kind") not in ("function", "typedef"):
                continue
            if not description(member):
                missing.append(member.findtext("name"))
            text = description(compound) + description(member)
            for parameter in member.findall("param"):
                name = parameter.findtext("declname")
                if name and name not in common and not named(name, text):
                    missing.append(f"{name} of {member.findtext('name')}")

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
