#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_scripts.py NODE SCRIPT...: each script of the page is sound by itself, and all of them, one behind the other as in the page, too. Exit
code 1 if one is not."""
import pathlib
import subprocess
import sys
import tempfile


def problems(node, scripts):
    texts = {path.name: path.read_text(encoding="utf-8") for path in scripts}
    texts["all of them"] = "".join(texts.values())
    with tempfile.TemporaryDirectory() as folder:
        module = pathlib.Path(folder) / "script.mjs"
        for name, text in texts.items():
            module.write_text(text, encoding="utf-8")
            run = subprocess.run([node, "--check", str(module)], capture_output=True, text=True, check=False)
            if run.returncode != 0:
                yield f"{name}:\n{run.stderr}"
            if "</script" in text or "<!--" in text:
                yield f"{name}: ends the element that it stands in"


if __name__ == "__main__":
    found = list(problems(sys.argv[1], [pathlib.Path(name) for name in sys.argv[2:]]))
    print("\n".join(found) if found else "the scripts are sound")
    sys.exit(1 if found else 0)
