#include "OnfModifFile.h"

#include <gtest/gtest.h>
