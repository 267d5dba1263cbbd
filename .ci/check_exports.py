#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_exports.py LIBRARY LIST: the names that the built library defines for others are those of the list, and no others."""
import subprocess
import sys


def main():
    library, list_file = sys.argv[1:]
    with open(list_file, encoding="utf-8") as lines:
        rows = [line.split() for line in lines if line.strip() and not line.startswith("#")]
    wanted = [name for _, name in rows]
    if [int(number) for number, _ in rows] != list(range(1, len(rows) + 1)) or len(set(wanted)) != len(wanted):
        print(f"{list_file}: the ordinals do not count up from 1, or a name stands twice")
        return 1
    table = subprocess.run(["nm", "-D", "--defined-only", library], check=True, capture_output=True, text=True).stdout
    exported = {line.split()[-1].split("@")[0] for line in table.splitlines()}
    for name in sorted(set(wanted) - exported):
        print(f"not exported: {name}")
    for name in sorted(exported - set(wanted)):
        print(f"exported, but not in the list: {name}")
    return 0 if exported == set(wanted) else 1


if __name__ == "__main__":
    sys.exit(main())
