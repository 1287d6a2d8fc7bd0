"""Writes what installers and plug-in managers know of the package, from pyproject.toml.

metadata.py PYPROJECT VERSION FOLDER.dist-info
"""

import sys
import tomllib
from pathlib import Path


def metadata(project: dict, version: str) -> str:
    lines = ["Metadata-Version: 2.1", f"Name: {project['name']}", f"Version: {version}",
             f"Summary: {project['description']}", f"Requires-Python: {project['requires-python']}"]
    lines += [f"Classifier: {each}" for each in project["classifiers"]]
    lines += [f"Requires-Dist: {each}" for each in project["dependencies"]]
    for extra, packages in project["optional-dependencies"].items():
        lines.append(f"Provides-Extra: {extra}")
        lines += [f'Requires-Dist: {each}; extra == "{extra}"' for each in packages]
    return "\n".join(lines) + "\n"


def entry_points(project: dict) -> str:
    return "\n".join(f"[{group}]\n" + "".join(f"{name} = {value}\n" for name, value in entries.items())
                     for group, entries in project["entry-points"].items())


def main(pyproject: str, version: str, folder: str) -> None:
    project = tomllib.loads(Path(pyproject).read_text())["project"]
    Path(folder).mkdir(parents=True, exist_ok=True)
    (Path(folder) / "entry_points.txt").write_text(entry_points(project))
    (Path(folder) / "INSTALLER").write_text("cmake\n")
    (Path(folder) / "METADATA").write_text(metadata(project, version))


main(*sys.argv[1:])
