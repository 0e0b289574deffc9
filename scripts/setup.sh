#!/usr/bin/env bash
# Installs what the build needs on a Debian machine, only when something is missing.
set -euo pipefail

missing=()
command -v g++ >/dev/null 2>&1 || missing+=(g++)
command -v cmake >/dev/null 2>&1 || missing+=(cmake)
command -v ninja >/dev/null 2>&1 || missing+=(ninja-build)
[ -f /usr/include/gtest/gtest.h ] || missing+=(libgtest-dev)
[ -f /usr/include/benchmark/benchmark.h ] || missing+=(libbenchmark-dev)
# The export test reads the written grid with an independent reader; the install check of CI
# compiles a client through pkg-config.
/usr/bin/python3 -c 'import meshio' >/dev/null 2>&1 || missing+=(python3-meshio)
# The Python package brelononf: its extension (pybind11, the interpreter's headers), numpy,
# and for its tests pytest and VTK, under which the ParaView reader runs.
[ -f /usr/lib/cmake/pybind11/pybind11Config.cmake ] || missing+=(pybind11-dev)
/usr/bin/python3 -c 'import pybind11' >/dev/null 2>&1 || missing+=(python3-pybind11)
[ -x /usr/bin/python3-config ] || missing+=(python3-dev)
/usr/bin/python3 -c 'import numpy' >/dev/null 2>&1 || missing+=(python3-numpy)
/usr/bin/python3 -c 'import pytest' >/dev/null 2>&1 || missing+=(python3-pytest)
/usr/bin/python3 -c 'import vtkmodules' >/dev/null 2>&1 || missing+=(python3-vtk9)
command -v pkg-config >/dev/null 2>&1 || missing+=(pkg-config)
# The tests of onf's outputs make faults in a mount namespace of their own (unshare, setpriv,
# chattr) and watch progress on a terminal (script).
command -v unshare >/dev/null 2>&1 || missing+=(util-linux)
command -v chattr >/dev/null 2>&1 || missing+=(e2fsprogs)
command -v script >/dev/null 2>&1 || missing+=(bsdutils)
# The README's pictures are rendered by VTK under a virtual X server (scripts/make_pictures.sh).
if [ "${ONF_WITH_PICTURES:-0}" = 1 ]; then
    /usr/bin/python3 -c 'import vtkmodules' >/dev/null 2>&1 || missing+=(python3-vtk9)
    command -v xvfb-run >/dev/null 2>&1 || missing+=(xvfb)
fi
if [ "${ONF_WITH_CLANG:-0}" = 1 ]; then
    command -v clang++ >/dev/null 2>&1 || missing+=(clang)
    ls /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a >/dev/null 2>&1 \
        || missing+=(libclang-rt-dev)
fi

if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    sudo=""
    if [ "$(id -u)" != 0 ]; then sudo="sudo"; fi
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi
