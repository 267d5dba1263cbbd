#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_dll.py OBJDUMP LIBRARY LIST: the DLL exports the names of the list under their ordinals and no others, and needs no file that not every
Windows has."""
import re
import subprocess
import sys

# Parts of the system itself, from Windows 7 on.
OF_THE_SYSTEM = {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "shell32.dll", "user32.dll", "version.dll"}


def rows_of_list(path):
    with open(path, encoding="utf-8") as lines:
        rows = [line.split() for line in lines if line.strip() and not line.startswith("#")]
    return {name: int(ordinal) for ordinal, name in rows}


def exports_of(text):
    """Ordinals by name, from the tables of addresses (every ordinal) and of names (their places in the first)."""
    base = int(re.search(r"^Ordinal Base\s+(\d+)", text, re.M).group(1))
    addresses = text.split("Export Address Table", 1)[1].split("[Ordinal/Name Pointer] Table", 1)
    ordinals = {base + int(place) for place in re.findall(r"^\s*\[\s*(\d+)\] \+base\[", addresses[0], re.M)}
    names = {name: base + int(place) for place, name in re.findall(r"^\s*\[\s*(\d+)\] (\w+)$", addresses[1], re.M)}
    return ordinals, names


def main():
    objdump, library, list_file = sys.argv[1:]
    text = subprocess.run([objdump, "-p", library], check=True, capture_output=True, text=True).stdout
    wanted = rows_of_list(list_file)
    ordinals, names = exports_of(text)
    wrong = [f"{name}: ordinal {names.get(name)}, not {wanted.get(name)}" for name in sorted(set(wanted) | set(names))
             if names.get(name) != wanted.get(name)]
    wrong += [f"ordinal {ordinal} has no name" for ordinal in sorted(ordinals - set(names.values()))]
    wrong += [f"needs {name}" for name in re.findall(r"DLL Name: (\S+)", text) if name.lower() not in OF_THE_SYSTEM]
    print("\n".join(wrong) if wrong else "exports and needs are as listed")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
