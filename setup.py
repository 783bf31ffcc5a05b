"""Builds the Python package kwrender with its library inside.

    python -m pip install --no-build-isolation .      # from this directory

The library is built with this project's CMake (Release, stripped, without
tests, benchmarks or examples) and its one real file is copied into the
package, where kwrender/_native.py finds it first.  The package calls the
library through ctypes, so the wheel is for one platform but any Python 3
(tag py3-none-<platform>).  CMAKE_BUILD_PARALLEL_LEVEL sets the build's
parallel jobs (default: the processor count); KWRENDER_CMAKE_ARGS adds
arguments to the configuration (e.g. "-G Ninja").
"""

import os
import re
import shlex
import shutil
import subprocess
import sys

from setuptools import setup
from setuptools.command.build_py import build_py
from setuptools.dist import Distribution

try:
    from wheel.bdist_wheel import bdist_wheel
except ImportError:  # no wheel package: pip install still works, pip wheel does not
    bdist_wheel = None

ROOT = os.path.dirname(os.path.abspath(__file__))


def read_version() -> str:
    with open(os.path.join(ROOT, "include", "kwrender_version.h"), encoding="utf-8") as f:
        text = f.read()
    parts = []
    for part in ("MAJOR", "MINOR", "PATCH"):
        m = re.search(r"#define KWRENDER_VERSION_%s (\d+)" % part, text)
        if m is None:
            raise RuntimeError("include/kwrender_version.h has no KWRENDER_VERSION_" + part)
        parts.append(m.group(1))
    return ".".join(parts)


def library_name() -> str:
    if sys.platform == "win32":
        return "kwrender.dll"
    if sys.platform == "darwin":
        return "libkwrender.dylib"
    return "libkwrender.so"


class BuildPyWithLibrary(build_py):
    """build_py, then the library built by CMake into the package."""

    def run(self):
        super().run()
        if self.dry_run:
            return
        cmake = shutil.which("cmake")
        if cmake is None:
            raise RuntimeError("building kwrender needs CMake 3.25 or later on PATH (Debian: apt-get install cmake)")
        build = os.path.join(self.get_finalized_command("build").build_temp, "kwrender-cmake")
        configure = [
            cmake, "-S", ROOT, "-B", build,
            "-DCMAKE_BUILD_TYPE=Release",
            "-DKWR_BUILD_TESTS=OFF", "-DKWR_BUILD_BENCH=OFF", "-DKWR_BUILD_EXAMPLES=OFF",
            "-DKWR_WARNINGS_AS_ERRORS=OFF", "-DKWR_BUILD_SHARED=ON",
        ]
        if sys.platform != "win32" and sys.platform != "darwin":
            configure.append("-DCMAKE_SHARED_LINKER_FLAGS=-s")  # stripped: no symbols or debug information
        configure += shlex.split(os.environ.get("KWRENDER_CMAKE_ARGS", ""))
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL") or str(os.cpu_count() or 1)
        self.announce("building the kwrender library with CMake in " + build, level=2)
        subprocess.run(configure, check=True)
        subprocess.run([cmake, "--build", build, "--config", "Release", "--target", "kwrender", "--parallel", jobs],
                       check=True)
        built = self._built_library(build)
        target = os.path.join(self.build_lib, "kwrender", library_name())
        # One real file: CMake's version links are resolved, not copied.
        shutil.copyfile(os.path.realpath(built), target)

    @staticmethod
    def _built_library(build: str) -> str:
        name = library_name()
        for sub in ("", "Release", "bin", os.path.join("bin", "Release")):
            path = os.path.join(build, sub, name)
            if os.path.exists(path):
                return path
        raise RuntimeError("CMake built no %s under %s" % (name, build))


class PlatformDistribution(Distribution):
    """The package carries a native library: platform-specific, never pure."""

    def has_ext_modules(self):
        return True


commands = {"build_py": BuildPyWithLibrary}
if bdist_wheel is not None:

    class PlatformWheel(bdist_wheel):
        """A wheel for this platform and any Python 3: ctypes needs no Python ABI."""

        def finalize_options(self):
            super().finalize_options()
            self.root_is_pure = False

        def get_tag(self):
            _, _, platform = super().get_tag()
            return "py3", "none", platform

    commands["bdist_wheel"] = PlatformWheel

setup(version=read_version(), cmdclass=commands, distclass=PlatformDistribution)
