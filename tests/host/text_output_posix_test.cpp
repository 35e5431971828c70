// Outputs that are no files: a device that is always full, and a pipe.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <thread>

#include "host/text_output.h"

namespace varnel::host {
namespace {

TEST(TextOutput, AFailedWriteIsToldWithItsReason) {
  const auto output = TextOutput::AppendTo("/dev/full");
  ASSERT_TRUE(output.ok());
  errno = 0;
  EXPECT_FALSE(output.value()->Write("text"));
  EXPECT_EQ(errno, ENOSPC);
}

TEST(TextOutput, AWholeWriteGoesOnAfterAShortOne) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  const std::string much(1 << 20, 'x');  // more than a pipe holds
  std::string got;
  std::thread reader([&got, end = ends[0]] {
    char block[65536];
    for (ssize_t n = 0; (n = ::read(end, block, sizeof block)) > 0;) got.append(block, static_cast<std::size_t>(n));
  });
  EXPECT_TRUE(WriteWhole(ends[1], much));
  ::close(ends[1]);
  reader.join();
  ::close(ends[0]);
  EXPECT_EQ(got, much);
}

}  // namespace
}  // namespace varnel::host
