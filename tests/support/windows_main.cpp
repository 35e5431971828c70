// The main file of every test program on Windows. Under Wine, which stands in for it elsewhere, what Wine does not have
// is left out and named.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/not_checkable.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleMock(&argc, argv);
  varnel::testing::LeaveOutWhatCannotBeChecked();
  return RUN_ALL_TESTS();
}
