"""Builds the extension tarnvik._tarnvik with the project's own CMake build (only the
library and the module), then takes the package as CMake lays it out."""

import os
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = Path(self.build_temp).resolve() / "cmake"
        configure = ["cmake", "-S", str(ROOT), "-B", str(build), "-DCMAKE_BUILD_TYPE=Release",
                     f"-DTARNVIK_PYTHON_EXECUTABLE={sys.executable}", "-DTARNVIK_BUILD_PYTHON=ON"]
        configure += [f"-DTARNVIK_BUILD_{part}=OFF" for part in ("TESTS", "BENCH", "EXAMPLES", "TOOLS", "INTERFACE")]
        if shutil.which("ninja"):
            configure += ["-G", "Ninja"]
        subprocess.run(configure, check=True)
        subprocess.run(["cmake", "--build", str(build), "--target", "tarnvik_python", "--parallel",
                        str(os.cpu_count() or 2)], check=True)
        built = build / "python" / "tarnvik"
        if not any(built.glob("_tarnvik*")):
            sys.exit("the Python module was not built: CMake found no pybind11, NumPy or Python headers "
                     "(Debian: apt-get install pybind11-dev python3-dev python3-numpy)")
        target = Path(self.get_ext_fullpath(ext.name)).parent
        target.mkdir(parents=True, exist_ok=True)
        for f in built.iterdir():
            if f.is_file():
                shutil.copy2(f, target / f.name)


setup(
    packages=["tarnvik"],
    package_dir={"tarnvik": "python/tarnvik"},
    package_data={"tarnvik": ["py.typed", "*.pyi"]},
    ext_modules=[Extension("tarnvik._tarnvik", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)
