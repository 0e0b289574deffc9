# The layers of the tree depend only downward: suite services, block store, text database, file
# kinds, the umbrella header, the tool. The check reads the sources' includes; it needs no build.
if(ONF_BUILD_TESTS)
    add_test(NAME include_layers
             COMMAND ${CMAKE_COMMAND} -DROOT=${CMAKE_CURRENT_SOURCE_DIR}
                     -P ${CMAKE_CURRENT_SOURCE_DIR}/cmake/check_layers.cmake)
    set_tests_properties(include_layers PROPERTIES LABELS unit)
endif()
