# The catalogue of ONF blocks: block numbers, names, formats and id spaces of items.
target_sources(BrelonOnfEngine PRIVATE
    services/catalogue/QSV_OnfCatalogue.cpp
    services/catalogue/OnfCatalogueTable.cpp
    services/catalogue/OnfCatalogueText.cpp)
onf_add_test(test_catalogue tests/test_catalogue.cpp)
if(TARGET test_catalogue)
    target_compile_definitions(test_catalogue PRIVATE
        ONF_DOCS_DIR="${CMAKE_CURRENT_SOURCE_DIR}/docs")
endif()
