# The names and numbers that clients spell, reached through the umbrella header alone.
onf_add_test(test_interface tests/test_interface.cpp)
