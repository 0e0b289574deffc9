# `onf export`: the grid builder and VTU writer are tested on their own, and the command end to
# end, once by its XML and once by an independent reader (skipped where that is not installed).
onf_add_test(test_export tests/test_export.cpp ${CMAKE_CURRENT_SOURCE_DIR}/tools/onf/VtuWriter.cpp)
if(TARGET test_export)
    target_include_directories(test_export PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/tools/onf
                                                   ${CMAKE_CURRENT_SOURCE_DIR}/tools/cells)
endif()

if(ONF_BUILD_TESTS)
    foreach(mode xml meshio)
        add_test(NAME onf_export_${mode}
                 COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_export.sh ${mode}
                         $<TARGET_FILE:onf> ${CMAKE_CURRENT_SOURCE_DIR})
        set_tests_properties(onf_export_${mode} PROPERTIES LABELS cli SKIP_RETURN_CODE 77)
    endforeach()
endif()

if(ONF_BUILD_TESTS)
    # `onf export --series`: the collection and its steps as an independent reader sees them;
    # and the README's pictures, rendered by the picture command (skipped without VTK or X).
    add_test(NAME onf_export_series
             COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_export_series.sh
                     $<TARGET_FILE:onf> ${CMAKE_CURRENT_SOURCE_DIR})
    add_test(NAME readme_pictures
             COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/tests/test_pictures.sh $<TARGET_FILE:onf>
                     ${CMAKE_CURRENT_SOURCE_DIR})
    set_tests_properties(onf_export_series readme_pictures PROPERTIES LABELS cli
                                                                      SKIP_RETURN_CODE 77)
endif()
