# Failures and logging: the suite's one way of failing and of talking without failing.
target_sources(BrelonOnfEngine PRIVATE services/failure/QSV_Failure.cpp)
onf_add_test(test_failure tests/test_failure.cpp)
