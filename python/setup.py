# SPDX-License-Identifier: Apache-2.0
"""One wheel for all versions of Python 3, of one platform: nothing in it is compiled against Python. See make_wheel.py."""
import json
from pathlib import Path

from setuptools import Distribution, setup
from wheel.bdist_wheel import bdist_wheel

facts = json.loads((Path(__file__).parent / "wheel.json").read_text(encoding="utf-8"))


class PlatformWheel(bdist_wheel):
    """Named for the platform alone."""

    def get_tag(self):
        return "py3", "none", facts["platform"]


class BinaryDistribution(Distribution):
    """Holds libraries, though none that setuptools has built."""

    def has_ext_modules(self):
        return True


setup(version=facts["version"], license=facts["licence"], cmdclass={"bdist_wheel": PlatformWheel}, distclass=BinaryDistribution)
