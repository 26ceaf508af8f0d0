// Lists in a folder of their own, named by WEBSEC_LISTS while the test runs.
#pragma once

#include <cstdlib>

#include "tests/support/list_maps.h"
#include "tests/unit/common/temp_folder.h"

class ListFolderTest : public testing::Test {
  protected:
    void SetUp() override { setenv("WEBSEC_LISTS", m_folder.Path().c_str(), 1); }
    void TearDown() override { unsetenv("WEBSEC_LISTS"); }

    TempFolder m_folder;
};
