#!/usr/bin/env python3
"""check_includes.py ROOT: whether the folders of the product include only what they may."""
import pathlib
import re
import sys

# Each folder may include itself, those named here, and the leaves.
RIGHT_OF = {
    "service": "intercept inspect block policy report category common",
    "intercept": "inspect block policy report category common",
    "inspect": "block policy report category common",
    "block": "common",
    "policy": "report category common",
    "report": "category common",
    "category": "common",
    "common": "",
    "modules": "common",
    "catserver": "modules common",
    "ctl": "service intercept inspect block policy report category common modules",
}

# Anyone may include a leaf; leaves, and the sources behind them, include only common/ and other leaves.
LEAVES = set("""
    inspect/web_request.h inspect/url_helpers.h inspect/internet_checksum.h
    intercept/packet_info.h intercept/queue_attributes.h intercept/stream_marks.h
    service/service_config.h
    policy/data_file.h policy/client_settings.h policy/policy_switches.h
    category/category_mode.h category/category_server_protocol.h category/category_table.h category/webcat_library.h
    report/report_records.h
""".split())

# A header of this project that declares a linked library.
LIBRARIES = {"policy/data_file.cpp": "modules/asapsdk/check_sum.h"}


def may_include(source, header):
    if header in LEAVES or LIBRARIES.get(source) == header:
        return True
    is_leaf = source.replace(".cpp", ".h") in LEAVES
    folder, other = source.split("/")[0], header.split("/")[0]
    return other == "common" if is_leaf else other in (folder, *RIGHT_OF[folder].split())


root = pathlib.Path(sys.argv[1])
checked, wrong = 0, []
for path in sorted(p for folder in RIGHT_OF for p in (root / folder).rglob("*.[ch]*")):
    source = path.relative_to(root).as_posix()
    for header in re.findall(r'^\s*#\s*include\s*"([^"]+)"', path.read_text(), re.M):
        checked += 1
        if not may_include(source, header):
            wrong.append(f"{source} must not include {header}")
print(*wrong, f"{checked} includes checked", sep="\n")
sys.exit(1 if wrong or checked == 0 else 0)
