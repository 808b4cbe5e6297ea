"""
Checks which way the includes of the tree point: the libraries know include/ and themselves, the tools nothing of the
adapter, the simulator nothing but libs/tools, and inside the adapter a floor knows the floors below it and no enclosure
knows another. Prints what runs up or round; exit status 1 when there is anything.
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
ADAPTER = ROOT / "apps/esa"

# From the cellar up; what lies in apps/esa itself is the top.
FLOORS = ["core", "chips", "policy", "enclosures", "messaging", "."]
# The one file that hands out the trace facility.
TRACING = "core/operation.h"

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)


def sources(folder):
    return sorted(path for path in folder.rglob("*") if path.suffix in (".h", ".cpp"))


def includes(path):
    return INCLUDE.findall(path.read_text())


def floor(name):
    return FLOORS.index(name.split("/")[0] if "/" in name else ".")


def adapter_findings():
    """Arrows inside the adapter that run up, or from one enclosure to another."""
    for path in sources(ADAPTER):
        name = path.relative_to(ADAPTER).as_posix()
        for included in includes(path):
            if included == "trace.h" and name != TRACING:
                yield f"apps/esa/{name}: traces past {TRACING}"
            if not (ADAPTER / included).exists():
                continue
            if floor(included) > floor(name):
                yield f"apps/esa/{name}: runs up to {included}"
            own = Path(included).with_suffix("") == Path(name).with_suffix("")
            if included.startswith("enclosures/") and name.startswith("enclosures/") and not own:
                yield f"apps/esa/{name}: knows another enclosure, {included}"


def circles():
    """Headers of the adapter that include each other in a circle."""
    graph = {
        path.relative_to(ADAPTER).as_posix(): [name for name in includes(path) if (ADAPTER / name).exists()]
        for path in sources(ADAPTER)
        if path.suffix == ".h"
    }
    done = set()

    def walk(name, way):
        if name in way:
            yield " -> ".join([*way[way.index(name):], name])
        elif name not in done:
            for included in graph[name]:
                yield from walk(included, [*way, name])
            done.add(name)

    for name in sorted(graph):
        for circle in walk(name, []):
            yield f"apps/esa: {circle} is a circle"


def reaches(path, own, included, folder):
    """Whether an include of a file below `own` can only mean a file below `folder`."""
    shared = [place for place in (ROOT / "include", *(ROOT / "libs").iterdir()) if place != folder]
    if any((place / included).exists() for place in [path.parent, own, *shared]):
        return False
    return (folder / included).exists()


def other_findings():
    """Includes of the other folders that reach where they must not."""
    libraries = [path for path in sorted((ROOT / "libs").iterdir()) if path.is_dir()]
    applications = [path for path in sorted((ROOT / "apps").iterdir()) if path.is_dir()]
    tests = [ROOT / "tests/support", ROOT / "tests/model"]
    above = {
        "include": [*libraries, *applications, ROOT / "sim", *tests],
        "libs": [*applications, ROOT / "sim", *tests],
        # Of the tree it knows what the tools share, and no number of the hardware that the adapter knows too.
        "sim": [ROOT / "include", *(library for library in libraries if library.name != "tools"), *applications, *tests],
        # On the controller there are no tools.
        "libs/MPU": [ROOT / "libs/tools", ROOT / "libs/peer"],
        "libs/platform": [ROOT / "libs/tools", ROOT / "libs/peer"],
    }
    # No application knows another one.
    for own in applications:
        above[f"apps/{own.name}"] = [ROOT / "sim", *tests, *(path for path in applications if path != own)]
    # What peers share knows what all tools share, and not the other way round.
    above["libs/tools"] = [ROOT / "libs/peer"]
    # The fail-safe program drives the fans by the adapter's own chips and enclosures.
    above["apps/esafailsafe"].remove(ADAPTER)
    for name, folders in above.items():
        for path in sources(ROOT / name):
            for included in includes(path):
                for folder in folders:
                    if reaches(path, ROOT / name, included, folder):
                        yield f"{path.relative_to(ROOT)}: reaches {included} of {folder.relative_to(ROOT)}"


def main():
    findings = [*adapter_findings(), *circles(), *other_findings()]
    print("\n".join(findings), end="\n" if findings else "")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
