# Text database (src/textdb): the outer grammar of an ONF file block by block (reader), the line
# sink (writer), the id maps and their pool, the database that ties a file to its blocks, and the
# block set that the file kinds derive from.
onf_add_engine_folder(textdb)
onf_add_test(test_reader tests/test_reader.cpp)
onf_add_test(test_idmap tests/test_idmap.cpp)
onf_add_test(test_database tests/test_database.cpp)
