"""Builds the engine with CMake (the build directory of `make build`, so an existing build
is reused) and puts the modules and the engine's libraries into the wheel, beside each
other: the modules find the libraries there."""
import glob
import os
import shutil
import subprocess
import tempfile

from setuptools import Distribution, setup
from setuptools.command.build_ext import build_ext

HERE = os.path.dirname(os.path.abspath(__file__))
BUILD = os.environ.get("ENGINE_BUILD", os.path.join(HERE, "build"))


class BuildWithCMake(build_ext):
    def run(self):
        if not os.path.exists(os.path.join(BUILD, "build.ninja")):
            subprocess.check_call(["cmake", "-S", HERE, "-B", BUILD, "-G", "Ninja",
                                   "-DCMAKE_BUILD_TYPE=RelWithDebInfo"])
        subprocess.check_call(["cmake", "--build", BUILD, "--target",
                               "libcore_extension", "libwindow_extension", "libgraphics_extension",
                               "python_stubs"])
        with tempfile.TemporaryDirectory() as staging:
            # cmake --install gives the files their installed run path ($ORIGIN).
            subprocess.check_call(["cmake", "--install", BUILD, "--prefix", staging, "--component", "python",
                                   "--config", "RelWithDebInfo"])
            os.makedirs(self.build_lib, exist_ok=True)
            for path in glob.glob(os.path.join(staging, "lib", "python3.11", "site-packages", "*")):
                shutil.copy2(path, self.build_lib, follow_symlinks=False)


class BinaryDistribution(Distribution):
    """Native modules: the wheel is for this platform and interpreter."""

    def has_ext_modules(self):
        return True


setup(cmdclass={"build_ext": BuildWithCMake}, distclass=BinaryDistribution, py_modules=[],
      options={"build": {"build_base": os.path.join("build", "setuptools")}})
