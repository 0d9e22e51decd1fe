"""What pyproject.toml cannot say: the package carries the shared library, which CMake builds."""

import shutil
import subprocess
from pathlib import Path

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py
from wheel.bdist_wheel import bdist_wheel


class BuildWithLibrary(build_py):
    def run(self):
        super().run()
        source, build = Path(__file__).parent, Path(self.get_finalized_command("build").build_temp) / "library"
        subprocess.run(["cmake", "-S", source, "-B", build, "-DCMAKE_BUILD_TYPE=Release"], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "pmstore", "--parallel"], check=True)
        built = next(file for name in ("libpmstore.so.1", "pmstore.dll") for file in build.glob(name))
        shutil.copy(built, Path(self.build_lib) / "pmstore" / built.name)


class WheelOfThisMachine(bdist_wheel):
    """For any Python 3: the library is called through ctypes."""

    def get_tag(self):
        return "py3", "none", super().get_tag()[2]


class DistributionWithLibrary(Distribution):
    def has_ext_modules(self):
        return True


setup(cmdclass={"build_py": BuildWithLibrary, "bdist_wheel": WheelOfThisMachine}, distclass=DistributionWithLibrary)
