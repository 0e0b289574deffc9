# Text services: the line sink and record line builder, number text, list text, strings, paths,
# files, streams and environment flags.
target_sources(BrelonOnfEngine PRIVATE
    services/text/NumberText.cpp
    services/text/LineWriters.cpp
    services/text/ListFormat.cpp
    services/text/FileServices.cpp
    services/text/OutputFile.cpp)
onf_add_test(test_text_services tests/test_text_services.cpp)
