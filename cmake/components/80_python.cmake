# The Python package brelononf: the extension brelononf._core (pybind11, over the library's
# public headers) and the pure-Python modules of python/brelononf, laid out together in
# <build>/python/brelononf so that tests and users can put <build>/python on their path.
#
# Built by default when pybind11 and numpy are found for ONF_PYTHON_EXECUTABLE. The interpreter is
# named explicitly: another python3 may stand first on the PATH without numpy.
option(ONF_BUILD_PYTHON "Build the Python package brelononf (needs pybind11 and numpy)" ON)
set(ONF_PYTHON_EXECUTABLE /usr/bin/python3 CACHE FILEPATH
    "The Python interpreter the package is built and tested for")
set(ONF_PYTHON_INSTALL_DIR lib/python3/dist-packages CACHE PATH
    "Where the package is installed, relative to the prefix (Debian's layout by default)")

if(NOT ONF_BUILD_PYTHON)
    return()
endif()

set(Python_EXECUTABLE ${ONF_PYTHON_EXECUTABLE})
set(PYBIND11_FINDPYTHON ON)
find_package(Python COMPONENTS Interpreter Development.Module QUIET)
find_package(pybind11 CONFIG QUIET)
if(Python_FOUND)
    execute_process(COMMAND ${Python_EXECUTABLE} -c "import numpy"
                    RESULT_VARIABLE ONF_NUMPY_MISSING OUTPUT_QUIET ERROR_QUIET)
endif()
if(NOT Python_FOUND OR NOT pybind11_FOUND OR ONF_NUMPY_MISSING)
    message(STATUS "brelononf (Python package): not built; it needs pybind11 and numpy for "
                   "${ONF_PYTHON_EXECUTABLE} (scripts/setup.sh installs them)")
    return()
endif()

set(ONF_PYTHON_BUILD_DIR ${CMAKE_BINARY_DIR}/python)
file(GLOB ONF_PYTHON_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/python/src/*.cpp)
# NO_EXTRAS: the build type decides optimisation and stripping, as for the library.
pybind11_add_module(brelononf_core MODULE NO_EXTRAS ${ONF_PYTHON_SOURCES})
target_link_libraries(brelononf_core PRIVATE BrelonOnfEngine)
# The element kinds as cells: the table `onf export` writes by, so that both draw a model alike.
target_include_directories(brelononf_core PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/tools/cells)
set_target_properties(brelononf_core PROPERTIES
    OUTPUT_NAME _core
    LIBRARY_OUTPUT_DIRECTORY ${ONF_PYTHON_BUILD_DIR}/brelononf)

# The pure-Python modules beside the extension, copied whenever one changes.
file(GLOB ONF_PYTHON_MODULES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/python/brelononf/*.py)
set(ONF_PYTHON_COPIES)
foreach(module ${ONF_PYTHON_MODULES})
    get_filename_component(name ${module} NAME)
    add_custom_command(OUTPUT ${ONF_PYTHON_BUILD_DIR}/brelononf/${name}
                       COMMAND ${CMAKE_COMMAND} -E copy_if_different ${module}
                               ${ONF_PYTHON_BUILD_DIR}/brelononf/${name}
                       DEPENDS ${module})
    list(APPEND ONF_PYTHON_COPIES ${ONF_PYTHON_BUILD_DIR}/brelononf/${name})
endforeach()
add_custom_target(brelononf_modules ALL DEPENDS ${ONF_PYTHON_COPIES})
add_dependencies(brelononf_core brelononf_modules)

# Installed into the prefix's Python folder; the extension finds the library through a run
# path relative to itself.
include(GNUInstallDirs)
file(RELATIVE_PATH ONF_PYTHON_TO_LIB /prefix/${ONF_PYTHON_INSTALL_DIR}/brelononf
     /prefix/${CMAKE_INSTALL_LIBDIR})
set_target_properties(brelononf_core PROPERTIES INSTALL_RPATH "$ORIGIN/${ONF_PYTHON_TO_LIB}")
install(TARGETS brelononf_core LIBRARY DESTINATION ${ONF_PYTHON_INSTALL_DIR}/brelononf)
install(FILES ${ONF_PYTHON_MODULES} DESTINATION ${ONF_PYTHON_INSTALL_DIR}/brelononf)
# The ParaView reader is a plugin file of its own: ParaView loads every Python file of a plugin
# folder, so it does not live in the package.
install(FILES ${CMAKE_CURRENT_SOURCE_DIR}/python/paraview/brelononf_reader.py
        DESTINATION ${CMAKE_INSTALL_DATADIR}/BrelonOnfEngine/paraview)

if(NOT ONF_BUILD_TESTS)
    return()
endif()

# One CTest entry a test file, so that they run in parallel. In a sanitized build the
# interpreter is not instrumented: the sanitizer runtime is preloaded into it, with the C++
# runtime beside it so that the runtime finds the functions it intercepts when the extension
# throws; leak detection is off, since the interpreter keeps its objects until the process ends.
set(ONF_PYTHON_TEST_ENV
    "PYTHONPATH=${ONF_PYTHON_BUILD_DIR}"
    "PYTHONDONTWRITEBYTECODE=1"
    "ONF_SOURCE_DIR=${CMAKE_CURRENT_SOURCE_DIR}")
if(ONF_SANITIZE)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        set(ONF_ASAN_RUNTIME_NAME libclang_rt.asan-x86_64.so)
    else()
        set(ONF_ASAN_RUNTIME_NAME libasan.so)
    endif()
    foreach(runtime ${ONF_ASAN_RUNTIME_NAME} libstdc++.so)
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${runtime}
                        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
        list(APPEND ONF_PRELOAD ${path})
    endforeach()
    string(REPLACE ";" ":" ONF_PRELOAD "${ONF_PRELOAD}")
    list(APPEND ONF_PYTHON_TEST_ENV "LD_PRELOAD=${ONF_PRELOAD}"
         "ASAN_OPTIONS=detect_leaks=0:halt_on_error=1:abort_on_error=1")
endif()
file(GLOB ONF_PYTHON_TESTS CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/tests/python/test_*.py)
foreach(test ${ONF_PYTHON_TESTS})
    get_filename_component(name ${test} NAME_WE)
    add_test(NAME python_${name}
             COMMAND ${Python_EXECUTABLE} -m pytest -q -p no:cacheprovider ${test})
    set_tests_properties(python_${name} PROPERTIES LABELS python
                         ENVIRONMENT "${ONF_PYTHON_TEST_ENV}")
endforeach()
