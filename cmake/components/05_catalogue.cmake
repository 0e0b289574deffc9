# The catalogue of ONF blocks: block numbers, names, formats and id spaces of items.
target_sources(BrelonOnfEngine PRIVATE
    services/catalogue/QSV_OnfCatalogue.cpp
    services/catalogue/OnfCatalogueTable.cpp)
