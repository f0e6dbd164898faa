"""Builds the wheel: CMake builds the native module and the plug-in, which come to lie in the package.

    pip wheel --no-build-isolation .        in this folder

needs what the package is built with: a compiler, cmake, ninja, libcli11-dev, zlib1g-dev, pybind11-dev,
python3-dev, python3-numpy. VESK_BUILD names a build folder that is to be used, and is brought up to date;
else one is made.
"""

import os
import re
import shutil
import subprocess
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent
VERSION = re.search(r"^project\(\S+ VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text(), re.M)[1]


class CMakeBuild(build_ext):
    def build_extension(self, extension):
        given = os.environ.get("VESK_BUILD")
        folder = Path(given) if given else Path(self.build_temp).resolve() / "cmake"
        if not (folder / "CMakeCache.txt").exists():
            subprocess.run(
                ["cmake", "-S", ROOT, "-B", folder, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                 "-DVESK_BUILD_TESTS=OFF"], check=True)
        subprocess.run(["cmake", "--build", folder, "--target", "vesk-python"], check=True)
        built = folder / "python" / "vesk_report"
        target = Path(self.get_ext_fullpath(extension.name)).parent
        target.mkdir(parents=True, exist_ok=True)
        shutil.copy2(built / Path(self.get_ext_fullpath(extension.name)).name, target)
        shutil.copy2(folder / "lib" / "libvesk-report.so", target)  # what the link leads to
        shutil.copy2(ROOT / "LICENSE", target)


setup(
    name="vesk-report",
    version=VERSION,
    description="Reports of the Vesk touch controller as numpy arrays",
    license="MIT",
    python_requires=">=3.9",
    install_requires=["numpy"],
    packages=["vesk_report"],
    package_data={"vesk_report": ["py.typed", "*.pyi"]},
    ext_modules=[Extension("vesk_report._native", [])],
    cmdclass={"build_ext": CMakeBuild},
)
