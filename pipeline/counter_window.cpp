#include "pipeline/counter_window.h"

#include "base/log.h"
#include "platform/types.h"

namespace varnel {
namespace {

constexpr std::uint32_t kWindow = 0x3FFFFFFF;
constexpr std::uint32_t kLastWithoutOverflow = 0xC0000000;

enum class Age : std::uint8_t { kOld, kNew, kInvalid };

// Providers and stored positions rely on the exact borders of the three cases, so they are not made alike.

// The lower border has wrapped high. Counters from 0 up to the current one are invalid here.
Age CheckOverflowOld(std::uint32_t current, std::uint32_t check, std::uint32_t min, std::uint32_t max) {
  if (check >= min) return Age::kOld;
  if (check > current && check <= max) return Age::kNew;
  return Age::kInvalid;
}

Age CheckNoOverflow(std::uint32_t current, std::uint32_t check, std::uint32_t min, std::uint32_t max) {
  if (check >= min && check < current) return Age::kOld;
  if (check > current && check <= max) return Age::kNew;
  return Age::kInvalid;
}

// The upper border has wrapped low. The lower border itself and 0 are invalid here.
Age CheckOverflowNew(std::uint32_t current, std::uint32_t check, std::uint32_t min, std::uint32_t max) {
  if (check > min && check < current) return Age::kOld;
  if (check > current) return Age::kNew;
  if (check > 0 && check <= max) return Age::kNew;
  return Age::kInvalid;
}

}  // namespace

std::uint32_t CheckCounterNewOrOld(std::uint32_t dwCounterCurrent, std::uint32_t dwCounterToCheck,
                                   std::uint32_t* bIsNew) {
  const std::uint32_t current = dwCounterCurrent;
  const std::uint32_t check = dwCounterToCheck;
  if (check == current) {
    *bIsNew = 0;
    return platform::kErrorSuccess;
  }
  const std::uint32_t min = current - kWindow;
  const std::uint32_t max = current + kWindow;
  Age age = Age::kInvalid;
  if (current < kWindow) {
    age = CheckOverflowOld(current, check, min, max);
    if (age == Age::kInvalid) {
      WrapLogPrint(LOG_INFO,
                   u"CheckCounterNewOrOld func overflow old check dwCounterCurrent(0x%x) dwCounterToCheck(0x%x) "
                   u"dwMin(0x%x) dwMax(0x%x) invalid!\r\n",
                   current, check, min, max);
    }
  } else if (current > kLastWithoutOverflow) {
    age = CheckOverflowNew(current, check, min, max);
    if (age == Age::kInvalid) {
      WrapLogPrint(LOG_INFO,
                   u"CheckCounterNewOrOld func overflow new check dwCounterCurrent(0x%x) dwCounterToCheck(0x%x) "
                   u"dwMin(0x%x) dwMax(0x%x) invalid!\r\n",
                   current, check, min, max);
    }
  } else {
    age = CheckNoOverflow(current, check, min, max);
    if (age == Age::kInvalid) {
      WrapLogPrint(LOG_INFO,
                   u"CheckCounterNewOrOld func no overflow check dwCounterCurrent(0x%x) dwCounterToCheck(0x%x) "
                   u"dwMin(0x%x) dwMax(0x%x) invalid!\r\n",
                   current, check, min, max);
    }
  }
  if (age == Age::kInvalid) return platform::kErrorGenFailure;
  *bIsNew = age == Age::kNew ? 1 : 0;
  return platform::kErrorSuccess;
}

}  // namespace varnel
