#!/usr/bin/env python3
"""Holds the folders below src/ to the table of who may use whom: an include that the table does not allow fails.

The link step alone would not notice a header-only use of a folder that happens to be linked through another one.
"""

import pathlib
import re
import sys

# folder -> folders whose headers it may include, beside its own and include/qrn.
ALLOWED = {
    "platform/com": [],
    "platform/system": ["platform/com"],
    "platform/registry": ["platform/com", "platform/system"],
    "platform/imaging": ["platform/com"],
    "platform/sound": ["platform/com", "platform/system"],
    "platform/display": ["platform/com", "platform/system", "platform/imaging"],
    "platform/http": ["platform/com", "platform/system"],
    "platform/echo": ["platform/com", "platform/system", "platform/sound"],
    "platform/postproc": [],
    "framework": ["platform/com", "platform/system"],
    "runtime": ["framework", "platform/com", "platform/system", "platform/imaging"],
    "rtp": ["runtime"],
    "engines": ["platform/imaging"],
    "audiocoding": ["framework", "runtime"],
    "videocoding": ["framework", "runtime", "engines", "platform/imaging", "platform/postproc"],
    "netfilters": ["framework", "runtime", "rtp", "audiocoding"],
    "audiodevices": ["framework", "runtime", "platform/sound", "platform/echo"],
    "videorender": ["framework", "runtime", "platform/display", "platform/imaging"],
    "httpcamera": ["framework", "runtime", "engines", "platform/http", "platform/registry"],
    "host": ["framework", "platform/com", "platform/system", "platform/registry"],
    "client": ["host", "framework"],
}
# What everything above the platform stands on: com and system come with the framework and the runtime.
EVERYWHERE = ["platform/com", "platform/system"]
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')


def folder_of(path: str) -> str:
    """The folder name as the table has it: two parts for platform, one for the others."""
    parts = path.split("/")
    return "/".join(parts[:2]) if parts[0] == "platform" else parts[0]


def main() -> int:
    source_root = pathlib.Path(__file__).resolve().parent.parent / "src"
    wrong = 0
    for path in sorted(source_root.rglob("*")):
        if path.suffix not in (".h", ".cpp"):
            continue
        own = folder_of(path.relative_to(source_root).as_posix())
        if own == "module":
            continue
        allowed = {own, "qrn", *ALLOWED[own]}
        if not own.startswith("platform/"):
            allowed.update(EVERYWHERE)
        for number, line in enumerate(path.read_text().splitlines(), 1):
            match = INCLUDE.match(line)
            if match and folder_of(match.group(1)) not in allowed:
                print(f"{path.relative_to(source_root.parent)}:{number}: {own} may not use {match.group(1)}")
                wrong += 1
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
