#include "tests/scenario/event_source.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>

#include "host/providers.h"
#include "host/text_field.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/trace/machine_sessions.h"

namespace varnel::scenario {
namespace {

constexpr std::array<std::size_t, 3> kSourceProviders = {0, 1, 4};
constexpr std::array<std::uint64_t, 2> kSourceModules = {0x80, 0x100};
constexpr std::uint32_t kForTheHost = 8;
constexpr auto kPause = std::chrono::milliseconds(5);
constexpr std::uint64_t kMostInFile = 7u << 20;  // bytes, of the eight megabytes of the AutoLogger's session
constexpr std::uint64_t kLookAtFileEvery = 32;   // events; some of the buffers that still have room

}  // namespace

EventSource::EventSource(const std::string& machine, std::uint64_t seed)
    : machine_(machine), seed_(seed), written_(Consumers().size()) {
  for (const std::size_t index : kSourceProviders) {
    const GUID guid = host::ProviderGuid(host::kProviders[index]);
    varnel_guid id{};
    static_assert(sizeof id == sizeof guid);
    std::memcpy(&id, &guid, sizeof id);
    registrations_.push_back(nullptr);
    EXPECT_EQ(varnel_register(machine.c_str(), &id, &registrations_.back()), 0);
  }
}

EventSource::~EventSource() {
  Stop();
  for (varnel_registration* registration : registrations_) varnel_unregister(registration);
}

std::vector<WrittenConsumer> EventSource::Consumers() {
  std::vector<WrittenConsumer> consumers;
  for (const std::size_t index : kSourceProviders) {
    for (const std::uint64_t module : kSourceModules) {
      WrittenConsumer consumer;
      consumer.provider = host::ProviderGuid(host::kProviders[index]);
      consumer.keyword = module;
      consumer.name = std::string(host::kProviders[index].name) + (module == kSourceModules[0] ? "/0x80" : "/0x100");
      consumers.push_back(std::move(consumer));
    }
  }
  return consumers;
}

bool EventSource::AllEnabled() const {
  for (const varnel_registration* registration : registrations_) {
    if (varnel_enabled(registration) == 0) return false;
  }
  return true;
}

void EventSource::Start() {
  thread_ = std::thread([this] { WriteUntilStopped(); });
}

void EventSource::Stop() {
  stopping_ = true;
  if (thread_.joinable()) thread_.join();
}

bool EventSource::FileIsNearlyFull() const {
  const auto machine = embedded::Machine::Open(machine_);
  const auto sessions = embedded::ListSessions(*machine.value());
  return !sessions.empty() && sessions[0].buffers_written * sessions[0].buffer_size > kMostInFile;
}

void EventSource::WriteUntilStopped() {
  std::mt19937_64 random(seed_);
  for (std::uint64_t tried = 1; !stopping_; ++tried) {
    if (tried % kLookAtFileEvery == 0 && FileIsNearlyFull()) return;
    const std::size_t consumer = random() % written_.size();
    std::string text = "#" + std::to_string(written_[consumer] + 1) + " c" + std::to_string(consumer) + " ";
    // Now and then long enough that buffers close by their size too.
    text.append(random() % 4 == 0 ? random() % 4000 : 0, '.');
    const int result = varnel_transfer_msg_ansi(registrations_[consumer / kSourceModules.size()],
                                                kSourceModules[consumer % kSourceModules.size()], kForTheHost, "Source",
                                                written_[consumer], 0, text.c_str());
    if (result == 0) {
      ++written_[consumer];
    } else {
      ++refused_;
    }
    std::this_thread::sleep_for(kPause + std::chrono::microseconds(random() % 2000));
  }
}

bool ParseSourceText(const std::string& json_text, std::size_t* consumer, std::uint32_t* number) {
  const auto text = host::TextField(json_text, "AdditionalMsgAnsi");
  return text && json_text.back() == '}' && std::sscanf(text->c_str(), "#%u c%zu ", number, consumer) == 2;
}

}  // namespace varnel::scenario
