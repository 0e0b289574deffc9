# Checks that the layers of the tree depend only downward: every quoted #include of a source or
# header must name a header of its own layer or of a lower one. Run as
#   cmake -DROOT=<source tree> -P cmake/check_layers.cmake
# and fails with one line a violation.
#
# The layers, from the bottom:
#   0 suite services   contracts/, services/
#   1 block store      src/block/
#   2 text database    src/textdb/
#   3 file kinds       src/model/, src/feedback/, src/requests/, src/stream/, src/kinds/
#   4 interface        the umbrella header include/BrelonOnfEngine.h
#   5 tool             tools/onf/, tools/cells/ (the element kinds as cells, for the tool and the
#                      Python package)
# A header of include/ lies in the layer of the src/ folder that holds its source (OnfBlock.h in
# the block store, as src/block/OnfBlock.cpp); a header without a source is named below. A new
# header of include/ that is neither fails the check, so that it gets a layer.

if(NOT ROOT)
    message(FATAL_ERROR "check_layers: give the source tree as -DROOT=...")
endif()

set(LAYER_NAMES "suite services" "block store" "text database" "file kinds" "interface" "tool")
set(FOLDER_LAYER_block 1)
set(FOLDER_LAYER_textdb 2)
set(FOLDER_LAYER_model 3)
set(FOLDER_LAYER_feedback 3)
set(FOLDER_LAYER_requests 3)
set(FOLDER_LAYER_stream 3)
set(FOLDER_LAYER_kinds 3)
# Headers of include/ without a source of their own.
set(HEADER_LAYER_OnfConstants.h 1)   # the marker strings of the ONF text
set(HEADER_LAYER_OnfElement.h 3)     # element types of the model
set(HEADER_LAYER_BrelonOnfEngine.h 4)

# The layer of a file of the tree, by its path relative to ROOT; -1 for a file outside the layers.
function(layer_of relative out)
    set(layer -1)
    if(relative MATCHES "^(contracts|services)/")
        set(layer 0)
    elseif(relative MATCHES "^src/([^/]+)/")
        set(layer ${FOLDER_LAYER_${CMAKE_MATCH_1}})
    elseif(relative MATCHES "^tools/(onf|cells)/")
        set(layer 5)
    elseif(relative MATCHES "^include/([^/]+)$")
        set(header ${CMAKE_MATCH_1})
        if(DEFINED HEADER_LAYER_${header})
            set(layer ${HEADER_LAYER_${header}})
        else()
            string(REGEX REPLACE "\\.h$" ".cpp" source ${header})
            file(GLOB found RELATIVE ${ROOT} ${ROOT}/src/*/${source})
            if(found MATCHES "^src/([^/]+)/")
                set(layer ${FOLDER_LAYER_${CMAKE_MATCH_1}})
            endif()
        endif()
    endif()
    if(layer STREQUAL "")
        set(layer -1)
    endif()
    set(${out} ${layer} PARENT_SCOPE)
endfunction()

# Where a quoted include of `includer` resolves: beside it, then along the include paths of the
# build (include/, contracts/, services/, src/, tools/cells/). Empty for a header outside the
# tree.
function(resolve_include includer name out)
    get_filename_component(dir ${ROOT}/${includer} DIRECTORY)
    foreach(base ${dir} ${ROOT}/include ${ROOT}/contracts ${ROOT}/services ${ROOT}/src
                 ${ROOT}/tools/cells)
        if(EXISTS ${base}/${name} AND NOT IS_DIRECTORY ${base}/${name})
            file(RELATIVE_PATH relative ${ROOT} ${base}/${name})
            set(${out} ${relative} PARENT_SCOPE)
            return()
        endif()
    endforeach()
    set(${out} "" PARENT_SCOPE)
endfunction()

file(GLOB_RECURSE files RELATIVE ${ROOT}
     ${ROOT}/contracts/*.h ${ROOT}/services/*.h ${ROOT}/services/*.cpp ${ROOT}/src/*.h
     ${ROOT}/src/*.cpp ${ROOT}/include/*.h ${ROOT}/tools/onf/*.h ${ROOT}/tools/onf/*.cpp
     ${ROOT}/tools/cells/*.h)
list(SORT files)
set(violations "")
set(unplaced "")
foreach(file ${files})
    layer_of(${file} layer)
    if(layer EQUAL -1)
        list(APPEND unplaced ${file})
        continue()
    endif()
    file(STRINGS ${ROOT}/${file} includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"[^\"]+\"")
    foreach(line ${includes})
        string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([^\"]+)\".*" "\\1" name "${line}")
        resolve_include(${file} ${name} target)
        if(target STREQUAL "")
            continue()
        endif()
        layer_of(${target} targetLayer)
        if(targetLayer GREATER layer)
            list(GET LAYER_NAMES ${layer} from)
            list(GET LAYER_NAMES ${targetLayer} to)
            list(APPEND violations "${file} (${from}) includes ${target} (${to})")
        endif()
    endforeach()
endforeach()

foreach(file ${unplaced})
    message("no layer: ${file}; give it one in cmake/check_layers.cmake")
endforeach()
foreach(violation ${violations})
    message("layer violation: ${violation}")
endforeach()
list(LENGTH files numFiles)
if(violations OR unplaced)
    message(FATAL_ERROR "check_layers: a lower layer depends on a higher one")
endif()
message("check_layers: ${numFiles} files, every include points to its own layer or a lower one")
