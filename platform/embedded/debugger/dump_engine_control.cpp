// What the engine tells of the crashed system as a whole.
#include <limits>

#include "platform/embedded/debugger/dump_engine.h"
#include "platform/embedded/debugger/give.h"

namespace varnel::embedded {
namespace {

using platform::HRESULT;

constexpr std::uint32_t kPlatformNt = 2;
constexpr std::uint64_t kTicksPerSecond = 10'000'000;
constexpr std::uint64_t kUnixEpoch = 116'444'736'000'000'000;  // 1970 as a FILETIME
constexpr std::size_t kBuildTextLimit = 256;
constexpr std::uint32_t kNotWritten = 0x45474150;  // "PAGE"

std::optional<std::uint32_t> ServicePack(const formats::KernelDump& dump) {
  const formats::TriageBlock* const block = dump.triage();
  if (block == nullptr || block->service_pack_build == kNotWritten) return {};
  return (block->service_pack_build >> 8) & 0xFF;
}

/// The kernel's own text of its build; empty when the dump does not have it.
std::string BuildText(const formats::KernelDump& dump) {
  const formats::DebuggerData* const data = dump.debugger_data();
  if (data == nullptr) return {};
  const auto address = data->At<std::uint64_t>(formats::debugger_data_field::kNtBuildLab);
  if (!address || *address == 0) return {};
  std::string text(kBuildTextLimit, '\0');
  text.resize(dump.ReadVirtual(*address, std::as_writable_bytes(std::span(text))));
  const std::size_t end = text.find('\0');
  return end == std::string::npos ? std::string() : text.substr(0, end);
}

/// Seconds that a caller's 32 bits hold.
HRESULT GiveSeconds(const std::optional<std::uint64_t>& ticks, std::uint64_t origin, std::uint32_t* seconds) {
  if (!ticks || *ticks < origin) return results::kFail;
  const std::uint64_t whole = (*ticks - origin) / kTicksPerSecond;
  if (whole > std::numeric_limits<std::uint32_t>::max()) return results::kFail;
  Put(seconds, whole);
  return results::kOk;
}

}  // namespace

HRESULT DumpEngine::GetDebuggeeType(std::uint32_t* target_class, std::uint32_t* qualifier) {
  return WithTarget([&](DebugTarget* target) {
    Put(target_class, platform::kDebugClassKernel);
    Put(qualifier, target->dump().Qualifier());
    return results::kOk;
  });
}

HRESULT DumpEngine::GetActualProcessorType(std::uint32_t* type) {
  return WithTarget([&](DebugTarget* target) {
    Put(type, target->header().machine);
    return results::kOk;
  });
}

HRESULT DumpEngine::GetNumberProcessors(std::uint32_t* number) {
  return WithTarget([&](DebugTarget* target) {
    Put(number, target->header().processors);
    return results::kOk;
  });
}

HRESULT DumpEngine::GetSystemVersion(std::uint32_t* platform_id, std::uint32_t* major, std::uint32_t* minor,
                                     char* service_pack, std::uint32_t service_pack_size,
                                     std::uint32_t* service_pack_used, std::uint32_t* service_pack_number, char* build,
                                     std::uint32_t build_size, std::uint32_t* build_used) {
  return WithTarget([&](DebugTarget* target) {
    const std::uint32_t pack = ServicePack(target->dump()).value_or(0);
    const std::string pack_text = pack == 0 ? std::string() : "Service Pack " + std::to_string(pack);
    const std::string build_text = BuildText(target->dump());
    Put(platform_id, kPlatformNt);
    Put(major, target->header().major_version);
    Put(minor, target->header().build);
    Put(service_pack_number, pack);
    const HRESULT first = GiveText<char>(pack_text, service_pack, service_pack_size, service_pack_used);
    const HRESULT second = GiveText<char>(build_text, build, build_size, build_used);
    return first == results::kOk ? second : first;
  });
}

HRESULT DumpEngine::ReadBugCheckData(std::uint32_t* code, std::uint64_t* arg1, std::uint64_t* arg2, std::uint64_t* arg3,
                                     std::uint64_t* arg4) {
  return WithTarget([&](DebugTarget* target) {
    const formats::DumpHeader& header = target->header();
    Put(code, header.bug_check_code);
    Put(arg1, header.bug_check_parameters[0]);
    Put(arg2, header.bug_check_parameters[1]);
    Put(arg3, header.bug_check_parameters[2]);
    Put(arg4, header.bug_check_parameters[3]);
    return results::kOk;
  });
}

HRESULT DumpEngine::GetCurrentTimeDate(std::uint32_t* time_date) {
  return WithTarget(
      [&](DebugTarget* target) { return GiveSeconds(target->header().system_time, kUnixEpoch, time_date); });
}

HRESULT DumpEngine::GetCurrentSystemUpTime(std::uint32_t* up_time) {
  return WithTarget([&](DebugTarget* target) { return GiveSeconds(target->header().system_up_time, 0, up_time); });
}

}  // namespace varnel::embedded
