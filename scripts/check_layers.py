#!/usr/bin/env python3
"""Checks the include lines of the sources against the layering of the project.

Data flows one way: base at the bottom, the format folders on it, the tools on the formats,
the platform hosts on the tools, and the C exports and the program on top. A file may include
only headers of its own folder and of the folders listed for it below; nothing includes
exports/ or cli/, the public C header includes nothing of ours, and the format folders do not
include the host or the file layer.

Usage: check_layers.py [ROOT]   (ROOT defaults to the repository). Prints each forbidden
include as FILE:LINE: FOLDER must not include HEADER, and exits 1 when there is one.
"""
import pathlib
import re
import sys

FORMATS = ["btc", "archive", "xbox", "xfile"]
ALLOWED = {
    "include": [],
    "base": [],
    "btc": ["base"],
    "archive": ["base"],
    "xbox": ["base"],
    "xfile": ["base"],
    "image": ["base"],
    "gltf": ["base", "xfile", "image", "mesh"],
    "mesh": ["base", "xfile"],
    "tools": ["base", "mesh", "image", "gltf"] + FORMATS,
    "platform": ["base", "tools", "mesh", "image", "gltf"] + FORMATS,
    "exports": ["base", "tools", "platform", "mesh", "vellmark"] + FORMATS,
    "cli": ["base", "tools", "platform", "mesh", "image", "gltf"] + FORMATS,
}
# The format folders take bytes and give bytes or an error: they never talk to the user or
# touch a file, so the host and the file layer of base are closed to them.
TOOLS_ONLY = {"base/host.h", "base/file_io.h"}
FORMAT_FOLDERS = set(FORMATS) | {"mesh", "image", "gltf"}
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')


def folder_of(root, path):
    rel = path.relative_to(root).parts
    if rel[0] == "src" and len(rel) > 2:
        return rel[1]
    if rel[0] in ("include", "cli"):
        return rel[0]
    return None


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent)
    root = root.resolve()
    problems = []
    files = [p for d in ("src", "include", "cli") for p in sorted((root / d).rglob("*"))
             if p.suffix in (".h", ".hpp", ".cpp", ".c")]
    for path in files:
        folder = folder_of(root, path)
        if folder is None:
            continue
        if folder not in ALLOWED:
            problems.append(f"{path.relative_to(root)}: folder {folder} has no place in the layering")
            continue
        for number, line in enumerate(path.read_text(errors="replace").splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            header = match.group(1)
            target = header.split("/")[0] if "/" in header else folder
            if target != folder and target not in ALLOWED[folder]:
                problems.append(f"{path.relative_to(root)}:{number}: {folder} must not include {header}")
            elif folder in FORMAT_FOLDERS and header in TOOLS_ONLY:
                problems.append(f"{path.relative_to(root)}:{number}: {folder} is a format folder and must not include {header}")
    for problem in problems:
        print(problem)
    if not files:
        print(f"no sources under {root}")
        return 1
    print(f"{len(files)} files checked, {len(problems)} forbidden includes")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
