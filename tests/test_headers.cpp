// What nearly every test includes, compiled once for each preset and loaded by the tests (varnel_test_headers in
// cmake/test_headers.cmake): reading these headers is half of the time that a test takes to compile. No header of ours
// stands here, so that a change of one compiles no more tests than those that include it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>
